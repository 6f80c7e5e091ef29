// The batch facility of the program: the dialog that composes a run and the
// run loop that converts its files in image windows, one after the other.
#pragma once

#include "platform/win32.h"

// Command 260: counts the session, shows dialog 301 and, after "Batch!", runs.
void BAT_Facility(HWND frame);
// Converts every pair of the run state: open, convert, save, close.
void BAT_Run(HWND frame);
// Applies the run's options to one loaded image window; always 1.
int BAT_ConvertImage(HWND window);
