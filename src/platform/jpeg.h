// The JPEG layer behind the JPG, PIC and KQP rows, on libjpeg-turbo: load,
// save, the facts of a file for the Image Information panel, the comment of
// the last load, and the reduction of a DIB for a display of few colours.
//
// Loads give an 8-bit DIB with a gray table for a gray file and a 24-bit DIB
// for every colour file (CMYK and YCCK files included). Saves write baseline
// JFIF at the current quality (75 unless set) with 2x2 chroma subsampling.
// Messages name the file kind passed in ("JPG", "PIC", "KQP").
#pragma once

#include "platform/win32.h"

// The quality of saves when none was set.
const int ZIM_DefaultQuality = 75;

// Loads a baseline or progressive JPEG as the JPG row; the handler contract of a load.
int ZIM_Load(LPCSTR path, HGLOBAL* dib);
// As ZIM_Load, with messages naming kind (the row's extension).
int ZIM_LoadAs(LPCSTR path, HGLOBAL* dib, LPCSTR kind);
// Saves 8-bit gray or colour (expanded to 24 bits) and 24-bit images as the JPG row.
int ZIM_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
// As ZIM_Save, with messages naming kind.
int ZIM_SaveAs(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth, LPCSTR kind);

// Sets the quality of later saves (clamped to 1..100); ZIM_GetQuality reads it.
void ZIM_SetQuality(int quality);
int ZIM_GetQuality();

// Facts of a file without decoding it, silently: parameters = luminance
// quality (bits 0-7) | chrominance quality (8-15) | subsampling code (16-18:
// 0 "1/1/1", 1 "2/1/1", 2 "4/1/1"); kind 2 for a progressive file, 1
// otherwise; the bytes of the pixels a load makes; 8 or 24 bits. Non-zero if
// the file could be read. The reserved arguments are ignored.
int ZIM_GetInfo(LPCSTR path, LPVOID reserved, DWORD* parameters, int* kind, DWORD* uncompressedSize, int* bitCount,
                LPVOID reserved2, LPVOID reserved3);

// The comment (COM segments, joined by CR LF) of the last file loaded; "" when none.
LPCSTR ZIM_GetComment();

// A new DIB reduced for a display of `colours` colours by Flat Cut to the
// fixed palette of that display (2 gives 1 bit, 3 to 16 give the 16 colours,
// more give the 3-3-2 cube of 256; the bit counts 1, 4 and 8 are taken as 2,
// 16 and 256), or null when it can't be made (Flat Cut has then reported
// the shortage of memory). The source and the palette stay the caller's.
HGLOBAL ZIM_ToDisplay(HGLOBAL dib, int colours, int reserved, HPALETTE palette);
