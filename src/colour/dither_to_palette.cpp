// Error diffusion to the palette a destination DIB already holds, always left
// to right. The rows hold pixels plus the error carried to them.
#include "colour/error_diffusion.h"

#include "colour/flat_cut.h"
#include "colour/luma.h"
#include "colour/palette_match.h"
#include "core/messages.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"
#include "platform/thermometer.h"
#include "platform/ui_hooks.h"

#include <cstdlib>
#include <cstring>

namespace {
const UINT kNoMemory = 8204;
const UINT kNoMemoryBox = 3586;

// Writes palette index `index` at column x of a destination line.
inline void PutIndex(BYTE* line, LONG x, int bits, int index)
{
    switch (bits) {
    case 1: {
        BYTE mask = static_cast<BYTE>(0x80 >> (x & 7));
        line[x >> 3] = static_cast<BYTE>(index & 1 ? line[x >> 3] | mask : line[x >> 3] & ~mask);
        break;
    }
    case 4:
        if (x & 1) line[x >> 1] = static_cast<BYTE>((line[x >> 1] & 0xF0) | (index & 15));
        else line[x >> 1] = static_cast<BYTE>((line[x >> 1] & 0x0F) | (index << 4));
        break;
    default: line[x] = static_cast<BYTE>(index); break;
    }
}
}  // namespace

int CLR_DitherToPalette(HGLOBAL source, HGLOBAL destination, int pass)
{
    if (SET_Value(SET_FAST_DITHER)) CLR_MatchBegin();

    BITMAPINFOHEADER *sh, *dh;
    RGBQUAD *sourceColors, *destColors;
    BYTE *sourcePixels, *destPixels;
    DIB_Lock(source, &sh, &sourceColors, &sourcePixels);
    DIB_Lock(destination, &dh, &destColors, &destPixels);
    // Blocks that do not hold what their headers claim are refused whole.
    if (!CLR_SourceFits(source, sh) || !CLR_SourceFits(destination, dh)) {
        if (sh) GlobalUnlock(source);
        if (dh) GlobalUnlock(destination);
        CLR_MatchEnd();
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    LONG ditherType = SET_Value(SET_DITHER_TYPE);
    bool halftone = ditherType == 0;
    const KernelRow& kernel = CLR_GetKernel(ditherType);
    int n = halftone ? 1 : kernel.rows;

    LONG width = dh->biWidth;
    LONG height = dh->biHeight < 0 ? -dh->biHeight : dh->biHeight;
    int sourceBits = sh->biBitCount, destBits = dh->biBitCount;
    DWORD sourceStride = DIB_Stride(sh->biWidth, sourceBits), destStride = DIB_Stride(width, destBits);
    // The palette: a private copy, 256 entries so that no index reads past it.
    int count = DIB_NumColors(dh);
    if (count > 256) count = 256;
    RGBQUAD palette[256];
    memset(palette, 0, sizeof palette);
    memcpy(palette, destColors, static_cast<size_t>(count) * sizeof(RGBQUAD));
    if (count < 1) count = 1;
    RGBQUAD sourceTable[256];
    CLR_FullColorTable(sh, sourceColors, sourceTable);
    // Lines are read from the source only where it has them.
    LONG sourceRows = sh->biHeight < 0 ? -sh->biHeight : sh->biHeight;
    LONG loadWidth = sh->biWidth < width ? sh->biWidth : width;

    DitherCell** rows = width > 0 ? CLR_AllocRows(n, width) : nullptr;
    if (!rows) {
        GlobalUnlock(source);
        GlobalUnlock(destination);
        CLR_MatchEnd();
        return 0;
    }
    for (int k = 0; k < n && k < height && k < sourceRows; k++)
        CLR_LoadRow(sourceBits, loadWidth, sourcePixels + static_cast<size_t>(k) * sourceStride, sourceTable, rows[k]);

    BYTE* line = destPixels;
    for (LONG y = 0; y < height; y++, line += destStride) {
        if ((y & 15) == 0 || y == height - 1) TRM_Update(static_cast<WORD>(pass * height + y + 1));
        DitherCell* cells = rows[0];
        const signed char* matrixRow = CLR_HalftoneMatrix[y & 3];
        for (LONG x = 0; x < width; x++) {
            int r = CLR_Clamp(cells[x].red), g = CLR_Clamp(cells[x].green), b = CLR_Clamp(cells[x].blue);
            if (halftone) {
                int luma = CLR_Luma(r, g, b);
                int m = matrixRow[x & 3];
                int offset = destBits == 8 ? m * (luma >> 6) : m * 2 * (luma >> 4);
                r = CLR_Clamp(r + offset);
                g = CLR_Clamp(g + offset);
                b = CLR_Clamp(b + offset);
            }
            int index = CLR_MatchColor(palette, count, r, g, b);
            // Two entries: a fresh search, so that black and white never depend on the cache.
            if (destBits == 1) index = CLR_NearestColor(palette, count, r, g, b);
            PutIndex(line, x, destBits, index);
            if (!halftone) {
                const RGBQUAD& q = palette[index];
                kernel.kernel(rows, x, y, width, height, r - q.rgbRed, g - q.rgbGreen, b - q.rgbBlue);
            }
        }
        CLR_RotateRows(rows, n);
        LONG next = y + n;
        if (next < height && next < sourceRows)
            CLR_LoadRow(sourceBits, loadWidth, sourcePixels + static_cast<size_t>(next) * sourceStride, sourceTable,
                        rows[n - 1]);
    }

    GlobalUnlock(source);
    GlobalUnlock(destination);
    CLR_MatchEnd();
    CLR_FreeRows(rows, n);
    return 1;
}

namespace {
// The new DIB of the palette service: the source's header with the depth for
// count colours (8 above 16, 1 below 3, else 4), the colours as its table,
// pixels zero. Null after the plain "no memory" box.
HGLOBAL PaletteDestination(HGLOBAL dib, const RGBQUAD* colors, int count)
{
    if (count > 256) count = 256;
    if (count < 0) count = 0;
    int bits = count > 16 ? 8 : count < 3 ? 1 : 4;
    BITMAPINFOHEADER header;
    DIB_GetInfo(dib, &header);
    LONG rows = header.biHeight >= 0 ? header.biHeight : header.biHeight > -0x7FFFFFFF ? -header.biHeight : 0;
    header.biSize = sizeof(BITMAPINFOHEADER);
    header.biBitCount = static_cast<WORD>(bits);
    header.biSizeImage = DIB_Stride(header.biWidth, bits) * static_cast<DWORD>(rows);
    header.biClrUsed = static_cast<DWORD>(count);
    header.biClrImportant = static_cast<DWORD>(count);
    header.biCompression = BI_RGB;
    SIZE_T size = DIB_PackedSize(header.biWidth, rows, bits, DIB_NumColors(&header));
    HGLOBAL result = size ? GlobalAlloc(GHND, size) : nullptr;
    if (!result) {
        char text[256];
        if (LoadStringA(nullptr, kNoMemoryBox, text, sizeof text) <= 0) text[0] = 0;
        UTL_MessageBox(nullptr, text, nullptr, MB_OK);
        return nullptr;
    }
    BYTE* block = static_cast<BYTE*>(GlobalLock(result));
    memcpy(block, &header, sizeof header);
    if (count) memcpy(block + sizeof header, colors, static_cast<size_t>(count) * sizeof(RGBQUAD));
    GlobalUnlock(result);
    return result;
}
}  // namespace

HGLOBAL CLR_DitherToColors(HGLOBAL dib, const RGBQUAD* colors, int count)
{
    HGLOBAL result = PaletteDestination(dib, colors, count);
    if (result && !CLR_DitherToPalette(dib, result, 0)) result = GlobalFree(result);
    return result;
}

HGLOBAL CLR_MapToColors(HGLOBAL dib, const RGBQUAD* colors, int count)
{
    HGLOBAL result = PaletteDestination(dib, colors, count);
    if (!result) return nullptr;
    BITMAPINFOHEADER *sh, *dh;
    RGBQUAD *sourceColors, *destColors;
    BYTE *sourcePixels, *destPixels;
    DIB_Lock(dib, &sh, &sourceColors, &sourcePixels);
    DIB_Lock(result, &dh, &destColors, &destPixels);
    if (!CLR_SourceFits(dib, sh)) {
        if (sh) GlobalUnlock(dib);
        GlobalUnlock(result);
        GlobalFree(result);
        MSG_Report(SEV_ERROR, kNoMemory);
        return nullptr;
    }
    LONG width = dh->biWidth;
    LONG height = dh->biHeight < 0 ? -dh->biHeight : dh->biHeight;
    int entries = DIB_NumColors(dh) < 1 ? 1 : DIB_NumColors(dh);
    RGBQUAD palette[256] = {};
    memcpy(palette, destColors, static_cast<size_t>(DIB_NumColors(dh)) * sizeof(RGBQUAD));
    RGBQUAD sourceTable[256];
    CLR_FullColorTable(sh, sourceColors, sourceTable);
    DWORD sourceStride = DIB_Stride(sh->biWidth, sh->biBitCount), destStride = DIB_Stride(width, dh->biBitCount);
    DitherCell* cells = static_cast<DitherCell*>(calloc(static_cast<size_t>(width), sizeof(DitherCell)));
    if (!cells) {
        GlobalUnlock(dib);
        GlobalUnlock(result);
        GlobalFree(result);
        MSG_Report(SEV_ERROR, kNoMemory);
        return nullptr;
    }
    for (LONG y = 0; y < height; y++) {
        CLR_LoadRow(sh->biBitCount, width, sourcePixels + static_cast<size_t>(y) * sourceStride, sourceTable, cells);
        BYTE* line = destPixels + static_cast<size_t>(y) * destStride;
        for (LONG x = 0; x < width; x++)
            PutIndex(line, x, dh->biBitCount,
                     CLR_NearestColor(palette, entries, CLR_Clamp(cells[x].red), CLR_Clamp(cells[x].green),
                                      CLR_Clamp(cells[x].blue)));
    }
    free(cells);
    GlobalUnlock(dib);
    GlobalUnlock(result);
    return result;
}
