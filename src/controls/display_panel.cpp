// The load panel: a small window over the frame for the time of one load,
// listing what the reader has learned about the file on the left and a
// progress bar on the right. The codec runtime opens, steps and closes it
// through its panel hooks; without them (headless) nothing shows.
#include "controls/display_panel.h"

#include "core/app.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"

#include <cstdio>
#include <cstring>

LONG DIS_Enabled = 1;
HWND DIS_Window = nullptr;

namespace {
const char kClassName[] = "DisplayClass";
const UINT kCaption = 19993;  // "Loading..."
const UINT kTrue = 19986, kFalse = 19987, kUnknown = 19988;
const UINT kRaster = 19989, kVector = 19990, kMetaFile = 19992, kAnimation = 19994, kWave = 19995, kMidi = 19996;
const WORD kFullRepaint = 65535;

// A row of the layout in dialog units: its label's string id (0 for none)
// and its rectangle.
struct LayoutRow {
    WORD id;
    short x, y, width, height;
};
const int kRows = 22;
enum { ROW_WINDOW = 0, ROW_BAR = 1, ROW_LAST_BOX = 4, ROW_FIRST_SCALE = 5, ROW_FIRST_LABEL = 8 };
LayoutRow layout[kRows] = {
    {0, 56, 20, 194, 115},     {0, 162, 1, 26, 100},      {0, 2, 1, 136, 14},        {0, 2, 18, 136, 14},
    {0, 2, 35, 136, 66},       {19969, 140, 1, 22, 8},    {19970, 144, 47, 18, 8},   {19971, 148, 93, 14, 8},
    {19972, 5, 4, 16, 9},      {19973, 5, 21, 25, 9},     {19974, 5, 40, 25, 9},     {19975, 5, 50, 25, 9},
    {19976, 5, 60, 25, 9},     {19977, 5, 70, 25, 9},     {19978, 5, 80, 25, 9},     {19979, 5, 90, 25, 9},
    {19980, 60, 40, 45, 9},    {19981, 60, 50, 45, 9},    {19982, 60, 60, 45, 9},    {19983, 60, 70, 45, 9},
    {19984, 60, 80, 45, 9},    {19985, 60, 90, 45, 9},
};
bool registered = false;
WORD shownStep = 0;
bool fullRepaint = false;
bool valuesReady = false;

// The layout may be replaced by the raw-data resource "Display": 22 rows of
// a 16-bit string id and four signed 16-bit values, little-endian.
bool layoutRead = false;
void ReadLayout()
{
    if (layoutRead) return;
    layoutRead = true;
    HRSRC found = FindResourceA(MAI_Instance, "Display", MAKEINTRESOURCEA(10));
    if (!found || SizeofResource(MAI_Instance, found) < kRows * 10) return;
    const BYTE* data = static_cast<const BYTE*>(LockResource(LoadResource(MAI_Instance, found)));
    if (!data) return;
    for (int row = 0; row < kRows; row++, data += 10) {
        short v[5];
        for (int i = 0; i < 5; i++) v[i] = static_cast<short>(data[2 * i] | data[2 * i + 1] << 8);
        layout[row] = {static_cast<WORD>(v[0]), v[1], v[2], v[3], v[4]};
    }
}

}  // namespace

void DIS_SetPlace(short x, short y, short width, short height)
{
    ReadLayout();
    LayoutRow& r = layout[ROW_WINDOW];
    r.x = x;
    r.y = y;
    r.width = width;
    r.height = height;
}

namespace {
RECT Pixels(int row)
{
    const LONG units = GetDialogBaseUnits();
    const int bx = LOWORD(units), by = HIWORD(units);
    const LayoutRow& r = layout[row];
    RECT out = {r.x * bx / 4, r.y * by / 8, (r.x + r.width) * bx / 4, (r.y + r.height) * by / 8};
    return out;
}

void Text(UINT id, char* out, int room)
{
    if (LoadStringA(MAI_Instance, id, out, room) <= 0) out[0] = '\0';
}

void Number(LONG value, char* out, int room)
{
    if (value == -1) Text(kUnknown, out, room);
    else snprintf(out, room, "%ld", static_cast<long>(value));
}

void Flag(LONG value, char* out, int room) { Text(value > 0 ? kTrue : value == 0 ? kFalse : kUnknown, out, room); }

// The Type line: the reader's word, or what the load format's kind says.
UINT TypeText(LONG type)
{
    if (type == 0) return kRaster;
    if (type == 1) return kVector;
    // A meta-file by the reader's word names itself like a meta-file row.
    if (type == 2) return kMetaFile;
    const FormatRow* row = FMT_GetRow(FIL_LoadRow);
    const DWORD kind = row ? row->kind : 0;
    if (kind & KIND_RASTER) return kRaster;
    if (kind & KIND_METAFILE) return kMetaFile;
    if (kind & KIND_ANIMATION) return kAnimation;
    if (kind & KIND_WAVE) return kWave;
    if (kind & KIND_MIDI) return kMidi;
    return kUnknown;
}

// The value shown beside label row (8 to 21).
void Value(int row, char* out, int room)
{
    const ImageInfo& info = INF_Info;
    switch (row) {
    case 8:
    case 21: {
        const char* text = row == 8 ? info.file : info.creator;
        if (text) lstrcpynA(out, text, room);
        else Text(kUnknown, out, room);
        return;
    }
    case 9: {
        const FormatRow* format = FMT_GetRow(FIL_LoadRow);
        if (format && format->description) lstrcpynA(out, format->description, room);
        else Text(kUnknown, out, room);
        return;
    }
    case 10: Number(info.width, out, room); return;
    case 11: Number(info.height, out, room); return;
    case 12: Flag(info.palette, out, room); return;
    case 13: Number(info.planes, out, room); return;
    case 14: Number(info.colors, out, room); return;
    case 15: Flag(info.gray, out, room); return;
    case 16: Number(info.memory, out, room); return;
    case 17: Flag(info.compressed, out, room); return;
    case 18: Number(info.bitsPerPixel, out, room); return;
    case 19: Text(TypeText(info.type), out, room); return;
    case 20: Number(info.version, out, room); return;
    default: out[0] = '\0';
    }
}

// A white box framed in black with a gray shadow two pixels wide along its
// right and bottom, one pixel in from the corner.
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

void DrawStatic(HDC dc)
{
    RECT client;
    GetClientRect(DIS_Window, &client);
    FillRect(dc, &client, static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH)));
    for (int row = ROW_BAR; row <= ROW_LAST_BOX; row++) DrawBox(dc, Pixels(row));
    char text[256];
    for (int row = ROW_FIRST_SCALE; row < kRows; row++) {
        SetBkMode(dc, row < ROW_FIRST_LABEL ? TRANSPARENT : OPAQUE);
        Text(layout[row].id, text, sizeof text);
        RECT r = Pixels(row);
        DrawTextA(dc, text, -1, &r, DT_SINGLELINE | DT_BOTTOM);
    }
    if (!valuesReady) return;
    SetTextColor(dc, RGB(0, 0, 255));
    for (int row = ROW_FIRST_LABEL; row < kRows; row++) {
        Value(row, text, sizeof text);
        RECT label = Pixels(row);
        RECT r = {label.right, label.top, label.right + 220, label.bottom};
        DrawTextA(dc, text, -1, &r, DT_SINGLELINE | DT_BOTTOM);
    }
    SetTextColor(dc, RGB(255, 0, 0));
}

// The bar fills the thermometer's box from the bottom, inside its frame.
void DrawBar(HDC dc, WORD step)
{
    const WORD first = INF_Info.firstStep, last = INF_Info.lastStep;
    if (first == last || step == first) return;
    const RECT box = Pixels(ROW_BAR);
    const long inner = box.bottom - box.top - 2;
    // A step outside the range shows an empty or a full bar.
    const long span = static_cast<long>(last) - first;
    long done = static_cast<long>(step) - first;
    if (done < 0) done = 0;
    if (done > span) done = span;
    if (span < 0) return;
    RECT bar = {box.left + 1, box.top + 1 + inner - inner * done / span, box.right - 1, box.bottom - 1};
    HBRUSH blue = CreateSolidBrush(RGB(0, 0, 255));
    FillRect(dc, &bar, blue);
    DeleteObject(blue);
}

void Paint(HDC dc, WORD step)
{
    bool full = false;
    if (step == kFullRepaint) {
        step = shownStep;
        full = true;
    } else if (step == shownStep) {
        return;
    }
    shownStep = step;
    full = full || fullRepaint;
    HFONT font = nullptr;
    HGDIOBJ oldFont = nullptr;
    if (full) {
        SetTextColor(dc, RGB(0, 0, 0));
        SetBkColor(dc, RGB(255, 255, 255));
        font = CreateFontA(8 * HIWORD(GetDialogBaseUnits()) / 8, 0, 0, 0, FW_NORMAL, 0, 0, 0, MAI_CharSet, 0, 0, 0, 0,
                           MAI_SansFont);
        if (font) oldFont = SelectObject(dc, font);
        DrawStatic(dc);
    }
    DrawBar(dc, step);
    if (full) {
        fullRepaint = false;
        if (oldFont) SelectObject(dc, oldFont);
        if (font) DeleteObject(font);
    }
}

void PanelOpen()
{
    shownStep = 0;
    valuesReady = false;
    fullRepaint = true;
    // The values wait for the reader's own mark, not the one of the start.
    INF_Info.invalid = 0;
    DIS_Window = nullptr;
    if (!DIS_Enabled) return;
    if (!registered) {
        WNDCLASSA wc{};
        wc.style = CS_DBLCLKS | CS_SAVEBITS;
        wc.lpfnWndProc = DIS_DisplayProc;
        wc.hInstance = MAI_Instance;
        wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
        wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
        wc.lpszClassName = kClassName;
        if (!RegisterClassA(&wc)) return;
        registered = true;
        ReadLayout();
    }
    char caption[64];
    Text(kCaption, caption, sizeof caption);
    const RECT at = Pixels(ROW_WINDOW);
    DIS_Window = CreateWindowExA(0, kClassName, caption, WS_POPUP | WS_VISIBLE | WS_CAPTION, at.left, at.top,
                                 at.right - at.left, at.bottom - at.top, MAI_Frame, nullptr, MAI_Instance, nullptr);
    if (DIS_Window) UpdateWindow(DIS_Window);
}

void PanelStep(WORD step)
{
    // A reader's mark stays until painted, even through steps that draw nothing.
    if (INF_Info.invalid) fullRepaint = valuesReady = true;
    if (!DIS_Window) return;
    HDC dc = GetDC(DIS_Window);
    if (!dc) return;
    Paint(dc, step);
    ReleaseDC(DIS_Window, dc);
}

void PanelClose()
{
    if (DIS_Window) DestroyWindow(DIS_Window);
    DIS_Window = nullptr;
}

const InfoPanelHooks kHooks = {PanelOpen, PanelStep, PanelClose};
}  // namespace

LRESULT CALLBACK DIS_DisplayProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_PAINT) return DefWindowProcA(window, message, wParam, lParam);
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(window, &ps);
    if (dc && window == DIS_Window) Paint(dc, kFullRepaint);
    EndPaint(window, &ps);
    return 0;
}

void DIS_Install() { INF_SetPanelHooks(&kHooks); }
