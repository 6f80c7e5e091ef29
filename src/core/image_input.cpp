// The image window's scrolling, keys and mouse.
#include "core/image_input.h"

#include "core/app.h"
#include "core/image_record.h"
#include "core/image_window.h"
#include "core/menu_state.h"
#include "core/open_save.h"
#include "core/settings.h"
#include "core/utilities.h"

namespace {
const int kLine = 10;

// Scrolls one bar: the position from the bar, moved by the code, kept in
// the bar's range; the window's contents move by the change.
void Scroll(HWND hwnd, int bar, WPARAM wParam)
{
    const int old = GetScrollPos(hwnd, bar);
    RECT client;
    GetClientRect(hwnd, &client);
    const int page = bar == SB_HORZ ? client.right : client.bottom;
    int position = old;
    switch (LOWORD(wParam)) {
    case SB_LINEUP:
        position -= kLine;
        break;
    case SB_LINEDOWN:
        position += kLine;
        break;
    case SB_PAGEUP:
        position -= page;
        break;
    case SB_PAGEDOWN:
        position += page;
        break;
    case SB_THUMBPOSITION:
        position = HIWORD(wParam);
        break;
    default:
        // The thumb moves the image only when released: a large image
        // without a device bitmap would be drawn at every step.
        return;
    }
    int low = 0, high = 0;
    GetScrollRange(hwnd, bar, &low, &high);
    if (position < low) position = low;
    if (position > high) position = high;
    if (position == old) return;
    if (bar == SB_HORZ)
        ScrollWindow(hwnd, old - position, 0, nullptr, nullptr);
    else
        ScrollWindow(hwnd, 0, old - position, nullptr, nullptr);
    SetScrollPos(hwnd, bar, position, TRUE);
    IMG_SetAttr(hwnd, bar == SB_HORZ ? IA_SCROLL_X : IA_SCROLL_Y, position);
}
}  // namespace

void WIN_HScroll(HWND hwnd, WPARAM wParam, LPARAM) { Scroll(hwnd, SB_HORZ, wParam); }
void WIN_VScroll(HWND hwnd, WPARAM wParam, LPARAM) { Scroll(hwnd, SB_VERT, wParam); }

LRESULT WIN_KeyDown(HWND hwnd, WPARAM wParam, LPARAM lParam)
{
    const LONG style = GetWindowLongA(hwnd, GWL_STYLE);
    const bool vertical = (style & WS_VSCROLL) != 0;
    const bool horizontal = (style & WS_HSCROLL) != 0;
    const bool shift = GetKeyState(VK_SHIFT) < 0;
    auto send = [hwnd](UINT message, int code) { SendMessageA(hwnd, message, static_cast<WPARAM>(code), 0); };
    switch (wParam) {
    case VK_PRIOR:
    case VK_NEXT: {
        // Shift turns the Page keys sideways, but only where the vertical bar is.
        const int code = wParam == VK_PRIOR ? SB_PAGEUP : SB_PAGEDOWN;
        if (vertical) send(shift ? WM_HSCROLL : WM_VSCROLL, code);
        return 0;
    }
    case VK_END:
    case VK_HOME:
        return 0;
    case VK_LEFT:
        if (horizontal) send(WM_HSCROLL, SB_LINEUP);
        return 0;
    case VK_RIGHT:
        if (horizontal) send(WM_HSCROLL, SB_LINEDOWN);
        return 0;
    case VK_UP:
        if (vertical) send(WM_VSCROLL, SB_LINEUP);
        return 0;
    case VK_DOWN:
        if (vertical) send(WM_VSCROLL, SB_LINEDOWN);
        return 0;
    }
    return DefMDIChildProcA(hwnd, WM_KEYDOWN, wParam, lParam);
}

LRESULT WIN_LeftButtonDown(HWND hwnd)
{
    if (IMG_GetRecord(hwnd))
        if (HGLOBAL dib = IMG_GetDIB(hwnd)) WIN_FitToImage(hwnd, dib);
    return 0;
}

LRESULT WIN_LeftDoubleClick(HWND hwnd)
{
    if (!SET_Value(SET_WANT_THUMBNAIL)) return WIN_LeftButtonDown(hwnd);
    // The window shows a thumbnail: its title names the full image.
    const std::string title = UTL_WindowText(hwnd);
    SET_Put(SET_WANT_THUMBNAIL, 0);
    FIL_OpenDocument(MAI_Frame, title.c_str(), 0);
    SET_Put(SET_WANT_THUMBNAIL, 1);
    PostMessageA(hwnd, WM_CLOSE, 0, 0);
    return 0;
}

LRESULT WIN_RightButtonDown(HWND hwnd, LPARAM lParam)
{
    const ImageRecord* record = IMG_GetRecord(hwnd);
    if (record && (record->flags & IF_MEDIA)) return 0;
    BringWindowToTop(hwnd);
    HMENU bar = GetMenu(MAI_Frame);
    SendMessageA(MAI_Frame, WM_INITMENU, reinterpret_cast<WPARAM>(bar), 0);
    // File for an image, Edit without; a maximised child's system menu stands first in the bar.
    int position = record && record->hDIB ? 0 : 1;
    if (IsZoomed(hwnd)) position++;
    HMENU popup = GetSubMenu(bar, position);
    if (!popup) return 0;
    POINT point{static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam))};
    ClientToScreen(hwnd, &point);
    MAI_UpdateMenu(popup);
    TrackPopupMenu(popup, TPM_CENTERALIGN | TPM_RIGHTBUTTON, point.x, point.y, 0, MAI_Frame, nullptr);
    return 0;
}
