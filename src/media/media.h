// Film and sound documents: an image window that carries the play strip
// (id 341) at its bottom and plays its file through MCI command strings.
// A film shows any of its frames as the window's image; a sound shows the
// picture its row loaded. The window's mediaAlias attribute holds the MCI
// alias number while the file plays, 0xFFFF otherwise.
#pragma once

#include "platform/win32.h"

#include <mmsystem.h>

// The play strip's control id.
const int MED_StripId = 341;

// After the load of a film (document type 3): marks the window a film, takes
// dib over as its image, adds the strip and ranges it by MCI's length.
void AVI_SetUpWindow(HWND window, HGLOBAL dib);
// WM_COMMAND 341: the high word of lParam is 1 Play, 2 Stop, 3 a slider move
// to the frame in the low word.
void AVI_OnVcr(HWND window, WPARAM wParam, LPARAM lParam);
// MM_MCINOTIFY: the film ended or was stopped; its last frame becomes the still.
void AVI_OnMciNotify(HWND window);
// Makes frame the window's image; a film that no longer opens leaves the still.
void AVI_ShowFrame(HWND window, WORD frame);

// The same for sounds (document types 4 and 5), under the alias word "sound".
void SND_SetUpWindow(HWND window, HGLOBAL dib);
void SND_OnVcr(HWND window, WPARAM wParam, LPARAM lParam);
void SND_OnMciNotify(HWND window);
// Runs one MCI string for window; with report set a failure is shown and the
// window goes back to rest. MCI's result, 0 on success.
DWORD SND_SendCommand(HWND window, LPCSTR command, int report);

// Closes the device of a window that goes while its file plays.
void MED_Close(HWND window);
// Keeps the strip along the bottom of the window after a change of size.
void MED_PlaceStrip(HWND window);
