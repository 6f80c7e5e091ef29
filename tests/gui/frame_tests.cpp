// The frame window as a user and an outside program see it: the window and
// its MDI client, the menu bar, the accelerators, the picture on the screen
// and the ways to end the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <cstdio>

#include "driver.h"

using namespace kvgui;

namespace {

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

// The window, its class and MDI client, its menu bar as the resource gives
// it, the shortcuts and the other resources, as one text compared with
// tests/data/gui/frame.txt; and the picture of it on the screen.
TEST(RunningFrame, WindowClassMenusAndShortcutsAreTheGoldenText)
{
    Session run;
    HWND frame_ = run.frame;
    ASSERT_NE(frame_, nullptr) << "no frame of " << KorvantaPath();
    std::string text;
    RECT rect{};
    ASSERT_TRUE(GetWindowRect(frame_, &rect));
    // The system adds WS_CLIPSIBLINGS to every overlapped window.
    char line[160];
    std::snprintf(line, sizeof line, "frame %s \"%s\" style %08lX at %ld,%ld parent %d\n", ClassName(frame_).c_str(),
                  WindowText(frame_).c_str(), GetWindowLongA(frame_, GWL_STYLE) & ~WS_CLIPSIBLINGS & 0xFFFFFFFFL,
                  rect.left, rect.top, GetParent(frame_) != nullptr);
    text += line;
    std::map<std::string, std::string> info = run.program.ClassInfo(frame_);
    for (const char* key : {"style", "cls_extra", "wnd_extra", "background", "icon_resource", "cursor_is_arrow",
                            "menu_name"})
        text += std::string("class ") + key + " " + info[key] + "\n";
    // The client fills the frame's client area but for the status bars' strip at the bottom.
    HWND client = GetDlgItem(frame_, 3244);
    RECT area{}, inside{};
    GetClientRect(frame_, &area);
    GetWindowRect(client, &inside);
    MapWindowPoints(nullptr, frame_, reinterpret_cast<POINT*>(&inside), 2);
    std::snprintf(line, sizeof line, "client %s style %08lX parent %d children %d at %ld,%ld,+%ld,-%ld\n",
                  Upper(ClassName(client)).c_str(), GetWindowLongA(client, GWL_STYLE) & 0xFFFF0000L,
                  GetParent(client) == frame_, GetWindow(client, GW_CHILD) != nullptr, inside.left, inside.top,
                  area.right - inside.right, area.bottom - inside.bottom);
    text += line;
    std::vector<MenuEntry> bar;
    ASSERT_TRUE(run.program.ReadMenuBar(frame_, &bar)) << "the probe did not answer";
    RenderMenu(bar, "", &text);
    const HMODULE exe = ProgramResources();
    std::vector<std::string> keys;
    for (const ACCEL& a : Accelerators(500))
        keys.push_back(RenderAccel(a));
    std::sort(keys.begin(), keys.end());
    for (const std::string& key : keys)
        text += "accel " + key + "\n";
    for (int icon : {400, 401})
        text += "icon " + std::to_string(icon) + " " +
                std::to_string(FindResourceA(exe, MAKEINTRESOURCEA(icon), RT_GROUP_ICON) != nullptr) + "\n";
    // The logo: a packed DIB.
    HRSRC logo = FindResourceA(exe, "Korvanta", "HDIB");
    const auto* header = logo ? static_cast<const BITMAPINFOHEADER*>(LockResource(LoadResource(exe, logo)))
                              : nullptr;
    if (header && SizeofResource(exe, logo) >= sizeof *header) {
        std::snprintf(line, sizeof line, "logo %lu: %ld x %ld, %d bits\n", header->biSize, header->biWidth,
                      header->biHeight, header->biBitCount);
        text += line;
    }
    const std::vector<BYTE> want = ReadBytes(std::string(KV_SOURCE_DIR) + "/tests/data/gui/frame.txt");
    EXPECT_EQ(text, std::string(want.begin(), want.end()));

    // On the screen the MDI client shows the empty workspace.
    Image shot;
    RECT outer{}, inner{};
    ASSERT_TRUE(GetWindowRect(frame_, &outer) && CaptureScreenRect(outer, &shot));
    ASSERT_TRUE(GetWindowRect(client, &inner));
    const RECT workspace{inner.left - outer.left, inner.top - outer.top, inner.right - outer.left,
                         inner.bottom - outer.top};
    const int pixels = (workspace.right - workspace.left) * (workspace.bottom - workspace.top);
    ASSERT_GT(pixels, 0);
    EXPECT_EQ(shot.Count(workspace, Rgb(GetSysColor(COLOR_APPWORKSPACE))), pixels);
    // The menu bar stands right above it: menu background with menu text on it.
    const RECT strip{workspace.left, workspace.top - GetSystemMetrics(SM_CYMENU), workspace.right, workspace.top};
    EXPECT_GT(shot.Count(strip, Rgb(GetSysColor(COLOR_MENU))), pixels / 1000);
    EXPECT_GT(shot.Count(strip, Rgb(GetSysColor(COLOR_MENUTEXT))), 50);
}

// ---- ending the program -------------------------------------------------------------

TEST(Shutdown, WindowCommandsWithoutImagesLeaveTheProgramRunningAndCloseEndsItWithZero)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    for (WPARAM id : {2305, 2306, 2308})
        EXPECT_EQ(Send(run.frame, WM_COMMAND, id, 0), 0) << id;
    // Swallowed: the frame answers it itself with 0.
    EXPECT_EQ(Send(run.frame, WM_WININICHANGE, 0, 0), 0);
    EXPECT_TRUE(run.program.IsRunning());
    EXPECT_TRUE(IsWindowVisible(run.frame));
    EXPECT_TRUE(run.Windows().empty());
    ASSERT_TRUE(PostMessageA(run.frame, WM_CLOSE, 0, 0));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(run.program.WaitForExit(5000, &code)) << "still running";
    EXPECT_EQ(code, 0u);
    EXPECT_FALSE(IsWindow(run.frame));
}

}  // namespace
