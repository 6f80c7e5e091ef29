// The Last Files list: the popup under File's item 272 with the recently
// opened files from the profile store.
#pragma once

#include "platform/win32.h"

// The Last Files popup, 0 before it is made.
extern HMENU FIL_LastFilesMenu;

// At start-up: makes the popup, builds it and attaches it to item 272.
void FIL_CreateLastFilesMenu();
// Rewrites the popup's entries from the list: "&1. NAME.EXT" and so on with
// the slot's command id (273 for the first slot), or the disabled "None".
void FIL_BuildLastFilesMenu();
// At frame destruction: forgets the popup, which goes with the menu bar.
void FIL_DestroyLastFilesMenu();
// Sees each frame command first: an entry (273 up) opens its file and gives
// 2, the popup's own id 272 gives 1, any other 0.
int FIL_LastFileCommand(HWND frame, WPARAM wParam, LPARAM lParam);
