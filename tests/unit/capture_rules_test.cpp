#include "capture/capture_rules.h"

#include <gtest/gtest.h>

#include <string>

TEST(CaptureRules, NumberedNamesAndTheirLimits)
{
    struct Case {
        const char* base;
        int numbered;
        LONG number;
        int digits;
        int upper;
        const char* name;
    } cases[] = {
        {"shot", 1, 12, 4, 1, "SHOT0012.DIB"}, {"pic.tif", 1, 5, 2, 1, "PIC05.TIF"}, {".TIF", 1, 7, 3, 1, "007.TIF"},
        {"A.B", 0, 3, 4, 0, "A.B"},           {"pic", 0, 3, 4, 0, "pic.DIB"},     {"x.y.z", 1, 1, 1, 0, "x1.y.z"},
    };
    for (const Case& c : cases) {
        char out[CAP_NameRoom];
        EXPECT_EQ(CAP_FileName(c.base, c.numbered, c.number, c.digits, "DIB", c.upper, out, sizeof out), 1);
        EXPECT_STREQ(out, c.name) << c.base;
    }
    char small[8];
    EXPECT_EQ(CAP_FileName("shot", 1, 12, 4, "DIB", 1, small, sizeof small), 0);
    EXPECT_STREQ(small, "");

    LONG number = 12;
    EXPECT_EQ(CAP_NextNumber(&number, 4), CAPI_NONE);
    EXPECT_EQ(number, 13);
    number = 99;
    int digits = 2;
    EXPECT_EQ(CAP_NextNumber(&number, digits), CAPI_ASK_RESET);
    EXPECT_EQ(number, 100);
    CAP_AnswerReset(0, &number, &digits);
    EXPECT_EQ(number, 100);
    EXPECT_EQ(digits, 3);
    CAP_AnswerReset(1, &number, &digits);
    EXPECT_EQ(number, 0);
    number = 99999999;
    EXPECT_EQ(CAP_NextNumber(&number, 8), CAPI_NOTICE_RESET);
    EXPECT_EQ(number, 0);

    const struct {
        const char* text;
        LONG number;
        int digits;
    } typed[] = {{"00012", 12, 5}, {"12", 12, 2}, {"123456789", 123456789, 8}, {"", 0, 1}};
    for (const auto& t : typed) {
        CAP_ReadNumber(t.text, &number, &digits);
        EXPECT_EQ(number, t.number) << t.text;
        EXPECT_EQ(digits, t.digits) << t.text;
    }
}

TEST(CaptureRules, ModesAndRectangles)
{
    EXPECT_EQ(CAP_KindOfCommand(771), CAPK_RECTANGLE);
    EXPECT_EQ(CAP_KindOfCommand(773), 0);
    EXPECT_EQ(CAP_CommandOfMode(CAPK_UNDERMOUSE | CAPD_WINDOW), 772u);
    EXPECT_EQ(CAP_CheckedMode(3 | CAPD_FILE), CAP_DefaultMode);
    EXPECT_EQ(CAP_CheckedMode(CAPK_SCREEN | CAPD_FILE), CAPK_SCREEN | CAPD_FILE);
    EXPECT_EQ(CAP_StoredMode(CAPK_SCREEN | CAPD_FILE, 0), CAPK_SCREEN | CAPD_CLIPBOARD);
    EXPECT_EQ(CAP_StoredMode(CAPK_SCREEN | CAPD_FILE, 1), CAPK_SCREEN | CAPD_FILE);

    // x, y, width, height before and after, on a 1024 by 768 screen.
    const int fits[][8] = {{-30, 10, 200, 100, 0, 10, 200, 100},
                           {900, 700, 200, 100, 900, 700, 124, 68},
                           {-5, -5, 0x7FFFFFFF, 0x7FFFFFFF, 0, 0, 1024, 768}};
    for (const auto& f : fits) {
        int x = f[0], y = f[1], w = f[2], h = f[3];
        CAP_FitRect(1024, 768, &x, &y, &w, &h);
        EXPECT_EQ(std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(w) + "," + std::to_string(h),
                  std::to_string(f[4]) + "," + std::to_string(f[5]) + "," + std::to_string(f[6]) + "," +
                      std::to_string(f[7]));
    }

    POINT corner = CAP_SquareCorner({100, 100}, {130, 80});
    EXPECT_EQ(corner.x, 130);
    EXPECT_EQ(corner.y, 70);
    corner = CAP_SquareCorner({100, 100}, {90, 140});
    EXPECT_EQ(corner.x, 60);
    EXPECT_EQ(corner.y, 140);

    RECT rect;
    EXPECT_EQ(CAP_SortCorners({50, 40}, {10, 90}, &rect), 1);
    EXPECT_EQ(rect.left, 10);
    EXPECT_EQ(rect.top, 40);
    EXPECT_EQ(rect.right, 50);
    EXPECT_EQ(rect.bottom, 90);
    EXPECT_EQ(CAP_SortCorners({50, 40}, {50, 90}, &rect), 0);
}
