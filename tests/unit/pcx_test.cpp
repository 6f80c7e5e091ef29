// The PCX reader and writer: exact bytes of small files worked out by hand at
// every depth the writer takes, round trips, the reader's palettes, plane
// layouts, damaged runs and questions, hostile headers and truncated data,
// and the real files of the corpus against their reference decodes.
#include "corpus_support.h"

#include <array>
#include <functional>

using namespace pcxtga;

namespace {

const char kDecodeQuestion[] = "Error encountered decompressing PCX file.  Continue to load?";
const char kCancelBatch[] = "\n\nCancel Batch?";
typedef std::vector<std::string> Texts;

// A 128-byte header with the given fields; the rest as a writer leaves it.
Bytes Header(int version, int bitsPerPlane, int xMax, int yMax, int planes, int bytesPerLine,
             const Bytes& map = Bytes(), int xMin = 0, int yMin = 0)
{
    Bytes h(128, 0);
    h[0] = 10;
    h[1] = static_cast<unsigned char>(version);
    h[2] = 1;
    h[3] = static_cast<unsigned char>(bitsPerPlane);
    h[4] = static_cast<unsigned char>(xMin), h[5] = static_cast<unsigned char>(xMin >> 8);
    h[6] = static_cast<unsigned char>(yMin), h[7] = static_cast<unsigned char>(yMin >> 8);
    h[8] = static_cast<unsigned char>(xMax), h[9] = static_cast<unsigned char>(xMax >> 8);
    h[10] = static_cast<unsigned char>(yMax), h[11] = static_cast<unsigned char>(yMax >> 8);
    for (size_t i = 0; i < map.size() && i < 48; i++) h[16 + i] = map[i];
    h[65] = static_cast<unsigned char>(planes);
    h[66] = static_cast<unsigned char>(bytesPerLine), h[67] = static_cast<unsigned char>(bytesPerLine >> 8);
    h[68] = 2;
    return h;
}

// The 256-colour tail: the mark 12 and entry i = (i, 255 - i, i / 2).
Bytes Tail()
{
    Bytes t{12};
    for (int i = 0; i < 256; i++) {
        t.push_back(static_cast<unsigned char>(i));
        t.push_back(static_cast<unsigned char>(255 - i));
        t.push_back(static_cast<unsigned char>(i / 2));
    }
    return t;
}

class Pcx : public FormatTest {
protected:
    // Loads bytes written to a scratch file; the DIB (or null) in dib.
    int Load(const Bytes& file, HGLOBAL* dib, const char* name = "in.pcx")
    {
        std::string path = Temp(name);
        EXPECT_TRUE(WriteWholeFile(path, file));
        return PCX_Load(path.c_str(), dib);
    }
    // Saves and returns the file's bytes (empty when the save failed).
    Bytes Save(HGLOBAL dib, WORD depth, int* result = nullptr)
    {
        std::string path = Temp("out.pcx");
        int ok = PCX_Save(path.c_str(), dib, 1, 1, depth);
        if (result) *result = ok;
        return ReadWholeFile(path);
    }
};

// ---- the writer ----------------------------------------------------------------------

TEST_F(Pcx, WrittenBytesAtEveryDepth)
{
    auto dib = [](LONG width, LONG height, int bits, DWORD used, const std::function<void(DibView&)>& fill) {
        HGLOBAL d = MakeDib(width, height, bits, used);
        DibView v(d);
        fill(v);
        return d;
    };
    Bytes map, eightTail(769, 0), zeroTail(769, 0);
    for (int i = 0; i < 16; i++) map.insert(map.end(), {BYTE(i * 16), BYTE(255 - i), BYTE(i)});
    const BYTE entries[] = {10, 20, 30, 40, 50, 60, 70, 80, 90};
    eightTail[0] = zeroTail[0] = 12;
    memcpy(&eightTail[1], entries, sizeof entries);
    const struct {
        HGLOBAL dib;
        WORD depth;
        Bytes expected;  // none when refused with the text
        const char* text;
    } cases[] = {
        // Top row 1010101010: two literals (neither has both top bits); bottom row, ten ones: two runs of one.
        {dib(10, 2, 1, 0,
             [](DibView& v) {
                 SetEntry(v.table, 0, 1, 2, 3), SetEntry(v.table, 1, 250, 251, 252);
                 v.Top(0)[0] = 0xAA, v.Top(0)[1] = 0x80, v.Top(1)[0] = 0xFF, v.Top(1)[1] = 0xC0;
             }),
         1, Cat(Header(5, 1, 9, 1, 1, 2, {1, 2, 3, 250, 251, 252}), {0xAA, 0x80, 0xC1, 0xFF, 0xC1, 0xC0}), nullptr},
        // Pixels 1, 2, 4, 15 in planes of one bit, two bytes each (one rounded up
        // to even), plane 0 first: bit 0 of pixels 0 and 3, bit 1 of 1 and 3, bit
        // 2 of 2 and 3, bit 3 of 3. The zero row is one run of eight over all four planes.
        {dib(4, 2, 4, 0,
             [](DibView& v) {
                 for (int i = 0; i < 16; i++) SetEntry(v.table, i, BYTE(i * 16), BYTE(255 - i), BYTE(i));
                 v.Top(0)[0] = 0x12, v.Top(0)[1] = 0x4F;
             }),
         4, Cat(Header(5, 1, 3, 1, 4, 2, map), {0x90, 0x00, 0x50, 0x00, 0x30, 0x00, 0x10, 0x00, 0xC8, 0x00}), nullptr},
        // No header map above 16 colours, the full tail whatever the colours used:
        // 4 x 7 as a run; 200 has both top bits and needs a run of one; the pad byte 0.
        {dib(5, 2, 8, 3,
             [](DibView& v) {
                 SetEntry(v.table, 0, 10, 20, 30), SetEntry(v.table, 1, 40, 50, 60), SetEntry(v.table, 2, 70, 80, 90);
                 memcpy(v.Top(0), "\x07\x07\x07\x07\xC8", 5);
                 memset(v.Top(1), 0xC0, 5);
             }),
         8, Cat(Cat(Header(5, 8, 4, 1, 1, 6), {0xC4, 0x07, 0xC1, 0xC8, 0x00, 0xC5, 0xC0, 0x00}), eightTail), nullptr},
        // Runs stop at 63 bytes; after a full run the count starts again: one more byte is a literal.
        {dib(130, 1, 8, 0, [](DibView& v) { memset(v.Top(0), 0x05, 130); }), 8,
         Cat(Cat(Header(5, 8, 129, 0, 1, 130), {0xFF, 0x05, 0xFF, 0x05, 0xC4, 0x05}), zeroTail), nullptr},
        {dib(64, 1, 8, 0, [](DibView& v) { memset(v.Top(0), 0x05, 64); }), 8,
         Cat(Cat(Header(5, 8, 63, 0, 1, 64), {0xFF, 0x05, 0x05}), zeroTail), nullptr},
        // Planes red 0A 0A C8 00, green 14 14 14 00, blue 1E 1E 00 00 (padded to
        // four); a 16-bit document is a 24-bit DIB: the DIB's depth decides.
        {dib(3, 1, 24, 0, [](DibView& v) { memcpy(v.Top(0), "\x1E\x14\x0A\x1E\x14\x0A\x00\x14\xC8", 9); }), 24,
         Cat(Header(5, 8, 2, 0, 3, 4), {0xC2, 0x0A, 0xC1, 0xC8, 0x00, 0xC3, 0x14, 0x00, 0xC2, 0x1E, 0xC2, 0x00}), nullptr},
        {dib(3, 1, 24, 0, [](DibView& v) { memcpy(v.Top(0), "\x1E\x14\x0A\x1E\x14\x0A\x00\x14\xC8", 9); }), 16,
         Cat(Header(5, 8, 2, 0, 3, 4), {0xC2, 0x0A, 0xC1, 0xC8, 0x00, 0xC3, 0x14, 0x00, 0xC2, 0x1E, 0xC2, 0x00}), nullptr},
        // A DIB that says 16 bits isn't refused: one 8-bit plane, rows left zero, no tail.
        {dib(3, 2, 16, 0, [](DibView& v) { memset(v.Top(0), 0x77, 6); }), 16,
         Cat(Header(5, 8, 2, 1, 1, 4), {0xC4, 0x00, 0xC4, 0x00}), nullptr},
        // The DIB's depth refuses; the message names the depth argument.
        {dib(3, 1, 32, 0, [](DibView&) {}), 24, {}, "Cannot save 24-bit PCX files"},
    };
    for (const auto& c : cases) {
        HDL_ClearBoxes();
        remove(TempPath("out.pcx").c_str());
        int ok = -1;
        EXPECT_EQ(c.expected, Save(c.dib, c.depth, &ok)) << c.depth;
        EXPECT_EQ(c.text ? 0 : 1, ok) << c.depth;
        EXPECT_EQ(c.text ? Texts{c.text} : Texts{}, BoxTexts()) << c.depth;
        EXPECT_EQ(!c.text, FileExists(TempPath("out.pcx"))) << c.depth;
        GlobalFree(c.dib);
    }
}

// ---- the reader: palettes ----------------------------------------------------------------

TEST_F(Pcx, OldVersionsOtherMakersAndUnreadableLayoutsAreRefused)
{
    const Texts unsupported = {"Unsupported PCX format"}, notLegal = {"Not a legal PCX format file"},
                incomplete = {"Incomplete PCX file, cannot load"};
    Bytes otherMaker = Header(5, 8, 0, 0, 1, 2), cut = Header(5, 8, 0, 0, 1, 2);
    otherMaker[0] = 11;
    cut.resize(40);
    struct Case {
        Bytes file;
        Texts texts;
        const char* what;
    };
    const std::vector<Case> cases = {
        {Cat(Header(0, 8, 0, 0, 1, 2), {0xC2, 0x00}), unsupported, "version 0"},
        {Cat(Header(2, 8, 0, 0, 1, 2), {0xC2, 0x00}), unsupported, "version 2"},
        {Cat(Header(0x80, 8, 0, 0, 1, 2), {0xC2, 0x00}), unsupported, "version 0x80"},
        {Cat(Header(0xFF, 8, 0, 0, 1, 2), {0xC2, 0x00}), unsupported, "version 0xFF"},
        {Cat(otherMaker, {0xC2, 0x00}), notLegal, "another maker"},
        // Two planes and zero planes fail without a word.
        {Cat(Header(5, 1, 7, 0, 2, 2), {0xC4, 0x11}), {}, "two planes"},
        {Cat(Header(5, 1, 7, 0, 0, 2), {0xC4, 0x11}), {}, "no planes"},
        // Total bits with no DIB depth (here 3 x 9).
        {Cat(Header(5, 9, 0, 0, 3, 2), {0xC6, 0x11}), unsupported, "3 x 9 bits"},
        {cut, incomplete, "a header of nothing but its first bytes"},
        {Cat(Header(5, 1, 5, 0, 1, 2, {}, 9), {0x00, 0x00}), notLegal, "the last column before the first"},
        // Shorter than the 256-colour tail: the seek back fails.
        {Cat(Header(5, 8, 1, 0, 1, 2), {0xC2, 0x03}), incomplete, "no room for the tail"},
    };
    for (const Case& c : cases) {
        HDL_ClearBoxes();
        HGLOBAL dib = reinterpret_cast<HGLOBAL>(1);
        EXPECT_EQ(0, Load(c.file, &dib)) << c.what;
        EXPECT_EQ(nullptr, dib) << c.what;
        EXPECT_EQ(c.texts, BoxTexts()) << c.what;
    }
    // A missing file is no report at all.
    HDL_ClearBoxes();
    HGLOBAL dib = nullptr;
    EXPECT_EQ(0, PCX_Load(TempPath("never_written.pcx").c_str(), &dib));
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(Pcx, TablesComeFromTheHeaderTheTailOrAreGray)
{
    typedef std::array<int, 3> C;  // red, green, blue
    Bytes noMark = Tail();
    noMark[0] = 13;
    struct Case {
        Bytes file;
        WORD bits;
        std::vector<std::pair<int, C>> colours;  // entries looked at
        Bytes row;                               // the top row's first bytes
        int gray;
        const char* what;
    };
    const std::vector<Case> cases = {
        // Version 3 tables are gray whatever the header's map says.
        {Cat(Header(3, 1, 7, 0, 1, 2, {200, 0, 0, 0, 200, 0}), {0x0F, 0x00}), 1, {{0, {0, 0, 0}}, {1, {255, 255, 255}}}, {0x0F}, 1, "version 3, 1 bit"},
        {Cat(Header(3, 1, 7, 0, 4, 2, {200, 0, 0, 0, 200, 0}), {0xC8, 0x00}), 4, {{0, {0, 0, 0}}, {1, {15, 15, 15}}, {15, {225, 225, 225}}},
         {0x00}, 1, "version 3, 4 planes"},
        // Even with a tail, a version 3 file of 8 bits is a gray ramp.
        {Cat(Cat(Header(3, 8, 1, 0, 1, 2), {0xC2, 0x40}), Tail()), 8, {{0, {0, 0, 0}}, {7, {7, 7, 7}}, {255, {255, 255, 255}}}, {0x40, 0x40}, 1,
         "version 3, 8 bits"},
        {Cat(Cat(Header(5, 8, 1, 0, 1, 2), {0xC2, 0x03}), Tail()), 8, {{200, {200, 55, 100}}}, {3, 3}, 0, "tail"},
        // The byte 769 from the end isn't 12: a gray ramp.
        {Cat(Cat(Header(5, 8, 1, 0, 1, 2), {0xC2, 0x03}), noMark), 8, {{200, {200, 200, 200}}}, {3, 3}, 1, "tail without its mark"},
        // Two-colour files are black and white whatever their map.
        {Cat(Header(5, 1, 15, 0, 1, 2, {255, 0, 0, 0, 0, 255}), {0x3C, 0x0F}), 1, {{0, {0, 0, 0}}, {1, {255, 255, 255}}}, {0x3C, 0x0F}, 1, "two colours"},
    };
    for (const Case& c : cases) {
        HGLOBAL dib = nullptr;
        ASSERT_EQ(1, Load(c.file, &dib)) << c.what;
        OwnedDib own{dib};
        DibView v(dib);
        EXPECT_EQ(c.bits, v.h->biBitCount) << c.what;
        for (const auto& e : c.colours) {
            const RGBQUAD& q = v.table[e.first];
            EXPECT_EQ(e.second, (C{q.rgbRed, q.rgbGreen, q.rgbBlue})) << c.what << ", entry " << e.first;
        }
        EXPECT_EQ(c.row, v.TopRow(0, c.row.size())) << c.what;
        EXPECT_EQ(c.gray, INF_GetValue(INF_GRAY)) << c.what;
    }
}

// ---- the reader: plane layouts -----------------------------------------------------------

TEST_F(Pcx, PlaneLayoutsAndLinesOfEveryLengthGiveTheseRows)
{
    Bytes top(20, 0), bottom(20, 0);
    top[0] = 1, top[1] = 2, top[2] = 3, top[3] = 4;
    bottom[0] = 5, bottom[1] = 6, bottom[2] = 7, bottom[3] = 8;
    struct Case {
        Bytes file;
        WORD bits;
        std::vector<Bytes> rows;  // the first bytes of each row, top first
        const char* what;
    };
    const std::vector<Case> cases = {
        {Cat(Header(5, 8, 2, 0, 3, 3), {1, 2, 3, 4, 5, 6, 7, 8, 9}), 24, {{7, 4, 1, 8, 5, 2, 9, 6, 3}}, "three planes"},
        // One plane of 3 bits widens to 4 and stays zero; four planes of 8 bits give 32 and stay zero.
        {Cat(Header(5, 3, 1, 0, 1, 2), {0x3F, 0x3F}), 4, {Bytes(4, 0)}, "3 bits"},
        {Cat(Header(5, 8, 0, 0, 4, 2), {0xC8, 0x33}), 32, {Bytes(4, 0)}, "four planes of 8 bits"},
        // Three lines of 6; the data stops inside the second, after a run's code
        // byte: that code takes the value 0 and fills 3 bytes.
        {Cat(Header(5, 1, 47, 2, 1, 6), {0xC6, 0xFF, 0x81, 0x42, 0xC3}), 1,
         {Bytes(6, 0xFF), {0x81, 0x42, 0, 0, 0, 0}, Bytes(6, 0)}, "data ends in a line"},
        // 8 bits, 20 pixels wide, 4 bytes a line: the rest of each row stays zero.
        {Cat(Cat(Header(5, 8, 19, 1, 1, 4), {1, 2, 3, 4, 5, 6, 7, 8}), Tail()), 8, {top, bottom}, "lines too short"},
        // Two pixels of 8 bits with 10 bytes a line: only the row's 4 bytes are kept.
        {Cat(Cat(Header(5, 8, 1, 0, 1, 10), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), Tail()), 8, {{1, 2, 3, 4}}, "line too long"},
        // Three planes narrower than the width: pixels beyond the line stay black.
        {Cat(Header(5, 8, 3, 0, 3, 2), {1, 2, 3, 4, 5, 6}), 24, {{5, 3, 1, 6, 4, 2, 0, 0, 0, 0, 0, 0}}, "planes too short"},
        // Four planes of 40 bytes for a 2-pixel row (a literal and 39 zeros each;
        // the first bytes give pixels 1 + 4 and 2 + 8).
        {Cat(Header(5, 1, 1, 0, 4, 40), {0x80, 0xE7, 0x00, 0x40, 0xE7, 0x00, 0x80, 0xE7, 0x00, 0x40, 0xE7, 0x00}), 4,
         {{0x5A, 0x00, 0x00, 0x00}}, "planes too long"},
        {Cat(Header(5, 2, 1, 0, 1, 30), {0xDE, 0xE4}), 4, {{0x32, 0x10, 0x32, 0x10}}, "2-bit line too long"},
    };
    for (const Case& c : cases) {
        HGLOBAL dib = nullptr;
        ASSERT_EQ(1, Load(c.file, &dib)) << c.what;
        OwnedDib own{dib};
        DibView v(dib);
        EXPECT_EQ(c.bits, v.h->biBitCount) << c.what;
        for (size_t y = 0; y < c.rows.size(); y++) EXPECT_EQ(c.rows[y], v.TopRow(static_cast<LONG>(y), c.rows[y].size())) << c.what;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

// ---- the reader: damaged and truncated data ------------------------------------------------

TEST_F(Pcx, RunCutAtTheLineEndAsksOncePerFile)
{
    // Two lines of 4 bytes, each ending in a run that reaches beyond the line.
    const Bytes file = Cat(Cat(Header(5, 8, 3, 1, 1, 4), {0x01, 0x02, 0xC5, 0x09, 0xC9, 0x06}), Tail());
    const std::string asked = std::string(" Warning/4132/") + kDecodeQuestion;
    EXPECT_EQ(AnswersToTheQuestion([&](HGLOBAL* dib) { return Load(file, dib); },
                                   [](HGLOBAL dib) { return Hex(DibView(dib).TopRow(0, 4)) + " " + Hex(DibView(dib).TopRow(1, 4)); }),
              "1" + asked + " 01020909 06060606; 0" + asked + "; 0" + asked + " Korvanta/4132/" + kCancelBatch + "; 1");
}

TEST_F(Pcx, ShortFilesReadAsZeroAndOnlyMemoryBoundsTheImage)
{
    HGLOBAL dib = nullptr;
    // 800 x 100 at 1 bit from one run: the top row starts with it, the rest is zero.
    Bytes shortFile = Cat(Header(5, 1, 799, 99, 1, 100), {0xC5, 0xFF});
    ASSERT_EQ(1, Load(shortFile, &dib));
    Bytes pixels(10000, 0);
    for (int i = 0; i < 5; i++) pixels[9900 + i] = 0xFF;
    {
        DibView v(dib);
        EXPECT_EQ(pixels, Bytes(v.pixels, v.pixels + 10000));
    }
    GlobalFree(dib);
    EXPECT_TRUE(HDL_Boxes().empty());
    // The same image beyond a lowered image limit, and 65536 x 65536 beyond any.
    uint64_t limit = DIB_GetMemoryLimit();
    DIB_SetMemoryLimit(10000);
    EXPECT_EQ(0, Load(shortFile, &dib));
    DIB_SetMemoryLimit(limit);
    EXPECT_EQ(0, Load(Cat(Cat(Header(5, 8, 0xFFFF, 0xFFFF, 1, 0xFFFE), {0xC1, 0x00}), Tail()), &dib));
    EXPECT_EQ(std::vector<std::string>(2, "Not enough memory to load PCX image"), BoxTexts());
}

TEST_F(Pcx, PccFilesAreReadAndNamedAsPcx)
{
    std::string path = Temp("picture.pcc");
    ASSERT_TRUE(WriteWholeFile(path, Cat(Header(5, 1, 7, 0, 1, 2), {0x81, 0x00})));
    EXPECT_EQ(FMT_Row_PCC, FMT_FromFileName(path.c_str()));
    EXPECT_EQ(0, FMT_CanSave(FMT_Row_PCC));
    HGLOBAL dib = nullptr;
    ASSERT_EQ(1, FMT_Load(path.c_str(), &dib, FMT_Row_PCC));
    EXPECT_EQ(Bytes({0x81, 0x00}), DibView(dib).TopRow(0, 2));
    GlobalFree(dib);
    ASSERT_TRUE(WriteWholeFile(path, Bytes(200, 0x0B)));
    EXPECT_EQ(0, FMT_Load(path.c_str(), &dib, FMT_Row_PCC));
    EXPECT_EQ(std::vector<std::string>{"Not a legal PCX format file"}, BoxTexts());
}

}  // namespace
