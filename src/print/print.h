// Printing of the active image on one page: the print dialog with the size
// fields, printer setup, and the job with its progress dialog, drawn either
// as one stretched DIB or, for 24 bits on a colour PostScript printer, as
// PostScript through the driver's passthrough escape.
#pragma once

#include "platform/win32.h"

#include <commdlg.h>

#include <cstddef>

// The print dialog's record, made on first use and kept, so that the printer
// and device mode chosen last stay chosen.
extern PRINTDLGA PRI_PrintDlg;
// Horizontal and vertical size in percent and the copies typed, as the
// dialog's last OK left them.
extern LONG PRI_ScaleX, PRI_ScaleY, PRI_Copies;

// The print dialog (with the program's size fields when withHook is set);
// the printer's device context, or 0 when cancelled.
HDC PRI_GetPrinterDC(int withHook);
// Command 262: the common printer setup dialog.
void PRI_PrinterSetup();
// Driver and device name from the record's DEVNAMES block into a buffer of
// size bytes; 0 when there is no block or the name does not fit.
int PRI_GetDriverName(char* buffer, size_t size);
int PRI_GetDeviceName(char* buffer, size_t size);
int PRI_GetPortName(char* buffer, size_t size);
// The record's nCopies.
int PRI_GetCopies();
INT_PTR CALLBACK PRI_PrintHookProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
void PRI_GetScale(LONG* outX, LONG* outY);
void PRI_SetScale(LONG x, LONG y);
void PRI_SetCopies(LONG n);
// A device context for the default printer of the "windows" "device" profile
// value, without a dialog; 0 when the value lacks a part.
HDC PRI_GetDefaultPrinterDC();
// Command 261: prints imageWindow's image at the page origin.
void PRI_Print(HWND imageWindow);

// The job: the progress dialog, the abort procedure and the document. True on success.
int PRI_StartDoc(HDC printerDC, HWND parentWindow, HINSTANCE instance, const char* documentName);
// Ends the document unless status is negative or the user cancelled; closes the progress dialog.
void PRI_EndDoc(HDC printerDC, int status);
// Draws the progress bar: 0 resets, -1 repaints, 1 to 100 grows.
void PRI_Progress(int percent);
INT_PTR CALLBACK PrintDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
BOOL CALLBACK AbortProc(HDC printerDC, int code);
// Draws dib at x, y, width by height on the printer by the path that fits;
// reports a failure. The result of the last step, 0 or below on failure.
int PRI_PrintImage(HWND imageWindow, HGLOBAL dib, HDC printerDC, int x, int y, int width, int height);
// Whether the record's printer is a colour PostScript printer.
int PRI_IsColorPostScript(HDC printerDC);
