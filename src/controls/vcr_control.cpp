// The play strip of the media windows: Play and Stop buttons beside a
// horizontal slider, each reporting to the strip, which reports to its
// parent by WM_COMMAND with its id and a code (1 Play, 2 Stop, 3 slider).
// Nothing here reaches the program's globals, so the classes register in
// whatever module runs them.
#include "controls/custom_controls.h"

namespace {
const char kSliderClass[] = "SliderCtrl";
const char kStripClass[] = "VCRCtrl";
const int kStripHeight = 26;
const int kPlayId = 200, kStopId = 201, kSliderId = 202;
// Slider words: the maximum, then the position.
const int kMaximumWord = 0, kPositionWord = 2;
// Strip words: the children's handles.
const int kPlayLong = 2, kStopLong = 6, kSliderLong = 10;

HINSTANCE Module() { return GetModuleHandleA(nullptr); }

HWND Child(HWND strip, int at) { return reinterpret_cast<HWND>(static_cast<LONG_PTR>(GetWindowLongA(strip, at))); }

WORD Maximum(HWND slider) { return GetWindowWord(slider, kMaximumWord); }
WORD Position(HWND slider) { return GetWindowWord(slider, kPositionWord); }

// The track is the client rectangle less a third of its height on each side.
struct SliderGeometry {
    RECT track;
    int margin;
};

SliderGeometry Measure(HWND slider)
{
    RECT client;
    GetClientRect(slider, &client);
    SliderGeometry g;
    g.margin = client.bottom / 3;
    g.track = {g.margin, g.margin, client.right - g.margin, client.bottom - g.margin};
    return g;
}

RECT Thumb(const SliderGeometry& g, WORD position, WORD maximum)
{
    const int width = g.track.right - g.track.left;
    // A position past the maximum stays at the track's end.
    const int offset = maximum ? width * (position < maximum ? position : maximum) / maximum : 0;
    const int half = g.margin / 2;
    RECT thumb = {g.track.left + offset - half, half, g.track.left + offset - half + g.margin, g.track.bottom + half};
    return thumb;
}

// The nearest step to x, x held inside the track.
WORD StepAt(const SliderGeometry& g, int x, WORD maximum)
{
    const int width = g.track.right - g.track.left;
    // One frame only, or no room: every click stays at the start.
    if (maximum == 0 || width <= 0) return 0;
    if (x < g.track.left) x = g.track.left;
    if (x > g.track.right) x = g.track.right;
    long step = static_cast<long>(maximum) * (x + width / (2 * maximum) - g.track.left) / width;
    return static_cast<WORD>(step > maximum ? maximum : step);
}

void Bevel(HDC dc, const RECT& r, bool raised)
{
    HBRUSH light = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    HBRUSH dark = static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH));
    RECT top = {r.left, r.top, r.right, r.top + 1}, left = {r.left, r.top, r.left + 1, r.bottom};
    RECT bottom = {r.left, r.bottom - 1, r.right, r.bottom}, right = {r.right - 1, r.top, r.right, r.bottom};
    FillRect(dc, &top, raised ? light : dark);
    FillRect(dc, &left, raised ? light : dark);
    FillRect(dc, &bottom, raised ? dark : light);
    FillRect(dc, &right, raised ? dark : light);
}

// The whole slider: background, a sunken track and a raised thumb.
void DrawSlider(HWND slider, HDC dc)
{
    RECT client;
    GetClientRect(slider, &client);
    FillRect(dc, &client, static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH)));
    const SliderGeometry g = Measure(slider);
    const RECT groove = {g.track.left, (g.track.top + g.track.bottom) / 2 - 2, g.track.right,
                         (g.track.top + g.track.bottom) / 2 + 2};
    Bevel(dc, groove, false);
    RECT thumb = Thumb(g, Position(slider), Maximum(slider));
    const bool enabled = IsWindowEnabled(slider) != 0;
    FillRect(dc, &thumb, static_cast<HBRUSH>(GetStockObject(enabled ? LTGRAY_BRUSH : GRAY_BRUSH)));
    FrameRect(dc, &thumb, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    InflateRect(&thumb, -1, -1);
    Bevel(dc, thumb, true);
}

void Redraw(HWND slider)
{
    HDC dc = GetDC(slider);
    if (!dc) return;
    DrawSlider(slider, dc);
    ReleaseDC(slider, dc);
}

void Report(HWND slider)
{
    SendMessageA(GetParent(slider), WM_COMMAND, static_cast<WPARAM>(GetDlgCtrlID(slider)),
                 MAKELPARAM(Position(slider), Maximum(slider)));
}

// A press: the thumb jumps to the nearest step and follows the mouse until
// a button is released, telling the parent of each new position.
void Drag(HWND slider, int x)
{
    SetCapture(slider);
    const SliderGeometry g = Measure(slider);
    SetWindowWord(slider, kPositionWord, StepAt(g, x, Maximum(slider)));
    Report(slider);
    Redraw(slider);
    for (;;) {
        MSG msg;
        if (!PeekMessageA(&msg, slider, WM_MOUSEFIRST, WM_MOUSEWHEEL, PM_REMOVE)) {
            // Capture lost to another window: the drag is over.
            if (GetCapture() != slider) break;
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_MOUSE);
            continue;
        }
        if (msg.message == WM_LBUTTONUP || msg.message == WM_RBUTTONUP) break;
        if (msg.message != WM_MOUSEMOVE) continue;
        const WORD step = StepAt(g, static_cast<short>(LOWORD(msg.lParam)), Maximum(slider));
        if (step == Position(slider)) continue;
        SetWindowWord(slider, kPositionWord, step);
        Redraw(slider);
        Report(slider);
    }
    if (GetCapture() == slider) ReleaseCapture();
}

void DrawButton(const DRAWITEMSTRUCT* item)
{
    HDC dc = item->hDC;
    const RECT r = item->rcItem;
    const int w = r.right - r.left, h = r.bottom - r.top;
    HGDIOBJ oldBrush =
        SelectObject(dc, GetStockObject((item->itemState & ODS_SELECTED) ? DKGRAY_BRUSH : LTGRAY_BRUSH));
    RoundRect(dc, r.left, r.top, r.right, r.bottom, 3, 3);
    PatBlt(dc, r.left, r.top, w, 2, WHITENESS);
    PatBlt(dc, r.left, r.top, 2, h, WHITENESS);
    SelectObject(dc, GetStockObject(GRAY_BRUSH));
    PatBlt(dc, r.left, r.bottom - 2, w, 2, PATCOPY);
    PatBlt(dc, r.right - 2, r.top, 2, h, PATCOPY);

    // The glyph fills the middle half: a triangle for Play, a square for Stop.
    const bool enabled = !(item->itemState & ODS_DISABLED);
    HGDIOBJ glyph = GetStockObject(enabled ? BLACK_BRUSH : GRAY_BRUSH);
    SelectObject(dc, glyph);
    HGDIOBJ oldPen = SelectObject(dc, GetStockObject(NULL_PEN));
    const int left = r.left + w / 4, top = r.top + h / 4, right = r.left + 3 * w / 4, bottom = r.top + 3 * h / 4;
    if (item->CtlID == kPlayId) {
        POINT corners[3] = {{left, top}, {left, bottom}, {right, (top + bottom) / 2}};
        Polygon(dc, corners, 3);
    } else {
        RECT square = {left, top, right, bottom};
        FillRect(dc, &square, static_cast<HBRUSH>(glyph));
    }
    SelectObject(dc, oldPen);
    SelectObject(dc, oldBrush);
}

void PaintStrip(HWND strip)
{
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(strip, &ps);
    if (!dc) return;
    RECT client;
    GetClientRect(strip, &client);
    const int w = client.right, h = client.bottom;
    PatBlt(dc, 0, 0, w, 1, WHITENESS);
    PatBlt(dc, 0, 0, 1, h, WHITENESS);
    HGDIOBJ old = SelectObject(dc, GetStockObject(GRAY_BRUSH));
    PatBlt(dc, 0, h - 1, w, 1, PATCOPY);
    PatBlt(dc, w - 1, 0, 1, h, PATCOPY);
    SelectObject(dc, old);
    EndPaint(strip, &ps);
}

LRESULT CreateStrip(HWND strip)
{
    RECT client;
    GetClientRect(strip, &client);
    const int size = client.bottom - 8;
    const HINSTANCE module = Module();
    HWND play = CreateWindowExA(0, "BUTTON", "", 0x5001000B, 4, 4, size, size, strip,
                                reinterpret_cast<HMENU>(static_cast<INT_PTR>(kPlayId)), module, nullptr);
    HWND stop = CreateWindowExA(0, "BUTTON", "", 0x5001000B, size + 8, 4, size, size, strip,
                                reinterpret_cast<HMENU>(static_cast<INT_PTR>(kStopId)), module, nullptr);
    HWND slider = CreateWindowExA(0, kSliderClass, "", 0x50010000, 2 * size + 12, 4, client.right - 2 * size - 16,
                                  size, strip, reinterpret_cast<HMENU>(static_cast<INT_PTR>(kSliderId)), module,
                                  nullptr);
    if (!play || !stop || !slider) return -1;
    SetWindowLongA(strip, kPlayLong, static_cast<LONG>(reinterpret_cast<LONG_PTR>(play)));
    SetWindowLongA(strip, kStopLong, static_cast<LONG>(reinterpret_cast<LONG_PTR>(stop)));
    SetWindowLongA(strip, kSliderLong, static_cast<LONG>(reinterpret_cast<LONG_PTR>(slider)));
    return 0;
}

int RegisterWithRetry(const WNDCLASSA& wc)
{
    if (RegisterClassA(&wc)) return 1;
    // A class left from before: drop it and take this one.
    UnregisterClassA(wc.lpszClassName, wc.hInstance);
    return RegisterClassA(&wc) != 0;
}
}  // namespace

LRESULT CALLBACK VC_SliderCtrlProc(HWND slider, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
        SetWindowWord(slider, kMaximumWord, 0);
        SetWindowWord(slider, kPositionWord, 0);
        return 0;
    case WM_ENABLE:
        InvalidateRect(slider, nullptr, TRUE);
        break;
    case WM_PAINT: {
        PAINTSTRUCT ps;
        if (HDC dc = BeginPaint(slider, &ps)) DrawSlider(slider, dc);
        EndPaint(slider, &ps);
        return 0;
    }
    case WM_LBUTTONDOWN:
        Drag(slider, static_cast<short>(LOWORD(lParam)));
        return 0;
    }
    return DefWindowProcA(slider, message, wParam, lParam);
}

LRESULT CALLBACK VC_VCRCtrlProc(HWND strip, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
        return CreateStrip(strip);
    case WM_MEASUREITEM: {
        auto* item = reinterpret_cast<MEASUREITEMSTRUCT*>(lParam);
        RECT r = {0, 0, 0, 0};
        GetClientRect(Child(strip, kPlayLong), &r);
        item->itemWidth = r.right;
        item->itemHeight = r.bottom;
        return 1;
    }
    case WM_DRAWITEM: {
        const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
        if (item->itemAction & (ODA_DRAWENTIRE | ODA_SELECT)) {
            DrawButton(item);
            return 1;
        }
        return item->itemAction == ODA_FOCUS ? 1 : 0;
    }
    case WM_PAINT:
        PaintStrip(strip);
        return 0;
    case WM_ENABLE:
        InvalidateRect(strip, nullptr, TRUE);
        break;
    case WM_SIZE: {
        // The slider takes the width that the buttons leave.
        const int size = HIWORD(lParam) - 8;
        if (HWND slider = Child(strip, kSliderLong))
            MoveWindow(slider, 2 * size + 12, 4, LOWORD(lParam) - 2 * size - 16, size, TRUE);
        break;
    }
    case WM_COMMAND: {
        const int child = LOWORD(wParam);
        const int code = child == kPlayId ? 1 : child == kStopId ? 2 : child == kSliderId ? 3 : 0;
        if (code)
            SendMessageA(GetParent(strip), WM_COMMAND, static_cast<WPARAM>(GetDlgCtrlID(strip)),
                         MAKELPARAM(LOWORD(lParam), code));
        return 0;
    }
    }
    return DefWindowProcA(strip, message, wParam, lParam);
}

int VC_RegisterClasses()
{
    WNDCLASSA wc{};
    wc.style = CS_VREDRAW | CS_HREDRAW;
    wc.lpfnWndProc = VC_SliderCtrlProc;
    wc.cbWndExtra = 4;
    wc.hInstance = Module();
    wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH));
    wc.lpszClassName = kSliderClass;
    if (!RegisterWithRetry(wc)) return 0;
    wc.lpfnWndProc = VC_VCRCtrlProc;
    wc.cbWndExtra = 14;
    wc.lpszClassName = kStripClass;
    return RegisterWithRetry(wc);
}

HWND VC_Create(HWND parent, int id)
{
    RECT client;
    if (!GetClientRect(parent, &client)) return nullptr;
    return CreateWindowExA(0, kStripClass, "", WS_CHILD | WS_VISIBLE, 0, client.bottom - kStripHeight, client.right,
                           kStripHeight, parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), Module(), nullptr);
}

void VC_SetPosition(HWND vcr, WORD value)
{
    HWND slider = Child(vcr, kSliderLong);
    SetWindowWord(slider, kPositionWord, value);
    InvalidateRect(slider, nullptr, TRUE);
}

WORD VC_GetPosition(HWND vcr) { return Position(Child(vcr, kSliderLong)); }

void VC_SetLength(HWND vcr, WORD count)
{
    HWND slider = Child(vcr, kSliderLong);
    // An empty film has one place only, like a film of one frame.
    SetWindowWord(slider, kMaximumWord, count ? count - 1 : 0);
    InvalidateRect(slider, nullptr, TRUE);
}

WORD VC_GetLength(HWND vcr) { return static_cast<WORD>(Maximum(Child(vcr, kSliderLong)) + 1); }

int VC_GetHeight() { return kStripHeight; }

void VC_EnablePlay(HWND vcr, int flag)
{
    EnableWindow(Child(vcr, kPlayLong), flag != 0);
    EnableWindow(Child(vcr, kSliderLong), flag != 0);
}

void VC_EnableStop(HWND vcr, int flag) { EnableWindow(Child(vcr, kStopLong), flag != 0); }
