// The clipboard: Copy offers a window's own DIB, bitmap and palette and makes
// copies only when another program asks for them (or when the objects are about
// to be given up); Paste takes a DIB or a bitmap; Paste Palette dithers the
// image to the clipboard's palette.
#include "edit/clipboard.h"

#include "colour/error_diffusion.h"
#include "core/gdi_helpers.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/settings.h"
#include "platform/dib.h"
#include "platform/thermometer.h"

HGLOBAL CBD_PendingDIB;
HBITMAP CBD_PendingBitmap;
HPALETTE CBD_PendingPalette;

namespace {
const UINT kNoMemoryPaste = 8203;
const UINT kNoMemoryBitmap = 8219;
const UINT kCannotOpen = 8220;
const UINT kPastingPalette = 1368;
}  // namespace

void CBD_ReleaseObjects(HWND window, HGLOBAL dib, HBITMAP bitmap, HPALETTE palette)
{
    const bool dibOffered = dib && dib == CBD_PendingDIB;
    const bool bitmapOffered = bitmap && bitmap == CBD_PendingBitmap;
    const bool paletteOffered = palette && palette == CBD_PendingPalette;
    bool open = false;
    if (dibOffered || bitmapOffered || paletteOffered) {
        open = OpenClipboard(window) != 0;
        // While the window still owns the clipboard the objects simply take
        // the place of their offers and the other formats stay; otherwise
        // the window becomes the owner first.
        if (open && GetClipboardOwner() != window) EmptyClipboard();
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

void CBD_Render(HWND, UINT format)
{
    // Runs inside another program's read, which holds the clipboard open:
    // only SetClipboardData is allowed here.
    HANDLE copy = nullptr;
    switch (format) {
    case CF_DIB:
        if (!CBD_PendingDIB) return;
        copy = MEM_CopyBlock(CBD_PendingDIB);
        CBD_PendingDIB = nullptr;
        break;
    case CF_BITMAP:
        if (!CBD_PendingBitmap) return;
        copy = GDI_CopyBitmap(CBD_PendingBitmap);
        CBD_PendingBitmap = nullptr;
        break;
    case CF_PALETTE:
        if (!CBD_PendingPalette) return;
        copy = GDI_CopyPalette(CBD_PendingPalette);
        CBD_PendingPalette = nullptr;
        break;
    default:
        return;
    }
    if (copy) SetClipboardData(format, copy);
}

void CBD_Forget()
{
    CBD_PendingDIB = nullptr;
    CBD_PendingBitmap = nullptr;
    CBD_PendingPalette = nullptr;
}

void CBD_Copy(HWND window)
{
    if (!OpenClipboard(window)) {
        MSG_Report(SEV_ERROR, kCannotOpen);
        return;
    }
    // Emptying tells the previous owner, this window too, to forget its offers.
    EmptyClipboard();
    const ImageRecord* record = IMG_GetRecord(window);
    SetClipboardData(CF_DIB, nullptr);
    CBD_PendingDIB = record->hDIB;
    bool bitmapFailed = false;
    if (!record->hBitmap) {
        // Without a display bitmap one is made now and given away at once.
        HBITMAP made = DIB_ToBitmap(record->hDIB, record->hPalette, 0,
                                    static_cast<int>(SET_Value(SET_COLOR_MATCH)),
                                    static_cast<int>(SET_Value(SET_ALPHA_DISPLAY)));
        if (made)
            SetClipboardData(CF_BITMAP, made);
        else
            bitmapFailed = true;
        if (HPALETTE copy = GDI_CopyPalette(record->hPalette)) SetClipboardData(CF_PALETTE, copy);
    } else {
        SetClipboardData(CF_BITMAP, nullptr);
        CBD_PendingBitmap = record->hBitmap;
        if (record->hPalette) {
            SetClipboardData(CF_PALETTE, nullptr);
            CBD_PendingPalette = record->hPalette;
        }
    }
    CloseClipboard();
    // Reported once the clipboard is free again; the DIB's offer stands.
    if (bitmapFailed) MSG_Report(SEV_ERROR, kNoMemoryBitmap);
}

void CBD_Delete(HWND window) { IMG_MakeEmptyFromUndo(window); }

void CBD_Cut(HWND window)
{
    // The offered objects live on in the undo record, so the offer stays good.
    CBD_Copy(window);
    CBD_Delete(window);
}

HGLOBAL CBD_ReadImage()
{
    HGLOBAL result = nullptr;
    bool offered = false;
    if (HGLOBAL data = GetClipboardData(CF_DIB)) {
        offered = true;
        BITMAPINFOHEADER header{};
        DIB_GetInfo(data, &header);
        // A 12-byte core header has no compression field.
        if (header.biSize < sizeof header || header.biCompression == BI_RGB) {
            result = MEM_CopyBlock(data);
            if (result) result = DIB_Normalize(result);
        } else {
            result = DIB_Recompress(data, 0, BI_RGB);
            if (result) result = DIB_Normalize(result);
        }
    } else if (HBITMAP bitmap = static_cast<HBITMAP>(GetClipboardData(CF_BITMAP))) {
        offered = true;
        result = DIB_FromBitmap(nullptr, bitmap, 0, 0, static_cast<HPALETTE>(GetClipboardData(CF_PALETTE)), 0);
    }
    // The program's images are 1, 4, 8, 24 or 32 bits.
    if (result) result = DIB_Fix16(result, 1);
    if (result) DIB_FixHeader(result);
    if (offered && !result) MSG_Report(SEV_ERROR, kNoMemoryPaste);
    return result;
}

// A pasted DIB becomes the window's image, with its depth; 24 bits are colour.
static void PutPasted(HWND window, HGLOBAL dib)
{
    IMG_SetImage(window, dib);
    BITMAPINFOHEADER header{};
    DIB_GetInfo(dib, &header);
    IMG_SetAttr(window, IA_BITS, header.biBitCount);
    IMG_SetFlag(window, IF_MODIFIED, 1);
    if (header.biBitCount == 24) IMG_SetFlag(window, IF_COLOR, 1);
}

int CBD_Paste(HWND window)
{
    if (!OpenClipboard(window)) return 0;
    HGLOBAL dib = CBD_ReadImage();
    CloseClipboard();
    if (!dib) return 0;
    PutPasted(window, dib);
    return 1;
}

HGLOBAL CBD_MapToPalette(HGLOBAL dib, HPALETTE palette)
{
    BITMAPINFOHEADER header{};
    DIB_GetInfo(dib, &header);
    LONGLONG rows = header.biHeight < 0 ? -static_cast<LONGLONG>(header.biHeight) : header.biHeight;
    if (rows > 0xFFFE) rows = 0xFFFE;
    char text[256];
    if (LoadStringA(nullptr, kPastingPalette, text, sizeof text) <= 0) text[0] = 0;
    TRM_Open(TRM_Owner(), text);
    TRM_SetRange(0, static_cast<WORD>(rows));
    // The dither of dither_type; a failure has been reported there.
    HGLOBAL result = CLR_ApplyPalette(dib, palette, 1);
    TRM_Close();
    return result;
}

void CBD_PastePalette(HWND window)
{
    HGLOBAL dib = IMG_GetDIB(window);
    if (!dib || !OpenClipboard(window)) return;
    // A private copy, so that the clipboard is free again during the dither.
    HPALETTE palette = GDI_CopyPalette(static_cast<HPALETTE>(GetClipboardData(CF_PALETTE)));
    CloseClipboard();
    if (!palette) return;
    HGLOBAL result = CBD_MapToPalette(dib, palette);
    DeleteObject(palette);
    if (!result) return;
    IMG_SetImage(window, result);
    BITMAPINFOHEADER header{};
    DIB_GetInfo(result, &header);
    IMG_SetAttr(window, IA_BITS, header.biBitCount);
}
