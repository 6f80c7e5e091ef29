// TGA: the Targa raster, mapped, true colour and gray, plain or run-length,
// read and written through the buffered file.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

const UINT kBufferSize = 0x4000;
const UINT kMapScratch = 0x400;  // 256 entries of at most 4 bytes
const int kHeaderSize = 18;

enum {
    MSG_64BIT = 8192,          // "64-bit Targa files not supported"
    MSG_MAP_TOO_LONG = 8239,   // "Too many entries in Targa colormap, not supported"
    MSG_BAD_HEADER = 9476,     // "Illegal %s File -- Bad Header"
    MSG_INCOMPLETE = 9477,     // "Incomplete %s file, cannot load"
    MSG_OUT_OF_MEMORY = 9481,  // "Out of memory -- Cannot load %s file"
    MSG_NO_MEMORY = 9480,      // "Not enough memory to load %s image"
    MSG_POSSIBLE_ERRORS = 1296,
    MSG_CANCEL_BATCH = 21252,
    MSG_NO_MONOCHROME = 21017,
    MSG_NO_16_COLOR = 21018,
    MSG_UNSUPPORTED = 9487,
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE = 8217,
};

// Image types: mapped, true colour, gray; 8 more for run-length.
enum { TYPE_MAPPED = 1, TYPE_TRUE = 2, TYPE_GRAY = 3, TYPE_RLE = 8 };

inline WORD Word(const BYTE* at) { return static_cast<WORD>(at[0] | (at[1] << 8)); }

// The depth of the DIB that holds pixels of an odd file depth; they are never
// stored, so the image comes out zero at the next depth a DIB can have.
int WidenBits(int bits)
{
    if (bits <= 1) return 1;
    if (bits <= 4) return 4;
    if (bits <= 8) return 8;
    if (bits <= 24) return 24;
    return 32;
}

// Blue, green, red of a 5-5-5 word, each channel shifted up to 8 bits.
inline void Expand555(WORD w, BYTE* out)
{
    out[0] = static_cast<BYTE>((w & 0x1F) << 3);
    out[1] = static_cast<BYTE>((w & 0x3E0) >> 2);
    out[2] = static_cast<BYTE>((w & 0x7C00) >> 7);
}

// A run-length packet that may continue into the next row.
struct Packet {
    DWORD left;    // pixels of the packet still to be stored
    bool run;      // a repeated pixel, else raw pixels
    BYTE pixel[4];
};

// Reads width pixels of bytesPerPixel bytes into row by packets. False on a
// short read. The packet byte is fetched without a test, like every byte
// fetch of the buffered file: past the end it reads as a raw packet of one.
bool ReadPackedRow(BYTE* row, DWORD width, DWORD bytesPerPixel, Packet& p)
{
    DWORD x = 0;
    while (x < width) {
        if (p.left == 0) {
            BYTE code = FIL_GetBuffered();
            // Past the end of the file every packet byte reads as a raw packet
            // of one pixel; with no pixel bytes to store, the row is then done.
            if (!bytesPerPixel && FIL_BufferedOverrun()) return true;
            p.left = (code & 0x7F) + 1u;
            p.run = (code & 0x80) != 0;
            if (p.run && bytesPerPixel && FIL_ReadBuffered(p.pixel, bytesPerPixel) != bytesPerPixel) return false;
        }
        DWORD take = p.left < width - x ? p.left : width - x;
        BYTE* at = row + static_cast<SIZE_T>(x) * bytesPerPixel;
        if (p.run) {
            if (bytesPerPixel == 1) {
                memset(at, p.pixel[0], take);
            } else {
                for (DWORD i = 0; i < take; i++, at += bytesPerPixel) memcpy(at, p.pixel, bytesPerPixel);
            }
        } else if (bytesPerPixel) {
            UINT n = take * bytesPerPixel;
            if (FIL_ReadBuffered(at, n) != n) return false;
        }
        x += take;
        p.left -= take;
    }
    return true;
}

// Writes one file row as DIB bytes by the file's depth; out holds room for
// width pixels of the output (3 bytes for 16 bits).
void ConvertRow(int fileBits, const BYTE* in, DWORD width, BYTE* out)
{
    switch (fileBits) {
    case 8: memcpy(out, in, width); break;
    case 16:
        for (DWORD x = 0; x < width; x++) Expand555(Word(in + 2 * x), out + 3 * x);
        break;
    case 24: memcpy(out, in, 3 * static_cast<SIZE_T>(width)); break;
    case 32: memcpy(out, in, 4 * static_cast<SIZE_T>(width)); break;
    default: break;
    }
}

// Bytes that ConvertRow writes for a row.
uint64_t ConvertedBytes(int fileBits, DWORD width)
{
    switch (fileBits) {
    case 8: return width;
    case 16:
    case 24: return 3ULL * width;
    case 32: return 4ULL * width;
    default: return 0;
    }
}

struct LoadState {
    HGLOBAL image = nullptr;
    std::unique_ptr<BYTE[]> scratch;
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
    // Closes the file, reports (when message is set); the rest unwinds with the state.
    int Fail(UINT message)
    {
        Close();
        if (message == MSG_64BIT || message == MSG_MAP_TOO_LONG) MSG_Report(SEV_ERROR, message);
        else if (message) FMT_FormatError(message, FMT_Row_TGA);
        return 0;
    }
};

// Skips n bytes of the buffered file; the end of the file isn't an error here.
void Skip(DWORD n)
{
    if (n) FIL_SeekBuffered(FIL_TellBuffered() + static_cast<LONG>(n), FILE_BEGIN);
}

}  // namespace

int TGA_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_READ, kBufferSize);
    if (file == 0 || file == HFILE_ERROR) return 0;
    LoadState s;
    s.open = true;

    BYTE h[kHeaderSize];
    if (FIL_ReadBuffered(h, kHeaderSize) != static_cast<UINT>(kHeaderSize)) return s.Fail(MSG_INCOMPLETE);
    DWORD idLength = h[0];
    BYTE mapType = h[1];
    int type = h[2];
    DWORD firstEntry = Word(h + 3);
    DWORD mapLength = Word(h + 5);
    int entrySize = h[7];
    DWORD width = Word(h + 12);
    DWORD height = Word(h + 14);
    int depth = h[16];
    BYTE descriptor = h[17];

    if (depth == 64) return s.Fail(MSG_64BIT);
    if (depth == 8 && mapLength > 256) return s.Fail(MSG_MAP_TOO_LONG);
    bool plainDepth = depth == 8 || depth == 16 || depth == 24 || depth == 32;
    if (!plainDepth && entrySize != 0) return s.Fail(MSG_BAD_HEADER);
    // Nothing of more than 32 bits fits a DIB, and an empty picture is no picture.
    if (depth > 32 || width == 0 || height == 0) return s.Fail(MSG_BAD_HEADER);

    Skip(idLength);
    if (mapLength != 0) {
        if (type == TYPE_GRAY) type = TYPE_MAPPED;
        if (type == TYPE_GRAY + TYPE_RLE) type = TYPE_MAPPED + TYPE_RLE;
    }
    bool mapped = type == TYPE_MAPPED || type == TYPE_MAPPED + TYPE_RLE;
    if (mapped) {
        s.scratch.reset(new (std::nothrow) BYTE[kMapScratch]());
        if (!s.scratch) return s.Fail(MSG_OUT_OF_MEMORY);
    }

    DWORD entryBytes = (static_cast<DWORD>(entrySize) + 7) / 8;
    DWORD mapBytes = 0;
    if (mapType == 1 && mapLength != 0) {
        mapBytes = mapLength * entryBytes;
        if (s.scratch) {
            // The map goes in at its first entry's place; what lies beyond the
            // scratch can't be a colour of an 8-bit image and is passed over.
            DWORD offset = firstEntry * entryBytes;
            DWORD kept = 0;
            if (offset < kMapScratch) kept = mapBytes < kMapScratch - offset ? mapBytes : kMapScratch - offset;
            if (kept && FIL_ReadBuffered(s.scratch.get() + offset, kept) != kept) return s.Fail(MSG_INCOMPLETE);
            Skip(mapBytes - kept);
        } else {
            Skip(mapBytes);
        }
    }

    int bits;
    if (s.scratch) bits = mapLength <= 256 ? 8 : 24;
    else bits = depth == 16 ? 24 : depth;
    if ((type == TYPE_GRAY || type == TYPE_GRAY + TYPE_RLE) && depth <= 8) bits = 8;
    if (!plainDepth) bits = WidenBits(bits);
    DWORD colors = bits == 8 ? 256 : 0;
    bool packed = type > TYPE_RLE;

    DWORD bytesPerPixel = static_cast<DWORD>(depth) / 8;

    DWORD stride = DIB_Stride(static_cast<LONG>(width), bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(width), static_cast<LONG>(height), bits, stride, colors);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, type == TYPE_GRAY || type == TYPE_GRAY + TYPE_RLE);
    INF_SetValue(INF_COMPRESSED, packed);
    INF_SetValue(INF_BITSPERPIXEL, depth);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 0);
    INF_SetCreator(CREATOR_IBMPC);
    BYTE* block;
    s.image = DIB_AllocatePacked(&header, &block);
    if (!s.image) return s.Fail(MSG_OUT_OF_MEMORY);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);

    if (bits == 8) {
        if (type == TYPE_GRAY || type == TYPE_GRAY + TYPE_RLE) {
            DWORD n = 1u << (depth <= 8 ? depth : 8);
            for (DWORD i = 0; i < n; i++) {
                BYTE v = static_cast<BYTE>(i);
                table[i] = {v, v, v, 0};
            }
        } else if (s.scratch) {
            // The entries come from the scratch's start, so a map whose first
            // entry isn't 0 lands shifted by that many entries.
            const BYTE* at = s.scratch.get();
            for (DWORD i = 0; i < mapLength; i++) {
                if (entrySize == 16) {
                    BYTE bgr[3];
                    Expand555(Word(at + 2 * i), bgr);
                    table[i] = {bgr[0], bgr[1], bgr[2], 0};
                } else if (entrySize == 24) {
                    table[i] = {at[3 * i], at[3 * i + 1], at[3 * i + 2], 0};
                } else if (entrySize == 32) {
                    table[i] = {at[4 * i], at[4 * i + 1], at[4 * i + 2], 0};
                }
            }
        }
    }

    std::unique_ptr<BYTE[]> row(new (std::nothrow) BYTE[static_cast<SIZE_T>(bytesPerPixel) * width + 4]);
    // A file depth that writes more than the DIB's row holds (a mapped file of
    // true-colour pixels) converts into a wider row and keeps what fits.
    uint64_t converted = ConvertedBytes(depth, width);
    std::unique_ptr<BYTE[]> wide;
    if (converted > stride) wide.reset(new (std::nothrow) BYTE[converted]);
    if (!row || (converted > stride && !wide)) return s.Fail(MSG_NO_MEMORY);
    INF_SetProgress(0, static_cast<WORD>(height));

    bool topFirst = descriptor == 0x20 || descriptor == 0x21;
    DWORD rowBytes = bytesPerPixel * width;
    Packet packet = {0, false, {0, 0, 0, 0}};
    for (DWORD y = 0; y < height; y++) {
        if (!UTL_Yield()) return s.Fail(0);
        if (y % 50 == 0) INF_Step(static_cast<WORD>(y));
        if (packed) {
            if (!ReadPackedRow(row.get(), width, bytesPerPixel, packet)) return s.Fail(MSG_INCOMPLETE);
        } else if (rowBytes && FIL_ReadBuffered(row.get(), rowBytes) != rowBytes) {
            return s.Fail(MSG_INCOMPLETE);
        }
        DWORD target = topFirst ? height - 1 - y : y;
        BYTE* out = pixels + static_cast<SIZE_T>(target) * stride;
        if (wide) {
            ConvertRow(depth, row.get(), width, wide.get());
            memcpy(out, wide.get(), stride);
        } else {
            ConvertRow(depth, row.get(), width, out);
        }
    }

    if (packet.left) {
        // The last packet reaches beyond the picture.
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

// ---- writing ------------------------------------------------------------------

namespace {

// How a DIB's pixels go out: bytes a pixel in the DIB and in the file.
struct PixelForm {
    DWORD sourceBytes;  // 1, 2 (a packed 5-5-5 DIB), 3 or 4
    int fileBits;       // 8, 16, 24, 32
};

// Puts count pixels from in into out in the file's form; returns the end of out.
BYTE* PutPixels(const PixelForm& f, const BYTE* in, DWORD count, BYTE* out)
{
    if (f.fileBits == 16 && f.sourceBytes == 3) {
        for (DWORD i = 0; i < count; i++, in += 3) {
            WORD w = static_cast<WORD>((in[2] >> 3) << 10 | (in[1] >> 3) << 5 | (in[0] >> 3));
            *out++ = static_cast<BYTE>(w);
            *out++ = static_cast<BYTE>(w >> 8);
        }
        return out;
    }
    if (f.fileBits == 16) {  // already 5-5-5 words; the top bit is always 0
        for (DWORD i = 0; i < count; i++, in += 2) {
            *out++ = in[0];
            *out++ = static_cast<BYTE>(in[1] & 0x7F);
        }
        return out;
    }
    SIZE_T n = static_cast<SIZE_T>(count) * f.sourceBytes;
    memcpy(out, in, n);
    return out + n;
}

inline bool SamePixel(const BYTE* a, const BYTE* b, DWORD n)
{
    return n == 1 ? *a == *b : memcmp(a, b, n) == 0;
}

// Run-length encodes one row on its own: runs of equal pixels up to 128 and
// raw packets between them. Returns the end of out.
BYTE* PackRow(const PixelForm& f, const BYTE* in, DWORD width, BYTE* out)
{
    const DWORD pb = f.sourceBytes;
    DWORD n = width;
    while (n > 0) {
        if (n < 3) {
            *out++ = static_cast<BYTE>(n - 1);
            return PutPixels(f, in, n, out);
        }
        DWORD count = 1;
        if (SamePixel(in, in + pb, pb)) {
            while (count < n && count < 128 && SamePixel(in, in + count * pb, pb)) count++;
            *out++ = static_cast<BYTE>((count - 1) | 0x80);
            out = PutPixels(f, in, 1, out);
        } else {
            while (n - count >= 2 && count < 128 && !SamePixel(in + count * pb, in + (count + 1) * pb, pb))
                count++;
            if (n - count == 1 && count < 128) count++;
            *out++ = static_cast<BYTE>(count - 1);
            out = PutPixels(f, in, count, out);
        }
        in += static_cast<SIZE_T>(count) * pb;
        n -= count;
    }
    return out;
}

int FailSave(LPCSTR path)
{
    FIL_CloseBuffered();
    MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE);
    FIL_Remove(path);
    return 0;
}

}  // namespace

int TGA_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    int bits = h->biBitCount;
    if (bits == 1) {
        MSG_Report(SEV_ERROR, MSG_NO_MONOCHROME);
        return 0;
    }
    if (bits == 4) {
        MSG_Report(SEV_ERROR, MSG_NO_16_COLOR);
        return 0;
    }
    LONG width = h->biWidth;
    LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    // A 16-bit document holds a 24-bit DIB and goes out as 5-5-5 words.
    PixelForm form;
    switch (bits) {
    case 8: form = {1, 8}; break;
    case 16: form = {2, 16}; break;
    case 24: form = {3, depth == 16 ? 16 : 24}; break;
    case 32: form = {4, 32}; break;
    default: form = {0, 0}; break;
    }
    if (!form.fileBits || width <= 0 || width > 0xFFFF || height <= 0 || height > 0xFFFF) {
        FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_TGA);
        return 0;
    }
    DWORD colors = bits == 8 ? 256 : 0;
    DWORD stride = DIB_Stride(width, bits);

    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_WRITE, kBufferSize);
    if (file == 0 || file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }

    int type = color ? (colors ? TYPE_MAPPED : TYPE_TRUE) : TYPE_GRAY;
    if (compressed) type += TYPE_RLE;
    BYTE header[kHeaderSize] = {};
    header[1] = colors ? 1 : 0;
    header[2] = static_cast<BYTE>(type);
    header[5] = static_cast<BYTE>(colors);
    header[6] = static_cast<BYTE>(colors >> 8);
    header[7] = 24;
    header[12] = static_cast<BYTE>(width);
    header[13] = static_cast<BYTE>(width >> 8);
    header[14] = static_cast<BYTE>(height);
    header[15] = static_cast<BYTE>(height >> 8);
    header[16] = static_cast<BYTE>(form.fileBits);
    bool ok = FIL_WriteBuffered(header, kHeaderSize) == static_cast<UINT>(kHeaderSize);
    if (colors) {
        BYTE map[256 * 3] = {};
        DWORD entries = DIB_NumColors(h);
        for (DWORD i = 0; i < colors && i < entries; i++) {
            map[3 * i] = table[i].rgbBlue;
            map[3 * i + 1] = table[i].rgbGreen;
            map[3 * i + 2] = table[i].rgbRed;
        }
        ok = ok && FIL_WriteBuffered(map, 3 * colors) == 3 * colors;
    }
    if (!ok) return FailSave(path);

    // Worst case of a packed row: every packet holds at least one pixel, so a
    // pixel never costs more than its bytes and one packet byte.
    SIZE_T outBytes = static_cast<SIZE_T>(width) * (form.fileBits / 8 + 1) + 2;
    std::unique_ptr<BYTE[]> out(new (std::nothrow) BYTE[outBytes]);
    if (!out) return FailSave(path);

    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? height - 1 - y : y) * stride;
        BYTE* end = compressed ? PackRow(form, row, static_cast<DWORD>(width), out.get())
                               : PutPixels(form, row, static_cast<DWORD>(width), out.get());
        UINT n = static_cast<UINT>(end - out.get());
        if (FIL_WriteBuffered(out.get(), n) != n) return FailSave(path);
    }
    if (!FIL_CloseBuffered()) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE);
        FIL_Remove(path);
        return 0;
    }
    return 1;
}
