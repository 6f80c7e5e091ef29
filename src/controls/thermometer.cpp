// The progress thermometer window: a caption box, a well with a red bar and
// the labels 0 and 100. The long operations call it from inside their loops
// while no messages are pumped, so every update draws straight onto the
// window's device context; WM_PAINT, when some loop does pump, repaints it all.
#include "core/app.h"
#include "platform/thermometer.h"

#include <cstring>

HWND TRM_Window = nullptr;
BYTE TRM_Registered = 0;
HGLOBAL TRM_Text = nullptr;
WORD TRM_Low = 0;
WORD TRM_High = 0;
WORD TRM_Pos = 0;
BYTE TRM_FullPaint = 0;

namespace {
const char kClassName[] = "ThermoClass";
const char kTitle[] = "Loading...";
const UINT kLabelLow = 21248;   // "0"
const UINT kLabelHigh = 21249;  // "100"

// A rectangle in dialog units converted to pixels with the system's base units.
RECT DialogRect(int left, int top, int right, int bottom)
{
    LONG units = GetDialogBaseUnits();
    int bx = LOWORD(units), by = HIWORD(units);
    RECT r = {left * bx / 4, top * by / 8, right * bx / 4, bottom * by / 8};
    return r;
}

// A white box framed in black with a gray shadow two pixels wide along its
// right side and two pixels high along its bottom, each one pixel in from the corner.
void DrawBox(HDC dc, const RECT& box)
{
    FillRect(dc, &box, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    FrameRect(dc, &box, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    HBRUSH gray = static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH));
    RECT right = {box.right, box.top + 1, box.right + 2, box.bottom + 2};
    RECT bottom = {box.left + 1, box.bottom, box.right + 2, box.bottom + 2};
    FillRect(dc, &right, gray);
    FillRect(dc, &bottom, gray);
}

void DrawLabel(HDC dc, UINT id, RECT r)
{
    char text[16];
    if (LoadStringA(MAI_Instance, id, text, sizeof text) > 0) DrawTextA(dc, text, -1, &r, DT_SINGLELINE);
}

// The paint step: nothing for an unchanged position; 0xFFFF asks for a full
// paint (frame, labels, caption) at the present position; then the bar.
void PaintStep(HDC dc, WORD position)
{
    if (position == TRM_Pos) return;
    if (position == TRM_FullPaintPosition) {
        TRM_FullPaint = 1;
        position = TRM_Pos;
    }
    TRM_Pos = position;

    HFONT font = nullptr, oldFont = nullptr;
    if (TRM_FullPaint) {
        SetTextColor(dc, RGB(0, 0, 0));
        SetBkColor(dc, RGB(255, 255, 255));
        int height = 8 * HIWORD(GetDialogBaseUnits()) / 8;
        font = CreateFontA(height, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, 0, 0, "Helv");
        oldFont = static_cast<HFONT>(SelectObject(dc, font));
        RECT client;
        GetClientRect(TRM_Window, &client);
        FillRect(dc, &client, static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH)));
        DrawBox(dc, DialogRect(1, 2, 150, 14));
        DrawBox(dc, DialogRect(9, 22, 141, 44));
        SetBkMode(dc, TRANSPARENT);
        DrawLabel(dc, kLabelLow, DialogRect(8, 47, 23, 59));
        DrawLabel(dc, kLabelHigh, DialogRect(134, 47, 149, 59));
        SetBkMode(dc, OPAQUE);
        if (TRM_Text) {
            const char* text = static_cast<const char*>(GlobalLock(TRM_Text));
            RECT r = DialogRect(1, 4, 150, 14);
            if (text) DrawTextA(dc, text, -1, &r, DT_CENTER | DT_VCENTER);
            GlobalUnlock(TRM_Text);
        }
    }

    if (TRM_High != TRM_Low && TRM_Pos != TRM_Low) {
        HBRUSH red = CreateSolidBrush(RGB(255, 0, 0));
        RECT bar = DialogRect(9, 22, 9 + 132, 22 + 22);
        InflateRect(&bar, -1, -1);
        bar.right = bar.left + TRM_BarFill(bar.right - bar.left, TRM_Low, TRM_High, TRM_Pos);
        FillRect(dc, &bar, red);
        DeleteObject(red);
    }

    if (TRM_FullPaint) {
        TRM_FullPaint = 0;
        SelectObject(dc, oldFont);
        DeleteObject(font);
    }
}

// Runs the paint step on the window's device context taken for the moment.
void PaintNow(WORD position)
{
    HDC dc = GetDC(TRM_Window);
    PaintStep(dc, position);
    ReleaseDC(TRM_Window, dc);
}

// A fresh zero-filled block holding a copy of text.
HGLOBAL CopyText(LPCSTR text)
{
    if (!text) text = "";
    SIZE_T length = strlen(text);
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, length + 1);
    if (block) {
        memcpy(GlobalLock(block), text, length);
        GlobalUnlock(block);
    }
    return block;
}
}  // namespace

LRESULT CALLBACK TRM_DisplayProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_PAINT) {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(window, &ps);
        PaintStep(dc, TRM_FullPaintPosition);
        EndPaint(window, &ps);
        return 0;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

HWND TRM_Owner() { return MAI_Frame; }

void TRM_Open(HWND owner, LPCSTR text)
{
    if (!TRM_Registered) {
        WNDCLASSA wc = {};
        wc.style = CS_SAVEBITS | CS_DBLCLKS;
        wc.lpfnWndProc = TRM_DisplayProc;
        wc.hInstance = MAI_Instance ? MAI_Instance : GetModuleHandleA(nullptr);
        wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
        wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
        wc.lpszClassName = kClassName;
        RegisterClassA(&wc);
        TRM_Registered = 1;
    }
    TRM_Low = TRM_High = TRM_Pos = 0;
    TRM_Text = CopyText(text);
    RECT r = DialogRect(78, 30, 156, 63);  // x, y, width, height
    TRM_Window = CreateWindowExA(0, kClassName, kTitle, WS_POPUP | WS_DLGFRAME, r.left, r.top, r.right, r.bottom, owner,
                                 nullptr, MAI_Instance ? MAI_Instance : GetModuleHandleA(nullptr), nullptr);
    // Only while this thread has the focus, so that a run in the background
    // does not pop up over another program.
    HWND focus = GetFocus();
    if (focus && GetWindowThreadProcessId(focus, nullptr) == GetWindowThreadProcessId(TRM_Window, nullptr))
        ShowWindow(TRM_Window, SW_SHOWNORMAL);
    UpdateWindow(TRM_Window);
}

void TRM_SetRange(WORD low, WORD high)
{
    TRM_Low = low;
    TRM_High = high;
    TRM_Pos = low;
}

void TRM_Update(WORD position) { PaintNow(position); }

void TRM_SetText(LPCSTR text)
{
    if (TRM_Text) GlobalFree(TRM_Text);
    TRM_Text = CopyText(text);
    PaintNow(TRM_FullPaintPosition);
}

void TRM_Close()
{
    DestroyWindow(TRM_Window);
    if (TRM_Text) GlobalFree(TRM_Text);
    TRM_Text = nullptr;
}
