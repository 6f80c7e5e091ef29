// The program's side of the user-interface utilities: the wait cursor.
// (UTL_MessageBox, UTL_Yield and UTL_ActiveImageBits are declared in
// platform/ui_hooks.h; this program implements them in utilities.cpp.)
#pragma once

#include "platform/win32.h"

#include <string>

// IDC_WAIT, loaded at start-up, and the cursor UTL_BeginWait replaced.
extern HCURSOR MSG_WaitCursor;
extern HCURSOR MSG_SavedCursor;

// Loads the wait cursor (start-up).
void MSG_LoadWaitCursor();
// Shows the wait cursor, keeping the old one; not nesting: a second begin
// overwrites the kept cursor.
void UTL_BeginWait();
// Puts the kept cursor back.
void UTL_EndWait();

// A window's whole text, however long. An image window's title is its
// file's path, which is never cut: it would name some other file.
std::string UTL_WindowText(HWND hwnd);

// Tidies a list box just filled with a directory listing (DlgDirListA,
// LB_DIR): the "[.]" entry, which names the folder itself, goes.
void UTL_FixDirList(HWND dialog, int listId);
// The window's rectangle in the coordinates of its parent's client area; 0
// when the window has none.
int UTL_ChildRect(HWND window, RECT* rect);
// Paints a sunken, framed well filled with the brush, and leaves rect as the
// well's inner rectangle (for a progress bar).
void UTL_DrawWell(HDC dc, RECT* rect, HBRUSH brush);
// Leaves rect as the inner rectangle of a well, painting nothing.
void UTL_WellRect(RECT* rect);
