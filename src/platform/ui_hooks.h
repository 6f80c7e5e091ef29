// The few operations through which portable code reaches the user. The Win32
// program implements them beside its window code; kvconvert and the native
// tests link the headless versions in src/cli/.
#pragma once

#include "platform/win32.h"

// Shows a message box (or answers it headlessly); returns the button id.
int UTL_MessageBox(HWND owner, LPCSTR text, LPCSTR caption, UINT flags);

// Serves pending input inside a long loop; 0 means the user asked to stop.
int UTL_Yield();

// The depth (`bits`) of the active image window, 0 when there is none. The
// program reads the window's record; headless builds answer for the document
// being converted (HDL_SetActiveBits).
int UTL_ActiveImageBits();
