// The Last Files list: the popup under File's item 272 with the recently
// opened files from the profile store.
#pragma once

#include "platform/win32.h"

// The Last Files popup, 0 before it is made.
extern HMENU FIL_LastFilesMenu;

// At start-up: makes the popup, builds it and attaches it to item 272.
void FIL_CreateLastFilesMenu();
// At frame destruction: destroys the popup.
void FIL_DestroyLastFilesMenu();
// Sees each frame command first; 2 when it was a Last Files entry and is done.
int FIL_LastFileCommand(HWND frame, WPARAM wParam, LPARAM lParam);
