// Command 2562, "System Info": a dialog that describes the machine for
// support, and the same text written to "sysinfo.txt" or printed.
#pragma once

#include "platform/win32.h"

// The command: the modal dialog over frame.
void SYS_ShowInfo(HWND frame);
INT_PTR CALLBACK SYS_InfoProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
// The list dialog; lParam is the mode: 1 format modules, 3 tasks, else function modules.
INT_PTR CALLBACK SYS_ListProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
// Counts a top-level window that has a title and no living owner; with a
// list box in lParam it also adds the title there. Always 1.
BOOL CALLBACK SYS_EnumWndProc(HWND window, LPARAM lParam);
// Counts each window of the program's thread.
BOOL CALLBACK SYS_EnumTaskProc(HWND window, LPARAM lParam);
// Fills the device group from the screen (isScreen) or from a printer the
// print dialog gives; false when that dialog was cancelled.
int SYS_ShowDevice(HWND dialog, int isScreen);
// Writes the dialog's texts to "sysinfo.txt" in the current folder, or prints them.
void SYS_Report(HWND dialog, int toPrinter);
