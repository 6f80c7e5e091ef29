// Printing in the real program to a private CUPS scheduler (tools/print-queue.sh,
// found through KV_PRINT_DIR and CUPS_SERVER): each job is rendered with
// ghostscript at the printer's resolution and the page compared with the image.
#include <gtest/gtest.h>

#include "driver.h"

#include <winspool.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

using namespace kvgui;

namespace {
const int kPrinterList = 1139, kFullSize = 1056, kPercent = 1057, kAspect = 1058;
const int kPercentField = 1155, kWidthField = 1156, kHeightField = 1157, kCopiesField = 1154;
const WPARAM kPrint = 261, kTo32Bits = 1878;

// The scheduler's folder (a Unix path), or "" when no private print system runs.
std::string PrintDir()
{
    const char* dir = std::getenv("KV_PRINT_DIR");
    return dir && std::getenv("CUPS_SERVER") ? dir : "";
}
std::string JobFile(const std::string& queue) { return WindowsPath(PrintDir() + "/out/" + queue + ".ps"); }

std::string ReadText(const std::string& path)
{
    const std::vector<BYTE> bytes = ReadBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

// Whether text is a whole job: the spooler ends it with "%%EOF" (and a Ctrl-D).
bool WholeJob(const std::string& text)
{
    const size_t end = text.rfind("%%EOF");
    return end != std::string::npos && text.size() - end <= 8;
}

// Waits for a whole job in the queue's file; its text, or "" after timeoutMs.
std::string WaitForJob(const std::string& queue, DWORD timeoutMs)
{
    std::string text;
    Within(timeoutMs, [&] { return WholeJob(text = ReadText(JobFile(queue))); });
    return WholeJob(text) ? text : "";
}

// A page rendered by ghostscript: rows top-down, 0xRRGGBB.
struct Page {
    int width = 0, height = 0;
    std::vector<BYTE> rgb;
    std::uint32_t At(int x, int y) const
    {
        if (x < 0 || y < 0 || x >= width || y >= height) return 0xFFFFFF;
        const BYTE* p = &rgb[(static_cast<size_t>(y) * width + x) * 3];
        return static_cast<std::uint32_t>(p[0]) << 16 | p[1] << 8 | p[2];
    }
};

// Renders the queue's job at dpi with ghostscript, which Wine starts as the Unix program it is.
bool Render(const std::string& queue, int dpi, Page* page)
{
    const std::string out = PrintDir() + "/page.ppm";
    DeleteFileA(WindowsPath(out).c_str());
    std::string command = "/usr/bin/gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ppmraw -r" + std::to_string(dpi) +
                          " -sOutputFile=" + out + " " + PrintDir() + "/out/" + queue + ".ps";
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &info))
        return false;
    CloseHandle(info.hProcess);
    CloseHandle(info.hThread);
    // Wine does not wait for a Unix program: the page is there once its size holds still.
    LONGLONG last = -1;
    Within(60000, [&] {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const LONGLONG size = GetFileAttributesExA(WindowsPath(out).c_str(), GetFileExInfoStandard, &data)
                                  ? static_cast<LONGLONG>(data.nFileSizeHigh) << 32 | data.nFileSizeLow
                                  : -1;
        const bool still = size > 0 && size == last;
        last = size;
        return still;
    });
    const std::vector<BYTE> ppm = ReadBytes(WindowsPath(out));
    DeleteFileA(WindowsPath(out).c_str());
    // "P6", width, height, maximum, each after blanks or "#" comment lines, then one blank.
    size_t at = 2;
    int numbers[3] = {};
    for (int& number : numbers) {
        while (at < ppm.size() && (std::isspace(ppm[at]) || ppm[at] == '#'))
            if (ppm[at] == '#')
                while (at < ppm.size() && ppm[at] != '\n') ++at;
            else
                ++at;
        for (; at < ppm.size() && std::isdigit(ppm[at]); ++at) number = number * 10 + (ppm[at] - '0');
    }
    page->width = numbers[0];
    page->height = numbers[1];
    const size_t size = static_cast<size_t>(page->width) * page->height * 3;
    if (ppm.size() < 2 || ppm[0] != 'P' || ppm[1] != '6' || numbers[2] != 255 || ppm.size() != at + 1 + size)
        return false;
    page->rgb.assign(ppm.begin() + at + 1, ppm.end());
    return true;
}

// What the print dialog is given.
struct Choice {
    std::string queue;
    int size = kFullSize;  // or kPercent with percent, or kAspect with width and height
    std::string percent, width, height, copies = "1";
    bool cancel = false;
};

// Prints the session's image with the dialog filled as choice says.
void PrintWith(Session& run, const Choice& choice)
{
    DeleteFileA(JobFile(choice.queue).c_str());
    run.Command(kPrint);
    HWND dialog = nullptr;
    ASSERT_TRUE(Within(10000, [&] {
        for (HWND window : TopLevelWindows(run.program.Pid(), "#32770"))
            if (GetDlgItem(window, kFullSize)) dialog = window;
        return dialog != nullptr;
    })) << "no print dialog";
    // It always opens on Full Size with 100 in every field.
    EXPECT_EQ(Send(GetDlgItem(dialog, kFullSize), BM_GETCHECK, 0, 0), BST_CHECKED);
    EXPECT_EQ(ControlText(dialog, kPercentField) + ControlText(dialog, kWidthField) + ControlText(dialog, kHeightField),
              "100100100");
    const std::vector<std::string> printers = ComboItems(dialog, kPrinterList);
    const auto at = std::find(printers.begin(), printers.end(), choice.queue);
    ASSERT_NE(at, printers.end()) << "Wine does not list " << choice.queue;
    ASSERT_TRUE(SelectComboItem(dialog, kPrinterList, static_cast<int>(at - printers.begin())));
    PressButton(dialog, choice.size);
    run.Settle();
    const std::pair<int, const std::string*> fields[] = {
        {kPercentField, &choice.percent}, {kWidthField, &choice.width}, {kHeightField, &choice.height},
        {kCopiesField, &choice.copies}};
    for (const auto& field : fields)
        if (!field.second->empty())
            Send(GetDlgItem(dialog, field.first), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(field.second->c_str()));
    PressButton(dialog, choice.cancel ? IDCANCEL : IDOK);
    EXPECT_TRUE(WaitForWindowGone(dialog, 10000));
}

// The printer's facts as the program sees them: its resolution and the
// offset of its printable area on the page.
struct Printer {
    int dpiX = 0, dpiY = 0, offsetX = 0, offsetY = 0;
};
Printer PrinterFacts(const std::string& queue)
{
    Printer p;
    if (HDC dc = CreateDCA("winspool", queue.c_str(), nullptr, nullptr)) {
        p = {GetDeviceCaps(dc, LOGPIXELSX), GetDeviceCaps(dc, LOGPIXELSY), GetDeviceCaps(dc, PHYSICALOFFSETX),
             GetDeviceCaps(dc, PHYSICALOFFSETY)};
        DeleteDC(dc);
    }
    return p;
}

int ScreenDpi(int index)
{
    HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, index);
    ReleaseDC(nullptr, screen);
    return dpi;
}

// The image's colours, none of them white: pixel (x, y) from the top.
DWORD Colour(int x, int y) { return static_cast<DWORD>((x * 2 + 10) << 16 | (y * 3 + 20) << 8 | ((x + y) % 200 + 30)); }

// Compares the page with the image scaled to width x height at the printable
// area's origin: every image pixel at the centre of the area it covers (away
// from the edges ghostscript may round either way), and white just outside.
// gray: the page holds the image's luminance instead of its colours.
void ExpectImage(const Page& page, const Printer& p, int width, int height, int imageW, int imageH,
                 const std::function<DWORD(int, int)>& colour, bool gray, int tolerance)
{
    int wrong = 0;
    std::string first;
    for (int y = 0; y < imageH; ++y)
        for (int x = 0; x < imageW; ++x) {
            const int px = p.offsetX + (2 * x + 1) * width / (2 * imageW);
            const int py = p.offsetY + (2 * y + 1) * height / (2 * imageH);
            const DWORD want = colour(x, y), got = page.At(px, py);
            int r = want >> 16 & 255, g = want >> 8 & 255, b = want & 255;
            if (gray) r = g = b = (r * 30 + g * 59 + b * 11) / 100;
            const int dr = std::abs(static_cast<int>(got >> 16 & 255) - r);
            const int dg = std::abs(static_cast<int>(got >> 8 & 255) - g);
            const int db = std::abs(static_cast<int>(got & 255) - b);
            if (std::max({dr, dg, db}) > tolerance && wrong++ == 0) {
                char text[120];
                std::snprintf(text, sizeof text, "pixel %d,%d at %d,%d: %06lX, image %02X%02X%02X", x, y, px, py,
                              static_cast<unsigned long>(got), r, g, b);
                first = text;
            }
        }
    EXPECT_EQ(wrong, 0) << first;
    // The edges: white beyond, image within (two printer pixels of leeway).
    const int midX = p.offsetX + width / 2, midY = p.offsetY + height / 2;
    EXPECT_EQ(page.At(p.offsetX + width + 1, midY), 0xFFFFFFu);
    EXPECT_EQ(page.At(midX, p.offsetY + height + 1), 0xFFFFFFu);
    EXPECT_EQ(page.At(p.offsetX - 2, midY), 0xFFFFFFu);
    EXPECT_EQ(page.At(midX, p.offsetY - 2), 0xFFFFFFu);
    EXPECT_NE(page.At(p.offsetX + width - 2, midY), 0xFFFFFFu);
    EXPECT_NE(page.At(midX, p.offsetY + height - 2), 0xFFFFFFu);
}

// A message box of the program: neither the print dialog nor the progress dialog.
HWND WaitForReport(const Session& run)
{
    HWND found = nullptr;
    Within(10000, [&] {
        for (HWND window : TopLevelWindows(run.program.Pid(), "#32770"))
            if (GetDlgItem(window, 0xFFFF) && !GetDlgItem(window, kFullSize) && !GetDlgItem(window, 257)) found = window;
        return found != nullptr;
    });
    return found;
}

bool PrintSystemReady()
{
    if (PrintDir().empty()) {
        ADD_FAILURE() << "no private print system: start it with tools/print-queue.sh start DIR and set "
                         "KV_PRINT_DIR=DIR and CUPS_SERVER=DIR/sock (./korvanta test does so)";
        return false;
    }
    if (PrinterFacts("kvcolour").dpiX == 0 || PrinterFacts("kvmono").dpiX == 0) {
        ADD_FAILURE() << "Wine offers no queues kvcolour and kvmono from the CUPS scheduler at " << PrintDir();
        return false;
    }
    return true;
}
}  // namespace

TEST(Print, EachDepthTakesItsPathAndLandsAtTheOriginInItsSize)
{
    ASSERT_TRUE(PrintSystemReady());
    const int imageW = 100, imageH = 60;
    std::vector<RGBQUAD> table(256);
    for (int i = 0; i < 256; ++i) table[i] = {BYTE(255 - i), BYTE(i / 2), BYTE(i), 0};
    auto index = [](int x, int y) { return static_cast<DWORD>((x / 4 + 25 * (y / 6)) % 256); };
    auto indexed = [&](int x, int y) {
        const RGBQUAD& q = table[index(x, y)];
        return static_cast<DWORD>(q.rgbRed << 16 | q.rgbGreen << 8 | q.rgbBlue);
    };
    struct Case {
        const char* name;
        int bits;  // 32: the 24-bit image made 32 bits in the program
        std::string queue;
        bool postScript, gray;
    };
    for (const Case& c : {Case{"PRINT8.BMP", 8, "kvcolour", false, false}, Case{"PRINT24.BMP", 24, "kvcolour", true, false},
                          Case{"PRINT32.BMP", 32, "kvcolour", true, false}, Case{"PRINTM.BMP", 24, "kvmono", false, true}}) {
        SCOPED_TRACE(c.name);
        const auto dib = c.bits == 8 ? MakeDib(imageW, imageH, 8, table, index) : MakeDib(imageW, imageH, 24, {}, Colour);
        Session run(WriteBmp(c.name, dib));
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        if (c.bits == 32) {
            run.Command(kTo32Bits);
            run.Settle();
        }
        PrintWith(run, Choice{c.queue});
        const std::string job = WaitForJob(c.queue, 20000);
        ASSERT_FALSE(job.empty()) << "no job arrived in " << JobFile(c.queue);
        EXPECT_EQ(job.find("{read24} false 3 colorimage") != std::string::npos, c.postScript);
        const Printer p = PrinterFacts(c.queue);
        const int width = p.dpiX * imageW / ScreenDpi(LOGPIXELSX), height = p.dpiY * imageH / ScreenDpi(LOGPIXELSY);
        if (c.postScript) {
            // The image's own lines, sized by the screen and printer resolutions.
            EXPECT_NE(job.find("gs " + std::to_string(width) + " " + std::to_string(height) + " 0 0 CB\n"),
                      std::string::npos);
            EXPECT_NE(job.find("/rgbstr 100 3 mul string def\n"), std::string::npos);
        }
        Page page;
        ASSERT_TRUE(Render(c.queue, p.dpiX, &page));
        // Colours exact; a gray page within 1 of the luminance, which the driver rounds its own way.
        ExpectImage(page, p, width, height, imageW, imageH, c.bits == 8 ? std::function<DWORD(int, int)>(indexed) : Colour,
                    c.gray, c.gray ? 1 : 0);
        EXPECT_TRUE(run.NoDialogs());
    }
}

TEST(Print, SizesCopiesCancelAndTheDocumentName)
{
    ASSERT_TRUE(PrintSystemReady());
    const int imageW = 100, imageH = 60;
    Session run(WriteBmp("PRINTS.BMP", MakeDib(imageW, imageH, 24, {}, Colour)));
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const Printer p = PrinterFacts("kvcolour");
    const int fullW = p.dpiX * imageW / ScreenDpi(LOGPIXELSX), fullH = p.dpiY * imageH / ScreenDpi(LOGPIXELSY);

    // "Aspect:" sets the two axes apart: half as wide, twice as tall.
    Choice aspect{"kvcolour", kAspect, "", "50", "200"};
    PrintWith(run, aspect);
    std::string job = WaitForJob("kvcolour", 20000);
    ASSERT_FALSE(job.empty());
    // The spooler knows the job by the window's title.
    EXPECT_NE(job.find("%%Title: " + WindowText(window) + "\n"), std::string::npos) << WindowText(window);
    Page page;
    ASSERT_TRUE(Render("kvcolour", p.dpiX, &page));
    ExpectImage(page, p, fullW * 50 / 100, fullH * 200 / 100, imageW, imageH, Colour, false, 0);

    // 0 percent: the job runs and its page stays white.
    PrintWith(run, Choice{"kvcolour", kPercent, "0"});
    ASSERT_FALSE(WaitForJob("kvcolour", 20000).empty());
    ASSERT_TRUE(Render("kvcolour", p.dpiX, &page));
    EXPECT_EQ(std::count(page.rgb.begin(), page.rgb.end(), 255), static_cast<std::ptrdiff_t>(page.rgb.size()));

    // Three copies typed: one page is drawn.
    Choice copies{"kvcolour"};
    copies.copies = "3";
    PrintWith(run, copies);
    job = WaitForJob("kvcolour", 20000);
    ASSERT_FALSE(job.empty());
    size_t pages = 0;
    for (size_t at = job.find("%%Page:"); at != std::string::npos; at = job.find("%%Page:", at + 1)) ++pages;
    EXPECT_EQ(pages, 1u);

    // Cancel in the dialog: nothing is printed, nothing is shown.
    Choice cancel{"kvcolour"};
    cancel.cancel = true;
    PrintWith(run, cancel);
    EXPECT_TRUE(WaitForJob("kvcolour", 3000).empty());
    EXPECT_TRUE(run.NoDialogs());
}

TEST(Print, CancelPrintEndsThePostScriptWithoutEndingTheDocument)
{
    ASSERT_TRUE(PrintSystemReady());
    // Large enough that the rows take a while to send.
    Session run(WriteBmp("PRINTBIG.BMP", MakeDib(3000, 1500, 24, {}, [](int x, int y) { return Colour(x % 97, y % 53); })));
    ASSERT_NE(run.WaitForWindows(1, 20000), nullptr);
    PrintWith(run, Choice{"kvcolour"});
    HWND progress = nullptr;
    ASSERT_TRUE(Within(20000, [&] {
        for (HWND window : TopLevelWindows(run.program.Pid(), "#32770"))
            if (GetDlgItem(window, 257) && ControlText(window, IDCANCEL) == "Cancel Print") progress = window;
        return progress != nullptr;
    }));
    // Once the bar has grown, the rows are on their way: cancel.
    RECT bar;
    GetWindowRect(GetDlgItem(progress, 257), &bar);
    ASSERT_TRUE(Within(20000, [&] {
        Image shot;
        return CaptureScreenRect(bar, &shot) && shot.Count({0, 0, shot.width, shot.height}, 0xFF0000) > 0;
    })) << "the progress bar never grew";
    ASSERT_TRUE(PressButton(progress, IDCANCEL));
    HWND box = WaitForReport(run);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "User Abort -- Cancelling print request");
    Answer(box, IDOK);
    EXPECT_TRUE(WaitForWindowGone(progress, 10000));
    EXPECT_TRUE(run.NoDialogs());
    // No EndDoc: the queue receives no job.
    EXPECT_TRUE(WaitForJob("kvcolour", 5000).empty());
}

// Wine takes the printers from the scheduler once per session, so this runs
// in a session of its own whose scheduler has none (./korvanta test runs it so).
TEST(PrintWithoutPrinters, OnlyTheDialogSpeaks)
{
    DWORD needed = 0, count = 0;
    EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 2, nullptr, 0, &needed, &count);
    ASSERT_EQ(needed, 0u) << "this Wine session has printers: run it alone with CUPS_SERVER=DIR/empty/sock of "
                             "tools/print-queue.sh after wineserver -k";
    Session run(WriteBmp("PRINTNONE.BMP", MakeDib(8, 8, 24, {}, Colour)));
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    run.Command(kPrint);
    HWND box = WaitForReport(run);
    ASSERT_NE(box, nullptr);
    EXPECT_NE(MessageBoxText(box).find("printer"), std::string::npos) << MessageBoxText(box);
    Answer(box, IDOK);
    // Nothing follows it.
    Sleep(1500);
    EXPECT_TRUE(run.NoDialogs());
}
