// The program's own control classes.
#pragma once

// BitmapButton, GroupBox: registered at start-up; 0 on failure.
int BMP_RegisterClass();
int GRP_RegisterClass();
// VCRCtrl and SliderCtrl, the media documents' transport controls; 0 on failure.
int VC_RegisterClasses();

#include "platform/win32.h"

// The window procedures: a push button showing the bitmap its text names,
// and a raised panel with a centred title.
LRESULT CALLBACK BMP_BitmapButtonProc(HWND button, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK GRP_GroupBoxProc(HWND group, UINT message, WPARAM wParam, LPARAM lParam);
