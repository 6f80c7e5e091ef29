// Optimized Cut: a median cut on a histogram of five bits per channel. The
// histogram's table doubles as the inverse colour map; boxes are kept in a
// list ordered by their widest side (the widest box is always cut next); a
// box is split at the population median along that side; palette values are
// the population-weighted mean of the five-bit channels times 8.
//
// All working state is process-wide: one cut at a time. A cut runs Begin,
// AddImage (once or more), MakePalette, MapPixels or a dither, End; the steps
// are offered one by one so that several images can share one palette.
#pragma once

#include "colour/colour_switches.h"
#include "platform/win32.h"

// Reduces an 8, 24 or 32-bit DIB to an adaptive palette of at most count
// colours (2 to 256; a count above 16 gives an 8-bit DIB, otherwise a 4-bit
// one, with biClrUsed the count asked for and unused entries black). The
// source stays the caller's and unchanged; *result is a new unlocked moveable
// block owned by the caller. CLR_CutDither picks error diffusion over direct
// mapping, CLR_CutShowProgress the thermometer. Result 1, or 0 after 8204
// was reported (8207 still gives 1, with fewer colours).
int CLR_MedianCut(HGLOBAL source, HGLOBAL* result, int count);

// Allocates the table, the colour pool and the buckets; 0 after reporting 8204.
int CLR_CutBegin();
// Counts the pixels of one image (rows padded to 32 bits) into the histogram.
// bits 8 reads each pixel through colors, which must cover every value the
// pixels use; 24 and 32 read blue, green, red; other depths count nothing.
// 0 after reporting 8204 when the pool cannot grow (the cut is then over).
int CLR_CutAddImage(const BYTE* pixels, const RGBQUAD* colors, LONG width, LONG height, int bits);
// Cuts the histogram into at most count boxes, writes one colour-table entry
// per box (blue, green, red, 0) from table[0] on, and turns the histogram into
// the map from colour to palette index. Result the number of entries written,
// or 0 after reporting 8204 (no first box; the cut is then over). A later box
// that can't be had reports 8207 and leaves fewer entries.
int CLR_CutMakePalette(RGBQUAD* table, int count);
// Writes the palette index of every pixel: a source below 24 bits (8 bits,
// read through colors) always gives nibbles, first pixel in the high nibble;
// 24 or 32 bits give bytes for an 8-bit destination, nibbles otherwise.
// Colours the histogram never saw map to 0. Always 1.
int CLR_CutMapPixels(const BYTE* source, BYTE* dest, LONG width, LONG height, int sourceBits, int destBits,
                     const RGBQUAD* colors);
// Frees everything the cut holds; safe to call at any time.
void CLR_CutEnd();

// ---- working memory -----------------------------------------------------------
// The blocks a cut asks for, by kind, as told to the memory gate.
enum CutMemoryKind {
    CUT_MEM_OUTPUT = 0,     // the new DIB of CLR_MedianCut
    CUT_MEM_TABLE = 1,      // the 32,768-entry table
    CUT_MEM_DIRECTORY = 2,  // the pool's directory of blocks
    CUT_MEM_BLOCK = 3,      // one block of 32 colour records
    CUT_MEM_BUCKETS = 4,    // the 32 sort buckets
    CUT_MEM_BOX = 5,        // one box record
};
// A gate consulted before every allocation of the cut: 0 refuses it, as if
// memory were short. Null (the default) allows everything.
typedef int (*CLR_CutMemoryGate)(int kind, SIZE_T bytes);
void CLR_CutSetMemoryGate(CLR_CutMemoryGate gate);
// Bytes of working memory the cut holds now, beyond the source and output
// DIBs, and the most it has held since the last reset.
SIZE_T CLR_CutWorkingBytes();
SIZE_T CLR_CutWorkingPeak();
void CLR_CutResetPeak();
// The bound on that memory for a palette of count entries: the table, the
// directory, every colour record a histogram can hold, the buckets and one
// box per entry.
SIZE_T CLR_CutWorkingBound(int count);
