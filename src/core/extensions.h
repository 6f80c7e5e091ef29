// The optional extension library CIMAGE.DLL: loaded once at start-up from the
// program's folder, it sees every frame and image-window message first and
// hears about document events through its hooks. Without it every hook is a
// no-op returning 0.
#pragma once

#include "platform/win32.h"

// Loads CIMAGE.DLL if the file is there, calls its LIB_InitImageLib with the
// frame, the client and logoUp, and keeps its two message handlers and its
// finisher; a library that lacks either handler is unloaded again.
void MAI_LoadLibrary(int logoUp);
// Frees the library and forgets its entry points.
void MAI_FreeLibrary();
// Whether the library is in place.
int LIB_IsLoaded();

// LIB_InitImageLibFinish, once the logo is gone.
void LIB_InitFinish();
// The library's frame handler: 1 when it handled the message, with its result in *result.
int LIB_FrameMessage(HWND frame, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result);
// The library's image-window handler, likewise.
int LIB_ImageMessage(HWND child, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result);
// Hooks looked up at each call; each returns the hook's result, 0 when absent.
LRESULT LIB_MDIChange(HWND child);
LRESULT LIB_MDIDelete(HWND child, HGLOBAL hDIB);
LRESULT LIB_MDIRename(HWND child, LPCSTR name);
LRESULT LIB_MDILoad(HWND child, LPCSTR name);
LRESULT LIB_MDISave(HWND child, LPCSTR name);
