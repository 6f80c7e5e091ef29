// Drawing of a DIB straight to a device context (Windows only). Declared
// here for the Settings dialog's hand-over; implemented beside the other
// window-side DIB operations.
#pragma once

#include "platform/win32.h"

// Draws a DIB at 0, 0 without a device bitmap. Called with a null device
// context, DIB and palette it draws nothing and takes colorMatch (0 best
// match, 1 halftone) and alphaDisplay (0 to 3) as its new defaults.
void DIB_Paint(HDC dc, HGLOBAL dib, HPALETTE palette, int colorMatch, int alphaDisplay);
