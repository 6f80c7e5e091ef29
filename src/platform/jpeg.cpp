// The JPEG layer on libjpeg-turbo: load, save, file facts, the comment of the
// last load, and the reduction of a DIB for a display of few colours (a Flat
// Cut to the display's fixed palette).
//
// libjpeg reports a failure by calling error_exit, which must not return: the
// error manager below records libjpeg's message code and jumps back to the
// operation, which frees what it holds and shows one of the program's own
// messages, chosen by kJpegFailures. libjpeg never prints and never ends the
// process. Warnings are silent; two of them are remembered because together
// they mean the file ends inside its image data (see LoadState::truncated).
#include "platform/jpeg.h"

#include "colour/colour_switches.h"
#include "colour/flat_cut.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <climits>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <jpeglib.h>
#include <jerror.h>

namespace {

// ---- failures -----------------------------------------------------------------------

// Our own condition: a progressive file with more scans than any encoder makes
// (each scan walks the whole image, so thousands of them would hang a load).
const int kTooManyScans = -2;
const int kMaxScans = 500;

// libjpeg's message codes to the messages of a load (all take the row's name).
struct JpegFailure {
    int code;
    UINT id;
};
// clang-format off
const JpegFailure kJpegFailures[] = {
    {JERR_NO_SOI,              9478},  // "Not a legal %s file"
    {JERR_INPUT_EMPTY,         9477},  // "Incomplete %s file, cannot load"
    {JERR_INPUT_EOF,           9477},
    {JERR_FILE_READ,           9489},  // "Cannot read %s file, unknown error"
    {JERR_OUT_OF_MEMORY,       9480},  // "Not enough memory to load %s image"
    {JERR_NO_BACKING_STORE,    9480},
    {JERR_TFILE_CREATE,        9480},
    {JERR_BAD_ALLOC_CHUNK,     9480},
    {JERR_IMAGE_TOO_BIG,       9476},  // "Illegal %s File -- Bad Header"
    {JERR_EMPTY_IMAGE,         9476},
    {JERR_WIDTH_OVERFLOW,      9476},
    {JERR_BAD_LENGTH,          9476},
    {JERR_SOF_DUPLICATE,       9476},
    {JERR_SOI_DUPLICATE,       9476},
    {JERR_SOS_NO_SOF,          9476},
    {JERR_SOF_NO_SOS,          9476},
    {JERR_NO_IMAGE,            9476},
    {JERR_BAD_COMPONENT_ID,    9476},
    {JERR_COMPONENT_COUNT,     9476},
    {JERR_BAD_SAMPLING,        9476},
    {JERR_BAD_MCU_SIZE,        9476},
    {JERR_DQT_INDEX,           9476},
    {JERR_DHT_INDEX,           9476},
    {JERR_DAC_INDEX,           9476},
    {JERR_BAD_PRECISION,       9487},  // "Unsupported %s format"
    {JERR_SOF_UNSUPPORTED,     9487},
    {JERR_NOT_COMPILED,        9487},
    {JERR_NOTIMPL,             9487},
    {JERR_ARITH_NOTIMPL,       9487},
    {JERR_CCIR601_NOTIMPL,     9487},
    {JERR_CONVERSION_NOTIMPL,  9487},
    {JERR_FRACT_SAMPLE_NOTIMPL, 9487},
};
// clang-format on
// Anything else is damaged entropy-coded data or tables.
const UINT kDamagedId = 9493;  // "Error decompressing %s file, cannot load"

UINT LoadFailureId(int code)
{
    for (const JpegFailure& f : kJpegFailures)
        if (f.code == code) return f.id;
    return kDamagedId;
}

// Failures of a save: the disk, memory, anything else as the disk.
UINT SaveFailureId(int code)
{
    switch (code) {
    case JERR_OUT_OF_MEMORY:
    case JERR_NO_BACKING_STORE:
    case JERR_TFILE_CREATE:
    case JERR_BAD_ALLOC_CHUNK: return 9488;  // "Not enough memory to save image in %s format"
    default: return 8217;                    // "Cannot write file to disk, check disk space"
    }
}

struct ErrorManager {
    jpeg_error_mgr pub;
    jmp_buf jump;
    int code;         // libjpeg's message code of the failure
    bool hitMarker;   // entropy-coded data stopped before the scan's end
    bool hitEnd;      // the file ended before the EOI marker
};

void OnErrorExit(j_common_ptr cinfo)
{
    ErrorManager* err = reinterpret_cast<ErrorManager*>(cinfo->err);
    err->code = cinfo->err->msg_code;
    longjmp(err->jump, 1);
}

void OnEmitMessage(j_common_ptr cinfo, int level)
{
    if (level >= 0) return;  // trace messages
    ErrorManager* err = reinterpret_cast<ErrorManager*>(cinfo->err);
    cinfo->err->num_warnings++;
    if (cinfo->err->msg_code == JWRN_HIT_MARKER) err->hitMarker = true;
    if (cinfo->err->msg_code == JWRN_JPEG_EOF) err->hitEnd = true;
}

void OnOutputMessage(j_common_ptr) {}

void InitErrors(ErrorManager* err)
{
    jpeg_std_error(&err->pub);
    err->pub.error_exit = OnErrorExit;
    err->pub.emit_message = OnEmitMessage;
    err->pub.output_message = OnOutputMessage;
    err->code = 0;
    err->hitMarker = false;
    err->hitEnd = false;
}

// Ends a progressive load that has gone beyond any real number of scans.
void OnProgress(j_common_ptr cinfo)
{
    if (!cinfo->is_decompressor) return;
    if (reinterpret_cast<j_decompress_ptr>(cinfo)->input_scan_number > kMaxScans) {
        ErrorManager* err = reinterpret_cast<ErrorManager*>(cinfo->err);
        err->code = kTooManyScans;
        longjmp(err->jump, 1);
    }
}


// ---- the comment of the last load -----------------------------------------------------

const size_t kLargestComment = 65536;
char* lastComment = nullptr;

void ClearComment()
{
    free(lastComment);
    lastComment = nullptr;
}

// Joins the COM segments' texts (each up to its first NUL) with CR LF.
void KeepComment(j_decompress_ptr cinfo)
{
    size_t total = 0;
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_COM) total += m->data_length + 2;
    if (total == 0) return;
    if (total > kLargestComment) total = kLargestComment;
    lastComment = static_cast<char*>(malloc(total + 1));
    if (!lastComment) return;
    size_t used = 0;
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m; m = m->next) {
        if (m->marker != JPEG_COM) continue;
        size_t n = strnlen(reinterpret_cast<const char*>(m->data), m->data_length);
        if (n == 0) continue;
        if (used > 0 && used + 2 <= total) {
            lastComment[used++] = '\r';
            lastComment[used++] = '\n';
        }
        if (n > total - used) n = total - used;
        memcpy(lastComment + used, m->data, n);
        used += n;
    }
    lastComment[used] = 0;
}

// ---- quality estimate -------------------------------------------------------------------

// The example tables of the JPEG standard (natural order), which encoders
// scale by quality.
const int kLumaTable[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                            14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                            18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                            49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
const int kChromaTable[64] = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
                              24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// The quality 1..100 whose scaled standard table is nearest to the file's
// (sum of absolute differences; ties, where the largest values are held at
// 255, to the lower quality); 0 without a table.
int EstimateQuality(const JQUANT_TBL* table, const int* standard)
{
    if (!table) return 0;
    bool baseline = true;
    for (int i = 0; i < 64; i++)
        if (table->quantval[i] > 255) baseline = false;
    long bestError = -1;
    int best = 0;
    for (int quality = 1; quality <= 100; quality++) {
        long scale = quality < 50 ? 5000 / quality : 200 - quality * 2;
        long error = 0;
        for (int i = 0; i < 64; i++) {
            long q = (standard[i] * scale + 50) / 100;
            if (q <= 0) q = 1;
            if (q > 32767) q = 32767;
            if (baseline && q > 255) q = 255;
            long d = q - table->quantval[i];
            error += d < 0 ? -d : d;
        }
        if (bestError < 0 || error < bestError) {
            bestError = error;
            best = quality;
        }
    }
    return best;
}

// 0 for "1/1/1", 1 for "2/1/1", 2 for "4/1/1": luma samples per chroma sample.
int SubsamplingCode(j_decompress_ptr cinfo)
{
    if (cinfo->num_components < 3) return 0;
    const jpeg_component_info* c = cinfo->comp_info;
    int luma = c[0].h_samp_factor * c[0].v_samp_factor;
    int chroma = c[1].h_samp_factor * c[1].v_samp_factor;
    if (chroma <= 0 || luma <= chroma) return 0;
    return luma / chroma >= 3 ? 2 : 1;
}

const JQUANT_TBL* TableOf(j_decompress_ptr cinfo, int component)
{
    if (component >= cinfo->num_components) return nullptr;
    int n = cinfo->comp_info[component].quant_tbl_no;
    return (n >= 0 && n < NUM_QUANT_TBLS) ? cinfo->quant_tbl_ptrs[n] : nullptr;
}

// ---- load ----------------------------------------------------------------------------------

// round(a * b / 255) for a, b in 0..255.
inline BYTE MulDiv255(int a, int b)
{
    int t = a * b + 128;
    return static_cast<BYTE>(((t >> 8) + t) >> 8);
}

// CMYK samples to blue, green, red. Adobe's files (Photoshop) store the four
// inks inverted, so that each channel is ink-free value times black-free value.
void CmykRow(const BYTE* s, BYTE* d, JDIMENSION width, bool inverted)
{
    for (JDIMENSION i = 0; i < width; i++, s += 4, d += 3) {
        int c = s[0], m = s[1], y = s[2], k = s[3];
        if (!inverted) {
            c = 255 - c;
            m = 255 - m;
            y = 255 - y;
            k = 255 - k;
        }
        d[0] = MulDiv255(y, k);
        d[1] = MulDiv255(m, k);
        d[2] = MulDiv255(c, k);
    }
}

// Whether every coefficient of every component of a progressive file has had
// its final scan (successive approximation down to bit 0).
bool AllScansRead(j_decompress_ptr cinfo)
{
    if (!cinfo->coef_bits) return false;
    for (int c = 0; c < cinfo->num_components; c++)
        for (int k = 0; k < DCTSIZE2; k++)
            if (cinfo->coef_bits[c][k] != 0) return false;
    return true;
}

// Everything a load holds, so that the failure path can free it after a jump.
struct LoadState {
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    jpeg_progress_mgr progress;
    FILE* file = nullptr;
    HGLOBAL dib = nullptr;
    BYTE* row = nullptr;
    bool created = false;
};

void FreeLoad(LoadState* st)
{
    if (st->created) jpeg_destroy_decompress(&st->cinfo);
    if (st->dib) {
        GlobalUnlock(st->dib);
        GlobalFree(st->dib);
    }
    free(st->row);
    if (st->file) fclose(st->file);
    st->created = false;
    st->dib = nullptr;
    st->row = nullptr;
    st->file = nullptr;
}

// The decode itself; returns the message id of a failure, 0 on success. The
// DIB is in st->dib (locked) on success.
UINT Decode(LoadState* st)
{
    j_decompress_ptr cinfo = &st->cinfo;
    if (setjmp(st->err.jump)) return st->err.code == kTooManyScans ? kDamagedId : LoadFailureId(st->err.code);

    jpeg_create_decompress(cinfo);
    st->created = true;
    // The whole-image coefficient buffer of a progressive file keeps to the
    // image limit as the image does; libjpeg fails beyond it.
    const uint64_t limit = DIB_GetMemoryLimit();
    cinfo->mem->max_memory_to_use = limit < static_cast<uint64_t>(LONG_MAX) ? static_cast<long>(limit) : LONG_MAX;
    st->progress.progress_monitor = OnProgress;
    cinfo->progress = &st->progress;
    jpeg_stdio_src(cinfo, st->file);
    jpeg_save_markers(cinfo, JPEG_COM, 0xFFFF);
    jpeg_read_header(cinfo, TRUE);
    KeepComment(cinfo);

    int depth;
    switch (cinfo->jpeg_color_space) {
    case JCS_GRAYSCALE:
        cinfo->out_color_space = JCS_GRAYSCALE;
        depth = 8;
        break;
    case JCS_YCbCr:
    case JCS_RGB:
        cinfo->out_color_space = JCS_EXT_BGR;
        depth = 24;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        cinfo->out_color_space = JCS_CMYK;
        depth = 24;
        break;
    default: return 9487;  // "Unsupported %s format"
    }
    cinfo->dct_method = JDCT_ISLOW;

    // The image must fit the image limit before libjpeg takes memory for it;
    // a file cut short is found by the decode.
    const JDIMENSION width = cinfo->image_width, height = cinfo->image_height;
    const SIZE_T packed = DIB_PackedSize(static_cast<LONG>(width), static_cast<LONG>(height), depth, depth == 8 ? 256 : 0);
    if (!packed || packed > DIB_GetMemoryLimit()) return 9480;

    jpeg_start_decompress(cinfo);
    if (cinfo->output_width != width || cinfo->output_height != height) return kDamagedId;
    // A progressive file is read whole by now: if it ended early, every
    // coefficient must still have had its last scan, else scans are missing.
    if (cinfo->progressive_mode && st->err.hitEnd && !AllScansRead(cinfo)) return 9477;

    const DWORD colours = depth == 8 ? 256 : 0;
    const DWORD stride = DIB_Stride(static_cast<LONG>(width), depth);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(width), static_cast<LONG>(height), depth, stride, colours);
    INF_SetValue(INF_BITSPERPIXEL, depth);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, depth == 8 ? 1 : 0);
    INF_SetValue(INF_COMPRESSED, 1);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, cinfo->saw_JFIF_marker ? cinfo->JFIF_major_version * 100 + cinfo->JFIF_minor_version : -1);

    BYTE* block = nullptr;
    st->dib = DIB_AllocatePacked(&header, &block);
    if (!st->dib) return 9480;
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    for (DWORD i = 0; i < colours; i++) table[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + colours * sizeof(RGBQUAD);

    const bool cmyk = cinfo->out_color_space == JCS_CMYK;
    if (cmyk) {
        st->row = static_cast<BYTE*>(malloc(static_cast<size_t>(width) * 4));
        if (!st->row) return 9480;
    }
    const bool inverted = cinfo->saw_Adobe_marker != 0;

    INF_SetProgress(0, static_cast<WORD>(height));
    BYTE* d = pixels + static_cast<size_t>(height - 1) * stride;
    for (JDIMENSION r = 0; r < height; r++, d -= stride) {
        UTL_Yield();
        if (r % 16 == 1 || r == height - 1) INF_Step(static_cast<WORD>(r + 1));
        JSAMPROW target = cmyk ? st->row : d;
        if (jpeg_read_scanlines(cinfo, &target, 1) != 1) return kDamagedId;
        if (cmyk) CmykRow(st->row, d, width, inverted);
    }
    jpeg_finish_decompress(cinfo);
    // The file ended inside a scan's data: the image isn't all there. (A file
    // that lacks no more than its end marker, or the padding after the last
    // codes, is whole.)
    if (st->err.hitEnd && st->err.hitMarker) return 9477;
    return 0;
}

// ---- save ------------------------------------------------------------------------------------

int saveQuality = ZIM_DefaultQuality;

struct SaveState {
    jpeg_compress_struct cinfo;
    ErrorManager err;
    FILE* file = nullptr;
    BYTE* row = nullptr;
    bool created = false;
};

// The gray level of a colour: the colour's own level when it is gray.
inline BYTE GrayOf(BYTE r, BYTE g, BYTE b)
{
    if (r == g && g == b) return r;
    return static_cast<BYTE>((r * 30 + g * 59 + b * 11 + 50) / 100);
}

// One DIB row (any of 1, 4, 8, 24, 32 bits) as gray or B, G, R samples.
void SourceRow(const BITMAPINFOHEADER* h, const RGBQUAD* table, WORD entries, const BYTE* s, BYTE* d, bool gray)
{
    const LONG width = h->biWidth;
    for (LONG x = 0; x < width; x++) {
        BYTE r, g, b;
        switch (h->biBitCount) {
        case 24:
            b = s[3 * x];
            g = s[3 * x + 1];
            r = s[3 * x + 2];
            break;
        case 32:
            b = s[4 * x];
            g = s[4 * x + 1];
            r = s[4 * x + 2];
            break;
        default: {
            int bits = h->biBitCount;
            int perByte = 8 / bits;
            int shift = 8 - bits * (1 + x % perByte);
            unsigned index = (s[x / perByte] >> shift) & ((1U << bits) - 1);
            RGBQUAD c = index < entries ? table[index] : RGBQUAD{0, 0, 0, 0};
            b = c.rgbBlue;
            g = c.rgbGreen;
            r = c.rgbRed;
            break;
        }
        }
        if (gray) {
            d[x] = GrayOf(r, g, b);
        } else {
            d[3 * x] = b;
            d[3 * x + 1] = g;
            d[3 * x + 2] = r;
        }
    }
}

UINT Encode(SaveState* st, const BITMAPINFOHEADER* h, const RGBQUAD* table, const BYTE* pixels, bool gray)
{
    j_compress_ptr cinfo = &st->cinfo;
    if (setjmp(st->err.jump)) return SaveFailureId(st->err.code);
    jpeg_create_compress(cinfo);
    st->created = true;
    jpeg_stdio_dest(cinfo, st->file);
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    cinfo->image_width = static_cast<JDIMENSION>(h->biWidth);
    cinfo->image_height = static_cast<JDIMENSION>(height);
    cinfo->input_components = gray ? 1 : 3;
    cinfo->in_color_space = gray ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, saveQuality, TRUE);
    cinfo->dct_method = JDCT_ISLOW;
    if (!gray) {
        // 2x2 subsampling of the chrominance ("4/1/1").
        cinfo->comp_info[0].h_samp_factor = 2;
        cinfo->comp_info[0].v_samp_factor = 2;
        for (int c = 1; c < 3; c++) cinfo->comp_info[c].h_samp_factor = cinfo->comp_info[c].v_samp_factor = 1;
    }
    jpeg_start_compress(cinfo, TRUE);

    const DWORD stride = DIB_Stride(h->biWidth, h->biBitCount);
    const WORD entries = DIB_NumColors(h);
    const bool direct = !gray && h->biBitCount == 24;
    const bool bottomUp = h->biHeight > 0;
    for (LONG y = 0; y < height; y++) {
        UTL_Yield();
        const BYTE* s = pixels + static_cast<size_t>(bottomUp ? height - 1 - y : y) * stride;
        JSAMPROW rowPointer;
        if (direct) {
            rowPointer = const_cast<JSAMPROW>(s);
        } else {
            SourceRow(h, table, entries, s, st->row, gray);
            rowPointer = st->row;
        }
        jpeg_write_scanlines(cinfo, &rowPointer, 1);
    }
    jpeg_finish_compress(cinfo);
    return 0;
}

}  // namespace

// ---- the five operations ------------------------------------------------------------------

int ZIM_LoadAs(LPCSTR path, HGLOBAL* dib, LPCSTR kind)
{
    *dib = nullptr;
    ClearComment();
    std::unique_ptr<LoadState> st(new (std::nothrow) LoadState());
    if (!st) {
        MSG_Report(SEV_ERROR, 9480, kind);
        return 0;
    }
    st->file = FIL_OpenStream(path, "rb");
    if (!st->file) return 0;  // as every reader: a file that can't be opened fails silently
    st->cinfo.err = &st->err.pub;
    InitErrors(&st->err);
    UINT failure = Decode(st.get());
    if (failure) {
        FreeLoad(st.get());
        ClearComment();
        MSG_Report(SEV_ERROR, failure, kind);
        return 0;
    }
    GlobalUnlock(st->dib);
    *dib = st->dib;
    st->dib = nullptr;
    FreeLoad(st.get());
    return 1;
}

int ZIM_Load(LPCSTR path, HGLOBAL* dib) { return ZIM_LoadAs(path, dib, "JPG"); }

int ZIM_SaveAs(LPCSTR path, HGLOBAL dib, WORD color, WORD, WORD depth, LPCSTR kind)
{
    BITMAPINFOHEADER* h = nullptr;
    RGBQUAD* table = nullptr;
    BYTE* pixels = nullptr;
    if (!DIB_Lock(dib, &h, &table, &pixels)) {
        MSG_Report(SEV_ERROR, 9487, kind);
        return 0;
    }
    const int bits = h->biBitCount;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    const uint64_t needed = static_cast<uint64_t>(h->biSize) + DIB_PaletteSize(h) +
                            static_cast<uint64_t>(DIB_Stride(h->biWidth, bits)) * static_cast<uint64_t>(height);
    if (h->biSize < sizeof(BITMAPINFOHEADER) || h->biCompression != BI_RGB || h->biWidth <= 0 || height <= 0 ||
        h->biWidth > JPEG_MAX_DIMENSION || height > JPEG_MAX_DIMENSION ||
        (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) || needed > GlobalSize(dib)) {
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, 9487, kind);
        return 0;
    }
    // A gray image is written as one gray channel; every colour image as
    // YCbCr from 24-bit samples (an 8-bit colour image is expanded).
    (void)depth;
    const bool gray = color == 0;
    std::unique_ptr<SaveState> st(new (std::nothrow) SaveState());
    if (st) st->row = static_cast<BYTE*>(malloc(static_cast<size_t>(h->biWidth) * 3 + 4));
    if (!st || !st->row) {
        if (st) free(st->row);
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, 9488, kind);
        return 0;
    }
    st->file = FIL_OpenStream(path, "wb");
    if (!st->file) {
        free(st->row);
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, 8215);
        return 0;
    }
    st->cinfo.err = &st->err.pub;
    InitErrors(&st->err);
    UINT failure = Encode(st.get(), h, table, pixels, gray);
    if (st->created) jpeg_destroy_compress(&st->cinfo);
    free(st->row);
    GlobalUnlock(dib);
    if (fclose(st->file) != 0 && !failure) failure = 8217;
    if (failure) {
        FIL_Remove(path);
        if (failure == 9488) MSG_Report(SEV_ERROR, failure, kind);
        else MSG_Report(SEV_ERROR, failure);
        return 0;
    }
    return 1;
}

int ZIM_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    return ZIM_SaveAs(path, dib, color, compressed, depth, "JPG");
}

void ZIM_SetQuality(int quality) { saveQuality = quality < 1 ? 1 : (quality > 100 ? 100 : quality); }
int ZIM_GetQuality() { return saveQuality; }

int ZIM_GetInfo(LPCSTR path, LPVOID, DWORD* parameters, int* kind, DWORD* uncompressedSize, int* bitCount, LPVOID,
                LPVOID)
{
    if (parameters) *parameters = 0;
    if (kind) *kind = 0;
    if (uncompressedSize) *uncompressedSize = 0;
    if (bitCount) *bitCount = 0;
    std::unique_ptr<LoadState> st(new (std::nothrow) LoadState());
    if (!st) return 0;
    st->file = FIL_OpenStream(path, "rb");
    if (!st->file) return 0;
    st->cinfo.err = &st->err.pub;
    InitErrors(&st->err);
    j_decompress_ptr cinfo = &st->cinfo;
    if (setjmp(st->err.jump)) {
        FreeLoad(st.get());
        return 0;
    }
    jpeg_create_decompress(cinfo);
    st->created = true;
    jpeg_stdio_src(cinfo, st->file);
    jpeg_read_header(cinfo, TRUE);
    const int luma = EstimateQuality(TableOf(cinfo, 0), kLumaTable);
    const int chroma = EstimateQuality(TableOf(cinfo, 1), kChromaTable);
    const int bits = cinfo->jpeg_color_space == JCS_GRAYSCALE ? 8 : 24;
    if (parameters)
        *parameters = static_cast<DWORD>(luma) | (static_cast<DWORD>(chroma) << 8) |
                      (static_cast<DWORD>(SubsamplingCode(cinfo)) << 16);
    if (kind) *kind = cinfo->progressive_mode ? 2 : 1;
    if (bitCount) *bitCount = bits;
    if (uncompressedSize) {
        uint64_t size = static_cast<uint64_t>(DIB_Stride(static_cast<LONG>(cinfo->image_width), bits)) * cinfo->image_height;
        *uncompressedSize = size > 0xFFFFFFFFULL ? 0xFFFFFFFFU : static_cast<DWORD>(size);
    }
    FreeLoad(st.get());
    return 1;
}

LPCSTR ZIM_GetComment() { return lastComment ? lastComment : ""; }

HGLOBAL ZIM_ToDisplay(HGLOBAL dib, int colours, int, HPALETTE)
{
    // The display copy is a Flat Cut to the display's fixed palette: black
    // and white, the 16 colours, or the 3-3-2 cube of 256, without dither and
    // without the thermometer. The count may come as bits a pixel (1, 4, 8).
    int target = 8;
    if (colours == 1 || colours == 2) target = 1;
    else if (colours >= 3 && colours <= 16 && colours != 8) target = 4;
    const int showProgress = CLR_FlatShowProgress;
    CLR_SetFlatProgress(0);
    HGLOBAL reduced = nullptr;
    if (!CLR_FlatReduce(dib, &reduced, target, 0)) reduced = nullptr;
    CLR_SetFlatProgress(showProgress);
    return reduced;
}
