// The program's own control classes: the picture button and the titled
// panel of the dialogs. Each talks to its parent by WM_COMMAND with its id.
#include "controls/custom_controls.h"

#include "core/app.h"

#include <cstring>

namespace {
const char kButtonClass[] = "BitmapButton";
const char kGroupClass[] = "GroupBox";
// Room for a button's text (the bitmap's name) and the pressed twin's "I".
const int kNameRoom = 24 + 2;
const int kTitleRoom = 50 + 1;

int RegisterControlClass(const char* name, WNDPROC proc, int background, int extra)
{
    WNDCLASSA wc{};
    wc.style = CS_VREDRAW | CS_HREDRAW;
    wc.lpfnWndProc = proc;
    wc.cbWndExtra = extra;
    wc.hInstance = MAI_Instance;
    wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(background));
    wc.lpszClassName = name;
    return RegisterClassA(&wc) != 0;
}

// The bitmap a button shows: the resource its text names, or with pressed
// the twin whose name has an I added. Null when there is none.
HBITMAP LoadButtonPicture(HWND button, bool pressed)
{
    char name[kNameRoom];
    int length = GetWindowTextA(button, name, kNameRoom - 1);
    if (length <= 0 || length > kNameRoom - 2) return nullptr;
    if (pressed) {
        name[length] = 'I';
        name[length + 1] = '\0';
    }
    return LoadBitmapA(MAI_Instance, name);
}

// Draws picture centred in the button's client rectangle.
void DrawPicture(HWND button, HDC dc, HBITMAP picture)
{
    if (!picture) return;
    BITMAP facts;
    if (!GetObjectA(picture, sizeof facts, &facts)) return;
    RECT client;
    GetClientRect(button, &client);
    HDC memory = CreateCompatibleDC(dc);
    if (!memory) return;
    HGDIOBJ old = SelectObject(memory, picture);
    BitBlt(dc, (client.right - facts.bmWidth) / 2, (client.bottom - facts.bmHeight) / 2, facts.bmWidth,
           facts.bmHeight, memory, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    DeleteDC(memory);
}

void ShowPicture(HWND button, HBITMAP picture)
{
    HDC dc = GetDC(button);
    if (!dc) return;
    DrawPicture(button, dc, picture);
    ReleaseDC(button, dc);
}

// Follows the mouse from a press until the button is released: the pressed
// picture while the pointer is over the button, the normal one outside.
// True when the release happens over the button.
bool TrackPress(HWND button)
{
    HBITMAP normal = LoadButtonPicture(button, false);
    HBITMAP pressed = LoadButtonPicture(button, true);
    SetCapture(button);
    ShowPicture(button, pressed);
    bool inside = true, clicked = false;
    RECT client;
    GetClientRect(button, &client);
    for (;;) {
        MSG msg;
        if (!PeekMessageA(&msg, button, WM_MOUSEFIRST, WM_MOUSELAST, PM_NOREMOVE)) {
            // Capture taken away (another window, a dialog closing): no click.
            if (GetCapture() != button) {
                if (inside) ShowPicture(button, normal);
                break;
            }
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_MOUSE);
            continue;
        }
        PeekMessageA(&msg, button, msg.message, msg.message, PM_REMOVE);
        if (msg.message == WM_MOUSEMOVE) {
            POINT at = {static_cast<short>(LOWORD(msg.lParam)), static_cast<short>(HIWORD(msg.lParam))};
            bool over = PtInRect(&client, at) != 0;
            if (over != inside) ShowPicture(button, over ? pressed : normal);
            inside = over;
        } else if (msg.message == WM_LBUTTONUP) {
            if (inside) {
                ShowPicture(button, normal);
                clicked = true;
            }
            break;
        }
    }
    if (normal) DeleteObject(normal);
    if (pressed) DeleteObject(pressed);
    if (GetCapture() == button) ReleaseCapture();
    return clicked;
}

void SendCommand(HWND control)
{
    SendMessageA(GetParent(control), WM_COMMAND, static_cast<WPARAM>(GetDlgCtrlID(control)),
                 reinterpret_cast<LPARAM>(control));
}

void Line(HDC dc, int x0, int y0, int x1, int y1, int x2, int y2)
{
    MoveToEx(dc, x0, y0, nullptr);
    LineTo(dc, x1, y1);
    LineTo(dc, x2, y2);
}

void PaintGroup(HWND group)
{
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(group, &ps);
    if (!dc) return;
    RECT client;
    GetClientRect(group, &client);
    const int w = client.right, h = client.bottom;
    FillRect(dc, &client, static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH)));

    char title[kTitleRoom];
    int length = GetWindowTextA(group, title, kTitleRoom);
    if (length > 0) {
        SetBkColor(dc, RGB(192, 192, 192));
        SetTextColor(dc, RGB(0, 0, 0));
        HFONT font = reinterpret_cast<HFONT>(SendMessageA(GetParent(group), WM_GETFONT, 0, 0));
        HGDIOBJ oldFont = font ? SelectObject(dc, font) : nullptr;
        RECT line = client;
        OffsetRect(&line, 0, 1);
        DrawTextA(dc, title, length, &line, DT_CENTER | DT_SINGLELINE);
        if (oldFont) SelectObject(dc, oldFont);
    }

    // Raised on the outside, sunken inside.
    HPEN white = CreatePen(PS_SOLID, 1, RGB(255, 255, 255));
    HPEN gray = CreatePen(PS_SOLID, 1, RGB(128, 128, 128));
    HGDIOBJ oldPen = SelectObject(dc, white);
    Line(dc, w - 1, 0, 0, 0, 0, h);
    Line(dc, 2, h - 3, w - 3, h - 3, w - 3, 1);
    SelectObject(dc, gray);
    Line(dc, 1, h - 1, w - 1, h - 1, w - 1, 0);
    Line(dc, 2, h - 4, 2, 2, w - 3, 2);
    SelectObject(dc, oldPen);
    DeleteObject(white);
    DeleteObject(gray);
    EndPaint(group, &ps);
}
}  // namespace

LRESULT CALLBACK BMP_BitmapButtonProc(HWND button, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(button, &ps);
        if (dc) {
            HBITMAP picture = LoadButtonPicture(button, false);
            DrawPicture(button, dc, picture);
            if (picture) DeleteObject(picture);
        }
        EndPaint(button, &ps);
        return 0;
    }
    case WM_CHAR:
        // Enter in any picture button means OK.
        if (wParam == VK_RETURN) PostMessageA(GetParent(button), WM_COMMAND, IDOK, 0);
        return 0;
    case WM_LBUTTONDOWN:
        if (TrackPress(button)) SendCommand(button);
        return 0;
    case WM_LBUTTONDBLCLK:
        SendCommand(button);
        return 0;
    case WM_SETTEXT: {
        // A new text names a new picture: show it at the next paint.
        LRESULT result = DefWindowProcA(button, message, wParam, lParam);
        InvalidateRect(button, nullptr, FALSE);
        return result;
    }
    case WM_CREATE:
    case WM_COMMAND:
    case WM_MOUSEMOVE:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
    case WM_LBUTTONUP:
        return 0;
    default:
        return DefWindowProcA(button, message, wParam, lParam);
    }
}

LRESULT CALLBACK GRP_GroupBoxProc(HWND group, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
    case WM_COMMAND:
        return 0;
    case WM_PAINT:
        PaintGroup(group);
        return 0;
    default:
        return DefWindowProcA(group, message, wParam, lParam);
    }
}

int BMP_RegisterClass() { return RegisterControlClass(kButtonClass, BMP_BitmapButtonProc, WHITE_BRUSH, 0); }
int GRP_RegisterClass() { return RegisterControlClass(kGroupClass, GRP_GroupBoxProc, WHITE_BRUSH, 0); }
