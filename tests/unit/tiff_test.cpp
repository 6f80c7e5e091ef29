// TIFF reader and writer: files built byte by byte (so that the reader meets
// layouts libtiff's writer would never make), files written through TIF_Save
// and read back with libtiff itself, the corpus of files from other programs,
// and the crashers kept from fuzzing.
#include "core/settings.h"
#include "corpus_support.h"
#include "tiff/tiff_errors.h"

#include <tiffio.h>

#include <array>

namespace {

// Texts of the messages the tests expect.
typedef std::vector<std::string> Texts;
const char kIncomplete[] = "Incomplete TIFF file, cannot load";
const char kLzw[] = "Patented UNISYS LZW compression not supported";
const char kUnknownScheme[] = "Unknown data compression algorithm";
const char kGroupBits[] = "Illegal Bits-per-Sample value for Group 3/4";
const char kUnsupported[] = "Unsupported TIF format";
const char kNoGray16[] = "Not enough memory to load file";
const char kCmyk[] = "Unsupported CMYK TIFF file, cannot load";
const char kPhotometric[] = "Unknown photometric interpretation field, cannot load file";
const char kBadHeaderId[] = "This is not a TIFF file, bad header id";
const char kBadVersion[] = "Not a TIFF file, bad version number";
const char kNoHeader[] = "Cannot read TIFF header";
const char kCannotOpen[] = "Cannot open file";
const char kIllegalSize[] = "Illegal size information, cannot perform operation";
const char kNoMemory[] = "Not enough memory to load TIF image";

// ---- a TIFF builder: classic TIFF, the tags given, one strip after the directory --------

struct Tag {
    uint16_t tag;
    uint16_t type;  // 3 SHORT or 4 LONG
    std::vector<uint32_t> values;
};

void Put(Bytes& b, size_t at, uint32_t v, int n, bool big)
{
    for (int i = 0; i < n; i++) b[at + i] = static_cast<unsigned char>(big ? v >> (8 * (n - 1 - i)) : v >> (8 * i));
}

// The file: header, directory, long values, the strips one after the other
// (or only the first, where all strips point, when `shared`). StripOffsets
// and StripByteCounts are added (the single count being `stripCount` when
// given, else each strip's size).
Bytes BuildStrips(std::vector<Tag> tags, const std::vector<Bytes>& strips, bool big = false, long stripCount = -1,
                  bool shared = false)
{
    Tag offsets{273, 4, std::vector<uint32_t>(strips.size(), 0)};
    Tag counts{279, 4, {}};
    for (const Bytes& strip : strips) counts.values.push_back(static_cast<uint32_t>(strip.size()));
    if (stripCount >= 0) counts.values[0] = static_cast<uint32_t>(stripCount);
    tags.push_back(offsets);
    tags.push_back(counts);
    std::sort(tags.begin(), tags.end(), [](const Tag& a, const Tag& b) { return a.tag < b.tag; });
    const size_t ifd = 8, ifdSize = 2 + 12 * tags.size() + 4;
    size_t dataAt = ifd + ifdSize;
    for (const Tag& t : tags) {
        size_t n = t.values.size() * (t.type == 3 ? 2 : 4);
        if (n > 4) dataAt += n;
    }
    for (Tag& t : tags) {
        if (t.tag != 273) continue;
        size_t at = dataAt;
        for (size_t i = 0; i < strips.size(); i++) {
            t.values[i] = static_cast<uint32_t>(at);
            if (!shared) at += strips[i].size();
        }
    }
    Bytes b(dataAt, 0);
    b[0] = b[1] = big ? 'M' : 'I';
    Put(b, 2, 42, 2, big);
    Put(b, 4, static_cast<uint32_t>(ifd), 4, big);
    Put(b, ifd, static_cast<uint32_t>(tags.size()), 2, big);
    size_t at = ifd + 2, out = ifd + ifdSize;
    for (const Tag& t : tags) {
        int size = t.type == 3 ? 2 : 4;
        Put(b, at, t.tag, 2, big);
        Put(b, at + 2, t.type, 2, big);
        Put(b, at + 4, static_cast<uint32_t>(t.values.size()), 4, big);
        size_t where = at + 8;
        if (t.values.size() * size > 4) {
            Put(b, at + 8, static_cast<uint32_t>(out), 4, big);
            where = out;
            out += t.values.size() * size;
        }
        for (size_t i = 0; i < t.values.size(); i++) Put(b, where + i * size, t.values[i], size, big);
        at += 12;
    }
    for (const Bytes& strip : strips) {
        b.insert(b.end(), strip.begin(), strip.end());
        if (shared) break;
    }
    return b;
}

Bytes BuildTiff(const std::vector<Tag>& tags, const Bytes& data, bool big = false, long stripCount = -1)
{
    return BuildStrips(tags, {data}, big, stripCount);
}

Tag Short(uint16_t tag, std::vector<uint32_t> v) { return {tag, 3, std::move(v)}; }
Tag Long(uint16_t tag, uint32_t v) { return {tag, 4, {v}}; }

// Width, length, bits, samples, then the tags given.
std::vector<Tag> Basic(uint32_t width, uint32_t length, uint32_t bits, uint32_t samples, const std::vector<Tag>& more = {})
{
    std::vector<Tag> tags = {Long(256, width), Long(257, length), Short(258, std::vector<uint32_t>(samples, bits)),
                             Short(277, {samples}), Long(278, length)};
    tags.insert(tags.end(), more.begin(), more.end());
    return tags;
}

// ---- loading ---------------------------------------------------------------------------------

struct Loaded : LoadedDib {
    // The pixel row y of the image (0 at the top).
    Bytes Row(LONG y) const
    {
        DWORD stride = h.biSizeImage / static_cast<DWORD>(h.biHeight);
        size_t at = static_cast<size_t>(h.biHeight - 1 - y) * stride;
        return Bytes(pixels.begin() + at, pixels.begin() + at + stride);
    }
};

void LoadPath(const std::string& path, Loaded& l) { LoadWith(TIF_Load, path, l); }

void LoadBytes(const Bytes& file, Loaded& l, const std::string& name = "in.tif")
{
    std::string path = TempPath(name);
    ASSERT_TRUE(WriteWholeFile(path, file));
    LoadPath(path, l);
    remove(path.c_str());
}

// Table entries as red, green, blue triples.
std::vector<std::array<int, 3>> Colours(const Loaded& l)
{
    std::vector<std::array<int, 3>> c;
    for (size_t i = 0; i + 3 < l.table.size(); i += 4) c.push_back({l.table[i + 2], l.table[i + 1], l.table[i]});
    return c;
}

// ---- DIBs to save ----------------------------------------------------------------------------

// What libtiff itself reads in a file we wrote.
struct Written {
    bool opened = false;
    uint32_t width = 0, length = 0, rowsPerStrip = 0, strips = 0;
    uint16_t bits = 0, samples = 0, photometric = 0, compression = 0, planar = 0, orientation = 0;
    bool hasMap = false, hasSoftware = false, hasDate = false, hasResolution = false;
    std::vector<uint16_t> red, green, blue;
    std::vector<Bytes> rows;
};

Written Inspect(const std::string& path)
{
    Written w;
    // A 32-bit file has no ExtraSamples tag, which libtiff notes on stderr.
    TIFFErrorHandler warnings = TIFFSetWarningHandler(nullptr);
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    TIFFSetWarningHandler(warnings);
    if (!tif) return w;
    w.opened = true;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w.width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &w.length);
    TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &w.bits);
    TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &w.samples);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &w.photometric);
    TIFFGetField(tif, TIFFTAG_COMPRESSION, &w.compression);
    TIFFGetField(tif, TIFFTAG_PLANARCONFIG, &w.planar);
    TIFFGetField(tif, TIFFTAG_ORIENTATION, &w.orientation);
    TIFFGetField(tif, TIFFTAG_ROWSPERSTRIP, &w.rowsPerStrip);
    w.strips = TIFFNumberOfStrips(tif);
    char* text = nullptr;
    float resolution = 0;
    w.hasSoftware = TIFFGetField(tif, TIFFTAG_SOFTWARE, &text) != 0;
    w.hasDate = TIFFGetField(tif, TIFFTAG_DATETIME, &text) != 0;
    w.hasResolution = TIFFGetField(tif, TIFFTAG_XRESOLUTION, &resolution) != 0;
    uint16_t *r, *g, *b;
    if (TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b)) {
        w.hasMap = true;
        w.red.assign(r, r + (1 << w.bits));
        w.green.assign(g, g + (1 << w.bits));
        w.blue.assign(b, b + (1 << w.bits));
    }
    tmsize_t size = TIFFScanlineSize(tif);
    Bytes row(static_cast<size_t>(size));
    for (uint32_t y = 0; y < w.length; y++) {
        if (TIFFReadScanline(tif, row.data(), y, 0) < 0) break;
        w.rows.push_back(row);
    }
    TIFFClose(tif);
    return w;
}

class Tiff : public pcxtga::FormatTest {
protected:
    void SetUp() override { FormatTest::SetUp(), SET_Reset(); }
    void TearDown() override { SET_Reset(), FormatTest::TearDown(); }

    // Saves and returns the boxes' texts.
    std::vector<std::string> Save(const std::string& path, HGLOBAL dib, WORD depth, WORD compressed = 1, int* result = nullptr)
    {
        HDL_ClearBoxes();
        int r = TIF_Save(path.c_str(), dib, 1, compressed, depth);
        if (result) *result = r;
        return BoxTexts();
    }
};

// ---- reading ---------------------------------------------------------------------------------

TEST_F(Tiff, GrayTablesFollowPhotometricCurvesAndMaps)
{
    // A 4-bit map of 8-bit values in 16-bit cells, the same scaled to 16 bits,
    // and one where a single value of 256 or more switches all to high bytes.
    std::vector<uint32_t> map(48, 0), map16, mixed(48, 0), big(768, 0);
    for (uint32_t i = 0; i < 16; i++) map[i] = 10 + i, map[16 + i] = 100 + i, map[32 + i] = 255 - i;
    for (uint32_t v : map) map16.push_back(v * 257);
    mixed[1] = 0x1234;
    mixed[2] = 0xFF;
    big[7] = 200;
    std::vector<uint32_t> transfer(16);
    for (uint32_t i = 0; i < 16; i++) transfer[i] = i * i;
    typedef std::array<int, 3> C;
    const std::vector<std::pair<size_t, C>> ramp4 = {{0, {0, 0, 0}}, {1, {85, 85, 85}}, {2, {170, 170, 170}}, {3, {255, 255, 255}}};
    struct Case {
        std::vector<Tag> tags;
        Bytes data;
        bool big;
        WORD bits;
        size_t entries;
        std::vector<std::pair<size_t, C>> colours;  // entries looked at
        Bytes pixels;                               // bottom row first
        int gray;                                   // -1: not looked at
        const char* what;
    };
    const std::vector<Case> cases = {
        // 10 x 2, one bit: row 0 = 1010 0000 01.., row 1 = 0101 1111 10..; no photometric is min-is-black.
        {Basic(10, 2, 1, 1), {0xA0, 0x40, 0x5F, 0x80}, false, 1, 2, {{0, {0, 0, 0}}, {1, {255, 255, 255}}},
         {0x5F, 0x80, 0, 0, 0xA0, 0x40, 0, 0}, -1, "1 bit"},
        {Basic(10, 2, 1, 1, {Short(262, {0})}), {0xA0, 0x40, 0x5F, 0x80}, false, 1, 2, {{0, {255, 255, 255}}, {1, {0, 0, 0}}},
         {0x5F, 0x80, 0, 0, 0xA0, 0x40, 0, 0}, -1, "1 bit min-is-white"},
        // Two bits widen to a 4-bit DIB with four colours.
        {Basic(5, 1, 2, 1), {0x1B, 0xC0}, false, 4, 4, ramp4, {0x01, 0x23, 0x30, 0}, 1, "2 bits"},
        {Basic(5, 1, 2, 1, {Short(262, {0})}), {0x1B, 0xC0}, false, 4, 4,
         {{0, {255, 255, 255}}, {1, {170, 170, 170}}, {2, {85, 85, 85}}, {3, {0, 0, 0}}}, {0x01, 0x23, 0x30, 0}, 1, "2 bits min-is-white"},
        {Basic(5, 1, 2, 1, {Short(262, {3}), Short(320, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12})}), {0x1B, 0xC0}, false, 4, 4,
         {{0, {1, 5, 9}}, {1, {2, 6, 10}}, {2, {3, 7, 11}}, {3, {4, 8, 12}}}, {0x01, 0x23, 0x30, 0}, 0, "2 bits with a map"},
        {Basic(5, 1, 2, 1, {Short(262, {3})}), {0x1B, 0xC0}, false, 4, 4, ramp4, {0x01, 0x23, 0x30, 0}, 0, "2 bits palette without a map"},
        // Four bits, min-is-white: entry i is (15 - i) * 17.
        {Basic(2, 1, 4, 1, {Short(262, {0})}), {0x0F}, false, 4, 16, {{0, {255, 255, 255}}, {1, {238, 238, 238}}, {15, {0, 0, 0}}},
         {0x0F, 0, 0, 0}, 1, "4 bits min-is-white"},
        // No unit stored is unit 2 (hundredths of density): 10 ^ (-value / 100)
        // of 65535, the high bytes: 0; 6553.5 -> 25; 32845.6 -> 128; 65535 -> 255.
        {Basic(4, 1, 2, 1, {Short(262, {1}), Short(291, {300, 100, 30, 0})}), {0x1B}, false, 4, 4,
         {{0, {0, 0, 0}}, {1, {25, 25, 25}}, {2, {128, 128, 128}}, {3, {255, 255, 255}}}, {0x01, 0x23, 0, 0}, -1, "gray response"},
        // Min-is-white: 65535 minus the same, the last entry 0; unit 1 (tenths) in a
        // big-endian file: 65535 - 6553.5 -> 230; 65535 - 32845.6 -> 127; 0; 0.
        {Basic(4, 1, 2, 1, {Short(262, {0}), Short(290, {1}), Short(291, {10, 3, 0, 9})}), {0x1B}, true, 4, 4,
         {{0, {230, 230, 230}}, {1, {127, 127, 127}}, {2, {0, 0, 0}}, {3, {0, 0, 0}}}, {0x01, 0x23, 0, 0}, -1, "gray response in tenths"},
        // A curve shorter than the image's values is ignored: the plain ramp.
        {Basic(4, 1, 2, 1, {Short(291, {300, 100, 30})}), {0x1B}, false, 4, 4, ramp4, {0x01, 0x23, 0, 0}, -1, "short curve"},
        // RGB with one sample of 4 bits: 16 entries, from the transfer function.
        {Basic(2, 1, 4, 1, {Short(262, {2}), Short(301, transfer)}), {0x3F}, false, 4, 16, {{3, {9, 9, 9}}, {15, {225, 225, 225}}},
         {0x3F, 0, 0, 0}, 0, "transfer function"},
        {Basic(3, 1, 4, 1, {Short(262, {3}), Short(320, map)}), {0x0F, 0x20}, false, 4, 16, {{0, {10, 100, 255}}, {15, {25, 115, 240}}},
         {0x0F, 0x20, 0, 0}, 0, "map of 8-bit values"},
        {Basic(3, 1, 4, 1, {Short(262, {3}), Short(320, map16)}), {0x0F, 0x20}, false, 4, 16, {{0, {10, 100, 255}}, {15, {25, 115, 240}}},
         {0x0F, 0x20, 0, 0}, 0, "map of 16-bit values"},
        {Basic(3, 1, 4, 1, {Short(262, {3}), Short(320, mixed)}), {0x12, 0x00}, false, 4, 16, {{1, {0x12, 0, 0}}, {2, {0, 0, 0}}},
         {0x12, 0x00, 0, 0}, 0, "map with one value past 255"},
        // A palette file without a map has the ramp (libtiff alone refuses 4 bits
        // and makes 8 bits gray); big-endian, as byte order matters there.
        {Basic(4, 1, 4, 1, {Short(262, {3})}), {0x1F, 0x20}, true, 4, 16, {{1, {17, 17, 17}}}, {0x1F, 0x20, 0, 0}, 0, "4-bit palette without a map"},
        {Basic(2, 1, 8, 1, {Short(262, {3})}), {0x1F, 0x20}, true, 8, 256, {{0x20, {0x20, 0x20, 0x20}}}, {0x1F, 0x20, 0, 0}, 0, "8-bit palette without a map"},
        // Without PhotometricInterpretation an 8-bit file with a map is a palette file.
        {Basic(1, 1, 8, 1, {Short(320, big)}), {7}, false, 8, 256, {{7, {200, 0, 0}}}, {7, 0, 0, 0}, -1, "map without photometric"},
    };
    for (const Case& c : cases) {
        Loaded l;
        LoadBytes(BuildTiff(c.tags, c.data, c.big), l);
        ASSERT_EQ(1, l.result) << c.what;
        EXPECT_TRUE(l.texts.empty()) << c.what;
        EXPECT_EQ(c.bits, l.h.biBitCount) << c.what;
        EXPECT_EQ(c.entries, l.h.biClrUsed) << c.what;
        auto colours = Colours(l);
        ASSERT_EQ(c.entries, colours.size()) << c.what;
        for (const auto& e : c.colours) EXPECT_EQ(e.second, colours[e.first]) << c.what << ", entry " << e.first;
        EXPECT_EQ(c.pixels, l.pixels) << c.what;
        EXPECT_EQ(c.tags[2].values[0] * c.tags[3].values[0], static_cast<uint32_t>(INF_GetValue(INF_BITSPERPIXEL))) << c.what;
        if (c.gray >= 0) EXPECT_EQ(c.gray, INF_GetValue(INF_GRAY)) << c.what;
    }
}

TEST_F(Tiff, DirectColourRowsAreUnpackedByLayout)
{
    struct Case {
        std::vector<Tag> tags;
        std::vector<Bytes> strips;
        WORD bits;
        Bytes pixels;  // bottom row first
        LONG planes;   // 0: not looked at
        const char* what;
    };
    const std::vector<Case> cases = {
        // RGB with alpha stays 32 bits, alpha in place.
        {Basic(2, 1, 8, 4, {Short(262, {2}), Short(338, {2})}), {{1, 2, 3, 4, 5, 6, 7, 8}}, 32, {3, 2, 1, 4, 7, 6, 5, 8}, 4, "RGBA"},
        // Separate planes: red plane, green plane, blue plane, each read in its own pass.
        {Basic(2, 2, 8, 3, {Short(262, {2}), Short(284, {2})}),
         {{10, 11, 12, 13}, {20, 21, 22, 23}, {30, 31, 32, 33}},
         24,
         {32, 22, 12, 33, 23, 13, 0, 0, 30, 20, 10, 31, 21, 11, 0, 0},
         0,
         "planes"},
        // 16 bits a pixel are five-bit fields, whatever the samples: 0x7FFF all
        // ones; 0x7C1F red 31, green 0, blue 31.
        {Basic(2, 1, 8, 2, {Short(262, {2})}), {{0xFF, 0x7F, 0x1F, 0x7C}}, 24, {0xF8, 0xF8, 0xF8, 0xF8, 0x00, 0xF8, 0, 0}, 0, "5-5-5"},
        // CMYK, 8 bits a sample: 255 - (ink + black), held at 0.
        {Basic(2, 1, 8, 4, {Short(262, {5})}), {{10, 20, 30, 40, 200, 0, 100, 100}}, 24, {185, 195, 205, 55, 155, 0, 0, 0}, 3, "CMYK"},
        // RGB: blue, green, red.
        {Basic(2, 1, 8, 3, {Short(262, {2})}), {{1, 2, 3, 4, 5, 6}}, 24, {3, 2, 1, 6, 5, 4, 0, 0}, 3, "RGB"},
    };
    for (const Case& c : cases) {
        Loaded l;
        LoadBytes(BuildStrips(c.tags, c.strips), l);
        ASSERT_EQ(1, l.result) << c.what;
        EXPECT_EQ(c.bits, l.h.biBitCount) << c.what;
        EXPECT_EQ(0u, l.h.biClrUsed) << c.what;
        EXPECT_EQ(c.pixels, l.pixels) << c.what;
        if (c.planes) EXPECT_EQ(c.planes, INF_GetValue(INF_PLANES)) << c.what;
    }
    EXPECT_EQ("planes 3 compressed 0 bits 24 type 0 version 5",
              InfoText({INF_PLANES, INF_COMPRESSED, INF_BITSPERPIXEL, INF_TYPE, INF_VERSION}));
}

TEST_F(Tiff, FilesWithoutALoadableImageAreRefusedWithTheirMessage)
{
    Bytes good = BuildTiff(Basic(1, 1, 8, 1), {0});
    Bytes notTiff = good, version = good, whole = BuildTiff(Basic(10, 4, 8, 1), Bytes(40, 7));
    notTiff[0] = 'X';
    version[2] = 41;
    struct Case {
        Bytes file;
        const char* text;
        const char* what;
    };
    const std::vector<Case> cases = {
        {BuildTiff(Basic(2, 1, 16, 1, {Short(262, {1})}), Bytes(4, 0)), kNoGray16, "16-bit gray"},
        {BuildTiff(Basic(2, 1, 8, 3, {Short(262, {0})}), Bytes(6, 0)), kNoGray16, "24-bit gray"},
        {BuildTiff(Basic(2, 1, 16, 4, {Short(262, {5})}), Bytes(16, 0)), kCmyk, "CMYK of 16 bits"},
        {BuildTiff(Basic(2, 1, 8, 3, {Short(262, {6})}), Bytes(6, 0)), kPhotometric, "YCbCr"},
        {BuildTiff(Basic(2, 1, 3, 1, {Short(262, {1})}), Bytes(1, 0)), kUnsupported, "3 bits a sample"},
        {BuildTiff(Basic(2, 1, 16, 3, {Short(262, {2})}), Bytes(12, 0)), kUnsupported, "48 bits"},
        {BuildTiff(Basic(2, 1, 8, 5, {Short(262, {2})}), Bytes(10, 0)), kUnsupported, "5 samples"},
        {BuildTiff(Basic(2, 1, 8, 1, {Short(259, {8})}), Bytes(2, 0)), kUnknownScheme, "Deflate"},
        {BuildTiff(Basic(2, 1, 8, 1, {Short(259, {7})}), Bytes(2, 0)), kUnknownScheme, "JPEG"},
        {BuildTiff(Basic(2, 1, 8, 1, {Short(259, {5})}), Bytes(2, 0)), kLzw, "LZW"},
        {notTiff, kBadHeaderId, "byte order mark"},
        {version, kBadVersion, "version"},
        {Bytes{'I', 'I', 42}, kNoHeader, "three bytes"},
        {Bytes(whole.begin(), whole.end() - 3), kIncomplete, "strip 3 bytes short"},
        {BuildTiff(Basic(4, 2, 8, 1, {Short(259, {32773})}), {0xFD, 9}), kIncomplete, "PackBits codes end a row early"},
        {BuildTiff(Basic(20000, 1000, 8, 1, {Short(259, {32773})}), Bytes(100, 0)), kIncomplete, "PackBits 100 bytes"},
        {BuildTiff(Basic(60000, 60000, 8, 1), Bytes(16, 0)), kNoMemory, "3.6 GB claimed"},
        {BuildTiff(Basic(70000, 1, 1, 1), Bytes(8750, 0)), kIllegalSize, "side over 65535"},
        {BuildTiff(Basic(1, 1, 8, 1000), Bytes(1000, 0)), kUnsupported, "1000 samples"},
    };
    for (const Case& c : cases) {
        Loaded l;
        LoadBytes(c.file, l);
        EXPECT_EQ(0, l.result) << c.what;
        EXPECT_EQ(Texts{c.text}, l.texts) << c.what;
    }
    Loaded missing;
    LoadPath(TempPath("no-such-file.tif"), missing);
    EXPECT_EQ(0, missing.result);
    EXPECT_EQ(Texts{kCannotOpen}, missing.texts);
    // The messages of a read are class 2: during a batch they offer to cancel it.
    BAT_SetActive(1, 0);
    HDL_QueueAnswer(IDYES);
    MSG_ClearAbort();
    Loaded batch;
    LoadBytes(notTiff, batch);
    BAT_SetActive(0, 0);
    EXPECT_EQ(Texts{std::string(kBadHeaderId) + "\n\nCancel Batch?"}, batch.texts);
    EXPECT_EQ(1, MSG_GetAbort());
    MSG_ClearAbort();
}

TEST_F(Tiff, ShortStripsFailTheLoadWithNoImage)
{
    // Group 3 and Group 4 strips as libtiff codes them, placed in files of our own.
    for (uint16_t scheme : {uint16_t(COMPRESSION_CCITTFAX3), uint16_t(COMPRESSION_CCITTFAX4)}) {
        std::string coder = TempPath("coder.tif");
        TIFF* tif = TIFFOpen(coder.c_str(), "w");
        ASSERT_NE(nullptr, tif);
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 64);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 64);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 1);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, 0);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, scheme);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 64);
        Bytes expected;
        BYTE row[8];
        for (uint32_t y = 0; y < 64; y++) {
            for (int i = 0; i < 8; i++) row[i] = static_cast<BYTE>((y * 37 + i * 91) & 0xFF);
            TIFFWriteScanline(tif, row, y, 0);
        }
        TIFFClose(tif);
        tif = TIFFOpen(coder.c_str(), "r");
        ASSERT_NE(nullptr, tif);
        Bytes coded(static_cast<size_t>(TIFFRawStripSize(tif, 0)));
        ASSERT_EQ(static_cast<tmsize_t>(coded.size()), TIFFReadRawStrip(tif, 0, coded.data(), coded.size()));
        TIFFClose(tif);
        remove(coder.c_str());

        auto tags = Basic(64, 64, 1, 1);
        tags.push_back(Short(259, {scheme}));
        tags.push_back(Short(262, {0}));
        Loaded whole;
        LoadBytes(BuildTiff(tags, coded), whole);
        ASSERT_EQ(1, whole.result) << scheme;
        EXPECT_TRUE(whole.texts.empty());
        Bytes last = whole.Row(63);
        EXPECT_EQ((Bytes{37 * 63 & 0xFF, (37 * 63 + 91) & 0xFF, (37 * 63 + 182) & 0xFF}), Bytes(last.begin(), last.begin() + 3));
        EXPECT_EQ(1, INF_GetValue(INF_COMPRESSED));
        if (scheme == COMPRESSION_CCITTFAX3) {
            // The codes end a third of the way: libtiff fails the row without
            // a word, and nothing more is said.
            Loaded cut;
            LoadBytes(BuildTiff(tags, Bytes(coded.begin(), coded.begin() + coded.size() / 3)), cut);
            EXPECT_EQ(0, cut.result);
            EXPECT_TRUE(cut.texts.empty());
        } else {
            // Codes that are no codes at all: libtiff reports them and still
            // gives every row, so the image loads after the report.
            Bytes damaged = coded;
            for (size_t i = damaged.size() / 3; i < damaged.size(); i++) damaged[i] = 0x55;
            Loaded bad;
            LoadBytes(BuildTiff(tags, damaged), bad);
            EXPECT_EQ(1, bad.result);
            ASSERT_EQ(1u, bad.texts.size());
            EXPECT_EQ("Error in TIFF file, cannot load", bad.texts[0]);
        }
    }
}

TEST_F(Tiff, HugeOrLyingSizesAreRefusedBeforeMemoryIsTaken)
{
    // 300 strips of one row that all share the file's 300 bytes: the file
    // needn't hold the image's size, only the limit bounds it.
    auto oneRow = Basic(300, 300, 8, 1);
    oneRow.back() = Long(278, 1);
    Bytes shared = BuildStrips(oneRow, std::vector<Bytes>(300, Bytes(300, 9)), false, -1, true);
    Loaded sparse;
    LoadBytes(shared, sparse);
    ASSERT_EQ(1, sparse.result);
    Bytes last = sparse.Row(299);
    EXPECT_EQ(Bytes(300, 9), Bytes(last.begin(), last.begin() + 300));
    DIB_SetMemoryLimit(90000);
    Loaded limited;
    LoadBytes(shared, limited);
    DIB_SetMemoryLimit(0x80000000ULL);
    EXPECT_EQ(0, limited.result);
    EXPECT_EQ(Texts{kNoMemory}, limited.texts);
    // A side of 65535 is the largest loaded.
    Loaded edge;
    LoadBytes(BuildTiff(Basic(65535, 1, 1, 1), Bytes(8192, 0)), edge);
    EXPECT_EQ(1, edge.result);
}

// ---- writing ---------------------------------------------------------------------------------

TEST_F(Tiff, EachDepthWritesItsTagsAndReadsBackUnchanged)
{
    std::string path = TempPath("depths.tif");
    const std::vector<RGBQUAD> gray16 = [] {
        std::vector<RGBQUAD> t;
        for (int i = 0; i < 16; i++) t.push_back({BYTE(i * 17), BYTE(i * 16), BYTE(255 - i), 0});
        return t;
    }();
    const std::vector<RGBQUAD> pal256 = [] {
        std::vector<RGBQUAD> t;
        for (int i = 0; i < 256; i++) t.push_back({BYTE(i), BYTE(255 - i), BYTE(i * 3), 0});
        return t;
    }();
    struct Case {
        int depth;
        int bits;
        std::vector<RGBQUAD> table;
        Bytes row;
        uint16_t bitsPerSample, samples, photometric;
        Bytes fileRow;  // the scanline libtiff reads back
    };
    std::vector<Case> cases = {
        {1, 1, {{0, 0, 0, 0}, {255, 255, 255, 0}}, {0xA5, 0x80}, 1, 1, 1, {0xA5, 0x80}},
        {1, 1, {{255, 255, 255, 0}, {0, 0, 0, 0}}, {0xA5, 0x80}, 1, 1, 0, {0xA5, 0x80}},
        {4, 4, gray16, {0x12, 0x34, 0x50}, 4, 1, 3, {0x12, 0x34, 0x50}},
        {8, 8, pal256, {1, 2, 3, 250, 251}, 8, 1, 3, {1, 2, 3, 250, 251}},
        {24, 24, {}, {1, 2, 3, 4, 5, 6}, 8, 3, 2, {3, 2, 1, 6, 5, 4}},
        {32, 32, {}, {1, 2, 3, 4, 5, 6, 7, 8}, 8, 4, 2, {3, 2, 1, 4, 7, 6, 5, 8}},
    };
    for (const Case& c : cases) {
        LONG width = c.bits >= 24 ? 2 : (c.bits == 1 ? 9 : 5);
        HGLOBAL dib = DibFromRows(width, 3, c.bits, c.table, {c.row});
        int result = 0;
        EXPECT_TRUE(Save(path, dib, static_cast<WORD>(c.depth), 1, &result).empty()) << c.depth;
        ASSERT_EQ(1, result) << c.depth;
        Written w = Inspect(path);
        ASSERT_TRUE(w.opened);
        // PackBits, contiguous planes, top left; no software, date or resolution tags.
        EXPECT_EQ(std::to_string(width) + " x 3, " + std::to_string(c.bitsPerSample) + " bits x " + std::to_string(c.samples) +
                      ", photometric " + std::to_string(c.photometric) + ", 32773 1 1 0 0 0 " + (c.bits == 4 || c.bits == 8 ? "1" : "0"),
                  std::to_string(w.width) + " x " + std::to_string(w.length) + ", " + std::to_string(w.bits) + " bits x " +
                      std::to_string(w.samples) + ", photometric " + std::to_string(w.photometric) + ", " +
                      std::to_string(w.compression) + " " + std::to_string(w.planar) + " " + std::to_string(w.orientation) +
                      " " + std::to_string(w.hasSoftware) + " " + std::to_string(w.hasDate) + " " +
                      std::to_string(w.hasResolution) + " " + std::to_string(w.hasMap));
        if (w.hasMap) {
            for (size_t i = 0; i < c.table.size(); i++) {
                EXPECT_EQ(c.table[i].rgbRed << 8, w.red[i]);
                EXPECT_EQ(c.table[i].rgbGreen << 8, w.green[i]);
                EXPECT_EQ(c.table[i].rgbBlue << 8, w.blue[i]);
            }
        }
        ASSERT_EQ(3u, w.rows.size());
        for (const Bytes& row : w.rows) EXPECT_EQ(c.fileRow, Bytes(row.begin(), row.begin() + c.fileRow.size())) << c.depth;
        GlobalFree(dib);
    }
    remove(path.c_str());
}

TEST_F(Tiff, SixteenBitImagesGoOutAsFiveBitFieldsAndComeBackWithLowBitsClear)
{
    std::string path = TempPath("sixteen.tif");
    HGLOBAL dib = DibFromRows(3, 2, 24, {}, {{0xFF, 0x80, 0x07, 0x12, 0x34, 0x56, 0x00, 0xFF, 0xFF}});
    int result = 0;
    EXPECT_TRUE(Save(path, dib, 16, 1, &result).empty());
    ASSERT_EQ(1, result);
    Written w = Inspect(path);
    EXPECT_EQ(16, w.bits);
    EXPECT_EQ(1, w.samples);
    EXPECT_EQ(PHOTOMETRIC_RGB, w.photometric);
    ASSERT_EQ(2u, w.rows.size());
    // b=0xFF g=0x80 r=0x07: ((0x80 & 0x38) << 2) | (0xFF >> 3) = 0x1F; ((0x07 & 0xF8) >> 1) | (0x80 >> 6) = 0x02.
    EXPECT_EQ((Bytes{0x1F, 0x02, 0xC2, 0x28, 0xE0, 0x7F}), w.rows[0]);
    Loaded back;
    LoadPath(path, back);
    ASSERT_EQ(1, back.result);
    EXPECT_EQ(24, back.h.biBitCount);
    EXPECT_EQ((Bytes{0xF8, 0x80, 0x00, 0x10, 0x30, 0x50, 0x00, 0xF8, 0xF8, 0, 0, 0}), back.Row(0));
    GlobalFree(dib);
    remove(path.c_str());
}

TEST_F(Tiff, CompressionFollowsTheSettingOfTheDepth)
{
    std::string path = TempPath("settings.tif");
    HGLOBAL rgba = DibFromRows(4, 4, 32, {}, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}});
    const std::vector<RGBQUAD> bw = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    const Bytes monoRow = {0xF0, 0x0F, 0xAA, 0x55, 1, 2, 3, 4};
    HGLOBAL mono = DibFromRows(64, 40, 1, bw, {monoRow}), tall = DibFromRows(64, 4000, 1, bw, {monoRow});
    HGLOBAL gray = DibFromRows(4, 2, 8, std::vector<RGBQUAD>(256), {{1, 2, 3, 4}});
    // 5000 pixels of 24 bits: 15000 bytes a row, 14336 / 15000 = 0; 4778 pixels: 14336 / 14334 = 1.
    HGLOBAL wide = DibFromRows(5000, 3, 24, {}, {Bytes(15000, 0x42)}), edge = DibFromRows(4778, 3, 24, {}, {Bytes(4778 * 3, 7)});
    const struct {
        std::vector<std::pair<int, int>> settings;
        HGLOBAL dib;
        WORD depth, compressed;
        const char* outcome;  // the result, a message, the file's scheme, strips and rows a strip
        Bytes lastRow;        // the bottom row read back, when looked at
    } cases[] = {
        // A 32-bit image uses the 24-bit setting: Group 3 there fails on 8 bits a sample, and no file is left.
        {{{SET_TIF_24_BIT_COMPRESSION, 3}}, rgba, 32, 1, "result 0, Illegal Bits-per-Sample value for Group 3/4", {}},
        // ... and no other setting is looked at.
        {{{SET_TIF_24_BIT_COMPRESSION, 1}, {SET_TIF_16_BIT_COMPRESSION, 3}, {SET_TIF_8_BIT_COMPRESSION, 4}}, rgba, 32, 1,
         "result 1, scheme 32773, 1 strips of 896", {}},
        // The compressed flag off: no compression whatever the setting.
        {{{SET_TIF_24_BIT_COMPRESSION, 3}}, rgba, 32, 0, "result 1, scheme 1, 1 strips of 512", {}},
        // Group 4 on one bit: one strip. Group 3: 14336 / 8 rows a strip, as any
        // compression has 14336 bytes a strip; without compression libtiff's 8192.
        {{{SET_TIF_1_BIT_COMPRESSION, 4}}, mono, 1, 1, "result 1, scheme 4, 1 strips of 4294967295", {}},
        {{{SET_TIF_1_BIT_COMPRESSION, 3}}, tall, 1, 1, "result 1, scheme 3, 3 strips of 1792", monoRow},
        {{{SET_TIF_1_BIT_COMPRESSION, 2}}, mono, 1, 1, "result 1, scheme 2, 1 strips of 1792", {}},
        // Group 4 set for an 8-bit image: the layer's report, and no file.
        {{{SET_TIF_8_BIT_COMPRESSION, 4}}, gray, 8, 1, "result 0, Illegal Bits-per-Sample value for Group 3/4", {}},
        // A setting that names no scheme is PackBits.
        {{{SET_TIF_8_BIT_COMPRESSION, 9}}, gray, 8, 1, "result 1, scheme 32773, 1 strips of 3584", {}},
        // "LZW" (0) is refused with its message; the file is written uncompressed.
        {{{SET_TIF_8_BIT_COMPRESSION, 0}}, gray, 8, 1, "result 1, Patented UNISYS LZW compression not supported, scheme 1, 1 strips of 2048",
         {1, 2, 3, 4}},
        // Rows longer than a strip: libtiff refuses the tag, and the image goes in one strip.
        {{{SET_TIF_24_BIT_COMPRESSION, 1}}, wide, 24, 1, "result 1, Illegal tag value in TIFF file, cannot perform operation, scheme 32773, 1 strips of 0",
         Bytes(15000, 0x42)},
        {{{SET_TIF_24_BIT_COMPRESSION, 1}}, edge, 24, 1, "result 1, scheme 32773, 3 strips of 1", {}},
    };
    for (const auto& c : cases) {
        for (const auto& setting : c.settings) SET_Put(setting.first, setting.second);
        int result = -1;
        const Texts texts = Save(path, c.dib, c.depth, c.compressed, &result);
        std::string outcome = "result " + std::to_string(result);
        for (const std::string& text : texts) outcome += ", " + text;
        if (FileExists(path)) {
            Written w = Inspect(path);
            outcome += ", scheme " + std::to_string(w.compression) + ", " + std::to_string(w.strips) + " strips of " +
                       std::to_string(w.rowsPerStrip);
        }
        EXPECT_EQ(c.outcome, outcome);
        if (!c.lastRow.empty()) {
            Loaded back;
            LoadPath(path, back);
            ASSERT_EQ(1, back.result);
            EXPECT_EQ(c.lastRow, back.Row(back.h.biHeight - 1));
        }
        remove(path.c_str());
    }
    for (HGLOBAL dib : {rgba, mono, tall, gray, wide, edge}) GlobalFree(dib);
}

}  // namespace
