// PCX: the PC Paintbrush run-length raster. One reader serves the PCX and PCC
// rows (its messages always name PCX); the writer stores 1, 4, 8 and 24-bit
// images as version 5 files.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

const int kHeaderSize = 128;
const int kTailSize = 769;  // the byte 12 and 256 entries of red, green, blue
const BYTE kTailMark = 12;

// Message ids of this format.
enum {
    MSG_BAD_HEADER = 9479,     // "Not a legal %s format file"
    MSG_UNSUPPORTED = 9487,    // "Unsupported %s format"
    MSG_INCOMPLETE = 9477,     // "Incomplete %s file, cannot load"
    MSG_NO_MEMORY = 9480,      // "Not enough memory to load %s image"
    MSG_DECODE_ERROR = 18176,  // the once-per-file question on a run cut at the line's end
    MSG_CANCEL_BATCH = 21252,
    MSG_CANNOT_SAVE = 21015,   // "Cannot save %u-bit PCX files"
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE = 8197,
    MSG_NO_SAVE_MEMORY = 9488,
};

struct PcxHeader {
    BYTE manufacturer;
    signed char version;
    BYTE encoding;
    BYTE bitsPerPlane;
    WORD xMin, yMin, xMax, yMax;
    WORD hRes, vRes;
    BYTE colorMap[48];
    BYTE reserved;
    BYTE planes;
    WORD bytesPerLine;
    WORD paletteInfo;
};

// How a decoded line becomes a DIB row.
enum RowLayout {
    ROW_COPY,     // one plane of 1, 4 or 8 bits: the bytes as they are
    ROW_2BIT,     // one plane of 2 bits: widened to nibbles
    ROW_RGB,      // three planes of 8 bits: red, green, blue strips
    ROW_4PLANES,  // four planes of 1 bit: bits gathered into nibbles
    ROW_NONE,     // a layout with no conversion: the row stays zero
    ROW_STOP,     // a plane count that can't be read: the load fails silently
};

// The depth a DIB gives to a file's total bits per pixel; other values stay.
int WidenBits(int bits)
{
    if (bits == 1) return 1;
    if (bits >= 2 && bits <= 4) return 4;
    if (bits >= 5 && bits <= 8) return 8;
    if (bits >= 9 && bits <= 24) return 24;
    return bits;
}

RowLayout LayoutFor(int planes, int bitsPerPlane)
{
    switch (planes) {
    case 1:
        if (bitsPerPlane == 1 || bitsPerPlane == 4 || bitsPerPlane == 8) return ROW_COPY;
        return bitsPerPlane == 2 ? ROW_2BIT : ROW_NONE;
    case 3: return bitsPerPlane == 8 ? ROW_RGB : ROW_NONE;
    case 4: return bitsPerPlane == 1 ? ROW_4PLANES : ROW_NONE;
    default: return ROW_STOP;
    }
}

// The four output bytes of one plane byte of a 4-plane line: bit 7 of the
// plane byte lands in bit 4 of output byte 0 (the leftmost pixel is the high
// nibble), bit 6 in bit 0 of byte 0, and so on. Shifting it by the plane's
// number puts the bit at its place in the nibble.
struct PlaneSpread {
    uint32_t value[256];
    PlaneSpread()
    {
        for (int v = 0; v < 256; v++) {
            uint32_t out = 0;
            for (int k = 0; k < 4; k++) {
                if (v & (0x80 >> (2 * k))) out |= 0x10u << (8 * k);
                if (v & (0x40 >> (2 * k))) out |= 0x01u << (8 * k);
            }
            value[v] = out;
        }
    }
};

// The undecoded rest of the file and where the decoder stands in it.
struct Source {
    const BYTE* at;
    const BYTE* end;
};

// The load in progress: what the once-per-file question has been answered.
struct LoadState {
    bool continueAnswered;  // Yes was given; cut runs are no longer reported
};

// Asks whether to go on after a damaged run; on anything but Yes it also
// offers to cancel a running batch. True to go on.
bool AskToContinue(LoadState& state)
{
    if (state.continueAnswered) return true;
    if (MSG_Query(SEV_WARNING, MSG_DECODE_ERROR) == IDYES) {
        state.continueAnswered = true;
        return true;
    }
    if (BAT_IsActive() && MSG_Query(SEV_NOTICE, MSG_CANCEL_BATCH) == IDYES) MSG_SetAbort(1);
    return false;
}

// Decodes one line of length bytes. A run that goes beyond the line is cut
// there (and reported once per file); the end of the source reads as zeros.
// False when the user chose to stop.
bool DecodeLine(Source& src, BYTE* line, DWORD length, LoadState& state)
{
    DWORD pos = 0;
    while (pos < length) {
        if (src.at >= src.end) {
            memset(line + pos, 0, length - pos);
            return true;
        }
        BYTE code = *src.at++;
        if ((code & 0xC0) != 0xC0) {
            line[pos++] = code;
            continue;
        }
        DWORD count = code & 0x3F;
        BYTE value = src.at < src.end ? *src.at++ : 0;
        if (count > length - pos) {
            memset(line + pos, value, length - pos);
            pos = length;
            if (!AskToContinue(state)) return false;
            break;
        }
        memset(line + pos, value, count);
        pos += count;
    }
    return true;
}

// Turns a decoded line into a DIB row of stride bytes, never writing past it.
void StoreRow(RowLayout layout, const BYTE* line, DWORD bytesPerLine, LONG width, BYTE* row, DWORD stride,
              const PlaneSpread& spread)
{
    switch (layout) {
    case ROW_COPY:
        memcpy(row, line, bytesPerLine < stride ? bytesPerLine : stride);
        break;
    case ROW_2BIT: {
        DWORD n = bytesPerLine < stride / 2 ? bytesPerLine : stride / 2;
        for (DWORD i = 0; i < n; i++) {
            BYTE v = line[i];
            row[2 * i] = static_cast<BYTE>(((v >> 6) & 3) << 4 | ((v >> 4) & 3));
            row[2 * i + 1] = static_cast<BYTE>(((v >> 2) & 3) << 4 | (v & 3));
        }
        break;
    }
    case ROW_RGB: {
        DWORD n = static_cast<DWORD>(width) < bytesPerLine ? static_cast<DWORD>(width) : bytesPerLine;
        const BYTE* red = line;
        const BYTE* green = line + bytesPerLine;
        const BYTE* blue = line + 2 * bytesPerLine;
        for (DWORD x = 0; x < n; x++) {
            row[3 * x] = blue[x];
            row[3 * x + 1] = green[x];
            row[3 * x + 2] = red[x];
        }
        break;
    }
    case ROW_4PLANES: {
        DWORD n = bytesPerLine < stride / 4 ? bytesPerLine : stride / 4;
        const BYTE* p0 = line;
        const BYTE* p1 = line + bytesPerLine;
        const BYTE* p2 = line + 2 * bytesPerLine;
        const BYTE* p3 = line + 3 * bytesPerLine;
        for (DWORD i = 0; i < n; i++) {
            uint32_t v = spread.value[p0[i]] | spread.value[p1[i]] << 1 | spread.value[p2[i]] << 2 |
                         spread.value[p3[i]] << 3;
            row[4 * i] = static_cast<BYTE>(v);
            row[4 * i + 1] = static_cast<BYTE>(v >> 8);
            row[4 * i + 2] = static_cast<BYTE>(v >> 16);
            row[4 * i + 3] = static_cast<BYTE>(v >> 24);
        }
        break;
    }
    default:
        break;
    }
}

void SetEntry(RGBQUAD* table, DWORD i, BYTE red, BYTE green, BYTE blue)
{
    table[i].rgbRed = red;
    table[i].rgbGreen = green;
    table[i].rgbBlue = blue;
    table[i].rgbReserved = 0;
}

void ReadHeader(HFILE file, PcxHeader* h)
{
    h->manufacturer = FIL_ReadByte(file);
    h->version = static_cast<signed char>(FIL_ReadByte(file));
    h->encoding = FIL_ReadByte(file);
    h->bitsPerPlane = FIL_ReadByte(file);
    h->xMin = FIL_ReadWord(file);
    h->yMin = FIL_ReadWord(file);
    h->xMax = FIL_ReadWord(file);
    h->yMax = FIL_ReadWord(file);
    h->hRes = FIL_ReadWord(file);
    h->vRes = FIL_ReadWord(file);
    FIL_ReadBlock(file, h->colorMap, sizeof h->colorMap);
    h->reserved = FIL_ReadByte(file);
    h->planes = FIL_ReadByte(file);
    h->bytesPerLine = FIL_ReadWord(file);
    h->paletteInfo = FIL_ReadWord(file);
    BYTE filler[58];
    FIL_ReadBlock(file, filler, sizeof filler);
}

// Fills the colour table by the file's total bits before widening. Returns
// false when the file is too short to hold the 256-colour tail; colour is
// cleared for tables that are gray by rule.
bool ReadPalette(HFILE file, const PcxHeader& h, int totalBits, RGBQUAD* table, DWORD entries, bool* colour)
{
    *colour = true;
    if (h.version == 3) {
        *colour = false;
        if (totalBits == 1 && entries >= 2) {
            SetEntry(table, 0, 0, 0, 0);
            SetEntry(table, 1, 255, 255, 255);
        } else if (totalBits == 4 && entries >= 16) {
            for (DWORD i = 0; i < 16; i++) SetEntry(table, i, BYTE(i * 15), BYTE(i * 15), BYTE(i * 15));
        } else if (totalBits == 8 && entries >= 256) {
            for (DWORD i = 0; i < 256; i++) SetEntry(table, i, BYTE(i), BYTE(i), BYTE(i));
        }
        return true;
    }
    if (totalBits == 24) {
        *colour = false;
        return true;
    }
    if (totalBits == 8) {
        if (_llseek(file, -kTailSize, FILE_END) == HFILE_ERROR) return false;
        BYTE tail[kTailSize];
        UINT got = _lread(file, tail, kTailSize);
        if (got == static_cast<UINT>(HFILE_ERROR)) got = 0;
        if (got >= 1 && tail[0] == kTailMark) {
            // A short tail can't happen after a good seek; what isn't there stays zero.
            memset(tail + got, 0, kTailSize - got);
            for (DWORD i = 0; i < 256 && i < entries; i++)
                SetEntry(table, i, tail[1 + 3 * i], tail[2 + 3 * i], tail[3 + 3 * i]);
        } else {
            *colour = false;
            for (DWORD i = 0; i < 256 && i < entries; i++) SetEntry(table, i, BYTE(i), BYTE(i), BYTE(i));
        }
        return true;
    }
    if (totalBits == 1) {
        *colour = false;
        if (entries >= 2) {
            SetEntry(table, 0, 0, 0, 0);
            SetEntry(table, 1, 255, 255, 255);
        }
        return true;
    }
    // The header's map holds 16 entries at most; the DIB's table bounds the rest.
    DWORD wanted = totalBits < 5 ? (1u << totalBits) : 16;
    DWORD n = wanted < entries ? wanted : entries;
    for (DWORD i = 0; i < n; i++)
        SetEntry(table, i, h.colorMap[3 * i], h.colorMap[3 * i + 1], h.colorMap[3 * i + 2]);
    return true;
}

// Ends a failed load: one message (or none), everything freed and closed.
int FailLoad(UINT message, HFILE file, HGLOBAL image)
{
    if (image) {
        GlobalUnlock(image);
        GlobalFree(image);
    }
    if (file != HFILE_ERROR) _lclose(file);
    if (message) FMT_FormatError(message, FMT_Row_PCX);
    return 0;
}

}  // namespace

int PCX_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    HFILE file = FIL_Open(path, OF_READ);
    if (file == HFILE_ERROR) return 0;
    LoadState state = {false};

    PcxHeader h;
    FIL_SetReadError(0);
    ReadHeader(file, &h);
    if (h.manufacturer != 10) return FailLoad(MSG_BAD_HEADER, file, nullptr);
    if (h.version < 3) return FailLoad(MSG_UNSUPPORTED, file, nullptr);
    if (FIL_GetReadError()) return FailLoad(MSG_INCOMPLETE, file, nullptr);

    LONG width = static_cast<LONG>(h.xMax) - static_cast<LONG>(h.xMin) + 1;
    LONG height = static_cast<LONG>(h.yMax) - static_cast<LONG>(h.yMin) + 1;
    if (width <= 0 || height <= 0) return FailLoad(MSG_BAD_HEADER, file, nullptr);
    // A plane count with no row layout stops the decode of the first line,
    // and the load fails without a word.
    if (h.planes == 0) return FailLoad(0, file, nullptr);
    int totalBits = h.bitsPerPlane * h.planes;
    int bits = WidenBits(totalBits);
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32)
        return FailLoad(MSG_UNSUPPORTED, file, nullptr);

    // A short file reads as zero past its end, so only memory bounds the
    // image: the block and the line buffer both keep to the image limit.
    DWORD stride = DIB_Stride(width, bits);
    DWORD fileSize = FIL_Size(file);
    uint64_t data = fileSize > static_cast<DWORD>(kHeaderSize) ? fileSize - kHeaderSize : 0;
    uint64_t lineBytes = static_cast<uint64_t>(h.planes) * h.bytesPerLine;
    if (lineBytes > DIB_GetMemoryLimit()) return FailLoad(MSG_NO_MEMORY, file, nullptr);

    BITMAPINFOHEADER header;
    DWORD colors = DIB_ColorsForBits(bits);
    DIB_InitHeader(&header, width, height, bits, stride, colors);
    BYTE* block;
    HGLOBAL image = DIB_AllocatePacked(&header, &block);
    if (!image) return FailLoad(MSG_NO_MEMORY, file, nullptr);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);

    bool colour;
    if (!ReadPalette(file, h, totalBits, table, colors, &colour)) return FailLoad(MSG_INCOMPLETE, file, image);
    if (_llseek(file, kHeaderSize, FILE_BEGIN) == HFILE_ERROR) return FailLoad(MSG_INCOMPLETE, file, image);

    INF_SetValue(INF_PLANES, h.planes);
    INF_SetValue(INF_GRAY, bits == 24 ? 0 : !colour);
    INF_SetValue(INF_COMPRESSED, 1);
    INF_SetValue(INF_BITSPERPIXEL, h.bitsPerPlane);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, h.version);
    INF_SetCreator(CREATOR_IBMPC);
    INF_SetProgress(0, static_cast<WORD>(height));

    DWORD length = static_cast<DWORD>(lineBytes);
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[length ? length : 1]);
    std::unique_ptr<BYTE[]> rest(new (std::nothrow) BYTE[data ? data : 1]);
    if (!line || !rest) return FailLoad(MSG_NO_MEMORY, file, image);
    UINT got = data ? _lread(file, rest.get(), static_cast<UINT>(data)) : 0;
    if (got == static_cast<UINT>(HFILE_ERROR)) got = 0;
    _lclose(file);
    file = HFILE_ERROR;

    static const PlaneSpread spread;
    RowLayout layout = LayoutFor(h.planes, h.bitsPerPlane);
    Source src = {rest.get(), rest.get() + got};
    bool stopped = false;
    for (LONG i = 0; i < height; i++) {
        if (!UTL_Yield()) return FailLoad(0, file, image);
        if (i % 16 == 1 || i == height - 1) INF_Step(static_cast<WORD>(i));
        // Past the end of the data every line is zero, as the rows already
        // are: a short file with long lines costs no time for them.
        if (src.at >= src.end && layout != ROW_STOP) {
            INF_Step(static_cast<WORD>(height - 1));
            break;
        }
        if (!DecodeLine(src, line.get(), length, state) || layout == ROW_STOP) {
            stopped = true;
            break;
        }
        BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - i) * stride;
        StoreRow(layout, line.get(), h.bytesPerLine, width, row, stride, spread);
    }
    if (stopped) return FailLoad(0, file, image);

    GlobalUnlock(image);
    *dib = image;
    return 1;
}

// ---- writing ------------------------------------------------------------------

namespace {

// Splits a DIB row into the file's planes. Bytes of a plane beyond the
// picture's width stay as the caller cleared them.
void SplitRow(int bits, const BYTE* row, LONG width, DWORD bytesPerLine, BYTE* planes)
{
    switch (bits) {
    case 1:
    case 8:
        memcpy(planes, row, bytesPerLine);
        break;
    case 4:
        memset(planes, 0, 4 * static_cast<SIZE_T>(bytesPerLine));
        for (LONG x = 0; x < width; x++) {
            BYTE v = (x & 1) ? (row[x >> 1] & 0x0F) : (row[x >> 1] >> 4);
            BYTE mask = static_cast<BYTE>(0x80 >> (x & 7));
            for (int p = 0; p < 4; p++)
                if (v & (1 << p)) planes[p * bytesPerLine + (x >> 3)] |= mask;
        }
        break;
    case 24:
        for (LONG x = 0; x < width; x++) {
            planes[x] = row[3 * x + 2];
            planes[bytesPerLine + x] = row[3 * x + 1];
            planes[2 * bytesPerLine + x] = row[3 * x];
        }
        break;
    default:
        break;  // a depth without a layout writes zero rows
    }
}

// Emits a finished run: a lone byte that can't be taken for a run code goes
// out as itself, anything else as a count and the value.
inline BYTE* PutRun(BYTE* out, DWORD count, BYTE value)
{
    if (count == 0) return out;
    if (count == 1 && (value & 0xC0) != 0xC0) {
        *out++ = value;
    } else {
        *out++ = static_cast<BYTE>(0xC0 | count);
        *out++ = value;
    }
    return out;
}

// Run-length encodes a whole line, planes and all, with one run counter;
// runs stop at 63 bytes. Returns the bytes written to out (at most 2n).
DWORD EncodeLine(const BYTE* in, DWORD n, BYTE* out)
{
    if (n == 0) return 0;
    BYTE* start = out;
    BYTE value = in[0];
    DWORD count = 1;
    for (DWORD i = 1; i < n; i++) {
        if (in[i] == value) {
            if (++count == 63) {
                *out++ = 0xFF;
                *out++ = value;
                count = 0;
            }
        } else {
            out = PutRun(out, count, value);
            value = in[i];
            count = 1;
        }
    }
    out = PutRun(out, count, value);
    return static_cast<DWORD>(out - start);
}

// Ends a failed save: the file closed, the message shown, the file removed.
int FailSave(HFILE file, LPCSTR path, UINT message, bool formatMessage)
{
    _lclose(file);
    if (formatMessage) FMT_FormatError(message, FMT_Row_PCX);
    else MSG_Report(SEV_ERROR, message);
    FIL_Remove(path);
    return 0;
}

void PutWord(BYTE* at, DWORD value)
{
    at[0] = static_cast<BYTE>(value);
    at[1] = static_cast<BYTE>(value >> 8);
}

}  // namespace

int PCX_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    int bits = h->biBitCount;
    // The DIB's depth decides; the message names the depth asked for.
    if (bits == 32) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_SAVE, static_cast<UINT>(depth));
        return 0;
    }
    LONG width = h->biWidth;
    LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    int bitsPerPlane = (bits == 1 || bits == 4) ? 1 : 8;
    int planes = bits == 4 ? 4 : bits == 24 ? 3 : 1;
    uint64_t evenBytes = width > 0 ? (static_cast<uint64_t>(width) * bitsPerPlane + 7) / 8 : 0;
    evenBytes += evenBytes & 1;
    // The header holds the last column, the last row and the line length in
    // 16 bits each; a picture beyond them has no PCX form.
    if (width <= 0 || width > 0x10000 || height <= 0 || height > 0x10000 || evenBytes > 0xFFFF) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_SAVE, static_cast<UINT>(bits));
        return 0;
    }
    DWORD bytesPerLine = static_cast<DWORD>(evenBytes);
    DWORD stride = DIB_Stride(width, bits);
    DWORD tableEntries = DIB_NumColors(h);

    HFILE file = FIL_Create(path);
    if (file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }

    BYTE header[kHeaderSize] = {};
    header[0] = 10;
    header[1] = 5;
    header[2] = 1;
    header[3] = static_cast<BYTE>(bitsPerPlane);
    PutWord(header + 8, static_cast<DWORD>(width - 1));
    PutWord(header + 10, static_cast<DWORD>(height - 1));
    if (bits <= 4) {
        DWORD n = tableEntries < (1u << bits) ? tableEntries : (1u << bits);
        for (DWORD i = 0; i < n; i++) {
            header[16 + 3 * i] = table[i].rgbRed;
            header[17 + 3 * i] = table[i].rgbGreen;
            header[18 + 3 * i] = table[i].rgbBlue;
        }
    }
    header[65] = static_cast<BYTE>(planes);
    PutWord(header + 66, bytesPerLine);
    PutWord(header + 68, 2);
    _lwrite(file, reinterpret_cast<LPCCH>(header), kHeaderSize);

    DWORD lineBytes = bytesPerLine * planes;
    std::unique_ptr<BYTE[]> planeBuffer(new (std::nothrow) BYTE[lineBytes]());
    std::unique_ptr<BYTE[]> output(new (std::nothrow) BYTE[2 * static_cast<SIZE_T>(lineBytes)]);
    if (!planeBuffer || !output) return FailSave(file, path, MSG_NO_SAVE_MEMORY, true);

    for (LONG y = height - 1; y >= 0; y--) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? height - 1 - y : y) * stride;
        SplitRow(bits, row, width, bytesPerLine, planeBuffer.get());
        DWORD n = EncodeLine(planeBuffer.get(), lineBytes, output.get());
        if (_lwrite(file, reinterpret_cast<LPCCH>(output.get()), n) != n)
            return FailSave(file, path, MSG_CANNOT_WRITE, false);
    }

    if (bits == 8) {
        BYTE tail[kTailSize] = {};
        tail[0] = kTailMark;
        for (DWORD i = 0; i < 256 && i < tableEntries; i++) {
            tail[1 + 3 * i] = table[i].rgbRed;
            tail[2 + 3 * i] = table[i].rgbGreen;
            tail[3 + 3 * i] = table[i].rgbBlue;
        }
        if (_lwrite(file, reinterpret_cast<LPCCH>(tail), kTailSize) != static_cast<UINT>(kTailSize))
            return FailSave(file, path, MSG_CANNOT_WRITE, false);
    }
    _lclose(file);
    return 1;
}
