// The front of the colour engine: the operations of the Colors menu, also
// called by the save path and the batch engine, which give a document a new
// DIB at another depth. Pixels never change in place: an operation builds a
// second DIB, so that a failure leaves the image as it was.
//
// Each operation has a portable form on a ColourDocument (a DIB, the depth
// the document claims and its colour flag) that works out a ColourChange;
// the program's window operations fetch the window's record, run the
// portable form and hand the change to IMG_SetImage, and headless front ends
// apply it to their own document with CLR_ApplyChange.
#pragma once

#include "colour/colour_switches.h"
#include "platform/win32.h"

// A document as the colour operations see it.
struct ColourDocument {
    HGLOBAL dib;  // the packed DIB, the document's own
    int bits;     // the depth the document claims: 1, 4, 8, 16, 24 or 32
    int color;    // 1 colour (IF_COLOR set), 0 gray
};

// The colour flag of a change: as IMG_SetImage leaves it, cleared, or set.
enum { CLR_COLOR_KEEP = -1, CLR_COLOR_CLEAR = 0, CLR_COLOR_SET = 1 };

// What a successful operation makes of a document.
struct ColourChange {
    HGLOBAL dib;  // the new DIB (owned by whoever receives the change), or null: pixels unchanged
    int bits;     // the depth the document claims afterwards
    int color;    // CLR_COLOR_KEEP, CLR_COLOR_CLEAR or CLR_COLOR_SET
};

// ---- portable operations ---------------------------------------------------------
// Each reads the document, leaves it alone, and fills *change. Result 1, or
// 0 when nothing is to change (a failure has then been reported where it was
// found; a command the menu would not offer gives 0 silently).

// "Color": only the colour flag is set.
int CLR_DocSetColor(const ColourDocument* doc, ColourChange* change);
// "Gray": the gray copy of the DIB; the flag cleared; 16, 24 and 32 claim 8.
int CLR_DocMakeGray(const ColourDocument* doc, ColourChange* change);
// Flat Cut (dither 0) or Flat Cut with Dither to target 1, 4, 8, 16 or 24
// (24 without dither only), gray when the document is gray, thermometer on.
// The document claims the target; a monochrome result is gray.
int CLR_DocFlatCut(const ColourDocument* doc, int target, int dither, ColourChange* change);
// Optimized Cut, direct (dither 0) or with error diffusion, to count colours
// (16 or 256; the batch passes 1 shifted by its target). The document claims
// 4 bits for a count below 17, otherwise 8. A count above 256 has no palette:
// the image then drops to 24 bits by Flat Cut, which keeps it at 24.
int CLR_DocOptimizedCut(const ColourDocument* doc, int count, int dither, ColourChange* change);
// The depth increase to target 4, 8, 16, 24 or 32 with the fourth byte alpha
// (only its low byte counts, so the batch's -1 is 255). A document claiming 16
// raised to 24 or 32 only claims the new depth: no pixel moves.
int CLR_DocIncreaseDepth(const ColourDocument* doc, int target, int alpha, ColourChange* change);

// Menu commands of the Colors popup.
enum ColourCommand {
    CLR_CMD_COLOR = 1280,
    CLR_CMD_GRAY = 1281,
    CLR_CMD_MONO_FLAT = 1809,
    CLR_CMD_MONO_FLAT_DITHER = 1810,
    CLR_CMD_16_INCREASE = 1824,
    CLR_CMD_16_FLAT = 1825,
    CLR_CMD_16_OPTIMIZED = 1826,
    CLR_CMD_16_FLAT_DITHER = 1827,
    CLR_CMD_16_OPTIMIZED_DITHER = 1828,
    CLR_CMD_256_INCREASE = 1840,
    CLR_CMD_256_FLAT = 1841,
    CLR_CMD_256_OPTIMIZED = 1842,
    CLR_CMD_256_FLAT_DITHER = 1843,
    CLR_CMD_256_OPTIMIZED_DITHER = 1844,
    CLR_CMD_16BIT_INCREASE = 1856,
    CLR_CMD_16BIT_FLAT = 1857,
    CLR_CMD_16BIT_FLAT_DITHER = 1858,
    CLR_CMD_24BIT_DECREASE = 1872,
    CLR_CMD_24BIT_INCREASE = 1873,
    CLR_CMD_32BIT_OPAQUE = 1878,
    CLR_CMD_32BIT_TRANSPARENT = 1879,
};
// Whether the menu offers a command to an image that claims bits: the limits
// that keep Optimized Cut from ever seeing a source below 8 bits. 1280 and
// 1281 are always offered; an id outside the popup gives 0.
int CLR_CommandEnabled(int command, int bits);
// The operation of a menu command, when the menu would offer it.
int CLR_DocCommand(const ColourDocument* doc, int command, ColourChange* change);

// How a caller that must bring an image to a depth chooses the operation.
enum ColourRule {
    CLR_RULE_BATCH = 0,  // Optimized Cut unless Flat Cut is asked, never for 1 and 16 bits
    CLR_RULE_SAVE = 1,   // the same, and never for 24 bits, where dithering is dropped too
};
// Brings the document to target: a deeper target raises it (alpha 255); a
// shallower one reduces it with Optimized Cut (1 shifted by target colours)
// when optimized is set and the rule allows it, else with Flat Cut; dither
// chooses the dithered twin. The same depth changes nothing (result 1 with a
// null DIB and the document's own depth).
int CLR_DocToDepth(const ColourDocument* doc, int target, int optimized, int dither, int rule, ColourChange* change);

// Applies a change to a document held without a window, as IMG_SetImage does
// to a window's record: the old DIB is freed, an image of 8 bits or fewer
// whose first biClrUsed entries are all gray turns gray, then the depth and
// the colour flag of the change are set. A change without a DIB frees nothing.
void CLR_ApplyChange(ColourDocument* doc, const ColourChange* change);
// Whether a colour image given this DIB would turn gray: 8 bits or fewer and
// no entry among the first biClrUsed with red, green and blue different.
int CLR_PaletteIsGray(HGLOBAL dib);

// The same operations run on a document and applied to it at once; 1 when
// the document changed.
int CLR_RunCommand(ColourDocument* doc, int command);
int CLR_ConvertDocument(ColourDocument* doc, int target, int optimized, int dither, int rule);

#ifdef _WIN32
// ---- the operations on an image window (the program) ----------------------------------
// Each takes the window, runs the portable form on its record, and on success
// puts the new DIB in through IMG_SetImage (undo, modified flag, palette),
// then sets the depth and the colour flag. 1 on success.
int IMG_MakeGray(HWND window);
int CLR_FlatCut(HWND window, int target);
int CLR_FlatCutDither(HWND window, int target);
int CLR_OptimizedCut(HWND window, int count);
int CLR_OptimizedCutDither(HWND window, int count);
int CLR_IncreaseDepth(HWND window, int target, int alpha);
// The window's record as a document, and a change put into the window.
ColourDocument CLR_WindowDocument(HWND window);
void CLR_WindowInstall(HWND window, const ColourDocument& before, const ColourChange& change);
// Runs a command of the Colors popup on the window (1280 sets the colour flag only).
int CLR_WindowCommand(HWND window, int command);
#endif
