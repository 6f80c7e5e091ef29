// The Save dialog: the platform's common Save dialog with a column of save
// options (depths, Color and Gray, Compressed) that its "Formats>>" button
// shows and hides, following what the selected format can hold.
#pragma once

#include "platform/win32.h"

// 1 when the common dialogs are used in the Explorer style (Windows 95 and
// 98), 0 on Windows NT and Win32s; 1 until FIL_DetectDialogStyle ran.
extern int FIL_ExplorerStyle;
// Sets FIL_ExplorerStyle from the platform, once.
void FIL_DetectDialogStyle();

// The save options word in and out of the dialog, whether the column shows,
// and by how much the dialog grows to show it.
extern WORD FIL_Options;
extern int FIL_Expanded;
extern int FIL_ExpandWidth;

// Asks for a name (260 characters in and out; a folder in it becomes the
// starting folder), a format (*row in and out) and the save options
// (*options in and out). Non-zero unless cancelled.
int FIL_SaveDialog(LPSTR name, int* row, WORD* options);
// The hook procedure of the Save dialog, in either style.
UINT_PTR CALLBACK FIL_GetSaveHook(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
// Brings the column in line with the selected format after a change (modes 1-4).
void FIL_UpdateOptions(HWND dialog, int mode);
