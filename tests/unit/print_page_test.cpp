// The printed page: sizes from dots per inch and percent, the choice of the
// PostScript path, and the exact PostScript text of an image.
#include "print/page_layout.h"
#include "formats/postscript.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
// Keeps each packet's text (checking the length in front); answers -3 from packet failAt on.
struct Capture {
    std::vector<std::string> texts;
    size_t failAt = SIZE_MAX;
    static int Send(void* context, char* packet, int length)
    {
        auto* self = static_cast<Capture*>(context);
        EXPECT_EQ(std::string(packet, 4), std::string({char(length), char(length >> 8), 0, 0}));
        self->texts.emplace_back(packet + PS_PacketHeader, length);
        return self->texts.size() > self->failAt ? -3 : 1;
    }
};
std::vector<int> progressSeen;
void Progress(int percent) { progressSeen.push_back(percent); }
}  // namespace

TEST(PrintPage, SizesFollowDotsPerInchThenPercentAndOnlyColourPostScriptTakesThatPath)
{
    struct Size { int pixels, printer, screen, percent, expected; };
    for (const Size& c : {Size{100, 600, 96, 100, 625}, Size{100, 600, 96, 50, 312}, Size{100, 600, 96, 200, 1250},
                          Size{100, 600, 96, 0, 0}, Size{7, 300, 96, 100, 21}, Size{100, 600, 0, 100, 0}})
        EXPECT_EQ(PRI_PrintedSize(c.pixels, c.printer, c.screen, c.percent), c.expected) << c.pixels;
    struct Driver { const char *name, *technology; int bits, planes, colours, colorDevice, expected; };
    for (const Driver& c : {Driver{"PSCRIPT", nullptr, 24, 1, -1, -1, 1},
                            Driver{"Apple PostScript", "", 1, 1, 256, 1, 1},
                            Driver{"pscript.drv", nullptr, 1, 1, 2, -1, 0}, Driver{"PSCRIPT", nullptr, 8, 1, 2, 1, 0},
                            Driver{"PSCRIPT", nullptr, 3, 3, 2, -1, 1}, Driver{"HPPCL", "PCL", 24, 1, -1, 1, 0},
                            Driver{"wineps.drv", "PostScript", 32, 1, -1, 1, 1},
                            Driver{"wineps.drv", "PostScript", 32, 1, -1, 0, 0}})
        EXPECT_EQ(PRI_IsColorPostScriptDriver(c.name, c.technology, c.bits, c.planes, c.colours, c.colorDevice),
                  c.expected) << c.name << " " << c.colorDevice;
}

TEST(PrintPage, ImageTextIsHexRowsBottomFirstAndEndsAtTheFirstFailedSend)
{
    // 2 by 2, rows bottom-up and padded to 8 bytes: blue, green, red per pixel.
    const BYTE pixels[] = {0x01, 0x02, 0x03, 0xA0, 0xB0, 0xC0, 0xEE, 0xEE,
                           0xFF, 0x00, 0x10, 0x0F, 0xF0, 0x7F, 0xEE, 0xEE};
    BITMAPINFOHEADER header{sizeof header, 2, 2, 1, 24};
    Capture capture;
    progressSeen.clear();
    EXPECT_GT(PS_WriteImage(PS_Sink{Capture::Send, &capture}, &header, pixels, 625, 1250, Progress), 0);
    std::string all;
    for (const auto& text : capture.texts) all += text;
    // Formatted like the rest, "%%" gives one "%".
    EXPECT_EQ(all, "/rgbstr 2 3 mul string def\n/read24 {currentfile rgbstr readhexstring pop}bd\n"
                   "gs 625 1250 0 0 CB\nsave 0 0 translate 625 1250 scale\n2 2 8 [2 0 0 -2 0 2]\n"
                   "%BeginData: 2 ASCII Lines\n{read24} false 3 colorimage\n030201C0B0A0\n1000FF7FF00F\n"
                   "%EndData\nrestore\ngr\n");
    EXPECT_EQ(capture.texts.size(), 12u);  // seven lines, two rows each with its newline, the end
    EXPECT_EQ(progressSeen, std::vector<int>{50});

    // One pixel wide, twelve rows: six digits a row; progress at row 10 and the last.
    std::vector<BYTE> column(12 * 4, 0x5A);
    header.biWidth = 1;
    header.biHeight = 12;
    Capture narrow;
    progressSeen.clear();
    EXPECT_GT(PS_WriteImage(PS_Sink{Capture::Send, &narrow}, &header, column.data(), 1, 1, Progress), 0);
    EXPECT_EQ(narrow.texts[7] + narrow.texts[8], "5A5A5A\n");
    EXPECT_EQ(progressSeen, (std::vector<int>{83, 91}));

    // A failed send at a set-up line, a row, a row's newline or the end stops there.
    header.biHeight = 2;
    for (size_t failAt : {0u, 6u, 7u, 8u, 11u}) {
        Capture failing;
        failing.failAt = failAt;
        EXPECT_EQ(PS_WriteImage(PS_Sink{Capture::Send, &failing}, &header, column.data(), 1, 1, nullptr), -3);
        EXPECT_EQ(failing.texts.size(), failAt + 1) << failAt;
    }
    header.biBitCount = 8;
    Capture none;
    EXPECT_EQ(PS_WriteImage(PS_Sink{Capture::Send, &none}, &header, column.data(), 1, 1, nullptr), -5);
    EXPECT_TRUE(none.texts.empty());
}
