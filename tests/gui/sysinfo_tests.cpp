// System Info in the real program: the dialog's values, the report file that
// repeats them, the printer's device view and the printed report, caught by
// the private CUPS scheduler of tools/print-queue.sh (KV_PRINT_DIR, CUPS_SERVER).
#include <gtest/gtest.h>

#include "driver.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace kvgui;

namespace {
const WPARAM kSystemInfo = 2562;
const int kFile = 293, kPrint = 332, kScreen = 342, kPrinter = 343, kPrinterList = 1139;
// The value controls in the order the report names them.
const int kValues[] = {10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 40, 41, 50, 51, 60, 61,
                       70, 72, 80, 82, 83, 84, 85, 86, 87, 88, 89, 90, 91, 110, 111};

std::string Caps(HDC dc, const char* format, int a, int b)
{
    char text[64];
    snprintf(text, sizeof text, format, GetDeviceCaps(dc, a), GetDeviceCaps(dc, b));
    return text;
}

// The values of a report's lines ("label: value"), in order; lines end in CR LF in the file, LF from ghostscript.
std::vector<std::string> Values(const std::vector<BYTE>& bytes)
{
    std::string text(bytes.begin(), bytes.end()), line;
    std::vector<std::string> values;
    for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        if ((line = text.substr(at, end - at)).find(": ") == std::string::npos) continue;
        if (line.back() == '\r') line.pop_back();
        values.push_back(line.substr(line.find(": ") + 2));
    }
    return values;
}
// The text ghostscript finds on the printed job: plain, or (xml) each line's
// span with its box in points.
std::vector<BYTE> JobText(const std::string& dir, bool xml)
{
    const std::string out = dir + "/job.txt";
    if (RunUnix("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=txtwrite -dTextFormat=" + std::string(xml ? "1" : "3") +
                    " -sOutputFile=" + out + " " + dir + "/out/kvcolour.ps",
                30000) != 0)
        return {};
    return ReadBytes(WindowsPath(out));
}
std::vector<std::string> DialogValues(HWND dialog)
{
    std::vector<std::string> values;
    for (int id : kValues) values.push_back(ControlText(dialog, id));
    return values;
}

// Presses button of the System Info dialog and answers the print dialog that
// follows with the queue, or cancels it when queue is empty.
void ChoosePrinter(Session& run, HWND info, int button, const std::string& queue)
{
    PressButton(info, button);
    HWND dialog = run.WaitForControl(kPrinterList);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(GetDlgItem(dialog, 1157), nullptr) << "the print dialog comes without the program's size fields";
    if (!queue.empty()) {
        ASSERT_TRUE(ChooseItem(dialog, kPrinterList, queue));
    }
    Answer(dialog, queue.empty() ? IDCANCEL : IDOK);
    run.Settle();
}
}  // namespace

TEST(SystemInfo, TheDialogTheFileAndThePrintedReportSayTheSame)
{
    const char* printDir = std::getenv("KV_PRINT_DIR");
    ASSERT_TRUE(printDir && std::getenv("CUPS_SERVER")) << "no private print system (see print_tests.cpp)";
    const std::string home = KorvantaPath().substr(0, KorvantaPath().rfind('\\')), folder = FreshFolder("sysinfo");
    const std::string report = folder + "\\sysinfo.txt", job = WindowsPath(std::string(printDir) + "/out/kvcolour.ps");
    // An older report in the folder the program was started in is overwritten without a question.
    ASSERT_TRUE(WriteBytes(report, std::vector<BYTE>(5000, 'x')));
    DeleteFileA(job.c_str());
    Session run("", "/NOLOGO", folder);
    run.Command(kSystemInfo);
    HWND info = run.WaitForControl(kScreen);
    ASSERT_NE(info, nullptr);
    ASSERT_TRUE(IsPainted(info));

    OSVERSIONINFOA version{sizeof version};
    GetVersionExA(&version);
    char windows[MAX_PATH], system[MAX_PATH], temp[MAX_PATH];
    GetWindowsDirectoryA(windows, MAX_PATH);
    GetSystemDirectoryA(system, MAX_PATH);
    GetTempPathA(MAX_PATH, temp);
    HDC screen = GetDC(nullptr);
    std::string shown;
    for (int id : {10, 11, 12, 13, 40, 41, 50, 51, 60, 61, 70, 72, 80, 82, 83, 84, 85, 110, 111})
        shown += ControlText(info, id) + "|";
    EXPECT_EQ(shown, std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                         " (Build " + std::to_string(version.dwBuildNumber) + ")|" + windows + "|" + system +
                         "|Windows NT|USA|IBM Enhanced|0|0|Unknown|Present|" + temp[0] + "|" + home + "|Screen|" +
                         Caps(screen, "%u mm x %u mm|", HORZSIZE, VERTSIZE) +
                         Caps(screen, "%u x %u|", HORZRES, VERTRES) + Caps(screen, "%d|%d|", BITSPIXEL, PLANES) +
                         "Present|500 ms|");
    ReleaseDC(nullptr, screen);
    EXPECT_EQ(ControlText(info, 20).substr(ControlText(info, 20).find(' ')), " / 100");
    EXPECT_GE(std::atoi(ControlText(info, 31).c_str()), 2) << "the frame and the dialog at least";
    EXPECT_EQ(ControlText(info, 91).compare(0, 3, "Ras"), 0);
    // Values in blue on the panel's gray.
    Image shot;
    RECT value;
    GetWindowRect(GetDlgItem(info, 13), &value);
    ASSERT_TRUE(CaptureScreenRect(value, &shot));
    EXPECT_GT(shot.Count({0, 0, shot.width, shot.height}, 0x0000FF), 0);
    EXPECT_GT(shot.Count({0, 0, shot.width, shot.height}, 0xC0C0C0), 0);
    // The lists: tasks by title, and no format module without the extension library.
    for (const auto& list : {std::make_pair(333, "List of Tasks"), std::make_pair(335, "List of Format DLL's")}) {
        PressButton(info, list.first);
        HWND dialog = run.WaitForControl(339);
        ASSERT_NE(dialog, nullptr);
        const std::vector<std::string> items = ListItems(dialog, 339);
        EXPECT_EQ(WindowText(dialog), list.second);
        EXPECT_EQ(std::find(items.begin(), items.end(), "Korvanta") != items.end(), !items.empty());
        EXPECT_EQ(items.empty(), list.first == 335);
        Answer(dialog, IDOK);
    }

    PressButton(info, kFile);
    Answer(run.WaitForText("System information written to file 'sysinfo.txt'"), IDOK);
    EXPECT_EQ(Values(ReadBytes(report)), DialogValues(info));

    // Cancelled, the printer view changes nothing.
    auto enabled = [&] {
        return IsWindowEnabled(GetDlgItem(info, kScreen)) * 10 + IsWindowEnabled(GetDlgItem(info, kPrinter));
    };
    EXPECT_EQ(enabled(), 1);
    ChoosePrinter(run, info, kPrinter, "");
    EXPECT_EQ(enabled(), 1);
    EXPECT_EQ(ControlText(info, 80), "Screen");
    ChoosePrinter(run, info, kPrinter, "kvcolour");
    EXPECT_EQ(enabled(), 10);
    HDC printer = CreateDCA("winspool", "kvcolour", nullptr, nullptr);
    EXPECT_EQ(ControlText(info, 80) + "|" + ControlText(info, 83),
              "wineps.drv|" + Caps(printer, "%u x %u", HORZRES, VERTRES));
    DeleteDC(printer);
    // The report shows the device the dialog shows now.
    PressButton(info, kFile);
    Answer(run.WaitForText("System information written to file"), IDOK);
    const std::vector<std::string> values = DialogValues(info);
    EXPECT_EQ(Values(ReadBytes(report)), values);

    // Cancelled, Print prints nothing; then the same values go to paper.
    ChoosePrinter(run, info, kPrint, "");
    Sleep(1000);
    EXPECT_FALSE(Exists(job));
    ChoosePrinter(run, info, kPrint, "kvcolour");
    std::string ps;
    ASSERT_TRUE(Within(20000, [&] {
        const std::vector<BYTE> bytes = ReadBytes(job);
        return (ps.assign(bytes.begin(), bytes.end())).find("%%EOF") != std::string::npos;
    })) << "no job in " << job;
    EXPECT_NE(ps.find("%%Title: System Info\n"), std::string::npos);
    EXPECT_EQ(Values(JobText(printDir, false)), values);
    // A heading's blank line is one text height; a tab four heights, not a width.
    const std::vector<BYTE> xml = JobText(printDir, true);
    const std::string spans(xml.begin(), xml.end());
    std::vector<int> box;
    for (size_t at = 0; box.size() < 12 && (at = spans.find("<span bbox=\"", at)) != std::string::npos; at++) {
        int x0, y0, x1, y1;
        ASSERT_EQ(sscanf(spans.c_str() + at + 12, "%d %d %d %d", &x0, &y0, &x1, &y1), 4);
        box.insert(box.end(), {x0, y0});
    }
    ASSERT_EQ(box.size(), 12u);  // Windows Info, its four lines, Memory / Resource Info
    const int height = box[3] - box[1];
    EXPECT_EQ(std::vector<int>({box[2] - box[0], box[5] - box[3], box[10], box[11] - box[9]}),
              std::vector<int>({4 * height, height, box[0], 2 * height})) << "text height " << height;
    PressButton(info, IDOK);
    EXPECT_TRUE(WaitForWindowGone(info, 5000));
    EXPECT_TRUE(run.Exit());
}
