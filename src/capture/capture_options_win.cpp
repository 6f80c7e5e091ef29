// Capture options: the keys of the "Capture" section, the Capture Options
// dialog and the hot key module CAPTURE.DLL, reached by name only.
#include "capture/capture.h"

#include "core/app.h"
#include "core/messages.h"
#include "core/settings.h"
#include "core/utilities.h"
#include "formats/format_table.h"
#include "platform/profile.h"

#include <cstdio>
#include <cstring>

#include "capture_dialog_ids.h"
#include "menu_ids.h"

namespace {
const char kSection[] = "Capture";
const UINT kUntitled = 17408;        // "untitled"
const UINT kFirstKeyName = 1282;     // "F1", to "F12"
const UINT kIllegalName = 8218;      // "Illegal output file name"
const int kFirstKey = VK_F1, kLastKey = VK_F12;

typedef void(WINAPI* SetHookProcFn)(HWND, UINT);
typedef void(WINAPI* SetHookKeyModFn)(BOOL, BOOL);
typedef void(WINAPI* ResetHookKeyFn)(UINT);
typedef void(WINAPI* UnsetHookProcFn)();

HMODULE hookModule;

template <typename Fn>
Fn Export(const char* name)
{
    return hookModule ? reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(hookModule, name))) : nullptr;
}

void BindModifiers()
{
    if (auto mod = Export<SetHookKeyModFn>("CAP_SetHookKeyMod"))
        mod(SET_Value(SET_CAPTURE_KEY_ALT) != 0, SET_Value(SET_CAPTURE_KEY_CTRL) != 0);
}

// The five keys that only a cap_save_all store keeps; non-zero when it keeps them.
int WriteKept()
{
    HPROFILE profile = PRF_OpenSection(kSection);
    PRF_AddDefault(profile, "cap_save_all", 1);
    int saveAll = 1;
    PRF_GetInt(profile, "cap_save_all", &saveAll);
    if (saveAll) {
        PRF_SetLong(profile, "cap_file_num", cap_file_num);
        PRF_SetInt(profile, "cap_file_num_len", static_cast<int>(cap_file_num_len));
        PRF_SetInt(profile, "cap_use_count", static_cast<int>(cap_use_count));
        PRF_SetInt(profile, "cap_client", static_cast<int>(cap_client));
        PRF_SetDword(profile, "cap_save_id", cap_save_id);
    }
    PRF_Close(profile);
    return saveAll;
}

// A stored name that doesn't fit its 128 bytes is not taken: cut, it would name another file.
void ReadName(HPROFILE profile, LPCSTR key, char (&name)[128])
{
    char text[sizeof name + 1] = "";
    if (PRF_GetString(profile, key, text, sizeof text) && lstrlenA(text) < static_cast<int>(sizeof name))
        lstrcpyA(name, text);
}

// ---- the dialog ------------------------------------------------------------------------

int Checked(HWND dialog, int id) { return IsDlgButtonChecked(dialog, id) == BST_CHECKED; }

void Toggle(HWND dialog, int id) { CheckDlgButton(dialog, id, Checked(dialog, id) ? BST_UNCHECKED : BST_CHECKED); }

int SelectedRow(HWND dialog)
{
    const LRESULT index = SendDlgItemMessageA(dialog, IDC_CAP_FORMAT, CB_GETCURSEL, 0, 0);
    if (index == CB_ERR) return static_cast<int>(cap_save_id);
    return static_cast<int>(SendDlgItemMessageA(dialog, IDC_CAP_FORMAT, CB_GETITEMDATA, index, 0));
}

void EnableFileControls(HWND dialog)
{
    const bool file = Checked(dialog, IDC_CAP_TOFILE);
    for (int id : {IDC_CAP_FILEGROUP, IDC_CAP_FILELABEL, IDC_CAP_FILENAME, IDC_CAP_FORMAT, IDC_CAP_INCREMENT,
                   IDC_CAP_PREVIEW})
        EnableWindow(GetDlgItem(dialog, id), file);
    EnableWindow(GetDlgItem(dialog, IDC_CAP_NUMBER), file && Checked(dialog, IDC_CAP_INCREMENT));
}

// Shows the name the next capture would get.
void UpdatePreview(HWND dialog)
{
    char typed[16] = "", path[129] = "", extension[16] = "", preview[CAP_NameRoom];
    GetDlgItemTextA(dialog, IDC_CAP_NUMBER, typed, sizeof typed);
    LONG number;
    int digits;
    CAP_ReadNumber(typed, &number, &digits);
    GetDlgItemTextA(dialog, IDC_CAP_FILENAME, path, sizeof path);
    const char* mark = strrchr(path, '\\');
    FMT_GetExtension(SelectedRow(dialog), extension);
    CAP_FileName(mark ? mark + 1 : path, Checked(dialog, IDC_CAP_INCREMENT), number, digits, extension, 0, preview,
                 sizeof preview);
    SetDlgItemTextA(dialog, IDC_CAP_PREVIEW, preview);
}

// The formats that can save the display's colour mode, each with its row.
void FillFormats(HWND dialog)
{
    HWND list = GetDlgItem(dialog, IDC_CAP_FORMAT);
    const int mode = FMT_DepthIndex(MAI_ScreenBits());
    int selected = -1;
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        if (mode < 0 || !FMT_CanSave(row) || !FMT_GetCapability(row, mode) || FMT_IsSaveStub(row)) continue;
        char description[128];
        FMT_GetDescription(row, description);
        const LRESULT index = SendMessageA(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(description));
        SendMessageA(list, CB_SETITEMDATA, index, row);
    }
    // CB_ADDSTRING may sort: the selection is looked up again by row.
    for (LRESULT i = 0, n = SendMessageA(list, CB_GETCOUNT, 0, 0); i < n; i++)
        if (SendMessageA(list, CB_GETITEMDATA, i, 0) == static_cast<LRESULT>(cap_save_id))
            selected = static_cast<int>(i);
    if (selected < 0 && SendMessageA(list, CB_GETCOUNT, 0, 0) > 0) {
        selected = 0;
        cap_save_id = static_cast<DWORD>(SendMessageA(list, CB_GETITEMDATA, 0, 0));
    }
    SendMessageA(list, CB_SETCURSEL, selected, 0);
}

BOOL InitDialog(HWND dialog)
{
    const LONG destination = CAP_Mode & CAPD_MASK;
    CheckRadioButton(dialog, IDC_CAP_TOCLIPBOARD, IDC_CAP_TOWINDOW,
                     destination == CAPD_FILE        ? IDC_CAP_TOFILE
                     : destination == CAPD_CLIPBOARD ? IDC_CAP_TOCLIPBOARD
                                                     : IDC_CAP_TOWINDOW);
    CheckRadioButton(dialog, IDC_CAP_CONTENTS, IDC_CAP_WHOLEWINDOW,
                     cap_client ? IDC_CAP_CONTENTS : IDC_CAP_WHOLEWINDOW);
    CheckDlgButton(dialog, IDC_CAP_INCREMENT, cap_use_count ? BST_CHECKED : BST_UNCHECKED);
    char text[300];
    snprintf(text, sizeof text, "%.*ld", static_cast<int>(cap_file_num_len), static_cast<long>(cap_file_num));
    SetDlgItemTextA(dialog, IDC_CAP_NUMBER, text);
    if (cap_dir[0])
        snprintf(text, sizeof text, "%s\\%s", cap_dir, cap_file);
    else
        snprintf(text, sizeof text, "%s", cap_file);
    SendDlgItemMessageA(dialog, IDC_CAP_FILENAME, EM_LIMITTEXT, 128, 0);
    SetDlgItemTextA(dialog, IDC_CAP_FILENAME, text);
    FillFormats(dialog);
    EnableFileControls(dialog);
    for (UINT i = 0; i <= kLastKey - kFirstKey; i++) {
        char name[16] = "";
        LoadStringA(nullptr, kFirstKeyName + i, name, sizeof name);
        SendDlgItemMessageA(dialog, IDC_CAP_HOTKEY, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name));
    }
    SendDlgItemMessageA(dialog, IDC_CAP_HOTKEY, CB_SETCURSEL, SET_Value(SET_CAPTURE_KEY) - kFirstKey, 0);
    CheckDlgButton(dialog, IDC_CAP_ALT, SET_Value(SET_CAPTURE_KEY_ALT) ? BST_CHECKED : BST_UNCHECKED);
    CheckDlgButton(dialog, IDC_CAP_CTRL, SET_Value(SET_CAPTURE_KEY_CTRL) ? BST_CHECKED : BST_UNCHECKED);
    UpdatePreview(dialog);
    return TRUE;
}

// OK: a refused file name keeps the dialog open and changes nothing.
void Accept(HWND dialog)
{
    if (Checked(dialog, IDC_CAP_TOFILE)) {
        char path[129] = "";
        GetDlgItemTextA(dialog, IDC_CAP_FILENAME, path, sizeof path);
        char* mark = strrchr(path, '\\');
        const char* name = mark ? mark + 1 : path;
        if (!Checked(dialog, IDC_CAP_INCREMENT) && (!name[0] || name[0] == '.')) {
            MSG_Report(SEV_ERROR, kIllegalName);
            SetFocus(GetDlgItem(dialog, IDC_CAP_FILENAME));
            SendDlgItemMessageA(dialog, IDC_CAP_FILENAME, EM_SETSEL, 0, -1);
            return;
        }
        if (mark) {
            *mark = 0;
            lstrcpynA(cap_dir, path, sizeof cap_dir);
        }
        lstrcpynA(cap_file, name, sizeof cap_file);
    }
    cap_save_id = static_cast<DWORD>(SelectedRow(dialog));
    const LONG destination = Checked(dialog, IDC_CAP_TOCLIPBOARD) ? CAPD_CLIPBOARD
                             : Checked(dialog, IDC_CAP_TOFILE)    ? CAPD_FILE
                                                                  : CAPD_WINDOW;
    CAP_Mode = (CAP_Mode & 0xFF) | destination;
    cap_use_count = Checked(dialog, IDC_CAP_INCREMENT);
    char typed[16] = "";
    GetDlgItemTextA(dialog, IDC_CAP_NUMBER, typed, sizeof typed);
    int digits;
    CAP_ReadNumber(typed, &cap_file_num, &digits);
    cap_file_num_len = digits;
    cap_client = Checked(dialog, IDC_CAP_CONTENTS);
    const LRESULT key = SendDlgItemMessageA(dialog, IDC_CAP_HOTKEY, CB_GETCURSEL, 0, 0);
    if (key != CB_ERR) SET_Put(SET_CAPTURE_KEY, kFirstKey + static_cast<LONG>(key));
    SET_Put(SET_CAPTURE_KEY_ALT, Checked(dialog, IDC_CAP_ALT));
    SET_Put(SET_CAPTURE_KEY_CTRL, Checked(dialog, IDC_CAP_CTRL));
    for (int k : {SET_CAPTURE_KEY, SET_CAPTURE_KEY_ALT, SET_CAPTURE_KEY_CTRL}) SET_MarkChanged(k, 1);
    HPROFILE profile = PRF_OpenSection(kSection);
    PRF_SetString(profile, "cap_file", cap_file, lstrlenA(cap_file));
    PRF_SetString(profile, "cap_dir", cap_dir, lstrlenA(cap_dir));
    PRF_Close(profile);
    if (auto reset = Export<ResetHookKeyFn>("CAP_ResetHookKey")) reset(static_cast<UINT>(SET_Value(SET_CAPTURE_KEY)));
    BindModifiers();
    SET_Save();
    EndDialog(dialog, 1);
}

BOOL Command(HWND dialog, int id, int notification)
{
    switch (id) {
    case IDOK:
        Accept(dialog);
        return TRUE;
    case IDCANCEL:
        EndDialog(dialog, 0);
        return TRUE;
    case IDC_CAP_TOFILE:
    case IDC_CAP_TOCLIPBOARD:
    case IDC_CAP_TOWINDOW:
        CheckRadioButton(dialog, IDC_CAP_TOCLIPBOARD, IDC_CAP_TOWINDOW, id);
        EnableFileControls(dialog);
        return TRUE;
    case IDC_CAP_CONTENTS:
    case IDC_CAP_WHOLEWINDOW:
        CheckRadioButton(dialog, IDC_CAP_CONTENTS, IDC_CAP_WHOLEWINDOW, id);
        return TRUE;
    case IDC_CAP_INCREMENT:
        Toggle(dialog, id);
        EnableFileControls(dialog);
        UpdatePreview(dialog);
        return TRUE;
    case IDC_CAP_ALT:
    case IDC_CAP_CTRL:
        Toggle(dialog, id);
        return TRUE;
    case IDC_CAP_FILENAME:
    case IDC_CAP_NUMBER:
        if (notification == EN_CHANGE) UpdatePreview(dialog);
        return TRUE;
    case IDC_CAP_FORMAT:
        if (notification == CBN_SELCHANGE) UpdatePreview(dialog);
        return TRUE;
    }
    return FALSE;
}
}  // namespace

INT_PTR CALLBACK CAP_OptionsProc(HWND dialog, UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG:
        return InitDialog(dialog);
    case WM_COMMAND:
        return Command(dialog, LOWORD(wParam), HIWORD(wParam));
    }
    return FALSE;
}

void CAP_OptionsCommand(HWND frame)
{
    if (!cap_file[0] && LoadStringA(nullptr, kUntitled, cap_file, sizeof cap_file) <= 0) cap_file[0] = 0;
    const INT_PTR result =
        DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_CAPTURE_OPTIONS), frame, CAP_OptionsProc, 0);
    if (result <= 0) return;
    UTL_BeginWait();
    SET_Save();
    if (WriteKept()) {
        SET_Put(SET_CAPTURE_MODE, CAP_Mode);
        SET_MarkChanged(SET_CAPTURE_MODE, 1);
    }
    UTL_EndWait();
}

void CAP_LoadOptions()
{
    cap_save_id = static_cast<DWORD>(FMT_Row_DIB);
    CAP_Mode = SET_Value(SET_CAPTURE_MODE);
    HPROFILE profile = PRF_OpenSection(kSection);
    ReadName(profile, "cap_file", cap_file);
    ReadName(profile, "cap_dir", cap_dir);
    PRF_AddDefault(profile, "cap_save_all", 1);
    int saveAll = 1;
    PRF_GetInt(profile, "cap_save_all", &saveAll);
    if (saveAll) {
        int digits = 4, useCount = 0, client = 0;
        PRF_GetLong(profile, "cap_file_num", &cap_file_num);
        PRF_GetInt(profile, "cap_file_num_len", &digits);
        PRF_GetInt(profile, "cap_use_count", &useCount);
        PRF_GetInt(profile, "cap_client", &client);
        PRF_GetDword(profile, "cap_save_id", &cap_save_id);
        cap_file_num_len = digits < 1 ? 1 : digits > 8 ? 8 : digits;
        cap_use_count = useCount;
        cap_client = client;
    }
    PRF_Close(profile);
    // A row that is gone or can't save falls back to DIB.
    const int row = static_cast<int>(cap_save_id);
    if (row < 0 || row > FMT_LastIndex() || !FMT_CanSave(row)) cap_save_id = static_cast<DWORD>(FMT_Row_DIB);
    CAP_Mode = CAP_CheckedMode(CAP_Mode);
    // Exactly one destination bit.
    const LONG destination = CAP_Mode & CAPD_MASK;
    if (!destination || (destination & (destination - 1))) CAP_Mode = CAP_DefaultMode;
    CAP_CheckMenu(CAP_CommandOfMode(CAP_Mode));
    // Without the module the program runs on, silently, and nothing captures.
    hookModule = LoadLibraryA("CAPTURE.DLL");
    if (auto set = Export<SetHookProcFn>("CAP_SetHookProc"))
        set(MAI_Frame, static_cast<UINT>(SET_Value(SET_CAPTURE_KEY)));
    BindModifiers();
}

void CAP_UnloadOptions()
{
    WriteKept();
    if (auto unset = Export<UnsetHookProcFn>("CAP_UnsetHookProc")) unset();
    if (hookModule) FreeLibrary(hookModule);
    hookModule = nullptr;
}
