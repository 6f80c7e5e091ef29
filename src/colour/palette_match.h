// Palette matching: the nearest entry of an arbitrary palette to a colour, and
// the match cache that spares most of the searches during one dither.
#pragma once

#include "platform/win32.h"

// Index of the entry nearest to (red, green, blue) among the first `count`
// entries (blue, green, red, fourth byte ignored): the smallest sum of absolute
// channel differences, the lowest index on a tie; 0 when count is 1 or less.
BYTE CLR_NearestColor(const RGBQUAD* palette, int count, int red, int green, int blue);

// The match cache: 32,768 cells addressed by five bits per channel, each
// holding the index found for the first colour that reached it.
extern BYTE* CLR_MatchUsed;   // 0 = cell empty, 1 = filled
extern BYTE* CLR_MatchIndex;  // the palette index of a filled cell
// Cell number of a colour: (R & 0xF8) << 7 | (G & 0xF8) << 2 | (B & 0xF8) >> 3.
inline UINT CLR_MatchCell(int red, int green, int blue) { return ((red & 0xF8) << 7) | ((green & 0xF8) << 2) | ((blue & 0xF8) >> 3); }
// Allocates both arrays zero-filled for one operation; 0 (silently, nothing
// kept) when memory is short, and the caller then searches every pixel.
int CLR_MatchBegin();
// Frees the arrays; safe when they were never had.
void CLR_MatchEnd();
// The index for a colour through the cache when it is present (a first visit
// of a cell searches and stores), else by CLR_NearestColor.
BYTE CLR_MatchColor(const RGBQUAD* palette, int count, int red, int green, int blue);
