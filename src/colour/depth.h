// Depth conversions at DIB level: the depth increase behind "Increase colors
// to 16/256", "Increase color to 16/24/32-bit", and the gray conversion. The
// document rules around them (the 16-bit shortcuts, the depth a document
// claims) are in colour/conversions.h.
#pragma once

#include "platform/win32.h"

// Depth of the DIB an increase to target makes: 16 gives 24, the rest stay.
inline int CLR_IncreaseOutputBits(int target) { return target == 16 ? 24 : target; }

// A new DIB holding source at the depth of target (4, 8, 16, 24 or 32): a
// paletted source keeps its indices below 24 bits (its colour table copied
// first, the entries it doesn't have black) and gives the full 8-bit channels
// of its palette at 24 and 32 bits; a 24-bit source gives 32 bits. alpha is
// the fourth byte of every 32-bit pixel. The source stays the caller's;
// *result is a new unlocked moveable block owned by the caller. Result 1, or
// 0 after reporting 8204. A layout below the source's own gives 0 with no
// report and no block (nothing to increase).
int CLR_IncreaseDib(HGLOBAL source, HGLOBAL* result, int target, BYTE alpha);

// The gray copy of a DIB (DIB_ToGray): 8 bits from 16, 24 and 32, the same
// depth from 1, 4 and 8. Result 1, or 0 after reporting 8199.
int CLR_GrayDib(HGLOBAL source, HGLOBAL* result);
// The depth a document claims after turning gray: 8 from 16, 24 and 32;
// 1, 4 and 8 stay.
inline int CLR_GrayBits(int bits) { return bits >= 16 ? 8 : bits; }

// Whether a locked DIB can be read as its header says: a 40-byte header,
// uncompressed, positive width and height (rows bottom-up), 1, 4, 8, 16, 24
// or 32 bits, and a block that holds the colour table and every row.
int CLR_DibReadable(HGLOBAL dib, const BITMAPINFOHEADER* header);
// Locks a readable DIB and points at its parts; 0 after reporting 8204 (the
// block is then unlocked).
int CLR_LockReadable(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels);

// Blocks the increase asks for, as told to the memory gate.
enum DepthMemoryKind {
    DEPTH_MEM_OUTPUT = 0,  // the new DIB
    DEPTH_MEM_ROW = 1,     // the scratch row
};
// A gate consulted before each allocation: 0 refuses it, as if memory were
// short. Null (the default) allows everything.
typedef int (*CLR_DepthMemoryGate)(int kind, SIZE_T bytes);
void CLR_DepthSetMemoryGate(CLR_DepthMemoryGate gate);
