// The Save dialog with its option column. The column's rules are worked out
// by the portable code of save_options; this file moves them between the
// dialog's controls and that code, and runs the common dialog in the style
// of the platform.
#include "core/save_dialog.h"

#include "core/app.h"
#include "core/messages.h"
#include "core/save_options.h"
#include "formats/format_table.h"

#include <commdlg.h>
#include <dlgs.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "save_dialog_ids.h"

int FIL_ExplorerStyle = 1;
WORD FIL_Options;
int FIL_Expanded;
int FIL_ExpandWidth;

namespace {
const UINT kFormatsButton = 21012;  // "Formats>>"
const UINT kColumnWidth = 21251;    // the width of the column's buttons, in dialog units
const UINT kFirstOptionText = 21003;
const UINT kFirstResetText = 18948;  // texts of the first four depths when the format changes
const UINT kOutOfMemory = 8204;
const int kNameRoom = 128;

// The column in dialog units, as the Explorer template holds it too.
struct ColumnRow {
    const char* className;
    UINT text;  // 0: none
    DWORD style;
    int x, y, width, height;
    int id;  // 0: a separator without id
};
const ColumnRow kColumn[] = {
    {"button", 21003, 0x30004, 195, 3, 91, 12, IDC_SAVE_1BIT},
    {"button", 21004, 0x10004, 195, 15, 90, 12, IDC_SAVE_4BIT},
    {"button", 21005, 0x10004, 195, 27, 90, 12, IDC_SAVE_8BIT},
    {"button", 21006, 0x10004, 195, 39, 90, 12, IDC_SAVE_16BIT},
    {"button", 21007, 0x10004, 195, 51, 90, 12, IDC_SAVE_24BIT},
    {"button", 21008, 0x10004, 195, 63, 90, 12, IDC_SAVE_32BIT},
    {"static", 0, 0x4, 192, 76, 60, 1, 0},
    {"button", 21009, 0x10004, 195, 78, 90, 12, IDC_SAVE_COLOR},
    {"button", 21010, 0x10004, 195, 90, 90, 12, IDC_SAVE_GRAY},
    {"static", 0, 0x4, 192, 103, 60, 1, 0},
    {"button", 21011, 0x30004, 195, 105, 90, 12, IDC_SAVE_COMPRESSED},
};

// The filter list of the dialog in use and its format ids in order.
std::unique_ptr<LONG[]> filterIds;
WORD filterCount;
// The row of the filter selected now.
int currentRow = -1;
// The older style's name after a filter change, written by kRenameMessage.
char pendingName[MAX_PATH];
const UINT kRenameMessage = WM_APP + 0x4B;

// The row of a filter position (0 first), -1 outside the list.
int RowAt(int index)
{
    if (index < 0 || index >= filterCount) return -1;
    return FMT_FromId(filterIds[index]);
}

// The window that holds the common controls: the hook's dialog itself in the
// older style, its parent in the Explorer style.
HWND CommonDialog(HWND hook) { return FIL_ExplorerStyle ? GetParent(hook) : hook; }

void RowCapability(int row, BYTE capability[6])
{
    for (int i = 0; i < 6; i++) capability[i] = static_cast<BYTE>(FMT_GetCapability(row, i));
}

void ReadColumn(HWND dialog, SaveColumn* column)
{
    for (int i = 0; i < FIL_ControlCount; i++) {
        HWND control = GetDlgItem(dialog, FIL_ControlId(i));
        column->enabled[i] = control && IsWindowEnabled(control);
        column->checked[i] = control && SendMessageA(control, BM_GETCHECK, 0, 0) == BST_CHECKED;
    }
    column->resetTexts = 0;
}

void WriteColumn(HWND dialog, const SaveColumn* column)
{
    for (int i = 0; i < FIL_ControlCount; i++) {
        HWND control = GetDlgItem(dialog, FIL_ControlId(i));
        if (!control) continue;
        EnableWindow(control, column->enabled[i]);
        SendMessageA(control, BM_SETCHECK, column->checked[i] ? BST_CHECKED : BST_UNCHECKED, 0);
    }
    if (!column->resetTexts) return;
    for (int i = 0; i < 4; i++) {
        char text[64];
        // Without a text of its own a depth keeps its usual name.
        if (LoadStringA(MAI_Instance, kFirstResetText + i, text, sizeof text) <= 0 &&
            LoadStringA(MAI_Instance, kFirstOptionText + i, text, sizeof text) <= 0)
            continue;
        SetDlgItemTextA(dialog, FIL_ControlId(i), text);
    }
    for (int i = 4; i < 6; i++)
        if (HWND control = GetDlgItem(dialog, FIL_ControlId(i))) ShowWindow(control, SW_SHOW);
}

// Shows or hides the column by growing or shrinking the dialog.
void ToggleColumn(HWND dialog)
{
    RECT before;
    GetWindowRect(dialog, &before);
    FIL_Expanded = !FIL_Expanded;
    const int width = before.right - before.left + (FIL_Expanded ? FIL_ExpandWidth : -FIL_ExpandWidth);
    SetWindowPos(dialog, nullptr, 0, 0, width, before.bottom - before.top, SWP_NOMOVE | SWP_NOZORDER);
    RECT after;
    GetWindowRect(dialog, &after);
    if (!FIL_Expanded && after.left < 0) {
        SetWindowPos(dialog, nullptr, 0, after.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    } else if (FIL_Expanded && after.right > GetSystemMetrics(SM_CXSCREEN)) {
        SetWindowPos(dialog, nullptr, GetSystemMetrics(SM_CXSCREEN) - width, after.top, 0, 0,
                     SWP_NOSIZE | SWP_NOZORDER);
    }
}

// The Explorer style's "Formats>>" button belongs to the dialog around the
// hook's: its click is taken there, before the dialog turns it into a help
// request, so that the column toggles whatever the dialog does with help.
WNDPROC explorerDialogProc;

LRESULT CALLBACK ExplorerDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    WNDPROC next = explorerDialogProc;
    if (message == WM_COMMAND && LOWORD(wParam) == pshHelp && HIWORD(wParam) == BN_CLICKED) {
        ToggleColumn(dialog);
        return 0;
    }
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrA(dialog, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(next));
        explorerDialogProc = nullptr;
    }
    return CallWindowProcA(next, dialog, message, wParam, lParam);
}

void TakeHelpButton(HWND hook)
{
    HWND dialog = GetParent(hook);
    if (!dialog || explorerDialogProc) return;
    explorerDialogProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrA(dialog, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(ExplorerDialogProc)));
}

// The older style has no template: the column is made by hand beyond the
// dialog's right edge, where it shows once the dialog grows.
void CreateColumn(HWND dialog)
{
    RECT client;
    GetClientRect(dialog, &client);
    char number[16];
    int textWidth = 90;
    if (LoadStringA(MAI_Instance, kColumnWidth, number, sizeof number) > 0) textWidth = atoi(number);
    HWND fontSource = GetDlgItem(dialog, stc1);
    const LPARAM font = SendMessageA(fontSource ? fontSource : dialog, WM_GETFONT, 0, 0);
    for (const ColumnRow& row : kColumn) {
        RECT rect{row.x, row.y, row.x + (row.text ? textWidth : row.width), row.y + row.height};
        MapDialogRect(dialog, &rect);
        const int width = rect.right - rect.left;
        char text[64] = "";
        if (row.text && LoadStringA(MAI_Instance, row.text, text, sizeof text) <= 0) text[0] = 0;
        HWND control = CreateWindowExA(0, row.className, text, row.style | WS_CHILD | WS_VISIBLE, client.right + 2,
                                       rect.top, width, rect.bottom - rect.top, dialog,
                                       reinterpret_cast<HMENU>(static_cast<INT_PTR>(row.id ? row.id : 0xFFFF)),
                                       MAI_Instance, nullptr);
        if (control) SendMessageA(control, WM_SETFONT, static_cast<WPARAM>(font), 0);
    }
}

// The amount by which the dialog grows to show the column.
int MeasureColumn(HWND hook)
{
    HWND dialog = CommonDialog(hook);
    RECT window;
    GetWindowRect(dialog, &window);
    if (FIL_ExplorerStyle) {
        // The column stands right of the file list and its margin.
        HWND list = GetDlgItem(dialog, lst1);
        RECT rect;
        if (!list || !GetWindowRect(list, &rect)) return 0;
        const int width = window.right - (rect.right + 4);
        return width > 0 ? width : 0;
    }
    int right = window.right;
    for (const ColumnRow& row : kColumn) {
        RECT rect;
        if (row.id && GetWindowRect(GetDlgItem(hook, row.id), &rect) && rect.right > right) right = rect.right;
    }
    return right - window.right + 4;
}

void Initialise(HWND hook)
{
    HWND dialog = CommonDialog(hook);
    char text[64];
    if (LoadStringA(MAI_Instance, kFormatsButton, text, sizeof text) > 0) SetDlgItemTextA(dialog, pshHelp, text);
    if (!FIL_ExplorerStyle) {
        CreateColumn(hook);
    } else {
        for (const ColumnRow& row : kColumn)
            if (row.text && LoadStringA(MAI_Instance, row.text, text, sizeof text) > 0)
                SetDlgItemTextA(hook, row.id, text);
    }
    FIL_ExpandWidth = MeasureColumn(hook);
    for (int bit = 0; bit < 16; bit++)
        if (GetDlgItem(hook, FIL_OptionControlBase + (1 << bit)))
            CheckDlgButton(hook, FIL_OptionControlBase + (1 << bit), (FIL_Options >> bit) & 1 ? BST_CHECKED : BST_UNCHECKED);
    FIL_UpdateOptions(hook, FIL_MODE_FORMAT);
    if (FIL_ExplorerStyle) {
        // The template shows the column; one toggle hides it.
        FIL_Expanded = 1;
        ToggleColumn(dialog);
        TakeHelpButton(hook);
    } else {
        FIL_Expanded = 0;
    }
}

// The extension of the selected row, as the names are to end.
void RowExtension(LPSTR extension)
{
    extension[0] = 0;
    if (currentRow >= 0) FMT_GetExtension(currentRow, extension);
}

// The filter changed: the name takes the new row's extension, the column its capabilities.
void FilterChanged(HWND hook, int index)
{
    currentRow = RowAt(index);
    HWND dialog = CommonDialog(hook);
    char extension[16];
    RowExtension(extension);
    if (FIL_ExplorerStyle) {
        char name[MAX_PATH] = "";
        // A name the buffer can't hold whole is left as the user has it.
        if (SendMessageA(dialog, CDM_GETSPEC, sizeof name, reinterpret_cast<LPARAM>(name)) <=
            static_cast<LRESULT>(sizeof name)) {
            FIL_NameForFilter(name, sizeof name, extension);
            SendMessageA(dialog, CDM_SETCONTROLTEXT, GetDlgItem(dialog, cmb13) ? cmb13 : edt1,
                         reinterpret_cast<LPARAM>(name));
        }
    } else {
        // The older dialog puts the filter's pattern in the name field after
        // the hook has seen the change: the new name is written once it has.
        if (GetWindowTextLengthA(GetDlgItem(dialog, edt1)) < static_cast<int>(sizeof pendingName)) {
            GetDlgItemTextA(dialog, edt1, pendingName, sizeof pendingName);
            FIL_NameForFilter(pendingName, sizeof pendingName, extension);
            PostMessageA(hook, kRenameMessage, 0, 0);
        }
    }
    FIL_UpdateOptions(hook, FIL_MODE_FORMAT);
}

// Reads all sixteen possible controls into the options word.
void ReadOptions(HWND hook)
{
    WORD options = 0;
    for (int bit = 0; bit < 16; bit++)
        if (IsDlgButtonChecked(hook, FIL_OptionControlBase + (1 << bit)) == BST_CHECKED) options |= 1u << bit;
    FIL_Options = options;
}

// The older style's OK: a name without "." gets the row's extension.
void Accept(HWND hook)
{
    HWND dialog = CommonDialog(hook);
    char extension[16];
    RowExtension(extension);
    char name[MAX_PATH] = "";
    // A name the buffer can't hold whole is left to the dialog, never cut.
    const bool whole = GetWindowTextLengthA(GetDlgItem(dialog, edt1)) < static_cast<int>(sizeof name);
    if (whole) GetDlgItemTextA(dialog, edt1, name, sizeof name);
    if (whole && !strchr(name, '.')) {
        FIL_NameAtAccept(name, sizeof name, extension);
        SetDlgItemTextA(dialog, edt1, name);
    }
    ReadOptions(hook);
}

// The Explorer style's OK: the full name is already in the dialog's buffer,
// with whatever extension the dialog gave it; a name typed without "." ends
// with the selected row's extension instead.
void AcceptExplorer(HWND hook, OPENFILENAMEA* dialog)
{
    char extension[16];
    RowExtension(extension);
    char typed[MAX_PATH] = "";
    const bool whole =
        SendMessageA(GetParent(hook), CDM_GETSPEC, sizeof typed, reinterpret_cast<LPARAM>(typed)) <=
        static_cast<LRESULT>(sizeof typed);
    if (whole && dialog && dialog->lpstrFile && typed[0] && !strchr(typed, '.')) {
        LPSTR part = dialog->lpstrFile;
        if (LPSTR slash = strrchr(part, '\\')) part = slash + 1;
        const int room = static_cast<int>(dialog->nMaxFile) - static_cast<int>(part - dialog->lpstrFile);
        if (LPSTR typedPart = strrchr(typed, '\\')) memmove(typed, typedPart + 1, strlen(typedPart + 1) + 1);
        FIL_NameAtAccept(typed, sizeof typed, extension);
        // Only a whole name replaces the dialog's own; a cut one would be another file.
        if (strchr(typed, '.') && static_cast<int>(strlen(typed)) < room) lstrcpyA(part, typed);
    }
    ReadOptions(hook);
}

// A click in the column.
void ColumnClicked(HWND hook, int id)
{
    int position = -1;
    for (int i = 0; i < FIL_ControlCount; i++)
        if (FIL_ControlId(i) == id) position = i;
    if (position < 0) return;
    SaveColumn column;
    ReadColumn(hook, &column);
    BYTE capability[6];
    RowCapability(currentRow, capability);
    FIL_ClickColumn(&column, capability, position);
    WriteColumn(hook, &column);
}

UINT_PTR Command(HWND hook, WPARAM wParam)
{
    const int id = LOWORD(wParam);
    const int code = HIWORD(wParam);
    if (id >= IDC_SAVE_1BIT && id <= IDC_SAVE_COMPRESSED) {
        if (code == BN_CLICKED) ColumnClicked(hook, id);
        return TRUE;
    }
    if (FIL_ExplorerStyle) return FALSE;
    if (id == pshHelp) {
        ToggleColumn(hook);
        return TRUE;
    }
    if (id == cmb1 && code == CBN_SELCHANGE) {
        FilterChanged(hook, static_cast<int>(SendDlgItemMessageA(hook, cmb1, CB_GETCURSEL, 0, 0)));
        return FALSE;
    }
    if (id == IDOK) Accept(hook);
    return FALSE;
}

UINT_PTR Notify(HWND hook, const OFNOTIFYA* notify)
{
    switch (notify->hdr.code) {
    case CDN_INITDONE:
        Initialise(hook);
        break;
    case CDN_TYPECHANGE:
        FilterChanged(hook, static_cast<int>(notify->lpOFN->nFilterIndex) - 1);
        break;
    case CDN_HELP:
        ToggleColumn(GetParent(hook));
        break;
    case CDN_FILEOK:
        AcceptExplorer(hook, notify->lpOFN);
        break;
    }
    return FALSE;
}
}  // namespace

void FIL_DetectDialogStyle()
{
    static bool detected = false;
    if (detected) return;
    detected = true;
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExA(&version)) FIL_ExplorerStyle = version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS ? 1 : 0;
}

void FIL_UpdateOptions(HWND dialog, int mode)
{
    SaveColumn column;
    ReadColumn(dialog, &column);
    BYTE capability[6];
    RowCapability(currentRow, capability);
    FIL_UpdateColumn(&column, capability, mode);
    WriteColumn(dialog, &column);
}

UINT_PTR CALLBACK FIL_GetSaveHook(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        if (!FIL_ExplorerStyle) Initialise(dialog);
        return TRUE;
    case WM_NOTIFY:
        if (FIL_ExplorerStyle) return Notify(dialog, reinterpret_cast<const OFNOTIFYA*>(lParam));
        return FALSE;
    case WM_COMMAND:
        return Command(dialog, wParam);
    case kRenameMessage:
        SetDlgItemTextA(dialog, edt1, pendingName);
        return TRUE;
    }
    return FALSE;
}

int FIL_SaveDialog(LPSTR name, int* row, WORD* options)
{
    FIL_DetectDialogStyle();
    FIL_Options = *options;

    // A folder in the name becomes the starting folder.
    char folder[MAX_PATH] = ".";
    if (LPSTR cut = strrchr(name, '\\')) {
        const size_t length = static_cast<size_t>(cut - name);
        if (length < sizeof folder - 1) {
            memcpy(folder, name, length);
            folder[length] = 0;
            if (length == 0 || folder[length - 1] == ':') lstrcatA(folder, "\\");
        }
        memmove(name, cut + 1, strlen(cut + 1) + 1);
    }

    std::unique_ptr<char[]> filter(new (std::nothrow) char[FMT_FilterSize()]);
    filterIds.reset(new (std::nothrow) LONG[FMT_LastIndex() + 2]);
    if (!filter || !filterIds) {
        MSG_Report(SEV_ERROR, kOutOfMemory);
        return 0;
    }
    filterCount = FMT_SaveFilter(filter.get(), filterIds.get());
    int index = 0;
    const LONG wanted = FMT_GetId(*row);
    for (int i = 0; i < filterCount; i++)
        if (filterIds[i] == wanted) {
            index = i;
            break;
        }
    currentRow = RowAt(index);

    char extension[16] = "";
    FMT_GetExtension(currentRow, extension);
    char title[256] = "";
    OPENFILENAMEA dialog{};
    dialog.lStructSize = OPENFILENAME_SIZE_VERSION_400A;
    dialog.hwndOwner = MAI_Frame;
    dialog.hInstance = reinterpret_cast<HINSTANCE>(MAI_Instance);
    dialog.lpstrFilter = filter.get();
    dialog.nFilterIndex = static_cast<DWORD>(index + 1);
    dialog.lpstrFile = name;
    dialog.nMaxFile = kNameRoom;
    dialog.lpstrFileTitle = title;
    dialog.nMaxFileTitle = sizeof title;
    dialog.lpstrInitialDir = folder;
    dialog.lpstrDefExt = extension;
    dialog.lpfnHook = FIL_GetSaveHook;
    dialog.Flags = OFN_SHAREAWARE | OFN_OVERWRITEPROMPT | OFN_HIDEREADONLY | OFN_SHOWHELP | OFN_ENABLEHOOK;
    if (FIL_ExplorerStyle) {
        dialog.Flags |= OFN_EXPLORER | OFN_ENABLETEMPLATE;
        dialog.lpTemplateName = MAKEINTRESOURCEA(IDD_SAVE_OPTIONS);
    }
    const BOOL chosen = GetSaveFileNameA(&dialog);
    if (chosen) {
        const int chosenRow = RowAt(static_cast<int>(dialog.nFilterIndex) - 1);
        if (chosenRow >= 0) *row = chosenRow;
        *options = FIL_Options;
    }
    filterIds.reset();
    filterCount = 0;
    return chosen ? 1 : 0;
}
