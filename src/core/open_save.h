// Opening documents: File New, File Open, a name from the command line, a
// second instance or an outside program, and files dropped on the frame.
#pragma once

#include "formats/codec_runtime.h"
#include "platform/win32.h"

#include <shellapi.h>

// FIL_NameRoom (the codec runtime's) sizes every name buffer here: a name
// that fits the file calls fits the buffers.
const int FIL_OpenBufferSize = 133120;

// The file being opened, also the New window's title.
extern char FIL_NameBuffer[FIL_NameRoom];
// What the Open dialog returned: one full name, or a folder followed by the
// names chosen in it, each ended by NUL, the list by an empty name.
extern char FIL_OpenBuffer[FIL_OpenBufferSize];
// The folder with a trailing "\" when the dialog returned several names, else empty.
extern char FIL_FolderPrefix[FIL_NameRoom];
// Names still to open in the current call.
extern int FIL_Pending;
// The number of the next New window; starts at 1 and never goes down.
extern int FIL_NewCounter;

// isNew non-zero: a new empty window titled "Image" and a number. A name
// given: opens that file with the format found from its extension. Neither:
// asks with the Open dialog, and every file chosen there enters the Last
// Files list. Returns the last new image window, or 0 when a window could not
// be made or a file not loaded (the failure has been reported; the rest of a
// multiple selection is dropped).
HWND FIL_OpenDocument(HWND frame, LPCSTR name, int isNew);
// Reads a file with the current load format inside the load information's
// bracket; non-zero on success, *handle then the caller's DIB.
int FIL_LoadFile(LPCSTR name, HGLOBAL* handle);
// The Open dialog on the current load format's filter (none at all when that
// format has no filter entry): the first chosen name into buffer (260
// characters), its filter's row into *row, the count of names into
// FIL_Pending. The folder used is kept for the next time. Non-zero unless cancelled.
int FIL_OpenDialog(LPSTR buffer, int* row);
// The Open dialog's hook: a Photo CD filter shows the disc's overview.
UINT_PTR CALLBACK FIL_OpenHook(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
// Whether a folder holds a Photo CD; no folder does.
int FIL_IsPhotoCdFolder(LPCSTR folder);
// Size of a file in bytes, -1 when it can't be opened.
LONG FIL_GetFileSize(LPCSTR path);
// WM_DROPFILES: opens each dropped file whose extension names a format;
// reports the others and those that fail, then finishes the drop.
void FIL_DropFiles(HWND frame, HDROP drop);
