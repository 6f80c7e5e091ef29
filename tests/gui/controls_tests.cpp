// The program's own controls, the load panel and the Image Info dialog.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "controls/custom_controls.h"
#include "driver.h"

namespace {

using namespace kvgui;

std::vector<std::pair<WPARAM, LPARAM>> stripCommands;

LRESULT CALLBACK StripParentProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_COMMAND) stripCommands.emplace_back(wParam, lParam);
    return DefWindowProcA(window, message, wParam, lParam);
}

TEST(PlayStrip, SitsAtTheBottomKeepsPositionAndLengthAndReportsEachPartToItsParent)
{
    ASSERT_TRUE(VC_RegisterClasses());
    WNDCLASSA wc{};
    wc.lpfnWndProc = StripParentProc;
    wc.hInstance = GetModuleHandleA(nullptr);
    wc.lpszClassName = "StripParent";
    RegisterClassA(&wc);
    HWND parent = CreateWindowExA(0, "StripParent", "", WS_POPUP | WS_VISIBLE, 0, 0, 300, 200, nullptr, nullptr,
                                  wc.hInstance, nullptr);
    ASSERT_NE(nullptr, parent);
    HWND strip = VC_Create(parent, 77);
    ASSERT_NE(nullptr, strip);
    RECT r;
    GetWindowRect(strip, &r);
    EXPECT_EQ(26, VC_GetHeight());
    EXPECT_EQ(174, r.top);
    EXPECT_EQ(300, r.right - r.left);
    EXPECT_EQ(26, r.bottom - r.top);

    VC_SetLength(strip, 10);
    VC_SetPosition(strip, 7);
    EXPECT_EQ(10, VC_GetLength(strip));
    EXPECT_EQ(7, VC_GetPosition(strip));

    // Buttons 18 pixels square, the slider 248 wide from x 48: its track
    // runs from 6 to 242, so x 85 is nearest to place 3 of 0..9.
    HWND slider = GetDlgItem(strip, 202), play = GetDlgItem(strip, 200);
    GetWindowRect(slider, &r);
    EXPECT_EQ(248, r.right - r.left);
    stripCommands.clear();
    PostMessageA(slider, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(-20 & 0xFFFF, 9));
    PostMessageA(slider, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(400, 9));
    PostMessageA(slider, WM_LBUTTONUP, 0, MAKELPARAM(400, 9));
    SendMessageA(slider, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(85, 9));
    SendMessageA(strip, WM_COMMAND, MAKEWPARAM(201, BN_CLICKED), 0x1234);
    const std::vector<std::pair<WPARAM, LPARAM>> expected = {
        {77, MAKELPARAM(3, 3)}, {77, MAKELPARAM(0, 3)}, {77, MAKELPARAM(9, 3)}, {77, MAKELPARAM(0x1234, 2)}};
    EXPECT_EQ(expected, stripCommands);
    EXPECT_EQ(9, VC_GetPosition(strip));

    // The Play glyph is black while Play is enabled and gray when not.
    UpdateWindow(parent);
    HDC dc = GetDC(play);
    EXPECT_EQ(RGB(0, 0, 0), GetPixel(dc, 8, 9));
    VC_EnablePlay(strip, 0);
    UpdateWindow(play);
    EXPECT_EQ(RGB(128, 128, 128), GetPixel(dc, 8, 9));
    EXPECT_FALSE(IsWindowEnabled(slider));
    ReleaseDC(play, dc);
    DestroyWindow(parent);
}

}  // namespace
