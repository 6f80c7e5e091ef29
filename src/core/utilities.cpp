// The user-interface utilities of the Win32 program: message boxes, the
// yield inside long loops, the active image's depth and the wait cursor.
#include "core/utilities.h"

#include "core/app.h"
#include "core/image_record.h"
#include "platform/ui_hooks.h"

#include <cstring>

HCURSOR MSG_WaitCursor;
HCURSOR MSG_SavedCursor;

int UTL_MessageBox(HWND owner, LPCSTR text, LPCSTR caption, UINT flags)
{
    // A box needs the mouse: a window holding the capture gets it back afterwards.
    HWND captured = GetCapture();
    if (captured) ReleaseCapture();
    const int answer = MessageBoxA(owner, text, caption, flags);
    if (captured && IsWindow(captured)) SetCapture(captured);
    return answer;
}

int UTL_Yield()
{
    // Serves what waits; Escape pressed in the program's windows asks the
    // running load or save to stop.
    int goOn = 1;
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (msg.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(msg.wParam));
            return 0;
        }
        if (msg.message == WM_KEYDOWN && msg.wParam == VK_ESCAPE) {
            goOn = 0;
            continue;
        }
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    return goOn;
}

int UTL_ActiveImageBits()
{
    if (!MAI_Active || !IMG_GetRecord(MAI_Active)) return 0;
    return static_cast<int>(IMG_GetAttr(MAI_Active, IA_BITS));
}

void UTL_ScreenFacts(int* dpiX, int* dpiY, int* planes, int* bitsPixel)
{
    HDC screen = GetDC(nullptr);
    *dpiX = screen ? GetDeviceCaps(screen, LOGPIXELSX) : 96;
    *dpiY = screen ? GetDeviceCaps(screen, LOGPIXELSY) : 96;
    // Planes and depth as read at start-up; the screen's own before that.
    *planes = MAI_ScreenPlanes ? MAI_ScreenPlanes : (screen ? GetDeviceCaps(screen, PLANES) : 1);
    *bitsPixel = MAI_ScreenBitsPixel ? MAI_ScreenBitsPixel : (screen ? GetDeviceCaps(screen, BITSPIXEL) : 32);
    if (screen) ReleaseDC(nullptr, screen);
}

void MSG_LoadWaitCursor() { MSG_WaitCursor = LoadCursorA(nullptr, IDC_WAIT); }

void UTL_BeginWait() { MSG_SavedCursor = SetCursor(MSG_WaitCursor); }

void UTL_EndWait() { SetCursor(MSG_SavedCursor); }

void UTL_FixDirList(HWND dialog, int listId)
{
    HWND list = GetDlgItem(dialog, listId);
    if (!list) return;
    LRESULT self = SendMessageA(list, LB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>("[.]"));
    if (self != LB_ERR) SendMessageA(list, LB_DELETESTRING, static_cast<WPARAM>(self), 0);
}

int UTL_ChildRect(HWND window, RECT* rect)
{
    if (!GetWindowRect(window, rect)) return 0;
    // Both corners from the screen into the parent's client area.
    MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT*>(rect), 2);
    return 1;
}

// The well's frame: two pixels of sunken edge on each side.
void UTL_WellRect(RECT* rect) { InflateRect(rect, -2, -2); }

void UTL_DrawWell(HDC dc, RECT* rect, HBRUSH brush)
{
    DrawEdge(dc, rect, EDGE_SUNKEN, BF_RECT);
    UTL_WellRect(rect);
    FillRect(dc, rect, brush);
}

std::string UTL_WindowText(HWND hwnd)
{
    const int length = GetWindowTextLengthA(hwnd);
    std::string text(static_cast<size_t>(length > 0 ? length : 0) + 1, '\0');
    GetWindowTextA(hwnd, &text[0], static_cast<int>(text.size()));
    text.resize(strlen(text.c_str()));
    return text;
}
