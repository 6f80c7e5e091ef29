// The Edit menu: one-step undo, and the clipboard. Copy offers an image
// window's DIB, bitmap and palette by delayed rendering, and the three offered
// handles are remembered here until they are rendered or handed over.
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

// WM_RENDERFORMAT: puts a copy of the offered object of format on the
// clipboard, which another program's read has opened already.
void CBD_Render(HWND window, UINT format);
// WM_DESTROYCLIPBOARD: another owner took the clipboard, nothing is pending.
void CBD_Forget();

// The commands, on an image window with a record. Copy, Cut, Delete and Paste
// Palette need its DIB.
void CBD_Copy(HWND window);
void CBD_Cut(HWND window);
void CBD_Delete(HWND window);
// Replaces the window's image with the clipboard's (a DIB before a bitmap).
// 1 when it did; 0 when there was nothing to paste or memory ran out.
int CBD_Paste(HWND window);
// A new uncompressed DIB from what the clipboard offers, or 0 (the clipboard
// must be open; 8203 reported when memory ran out, nothing when none is offered).
HGLOBAL CBD_ReadImage();
void CBD_PastePalette(HWND window);
// The DIB's pixels re-expressed in the palette's colours (8 bits above 16
// entries, 1 below 3, else 4) through the palette dither; a new DIB, or 0
// after its report.
HGLOBAL CBD_MapToPalette(HGLOBAL dib, HPALETTE palette);

// Undo: exchanges the window's current and undo records and fits the window.
void UND_Undo(HWND window);
