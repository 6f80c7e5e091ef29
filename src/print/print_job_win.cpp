// A print job: the progress dialog with "Cancel Print", the abort procedure,
// the document, and the two ways of drawing the image.
#include "print/print.h"

#include "core/image_record.h"
#include "core/messages.h"
#include "core/utilities.h"
#include "platform/dib.h"
#include "print/page_layout.h"
#include "formats/postscript.h"

#include <algorithm>

#include "print_dialog_ids.h"

HWND PRI_Parent;
HWND PRI_ProgressDlg;
int PRI_UserAbort;
int PRI_Error;
int PRI_BarEnd;

namespace {
// Escape functions: PASSTHROUGH.
constexpr int kPassThrough = 19;
// SC_CLOSE of the system menu.
constexpr UINT kSystemClose = 61536;
// "Not enough memory to print"
constexpr UINT kNoMemory = 8210;

// The report for an escape's result.
UINT ResultMessage(int result)
{
    switch (result) {
    case -5: return 8210;  // "Not enough memory to print"
    case -4: return 8212;  // "Not enough disk space to print"
    case -3: return 8213;  // "User Abort -- Cancelling print request"
    case -1: return 8211;  // "Cannot send postscript to printer"
    default: return 8214;  // "Cannot print -- unknown error"
    }
}

// The sink of the PostScript text: the driver's passthrough escape. Its
// published form is a 16-bit count followed by the text (drivers read the
// count from the first two bytes and the text from the third), so the count
// goes in the last two bytes in front of the text, and a text longer than a
// count can hold goes in pieces.
int SendPassThrough(void* context, char* packet, int length)
{
    HDC printer = static_cast<HDC>(context);
    char* text = packet + PS_PacketHeader;
    int result = 1;
    for (int done = 0; done < length && result > 0;) {
        // Some spoolers never ask the abort procedure while a page is being
        // drawn: ask it here, so that Cancel Print ends the output at the next escape.
        if (!AbortProc(printer, 0)) return SP_USERABORT;
        const int piece = std::min(length - done, 0xFFFF);
        char* count = text + done - 2;
        const char saved[2] = {count[0], count[1]};
        count[0] = static_cast<char>(piece & 0xFF);
        count[1] = static_cast<char>(piece >> 8);
        result = Escape(printer, kPassThrough, piece, count, nullptr);
        count[0] = saved[0];
        count[1] = saved[1];
        done += piece;
    }
    return result;
}

void ShowProgress(int percent) { PRI_Progress(percent); }

// Raster path: one stretched drawing of the whole DIB.
int DrawRaster(HDC printerDC, HGLOBAL dib, const BITMAPINFOHEADER& info, int x, int y, int width, int height)
{
    PRI_Progress(50);
    const int rows = info.biHeight < 0 ? -info.biHeight : info.biHeight;
    DIB_StretchDraw(printerDC, x, y, width, height, dib, 0, 0, info.biWidth, rows, SRCCOPY, 0);
    PRI_Progress(100);
    return 1;
}

// PostScript path: the image as hexadecimal PostScript past the driver's own image handling.
int DrawPostScript(HDC printerDC, HGLOBAL dib, int width, int height)
{
    BITMAPINFOHEADER* header;
    BYTE* pixels;
    if (!DIB_Lock(dib, &header, nullptr, &pixels)) return -5;
    PS_Sink sink{SendPassThrough, printerDC};
    const int result = PS_WriteImage(sink, header, pixels, width, height, ShowProgress);
    GlobalUnlock(dib);
    return result;
}
}  // namespace

int PRI_StartDoc(HDC printerDC, HWND parentWindow, HINSTANCE instance, const char* documentName)
{
    PRI_UserAbort = 0;
    PRI_Error = 0;
    PRI_Parent = parentWindow;
    PRI_ProgressDlg = CreateDialogParamA(instance, "PRTDLG", parentWindow, PrintDlgProc, 0);
    if (!PRI_ProgressDlg) {
        MessageBoxA(parentWindow, "Failed to create dialog", nullptr, MB_OK);
        return 0;
    }
    PRI_Progress(0);
    SetWindowTextA(PRI_ProgressDlg, documentName);
    EnableWindow(parentWindow, FALSE);
    // Both steps run whatever the other gave.
    if (SetAbortProc(printerDC, AbortProc) < 1) {
        MessageBoxA(parentWindow, "Abort proc failed", nullptr, MB_OK);
        PRI_Error = 1;
    }
    DOCINFOA doc{};
    doc.cbSize = sizeof doc;
    doc.lpszDocName = documentName;
    if (StartDocA(printerDC, &doc) < 1) {
        MessageBoxA(parentWindow, "StartDoc failed", nullptr, MB_OK);
        PRI_Error = 1;
    }
    if (PRI_Error) {
        EnableWindow(parentWindow, TRUE);
        DestroyWindow(PRI_ProgressDlg);
        PRI_ProgressDlg = nullptr;
    }
    return !PRI_Error;
}

void PRI_EndDoc(HDC printerDC, int status)
{
    // A cancelled job is left unfinished: no EndDoc, and no AbortDoc either.
    if (status >= 0 && !PRI_UserAbort) EndDoc(printerDC);
    EnableWindow(PRI_Parent, TRUE);
    if (PRI_ProgressDlg) DestroyWindow(PRI_ProgressDlg);
    PRI_ProgressDlg = nullptr;
}

void PRI_Progress(int percent)
{
    if (!PRI_ProgressDlg) return;
    HWND bar = GetDlgItem(PRI_ProgressDlg, IDC_PRTDLG_BAR);
    if (!bar) return;
    if (percent > 100) percent = 100;
    HDC dc = GetDC(bar);
    if (!dc) return;
    RECT well = {0, 0, 100, 12};
    if (percent == 0 || percent == -1)
        UTL_DrawWell(dc, &well, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    else
        UTL_WellRect(&well);
    if (percent == 0) {
        PRI_BarEnd = 0;
    } else {
        // Red from where the bar ended up to the new end; -1 paints it all again.
        const int inner = well.right - well.left;
        RECT fill = well;
        fill.left = percent == -1 ? 0 : PRI_BarEnd;
        if (fill.left == 0) fill.left = 1;
        if (percent != -1) PRI_BarEnd = well.left + 1 + percent * inner / 100;
        fill.right = PRI_BarEnd;
        if (fill.right > fill.left) {
            HBRUSH red = CreateSolidBrush(0x0000FF);
            FillRect(dc, &fill, red);
            DeleteObject(red);
        }
    }
    ReleaseDC(bar, dc);
}

INT_PTR CALLBACK PrintDlgProc(HWND dialog, UINT message, WPARAM, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG:
        EnableMenuItem(GetSystemMenu(dialog, FALSE), kSystemClose, MF_GRAYED);
        PRI_ProgressDlg = dialog;
        return 1;
    case WM_COMMAND:
        // Any command of the dialog ends the job.
        PRI_UserAbort = 1;
        return 1;
    case WM_PAINT:
        if (GetDlgItem(dialog, IDC_PRTDLG_BAR)) PRI_Progress(-1);
        return 0;
    }
    return 0;
}

BOOL CALLBACK AbortProc(HDC, int)
{
    MSG msg;
    while (!PRI_UserAbort && PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (!PRI_ProgressDlg || !IsDialogMessageA(PRI_ProgressDlg, &msg)) {
            TranslateMessage(&msg);
            DispatchMessageA(&msg);
        }
    }
    return !PRI_UserAbort;
}

int PRI_IsColorPostScript(HDC printerDC)
{
    char driver[256];
    if (!PRI_GetDriverName(driver, sizeof driver)) driver[0] = 0;
    // A spooler that names every driver alike ("winspool", "wineps.drv")
    // leaves the driver to say what it is; room for its answer and a second name.
    char technology[256] = "";
    int query = GETTECHNOLOGY;
    if (Escape(printerDC, QUERYESCSUPPORT, sizeof query, reinterpret_cast<LPCSTR>(&query), nullptr) > 0) {
        if (Escape(printerDC, GETTECHNOLOGY, 0, nullptr, technology) <= 0) technology[0] = 0;
        technology[sizeof technology - 1] = 0;
    }
    // A monochrome queue of a colour-capable driver says so only here.
    char device[256], port[256];
    int colorDevice = -1;
    if (PRI_GetDeviceName(device, sizeof device) && PRI_GetPortName(port, sizeof port))
        colorDevice = static_cast<int>(DeviceCapabilitiesA(device, port, DC_COLORDEVICE, nullptr, nullptr));
    return PRI_IsColorPostScriptDriver(driver, technology, GetDeviceCaps(printerDC, BITSPIXEL),
                                       GetDeviceCaps(printerDC, PLANES), GetDeviceCaps(printerDC, NUMCOLORS),
                                       colorDevice);
}

int PRI_PrintImage(HWND imageWindow, HGLOBAL dib, HDC printerDC, int x, int y, int width, int height)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(dib, &info);
    HPALETTE palette = IMG_GetPalette(imageWindow);
    HPALETTE old = nullptr;
    if (palette) {
        old = SelectPalette(printerDC, palette, FALSE);
        RealizePalette(printerDC);
    }
    int result;
    if (info.biBitCount == 24 && PRI_IsColorPostScript(printerDC))
        result = DrawPostScript(printerDC, dib, width, height);
    else
        result = DrawRaster(printerDC, dib, info, x, y, width, height);
    if (result <= 0) MSG_Report(SEV_ERROR, ResultMessage(result));
    if (palette) SelectPalette(printerDC, old, FALSE);
    return result;
}
