// The program's own control classes.
#pragma once

#include "platform/win32.h"

// BitmapButton, GroupBox: registered at start-up; 0 on failure.
int BMP_RegisterClass();
int GRP_RegisterClass();

// The window procedures: a push button showing the bitmap its text names,
// and a raised panel with a centred title.
LRESULT CALLBACK BMP_BitmapButtonProc(HWND button, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK GRP_GroupBoxProc(HWND group, UINT message, WPARAM wParam, LPARAM lParam);

// The play strip of the media windows (VCRCtrl: Play, Stop and a SliderCtrl).
// Registers both classes in the running module, retrying each once after
// dropping an earlier registration; 0 on failure.
int VC_RegisterClasses();
LRESULT CALLBACK VC_SliderCtrlProc(HWND slider, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK VC_VCRCtrlProc(HWND strip, UINT message, WPARAM wParam, LPARAM lParam);
// A visible strip along the bottom of parent's client area, as wide as it
// and VC_GetHeight() high; null on failure.
HWND VC_Create(HWND parent, int id);
int VC_GetHeight();
// The slider's position, and its length: the number of places, maximum + 1.
void VC_SetPosition(HWND vcr, WORD value);
WORD VC_GetPosition(HWND vcr);
void VC_SetLength(HWND vcr, WORD count);
WORD VC_GetLength(HWND vcr);
// Play and the slider together; Stop alone.
void VC_EnablePlay(HWND vcr, int flag);
void VC_EnableStop(HWND vcr, int flag);
