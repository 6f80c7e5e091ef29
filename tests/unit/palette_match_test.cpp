// Palette matching: the metric, the tie rule, and the match cache as the
// palette dither uses it.
#include "cli/headless.h"
#include "colour/error_diffusion.h"
#include "colour/palette_match.h"
#include "colour_fixtures.h"
#include "core/settings.h"

#include <gtest/gtest.h>

using namespace colourtest;

namespace {

std::vector<RGBQUAD> Palette(const std::vector<Rgb>& colours)
{
    std::vector<RGBQUAD> out;
    for (const Rgb& c : colours)
        out.push_back(RGBQUAD{static_cast<BYTE>(c.b), static_cast<BYTE>(c.g), static_cast<BYTE>(c.r), 0});
    return out;
}

int Nearest(const std::vector<Rgb>& colours, int r, int g, int b)
{
    std::vector<RGBQUAD> p = Palette(colours);
    return CLR_NearestColor(p.data(), static_cast<int>(p.size()), r, g, b);
}

class PaletteMatch : public ::testing::Test {
protected:
    void SetUp() override
    {
        SET_Reset();
        HDL_ClearBoxes();
    }
    void TearDown() override
    {
        CLR_MatchEnd();
        SET_Reset();
    }

    // The pixels of source dithered to an 8-bit destination holding table.
    Bytes Dither(const Bytes& source, int width, int height, int bits, const std::vector<Rgb>& table)
    {
        Bytes templ = Header(width, height, bits, static_cast<uint32_t>(table.size()));
        PutTable(templ, table);
        size_t start = templ.size();
        templ.resize(start + Stride(width, bits) * static_cast<size_t>(height), 0);
        HGLOBAL in = BlockFrom(source), dest = BlockFrom(templ);
        EXPECT_EQ(CLR_DitherToPalette(in, dest, 0), 1);
        Bytes got = BytesOf(dest);
        GlobalFree(in);
        GlobalFree(dest);
        EXPECT_EQ(CLR_MatchUsed, nullptr) << "the cache lives for one operation";
        return Bytes(got.begin() + static_cast<long>(start), got.end());
    }
};

}  // namespace

TEST(PaletteMatchSearch, EqualDistancesKeepTheLowerIndex)
{
    EXPECT_EQ(Nearest({{0, 0, 0}, {20, 20, 20}}, 10, 10, 10), 0);  // both at 30
    EXPECT_EQ(Nearest({{20, 20, 20}, {0, 0, 0}}, 10, 10, 10), 0);
    // A duplicate colour: the higher copy is never chosen.
    EXPECT_EQ(Nearest({{9, 9, 9}, {50, 50, 50}, {50, 50, 50}}, 50, 50, 50), 1);
    EXPECT_EQ(Nearest({{9, 9, 9}, {50, 50, 50}, {50, 50, 50}}, 60, 49, 50), 1);
}

TEST(PaletteMatchSearch, DistanceIsTheUnweightedSumOfAbsoluteDifferences)
{
    // (100,0,0) and (0,100,0) are equally far from black.
    EXPECT_EQ(Nearest({{0, 100, 0}, {100, 0, 0}, {0, 0, 100}}, 0, 0, 0), 0);
    EXPECT_EQ(Nearest({{0, 101, 0}, {100, 0, 0}}, 0, 0, 0), 1);
    // Sums, not squares: (60,60,0) is 120 away, (0,0,100) 100 (squares would pick the first).
    EXPECT_EQ(Nearest({{60, 60, 0}, {0, 0, 100}}, 0, 0, 0), 1);
    // The last entry can win, and one entry is always index 0.
    EXPECT_EQ(Nearest({{0, 0, 0}, {1, 1, 1}, {255, 255, 254}}, 255, 255, 255), 2);
    EXPECT_EQ(Nearest({{200, 200, 200}}, 0, 0, 0), 0);
}

TEST_F(PaletteMatch, FastDitherMakesTheResultDependOnScanOrder)
{
    // Halftone to 8 bits adds m * (L >> 6), which is 0 for such dark colours,
    // so only the matching decides.
    SET_Put(SET_DITHER_TYPE, 0);
    const std::vector<Rgb> table = {{8, 8, 8}, {15, 15, 15}};
    Bytes forward = Dib24({{{8, 8, 8}, {15, 15, 15}}});
    Bytes backward = Dib24({{{15, 15, 15}, {8, 8, 8}}});
    EXPECT_EQ(Dither(forward, 2, 1, 8, table), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(Dither(backward, 2, 1, 8, table), (Bytes{1, 1, 0, 0}));
    SET_Put(SET_FAST_DITHER, 0);
    EXPECT_EQ(Dither(forward, 2, 1, 8, table), (Bytes{0, 1, 0, 0}));
    EXPECT_EQ(Dither(backward, 2, 1, 8, table), (Bytes{1, 0, 0, 0}));
}

TEST_F(PaletteMatch, MonochromeDestinationSearchesAgainPastTheCache)
{
    // (127,128,128) is nearer white (sum 383); (120,128,128) shares its cell
    // but is nearer black (376). With Floyd-Steinberg no error reaches the
    // second, which stands alone at the end of line 1 among black pixels.
    Bytes source = Dib24({{{127, 128, 128}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                          {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {120, 128, 128}}});
    const std::vector<Rgb> mono = {{0, 0, 0}, {255, 255, 255}};
    EXPECT_EQ(Dither(source, 4, 2, 1, mono), (Bytes{0x80, 0, 0, 0, 0x00, 0, 0, 0}));
    // A 4-bit destination with the same two colours keeps the cached answer...
    EXPECT_EQ(Dither(source, 4, 2, 4, mono), (Bytes{0x10, 0x00, 0, 0, 0x00, 0x01, 0, 0}));
    // ...and without the cache searches it afresh.
    SET_Put(SET_FAST_DITHER, 0);
    EXPECT_EQ(Dither(source, 4, 2, 4, mono), (Bytes{0x10, 0x00, 0, 0, 0x00, 0x00, 0, 0}));
}

TEST_F(PaletteMatch, BlackLeftOverEntriesTakePartInTheSearch)
{
    // A palette whose last entries stayed black (as a cut with fewer colours
    // leaves them): a dark pixel still finds black at index 0, not a copy.
    const std::vector<Rgb> table = {{0, 0, 0}, {255, 255, 255}, {0, 0, 0}, {0, 0, 0}};
    SET_Put(SET_DITHER_TYPE, 0);
    EXPECT_EQ(Dither(Dib24({{{3, 3, 3}, {250, 250, 250}}}), 2, 1, 4, table), (Bytes{0x01, 0, 0, 0}));
}
