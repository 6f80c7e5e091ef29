// The clipboard's side of an image record's objects.
#include "edit/clipboard.h"

HGLOBAL CBD_PendingDIB;
HBITMAP CBD_PendingBitmap;
HPALETTE CBD_PendingPalette;

void CBD_ReleaseObjects(HWND window, HGLOBAL dib, HBITMAP bitmap, HPALETTE palette)
{
    const bool dibOffered = dib && dib == CBD_PendingDIB;
    const bool bitmapOffered = bitmap && bitmap == CBD_PendingBitmap;
    const bool paletteOffered = palette && palette == CBD_PendingPalette;
    // Emptying drops the formats that are not handed over here.
    bool open = false;
    if (dibOffered || bitmapOffered || paletteOffered) {
        open = OpenClipboard(window) != 0;
        if (open) EmptyClipboard();
    }
    if (dibOffered && open) {
        SetClipboardData(CF_DIB, dib);
        CBD_PendingDIB = nullptr;
    } else if (dib) {
        GlobalFree(dib);
    }
    if (bitmapOffered && open) {
        SetClipboardData(CF_BITMAP, bitmap);
        CBD_PendingBitmap = nullptr;
    } else if (bitmap) {
        DeleteObject(bitmap);
    }
    if (paletteOffered && open) {
        SetClipboardData(CF_PALETTE, palette);
        CBD_PendingPalette = nullptr;
    } else if (palette) {
        DeleteObject(palette);
    }
    if (open) CloseClipboard();
}
