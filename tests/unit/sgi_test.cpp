// The SGI RGB reader and writer: exact bytes of small files worked out by
// hand, round trips, the seeking rules of each dimension, run-length rows,
// hostile headers and truncated files, and the real files of the corpus.
#include "pcx_tga_support.h"

#include <gtest/gtest.h>

using namespace pcxtga;

namespace {

const char kImageName[] = "Created by 'KorVanta' a conversion utility by Tolmera Works Inc.";

// A 512-byte header with these fields, big-endian, the rest zero.
Bytes Header(int storage, int bpc, int dimension, int x, int y, int z)
{
    Bytes h(512, 0);
    h[0] = 0x01, h[1] = 0xDA, h[2] = static_cast<BYTE>(storage), h[3] = static_cast<BYTE>(bpc);
    const int words[] = {dimension, x, y, z};
    for (int i = 0; i < 4; i++) h[4 + 2 * i] = static_cast<BYTE>(words[i] >> 8), h[5 + 2 * i] = static_cast<BYTE>(words[i]);
    return h;
}

// The header this writer puts out: dimension 0, the image name at 24.
Bytes Written(int storage, int x, int y, int z)
{
    Bytes h = Header(storage, 0, 0, x, y, z);
    std::copy(kImageName, kImageName + strlen(kImageName), h.begin() + 24);
    return h;
}

Bytes Longs(std::initializer_list<DWORD> values)
{
    Bytes out;
    for (DWORD v : values)
        for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<BYTE>(v >> s));
    return out;
}

Bytes Cut(Bytes b, size_t n)
{
    b.resize(n);
    return b;
}

class Sgi : public FormatTest {
protected:
    void Load(const Bytes& file, LoadedDib& l)
    {
        std::string path = Temp("in.rgb");
        ASSERT_TRUE(WriteWholeFile(path, file));
        LoadWith(SGI_Load, path, l);
    }
    Bytes Save(HGLOBAL dib, WORD compressed, WORD depth, int* result = nullptr)
    {
        std::string path = Temp("out.rgb");
        remove(path.c_str());
        int ok = SGI_Save(path.c_str(), dib, 1, compressed, depth);
        if (result) *result = ok;
        return ReadWholeFile(path);
    }
};

// ---- the writer ----------------------------------------------------------------------

TEST_F(Sgi, WrittenBytesAtEightAndTwentyFourBits)
{
    OwnedDib mapped{MakeDib(3, 2, 8, 2)};
    {
        DibView v(mapped.dib);
        SetEntry(v.table, 0, 1, 2, 3);
        SetEntry(v.table, 1, 4, 5, 6);
        memcpy(v.Top(0), "\x01\x01\x00", 3);
        memcpy(v.Top(1), "\x00\x01\x00", 3);
    }
    // One channel of the entries' blue bytes (3 for entry 0, 6 for entry 1),
    // the bottom row first.
    EXPECT_EQ(Cat(Written(0, 3, 2, 1), {3, 6, 3, 6, 6, 3}), Save(mapped.dib, 0, 8));

    OwnedDib rgb{MakeDib(2, 2, 24)};
    {
        DibView v(rgb.dib);
        memcpy(v.Top(0), "\x01\x02\x03\x04\x05\x06", 6);  // blue, green, red
        memcpy(v.Top(1), "\x07\x08\x09\x0A\x0B\x0C", 6);
    }
    // Red rows (bottom first), then green, then blue.
    EXPECT_EQ(Cat(Written(0, 2, 2, 3), {9, 12, 3, 6, 8, 11, 2, 5, 7, 10, 1, 4}), Save(rgb.dib, 0, 24));
    // Compressed: six starts of 0, six lengths of the width, and no picture data.
    EXPECT_EQ(Cat(Cat(Written(1, 2, 2, 3), Bytes(24, 0)), Longs({2, 2, 2, 2, 2, 2})), Save(rgb.dib, 1, 24));
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(Sgi, WrittenFilesReadBackAndFailedWrites)
{
    for (int bits : {8, 24}) {
        SCOPED_TRACE(bits);
        OwnedDib dib{MakeDib(70, 5, bits)};
        {
            DibView v(dib.dib);
            if (bits == 8)
                for (int i = 0; i < 256; i++) SetEntry(v.table, i, BYTE(i), BYTE(i), BYTE(i));
            for (size_t i = 0; i < v.stride * 5; i++) v.pixels[i] = static_cast<BYTE>(i * 7 + (i >> 5));
        }
        Save(dib.dib, 0, static_cast<WORD>(bits));
        LoadedDib l;
        LoadWith(SGI_Load, TempPath("out.rgb"), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(ReferenceSamples(dib.dib, false), ReferenceSamples(l.h, l.table, l.pixels, false));
    }

    OwnedDib dib{MakeDib(300, 300, 24)};
    std::string nowhere = TempPath("no_such_dir") + "/x.rgb";
    EXPECT_EQ(0, SGI_Save(nowhere.c_str(), dib.dib, 1, 0, 24));
    EXPECT_EQ(std::vector<std::string>{"Cannot open output file, check disk space"}, BoxTexts());
#ifndef _WIN32
    for (rlim_t limit : {100, 100000}) {
        HDL_ClearBoxes();
        std::string path = Temp("full.rgb");
        EXPECT_EQ(0, UnderFileSizeLimit(limit, [&] { return SGI_Save(path.c_str(), dib.dib, 1, 0, 24); }));
        EXPECT_FALSE(FileExists(path));
        EXPECT_EQ(std::vector<std::string>{"Cannot write file header, check disk space"}, BoxTexts());
    }
#endif
}

// ---- the reader ----------------------------------------------------------------------

TEST_F(Sgi, RowsAreFoundByDimension)
{
    const Bytes data = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    const struct {
        int dimension, bpc, z;
        Bytes bottom, top;  // the DIB's rows
    } cases[] = {
        {0, 1, 1, {10, 11}, {12, 13}},  // in sequence
        {4, 1, 1, {10, 11}, {12, 13}},  // as 0
        {1, 1, 1, {10, 11}, {10, 11}},  // every row at 512
        {2, 2, 1, {10, 11}, {14, 15}},  // row x x x bytes per channel: the first bytes of 16-bit samples
        {3, 1, 3, {18, 14, 10, 19, 15, 11}, {20, 16, 12, 21, 17, 13}},  // red, green, blue planes
        {3, 2, 1, {10, 11}, {14, 15}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "dimension " << c.dimension << " bpc " << c.bpc);
        LoadedDib l;
        Load(Cat(Header(0, c.bpc, c.dimension, 2, 2, c.z), data), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(c.z * 8, l.h.biBitCount);
        DWORD stride = DIB_Stride(2, c.z * 8);
        EXPECT_EQ(c.bottom, Bytes(l.pixels.begin(), l.pixels.begin() + c.bottom.size()));
        EXPECT_EQ(c.top, Bytes(l.pixels.begin() + stride, l.pixels.begin() + stride + c.top.size()));
    }
    // The last load: one plane of 8 bits, gray, verbatim.
    EXPECT_EQ((std::vector<LONG>{0, 1, 1, 8, 1}),
              (std::vector<LONG>{INF_GetValue(INF_COMPRESSED), INF_GetValue(INF_PLANES), INF_GetValue(INF_GRAY),
                                 INF_GetValue(INF_BITSPERPIXEL), INF_GetValue(INF_VERSION)}));
}

TEST_F(Sgi, RunLengthRows)
{
    // Two rows of 4 at dimension 2: row 0 at 520 (a copy of 2, a run of 2,
    // the end); row 1 at 526 stops at its length of 3 in a run whose value
    // lies beyond it, which reads as 0.
    Bytes file = Cat(Cat(Header(1, 1, 2, 4, 2, 1), Longs({528, 534, 6, 3})),
                     {0x82, 10, 11, 0x02, 7, 0x00, 0x81, 5, 0x03});
    LoadedDib l;
    Load(file, l);
    ASSERT_EQ(1, l.result);
    EXPECT_EQ((Bytes{10, 11, 7, 7, 5, 0, 0, 0}), l.pixels);
    EXPECT_EQ(1, INF_GetValue(INF_COMPRESSED));
    EXPECT_EQ(1, INF_GetValue(INF_GRAY));
    EXPECT_STREQ("Iris", INF_Info.creator);
    // A gray table.
    EXPECT_EQ(1024u, l.table.size());
    EXPECT_EQ((Bytes{200, 200, 200, 0}), Bytes(l.table.begin() + 800, l.table.begin() + 804));
}

TEST_F(Sgi, HostileFilesEndWithTheirMessages)
{
    const struct {
        Bytes file;
        const char* text;
    } cases[] = {
        {Cut(Header(0, 1, 2, 2, 2, 1), 107), "Not a legal RGB file"},
        {Cat({0x01, 0xDB}, Bytes(510, 0)), "Not a legal RGB format file"},
        {Header(0, 1, 3, 2, 2, 4), "Unrecognized RGB format, cannot read"},
        {Header(0, 1, 3, 2, 2, 2), "Unrecognized RGB format, cannot read"},
        {Header(0, 1, 3, 65535, 65535, 3), "Not enough memory to load RGB image"},
        {Header(0, 1, 3, 0, 2, 1), "Not enough memory to load RGB image"},
        {Cat(Header(0, 1, 0, 4, 2, 1), Bytes(7, 1)), "Incomplete RGB file, cannot load"},
        {Cat(Header(1, 1, 2, 4, 2, 1), Longs({0, 0, 0})), "Incomplete RGB file, cannot load"},
        // a length beyond the scratch of (4 + 4 / 64) x 4 bytes
        {Cat(Cat(Header(1, 1, 2, 4, 1, 1), Longs({520, 17})), Bytes(17, 0)), "The RGB File is Damaged -- Cannot Load"},
        {Cat(Cat(Header(1, 1, 2, 4, 1, 1), Longs({520, 16})), Bytes(15, 0)), "Incomplete RGB file, cannot load"},
        {Cat(Cat(Header(1, 1, 2, 4, 1, 1), Longs({520, 2})), {0x05, 1}), "Incomplete RGB file, cannot load"},
        {Cat(Cat(Header(1, 1, 2, 4, 1, 1), Longs({0x80000000u, 2})), {0x01, 1}), "Incomplete RGB file, cannot load"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        LoadedDib l;
        Load(c.file, l);
        EXPECT_EQ(0, l.result);
        EXPECT_EQ(std::vector<std::string>{c.text}, l.texts);
    }
    HDL_RequestStop(true);
    LoadedDib l;
    Load(Cat(Header(0, 1, 0, 1, 1, 1), {1}), l);
    EXPECT_EQ(0, l.result);
    EXPECT_TRUE(l.texts.empty());
}

// ---- the corpus -------------------------------------------------------------------------------

TEST_F(Sgi, CorpusFilesMatchTheirReferenceOrAreRefusedAsTheRulesSay)
{
    // hopper16.rgb holds 16-bit samples: each row is found at its 16-bit
    // offset and read as x bytes, so its decode is the file's bytes from
    // there (high and low bytes in turn), not the reference.
    // sgi_overrun_expandrowF04.bin has 16-bit run codes, read as bytes: its
    // row is a run of one 0x7D, then the high byte 0 ends it.
    // transparent.sgi has 4 channels; the other fuzzer files are cut or overrun their rows.
    const struct {
        const char* file;
        const char* outcome;
    } expectations[] = {
        {"files/sgi/hopper.bw", "reference"},
        {"files/sgi/hopper.rgb", "reference"},
        {"files/sgi/hopper16.rgb", "bytes of 16-bit samples"},
        {"files/sgi/transparent.sgi", "Unrecognized RGB format, cannot read"},
        {"files/sgi/sgi_overrun.bin", "Incomplete RGB file, cannot load"},
        {"files/sgi/sgi_overrun_expandrow.bin", "Incomplete RGB file, cannot load"},
        {"files/sgi/sgi_overrun_expandrowF04.bin", "16-bit run codes"},
        {"files/sgi/ossfuzz-5730089102868480.sgi", "Incomplete RGB file, cannot load"},
    };
    std::vector<ManifestRow> rows = Manifest("sgi");
    ASSERT_EQ(8u, rows.size());
    for (const ManifestRow& row : rows) {
        SCOPED_TRACE(row.path);
        std::string outcome;
        for (const auto& e : expectations)
            if (row.path == e.file) outcome = e.outcome;
        ASSERT_FALSE(outcome.empty());
        LoadedDib l;
        LoadWith(SGI_Load, CorpusPath(row.path), l);
        if (outcome.find("RGB") != std::string::npos) {
            EXPECT_EQ(0, l.result);
            EXPECT_EQ(std::vector<std::string>{outcome}, l.texts);
            continue;
        }
        ASSERT_EQ(1, l.result);
        EXPECT_TRUE(l.texts.empty());
        Bytes samples = ReferenceSamples(l.h, l.table, l.pixels, false);
        if (outcome == "16-bit run codes") {
            Bytes expected(128, 0);
            expected[0] = 0x7D;
            EXPECT_EQ(expected, l.pixels);
            continue;
        }
        if (outcome == "reference") {
            EXPECT_EQ(row.reference, Sha256(samples));
            continue;
        }
        EXPECT_NE(row.reference, Sha256(samples));
        Bytes file = ReadWholeFile(CorpusPath(row.path));
        const size_t x = 128, y = 128;
        for (size_t c = 0; c < 3; c++)
            for (size_t r = 0; r < y; r++)
                for (size_t i = 0; i < x; i++)
                    ASSERT_EQ(file[512 + ((r + c * y) * x * 2) + i], samples[((y - 1 - r) * x + i) * 3 + c]);
    }
}

}  // namespace
