// The stepwise cut of the frame services gives what the whole cut gives,
// with the thermometer off between its first and last step.
#include "colour/median_cut.h"
#include "colour_fixtures.h"
#include "core/service_engine.h"

#include <gtest/gtest.h>

namespace {

TEST(ColourServices, StepsGiveTheWholeCutWithTheThermometerOffBetweenFirstAndLast)
{
    std::vector<std::vector<colourtest::Rgb>> rows(9);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 21; x++) rows[y].push_back({x * 12, y * 28, (x * y * 7) & 255});
    const colourtest::Bytes image = colourtest::Dib24(rows);
    HGLOBAL source = colourtest::BlockFrom(image), whole = nullptr;
    CLR_SetCutDither(0);
    ASSERT_TRUE(CLR_MedianCut(source, &whole, 16));
    const colourtest::Bytes want = colourtest::BytesOf(whole);
    colourtest::Bytes table(16 * 4), pixels(colourtest::Stride(21, 4) * 9);
    CutStep step{image.data() + 40, pixels.data(), nullptr, reinterpret_cast<RGBQUAD*>(table.data()), 21, 9, 24, 4, 16};
    ServiceBlock block{};
    block.record = &step;
    EXPECT_EQ(SVC_ColourService(SVC_CUT_BEGIN, nullptr), 1);
    EXPECT_EQ(CLR_CutShowProgress, 0);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_ADD_IMAGE, &block), 1);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_MAKE_PALETTE, &block), 16);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_MAP_PIXELS, &block), 1);
    SVC_ColourService(SVC_CUT_END, &block);
    EXPECT_EQ(CLR_CutShowProgress, 1);
    EXPECT_EQ(table, colourtest::Bytes(want.begin() + 40, want.begin() + 40 + 64));
    EXPECT_EQ(pixels, colourtest::Bytes(want.begin() + 40 + 64, want.end()));
    GlobalFree(source);
    GlobalFree(whole);
}

}  // namespace
