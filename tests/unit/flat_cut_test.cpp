// Flat Cut: the fixed palettes, the 16-colour choice, the gray flag, the
// layouts of every target, and the thermometer it drives.
#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "colour/flat_cut.h"
#include "colour_fixtures.h"
#include "core/settings.h"

#include <gtest/gtest.h>

using namespace colourtest;

namespace {

class FlatCut : public ReductionTest {
protected:
    void TearDown() override { CLR_SetFlatProgress(0); }

    // Runs Flat Cut on a copy of source; the result's bytes, or empty on failure.
    Bytes Reduce(const Bytes& source, int target, int gray = 0)
    {
        HGLOBAL in = BlockFrom(source);
        HGLOBAL out = nullptr;
        int ok = CLR_FlatReduce(in, &out, target, gray);
        EXPECT_EQ(BytesOf(in), source) << "the source must not change";
        EXPECT_EQ(GlobalFlags(in) & 0xFF, 0U) << "the source must be left unlocked";
        GlobalFree(in);
        if (!ok) return {};
        EXPECT_EQ(GlobalFlags(out) & 0xFF, 0U) << "the result must be left unlocked";
        Bytes bytes = BytesOf(out);
        GlobalFree(out);
        return bytes;
    }
};

// The pixel bytes of a result (everything after header and table).
Bytes Pixels(const Bytes& dib) { return Bytes(dib.begin() + static_cast<long>(PixelOffset(dib)), dib.end()); }

std::vector<Rgb> Flat16()
{
    return {{0, 0, 0},       {128, 0, 0},   {0, 128, 0}, {128, 128, 0}, {0, 0, 128},   {128, 0, 128},
            {0, 128, 128},   {192, 192, 192}, {128, 128, 128}, {255, 0, 0}, {0, 255, 0}, {255, 255, 0},
            {0, 0, 255},     {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};
}

}  // namespace

TEST_F(FlatCut, GoldenImagesMatchByteForByte)
{
    GoldenSet set = ReadGolden("flat_cut_golden.bin");
    ASSERT_TRUE(set.ok);
    ASSERT_EQ(set.cases.size(), 72U);
    for (const GoldenCase& c : set.cases) {
        SCOPED_TRACE(c.name);
        Bytes got = Reduce(set.images[c.image], c.target, c.gray);
        EXPECT_EQ(FirstDifference(got, c.expected), "");
    }
}

TEST_F(FlatCut, HandWorkedPixelsAtEachTarget)
{
    EXPECT_EQ(CLR_GrayDistance(255, 0, 0), 8192);
    EXPECT_EQ(CLR_Flat16Key(255, 0, 0), 48);
    Bytes mono = Header(9, 1, 1, 2), sixteen = Header(1, 1, 4, 16);
    PutTable(mono, {{0, 0, 0}, {255, 255, 255}});
    PutTable(sixteen, Flat16());
    const struct {
        Bytes source;
        int target;
        Bytes pixels;  // none when refused without a report
        Bytes front;   // header and table, when looked at
    } cases[] = {
        // Pure red goes to index 9.
        {Dib24({{{255, 0, 0}}}), 4, {0x90, 0, 0, 0}, sixteen},
        // (100,110,105): d = 2, 1, 1, s = 6: gray by red 100, dark gray 8.
        // (117,100,100): d1 = -17 >> 2 = -5 and d3 = -5 (a division would give -4),
        //   s = 50 exactly, so the map decides: key 21 gives black 0 (the gray rule would give 8).
        // (100,130,100): d = 7, 7, 0, s = 98, key 25 gives 2.
        // (40,64,49): d = 6, 3, 2, s = 49, one short: gray by red 40, black 0 (the map would give 2).
        {Dib24({{{100, 110, 105}, {117, 100, 100}, {100, 130, 100}, {40, 64, 49}}}), 4, {0x80, 0x20, 0, 0}, {}},
        // Three pixels, white, red, green: 15, 9, 10; the last low nibble stays zero.
        {Dib24({{{255, 255, 255}, {255, 0, 0}, {0, 255, 0}}, {{0, 255, 0}, {0, 0, 0}, {255, 255, 255}}}), 4,
         {0xF9, 0xA0, 0, 0, 0xA0, 0xF0, 0, 0}, {}},
        // gray 127 -> 0, gray 128 -> 1, pure red (luminance 77) -> 0, pure green
        // (150) -> 1, pure blue (28) -> 0, (130,130,120) has luminance 39+77+13 =
        // 129 -> 1 though its mean is below 127, white 1, black 0, gray 128 1.
        {Dib24({{{127, 127, 127}, {128, 128, 128}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {130, 130, 120}, {255, 255, 255},
                 {0, 0, 0}, {128, 128, 128}}}),
         1, {0x56, 0x80, 0, 0}, mono},
        // An 8-bit source with two entries and a pixel (200) past them reads black.
        {DibIndexed(8, {{255, 0, 0}, {0, 0, 255}}, {{0, 1, 200}}), 24, {0, 0, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0}, {}},
        // A 1-bit white image is not read: every pixel keeps black.
        {DibIndexed(1, {{0, 0, 0}, {255, 255, 255}}, {{1, 1, 1}}), 8, {0, 0, 0, 0}, {}},
        {Dib24({{{1, 2, 3}}}), 2, {}, {}},
        {Dib24({{{1, 2, 3}}}), 32, {}, {}},
    };
    for (const auto& c : cases) {
        const Bytes got = Reduce(c.source, c.target);
        EXPECT_EQ(c.pixels.empty() ? got : Pixels(got), c.pixels) << c.target;
        Bytes whole = c.front;
        whole.insert(whole.end(), c.pixels.begin(), c.pixels.end());
        if (!c.front.empty()) EXPECT_EQ(FirstDifference(got, whole), "") << c.target;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(FlatCut, The256ColourCubeKeepsRedInTheLowBits)
{
    Bytes got = Reduce(Dib24({{{255, 255, 255}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {36, 0, 0}, {0, 0, 0}}}), 8);
    ASSERT_EQ(got.size(), 40U + 1024U + 8U);
    EXPECT_EQ(Pixels(got), (Bytes{255, 7, 56, 192, 1, 0, 0, 0}));
    // Entries blue, green, red, 0: 255 is white; 1 is red 36; 8 is green 36;
    // 64 is blue 85; 7 is red 255; 130 = 2 + 0*8 + 2*64 is red 73, blue 170;
    // 29 = 5 + 3*8 is red 182, green 109.
    auto entry = [&](int i) { return Bytes(got.begin() + 40 + 4 * i, got.begin() + 44 + 4 * i); };
    EXPECT_EQ(entry(255), (Bytes{255, 255, 255, 0}));
    EXPECT_EQ(entry(1), (Bytes{0, 0, 36, 0}));
    EXPECT_EQ(entry(8), (Bytes{0, 36, 0, 0}));
    EXPECT_EQ(entry(64), (Bytes{85, 0, 0, 0}));
    EXPECT_EQ(entry(7), (Bytes{0, 0, 255, 0}));
    EXPECT_EQ(entry(130), (Bytes{170, 0, 73, 0}));
    EXPECT_EQ(entry(29), (Bytes{0, 109, 182, 0}));
}

TEST_F(FlatCut, TopDownSourceKeepsItsLineOrder)
{
    Bytes src = Dib24({{{255, 255, 255}}, {{0, 0, 0}}});
    src[8] = 0xFE;  // biHeight -2
    src[9] = src[10] = src[11] = 0xFF;
    Bytes got = Reduce(src, 1);
    ASSERT_EQ(got.size(), 40U + 8U + 8U);
    EXPECT_EQ(got[8], 0xFE);
    EXPECT_EQ(got[20], 8);  // biSizeImage: two lines of 4 bytes
    EXPECT_EQ(Pixels(got), (Bytes{0x80, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(FlatCut, ASourceShorterThanItsHeaderIsRefusedWith8204)
{
    Bytes src = Dib24({{{1, 2, 3}, {4, 5, 6}}});
    src[8] = 100;  // claims 100 lines, holds one
    CLR_SetFlatProgress(1);
    EXPECT_TRUE(Reduce(src, 8).empty());
    ASSERT_EQ(HDL_Boxes().size(), 1U);
    EXPECT_EQ(HDL_Boxes()[0].text, "Not enough memory to perform operation");
    EXPECT_EQ(HDL_ThermometerCalls(),
              (std::vector<std::string>{"open Performing a Flat Color Reduction", "range 0 100", "close"}));
}

