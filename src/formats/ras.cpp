// Sun raster: big-endian header, an optional map of planes of red, green and
// blue, raw or run-length lines at 1, 8, 16 or 24 bits; written raw at 1, 8
// and 24 bits.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

const DWORD kMagic = 0x59A66A95;
const UINT kHeaderSize = 32;

enum {
    MSG_NOT_LEGAL = 9478,    // "Not a legal %s file"
    MSG_UNSUPPORTED = 9487,  // "Unsupported %s format"
    MSG_IGNORE_MAP_16 = 8240,
    MSG_IGNORE_MAP_24 = 8241,
    MSG_BAD_MAP = 9475,      // "Illegal colormap in %s file"
    MSG_NO_MEMORY = 9480,    // "Not enough memory to load %s image"
    MSG_INCOMPLETE = 9477,   // "Incomplete %s file, cannot load"
    MSG_POSSIBLE_ERRORS = 1296,
    MSG_CANCEL_BATCH = 21252,
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE_HEADER = 8216,
    MSG_SAVE_MEMORY = 9488,  // "Not enough memory to save image in %s format"
    MSG_CANNOT_WRITE = 8197,
};

enum { TYPE_STANDARD = 1, TYPE_RUN_LENGTH = 2, MAP_RGB = 1 };

inline DWORD Long(const BYTE* at)
{
    return static_cast<DWORD>(at[0]) << 24 | static_cast<DWORD>(at[1]) << 16 | static_cast<DWORD>(at[2]) << 8 | at[3];
}

inline void PutLong(BYTE* at, DWORD v)
{
    at[0] = static_cast<BYTE>(v >> 24);
    at[1] = static_cast<BYTE>(v >> 16);
    at[2] = static_cast<BYTE>(v >> 8);
    at[3] = static_cast<BYTE>(v);
}

// Bytes of a file line: padded to 16 bits.
inline uint64_t LineBytes(uint64_t depth, uint64_t width) { return ((depth * width + 15) / 8) & ~1ULL; }

struct LoadState {
    HGLOBAL image = nullptr;
    bool open = false;
    ~LoadState()
    {
        if (image) {
            GlobalUnlock(image);
            GlobalFree(image);
        }
        Close();
    }
    void Close()
    {
        if (open) FIL_CloseBuffered();
        open = false;
    }
    int Fail(UINT message)
    {
        Close();
        if (message) FMT_FormatError(message, FMT_Row_RAS);
        return 0;
    }
};

// The run-length decoder; a run may carry over from one line to the next.
struct Runs {
    DWORD left = 0;  // repeats of value still owed
    BYTE value = 0;

    // Bytes past the end of the file read as 0.
    void Fill(BYTE* line, DWORD n)
    {
        DWORD i = 0;
        while (i < n) {
            if (left) {
                DWORD take = left < n - i ? left : n - i;
                memset(line + i, value, take);
                i += take;
                left -= take;
                continue;
            }
            if (FIL_BufferedOverrun()) {
                // Past the end every byte is a literal 0.
                memset(line + i, 0, n - i);
                return;
            }
            BYTE b = FIL_GetBuffered();
            if (b != 0x80) {
                line[i++] = b;
                continue;
            }
            BYTE count = FIL_GetBuffered();
            if (count == 0) {
                line[i++] = 0x80;
            } else {
                value = FIL_GetBuffered();
                left = count + 1u;
            }
        }
    }
};

}  // namespace

int RAS_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_READ, 0x8000);
    if (file == 0 || file == HFILE_ERROR) return 0;
    LoadState s;
    s.open = true;
    const DWORD fileSize = FIL_Size(file);

    BYTE h[kHeaderSize];
    if (FIL_ReadBuffered(h, kHeaderSize) != kHeaderSize || Long(h) != kMagic) return s.Fail(MSG_NOT_LEGAL);
    const DWORD width = Long(h + 4) & 0xFFFF;
    const DWORD height = Long(h + 8) & 0xFFFF;
    const DWORD depth = Long(h + 12);
    const DWORD type = Long(h + 20);
    const DWORD mapType = Long(h + 24);
    const DWORD mapLength = Long(h + 28);

    const bool hasMap = mapType == MAP_RGB && mapLength > 0;
    int bits = 0;
    if (hasMap && mapLength / 3 == 256) bits = 8;
    else if (depth == 1 || depth == 8 || depth == 24) bits = static_cast<int>(depth);
    if (!bits) return s.Fail(MSG_UNSUPPORTED);
    if (mapLength && depth == 16) MSG_Report(SEV_WARNING, MSG_IGNORE_MAP_16);
    if (mapLength && depth == 24) MSG_Report(SEV_WARNING, MSG_IGNORE_MAP_24);
    // A map of 24-bit pixels other than 256 entries is passed over unused.
    const bool useMap = hasMap && bits <= 8;
    if (useMap && mapLength > (3u << bits)) return s.Fail(MSG_BAD_MAP);

    const DWORD colors = DIB_ColorsForBits(bits);
    const DWORD stride = DIB_Stride(static_cast<LONG>(width), bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(width), static_cast<LONG>(height), bits, stride, colors);
    INF_SetProgress(0, static_cast<WORD>(height));
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, depth == 1);
    INF_SetValue(INF_COMPRESSED, type == TYPE_RUN_LENGTH);
    INF_SetValue(INF_BITSPERPIXEL, bits);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 1);
    INF_SetCreator(CREATOR_SUN);
    BYTE* block;
    s.image = DIB_AllocatePacked(&header, &block);
    if (!s.image) return s.Fail(MSG_NO_MEMORY);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);

    // The map's bytes are there whatever its type; a file too short for them is incomplete.
    if (static_cast<uint64_t>(kHeaderSize) + mapLength > fileSize) return s.Fail(MSG_INCOMPLETE);
    if (useMap) {
        BYTE map[768];
        if (FIL_ReadBuffered(map, mapLength) != mapLength) return s.Fail(MSG_INCOMPLETE);
        const DWORD n = mapLength / 3;
        for (DWORD i = 0; i < n; i++) table[i] = {map[2 * n + i], map[n + i], map[i], 0};
    } else {
        if (mapLength) FIL_SeekBuffered(static_cast<LONG>(kHeaderSize + mapLength), FILE_BEGIN);
        if (bits == 1) {
            table[0] = {255, 255, 255, 0};
            table[1] = {0, 0, 0, 0};
        }
    }

    // Only these depths have a row layout; any other is refused before its
    // line (which a hostile depth could make enormous) is taken.
    if (depth != 1 && depth != 8 && depth != 16 && depth != 24) return s.Fail(MSG_UNSUPPORTED);
    const DWORD lineBytes = static_cast<DWORD>(LineBytes(depth, width));
    // The picture's bytes of a DIB row, without its pad.
    const DWORD rowBytes = static_cast<DWORD>((static_cast<uint64_t>(width) * bits + 7) / 8);
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes + 1u]);
    if (!line) return s.Fail(MSG_NO_MEMORY);
    Runs runs;
    for (DWORD y = 0; y < height; y++) {
        if (!UTL_Yield()) return s.Fail(0);
        if (y % 16 == 1 || y == height - 1) INF_Step(static_cast<WORD>(y + 1));
        if (type == TYPE_RUN_LENGTH) runs.Fill(line.get(), lineBytes);
        else if (lineBytes && FIL_ReadBuffered(line.get(), lineBytes) != lineBytes) return s.Fail(MSG_INCOMPLETE);
        BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - y) * stride;
        // What a line holds beyond the DIB's row is cut off.
        switch (depth) {
        case 1:
        case 8:
        case 24: memcpy(row, line.get(), lineBytes < rowBytes ? lineBytes : rowBytes); break;
        case 16:
            for (DWORD x = 0; x < width && x < rowBytes; x++) row[x] = line[2 * x];
            break;
        default: return s.Fail(MSG_UNSUPPORTED);
        }
    }
    if (runs.left) {
        // The last run reaches beyond the picture.
        if (MSG_Query(SEV_WARNING, MSG_POSSIBLE_ERRORS) != IDYES) {
            if (BAT_IsActive() && MSG_Query(SEV_NOTICE, MSG_CANCEL_BATCH) == IDYES) MSG_SetAbort(1);
            return s.Fail(0);
        }
    }
    s.Close();
    GlobalUnlock(s.image);
    *dib = s.image;
    s.image = nullptr;
    return 1;
}

namespace {

int FailSave(HFILE file, LPCSTR path, UINT message)
{
    _lclose(file);
    if (message == MSG_SAVE_MEMORY) FMT_FormatError(message, FMT_Row_RAS);
    else MSG_Report(SEV_ERROR, message);
    FIL_Remove(path);
    return 0;
}

}  // namespace

int RAS_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    const int bits = h->biBitCount;
    const LONG width = h->biWidth;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    // Only the depths the row offers have a form here.
    if ((bits != 1 && bits != 8 && bits != 24) || width <= 0 || height <= 0) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_RAS);
        return 0;
    }
    const uint64_t lineBytes = LineBytes(static_cast<uint64_t>(bits), static_cast<uint64_t>(width));
    const uint64_t length = lineBytes * static_cast<uint64_t>(height);
    DWORD colors = bits == 24 ? 0 : DIB_NumColors(h);
    if (bits != 24 && colors > (1u << bits)) colors = 1u << bits;
    const DWORD stride = DIB_Stride(width, bits);

    HFILE file = FIL_Create(path);
    if (file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    BYTE header[kHeaderSize];
    PutLong(header, kMagic);
    PutLong(header + 4, static_cast<DWORD>(width));
    PutLong(header + 8, static_cast<DWORD>(height));
    PutLong(header + 12, static_cast<DWORD>(bits));
    PutLong(header + 16, static_cast<DWORD>(length));
    PutLong(header + 20, TYPE_STANDARD);
    PutLong(header + 24, bits == 24 ? 0 : MAP_RGB);
    PutLong(header + 28, colors * 3);
    if (_lwrite(file, reinterpret_cast<LPCCH>(header), kHeaderSize) != kHeaderSize)
        return FailSave(file, path, MSG_CANNOT_WRITE_HEADER);
    if (colors) {
        BYTE map[3 * 256];
        for (DWORD i = 0; i < colors; i++) {
            map[i] = table[i].rgbRed;
            map[colors + i] = table[i].rgbGreen;
            map[2 * colors + i] = table[i].rgbBlue;
        }
        if (_lwrite(file, reinterpret_cast<LPCCH>(map), 3 * colors) != 3 * colors)
            return FailSave(file, path, MSG_CANNOT_WRITE);
    }

    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[static_cast<SIZE_T>(lineBytes)]());
    if (!line) return FailSave(file, path, MSG_SAVE_MEMORY);
    // The picture's bytes of a row; the rest of the line is the zero pad.
    const SIZE_T used = bits == 1 ? (static_cast<SIZE_T>(width) + 7) / 8 : static_cast<SIZE_T>(width) * (bits / 8);
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? y : height - 1 - y) * stride;
        memcpy(line.get(), row, used);
        if (_lwrite(file, reinterpret_cast<LPCCH>(line.get()), static_cast<UINT>(lineBytes)) != lineBytes)
            return FailSave(file, path, MSG_CANNOT_WRITE);
    }
    _lclose(file);
    return 1;
}
