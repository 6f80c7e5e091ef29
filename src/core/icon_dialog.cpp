// Dialog 309, "Icon Types/Sizes": the choice of one image of an icon file when
// the ICO row loads, and of the type of the icon it writes when it saves.
#include "core/app.h"
#include "formats/ico.h"
#include "icon_dialog_ids.h"
#include "platform/ui_hooks.h"

#include <memory>
#include <new>

namespace {

const char kAlphaText[] = "Use alpha channel to create icon mask";

struct IconChoice {
    const IconEntry* entries;  // loading: the directory; null when saving
    int count;
    int start;  // saving: the type code selected first
    int box;    // the check box: its start when saving, its state at OK
};

void InitDialog(HWND dialog, IconChoice* c)
{
    HWND list = GetDlgItem(dialog, IDC_ICON_LIST);
    if (c->entries) {
        std::unique_ptr<char[][32]> lines(new (std::nothrow) char[c->count + 1][32]);
        const int n = lines ? ICO_ListLines(c->entries, c->count, lines.get()) : 0;
        if (n == 0) {
            EndDialog(dialog, -1);
            return;
        }
        for (int i = 0; i < n; i++) SendMessageA(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(lines[i]));
        SendMessageA(list, LB_SETCURSEL, 0, 0);
        CheckDlgButton(dialog, IDC_ICON_BOX, BST_CHECKED);
        return;
    }
    for (int i = 0; i < ICO_TypeCount; i++) {
        SendMessageA(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(ICO_TypeText(ICO_TypeCodes[i])));
        if (ICO_TypeCodes[i] == c->start) SendMessageA(list, LB_SETCURSEL, static_cast<WPARAM>(i), 0);
    }
    SetDlgItemTextA(dialog, IDC_ICON_BOX, kAlphaText);
    CheckDlgButton(dialog, IDC_ICON_BOX, c->box ? BST_CHECKED : BST_UNCHECKED);
    EnableWindow(GetDlgItem(dialog, IDC_ICON_BOX), c->box);
}

INT_PTR CALLBACK ICO_TypesProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* c = reinterpret_cast<IconChoice*>(GetWindowLongPtrA(dialog, DWLP_USER));
    switch (message) {
    case WM_INITDIALOG:
        SetWindowLongPtrA(dialog, DWLP_USER, lParam);
        InitDialog(dialog, reinterpret_cast<IconChoice*>(lParam));
        return TRUE;
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case IDC_ICON_LIST:
            if (HIWORD(wParam) != LBN_DBLCLK) break;
            [[fallthrough]];
        case IDOK: {
            const LRESULT at = SendDlgItemMessageA(dialog, IDC_ICON_LIST, LB_GETCURSEL, 0, 0);
            if (at == LB_ERR) return TRUE;
            c->box = IsDlgButtonChecked(dialog, IDC_ICON_BOX) == BST_CHECKED;
            EndDialog(dialog, c->entries ? at : ICO_TypeCodes[at]);
            return TRUE;
        }
        case IDCANCEL:
            EndDialog(dialog, c->entries ? -1 : 0);
            return TRUE;
        }
        break;
    }
    return FALSE;
}

INT_PTR Show(IconChoice* c)
{
    return DialogBoxParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_ICON_TYPES), MAI_Frame, ICO_TypesProc,
                           reinterpret_cast<LPARAM>(c));
}

}  // namespace

int UTL_ChooseIconEntry(const IconEntry* entries, int count, int* mask)
{
    IconChoice c = {entries, count, 0, *mask};
    const INT_PTR at = Show(&c);
    if (at < 0) return -1;
    *mask = c.box;
    return static_cast<int>(at);
}

int UTL_ChooseIconType(int start, int* alpha)
{
    IconChoice c = {nullptr, 0, start, *alpha};
    const INT_PTR code = Show(&c);
    if (code <= 0) return 0;
    *alpha = c.box;
    return static_cast<int>(code);
}
