// The window-side DIB operations the image record and the logo need: a
// palette for a DIB, a device bitmap for the screen, drawing of a device
// bitmap. DIB_Paint, the drawing of a DIB without a bitmap, is declared in
// platform/dib_paint.h.
#pragma once

#include "platform/win32.h"

// A palette with the colour table of a DIB of 8 bits or fewer; 0 for deeper
// DIBs, which need none, and when the palette can't be made.
HPALETTE DIB_CreatePalette(HGLOBAL dib);
// The same from a packed DIB in memory that need not be a handle (a resource).
HPALETTE DIB_PaletteFromPacked(const void* packed);
// A device bitmap of the screen's format with the DIB's pixels, drawn with the
// palette (may be 0); colorMatch 1 converts colours by halftone, alphaDisplay
// says how the fourth byte of a 32-bit DIB shows. 0 when it can't be made.
HBITMAP DIB_ToBitmap(HGLOBAL dib, HPALETTE palette, int reserved, int colorMatch, int alphaDisplay);
// Draws a device bitmap at x, y with a raster operation.
void DIB_Draw(HDC dc, int x, int y, HBITMAP bitmap, DWORD rop);
