// Operations on packed DIBs: one moveable block holding a 40-byte header, its
// colour table and its pixels, rows bottom-up and padded to 32 bits. An
// operation that returns a new DIB leaves the source alone; null means memory
// was short, and nothing is reported here.
#pragma once

#include "platform/win32.h"

// Entries of the colour table: biClrUsed when set, else by depth, 0 above 8 bits.
WORD DIB_NumColors(const BITMAPINFOHEADER* header);
// Bytes of the colour table; the pixels begin at biSize plus this.
WORD DIB_PaletteSize(const BITMAPINFOHEADER* header);
// Colours of a depth as a new header's biClrUsed: 2, 16, 256, 0 above 8 bits.
DWORD DIB_ColorsForBits(int bits);
// Copies the 40 header bytes out.
void DIB_GetInfo(HGLOBAL dib, BITMAPINFOHEADER* header);
// Locks the block and points at header, colour table and pixels; the caller
// ends with GlobalUnlock. Returns the header pointer, null on failure.
BITMAPINFOHEADER* DIB_Lock(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels);
