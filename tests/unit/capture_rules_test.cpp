#include "capture/capture_rules.h"

#include <gtest/gtest.h>

#include <vector>

TEST(CaptureRules, NumberedNamesAndTheirLimits)
{
    const struct { const char* base; int numbered, number, digits, upper; const char* name; } cases[] = {
                 {"shot", 1, 12, 4, 1, "SHOT0012.DIB"}, {"pic.tif", 1, 5, 2, 1, "PIC05.TIF"},
                 {".TIF", 1, 7, 3, 1, "007.TIF"},       {"A.B", 0, 3, 4, 0, "A.B"},
                 {"pic", 0, 3, 4, 0, "pic.DIB"},        {"x.y.z", 1, 1, 1, 0, "x1.y.z"}};
    char out[CAP_NameRoom];
    for (const auto& c : cases) {
        EXPECT_EQ(CAP_FileName(c.base, c.numbered, c.number, c.digits, "DIB", c.upper, out, sizeof out), 1);
        EXPECT_STREQ(out, c.name) << c.base;
    }
    EXPECT_EQ(CAP_FileName("shot", 1, 12, 4, "DIB", 1, out, 8), 0);
    EXPECT_STREQ(out, "");

    // Number, digits, the answer to a question, what the step says, then the number and digits.
    const LONG steps[][6] = {{12, 4, 0, CAPI_NONE, 13, 4}, {99, 2, 0, CAPI_ASK_RESET, 100, 3},
                             {99, 2, 1, CAPI_ASK_RESET, 0, 2}, {99999999, 8, 0, CAPI_NOTICE_RESET, 0, 8}};
    LONG number = 0;
    int digits = 0;
    for (const auto& s : steps) {
        number = s[0];
        digits = static_cast<int>(s[1]);
        EXPECT_EQ(CAP_NextNumber(&number, digits), s[3]);
        if (s[3] == CAPI_ASK_RESET) CAP_AnswerReset(static_cast<int>(s[2]), &number, &digits);
        EXPECT_EQ(number * 10 + digits, s[4] * 10 + s[5]) << s[0] << " " << s[2];
    }
    const struct { const char* text; LONG number; int digits; } typed[] = {
        {"00012", 12, 5}, {"12", 12, 2}, {"123456789", 123456789, 8}, {"", 0, 1}};
    for (const auto& t : typed) {
        CAP_ReadNumber(t.text, &number, &digits);
        EXPECT_EQ(number * 10 + digits, t.number * 10 + t.digits) << t.text;
    }
}

TEST(CaptureRules, ModesAndRectangles)
{
    EXPECT_EQ(CAP_KindOfCommand(773), 0);
    EXPECT_EQ(CAP_CheckedMode(3 | CAPD_FILE), CAP_DefaultMode);
    EXPECT_EQ(CAP_CheckedMode(CAPK_SCREEN | CAPD_FILE), CAPK_SCREEN | CAPD_FILE);

    // x, y, width, height before and after, on a 1024 by 768 screen.
    const int fits[][8] = {{-30, 10, 200, 100, 0, 10, 200, 100},
                           {900, 700, 200, 100, 900, 700, 124, 68},
                           {-5, -5, 0x7FFFFFFF, 0x7FFFFFFF, 0, 0, 1024, 768}};
    for (const auto& f : fits) {
        std::vector<int> r(f, f + 4);
        CAP_FitRect(1024, 768, &r[0], &r[1], &r[2], &r[3]);
        EXPECT_EQ(r, std::vector<int>(f + 4, f + 8));
    }
    const POINT a = CAP_SquareCorner({100, 100}, {130, 80}), b = CAP_SquareCorner({100, 100}, {90, 140});
    EXPECT_EQ((std::vector<LONG>{a.x, a.y, b.x, b.y}), (std::vector<LONG>{130, 70, 60, 140}));
    RECT rect;
    EXPECT_EQ(CAP_SortCorners({50, 40}, {10, 90}, &rect), 1);
    EXPECT_EQ((std::vector<LONG>{rect.left, rect.top, rect.right, rect.bottom}), (std::vector<LONG>{10, 40, 50, 90}));
    EXPECT_EQ(CAP_SortCorners({50, 40}, {50, 90}, &rect), 0);
}
