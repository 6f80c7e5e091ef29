// IFF and LBM: the Amiga interleaved bitmap (FORM ILBM). Both rows share the
// reader and every message names the IFF row; only IFF has a writer, which
// always makes a plain 24-plane uncompressed file. Values are big-endian.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace {

enum {
    MSG_INCOMPLETE = 9477,    // "Incomplete %s file, cannot load"
    MSG_NO_MEMORY = 9480,     // "Not enough memory to load %s image"
    MSG_DAMAGED = 9482,       // "The %s File is Damaged -- Cannot Load"
    MSG_COMPRESSION = 9483,   // "Unknown %s compression method"
    MSG_UNKNOWN = 9484,       // "Unknown %s format, cannot read"
    MSG_SUB_FORMAT = 9485,    // "Unknown %s sub-format, cannot read"
    MSG_UNSUPPORTED = 9487,   // "Unsupported %s format"
    MSG_DECOMPRESS = 9493,    // "Error decompressing %s file, cannot load"
    MSG_NO_TAG = 8193,        // "Cannot find image tag in IFF file, cannot load"
    MSG_ACBM = 8208,          // "ACBM/ABIT IFF format files not supported"
    MSG_CANNOT_CREATE = 8215,
};

const UINT kBufferSize = 0x4000;
const DWORD kHam = 0x800, kHalfBrite = 0x80;
// Table entries kept; a longer table's further entries read as black.
const DWORD kKeptEntries = 4096;

inline DWORD BigLong(const BYTE* p)
{
    return static_cast<DWORD>(p[0]) << 24 | static_cast<DWORD>(p[1]) << 16 | static_cast<DWORD>(p[2]) << 8 | p[3];
}
inline WORD BigWord(const BYTE* p) { return static_cast<WORD>(p[0] << 8 | p[1]); }
inline bool IsId(const BYTE* p, const char* id) { return memcmp(p, id, 4) == 0; }

// What the chunk walk found.
struct Scan {
    UINT failure = 0;  // a message id when a needed chunk was cut short
    DWORD width = 0, height = 0, planes = 0, compression = 0, mode = 0;
    bool hasHeader = false;
    DWORD colors = 0;  // the table's count as the file gives it
    std::vector<RGBTRIPLE> table;  // the entries kept
    bool body = false, abit = false;
    uint64_t dataAt = 0, dataLength = 0;
};

// Reads n bytes at a place in the file: false when the file ends first.
bool ReadAt(uint64_t at, BYTE* target, UINT n)
{
    // Chunks that follow each other need no seek (and no refill of the buffer).
    if (at > 0x7FFFFFFF) return false;
    if (FIL_TellBuffered() != static_cast<LONG>(at) && FIL_SeekBuffered(static_cast<LONG>(at), FILE_BEGIN) < 0)
        return false;
    return FIL_ReadBuffered(target, n) == n;
}

// Walks the chunks from byte 12 until the form's size is used up or the file
// ends. With rounded, odd chunk lengths take their pad byte along.
Scan WalkChunks(DWORD formSize, bool rounded)
{
    Scan s;
    const uint64_t end = static_cast<uint64_t>(formSize) + 8;
    uint64_t at = 12;
    while (at < end && !s.body && !s.abit) {
        BYTE head[8];
        if (!ReadAt(at, head, 8)) break;
        const DWORD length = BigLong(head + 4);
        const uint64_t data = at + 8;
        if (IsId(head, "BMHD")) {
            BYTE b[20];
            if (!ReadAt(data, b, 20)) {
                s.failure = MSG_INCOMPLETE;
                return s;
            }
            s.width = BigWord(b);
            s.height = BigWord(b + 2);
            s.planes = b[8];
            s.compression = b[10];
            s.hasHeader = true;
        } else if (IsId(head, "CMAP")) {
            s.colors = length / 3;
            const DWORD kept = s.colors < kKeptEntries ? s.colors : kKeptEntries;
            s.table.assign(kept, RGBTRIPLE{});
            std::vector<BYTE> raw(static_cast<size_t>(kept) * 3 + 1);
            if (kept && !ReadAt(data, raw.data(), kept * 3)) {
                s.failure = MSG_INCOMPLETE;
                return s;
            }
            for (DWORD i = 0; i < kept; i++) {
                s.table[i].rgbtRed = raw[3 * i];
                s.table[i].rgbtGreen = raw[3 * i + 1];
                s.table[i].rgbtBlue = raw[3 * i + 2];
            }
        } else if (IsId(head, "CAMG")) {
            BYTE b[4];
            if (!ReadAt(data, b, 4)) {
                s.failure = MSG_INCOMPLETE;
                return s;
            }
            s.mode = BigLong(b);
        } else if (IsId(head, "BODY") || IsId(head, "ABIT")) {
            (IsId(head, "BODY") ? s.body : s.abit) = true;
            s.dataAt = data;
            s.dataLength = length;
        }
        at = data + length + (rounded ? (length & 1) : 0);
    }
    return s;
}

// The image being built and the file, released on every way out.
struct LoadState {
    HGLOBAL image = nullptr;
    bool open = false;
    ~LoadState()
    {
        if (image) {
            GlobalUnlock(image);
            GlobalFree(image);
        }
        if (open) FIL_CloseBuffered();
    }
    int Fail(UINT message)
    {
        if (open) FIL_CloseBuffered();
        open = false;
        if (message == MSG_NO_TAG || message == MSG_ACBM) MSG_Report(SEV_ERROR, message);
        else if (message) FMT_FormatError(message, FMT_Row_IFF);
        return 0;
    }
};

// Fetches one plane line, plain or byte-run packed. 0 on success, else the
// message: overshootMessage for a run past the line, 9482 for a short file.
UINT FetchLine(BYTE* line, DWORD bytes, DWORD compression, UINT overshootMessage)
{
    if (compression == 0) return FIL_ReadBuffered(line, bytes) == bytes ? 0 : MSG_DAMAGED;
    const DWORD overrun = FIL_BufferedOverrun();
    DWORD done = 0;
    while (done < bytes) {
        const signed char code = static_cast<signed char>(FIL_GetBuffered());
        if (FIL_BufferedOverrun() != overrun) return MSG_DAMAGED;
        if (code == -128) continue;
        if (code >= 0) {
            const DWORD count = static_cast<DWORD>(code) + 1;
            if (count > bytes - done) return overshootMessage;
            for (DWORD i = 0; i < count; i++) line[done++] = FIL_GetBuffered();
        } else {
            const DWORD count = static_cast<DWORD>(-code) + 1;
            if (count > bytes - done) return overshootMessage;
            const BYTE value = FIL_GetBuffered();
            memset(line + done, value, count);
            done += count;
        }
    }
    return FIL_BufferedOverrun() != overrun ? MSG_DAMAGED : 0;
}

inline int PixelBit(const BYTE* line, DWORD x) { return (line[x >> 3] >> (7 - (x & 7))) & 1; }

// Eight bytes, in memory order, each 1 where the byte's bit (from the high
// one) is set.
uint64_t SpreadBits(BYTE b)
{
    static const struct Table {
        uint64_t spread[256];
        Table()
        {
            for (int v = 0; v < 256; v++) {
                BYTE bytes[8];
                for (int k = 0; k < 8; k++) bytes[k] = static_cast<BYTE>((v >> (7 - k)) & 1);
                memcpy(&spread[v], bytes, 8);
            }
        }
    } table;
    return table.spread[b];
}

}  // namespace

int IFF_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    LoadState s;
    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_READ, kBufferSize);
    if (file == HFILE_ERROR || file == 0) return 0;
    s.open = true;

    BYTE form[12];
    if (FIL_ReadBuffered(form, 4) != 4) return s.Fail(MSG_INCOMPLETE);
    if (!IsId(form, "FORM")) return s.Fail(MSG_UNKNOWN);
    if (FIL_ReadBuffered(form + 4, 8) != 8) return s.Fail(MSG_INCOMPLETE);
    if (IsId(form + 8, "ACBM")) return s.Fail(MSG_ACBM);
    if (!IsId(form + 8, "ILBM")) return s.Fail(MSG_SUB_FORMAT);

    // Chunk lengths count as given; when that finds no image, a second walk
    // takes each odd chunk's pad byte along, as other programs write them.
    Scan scan = WalkChunks(BigLong(form + 4), false);
    if (!scan.body && !scan.abit) {
        Scan padded = WalkChunks(BigLong(form + 4), true);
        if (padded.failure == 0 && (padded.body || padded.abit)) scan = std::move(padded);
    }
    if (scan.failure) return s.Fail(scan.failure);
    if (scan.width == 0 || scan.height == 0) return s.Fail(MSG_INCOMPLETE);
    if (!scan.body && !scan.abit) return s.Fail(MSG_NO_TAG);
    if (scan.planes == 0 || scan.planes > 32) return s.Fail(MSG_UNSUPPORTED);
    if (scan.compression > 1) return s.Fail(MSG_COMPRESSION);

    const DWORD planes = scan.planes;
    const DWORD usedPlanes = planes > 24 ? 24 : planes;
    const bool ham = (scan.mode & kHam) != 0;
    bool hasTable = scan.colors > 0;
    DWORD colors = scan.colors;
    if (hasTable && (scan.mode & kHalfBrite)) {
        // The table doubles; the added half stays black.
        colors = scan.colors * 2;
        scan.table.resize(colors < kKeptEntries ? colors : kKeptEntries, RGBTRIPLE{});
    }
    // Hold-and-modify: the data's mask and the table cut to the data's width.
    const int hamShift = static_cast<int>(usedPlanes) - 2;
    const DWORD hamMask = ham && hamShift > 0 ? (1u << hamShift) - 1 : 0;
    if (ham) {
        for (RGBTRIPLE& e : scan.table) {
            const int shift = 10 - static_cast<int>(usedPlanes);
            BYTE* c[3] = {&e.rgbtRed, &e.rgbtGreen, &e.rgbtBlue};
            for (BYTE* v : c) *v = static_cast<BYTE>(shift >= 0 ? *v >> shift : *v << -shift);
        }
    }

    const int bits = ham ? 24 : hasTable ? 8 : 24;
    const DWORD dibColors = bits == 8 ? (colors > 256 ? 256 : colors) : 0;
    const LONG width = static_cast<LONG>(scan.width), height = static_cast<LONG>(scan.height);
    const DWORD stride = DIB_Stride(width, bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, bits, stride, dibColors);
    BYTE* block;
    s.image = DIB_AllocatePacked(&header, &block);
    if (!s.image) return s.Fail(MSG_NO_MEMORY);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);
    if (planes != 24 && planes != 32 && hasTable && !ham) {
        for (DWORD i = 0; i < dibColors && i < scan.table.size(); i++) {
            table[i].rgbRed = scan.table[i].rgbtRed;
            table[i].rgbGreen = scan.table[i].rgbtGreen;
            table[i].rgbBlue = scan.table[i].rgbtBlue;
        }
    }
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 1);
    INF_SetValue(INF_BITSPERPIXEL, bits);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 1);
    INF_SetCreator(CREATOR_AMIGA);

    const DWORD lineBytes = ((scan.width + 15) / 16) * 2;
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes]);
    std::unique_ptr<DWORD[]> values(new (std::nothrow) DWORD[scan.width]);
    // The bits of the red, green and blue planes, a byte a pixel each.
    const SIZE_T padded = static_cast<SIZE_T>(lineBytes) * 8;
    std::unique_ptr<BYTE[]> channels(new (std::nothrow) BYTE[3 * padded]);
    if (!line || !values || !channels) return s.Fail(MSG_NO_MEMORY);
    if (scan.dataAt > 0x7FFFFFFF || FIL_SeekBuffered(static_cast<LONG>(scan.dataAt), FILE_BEGIN) < 0)
        return s.Fail(MSG_DAMAGED);

    if (scan.abit) {
        // One whole plane after the other, uncompressed, straight into the DIB.
        INF_SetProgress(0, 24);
        for (DWORD p = 0; p < planes; p++) {
            INF_Step(static_cast<WORD>(p + 1));
            for (DWORD y = 0; y < scan.height; y++) {
                if (FIL_ReadBuffered(line.get(), lineBytes) != lineBytes) return s.Fail(MSG_DAMAGED);
                if (p >= 24 || (bits == 8 && p >= 8)) continue;
                BYTE* row = pixels + static_cast<SIZE_T>(scan.height - 1 - y) * stride;
                for (DWORD x = 0; x < scan.width; x++) {
                    if (!PixelBit(line.get(), x)) continue;
                    if (bits == 8) row[x] |= static_cast<BYTE>(1u << p);
                    else row[3 * static_cast<SIZE_T>(x) + 2 - p / 8] |= static_cast<BYTE>(1u << (p & 7));
                }
            }
        }
    } else {
        INF_SetProgress(0, static_cast<WORD>(scan.height));
        // A short plane line past the DIB's rows: the 24-plane path's
        // overshoot is damage, the general path's a decoding error.
        const bool plain24 = planes == 24 && !ham && !hasTable;
        const UINT overshoot = plain24 ? MSG_DAMAGED : MSG_DECOMPRESS;
        for (DWORD y = 0; y < scan.height; y++) {
            if (!UTL_Yield()) return s.Fail(0);
            if (y % 16 == 1 || y == scan.height - 1) INF_Step(static_cast<WORD>(y));
            memset(channels.get(), 0, 3 * padded);
            for (DWORD p = 0; p < planes; p++) {
                if (UINT m = FetchLine(line.get(), lineBytes, scan.compression, overshoot)) return s.Fail(m);
                if (p >= usedPlanes) continue;
                // Eight pixels at a time: a plane byte spread to one bit in
                // each of eight bytes, moved to the plane's bit.
                BYTE* channel = channels.get() + (p >> 3) * padded;
                for (DWORD i = 0; i < lineBytes; i++) {
                    if (!line[i]) continue;
                    uint64_t eight;
                    memcpy(&eight, channel + 8 * static_cast<SIZE_T>(i), 8);
                    eight |= SpreadBits(line[i]) << (p & 7);
                    memcpy(channel + 8 * static_cast<SIZE_T>(i), &eight, 8);
                }
            }
            for (DWORD x = 0; x < scan.width; x++)
                values[x] = channels[x] | channels[padded + x] << 8 | static_cast<DWORD>(channels[2 * padded + x]) << 16;
            BYTE* row = pixels + static_cast<SIZE_T>(scan.height - 1 - y) * stride;
            if (bits == 8) {
                for (DWORD x = 0; x < scan.width; x++) row[x] = static_cast<BYTE>(values[x]);
            } else if (!ham) {
                for (DWORD x = 0; x < scan.width; x++) {
                    BYTE* px = row + 3 * static_cast<SIZE_T>(x);
                    const DWORD v = values[x];
                    if (usedPlanes == 24) {
                        px[0] = static_cast<BYTE>(v >> 16);
                        px[1] = static_cast<BYTE>(v >> 8);
                        px[2] = static_cast<BYTE>(v);
                    } else {
                        px[0] = px[1] = px[2] = static_cast<BYTE>(v);
                    }
                }
            } else {
                // Each pixel holds the last colour and changes one channel, or
                // takes a table entry; colours start black on every row.
                BYTE red = 0, green = 0, blue = 0;
                for (DWORD x = 0; x < scan.width; x++) {
                    const DWORD v = values[x];
                    const DWORD selector = hamShift >= 0 ? (v >> hamShift) & 3 : 0;
                    const BYTE data = static_cast<BYTE>(v & hamMask);
                    const DWORD d = v & hamMask;
                    switch (selector) {
                    case 0:
                        if (!hasTable || colors < hamMask) {
                            red = green = blue = data;
                        } else if (d < scan.table.size()) {
                            red = scan.table[d].rgbtRed;
                            green = scan.table[d].rgbtGreen;
                            blue = scan.table[d].rgbtBlue;
                        } else {
                            red = green = blue = 0;
                        }
                        break;
                    case 1: blue = data; break;
                    case 2: red = data; break;
                    default: green = data; break;
                    }
                    BYTE* px = row + 3 * static_cast<SIZE_T>(x);
                    px[0] = static_cast<BYTE>(blue << 4);
                    px[1] = static_cast<BYTE>(green << 4);
                    px[2] = static_cast<BYTE>(red << 4);
                }
            }
        }
    }
    FIL_CloseBuffered();
    s.open = false;
    GlobalUnlock(s.image);
    *dib = s.image;
    s.image = nullptr;
    return 1;
}

// ---- writing ------------------------------------------------------------------

namespace {

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

const uint64_t kLowBits = 0x0101010101010101ULL;
// The low bits of eight bytes (pixel k in bits 8k) as one plane byte, pixel
// 0 in its high bit: the product puts bit 8k at bit 63 - k, without carries.
inline BYTE GatherBits(uint64_t lowBits) { return static_cast<BYTE>((lowBits * 0x8040201008040201ULL) >> 56); }

}  // namespace

int IFF_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(dib, &info);
    // The pixels go out as 24-bit rows; any other depth is widened first.
    HGLOBAL wide = info.biBitCount == 24 ? nullptr : DIB_ConvertBits(dib, 24);
    if (info.biBitCount != 24 && !wide) {
        FMT_FormatError(MSG_NO_MEMORY, FMT_Row_IFF);
        return 0;
    }
    struct Release {
        HGLOBAL wide;
        ~Release()
        {
            if (wide) GlobalFree(wide);
        }
    } release{wide};
    HGLOBAL source = wide ? wide : dib;
    const DIB_Scoped locked(source);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    const LONG width = h->biWidth;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    // The header holds the sizes in 16 bits: a larger picture has no form here.
    if (width <= 0 || width > 0xFFFF || height <= 0 || height > 0xFFFF) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_IFF);
        return 0;
    }
    const DWORD lineBytes = ((static_cast<DWORD>(width) + 15) / 16) * 2;
    const DWORD stride = DIB_Stride(width, 24);
    // The sizes count one plane's lines, though 24 planes follow.
    const DWORD bodySize = static_cast<DWORD>(height) * lineBytes;

    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes]);
    std::unique_ptr<uint64_t[]> groups(new (std::nothrow) uint64_t[3 * static_cast<SIZE_T>(lineBytes)]);
    if (!line || !groups) {
        FMT_FormatError(MSG_NO_MEMORY, FMT_Row_IFF);
        return 0;
    }
    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_WRITE, kBufferSize);
    if (file == HFILE_ERROR || file == 0) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    BYTE head[60] = {};
    memcpy(head, "FORM", 4);
    PutBigLong(head + 4, bodySize + 60);
    memcpy(head + 8, "ILBMBMHD", 8);
    PutBigLong(head + 16, 20);
    PutBigWord(head + 20, static_cast<DWORD>(width));
    PutBigWord(head + 22, static_cast<DWORD>(height));
    head[28] = 24;  // planes; masking, compression, pad and transparent stay 0
    head[34] = 1;   // aspect 1:1
    head[35] = 1;
    PutBigWord(head + 36, 1);  // page width and height
    PutBigWord(head + 38, 1);
    memcpy(head + 40, "CAMG", 4);
    PutBigLong(head + 44, 4);  // mode 0 follows
    memcpy(head + 52, "BODY", 4);
    PutBigLong(head + 56, bodySize);
    bool written = FIL_WriteBuffered(head, sizeof head) == sizeof head;

    for (LONG y = 0; y < height && written; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? y : height - 1 - y) * stride;
        // Each channel eight pixels at a time, pixel k in bits 8k to 8k + 7.
        for (int c = 0; c < 3; c++) {
            // Red is the pixel's third byte, green its second, blue its first.
            const BYTE* channel = row + (2 - c);
            for (DWORD g = 0; g < lineBytes; g++) {
                uint64_t eight = 0;
                for (DWORD k = 0, x = 8 * g; k < 8 && x < static_cast<DWORD>(width); k++, x++)
                    eight |= static_cast<uint64_t>(channel[3 * static_cast<SIZE_T>(x)]) << (8 * k);
                groups[c * static_cast<SIZE_T>(lineBytes) + g] = eight;
            }
        }
        for (int p = 0; p < 24; p++) {
            const uint64_t* eight = groups.get() + (p / 8) * static_cast<SIZE_T>(lineBytes);
            for (DWORD g = 0; g < lineBytes; g++) line[g] = GatherBits((eight[g] >> (p & 7)) & kLowBits);
            written = written && FIL_WriteBuffered(line.get(), lineBytes) == lineBytes;
        }
    }
    // A write that failed goes unreported, but leaves no partial file.
    if (!FIL_CloseBuffered() || !written) {
        FIL_Remove(path);
        return 0;
    }
    return 1;
}
