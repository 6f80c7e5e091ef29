// WPG: the raster record of a WordPerfect graphic. The reader takes the last
// bitmap and the last colour map of the file; the writer makes a minimal
// file of one colour map and one bitmap record. Values are little-endian.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

enum {
    MSG_NOT_LEGAL = 9478,      // "Not a legal %s file"
    MSG_NO_MEMORY = 9480,      // "Not enough memory to load %s image"
    MSG_UNSUPPORTED = 9487,    // "Unsupported %s format"
    MSG_ILLEGAL = 9490,        // "Illegal or Unsupported %s file format"
    MSG_DECOMPRESS = 9493,     // "Error decompressing %s file, cannot load"
    MSG_NO_RASTER = 9494,      // "This %s file does not contain a RASTER image"
    MSG_CANNOT_WRITE = 8197,   // "Cannot write file, check disk space"
    MSG_CANNOT_CREATE = 8215,  // "Cannot open output file, check disk space"
    MSG_CANNOT_WRITE_HEADER = 8216,
};

enum { REC_BITMAP1 = 0x0B, REC_COLOR_MAP = 0x0E, REC_START = 0x0F, REC_END = 0x10, REC_BITMAP2 = 0x14 };

inline WORD Word(const BYTE* p) { return static_cast<WORD>(p[0] | p[1] << 8); }

struct Stream {
    FILE* file = nullptr;
    ~Stream()
    {
        if (file) fclose(file);
    }
    // A byte, or -1 at the end of the file.
    int Byte() { return getc(file); }
    bool Read(BYTE* target, size_t n) { return fread(target, 1, n, file) == n; }
    // Records that follow each other need no seek (which would drop the stream's buffer).
    bool Seek(uint64_t at)
    {
        if (at > 0x7FFFFFFF) return false;
        return ftell(file) == static_cast<long>(at) || fseek(file, static_cast<long>(at), SEEK_SET) == 0;
    }
};

// The record's length after its type byte: one byte; or 0xFF and a word; or,
// when that word's high bit is set, its low 15 bits over a further word.
bool RecordLength(Stream& in, DWORD* length)
{
    int b = in.Byte();
    if (b < 0) return false;
    if (b != 0xFF) {
        *length = static_cast<DWORD>(b);
        return true;
    }
    BYTE w[2];
    if (!in.Read(w, 2)) return false;
    DWORD value = Word(w);
    if (value & 0x8000) {
        if (!in.Read(w, 2)) return false;
        value = (value & 0x7FFF) << 16 | Word(w);
    }
    *length = value;
    return true;
}

// Decodes one line into line (whose bytes stand from the last one). Returns
// the times the line is to be used, 0 to end the load without a message and
// -1 for damage (already reported).
long DecodeLine(Stream& in, BYTE* line, DWORD length)
{
    DWORD done = 0;
    while (done < length) {
        const int op = in.Byte();
        const int next = in.Byte();
        if (op < 0 || next < 0) {
            FMT_FormatError(MSG_DECOMPRESS, FMT_Row_WPG);
            return -1;
        }
        if (op == 0) return next;
        if (op < 0x80) {
            if (static_cast<DWORD>(op) > length - done) break;
            line[done] = static_cast<BYTE>(next);
            if (op > 1 && !in.Read(line + done + 1, static_cast<size_t>(op - 1))) {
                FMT_FormatError(MSG_DECOMPRESS, FMT_Row_WPG);
                return -1;
            }
            done += static_cast<DWORD>(op);
        } else {
            const DWORD count = op == 0x80 ? static_cast<DWORD>(next) : static_cast<DWORD>(op & 0x7F);
            const BYTE value = op == 0x80 ? 0xFF : static_cast<BYTE>(next);
            if (count > length - done) break;
            memset(line + done, value, count);
            done += count;
        }
    }
    if (done == length) return 1;
    FMT_FormatError(MSG_DECOMPRESS, FMT_Row_WPG);
    return -1;
}

}  // namespace

int WPG_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    Stream in;
    in.file = FIL_OpenStream(path, "rb");
    if (!in.file) return 0;
    BYTE head[16];
    if (!in.Read(head, 16) || head[0] != 0xFF || memcmp(head + 1, "WPC", 3) != 0) {
        FMT_FormatError(MSG_NOT_LEGAL, FMT_Row_WPG);
        return 0;
    }
    const DWORD dataOffset = static_cast<DWORD>(Word(head + 4)) | static_cast<DWORD>(Word(head + 6)) << 16;

    // The record walk: the last bitmap and the last map win; the end record
    // or the end of the file stops it.
    bool haveBitmap = false, haveMap = false;
    DWORD width = 0, height = 0, depth = 0, mapStart = 0, mapEntries = 0;
    uint64_t bitmapData = 0;
    BYTE map[3 * 256];
    uint64_t at = dataOffset;
    while (in.Seek(at)) {
        const int type = in.Byte();
        DWORD length;
        if (type < 0 || type == REC_END || !RecordLength(in, &length)) break;
        const uint64_t data = static_cast<uint64_t>(ftell(in.file));
        at = data + length;
        if (type == REC_BITMAP1 || type == REC_BITMAP2) {
            BYTE b[20];
            const size_t size = type == REC_BITMAP1 ? 10 : 20;
            if (!in.Read(b, size)) break;
            const BYTE* dims = type == REC_BITMAP1 ? b : b + 10;
            width = Word(dims);
            height = Word(dims + 2);
            depth = Word(dims + 4);
            bitmapData = data + size;
            haveBitmap = true;
        } else if (type == REC_COLOR_MAP) {
            BYTE b[4];
            if (!in.Read(b, 4)) break;
            mapStart = Word(b);
            // The triples that the record's length holds, as far as a table goes.
            const DWORD triples = length >= 4 ? (length - 4) / 3 : 0;
            mapEntries = triples > 256 ? 256 : triples;
            memset(map, 0, sizeof map);
            if (!in.Read(map, 3 * static_cast<size_t>(mapEntries))) mapEntries = 0;
            haveMap = true;
        }
    }

    if (!haveBitmap) {
        FMT_FormatError(MSG_NO_RASTER, FMT_Row_WPG);
        return 0;
    }
    if (depth == 2) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_WPG);
        return 0;
    }
    if (depth != 1 && depth != 4 && depth != 8) {
        FMT_FormatError(MSG_ILLEGAL, FMT_Row_WPG);
        return 0;
    }
    const int bits = static_cast<int>(depth);
    INF_SetProgress(0, static_cast<WORD>(height));
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 1);
    INF_SetValue(INF_BITSPERPIXEL, bits);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, head[10]);
    INF_SetCreator(CREATOR_IBMPC);
    const DWORD colors = DIB_ColorsForBits(bits);
    const DWORD stride = DIB_Stride(static_cast<LONG>(width), bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(width), static_cast<LONG>(height), bits, stride, colors);
    BYTE* block;
    HGLOBAL image = (width && height) ? DIB_AllocatePacked(&header, &block) : nullptr;
    if (!image) {
        FMT_FormatError(MSG_NO_MEMORY, FMT_Row_WPG);
        return 0;
    }
    struct Release {
        HGLOBAL image;
        ~Release()
        {
            if (image) {
                GlobalUnlock(image);
                GlobalFree(image);
            }
        }
    } release{image};
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + colors * sizeof(RGBQUAD);
    if (haveMap) {
        for (DWORD i = 0; i < mapEntries && mapStart + i < colors; i++) {
            table[mapStart + i].rgbRed = map[3 * i];
            table[mapStart + i].rgbGreen = map[3 * i + 1];
            table[mapStart + i].rgbBlue = map[3 * i + 2];
        }
    } else {
        // Without a map: black and white, or a gray ramp.
        const DWORD step = bits == 1 ? 255 : bits == 4 ? 17 : 1;
        for (DWORD i = 0; i < colors; i++)
            table[i].rgbRed = table[i].rgbGreen = table[i].rgbBlue = static_cast<BYTE>(i * step);
    }

    const DWORD lineBytes = bits == 4 ? stride : (width * depth + 7) / 8;
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes]());
    if (!line) {
        FMT_FormatError(MSG_NO_MEMORY, FMT_Row_WPG);
        return 0;
    }
    if (!in.Seek(bitmapData)) {
        FMT_FormatError(MSG_DECOMPRESS, FMT_Row_WPG);
        return 0;
    }
    long repeat = 0;
    for (DWORD y = 0; y < height; y++) {
        UTL_Yield();
        const DWORD row = height - 1 - y;
        if ((row & 15) == 0 || y == height - 1) INF_Step(static_cast<WORD>(y));
        if (repeat == 0) {
            repeat = DecodeLine(in, line.get(), lineBytes);
            if (repeat <= 0) return 0;
        }
        memcpy(pixels + static_cast<SIZE_T>(row) * stride, line.get(), lineBytes);
        repeat--;
    }
    GlobalUnlock(image);
    release.image = nullptr;
    *dib = image;
    return 1;
}

// ---- writing ------------------------------------------------------------------

namespace {

inline void PutWord(BYTE* p, DWORD v)
{
    p[0] = static_cast<BYTE>(v);
    p[1] = static_cast<BYTE>(v >> 8);
}

// The file being written; a failed save closes and removes it.
struct Output {
    FILE* file = nullptr;
    LPCSTR path = nullptr;
    bool Put(const void* data, size_t n) { return fwrite(data, 1, n, file) == n; }
    int Fail(UINT message)
    {
        fclose(file);
        file = nullptr;
        MSG_Report(SEV_ERROR, message);
        FIL_Remove(path);
        return 0;
    }
};

}  // namespace

int WPG_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    // The DIB's own depth decides.
    const int bits = h->biBitCount;
    const LONG width = h->biWidth;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    if ((bits != 1 && bits != 4 && bits != 8) || width <= 0 || width > 0xFFFF || height <= 0 || height > 0xFFFF) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_WPG);
        return 0;
    }
    int dpiX, dpiY, planes, screenBits;
    UTL_ScreenFacts(&dpiX, &dpiY, &planes, &screenBits);
    if (dpiX <= 0) dpiX = 96;
    if (dpiY <= 0) dpiY = 96;
    const DWORD stride = DIB_Stride(width, bits);
    const DWORD lineBytes = bits == 4 ? stride : (static_cast<DWORD>(width) * bits + 7) / 8;
    const DWORD entries = 1u << bits, tableEntries = DIB_NumColors(h);
    // Sizes in 1200ths of an inch, truncated.
    const DWORD inchWidth = static_cast<DWORD>(static_cast<uint64_t>(width) * 1200 / static_cast<DWORD>(dpiX));
    const DWORD inchHeight = static_cast<DWORD>(static_cast<uint64_t>(height) * 1200 / static_cast<DWORD>(dpiY));

    Output out;
    out.path = path;
    out.file = FIL_OpenStream(path, "wb");
    if (!out.file) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    // Header, then the start record: bytes 1 and 0, the size in 1200ths.
    BYTE head[24] = {0xFF, 'W', 'P', 'C', 16, 0, 0, 0, 1, 0x16, 1, 0, 0, 0, 0, 0, REC_START, 6, 1, 0};
    PutWord(head + 20, inchWidth);
    PutWord(head + 22, inchHeight);
    if (!out.Put(head, sizeof head)) return out.Fail(MSG_CANNOT_WRITE_HEADER);

    // The colour map: every entry of the depth, from 0.
    BYTE map[8 + 3 * 256] = {REC_COLOR_MAP, 0xFF};
    PutWord(map + 2, entries * 3 + 4);
    PutWord(map + 4, 0);
    PutWord(map + 6, entries);
    for (DWORD i = 0; i < entries; i++) {
        const RGBQUAD c = i < tableEntries ? table[i] : RGBQUAD{};
        map[8 + 3 * i] = c.rgbRed;
        map[9 + 3 * i] = c.rgbGreen;
        map[10 + 3 * i] = c.rgbBlue;
    }
    bool ok = out.Put(map, 8 + 3 * entries);

    // The bitmap record; its length is written once the rows are out.
    BYTE bitmap[26] = {REC_BITMAP2, 0xFF};
    const long lengthAt = ftell(out.file) + 2;
    PutWord(bitmap + 10, inchHeight);
    PutWord(bitmap + 12, inchWidth);
    PutWord(bitmap + 16, static_cast<DWORD>(width));
    PutWord(bitmap + 18, static_cast<DWORD>(height));
    PutWord(bitmap + 20, static_cast<DWORD>(bits));
    PutWord(bitmap + 22, static_cast<DWORD>(dpiX));
    PutWord(bitmap + 24, static_cast<DWORD>(dpiY));
    ok = ok && out.Put(bitmap, sizeof bitmap);
    DWORD length = 20;

    // Rows from the top, in literal packets of at most 127 bytes.
    for (LONG y = 0; y < height && ok; y++) {
        UTL_Yield();
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? y : height - 1 - y) * stride;
        for (DWORD done = 0; done < lineBytes && ok; ) {
            const DWORD count = lineBytes - done < 127 ? lineBytes - done : 127;
            const BYTE code = static_cast<BYTE>(count);
            ok = out.Put(&code, 1) && out.Put(row + done, count);
            done += count;
            length += count + 1;
        }
    }
    const BYTE end[2] = {REC_END, 0};
    ok = ok && out.Put(end, 2);
    if (!ok) return out.Fail(MSG_CANNOT_WRITE);

    BYTE size[4];
    PutWord(size, (length | 0x80000000u) >> 16);
    PutWord(size + 2, length);
    ok = lengthAt > 0 && fseek(out.file, lengthAt, SEEK_SET) == 0 && out.Put(size, 4);
    if (!ok || fflush(out.file) != 0 || ferror(out.file)) return out.Fail(MSG_CANNOT_WRITE);
    if (fclose(out.file) != 0) {
        out.file = nullptr;
        MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE);
        FIL_Remove(path);
        return 0;
    }
    return 1;
}
