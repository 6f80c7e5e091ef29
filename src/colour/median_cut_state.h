// The working state of Optimized Cut, shared by its stages (histogram, boxes,
// mapping). Everything lives between CLR_CutBegin and CLR_CutEnd.
//
// Colour records are named by a 32-bit reference, 1 plus the record's number
// in the pool (0 is "none"), rather than by a pointer, so that a record is 20
// bytes and the table 128 KB on every build: 32,768 colours need at most
// 640 KB of records, in blocks of 32.
#pragma once

#include "colour/median_cut.h"

typedef DWORD CutRef;

// One distinct colour of the histogram.
struct CutColor {
    DWORD key;    // the 15-bit colour: red in bits 14-10, green 9-5, blue 4-0
    DWORD count;  // pixels with this key
    DWORD box;    // number of the box that owns it (1 up), set before the palette is written
    DWORD index;  // final palette index
    CutRef link;  // chain through a sort bucket
};
static_assert(sizeof(CutColor) == 20, "a block of 32 colours is 640 bytes");

// A box: a slice of the compacted table and its bounds in five-bit units.
struct CutBox {
    CutBox* next;
    CutBox* prev;
    DWORD width;  // length of the longest side, 0 to 31
    DWORD axis;   // the longest side: 0 red, 1 green, 2 blue
    CutRef* colors;
    DWORD colorCount;
    int64_t pixelCount;
    DWORD redMax, redMin, greenMax, greenMin, blueMax, blueMin;
    DWORD red, green, blue;  // mean colour in five-bit units
    DWORD paletteIndex;
    DWORD number;  // 1 up, in the order the boxes were made
};

enum { CUT_AXIS_RED = 0, CUT_AXIS_GREEN = 1, CUT_AXIS_BLUE = 2 };

const int CUT_TableSize = 32768;
const int CUT_BlockColors = 32;
const int CUT_DirectorySize = CUT_TableSize / CUT_BlockColors;
const int CUT_BucketCount = 32;
const int CUT_MaxBoxes = 256;

struct CutState {
    CutRef* table;         // histogram, then compacted array, then the map
    CutColor** directory;  // blocks of CUT_BlockColors records
    int blocks;            // blocks allocated
    int usedInBlock;       // records used in the last block
    CutRef* buckets;
    CutBox* head;  // the list of boxes, widest first
    int boxCount;
    DWORD colorCount;                  // distinct colours after compaction
    CutBox* boxesMade[CUT_MaxBoxes];   // every box allocated, by number - 1
    int boxesAllocated;
    int progress;        // thermometer positions are reported
    LONG progressHeight;  // the height whose second half MapPixels reports
};
extern CutState CUT_State;

// The record a reference names.
inline CutColor& CUT_Color(CutRef ref)
{
    DWORD n = ref - 1;
    return CUT_State.directory[n / CUT_BlockColors][n % CUT_BlockColors];
}
// Five-bit channels of a key.
inline DWORD CUT_Red(DWORD key) { return (key >> 10) & 31; }
inline DWORD CUT_Green(DWORD key) { return (key >> 5) & 31; }
inline DWORD CUT_Blue(DWORD key) { return key & 31; }
// The key of a colour: the top five bits of each channel.
inline DWORD CUT_Key(int red, int green, int blue)
{
    return (static_cast<DWORD>(red & 0xF8) << 7) | (static_cast<DWORD>(green & 0xF8) << 2) | (static_cast<DWORD>(blue) >> 3);
}

// Zero-filled working memory, through the gate and counted; null when refused.
void* CUT_Allocate(int kind, SIZE_T bytes);
void CUT_Release(void* block, SIZE_T bytes);
// Whether the gate lets a block of this kind be had (for the output DIB).
int CUT_GateAllows(int kind, SIZE_T bytes);
// Frees every box record.
void CUT_FreeBoxes();
