// The logo and About window.
#include "core/logo.h"

#include "core/app.h"
#include "core/gdi_helpers.h"
#include "platform/dib.h"

HWND LOGO_Window;

namespace {
// The picture's size and the resource that holds it.
const int kLogoWidth = 320;
const int kLogoHeight = 200;
const char kLogoType[] = "HDIB";

// The credit lines: the first two in the larger font, the rest in the smaller.
const char* const kLines[] = {
    "Korvanta Software",
    "1350 Harbour Road, Portsmouth",
    "Copyright \xA9 1996 Korvanta Software",
    "Colour reduction by median cut",
    "TIFF support by libtiff",
    "Version 3.82",
};
const int kLargeLines = 2;
const char kSpacedName[] = "K O R V A N T A";

HFONT MakeFont(int height, int weight)
{
    LOGFONTA font{};
    font.lfHeight = height;
    font.lfWeight = weight;
    font.lfCharSet = MAI_CharSet;
    lstrcpynA(font.lfFaceName, MAI_DialogFont, sizeof font.lfFaceName);
    return CreateFontIndirectA(&font);
}

// Draws the picture at the top left; false when it can't be had.
bool PaintPicture(HDC dc)
{
    HRSRC found = FindResourceA(MAI_Instance, MAI_ProgramName, kLogoType);
    HGLOBAL resource = found ? LoadResource(MAI_Instance, found) : nullptr;
    if (!resource) return false;
    HGLOBAL plain = DIB_Recompress(resource, 1, 0);
    if (!plain) return false;
    BITMAPINFOHEADER* header;
    BYTE* pixels;
    if (!DIB_Lock(plain, &header, nullptr, &pixels)) {
        GlobalFree(plain);
        return false;
    }
    HPALETTE palette = DIB_PaletteFromPacked(header);
    HPALETTE old = nullptr;
    if (palette) {
        old = SelectPalette(dc, palette, FALSE);
        RealizePalette(dc);
    }
    SetDIBitsToDevice(dc, 0, 0, kLogoWidth, kLogoHeight, 0, 0, 0, kLogoHeight, pixels,
                      reinterpret_cast<const BITMAPINFO*>(header), DIB_RGB_COLORS);
    if (old) SelectPalette(dc, old, FALSE);
    if (palette) DeleteObject(palette);
    GlobalUnlock(plain);
    GlobalFree(plain);
    return true;
}

// The spaced program name between two lines, in the upper part of the window.
void PaintSpacedName(HDC dc, const RECT& client)
{
    HFONT font = MakeFont(-18, 700);
    HGDIOBJ oldFont = SelectObject(dc, font);
    SIZE extent{};
    GetTextExtentPoint32A(dc, kSpacedName, lstrlenA(kSpacedName), &extent);
    const int y = (client.bottom - client.top) / 6;
    TextOutA(dc, (client.right - extent.cx) / 2, y, kSpacedName, lstrlenA(kSpacedName));
    HPEN pen = CreatePen(PS_SOLID, 2, RGB(0, 0, 0));
    HGDIOBJ oldPen = SelectObject(dc, pen);
    const int margin = (client.right - client.left) / 8;
    MoveToEx(dc, margin, y - 6, nullptr);
    LineTo(dc, client.right - margin, y - 6);
    MoveToEx(dc, margin, y + extent.cy + 6, nullptr);
    LineTo(dc, client.right - margin, y + extent.cy + 6);
    SelectObject(dc, oldPen);
    DeleteObject(pen);
    SelectObject(dc, oldFont);
    DeleteObject(font);
}
}  // namespace

void LOGO_Paint(HWND window, HDC dc)
{
    RECT client;
    GetClientRect(window, &client);
    const bool pictured = MAI_ScreenBits() >= 8 && PaintPicture(dc);
    SetTextColor(dc, RGB(0, 0, 0));
    SetBkMode(dc, TRANSPARENT);
    if (!pictured) PaintSpacedName(dc, client);

    HFONT large = MakeFont(-16, 500);
    HFONT small = MakeFont(-12, 100);
    // The block of lines is centred in the lower half of the window, each line centred across.
    const int count = static_cast<int>(sizeof kLines / sizeof kLines[0]);
    int heights[count];
    int total = 0;
    for (int i = 0; i < count; i++) {
        HGDIOBJ old = SelectObject(dc, i < kLargeLines ? large : small);
        SIZE extent{};
        GetTextExtentPoint32A(dc, kLines[i], lstrlenA(kLines[i]), &extent);
        SelectObject(dc, old);
        heights[i] = extent.cy;
        total += extent.cy;
    }
    const int half = (client.bottom - client.top) / 2;
    int y = half + (half - total) / 2;
    for (int i = 0; i < count; i++) {
        HGDIOBJ old = SelectObject(dc, i < kLargeLines ? large : small);
        SIZE extent{};
        GetTextExtentPoint32A(dc, kLines[i], lstrlenA(kLines[i]), &extent);
        TextOutA(dc, (client.right - extent.cx) / 2, y, kLines[i], lstrlenA(kLines[i]));
        SelectObject(dc, old);
        y += heights[i];
    }
    DeleteObject(large);
    DeleteObject(small);
}

void LOGO_Show()
{
    if (LOGO_Window) {
        BringWindowToTop(LOGO_Window);
        return;
    }
    int x, y, width, height;
    if (MAI_ScreenBits() < 8) {
        x = MAI_ScreenWidth / 4;
        y = MAI_ScreenHeight / 3;
        width = MAI_ScreenWidth / 2;
        height = MAI_ScreenHeight / 3;
    } else {
        x = MAI_ScreenWidth / 2 - 160;
        y = MAI_ScreenHeight / 2 - 150;
        width = kLogoWidth;
        height = kLogoHeight;
    }
    // WS_POPUP | WS_VISIBLE | WS_DLGFRAME.
    LOGO_Window = CreateWindowExA(0, LOGO_ClassName, "", 0x90400000, x, y, width, height, MAI_Frame, nullptr,
                                  MAI_Instance, nullptr);
}

void LOGO_Close()
{
    if (!LOGO_Window) return;
    HWND window = LOGO_Window;
    LOGO_Window = nullptr;
    if (GetCapture() == window) ReleaseCapture();
    DestroyWindow(window);
}

LRESULT CALLBACK AboutWndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
        SetCapture(window);
        return 0;
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(window, &ps);
        LOGO_Paint(window, dc);
        EndPaint(window, &ps);
        return 0;
    }
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONDBLCLK:
    case WM_CHAR:
        if (window == LOGO_Window) {
            LOGO_Close();
        } else {
            ReleaseCapture();
            DestroyWindow(window);
        }
        return 0;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}
