// The Sun raster reader and writer: exact bytes of small files worked out by
// hand at the three depths written, round trips, maps, run-length lines that
// cross rows, the questions, hostile headers, and the real files of the corpus.
#include "pcx_tga_support.h"

#include <gtest/gtest.h>

using namespace pcxtga;

namespace {

// A 32-byte header: eight big-endian longs.
Bytes Header(DWORD width, DWORD height, DWORD depth, DWORD type, DWORD mapType, DWORD mapLength, DWORD length = 0)
{
    Bytes out;
    for (DWORD v : {0x59A66A95u, width, height, depth, length, type, mapType, mapLength})
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<BYTE>(v >> shift));
    return out;
}

class Ras : public FormatTest {
protected:
    void Load(const Bytes& file, LoadedDib& l)
    {
        std::string path = Temp("in.ras");
        ASSERT_TRUE(WriteWholeFile(path, file));
        LoadWith(RAS_Load, path, l);
    }
    Bytes Save(HGLOBAL dib)
    {
        std::string path = Temp("out.ras");
        remove(path.c_str());
        EXPECT_EQ(1, RAS_Save(path.c_str(), dib, 1, 0, DibView(dib).h->biBitCount));
        return ReadWholeFile(path);
    }
};

TEST_F(Ras, WriterBytesAtEveryDepthAndRoundTrips)
{
    // 1 bit, 3 x 2, entries (1, 2, 3) and (4, 5, 6): a line is (3 + 15) / 8 = 2
    // bytes, the second the zero pad; the map goes red, red, green, green, blue, blue.
    OwnedDib mono{MakeDib(3, 2, 1, 2)};
    {
        DibView v(mono.dib);
        SetEntry(v.table, 0, 1, 2, 3);
        SetEntry(v.table, 1, 4, 5, 6);
        v.Top(0)[0] = 0xA0;
        v.Top(1)[0] = 0x40;
    }
    // 8 bits, 3 x 1, 2 entries: a line is (24 + 15) / 8 = 4 bytes, one pad.
    OwnedDib mapped{MakeDib(3, 1, 8, 2)};
    {
        DibView v(mapped.dib);
        SetEntry(v.table, 1, 7, 8, 9);
        memcpy(v.Top(0), "\x01\x00\x01", 3);
    }
    // 24 bits, 1 x 1: blue, green, red unchanged, then one pad byte; no map.
    OwnedDib rgb{MakeDib(1, 1, 24)};
    memcpy(DibView(rgb.dib).Top(0), "\x0A\x0B\x0C", 3);
    const struct {
        HGLOBAL dib;
        Bytes expected;
    } cases[] = {
        {mono.dib, Cat(Cat(Header(3, 2, 1, 1, 1, 6, 4), {1, 4, 2, 5, 3, 6}), {0xA0, 0, 0x40, 0})},
        {mapped.dib, Cat(Cat(Header(3, 1, 8, 1, 1, 6, 4), {0, 7, 0, 8, 0, 9}), {1, 0, 1, 0})},
        {rgb.dib, Cat(Header(1, 1, 24, 1, 0, 0, 4), {0x0A, 0x0B, 0x0C, 0})},
    };
    for (const auto& c : cases) {
        DibView v(c.dib);
        SCOPED_TRACE(v.h->biBitCount);
        Bytes file = Save(c.dib);
        EXPECT_EQ(c.expected, file);
        LoadedDib l;
        Load(file, l);
        ASSERT_EQ(1, l.result);
        // The table read back has the DIB's full count; the rest is zero.
        Bytes table(reinterpret_cast<BYTE*>(v.table), reinterpret_cast<BYTE*>(v.pixels));
        table.resize(l.table.size());
        EXPECT_EQ(table, l.table);
        EXPECT_EQ(Bytes(v.pixels, v.pixels + v.h->biSizeImage), l.pixels);
    }
    // A depth the row doesn't offer is refused before a file is made.
    OwnedDib nibbles{MakeDib(1, 1, 4)};
    EXPECT_EQ(0, RAS_Save(Temp("four.ras").c_str(), nibbles.dib, 1, 0, 4));
    EXPECT_EQ(std::vector<std::string>{"Unsupported RAS format"}, BoxTexts());
    EXPECT_TRUE(ReadWholeFile(Temp("four.ras")).empty());
}

TEST_F(Ras, ReaderDepthsMapsRunsAndRefusals)
{
    Bytes map256(768);
    for (int i = 0; i < 256; i++) map256[i] = static_cast<BYTE>(i);  // reds only
    const std::string incomplete = "Incomplete RAS file, cannot load";
    Bytes shortHeader = Header(1, 1, 8, 1, 0, 0);
    shortHeader.pop_back();
    const std::string possible = "Possible errors encountered while reading\nfile, Continue loading this file?";
    const struct {
        Bytes file;
        int answer;  // to the question
        std::vector<std::string> texts;
        int bits;         // 0: refused
        Bytes table;      // the first two entries
        Bytes pixels;     // rows from the bottom
    } cases[] = {
        // Mono without a map: 0 white, 1 black; a 17-pixel line is 4 bytes.
        {Cat(Header(17, 1, 1, 1, 0, 0), {0x80, 0, 0x80, 0}), IDNO, {}, 1,
         {255, 255, 255, 0, 0, 0, 0, 0}, {0x80, 0, 0x80, 0}},
        // Mono with a 2-entry map, read red, then green, then blue.
        {Cat(Header(1, 1, 1, 1, 1, 6), {1, 2, 3, 4, 5, 6, 0x80, 0}), IDNO, {}, 1,
         {5, 3, 1, 0, 6, 4, 2, 0}, {0x80, 0, 0, 0}},
        // A run of 7 sevens crosses from the top row into the bottom one; 0x80 0
        // is a literal 0x80 (a 3-pixel line is 4 bytes, the last cut off).
        {Cat(Header(3, 2, 8, 2, 0, 0), {0x80, 6, 7, 0x80, 0}), IDNO, {}, 8,
         {0, 0, 0, 0, 0, 0, 0, 0}, {7, 7, 7, 0, 7, 7, 7, 0}},
        // A run that outlives the last row asks; No refuses, Yes keeps the image.
        {Cat(Header(3, 1, 8, 2, 0, 0), {0x80, 9, 7}), IDNO, {possible}, 0, {}, {}},
        {Cat(Header(3, 1, 8, 2, 0, 0), {0x80, 9, 7}), IDYES, {possible}, 8, {0, 0, 0, 0, 0, 0, 0, 0}, {7, 7, 7, 0}},
        // Run-length data past the end of the file reads as 0.
        {Cat(Header(2, 1, 8, 2, 0, 0), {5}), IDNO, {}, 8, {0, 0, 0, 0, 0, 0, 0, 0}, {5, 0, 0, 0}},
        // 16 bits with a 256-entry map: 8 bits, the first byte of each pair.
        {Cat(Cat(Header(2, 1, 16, 1, 1, 768), map256), {3, 9, 4, 9}), IDNO, {"Ignoring colormap in 16-bit RAS image"},
         8, {0, 0, 0, 0, 0, 0, 1, 0}, {3, 4, 0, 0}},
        // 24 bits with a 2-entry map: the map is passed over, pixels as they stand.
        {Cat(Header(1, 1, 24, 1, 1, 6), {9, 9, 9, 9, 9, 9, 1, 2, 3, 0}), IDNO, {"Ignoring colormap in 24-bit RAS image"},
         24, {}, {1, 2, 3, 0}},
        // Widths and heights are 16 bits: 0x10001 is 1.
        {Cat(Header(0x10001, 1, 8, 1, 0, 0), {6, 0}), IDNO, {}, 8, {0, 0, 0, 0, 0, 0, 0, 0}, {6, 0, 0, 0}},
        {shortHeader, IDNO, {"Not a legal RAS file"}, 0, {}, {}},
        {Cat(Header(1, 1, 4, 1, 0, 0), {0, 0}), IDNO, {"Unsupported RAS format"}, 0, {}, {}},
        {Cat(Header(1, 1, 16, 1, 0, 0), {0, 0}), IDNO, {"Unsupported RAS format"}, 0, {}, {}},
        {Cat(Header(1, 1, 8, 1, 1, 900), Bytes(902)), IDNO, {"Illegal colormap in RAS file"}, 0, {}, {}},
        {Cat(Header(1, 1, 8, 1, 1, 6), {1, 2, 3}), IDNO, {incomplete}, 0, {}, {}},
        {Cat(Header(1, 1, 24, 1, 2, 9), {1, 2, 3}), IDNO, {"Ignoring colormap in 24-bit RAS image", incomplete}, 0, {}, {}},
        {Cat(Header(3, 2, 8, 1, 0, 0), {1, 2, 3, 4}), IDNO, {incomplete}, 0, {}, {}},
        {Header(0xFFFF, 0xFFFF, 24, 2, 0, 0), IDNO, {"Not enough memory to load RAS image"}, 0, {}, {}},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        const auto& c = cases[i];
        SCOPED_TRACE(i);
        HDL_SetPolicy(c.answer);
        LoadedDib l;
        Load(c.file, l);
        EXPECT_EQ(c.texts, l.texts);
        if (!c.bits) {
            EXPECT_EQ(0, l.result);
            continue;
        }
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(c.bits, l.h.biBitCount);
        EXPECT_EQ(c.table, Bytes(l.table.begin(), l.table.begin() + std::min<size_t>(8, l.table.size())));
        EXPECT_EQ(c.pixels, l.pixels);
    }
}

TEST_F(Ras, CorpusFilesMatchTheirReference)
{
    // hopper.ras is of type 3, whose pixels are red, green, blue; 24-bit
    // pixels are taken as they stand, as blue, green, red, so its red and blue
    // come out exchanged.
    std::vector<ManifestRow> rows = Manifest("ras");
    ASSERT_EQ(2u, rows.size());
    for (const ManifestRow& row : rows) {
        SCOPED_TRACE(row.path);
        LoadedDib l;
        LoadWith(RAS_Load, CorpusPath(row.path), l);
        ASSERT_EQ(1, l.result);
        EXPECT_TRUE(l.texts.empty());
        Bytes samples = ReferenceSamples(l.h, l.table, l.pixels, false);
        if (row.path == "files/ras/hopper.ras") {
            EXPECT_NE(row.reference, Sha256(samples));
            for (size_t i = 0; i + 2 < samples.size(); i += 3) std::swap(samples[i], samples[i + 2]);
        }
        EXPECT_EQ(row.reference, Sha256(samples));
    }
}

}  // namespace
