// Flat Cut: reduction to fixed palettes that do not depend on the image, in one
// pass and by table lookup. Targets: 1 (black and white), 4 (the fixed 16
// colours), 8 (the 3-3-2 cube), 16 (a 24-bit DIB with each channel masked to
// its top five bits) and 24 (drops the fourth byte of a 32-bit source).
#pragma once

#include "platform/win32.h"

// The fixed 16-colour palette, blue, green, red, 0.
extern const RGBQUAD CLR_Flat16Palette[16];
// Palette index of a colour off the gray axis, by CLR_Flat16Key.
extern const BYTE CLR_Flat16Map[64];

// Index into CLR_Flat16Map: top two bits of red (bits 5-4), green (3-2), blue (1-0).
inline int CLR_Flat16Key(int red, int green, int blue) { return ((red >> 6) << 4) | ((green >> 6) << 2) | (blue >> 6); }
// The colour distance from the gray axis: with d1 = (G-R)>>2, d2 = (G-B)>>2,
// d3 = (B-R)>>2 (arithmetic shifts), d1^2 + d2^2 + d3^2.
inline int CLR_GrayDistance(int red, int green, int blue)
{
    int d1 = (green - red) >> 2, d2 = (green - blue) >> 2, d3 = (blue - red) >> 2;
    return d1 * d1 + d2 * d2 + d3 * d3;
}
// The gray of the 16 colours chosen by a red value: 0 below 64, 8 below 160,
// 7 below 223, else 15.
inline int CLR_Flat16Gray(int red) { return red < 64 ? 0 : red < 160 ? 8 : red < 223 ? 7 : 15; }
// The 16-colour index of a colour: the map when the gray flag is clear and the
// gray distance is at least `threshold` (50 plain, 200 dithered), else the gray by red.
inline int CLR_Flat16Index(int red, int green, int blue, int gray, int threshold)
{
    if (!gray && CLR_GrayDistance(red, green, blue) >= threshold) return CLR_Flat16Map[CLR_Flat16Key(red, green, blue)];
    return CLR_Flat16Gray(red);
}
// The 3-3-2 index: red / 32 in bits 0-2, green / 32 in bits 3-5, blue / 64 in bits 6-7.
inline int CLR_Flat256Index(int red, int green, int blue) { return (red >> 5) | ((green >> 5) << 3) | ((blue >> 6) << 6); }
// Entry i of the fixed 256-colour palette (the 3-3-2 cube).
RGBQUAD CLR_Flat256Color(int index);
// Writes the colour table of a Flat Cut target (2, 16 or 256 entries; none above 8 bits).
void CLR_FlatWritePalette(RGBQUAD* table, int target);
// Depth of the DIB a Flat Cut target makes: 1, 4, 8 stay, 16 and 24 give 24.
inline int CLR_FlatOutputBits(int target) { return target >= 16 ? 24 : target; }

// Flat Cut without dither. source: the DIB (stays the caller's, unchanged);
// *result: the new DIB, an unlocked moveable block owned by the caller; target
// 1, 4, 8, 16 or 24; gray 1 treats every pixel as gray for target 4. Result 1,
// or 0 after reporting 8204 when memory is short (0 without a report for a
// target outside that list). CLR_FlatShowProgress rules the thermometer.
int CLR_FlatReduce(HGLOBAL source, HGLOBAL* result, int target, int gray);

// ---- shared by the plain and the dithered Flat Cut -------------------------------
// A Flat Cut in progress: both DIBs locked, the geometry and the strides.
struct FlatJob {
    HGLOBAL source;
    HGLOBAL output;
    const BYTE* sourcePixels;
    BYTE* outPixels;
    LONG width;
    LONG rows;  // lines of pixels (the height without its sign)
    DWORD sourceStride;
    DWORD outStride;
    int sourceBits;
    int progress;          // the thermometer is shown
    BYTE* scratch;         // a line of a paletted source as blue, green, red
    RGBQUAD table[256];    // the source's colours, black past its own entries
};
// Locks the source, opens the thermometer with string textId (range 0 to the
// height) when CLR_FlatShowProgress is set, then allocates the zero-filled
// output of the target with its header and colour table. 0 after unlocking,
// closing the thermometer and reporting 8204.
int CLR_FlatBegin(FlatJob* job, HGLOBAL source, int target, UINT textId);
// Line y of the source: pixel c has blue, green, red at c * *step. A paletted
// line is expanded into the scratch line first; a depth that is not read
// leaves every pixel black.
const BYTE* CLR_FlatSourceLine(FlatJob* job, LONG y, int* step);
// Reports line y to the thermometer when shown: position y + 1 for every
// sixteenth line and the last.
void CLR_FlatProgress(const FlatJob* job, LONG y);
// Unlocks both DIBs and closes the thermometer; the output stays the caller's.
void CLR_FlatEnd(FlatJob* job);
// Undoes a job after a later failure: frees the output, unlocks the source,
// closes the thermometer (nothing is reported here).
void CLR_FlatAbandon(FlatJob* job);
// Whether a locked source's block holds header, colour table and every line
// its header claims (a width and height above 0, sizes checked without overflow).
int CLR_SourceFits(HGLOBAL source, const BITMAPINFOHEADER* header);
