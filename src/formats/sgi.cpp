// SGI RGB: the Silicon Graphics image format at 1 or 3 channels of 8 bits,
// verbatim or run-length. Values are big-endian; the channels lie one after
// the other in the file, each with its rows from the bottom, so the DIB is
// filled channel by channel.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

const int kUsedHeader = 108;  // the bytes of the 512-byte header that are read
const LONG kDataStart = 512;
const WORD kMagic = 474;

// Message ids of this format.
enum {
    MSG_SHORT_HEADER = 9478,   // "Not a legal %s file"
    MSG_BAD_MAGIC = 9479,      // "Not a legal %s format file"
    MSG_CHANNELS = 9486,       // "Unrecognized %s format, cannot read"
    MSG_NO_MEMORY = 9480,      // "Not enough memory to load %s image"
    MSG_INCOMPLETE = 9477,     // "Incomplete %s file, cannot load"
    MSG_DAMAGED = 9482,        // "The %s File is Damaged -- Cannot Load"
    MSG_UNSUPPORTED = 9487,    // "Unsupported %s format"
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE_HEADER = 8216,
    MSG_CANNOT_WRITE = 8197,
    MSG_NO_TABLE_MEMORY = 8205,
    MSG_NO_SAVE_MEMORY = 9488,
    STR_IMAGE_NAME = 1297,
};

inline WORD BigWord(const BYTE* p) { return static_cast<WORD>(p[0] << 8 | p[1]); }
inline DWORD BigLong(const BYTE* p)
{
    return static_cast<DWORD>(p[0]) << 24 | static_cast<DWORD>(p[1]) << 16 | static_cast<DWORD>(p[2]) << 8 | p[3];
}
inline void PutBigWord(BYTE* p, DWORD v)
{
    p[0] = static_cast<BYTE>(v >> 8);
    p[1] = static_cast<BYTE>(v);
}
inline void PutBigLong(BYTE* p, DWORD v)
{
    PutBigWord(p, v >> 16);
    PutBigWord(p + 2, v);
}

// Reads exactly n bytes at the file's position: false on a short read.
bool ReadExact(HFILE file, BYTE* target, DWORD n)
{
    if (n == 0) return true;
    UINT got = _lread(file, target, n);
    return got != static_cast<UINT>(HFILE_ERROR) && got == n;
}

// Ends a failed load: one message (or none), everything freed and closed.
int FailLoad(UINT message, HFILE file, HGLOBAL image)
{
    if (image) {
        GlobalUnlock(image);
        GlobalFree(image);
    }
    _lclose(file);
    if (message) FMT_FormatError(message, FMT_Row_RGB);
    return 0;
}

// Expands one run-length row into every step-th byte of out (x pixels at
// most). Bytes past the row's length read as 0, which ends the row. False
// when the runs hold more pixels than the row.
bool ExpandRow(const BYTE* in, DWORD length, BYTE* out, DWORD x, int step)
{
    DWORD pos = 0, done = 0;
    auto next = [&]() -> BYTE { return pos < length ? in[pos++] : 0; };
    for (;;) {
        BYTE code = next();
        DWORD count = code & 0x7F;
        if (count == 0) return true;
        if (count > x - done) return false;
        if (code & 0x80) {
            for (DWORD i = 0; i < count; i++) out[static_cast<SIZE_T>(done + i) * step] = next();
        } else {
            BYTE value = next();
            for (DWORD i = 0; i < count; i++) out[static_cast<SIZE_T>(done + i) * step] = value;
        }
        done += count;
    }
}

}  // namespace

int SGI_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    HFILE file = FIL_Open(path, OF_READ);
    if (file == HFILE_ERROR) return 0;

    BYTE head[kUsedHeader];
    if (!ReadExact(file, head, kUsedHeader)) return FailLoad(MSG_SHORT_HEADER, file, nullptr);
    if (BigWord(head) != kMagic) return FailLoad(MSG_BAD_MAGIC, file, nullptr);
    const BYTE storage = head[2];
    const DWORD bytesPerChannel = head[3];
    const WORD dimension = BigWord(head + 4);
    const DWORD x = BigWord(head + 6), y = BigWord(head + 8), z = BigWord(head + 10);
    if (z != 1 && z != 3) return FailLoad(MSG_CHANNELS, file, nullptr);
    const bool runLength = storage == 1;

    const int bits = static_cast<int>(z) * 8;
    const DWORD colors = DIB_ColorsForBits(bits);
    const DWORD stride = DIB_Stride(static_cast<LONG>(x), bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(x), static_cast<LONG>(y), bits, stride, colors);
    BYTE* block;
    HGLOBAL image = DIB_AllocatePacked(&header, &block);
    if (!image) return FailLoad(MSG_NO_MEMORY, file, nullptr);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);
    for (DWORD i = 0; i < colors; i++) {
        table[i].rgbRed = table[i].rgbGreen = table[i].rgbBlue = static_cast<BYTE>(i);
        table[i].rgbReserved = 0;
    }

    // A run-length row longer than this scratch is damaged.
    const DWORD scratchSize = (x + x / 64) * 4;
    std::unique_ptr<BYTE[]> scratch(new (std::nothrow) BYTE[scratchSize ? scratchSize : 1]);
    if (!scratch) return FailLoad(MSG_NO_MEMORY, file, image);

    INF_SetProgress(0, static_cast<WORD>(y * z));
    INF_SetValue(INF_PLANES, static_cast<LONG>(z));
    INF_SetValue(INF_GRAY, z == 1);
    INF_SetValue(INF_COMPRESSED, runLength);
    INF_SetValue(INF_BITSPERPIXEL, 8);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 1);
    INF_SetCreator(CREATOR_IRIS);
    if (_llseek(file, kDataStart, FILE_BEGIN) == HFILE_ERROR) return FailLoad(MSG_INCOMPLETE, file, image);

    // The start and length tables of a run-length file, in native order.
    const DWORD rows = y * z;
    std::unique_ptr<DWORD[]> starts, lengths;
    if (runLength) {
        starts.reset(new (std::nothrow) DWORD[rows ? rows : 1]);
        lengths.reset(new (std::nothrow) DWORD[rows ? rows : 1]);
        std::unique_ptr<BYTE[]> raw(new (std::nothrow) BYTE[rows ? 4 * rows : 1]);
        if (!starts || !lengths || !raw) return FailLoad(MSG_NO_MEMORY, file, image);
        if (!ReadExact(file, raw.get(), 4 * rows)) return FailLoad(MSG_INCOMPLETE, file, image);
        for (DWORD i = 0; i < rows; i++) starts[i] = BigLong(raw.get() + 4 * i);
        if (!ReadExact(file, raw.get(), 4 * rows)) return FailLoad(MSG_INCOMPLETE, file, image);
        for (DWORD i = 0; i < rows; i++) lengths[i] = BigLong(raw.get() + 4 * i);
    }

    for (DWORD channel = 0; channel < z; channel++) {
        // Red, the first channel, goes to the last byte of a pixel.
        BYTE* target = pixels + (z - 1 - channel);
        for (DWORD row = 0; row < y; row++) {
            if (!UTL_Yield()) return FailLoad(0, file, image);
            const DWORD step = row + channel * y;
            if (row % 16 == 1 || row == y - 1) INF_Step(static_cast<WORD>(step));
            // Where the row lies; a dimension of 0 or above 3 reads on from
            // where the last row ended.
            DWORD index = step;
            bool seek = dimension >= 1 && dimension <= 3;
            if (dimension == 1) index = 0;
            if (dimension == 2) index = row;
            LONG offset = 0;
            if (runLength) {
                offset = static_cast<LONG>(starts[index]);
            } else {
                uint64_t at = kDataStart + static_cast<uint64_t>(index) * x * bytesPerChannel;
                if (dimension == 1) at = kDataStart;
                offset = at > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<LONG>(at);
            }
            if (seek && _llseek(file, offset, FILE_BEGIN) == HFILE_ERROR) return FailLoad(MSG_INCOMPLETE, file, image);

            BYTE* out = target + static_cast<SIZE_T>(row) * stride;
            if (runLength) {
                const DWORD length = lengths[index];
                if (length > scratchSize) return FailLoad(MSG_DAMAGED, file, image);
                if (!ReadExact(file, scratch.get(), length) || !ExpandRow(scratch.get(), length, out, x, z))
                    return FailLoad(MSG_INCOMPLETE, file, image);
            } else {
                if (!ReadExact(file, scratch.get(), x)) return FailLoad(MSG_INCOMPLETE, file, image);
                for (DWORD i = 0; i < x; i++) out[static_cast<SIZE_T>(i) * z] = scratch[i];
            }
        }
    }
    _lclose(file);
    GlobalUnlock(image);
    *dib = image;
    return 1;
}

// ---- writing ------------------------------------------------------------------

namespace {

// Ends a failed save: the file closed, the message shown, the file removed.
int FailSave(HFILE file, LPCSTR path, UINT message, bool formatMessage)
{
    _lclose(file);
    if (formatMessage) FMT_FormatError(message, FMT_Row_RGB);
    else MSG_Report(SEV_ERROR, message);
    FIL_Remove(path);
    return 0;
}

}  // namespace

int SGI_Save(LPCSTR path, HGLOBAL dib, WORD, WORD compressed, WORD)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    // The DIB's own depth decides, so that no row is read past its end: true
    // colour goes out as three channels, a mapped pixel as one, the first
    // byte (blue) of its table entry.
    const int bits = h->biBitCount;
    const LONG width = h->biWidth;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    const bool trueColour = bits == 24 || bits == 32;
    const DWORD channels = trueColour ? 3 : 1;
    // The header holds the sizes in 16 bits: a larger picture has no form here.
    if (width <= 0 || width > 0xFFFF || height <= 0 || height > 0xFFFF ||
        (!trueColour && bits != 1 && bits != 4 && bits != 8)) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_RGB);
        return 0;
    }
    const DWORD stride = DIB_Stride(width, bits);
    const DWORD entries = DIB_NumColors(h);

    HFILE file = FIL_Create(path);
    if (file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    BYTE head[kDataStart] = {};
    PutBigWord(head, kMagic);
    head[2] = compressed ? 1 : 0;
    PutBigWord(head + 6, static_cast<DWORD>(width));
    PutBigWord(head + 8, static_cast<DWORD>(height));
    PutBigWord(head + 10, channels);
    char name[80] = {};
    LoadStringA(nullptr, STR_IMAGE_NAME, name, sizeof name);
    memcpy(head + 24, name, sizeof name);
    if (_lwrite(file, reinterpret_cast<LPCCH>(head), kDataStart) != static_cast<UINT>(kDataStart))
        return FailSave(file, path, MSG_CANNOT_WRITE_HEADER, false);

    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[width]);
    if (!line) return FailSave(file, path, MSG_NO_SAVE_MEMORY, true);

    if (compressed) {
        // Only the tables go out: every start 0 and every length a row's
        // width; no picture data follow.
        const SIZE_T rows = static_cast<SIZE_T>(height) * channels;
        std::unique_ptr<BYTE[]> tables(new (std::nothrow) BYTE[8 * rows]());
        if (!tables) return FailSave(file, path, MSG_NO_TABLE_MEMORY, false);
        for (SIZE_T i = 0; i < rows; i++) PutBigLong(tables.get() + 4 * (rows + i), static_cast<DWORD>(width));
        if (_lwrite(file, reinterpret_cast<LPCCH>(tables.get()), static_cast<UINT>(8 * rows)) != 8 * rows)
            return FailSave(file, path, MSG_CANNOT_WRITE, false);
        _lclose(file);
        return 1;
    }

    const int step = bits / 8;
    for (DWORD channel = 0; channel < channels; channel++) {
        for (LONG y = 0; y < height; y++) {
            const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? height - 1 - y : y) * stride;
            if (trueColour) {
                const BYTE* at = row + (channels - 1 - channel);
                for (LONG i = 0; i < width; i++) line[i] = at[static_cast<SIZE_T>(i) * step];
            } else {
                for (LONG i = 0; i < width; i++) {
                    DWORD index = bits == 8   ? row[i]
                                  : bits == 4 ? ((i & 1) ? row[i >> 1] & 15 : row[i >> 1] >> 4)
                                              : (row[i >> 3] >> (7 - (i & 7))) & 1;
                    line[i] = index < entries ? table[index].rgbBlue : 0;
                }
            }
            if (_lwrite(file, reinterpret_cast<LPCCH>(line.get()), static_cast<UINT>(width)) !=
                static_cast<UINT>(width))
                return FailSave(file, path, MSG_CANNOT_WRITE_HEADER, false);
        }
    }
    _lclose(file);
    return 1;
}
