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

// Each scenario's calls and what they draw: a range of 0 to 0 draws no bar;
// the same position twice draws once; the high end fills the well and beyond
// draws past it; new text repaints everything with the bar at its last
// length; a full paint at the reserved position does nothing; a range moves
// the position and Open resets both; hidden or closed thermometers run the
// same steps with no visible effect.
TEST_F(Thermometer, EachCallDrawsWhatChanged)
{
    const struct {
        void (*run)();
        Calls drawn;
    } scenarios[] = {
        {[] { TRM_Open(nullptr, "Working"), TRM_SetRange(0, 0), TRM_Update(5); },
         {"open Working", "range 0 0", "update 5 0"}},
        {[] { TRM_Open(nullptr, "Working"), TRM_SetRange(0, 8), TRM_Update(0), TRM_Update(2), TRM_Update(2); },
         {"open Working", "range 0 8", "update 2 25"}},
        {[] { TRM_Open(nullptr, "Working"), TRM_SetRange(0, 10), TRM_Update(10), TRM_Update(15); },
         {"open Working", "range 0 10", "update 10 100", "update 15 150"}},
        {[] { TRM_Open(nullptr, "Working"), TRM_SetRange(0, 20), TRM_Update(10), TRM_SetText("Finished"), TRM_Close(); },
         {"open Working", "range 0 20", "update 10 50", "text Finished", "paint 10 50", "close"}},
        {[] { TRM_Open(nullptr, "Working"), TRM_SetRange(0xFFFF, 0xFFFF), TRM_SetText("again"); },
         {"open Working", "range 65535 65535", "text again"}},
        {[] {
             TRM_Open(nullptr, "one"), TRM_SetRange(5, 10), TRM_Update(5), TRM_Update(6), TRM_Close();
             TRM_Open(nullptr, "two"), TRM_Update(0), TRM_Update(6);
         },
         {"open one", "range 5 10", "update 6 20", "close", "open two", "update 6 0"}},
        {[] { TRM_Update(3), TRM_Update(3), HDL_SetProgressBar(true), TRM_Update(4); }, {"update 3 0", "update 4 0"}},
    };
    for (const auto& s : scenarios) {
        TRM_Close();
        HDL_SetProgressBar(false);
        HDL_ClearThermometerCalls();
        s.run();
        EXPECT_EQ(s.drawn, HDL_ThermometerCalls());
    }
}
