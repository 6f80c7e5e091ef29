// The load panel ("DisplayClass"): stands over the frame while a file loads,
// with what the reader has learned so far and a progress bar.
#pragma once

#include "platform/win32.h"

// Non-zero (the default): loads show the panel.
extern LONG DIS_Enabled;
// The panel while a load runs, else null.
extern HWND DIS_Window;

// Hands the panel to the codec runtime's load hooks; called once at start-up.
void DIS_Install();
// The panel's place over the frame, in dialog units, for the loads to come.
void DIS_SetPlace(short x, short y, short width, short height);
LRESULT CALLBACK DIS_DisplayProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
