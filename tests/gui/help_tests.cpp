// The Help menu under the system's help viewer: Index shows our own help file at
// its index topic, Using Help asks the viewer for the viewer's own file.
#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "driver.h"

using namespace kvgui;

namespace {

// What the index must show, read from the help text: the title, the index topic's
// heading and the titles of the topics it jumps to.
struct HelpIndex {
    std::string title, heading;
    std::vector<std::string> entries;
};

HelpIndex ReadHelpIndex()
{
    std::ifstream source(std::string(KV_SOURCE_DIR) + "/help/korvanta.txt");
    HelpIndex index;
    std::map<std::string, std::string> titles;
    std::vector<std::string> jumps;
    for (std::string line; std::getline(source, line);) {
        const size_t space = line.find(' ', 2);
        if (line.rfind("title: ", 0) == 0)
            index.title = line.substr(7);
        else if (line.rfind("= ", 0) == 0 && space != std::string::npos) {
            if (titles.empty())
                index.heading = line.substr(space + 1);
            titles[line.substr(2, space - 2)] = line.substr(space + 1);
        } else if (line.rfind("-> ", 0) == 0 && titles.size() == 1)
            jumps.push_back(line.substr(3));
    }
    for (const std::string& name : jumps)
        index.entries.push_back(titles[name]);
    return index;
}

// The viewer is a program of its own: whatever a scenario leaves, it goes.
struct ViewerGuard {
    ~ViewerGuard()
    {
        DWORD pid = 0;
        if (HWND viewer = FindWindowA("MS_WINHELP", nullptr); viewer && GetWindowThreadProcessId(viewer, &pid))
            if (HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid)) {
                TerminateProcess(process, 0);
                WaitForSingleObject(process, 5000);
                CloseHandle(process);
            }
    }
};

}  // namespace

TEST(Help, IndexShowsOurFileFromAnyFolderAndUsingHelpAsksTheViewer)
{
    const HelpIndex index = ReadHelpIndex();
    ASSERT_FALSE(index.entries.empty()) << "no index topic in the help text";
    ViewerGuard guard;
    Program program;
    // Started in another folder: the command itself must find the file beside the program.
    ASSERT_TRUE(program.Start("/NOLOGO", Folder()));
    const HWND frame = program.WaitForFrame();
    ASSERT_TRUE(frame);

    PostMessageA(frame, WM_COMMAND, 2560, 0);
    HWND viewer = nullptr;
    std::string text;
    const bool shown = Within(30000, [&] {
        viewer = FindWindowA("MS_WINHELP", nullptr);
        text = viewer && IsWindowVisible(viewer) ? WindowText(GetDlgItem(viewer, 0x701)) : "";
        return text.find(index.entries.back()) != std::string::npos;
    });
    DWORD pid = 0;
    GetWindowThreadProcessId(viewer, &pid);
    for (HWND box : TopLevelWindows(pid, "#32770"))
        ADD_FAILURE() << "the viewer says: " << MessageBoxText(box);
    ASSERT_TRUE(shown) << "the viewer shows: " << text;
    EXPECT_NE(WindowText(viewer).find(index.title), std::string::npos) << WindowText(viewer);
    size_t at = text.find(index.heading);
    EXPECT_NE(at, std::string::npos) << text;
    for (const std::string& entry : index.entries) {
        at = text.find(entry, at == std::string::npos ? 0 : at);
        EXPECT_NE(at, std::string::npos) << "missing or out of order: " << entry;
    }

    // A click on the last entry opens that topic, the last one written.
    const HWND rich = GetDlgItem(viewer, 0x701);
    const size_t found = text.find(index.entries.back());
    size_t lineEnds = 0;  // the control counts a paragraph's end as one character
    for (size_t p = text.find("\r\n"); p < found; p = text.find("\r\n", p + 2))
        ++lineEnds;
    const LRESULT where = Send(rich, EM_POSFROMCHAR, found - lineEnds + 1, 0);
    POINT point{LOWORD(where), HIWORD(where) + 4};
    ClientToScreen(rich, &point);
    ASSERT_TRUE(ClickScreen(point.x, point.y));
    EXPECT_TRUE(Within(10000, [&] { return WindowText(rich).find(index.entries.back()) == 0; }))
        << WindowText(rich);

    // Wine ships no help on its viewer: the viewer says so and keeps our help.
    PostMessageA(frame, WM_COMMAND, 2561, 0);
    const HWND box = WaitForProcessWindow(pid, "#32770", 15000);
    ASSERT_TRUE(box);
    EXPECT_NE(MessageBoxText(box).find("'WINHELP.HLP'"), std::string::npos) << MessageBoxText(box);
    Answer(box, IDNO);
    EXPECT_TRUE(IsWindowVisible(viewer));

    // Leaving the program closes its help.
    PostMessageA(frame, WM_CLOSE, 0, 0);
    DWORD code = 0;
    EXPECT_TRUE(program.WaitForExit(10000, &code));
    EXPECT_TRUE(WaitForWindowGone(viewer, 10000));
}
