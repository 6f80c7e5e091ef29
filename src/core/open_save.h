// Opening documents: File New, File Open, a name from the command line, a
// second instance or an outside program.
#pragma once

#include "platform/win32.h"

// isNew non-zero: a new empty window titled "Image" and a number. A name
// given: opens that file with the current load format (found again from its
// extension). Neither: asks with the Open dialog. Returns the new image
// window, or 0 when nothing was opened (a failure has been reported).
HWND FIL_OpenDocument(HWND frame, LPCSTR name, int isNew);
// Reads a file with the current load format inside the load information's
// bracket; non-zero on success, *handle then the caller's DIB.
int FIL_LoadFile(LPCSTR name, HGLOBAL* handle);
// The Open dialog on the current load format's filter: the chosen name into
// buffer (260 characters), its filter's row into *row. Non-zero unless cancelled.
int FIL_OpenDialog(LPSTR buffer, int* row);
// Size of a file in bytes, -1 when it can't be opened.
LONG FIL_GetFileSize(LPCSTR path);
