// Packed DIB operations: header facts, depth and gray conversions, scaling,
// margins, run-length coding and the repairs a DIB from outside needs before
// the rest of the program can take it.
#include "platform/dib.h"

#include "colour/luma.h"
#include "formats/codec_runtime.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

WORD DIB_NumColors(const BITMAPINFOHEADER* h)
{
    if (h->biSize == sizeof(BITMAPCOREHEADER)) {
        const BITMAPCOREHEADER* core = reinterpret_cast<const BITMAPCOREHEADER*>(h);
        return core->bcBitCount <= 8 ? static_cast<WORD>(1U << core->bcBitCount) : 0;
    }
    if (h->biClrUsed) return static_cast<WORD>(h->biClrUsed > 256 ? 256 : h->biClrUsed);
    return h->biBitCount <= 8 ? static_cast<WORD>(1U << h->biBitCount) : 0;
}

WORD DIB_PaletteSize(const BITMAPINFOHEADER* h)
{
    WORD n = DIB_NumColors(h);
    WORD entry = h->biSize == sizeof(BITMAPCOREHEADER) ? sizeof(RGBTRIPLE) : sizeof(RGBQUAD);
    return static_cast<WORD>(n * entry);
}

DWORD DIB_ColorsForBits(int bits) { return bits >= 0 && bits <= 8 ? 1U << bits : 0; }

void DIB_GetInfo(HGLOBAL dib, BITMAPINFOHEADER* header)
{
    // A block too small for a header gives what it has and zeros.
    memset(header, 0, sizeof *header);
    const void* p = GlobalLock(dib);
    if (!p) return;
    SIZE_T size = GlobalSize(dib);
    memcpy(header, p, size < sizeof *header ? size : sizeof *header);
    GlobalUnlock(dib);
}

BITMAPINFOHEADER* DIB_Lock(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels)
{
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    if (header) *header = h;
    if (!p) {
        if (colors) *colors = nullptr;
        if (pixels) *pixels = nullptr;
        return nullptr;
    }
    if (colors) *colors = reinterpret_cast<RGBQUAD*>(p + h->biSize);
    if (pixels) *pixels = p + h->biSize + DIB_PaletteSize(h);
    return h;
}

namespace {

const DWORD kInfoSize = sizeof(BITMAPINFOHEADER);
const DWORD kCoreSize = sizeof(BITMAPCOREHEADER);
// The largest block the program ever asks for, as a 32-bit process could hold.
const uint64_t kLargestBlock = 0x7FFFFFFFULL;

bool ValidBits(int bits) { return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32; }

uint64_t RowBytes(uint64_t width, int bits) { return ((width * static_cast<uint64_t>(bits) + 31) >> 5) << 2; }

// Bytes of a packed DIB, 0 when it can't exist.
SIZE_T BlockSize(LONG width, LONG height, int bits, DWORD colors)
{
    if (width <= 0 || height <= 0 || !ValidBits(bits) || colors > 256) return 0;
    uint64_t total = RowBytes(static_cast<uint64_t>(width), bits) * static_cast<uint64_t>(height) + kInfoSize + 4ULL * colors;
    return total > kLargestBlock ? 0 : static_cast<SIZE_T>(total);
}

// A new zeroed plain DIB with a complete 40-byte header, locked; the caller
// unlocks it. Null when it can't exist or memory is short. It comes from the
// one image allocator, so no block beyond the process's image limit is made.
HGLOBAL NewDib(LONG width, LONG height, int bits, DWORD colors, BYTE** block)
{
    *block = nullptr;
    // The allocator gives a table of 1 << bits entries to a count of 0.
    if (!BlockSize(width, height, bits, colors) || (bits <= 8 && colors == 0)) return nullptr;
    BITMAPINFOHEADER h = {};
    h.biSize = kInfoSize;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biCompression = BI_RGB;
    h.biSizeImage = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits) * static_cast<uint64_t>(height));
    h.biClrUsed = colors;
    h.biClrImportant = colors;
    return DIB_AllocatePacked(&h, block);
}

// A locked plain DIB in the system's form, checked to hold all its pixels.
struct Source {
    HGLOBAL handle = nullptr;
    BITMAPINFOHEADER h = {};
    const RGBQUAD* colors = nullptr;
    DWORD numColors = 0;
    const BYTE* pixels = nullptr;
    DWORD stride = 0;
    RGBQUAD table[256] = {};  // the colour table, black beyond its entries
};

bool OpenSource(HGLOBAL dib, Source* s)
{
    if (!dib) return false;
    SIZE_T size = GlobalSize(dib);
    if (size < kInfoSize) return false;
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(dib));
    if (!p) return false;
    memcpy(&s->h, p, kInfoSize);
    const BITMAPINFOHEADER& h = s->h;
    s->numColors = h.biBitCount <= 8 ? DIB_NumColors(&h) : (h.biClrUsed > 256 ? 256 : h.biClrUsed);
    uint64_t offset = kInfoSize + 4ULL * s->numColors;
    uint64_t stride = RowBytes(static_cast<uint64_t>(h.biWidth > 0 ? h.biWidth : 0), h.biBitCount);
    bool ok = h.biSize == kInfoSize && h.biCompression == BI_RGB && ValidBits(h.biBitCount) && h.biWidth > 0 &&
              h.biHeight > 0 && stride <= kLargestBlock &&
              offset + stride * static_cast<uint64_t>(h.biHeight) <= size;
    if (!ok) {
        GlobalUnlock(dib);
        return false;
    }
    s->handle = dib;
    s->colors = reinterpret_cast<const RGBQUAD*>(p + kInfoSize);
    s->pixels = p + offset;
    s->stride = static_cast<DWORD>(stride);
    memcpy(s->table, s->colors, 4 * s->numColors);
    return true;
}

void CloseSource(Source* s)
{
    if (s->handle) GlobalUnlock(s->handle);
    s->handle = nullptr;
}

inline int GetIndex(const BYTE* row, LONG x, int bits)
{
    switch (bits) {
    case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1;
    case 4: return (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4;
    default: return row[x];
    }
}

inline void SetIndex(BYTE* row, LONG x, int bits, int value)
{
    switch (bits) {
    case 1: {
        BYTE mask = static_cast<BYTE>(0x80 >> (x & 7));
        row[x >> 3] = static_cast<BYTE>(value & 1 ? row[x >> 3] | mask : row[x >> 3] & ~mask);
        break;
    }
    case 4:
        row[x >> 1] = static_cast<BYTE>((x & 1) ? (row[x >> 1] & 0xF0) | (value & 15)
                                                : (row[x >> 1] & 0x0F) | ((value & 15) << 4));
        break;
    default: row[x] = static_cast<BYTE>(value); break;
    }
}

// A 5-bit channel widened to 8 bits by repeating its top bits.
inline BYTE Widen5(unsigned v) { return static_cast<BYTE>((v << 3) | (v >> 2)); }

// One row as blue, green, red, fourth byte (0 unless the source has 32 bits).
void ExpandRow(const Source& s, const BYTE* row, BYTE* bgra)
{
    LONG width = s.h.biWidth;
    switch (s.h.biBitCount) {
    case 1:
    case 4:
    case 8:
        for (LONG x = 0; x < width; x++, bgra += 4) {
            const RGBQUAD& c = s.table[GetIndex(row, x, s.h.biBitCount)];
            bgra[0] = c.rgbBlue;
            bgra[1] = c.rgbGreen;
            bgra[2] = c.rgbRed;
            bgra[3] = 0;
        }
        break;
    case 16:
        for (LONG x = 0; x < width; x++, bgra += 4, row += 2) {
            unsigned v = row[0] | (row[1] << 8);
            bgra[0] = Widen5(v & 31);
            bgra[1] = Widen5((v >> 5) & 31);
            bgra[2] = Widen5((v >> 10) & 31);
            bgra[3] = 0;
        }
        break;
    case 24:
        for (LONG x = 0; x < width; x++, bgra += 4, row += 3) {
            bgra[0] = row[0];
            bgra[1] = row[1];
            bgra[2] = row[2];
            bgra[3] = 0;
        }
        break;
    default: memcpy(bgra, row, 4 * static_cast<size_t>(width)); break;
    }
}

// Scratch for one expanded row; null when memory is short.
std::unique_ptr<BYTE[]> RowScratch(LONG width) { return std::unique_ptr<BYTE[]>(new (std::nothrow) BYTE[4 * static_cast<size_t>(width) + 4]); }

// A copy of a plain source block trimmed to header, table and pixels.
HGLOBAL CopySource(const Source& s)
{
    BYTE* p;
    HGLOBAL out = NewDib(s.h.biWidth, s.h.biHeight, s.h.biBitCount, s.numColors, &p);
    if (!out) return nullptr;
    memcpy(p + kInfoSize, s.colors, 4 * s.numColors);
    memcpy(p + kInfoSize + 4 * s.numColors, s.pixels, static_cast<size_t>(s.stride) * s.h.biHeight);
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    h->biXPelsPerMeter = s.h.biXPelsPerMeter;
    h->biYPelsPerMeter = s.h.biYPelsPerMeter;
    GlobalUnlock(out);
    return out;
}

}  // namespace

// ---- depth and gray ----------------------------------------------------------

HGLOBAL DIB_ToGray(HGLOBAL dib)
{
    Source s;
    if (!OpenSource(dib, &s)) return nullptr;
    LONG width = s.h.biWidth, height = s.h.biHeight;
    BYTE* p;
    HGLOBAL out = nullptr;
    if (s.h.biBitCount <= 8) {
        // Same pixels; every table entry becomes its gray.
        out = NewDib(width, height, s.h.biBitCount, s.numColors, &p);
        if (out) {
            RGBQUAD* table = reinterpret_cast<RGBQUAD*>(p + kInfoSize);
            for (DWORD i = 0; i < s.numColors; i++) {
                BYTE g = static_cast<BYTE>(CLR_Luma(s.colors[i].rgbRed, s.colors[i].rgbGreen, s.colors[i].rgbBlue));
                table[i] = {g, g, g, 0};
            }
            memcpy(p + kInfoSize + 4 * s.numColors, s.pixels, static_cast<size_t>(s.stride) * height);
            GlobalUnlock(out);
        }
        CloseSource(&s);
        return out;
    }
    std::unique_ptr<BYTE[]> scratch = RowScratch(width);
    if (scratch) out = NewDib(width, height, 8, 256, &p);
    if (out) {
        RGBQUAD* table = reinterpret_cast<RGBQUAD*>(p + kInfoSize);
        for (int i = 0; i < 256; i++) table[i] = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
        BYTE* to = p + kInfoSize + 4 * 256;
        DWORD toStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), 8));
        for (LONG y = 0; y < height; y++, to += toStride) {
            ExpandRow(s, s.pixels + static_cast<size_t>(y) * s.stride, scratch.get());
            const BYTE* c = scratch.get();
            for (LONG x = 0; x < width; x++, c += 4) to[x] = static_cast<BYTE>(CLR_Luma(c[2], c[1], c[0]));
        }
        GlobalUnlock(out);
    }
    CloseSource(&s);
    return out;
}

HGLOBAL DIB_ConvertBits(HGLOBAL dib, int bits)
{
    Source s;
    if (!OpenSource(dib, &s)) return nullptr;
    int from = s.h.biBitCount;
    LONG width = s.h.biWidth, height = s.h.biHeight;
    HGLOBAL out = nullptr;
    BYTE* p;
    if (bits == from) {
        out = CopySource(s);
    } else if (bits == 24 || bits == 32) {
        std::unique_ptr<BYTE[]> scratch = RowScratch(width);
        if (scratch) out = NewDib(width, height, bits, 0, &p);
        if (out) {
            BYTE* to = p + kInfoSize;
            DWORD toStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits));
            for (LONG y = 0; y < height; y++, to += toStride) {
                ExpandRow(s, s.pixels + static_cast<size_t>(y) * s.stride, scratch.get());
                if (bits == 32) {
                    memcpy(to, scratch.get(), 4 * static_cast<size_t>(width));
                } else {
                    const BYTE* c = scratch.get();
                    for (LONG x = 0; x < width; x++, c += 4) memcpy(to + 3 * static_cast<size_t>(x), c, 3);
                }
            }
            GlobalUnlock(out);
        }
    } else if (from < bits && bits <= 8 && (bits == 4 || bits == 8)) {
        // Wider indices, the same table.
        out = NewDib(width, height, bits, s.numColors, &p);
        if (out) {
            memcpy(p + kInfoSize, s.colors, 4 * s.numColors);
            BYTE* to = p + kInfoSize + 4 * s.numColors;
            DWORD toStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits));
            for (LONG y = 0; y < height; y++, to += toStride) {
                const BYTE* row = s.pixels + static_cast<size_t>(y) * s.stride;
                for (LONG x = 0; x < width; x++) SetIndex(to, x, bits, GetIndex(row, x, from));
            }
            GlobalUnlock(out);
        }
    }
    CloseSource(&s);
    return out;
}

HGLOBAL DIB_Fix16(HGLOBAL dib, int takeOver)
{
    BITMAPINFOHEADER h;
    DIB_GetInfo(dib, &h);
    HGLOBAL out;
    if (h.biBitCount != 16 || h.biSize != kInfoSize) {
        if (takeOver) return dib;
        Source s;
        if (!OpenSource(dib, &s)) return nullptr;
        out = CopySource(s);
        CloseSource(&s);
        return out;
    }
    out = DIB_ConvertBits(dib, 24);
    if (out) {
        BITMAPINFOHEADER* to = static_cast<BITMAPINFOHEADER*>(GlobalLock(out));
        to->biXPelsPerMeter = h.biXPelsPerMeter;
        to->biYPelsPerMeter = h.biYPelsPerMeter;
        GlobalUnlock(out);
    }
    if (takeOver) GlobalFree(dib);
    return out;
}

// ---- geometry --------------------------------------------------------------------

HGLOBAL DIB_Scale(HGLOBAL dib, int width, int height)
{
    if (width <= 0 || height <= 0) return nullptr;
    Source s;
    if (!OpenSource(dib, &s)) return nullptr;
    int bits = s.h.biBitCount;
    BYTE* p;
    HGLOBAL out = NewDib(width, height, bits, s.numColors, &p);
    std::unique_ptr<LONG[]> columns(new (std::nothrow) LONG[static_cast<size_t>(width)]);
    if (out && columns) {
        memcpy(p + kInfoSize, s.colors, 4 * s.numColors);
        // The source pixel under each target pixel's centre.
        uint64_t sw = static_cast<uint64_t>(s.h.biWidth), sh = static_cast<uint64_t>(s.h.biHeight);
        for (int x = 0; x < width; x++)
            columns[x] = static_cast<LONG>((2 * static_cast<uint64_t>(x) + 1) * sw / (2 * static_cast<uint64_t>(width)));
        BYTE* to = p + kInfoSize + 4 * s.numColors;
        DWORD toStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits));
        size_t bytes = static_cast<size_t>(bits / 8);
        for (int y = 0; y < height; y++, to += toStride) {
            LONG sy = static_cast<LONG>((2 * static_cast<uint64_t>(y) + 1) * sh / (2 * static_cast<uint64_t>(height)));
            const BYTE* row = s.pixels + static_cast<size_t>(sy) * s.stride;
            if (bits < 8) {
                for (int x = 0; x < width; x++) SetIndex(to, x, bits, GetIndex(row, columns[x], bits));
            } else {
                for (int x = 0; x < width; x++) memcpy(to + x * bytes, row + columns[x] * bytes, bytes);
            }
        }
    }
    if (out) GlobalUnlock(out);
    if (out && !columns) out = GlobalFree(out);
    CloseSource(&s);
    return out;
}

HGLOBAL DIB_Pad(HGLOBAL dib, int left, int right, int top, int bottom, int, const RGBTRIPLE* colour)
{
    if (left < 0 || right < 0 || top < 0 || bottom < 0) return nullptr;
    Source s;
    if (!OpenSource(dib, &s)) return nullptr;
    int bits = s.h.biBitCount;
    int64_t width = static_cast<int64_t>(s.h.biWidth) + left + right;
    int64_t height = static_cast<int64_t>(s.h.biHeight) + top + bottom;
    BYTE* p = nullptr;
    HGLOBAL out = nullptr;
    if (width <= 0x7FFFFFFF && height <= 0x7FFFFFFF)
        out = NewDib(static_cast<LONG>(width), static_cast<LONG>(height), bits, s.numColors, &p);
    if (!out) {
        CloseSource(&s);
        return nullptr;
    }
    RGBTRIPLE c = colour ? *colour : RGBTRIPLE{0, 0, 0};
    memcpy(p + kInfoSize, s.colors, 4 * s.numColors);
    // The margin's pixel value: the nearest table entry, or the colour itself.
    int index = 0;
    if (bits <= 8) {
        long best = -1;
        for (DWORD i = 0; i < s.numColors; i++) {
            long db = s.colors[i].rgbBlue - c.rgbtBlue, dg = s.colors[i].rgbGreen - c.rgbtGreen,
                 dr = s.colors[i].rgbRed - c.rgbtRed;
            long d = db * db + dg * dg + dr * dr;
            if (best < 0 || d < best) {
                best = d;
                index = static_cast<int>(i);
            }
        }
    }
    BYTE fill[4] = {c.rgbtBlue, c.rgbtGreen, c.rgbtRed, 0};
    if (bits == 16) {
        unsigned v = ((c.rgbtRed >> 3) << 10) | ((c.rgbtGreen >> 3) << 5) | (c.rgbtBlue >> 3);
        fill[0] = static_cast<BYTE>(v);
        fill[1] = static_cast<BYTE>(v >> 8);
    }
    size_t bytes = static_cast<size_t>(bits / 8);
    BYTE* to = p + kInfoSize + 4 * s.numColors;
    DWORD toStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits));
    for (int64_t y = 0; y < height; y++, to += toStride) {
        // Rows run bottom-up, so the bottom margin comes first.
        int64_t sy = y - bottom;
        const BYTE* row = sy >= 0 && sy < s.h.biHeight ? s.pixels + static_cast<size_t>(sy) * s.stride : nullptr;
        for (int64_t x = 0; x < width; x++) {
            int64_t sx = x - left;
            bool inside = row && sx >= 0 && sx < s.h.biWidth;
            if (bits < 8)
                SetIndex(to, static_cast<LONG>(x), bits, inside ? GetIndex(row, static_cast<LONG>(sx), bits) : index);
            else if (bits == 8)
                to[x] = inside ? row[sx] : static_cast<BYTE>(index);
            else
                memcpy(to + x * bytes, inside ? row + sx * bytes : fill, bytes);
        }
    }
    GlobalUnlock(out);
    CloseSource(&s);
    return out;
}

// ---- run-length coding -------------------------------------------------------------

namespace {

// Decodes RLE8 or RLE4 data into a zeroed plain pixel area. End of line, end
// of bitmap, delta and absolute runs (padded to 16 bits) are honoured; pixels
// beyond the row are dropped, and decoding ends at the top row or when the
// data runs out.
void DecodeRle(const BYTE* in, size_t n, bool rle4, BYTE* out, LONG width, LONG height, DWORD stride)
{
    size_t i = 0;
    LONG x = 0, y = 0;
    int bits = rle4 ? 4 : 8;
    while (y < height && i + 2 <= n) {
        unsigned count = in[i], value = in[i + 1];
        i += 2;
        BYTE* row = out + static_cast<size_t>(y) * stride;
        if (count) {
            // An encoded run; RLE4 alternates the two nibbles, high first.
            LONG m = x < width ? (static_cast<LONG>(count) < width - x ? static_cast<LONG>(count) : width - x) : 0;
            for (LONG k = 0; k < m; k++)
                SetIndex(row, x + k, bits, rle4 ? ((k & 1) ? value & 15 : value >> 4) : value);
            x = static_cast<LONG>(count) < width - x ? x + static_cast<LONG>(count) : width;
            continue;
        }
        switch (value) {
        case 0:  // end of line
            x = 0;
            y++;
            break;
        case 1:  // end of bitmap
            return;
        case 2:  // delta: right and up
            if (i + 2 > n) return;
            x = static_cast<LONG>(in[i]) < width - x ? x + in[i] : width;
            y += in[i + 1];
            i += 2;
            break;
        default: {  // absolute run of value pixels
            size_t bytes = rle4 ? (value + 1) / 2 : value;
            size_t there = n - i < bytes ? n - i : bytes;
            size_t pixels = rle4 ? (there * 2 < value ? there * 2 : value) : there;
            for (size_t k = 0; k < pixels && x + static_cast<LONG>(k) < width; k++) {
                int v = rle4 ? ((k & 1) ? in[i + k / 2] & 15 : in[i + k / 2] >> 4) : in[i + k];
                SetIndex(row, x + static_cast<LONG>(k), bits, v);
            }
            x = static_cast<LONG>(value) < width - x ? x + static_cast<LONG>(value) : width;
            if (there < bytes) return;
            bytes += bytes & 1;
            i = n - i < bytes ? n : i + bytes;
            break;
        }
        }
    }
}

// Encodes one row of pixel values (one per byte) as RLE runs; writes to out
// when it is not null and returns the byte count. Runs of two or more equal
// values are encoded runs; stretches of three or more values without a run of
// three are absolute runs; one or two values left over are runs of one.
size_t EncodeRow(const BYTE* v, LONG width, bool rle4, BYTE* out)
{
    size_t n = 0;
    auto put = [&](BYTE b) {
        if (out) out[n] = b;
        n++;
    };
    LONG i = 0;
    while (i < width) {
        LONG run = 1;
        while (i + run < width && run < 255 && v[i + run] == v[i]) run++;
        if (run >= 2) {
            put(static_cast<BYTE>(run));
            put(static_cast<BYTE>(rle4 ? v[i] * 17 : v[i]));
            i += run;
            continue;
        }
        LONG j = i;
        while (j < width && j - i < 255) {
            if (j + 2 < width && v[j] == v[j + 1] && v[j + 1] == v[j + 2]) break;
            j++;
        }
        LONG count = j - i;
        if (count >= 3) {
            put(0);
            put(static_cast<BYTE>(count));
            size_t bytes = 0;
            if (rle4) {
                for (LONG k = 0; k < count; k += 2, bytes++)
                    put(static_cast<BYTE>((v[i + k] << 4) | (k + 1 < count ? v[i + k + 1] : 0)));
            } else {
                for (LONG k = 0; k < count; k++, bytes++) put(v[i + k]);
            }
            if (bytes & 1) put(0);
        } else {
            for (LONG k = 0; k < count; k++) {
                put(1);
                put(static_cast<BYTE>(rle4 ? v[i + k] << 4 : v[i + k]));
            }
        }
        i = j;
    }
    return n;
}

// Run-length data for a whole plain image: every row ends with an end of
// line except the last, which ends with end of bitmap. Returns the byte
// count; out may be null to count only.
size_t EncodeImage(const Source& s, bool rle4, BYTE* values, BYTE* out)
{
    size_t n = 0;
    for (LONG y = 0; y < s.h.biHeight; y++) {
        const BYTE* row = s.pixels + static_cast<size_t>(y) * s.stride;
        for (LONG x = 0; x < s.h.biWidth; x++) values[x] = static_cast<BYTE>(GetIndex(row, x, s.h.biBitCount));
        n += EncodeRow(values, s.h.biWidth, rle4, out ? out + n : nullptr);
        if (out) {
            out[n] = 0;
            out[n + 1] = y + 1 < s.h.biHeight ? 0 : 1;
        }
        n += 2;
    }
    return n;
}

inline DWORD MaskShift(DWORD mask)
{
    DWORD shift = 0;
    while (mask && !(mask & 1)) {
        mask >>= 1;
        shift++;
    }
    return shift;
}

// A channel under a bit-field mask, scaled to 0..255 with rounding.
inline BYTE Channel(DWORD pixel, DWORD mask, DWORD shift)
{
    if (!mask) return 0;
    DWORD max = mask >> shift;
    DWORD v = (pixel & mask) >> shift;
    return static_cast<BYTE>((static_cast<uint64_t>(v) * 255 + max / 2) / max);
}

// Bit-field pixels (16 or 32 bits) as a plain 24-bit or 32-bit DIB; the fourth
// byte holds the alpha mask's channel when there is one.
HGLOBAL DecodeBitFields(const BITMAPINFOHEADER& h, const DWORD masks[4], const BYTE* pixels, size_t n)
{
    int bits = h.biBitCount == 16 ? 24 : 32;
    LONG width = h.biWidth, height = h.biHeight;
    uint64_t inStride = RowBytes(static_cast<uint64_t>(width), h.biBitCount);
    if (n / inStride < static_cast<uint64_t>(height)) return nullptr;
    BYTE* p;
    HGLOBAL out = NewDib(width, height, bits, 0, &p);
    if (!out) return nullptr;
    DWORD outStride = static_cast<DWORD>(RowBytes(static_cast<uint64_t>(width), bits));
    DWORD shift[4];
    for (int c = 0; c < 4; c++) shift[c] = MaskShift(masks[c]);
    size_t step = h.biBitCount / 8;
    for (LONG y = 0; y < height; y++) {
        uint64_t at = static_cast<uint64_t>(y) * inStride;
        BYTE* to = p + kInfoSize + static_cast<size_t>(y) * outStride;
        for (LONG x = 0; x < width; x++, at += step, to += bits / 8) {
            const BYTE* q = pixels + at;
            DWORD v = step == 2 ? static_cast<DWORD>(q[0] | (q[1] << 8))
                                : static_cast<DWORD>(q[0] | (q[1] << 8) | (q[2] << 16)) | (static_cast<DWORD>(q[3]) << 24);
            to[0] = Channel(v, masks[2], shift[2]);
            to[1] = Channel(v, masks[1], shift[1]);
            to[2] = Channel(v, masks[0], shift[0]);
            if (bits == 32) to[3] = Channel(v, masks[3], shift[3]);
        }
    }
    GlobalUnlock(out);
    return out;
}

inline DWORD Read32(const BYTE* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<DWORD>(p[3]) << 24); }

// Where a source's parts lie, checked against what is there.
struct Layout {
    BITMAPINFOHEADER h;
    DWORD numColors;
    const BYTE* colors;
    const BYTE* pixels;
    size_t pixelBytes;  // bytes from the pixels to the end of what is there
    DWORD masks[4];
};

// Reads a header of 40 bytes or more with compression 0 to 3; false when the
// block can't be such a DIB.
bool ReadLayout(const BYTE* p, size_t size, Layout* l)
{
    if (size < kInfoSize) return false;
    memcpy(&l->h, p, kInfoSize);
    const BITMAPINFOHEADER& h = l->h;
    if (h.biSize < kInfoSize || h.biSize > size || h.biWidth <= 0 || h.biHeight == 0 || !ValidBits(h.biBitCount) ||
        h.biClrUsed > 256 || h.biCompression > BI_BITFIELDS)
        return false;
    if (h.biCompression == BI_RLE8 && h.biBitCount != 8) return false;
    if (h.biCompression == BI_RLE4 && h.biBitCount != 4) return false;
    if (h.biCompression == BI_BITFIELDS && h.biBitCount != 16 && h.biBitCount != 32) return false;
    size_t offset = h.biSize;
    memset(l->masks, 0, sizeof l->masks);
    if (h.biCompression == BI_BITFIELDS) {
        // Three masks follow a 40-byte header; longer headers hold them (and alpha).
        size_t maskBytes = h.biSize == kInfoSize ? 12 : 0;
        if (h.biSize == kInfoSize && size < kInfoSize + 12) return false;
        if (h.biSize >= 52 || h.biSize == kInfoSize) {
            for (int c = 0; c < 3; c++) l->masks[c] = Read32(p + kInfoSize + 4 * c);
        }
        if (h.biSize >= 56) l->masks[3] = Read32(p + kInfoSize + 12);
        offset += maskBytes;
    }
    l->numColors = h.biBitCount <= 8 ? DIB_NumColors(&h) : h.biClrUsed;
    l->colors = p + offset;
    offset += 4 * static_cast<size_t>(l->numColors);
    if (offset > size) return false;
    l->pixels = p + offset;
    l->pixelBytes = size - offset;
    return true;
}

// Copies what pixel rows are there into a new plain block, top-down rows
// turned bottom-up; missing rows stay zero.
HGLOBAL PlainFromLayout(const Layout& l)
{
    if (l.h.biHeight == INT32_MIN) return nullptr;
    LONG height = l.h.biHeight < 0 ? -l.h.biHeight : l.h.biHeight;
    DWORD colors = l.h.biBitCount <= 8 ? l.numColors : 0;
    // A block that doesn't hold its pixels is no DIB to copy.
    size_t stride = static_cast<size_t>(RowBytes(static_cast<uint64_t>(l.h.biWidth), l.h.biBitCount));
    if (l.pixelBytes / stride < static_cast<size_t>(height)) return nullptr;
    BYTE* p;
    HGLOBAL out = NewDib(l.h.biWidth, height, l.h.biBitCount, colors, &p);
    if (!out) return nullptr;
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    h->biXPelsPerMeter = l.h.biXPelsPerMeter;
    h->biYPelsPerMeter = l.h.biYPelsPerMeter;
    h->biClrImportant = l.h.biClrImportant < colors ? l.h.biClrImportant : colors;
    memcpy(p + kInfoSize, l.colors, 4 * static_cast<size_t>(colors));
    BYTE* to = p + kInfoSize + 4 * colors;
    for (LONG y = 0; y < height; y++) {
        LONG toRow = l.h.biHeight < 0 ? height - 1 - y : y;
        memcpy(to + static_cast<size_t>(toRow) * stride, l.pixels + static_cast<size_t>(y) * stride, stride);
    }
    GlobalUnlock(out);
    return out;
}

// Any DIB that ReadLayout accepts as a new plain block.
HGLOBAL PlainFromAny(const Layout& l)
{
    if (l.h.biCompression == BI_BITFIELDS) {
        if (l.h.biHeight < 0) return nullptr;  // bit fields come bottom-up here
        return DecodeBitFields(l.h, l.masks, l.pixels, l.pixelBytes);
    }
    if (l.h.biCompression == BI_RGB) return PlainFromLayout(l);
    // Run-length images are bottom-up by definition. End-of-line and delta
    // codes make a large image from little data, so only the image limit
    // bounds the decoded block.
    if (l.h.biHeight < 0) return nullptr;
    size_t n = l.pixelBytes;
    if (l.h.biSizeImage && l.h.biSizeImage < n) n = l.h.biSizeImage;
    BYTE* p;
    HGLOBAL out = NewDib(l.h.biWidth, l.h.biHeight, l.h.biBitCount, l.numColors, &p);
    if (!out) return nullptr;
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    h->biXPelsPerMeter = l.h.biXPelsPerMeter;
    h->biYPelsPerMeter = l.h.biYPelsPerMeter;
    h->biClrImportant = l.h.biClrImportant < l.numColors ? l.h.biClrImportant : l.numColors;
    memcpy(p + kInfoSize, l.colors, 4 * static_cast<size_t>(l.numColors));
    DecodeRle(l.pixels, n, l.h.biCompression == BI_RLE4, p + kInfoSize + 4 * l.numColors, l.h.biWidth,
              l.h.biHeight, static_cast<DWORD>(RowBytes(static_cast<uint64_t>(l.h.biWidth), l.h.biBitCount)));
    GlobalUnlock(out);
    return out;
}

// Run-length coding of a plain block.
HGLOBAL Encode(HGLOBAL plain, int compression)
{
    Source s;
    if (!OpenSource(plain, &s)) return nullptr;
    bool rle4 = compression == BI_RLE4;
    HGLOBAL out = nullptr;
    std::unique_ptr<BYTE[]> values(new (std::nothrow) BYTE[static_cast<size_t>(s.h.biWidth)]);
    if (values && s.h.biBitCount <= (rle4 ? 4 : 8)) {
        size_t n = EncodeImage(s, rle4, values.get(), nullptr);
        uint64_t size = kInfoSize + 4ULL * s.numColors + n;
        if (size <= kLargestBlock) out = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, static_cast<SIZE_T>(size));
        BYTE* p = out ? static_cast<BYTE*>(GlobalLock(out)) : nullptr;
        if (p) {
            BITMAPINFOHEADER h = s.h;
            h.biBitCount = static_cast<WORD>(rle4 ? 4 : 8);
            h.biCompression = static_cast<DWORD>(compression);
            h.biSizeImage = static_cast<DWORD>(n);
            h.biClrUsed = s.numColors;
            if (h.biClrImportant > s.numColors) h.biClrImportant = s.numColors;
            memcpy(p, &h, kInfoSize);
            memcpy(p + kInfoSize, s.colors, 4 * s.numColors);
            EncodeImage(s, rle4, values.get(), p + kInfoSize + 4 * s.numColors);
            GlobalUnlock(out);
        } else if (out) {
            out = GlobalFree(out);
        }
    }
    CloseSource(&s);
    return out;
}

}  // namespace

HGLOBAL DIB_Recompress(HGLOBAL dib, int isResource, int compression)
{
    if (!dib || compression < 0 || compression > BI_RLE4) return nullptr;
    const BYTE* p;
    size_t size;
#ifdef _WIN32
    if (isResource) {
        // A resource is our own data; its size is what its header says.
        p = static_cast<const BYTE*>(LockResource(dib));
        if (!p) return nullptr;
        const BITMAPINFOHEADER* rh = reinterpret_cast<const BITMAPINFOHEADER*>(p);
        uint64_t rows = rh->biHeight < 0 ? 0 - static_cast<int64_t>(rh->biHeight) : rh->biHeight;
        uint64_t image = rh->biCompression == BI_RLE8 || rh->biCompression == BI_RLE4
                             ? rh->biSizeImage
                             : RowBytes(static_cast<uint64_t>(rh->biWidth > 0 ? rh->biWidth : 0), rh->biBitCount) * rows;
        uint64_t whole = rh->biSize + (rh->biCompression == BI_BITFIELDS ? 12ULL : 0ULL) +
                         (rh->biBitCount <= 8 ? 4ULL * DIB_NumColors(rh) : 4ULL * rh->biClrUsed) + image;
        if (whole > kLargestBlock) return nullptr;
        size = static_cast<size_t>(whole);
    } else
#endif
    {
        (void)isResource;
        size = GlobalSize(dib);
        p = static_cast<const BYTE*>(GlobalLock(dib));
        if (!p) return nullptr;
    }
    Layout l;
    HGLOBAL plain = ReadLayout(p, size, &l) ? PlainFromAny(l) : nullptr;
#ifdef _WIN32
    if (!isResource) GlobalUnlock(dib);
#else
    GlobalUnlock(dib);
#endif
    if (!plain || compression == BI_RGB) return plain;
    HGLOBAL out = nullptr;
    BITMAPINFOHEADER ph;
    DIB_GetInfo(plain, &ph);
    int target = compression == BI_RLE4 ? 4 : 8;
    if (ph.biBitCount < target) {
        // A 1-bit image is widened to the depth of its run-length form.
        HGLOBAL wide = DIB_ConvertBits(plain, target);
        GlobalFree(plain);
        plain = wide;
    }
    if (plain) out = Encode(plain, compression);
    GlobalFree(plain);
    return out;
}

// ---- repairs ----------------------------------------------------------------------

HGLOBAL DIB_Normalize(HGLOBAL dib)
{
    if (!dib) return nullptr;
    size_t size = GlobalSize(dib);
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    if (!p || size < 4) {
        if (p) GlobalUnlock(dib);
        GlobalFree(dib);
        return nullptr;
    }
    HGLOBAL out = nullptr;
    DWORD headerSize = Read32(p);
    if (headerSize == kCoreSize && size >= kCoreSize) {
        // The core form: 16-bit sizes, three-byte table entries.
        BITMAPCOREHEADER core;
        memcpy(&core, p, kCoreSize);
        DWORD colors = core.bcBitCount <= 8 ? 1U << core.bcBitCount : 0;
        BYTE* q;
        uint64_t whole = kCoreSize + 3ULL * colors +
                         RowBytes(core.bcWidth, core.bcBitCount) * static_cast<uint64_t>(core.bcHeight);
        if (ValidBits(core.bcBitCount) && core.bcWidth && core.bcHeight && whole <= size &&
            (out = NewDib(core.bcWidth, core.bcHeight, core.bcBitCount, colors, &q)) != nullptr) {
            RGBQUAD* table = reinterpret_cast<RGBQUAD*>(q + kInfoSize);
            size_t at = kCoreSize;
            for (DWORD i = 0; i < colors; i++, at += 3) table[i] = {p[at], p[at + 1], p[at + 2], 0};
            memcpy(q + kInfoSize + 4 * colors, p + at, reinterpret_cast<BITMAPINFOHEADER*>(q)->biSizeImage);
            GlobalUnlock(out);
        }
        GlobalUnlock(dib);
        GlobalFree(dib);
        return out;
    }
    Layout l;
    if (!ReadLayout(p, size, &l)) {
        GlobalUnlock(dib);
        GlobalFree(dib);
        return nullptr;
    }
    // Already in form: keep the block, only planes set right. A plain block
    // short of its pixels is refused below.
    uint64_t image = RowBytes(static_cast<uint64_t>(l.h.biWidth), l.h.biBitCount) * static_cast<uint64_t>(l.h.biHeight > 0 ? l.h.biHeight : 0);
    bool inForm = l.h.biSize == kInfoSize && l.h.biHeight > 0 && (l.h.biBitCount <= 8 || l.numColors == 0) &&
                  l.h.biCompression != BI_BITFIELDS && (l.h.biCompression != BI_RGB || l.pixelBytes >= image);
    if (inForm) {
        reinterpret_cast<BITMAPINFOHEADER*>(p)->biPlanes = 1;
        GlobalUnlock(dib);
        return dib;
    }
    if (l.h.biCompression == BI_RLE8 || l.h.biCompression == BI_RLE4) {
        // Run-length data keeps its form; only the header and table move.
        if (l.h.biHeight > 0) {
            uint64_t total = kInfoSize + 4ULL * l.numColors + l.pixelBytes;
            out = total <= kLargestBlock ? GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, static_cast<SIZE_T>(total)) : nullptr;
            BYTE* q = out ? static_cast<BYTE*>(GlobalLock(out)) : nullptr;
            if (q) {
                BITMAPINFOHEADER h = l.h;
                h.biSize = kInfoSize;
                h.biPlanes = 1;
                memcpy(q, &h, kInfoSize);
                memcpy(q + kInfoSize, l.colors, 4 * static_cast<size_t>(l.numColors));
                memcpy(q + kInfoSize + 4 * l.numColors, l.pixels, l.pixelBytes);
                GlobalUnlock(out);
            } else if (out) {
                out = GlobalFree(out);
            }
        }
    } else {
        out = PlainFromAny(l);
    }
    GlobalUnlock(dib);
    GlobalFree(dib);
    return out;
}

void DIB_FixHeader(HGLOBAL dib)
{
    BITMAPINFOHEADER* h = static_cast<BITMAPINFOHEADER*>(GlobalLock(dib));
    if (!h) return;
    if (GlobalSize(dib) >= kInfoSize && h->biSize == kInfoSize) {
        if (h->biBitCount <= 8) h->biClrUsed = DIB_NumColors(h);
        if (h->biClrImportant > h->biClrUsed) h->biClrImportant = h->biClrUsed;
        if (h->biCompression == BI_RGB && h->biWidth > 0) {
            uint64_t height = h->biHeight < 0 ? -static_cast<int64_t>(h->biHeight) : h->biHeight;
            uint64_t image = RowBytes(static_cast<uint64_t>(h->biWidth), h->biBitCount) * height;
            if (image <= 0xFFFFFFFFULL) h->biSizeImage = static_cast<DWORD>(image);
        }
    }
    GlobalUnlock(dib);
}
