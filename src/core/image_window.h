// The image window's drawing and sizing, shared with the operations that
// replace a window's image.
#pragma once

#include "platform/win32.h"

// Draws the window's image at the scroll origin: the device bitmap, else the DIB.
void WIN_Paint(HWND hwnd, HDC dc);
// Sizes the window around the image (hDIB is read, not kept); nothing when maximised.
void WIN_FitToImage(HWND hwnd, HGLOBAL hDIB);
// Shows, hides and ranges the scroll bars for the image and the client size.
void WIN_UpdateScrollBars(HWND hwnd);
// Height of a media document's transport control at the window's bottom, 0 without one.
int WIN_TransportHeight(HWND hwnd);

// The class name of the image windows.
inline constexpr char WIN_ClassName[] = "GenericWClass";
// Whether a window is an image window (class GenericWClass).
int WIN_IsImageWindow(HWND hwnd);
