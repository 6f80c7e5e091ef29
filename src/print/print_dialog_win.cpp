// The print dialog with the program's size fields, printer setup, and the
// Print command's page arithmetic.
#include "print/print.h"

#include "colour/colour_switches.h"
#include "colour/flat_cut.h"
#include "core/app.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "platform/dib.h"
#include "print/page_layout.h"

#include <cstring>
#include <initializer_list>

#include "print_dialog_ids.h"

PRINTDLGA PRI_PrintDlg;
LONG PRI_ScaleX = 100;
LONG PRI_ScaleY = 100;
LONG PRI_Copies = 1;

namespace {
bool recordMade;
// "Not enough memory to print", "Cannot print -- unknown error"
constexpr UINT kNoMemory = 8210;
constexpr UINT kUnknownError = 8214;
// PD_RETURNDC | PD_NOPAGENUMS | PD_NOSELECTION, then with the program's template and hook, then as setup.
constexpr DWORD kPrintFlags = 0x10C;
constexpr DWORD kHookFlags = 0x510C;
constexpr DWORD kSetupFlags = 0x14C;

// The record as the first use makes it: the owner is the frame, one page, one copy.
void MakeRecord()
{
    if (recordMade) return;
    std::memset(&PRI_PrintDlg, 0, sizeof PRI_PrintDlg);
    PRI_PrintDlg.lStructSize = sizeof PRI_PrintDlg;
    PRI_PrintDlg.hwndOwner = MAI_Frame;
    PRI_PrintDlg.nFromPage = PRI_PrintDlg.nToPage = 1;
    PRI_PrintDlg.nMinPage = PRI_PrintDlg.nMaxPage = 1;
    PRI_PrintDlg.nCopies = 1;
    recordMade = true;
}

// One name of the DEVNAMES block, at the offset that field gives.
int CopyDevName(WORD DEVNAMES::*field, char* buffer, size_t size)
{
    if (!PRI_PrintDlg.hDevNames || !buffer || size == 0) return 0;
    auto* names = static_cast<DEVNAMES*>(GlobalLock(PRI_PrintDlg.hDevNames));
    if (!names) return 0;
    const SIZE_T blockSize = GlobalSize(PRI_PrintDlg.hDevNames);
    const char* text = reinterpret_cast<const char*>(names) + names->*field;
    const size_t room = names->*field < blockSize ? blockSize - names->*field : 0;
    const size_t length = strnlen(text, room);
    // A name that is not ended inside the block, or that does not fit, is not given.
    int ok = length < room && length < size;
    if (ok) std::memcpy(buffer, text, length + 1);
    GlobalUnlock(PRI_PrintDlg.hDevNames);
    return ok;
}

void EnableItems(HWND dialog, std::initializer_list<int> ids, BOOL on)
{
    for (int id : ids) EnableWindow(GetDlgItem(dialog, id), on);
}

// The one checked radio of the three sizes.
void CheckSize(HWND dialog, int id)
{
    CheckRadioButton(dialog, IDC_PRINT_FULLSIZE, IDC_PRINT_ASPECT, id);
}

LONG FieldValue(HWND dialog, int id)
{
    return static_cast<LONG>(GetDlgItemInt(dialog, id, nullptr, FALSE));
}
}  // namespace

HDC PRI_GetPrinterDC(int withHook)
{
    MakeRecord();
    PRI_PrintDlg.Flags = kPrintFlags;
    PRI_PrintDlg.hInstance = MAI_Instance;
    if (withHook) {
        PRI_PrintDlg.Flags = kHookFlags;
        PRI_PrintDlg.lpPrintTemplateName = "PRINTDLG";
        PRI_PrintDlg.lpfnPrintHook = reinterpret_cast<LPPRINTHOOKPROC>(PRI_PrintHookProc);
    }
    // A cancelled dialog gives no device context, whatever the record still holds.
    if (!PrintDlgA(&PRI_PrintDlg)) return nullptr;
    return PRI_PrintDlg.hDC;
}

void PRI_PrinterSetup()
{
    MakeRecord();
    PRI_PrintDlg.Flags = kSetupFlags;
    if (PrintDlgA(&PRI_PrintDlg) && PRI_PrintDlg.hDC) {
        DeleteDC(PRI_PrintDlg.hDC);
        PRI_PrintDlg.hDC = nullptr;
    }
}

int PRI_GetDriverName(char* buffer, size_t size) { return CopyDevName(&DEVNAMES::wDriverOffset, buffer, size); }
int PRI_GetDeviceName(char* buffer, size_t size) { return CopyDevName(&DEVNAMES::wDeviceOffset, buffer, size); }
int PRI_GetPortName(char* buffer, size_t size) { return CopyDevName(&DEVNAMES::wOutputOffset, buffer, size); }
int PRI_GetCopies() { return PRI_PrintDlg.nCopies; }

void PRI_GetScale(LONG* outX, LONG* outY)
{
    *outX = PRI_ScaleX;
    *outY = PRI_ScaleY;
}

void PRI_SetScale(LONG x, LONG y)
{
    PRI_ScaleX = x;
    PRI_ScaleY = y;
}

void PRI_SetCopies(LONG n) { PRI_Copies = n; }

INT_PTR CALLBACK PRI_PrintHookProc(HWND dialog, UINT message, WPARAM wParam, LPARAM)
{
    static const auto kAllSizeFields = {IDC_PRINT_WIDTHLABEL, IDC_PRINT_HEIGHTLABEL, IDC_PRINT_PERCENT,
                                        IDC_PRINT_WIDTH, IDC_PRINT_HEIGHT};
    if (message == WM_INITDIALOG) {
        // The dialog always opens on Full Size with 100 everywhere.
        EnableItems(dialog, {IDC_PRINT_PERCENTRADIO, IDC_PRINT_ASPECT}, TRUE);
        EnableItems(dialog, kAllSizeFields, FALSE);
        char hundred[16];
        wsprintfA(hundred, "%d", 100);
        for (int id : {IDC_PRINT_PERCENT, IDC_PRINT_WIDTH, IDC_PRINT_HEIGHT}) SetDlgItemTextA(dialog, id, hundred);
        // The common dialog's page fields, out of sight, must pass its range check.
        SetDlgItemTextA(dialog, IDC_PRINT_FROMPAGE, "1");
        SetDlgItemTextA(dialog, IDC_PRINT_TOPAGE, "1");
        CheckSize(dialog, IDC_PRINT_FULLSIZE);
        return 1;
    }
    if (message != WM_COMMAND) return 0;
    switch (LOWORD(wParam)) {
    case IDC_PRINT_FULLSIZE:
        EnableItems(dialog, kAllSizeFields, FALSE);
        CheckSize(dialog, IDC_PRINT_FULLSIZE);
        return 1;
    case IDC_PRINT_PERCENTRADIO:
        EnableItems(dialog, {IDC_PRINT_WIDTHLABEL, IDC_PRINT_HEIGHTLABEL, IDC_PRINT_WIDTH, IDC_PRINT_HEIGHT}, FALSE);
        EnableItems(dialog, {IDC_PRINT_PERCENT}, TRUE);
        CheckSize(dialog, IDC_PRINT_PERCENTRADIO);
        return 1;
    case IDC_PRINT_ASPECT:
        EnableItems(dialog, {IDC_PRINT_PERCENT}, FALSE);
        EnableItems(dialog, {IDC_PRINT_WIDTHLABEL, IDC_PRINT_HEIGHTLABEL, IDC_PRINT_WIDTH, IDC_PRINT_HEIGHT}, TRUE);
        CheckSize(dialog, IDC_PRINT_ASPECT);
        return 1;
    case IDC_PRINT_FROMPAGE:
    case IDC_PRINT_TOPAGE:
        return 1;
    case IDOK:
        // No range check: the fields are read unsigned and an empty one gives 0.
        PRI_Copies = FieldValue(dialog, IDC_PRINT_COPIES);
        if (IsDlgButtonChecked(dialog, IDC_PRINT_FULLSIZE) == BST_CHECKED) {
            PRI_SetScale(100, 100);
        } else if (IsDlgButtonChecked(dialog, IDC_PRINT_PERCENTRADIO) == BST_CHECKED) {
            const LONG percent = FieldValue(dialog, IDC_PRINT_PERCENT);
            PRI_SetScale(percent, percent);
        } else {
            PRI_SetScale(FieldValue(dialog, IDC_PRINT_WIDTH), FieldValue(dialog, IDC_PRINT_HEIGHT));
        }
        return 0;  // the common dialog closes as usual
    }
    return 0;
}

HDC PRI_GetDefaultPrinterDC()
{
    char value[256];
    GetProfileStringA("windows", "device", "", value, sizeof value);
    char* device = std::strtok(value, ",");
    char* driver = std::strtok(nullptr, ", ");
    char* port = std::strtok(nullptr, ", ");
    if (!device || !driver || !port) return nullptr;
    return CreateDCA(driver, device, port, nullptr);
}

void PRI_Print(HWND imageWindow)
{
    HGLOBAL dib = IMG_GetDIB(imageWindow);
    if (!dib) return;
    // The spooler knows the job by the window's title.
    char title[129] = "";
    GetWindowTextA(imageWindow, title, sizeof title);
    HDC printer = PRI_GetPrinterDC(1);
    if (!printer) return;

    GetDeviceCaps(printer, HORZRES);
    GetDeviceCaps(printer, VERTRES);
    const int printerX = GetDeviceCaps(printer, LOGPIXELSX);
    const int printerY = GetDeviceCaps(printer, LOGPIXELSY);
    BITMAPINFOHEADER info;
    DIB_GetInfo(dib, &info);
    const bool is32 = info.biBitCount == 32;
    int screenX = 0, screenY = 0;
    if (HDC screen = GetDC(imageWindow)) {
        screenX = GetDeviceCaps(screen, LOGPIXELSX);
        screenY = GetDeviceCaps(screen, LOGPIXELSY);
        ReleaseDC(imageWindow, screen);
    }
    const int height = info.biHeight < 0 ? -info.biHeight : info.biHeight;
    const int printedWidth = PRI_PrintedSize(info.biWidth, printerX, screenX, PRI_ScaleX);
    const int printedHeight = PRI_PrintedSize(height, printerY, screenY, PRI_ScaleY);
    // Always at the origin of the printable area.
    const int x = 0, y = 0;
    SetBoundsRect(printer, nullptr, DCB_DISABLE);

    if (!PRI_StartDoc(printer, imageWindow, MAI_Instance, title)) {
        DeleteDC(printer);
        MSG_Report(SEV_ERROR, kUnknownError);
        return;
    }
    int status = StartPage(printer);
    if (status < 1) {
        PRI_EndDoc(printer, status);
        DeleteDC(printer);
        MSG_Report(SEV_ERROR, kUnknownError);
        return;
    }
    if (!is32) {
        PRI_PrintImage(imageWindow, dib, printer, x, y, printedWidth, printedHeight);
        status = EndPage(printer);
    } else {
        // The PostScript path takes 24 bits: print a 24-bit copy.
        HGLOBAL copy = nullptr;
        CLR_SetFlatProgress(0);
        if (!CLR_FlatReduce(dib, &copy, 24, 0)) {
            // No page is ended; the document ends with the page's start result.
            MSG_Report(SEV_ERROR, kNoMemory);
        } else {
            PRI_PrintImage(imageWindow, copy, printer, x, y, printedWidth, printedHeight);
            GlobalFree(copy);
            status = EndPage(printer);
        }
    }
    PRI_EndDoc(printer, status);
    DeleteDC(printer);
}
