// The HEX reader and writer: exact text of small files worked out by hand at
// every depth the writer takes, the grammar of tags, types and numbers,
// picture rows, the session that keeps width and height, and the messages of
// bad files.
#include "corpus_support.h"

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class Hex : public FormatTest {
protected:
    void Load(const std::string& text, LoadedDib& l)
    {
        ASSERT_TRUE(WriteWholeFile(Temp("in.hex"), Text(text)));
        LoadWith(HEX_Load, TempPath("in.hex"), l);
    }
};

std::string Black(int n) { return n ? "\t00 00 00\r\n" + Black(n - 1) : ""; }

TEST_F(Hex, WrittenTextAtEveryDepth)
{
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
             Black(14) + "\r\nIMAGE H\r\n\t1230\r\n\t0100\r\n"},
        {8, 2, {0x01, 0xFE}, {0x00, 0x10},
         "WIDTH\t\t2\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t8\r\n\r\nCOLORMAP H\r\n\t01 02 03\r\n\tA4 B5 C6\r\n" +
             Black(254) + "\r\nIMAGE H\r\n\t01FE\r\n\t0010\r\n"},
        // 24 bits: no map; the row's bytes as they lie, blue first.
        {24, 1, {0x0A, 0x0B, 0x0C}, {0xFF, 0x00, 0x80},
         "WIDTH\t\t1\r\nHEIGHT\t\t2\r\nBITSPERPIXEL\t24\r\n\r\nIMAGE H\r\n\t0A0B0C\r\n\tFF0080\r\n"},
    };
    const std::vector<RGBQUAD> table = {{0x03, 0x02, 0x01, 0}, {0xC6, 0xB5, 0xA4, 0}};
    std::string path = Temp("out.hex");
    for (const auto& c : cases) {
        OwnedDib dib{DibFromRows(c.width, 2, c.bits, c.bits < 24 ? table : std::vector<RGBQUAD>{}, {c.top, c.bottom})};
        ASSERT_EQ(1, HEX_Save(path.c_str(), dib.dib, 1, 0, 0));
        EXPECT_EQ(Text(c.expected), ReadWholeFile(path));
    }
}

TEST_F(Hex, TagsTypesRowsAndBadFiles)
{
    const std::string head = "WIDTH 2 HEIGHT 1 BITSPERPIXEL 8 ";
    const struct {
        std::string text;
        const char* message;  // null: loads; empty: refused without a word
        Bytes pixels;         // the DIB's rows from the bottom, stride included
    } cases[] = {
        // a width of 384 given in hexadecimal is 900: 112 bytes of ones in a row of
        // 116, the last half byte of binary digits lost
        {"WIDTH H 384 HEIGHT 1 BITSPERPIXEL 1 IMAGE B " + std::string(900, '1'), nullptr, Cat(Bytes(112, 0xFF), Bytes(4, 0))},
        // names in any case, types in upper case, binary values; tags in any order
        {"bitsperpixel 8 height B 10 Width D 2 IMAGE H 01\r\n\t02 0304", nullptr, {3, 4, 0, 0, 1, 2, 0, 0}},
        // ten 1-bit pixels lose their last two binary digits; rows don't follow lines
        {"WIDTH 10 HEIGHT 1 BITSPERPIXEL 1 IMAGE B 10101\n01011", nullptr, {0xAA, 0, 0, 0}},
        // comments, and a comment between two carriage returns
        {"; a picture\nWIDTH 2 \r;x\r\n\rHEIGHT 1 BITSPERPIXEL 8 IMAGE H ab Cd", nullptr, {0xAB, 0xCD, 0, 0}},
        {"WIDTH 1 HEIGHT 1 BITSPERPIXEL 24 IMAGE H 0A0b0C", nullptr, {10, 11, 12, 0}},
        {"WIDTH 2 \r\rHEIGHT 1", ""},
        {"WIDTH 2 \r\n\t\n\r\nHEIGHT 1", ""},
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
        {"WIDTH D 65536 HEIGHT D 65536 BITSPERPIXEL 24 IMAGE H", "Not enough memory to load HEX image"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        LoadedDib l;
        Load(c.text, l);
        EXPECT_EQ(c.message == nullptr, l.result);
        EXPECT_EQ(c.message && *c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{}, l.texts);
        EXPECT_EQ(c.pixels, l.pixels);
    }
    // A map read at 1 bit, then the depth raised to 4: two entries (300
    // keeps its low byte, 44), the rest black. Without a map, gray steps.
    LoadedDib l, gray;
    Load("BITSPERPIXEL 1 COLORMAP D 1 2 3 300 5 6 BITSPERPIXEL 4 WIDTH 1 HEIGHT 1 IMAGE H 10", l);
    Bytes table(64, 0);
    table[0] = 3, table[1] = 2, table[2] = 1, table[4] = 6, table[5] = 5, table[6] = 44;
    EXPECT_EQ(table, l.table);
    Load("WIDTH 2 HEIGHT 1 BITSPERPIXEL 4 IMAGE H 12", gray);
    EXPECT_EQ((Bytes{255, 255, 255, 0}), Bytes(gray.table.begin() + 60, gray.table.end()));
    // Width and height stay from the last accepted tags; a refused value
    // doesn't replace them.
    LoadedDib first, refused, second;
    Load("WIDTH 3 HEIGHT 2 BITSPERPIXEL 8 IMAGE H 010203 040506", first);
    Load("WIDTH D 4294967295", refused);
    Load("BITSPERPIXEL 8 IMAGE H 0A0B0C 0D0E0F", second);
    EXPECT_EQ((std::vector<LONG>{3, 2}), (std::vector<LONG>{second.h.biWidth, second.h.biHeight}));
    EXPECT_EQ((Bytes{13, 14, 15, 0, 10, 11, 12, 0}), second.pixels);
}

}  // namespace
