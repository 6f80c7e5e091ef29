// The image window, class GenericWClass: an MDI child that holds one image
// record, paints its image at natural size and sizes itself to it.
#include "core/image_window.h"

#include "controls/status.h"
#include "core/app.h"
#include "core/extensions.h"
#include "core/gdi_helpers.h"
#include "core/image_input.h"
#include "core/image_record.h"
#include "core/save_document.h"
#include "core/settings.h"
#include "edit/clipboard.h"
#include "formats/codec_runtime.h"
#include "media/media.h"
#include "platform/dib.h"
#include "platform/dib_paint.h"

#include <cstdlib>

namespace {
// Guards WIN_UpdateScrollBars: showing a bar sends WM_SIZE, which calls it again.
int scrollBusy;
// When set, a palette change in the background would call UpdateColors;
// nothing sets it, so the background always repaints.
const int useUpdateColors = 0;

// Realises the window's own palette in its device context; 1 when entries
// changed (the window is then repainted), else 0.
LRESULT RealizeOwnPalette(HWND hwnd)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record || !record->hDIB || !record->hPalette) return 0;
    HDC dc = GetDC(hwnd);
    HPALETTE old = SelectPalette(dc, record->hPalette, FALSE);
    UINT changed = RealizePalette(dc);
    SelectPalette(dc, old, FALSE);
    ReleaseDC(hwnd, dc);
    if (changed == 0 || changed == GDI_ERROR) return 0;
    InvalidateRect(hwnd, nullptr, TRUE);
    record->paletteUpdates = 0;
    return 1;
}

// WM_PALETTECHANGED: another window realised its palette.
void PaletteChanged(HWND hwnd, HWND changer)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (changer == hwnd || !record || !record->hDIB || !record->hPalette) return;
    HDC screen = GetDC(nullptr);
    HPALETTE old = SelectPalette(screen, record->hPalette, TRUE);
    UINT changed = RealizePalette(screen);
    SelectPalette(screen, old, TRUE);
    ReleaseDC(nullptr, screen);
    if (changed == 0 || changed == GDI_ERROR) return;
    if (useUpdateColors) {
        HDC dc = GetDC(hwnd);
        UpdateColors(dc);
        ReleaseDC(hwnd, dc);
        record->paletteUpdates++;
    } else {
        InvalidateRect(hwnd, nullptr, TRUE);
    }
}

// WM_CREATE: a kind-1 block makes the record and takes the window's
// attributes from ImageInfo, the description of the file just loaded.
LRESULT Create(HWND hwnd, const CREATESTRUCTA* create)
{
    const auto* mdi = static_cast<const MDICREATESTRUCTA*>(create->lpCreateParams);
    const auto* block = mdi ? reinterpret_cast<const ImageCreateBlock*>(mdi->lParam) : nullptr;
    // Kind 2 leaves the window bare: an extension module brings its own record.
    if (!block || block->kind != IMG_CREATE_NORMAL) return 0;

    STA_Lock();
    IMG_Create(hwnd);
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record) {
        STA_Unlock();
        return -1;
    }
    record->flags = IF_UNTITLED;
    record->format = -1;
    record->scrollX = 0;
    record->scrollY = 0;
    record->paletteUpdates = 0;
    record->bits = IMG_DepthFromInfo(INF_GetValue(INF_BITSPERPIXEL), INF_GetValue(INF_PLANES));
    if (IMG_ColourFromInfo(INF_GetValue(INF_GRAY))) record->flags |= IF_COLOR;
    record->compressed = IMG_CompressedFromInfo(INF_GetValue(INF_COMPRESSED));

    if (block->handle) {
        const LONG type = INF_GetValue(INF_TYPE);
        record->flags |= IMG_TypeFlag(type);
        // A raster image becomes the record's; the media documents take their
        // handles over themselves.
        if (type == IT_RASTER)
            IMG_SetImage(hwnd, block->handle);
        else if (type == IT_ANIMATION)
            AVI_SetUpWindow(hwnd, block->handle);
        else if (type == IT_WAVE || type == IT_MIDI)
            SND_SetUpWindow(hwnd, block->handle);
    }
    // The image just set counts as clean.
    IMG_GetRecord(hwnd)->flags &= ~IF_MODIFIED;
    STA_Unlock();
    return 0;
}

// WM_MDIACTIVATE: lParam is the window being activated.
LRESULT Activate(HWND hwnd, HWND activated)
{
    MAI_Active = activated;
    if (activated && !WIN_IsImageWindow(activated)) MAI_Active = nullptr;
    STA_Update(0);
    if (!MAI_Active) return 0;
    SetFocus(hwnd);
    return RealizeOwnPalette(hwnd);
}

LRESULT Paint(HWND hwnd)
{
    PAINTSTRUCT ps;
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (record && record->paletteUpdates >= 2) {
        BeginPaint(hwnd, &ps);
        EndPaint(hwnd, &ps);
        record->paletteUpdates = 0;
        InvalidateRect(hwnd, nullptr, TRUE);
        return 0;
    }
    HDC dc = BeginPaint(hwnd, &ps);
    WIN_Paint(hwnd, dc);
    EndPaint(hwnd, &ps);
    return 0;
}

// One scroll bar's part of WIN_UpdateScrollBars: image is the image's extent,
// room the client's extent with the shown bars added back.
void UpdateBar(HWND hwnd, int bar, LONG image, LONG room, LONG* scroll)
{
    const LONG overflow = image - room;
    if (overflow < 1) {
        if (*scroll > 0) {
            const LONG old = *scroll;
            *scroll = 0;
            if (bar == SB_HORZ)
                ScrollWindow(hwnd, old, 0, nullptr, nullptr);
            else
                ScrollWindow(hwnd, 0, old, nullptr, nullptr);
            SetScrollPos(hwnd, bar, 0, TRUE);
        }
        ShowScrollBar(hwnd, bar, FALSE);
        return;
    }
    int low = 0, oldHigh = 0;
    GetScrollRange(hwnd, bar, &low, &oldHigh);
    // The overflow shrank while scrolled past the image's new end: pull the
    // view back so that the image's end stays at the window's edge.
    if (overflow < oldHigh && *scroll >= 1 && *scroll + room > image) {
        LONG moved = *scroll - (oldHigh - overflow);
        if (moved < 0) moved = 0;
        const LONG delta = *scroll - moved;
        *scroll = moved;
        if (bar == SB_HORZ)
            ScrollWindow(hwnd, delta, 0, nullptr, nullptr);
        else
            ScrollWindow(hwnd, 0, delta, nullptr, nullptr);
        SetScrollPos(hwnd, bar, moved, TRUE);
    }
    ShowScrollBar(hwnd, bar, TRUE);
    SetScrollRange(hwnd, bar, 0, overflow, TRUE);
}
}  // namespace

int WIN_IsImageWindow(HWND hwnd)
{
    char name[32] = "";
    GetClassNameA(hwnd, name, sizeof name);
    return lstrcmpA(name, WIN_ClassName) == 0;
}

int WIN_TransportHeight(HWND hwnd)
{
    // A media document's transport control is the window's only child.
    HWND control = GetWindow(hwnd, GW_CHILD);
    if (!control) return 0;
    RECT rect;
    GetWindowRect(control, &rect);
    return rect.bottom - rect.top;
}

void WIN_Paint(HWND hwnd, HDC dc)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record) return;
    // Scrolling moves the origin; the image is always drawn at 0, 0.
    SetWindowOrgEx(dc, record->scrollX, record->scrollY, nullptr);
    HPALETTE old = nullptr;
    if (record->hPalette) {
        old = SelectPalette(dc, record->hPalette, hwnd != MAI_Active);
        RealizePalette(dc);
    }
    if (record->hBitmap)
        DIB_Draw(dc, 0, 0, record->hBitmap, SRCCOPY);
    else if (record->hDIB)
        DIB_Paint(dc, record->hDIB, record->hPalette, static_cast<int>(SET_Value(SET_COLOR_MATCH)),
                  static_cast<int>(SET_Value(SET_ALPHA_DISPLAY)));
    if (old) SelectPalette(dc, old, FALSE);
}

void WIN_FitToImage(HWND hwnd, HGLOBAL hDIB)
{
    if (IsZoomed(hwnd)) return;
    RECT window, client;
    GetWindowRect(hwnd, &window);
    GetClientRect(hwnd, &client);

    RECT area;
    GetClientRect(MAI_Frame, &area);
    LONG areaWidth = area.right - area.left;
    LONG areaHeight = area.bottom - area.top;
    if (IsIconic(MAI_Frame)) {
        WINDOWPLACEMENT placement{};
        placement.length = sizeof placement;
        GetWindowPlacement(MAI_Frame, &placement);
        const RECT& normal = placement.rcNormalPosition;
        areaWidth = normal.right - normal.left - 2 * GetSystemMetrics(SM_CXFRAME);
        areaHeight = normal.bottom - normal.top - 2 * GetSystemMetrics(SM_CYFRAME) - GetSystemMetrics(SM_CYCAPTION) -
                     GetSystemMetrics(SM_CYMENU);
    }
    areaHeight -= STA_GetHeight();

    LONG borderWidth = (window.right - window.left) - client.right;
    LONG borderHeight = (window.bottom - window.top) - client.bottom;
    const LONG style = GetWindowLongA(hwnd, GWL_STYLE);
    // A shown bar leaves the border less one pixel: a window that had bars
    // comes out a pixel wider or taller than its image.
    if (style & WS_VSCROLL) borderWidth -= GetSystemMetrics(SM_CXVSCROLL) - 1;
    if (style & WS_HSCROLL) borderHeight -= GetSystemMetrics(SM_CYHSCROLL) - 1;

    BITMAPINFOHEADER header{};
    if (hDIB) DIB_GetInfo(hDIB, &header);
    const LONG imageWidth = header.biWidth;
    const LONG imageHeight = std::labs(header.biHeight);
    LONG width = imageWidth + borderWidth;
    LONG height = imageHeight + borderHeight;
    if (ImageRecord* record = IMG_GetRecord(hwnd)) {
        if (record->flags & IF_MEDIA) height += WIN_TransportHeight(hwnd);
    }

    POINT corner{window.left, window.top};
    ScreenToClient(MAI_Frame, &corner);
    auto cap = [&] {
        if (corner.x + width > areaWidth) width = areaWidth - corner.x;
        if (corner.y + height > areaHeight) height = areaHeight - corner.y;
    };
    cap();
    // A bar that is coming takes its room first, less one pixel.
    if (width - borderWidth < imageWidth) height += GetSystemMetrics(SM_CYHSCROLL) - 1;
    if (height - borderHeight < imageHeight) width += GetSystemMetrics(SM_CXVSCROLL) - 1;
    cap();

    SetWindowPos(hwnd, nullptr, 0, 0, width, height, SWP_NOMOVE);
    WIN_UpdateScrollBars(hwnd);
}

void WIN_UpdateScrollBars(HWND hwnd)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record || !record->hDIB || scrollBusy) return;
    scrollBusy = 1;
    BITMAPINFOHEADER header{};
    DIB_GetInfo(record->hDIB, &header);
    RECT client;
    GetClientRect(hwnd, &client);
    const LONG style = GetWindowLongA(hwnd, GWL_STYLE);
    LONG width = client.right;
    LONG height = client.bottom;
    if (style & WS_VSCROLL) width += GetSystemMetrics(SM_CXVSCROLL) + 1;
    if (style & WS_HSCROLL) height += GetSystemMetrics(SM_CYHSCROLL) + 1;
    UpdateBar(hwnd, SB_HORZ, header.biWidth, width, &record->scrollX);
    UpdateBar(hwnd, SB_VERT, std::labs(header.biHeight), height, &record->scrollY);
    scrollBusy = 0;
}

LRESULT CALLBACK MainWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = 0;
    if (LIB_ImageMessage(hwnd, message, wParam, lParam, &result)) return result;

    switch (message) {
    case WM_CREATE:
        return Create(hwnd, reinterpret_cast<const CREATESTRUCTA*>(lParam));
    case WM_DESTROY:
        MED_Close(hwnd);
        IMG_Destroy(hwnd);
        break;
    case WM_PAINT:
        return Paint(hwnd);
    case WM_MDIACTIVATE:
        return Activate(hwnd, reinterpret_cast<HWND>(lParam));
    case WM_QUERYNEWPALETTE:
        return RealizeOwnPalette(hwnd);
    case WM_PALETTECHANGED:
        PaletteChanged(hwnd, reinterpret_cast<HWND>(wParam));
        return 0;
    case WM_SIZE:
        MED_PlaceStrip(hwnd);
        WIN_UpdateScrollBars(hwnd);
        break;
    case WM_SETFOCUS:
        return 0;
    case WM_HSCROLL:
        WIN_HScroll(hwnd, wParam, lParam);
        return 0;
    case WM_VSCROLL:
        WIN_VScroll(hwnd, wParam, lParam);
        return 0;
    case WM_KEYDOWN:
        return WIN_KeyDown(hwnd, wParam, lParam);
    case WM_LBUTTONDOWN:
        return WIN_LeftButtonDown(hwnd);
    case WM_LBUTTONDBLCLK:
        return WIN_LeftDoubleClick(hwnd);
    case WM_RBUTTONDOWN:
        return WIN_RightButtonDown(hwnd, lParam);
    case WM_CLOSE:
        if (!FIL_QueryClose(hwnd)) return 0;
        break;
    case WM_QUERYENDSESSION:
        // The reversed sense that the frame's walk counts on: 0 lets it close.
        return FIL_QueryClose(hwnd) ? 0 : 1;
    case WM_RENDERALLFORMATS:
        // The offered objects go to the clipboard now or are lost.
        IMG_Destroy(hwnd);
        return 0;
    case WM_RENDERFORMAT:
        CBD_Render(hwnd, static_cast<UINT>(wParam));
        return 0;
    case WM_DESTROYCLIPBOARD:
        CBD_Forget();
        return 0;
    case WM_COMMAND:
        // The play strip of a film or sound document.
        if (wParam != static_cast<WPARAM>(MED_StripId) || !IMG_GetRecord(hwnd)) break;
        if (IMG_TestFlag(hwnd, IF_ANIMATION))
            AVI_OnVcr(hwnd, wParam, lParam);
        else if (IMG_TestFlag(hwnd, IF_WAVE | IF_MIDI))
            SND_OnVcr(hwnd, wParam, lParam);
        return 1;
    case MM_MCINOTIFY:
        if (!IMG_GetRecord(hwnd)) return 0;
        if (IMG_TestFlag(hwnd, IF_ANIMATION))
            AVI_OnMciNotify(hwnd);
        else if (IMG_TestFlag(hwnd, IF_WAVE | IF_MIDI))
            SND_OnMciNotify(hwnd);
        return 0;
    }
    return DefMDIChildProcA(hwnd, message, wParam, lParam);
}
