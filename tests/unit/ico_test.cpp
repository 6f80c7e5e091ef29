// The ICO reader and writer: icons written byte for byte at each depth, with
// and without alpha, scaled and centred, and read back; the dialog's lines and
// the batch's pick; hostile directories; the real files of the corpus.
#include "formats/ico.h"
#include "colour/flat_cut.h"
#include "corpus_support.h"

using namespace pcxtga;

namespace {

Bytes Times(int n, const Bytes& b)
{
    Bytes out;
    for (int i = 0; i < n; i++) out = Cat(out, b);
    return out;
}
// The 62 bytes before the colour table: words 0, 1, 1; the entry (side,
// side, colour count as a byte, 0, planes 0, bit count 0, image size, offset
// 22); the header, its height doubled (40, side, 2 x side, planes 1, bits,
// compression 0, pixel bytes, resolutions 0, colours used and important).
Bytes Front(DWORD side, DWORD colors, DWORD bits, DWORD pixels, DWORD size)
{
    const std::pair<DWORD, int> fields[] = {
        {0, 2}, {1, 2},    {1, 2},    {side, 1},   {side, 1}, {colors & 255, 1}, {0, 1},
        {0, 2}, {0, 2},    {size, 4}, {22, 4},     {40, 4},   {side, 4},         {2 * side, 4},
        {1, 2}, {bits, 2}, {0, 4},    {pixels, 4}, {0, 8},    {colors, 4},       {colors, 4}};
    Bytes out;
    for (const auto& f : fields)
        for (int i = 0; i < f.second; i++) out.push_back(static_cast<BYTE>(i < 4 ? f.first >> (8 * i) : 0));
    return out;
}

class Ico : public FormatTest {
protected:
    Bytes Save(HGLOBAL dib, int code, int alpha)
    {
        HDL_QueueIconAnswer(code, alpha);
        EXPECT_EQ(1, ICO_Save(Temp("out.ico").c_str(), dib, 1, 0, 8));
        return ReadWholeFile(TempPath("out.ico"));
    }
    // Loads the bytes taking list position `position` (below -1: no answer, the batch's pick).
    void Load(const Bytes& file, int position, int mask, LoadedDib& l)
    {
        ASSERT_TRUE(WriteWholeFile(Temp("in.ico"), file));
        if (position >= -1) HDL_QueueIconAnswer(position, mask);
        HDL_ClearBoxes();
        l.result = ICO_Load(TempPath("in.ico").c_str(), &l.dib);
        l.texts = BoxTexts();
        if (!l.dib) return;
        DibView v(l.dib);
        l.h = *v.h;
        l.table.assign(reinterpret_cast<BYTE*>(v.table), v.pixels);
        l.pixels.assign(v.pixels, v.pixels + l.h.biSizeImage);
    }
};

TEST_F(Ico, WrittenBytesAtEachDepthWithAndWithoutAlphaReadBack)
{
    // 1 bit: rows from the top alternate F0 0F and FF 00, stored from FF 00.
    OwnedDib bw{DibFromRows(16, 16, 1, {{0, 0, 0, 0}, {255, 255, 255, 0}}, {{0xF0, 0x0F}, {0xFF, 0x00}})};
    // Gray 200 is flat colour 7 and white 15: rows 77 77 77 77 FF FF FF FF.
    OwnedDib grays{DibFromRows(16, 16, 24, {}, {Cat(Bytes(24, 200), Bytes(24, 255))})};
    // Red opaque, then blue with alpha 0, which turns black: 3-3-2 indices 7
    // and 0, the mask's bits set over the right half.
    OwnedDib alpha{DibFromRows(16, 16, 32, {}, {Cat(Times(8, {0, 0, 255, 255}), Times(8, {255, 0, 0, 0}))})};
    // 8 x 8 transparent: black, and the mask walks its 64 pixels 16 to a row
    // (4 rows of FF FF); the pixels past its end are opaque.
    OwnedDib small{DibFromRows(8, 8, 32, {}, {Bytes(32, 0)})};
    // 100 x 50 black but stored rows 3 and 25, white save column 3, as 32 x 32:
    // 32 x 16 (50 x 32 / 100) from rows y x 50 / 16 and columns x x 100 / 32
    // between 8 black rows: stored rows 9 (from 3) and 16 (from 25) hold
    // column 3 at x = 1, BF FF FF FF.
    OwnedDib wide{BlankDib(100, 50, 24, 0, 0)};
    {
        DibView v(wide.dib);
        for (int r : {3, 25}) memset(v.pixels + r * v.stride, 255, 300), memset(v.pixels + r * v.stride + 9, 0, 3);
    }
    const Bytes mono = {0, 0, 0, 0, 255, 255, 255, 0}, row = {0xBF, 0xFF, 0xFF, 0xFF};
    Bytes flat256,
        flat16(reinterpret_cast<const BYTE*>(CLR_Flat16Palette), reinterpret_cast<const BYTE*>(CLR_Flat16Palette + 16));
    for (int i = 0; i < 256; i++) {
        const RGBQUAD q = CLR_Flat256Color(i);
        flat256 = Cat(flat256, {q.rgbBlue, q.rgbGreen, q.rgbRed, 0});
    }
    // Image sizes: 40 + table + pixels + mask (a row of 4 bytes each).
    const struct {
        HGLOBAL dib;
        int code, alpha;
        Bytes expected;
    } cases[] = {
        {bw.dib, 0x11, 0,
         Cat(Cat(Front(16, 2, 1, 64, 176), mono), Cat(Times(8, {255, 0, 0, 0, 0xF0, 15, 0, 0}), Bytes(64, 0)))},
        {grays.dib, 0x21, 0,
         Cat(Cat(Front(16, 16, 4, 128, 296), flat16),
             Cat(Times(16, Cat(Bytes(4, 0x77), Bytes(4, 255))), Bytes(64, 0)))},
        {alpha.dib, 0x41, 1,
         Cat(Cat(Front(16, 256, 8, 256, 1384), flat256),
             Cat(Times(16, Cat(Bytes(8, 7), Bytes(8, 0))), Times(16, {0, 255, 0, 0})))},
        {small.dib, 0x11, 1,
         Cat(Cat(Front(16, 2, 1, 64, 176), mono), Cat(Bytes(64, 0), Cat(Times(4, {255, 255, 0, 0}), Bytes(48, 0))))},
        {wide.dib, 0x12, 0,
         Cat(Cat(Front(32, 2, 1, 128, 304), mono),
             Cat(Cat(Cat(Bytes(36, 0), row), Cat(Bytes(24, 0), row)), Bytes(188, 0)))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        const Bytes file = Save(c.dib, c.code, c.alpha);
        EXPECT_EQ(c.expected, file);
        // Read back with the box off, it is the image written.
        LoadedDib l;
        Load(file, 0, 0, l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(Bytes(file.begin() + 62, file.end() - 64 * (c.code & 15)), Cat(l.table, l.pixels));
    }
    HDL_QueueIconAnswer(0, 0);  // Cancel writes nothing
    EXPECT_EQ(0, ICO_Save(Temp("cancel.ico").c_str(), bw.dib, 1, 0, 1));
    EXPECT_FALSE(FileExists(TempPath("cancel.ico")));
}

TEST_F(Ico, DirectoryListsPicksAndHostileFiles)
{
    const IconEntry entries[] = {{16, 16, 2}, {32, 32, 16}, {32, 32, 0}, {64, 64, 8}, {0, 0, 0}, {48, 48, 0}};
    char lines[6][32];
    EXPECT_EQ(5, ICO_ListLines(entries, 6, lines));
    EXPECT_EQ((std::vector<std::string>{"16 x 16 Monochrome", "32 x 32 16-Color", "32 x 32 256-Color",
                                        "0 x 0 256-Color", "48 x 48 256-Color"}),
              std::vector<std::string>(lines, lines + 5));
    // The widest of 16 or 256 colours, the first of equals (a width byte of 0
    // is 0 wide), else entry 0; none from no entries.
    EXPECT_EQ(5, ICO_BatchPick(entries, 6));
    EXPECT_EQ(1, ICO_BatchPick(entries, 3));
    EXPECT_EQ(1, ICO_BatchPick(entries + 3, 2));
    EXPECT_EQ(0, ICO_BatchPick(entries + 3, 1));
    EXPECT_EQ(-1, ICO_BatchPick(entries, 0));

    // 16 x 16 monochrome and 32 x 32 16-colour; in `two` the first's colour
    // count 8 has no line, yet list position 0 is entry 0.
    const Bytes base = ReadWholeFile(DataPath("ico/two_images.ico"));
    Bytes two = base;
    two[8] = 8;
    auto patched = [&](size_t at, Bytes b) {
        return Cat(Cat(Bytes(base.begin(), base.begin() + at), b), Bytes(base.begin() + at + b.size(), base.end()));
    };
    const std::string early = "Premature end of file, cannot load", no = "Unsupported ICO format";
    const struct {
        Bytes file;
        int position, mask, batch;
        LONG width, height;
        WORD bits;
        std::string text;
    } cases[] = {
        {two, 0, 1, 0, 16, 16, 32, no},
        {two, -2, 1, 1, 32, 32, 32, ""},  // the batch's pick, the mask box as the last OK left it
        {two, -1, 0, 0, 0, 0, 0, no},     // Cancel, after the list was filled
        {Bytes(base.begin(), base.begin() + 5), -2, 0, 0, 0, 0, 0, early},
        {Bytes(base.begin(), base.begin() + 30), -2, 0, 0, 0, 0, 0, early},  // the directory cut
        {Bytes(base.begin(), base.begin() + 100), 0, 0, 0, 0, 0, 0, early},  // the image cut
        {patched(4, {0xFF, 0xFF}), -2, 0, 0, 0, 0, 0, early},
        {patched(4, {0, 0}), 0, 0, 0, 0, 0, 0, ""},
        {patched(18, {0, 4}), 0, 0, 0, 0, 0, 0, early},
        {patched(14, {0xF0, 0xFF, 0xFF, 0xFF}), 0, 0, 0, 0, 0, 0, "Not enough memory to load ICO image"},
        {patched(38, {0x89, 'P', 'N', 'G'}), 0, 0, 0, 0, 0, 0, no},
        {patched(54, {4}), 0, 0, 0, 0, 0, 0, no},  // 4-bit run-length compression
        // Header and table alone: the pixels read as 0, and without a whole mask every alpha is 0.
        {patched(14, {48, 0}), 0, 1, 0, 16, 16, 32, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        BAT_SetActive(c.batch, 0);
        LoadedDib l;
        Load(c.file, c.position, c.mask, l);
        EXPECT_EQ(static_cast<int>(c.width != 0), l.result);
        EXPECT_EQ(c.text.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.text}, l.texts);
        EXPECT_EQ((std::vector<LONG>{c.width, c.height, c.bits}),
                  (std::vector<LONG>{l.h.biWidth, l.h.biHeight, l.h.biBitCount}));
        if (&c == &cases[12]) {
            EXPECT_EQ(Bytes(1024, 0), l.pixels);
        }
    }
}

TEST_F(Ico, CorpusFilesMatchTheirReferenceOrFollowTheRules)
{
    const struct {
        const char* name;
        int mask, reference;  // the load's mask box; whether it gives the reference's pixels
        LONG width, height;
        const char* text;
    } rules[] = {
        {"black_and_white.ico", 1, 1, 16, 16, ""},  // the mask as alpha, as the reference has it
        {"deerstalker.cur", 0, 1, 32, 32, ""},      // the box off: a 32-bit entry keeps its own alpha
        // The directory's height rules: 0 gives no rows, 32 reads the mask as pixels.
        {"hopper_256x256.ico", 1, 0, 256, 0, ""},
        {"hopper_unexpected.ico", 1, 0, 16, 32, ""},
        {"decompression_bomb.ico", 1, 0, 65535, 16, ""},
        // An entry that isn't a plain DIB, as a PNG, is not read; no entries, no list.
        {"hopper_draw.ico", 1, 0, 0, 0, "Unsupported ICO format"},
        {"pillow.ico", 1, 0, 0, 0, "Unsupported ICO format"},
        {"no_cursors.cur", 1, 0, 0, 0, ""},
    };
    for (const ManifestRow& row : Manifest("ico")) {
        SCOPED_TRACE(row.path);
        const auto* r = std::find_if(std::begin(rules), std::end(rules),
                                     [&](const auto& r) { return row.path == std::string("files/ico/") + r.name; });
        ASSERT_NE(std::end(rules), r);
        LoadedDib l;
        Load(ReadWholeFile(CorpusPath(row.path)), 0, r->mask, l);
        EXPECT_EQ(*r->text ? std::vector<std::string>{r->text} : std::vector<std::string>{}, l.texts);
        EXPECT_EQ((std::vector<LONG>{r->width, r->height}), (std::vector<LONG>{l.h.biWidth, l.h.biHeight}));
        if (r->reference) {
            EXPECT_EQ(row.reference, Sha256(ReferenceSamples(l.dib, true)));
        }
    }
}

}  // namespace
