// The ICO reader and writer: icons written byte for byte at each depth, with
// and without alpha, scaled and centred, and read back; the dialog's lines and
// the batch's pick; hostile directories; the real files of the corpus.
#include "formats/ico.h"
#include "colour/flat_cut.h"
#include "pcx_tga_support.h"

using namespace pcxtga;

namespace {

Bytes Le(DWORD v, int n)
{
    Bytes out;
    for (int i = 0; i < n; i++) out.push_back(static_cast<BYTE>(v >> (8 * i)));
    return out;
}
// The 22 bytes before the image: words 0, 1, 1; the entry: side, side, colour
// count, 0, planes 0, bit count 0, the image's size, offset 22.
Bytes Head(BYTE side, BYTE colors, DWORD size)
{
    return Cat(Cat({0, 0, 1, 0, 1, 0, side, side, colors, 0, 0, 0, 0, 0}, Le(size, 4)), Le(22, 4));
}
// The image's header, its height doubled: 40, side, 2 x side, planes 1, bits,
// no compression, the pixels' size, resolutions 0, colours used and important.
Bytes Info(DWORD side, WORD bits, DWORD pixels, DWORD colors)
{
    return Cat(
        Cat(Cat(Le(40, 4), Le(side, 4)), Cat(Le(2 * side, 4), Le(1, 2))),
        Cat(Cat(Le(bits, 2), Le(0, 4)), Cat(Cat(Le(pixels, 4), Bytes(8, 0)), Cat(Le(colors, 4), Le(colors, 4)))));
}
Bytes Times(int n, const Bytes& b)
{
    Bytes out;
    for (int i = 0; i < n; i++) out = Cat(out, b);
    return out;
}
Bytes TableBytes(const RGBQUAD* t, int n)
{
    return Bytes(reinterpret_cast<const BYTE*>(t), reinterpret_cast<const BYTE*>(t + n));
}

class Ico : public FormatTest {
protected:
    Bytes Save(HGLOBAL dib, int code, int alpha)
    {
        HDL_QueueIconAnswer(code, alpha);
        EXPECT_EQ(1, ICO_Save(Temp("out.ico").c_str(), dib, 1, 0, 8));
        return ReadWholeFile(TempPath("out.ico"));
    }
    // Loads the bytes; position < -1 answers no dialog (the batch's pick).
    void Load(const Bytes& file, int position, int mask, LoadedDib& l)
    {
        ASSERT_TRUE(WriteWholeFile(Temp("in.ico"), file));
        if (position >= -1) HDL_QueueIconAnswer(position, mask);
        HDL_ClearBoxes();
        l.result = ICO_Load(TempPath("in.ico").c_str(), &l.dib);
        l.texts = BoxTexts();
        if (!l.dib) return;
        DIB_GetInfo(l.dib, &l.h);
        DibView v(l.dib);
        l.table.assign(reinterpret_cast<BYTE*>(v.table), v.pixels);
        l.pixels.assign(v.pixels, v.pixels + l.h.biSizeImage);
    }
};

TEST_F(Ico, WrittenBytesAtEachDepthWithAndWithoutAlphaReadBack)
{
    RGBQUAD mono[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    // Rows from the top alternate F0 0F and FF 00; stored bottom-up from FF 00.
    OwnedDib bw{DibFromRows(16, 16, 1, {mono[0], mono[1]}, {{0xF0, 0x0F}, {0xFF, 0x00}})};
    // Gray 200 is flat colour 7 and white 15: a row 77 77 77 77 FF FF FF FF.
    Bytes gray(48, 200), white(48, 255);
    OwnedDib grays{DibFromRows(
        16, 16, 24, {}, {Cat(Bytes(gray.begin(), gray.begin() + 24), Bytes(white.begin(), white.begin() + 24))})};
    // Red opaque, then blue with alpha 0, which turns black: 3-3-2 indices 7 and 0,
    // the mask's bits set over the right half.
    Bytes half = Times(8, {0, 0, 255, 255});
    OwnedDib alpha{DibFromRows(16, 16, 32, {}, {Cat(half, Times(8, {255, 0, 0, 0}))})};
    // 8 x 8 all transparent: black, and the mask walks its 64 pixels 16 to a
    // row (4 rows of FF FF); the pixels past its end are opaque.
    OwnedDib small{DibFromRows(8, 8, 32, {}, {Bytes(32, 0)})};
    // 100 x 50 white except stored rows 3 and 25 black but for column 3, as
    // 32 x 32: 32 x 16 (50 x 32 / 100) from rows y x 50 / 16 and columns
    // x x 100 / 32, on 8 black rows below and above: stored rows 9 (from 3) and
    // 16 (from 25) hold column 3 at x = 1, BF FF FF FF.
    OwnedDib wide{BlankDib(100, 50, 24, 0, 0)};
    {
        DibView v(wide.dib);
        for (int r : {3, 25}) memset(v.pixels + r * v.stride, 255, 300), memset(v.pixels + r * v.stride + 9, 0, 3);
    }
    Bytes monoTable = TableBytes(mono, 2), flat16 = TableBytes(CLR_Flat16Palette, 16), flat256;
    for (int i = 0; i < 256; i++) {
        const RGBQUAD q = CLR_Flat256Color(i);
        flat256 = Cat(flat256, TableBytes(&q, 1));
    }
    const Bytes wideRows = Cat(Cat(Bytes(36, 0), {0xBF, 0xFF, 0xFF, 0xFF}),
                               Cat(Cat(Bytes(24, 0), {0xBF, 0xFF, 0xFF, 0xFF}), Bytes(60, 0)));
    const struct {
        HGLOBAL dib;
        int code, alpha, bits;
        Bytes expected;  // 16 x 16: 40 + table + pixels + 64 mask bytes
    } cases[] = {
        {bw.dib, 0x11, 0, 1,
         Cat(Cat(Cat(Head(16, 2, 176), Info(16, 1, 64, 2)), monoTable),
             Cat(Times(8, {0xFF, 0, 0, 0, 0xF0, 0x0F, 0, 0}), Bytes(64, 0)))},
        {grays.dib, 0x21, 0, 4,
         Cat(Cat(Cat(Head(16, 16, 296), Info(16, 4, 128, 16)), flat16),
             Cat(Times(16, {0x77, 0x77, 0x77, 0x77, 0xFF, 0xFF, 0xFF, 0xFF}), Bytes(64, 0)))},
        {alpha.dib, 0x41, 1, 8,
         Cat(Cat(Cat(Head(16, 0, 1384), Info(16, 8, 256, 256)), flat256),
             Cat(Times(16, Cat(Bytes(8, 7), Bytes(8, 0))), Times(16, {0, 0xFF, 0, 0})))},
        {small.dib, 0x11, 1, 1,
         Cat(Cat(Cat(Head(16, 2, 176), Info(16, 1, 64, 2)), monoTable),
             Cat(Bytes(64, 0), Cat(Times(4, {0xFF, 0xFF, 0, 0}), Bytes(48, 0))))},
        {wide.dib, 0x12, 0, 1,
         Cat(Cat(Cat(Head(32, 2, 304), Info(32, 1, 128, 2)), monoTable), Cat(wideRows, Bytes(128, 0)))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        const Bytes file = Save(c.dib, c.code, c.alpha);
        EXPECT_EQ(c.expected, file);
        // Read back plain, it is the image written, its mask behind its pixels.
        LoadedDib l;
        Load(file, 0, 0, l);
        ASSERT_EQ(1, l.result);
        const size_t table = 4u << c.bits, pixels = file.size() - 62 - table - 64 * (c.code & 15);
        EXPECT_EQ(Bytes(file.begin() + 62, file.begin() + 62 + table), l.table);
        EXPECT_EQ(Bytes(file.begin() + 62 + table, file.begin() + 62 + table + pixels), l.pixels);
    }
    // Cancel writes nothing.
    HDL_QueueIconAnswer(0, 0);
    EXPECT_EQ(0, ICO_Save(Temp("cancel.ico").c_str(), bw.dib, 1, 0, 1));
    EXPECT_FALSE(FileExists(TempPath("cancel.ico")));
}

TEST_F(Ico, ListLinesBatchPickAndStartType)
{
    const IconEntry entries[] = {{16, 16, 2}, {32, 32, 16}, {48, 48, 0}, {64, 64, 8}, {0, 0, 0}};
    char lines[5][32];
    EXPECT_EQ(4, ICO_ListLines(entries, 5, lines));
    EXPECT_EQ(
        (std::vector<std::string>{"16 x 16 Monochrome", "32 x 32 16-Color", "48 x 48 256-Color", "0 x 0 256-Color"}),
        std::vector<std::string>(lines, lines + 4));
    EXPECT_EQ(std::vector<std::string>{"Unsupported ICO format"}, BoxTexts());
    // The widest of 16 or 256 colours (a width of 0 is 0), the first of equals, else entry 0.
    const IconEntry ties[] = {{16, 16, 2}, {32, 32, 16}, {32, 32, 0}, {64, 64, 8}};
    EXPECT_EQ(2, ICO_BatchPick(entries, 5));
    EXPECT_EQ(1, ICO_BatchPick(ties, 4));
    EXPECT_EQ(0, ICO_BatchPick(entries + 3, 1));
    EXPECT_EQ(-1, ICO_BatchPick(entries, 0));
    EXPECT_EQ(0x11, ICO_StartType(16, 1));
    EXPECT_EQ(0x24, ICO_StartType(64, 4));
    EXPECT_EQ(0x42, ICO_StartType(64, 24));
    EXPECT_EQ(0x42, ICO_StartType(48, 8));
}

TEST_F(Ico, DirectoryPicksAndHostileFiles)
{
    OwnedDib bw{DibFromRows(16, 16, 1, {{0, 0, 0, 0}, {255, 255, 255, 0}}, {{0xF0, 0x0F}})};
    OwnedDib colour{DibFromRows(32, 32, 24, {}, {Bytes(96, 200)})};
    const Bytes mono = Save(bw.dib, 0x11, 0), sixteen = Save(colour.dib, 0x22, 0);
    // Two entries: the first's colour count 8 has no line, yet list position 0
    // is directory entry 0.
    Bytes two = Cat(Cat({0, 0, 1, 0, 2, 0}, Bytes(mono.begin() + 6, mono.begin() + 22)),
                    Bytes(sixteen.begin() + 6, sixteen.begin() + 22));
    two[8] = 8;
    two[18] = 38, two[34] = 38 + 176;
    two = Cat(Cat(two, Bytes(mono.begin() + 22, mono.end())), Bytes(sixteen.begin() + 22, sixteen.end()));
    auto patched = [&](size_t at, Bytes b) {
        Bytes f = mono;
        std::copy(b.begin(), b.end(), f.begin() + at);
        return f;
    };
    const std::string early = "Premature end of file, cannot load", memory = "Not enough memory to load ICO image",
                      unsupported = "Unsupported ICO format";
    const struct {
        Bytes file;
        int position, mask, batch;
        LONG width, height;
        WORD bits;
        std::string text;
    } cases[] = {
        {two, 0, 1, 0, 16, 16, 32, unsupported},
        {two, -2, 1, 1, 32, 32, 32, ""},        // the batch's pick, with the mask box as the last OK left it
        {two, -1, 0, 0, 0, 0, 0, unsupported},  // Cancel, after the list was filled
        {Bytes(mono.begin(), mono.begin() + 5), -2, 0, 0, 0, 0, 0, early},
        {Bytes(mono.begin(), mono.begin() + 30), 0, 0, 0, 0, 0, 0, early},
        {patched(4, {0xFF, 0xFF}), -2, 0, 0, 0, 0, 0, early},
        {patched(4, {0, 0}), 0, 0, 0, 0, 0, 0, ""},
        {patched(18, {0, 1}), 0, 0, 0, 0, 0, 0, early},
        {patched(14, {0xF0, 0xFF, 0xFF, 0xFF}), 0, 0, 0, 0, 0, 0, memory},
        {patched(22, {0x89, 'P', 'N', 'G'}), 0, 0, 0, 0, 0, 0, unsupported},
        {patched(38, {4}), 0, 0, 0, 0, 0, 0, unsupported},  // 4-bit compression
        // An entry of header and table alone: its pixels read as 0 and, with
        // no whole mask, every alpha is 0.
        {patched(14, {48, 0}), 0, 1, 0, 16, 16, 32, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        BAT_SetActive(c.batch, 0);
        LoadedDib l;
        Load(c.file, c.position, c.mask, l);
        EXPECT_EQ(static_cast<int>(c.width != 0), l.result);
        EXPECT_EQ(c.text.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.text}, l.texts);
        EXPECT_EQ(c.width, l.h.biWidth);
        EXPECT_EQ(c.height, l.h.biHeight);
        EXPECT_EQ(c.bits, l.h.biBitCount);
        if (&c == &cases[11]) EXPECT_EQ(Bytes(1024, 0), l.pixels);
    }
}

TEST_F(Ico, CorpusFilesMatchTheirReferenceOrFollowTheRules)
{
    const std::map<std::string, std::string> rules = {
        // The box off: a 32-bit entry keeps its own alpha, as the reference.
        {"deerstalker.cur", "plain"},
        // The directory's height rules: 0 is a picture of no rows, 32 doubles the picture.
        {"hopper_256x256.ico", "height 0"},
        {"hopper_unexpected.ico", "height 32"},
        // An entry that isn't a plain DIB, as a PNG, is not read.
        {"hopper_draw.ico", "Unsupported ICO format"},
        {"pillow.ico", "Unsupported ICO format"},
        {"decompression_bomb.ico", "width 65535"},
        {"no_cursors.cur", "none"},
    };
    for (const ManifestRow& row : Manifest("ico")) {
        const std::string name = row.path.substr(row.path.rfind('/') + 1);
        SCOPED_TRACE(name);
        const std::string rule = rules.count(name) ? rules.at(name) : "";
        LoadedDib l;
        Load(ReadWholeFile(CorpusPath(row.path)), 0, rule != "plain", l);
        if (rule.empty() || rule == "plain")
            EXPECT_EQ(row.reference, Sha256(ReferenceSamples(l.dib, true)));
        else if (rule == "height 0" || rule == "height 32")
            EXPECT_EQ(std::stol(rule.substr(7)), l.h.biHeight);
        else if (rule == "width 65535")
            EXPECT_EQ(65535, l.h.biWidth);
        else
            EXPECT_EQ(rule == "none" ? std::vector<std::string>{} : std::vector<std::string>{rule}, l.texts);
    }
}

}  // namespace
