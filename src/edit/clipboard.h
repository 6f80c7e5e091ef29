// The clipboard: Copy offers an image window's DIB, bitmap and palette by
// delayed rendering, and the three offered handles are remembered here until
// they are rendered or handed over.
#pragma once

#include "platform/win32.h"

// The record's own handles offered as CF_DIB, CF_BITMAP and CF_PALETTE; 0
// when rendered or when nothing is pending.
extern HGLOBAL CBD_PendingDIB;
extern HBITMAP CBD_PendingBitmap;
extern HPALETTE CBD_PendingPalette;

// Gives up a record's DIB, bitmap and palette: an object still offered on the
// clipboard is handed to it (the clipboard then owns it and its pending word
// becomes 0); every other non-zero object is freed.
void CBD_ReleaseObjects(HWND window, HGLOBAL dib, HBITMAP bitmap, HPALETTE palette);
