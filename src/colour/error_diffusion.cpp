// The pieces both dither drivers share: the eight kernels and their table, the
// row buffers, the clamp table, the halftone matrix and map, and the loading
// of a DIB line into cells.
#include "colour/error_diffusion.h"

#include "core/messages.h"
#include "platform/dib.h"

#include <cstdlib>
#include <cstring>

namespace {
const UINT kNoMemory = 8204;
CLR_RowsMemoryGate rowsGate = nullptr;

// Adds the three shares to the cell at column x + dx of row dy, when that column exists.
inline void Tap(DitherCell** rows, int dy, LONG x, LONG dx, LONG width, LONG r, LONG g, LONG b)
{
    LONG c = x + dx;
    if (c < 0 || c >= width) return;
    DitherCell& cell = rows[dy][c];
    cell.red += r;
    cell.green += g;
    cell.blue += b;
}

// A tap whose share is (weight * e) >> shift (rounding toward minus infinity).
inline void ShiftTap(DitherCell** rows, int dy, LONG x, LONG dx, LONG width, LONG weight, int shift, LONG r, LONG g,
                     LONG b)
{
    Tap(rows, dy, x, dx, width, (weight * r) >> shift, (weight * g) >> shift, (weight * b) >> shift);
}

// A tap whose share is (weight * e) / divisor (truncating toward zero).
inline void DivTap(DitherCell** rows, int dy, LONG x, LONG dx, LONG width, LONG weight, LONG divisor, LONG r, LONG g,
                   LONG b)
{
    Tap(rows, dy, x, dx, width, weight * r / divisor, weight * g / divisor, weight * b / divisor);
}

struct ClampBytes {
    BYTE v[768];
    ClampBytes()
    {
        for (int i = 0; i < 768; i++) v[i] = static_cast<BYTE>(i < 256 ? 0 : i < 512 ? i - 256 : 255);
    }
};
const ClampBytes clampBytes;
}  // namespace

const BYTE* const CLR_ClampTable = clampBytes.v;

const signed char CLR_HalftoneMatrix[4][4] = {
    {-7, 1, -5, 3},
    {5, -3, 7, -1},
    {-4, 4, -6, 2},
    {8, 0, 6, -2},
};

const BYTE CLR_Halftone16Map[64] = {
    0, 4, 12, 12, 2, 6, 6, 6, 10, 6, 7, 14, 10, 6, 14, 14,
    1, 5, 5, 5, 3, 8, 8, 8, 3, 8, 7, 7, 3, 8, 7, 15,
    9, 5, 7, 13, 3, 8, 7, 7, 7, 7, 7, 7, 11, 7, 7, 15,
    9, 5, 13, 13, 3, 8, 7, 15, 11, 7, 7, 15, 11, 15, 15, 15,
};

// ---- kernels ---------------------------------------------------------------------

void CLR_KernelFloyd(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    ShiftTap(rows, 0, x, +1, width, 7, 4, r, g, b);
    ShiftTap(rows, 1, x, -1, width, 3, 4, r, g, b);
    ShiftTap(rows, 1, x, 0, width, 5, 4, r, g, b);
    ShiftTap(rows, 1, x, +1, width, 1, 4, r, g, b);
}

void CLR_KernelStucki(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    DivTap(rows, 0, x, +1, width, 8, 42, r, g, b);
    DivTap(rows, 0, x, +2, width, 4, 42, r, g, b);
    DivTap(rows, 1, x, -2, width, 2, 42, r, g, b);
    DivTap(rows, 1, x, -1, width, 4, 42, r, g, b);
    DivTap(rows, 1, x, 0, width, 8, 42, r, g, b);
    DivTap(rows, 1, x, +1, width, 4, 42, r, g, b);
    DivTap(rows, 1, x, +2, width, 2, 42, r, g, b);
    DivTap(rows, 2, x, -2, width, 1, 42, r, g, b);
    DivTap(rows, 2, x, -1, width, 2, 42, r, g, b);
    DivTap(rows, 2, x, 0, width, 4, 42, r, g, b);
    DivTap(rows, 2, x, +1, width, 2, 42, r, g, b);
    DivTap(rows, 2, x, +2, width, 1, 42, r, g, b);
}

void CLR_KernelBurkes(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    ShiftTap(rows, 0, x, +1, width, 1, 2, r, g, b);
    ShiftTap(rows, 0, x, +2, width, 1, 3, r, g, b);
    ShiftTap(rows, 1, x, -2, width, 1, 4, r, g, b);
    ShiftTap(rows, 1, x, -1, width, 1, 3, r, g, b);
    ShiftTap(rows, 1, x, 0, width, 1, 2, r, g, b);
    ShiftTap(rows, 1, x, +1, width, 1, 3, r, g, b);
    ShiftTap(rows, 1, x, +2, width, 1, 4, r, g, b);
}

void CLR_KernelSierra(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    ShiftTap(rows, 0, x, +1, width, 5, 5, r, g, b);
    ShiftTap(rows, 0, x, +2, width, 3, 5, r, g, b);
    ShiftTap(rows, 1, x, -2, width, 1, 4, r, g, b);
    ShiftTap(rows, 1, x, -1, width, 1, 3, r, g, b);
    ShiftTap(rows, 1, x, 0, width, 5, 5, r, g, b);
    ShiftTap(rows, 1, x, +1, width, 1, 3, r, g, b);
    ShiftTap(rows, 1, x, +2, width, 1, 4, r, g, b);
    ShiftTap(rows, 2, x, -1, width, 1, 4, r, g, b);
    ShiftTap(rows, 2, x, 0, width, 3, 5, r, g, b);
    // Two lines down and to the right only from the next-to-last column.
    if (x + 1 == width - 1) ShiftTap(rows, 2, x, +1, width, 1, 4, r, g, b);
}

void CLR_KernelJarvis(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b)
{
    DivTap(rows, 0, x, +1, width, 7, 48, r, g, b);
    DivTap(rows, 0, x, +2, width, 5, 48, r, g, b);
    if (y + 1 >= height) return;
    DivTap(rows, 1, x, -2, width, 3, 48, r, g, b);
    DivTap(rows, 1, x, -1, width, 5, 48, r, g, b);
    DivTap(rows, 1, x, 0, width, 7, 48, r, g, b);
    DivTap(rows, 1, x, +1, width, 5, 48, r, g, b);
    DivTap(rows, 1, x, +2, width, 3, 48, r, g, b);
    if (y + 2 >= height) return;
    DivTap(rows, 2, x, -2, width, 1, 48, r, g, b);
    DivTap(rows, 2, x, -1, width, 3, 48, r, g, b);
    DivTap(rows, 2, x, 0, width, 5, 48, r, g, b);
    DivTap(rows, 2, x, +1, width, 3, 48, r, g, b);
    DivTap(rows, 2, x, +2, width, 1, 48, r, g, b);
}

void CLR_KernelStevenson(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    DivTap(rows, 0, x, +2, width, 32, 200, r, g, b);
    DivTap(rows, 1, x, -3, width, 12, 200, r, g, b);
    DivTap(rows, 1, x, -1, width, 26, 200, r, g, b);
    DivTap(rows, 1, x, +1, width, 30, 200, r, g, b);
    DivTap(rows, 1, x, +3, width, 16, 200, r, g, b);
    DivTap(rows, 2, x, -2, width, 12, 200, r, g, b);
    DivTap(rows, 2, x, 0, width, 26, 200, r, g, b);
    DivTap(rows, 2, x, +2, width, 12, 200, r, g, b);
    DivTap(rows, 3, x, -3, width, 5, 200, r, g, b);
    DivTap(rows, 3, x, -1, width, 12, 200, r, g, b);
    DivTap(rows, 3, x, +1, width, 12, 200, r, g, b);
    DivTap(rows, 3, x, +3, width, 5, 200, r, g, b);
}

void CLR_KernelFast(DitherCell** rows, LONG x, LONG, LONG width, LONG, LONG r, LONG g, LONG b)
{
    ShiftTap(rows, 0, x, +1, width, 1, 1, r, g, b);
    ShiftTap(rows, 1, x, 0, width, 1, 2, r, g, b);
    ShiftTap(rows, 1, x, +1, width, 1, 2, r, g, b);
}

void CLR_KernelFloydNoise(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b)
{
    CLR_KernelFloyd(rows, x, y, width, height, r < 16 ? 0 : r, g < 16 ? 0 : g, b < 16 ? 0 : b);
}

const KernelRow CLR_Kernels[8] = {
    {CLR_KernelFloyd, 2},  {CLR_KernelStucki, 3},    {CLR_KernelBurkes, 2}, {CLR_KernelSierra, 3},
    {CLR_KernelJarvis, 3}, {CLR_KernelStevenson, 4}, {CLR_KernelFast, 2},   {CLR_KernelFloydNoise, 2},
};

const KernelRow& CLR_GetKernel(LONG ditherType)
{
    switch (ditherType) {
    case 0:
    case 1: return CLR_Kernels[6];
    case 3: return CLR_Kernels[1];
    case 4: return CLR_Kernels[2];
    case 5: return CLR_Kernels[3];
    case 6: return CLR_Kernels[4];
    case 7: return CLR_Kernels[5];
    case 8: return CLR_Kernels[7];
    default: return CLR_Kernels[0];
    }
}

// ---- row buffers -----------------------------------------------------------------

void CLR_SetRowsMemoryGate(CLR_RowsMemoryGate gate) { rowsGate = gate; }

DitherCell** CLR_AllocRows(int count, LONG width)
{
    DitherCell** rows = nullptr;
    bool ok = count > 0 && width > 0 && static_cast<unsigned long long>(width) <= 0x7FFFFFFFULL / sizeof(DitherCell);
    SIZE_T arrayBytes = ok ? sizeof(DitherCell*) * static_cast<SIZE_T>(count) : 0;
    if (ok && (!rowsGate || rowsGate(arrayBytes))) rows = static_cast<DitherCell**>(calloc(count, sizeof(DitherCell*)));
    if (!rows) {
        MSG_Report(SEV_ERROR, kNoMemory);
        return nullptr;
    }
    SIZE_T rowBytes = sizeof(DitherCell) * static_cast<SIZE_T>(width);
    for (int i = 0; i < count; i++) {
        if (!rowsGate || rowsGate(rowBytes)) rows[i] = static_cast<DitherCell*>(calloc(static_cast<size_t>(width), sizeof(DitherCell)));
        if (!rows[i]) {
            CLR_FreeRows(rows, i);
            MSG_Report(SEV_ERROR, kNoMemory);
            return nullptr;
        }
    }
    return rows;
}

void CLR_RotateRows(DitherCell** rows, int count)
{
    if (count < 2) return;
    DitherCell* first = rows[0];
    memmove(rows, rows + 1, sizeof(DitherCell*) * static_cast<size_t>(count - 1));
    rows[count - 1] = first;
}

void CLR_FreeRows(DitherCell** rows, int count)
{
    if (!rows) return;
    for (int i = 0; i < count; i++) free(rows[i]);
    free(rows);
}

// ---- loading lines ---------------------------------------------------------------

void CLR_FullColorTable(const BITMAPINFOHEADER* header, const RGBQUAD* colors, RGBQUAD table[256])
{
    memset(table, 0, 256 * sizeof(RGBQUAD));
    if (!header || header->biBitCount > 8 || header->biSize != sizeof(BITMAPINFOHEADER)) return;
    unsigned n = DIB_NumColors(header);
    if (n > 256) n = 256;
    memcpy(table, colors, n * sizeof(RGBQUAD));
}

void CLR_LoadRow(int bits, LONG width, const BYTE* line, const RGBQUAD* colors, DitherCell* row)
{
    switch (bits) {
    case 1:
        for (LONG x = 0; x < width; x++, row++) {
            const RGBQUAD& c = colors[(line[x >> 3] >> (7 - (x & 7))) & 1];
            row->blue = c.rgbBlue;
            row->green = c.rgbGreen;
            row->red = c.rgbRed;
        }
        break;
    case 4:
        for (LONG x = 0; x < width; x++, row++) {
            const RGBQUAD& c = colors[(x & 1) ? line[x >> 1] & 15 : line[x >> 1] >> 4];
            row->blue = c.rgbBlue;
            row->green = c.rgbGreen;
            row->red = c.rgbRed;
        }
        break;
    case 8:
        for (LONG x = 0; x < width; x++, row++) {
            const RGBQUAD& c = colors[line[x]];
            row->blue = c.rgbBlue;
            row->green = c.rgbGreen;
            row->red = c.rgbRed;
        }
        break;
    case 16:
        // The low five bits go to red: a Windows 5-5-5 pixel comes out with red
        // and blue exchanged, which is how this load has always read them.
        for (LONG x = 0; x < width; x++, row++, line += 2) {
            unsigned w = line[0] | (line[1] << 8);
            row->red = static_cast<LONG>((w & 31) * 8);
            row->green = static_cast<LONG>((w & 0x3E0) >> 2);
            row->blue = static_cast<LONG>((w & 0x7C00) >> 7);
        }
        break;
    case 24:
    case 32: {
        int step = bits / 8;
        for (LONG x = 0; x < width; x++, row++, line += step) {
            row->blue = line[0];
            row->green = line[1];
            row->red = line[2];
        }
        break;
    }
    default: break;
    }
}
