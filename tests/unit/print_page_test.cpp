// The printed page: sizes from dots per inch and percent, the choice of the
// PostScript path, and the exact PostScript text of an image.
#include "print/page_layout.h"
#include "print/postscript.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {
// Keeps every packet's text; answers stopAt (from packet number failAt on) or 1.
struct Capture {
    std::vector<std::string> texts;
    size_t failAt = SIZE_MAX;
    int stopAt = 1;
    static int Send(void* context, char* packet, int length)
    {
        auto* self = static_cast<Capture*>(context);
        uint32_t header = 0;
        for (int i = 3; i >= 0; --i) header = header << 8 | static_cast<unsigned char>(packet[i]);
        EXPECT_EQ(header, static_cast<uint32_t>(length));
        self->texts.emplace_back(packet + PS_PacketHeader, length);
        return self->texts.size() > self->failAt ? self->stopAt : 1;
    }
    std::string All() const
    {
        std::string all;
        for (const auto& t : texts) all += t;
        return all;
    }
};

std::vector<int> progressSeen;
void Progress(int percent) { progressSeen.push_back(percent); }
}  // namespace

TEST(PrintPage, PrintedSizeFollowsDotsPerInchThenPercent)
{
    struct Case { int pixels, printer, screen, percent, expected; };
    for (const Case& c : {Case{100, 600, 96, 100, 625}, Case{100, 600, 96, 50, 312}, Case{100, 600, 96, 200, 1250},
                          Case{100, 600, 96, 0, 0}, Case{7, 300, 96, 100, 21}, Case{100, 600, 0, 100, 0},
                          Case{3, 100, 96, 300, 9}})
        EXPECT_EQ(PRI_PrintedSize(c.pixels, c.printer, c.screen, c.percent), c.expected)
            << c.pixels << " px at " << c.printer << "/" << c.screen << " dpi, " << c.percent << "%";
}

TEST(PrintPage, OnlyColourPostScriptDriversTakeThePostScriptPath)
{
    struct Case { const char* name; const char* technology; int bits, planes, colours, colorDevice, expected; };
    for (const Case& c : {Case{"PSCRIPT", nullptr, 24, 1, -1, -1, 1}, Case{"Apple PostScript", "", 1, 1, 256, -1, 1},
                          Case{"pscript.drv", nullptr, 1, 1, 2, -1, 0}, Case{"PSCRIPT", nullptr, 8, 1, 2, 1, 0},
                          Case{"PSCRIPT", nullptr, 3, 3, 2, -1, 1}, Case{"HPPCL", "PCL", 24, 1, -1, 1, 0},
                          Case{"wineps.drv", "PostScript", 32, 1, -1, 1, 1},
                          Case{"wineps.drv", "PostScript", 32, 1, -1, 0, 0}, Case{"", nullptr, 24, 1, -1, -1, 0}})
        EXPECT_EQ(PRI_IsColorPostScriptDriver(c.name, c.technology, c.bits, c.planes, c.colours, c.colorDevice),
                  c.expected)
            << c.name << " " << (c.technology ? c.technology : "-") << " " << c.colorDevice;
}

TEST(PrintPage, ImageTextIsHexRowsBottomFirstBetweenTheOperatorLines)
{
    // 2 by 2, rows bottom-up and padded to 8 bytes: blue, green, red per pixel.
    const BYTE pixels[] = {0x01, 0x02, 0x03, 0xA0, 0xB0, 0xC0, 0xEE, 0xEE,
                           0xFF, 0x00, 0x10, 0x0F, 0xF0, 0x7F, 0xEE, 0xEE};
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = 2;
    header.biHeight = 2;
    header.biBitCount = 24;
    Capture capture;
    progressSeen.clear();
    EXPECT_GT(PS_WriteImage(PS_Sink{Capture::Send, &capture}, &header, pixels, 625, 1250, Progress), 0);
    EXPECT_EQ(capture.All(),
              "/rgbstr 2 3 mul string def\n"
              "/read24 {currentfile rgbstr readhexstring pop}bd\n"
              "gs 625 1250 0 0 CB\n"
              "save 0 0 translate 625 1250 scale\n"
              "2 2 8 [2 0 0 -2 0 2]\n"
              "%BeginData: 2 ASCII Lines\n"  // formatted: "%%" gives one "%"
              "{read24} false 3 colorimage\n"
              "030201C0B0A0\n"
              "1000FF7FF00F\n"
              "%EndData\nrestore\ngr\n");
    EXPECT_EQ(capture.texts.size(), 12u);  // seven lines, two rows each with its newline, the end
    EXPECT_EQ(progressSeen, std::vector<int>{50});

    // One pixel wide, twelve rows: six digits a row; progress at row 10 and the last.
    std::vector<BYTE> column(12 * 4, 0x5A);
    header.biWidth = 1;
    header.biHeight = 12;
    capture.texts.clear();
    progressSeen.clear();
    EXPECT_GT(PS_WriteImage(PS_Sink{Capture::Send, &capture}, &header, column.data(), 1, 1, Progress), 0);
    EXPECT_EQ(capture.texts[7], "5A5A5A");
    EXPECT_EQ(capture.texts[8], "\n");
    EXPECT_EQ(progressSeen, (std::vector<int>{83, 91}));
}

TEST(PrintPage, FailedSendEndsTheTextAtOnce)
{
    const BYTE pixels[8] = {};
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = 1;
    header.biHeight = 2;
    header.biBitCount = 24;
    // At a set-up line, a row, a row's newline, the closing lines.
    for (size_t failAt : {0u, 6u, 7u, 8u, 11u}) {
        Capture capture;
        capture.failAt = failAt;
        capture.stopAt = -3;
        EXPECT_EQ(PS_WriteImage(PS_Sink{Capture::Send, &capture}, &header, pixels, 1, 1, nullptr), -3) << failAt;
        EXPECT_EQ(capture.texts.size(), failAt + 1) << failAt;
    }
    header.biBitCount = 8;
    Capture none;
    EXPECT_EQ(PS_WriteImage(PS_Sink{Capture::Send, &none}, &header, pixels, 1, 1, nullptr), -5);
    EXPECT_TRUE(none.texts.empty());
}
