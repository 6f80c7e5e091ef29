// The Last Files list. The menu resource carries the popup with its "None"
// entry; the list itself comes with the open path's record of opened files.
#include "core/last_files.h"

HMENU FIL_LastFilesMenu;

void FIL_CreateLastFilesMenu() {}

void FIL_DestroyLastFilesMenu()
{
    if (FIL_LastFilesMenu) DestroyMenu(FIL_LastFilesMenu);
    FIL_LastFilesMenu = nullptr;
}

int FIL_LastFileCommand(HWND, WPARAM, LPARAM) { return 0; }
