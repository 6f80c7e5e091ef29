// The Image Information dialog of the File menu.
#pragma once

#include "platform/win32.h"

// Shows the facts of image window `window` in a modal dialog over frame;
// 0 (and nothing shown) when the window holds no image.
int DIS_ImageInfo(HWND frame, HWND window);
INT_PTR CALLBACK DIS_ImageInfoProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
