// The EPS writer: files worked out by hand at every depth with the colour flag
// set and clear, and the depths it refuses.
#include "corpus_support.h"
#include "formats/eps.h"

using namespace pcxtga;

namespace {

class Eps : public FormatTest {
protected:
    // The file written from dib, with the platform's line ends read as line feeds.
    std::string Write(HGLOBAL dib, WORD color)
    {
        const std::string path = Temp("out.eps");
        EXPECT_EQ(1, EPS_Save(path.c_str(), dib, color, 0, 0));
        const Bytes f = ReadWholeFile(path);
        std::string text(f.begin(), f.end());
#ifdef _WIN32
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), std::count(text.begin(), text.end(), '\r'));
        for (size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
#endif
        return text;
    }
};

std::string Between(const std::string& s, const std::string& from, const std::string& to)
{
    const size_t at = s.find(from) + from.size();
    return s.substr(at, s.find(to, at) - at);
}

TEST_F(Eps, HandWorkedFilesAtEveryDepthAndRefusedDepths)
{
    // 3 x 2 at 1 bit without colour: rows 1 0 1 (0xA0) and 0 1 1 (0x60) go
    // out complemented, 5F and 9F; the gray string holds (3 + 7) / 8 bytes.
    OwnedDib mono{DibFromRows(3, 2, 1, {{0x30, 0x20, 0x10, 0}, {0xCC, 0xBB, 0xAA, 0}}, {{0xA0}, {0x60}})};
    EPS_SetTitle("C:\\pics.d\\a.b.eps");
    EXPECT_EQ("%!PS-Adobe-2.0 EPSF-2.0\n%%BoundingBox: 0 0 3 2\n%%Creator: Korvanta\n%%Title: a.b\n\n"
              "% Korvanta (graphics format converter)\n%\tOstrand Works, Inc.\n%\tVersion 3.50\n"
              "%\tGraphics conversion for Windows\n\n/QVDDict 20 dict def QVDDict begin\n\n/bd {bind def} bind def\n"
              "/width 3 def /height 2 def\n/index_string width string def\n/rgb_string width 3 mul string def\n"
              "/gray_string 1 string def\n\ngsave\nsave\n0 0 translate\nwidth height scale\n"
              "%%BeginData: 2 ASCII Lines\n/palette_lookup8 { currentfile index_string\n"
              "readhexstring pop /rgb_index 0 def { 3 mul pal\nexch 3 getinterval rgb_string exch rgb_index exch\n"
              "putinterval /rgb_index rgb_index 3 add def} forall\nrgb_string} bd\n"
              "/read8 {currentfile gray_string readhexstring pop } bd\n"
              "/read24 {currentfile rgb_string readhexstring pop } bd\n3 2 1 [3 0 0 -2 0 2]\n{read8} image\n"
              "5F\n9F\n%%EndData\nrestore\ngrestore\n\nshowpage\n\n%%Trailer\n\n%%Pages 1\nend\n%%EOF\n\x04",
              Write(mono.dib, 0));

    // 4 bits, 3 x 2, three entries (blue 5A, 9C, BA): rows 0 1 2 (0x01 0x20)
    // and 0 2 0 (0x02 0x00). Gray takes nibbles of the entry the whole byte
    // names (0x20 is past the table: black) and pads the odd row with 0.
    // 8 bits, 3 x 1, entries 11 22 33 and 44 55 66: indices 1 0 7, the last
    // past the table. 24 bits, 2 x 1: red, green, blue 03 02 01 and C6 B5 A4.
    OwnedDib four{DibFromRows(3, 2, 4, {{0x5A, 0x02, 0x01, 0}, {0x9C, 0x04, 0x03, 0}, {0xBA, 0xDC, 0xFE, 0}},
                              {{0x01, 0x20}, {0x02, 0x00}})};
    OwnedDib eight{DibFromRows(3, 1, 8, {{0x33, 0x22, 0x11, 0}, {0x66, 0x55, 0x44, 0}}, {{1, 0, 7}})};
    OwnedDib rgb{DibFromRows(2, 1, 24, {}, {{0x01, 0x02, 0x03, 0xA4, 0xB5, 0xC6}})};
    const std::string gray = "{read8} image\n", lookup = "{palette_lookup8}\nfalse 3 colorimage\n";
    const struct { HGLOBAL dib; WORD color; std::string grayBytes, palette, image; } cases[] = {
        // each pixel the six digits of its entry, of which the first third goes out
        {mono.dib, 1, "1", "/pal <102030AABBCC> def\n\n", "3 2 8 [3 0 0 -2 0 2]\n" + lookup + "AABBCC\n102030\n"},
        {four.dib, 0, "2", "", "3 2 4 [3 0 0 -2 0 2]\n" + gray + "9C00\nBA50\n"},
        {four.dib, 1, "2", "/pal <01025A03049CFEDCBA> def\n\n", "3 2 8 [3 0 0 -2 0 2]\n" + lookup + "000102\n000200\n"},
        {eight.dib, 0, "3", "", "3 1 8 [3 0 0 -1 0 1]\n" + gray + "663300\n"},
        {eight.dib, 1, "3", "/pal <112233445566> def\n\n", "3 1 8 [3 0 0 -1 0 1]\n" + lookup + "010007\n"},
        {rgb.dib, 0, "2", "", "2 1 24 [2 0 0 -1 0 1]\n" + gray + "01A4\n"},
        {rgb.dib, 1, "2", "", "2 1 8 [2 0 0 -1 0 1]\n{read24}\nfalse 3 colorimage\n030201C6B5A4\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.image);
        const std::string f = Write(c.dib, c.color);
        EXPECT_EQ(c.grayBytes, Between(f, "/gray_string ", " string def\n\n"));
        EXPECT_EQ(c.palette, Between(f, " ASCII Lines\n", "/palette_lookup8"));
        EXPECT_EQ(c.image, Between(f, "/read24 {currentfile rgb_string readhexstring pop } bd\n", "%%EndData"));
    }
    // The image given is left as it was; 16 and 32 bits are refused.
    EXPECT_EQ(0x30, static_cast<const BYTE*>(GlobalLock(mono.dib))[sizeof(BITMAPINFOHEADER)]);
    GlobalUnlock(mono.dib);
    for (int bits : {16, 32}) {
        OwnedDib deep{MakeDib(2, 2, bits)};
        HDL_ClearBoxes();
        EXPECT_EQ(0, EPS_Save(Temp("deep.eps").c_str(), deep.dib, 1, 0, static_cast<WORD>(bits)));
        EXPECT_EQ(std::vector<std::string>{"Cannot save " + std::to_string(bits) + "-bit EPS files"}, BoxTexts());
        EXPECT_FALSE(FileExists(TempPath("deep.eps")));
    }
}

}  // namespace
