// Printing in the real program to a private CUPS scheduler (tools/print-queue.sh,
// found through KV_PRINT_DIR and CUPS_SERVER): each job is rendered with
// ghostscript at the printer's resolution and the page compared with the image.
#include <gtest/gtest.h>

#include "driver.h"

#include <winspool.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

using namespace kvgui;

namespace {
const int kPrinterList = 1139, kFullSize = 1056, kPercent = 1057, kAspect = 1058, kBar = 257;
const WPARAM kPrint = 261, kPrinterSetup = 262, kTo32Bits = 1878;
const int kW = 100, kH = 60;  // the image

std::string PrintDir()
{
    return std::getenv("KV_PRINT_DIR") && std::getenv("CUPS_SERVER") ? std::getenv("KV_PRINT_DIR") : "";
}
std::string JobFile(const std::string& queue) { return WindowsPath(PrintDir() + "/out/" + queue + ".ps"); }

// A whole job in the queue's file (the spooler ends it with "%%EOF" and a
// Ctrl-D), or "" when none came within timeoutMs.
std::string WaitForJob(const std::string& queue, DWORD timeoutMs)
{
    std::string text;
    const bool whole = Within(timeoutMs, [&] {
        const std::vector<BYTE> bytes = ReadBytes(JobFile(queue));
        text.assign(bytes.begin(), bytes.end());
        return text.rfind("%%EOF") != std::string::npos && text.size() - text.rfind("%%EOF") <= 8;
    });
    return whole ? text : "";
}

// The printer as the program sees it (resolution, printable area's offset,
// page in pixels) and its job rendered by ghostscript: rows of red, green, blue.
struct Page {
    int dpiX = 0, dpiY = 0, offsetX = 0, offsetY = 0, width = 0, height = 0;
    std::vector<BYTE> rgb;
    DWORD At(int x, int y) const
    {
        const BYTE* q = &rgb[(static_cast<size_t>(y) * width + x) * 3];
        return static_cast<DWORD>(q[0] << 16 | q[1] << 8 | q[2]);
    }
};
bool Render(const std::string& queue, Page* p)
{
    HDC dc = CreateDCA("winspool", queue.c_str(), nullptr, nullptr);
    *p = {GetDeviceCaps(dc, LOGPIXELSX),     GetDeviceCaps(dc, LOGPIXELSY),
          GetDeviceCaps(dc, PHYSICALOFFSETX), GetDeviceCaps(dc, PHYSICALOFFSETY),
          GetDeviceCaps(dc, PHYSICALWIDTH),   GetDeviceCaps(dc, PHYSICALHEIGHT)};
    DeleteDC(dc);
    const size_t size = static_cast<size_t>(p->width) * p->height * 3;
    const std::string out = PrintDir() + "/page.rgb";
    return size && RunUnix("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ppmraw -r" + std::to_string(p->dpiX) +
                               " -sOutputFile=- " + PrintDir() + "/out/" + queue + ".ps | tail -c " + std::to_string(size) +
                               " >" + out, 60000) == 0 &&
           (p->rgb = ReadBytes(WindowsPath(out))).size() == size;
}

// The image's colours, none of them white: pixel (x, y) from the top.
DWORD Colour(int x, int y) { return static_cast<DWORD>((x * 2 + 10) << 16 | (y * 3 + 20) << 8 | ((x + y) % 200 + 30)); }

// Compares the page with the image scaled to width x height at the printable
// area's origin: each image pixel at the centre of the area it covers (away
// from edges ghostscript may round either way), white two pixels beyond each
// edge and image two pixels within. gray: the page holds the luminance.
std::string Compare(const Page& p, int width, int height, const std::function<DWORD(int, int)>& colour, bool gray,
                    int tolerance)
{
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            DWORD want = colour(x, y);
            if (gray) want = ((want >> 16) * 30 + (want >> 8 & 255) * 59 + (want & 255) * 11) / 100 * 0x010101u;
            const DWORD got =
                p.At(p.offsetX + (2 * x + 1) * width / (2 * kW), p.offsetY + (2 * y + 1) * height / (2 * kH));
            for (int shift : {0, 8, 16})
                if (std::abs(static_cast<int>(got >> shift & 255) - static_cast<int>(want >> shift & 255)) > tolerance)
                    return "pixel " + std::to_string(x) + "," + std::to_string(y) + ": " + std::to_string(got);
        }
    const int x0 = p.offsetX, y0 = p.offsetY, midX = x0 + width / 2, midY = y0 + height / 2;
    for (auto edge : {std::make_tuple(x0 + width + 1, midY, true), std::make_tuple(midX, y0 + height + 1, true),
                      std::make_tuple(x0 - 2, midY, true), std::make_tuple(midX, y0 - 2, true),
                      std::make_tuple(x0 + width - 2, midY, false), std::make_tuple(midX, y0 + height - 2, false)})
        if ((p.At(std::get<0>(edge), std::get<1>(edge)) == 0xFFFFFF) != std::get<2>(edge))
            return "the image does not end where it should";
    return "";
}

// Prints the session's image: the queue, a size radio with field texts by control id, then the button.
struct Choice {
    std::string queue;
    int size = kFullSize;
    std::vector<std::pair<int, std::string>> fields;  // 1155 to 1157, copies 1154
    int button = IDOK;
};
void PrintWith(Session& run, const Choice& choice)
{
    DeleteFileA(JobFile(choice.queue).c_str());
    run.Command(kPrint);
    HWND dialog = run.WaitForControl(kFullSize);
    ASSERT_NE(dialog, nullptr) << "no print dialog";
    // It always opens on Full Size with 100 in every field.
    EXPECT_EQ(Send(GetDlgItem(dialog, kFullSize), BM_GETCHECK, 0, 0), BST_CHECKED);
    EXPECT_EQ(ControlText(dialog, 1155) + ControlText(dialog, 1156) + ControlText(dialog, 1157), "100100100");
    ASSERT_TRUE(ChooseItem(dialog, kPrinterList, choice.queue)) << "Wine offers no such printer from " << PrintDir();
    PressButton(dialog, choice.size);
    run.Settle();
    for (const auto& field : choice.fields)
        Send(GetDlgItem(dialog, field.first), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(field.second.c_str()));
    PressButton(dialog, choice.button);
    EXPECT_TRUE(WaitForWindowGone(dialog, 10000));
}
}  // namespace

TEST(Print, EachPathPutsTheImageAtTheOriginInItsSize)
{
    ASSERT_FALSE(PrintDir().empty()) << "no private print system: tools/print-queue.sh start DIR, then "
                                        "KV_PRINT_DIR=DIR and CUPS_SERVER=DIR/sock (./korvanta test does so)";
    // A 96-dpi screen and 600-dpi printers: 100 by 60 pixels print as 625 by 375.
    HDC screen = GetDC(nullptr);
    ASSERT_EQ(GetDeviceCaps(screen, LOGPIXELSX) * 1000 + GetDeviceCaps(screen, LOGPIXELSY), 96096);
    ReleaseDC(nullptr, screen);
    std::vector<RGBQUAD> table(256);
    for (int i = 0; i < 256; ++i) table[i] = {BYTE(255 - i), BYTE(i / 2), BYTE(i), 0};
    auto index = [](int x, int y) { return static_cast<DWORD>((x / 4 + 25 * (y / 6)) % 256); };
    auto indexed = [&](int x, int y) {
        const RGBQUAD& q = table[index(x, y)];
        return static_cast<DWORD>(q.rgbRed << 16 | q.rgbGreen << 8 | q.rgbBlue);
    };
    struct Case {
        int bits;  // 32: the 24-bit image made 32 bits in the program
        Choice choice;
        int width, height;  // printed, in printer pixels
        bool postScript, gray;
    };
    // Copies typed as 3 still draw one page; "Aspect:" sets the two axes apart.
    for (const Case& c : {Case{8, {"kvcolour"}, 625, 375, false, false}, Case{24, {"kvcolour"}, 625, 375, true, false},
                          Case{32, {"kvcolour"}, 625, 375, true, false}, Case{24, {"kvmono"}, 625, 375, false, true},
                          Case{24, {"kvcolour", kAspect, {{1156, "50"}, {1157, "200"}, {1154, "3"}}}, 312, 750, true,
                               false},
                          Case{24, {"kvcolour", kPercent, {{1155, "0"}}}, 0, 0, true, false}}) {
        SCOPED_TRACE(std::to_string(c.bits) + " bits on " + c.choice.queue + ", " + std::to_string(c.width) + " wide");
        Session run(
            WriteBmp("PRINT.BMP", c.bits == 8 ? MakeDib(kW, kH, 8, table, index) : MakeDib(kW, kH, 24, {}, Colour)));
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        if (c.bits == 32) run.Command(kTo32Bits);
        PrintWith(run, c.choice);
        const std::string job = WaitForJob(c.choice.queue, 20000);
        ASSERT_FALSE(job.empty()) << "no job arrived in " << JobFile(c.choice.queue);
        // The spooler knows the job by the window's title; one page, whatever the copies.
        EXPECT_NE(job.find("%%Title: " + WindowText(window) + "\n"), std::string::npos);
        EXPECT_EQ(job.find("%%Page:"), job.rfind("%%Page:"));
        const std::string lines = "gs " + std::to_string(c.width) + " " + std::to_string(c.height) + " 0 0 CB\n";
        EXPECT_EQ(job.find(lines) != std::string::npos, c.postScript);
        Page page;
        ASSERT_TRUE(Render(c.choice.queue, &page)) << "ghostscript did not render the job";
        ASSERT_EQ(page.dpiX * 1000 + page.dpiY, 600600);
        if (c.width == 0)
            EXPECT_EQ(std::count(page.rgb.begin(), page.rgb.end(), 255), static_cast<std::ptrdiff_t>(page.rgb.size()));
        else  // colours exact; a gray page within 1 of the luminance, which the driver rounds its own way
            EXPECT_EQ(Compare(page, c.width, c.height, c.bits == 8 ? std::function<DWORD(int, int)>(indexed) : Colour,
                              c.gray, c.gray ? 1 : 0), "");
        EXPECT_TRUE(run.NoDialogs());
    }
}

TEST(Print, CancellingInTheDialogOrDuringThePostScript)
{
    ASSERT_FALSE(PrintDir().empty()) << "no private print system (see EachPathPutsTheImageAtTheOriginInItsSize)";
    // Large enough that the rows take a while to send.
    Session run(
        WriteBmp("PRINTBIG.BMP", MakeDib(3000, 1500, 24, {}, [](int x, int y) { return Colour(x % 97, y % 53); })));
    ASSERT_NE(run.WaitForWindows(1, 20000), nullptr);
    // Cancel in the dialog: nothing printed, nothing shown.
    PrintWith(run, Choice{"kvcolour", kFullSize, {}, IDCANCEL});
    EXPECT_TRUE(WaitForJob("kvcolour", 3000).empty());
    EXPECT_TRUE(run.NoDialogs());
    // Printer Setup brings up the common setup dialog, not the program's.
    run.Command(kPrinterSetup);
    HWND setup = WaitForProcessWindow(run.program.Pid(), "#32770", 10000);
    ASSERT_NE(setup, nullptr);
    EXPECT_EQ(GetDlgItem(setup, 1157), nullptr) << WindowText(setup);
    Answer(setup, IDCANCEL);

    // Cancel Print once the bar has grown, the rows on their way: the report, and no EndDoc, so no job.
    PrintWith(run, Choice{"kvcolour"});
    HWND progress = nullptr;
    ASSERT_TRUE(
        Within(20000, [&] { return (progress = FindWindowA("#32770", WindowText(run.Windows()[0]).c_str())); }));
    EXPECT_EQ(ControlText(progress, IDCANCEL), "Cancel Print");
    RECT bar;
    GetWindowRect(GetDlgItem(progress, kBar), &bar);
    Image shot;
    ASSERT_TRUE(Within(20000, [&] {
        return CaptureScreenRect(bar, &shot) && shot.Count({0, 0, shot.width, shot.height}, 0xFF0000) > 0;
    }));
    ASSERT_TRUE(PressButton(progress, IDCANCEL));
    EXPECT_EQ(run.AnswerBox(IDOK), "User Abort -- Cancelling print request");
    EXPECT_TRUE(WaitForWindowGone(progress, 10000));
    EXPECT_TRUE(run.NoDialogs());
    EXPECT_TRUE(WaitForJob("kvcolour", 5000).empty());
}

// Wine takes the printers from the scheduler once per session, so this runs
// in a session of its own whose scheduler has none (./korvanta test runs it so).
TEST(PrintWithoutPrinters, OnlyTheDialogSpeaks)
{
    DWORD needed = 0, count = 0;
    EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 2, nullptr, 0, &needed, &count);
    ASSERT_EQ(needed, 0u) << "this Wine session has printers: run it alone, after wineserver -k, with "
                             "CUPS_SERVER=DIR/empty/sock of tools/print-queue.sh";
    Session run(WriteBmp("PRINTNONE.BMP", MakeDib(8, 8, 24, {}, Colour)));
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    run.Command(kPrint);
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_NE(MessageBoxText(box).find("printer"), std::string::npos) << MessageBoxText(box);
    Answer(box, IDOK);
    Sleep(1500);  // nothing follows it
    EXPECT_TRUE(run.NoDialogs());
}
