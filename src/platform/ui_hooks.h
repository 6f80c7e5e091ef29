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

// The screen's facts that files record or must match: dots per inch across
// and down, planes and bits per pixel. Headless: a 96-dpi, 1-plane, 32-bit
// screen, as a test display shows.
void UTL_ScreenFacts(int* dpiX, int* dpiY, int* planes, int* bitsPixel);
struct IconEntry;
// The icon chooser ("Icon Types/Sizes" opened for loading): lists the entries
// of an icon file and returns the list position taken, -1 on Cancel or for an
// empty list; *mask gets the state of the box "Load icon mask to create
// 32-bit image" at OK. Headless: a scripted answer, else the batch's pick.
int UTL_ChooseIconEntry(const IconEntry* entries, int count, int* mask);
// The icon type chooser (the same dialog opened for saving): starts on type
// code start and returns the code taken, 0 on Cancel. *alpha: the alpha box's
// start state in, which can only be changed when it starts on; its state out.
// Headless: a scripted answer, else start.
int UTL_ChooseIconType(int start, int* alpha);
