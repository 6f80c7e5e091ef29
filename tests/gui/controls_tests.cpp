// The program's own controls, the load panel and the Image Info dialog.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "controls/custom_controls.h"
#include "driver.h"
#include "platform/jpeg.h"

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
    WNDCLASSA wc{0, StripParentProc, 0, 0, GetModuleHandleA(nullptr)};
    wc.lpszClassName = "StripParent";
    RegisterClassA(&wc);
    HWND parent = CreateWindowExA(0, "StripParent", "", WS_POPUP | WS_VISIBLE, 0, 0, 300, 200, nullptr, nullptr,
                                  wc.hInstance, nullptr);
    ASSERT_NE(nullptr, parent);
    HWND strip = VC_Create(parent, 77);
    ASSERT_NE(nullptr, strip);
    RECT r;
    GetWindowRect(strip, &r);
    VC_SetLength(strip, 10);
    VC_SetPosition(strip, 7);
    // Height, top, width, height on the screen; length and position as set.
    EXPECT_EQ(std::to_string(VC_GetHeight()) + " " + std::to_string(r.top) + " " + std::to_string(r.right - r.left) +
                  " " + std::to_string(r.bottom - r.top) + "; " + std::to_string(VC_GetLength(strip)) + " " +
                  std::to_string(VC_GetPosition(strip)),
              "26 174 300 26; 10 7");

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

// ---- the Image Info dialog -------------------------------------------------------

// The program with file on its command line and the Image Info dialog of
// the window it opens; the texts of the value controls, or nothing.
std::vector<std::string> ImageInfoTexts(const std::string& file)
{
    Session run(file);
    if (!run.WaitForWindows(1)) return {};
    run.Command(40003);
    HWND dialog = run.WaitForControl(1201);
    if (!dialog) return {};
    std::vector<std::string> texts;
    for (int id = 1201; id <= 1212; id++)
        texts.push_back(ControlText(dialog, id) + (IsWindowEnabled(GetDlgItem(dialog, id)) ? "" : " (off)"));
    Answer(dialog, IDOK);
    return texts;
}

TEST(ImageInfo, ShowsTheImageFactsAndForAJpegItsQualityLinesAndComment)
{
    const std::vector<BYTE> dib = MakeDib(40, 30, 24, {}, [](int x, int y) { return DWORD(x * 0x070503 + y * 0x0B0D11); });
    const std::string bmpPath = WriteBmp("info.bmp", dib);
    const std::string bmpSize = std::to_string(sizeof(BITMAPFILEHEADER) + dib.size());
    const std::vector<std::string> bmpExpected = {
        Upper(bmpPath), "BMP- Windows Bitmap", "40", "30", "24", "3600", bmpSize, "1 : 1",
        " (off)", " (off)", " (off)", " (off)"};
    EXPECT_EQ(bmpExpected, ImageInfoTexts(bmpPath));

    // A quality-60 file with a comment of three lines ending in CR, LF.
    const std::string jpgPath = PathOf("info.jpg");
    HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE, dib.size());
    std::memcpy(GlobalLock(handle), dib.data(), dib.size());
    GlobalUnlock(handle);
    ZIM_SetQuality(60);
    ASSERT_TRUE(ZIM_Save(jpgPath.c_str(), handle, 1, 1, 24));
    GlobalFree(handle);
    std::vector<BYTE> jpg = ReadBytes(jpgPath);
    const std::string comment = "one\rtwo\nthree";
    std::vector<BYTE> segment = {0xFF, 0xFE, 0, static_cast<BYTE>(comment.size() + 2)};
    segment.insert(segment.end(), comment.begin(), comment.end());
    jpg.insert(jpg.begin() + 2, segment.begin(), segment.end());
    WriteBytes(jpgPath, jpg);
    char ratio[32];
    std::snprintf(ratio, sizeof ratio, "%.1f : 1", 3600.0 / jpg.size());
    const std::vector<std::string> jpgExpected = {
        Upper(jpgPath), "JPG- JPEG JFIF", "40", "30", "24", "3600", std::to_string(jpg.size()), ratio,
        "60", "60", "4/1/1", "one\r\ntwo\r\nthree"};
    EXPECT_EQ(jpgExpected, ImageInfoTexts(jpgPath));
}

// ---- the load panel ----------------------------------------------------------------

// Pixels of a rectangle given in the panel's dialog units, on the screen.
RECT PanelPixels(HWND panel, int x, int y, int w, int h)
{
    const LONG units = GetDialogBaseUnits();
    const int bx = LOWORD(units), by = HIWORD(units);
    POINT origin = {0, 0};
    ClientToScreen(panel, &origin);
    return {origin.x + x * bx / 4, origin.y + y * by / 8, origin.x + (x + w) * bx / 4, origin.y + (y + h) * by / 8};
}

// Whether the panel shows text as the value beside the label at (x, y, w, h):
// the same pixels as the text drawn blue on white at the bottom of that
// line, with nothing after it.
::testing::AssertionResult ShowsValue(HWND panel, int x, int y, int w, int h, const std::string& text)
{
    const RECT label = PanelPixels(panel, x, y, w, h);
    const int height = label.bottom - label.top;
    HDC dc = CreateCompatibleDC(nullptr);
    BITMAPINFO info{{sizeof(BITMAPINFOHEADER), 220, -height, 1, 32, BI_RGB}};
    void* bits = nullptr;
    HBITMAP section = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HFONT font = CreateFontA(HIWORD(GetDialogBaseUnits()), 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, 0, 0, "Helv");
    HGDIOBJ oldBitmap = SelectObject(dc, section), oldFont = SelectObject(dc, font);
    RECT r = {0, 0, 220, height};
    FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    SetTextColor(dc, RGB(0, 0, 255));
    DrawTextA(dc, text.c_str(), -1, &r, DT_SINGLELINE | DT_BOTTOM);
    SIZE extent{};
    GetTextExtentPoint32A(dc, text.c_str(), static_cast<int>(text.size()), &extent);
    GdiFlush();
    const int width = std::min<int>(220, extent.cx + 4);
    Image shown;
    const bool captured = CaptureScreenRect({label.right, label.top, label.right + width, label.bottom}, &shown);
    int differ = 0;
    for (int py = 0; captured && py < height; py++)
        for (int px = 0; px < width; px++)
            differ += shown.At(px, py) != (static_cast<const std::uint32_t*>(bits)[py * 220 + px] & 0xFFFFFF);
    DeleteObject(SelectObject(dc, oldBitmap));
    DeleteObject(SelectObject(dc, oldFont));
    DeleteDC(dc);
    if (!captured || differ) return ::testing::AssertionFailure() << differ << " pixels differ from \"" << text << "\"";
    return ::testing::AssertionSuccess();
}

TEST(LoadPanel, StandsOverTheFrameWithTheReadersFactsDuringALoadAndGoesAfter)
{
    // A 10 by 100 TGA of 24 bits that ends after 60 rows: the load stops
    // with a message while the panel stands, half way.
    std::vector<BYTE> tga = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 100, 0, 24, 0};
    tga.resize(tga.size() + 60 * 30, 0x40);
    const std::string path = PathOf("cut.tga");
    WriteBytes(path, tga);
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND box = run.WaitForText("Incomplete TGA file, cannot load");
    ASSERT_NE(box, nullptr);
    const std::vector<HWND> panels = TopLevelWindows(run.program.Pid(), "DisplayClass");
    ASSERT_EQ(1u, panels.size());
    EXPECT_EQ("Loading...", WindowText(panels[0]));
    ASSERT_TRUE(IsPainted(panels[0]));
    const struct {
        int x, y, w;
        const char* text;
    } facts[] = {{5, 40, 25, "10"},     {5, 50, 25, "100"},    {5, 60, 25, "False"},  {5, 70, 25, "1"},
                 {5, 80, 25, "0"},      {5, 90, 25, "False"},  {60, 40, 45, "3200"},  {60, 50, 45, "False"},
                 {60, 60, 45, "24"},    {60, 70, 45, "Raster"}, {60, 80, 45, "0"},    {60, 90, 45, "IBMPC"}};
    for (const auto& fact : facts) EXPECT_TRUE(ShowsValue(panels[0], fact.x, fact.y, fact.w, 9, fact.text));
    // The bar stands at step 50 of 100: blue in the lower half, white above.
    const RECT bar = PanelPixels(panels[0], 162, 1, 26, 100);
    Image well;
    ASSERT_TRUE(CaptureScreenRect(bar, &well));
    const int middle = well.width / 2, h = well.height;
    EXPECT_EQ(0x0000FFu, well.At(middle, h * 3 / 4));
    EXPECT_EQ(0xFFFFFFu, well.At(middle, h / 4));

    Answer(box, IDOK);
    EXPECT_TRUE(WaitForWindowGone(panels[0], 5000));

    // Switched off by frame service 60, the same load shows no panel.
    run.Service(60, {});
    ASSERT_TRUE(run.program.DropFiles(run.frame, {path}));
    box = run.WaitForText("Incomplete TGA file, cannot load");
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), "DisplayClass").empty());
    Answer(box, IDOK);
}

}  // namespace
