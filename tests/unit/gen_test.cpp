// The GEN reader and writer: exact bytes of a small file, round trips, the
// header line's rules, truncated and hostile files.
#include "pcx_tga_support.h"

#include <gtest/gtest.h>

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class Gen : public FormatTest {
protected:
    void Load(const Bytes& file, LoadedDib& l)
    {
        std::string path = Temp("in.gen");
        ASSERT_TRUE(WriteWholeFile(path, file));
        LoadWith(GEN_Load, path, l);
    }
};

TEST_F(Gen, WrittenBytesAndRoundTrips)
{
    OwnedDib rgb{MakeDib(2, 2, 24)};
    {
        DibView v(rgb.dib);
        memcpy(v.Top(0), "\x01\x02\x03\x04\x05\x06", 6);  // blue, green, red
        memcpy(v.Top(1), "\x07\x08\x09\x0A\x0B\x0C", 6);
    }
    // The bottom row first, red, green, blue.
    std::string path = Temp("out.gen");
    ASSERT_EQ(1, GEN_Save(path.c_str(), rgb.dib, 1, 0, 24));
    EXPECT_EQ(Cat(Text("2 2\n"), {9, 8, 7, 12, 11, 10, 3, 2, 1, 6, 5, 4}), ReadWholeFile(path));

    OwnedDib big{MakeDib(37, 11, 24)};
    {
        DibView v(big.dib);
        for (size_t i = 0; i < v.stride * 11; i++) v.pixels[i] = static_cast<BYTE>(i * 7 + (i >> 5));
    }
    ASSERT_EQ(1, GEN_Save(path.c_str(), big.dib, 1, 0, 24));
    LoadedDib l;
    LoadWith(GEN_Load, path, l);
    ASSERT_EQ(1, l.result);
    EXPECT_EQ(ReferenceSamples(big.dib, false), ReferenceSamples(l.h, l.table, l.pixels, false));
    EXPECT_TRUE(HDL_Boxes().empty());

    std::string nowhere = TempPath("no_such_dir") + "/x.gen";
    EXPECT_EQ(0, GEN_Save(nowhere.c_str(), big.dib, 1, 0, 24));
    EXPECT_EQ(std::vector<std::string>{"Cannot open output file, check disk space"}, BoxTexts());
#ifndef _WIN32
    OwnedDib huge{MakeDib(300, 300, 24)};
    HDL_ClearBoxes();
    std::string full = Temp("full.gen");
    EXPECT_EQ(0, UnderFileSizeLimit(100000, [&] { return GEN_Save(full.c_str(), huge.dib, 1, 0, 24); }));
    EXPECT_FALSE(FileExists(full));
    EXPECT_EQ(std::vector<std::string>{"Cannot write file, check disk space"}, BoxTexts());
#endif
}

TEST_F(Gen, HeaderLinesAndShortFiles)
{
    const struct {
        Bytes file;
        LONG width, height;
        Bytes pixels;  // the DIB's rows, from the bottom
    } cases[] = {
        {Cat(Text("1 2\r"), {1, 2, 3, 4, 5, 6}), 1, 2, {3, 2, 1, 0, 6, 5, 4, 0}},
        // A truncated file keeps what it read; the rest is zero.
        {Cat(Text("2 1\n"), {1, 2, 3, 4}), 2, 1, {3, 2, 1, 0, 0, 4, 0, 0}},
        // Any character counts as its code less 48: "1!" is 10 - 15 = -5.
        {Cat(Text("1 1!\n"), {1, 2, 3}), 1, -1, {}},
    };
    for (const auto& c : cases) {
        LoadedDib l;
        Load(c.file, l);
        EXPECT_EQ(c.width, INF_GetValue(INF_WIDTH));
        if (c.height < 0) {
            EXPECT_EQ(0, l.result);
            EXPECT_EQ(std::vector<std::string>{"Not enough memory to load GEN image"}, l.texts);
            continue;
        }
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(c.height, l.h.biHeight);
        EXPECT_EQ(c.pixels, l.pixels);
    }
    for (const char* text : {"12", "12 4", ""}) {
        LoadedDib l;
        Load(Text(text), l);
        EXPECT_EQ(std::vector<std::string>{"Illegal GEN File -- Bad Header"}, l.texts);
    }
    LoadedDib l;
    Load(Text("99999 99999\n"), l);
    EXPECT_EQ(std::vector<std::string>{"Not enough memory to load GEN image"}, l.texts);
    EXPECT_STREQ("IBMPC", INF_Info.creator);
}

}  // namespace
