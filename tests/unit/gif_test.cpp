// The GIF reader and writer: exact bytes of small files worked out by hand,
// round trips, the decoder's limits and failures, hostile and truncated
// files, and the real files of the corpus against their reference decodes.
#include "corpus_support.h"

#include <functional>

namespace {

// ---- building DIBs and GIF files ------------------------------------------------------

struct Rgb {
    BYTE r, g, b;
    bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};

// A packed DIB of the given depth; index(x, y) gives the pixel, y from the top.
HGLOBAL MakeDib(LONG width, LONG height, int bits, const std::vector<Rgb>& palette,
                const std::function<int(LONG, LONG)>& index)
{
    DWORD stride = DIB_Stride(width, bits);
    DWORD colors = static_cast<DWORD>(palette.size());
    HGLOBAL mem = BlankDib(width, height, bits, colors, colors);
    BYTE* p = static_cast<BYTE*>(GlobalLock(mem));
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(p + sizeof(BITMAPINFOHEADER));
    for (DWORD i = 0; i < colors; i++) table[i] = {palette[i].b, palette[i].g, palette[i].r, 0};
    BYTE* pixels = p + sizeof(BITMAPINFOHEADER) + 4 * colors;
    for (LONG y = 0; y < height; y++) {
        BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - y) * stride;
        for (LONG x = 0; x < width; x++) {
            int v = index(x, y);
            if (bits == 8) row[x] = static_cast<BYTE>(v);
            if (bits == 4) row[x / 2] |= static_cast<BYTE>((x & 1) ? v : v << 4);
            if (bits == 1 && v) row[x / 8] |= static_cast<BYTE>(0x80 >> (x & 7));
        }
    }
    GlobalUnlock(mem);
    return mem;
}

// Reads a loaded DIB back: size, depth, colour table and indices (top row first).
struct Picture {
    LONG width = 0, height = 0;
    int bits = 0;
    std::vector<Rgb> colors;
    std::vector<int> index;
    int At(LONG x, LONG y) const { return index[static_cast<size_t>(y * width + x)]; }
};

Picture Read(HGLOBAL dib)
{
    Picture pic;
    BITMAPINFOHEADER* h;
    RGBQUAD* c;
    BYTE* p;
    DIB_Lock(dib, &h, &c, &p);
    pic.width = h->biWidth;
    pic.height = h->biHeight;
    pic.bits = h->biBitCount;
    for (WORD i = 0; i < DIB_NumColors(h); i++) pic.colors.push_back({c[i].rgbRed, c[i].rgbGreen, c[i].rgbBlue});
    DWORD stride = DIB_Stride(pic.width, pic.bits);
    for (LONG y = 0; y < pic.height; y++) {
        const BYTE* row = p + static_cast<SIZE_T>(pic.height - 1 - y) * stride;
        for (LONG x = 0; x < pic.width; x++) {
            int v = pic.bits == 8   ? row[x]
                    : pic.bits == 4 ? ((x & 1) ? row[x / 2] & 15 : row[x / 2] >> 4)
                                    : (row[x / 8] >> (7 - (x & 7))) & 1;
            pic.index.push_back(v);
        }
    }
    GlobalUnlock(dib);
    return pic;
}

// Packs LZW codes least significant bit first, as a GIF stream holds them.
struct CodeWriter {
    Bytes bytes;
    uint32_t pending = 0;
    int count = 0;
    CodeWriter& Put(int code, int width)
    {
        pending |= static_cast<uint32_t>(code) << count;
        count += width;
        while (count >= 8) {
            bytes.push_back(static_cast<unsigned char>(pending));
            pending >>= 8;
            count -= 8;
        }
        return *this;
    }
    Bytes Finish()
    {
        if (count > 0) bytes.push_back(static_cast<unsigned char>(pending));
        count = 0;
        return bytes;
    }
};

void Add(Bytes& v, std::initializer_list<int> bytes)
{
    for (int b : bytes) v.push_back(static_cast<unsigned char>(b));
}
void AddWord(Bytes& v, int w) { Add(v, {w & 0xFF, (w >> 8) & 0xFF}); }

// Signature, logical screen and an optional global table of entries (r,g,b)=(i,i,i).
Bytes Screen(const char* signature, int width, int height, int flags)
{
    Bytes v(signature, signature + 6);
    AddWord(v, width);
    AddWord(v, height);
    Add(v, {flags, 0, 0});
    if (flags & 0x80)
        for (int i = 0; i < (2 << (flags & 7)); i++) Add(v, {i, i, 255 - i});
    return v;
}

void Descriptor(Bytes& v, int width, int height, int flags)
{
    Add(v, {0x2C, 0, 0, 0, 0});
    AddWord(v, width);
    AddWord(v, height);
    Add(v, {flags});
}

// Data in sub-blocks of at most blockSize bytes, then the terminator.
void Blocks(Bytes& v, const Bytes& data, size_t blockSize = 255, bool terminator = true)
{
    for (size_t at = 0; at < data.size(); at += blockSize) {
        size_t n = std::min(blockSize, data.size() - at);
        v.push_back(static_cast<unsigned char>(n));
        v.insert(v.end(), data.begin() + static_cast<long>(at), data.begin() + static_cast<long>(at + n));
    }
    if (terminator) v.push_back(0);
}

uint32_t Noise(uint32_t& state)
{
    state = state * 1664525u + 1013904223u;
    return state >> 16;
}

std::vector<Rgb> GrayPalette(int entries)
{
    std::vector<Rgb> p;
    for (int i = 0; i < entries; i++) p.push_back({BYTE(i * 255 / (entries - 1)), BYTE(255 - i), BYTE(i * 7)});
    return p;
}

class Gif : public ::testing::Test {
protected:
    void SetUp() override
    {
        FMT_RegisterBuiltins();
        BAT_SetActive(0, 0);
        HDL_ClearBoxes();
    }
    void TearDown() override
    {
        for (const std::string& path : made) remove(path.c_str());
        if (dib) GlobalFree(dib);
    }
    std::string Temp(const std::string& name)
    {
        made.push_back(TempPath(name));
        return made.back();
    }
    // Writes the bytes to a file and loads it; the DIB (if any) is kept in dib.
    int LoadBytes(const Bytes& bytes)
    {
        std::string path = Temp("load.gif");
        EXPECT_TRUE(WriteWholeFile(path, bytes));
        if (dib) GlobalFree(dib);
        dib = nullptr;
        HDL_ClearBoxes();
        INF_Begin(path.c_str());
        int ok = GIF_Load(path.c_str(), &dib);
        return ok;
    }
    // Saves a DIB through the writer and returns the file's bytes.
    Bytes SaveBytes(HGLOBAL source, WORD depth)
    {
        std::string path = Temp("save.gif");
        HDL_ClearBoxes();
        EXPECT_EQ(1, GIF_Save(path.c_str(), source, 1, 0, depth));
        EXPECT_TRUE(HDL_Boxes().empty());
        return ReadWholeFile(path);
    }
    std::vector<std::string> made;
    HGLOBAL dib = nullptr;
};

typedef std::vector<std::string> Texts;
const Texts kNone;
const Texts kIncomplete = {"Incomplete GIF file, cannot load"};
const Texts kDamaged = {"The GIF File is Damaged -- Cannot Load"};
const Texts kUnknown = {"Cannot read GIF file, unknown error"};
const Texts kOutOfMemory = {"Out of memory -- Cannot load GIF file"};

// A tiny 8-bit image coded by hand: min code size 8, codes at 9 bits.
Bytes HandCoded8(std::initializer_list<int> codes, int width, int height)
{
    Bytes v = Screen("GIF89a", width, height, 0xF7);
    Descriptor(v, width, height, 0);
    v.push_back(8);
    CodeWriter w;
    for (int c : codes) w.Put(c, 9);
    Blocks(v, w.Finish());
    v.push_back(0x3B);
    return v;
}

}  // namespace

// ---- writer: exact bytes ------------------------------------------------------------------

TEST_F(Gif, WriterFilesAtEachDepthAreExact)
{
    // 1 bit, 3x2, top row 1 0 0, bottom row 0 0 0. Minimum code size 2 (clear
    // 4, end 5, first free 6, width 3). Pixels 1 0 0 0 0 0 give the codes
    // clear/3, 1/3, 0/3 (adds 6), 7/3 (0 0 is entry 7; free 8 passes 7, so
    // width 4 follows), 7/4 for the last 0 0, end 5/4: bits 0x0C 0x7E 0x05.
    Bytes one = {'G', 'I', 'F', '8', '7', 'a', 3, 0, 2, 0, 0x80, 0, 0,  // screen, depth 1
                 0x10, 0x20, 0x30, 0xF0, 0xE0, 0xD0,                      // two entries
                 0x2C, 0, 0, 0, 0, 3, 0, 2, 0, 0,                         // descriptor
                 2,                                                       // minimum code size
                 3, 0x0C, 0x7E, 0x05, 0,                                  // one sub-block
                 0x3B};
    // 4 bits, 2x2 with both rows 1 2; the DIB holds only 3 colours, the file 16.
    // Codes at 5 bits (clear 16, end 17): 16, 1, 2, 18 (the pair 1 2), 17.
    Bytes four = {'G', 'I', 'F', '8', '7', 'a', 2, 0, 2, 0, 0xE3, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    four.resize(four.size() + 13 * 3, 0);
    Add(four, {0x2C, 0, 0, 0, 0, 2, 0, 2, 0, 0, 4, 4, 0x30, 0x08, 0x19, 0x01, 0, 0x3B});
    // 8 bits, 3x1 of index 7. Codes at 9 bits: clear 256, 7, 258 (7 7), end 257.
    std::vector<Rgb> palette = GrayPalette(256);
    Bytes eight = {'G', 'I', 'F', '8', '7', 'a', 3, 0, 1, 0, 0xE7, 0, 0};
    for (const Rgb& c : palette) Add(eight, {c.r, c.g, c.b});
    Add(eight, {0x2C, 0, 0, 0, 0, 3, 0, 1, 0, 0, 8, 5, 0x00, 0x0F, 0x08, 0x0C, 0x08, 0, 0x3B});
    struct Case {
        HGLOBAL source;
        WORD depth;
        const Bytes& expected;
    } cases[] = {
        {MakeDib(3, 2, 1, {{0x10, 0x20, 0x30}, {0xF0, 0xE0, 0xD0}}, [](LONG x, LONG y) { return x == 0 && y == 0; }), 1, one},
        {MakeDib(2, 2, 4, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, [](LONG x, LONG) { return static_cast<int>(x) + 1; }), 4, four},
        {MakeDib(3, 1, 8, palette, [](LONG, LONG) { return 7; }), 8, eight},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.expected, SaveBytes(c.source, c.depth)) << c.depth;
        GlobalFree(c.source);
    }
}

// ---- writer: sub-blocks, table resets, failures ---------------------------------------------------

namespace {

// The minimum code size and the raw data sub-blocks (lengths included) of
// the first image of a GIF file; empty when the walk runs off the file.
Bytes ImageData(const Bytes& f)
{
    size_t at = 13;
    if (f.size() < at) return {};
    if (f[10] & 0x80) at += 3u * (2u << (f[10] & 7));
    while (at + 1 < f.size() && f[at] == 0x21) {
        at += 2;
        while (at < f.size() && f[at] != 0) at += 1u + f[at];
        at++;
    }
    if (at + 10 >= f.size() || f[at] != 0x2C) return {};
    const int flags = f[at + 9];
    at += 10;
    if (flags & 0x80) at += 3u * (2u << (flags & 7));
    size_t start = at++;
    while (at < f.size() && f[at] != 0) at += 1u + f[at];
    if (at >= f.size()) return {};
    return Bytes(f.begin() + static_cast<long>(start), f.begin() + static_cast<long>(at + 1));
}

}  // namespace

TEST_F(Gif, WriterCodeStreamEqualsAnIndependentEncoder)
{
    // Files written by ImageMagick, whose encoder makes the same greedy LZW
    // parse with the same widths, clear codes and 254-byte blocks: the same
    // pixels written by us give the same code size and sub-blocks, byte for
    // byte. A missed table lookup or a wrong width would show here.
    for (const char* name : {"gif/im_noise8.gif", "gif/im_noise4.gif", "gif/im_noise1.gif"}) {
        Bytes theirs = ReadWholeFile(DataPath(name));
        ASSERT_FALSE(theirs.empty()) << name;
        ASSERT_EQ(1, LoadBytes(theirs)) << name;
        Picture pic = Read(dib);
        Bytes ours = SaveBytes(dib, static_cast<WORD>(pic.bits));
        Bytes expected = ImageData(theirs);
        ASSERT_GT(expected.size(), 1000u) << name;
        EXPECT_EQ(expected, ImageData(ours)) << name;
        ASSERT_EQ(1, LoadBytes(ours)) << name;
        EXPECT_EQ(pic.index, Read(dib).index) << name;
    }
}

TEST_F(Gif, WriterRefusesDeepImagesWithTheDepthOfTheDocument)
{
    // A 16-bit document holds a 24-bit DIB: the message names 16.
    const std::string path = Temp("deep.gif");
    for (WORD depth : {16, 32}) {
        dib = DibFromRows(2, 2, depth == 16 ? 24 : 32, {}, {Bytes(8, 0), Bytes(8, 0)});
        HDL_ClearBoxes();
        EXPECT_EQ(0, GIF_Save(path.c_str(), dib, 1, 0, depth));
        EXPECT_EQ(Texts({"Cannot save " + std::to_string(depth) + "-bit GIF files"}), BoxTexts());
        EXPECT_FALSE(FileExists(path));
        GlobalFree(dib);
    }
    dib = nullptr;
}

TEST_F(Gif, RoundTripsKeepPixelsPaletteAndLoadInformation)
{
    struct Case {
        int bits;
        LONG width, height;
    } cases[] = {{1, 1, 1}, {1, 13, 7}, {1, 33, 5}, {4, 1, 3}, {4, 7, 9}, {4, 64, 2}, {8, 1, 1}, {8, 5, 11}, {8, 97, 31}};
    for (const Case& c : cases) {
        uint32_t seed = static_cast<uint32_t>(c.width * 131 + c.bits);
        int entries = 1 << c.bits;
        std::vector<int> pixels(static_cast<size_t>(c.width * c.height));
        for (int& p : pixels) p = static_cast<int>(Noise(seed) % entries);
        std::vector<Rgb> palette;
        for (int i = 0; i < entries; i++)
            palette.push_back({BYTE(Noise(seed)), BYTE(Noise(seed)), BYTE(Noise(seed))});
        HGLOBAL source =
            MakeDib(c.width, c.height, c.bits, palette, [&](LONG x, LONG y) { return pixels[y * c.width + x]; });
        Bytes file = SaveBytes(source, static_cast<WORD>(c.bits));
        GlobalFree(source);
        ASSERT_EQ(1, LoadBytes(file)) << c.bits << " " << c.width;
        EXPECT_TRUE(BoxTexts().empty());
        Picture pic = Read(dib);
        EXPECT_EQ(c.bits, pic.bits);
        EXPECT_EQ(c.width, pic.width);
        EXPECT_EQ(c.height, pic.height);
        EXPECT_TRUE(palette == pic.colors) << c.bits << " " << c.width;
        EXPECT_EQ(pixels, pic.index) << c.bits << " " << c.width;
        EXPECT_EQ("width " + std::to_string(c.width) + " planes 1 colors " + std::to_string(entries) +
                      " gray 0 compressed 1 bits " + std::to_string(c.bits) + " type 0 version 87",
                  InfoText({INF_WIDTH, INF_PLANES, INF_COLORS, INF_GRAY, INF_COMPRESSED, INF_BITSPERPIXEL, INF_TYPE,
                            INF_VERSION}));
        EXPECT_EQ(c.height, INF_Info.step);
        EXPECT_EQ(c.height, INF_Info.lastStep);
    }
}

TEST_F(Gif, BlankPictureAtBestCompressionRoundTrips)
{
    // One colour everywhere is the best case of LZW; it must stay loadable
    // under the limit on pixels a file can justify.
    HGLOBAL source = MakeDib(4000, 3000, 8, GrayPalette(256), [](LONG, LONG) { return 9; });
    Bytes file = SaveBytes(source, 8);
    GlobalFree(source);
    EXPECT_LT(file.size(), 20000u);
    ASSERT_EQ(1, LoadBytes(file));
    Picture pic = Read(dib);
    ASSERT_EQ(4000, pic.width);
    ASSERT_EQ(3000, pic.height);
    for (size_t i = 0; i < pic.index.size(); i++) ASSERT_EQ(9, pic.index[i]) << i;
}

// ---- reader: structure -------------------------------------------------------------------

TEST_F(Gif, HeaderAndTrailerOnlyLoadsAsNothing)
{
    Bytes v = Screen("GIF89a", 10, 10, 0x80);
    v.push_back(0x3B);
    EXPECT_EQ(1, LoadBytes(v));
    EXPECT_EQ(nullptr, dib);
    EXPECT_EQ(kNone, BoxTexts());
    EXPECT_EQ(89, INF_Info.version);
    EXPECT_EQ(1, INF_Info.palette);
    EXPECT_EQ(1, INF_Info.bitsPerPixel);
}

TEST_F(Gif, InterlacedRowsArriveInFourPasses)
{
    // The writer codes rows in order; with the interlace flag set on the
    // same data, stream row k lands on the k-th row of the pass order.
    const LONG height = 11;
    HGLOBAL source = MakeDib(3, height, 8, GrayPalette(256), [](LONG x, LONG y) { return static_cast<int>(y * 10 + x); });
    Bytes file = SaveBytes(source, 8);
    GlobalFree(source);
    file[13 + 768 + 9] = 0x40;
    ASSERT_EQ(1, LoadBytes(file));
    Picture pic = Read(dib);
    const LONG order[height] = {0, 8, 4, 2, 6, 10, 1, 3, 5, 7, 9};
    for (LONG k = 0; k < height; k++)
        for (LONG x = 0; x < 3; x++) EXPECT_EQ(k * 10 + x, pic.At(x, order[k])) << k;
    EXPECT_EQ(height, INF_Info.step);
}

TEST_F(Gif, HandMadeFilesGiveTheseTablesAndPixels)
{
    // No global table, screen depth 1; the local table has 8 entries of which
    // the 1-bit DIB keeps two. Pixels use the low bit of each value.
    Bytes local = Screen("GIF87a", 4, 1, 0x00);
    Descriptor(local, 4, 1, 0x82);
    for (int i = 0; i < 8; i++) Add(local, {10 * i, 20 * i, 30 * i});
    local.push_back(3);  // clear 8, end 9, codes of 4 bits
    Blocks(local, CodeWriter().Put(8, 4).Put(0, 4).Put(1, 4).Put(2, 4).Put(3, 4).Put(9, 4).Finish());
    local.push_back(0x3B);
    // A 256-entry local table on a 4-bit screen: 16 kept, the data still in step.
    Bytes big = Screen("GIF87a", 2, 1, 0x82);
    Descriptor(big, 2, 1, 0x87);
    for (int i = 0; i < 256; i++) Add(big, {i, 0, 255 - i});
    big.push_back(4);  // clear 16, end 17, 5 bits
    Blocks(big, CodeWriter().Put(16, 5).Put(15, 5).Put(3, 5).Put(17, 5).Finish());
    big.push_back(0x3B);
    // Screen depth 3 widens to 4 bits: 8 global entries, the other 8 black.
    Bytes global = Screen("GIF87a", 1, 1, 0x82);
    Descriptor(global, 1, 1, 0);
    global.push_back(3);
    Blocks(global, CodeWriter().Put(8, 4).Put(6, 4).Put(9, 4).Finish());
    global.push_back(0x3B);
    // Extensions are skipped: transparency on index 7, which keeps its colour,
    // a comment in two blocks, an application block.
    Bytes extended = Screen("GIF89a", 2, 1, 0xF7);
    Add(extended, {0x21, 0xF9, 4, 0x01, 0, 0, 7, 0, 0x21, 0xFE, 3, 'a', 'b', 'c', 2, 'd', 'e', 0});
    Add(extended, {0x21, 0xFF, 11, 'N', 'E', 'T', 'S', 'C', 'A', 'P', 'E', '2', '.', '0', 3, 1, 0, 0, 0});
    Bytes image = HandCoded8({256, 7, 9, 257}, 2, 1);
    extended.insert(extended.end(), image.begin() + 13 + 768, image.end());
    // The first of several images, at its own width; and the same without a trailer.
    Bytes several = Screen("GIF89a", 50, 50, 0xF7);
    Bytes first = HandCoded8({256, 1, 2, 3, 257}, 3, 1), second = HandCoded8({256, 200, 257}, 1, 1);
    several.insert(several.end(), first.begin() + 13 + 768, first.end() - 1);
    several.insert(several.end(), second.begin() + 13 + 768, second.end());
    struct Case {
        Bytes file;
        int bits;
        LONG width;
        std::vector<std::pair<size_t, Rgb>> colours;  // entries looked at
        std::vector<int> index;
        int loadBits;  // the depth the load information gives; -1: not looked at
    } cases[] = {
        {local, 1, 4, {{1, {10, 20, 30}}}, {0, 1, 0, 1}, 1},
        {big, 4, 2, {{15, {15, 0, 240}}}, {15, 3}, 4},
        {global, 4, 1, {{6, {6, 6, 249}}, {8, {0, 0, 0}}}, {6}, -1},
        {extended, 8, 2, {{7, {7, 7, 248}}}, {7, 9}, -1},
        {several, 8, 3, {}, {1, 2, 3}, -1},
        {Bytes(several.begin(), several.begin() + static_cast<long>(first.size()) - 1), 8, 3, {}, {1, 2, 3}, -1},
        // Three of six pixels, then the end code: a partial image, no message.
        {HandCoded8({256, 5, 6, 7, 257}, 3, 2), 8, 3, {}, {5, 6, 7, 0, 0, 0}, -1},
        // Leading clear codes are skipped; a code past the next free entry is the
        // previous string plus its first pixel.
        {HandCoded8({256, 256, 256, 4, 300, 257}, 3, 1), 8, 3, {}, {4, 4, 4}, -1},
        // After a clear the table starts again: 258 is the new pair, not the old one.
        {HandCoded8({256, 1, 2, 258, 256, 3, 4, 258, 257}, 10, 1), 8, 10, {}, {1, 2, 1, 2, 3, 4, 3, 4, 0, 0}, -1},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(1, LoadBytes(c.file)) << c.bits;
        EXPECT_EQ(kNone, BoxTexts());
        Picture pic = Read(dib);
        EXPECT_EQ(c.bits, pic.bits);
        EXPECT_EQ(c.width, pic.width);
        ASSERT_EQ(size_t(1) << c.bits, pic.colors.size());
        for (const auto& e : c.colours) EXPECT_TRUE(e.second == pic.colors[e.first]) << "entry " << e.first;
        EXPECT_EQ(c.index, pic.index);
        if (c.loadBits >= 0) EXPECT_EQ(c.loadBits, INF_Info.bitsPerPixel);
    }
}

TEST_F(Gif, HostileFilesAreRefusedWithTheirMessage)
{
    // Screen, one image of the given size, code size and codes, and the trailer.
    auto image = [](int screenFlags, int width, int height, int imageFlags, Bytes table, int codeSize, Bytes codes) {
        Bytes v = Screen("GIF87a", 4, 4, screenFlags);
        Descriptor(v, width, height, imageFlags);
        v.insert(v.end(), table.begin(), table.end());
        v.push_back(static_cast<unsigned char>(codeSize));
        Blocks(v, codes);
        v.push_back(0x3B);
        return v;
    };
    auto cat = [](Bytes v, std::initializer_list<int> more) {
        Add(v, more);
        return v;
    };
    Bytes shortTable = Screen("GIF87a", 1, 1, 0x81);
    shortTable.resize(13 + 11);
    const Bytes pixel0 = CodeWriter().Put(4, 3).Put(0, 3).Put(5, 3).Finish();
    uint32_t seed = 5;
    HGLOBAL source = MakeDib(40, 30, 8, GrayPalette(256), [&](LONG, LONG) { return static_cast<int>(Noise(seed) & 63); });
    const Bytes whole = SaveBytes(source, 8);
    GlobalFree(source);
    auto first = [&whole](size_t size) { return Bytes(whole.begin(), whole.begin() + static_cast<long>(size)); };
    const size_t data = 13 + 768 + 10;
    struct Case {
        Bytes file;
        Texts texts;
        const char* what;
    };
    const std::vector<Case> cases = {
        {first(13 + 768 + 4), kIncomplete, "cut inside the descriptor"},
        {first(data), kIncomplete, "cut before the code size"},
        {first(data + 1 + 100), kIncomplete, "cut inside a sub-block"},
        {first(data + 1 + 255), kIncomplete, "cut on a block's length byte"},
        {first(whole.size() - 5), kIncomplete, "cut inside the last block"},
        {Screen("GIF88a", 1, 1, 0), {"Unrecognized GIF format, cannot read"}, "signature"},
        {Bytes{'G', 'I', 'F', '8'}, kDamaged, "half a signature"},
        {Bytes{'G', 'I', 'F', '8', '7', 'a', 1, 0, 1}, kDamaged, "half a screen"},
        {shortTable, kIncomplete, "global table cut"},
        {cat(Screen("GIF89a", 2, 1, 0), {0x21, 0xFE, 10, 'a', 'b', 'c'}), kDamaged, "extension cut"},
        {cat(Screen("GIF89a", 2, 1, 0), {0x00, 0x3B}), kDamaged, "stray byte"},
        {Screen("GIF89a", 2, 1, 0), kDamaged, "no block"},
        {cat(cat(Screen("GIF87a", 1, 1, 0), {0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0x81}), {1, 2, 3, 4}), kIncomplete, "local table cut"},
        // Data that runs out with a clean terminator but no end code.
        {image(0xF7, 3, 2, 0, {}, 8, CodeWriter().Put(256, 9).Put(5, 9).Put(6, 9).Finish()), kUnknown, "no end code"},
        {HandCoded8({256, 300, 257}, 3, 1), kUnknown, "first code names no pixel"},
        // Entry 7 becomes its own prefix: clear 4, then 1, 7 (twice past the
        // free entry, the second making 7 point at itself) and 7 again.
        {image(0x80, 8, 1, 0, {}, 2, CodeWriter().Put(4, 3).Put(1, 3).Put(7, 3).Put(7, 3).Put(7, 4).Put(5, 4).Finish()), kUnknown, "own prefix"},
        // Code sizes that can't code 8-bit pixels in a 4096-entry table.
        {image(0x80, 1, 1, 0, {}, 0, Bytes(8, 0)), kUnknown, "code size 0"},
        {image(0x80, 1, 1, 0, {}, 9, Bytes(8, 0)), kUnknown, "code size 9"},
        {image(0x80, 1, 1, 0, {}, 12, Bytes(8, 0)), kUnknown, "code size 12"},
        {image(0x80, 1, 1, 0, {}, 143, Bytes(8, 0)), kUnknown, "code size 143"},
        // Zero and negative (16-bit signed) sizes can't make a DIB.
        {image(0x80, 0, 4, 0, {}, 2, pixel0), kOutOfMemory, "width 0"},
        {image(0x80, 0xFFFF, 4, 0, {}, 2, pixel0), kOutOfMemory, "width -1"},
        {image(0x80, 0x8000, 4, 0, {}, 2, pixel0), kOutOfMemory, "width -32768"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(0, LoadBytes(c.file)) << c.what;
        EXPECT_EQ(c.texts, BoxTexts()) << c.what;
        EXPECT_EQ(nullptr, dib) << c.what;
    }
    // A missing file is no load and no message.
    HDL_ClearBoxes();
    EXPECT_EQ(0, GIF_Load(TempPath("missing.gif").c_str(), &dib));
    EXPECT_EQ(kNone, BoxTexts());
}

// ---- reader: truncated and damaged data -------------------------------------------------------------

TEST_F(Gif, SizesOnlyMemoryCanRefuse)
{
    // 1000 x 1000 from one pixel and the end code: the rest is zero.
    Bytes sparse = Screen("GIF89a", 4, 4, 0x80);
    Descriptor(sparse, 1000, 1000, 0);
    sparse.push_back(2);
    Blocks(sparse, CodeWriter().Put(4, 3).Put(1, 3).Put(5, 3).Finish());
    ASSERT_EQ(1, LoadBytes(sparse));
    EXPECT_EQ(kNone, BoxTexts());
    std::vector<int> expected(1000000, 0);
    expected[0] = 1;
    EXPECT_TRUE(expected == Read(dib).index);
    // 32767 x 32767 (1 GB) beyond a lowered image limit.
    Bytes bomb = Screen("GIF89a", 4, 4, 0xF7);
    Descriptor(bomb, 32767, 32767, 0);
    bomb.push_back(8);
    Blocks(bomb, Bytes(200, 0));
    uint64_t limit = DIB_GetMemoryLimit();
    DIB_SetMemoryLimit(64ULL << 20);
    EXPECT_EQ(0, LoadBytes(bomb));
    DIB_SetMemoryLimit(limit);
    EXPECT_EQ(kOutOfMemory, BoxTexts());
}
