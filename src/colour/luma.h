// Luminance tables, indexed -256 to 255: each entry is v times the channel's
// weight (red 0.30, green 0.59, blue 0.11) rounded as the program always has,
// computed in integer hundredths so that every build gives the same values.
#pragma once

#include "platform/win32.h"

extern LONG CLR_LumaRedTable[512];
extern LONG CLR_LumaGreenTable[512];
extern LONG CLR_LumaBlueTable[512];
// Entry v of each table (v from -256 to 255).
#define CLR_LumaRed(v) (CLR_LumaRedTable[(v) + 256])
#define CLR_LumaGreen(v) (CLR_LumaGreenTable[(v) + 256])
#define CLR_LumaBlue(v) (CLR_LumaBlueTable[(v) + 256])

// Fills the three tables (start-up; safe to call again).
void CLR_InitLuma();
// The gray level of a colour: the sum of the three table entries.
inline int CLR_Luma(int red, int green, int blue) { return CLR_LumaRed(red) + CLR_LumaGreen(green) + CLR_LumaBlue(blue); }
