// Saving documents: File Save, File Save As with its conversions, the copy
// of a media document's file, and the question before a modified window closes.
#pragma once

#include "platform/win32.h"

// The current load and save formats; the setters take an ignored first argument.
int FIL_GetLoadRow();
int FIL_GetSaveRow();
void FIL_SetLoadRow(HWND ignored, int row);
void FIL_SetSaveRow(HWND ignored, int row);

// FMT_Save with the current save format.
int FIL_SaveFile(LPCSTR name, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
// File Save: writes the image under the window's title in its own format
// (Save As when it has none); non-zero when saved. A save ends the undo history.
int FIL_SaveDocument(HWND hwnd);
// File Save As: the dialog, the name checks, the colour-loss question, the
// conversions of colour and depth, then the save under the new name.
int FIL_SaveAs(HWND hwnd);
// Saves a media document by copying its file (kind 4 animation, 8 wave, 16 MIDI).
int FIL_SaveMediaCopy(HWND hwnd, int kind);
// 1 when the window may close: Shift held, nothing changed, a media
// document, a batch running, or the user's answer to "... has been changed".
int FIL_QueryClose(HWND hwnd);
