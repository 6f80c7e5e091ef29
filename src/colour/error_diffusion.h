// Error diffusion: the kernels, row buffers, clamp table and halftone matrix
// shared by the two dither drivers, and the drivers themselves.
// CLR_DitherToPalette dithers to whatever palette the destination DIB already
// holds, always left to right; CLR_FlatDither dithers to the fixed palettes of
// Flat Cut in serpentine order. The setting dither_type picks the dither:
// 0 halftone, 1 QVD Fast, 2 Floyd-Steinberg, 3 Stucki, 4 Burkes, 5 Sierra,
// 6 Jarvis, Judice + Ninke, 7 Stevenson + Arce, 8 Floyd-Steinberg with the
// small errors dropped.
#pragma once

#include "platform/win32.h"

// One pixel of a row buffer: three signed channels, blue, green, red.
struct DitherCell {
    LONG blue, green, red;
};

// A kernel spreads the error of the pixel at scan position x of line y over
// the rows (row 0 the current line, row k the k-th below it). Taps that fall
// left of column 0 or at or past width are dropped.
typedef void (*CLR_Kernel)(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG errRed, LONG errGreen,
                           LONG errBlue);
// (weight * e) >> 4: 7 right; 3, 5, 1 below left, below, below right.
void CLR_KernelFloyd(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// (weight * e) / 42 truncating over five columns and three rows.
void CLR_KernelStucki(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// Shifts only, over five columns and two rows.
void CLR_KernelBurkes(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// Shifts (5e>>5, 3e>>5, e>>3, e>>4); the tap two lines down and one right
// exists only when x + 1 is the last column.
void CLR_KernelSierra(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// (weight * e) / 48 truncating; the lower rows' taps are skipped past the last line.
void CLR_KernelJarvis(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// (weight * e) / 200 truncating over seven columns and four rows.
void CLR_KernelStevenson(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// e>>1 right, e>>2 below, e>>2 below right: the "QVD Fast" dither.
void CLR_KernelFast(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);
// Floyd-Steinberg after each channel's error below 16 (negative ones too) becomes 0.
void CLR_KernelFloydNoise(DitherCell** rows, LONG x, LONG y, LONG width, LONG height, LONG r, LONG g, LONG b);

// The kernel table, in its fixed order: Floyd-Steinberg, Stucki, Burkes,
// Sierra, Jarvis, Stevenson, Fast, FloydNoise.
struct KernelRow {
    CLR_Kernel kernel;
    int rows;  // lines held, the current one included
};
extern const KernelRow CLR_Kernels[8];
// The kernel row of a dither_type (0 and 1 both give Fast; a value outside
// 0 to 8 gives Floyd-Steinberg, the default).
const KernelRow& CLR_GetKernel(LONG ditherType);

// count rows of width zero-filled cells; null after reporting 8204 (all freed).
DitherCell** CLR_AllocRows(int count, LONG width);
// Moves every row one place toward row 0; the old row 0 becomes the last.
void CLR_RotateRows(DitherCell** rows, int count);
// Frees the rows and the array (null is allowed).
void CLR_FreeRows(DitherCell** rows, int count);
// A gate consulted before each allocation of CLR_AllocRows (the array, then
// each row): 0 refuses it as if memory were short. Null, the default, allows all.
typedef int (*CLR_RowsMemoryGate)(SIZE_T bytes);
void CLR_SetRowsMemoryGate(CLR_RowsMemoryGate gate);

// 768 bytes read at value + 256: 0 below 0, the value itself up to 255, 255 above.
extern const BYTE* const CLR_ClampTable;
// A channel clamped to 0-255 for any accumulated value; within -256 to 511 it
// is the table's reading.
inline int CLR_Clamp(LONG v)
{
    ULONG at = static_cast<ULONG>(v) + 256U;  // wraps for values far outside
    if (at < 768U) return CLR_ClampTable[at];
    return v < 0 ? 0 : 255;
}

// The ordered-dither matrix, by y % 4 then x % 4.
extern const signed char CLR_HalftoneMatrix[4][4];
// The 16-colour map of the halftone dither, indexed like CLR_Flat16Map.
extern const BYTE CLR_Halftone16Map[64];

// Fills width cells from one DIB line of depth bits (1, 4, 8 through the
// colour table, which must cover every index of the depth: 2, 16 or 256
// entries; 16 as red = (w & 31) * 8, green = (w & 0x3E0) >> 2, blue =
// (w & 0x7C00) >> 7; 24 and 32 as blue, green, red). Other depths do nothing.
void CLR_LoadRow(int bits, LONG width, const BYTE* line, const RGBQUAD* colors, DitherCell* row);
// Copies a DIB's colour table into a table of 256 entries, black past its own
// entries, so that any pixel index reads inside it.
void CLR_FullColorTable(const BITMAPINFOHEADER* header, const RGBQUAD* colors, RGBQUAD table[256]);

// Dithers source into destination, whose header and colour table are final
// (1, 4 or 8 bits), left to right with the kernel of dither_type and the match
// cache when fast_dither is on. Reports thermometer position pass * height +
// y + 1 every sixteenth line and at the last. 1, or 0 when the row buffers
// could not be had (8204 reported; the caller frees the destination).
int CLR_DitherToPalette(HGLOBAL source, HGLOBAL destination, int pass);

// Flat Cut with dither to target 1, 4, 8 or 16 (24 copies as CLR_FlatReduce);
// same arguments, ownership and reports as CLR_FlatReduce, serpentine scan,
// dither_type picking the kernel or the halftone.
int CLR_FlatDither(HGLOBAL source, HGLOBAL* result, int target, int gray);

// The dithering path of the palette service: a new DIB of 8 bits for more than
// 16 colours, 1 for fewer than 3, else 4, with the count colours (blue, green,
// red) as its table, dithered from dib by CLR_DitherToPalette. Null after a
// box with "Not enough memory to complete operation", or when the dither failed.
HGLOBAL CLR_DitherToColors(HGLOBAL dib, const RGBQUAD* colors, int count);
// The direct path of the palette service: the same new DIB as
// CLR_DitherToColors, each pixel given its nearest colour with no error carried.
// Null after the same box when memory is short.
HGLOBAL CLR_MapToColors(HGLOBAL dib, const RGBQUAD* colors, int count);
#ifdef _WIN32
// Service 77: mode 0 re-expresses the DIB with the palette's colours directly
// (CLR_MapToColors), any other mode dithers to them (CLR_DitherToColors).
HGLOBAL CLR_ApplyPalette(HGLOBAL dib, HPALETTE palette, int mode);
#endif
