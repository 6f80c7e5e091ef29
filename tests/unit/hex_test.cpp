// The HEX reader and writer: exact text of small files worked out by hand at
// every depth the writer takes, round trips, the grammar of tags, types and
// numbers, picture rows, the session that keeps width and height, and the
// messages of bad files.
#include "pcx_tga_support.h"

#include <gtest/gtest.h>

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class Hex : public FormatTest {
protected:
    void Load(const std::string& text, LoadedDib& l)
    {
        std::string path = Temp("in.hex");
        ASSERT_TRUE(WriteWholeFile(path, Text(text)));
        LoadWith(HEX_Load, path, l);
    }
    std::string Save(HGLOBAL dib)
    {
        std::string path = Temp("out.hex");
        EXPECT_EQ(1, HEX_Save(path.c_str(), dib, 1, 0, 0));
        Bytes b = ReadWholeFile(path);
        return std::string(b.begin(), b.end());
    }
};

std::string Repeat(const std::string& s, int n)
{
    std::string out;
    while (n-- > 0) out += s;
    return out;
}

TEST_F(Hex, WrittenTextAtEveryDepth)
{
    const std::string black = "\t00 00 00\r\n";
    const struct {
        int bits, width;
        Bytes top, bottom;  // row bytes
        std::string expected;
    } cases[] = {
        // 10 pixels of 1 bit: two bytes a row, the top row first.
        {1, 10, {0xAA, 0xC0}, {0xFF, 0x00},
         "WIDTH\t\t10\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t1\r\n\r\nCOLORMAP H\r\n\t01 02 03\r\n\tA4 B5 C6\r\n\r\n"
         "IMAGE H\r\n\tAAC0\r\n\tFF00\r\n"},
        // 3 pixels of 4 bits: (12 + 7) / 8 = 2 bytes; 14 entries past the table's two are black.
        {4, 3, {0x12, 0x30}, {0x01, 0x00},
         "WIDTH\t\t3\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t4\r\n\r\nCOLORMAP H\r\n\t01 02 03\r\n\tA4 B5 C6\r\n" +
             Repeat(black, 14) + "\r\nIMAGE H\r\n\t1230\r\n\t0100\r\n"},
        {8, 2, {0x01, 0xFE}, {0x00, 0x10},
         "WIDTH\t\t2\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t8\r\n\r\nCOLORMAP H\r\n\t01 02 03\r\n\tA4 B5 C6\r\n" +
             Repeat(black, 254) + "\r\nIMAGE H\r\n\t01FE\r\n\t0010\r\n"},
        // 24 bits: no map; the row's bytes as they lie, blue first.
        {24, 1, {0x0A, 0x0B, 0x0C}, {0xFF, 0x00, 0x80},
         "WIDTH\t\t1\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t24\r\n\r\nIMAGE H\r\n\t0A0B0C\r\n\tFF0080\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bits);
        OwnedDib dib{MakeDib(c.width, 2, c.bits, c.bits < 24 ? 2 : 0)};
        {
            DibView v(dib.dib);
            if (c.bits < 24) {
                SetEntry(v.table, 0, 0x01, 0x02, 0x03);
                SetEntry(v.table, 1, 0xA4, 0xB5, 0xC6);
            }
            memcpy(v.Top(0), c.top.data(), c.top.size());
            memcpy(v.Top(1), c.bottom.data(), c.bottom.size());
        }
        EXPECT_EQ(c.expected, Save(dib.dib));
        // Read back: the same rows, and the table cut or filled to the depth.
        LoadedDib l;
        LoadWith(HEX_Load, TempPath("out.hex"), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(ReferenceSamples(dib.dib, false), ReferenceSamples(l.h, l.table, l.pixels, false));
    }
    EXPECT_TRUE(HDL_Boxes().empty());

    OwnedDib dib{MakeDib(300, 300, 24)};
    std::string nowhere = TempPath("no_such_dir") + "/x.hex";
    EXPECT_EQ(0, HEX_Save(nowhere.c_str(), dib.dib, 1, 0, 24));
    EXPECT_EQ(std::vector<std::string>{"Cannot open output file, check disk space"}, BoxTexts());
#ifndef _WIN32
    for (rlim_t limit : {10, 100000}) {
        HDL_ClearBoxes();
        std::string full = Temp("full.hex");
        EXPECT_EQ(0, UnderFileSizeLimit(limit, [&] { return HEX_Save(full.c_str(), dib.dib, 1, 0, 24); }));
        EXPECT_FALSE(FileExists(full));
        EXPECT_EQ(std::vector<std::string>{"Cannot write file, check disk space"}, BoxTexts());
    }
#endif
}

TEST_F(Hex, TagsTypesAndRows)
{
    const std::string head = "WIDTH 2 HEIGHT 1 BITSPERPIXEL 8 ";
    const struct {
        std::string text;
        LONG width;
        int bits;
        Bytes pixels;  // the DIB's rows from the bottom, stride included
    } cases[] = {
        // a width of 384 given in hexadecimal is 900
        {"WIDTH H 384 HEIGHT 1 BITSPERPIXEL 1 IMAGE B " + std::string(900, '1'), 900, 1, Bytes()},
        // names in any case, types in upper case, binary values; tags in any order
        {"bitsperpixel 8 height B 10 Width D 2 IMAGE H 01\r\n\t02 0304", 2, 8, {3, 4, 0, 0, 1, 2, 0, 0}},
        // ten 1-bit pixels lose their last two binary digits; rows don't follow lines
        {"WIDTH 10 HEIGHT 1 BITSPERPIXEL 1 IMAGE B 10101\n01011", 10, 1, {0xAA, 0, 0, 0}},
        // comments, and a comment between two carriage returns
        {"; a picture\nWIDTH 2 \r;x\r\n\rHEIGHT 1 BITSPERPIXEL 8 IMAGE H ab Cd", 2, 8, {0xAB, 0xCD, 0, 0}},
        {"WIDTH 1 HEIGHT 1 BITSPERPIXEL 24 IMAGE H 0A0b0C", 1, 24, {10, 11, 12, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        LoadedDib l;
        Load(c.text, l);
        ASSERT_EQ(1, l.result);
        EXPECT_TRUE(l.texts.empty());
        EXPECT_EQ(c.width, l.h.biWidth);
        EXPECT_EQ(c.bits, l.h.biBitCount);
        if (!c.pixels.empty()) EXPECT_EQ(c.pixels, l.pixels);
    }
    // A map read at 1 bit, then the depth raised to 4: two entries (300
    // keeps its low byte, 44), the rest black. Without a map, gray steps.
    LoadedDib l;
    Load("BITSPERPIXEL 1 COLORMAP D 1 2 3 300 5 6 BITSPERPIXEL 4 WIDTH 1 HEIGHT 1 IMAGE H 10", l);
    ASSERT_EQ(1, l.result);
    Bytes table(64, 0);
    table[0] = 3, table[1] = 2, table[2] = 1, table[4] = 6, table[5] = 5, table[6] = 44;
    EXPECT_EQ(table, l.table);
    LoadedDib gray;
    Load(head.substr(0, 17) + "BITSPERPIXEL 4 IMAGE H 12", gray);
    ASSERT_EQ(1, gray.result);
    EXPECT_EQ((Bytes{255, 255, 255, 0}), Bytes(gray.table.begin() + 60, gray.table.end()));
}

TEST_F(Hex, BadFilesAndTheSession)
{
    const std::string head = "WIDTH 2 HEIGHT 1 BITSPERPIXEL 8 ";
    const struct {
        std::string text;
        const char* message;  // empty: refused without a word
    } cases[] = {
        {"WIDTH 900", "Illegal data type encountered, cannot load file"},
        {"WIDTH 0100", "Illegal data type encountered, cannot load file"},
        {"WIDTH d 2", "Illegal data type encountered, cannot load file"},
        {"WIDTH O 7", "Octal data is no longer supported, cannot load file"},
        {head + "IMAGE D 1", "Octal data is no longer supported, cannot load file"},
        {"WIDTH D 4294967295", "Illegal WIDTH tag value"},  // wraps to -1
        {"HEIGHT D x", "Illegal HEIGHT tag value"},         // no digit is 0
        {"BITSPERPIXEL D 0", "Illegal BITSPERPIXEL tag value"},
        {"BITSPERPIXEL 2", "BITSPERPIXEL tag value must be 1, 4, 8, or 24, cannot load"},
        {"BITSPERPIXEL 24 COLORMAP H", "Illegal palette in 24-bit image"},
        {"BITSPERPIXEL 1 COLORMAP D 1 2 3 4294967295 0 0", "Illegal palette color, cannot load file"},
        {"COLOURMAP H", "Illegal tag, cannot load file"},
        {std::string(51, 'W') + " D 1", "Illegal or missing tag name, cannot load"},
        {"", "Illegal or missing tag name, cannot load"},
        {head + "IMAGE H 01 0", "Illegal character in hexidecimal data, cannot load"},
        {head + "IMAGE H 01 0G", "Illegal character in hexidecimal data, cannot load"},
        {head + "IMAGE B 00000000 1111111", "Illegal character in binary data, cannot load"},
        {"WIDTH 2 \r\rHEIGHT 1", ""},
        {"WIDTH 2 \r\n\t\n\r\nHEIGHT 1", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        LoadedDib l;
        Load(c.text, l);
        EXPECT_EQ(0, l.result);
        EXPECT_EQ(*c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{}, l.texts);
    }
    // Width and height stay from the last accepted tags; a refused value
    // doesn't replace them.
    LoadedDib first, refused, second, huge;
    Load("WIDTH 3 HEIGHT 2 BITSPERPIXEL 8 IMAGE H 010203 040506", first);
    Load("WIDTH D 4294967295", refused);
    Load("BITSPERPIXEL 8 IMAGE H 0A0B0C 0D0E0F", second);
    ASSERT_EQ(1, second.result);
    EXPECT_EQ(3, second.h.biWidth);
    EXPECT_EQ(2, second.h.biHeight);
    EXPECT_EQ((Bytes{13, 14, 15, 0, 10, 11, 12, 0}), second.pixels);
    Load("WIDTH D 65536 HEIGHT D 65536 BITSPERPIXEL 24 IMAGE H", huge);
    EXPECT_EQ(std::vector<std::string>{"Not enough memory to load HEX image"}, huge.texts);
}

}  // namespace
