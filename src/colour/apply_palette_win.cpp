// The palette service: a DIB re-expressed with the colours of a logical
// palette, directly or by the dither of the colour engine.
#include "colour/error_diffusion.h"

HGLOBAL CLR_ApplyPalette(HGLOBAL dib, HPALETTE palette, int mode)
{
    // The palette's colours swapped to blue, green, red, 0.
    UINT count = GetPaletteEntries(palette, 0, 0, nullptr);
    if (count > 256) count = 256;
    PALETTEENTRY entries[256] = {};
    RGBQUAD colors[256] = {};
    if (count) GetPaletteEntries(palette, 0, count, entries);
    for (UINT i = 0; i < count; i++) colors[i] = RGBQUAD{entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
    if (!mode) return CLR_MapToColors(dib, colors, static_cast<int>(count));
    return CLR_DitherToColors(dib, colors, static_cast<int>(count));
}
