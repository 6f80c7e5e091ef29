// The System Info dialog: the values are gathered once into its static
// controls, and the file and printed reports read them back from there, so
// that a report says what the dialog shows.
#include "controls/system_info.h"

#include "controls/system_report.h"
#include "core/app.h"
#include "core/extensions.h"
#include "core/messages.h"
#include "formats/format_table.h"
#include "print/print.h"

#include <cstdio>
#include <string>
#include <vector>

#include "system_info_dialog_ids.h"

namespace {
const UINT kPresent = 1344;
const UINT kUnknown = 1334;
const UINT kScreen = 1325;
const UINT kWritten = 1324;  // "System information written to file 'sysinfo.txt'"
const UINT kPrintError = 8214;
const UINT kCannotOpen = 8215;
const UINT kReportTitle = 18432;  // "System Info"
const UINT kListTitles[] = {1349, 1347, 1349, 1348};  // by mode: functions, formats, functions, tasks
const int kLabelId = 0xFFFF;                          // the labels' id -1 as the template stores it

int taskCount;
int threadWindowCount;

std::string Number(long long value)
{
    char text[32];
    snprintf(text, sizeof text, "%lld", value);
    return text;
}

void SetText(HWND dialog, int id, const std::string& text) { SetDlgItemTextA(dialog, id, text.c_str()); }

// A control's whole text, however long.
std::string ControlText(HWND dialog, int id)
{
    HWND control = GetDlgItem(dialog, id);
    std::string text(control ? GetWindowTextLengthA(control) + 1 : 1, '\0');
    text.resize(control ? GetWindowTextA(control, &text[0], static_cast<int>(text.size())) : 0);
    return text;
}

// The function modules as the extension library counts them; none without the library.
std::vector<HMODULE> FunctionModules()
{
    std::vector<HMODULE> modules;
    HMODULE library = LIB_IsLoaded() ? GetModuleHandleA("CIMAGE.DLL") : nullptr;
    if (!library) return modules;
    typedef WORD(WINAPI * CountProc)();
    typedef HMODULE(WINAPI * HandleProc)(WORD);
    auto count = reinterpret_cast<CountProc>(reinterpret_cast<void*>(GetProcAddress(library, "LIB_CountFunctionDLLs")));
    auto handle =
        reinterpret_cast<HandleProc>(reinterpret_cast<void*>(GetProcAddress(library, "LIB_GetFunctionDLLHandle")));
    if (!count) return modules;
    const WORD n = count();
    for (WORD i = 0; i < n; i++) modules.push_back(handle ? handle(i) : nullptr);
    return modules;
}

std::vector<std::string> FunctionModulePaths()
{
    std::vector<std::string> paths;
    for (HMODULE module : FunctionModules()) {
        char path[MAX_PATH] = "";
        if (!module || !GetModuleFileNameA(module, path, sizeof path)) path[0] = 0;
        paths.push_back(path);
    }
    return paths;
}

// Every format row that names a module.
std::vector<std::string> FormatModules()
{
    std::vector<std::string> modules;
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        LPCSTR module = FMT_GetModule(row);
        if (module && *module) modules.push_back(module);
    }
    return modules;
}

std::string FolderOf(const char* path)
{
    std::string text = path;
    const size_t cut = text.rfind('\\');
    return cut == std::string::npos ? text : text.substr(0, cut);
}

void ShowWindowsFacts(HWND dialog)
{
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    char text[MAX_PATH + 32];
    snprintf(text, sizeof text, "%lu.%lu (Build %lu)", version.dwMajorVersion, version.dwMinorVersion,
             version.dwBuildNumber);
    SetText(dialog, IDC_SYS_VERSION, text);
    if (!GetWindowsDirectoryA(text, MAX_PATH)) text[0] = 0;
    SetText(dialog, IDC_SYS_PATH, text);
    if (!GetSystemDirectoryA(text, MAX_PATH)) text[0] = 0;
    SetText(dialog, IDC_SYS_SYSTEMPATH, text);
    const char* mode = version.dwPlatformId == 0 ? "Win32s"
                       : version.dwPlatformId == 2 ? "Windows NT"
                                                   : "Windows 95";
    SetText(dialog, IDC_SYS_MODE, mode);
}

void ShowMemoryFacts(HWND dialog)
{
    MEMORYSTATUS memory{};
    memory.dwLength = sizeof memory;
    GlobalMemoryStatus(&memory);
    char text[96];
    snprintf(text, sizeof text, "%lu / 100", static_cast<unsigned long>(memory.dwMemoryLoad));
    SetText(dialog, IDC_SYS_MEMORYLOAD, text);
    snprintf(text, sizeof text, "%lluk / %lluk", static_cast<unsigned long long>(memory.dwAvailPhys >> 10),
             static_cast<unsigned long long>(memory.dwTotalPhys >> 10));
    SetText(dialog, IDC_SYS_PHYSICAL, text);
    snprintf(text, sizeof text, "%lluk / %lluk", static_cast<unsigned long long>(memory.dwAvailPageFile >> 10),
             static_cast<unsigned long long>(memory.dwTotalPageFile >> 10));
    SetText(dialog, IDC_SYS_PAGED, text);
    // The two free amounts are added before the shift.
    const unsigned long long free =
        static_cast<unsigned long long>(memory.dwAvailPhys) + static_cast<unsigned long long>(memory.dwAvailPageFile);
    snprintf(text, sizeof text, "%lluk", free >> 10);
    SetText(dialog, IDC_SYS_FREE, text);
}

void ShowTasks(HWND dialog)
{
    taskCount = 0;
    EnumWindows(SYS_EnumWndProc, 0);
    SetText(dialog, IDC_SYS_TASKS, Number(taskCount));
    threadWindowCount = 0;
    EnumThreadWindows(GetCurrentThreadId(), SYS_EnumTaskProc, 0);
    SetText(dialog, IDC_SYS_WINDOWS, Number(threadWindowCount));
}

void ShowMachine(HWND dialog)
{
    SetText(dialog, IDC_SYS_CODEPAGE, SYS_String(SYS_CodePageText(GetKBCodePage())));
    SetText(dialog, IDC_SYS_KEYBOARD, SYS_String(SYS_KeyboardText(GetKeyboardType(0), GetKeyboardType(1))));
    SetText(dialog, IDC_SYS_FUNCTIONDLLS, Number(static_cast<long long>(FunctionModules().size())));
    SetText(dialog, IDC_SYS_FORMATDLLS, Number(static_cast<long long>(FormatModules().size())));

    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    const std::string cpu = SYS_CpuText(system.dwProcessorType, static_cast<int>(system.dwNumberOfProcessors));
    SetText(dialog, IDC_SYS_CPU, cpu.empty() ? SYS_String(kUnknown) : cpu);
    SetText(dialog, IDC_SYS_MATH, SYS_String(kPresent));

    char path[MAX_PATH] = "";
    char drive[8] = "";
    // A path that does not fit is not shown at all rather than cut.
    DWORD length = GetTempPathA(sizeof path, path);
    if (length && length < sizeof path) snprintf(drive, sizeof drive, "%c", path[0]);
    SetText(dialog, IDC_SYS_TEMPDRIVE, drive);
    length = GetModuleFileNameA(nullptr, path, sizeof path);
    if (length == 0 || length >= sizeof path) path[0] = 0;
    SetText(dialog, IDC_SYS_EXEPATH, FolderOf(path));

    const UINT mouse = SYS_MouseText(GetSystemMetrics(SM_MOUSEPRESENT), GetSystemMetrics(SM_SWAPBUTTON));
    SetText(dialog, IDC_SYS_MOUSE, SYS_String(mouse));
    snprintf(path, sizeof path, "%u ms", GetDoubleClickTime());
    SetText(dialog, IDC_SYS_DOUBLECLICK, path);
}

// The printer's name for the device group: the driver of the dialog's
// choice, else the default printer's name from the profile.
std::string PrinterName()
{
    char name[256];
    if (PRI_GetDriverName(name, sizeof name)) return name;
    GetProfileStringA("windows", "device", "", name, sizeof name);
    std::string text = name;
    return text.substr(0, text.find(','));
}

// One line of the printed report; the status of the last escape, negative once the page could not be ended.
struct PrintState {
    HDC dc;
    int y;
    int pageHeight;
    int status;
};

void PrintLine(PrintState* print, const std::string& line)
{
    if (print->status < 0 || line.empty()) return;
    SIZE size{};
    GetTextExtentPoint32A(print->dc, line.c_str(), static_cast<int>(line.size()), &size);
    const int height = size.cy;
    int x = 0;
    const size_t start = SYS_LineIndent(line, height, &x, &print->y);
    if (print->y + height > print->pageHeight) {
        print->status = Escape(print->dc, NEWFRAME, 0, nullptr, nullptr);
        if (print->status < 0) return;
        print->y = 0;
    }
    // The last character is the line's newline.
    if (line.size() > start + 1)
        TextOutA(print->dc, x, print->y, line.c_str() + start, static_cast<int>(line.size() - start - 1));
    print->y += height;
}
}  // namespace

BOOL CALLBACK SYS_EnumWndProc(HWND window, LPARAM lParam)
{
    char title[256];
    if (GetWindowTextA(window, title, sizeof title) <= 0) return 1;
    HWND owner = reinterpret_cast<HWND>(GetWindowLongPtrA(window, GWLP_HWNDPARENT));
    if (owner && IsWindow(owner)) return 1;
    ++taskCount;
    if (lParam) SendDlgItemMessageA(reinterpret_cast<HWND>(lParam), IDC_SYSLIST_LIST, LB_ADDSTRING, 0,
                                    reinterpret_cast<LPARAM>(title));
    return 1;
}

BOOL CALLBACK SYS_EnumTaskProc(HWND, LPARAM)
{
    ++threadWindowCount;
    return 1;
}

int SYS_ShowDevice(HWND dialog, int isScreen)
{
    HDC dc = isScreen ? GetDC(nullptr) : PRI_GetPrinterDC(0);
    if (!dc) return 0;
    SetText(dialog, IDC_SYS_DEVICE, isScreen ? SYS_String(kScreen) : PrinterName());
    char text[64];
    snprintf(text, sizeof text, "%u mm x %u mm", GetDeviceCaps(dc, HORZSIZE), GetDeviceCaps(dc, VERTSIZE));
    SetText(dialog, IDC_SYS_DEVSIZE, text);
    snprintf(text, sizeof text, "%u x %u", GetDeviceCaps(dc, HORZRES), GetDeviceCaps(dc, VERTRES));
    SetText(dialog, IDC_SYS_DEVRESOLUTION, text);
    static const int kPlain[][2] = {{IDC_SYS_DEVBITS, BITSPIXEL},      {IDC_SYS_DEVPLANES, PLANES},
                                    {IDC_SYS_DEVBRUSHES, NUMBRUSHES},  {IDC_SYS_DEVCOLORS, NUMCOLORS},
                                    {IDC_SYS_DEVPALETTE, SIZEPALETTE}, {IDC_SYS_DEVRESERVED, NUMRESERVED},
                                    {IDC_SYS_DEVCOLORRES, COLORRES}};
    for (const auto& value : kPlain) SetText(dialog, value[0], Number(GetDeviceCaps(dc, value[1])));
    SetText(dialog, IDC_SYS_DEVRASTER, SYS_RasterText(GetDeviceCaps(dc, RASTERCAPS)));
    if (isScreen)
        ReleaseDC(nullptr, dc);
    else
        DeleteDC(dc);
    for (int id = IDC_SYS_DEVICE; id <= IDC_SYS_DEVRASTER; id++)
        if (id != IDC_SYS_DEVICE + 1) InvalidateRect(GetDlgItem(dialog, id), nullptr, TRUE);
    return 1;
}

void SYS_Report(HWND dialog, int toPrinter)
{
    SYS_ReportFacts facts{[dialog](int id) { return ControlText(dialog, id); }, FunctionModulePaths(),
                          FormatModules()};
    const std::vector<std::string> lines = SYS_ReportLines(facts);
    if (!toPrinter) {
        // Always written afresh, without a question, where the current folder is.
        FILE* file = fopen("sysinfo.txt", "w");
        if (!file) {
            MSG_Report(SEV_ERROR, kCannotOpen);
            return;
        }
        for (const std::string& line : lines) fputs(line.c_str(), file);
        const bool failed = ferror(file) != 0;
        if (fclose(file) != 0 || failed) {
            remove("sysinfo.txt");
            MSG_Report(SEV_ERROR, kCannotOpen);
            return;
        }
        MSG_Report(SEV_NOTICE, kWritten);
        return;
    }
    HDC printer = PRI_GetPrinterDC(0);
    if (!printer) return;
    // The driver answers with the count it took.
    int copies = PRI_GetCopies(), taken = 0;
    Escape(printer, SETCOPYCOUNT, sizeof copies, reinterpret_cast<LPCSTR>(&copies), &taken);
    PrintState print{printer, 0, GetDeviceCaps(printer, VERTRES), 0};
    const std::string title = SYS_String(kReportTitle);
    if (!PRI_StartDoc(printer, dialog, MAI_Instance, title.c_str())) {
        DeleteDC(printer);
        MSG_Report(SEV_ERROR, kPrintError);
        return;
    }
    for (const std::string& line : lines) PrintLine(&print, line);
    PRI_Progress(100);
    if (print.status >= 0) print.status = Escape(printer, NEWFRAME, 0, nullptr, nullptr);
    PRI_EndDoc(printer, print.status);
    DeleteDC(printer);
}

INT_PTR CALLBACK SYS_ListProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_INITDIALOG) {
        const int mode = lParam >= 1 && lParam <= 3 ? static_cast<int>(lParam) : 0;
        SetWindowTextA(dialog, SYS_String(kListTitles[mode]).c_str());
        std::vector<std::string> items;
        if (mode == 1) {
            items = FormatModules();
        } else if (mode == 3) {
            taskCount = 0;
            EnumWindows(SYS_EnumWndProc, reinterpret_cast<LPARAM>(dialog));
        } else {
            items = FunctionModulePaths();
        }
        for (const std::string& item : items)
            SendDlgItemMessageA(dialog, IDC_SYSLIST_LIST, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item.c_str()));
        return 1;
    }
    if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
        EndDialog(dialog, 1);
        return 1;
    }
    return 0;
}

INT_PTR CALLBACK SYS_InfoProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        ShowWindowsFacts(dialog);
        ShowMemoryFacts(dialog);
        ShowTasks(dialog);
        ShowMachine(dialog);
        SYS_ShowDevice(dialog, 1);
        EnableWindow(GetDlgItem(dialog, IDC_SYS_SCREEN), FALSE);
        return 1;
    case WM_CTLCOLORDLG:
        SetTextColor(reinterpret_cast<HDC>(wParam), RGB(0, 0, 0));
        SetBkColor(reinterpret_cast<HDC>(wParam), RGB(128, 128, 128));
        return reinterpret_cast<INT_PTR>(GetStockObject(DKGRAY_BRUSH));
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORSCROLLBAR: {
        HDC dc = reinterpret_cast<HDC>(wParam);
        // A label is black, a value blue; every other control black on the panel's gray.
        const bool value = message == WM_CTLCOLORSTATIC &&
                           (GetDlgCtrlID(reinterpret_cast<HWND>(lParam)) & 0xFFFF) != kLabelId;
        SetTextColor(dc, value ? RGB(0, 0, 255) : RGB(0, 0, 0));
        SetBkColor(dc, RGB(192, 192, 192));
        return reinterpret_cast<INT_PTR>(GetStockObject(LTGRAY_BRUSH));
    }
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case IDOK:
        case IDCANCEL:
            EndDialog(dialog, 1);
            return 1;
        case IDC_SYS_FILE:
            SYS_Report(dialog, 0);
            return 1;
        case IDC_SYS_PRINT:
            SYS_Report(dialog, 1);
            return 1;
        case IDC_SYS_LISTTASKS:
        case IDC_SYS_LISTFUNCTIONS:
        case IDC_SYS_LISTFORMATS:
            DialogBoxParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_SYSLIST), dialog, SYS_ListProc,
                            IDC_SYS_LISTFORMATS + 1 - LOWORD(wParam));
            return 1;
        case IDC_SYS_SCREEN:
        case IDC_SYS_PRINTER:
            if (SYS_ShowDevice(dialog, LOWORD(wParam) == IDC_SYS_SCREEN)) {
                HWND screen = GetDlgItem(dialog, IDC_SYS_SCREEN), printer = GetDlgItem(dialog, IDC_SYS_PRINTER);
                const BOOL screenOn = IsWindowEnabled(screen);
                EnableWindow(screen, IsWindowEnabled(printer));
                EnableWindow(printer, screenOn);
            }
            return 1;
        }
        return 0;
    }
    return 0;
}

void SYS_ShowInfo(HWND frame)
{
    DialogBoxParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_SYSINFO), frame, SYS_InfoProc, 0);
}
