// The image record on its window: the accessors, the copies of the record's
// objects, the screen objects built from a DIB, the replacement of the image
// and the tear-down.
#include "core/image_record.h"

#include "colour/conversions.h"
#include "controls/status.h"
#include "core/app.h"
#include "core/extensions.h"
#include "core/gdi_helpers.h"
#include "core/image_window.h"
#include "core/messages.h"
#include "core/settings.h"
#include "edit/clipboard.h"
#include "platform/dib.h"
#include "platform/jpeg.h"

#include <new>

// ---- window words -----------------------------------------------------------------

ImageRecord* IMG_GetRecord(HWND hwnd)
{
    return reinterpret_cast<ImageRecord*>(GetWindowLongPtrA(hwnd, IMG_WORD_RECORD));
}

ImageRecord* IMG_GetUndoRecord(HWND hwnd)
{
    return reinterpret_cast<ImageRecord*>(GetWindowLongPtrA(hwnd, IMG_WORD_UNDO));
}

void IMG_PutRecord(HWND hwnd, ImageRecord* record)
{
    SetWindowLongPtrA(hwnd, IMG_WORD_RECORD, reinterpret_cast<LONG_PTR>(record));
}

void IMG_PutUndoRecord(HWND hwnd, ImageRecord* record)
{
    SetWindowLongPtrA(hwnd, IMG_WORD_UNDO, reinterpret_cast<LONG_PTR>(record));
}

// ---- accessors ----------------------------------------------------------------------

LONG_PTR IMG_GetAttr(HWND hwnd, int attribute)
{
    return IMG_RecordGet(IMG_GetRecord(hwnd), attribute);
}

void IMG_SetAttr(HWND hwnd, int attribute, LONG_PTR value)
{
    IMG_RecordSet(IMG_GetRecord(hwnd), attribute, value);
    STA_Update(0);
}

int IMG_TestFlag(HWND hwnd, DWORD mask)
{
    return (IMG_GetRecord(hwnd)->flags & mask) ? 1 : 0;
}

void IMG_SetFlag(HWND hwnd, DWORD mask, int on)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    // Only the value 1 sets; every other value clears.
    if (on == 1)
        record->flags |= mask;
    else
        record->flags &= ~mask;
    STA_Update(0);
}

int IMG_GetFormat(HWND hwnd) { return IMG_GetRecord(hwnd)->format; }

void IMG_SetFormat(HWND hwnd, int row)
{
    IMG_GetRecord(hwnd)->format = row;
    STA_Update(0);
}

HGLOBAL IMG_GetDIB(HWND hwnd) { return IMG_GetRecord(hwnd)->hDIB; }
HBITMAP IMG_GetBitmap(HWND hwnd) { return IMG_GetRecord(hwnd)->hBitmap; }
HPALETTE IMG_GetPalette(HWND hwnd) { return IMG_GetRecord(hwnd)->hPalette; }

HGLOBAL IMG_CopyDIB(HWND hwnd) { return MEM_CopyBlock(IMG_GetDIB(hwnd)); }

HBITMAP IMG_CopyBitmap(HWND hwnd)
{
    HBITMAP bitmap = IMG_GetBitmap(hwnd);
    return bitmap ? GDI_CopyBitmap(bitmap) : nullptr;
}

HPALETTE IMG_CopyPalette(HWND hwnd) { return GDI_CopyPalette(IMG_GetPalette(hwnd)); }

// ---- copies of GDI objects ------------------------------------------------------------

HPALETTE GDI_CopyPalette(HPALETTE palette)
{
    if (!palette) return nullptr;
    WORD count = 0;
    if (!GetObjectA(palette, sizeof count, &count) || count == 0) return nullptr;
    const SIZE_T bytes = sizeof(LOGPALETTE) + static_cast<SIZE_T>(count) * sizeof(PALETTEENTRY);
    HLOCAL block = LocalAlloc(LMEM_FIXED, bytes);
    if (!block) return nullptr;
    auto* logical = static_cast<LOGPALETTE*>(static_cast<void*>(block));
    logical->palVersion = 0x300;
    logical->palNumEntries = count;
    GetPaletteEntries(palette, 0, count, logical->palPalEntry);
    HPALETTE copy = CreatePalette(logical);
    LocalFree(block);
    return copy;
}

HBITMAP GDI_CopyBitmap(HBITMAP bitmap)
{
    BITMAP facts{};
    if (!bitmap || !GetObjectA(bitmap, sizeof facts, &facts)) return nullptr;
    HBITMAP copy = CreateBitmap(facts.bmWidth, facts.bmHeight, facts.bmPlanes, facts.bmBitsPixel, nullptr);
    if (!copy) return nullptr;
    HDC from = CreateCompatibleDC(nullptr);
    HDC to = CreateCompatibleDC(nullptr);
    if (from && to) {
        HGDIOBJ oldFrom = SelectObject(from, bitmap);
        HGDIOBJ oldTo = SelectObject(to, copy);
        BitBlt(to, 0, 0, facts.bmWidth, facts.bmHeight, from, 0, 0, SRCCOPY);
        SelectObject(from, oldFrom);
        SelectObject(to, oldTo);
    }
    if (from) DeleteDC(from);
    if (to) DeleteDC(to);
    return copy;
}

// ---- life of the record -------------------------------------------------------------------

void IMG_Create(HWND hwnd)
{
    IMG_PutRecord(hwnd, IMG_NewRecord());
    IMG_PutUndoRecord(hwnd, nullptr);
}

void IMG_AttachDIB(HWND hwnd, HGLOBAL hDIB)
{
    ImageRecord* record = IMG_GetRecord(hwnd);
    HBITMAP bitmap = nullptr;
    HPALETTE palette = nullptr;
    if (hDIB) {
        BITMAPINFOHEADER header{};
        DIB_GetInfo(hDIB, &header);
        const int screenBits = MAI_ScreenBits();

        // Below 16 bits the screen gets a copy reduced to what it can show;
        // a DIB that can't be reduced is shown at its own depth.
        HGLOBAL display = hDIB;
        if (screenBits < 16 && header.biBitCount < 32) {
            HGLOBAL reduced = ZIM_ToDisplay(hDIB, screenBits, 0, nullptr);
            if (reduced) display = reduced;
        }
        BITMAPINFOHEADER shown = header;
        if (display != hDIB) DIB_GetInfo(display, &shown);

        palette = DIB_CreatePalette(display);
        const int colorMatch = static_cast<int>(SET_Value(SET_COLOR_MATCH));
        const int alphaDisplay = static_cast<int>(SET_Value(SET_ALPHA_DISPLAY));
        switch (SET_Value(SET_SCREEN_BITMAPS)) {
        case 1:
            // "Don't use on 16-bit and 24-bit images" leaves only the 24- and
            // 32-bit DIBs without a bitmap: a DIB of 16 bits gets one.
            if (shown.biBitCount != 24 && shown.biBitCount != 32)
                bitmap = DIB_ToBitmap(display, palette, 0, colorMatch, alphaDisplay);
            break;
        case 2:
            // No bitmap, except for a 16-bit DIB on a screen below 16 bits,
            // which such a screen can't draw directly in acceptable time.
            if (shown.biBitCount == 16 && screenBits < 16)
                bitmap = DIB_ToBitmap(hDIB, palette, 0, colorMatch, alphaDisplay);
            break;
        default:
            bitmap = DIB_ToBitmap(display, palette, 0, colorMatch, alphaDisplay);
            break;
        }
        if (display != hDIB) GlobalFree(display);
    }
    // The old objects were released by whoever replaced them.
    record->hDIB = hDIB;
    record->hBitmap = bitmap;
    record->hPalette = palette;
    record->hExtra = nullptr;
    record->savePreset = 0;
    record->mediaAlias = 0;
    STA_Update(0);
    LIB_MDIChange(hwnd);
}

void IMG_SetImage(HWND hwnd, HGLOBAL hDIB)
{
    STA_Lock();
    const bool keepUndo = SET_Value(SET_KEEP_UNDO) != 0 && !BAT_IsActive();
    // The old record moves to the undo word; the older undo record comes back
    // to be reused as the new state.
    if (keepUndo) IMG_SwapUndo(hwnd, 0, 0);

    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record) {
        record = IMG_NewRecord();
        IMG_PutRecord(hwnd, record);
    } else {
        IMG_ReleaseContents(hwnd, record);
    }
    if (record) {
        // The new state inherits every attribute of the one it replaces.
        if (keepUndo) {
            if (ImageRecord* undo = IMG_GetUndoRecord(hwnd)) IMG_CloneRecord(record, undo);
        }
        IMG_AttachDIB(hwnd, hDIB);

        if (record->hPalette) {
            HDC dc = GetDC(hwnd);
            HPALETTE old = SelectPalette(dc, record->hPalette, FALSE);
            RealizePalette(dc);
            SelectPalette(dc, old, FALSE);
            ReleaseDC(hwnd, dc);
        }
        WIN_FitToImage(hwnd, hDIB);
        record->flags |= IF_MODIFIED;

        // A colour image whose table holds only grays becomes gray; a gray
        // image never turns colour here.
        if (hDIB && (record->flags & IF_COLOR) && CLR_PaletteIsGray(hDIB)) record->flags &= ~IF_COLOR;

        if (record->flags & IF_MEDIA) {
            RECT rect;
            GetClientRect(hwnd, &rect);
            rect.bottom -= WIN_TransportHeight(hwnd);
            InvalidateRect(hwnd, &rect, FALSE);
        } else {
            InvalidateRect(hwnd, nullptr, TRUE);
        }
    } else {
        // Without a record the handle has no owner: it is given up here.
        if (hDIB) GlobalFree(hDIB);
        MSG_Report(SEV_ERROR, 8204);
    }
    STA_Unlock();
}

void IMG_ReleaseContents(HWND hwnd, ImageRecord* record)
{
    if (!record) return;
    // The DIB, bitmap and palette go through the clipboard's release, which
    // keeps a promise of delayed rendering by handing the object over.
    CBD_ReleaseObjects(hwnd, record->hDIB, record->hBitmap, record->hPalette);
    record->hDIB = nullptr;
    record->hBitmap = nullptr;
    record->hPalette = nullptr;
    if (record->hExtra) {
        GlobalFree(record->hExtra);
        record->hExtra = nullptr;
    }
    if (record->hPath) {
        GlobalFree(record->hPath);
        record->hPath = nullptr;
    }
    if (record->hComment) {
        GlobalFree(record->hComment);
        record->hComment = nullptr;
    }
}

void IMG_Destroy(HWND hwnd)
{
    if (ImageRecord* record = IMG_GetRecord(hwnd)) {
        LIB_MDIDelete(hwnd, record->hDIB);
        IMG_ReleaseContents(hwnd, record);
        IMG_FreeRecord(record);
    }
    IMG_PutRecord(hwnd, nullptr);
    if (ImageRecord* undo = IMG_GetUndoRecord(hwnd)) {
        IMG_ReleaseContents(hwnd, undo);
        IMG_FreeRecord(undo);
    }
    IMG_PutUndoRecord(hwnd, nullptr);
}
