// Error diffusion: the rounding corners of some kernels (the golden images
// below run every kernel), the row buffers, the clamp, the line loading, and
// both drivers (Flat Cut with dither in serpentine, dither to a palette left
// to right).
#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour_fixtures.h"
#include "core/settings.h"
#include "platform/thermometer.h"

#include <gtest/gtest.h>

using namespace colourtest;

namespace {

// Rows of cells for calling a kernel directly; each channel read as a vector.
struct KernelRows {
    std::vector<std::vector<DitherCell>> cells;
    std::vector<DitherCell*> pointers;
    KernelRows(int count, int width) : cells(count, std::vector<DitherCell>(width, DitherCell{0, 0, 0}))
    {
        for (auto& row : cells) pointers.push_back(row.data());
    }
    DitherCell** rows() { return pointers.data(); }
    std::vector<LONG> Channel(int row, LONG DitherCell::*field) const
    {
        std::vector<LONG> out;
        for (const DitherCell& c : cells[row]) out.push_back(c.*field);
        return out;
    }
};
using V = std::vector<LONG>;

class Diffusion : public ReductionTest {
protected:
    void TearDown() override
    {
        SET_Reset();
        CLR_SetRowsMemoryGate(nullptr);
    }

    Bytes FlatDither(const Bytes& source, int target, int gray = 0)
    {
        HGLOBAL in = BlockFrom(source);
        HGLOBAL out = nullptr;
        int ok = CLR_FlatDither(in, &out, target, gray);
        EXPECT_EQ(BytesOf(in), source);
        GlobalFree(in);
        if (!ok) return {};
        EXPECT_EQ(GlobalFlags(out) & 0xFF, 0U);
        Bytes bytes = BytesOf(out);
        GlobalFree(out);
        return bytes;
    }

    // Dithers source into a copy of the destination template; its bytes after.
    Bytes ToPalette(const Bytes& source, const Bytes& templ, int pass = 0, int* result = nullptr)
    {
        HGLOBAL in = BlockFrom(source), dest = BlockFrom(templ);
        int ok = CLR_DitherToPalette(in, dest, pass);
        if (result) *result = ok;
        EXPECT_EQ(BytesOf(in), source);
        EXPECT_EQ(GlobalFlags(in) & 0xFF, 0U);
        EXPECT_EQ(GlobalFlags(dest) & 0xFF, 0U);
        Bytes bytes = BytesOf(dest);
        GlobalFree(in);
        GlobalFree(dest);
        return bytes;
    }
};

Bytes Pixels(const Bytes& dib) { return Bytes(dib.begin() + static_cast<long>(PixelOffset(dib)), dib.end()); }

// An empty destination of bits for a width x height image with this table.
Bytes Destination(int width, int height, int bits, const std::vector<Rgb>& table)
{
    Bytes b = Header(width, height, bits, static_cast<uint32_t>(table.size()));
    PutTable(b, table);
    b.resize(b.size() + Stride(width, bits) * static_cast<size_t>(height), 0);
    return b;
}

std::vector<std::vector<Rgb>> Flat(int width, int height, Rgb c)
{
    return std::vector<std::vector<Rgb>>(height, std::vector<Rgb>(width, c));
}

const std::vector<Rgb> kMono = {{0, 0, 0}, {255, 255, 255}};

}  // namespace

// ---- kernels ---------------------------------------------------------------------

TEST(DiffusionKernel, TapsRoundTruncateAndStopAtTheEdges)
{
    typedef void (*Kernel)(DitherCell**, LONG, LONG, LONG, LONG, LONG, LONG, LONG);
    const auto R = &DitherCell::red, G = &DitherCell::green, B = &DitherCell::blue;
    const V zeros(5, 0);
    struct Tap {
        int row;
        LONG DitherCell::*channel;
        V values;
    };
    const struct {
        Kernel kernel;
        LONG x, y, width, height, r, g, b;
        std::vector<Tap> taps;
        const char* what;
    } cases[] = {
        // Shifts round toward minus infinity: 700 >> 4; 300, 500, 100 >> 4; -700 >> 4
        // = -43.75 is -44; an error of -1 gives -1 at every tap.
        {CLR_KernelFloyd, 1, 0, 3, 2, 100, -100, -1,
         {{0, R, {0, 0, 43}}, {1, R, {18, 31, 6}}, {0, G, {0, 0, -44}}, {1, G, {-19, -32, -7}}, {0, B, {0, 0, -1}}, {1, B, {-1, -1, -1}}},
         "Floyd-Steinberg"},
        {CLR_KernelFloyd, 0, 0, 1, 2, 100, 0, 0, {{0, R, {0}}, {1, R, {31}}}, "Floyd-Steinberg on a width of one"},
        // Division truncates: -800 / 42 is -19, not -20; -1 gives nothing.
        {CLR_KernelStucki, 2, 0, 5, 3, 100, -100, -1,
         {{0, R, {0, 0, 0, 19, 9}}, {1, R, {4, 9, 19, 9, 4}}, {2, R, {2, 4, 9, 4, 2}}, {1, G, {-4, -9, -19, -9, -4}},
          {2, G, {-2, -4, -9, -4, -2}}, {0, B, zeros}, {1, B, zeros}, {2, B, zeros}},
         "Stucki"},
        {CLR_KernelStucki, 4, 0, 5, 3, 84, 0, 0, {{0, R, zeros}, {1, R, {0, 0, 4, 8, 16}}, {2, R, {0, 0, 2, 4, 8}}}, "Stucki at the last column"},
        // -700 / 48 = -14.6 truncated; rows past the last line are skipped.
        {CLR_KernelJarvis, 2, 0, 5, 3, -100, 0, 0,
         {{0, R, {0, 0, 0, -14, -10}}, {1, R, {-6, -10, -14, -10, -6}}, {2, R, {-2, -6, -10, -6, -2}}}, "Jarvis"},
        {CLR_KernelJarvis, 2, 1, 5, 3, 48, 0, 0, {{1, R, {3, 5, 7, 5, 3}}, {2, R, zeros}}, "Jarvis on the next to last line"},
        {CLR_KernelJarvis, 2, 2, 5, 3, 48, 0, 0, {{0, R, {0, 0, 0, 7, 5}}, {1, R, zeros}}, "Jarvis on the last line"},
        // Only errors of 16 or more are passed on.
        {CLR_KernelFloydNoise, 0, 0, 2, 2, 15, -40, 16, {{0, R, {0, 0}}, {1, G, {0, 0}}, {0, B, {0, 7}}, {1, B, {5, 1}}},
         "Floyd-Steinberg with noise"},
    };
    for (const auto& c : cases) {
        KernelRows k(c.height, c.width);
        c.kernel(k.rows(), c.x, c.y, c.width, c.height, c.r, c.g, c.b);
        for (const Tap& t : c.taps) EXPECT_EQ(k.Channel(t.row, t.channel), t.values) << c.what << ", row " << t.row;
    }
}

// ---- rows, clamp, loading -----------------------------------------------------------

TEST_F(Diffusion, RowsRotateAndRowsThatCannotBeHadAreReportedOnce)
{
    DitherCell** rows = CLR_AllocRows(3, 4);
    ASSERT_NE(rows, nullptr);
    DitherCell* r0 = rows[0];
    DitherCell* r1 = rows[1];
    DitherCell* r2 = rows[2];
    CLR_RotateRows(rows, 3);
    EXPECT_TRUE(rows[0] == r1 && rows[1] == r2 && rows[2] == r0);
    CLR_FreeRows(rows, 3);

    // The third allocation (the second row) fails: all is freed, one report.
    static int calls;
    calls = 0;
    CLR_SetRowsMemoryGate([](SIZE_T) { return ++calls < 3 ? 1 : 0; });
    EXPECT_EQ(CLR_AllocRows(3, 4), nullptr);
    ASSERT_EQ(HDL_Boxes().size(), 1U);
    EXPECT_EQ(HDL_Boxes()[0].text, "Not enough memory to perform operation");

    // No rows at all: the dither to a palette fails with that report; Flat Cut
    // adds its own and closes the thermometer.
    CLR_SetRowsMemoryGate([](SIZE_T) { return 0; });
    HDL_ClearBoxes();
    int ok = 1;
    ToPalette(Dib24(Flat(2, 2, {5, 5, 5})), Destination(2, 2, 8, kMono), 0, &ok);
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(HDL_Boxes().size(), 1U);
    HDL_ClearBoxes();
    CLR_SetFlatProgress(1);
    EXPECT_TRUE(FlatDither(Dib24(Flat(3, 2, {1, 2, 3})), 8).empty());
    EXPECT_EQ(HDL_Boxes().size(), 2U);
    EXPECT_EQ(HDL_ThermometerCalls(),
              (std::vector<std::string>{"open Performing a Flat Color Reduction with Dither", "range 0 2", "close"}));
    // The halftone needs no rows and still works.
    HDL_ClearBoxes();
    SET_Put(SET_DITHER_TYPE, 0);
    EXPECT_FALSE(FlatDither(Dib24(Flat(3, 2, {1, 2, 3})), 8).empty());
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST(DiffusionClamp, TableAndAnyAccumulatedValue)
{
    EXPECT_EQ(CLR_ClampTable[0], 0);
    EXPECT_EQ(CLR_ClampTable[255], 0);
    EXPECT_EQ(CLR_ClampTable[256], 0);
    EXPECT_EQ(CLR_ClampTable[256 + 77], 77);
    EXPECT_EQ(CLR_ClampTable[511], 255);
    EXPECT_EQ(CLR_ClampTable[512], 255);
    EXPECT_EQ(CLR_ClampTable[767], 255);
    const LONG values[] = {-2147483647 - 1, -100000, -257, -256, -1, 0, 1, 254, 255, 256, 511, 512, 100000, 2147483647};
    const int want[] = {0, 0, 0, 0, 0, 0, 1, 254, 255, 255, 255, 255, 255, 255};
    for (size_t i = 0; i < sizeof values / sizeof values[0]; i++) EXPECT_EQ(CLR_Clamp(values[i]), want[i]) << values[i];
}

// ---- Flat Cut with dither -----------------------------------------------------------

TEST_F(Diffusion, FlatDitherGoldenImagesMatchByteForByte)
{
    GoldenSet set = ReadGolden("flat_dither_golden.bin");
    ASSERT_TRUE(set.ok);
    ASSERT_EQ(set.cases.size(), 540U);
    for (const GoldenCase& c : set.cases) {
        SCOPED_TRACE(c.name);
        SET_Put(SET_DITHER_TYPE, c.ditherType);
        EXPECT_EQ(FirstDifference(FlatDither(set.images[c.image], c.target, c.gray), c.expected), "");
    }
}

// Gray to black and white, worked by hand.
TEST_F(Diffusion, FlatDitherByHandToBlackAndWhite)
{
    const struct {
        int ditherType;  // -1: the first start's default
        LONG width, height;
        BYTE gray;
        Bytes pixels;
    } cases[] = {
        // Gray 100 on 3 x 2 with Floyd-Steinberg, serpentine:
        // line 0, forward: 100 -> 0, error 100: right 43, below 31, below right 6.
        //   143 -> 1, error -112: right -49, below left -21, below -35, below right -7.
        //   51 -> 0, error 51: below left 9, below 15.  Line 1 errors: 10, -20, 8.
        // line 1, reverse: column 2: 108 -> 0, error 108 sends 47 to column 1;
        //   column 1: 100 - 20 + 47 = 127 -> 0, error 127 sends 55 to column 0;
        //   column 0: 100 + 10 + 55 = 165 -> 1.
        // Without the serpentine or without the mirror, line 1 would be 0, 1, 0.
        {-1, 3, 2, 100, {0x40, 0, 0, 0, 0x80, 0, 0, 0}},
        // dither_type 8 has no list entry and still works: the error -112 of the
        // middle pixel is not passed on; line 1 gets 31, 24, 31. Reverse: 131 -> 1
        // (its -125 is dropped), 124 -> 0 sending 54, 185 -> 1.
        {8, 3, 2, 100, {0x40, 0, 0, 0, 0xA0, 0, 0, 0}},
        // The halftone on 128 + 16 m: bit 1 where m >= 0 (m = -7 gives 16, m = 0 gives 128).
        {0, 4, 4, 128, {0x50, 0, 0, 0, 0xA0, 0, 0, 0, 0x50, 0, 0, 0, 0xE0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        if (c.ditherType >= 0) SET_Put(SET_DITHER_TYPE, c.ditherType);
        Bytes want = Header(c.width, c.height, 1, 2);
        PutTable(want, kMono);
        want.insert(want.end(), c.pixels.begin(), c.pixels.end());
        EXPECT_EQ(FirstDifference(FlatDither(Dib24(Flat(c.width, c.height, {c.gray, c.gray, c.gray})), 1), want), "")
            << c.ditherType;
    }
}

TEST_F(Diffusion, ReverseLineWithOddWidthStartsInTheHighNibbleOfItsLastByte)
{
    // Exact palette colours carry no error: line 0 red, green, blue; line 1,
    // scanned from the right, black, black, red: its first pixel (red, 9) sits
    // in the high nibble of byte 1.
    Bytes got = FlatDither(Dib24({{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}}, {{0, 0, 0}, {0, 0, 0}, {255, 0, 0}}}), 4);
    EXPECT_EQ(Pixels(got), (Bytes{0x9A, 0xC0, 0, 0, 0x00, 0x90, 0, 0}));
}

// ---- dither to a palette -------------------------------------------------------------

TEST_F(Diffusion, DitherToPaletteGoldenImagesMatchByteForByte)
{
    GoldenSet set = ReadGolden("dither_palette_golden.bin");
    ASSERT_TRUE(set.ok);
    ASSERT_EQ(set.cases.size(), 648U);
    for (const GoldenCase& c : set.cases) {
        SCOPED_TRACE(c.name);
        SET_Put(SET_DITHER_TYPE, c.ditherType);
        SET_Put(SET_FAST_DITHER, c.fastDither);
        int ok = 0;
        EXPECT_EQ(FirstDifference(ToPalette(set.images[c.image], c.templ, 0, &ok), c.expected), "");
        EXPECT_EQ(ok, 1);
    }
}

TEST_F(Diffusion, ImagesShorterThanTheKernelReadOnlyTheirLines)
{
    // Stevenson holds four lines; the image has one, in a block of exact size.
    SET_Put(SET_DITHER_TYPE, 7);
    Bytes got = ToPalette(Dib24({{{250, 250, 250}, {10, 10, 10}}}), Destination(2, 1, 4, kMono));
    EXPECT_EQ(Pixels(got), (Bytes{0x10, 0, 0, 0}));
}

TEST_F(Diffusion, DitherToPaletteReportsPositionsAfterEarlierPasses)
{
    // The second pass of a two-pass operation over a range of 0 to 40.
    TRM_Open(nullptr, "cut");
    TRM_SetRange(0, 40);
    TRM_Update(20);
    HDL_ClearThermometerCalls();
    int ok = 0;
    ToPalette(Dib24(Flat(1, 20, {5, 5, 5})), Destination(1, 20, 8, kMono), 1, &ok);
    TRM_Close();
    EXPECT_EQ(ok, 1);
    // 20 + y + 1 for y = 0, 16 and the last line.
    EXPECT_EQ(HDL_ThermometerCalls(),
              (std::vector<std::string>{"update 21 52", "update 37 92", "update 40 100", "close"}));
}

TEST_F(Diffusion, PaletteServiceDitherPicksDepthByColourCountAndKeepsTheHeader)
{
    Bytes source = Dib24(Flat(3, 1, {200, 200, 200}));
    source[24] = 0x13;  // biXPelsPerMeter 2835
    source[25] = 0x0B;
    struct Case {
        int count, bits;
    } cases[] = {{1, 1}, {2, 1}, {3, 4}, {16, 4}, {17, 8}, {256, 8}};
    for (const Case& c : cases) {
        std::vector<RGBQUAD> colours(c.count, RGBQUAD{0, 0, 0, 0});
        colours.back() = RGBQUAD{210, 205, 200, 0};
        HGLOBAL in = BlockFrom(source);
        HGLOBAL out = CLR_DitherToColors(in, colours.data(), c.count);
        ASSERT_NE(out, nullptr) << c.count;
        Bytes got = BytesOf(out);
        GlobalFree(out);
        GlobalFree(in);
        Bytes want = Header(3, 1, c.bits, static_cast<uint32_t>(c.count));
        want[24] = 0x13;
        want[25] = 0x0B;
        for (const RGBQUAD& q : colours) want.insert(want.end(), {q.rgbBlue, q.rgbGreen, q.rgbRed, 0});
        // Every pixel takes the last entry (the one near 200), except with
        // one entry, where index 0 is that entry.
        int last = c.count - 1;
        Bytes line(Stride(3, c.bits), 0);
        if (c.bits == 1) line[0] = last ? 0xE0 : 0;
        if (c.bits == 4) line[0] = static_cast<BYTE>(last << 4 | last), line[1] = static_cast<BYTE>(last << 4);
        if (c.bits == 8) line[0] = line[1] = line[2] = static_cast<BYTE>(last);
        want.insert(want.end(), line.begin(), line.end());
        EXPECT_EQ(FirstDifference(got, want), "") << c.count;
    }
}

TEST_F(Diffusion, PaletteServiceDirectPathCarriesNoError)
{
    // Gray 100 is nearer black everywhere; the dither would give 0, 1, 0.
    Bytes source = Dib24(Flat(3, 1, {100, 100, 100}));
    const RGBQUAD mono[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    HGLOBAL in = BlockFrom(source);
    HGLOBAL direct = CLR_MapToColors(in, mono, 2);
    HGLOBAL dithered = CLR_DitherToColors(in, mono, 2);
    ASSERT_TRUE(direct && dithered);
    EXPECT_EQ(Pixels(BytesOf(direct)), (Bytes{0x00, 0, 0, 0}));
    EXPECT_EQ(Pixels(BytesOf(dithered)), (Bytes{0x40, 0, 0, 0}));
    EXPECT_EQ(BytesOf(in), source);
    GlobalFree(direct);
    GlobalFree(dithered);
    GlobalFree(in);
}
