// The two status bars at the bottom of the frame's client area, under the
// MDI client. The System/Help bar shows the memory in use and, while a menu
// is open, the help line of the entry under the highlight; the Local bar
// describes the active image. Neither takes input or has a timer: they are
// redrawn when something they show has changed, through STA_Update.
//
// Each bar also keeps the line it shows as its window text, so that tools
// reading windows from outside (screen readers, tests) see what is drawn.
#include "controls/status.h"

#include "controls/status_line.h"
#include "core/app.h"
#include "core/image_record.h"
#include "core/image_window.h"
#include "core/messages.h"
#include "formats/format_table.h"

#include "korvanta_ids.h"

HWND STA_SystemBar;
HWND STA_LocalBar;

namespace {
const char kClassName[] = "StatusClass";
const UINT kCouldNotCreate = 8245;  // "Could not create status windows"
const UINT kMemoryLine = 17152;     // "Physical Memory: (Used=%luk, ...)"
const UINT kSwitchWindow = 17172;   // "Switch to the window containing this image"
const UINT kMoreWindows = 17173;    // "Show full list of windows which can be selected"
const UINT kFirstChildId = 2320;    // the entries of the Window menu's list
const UINT kMoreWindowsId = 2329;

int mode = 3;        // status_wnd
int barHeight;       // the screen's height / 40
HFONT font;
int lockCount;
HWND frameWindow;

// The System/Help bar shows the memory line unless a help line stands in it.
bool helpShown;
char helpText[256];

// Popup help: the menu handles found at start-up and their strings.
struct PopupHelp {
    HMENU menu;
    UINT text;
};
PopupHelp popups[12];
int popupCount;

// Command help: command id and string id, in the order of the menu.
const struct {
    UINT command, text;
} kCommandHelp[] = {
    {256, 16397},  {257, 16398},  {265, 16399},  {258, 16400},  {259, 16401},  {260, 16402},  {261, 16403},
    {262, 16404},  {263, 16405},  {267, 16451},  {264, 16406},  {512, 16407},  {513, 16408},  {514, 16409},
    {515, 16410},  {516, 16411},  {768, 16412},  {769, 16413},  {770, 16414},  {771, 16415},  {772, 16416},
    {773, 16417},  {1280, 16418}, {1281, 16419}, {1809, 16420}, {1810, 16421}, {1825, 16422}, {1826, 16423},
    {1827, 16424}, {1828, 16425}, {1824, 16426}, {1841, 16427}, {1842, 16428}, {1843, 16429}, {1844, 16430},
    {1840, 16431}, {1857, 16432}, {1858, 16433}, {1856, 16434}, {1872, 16435}, {1873, 16436}, {1878, 16437},
    {1879, 16450}, {2305, 16442}, {2306, 16443}, {2308, 16444}, {2307, 16445}, {2560, 16446}, {2561, 16447},
    {2562, 16448}, {2563, 16449}, {0, 0},
};

bool ShowsSystem() { return mode == 1 || mode == 3; }
bool ShowsLocal() { return mode == 2 || mode == 3; }
bool BarsExist() { return STA_SystemBar && STA_LocalBar; }

// Keeps the drawn line as the bar's text, for those who read windows.
void KeepText(HWND bar, LPCSTR text)
{
    char old[512] = "";
    GetWindowTextA(bar, old, sizeof old);
    if (lstrcmpA(old, text) != 0) SetWindowTextA(bar, text);
}

// The common start of a drawing: with the frame flag the whole bar is filled
// white and framed black; without it only the inside is filled. Returns the
// y of the text.
int BeginDrawing(HWND bar, HDC dc, int frameFlag, RECT* client)
{
    GetClientRect(bar, client);
    if (frameFlag) {
        FillRect(dc, client, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
        FrameRect(dc, client, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    } else {
        RECT inside = *client;
        InflateRect(&inside, -1, -1);
        FillRect(dc, &inside, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    }
    SetBkMode(dc, TRANSPARENT);
    SelectObject(dc, font);
    SIZE x{};
    GetTextExtentPoint32A(dc, "X", 1, &x);
    return (barHeight - x.cy) / 2;
}

void MemoryLine(LPSTR line)
{
    MEMORYSTATUS status{};
    status.dwLength = sizeof status;
    GlobalMemoryStatus(&status);
    char format[160];
    if (LoadStringA(MAI_Instance, kMemoryLine, format, sizeof format) <= 0) format[0] = 0;
    wsprintfA(line, format, static_cast<unsigned long>((status.dwTotalPhys - status.dwAvailPhys) >> 10),
              static_cast<unsigned long>(status.dwAvailPhys >> 10),
              static_cast<unsigned long>((status.dwTotalPageFile - status.dwAvailPageFile) >> 10),
              static_cast<unsigned long>(status.dwAvailPageFile >> 10));
}

void DrawSystem(HDC dc, int frameFlag)
{
    RECT client;
    const int y = BeginDrawing(STA_SystemBar, dc, frameFlag, &client);
    char line[512];
    if (helpShown)
        lstrcpyA(line, helpText);
    else
        MemoryLine(line);
    SetTextColor(dc, STA_Black);
    TextOutA(dc, 4, y, line, lstrlenA(line));
    KeepText(STA_SystemBar, line);
}

// The facts of the active image window for the Local line.
StatusFacts ActiveFacts(char* formatName)
{
    StatusFacts facts{};
    HWND active = MAI_Active;
    if (!active || !IsWindow(active) || !WIN_IsImageWindow(active) || !IMG_GetRecord(active)) return facts;
    const ImageRecord* record = IMG_GetRecord(active);
    facts.window = 1;
    facts.flags = record->flags;
    facts.bits = record->bits;
    facts.compressed = record->compressed;
    facts.fileSize = record->fileSize;
    if (record->hDIB) {
        if (const auto* header = static_cast<const BITMAPINFOHEADER*>(GlobalLock(record->hDIB))) {
            facts.hasDib = 1;
            facts.width = header->biWidth;
            facts.height = header->biHeight;
            facts.bitCount = header->biBitCount;
            GlobalUnlock(record->hDIB);
        }
    }
    FMT_GetDescription(record->format == -1 ? FMT_Row_DIB : record->format, formatName);
    facts.formatName = formatName;
    return facts;
}

void DrawLocal(HDC dc, int frameFlag)
{
    RECT client;
    const int y = BeginDrawing(STA_LocalBar, dc, frameFlag, &client);
    char formatName[256] = "";
    const StatusFacts facts = ActiveFacts(formatName);
    StatusPiece pieces[STA_MaxPieces];
    int centred = 0;
    const int count = STA_LocalPieces(facts, pieces, &centred);
    char line[STA_MaxPieces * STA_PieceRoom] = "";
    int x = 4;
    for (int i = 0; i < count; i++) {
        const int length = lstrlenA(pieces[i].text);
        SIZE extent{};
        GetTextExtentPoint32A(dc, pieces[i].text, length, &extent);
        if (centred) x = (client.right - extent.cx) / 2;
        SetTextColor(dc, pieces[i].colour);
        TextOutA(dc, x, y, pieces[i].text, length);
        x += extent.cx;
        lstrcatA(line, pieces[i].text);
    }
    KeepText(STA_LocalBar, line);
}

void Draw(HWND bar, HDC dc, int frameFlag)
{
    if (bar == STA_SystemBar)
        DrawSystem(dc, frameFlag);
    else if (bar == STA_LocalBar)
        DrawLocal(dc, frameFlag);
}

void Redraw(HWND bar, int frameFlag)
{
    if (!bar || !IsWindowVisible(bar)) return;
    HDC dc = GetDC(bar);
    if (!dc) return;
    Draw(bar, dc, frameFlag);
    ReleaseDC(bar, dc);
}

// Fits the MDI client into the frame's client area above the bars.
void FitClient()
{
    if (!frameWindow || !MAI_Client) return;
    RECT area, client;
    GetClientRect(frameWindow, &area);
    GetWindowRect(MAI_Client, &client);
    const int height = area.bottom - STA_GetHeight();
    if (client.bottom - client.top != height)
        MoveWindow(MAI_Client, 0, 0, area.right, height < 0 ? 0 : height, FALSE);
}

// The popup help table: the handles of the frame menu's popups, by position.
void FindPopups(HWND frame)
{
    popupCount = 0;
    HMENU bar = GetMenu(frame);
    if (!bar) return;
    auto add = [](HMENU menu, UINT text) {
        if (menu && popupCount < static_cast<int>(sizeof popups / sizeof popups[0])) popups[popupCount++] = {menu, text};
    };
    for (int position = 0; position < 4; position++) add(GetSubMenu(bar, position), 16384 + position);
    HMENU colours = GetSubMenu(bar, 3);
    for (int position = 3; position <= 8; position++)
        add(colours ? GetSubMenu(colours, position) : nullptr, 16385 + position);
    add(GetSubMenu(bar, 4), 16395);
    add(GetSubMenu(bar, 5), 16396);
}

// Writes a help line from the string table in the System/Help bar.
void ShowHelpString(UINT id)
{
    char text[256];
    if (LoadStringA(MAI_Instance, id, text, sizeof text) <= 0) text[0] = 0;
    STA_ShowText(text);
}
}  // namespace

int STA_GetMode() { return mode; }

void STA_SetMode(int newMode)
{
    mode = newMode;
    if (!BarsExist()) return;
    FitClient();
    ShowWindow(STA_SystemBar, ShowsSystem() ? SW_SHOW : SW_HIDE);
    ShowWindow(STA_LocalBar, ShowsLocal() ? SW_SHOW : SW_HIDE);
    STA_Layout(frameWindow);
    STA_Update(1);
}

int STA_RegisterClass()
{
    WNDCLASSA wc{};
    wc.style = 0;
    wc.lpfnWndProc = STA_StatusProc;
    wc.hInstance = MAI_Instance;
    wc.hIcon = nullptr;
    wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH));
    wc.lpszClassName = kClassName;
    return RegisterClassA(&wc) ? 1 : 0;
}

int STA_Create(HWND frame)
{
    frameWindow = frame;
    // Sizes follow the screen's height, read once at start-up.
    const int screenHeight = MAI_ScreenHeight ? MAI_ScreenHeight : GetSystemMetrics(SM_CYSCREEN);
    barHeight = screenHeight / 40;
    font = CreateFontA(-(screenHeight / 50), 0, 0, 0, 600, 0, 0, 0, MAI_CharSet, OUT_DEFAULT_PRECIS,
                       CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, MAI_SansFont);
    STA_SystemBar = CreateWindowExA(0, kClassName, "", WS_CHILD | WS_CLIPSIBLINGS, 0, 0, 0, 0, frame,
                                    reinterpret_cast<HMENU>(static_cast<INT_PTR>(STA_SystemId)), MAI_Instance, nullptr);
    STA_LocalBar = CreateWindowExA(0, kClassName, "", WS_CHILD | WS_CLIPSIBLINGS, 0, 0, 0, 0, frame,
                                   reinterpret_cast<HMENU>(static_cast<INT_PTR>(STA_LocalId)), MAI_Instance, nullptr);
    if (!font || !STA_SystemBar || !STA_LocalBar) {
        STA_Destroy();
        MSG_Report(SEV_ERROR, kCouldNotCreate);
        return 0;
    }
    FindPopups(frame);
    helpShown = false;
    STA_SetMode(mode);
    return 1;
}

void STA_Destroy()
{
    if (STA_SystemBar) DestroyWindow(STA_SystemBar);
    if (STA_LocalBar) DestroyWindow(STA_LocalBar);
    STA_SystemBar = nullptr;
    STA_LocalBar = nullptr;
    if (font) DeleteObject(font);
    font = nullptr;
    popupCount = 0;
}

void STA_Update(int flag)
{
    if (lockCount || !BarsExist()) return;
    Redraw(STA_LocalBar, flag);
    Redraw(STA_SystemBar, flag);
}

void STA_Lock() { lockCount++; }

void STA_Unlock()
{
    if (lockCount > 0 && --lockCount == 0) STA_Update(0);
}

int STA_GetHeight()
{
    if (!BarsExist()) return 0;
    return barHeight * ((ShowsSystem() ? 1 : 0) + (ShowsLocal() ? 1 : 0));
}

void STA_Layout(HWND frame)
{
    if (!BarsExist() || !frame) return;
    RECT area;
    GetClientRect(frame, &area);
    const int width = area.right;
    const int bottom = area.bottom;
    switch (mode) {
    case 1:
        MoveWindow(STA_SystemBar, 0, bottom - barHeight, width, barHeight, TRUE);
        break;
    case 2:
        MoveWindow(STA_LocalBar, 0, bottom - barHeight, width, barHeight, TRUE);
        break;
    case 3:
        MoveWindow(STA_LocalBar, 0, bottom - 2 * barHeight, width, barHeight, TRUE);
        MoveWindow(STA_SystemBar, 0, bottom - barHeight, width, barHeight, TRUE);
        break;
    default:
        break;
    }
}

void STA_ShowText(LPCSTR text)
{
    if (!STA_SystemBar || !ShowsSystem()) return;
    helpShown = true;
    lstrcpynA(helpText, text ? text : "", sizeof helpText);
    HDC dc = GetDC(STA_SystemBar);
    if (!dc) return;
    RECT client;
    const int y = BeginDrawing(STA_SystemBar, dc, 0, &client);
    SetTextColor(dc, STA_Black);
    TextOutA(dc, 4, y, helpText, lstrlenA(helpText));
    ReleaseDC(STA_SystemBar, dc);
    KeepText(STA_SystemBar, helpText);
}

void STA_ShowMemory()
{
    helpShown = false;
    helpText[0] = 0;
    Redraw(STA_SystemBar, 0);
}

void STA_ShowPopupHelp(HMENU menu)
{
    if (!STA_SystemBar || !ShowsSystem()) return;
    for (int i = 0; i < popupCount; i++) {
        if (popups[i].menu == menu) {
            ShowHelpString(popups[i].text);
            return;
        }
    }
}

void STA_ShowCommandHelp(UINT command)
{
    if (!STA_SystemBar || !ShowsSystem()) return;
    for (int i = 0; kCommandHelp[i].text; i++) {
        if (kCommandHelp[i].command == command) {
            ShowHelpString(kCommandHelp[i].text);
            return;
        }
    }
    if (command >= kFirstChildId && command < kMoreWindowsId)
        ShowHelpString(kSwitchWindow);
    else if (command == kMoreWindowsId)
        ShowHelpString(kMoreWindows);
}

LRESULT CALLBACK STA_StatusProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(window, &ps);
        if (font) Draw(window, dc, 1);
        EndPaint(window, &ps);
        return 0;
    }
    case WM_CREATE:
    case WM_LBUTTONDOWN:
    case WM_CHAR:
    case WM_LBUTTONDBLCLK:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONDBLCLK:
        return 0;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}
