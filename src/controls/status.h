// The status bars (Windows only): the System/Help bar with the memory line
// and the menu help, and the Local bar that describes the active image.
#pragma once

#include "platform/win32.h"

// Stores the mode (0 no bars, 1 system/help bar, 2 local bar, 3 both); once
// the bars exist, also fits the MDI client above them, shows or hides them,
// lays them out and redraws them. A mode given before the bars exist waits for them.
void STA_SetMode(int mode);
// The mode in force.
int STA_GetMode();

// Control ids of the two bars.
const int STA_SystemId = 0x1234;
const int STA_LocalId = 0x1235;
extern HWND STA_SystemBar;
extern HWND STA_LocalBar;

// Registers the class StatusClass; 0 on failure.
int STA_RegisterClass();
// Makes the two bars and their font for the frame and lays them out by the
// mode; reports "Could not create status windows" and gives 0 on failure.
int STA_Create(HWND frame);
// Deletes the font and destroys both bars.
void STA_Destroy();
// Redraws both bars unless held by STA_Lock; flag is the drawing routines' frame flag.
void STA_Update(int flag);
// Hold and release the bars; the release that reaches 0 redraws them.
void STA_Lock();
void STA_Unlock();
// The height the bars take from the frame's client area: 0, one or two bar heights.
int STA_GetHeight();
// Lays the bars out after the frame's size changed.
void STA_Layout(HWND frame);
// Writes a line in the System/Help bar (mode 1 or 3 only); null leaves it blank.
void STA_ShowText(LPCSTR text);
// Rewrites the memory line of the System/Help bar.
void STA_ShowMemory();
// The help line of a popup menu (by its handle) or of a menu command.
void STA_ShowPopupHelp(HMENU menu);
void STA_ShowCommandHelp(UINT command);
// The window procedure of StatusClass.
LRESULT CALLBACK STA_StatusProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
