// Packed DIB operations: header facts, gray and depth conversions, run-length
// coding in both directions, the repairs of outside DIBs, scaling and margins.
#include "colour/luma.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

typedef std::vector<BYTE> Bytes;

// A block freed at the end of the full expression that made it.
struct Scoped {
    HGLOBAL h;
    ~Scoped() { GlobalFree(h); }
    operator HGLOBAL() const { return h; }
};

RGBQUAD Quad(BYTE red, BYTE green, BYTE blue) { return RGBQUAD{blue, green, red, 0}; }

// A packed DIB block from its parts; the pixel bytes are taken as given.
HGLOBAL MakeDib(LONG width, LONG height, int bits, const std::vector<RGBQUAD>& table, const Bytes& pixels,
                DWORD compression = BI_RGB, DWORD clrUsed = 0xFFFFFFFF)
{
    BITMAPINFOHEADER h = {};
    h.biSize = sizeof h;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biCompression = compression;
    h.biSizeImage = static_cast<DWORD>(pixels.size());
    h.biClrUsed = clrUsed == 0xFFFFFFFF ? static_cast<DWORD>(table.size()) : clrUsed;
    size_t size = sizeof h + 4 * table.size() + pixels.size();
    HGLOBAL mem = GlobalAlloc(GHND, size);
    BYTE* p = static_cast<BYTE*>(GlobalLock(mem));
    memcpy(p, &h, sizeof h);
    if (!table.empty()) memcpy(p + sizeof h, table.data(), 4 * table.size());
    if (!pixels.empty()) memcpy(p + sizeof h + 4 * table.size(), pixels.data(), pixels.size());
    GlobalUnlock(mem);
    return mem;
}

// What a block holds: its header, its table by DIB_NumColors and the pixel
// bytes (biSizeImage of them).
struct Dib {
    BITMAPINFOHEADER h;
    std::vector<RGBQUAD> table;
    Bytes pixels;
};

Dib ReadDib(HGLOBAL mem)
{
    Dib d = {};
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(mem));
    memcpy(&d.h, p, sizeof d.h);
    WORD n = DIB_NumColors(&d.h);
    d.table.resize(n);
    if (n) memcpy(d.table.data(), p + d.h.biSize, 4 * n);
    const BYTE* px = p + d.h.biSize + DIB_PaletteSize(&d.h);
    EXPECT_LE(d.h.biSize + DIB_PaletteSize(&d.h) + d.h.biSizeImage, GlobalSize(mem));
    d.pixels.assign(px, px + d.h.biSizeImage);
    GlobalUnlock(mem);
    return d;
}

void ExpectTable(const std::vector<RGBQUAD>& expected, const std::vector<RGBQUAD>& actual)
{
    ASSERT_EQ(expected.size(), actual.size());
    EXPECT_EQ(0, expected.empty() ? 0 : memcmp(expected.data(), actual.data(), 4 * expected.size()));
}

RGBQUAD Gray(BYTE g) { return RGBQUAD{g, g, g, 0}; }

}  // namespace

TEST(DibHeader, ColourCountsFollowClrUsedDepthAndCoreForm)
{
    // biClrUsed wins when set, at any depth; beyond 256 it reads as 256. The
    // core form has three-byte entries and no colour count of its own.
    const struct {
        DWORD size, clrUsed;
        WORD bits, colours, paletteBytes;
    } cases[] = {
        {40, 0, 1, 2, 8},    {40, 0, 4, 16, 64},  {40, 0, 8, 256, 1024},   {40, 0, 16, 0, 0}, {40, 0, 24, 0, 0},
        {40, 0, 32, 0, 0},   {40, 5, 8, 5, 20},   {40, 3, 24, 3, 12},      {40, 70000, 24, 256, 1024},
        {12, 0, 8, 256, 768}, {12, 0, 24, 0, 0},
    };
    for (const auto& c : cases) {
        BITMAPINFOHEADER h = {};
        BITMAPCOREHEADER core = {12, 3, 2, 1, c.bits};
        h.biSize = c.size;
        h.biBitCount = c.bits;
        h.biClrUsed = c.clrUsed;
        BITMAPINFOHEADER* header = c.size == 12 ? reinterpret_cast<BITMAPINFOHEADER*>(&core) : &h;
        EXPECT_EQ(c.colours, DIB_NumColors(header)) << c.size << " " << c.bits << " " << c.clrUsed;
        EXPECT_EQ(c.paletteBytes, DIB_PaletteSize(header)) << c.size << " " << c.bits << " " << c.clrUsed;
        if (c.size == 40 && !c.clrUsed) EXPECT_EQ(DWORD(c.colours), DIB_ColorsForBits(c.bits)) << c.bits;
    }
}

TEST(DibToGray, IndexDepthsGrayTheirTableAndDeepDepthsBecomeEightBitGray)
{
    // Grays by the luminance tables: red 77, green 150, blue 28, white 255,
    // (10,20,30) -> 3+12+3 = 18, (128,64,32) -> 38+38+4 = 80.
    const std::vector<RGBQUAD> colours = {Quad(255, 0, 0), Quad(0, 255, 0), Quad(0, 0, 255), Quad(255, 255, 255),
                                          Quad(10, 20, 30), Quad(128, 64, 32)};
    const std::vector<RGBQUAD> grays = {Gray(77), Gray(150), Gray(28), Gray(255), Gray(18), Gray(80)};
    std::vector<RGBQUAD> ramp;
    for (int i = 0; i < 256; i++) ramp.push_back(Gray(static_cast<BYTE>(i)));
    const Bytes packed = {0x5A, 0x13, 0xC4, 0x00, 0xA5, 0x31, 0x02, 0x00};  // 2 rows of 4 bytes
    struct Case {
        LONG width, height;
        int bits;
        size_t entries;  // of the colours above; none: a deep image
        Bytes pixels, gray;
    } cases[] = {
        // Index depths keep their pixels; only the table turns gray.
        {3, 2, 1, 2, packed, packed},
        {3, 2, 4, 6, packed, packed},
        {4, 2, 8, 6, {0, 5, 3, 1, 4, 2, 2, 0}, {0, 5, 3, 1, 4, 2, 2, 0}},
        // 24 bits: red, green, blue, (128,64,32) in one row of 4, then white.
        {4, 2, 24, 0, {0, 0, 255, 0, 255, 0, 255, 0, 0, 32, 64, 128, 255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {77, 150, 28, 80, 255, 0, 0, 0}},
        // 32 bits: the fourth byte plays no part.
        {2, 1, 32, 0, {30, 20, 10, 0xFF, 255, 255, 255, 0x00}, {18, 255, 0, 0}},
        // 16 bits, 5-5-5: (31,16,1) widens to (255,132,8): 77 + 78 + 1 = 156;
        // (0,0,31) -> blue 255 -> 28.
        {2, 1, 16, 0, {0x01, 0x7E, 0x1F, 0x00}, {156, 28, 0, 0}},
    };
    for (const Case& c : cases) {
        const std::vector<RGBQUAD> table(colours.begin(), colours.begin() + static_cast<long>(c.entries));
        HGLOBAL src = MakeDib(c.width, c.height, c.bits, table, c.pixels);
        HGLOBAL gray = DIB_ToGray(src);
        ASSERT_NE(nullptr, gray) << c.bits;
        Dib d = ReadDib(gray);
        EXPECT_EQ(c.entries ? c.bits : 8, d.h.biBitCount) << c.bits;
        EXPECT_EQ(c.entries ? c.entries : 256u, d.h.biClrUsed) << c.bits;
        ExpectTable(c.entries ? std::vector<RGBQUAD>(grays.begin(), grays.begin() + static_cast<long>(c.entries)) : ramp, d.table);
        EXPECT_EQ(c.gray, d.pixels) << c.bits;
        // The source is left alone.
        Dib before = ReadDib(src);
        EXPECT_EQ(c.pixels, before.pixels) << c.bits;
        ExpectTable(table, before.table);
        GlobalFree(gray);
        GlobalFree(src);
    }
}

TEST(DibRecompress, RunLengthDataDecodesToPlainRowsAndHostileRunsAreClipped)
{
    Bytes flood;
    for (int i = 0; i < 50; i++) flood.insert(flood.end(), {255, 2, 0, 0});
    struct Case {
        LONG width, height;
        int bits;
        DWORD compression;
        Bytes data;
        Bytes pixels;
        const char* what;
    };
    const std::vector<Case> cases = {
        {6, 4, 8, BI_RLE8,
         {
             3, 5,              // row 0: three 5s
             0, 3, 1, 2, 3, 0,  // absolute 1 2 3, padded to a word
             0, 0,              // end of line: row 1 stays empty
             0, 2, 2, 1,        // delta: two right, one up -> row 2, x 2
             2, 9,              // 9 9
             0, 0,              // end of line
             8, 7,              // eight 7s in a row of six: clipped
             0, 1,              // end of bitmap
         },
         {5, 5, 5, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 9, 0, 0, 0, 0, 7, 7, 7, 7, 7, 7, 0, 0},
         "RLE8 runs, absolute runs, deltas and line ends"},
        {5, 3, 4, BI_RLE4,
         {
             5, 0x12,                    // row 0: 1 2 1 2 1
             0, 0,                       // end of line
             0, 3, 0xAB, 0xC0,           // absolute A B C: two bytes, already even
             2, 0x3F,                    // 3 F
             0, 0,                       // end of line
             0, 2, 1, 0,                 // delta one right
             1, 0x70,                    // 7
             0, 5, 0x12, 0x34, 0x50, 0,  // absolute 1 2 3 4 5: three bytes padded to four; 4 5 fall off the row
             0, 1,
         },
         {0x12, 0x12, 0x10, 0, 0xAB, 0xC3, 0xF0, 0, 0x07, 0x12, 0x30, 0},
         "RLE4 nibble runs and odd absolute counts"},
        // A delta far past the top ends decoding; what came before stays.
        {4, 2, 8, BI_RLE8, {2, 1, 0, 2, 200, 200, 4, 3, 0, 1}, {1, 1, 0, 0, 0, 0, 0, 0}, "delta past the top"},
        // An absolute run longer than the row, then one cut off by the end of the data.
        {4, 2, 8, BI_RLE8, {0, 6, 1, 2, 3, 3, 2, 1, 0, 0, 0, 5, 3, 2}, {1, 2, 3, 3, 3, 2, 0, 0}, "absolute runs too long"},
        // Many lines ending past the top, and 255-pixel runs in a tiny image.
        {3, 2, 4, BI_RLE4, flood, {0x02, 0x00, 0, 0, 0x02, 0x00, 0, 0}, "flood of long runs"},
        // A delta cut off after its escape, and a lone count byte.
        {2, 1, 8, BI_RLE8, {1, 3, 0, 2, 1}, {3, 0, 0, 0}, "cut delta"},
    };
    for (const Case& c : cases) {
        std::vector<RGBQUAD> table(c.bits == 4 ? 16 : 2, Quad(9, 8, 7));
        table[1] = Quad(1, 1, 1);
        HGLOBAL plain = DIB_Recompress(Scoped{MakeDib(c.width, c.height, c.bits, table, c.data, c.compression)}, 0, BI_RGB);
        ASSERT_NE(nullptr, plain) << c.what;
        Dib d = ReadDib(plain);
        EXPECT_EQ(40u, d.h.biSize) << c.what;
        EXPECT_EQ(static_cast<DWORD>(BI_RGB), d.h.biCompression) << c.what;
        EXPECT_EQ(c.bits, d.h.biBitCount) << c.what;
        EXPECT_EQ(table.size(), d.h.biClrUsed) << c.what;
        ExpectTable(table, d.table);
        EXPECT_EQ(c.pixels, d.pixels) << c.what;
        GlobalFree(plain);
    }
}

TEST(DibRecompress, MismatchedFormsAndTablesAreRefusedAndOnlyTheLimitBoundsTheImage)
{
    std::vector<RGBQUAD> table(4, Quad(0, 0, 0));
    // Depth and compression that don't belong together are refused.
    HGLOBAL e = MakeDib(2, 1, 4, table, {2, 1, 0, 1}, BI_RLE8);
    EXPECT_EQ(nullptr, DIB_Recompress(e, 0, BI_RGB));
    // Only the image limit bounds what little data decodes to: four bytes
    // give 383 x 2, refused once the limit is a byte short of its block.
    HGLOBAL g = MakeDib(383, 2, 8, table, {255, 1, 0, 1}, BI_RLE8);
    HGLOBAL pg = DIB_Recompress(g, 0, BI_RGB);
    ASSERT_NE(nullptr, pg);
    Bytes rows(2 * 384, 0);
    memset(rows.data(), 1, 255);
    EXPECT_EQ(rows, ReadDib(pg).pixels);
    uint64_t limit = DIB_GetMemoryLimit();
    DIB_SetMemoryLimit(DIB_PackedSize(383, 2, 8, ReadDib(pg).h.biClrUsed) - 1);
    EXPECT_EQ(nullptr, DIB_Recompress(g, 0, BI_RGB));
    DIB_SetMemoryLimit(limit);
    GlobalFree(pg);
    GlobalFree(g);
    // A table that claims more than 256 entries is no DIB.
    HGLOBAL f = MakeDib(2, 1, 8, table, {2, 1, 0, 1}, BI_RLE8, 100000);
    EXPECT_EQ(nullptr, DIB_Recompress(f, 0, BI_RGB));
    for (HGLOBAL h : {e, f}) GlobalFree(h);
}

TEST(DibRecompress, Rle8EncodesRunsLiteralsAndLineEnds)
{
    std::vector<RGBQUAD> table = {Quad(1, 2, 3), Quad(4, 5, 6)};
    Bytes pixels = {4, 4, 4, 4, 1, 2, 3, 9,  //
                    5, 6, 7, 7, 7, 7, 7, 8};
    HGLOBAL src = MakeDib(8, 2, 8, table, pixels);
    HGLOBAL rle = DIB_Recompress(src, 0, BI_RLE8);
    ASSERT_NE(nullptr, rle);
    Dib d = ReadDib(rle);
    EXPECT_EQ(static_cast<DWORD>(BI_RLE8), d.h.biCompression);
    EXPECT_EQ(8, d.h.biBitCount);
    EXPECT_EQ(2u, d.h.biClrUsed);
    ExpectTable(table, d.table);
    Bytes expected = {4, 4, 0, 4, 1, 2, 3, 9, 0, 0,  //
                      1, 5, 1, 6, 5, 7, 1, 8, 0, 1};
    EXPECT_EQ(expected, d.pixels);
    EXPECT_EQ(40u + 8u + 20u, GlobalSize(rle));

    // An odd absolute run is padded to a word.
    HGLOBAL odd = DIB_Recompress(Scoped{MakeDib(3, 1, 8, table, {1, 2, 3, 0})}, 0, BI_RLE8);
    ASSERT_NE(nullptr, odd);
    EXPECT_EQ((Bytes{0, 3, 1, 2, 3, 0, 0, 1}), ReadDib(odd).pixels);
    // A 1-bit image goes to RLE8 as 8-bit indices.
    HGLOBAL one = DIB_Recompress(Scoped{MakeDib(3, 1, 1, table, {0xA0, 0, 0, 0})}, 0, BI_RLE8);
    ASSERT_NE(nullptr, one);
    Dib o = ReadDib(one);
    EXPECT_EQ(8, o.h.biBitCount);
    EXPECT_EQ(2u, o.h.biClrUsed);
    EXPECT_EQ((Bytes{0, 3, 1, 0, 1, 0, 0, 1}), o.pixels);
    // Deeper than 8 bits has no run-length form.
    HGLOBAL deep = MakeDib(1, 1, 24, {}, {1, 2, 3, 0});
    EXPECT_EQ(nullptr, DIB_Recompress(deep, 0, BI_RLE8));
    for (HGLOBAL h : {src, rle, odd, one, deep}) GlobalFree(h);
}

TEST(DibRecompress, EncodedImagesDecodeToTheSamePixels)
{
    // Rows with long runs (past 255), alternations and noise, at both forms.
    for (int bits : {4, 8}) {
        for (LONG width : {1, 2, 3, 17, 300, 611}) {
            LONG height = 5;
            LONG stride = ((width * bits + 31) / 32) * 4;
            Bytes pixels(static_cast<size_t>(stride * height), 0);
            unsigned seed = 12345u + static_cast<unsigned>(width);
            int mask = bits == 4 ? 15 : 255;
            for (LONG y = 0; y < height; y++) {
                for (LONG x = 0; x < width; x++) {
                    seed = seed * 1103515245u + 12345u;
                    int v = y == 0 ? 3 : y == 1 ? (x & 1) * mask : y == 2 ? (x / 7) & mask
                                              : y == 3 ? static_cast<int>((seed >> 16) & mask) : (x < width / 2 ? 1 : 2);
                    BYTE* at = &pixels[static_cast<size_t>(y * stride)];
                    if (bits == 8) at[x] = static_cast<BYTE>(v);
                    else at[x / 2] = static_cast<BYTE>(x & 1 ? (at[x / 2] & 0xF0) | v : (at[x / 2] & 0x0F) | (v << 4));
                }
            }
            std::vector<RGBQUAD> table(bits == 4 ? 16 : 256, Quad(1, 1, 1));
            HGLOBAL src = MakeDib(width, height, bits, table, pixels);
            HGLOBAL rle = DIB_Recompress(src, 0, bits == 4 ? BI_RLE4 : BI_RLE8);
            ASSERT_NE(nullptr, rle);
            HGLOBAL back = DIB_Recompress(rle, 0, BI_RGB);
            ASSERT_NE(nullptr, back);
            EXPECT_EQ(pixels, ReadDib(back).pixels) << bits << " bits, width " << width;
            for (HGLOBAL h : {src, rle, back}) GlobalFree(h);
        }
    }
}

TEST(DibNormalize, TopDownLongHeadersDeepTablesAndShortBlocksComeIntoForm)
{
    auto block = [](const Bytes& bytes) {
        HGLOBAL mem = GlobalAlloc(GHND, bytes.size());
        memcpy(GlobalLock(mem), bytes.data(), bytes.size());
        GlobalUnlock(mem);
        return mem;
    };
    Bytes v5(124 + 4, 0);
    const BITMAPINFOHEADER h = {124, 1, 1, 3, 24, BI_RGB, 4, 0, 0, 0, 0};
    memcpy(v5.data(), &h, sizeof h);
    v5[124] = 0x11, v5[125] = 0x22, v5[126] = 0x33;
    const Bytes seven = {1, 2, 3, 4, 5, 6, 7};
    const struct {
        HGLOBAL dib;
        Bytes pixels;  // the rows from the bottom; none: refused (and freed)
        SIZE_T size;   // of the block when checked
    } cases[] = {
        // Top-down rows are turned bottom-up.
        {MakeDib(2, -2, 8, {Quad(0, 0, 0)}, {1, 2, 0, 0, 3, 4, 0, 0}), {3, 4, 0, 0, 1, 2, 0, 0}, 0},
        // A 24-bit image loses its colour table.
        {MakeDib(1, 1, 24, {Quad(1, 2, 3), Quad(4, 5, 6)}, {7, 8, 9, 0}), {7, 8, 9, 0}, 44},
        // A 124-byte header shrinks to 40; planes become 1.
        {block(v5), {0x11, 0x22, 0x33, 0}, 44},
        // A block short of its pixels is refused, whatever its form; so is junk.
        {MakeDib(4, 2, 8, {Quad(0, 0, 0)}, seven), {}, 0},
        {MakeDib(4, -2, 8, {Quad(0, 0, 0)}, seven), {}, 0},
        {block({12, 0, 0, 0, 1, 0, 2, 0, 1, 0, 24, 0, 1, 2, 3, 0}), {}, 0},
        {GlobalAlloc(GHND, 30), {}, 0},
    };
    for (const auto& c : cases) {
        HGLOBAL norm = DIB_Normalize(c.dib);
        ASSERT_EQ(c.pixels.empty(), norm == nullptr);
        if (!norm) continue;
        DIB_FixHeader(norm);
        const Dib d = ReadDib(norm);
        EXPECT_EQ((std::vector<LONG>{40, 1, d.h.biBitCount == 24 ? 1 : 2}),
                  (std::vector<LONG>{LONG(d.h.biSize), d.h.biPlanes, d.h.biHeight}));
        EXPECT_EQ(c.pixels, d.pixels);
        if (c.size) {
            EXPECT_EQ(c.size, GlobalSize(norm));
        }
        GlobalFree(norm);
    }
    Scoped shortPlain{MakeDib(4, 2, 8, {Quad(0, 0, 0)}, seven)};
    EXPECT_EQ(nullptr, DIB_Recompress(shortPlain, 0, BI_RGB));
}

TEST(DibNormalize, BitFieldsExpandToPlainPixels)
{
    // 16-bit 5-6-5 with its three masks: white, red, green, blue 16/31; green 32/63.
    const std::vector<RGBQUAD> masks = {{0x00, 0xF8, 0, 0}, {0xE0, 0x07, 0, 0}, {0x1F, 0, 0, 0}};
    HGLOBAL mem = MakeDib(4, 2, 16, masks, {0xFF, 0xFF, 0x00, 0xF8, 0xE0, 0x07, 0x10, 0x00, 0x00, 0x04, 0, 0, 0, 0, 0, 0},
                          BI_BITFIELDS, 0);
    HGLOBAL plain = DIB_Recompress(mem, 0, BI_RGB);
    ASSERT_NE(nullptr, plain);
    Dib d = ReadDib(plain);
    EXPECT_EQ(24, d.h.biBitCount);
    EXPECT_EQ(static_cast<DWORD>(BI_RGB), d.h.biCompression);
    Bytes expected = {255, 255, 255, 0, 0, 255, 0, 255, 0, 132, 0, 0,  //
                      0, 130, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(expected, d.pixels);
    HGLOBAL norm = DIB_Normalize(mem);
    ASSERT_NE(nullptr, norm);
    EXPECT_EQ(expected, ReadDib(norm).pixels);
    GlobalFree(norm);
    GlobalFree(plain);
}

TEST(DibFix16, FiveFiveFiveBecomesTwentyFourBits)
{
    // White, red, green, blue 1 (-> 8), blue 16 (-> 132), red 1 (-> 8).
    Bytes p16 = {0xFF, 0x7F, 0x00, 0x7C, 0xE0, 0x03, 0x01, 0x00, 0x10, 0x00, 0x00, 0x04};
    HGLOBAL src = MakeDib(6, 1, 16, {}, p16);
    HGLOBAL out = DIB_Fix16(src, 0);
    ASSERT_NE(nullptr, out);
    Dib d = ReadDib(out);
    EXPECT_EQ(24, d.h.biBitCount);
    EXPECT_EQ(0u, d.h.biClrUsed);
    EXPECT_EQ(20u, d.h.biSizeImage);
    Bytes expected = {255, 255, 255, 0, 0, 255, 0, 255, 0, 8, 0, 0, 132, 0, 0, 0, 0, 8, 0, 0};
    EXPECT_EQ(expected, d.pixels);
    // Without taking over, the source is still whole and the caller's.
    EXPECT_EQ(p16, ReadDib(src).pixels);
    // Taking over: another depth comes back as the same handle.
    HGLOBAL eight = MakeDib(1, 1, 8, {Quad(0, 0, 0)}, {0, 0, 0, 0});
    EXPECT_EQ(eight, DIB_Fix16(eight, 1));
    HGLOBAL taken = DIB_Fix16(src, 1);
    ASSERT_NE(nullptr, taken);
    EXPECT_EQ(expected, ReadDib(taken).pixels);
    for (HGLOBAL h : {out, eight, taken}) GlobalFree(h);
}

TEST(DibConvertBits, WidensEveryDepthToThirtyTwoAndIndicesToWiderIndices)
{
    std::vector<RGBQUAD> table = {Quad(1, 2, 3), Quad(200, 100, 50)};
    HGLOBAL one = MakeDib(3, 1, 1, table, {0x40, 0, 0, 0});
    HGLOBAL c32 = DIB_ConvertBits(one, 32);
    ASSERT_NE(nullptr, c32);
    Dib d = ReadDib(c32);
    EXPECT_EQ(32, d.h.biBitCount);
    EXPECT_EQ((Bytes{3, 2, 1, 0, 50, 100, 200, 0, 3, 2, 1, 0}), d.pixels);
    HGLOBAL c8 = DIB_ConvertBits(one, 8);
    ASSERT_NE(nullptr, c8);
    Dib e = ReadDib(c8);
    EXPECT_EQ(8, e.h.biBitCount);
    ExpectTable(table, e.table);
    EXPECT_EQ((Bytes{0, 1, 0, 0}), e.pixels);
    HGLOBAL rgb = MakeDib(2, 1, 24, {}, {1, 2, 3, 4, 5, 6, 0, 0});
    HGLOBAL r32 = DIB_ConvertBits(rgb, 32);
    ASSERT_NE(nullptr, r32);
    EXPECT_EQ((Bytes{1, 2, 3, 0, 4, 5, 6, 0}), ReadDib(r32).pixels);
    // Reductions are not this operation's.
    EXPECT_EQ(nullptr, DIB_ConvertBits(rgb, 8));
    for (HGLOBAL h : {one, c32, c8, rgb, r32}) GlobalFree(h);
}

TEST(DibScale, NearestNeighbourTakesThePixelUnderEachCentre)
{
    HGLOBAL four = MakeDib(2, 2, 4, std::vector<RGBQUAD>(16, Quad(0, 0, 0)), {0x12, 0, 0, 0, 0x34, 0, 0, 0});
    HGLOBAL big = DIB_Scale(four, 4, 4);
    ASSERT_NE(nullptr, big);
    Dib d = ReadDib(big);
    EXPECT_EQ(4, d.h.biWidth);
    EXPECT_EQ(4, d.h.biHeight);
    EXPECT_EQ(16u, d.h.biClrUsed);
    EXPECT_EQ((Bytes{0x11, 0x22, 0, 0, 0x11, 0x22, 0, 0, 0x33, 0x44, 0, 0, 0x33, 0x44, 0, 0}), d.pixels);
    HGLOBAL rgb = MakeDib(4, 1, 24, {}, {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4});
    HGLOBAL small = DIB_Scale(rgb, 2, 1);
    ASSERT_NE(nullptr, small);
    EXPECT_EQ((Bytes{2, 2, 2, 4, 4, 4, 0, 0}), ReadDib(small).pixels);
    EXPECT_EQ(nullptr, DIB_Scale(rgb, 0, 5));
    for (HGLOBAL h : {four, big, rgb, small}) GlobalFree(h);
}

TEST(DibPad, MarginsTakeTheColourOrItsNearestEntry)
{
    std::vector<RGBQUAD> table = {Quad(0, 0, 0), Quad(255, 255, 255), Quad(250, 10, 0)};
    HGLOBAL eight = MakeDib(2, 1, 8, table, {1, 0, 0, 0});
    RGBTRIPLE red = {0, 0, 255};
    HGLOBAL padded = DIB_Pad(eight, 1, 0, 1, 2, 0, &red);
    ASSERT_NE(nullptr, padded);
    Dib d = ReadDib(padded);
    EXPECT_EQ(3, d.h.biWidth);
    EXPECT_EQ(4, d.h.biHeight);
    // Bottom-up: two bottom margin rows, the image row, the top margin.
    EXPECT_EQ((Bytes{2, 2, 2, 0, 2, 2, 2, 0, 2, 1, 0, 0, 2, 2, 2, 0}), d.pixels);

    HGLOBAL rgb = MakeDib(1, 1, 24, {}, {9, 8, 7, 0});
    RGBTRIPLE colour = {1, 2, 3};
    HGLOBAL p24 = DIB_Pad(rgb, 0, 1, 0, 1, 0, &colour);
    ASSERT_NE(nullptr, p24);
    EXPECT_EQ((Bytes{1, 2, 3, 1, 2, 3, 0, 0, 9, 8, 7, 1, 2, 3, 0, 0}), ReadDib(p24).pixels);

    HGLOBAL mono = MakeDib(2, 1, 1, {Quad(255, 255, 255), Quad(0, 0, 0)}, {0x40, 0, 0, 0});
    RGBTRIPLE black = {0, 0, 0};
    HGLOBAL p1 = DIB_Pad(mono, 3, 0, 0, 0, 0, &black);
    ASSERT_NE(nullptr, p1);
    EXPECT_EQ((Bytes{0xE8, 0, 0, 0}), ReadDib(p1).pixels);
    EXPECT_EQ(nullptr, DIB_Pad(mono, -1, 0, 0, 0, 0, &black));
    for (HGLOBAL h : {eight, padded, rgb, p24, mono, p1}) GlobalFree(h);
}
