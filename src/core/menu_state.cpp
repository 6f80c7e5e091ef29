// The menu states that follow the active image, the menu help line in the
// status bar, Close All, and the combo box hooks for extension modules.
#include "core/menu_state.h"

#include "colour/conversions.h"
#include "controls/status.h"
#include "core/app.h"
#include "core/frame.h"
#include "core/image_record.h"
#include "core/image_window.h"

#include <vector>

#include "korvanta_ids.h"
#include "menu_ids.h"

namespace {
// The depth each of the Colors popup's submenus stands for, at positions 3 to 8.
const int kSubmenuDepths[6] = {1, 4, 8, 16, 24, 32};
const int kFirstSubmenu = 3;
const int kLastColorsPosition = 8;
// Windows of this class, which a module may create, survive Close All.
const char kBrowseClass[] = "BrowseClass";

// The state of the active image as the menus see it.
struct ActiveState {
    HWND window;     // 0 without an active window
    HGLOBAL dib;     // 0 without an image
    bool media;      // an animation, wave or MIDI document
    bool color;      // IF_COLOR
    int bits;        // the depth the document claims
    bool undo;       // an undo record holding a DIB
};

ActiveState ReadActive()
{
    ActiveState state{};
    HWND active = MAI_Active;
    if (!active || !IsWindow(active)) return state;
    state.window = active;
    const ImageRecord* record = IMG_GetRecord(active);
    if (!record) return state;
    state.dib = record->hDIB;
    state.media = (record->flags & IF_MEDIA) != 0;
    state.color = (record->flags & IF_COLOR) != 0;
    state.bits = static_cast<int>(record->bits);
    state.undo = IMG_HasUndo(active) != 0;
    return state;
}

void Enable(HMENU menu, UINT id, bool on) { EnableMenuItem(menu, id, MF_BYCOMMAND | (on ? MF_ENABLED : MF_GRAYED)); }
void Check(HMENU menu, UINT item, UINT by, bool on) { CheckMenuItem(menu, item, by | (on ? MF_CHECKED : MF_UNCHECKED)); }

// Which image formats the clipboard offers, by walking its formats.
void ClipboardOffers(bool* image, bool* palette)
{
    *image = *palette = false;
    if (!OpenClipboard(MAI_Frame)) return;
    for (UINT format = EnumClipboardFormats(0); format; format = EnumClipboardFormats(format)) {
        if (format == CF_DIB || format == CF_BITMAP) *image = true;
        if (format == CF_PALETTE) *palette = true;
    }
    CloseClipboard();
}

void UpdateFile(HMENU menu, const ActiveState& a)
{
    const bool image = a.dib && !a.media;
    Enable(menu, IDM_CLOSE, a.window != nullptr);
    Enable(menu, IDM_SAVE, image);
    Enable(menu, IDM_PRINT, image);
    Enable(menu, IDM_IMAGEINFO, image);
    Enable(menu, IDM_SAVEAS, a.media || a.dib);
}

void UpdateEdit(HMENU menu, const ActiveState& a)
{
    bool image = false, palette = false;
    if (a.window && !a.media) ClipboardOffers(&image, &palette);
    const bool pixels = a.window && a.dib && !a.media;
    Enable(menu, IDM_UNDO, a.window && !a.media && a.undo);
    Enable(menu, IDM_CUT, pixels);
    Enable(menu, IDM_COPY, pixels);
    Enable(menu, IDM_DELETE, pixels);
    Enable(menu, IDM_PASTE, a.window && !a.media && image);
    Enable(menu, IDM_PASTEPALETTE, pixels && palette);
}

void UpdateColors(HMENU menu, const ActiveState& a)
{
    for (int position = 0; position <= kLastColorsPosition; position++)
        EnableMenuItem(menu, position, MF_BYPOSITION | (a.dib ? MF_ENABLED : MF_GRAYED));
    if (!a.dib) return;
    Check(menu, IDM_COLOR, MF_BYCOMMAND, a.color);
    Check(menu, IDM_GRAY, MF_BYCOMMAND, !a.color);
    for (int i = 0; i < 6; i++) {
        Check(menu, kFirstSubmenu + i, MF_BYPOSITION, a.bits == kSubmenuDepths[i]);
        // The entries of the submenu follow the limits of the colour engine.
        HMENU submenu = GetSubMenu(menu, kFirstSubmenu + i);
        const int count = submenu ? GetMenuItemCount(submenu) : 0;
        for (int item = 0; item < count; item++) {
            const UINT id = GetMenuItemID(submenu, item);
            if (id != 0 && id != static_cast<UINT>(-1)) Enable(submenu, id, CLR_CommandEnabled(id, a.bits) != 0);
        }
    }
}

void UpdateWindowMenu(HMENU menu)
{
    for (UINT id : {IDM_TILE, IDM_CASCADE, IDM_ARRANGE, IDM_CLOSEALL}) Enable(menu, id, true);
}

// The image windows of the client that Close All may destroy.
std::vector<HWND> ClosableChildren()
{
    std::vector<HWND> children;
    for (HWND child = GetWindow(MAI_Client, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        if (!IsWindowVisible(child) || GetWindow(child, GW_OWNER)) continue;
        char name[32] = "";
        GetClassNameA(child, name, sizeof name);
        if (lstrcmpA(name, kBrowseClass) == 0) continue;
        children.push_back(child);
    }
    return children;
}

// ---- combo boxes ---------------------------------------------------------------------

const char kComboProp[] = "MAI_ComboProc";
const char kListProp[] = "MAI_ListProc";

bool Forbidden(HWND combo, LRESULT index)
{
    if (index < 0) return false;
    const LRESULT data = SendMessageA(combo, CB_GETITEMDATA, static_cast<WPARAM>(index), 0);
    return data != CB_ERR && HIWORD(static_cast<DWORD>(data)) != 0;
}

WNDPROC OldProc(HWND window, const char* prop) { return reinterpret_cast<WNDPROC>(GetPropA(window, prop)); }

LRESULT CallOld(HWND window, const char* prop, UINT message, WPARAM wParam, LPARAM lParam)
{
    WNDPROC old = OldProc(window, prop);
    return old ? CallWindowProcA(old, window, message, wParam, lParam) : DefWindowProcA(window, message, wParam, lParam);
}

// The combo box whose list window is list.
HWND ComboOfList(HWND list)
{
    return reinterpret_cast<HWND>(GetPropA(list, "MAI_ListCombo"));
}

bool IsListOf(HWND window, HWND combo)
{
    char name[32] = "";
    GetClassNameA(window, name, sizeof name);
    if (lstrcmpA(name, "ComboLBox") != 0) return false;
    COMBOBOXINFO info{};
    info.cbSize = sizeof info;
    if (GetComboBoxInfo(combo, &info) && info.hwndList) return info.hwndList == window;
    return GetWindow(window, GW_OWNER) == GetParent(combo);
}
}  // namespace

void MAI_CacheMenus(HWND frame)
{
    HMENU bar = GetMenu(frame);
    MAI_FileMenu = GetSubMenu(bar, MENUPOS_FILE);
    MAI_EditMenu = GetSubMenu(bar, MENUPOS_EDIT);
    MAI_ColorsMenu = GetSubMenu(bar, MENUPOS_COLORS);
    MAI_WindowMenu = GetSubMenu(bar, MENUPOS_WINDOW);
}

int MAI_QueryCloseAll()
{
    // Shift held closes without asking.
    if (GetAsyncKeyState(VK_SHIFT) < 0) return 1;
    for (HWND child = GetWindow(MAI_Client, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        // Icon titles have an owner and are skipped.
        if (GetWindow(child, GW_OWNER)) continue;
        // A child answers in the reversed sense: non-zero refuses.
        if (SendMessageA(child, WM_QUERYENDSESSION, 0, 0)) return 0;
    }
    return 1;
}

void MAI_UpdateMenu(HMENU popup)
{
    if (!popup) return;
    const ActiveState active = ReadActive();
    if (popup == MAI_FileMenu)
        UpdateFile(popup, active);
    else if (popup == MAI_EditMenu)
        UpdateEdit(popup, active);
    else if (popup == MAI_ColorsMenu)
        UpdateColors(popup, active);
    else if (popup == MAI_WindowMenu)
        UpdateWindowMenu(popup);
}

void MAI_MenuSelect(HWND frame, HMENU menu, UINT item, HMENU popup, UINT flags)
{
    if (flags == 0xFFFF) {
        STA_ShowMemory();
        return;
    }
    if (popup)
        STA_ShowPopupHelp(popup);
    else if (item)
        STA_ShowCommandHelp(item);
}

void MAI_CloseAll()
{
    for (HWND child : ClosableChildren()) SendMessageA(MAI_Client, WM_MDIDESTROY, reinterpret_cast<WPARAM>(child), 0);
}

void MAI_CloseAllCommand()
{
    if (!MAI_QueryCloseAll()) return;
    STA_Lock();
    MAI_CloseAll();
    STA_Unlock();
}

LRESULT CALLBACK MAI_NewComboProc(HWND combo, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_KEYDOWN && (wParam == VK_UP || wParam == VK_DOWN || wParam == VK_LEFT || wParam == VK_RIGHT)) {
        const int step = (wParam == VK_UP || wParam == VK_LEFT) ? -1 : 1;
        const LRESULT count = SendMessageA(combo, CB_GETCOUNT, 0, 0);
        LRESULT index = SendMessageA(combo, CB_GETCURSEL, 0, 0);
        // Step until an item that may be selected; none up to the end ignores the key.
        for (index += step; index >= 0 && index < count; index += step) {
            if (!Forbidden(combo, index)) {
                SendMessageA(combo, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
                SendMessageA(GetParent(combo), WM_COMMAND,
                             MAKEWPARAM(GetDlgCtrlID(combo), CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
                return 0;
            }
        }
        return 0;
    }
    if (message == WM_NCDESTROY) {
        const LRESULT result = CallOld(combo, kComboProp, message, wParam, lParam);
        RemovePropA(combo, kComboProp);
        return result;
    }
    return CallOld(combo, kComboProp, message, wParam, lParam);
}

LRESULT CALLBACK MAI_NewLComboProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_MOUSEMOVE || message == WM_LBUTTONDOWN) {
        const LRESULT hit = SendMessageA(list, LB_ITEMFROMPOINT, 0, lParam);
        // The high word tells that the point lies outside the items.
        if (HIWORD(static_cast<DWORD>(hit)) == 0 && Forbidden(ComboOfList(list), LOWORD(static_cast<DWORD>(hit))))
            return 0;
    }
    if (message == WM_NCDESTROY) {
        const LRESULT result = CallOld(list, kListProp, message, wParam, lParam);
        RemovePropA(list, kListProp);
        RemovePropA(list, "MAI_ListCombo");
        return result;
    }
    return CallOld(list, kListProp, message, wParam, lParam);
}

BOOL CALLBACK MAI_HookLComboEnumProc(HWND window, LPARAM lParam)
{
    HWND combo = reinterpret_cast<HWND>(lParam);
    if (!IsListOf(window, combo) || GetPropA(window, kListProp)) return TRUE;
    SetPropA(window, "MAI_ListCombo", combo);
    const LONG_PTR old =
        SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(MAI_NewLComboProc));
    SetPropA(window, kListProp, reinterpret_cast<HANDLE>(old));
    return FALSE;
}

BOOL CALLBACK MAI_UnHookLComboEnumProc(HWND window, LPARAM lParam)
{
    HWND combo = reinterpret_cast<HWND>(lParam);
    if (!IsListOf(window, combo) || !GetPropA(window, kListProp)) return TRUE;
    SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(GetPropA(window, kListProp)));
    RemovePropA(window, kListProp);
    RemovePropA(window, "MAI_ListCombo");
    return FALSE;
}

void MAI_HookCombo(HWND combo)
{
    if (!combo || GetPropA(combo, kComboProp)) return;
    const LONG_PTR old = SetWindowLongPtrA(combo, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(MAI_NewComboProc));
    SetPropA(combo, kComboProp, reinterpret_cast<HANDLE>(old));
    EnumWindows(MAI_HookLComboEnumProc, reinterpret_cast<LPARAM>(combo));
}

void MAI_UnhookCombo(HWND combo)
{
    if (!combo || !GetPropA(combo, kComboProp)) return;
    SetWindowLongPtrA(combo, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(GetPropA(combo, kComboProp)));
    RemovePropA(combo, kComboProp);
    EnumWindows(MAI_UnHookLComboEnumProc, reinterpret_cast<LPARAM>(combo));
}
