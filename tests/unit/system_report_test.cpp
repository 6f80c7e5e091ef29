// The System Info report's texts: names of machine facts, the report's lines
// from the dialog's texts, and the indent of a printed line.
#include "controls/system_report.h"

#include <gtest/gtest.h>

#include <string>

TEST(SystemReport, FactsNameTheirTexts)
{
    struct Id { UINT got, expected; };
    auto page = SYS_CodePageText;
    auto key = SYS_KeyboardText;
    auto mouse = SYS_MouseText;
    for (const Id& c : {Id{page(437), 1328}, Id{page(865), 1333}, Id{page(932), 1357}, Id{page(1252), 1334},
                        Id{key(4, 0), 1338}, Id{key(6, 9), 1340}, Id{key(7, 0), 1358}, Id{key(7, 0xD04), 1366},
                        Id{key(7, 5), 1367}, Id{key(8, 0), 1334}, Id{key(0, 0), 1334}, Id{mouse(0, 1), 1345},
                        Id{mouse(1, 0), 1344}, Id{mouse(1, 1), 1346}})
        EXPECT_EQ(c.got, c.expected);
    EXPECT_EQ(SYS_CpuText(586, 2) + "|" + SYS_CpuText(21064, 1) + "|" + SYS_CpuText(8664, 4), "Pentium (2)|Alpha (1)|");
    // The order is the report's, not the bits'.
    EXPECT_EQ(SYS_RasterText(0x3FF), "Ras;Bnd;Blt;B64;DIB;Drw;Pal");
    EXPECT_EQ(SYS_RasterText(0x281), "Ras;Blt;DIB;Drw");
    EXPECT_EQ(SYS_RasterText(0x74), "Ras");
}

TEST(SystemReport, LinesCarryTheControlsTextsAndTheModules)
{
    SYS_ReportFacts facts{[](int id) { return id == 23 ? std::string("50%s") : "v" + std::to_string(id); },
                          {},
                          {"C:\\A\\ONE.FMT", "TWO.FMT"}};
    std::string report;
    for (const std::string& line : SYS_ReportLines(facts)) report += line;
    EXPECT_EQ(report,
              "Windows Info\n\tWindows Version: v10\n\tWindows Directory: v11\n\tWindows System Directory: v12\n"
              "\tWindows mode: v13\n\nMemory / Resource Info\n\tMemory Load: v20\n\tFree Physical Memory: v21\n"
              "\tFree Paged Memory: v22\n\tTotal memory free: 50%s\n\nTask Info\n\tNumber of tasks running: v30\n"
              "\tKorvanta Windows: v31\n\nKeyboard Info\n\tCharacter translation: v40\n\tKeyboard type: v41\n"
              "\nDLL Info\n\tFunction DLL's loaded: v50\n\n\tFormat DLL's loaded: v51\n\t\tC:\\A\\ONE.FMT\n"
              "\t\tTWO.FMT\n\nHardware Info\n\tCPU type: v60\n\tMath co-processor: v61\n\nDisk Info\n"
              "\tTemporary disk drive: v70\n\tKorVanta path: v72\n\nDevice Info\n\tDevice Name: v80\n"
              "\tDevice dimensions: v82\n\tDevice resolution: v83\n\tBits per pixel: v84\n\tColor planes: v85\n"
              "\tDevice brushes: v86\n\tNumber of colors: v87\n\tPalette size: v88\n\tReserved colors: v89\n"
              "\tColors resolution: v90\n\tRaster capabilities: v91\n\nMouse Info\n\tMouse: v110\n"
              "\tDouble-Click time: v111\n");
    // On paper a tab is four text heights, a leading newline one height.
    int x = 0, y = 100;
    EXPECT_EQ(SYS_LineIndent("\n\tFormat: 2\n", 30, &x, &y), 2u);
    EXPECT_EQ(x * 1000 + y, 120130);
    x = 0;
    EXPECT_EQ(SYS_LineIndent("\t\tA.FMT\n", 10, &x, &y), 2u);
    EXPECT_EQ(x * 1000 + y, 80130);
}
