// Packed DIB operations.
#include "platform/dib.h"

#include <cstring>

WORD DIB_NumColors(const BITMAPINFOHEADER* h)
{
    if (h->biSize == sizeof(BITMAPCOREHEADER)) {
        const BITMAPCOREHEADER* core = reinterpret_cast<const BITMAPCOREHEADER*>(h);
        return core->bcBitCount <= 8 ? static_cast<WORD>(1U << core->bcBitCount) : 0;
    }
    if (h->biClrUsed) return static_cast<WORD>(h->biClrUsed > 0xFFFF ? 0xFFFF : h->biClrUsed);
    return h->biBitCount <= 8 ? static_cast<WORD>(1U << h->biBitCount) : 0;
}

WORD DIB_PaletteSize(const BITMAPINFOHEADER* h)
{
    WORD n = DIB_NumColors(h);
    WORD entry = h->biSize == sizeof(BITMAPCOREHEADER) ? sizeof(RGBTRIPLE) : sizeof(RGBQUAD);
    return static_cast<WORD>(n * entry);
}

DWORD DIB_ColorsForBits(int bits) { return bits <= 8 ? 1U << bits : 0; }

void DIB_GetInfo(HGLOBAL dib, BITMAPINFOHEADER* header)
{
    const void* p = GlobalLock(dib);
    if (!p) {
        memset(header, 0, sizeof *header);
        return;
    }
    memcpy(header, p, sizeof *header);
    GlobalUnlock(dib);
}

BITMAPINFOHEADER* DIB_Lock(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels)
{
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    if (header) *header = h;
    if (!p) {
        if (colors) *colors = nullptr;
        if (pixels) *pixels = nullptr;
        return nullptr;
    }
    if (colors) *colors = reinterpret_cast<RGBQUAD*>(p + h->biSize);
    if (pixels) *pixels = p + h->biSize + DIB_PaletteSize(h);
    return h;
}
