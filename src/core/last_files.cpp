// The Last Files popup under File's item 272: one entry per file of the
// list, numbered in the order shown, with the command id of its slot; the
// disabled "None" while the list is empty.
#include "core/last_files.h"

#include "core/app.h"
#include "core/frame.h"
#include "core/open_save.h"
#include "core/recent_files.h"

#include "menu_ids.h"

HMENU FIL_LastFilesMenu;

namespace {
const UINT kNone = 1345;  // "None"

// Writes an entry at position: rewritten within the popup's old length, inserted beyond it.
void PutEntry(int position, int oldCount, UINT id, LPCSTR text, bool enabled)
{
    MENUITEMINFOA info{};
    info.cbSize = sizeof info;
    info.fMask = MIIM_ID | MIIM_STRING | MIIM_STATE | MIIM_FTYPE;
    info.fType = MFT_STRING;
    info.fState = enabled ? MFS_ENABLED : MFS_GRAYED;
    info.wID = id;
    info.dwTypeData = const_cast<LPSTR>(text);
    if (position < oldCount)
        SetMenuItemInfoA(FIL_LastFilesMenu, static_cast<UINT>(position), TRUE, &info);
    else
        InsertMenuItemA(FIL_LastFilesMenu, static_cast<UINT>(position), TRUE, &info);
}
}  // namespace

void FIL_BuildLastFilesMenu()
{
    if (!FIL_LastFilesMenu) return;
    const int oldCount = GetMenuItemCount(FIL_LastFilesMenu);
    int shown = 0;
    for (int slot = 1; slot <= FIL_LastFileCount; slot++) {
        char name[FIL_NameRoom];
        FIL_GetLastFile(slot, name, sizeof name);
        if (!name[0]) continue;
        // Labels count 1, 2, 3 while the ids keep the slot, holes and all.
        char label[FIL_NameRoom + 16];
        FIL_LastFileLabel(shown + 1, name, label, sizeof label);
        PutEntry(shown, oldCount, IDM_LASTFILE_FIRST + slot - 1, label, true);
        shown++;
    }
    if (!shown) {
        char none[32] = "";
        LoadStringA(MAI_Instance, kNone, none, sizeof none);
        PutEntry(0, oldCount, 0, none, false);
    }
}

void FIL_CreateLastFilesMenu()
{
    if (!MAI_FileMenu) return;
    // The File menu's entry 272, found by position: its id is also a popup's.
    const int count = GetMenuItemCount(MAI_FileMenu);
    int position = -1;
    MENUITEMINFOA old{};
    for (int i = 0; i < count && position < 0; i++) {
        old.cbSize = sizeof old;
        old.fMask = MIIM_ID | MIIM_SUBMENU;
        if (GetMenuItemInfoA(MAI_FileMenu, static_cast<UINT>(i), TRUE, &old) && old.wID == IDM_LASTFILES) position = i;
    }
    if (position < 0) return;
    HMENU popup = CreatePopupMenu();
    if (!popup) return;
    FIL_LastFilesMenu = popup;
    FIL_BuildLastFilesMenu();
    // The new popup takes the place of the one the menu resource brought.
    MENUITEMINFOA info{};
    info.cbSize = sizeof info;
    info.fMask = MIIM_SUBMENU;
    info.hSubMenu = popup;
    if (!SetMenuItemInfoA(MAI_FileMenu, static_cast<UINT>(position), TRUE, &info)) {
        DestroyMenu(popup);
        FIL_LastFilesMenu = nullptr;
        return;
    }
    if (old.hSubMenu && old.hSubMenu != popup) DestroyMenu(old.hSubMenu);
}

void FIL_DestroyLastFilesMenu()
{
    // The popup belongs to the menu bar, which destroys it with the frame.
    FIL_LastFilesMenu = nullptr;
}

int FIL_LastFileCommand(HWND frame, WPARAM wParam, LPARAM)
{
    const UINT id = LOWORD(wParam);
    if (id == IDM_LASTFILES) return 1;
    if (id < IDM_LASTFILE_FIRST || id > IDM_LASTFILE_FIRST + 9) return 0;
    char name[FIL_NameRoom];
    FIL_GetLastFile(static_cast<int>(id) - IDM_LASTFILES, name, sizeof name);
    if (name[0]) FIL_OpenDocument(frame, name, 0);
    return 2;
}
