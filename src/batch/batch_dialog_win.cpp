// Dialog 301, "Batch": the input format lists the files of the current
// directory, the output format gives each its output name and decides the
// colour targets on offer; each row can be switched off or renamed.
#include "batch/batch.h"

#include "batch/batch_engine.h"
#include "batch_dialog_ids.h"
#include "core/app.h"
#include "core/messages.h"
#include "core/settings.h"
#include "core/utilities.h"
#include "formats/format_table.h"
#include "platform/profile.h"

#include <cstring>
#include <new>
#include <string>

namespace {
const UINT kNoMemory = 8221, kBadDirectory = 21253, kNoFiles = 16653, kInDirectory = 16654;
const UINT kDirAttributes = 0xC010;  // directories and drives only
const int kRowHeight = 20;
const int kMark = 20;  // the row marks are 20 by 20
const WORD kNoRow = 65535;
const UINT WM_CHECKEDITFOCUS = WM_APP + 1;  // after the edit lost the focus

HBRUSH batchBrush = nullptr;
HFONT listFont = nullptr;
WNDPROC oldListProc = nullptr;
int editIndex = -1;      // the row whose output name is in the edit
WORD focusRow = kNoRow;  // the row drawn with the highlight
bool noFiles = false;
int allDeselected = 0;  // what button 329 did last, kept from one use to the next

HWND List(HWND dialog) { return GetDlgItem(dialog, IDC_BAT_FILES); }
int RowCount(HWND list) { return static_cast<int>(SendMessageA(list, LB_GETCOUNT, 0, 0)); }
char* RowName(HWND list, int row)
{
    LRESULT data = SendMessageA(list, LB_GETITEMDATA, row, 0);
    return data == LB_ERR ? nullptr : reinterpret_cast<char*>(data);
}
bool RowSelected(HWND list, int row) { return SendMessageA(list, LB_GETSEL, row, 0) > 0; }
LRESULT ComboData(HWND dialog, int id)
{
    LRESULT sel = SendDlgItemMessageA(dialog, id, CB_GETCURSEL, 0, 0);
    return sel == CB_ERR ? -1 : SendDlgItemMessageA(dialog, id, CB_GETITEMDATA, sel, 0);
}

char* CopyText(const char* text)
{
    const size_t length = strlen(text) + 1;
    char* copy = new (std::nothrow) char[length];
    if (copy) memcpy(copy, text, length);
    return copy;
}

void FreeRowNames(HWND list)
{
    const int count = RowCount(list);
    for (int row = 0; row < count; row++) {
        delete[] RowName(list, row);
        SendMessageA(list, LB_SETITEMDATA, row, 0);
    }
}

// Compress is offered where the target's depth may be compressed and is
// checked where the format always compresses it.
void SetCompress(HWND dialog)
{
    const LRESULT target = ComboData(dialog, IDC_BAT_TARGET);
    const int capability = target < 0 ? 0 : FMT_GetCapability(FIL_SaveRow, static_cast<int>(target));
    EnableWindow(GetDlgItem(dialog, IDC_BAT_COMPRESS), (capability & CAP_COMPRESS_OPTIONAL) != 0);
    CheckDlgButton(dialog, IDC_BAT_COMPRESS, (capability & CAP_COMPRESS_INHERENT) ? BST_CHECKED : BST_UNCHECKED);
}

// The colour targets the output format holds, deepest first.
void FillTargets(HWND dialog)
{
    HWND combo = GetDlgItem(dialog, IDC_BAT_TARGET);
    SendMessageA(combo, CB_RESETCONTENT, 0, 0);
    int chosen = 0;
    for (int target = BAT_TargetCount - 1; target >= 0; target--) {
        if (!FMT_GetCapability(FIL_SaveRow, target)) continue;
        char text[64] = "";
        LoadStringA(MAI_Instance, BAT_TargetText + target, text, sizeof text);
        LRESULT at = SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
        SendMessageA(combo, CB_SETITEMDATA, at, target);
        if (target == BAT_ColorTarget) chosen = static_cast<int>(at);
    }
    SendMessageA(combo, CB_SETCURSEL, chosen, 0);
    SetCompress(dialog);
}

// Lists the files of the input format, all selected, each with its output name.
void FillList(HWND dialog)
{
    HWND list = List(dialog);
    noFiles = false;
    FreeRowNames(list);
    SendMessageA(list, LB_RESETCONTENT, 0, 0);
    char pattern[32] = "*.";
    FMT_GetExtension(FIL_LoadRow, pattern + 2);
    SendMessageA(list, LB_DIR, 0, reinterpret_cast<LPARAM>(pattern));
    UTL_FixDirList(dialog, IDC_BAT_FILES);
    SendMessageA(list, LB_SETSEL, TRUE, -1);
    const int count = RowCount(list);
    EnableWindow(GetDlgItem(dialog, IDC_BAT_RUN), count > 0);
    for (int row = 0; row < count; row++) {
        const LRESULT length = SendMessageA(list, LB_GETTEXTLEN, row, 0);
        if (length == LB_ERR) continue;
        char* name = new (std::nothrow) char[length + 1];
        // Room for the name and a longer extension than its own.
        const size_t room = static_cast<size_t>(length) + 16;
        char* output = new (std::nothrow) char[room]();
        if (name && output) {
            SendMessageA(list, LB_GETTEXT, row, reinterpret_cast<LPARAM>(name));
            if (BAT_OutputName(name, FIL_SaveRow, output, room)) {
                SendMessageA(list, LB_SETITEMDATA, row, reinterpret_cast<LPARAM>(output));
                output = nullptr;
            }
        }
        delete[] name;
        delete[] output;
    }
    if (!count) {
        noFiles = true;
        // Inserted at the end, so that the sorted list keeps the three lines in order.
        char text[MAX_PATH + 64] = "";
        LoadStringA(MAI_Instance, kNoFiles, text, sizeof text);
        SendMessageA(list, LB_INSERTSTRING, -1, reinterpret_cast<LPARAM>(text));
        LoadStringA(MAI_Instance, kInDirectory, text, sizeof text);
        SendMessageA(list, LB_INSERTSTRING, -1, reinterpret_cast<LPARAM>(text));
        GetCurrentDirectoryA(sizeof text, text);
        OemToCharA(text, text);
        SendMessageA(list, LB_INSERTSTRING, -1, reinterpret_cast<LPARAM>(text));
    }
    FillTargets(dialog);
}

void BeginEdit(HWND dialog, int row)
{
    editIndex = row;
    HWND edit = GetDlgItem(dialog, IDC_BAT_EDIT);
    EnableWindow(edit, TRUE);
    SetWindowTextA(edit, RowName(List(dialog), row));
    SetFocus(edit);
    SendMessageA(edit, EM_SETSEL, 0, -1);
}

void DropEdit(HWND dialog)
{
    if (editIndex == -1) return;
    SetDlgItemTextA(dialog, IDC_BAT_EDIT, "");
    EnableWindow(GetDlgItem(dialog, IDC_BAT_EDIT), FALSE);
    editIndex = -1;
    SetFocus(List(dialog));
}

// Enter: a typed name replaces the row's, then the edit moves on to the next
// selected row, wrapping, until it comes back to where it started.
void AcceptEdit(HWND dialog)
{
    HWND list = List(dialog);
    char text[256] = "";
    GetDlgItemTextA(dialog, IDC_BAT_EDIT, text, sizeof text);
    if (text[0]) {
        if (char* copy = CopyText(text)) {
            delete[] RowName(list, editIndex);
            SendMessageA(list, LB_SETITEMDATA, editIndex, reinterpret_cast<LPARAM>(copy));
        }
        InvalidateRect(list, nullptr, FALSE);
    }
    const int count = RowCount(list);
    if (count <= 0) {
        editIndex = -1;
        return;
    }
    int next = editIndex;
    do next = (next + 1) % count;
    while (next != editIndex && !RowSelected(list, next));
    if (next == editIndex) {
        SetDlgItemTextA(dialog, IDC_BAT_EDIT, "");
        EnableWindow(GetDlgItem(dialog, IDC_BAT_EDIT), FALSE);
        editIndex = -1;
        return;
    }
    SendMessageA(list, LB_SETSEL, TRUE, next);
    SendMessageA(list, LB_SETCARETINDEX, next, FALSE);
    SetFocus(list);
    BeginEdit(dialog, next);
}

void InvalidateRow(HWND list, int row)
{
    RECT r;
    if (row != kNoRow && SendMessageA(list, LB_GETITEMRECT, row, reinterpret_cast<LPARAM>(&r)) != LB_ERR)
        InvalidateRect(list, &r, FALSE);
}

LRESULT CALLBACK ListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam)
{
    HWND dialog = GetParent(list);
    if (message == WM_CHAR) {
        LRESULT result = CallWindowProcA(oldListProc, list, message, wParam, lParam);
        if (wParam == ' ' && focusRow != kNoRow && RowSelected(list, focusRow) && RowName(list, focusRow))
            BeginEdit(dialog, focusRow);
        return result;
    }
    if (message == WM_LBUTTONDOWN) {
        SetDlgItemTextA(dialog, IDC_BAT_EDIT, "");
        RECT client;
        GetClientRect(list, &client);
        POINT at = {static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam))};
        // A click in the output column edits the name of a selected row and
        // leaves its selection as it is.
        if (at.x >= client.right / 2 + 10) {
            const int count = RowCount(list);
            for (int row = 0; row < count; row++) {
                RECT r;
                if (SendMessageA(list, LB_GETITEMRECT, row, reinterpret_cast<LPARAM>(&r)) == LB_ERR) continue;
                if (!PtInRect(&r, at)) continue;
                if (!RowSelected(list, row) || !RowName(list, row)) break;
                BeginEdit(dialog, row);
                const WORD old = focusRow;
                focusRow = static_cast<WORD>(row);
                SendMessageA(list, LB_SETSEL, TRUE, row);
                InvalidateRow(list, row);
                InvalidateRow(list, old);
                return 0;
            }
        }
    }
    return CallWindowProcA(oldListProc, list, message, wParam, lParam);
}

void CopyMark(HDC dc, int id, int x, int y)
{
    HBITMAP mark = LoadBitmapA(MAI_Instance, MAKEINTRESOURCEA(id));
    if (!mark) return;
    HDC memory = CreateCompatibleDC(dc);
    HGDIOBJ old = SelectObject(memory, mark);
    BitBlt(dc, x, y, kMark, kMark, memory, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    DeleteDC(memory);
    DeleteObject(mark);
}

void DrawRow(HWND dialog, const DRAWITEMSTRUCT* item)
{
    if (static_cast<int>(item->itemID) == -1) return;
    HDC dc = item->hDC;
    HGDIOBJ oldFont = listFont ? SelectObject(dc, listFont) : nullptr;
    RECT r = item->rcItem;
    HWND list = item->hwndItem;
    char name[MAX_PATH] = "";
    if (SendMessageA(list, LB_GETTEXTLEN, item->itemID, 0) < static_cast<LRESULT>(sizeof name))
        SendMessageA(list, LB_GETTEXT, item->itemID, reinterpret_cast<LPARAM>(name));
    if (noFiles) {
        if (item->itemAction == ODA_DRAWENTIRE) {
            SetTextColor(dc, RGB(255, 0, 0));
            SetBkColor(dc, RGB(255, 255, 255));
            FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
            r.top += 5;
            DrawTextA(dc, name, -1, &r, DT_CENTER | DT_SINGLELINE);
        }
        if (oldFont) SelectObject(dc, oldFont);
        return;
    }
    const int middle = (r.left + r.right) / 2;
    RECT in = {r.left + 2, r.top, middle - 10, r.bottom};
    RECT out = {middle + 12, r.top, r.right, r.bottom};
    const bool selected = (item->itemState & ODS_SELECTED) != 0;
    const bool focused = (item->itemState & ODS_FOCUS) != 0;
    if (item->itemAction == ODA_FOCUS || item->itemAction == ODA_DRAWENTIRE) {
        if (focused) focusRow = static_cast<WORD>(item->itemID);
        else if (GetFocus() == list && focusRow == item->itemID) focusRow = kNoRow;
        const bool highlight = focusRow == item->itemID;
        COLORREF ink = highlight ? GetSysColor(COLOR_HIGHLIGHTTEXT) : RGB(0, 0, 0);
        COLORREF paper = highlight ? GetSysColor(COLOR_HIGHLIGHT) : RGB(255, 255, 255);
        HBRUSH back = highlight && batchBrush ? batchBrush : static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
        SetTextColor(dc, ink);
        SetBkColor(dc, paper);
        FillRect(dc, &in, back);
        DrawTextA(dc, name, -1, &in, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
        FillRect(dc, &out, back);
        // A file that will not be converted shows no output name.
        if (selected) {
            if (const char* output = RowName(list, item->itemID))
                DrawTextA(dc, output, -1, &out, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
            if (focused) FrameRect(dc, &out, static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH)));
        }
    }
    if (item->itemAction == ODA_DRAWENTIRE) {
        MoveToEx(dc, r.left, r.top - 1, nullptr);
        LineTo(dc, r.right, r.top - 1);
        MoveToEx(dc, r.left, r.bottom - 1, nullptr);
        LineTo(dc, r.right, r.bottom - 1);
    }
    if (item->itemAction == ODA_DRAWENTIRE || item->itemAction == ODA_SELECT)
        CopyMark(dc, selected ? IDB_BAT_SELECTED : IDB_BAT_UNSELECTED, middle - kMark / 2,
                 r.top + (r.bottom - r.top - kMark) / 2);
    if (oldFont) SelectObject(dc, oldFont);
}

// Fills a format combo with the rows that read (or write) and aren't stubs.
void FillFormats(HWND dialog, int id, bool save, int current)
{
    HWND combo = GetDlgItem(dialog, id);
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        const bool usable = save ? FMT_CanSave(row) && !FMT_IsSaveStub(row) : FMT_CanLoad(row) && !FMT_IsLoadStub(row);
        if (!usable) continue;
        char text[256] = "";
        FMT_GetDescription(row, text);
        LRESULT at = SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
        SendMessageA(combo, CB_SETITEMDATA, at, row);
        if (row == current) SendMessageA(combo, CB_SETCURSEL, at, 0);
    }
}

void InitDialog(HWND dialog)
{
    BAT_FreeItems();
    HWND list = List(dialog);
    // The button 329 over the middle of the list, the heading right of it.
    RECT lr;
    UTL_ChildRect(list, &lr);
    const int width = lr.right - lr.left;
    RECT br;
    UTL_ChildRect(GetDlgItem(dialog, IDC_BAT_ALL), &br);
    MoveWindow(GetDlgItem(dialog, IDC_BAT_ALL), lr.left + width / 2 - 10, br.top, 20, br.bottom - br.top, FALSE);
    RECT hr;
    UTL_ChildRect(GetDlgItem(dialog, IDC_BAT_OUTHEAD), &hr);
    MoveWindow(GetDlgItem(dialog, IDC_BAT_OUTHEAD), lr.left + width / 2 + 12, hr.top, lr.right - (lr.left + width / 2 + 12),
               hr.bottom - hr.top, FALSE);
    FillFormats(dialog, IDC_BAT_INFORMAT, false, FIL_LoadRow);
    FillFormats(dialog, IDC_BAT_OUTFORMAT, true, FIL_SaveRow);
    oldListProc = reinterpret_cast<WNDPROC>(SetWindowLongPtrA(list, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(ListProc)));
    FillList(dialog);
    // A run starts at "24-Bit Color" where the output format has it.
    HWND combo = GetDlgItem(dialog, IDC_BAT_TARGET);
    SendMessageA(combo, CB_SETCURSEL, 0, 0);
    const int entries = static_cast<int>(SendMessageA(combo, CB_GETCOUNT, 0, 0));
    for (int at = 0; at < entries; at++)
        if (SendMessageA(combo, CB_GETITEMDATA, at, 0) == 4) SendMessageA(combo, CB_SETCURSEL, at, 0);
    BAT_ColorTarget = static_cast<int>(ComboData(dialog, IDC_BAT_TARGET));
    SetCompress(dialog);
    char none[] = "";
    DlgDirListA(dialog, none, IDC_BAT_DIRS, IDC_BAT_DIRTEXT, kDirAttributes);
    UTL_FixDirList(dialog, IDC_BAT_DIRS);
    focusRow = kNoRow;
    editIndex = -1;
    CheckRadioButton(dialog, IDC_BAT_FLATCUT, IDC_BAT_OPTIMIZED, BAT_UseFlatCut ? IDC_BAT_FLATCUT : IDC_BAT_OPTIMIZED);
    CheckRadioButton(dialog, IDC_BAT_COLOR, IDC_BAT_GRAY, BAT_Color ? IDC_BAT_COLOR : IDC_BAT_GRAY);
    CheckDlgButton(dialog, IDC_BAT_DITHER, BAT_Dither ? BST_CHECKED : BST_UNCHECKED);
    BAT_ThumbnailsSaved = BAT_ThumbnailsRun = SET_Value(SET_WANT_THUMBNAIL) != 0;
    CheckDlgButton(dialog, IDC_BAT_THUMBNAILS, BAT_ThumbnailsRun ? BST_CHECKED : BST_UNCHECKED);
    SetFocus(list);
    SetFocus(GetDlgItem(dialog, IDC_BAT_RUN));
    char folder[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof folder, folder);
    SetDlgItemTextA(dialog, IDC_BAT_OUTDIR, folder);
}

bool DirectoryWorks(const char* directory)
{
    char saved[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof saved, saved);
    const bool ok = SetCurrentDirectoryA(directory) != 0;
    SetCurrentDirectoryA(saved);
    return ok;
}

// Reads the options and the selected rows into the run state.
void Collect(HWND dialog)
{
    BAT_Dither = IsDlgButtonChecked(dialog, IDC_BAT_DITHER) == BST_CHECKED;
    BAT_Compress = IsDlgButtonChecked(dialog, IDC_BAT_COMPRESS) == BST_CHECKED;
    BAT_UseFlatCut = IsDlgButtonChecked(dialog, IDC_BAT_FLATCUT) == BST_CHECKED;
    BAT_Color = IsDlgButtonChecked(dialog, IDC_BAT_COLOR) == BST_CHECKED;
    const LRESULT target = ComboData(dialog, IDC_BAT_TARGET);
    if (target >= 0) BAT_ColorTarget = static_cast<int>(target);
    HWND list = List(dialog);
    const int count = noFiles ? 0 : RowCount(list);
    BAT_AllocateItems(count);
    for (int row = 0; row < count; row++) {
        char* output = RowName(list, row);
        if (output && RowSelected(list, row)) {
            const LRESULT length = SendMessageA(list, LB_GETTEXTLEN, row, 0);
            char* input = length == LB_ERR ? nullptr : new (std::nothrow) char[length + 1];
            if (input) {
                SendMessageA(list, LB_GETTEXT, row, reinterpret_cast<LPARAM>(input));
                // Names are upper case, also a name typed in lower case.
                CharUpperA(input);
                CharUpperA(output);
                BAT_AddItem(input, output);
            }
            delete[] input;
        }
        delete[] output;
        SendMessageA(list, LB_SETITEMDATA, row, 0);
    }
    SetWindowLongPtrA(list, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(oldListProc));
}

// "Batch!": the output directory must exist, with or without its last backslash.
void RunPressed(HWND dialog)
{
    char directory[sizeof BAT_OutputDir + 1] = "";
    HWND edit = GetDlgItem(dialog, IDC_BAT_OUTDIR);
    // A name longer than the run keeps is refused whole, never cut to fit.
    if (GetWindowTextLengthA(edit) >= static_cast<int>(sizeof BAT_OutputDir)) {
        const std::string whole = UTL_WindowText(edit);
        MSG_Report(SEV_ERROR, kBadDirectory, whole.c_str());
        return;
    }
    GetWindowTextA(edit, directory, sizeof BAT_OutputDir);
    if (!directory[0]) lstrcpyA(directory, ".");
    if (!DirectoryWorks(directory)) {
        const size_t length = strlen(directory);
        if (directory[length - 1] == '\\') directory[length - 1] = 0;
        else if (length + 1 < sizeof BAT_OutputDir) lstrcatA(directory, "\\");
        if (!DirectoryWorks(directory)) {
            MSG_Report(SEV_ERROR, kBadDirectory, directory);
            return;
        }
    }
    lstrcpynA(BAT_OutputDir, directory, sizeof BAT_OutputDir);
    Collect(dialog);
    EndDialog(dialog, 1);
}

void Command(HWND dialog, int id, int code)
{
    HWND list = List(dialog);
    switch (id) {
    case IDC_BAT_ACCEPT:
        if (editIndex != -1) AcceptEdit(dialog);
        return;
    case IDC_BAT_DROP:
        DropEdit(dialog);
        return;
    case IDC_BAT_EDIT:
        if (code == EN_KILLFOCUS) PostMessageA(dialog, WM_CHECKEDITFOCUS, 0, 0);
        return;
    case IDC_BAT_INFORMAT:
    case IDC_BAT_OUTFORMAT:
        if (code == CBN_DROPDOWN) DropEdit(dialog);
        if (code != CBN_SELCHANGE) return;
        if (id == IDC_BAT_INFORMAT) FIL_LoadRow = static_cast<int>(ComboData(dialog, id));
        else FIL_SaveRow = static_cast<int>(ComboData(dialog, id));
        DropEdit(dialog);
        FillList(dialog);
        return;
    case IDC_BAT_TARGET:
        if (code == CBN_DROPDOWN) DropEdit(dialog);
        if (code == CBN_SELCHANGE) SetCompress(dialog);
        return;
    case IDC_BAT_DIRS:
        if (code == LBN_SETFOCUS) DropEdit(dialog);
        if (code == LBN_DBLCLK) {
            char path[MAX_PATH] = "";
            DlgDirSelectExA(dialog, path, sizeof path, IDC_BAT_DIRS);
            DlgDirListA(dialog, path, IDC_BAT_DIRS, IDC_BAT_DIRTEXT, kDirAttributes);
            UTL_FixDirList(dialog, IDC_BAT_DIRS);
            DropEdit(dialog);
            FillList(dialog);
            GetCurrentDirectoryA(sizeof path, path);
            SetDlgItemTextA(dialog, IDC_BAT_OUTDIR, path);
        }
        return;
    case IDC_BAT_FLATCUT:
    case IDC_BAT_OPTIMIZED:
        DropEdit(dialog);
        CheckRadioButton(dialog, IDC_BAT_FLATCUT, IDC_BAT_OPTIMIZED, id);
        return;
    case IDC_BAT_COLOR:
    case IDC_BAT_GRAY:
        DropEdit(dialog);
        CheckRadioButton(dialog, IDC_BAT_COLOR, IDC_BAT_GRAY, id);
        return;
    case IDC_BAT_DITHER:
    case IDC_BAT_COMPRESS:
    case IDC_BAT_THUMBNAILS:
        DropEdit(dialog);
        CheckDlgButton(dialog, id, IsDlgButtonChecked(dialog, id) == BST_CHECKED ? BST_UNCHECKED : BST_CHECKED);
        if (id == IDC_BAT_THUMBNAILS) BAT_ThumbnailsRun = IsDlgButtonChecked(dialog, id) == BST_CHECKED;
        return;
    case IDC_BAT_ALL:
        allDeselected = !allDeselected;
        SetDlgItemTextA(dialog, IDC_BAT_ALL, allDeselected ? "Select" : "Deselt");
        SendMessageA(list, LB_SETSEL, allDeselected ? FALSE : TRUE, -1);
        RedrawWindow(GetDlgItem(dialog, IDC_BAT_ALL), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
        return;
    case IDC_BAT_CANCEL:
        FreeRowNames(list);
        SetWindowLongPtrA(list, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(oldListProc));
        EndDialog(dialog, 0);
        return;
    case IDC_BAT_SETTINGS:
        SendMessageA(GetParent(dialog), WM_COMMAND, IDC_BAT_SETTINGS, 0);
        return;
    case IDC_BAT_RUN:
        RunPressed(dialog);
        return;
    }
}

INT_PTR CALLBACK BatchProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        InitDialog(dialog);
        return FALSE;  // the focus is set
    case WM_MEASUREITEM:
        reinterpret_cast<MEASUREITEMSTRUCT*>(lParam)->itemHeight = kRowHeight;
        return TRUE;
    case WM_DRAWITEM:
        DrawRow(dialog, reinterpret_cast<const DRAWITEMSTRUCT*>(lParam));
        return TRUE;
    case WM_COMMAND:
        Command(dialog, LOWORD(wParam), HIWORD(wParam));
        return TRUE;
    case WM_CHECKEDITFOCUS: {
        // The edit keeps its row while the focus went to the two buttons or the list.
        HWND focus = GetFocus();
        if (focus != GetDlgItem(dialog, IDC_BAT_ACCEPT) && focus != GetDlgItem(dialog, IDC_BAT_DROP) &&
            focus != List(dialog) && focus != GetDlgItem(dialog, IDC_BAT_EDIT))
            DropEdit(dialog);
        return TRUE;
    }
    case WM_DESTROY:
        // However the dialog ends, no row keeps a name.
        FreeRowNames(List(dialog));
        return FALSE;
    }
    return FALSE;
}
}  // namespace

void BAT_Facility(HWND frame)
{
    // The session counts each use of the dialog in the store.
    int session = 0;
    HPROFILE section = PRF_OpenSection("Batch");
    PRF_GetInt(section, "Session", &session);
    session++;
    PRF_SetInt(section, "Session", session);
    PRF_Close(section);
    BAT_Session = static_cast<unsigned short>(session);

    batchBrush = CreateSolidBrush(GetSysColor(COLOR_HIGHLIGHT));
    LOGFONTA font = {};
    font.lfHeight = 12;
    font.lfWeight = 800;
    font.lfCharSet = MAI_CharSet;
    lstrcpynA(font.lfFaceName, MAI_SansFont, LF_FACESIZE);
    listFont = CreateFontIndirectA(&font);
    if (!listFont) {
        MSG_Report(SEV_ERROR, kNoMemory);
        if (batchBrush) DeleteObject(batchBrush);
        batchBrush = nullptr;
        return;
    }
    const INT_PTR result = DialogBoxParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_BATCH), frame, BatchProc, 0);
    DeleteObject(listFont);
    listFont = nullptr;
    if (batchBrush) DeleteObject(batchBrush);
    batchBrush = nullptr;
    if (result != 1) return;
    // Thumbnails as the dialog said, for this run only.
    SET_Put(SET_WANT_THUMBNAIL, BAT_ThumbnailsRun);
    BAT_Session++;
    BAT_Run(frame);
    SET_Put(SET_WANT_THUMBNAIL, BAT_ThumbnailsSaved);
}
