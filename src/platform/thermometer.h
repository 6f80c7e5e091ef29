// The progress thermometer: one small pop-up for the whole process that shows
// how far a long operation has come. The operations call it from inside their
// loops; it draws at once onto its own device context and takes no input, so
// it never stops an operation. The program implements it as a window
// (controls/thermometer.cpp); headless builds draw a bar on a terminal
// (cli/hooks_thermometer.cpp).
//
// Calling order: TRM_Open with a text just loaded, TRM_SetRange(0, n),
// TRM_Update at intervals (positions rising), optionally TRM_SetText, TRM_Close.
// Positions are 16 bits and 0xFFFF is reserved, so a range stays below it.
#pragma once

#include "platform/win32.h"

// Creates and shows the thermometer with a copy of text as its caption; low,
// high and position start at 0. Shown only while this thread has the focus.
void TRM_Open(HWND owner, LPCSTR text);
// Sets the ends of the bar; the position becomes low, nothing is drawn.
void TRM_SetRange(WORD low, WORD high);
// Draws the bar at position; nothing happens when it equals the last one.
void TRM_Update(WORD position);
// Replaces the caption and redraws everything, the bar at its last length.
void TRM_SetText(LPCSTR text);
// Destroys the thermometer and frees its caption.
void TRM_Close();
// The window that owns the thermometers of the colour engine: the frame in the
// program, none in headless builds.
HWND TRM_Owner();

// Reserved position: a full paint of frame, labels, text and bar.
const WORD TRM_FullPaintPosition = 0xFFFF;

// Filled part of a bar of full width `width` at position pos: width times
// (pos - low) / (high - low), truncating, 0 when high equals low or pos is low.
// Nothing limits it: a position past high gives more than width.
inline LONG TRM_BarFill(LONG width, WORD low, WORD high, WORD pos)
{
    if (high == low || pos == low) return 0;
    return width * (static_cast<LONG>(pos) - low) / (static_cast<LONG>(high) - low);
}

#ifdef _WIN32
// The thermometer's window procedure: WM_PAINT does a full paint.
LRESULT CALLBACK TRM_DisplayProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
#endif
