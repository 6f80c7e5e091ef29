// The thermometer's state and paint step, headless: what is drawn for each
// call, with the bar's fill out of 100.
#include "cli/headless.h"
#include "platform/thermometer.h"

#include <gtest/gtest.h>

namespace {
using Calls = std::vector<std::string>;

class Thermometer : public ::testing::Test {
protected:
    void SetUp() override
    {
        HDL_SetProgressBar(false);
        HDL_ClearThermometerCalls();
    }
    void TearDown() override
    {
        TRM_Close();
        HDL_SetProgressBar(true);
        HDL_ClearThermometerCalls();
    }
};
}  // namespace

TEST(ThermometerBar, FillIsTruncatingAndUnlimited)
{
    EXPECT_EQ(TRM_BarFill(130, 0, 3, 1), 43);
    EXPECT_EQ(TRM_BarFill(130, 0, 3, 3), 130);
    EXPECT_EQ(TRM_BarFill(130, 0, 3, 6), 260);
    EXPECT_EQ(TRM_BarFill(130, 10, 20, 15), 65);
    EXPECT_EQ(TRM_BarFill(130, 10, 20, 5), -65);  // below low: signed, truncating
    EXPECT_EQ(TRM_BarFill(130, 0, 0, 7), 0);
    EXPECT_EQ(TRM_BarFill(130, 4, 9, 4), 0);
}

TEST_F(Thermometer, RangeOfZeroToZeroDrawsNoBar)
{
    TRM_Open(nullptr, "Working");
    TRM_SetRange(0, 0);
    TRM_Update(5);
    EXPECT_EQ(HDL_ThermometerCalls(), (Calls{"open Working", "range 0 0", "update 5 0"}));
}

TEST_F(Thermometer, TheSamePositionTwiceDrawsOnce)
{
    TRM_Open(nullptr, "Working");
    TRM_SetRange(0, 8);
    TRM_Update(0);  // the position after SetRange: nothing
    TRM_Update(2);
    TRM_Update(2);
    EXPECT_EQ(HDL_ThermometerCalls(), (Calls{"open Working", "range 0 8", "update 2 25"}));
}

TEST_F(Thermometer, HighEndFillsTheWellAndBeyondDrawsPastIt)
{
    TRM_Open(nullptr, "Working");
    TRM_SetRange(0, 10);
    TRM_Update(10);
    TRM_Update(15);
    EXPECT_EQ(HDL_ThermometerCalls(), (Calls{"open Working", "range 0 10", "update 10 100", "update 15 150"}));
}

TEST_F(Thermometer, SetTextRepaintsEverythingWithTheBarAtItsLastLength)
{
    TRM_Open(nullptr, "Working");
    TRM_SetRange(0, 20);
    TRM_Update(10);
    TRM_SetText("Finished");
    TRM_Close();
    EXPECT_EQ(HDL_ThermometerCalls(),
              (Calls{"open Working", "range 0 20", "update 10 50", "text Finished", "paint 10 50", "close"}));
}

TEST_F(Thermometer, FullPaintAtTheReservedPositionDoesNothing)
{
    TRM_Open(nullptr, "Working");
    TRM_SetRange(0xFFFF, 0xFFFF);
    TRM_SetText("again");
    EXPECT_EQ(HDL_ThermometerCalls(), (Calls{"open Working", "range 65535 65535", "text again"}));
}

TEST_F(Thermometer, SetRangeMovesThePositionAndOpenResetsIt)
{
    TRM_Open(nullptr, "one");
    TRM_SetRange(5, 10);
    TRM_Update(5);
    TRM_Update(6);
    TRM_Close();
    TRM_Open(nullptr, "two");
    TRM_Update(0);  // Open put the position back to 0
    TRM_Update(6);  // and the range to 0..0
    EXPECT_EQ(HDL_ThermometerCalls(),
              (Calls{"open one", "range 5 10", "update 6 20", "close", "open two", "update 6 0"}));
}

TEST_F(Thermometer, UpdatesWithTheBarHiddenOrClosedRunTheSameSteps)
{
    // Hidden (no terminal, or the bar turned off) and closed thermometers run
    // the same paint steps with no visible effect.
    TRM_Update(3);
    TRM_Update(3);
    HDL_SetProgressBar(true);
    TRM_Update(4);
    EXPECT_EQ(HDL_ThermometerCalls(), (Calls{"update 3 0", "update 4 0"}));
}
