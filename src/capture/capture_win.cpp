// The capture engine: the Capture menu arms a kind and a destination, the hot
// key's message fires CAP_Capture, which grabs the screen as it stands and
// hands the picture to a numbered file, the clipboard or a new image window.
#include "capture/capture.h"

#include "core/app.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/save_document.h"
#include "core/settings.h"
#include "formats/format_table.h"
#include "platform/dib.h"
#include "platform/profile.h"
#include "platform/ui_hooks.h"

#include <cstdio>

#include "korvanta_ids.h"
#include "menu_ids.h"

LONG CAP_Mode = CAP_DefaultMode;
char cap_file[128];
char cap_dir[128];
LONG cap_file_num;
LONG cap_file_num_len = 4;
LONG cap_use_count;
LONG cap_client;
DWORD cap_save_id;
RECT CAP_UserRect;
HWND CAP_TransWindow;

namespace {
const UINT kNoMemory = 8198;       // "Not enough memory to capture"
const UINT kNoWindowThere = 8233;  // "There is no window under the cursor, cannot capture"
const UINT kWarning = 19715;       // "Warning"
const char kNoApplication[] = "Unable to access active application, cannot capture";
const char kNoRectangle[] = "An error occured trying to capture user rectangle, try a different capture mode";
const char kIndexReset[] = "Capture file index has reached %ld, resetting to zero.";
const char kIndexAsk[] = "Capture file index has reached %ld, reset to zero?";
const char kTransClass[] = "TransClass";
const int kNotXorPen = 10;
const DWORD kXor = 0x660046;
// The mouse messages a drag takes off the queue: to the wheel while it waits
// for the button, to the middle button's double click during the drag.
const UINT kWaitLast = 0x20A, kDragLast = 0x209;

// ---- the rectangle mode's window and drag ----------------------------------------------

// A transparent top-most pop-up over the screen, so that the drag's mouse
// goes to the program while the screen shows through.
HWND MakeTransWindow()
{
    WNDCLASSA wc{};
    wc.lpfnWndProc = DefWindowProcA;
    wc.hInstance = MAI_Instance;
    wc.hIcon = LoadIconA(MAI_Instance, MAKEINTRESOURCEA(IDI_FRAME));
    wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(NULL_BRUSH));
    wc.lpszClassName = kTransClass;
    RegisterClassA(&wc);
    HDC screen = GetDC(nullptr);
    const int side = GetDeviceCaps(screen, HORZRES);
    ReleaseDC(nullptr, screen);
    // As tall as the screen is wide: it covers any screen wider than tall.
    HWND window = CreateWindowExA(WS_EX_TOPMOST, kTransClass, nullptr, WS_POPUP | WS_VISIBLE, 0, 0, side, side,
                                  nullptr, nullptr, MAI_Instance, nullptr);
    if (window) {
        // Nothing repaints under it.
        ValidateRect(window, nullptr);
        ValidateRect(nullptr, nullptr);
        ValidateRect(GetDesktopWindow(), nullptr);
    }
    if (!IsWindow(window)) {
        UnregisterClassA(kTransClass, MAI_Instance);
        return nullptr;
    }
    return window;
}

BOOL CALLBACK RepaintNow(HWND window, LPARAM)
{
    ValidateRect(window, nullptr);
    UpdateWindow(window);
    return TRUE;
}

void RemoveTransWindow(HWND window)
{
    ShowWindow(window, SW_HIDE);
    MSG msg;
    while (PeekMessageA(&msg, nullptr, WM_ERASEBKGND, WM_ERASEBKGND, PM_REMOVE)) {
    }
    EnumWindows(RepaintNow, 0);
    DestroyWindow(window);
    UnregisterClassA(kTransClass, MAI_Instance);
}

// Draws (or, drawn again, removes) the rubber band and its "WxH" label by
// xor, on the rectangle window, which lies at 0, 0 over the whole screen.
void DrawBand(HWND window, POINT anchor, POINT corner)
{
    HDC screen = GetDC(window);
    HGDIOBJ oldBrush = SelectObject(screen, GetStockObject(NULL_BRUSH));
    const int oldMix = SetROP2(screen, kNotXorPen);
    RECT band;
    CAP_SortCorners(anchor, corner, &band);
    Rectangle(screen, band.left, band.top, band.right, band.bottom);
    SetROP2(screen, oldMix);
    SelectObject(screen, oldBrush);
    const int width = band.right - band.left, height = band.bottom - band.top;
    if (width && height) {
        char label[32];
        const int length = snprintf(label, sizeof label, "%dx%d", width, height);
        SIZE extent{};
        HDC memory = CreateCompatibleDC(screen);
        if (memory && GetTextExtentPointA(memory, label, length, &extent) && extent.cx > 0 && extent.cy > 0) {
            HBITMAP mono = CreateBitmap(extent.cx, extent.cy, 1, 1, nullptr);
            if (mono) {
                HGDIOBJ old = SelectObject(memory, mono);
                SetTextColor(memory, RGB(255, 255, 255));
                SetBkColor(memory, RGB(0, 0, 0));
                RECT all = {0, 0, extent.cx, extent.cy};
                ExtTextOutA(memory, 0, 0, ETO_OPAQUE, &all, label, length, nullptr);
                BitBlt(screen, band.left + width / 2 - extent.cx / 2, band.top + height / 2 - extent.cy / 2, extent.cx,
                       extent.cy, memory, 0, 0, kXor);
                SelectObject(memory, old);
                DeleteObject(mono);
            }
        }
        if (memory) DeleteDC(memory);
    }
    ReleaseDC(window, screen);
}

// Takes the next mouse message of window (or of all windows) off the queue
// without dispatching it; waits for input while there is none. 0 when the
// window lost the mouse, which ends the drag.
int NextMouse(HWND window, HWND filter, UINT last, MSG* msg)
{
    for (;;) {
        if (PeekMessageA(msg, filter, WM_MOUSEFIRST, last, PM_REMOVE)) return 1;
        if (GetCapture() != window) return 0;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_MOUSE);
    }
}

// The drag: the left button sets the anchor, the mouse the corner, either
// button's release ends it. Shift held when the button went down makes it square.
int TrackRect(HWND window)
{
    SetCapture(window);
    SetCursor(LoadCursorA(MAI_Instance, MAKEINTRESOURCEA(IDC_CAPTURE)));
    MSG msg;
    int ok = 1;
    for (;;) {
        if (!NextMouse(window, nullptr, kWaitLast, &msg)) {
            ok = 0;
            break;
        }
        if (msg.message == WM_LBUTTONDOWN) break;
        if (msg.message == WM_RBUTTONDOWN && (msg.wParam & MK_LBUTTON)) break;
    }
    POINT anchor{}, corner{};
    if (ok) {
        const bool square = (GetAsyncKeyState(VK_SHIFT) & 0x8000) != 0;
        GetCursorPos(&anchor);
        corner = anchor;
        DrawBand(window, anchor, corner);
        while (NextMouse(window, window, kDragLast, &msg)) {
            if (msg.message == WM_LBUTTONUP || msg.message == WM_RBUTTONUP) break;
            if (msg.message != WM_MOUSEMOVE) continue;
            POINT now;
            GetCursorPos(&now);
            if (now.x == corner.x && now.y == corner.y) continue;
            DrawBand(window, anchor, corner);
            corner = now;
            if (square) {
                corner = CAP_SquareCorner(anchor, corner);
                SetCursorPos(corner.x, corner.y);
            }
            DrawBand(window, anchor, corner);
        }
        DrawBand(window, anchor, corner);
    }
    SetCursor(LoadCursorA(nullptr, IDC_ARROW));
    ReleaseCapture();
    return ok && CAP_SortCorners(anchor, corner, &CAP_UserRect);
}

// A copy of the whole screen in a memory context; memory is 0 when it couldn't be made.
struct Snapshot {
    HDC memory = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    int width = 0, height = 0;

    Snapshot()
    {
        HDC screen = GetDC(nullptr);
        width = GetDeviceCaps(screen, HORZRES);
        height = GetDeviceCaps(screen, VERTRES);
        memory = CreateCompatibleDC(screen);
        bitmap = memory ? CreateCompatibleBitmap(screen, width, height) : nullptr;
        if (bitmap) {
            old = SelectObject(memory, bitmap);
            BitBlt(memory, 0, 0, width, height, screen, 0, 0, SRCCOPY);
        } else if (memory) {
            DeleteDC(memory);
            memory = nullptr;
        }
        ReleaseDC(nullptr, screen);
    }
    ~Snapshot()
    {
        if (!memory) return;
        SelectObject(memory, old);
        DeleteObject(bitmap);
        DeleteDC(memory);
    }
    // Lays the copy on the rectangle window, which then looks as the screen did.
    void Show(HWND window) const
    {
        HDC dc = GetDC(window);
        BitBlt(dc, 0, 0, width, height, memory, 0, 0, SRCCOPY);
        ReleaseDC(window, dc);
    }
};

// ---- delivery ---------------------------------------------------------------------------

void ToClipboard(HGLOBAL dib, HBITMAP bitmap, HPALETTE palette)
{
    if (!OpenClipboard(MAI_Frame)) {
        GlobalFree(dib);
        DeleteObject(bitmap);
        if (palette) DeleteObject(palette);
        return;
    }
    EmptyClipboard();
    SetClipboardData(CF_DIB, dib);
    SetClipboardData(CF_BITMAP, bitmap);
    if (palette) SetClipboardData(CF_PALETTE, palette);
    CloseClipboard();
}

void ToWindow(HGLOBAL dib, HBITMAP bitmap, HPALETTE palette)
{
    DeleteObject(bitmap);
    if (palette) DeleteObject(palette);
    HWND window = FIL_OpenDocument(MAI_Frame, nullptr, 1);
    if (!window) {
        GlobalFree(dib);
        return;
    }
    auto* header = static_cast<BITMAPINFOHEADER*>(GlobalLock(dib));
    const LONG bits = header ? header->biBitCount : 0;
    GlobalUnlock(dib);
    IMG_SetImage(window, dib);
    IMG_SetAttr(window, IA_BITS, bits);
}

// The rectangle of a window, grabbed through a screen context of its own.
void GrabWindow(HWND window, HGLOBAL* dib, HPALETTE* palette, HBITMAP* bitmap)
{
    HDC screen = GetDC(nullptr);
    RECT rect = {};  // no window: an empty grab, which is reported
    CAP_GetRect(window, &rect);
    CAP_GrabRect(screen, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top, dib, palette, bitmap);
    ReleaseDC(nullptr, screen);
}
}  // namespace

void CAP_CheckMenu(UINT commandId)
{
    HMENU menu = GetMenu(MAI_Frame);
    for (UINT id = IDM_CAPTURE_ACTIVEWINDOW; id <= IDM_CAPTURE_OPTIONS; id++)
        CheckMenuItem(menu, id, MF_BYCOMMAND | (id == commandId ? MF_CHECKED : MF_UNCHECKED));
}

int CAP_SaveAll()
{
    char section[64] = "Capture";
    int saveAll = 1;
    HPROFILE profile = PRF_OpenSection(section);
    PRF_AddDefault(profile, "cap_save_all", 1);
    PRF_GetInt(profile, "cap_save_all", &saveAll);
    PRF_Close(profile);
    return saveAll;
}

void CAP_SetMode(UINT commandId)
{
    const int kind = CAP_KindOfCommand(commandId);
    if (!kind) return;
    CAP_Mode = (CAP_Mode & ~0xFF) | kind;
    SET_Put(SET_CAPTURE_MODE, CAP_StoredMode(CAP_Mode, CAP_SaveAll()));
    SET_MarkChanged(SET_CAPTURE_MODE, 1);
    CAP_CheckMenu(commandId);
}

void CAP_GetRect(HWND window, RECT* rect)
{
    if (!cap_client) {
        GetWindowRect(window, rect);
        return;
    }
    GetClientRect(window, rect);
    POINT origin = {0, 0};
    ClientToScreen(window, &origin);
    OffsetRect(rect, origin.x, origin.y);
}

void CAP_GrabRect(HDC screen, int x, int y, int width, int height, HGLOBAL* dib, HPALETTE* palette,
                  HBITMAP* bitmap)
{
    *dib = nullptr;
    *bitmap = nullptr;
    CAP_FitRect(GetDeviceCaps(screen, HORZRES), GetDeviceCaps(screen, VERTRES), &x, &y, &width, &height);
    HDC memory = CreateCompatibleDC(screen);
    const HPALETTE none = reinterpret_cast<HPALETTE>(static_cast<INT_PTR>(-1));
    HPALETTE usable = *palette && *palette != none ? *palette : nullptr;
    if (memory && usable) {
        SelectPalette(memory, usable, TRUE);
        RealizePalette(memory);
    }
    HBITMAP grabbed = memory && width > 0 && height > 0 ? CreateCompatibleBitmap(screen, width, height) : nullptr;
    if (!grabbed) {
        MSG_Report(SEV_ERROR, kNoMemory);
        if (memory) DeleteDC(memory);
        return;
    }
    HGDIOBJ old = SelectObject(memory, grabbed);
    BitBlt(memory, 0, 0, width, height, screen, x, y, SRCCOPY);
    SelectObject(memory, old);
    *dib = DIB_FromBitmap(memory, grabbed, 0, 0, usable, 0);
    if (*dib) {
        *bitmap = grabbed;
    } else {
        MSG_Report(SEV_ERROR, kNoMemory);
        DeleteObject(grabbed);
    }
    DeleteDC(memory);
}

void CAP_Capture()
{
    HPALETTE palette = DIB_GetSystemPalette();
    HGLOBAL dib = nullptr;
    HBITMAP bitmap = nullptr;
    switch (CAP_Mode & 0xFF) {
    case CAPK_WINDOW:
        GrabWindow(GetForegroundWindow(), &dib, &palette, &bitmap);
        break;
    case CAPK_APPLICATION: {
        HWND window = GetForegroundWindow();
        while (HWND parent = window ? GetParent(window) : nullptr) window = parent;
        if (!window) {
            MSG_ReportText(SEV_ERROR, kNoApplication);
            break;
        }
        GrabWindow(window, &dib, &palette, &bitmap);
        break;
    }
    case CAPK_SCREEN: {
        HDC screen = GetDC(nullptr);
        CAP_GrabRect(screen, 0, 0, MAI_ScreenWidth, MAI_ScreenHeight, &dib, &palette, &bitmap);
        ReleaseDC(nullptr, screen);
        break;
    }
    case CAPK_RECTANGLE: {
        // The screen as the hot key found it: where a system paints the
        // rectangle window after all, the picture is still the screen's.
        Snapshot shot;
        CAP_TransWindow = shot.memory ? MakeTransWindow() : nullptr;
        if (!CAP_TransWindow) {
            MSG_ReportText(SEV_ERROR, kNoRectangle);
            break;
        }
        shot.Show(CAP_TransWindow);
        if (TrackRect(CAP_TransWindow))
            CAP_GrabRect(shot.memory, CAP_UserRect.left, CAP_UserRect.top, CAP_UserRect.right - CAP_UserRect.left,
                         CAP_UserRect.bottom - CAP_UserRect.top, &dib, &palette, &bitmap);
        RemoveTransWindow(CAP_TransWindow);
        CAP_TransWindow = nullptr;
        break;
    }
    case CAPK_UNDERMOUSE: {
        POINT at;
        GetCursorPos(&at);
        HWND window = WindowFromPoint(at);
        if (!window) {
            MSG_Report(SEV_ERROR, kNoWindowThere);
            break;
        }
        GrabWindow(window, &dib, &palette, &bitmap);
        break;
    }
    }
    if (!dib || !bitmap) {
        if (palette) DeleteObject(palette);
        return;
    }
    switch (CAP_Mode & CAPD_MASK) {
    case CAPD_FILE:
        CAP_SaveToFile(dib, bitmap);
        GlobalFree(dib);
        DeleteObject(bitmap);
        if (palette) DeleteObject(palette);
        break;
    case CAPD_CLIPBOARD:
        ToClipboard(dib, bitmap, palette);
        break;
    default:
        ToWindow(dib, bitmap, palette);
        break;
    }
}

void CAP_SaveToFile(HGLOBAL dib, HBITMAP bitmap)
{
    char name[CAP_NameRoom] = {};
    if (cap_dir[0]) SetCurrentDirectoryA(cap_dir);
    char extension[16];
    FMT_GetExtension(static_cast<int>(cap_save_id), extension);
    if (!CAP_FileName(cap_file, cap_use_count != 0, cap_file_num, static_cast<int>(cap_file_num_len), extension,
                      cap_use_count != 0, name, sizeof name))
        return;
    if (cap_use_count) {
        const LONG reached = cap_file_num + 1;
        char text[128];
        switch (CAP_NextNumber(&cap_file_num, static_cast<int>(cap_file_num_len))) {
        case CAPI_NOTICE_RESET: {
            char caption[32] = "";
            LoadStringA(nullptr, kWarning, caption, sizeof caption);
            snprintf(text, sizeof text, kIndexReset, static_cast<long>(reached));
            UTL_MessageBox(MAI_Frame, text, caption, MB_OK | MB_ICONSTOP);
            break;
        }
        case CAPI_ASK_RESET: {
            char caption[32] = "";
            LoadStringA(nullptr, kWarning, caption, sizeof caption);
            snprintf(text, sizeof text, kIndexAsk, static_cast<long>(reached));
            const int yes = UTL_MessageBox(MAI_Frame, text, caption, MB_YESNO | MB_ICONQUESTION) == IDYES;
            int digits = static_cast<int>(cap_file_num_len);
            CAP_AnswerReset(yes, &cap_file_num, &digits);
            cap_file_num_len = digits;
            break;
        }
        }
    }
    FIL_SaveRow = static_cast<int>(cap_save_id);
    auto* header = static_cast<BITMAPINFOHEADER*>(GlobalLock(dib));
    const int bits = header ? header->biBitCount : 0;
    GlobalUnlock(dib);
    const int depth = FMT_DepthIndex(bits);
    if (depth < 0) return;
    // The format's own default compression, not any choice of the user's.
    const WORD compressed = FMT_TestCapability(FIL_SaveRow, depth, CAP_COMPRESS_INHERENT) ? 1 : 0;
    if (!FMT_TestCapability(FIL_SaveRow, depth, CAP_COLOR)) {
        HGLOBAL gray = DIB_ToGray(dib);
        if (!gray) return;
        auto* grayHeader = static_cast<BITMAPINFOHEADER*>(GlobalLock(gray));
        const WORD grayBits = grayHeader ? grayHeader->biBitCount : 8;
        GlobalUnlock(gray);
        FIL_SaveFile(name, gray, 0, compressed, grayBits);
        GlobalFree(gray);
        return;
    }
    FIL_SaveFile(name, dib, 1, compressed, static_cast<WORD>(bits));
}
