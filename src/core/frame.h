// The frame window: its procedure, the MDI client and the menu commands.
#pragma once

#include "platform/win32.h"

// The popups at positions 0, 1, 3 and 4 of the menu bar, cached at start-up.
extern HMENU MAI_FileMenu;
extern HMENU MAI_EditMenu;
extern HMENU MAI_ColorsMenu;
extern HMENU MAI_WindowMenu;

// Window procedure of the FrameClass window.
LRESULT CALLBACK MPFrameWndProc(HWND frame, UINT message, WPARAM wParam, LPARAM lParam);

// WM_CREATE: makes the MDI client, shows it and accepts dropped files; result 0.
LRESULT MAI_CreateClient(HWND frame, const CREATESTRUCTA* create);

// WM_COMMAND: runs a menu or accelerator command; unknown ids go to DefFrameProcA,
// which serves the window list of the client.
LRESULT MAI_Command(HWND frame, WPARAM wParam, LPARAM lParam);

// Keeps the handles of the File, Edit, Colors and Window popups.
void MAI_CacheMenus(HWND frame);

// 1 when every image window agrees to close (at once with Shift held), else 0.
int MAI_QueryCloseAll();
