// The frame window as a user and an outside program see it: the window and
// its MDI client, the menu bar, the accelerators, the picture on the screen
// and the ways to end the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <cstdio>

#include "driver.h"

using namespace kvgui;

namespace {

// The logo would hold the start-up for seconds; these scenarios don't need it.
const char kNoLogo[] = "/NOLOGO";

// One line per entry, indented by depth: text, id, and the flags a user sees.
void RenderMenu(const std::vector<MenuEntry>& items, const std::string& indent, std::string* out)
{
    for (const MenuEntry& item : items) {
        *out += indent + (item.IsSeparator() ? "-" : item.text + " " + std::to_string(item.id));
        *out += std::string(item.popup ? " >" : "") + (item.IsGrayed() ? " grayed" : "") +
                (item.IsChecked() ? " checked" : "") + "\n";
        RenderMenu(item.items, indent + "  ", out);
    }
}

// A shortcut as "Ctrl+Shift+Alt+key command", sorted by the caller.
std::string RenderAccel(const ACCEL& a)
{
    static const std::map<WORD, std::string> names = {
        {VK_BACK, "Back"}, {VK_INSERT, "Ins"}, {VK_DELETE, "Del"}, {VK_F1, "F1"}};
    std::string text = std::string(a.fVirt & FCONTROL ? "Ctrl+" : "") + (a.fVirt & FSHIFT ? "Shift+" : "") +
                       (a.fVirt & FALT ? "Alt+" : "");
    const auto name = names.find(a.key);
    text += name != names.end() ? name->second : std::string(1, static_cast<char>(a.key));
    return text + ((a.fVirt & FVIRTKEY) ? "" : " (char)") + " " + std::to_string(a.cmd);
}

// Where to leave screenshots for a person to look at: $KV_GUI_SHOTS, if set.
void KeepScreenshot(const Image& image, const char* name)
{
    if (const char* dir = std::getenv("KV_GUI_SHOTS"); dir && *dir)
        image.WriteBmp(WindowsPath(std::string(dir) + "/" + name));
}

// One program started for the whole suite, for the checks that only look.
class RunningFrame : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        program_ = std::make_unique<Program>();
        if (program_->Start(kNoLogo))
            program_->WaitForFrame();
    }
    static void TearDownTestSuite() { program_.reset(); }

    void SetUp() override
    {
        frame_ = program_->Frame();
        ASSERT_NE(frame_, nullptr) << "no frame of " << KorvantaPath();
    }

    static std::unique_ptr<Program> program_;
    HWND frame_ = nullptr;
};
std::unique_ptr<Program> RunningFrame::program_;

// The window, its class, its menu bar as the resource gives it and the
// shortcuts, as one text compared with tests/data/gui/frame.txt.
TEST_F(RunningFrame, WindowClassMenusAndShortcutsAreTheGoldenText)
{
    std::string text;
    RECT rect{};
    ASSERT_TRUE(GetWindowRect(frame_, &rect));
    // The system adds WS_CLIPSIBLINGS to every overlapped window.
    char line[160];
    std::snprintf(line, sizeof line, "frame %s \"%s\" style %08lX at %ld,%ld parent %d\n", ClassName(frame_).c_str(),
                  WindowText(frame_).c_str(), GetWindowLongA(frame_, GWL_STYLE) & ~WS_CLIPSIBLINGS & 0xFFFFFFFFL,
                  rect.left, rect.top, GetParent(frame_) != nullptr);
    text += line;
    std::map<std::string, std::string> info = program_->ClassInfo(frame_);
    for (const char* key : {"style", "cls_extra", "wnd_extra", "background", "icon_resource", "cursor_is_arrow",
                            "menu_name"})
        text += std::string("class ") + key + " " + info[key] + "\n";
    std::vector<MenuEntry> bar;
    ASSERT_TRUE(program_->ReadMenuBar(frame_, &bar)) << "the probe did not answer";
    RenderMenu(bar, "", &text);
    ResourceFile exe(KorvantaPath());
    std::vector<std::string> keys;
    for (const ACCEL& a : exe.Accelerators(500))
        keys.push_back(RenderAccel(a));
    std::sort(keys.begin(), keys.end());
    for (const std::string& key : keys)
        text += "accel " + key + "\n";
    const std::vector<BYTE> want = ReadBytes(std::string(KV_SOURCE_DIR) + "/tests/data/gui/frame.txt");
    EXPECT_EQ(text, std::string(want.begin(), want.end()));

    // Opened as a user opens them, the Window commands are enabled without images.
    ASSERT_TRUE(program_->ReadMenuBar(frame_, &bar, true));
    ASSERT_EQ(bar.size(), 6u);
    for (const MenuEntry& entry : bar[4].items)
        EXPECT_EQ(entry.state & (MFS_GRAYED | MFS_CHECKED), 0u) << entry.text;
    EXPECT_TRUE(bar[0].items.at(10).items.at(0).IsGrayed());
}

TEST_F(RunningFrame, MdiClientFillsTheFrame)
{
    HWND client = GetDlgItem(frame_, 3244);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(_stricmp(ClassName(client).c_str(), "MDIClient"), 0) << ClassName(client);
    EXPECT_EQ(GetParent(client), frame_);
    EXPECT_TRUE(IsWindowVisible(client));
    const LONG style = GetWindowLongA(client, GWL_STYLE);
    EXPECT_EQ(style & (WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE), WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE);
    // The client spans the frame's client area from its top left corner; only
    // status bars may take a strip at the bottom.
    RECT frameClient{}, clientRect{};
    GetClientRect(frame_, &frameClient);
    GetWindowRect(client, &clientRect);
    MapWindowPoints(nullptr, frame_, reinterpret_cast<POINT*>(&clientRect), 2);
    EXPECT_EQ(clientRect.left, 0);
    EXPECT_EQ(clientRect.top, 0);
    EXPECT_EQ(clientRect.right, frameClient.right);
    EXPECT_GT(clientRect.bottom, frameClient.bottom / 2);
    EXPECT_LE(clientRect.bottom, frameClient.bottom);
    // No image windows yet.
    EXPECT_EQ(GetWindow(client, GW_CHILD), nullptr);
}

TEST_F(RunningFrame, ScreenShowsMenuBarOverTheWorkspace)
{
    Image shot;
    ASSERT_TRUE(CaptureWindow(frame_, &shot));
    KeepScreenshot(shot, "frame.bmp");
    RECT window{}, client{};
    GetWindowRect(frame_, &window);
    ASSERT_TRUE(GetWindowRect(GetDlgItem(frame_, 3244), &client));
    // The MDI client, in image coordinates, shows the empty workspace.
    const RECT workspace{client.left - window.left, client.top - window.top, client.right - window.left,
                         client.bottom - window.top};
    const int area = (workspace.right - workspace.left) * (workspace.bottom - workspace.top);
    ASSERT_GT(area, 0);
    EXPECT_EQ(shot.Count(workspace, Rgb(GetSysColor(COLOR_APPWORKSPACE))), area);
    // The menu bar stands right above it: menu background with menu text on it.
    const int barHeight = GetSystemMetrics(SM_CYMENU);
    const RECT bar{workspace.left, workspace.top - barHeight, workspace.right, workspace.top};
    EXPECT_GT(shot.Count(bar, Rgb(GetSysColor(COLOR_MENU))), area / 1000);
    EXPECT_GT(shot.Count(bar, Rgb(GetSysColor(COLOR_MENUTEXT))), 50);
}

// ---- resources of the program file ------------------------------------------------

TEST(ProgramResources, IconsLogoAndMenuArePresent)
{
    ResourceFile exe(KorvantaPath());
    ASSERT_NE(exe.Module(), nullptr) << KorvantaPath();
    EXPECT_TRUE(exe.Has(RT_GROUP_ICON, MAKEINTRESOURCEA(400)));
    EXPECT_TRUE(exe.Has(RT_GROUP_ICON, MAKEINTRESOURCEA(401)));
    EXPECT_TRUE(exe.Has(RT_MENU, "FrameMenu"));
    // The logo: a packed 8-bit DIB of 320 by 200 pixels.
    HRSRC logo = FindResourceA(exe.Module(), "Korvanta", "HDIB");
    ASSERT_NE(logo, nullptr);
    HGLOBAL data = LoadResource(exe.Module(), logo);
    ASSERT_NE(data, nullptr);
    ASSERT_GE(SizeofResource(exe.Module(), logo), sizeof(BITMAPINFOHEADER));
    const auto* header = static_cast<const BITMAPINFOHEADER*>(LockResource(data));
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(header->biSize, sizeof(BITMAPINFOHEADER));
    EXPECT_EQ(header->biWidth, 320);
    EXPECT_EQ(header->biHeight, 200);
    EXPECT_EQ(header->biBitCount, 8);
}

// ---- ending the program -------------------------------------------------------------

// Sends message to a freshly started frame and expects the process to end
// with exit code 0 within a few seconds.
void ExpectEndsWithZero(UINT message, WPARAM wParam)
{
    Program program;
    ASSERT_TRUE(program.Start(kNoLogo));
    HWND frame = program.WaitForFrame();
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(PostMessageA(frame, message, wParam, 0));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(program.WaitForExit(5000, &code)) << "still running";
    EXPECT_EQ(code, 0u);
    EXPECT_FALSE(IsWindow(frame));
}

TEST(Shutdown, CloseOfTheFrameEndsTheProgramWithCodeZero)
{
    ExpectEndsWithZero(WM_CLOSE, 0);
}

TEST(Shutdown, WindowCommandsWithoutImagesLeaveTheProgramRunning)
{
    Program program;
    ASSERT_TRUE(program.Start(kNoLogo));
    HWND frame = program.WaitForFrame();
    ASSERT_NE(frame, nullptr);
    for (WPARAM id : {2305, 2306, 2308})
        EXPECT_EQ(SendMessageA(frame, WM_COMMAND, id, 0), 0) << id;
    // Swallowed: the frame answers them itself with 0.
    EXPECT_EQ(SendMessageA(frame, WM_WININICHANGE, 0, 0), 0);
    EXPECT_TRUE(program.IsRunning());
    EXPECT_TRUE(IsWindowVisible(frame));
    EXPECT_EQ(GetWindow(GetDlgItem(frame, 3244), GW_CHILD), nullptr);
}

}  // namespace
