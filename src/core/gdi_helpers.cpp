// Window-side DIB operations on GDI: palettes, device bitmaps and drawing.
#include "core/gdi_helpers.h"

#include "platform/dib.h"
#include "platform/dib_paint.h"

#include <memory>
#include <new>

namespace {
// Defaults that DIB_Paint takes over when called with null handles.
int defaultColorMatch = 0;
int defaultAlphaDisplay = 0;

HPALETTE PaletteFromHeader(const BITMAPINFOHEADER* header)
{
    if (header->biBitCount > 8) return nullptr;
    const WORD count = DIB_NumColors(header);
    if (count == 0) return nullptr;
    const auto* colors = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(header) + header->biSize);
    std::unique_ptr<BYTE[]> block(new (std::nothrow) BYTE[sizeof(LOGPALETTE) + count * sizeof(PALETTEENTRY)]);
    if (!block) return nullptr;
    auto* logical = reinterpret_cast<LOGPALETTE*>(block.get());
    logical->palVersion = 0x300;
    logical->palNumEntries = count;
    for (WORD i = 0; i < count; i++) {
        logical->palPalEntry[i].peRed = colors[i].rgbRed;
        logical->palPalEntry[i].peGreen = colors[i].rgbGreen;
        logical->palPalEntry[i].peBlue = colors[i].rgbBlue;
        logical->palPalEntry[i].peFlags = 0;
    }
    return CreatePalette(logical);
}

// The background a 32-bit pixel's alpha shows against: white, or for the
// stripe mode bands of white and light gray, 4 rows each.
BYTE Background(int alphaDisplay, LONG row) { return (alphaDisplay == 3 && (row / 4) % 2) ? 0xC0 : 0xFF; }

// For a 32-bit DIB whose fourth byte is to show: a copy of the pixels with
// each colour blended over the background by that byte (full), by half of
// it (half), or over the stripes. Null when nothing is to change or memory is short.
std::unique_ptr<BYTE[]> ComposeAlpha(const BITMAPINFOHEADER* header, const BYTE* pixels, int alphaDisplay)
{
    if (header->biBitCount != 32 || alphaDisplay < 1 || alphaDisplay > 3 || header->biCompression != BI_RGB)
        return nullptr;
    const LONG width = header->biWidth;
    const LONG height = header->biHeight < 0 ? -header->biHeight : header->biHeight;
    const SIZE_T bytes = static_cast<SIZE_T>(width) * height * 4;
    std::unique_ptr<BYTE[]> out(new (std::nothrow) BYTE[bytes]);
    if (!out) return nullptr;
    for (LONG y = 0; y < height; y++) {
        // Rows of a bottom-up DIB: the first row in memory is the lowest on screen.
        const LONG shownRow = header->biHeight < 0 ? y : height - 1 - y;
        const BYTE back = Background(alphaDisplay, shownRow);
        const BYTE* from = pixels + static_cast<SIZE_T>(y) * width * 4;
        BYTE* to = out.get() + static_cast<SIZE_T>(y) * width * 4;
        for (LONG x = 0; x < width; x++) {
            int alpha = from[4 * x + 3];
            if (alphaDisplay == 1) alpha = (alpha + 255) / 2;
            for (int c = 0; c < 3; c++) to[4 * x + c] = static_cast<BYTE>((from[4 * x + c] * alpha + back * (255 - alpha)) / 255);
            to[4 * x + 3] = 0;
        }
    }
    return out;
}

// Draws a locked DIB at 0, 0 of dc.
void PaintLocked(HDC dc, const BITMAPINFOHEADER* header, const BYTE* pixels, int colorMatch, int alphaDisplay)
{
    std::unique_ptr<BYTE[]> composed = ComposeAlpha(header, pixels, alphaDisplay);
    const void* bits = composed ? composed.get() : pixels;
    const auto* info = reinterpret_cast<const BITMAPINFO*>(header);
    const LONG height = header->biHeight < 0 ? -header->biHeight : header->biHeight;
    if (colorMatch == 1) {
        const int oldMode = SetStretchBltMode(dc, HALFTONE);
        SetBrushOrgEx(dc, 0, 0, nullptr);
        StretchDIBits(dc, 0, 0, header->biWidth, height, 0, 0, header->biWidth, height, bits, info, DIB_RGB_COLORS,
                      SRCCOPY);
        SetStretchBltMode(dc, oldMode);
    } else {
        SetDIBitsToDevice(dc, 0, 0, header->biWidth, height, 0, 0, 0, height, bits, info, DIB_RGB_COLORS);
    }
}
}  // namespace

HPALETTE DIB_CreatePalette(HGLOBAL dib)
{
    BITMAPINFOHEADER* header;
    if (!dib || !DIB_Lock(dib, &header, nullptr, nullptr)) return nullptr;
    HPALETTE palette = PaletteFromHeader(header);
    GlobalUnlock(dib);
    return palette;
}

HPALETTE DIB_PaletteFromPacked(const void* packed)
{
    return packed ? PaletteFromHeader(static_cast<const BITMAPINFOHEADER*>(packed)) : nullptr;
}

HBITMAP DIB_ToBitmap(HGLOBAL dib, HPALETTE palette, int, int colorMatch, int alphaDisplay)
{
    BITMAPINFOHEADER* header;
    BYTE* pixels;
    if (!dib || !DIB_Lock(dib, &header, nullptr, &pixels)) return nullptr;
    const LONG height = header->biHeight < 0 ? -header->biHeight : header->biHeight;
    HDC screen = GetDC(nullptr);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, header->biWidth, height);
    HDC memory = bitmap ? CreateCompatibleDC(screen) : nullptr;
    if (memory) {
        HGDIOBJ oldBitmap = SelectObject(memory, bitmap);
        HPALETTE oldPalette = nullptr;
        if (palette) {
            oldPalette = SelectPalette(memory, palette, FALSE);
            RealizePalette(memory);
        }
        PaintLocked(memory, header, pixels, colorMatch, alphaDisplay);
        if (oldPalette) SelectPalette(memory, oldPalette, FALSE);
        SelectObject(memory, oldBitmap);
        DeleteDC(memory);
    } else if (bitmap) {
        DeleteObject(bitmap);
        bitmap = nullptr;
    }
    ReleaseDC(nullptr, screen);
    GlobalUnlock(dib);
    return bitmap;
}

void DIB_Draw(HDC dc, int x, int y, HBITMAP bitmap, DWORD rop)
{
    BITMAP facts{};
    if (!bitmap || !GetObjectA(bitmap, sizeof facts, &facts)) return;
    HDC memory = CreateCompatibleDC(dc);
    if (!memory) return;
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(dc, x, y, facts.bmWidth, facts.bmHeight, memory, 0, 0, rop);
    SelectObject(memory, old);
    DeleteDC(memory);
}

void DIB_Paint(HDC dc, HGLOBAL dib, HPALETTE palette, int colorMatch, int alphaDisplay)
{
    if (!dc && !dib && !palette) {
        defaultColorMatch = colorMatch;
        defaultAlphaDisplay = alphaDisplay;
        return;
    }
    BITMAPINFOHEADER* header;
    BYTE* pixels;
    if (!dc || !dib || !DIB_Lock(dib, &header, nullptr, &pixels)) return;
    PaintLocked(dc, header, pixels, colorMatch, alphaDisplay);
    GlobalUnlock(dib);
}
