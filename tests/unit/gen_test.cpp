// The GEN reader and writer: exact bytes of a small file, read back, failed
// writes, the header line's rules, truncated and hostile files.
#include "corpus_support.h"

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class Gen : public FormatTest {};

TEST_F(Gen, WrittenBytesReadBack)
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
    LoadedDib l;
    LoadWith(GEN_Load, path, l);
    EXPECT_EQ((Bytes{7, 8, 9, 10, 11, 12, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0}), l.pixels);
    EXPECT_STREQ("IBMPC", INF_Info.creator);
}

TEST_F(Gen, HeaderLinesShortAndHostileFiles)
{
    const struct {
        Bytes file;
        LONG height;
        Bytes pixels;  // the DIB's rows from the bottom, or the message
    } cases[] = {
        {Cat(Text("1 2\r"), {1, 2, 3, 4, 5, 6}), 2, {3, 2, 1, 0, 6, 5, 4, 0}},
        // A truncated file keeps what it read; the rest is zero.
        {Cat(Text("2 2\n"), {1, 2, 3, 4}), 2, {3, 2, 1, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        // Any character counts as its code less 48: "1!" is 10 - 15 = -5.
        {Text("1 1!\n"), 0, Text("Not enough memory to load GEN image")},
        {Text("99999 99999\n"), 0, Text("Not enough memory to load GEN image")},
        {Text("12 4"), 0, Text("Illegal GEN File -- Bad Header")},
        {Text("12"), 0, Text("Illegal GEN File -- Bad Header")},
    };
    for (const auto& c : cases) {
        LoadedDib l;
        ASSERT_TRUE(WriteWholeFile(Temp("in.gen"), c.file));
        LoadWith(GEN_Load, TempPath("in.gen"), l);
        EXPECT_EQ(c.height != 0, l.result);
        EXPECT_EQ(c.height, l.h.biHeight);
        if (c.height) EXPECT_EQ(c.pixels, l.pixels);
        else EXPECT_EQ(std::vector<std::string>{std::string(c.pixels.begin(), c.pixels.end())}, l.texts);
    }
}

}  // namespace
