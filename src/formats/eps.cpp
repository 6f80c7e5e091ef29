// EPS: a plain Encapsulated PostScript file without a preview, the picture
// as lines of hexadecimal behind the image or colorimage operator. Every
// line of text comes from the string table; the file is written in text
// mode, so that line ends are the platform's.
#include "formats/eps.h"

#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "formats/postscript.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace {

enum {
    MSG_UNSUPPORTED = 9487,    // "Unsupported %s format"
    MSG_CANNOT_WRITE = 8197,   // "Cannot write file, check disk space"
    MSG_CANNOT_CREATE = 8215,  // "Cannot open output file, check disk space"
    MSG_SAVE_MEMORY = 9488,    // "Not enough memory to save image in %s format"
    MSG_DEPTH = 20998,         // "Cannot save %u-bit EPS files"
};

// The prolog, the procedures and the closing lines, in the order they are written.
enum {
    STR_HEADER = 16896, STR_BOUNDING_BOX, STR_CREATOR, STR_TITLE = 16900, STR_PROGRAM = 16902, STR_MAKER = 16904,
    STR_ADDRESS1, STR_ADDRESS2, STR_DICTIONARY, STR_BIND, STR_SIZE, STR_INDEX_STRING, STR_RGB_STRING,
    STR_GRAY_STRING, STR_STRING_DEF, STR_SCALE, STR_BEGIN_DATA = 16918, STR_PALETTE, STR_PALETTE_END,
    STR_LOOKUP1, STR_LOOKUP2, STR_LOOKUP3, STR_LOOKUP4, STR_LOOKUP5, STR_READ8, STR_READ24, STR_COLOR_MATRIX,
    STR_COLOR_READ24, STR_COLOR_LOOKUP, STR_COLOR_IMAGE, STR_GRAY_MATRIX, STR_GRAY_IMAGE, STR_END_DATA,
    STR_TRAILER = 16938,
};

std::string title;

const uint64_t kLargestBlock = 0x7FFFFFFFULL;

// The picture as the rows are made from it.
struct Picture {
    int bits;
    bool color;
    LONG width;
    const RGBQUAD* table;
    DWORD colors;
    // Entry i of the table; one past its end reads as black.
    RGBQUAD Entry(DWORD i) const { return i < colors ? table[i] : RGBQUAD{0, 0, 0, 0}; }
};

// Characters a row has in the file.
uint64_t RowLength(const Picture& p)
{
    const uint64_t w = static_cast<uint64_t>(p.width);
    if (p.color) return p.bits == 24 ? 6 * w : 2 * w;
    switch (p.bits) {
    case 1: return 2 * ((w + 7) / 8);
    case 4: return w + (w & 1);
    default: return 2 * w;
    }
}

// The gray string's bytes, whatever the colour flag.
LONG GrayBytes(const Picture& p)
{
    if (p.bits == 1) return static_cast<LONG>((static_cast<uint64_t>(p.width) + 7) / 8);
    if (p.bits == 4) return static_cast<LONG>((static_cast<uint64_t>(p.width) + 1) / 2);
    return p.width;
}

void PutPair(char*& out, BYTE value)
{
    memcpy(out, PS_HexPair(value), 2);
    out += 2;
}

// One row of the DIB as its hexadecimal text in out. A gray row carries the
// blue of the table entry or of the pixel; a colour row of a table carries
// the indices, which the file's palette procedure looks up.
void HexRow(const Picture& p, const BYTE* row, char* out)
{
    static const char kDigits[] = "0123456789ABCDEF";
    const LONG w = p.width;
    switch (p.bits * 2 + p.color) {
    case 2:  // complemented bytes; the table plays no part
        for (LONG i = 0; i <= (w - 1) / 8; i++) PutPair(out, static_cast<BYTE>(~row[i]));
        break;
    case 3:  // red, green and blue of every pixel, of which the first third is written
        for (LONG x = 0; x < w; x++) {
            const RGBQUAD c = p.Entry((row[x >> 3] >> (7 - (x & 7))) & 1);
            PutPair(out, c.rgbRed);
            PutPair(out, c.rgbGreen);
            PutPair(out, c.rgbBlue);
        }
        break;
    case 8:  // one digit a pixel from the entry that the whole byte names
        for (LONG x = 0; x < w; x++) {
            const BYTE blue = p.Entry(row[x >> 1]).rgbBlue;
            *out++ = kDigits[(x & 1) ? blue & 15 : blue >> 4];
        }
        if (w & 1) *out = '0';
        break;
    case 9:
        for (LONG x = 0; x < w; x++) PutPair(out, static_cast<BYTE>((x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4));
        break;
    case 16:
        for (LONG x = 0; x < w; x++) PutPair(out, p.Entry(row[x]).rgbBlue);
        break;
    case 17:
        for (LONG x = 0; x < w; x++) PutPair(out, row[x]);
        break;
    case 48:
        for (LONG x = 0; x < w; x++) PutPair(out, row[3 * x]);
        break;
    default: PS_HexRow(row, static_cast<int>(w), out);
    }
}

// The file being written; every piece goes through the same stream, and a
// failed save closes and removes it.
struct Output {
    FILE* file = nullptr;
    LPCSTR path = nullptr;
    bool ok = true;

    static int Send(void* context, char* packet, int length)
    {
        FILE* f = static_cast<FILE*>(context);
        return fwrite(packet + PS_PacketHeader, 1, static_cast<size_t>(length), f) == static_cast<size_t>(length);
    }
    // String id of the table, formatted with the arguments.
    template <class... Args>
    bool Say(UINT id, Args... args)
    {
        return ok = ok && PS_SendString(PS_Sink{Send, file}, id, args...) > 0;
    }
    bool Put(const char* text, size_t n) { return ok = ok && fwrite(text, 1, n, file) == n; }
    int Fail(UINT message)
    {
        fclose(file);
        file = nullptr;
        if (message == MSG_SAVE_MEMORY) FMT_FormatError(message, FMT_Row_EPS);
        else MSG_Report(SEV_ERROR, message);
        FIL_Remove(path);
        return 0;
    }
};

}  // namespace

void EPS_SetTitle(LPCSTR path)
{
    const char* name = path;
    for (const char* c = path; *c; c++)
        if (*c == '\\' || *c == '/' || *c == ':') name = c + 1;
    const char* dot = strrchr(name, '.');
    title.assign(name, dot ? static_cast<size_t>(dot - name) : strlen(name));
}

int EPS_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD, WORD)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    const int bits = h->biBitCount;
    if (bits == 16 || bits == 32) {
        MSG_Report(SEV_ERROR, MSG_DEPTH, static_cast<UINT>(bits));
        return 0;
    }
    // Only a whole plain DIB of a depth the row takes is read.
    const LONG width = h->biWidth;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    const uint64_t stride = ((static_cast<uint64_t>(width > 0 ? width : 0) * static_cast<uint64_t>(bits) + 31) >> 5) << 2;
    const uint64_t needed = static_cast<uint64_t>(h->biSize) + DIB_PaletteSize(h) + stride * static_cast<uint64_t>(height);
    if ((bits != 1 && bits != 4 && bits != 8 && bits != 24) || h->biSize != sizeof(BITMAPINFOHEADER) ||
        h->biCompression != BI_RGB || width <= 0 || height <= 0 || stride > kLargestBlock || needed > GlobalSize(dib)) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_EPS);
        return 0;
    }
    const Picture p{bits, color != 0, width, table, bits == 24 ? 0u : DIB_NumColors(h)};

    Output out;
    out.path = path;
    out.file = FIL_OpenStream(path, "w");
    if (!out.file) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    out.Say(STR_HEADER);
    // The printed numbers are ints, as the formatting reads them.
    const int w = static_cast<int>(width), rows = static_cast<int>(height);
    out.Say(STR_BOUNDING_BOX, 0, 0, w, rows);
    out.Say(STR_CREATOR);
    out.Say(STR_TITLE, title.c_str());
    for (UINT id : {STR_PROGRAM, STR_MAKER, STR_ADDRESS1, STR_ADDRESS2, STR_DICTIONARY, STR_BIND}) out.Say(id);
    out.Say(STR_SIZE, w, rows);
    out.Say(STR_INDEX_STRING);
    out.Say(STR_RGB_STRING);
    out.Say(STR_GRAY_STRING);
    const std::string grayBytes = std::to_string(GrayBytes(p)) + " ";
    out.Put(grayBytes.data(), grayBytes.size());
    out.Say(STR_STRING_DEF);
    out.Say(STR_SCALE);
    out.Say(STR_BEGIN_DATA, rows);

    if (p.color && bits != 24) {
        out.Say(STR_PALETTE);
        char entries[6 * 256];
        char* at = entries;
        for (DWORD i = 0; i < p.colors; i++) {
            PutPair(at, table[i].rgbRed);
            PutPair(at, table[i].rgbGreen);
            PutPair(at, table[i].rgbBlue);
        }
        out.Put(entries, static_cast<size_t>(at - entries));
        out.Say(STR_PALETTE_END);
    }
    for (UINT id = STR_LOOKUP1; id <= STR_READ24; id++) out.Say(id);
    if (p.color) {
        out.Say(STR_COLOR_MATRIX, w, rows, w, rows, rows);
        out.Say(bits == 24 ? STR_COLOR_READ24 : STR_COLOR_LOOKUP);
        out.Say(STR_COLOR_IMAGE);
    } else {
        out.Say(STR_GRAY_MATRIX, w, rows, bits, w, rows, rows);
        out.Say(STR_GRAY_IMAGE);
    }
    if (!out.ok) return out.Fail(MSG_CANNOT_WRITE);

    // A 1-bit colour row is made whole, six characters a pixel, before its
    // first third is cut off; one more for the line's end.
    const uint64_t length = RowLength(p);
    const uint64_t room = (bits == 1 && p.color ? 6 * static_cast<uint64_t>(width) : length) + 1;
    if (room > kLargestBlock) return out.Fail(MSG_SAVE_MEMORY);
    std::unique_ptr<char[]> line(new (std::nothrow) char[static_cast<size_t>(room)]);
    if (!line) return out.Fail(MSG_SAVE_MEMORY);
    // Rows from the top of the picture down.
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? y : height - 1 - y) * static_cast<SIZE_T>(stride);
        HexRow(p, row, line.get());
        line[static_cast<size_t>(length)] = '\n';
        if (!out.Put(line.get(), static_cast<size_t>(length) + 1)) return out.Fail(MSG_CANNOT_WRITE);
    }
    out.Say(STR_END_DATA);
    out.Say(STR_TRAILER);
    if (!out.ok || fflush(out.file) != 0 || ferror(out.file)) return out.Fail(MSG_CANNOT_WRITE);
    const int closed = fclose(out.file);
    out.file = nullptr;
    if (closed != 0) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE);
        FIL_Remove(path);
        return 0;
    }
    return 1;
}
