// What the image window does with the user's input: scrolling by the bars
// and the keys, and the mouse (fit on a click, the thumbnail's double click,
// the context menu).
#pragma once

#include "platform/win32.h"

// WM_HSCROLL and WM_VSCROLL: lines of 10 pixels, pages of the client's size,
// the thumb on release only.
void WIN_HScroll(HWND hwnd, WPARAM wParam, LPARAM lParam);
void WIN_VScroll(HWND hwnd, WPARAM wParam, LPARAM lParam);
// WM_KEYDOWN: the arrows and Page keys scroll where the window has the bar.
LRESULT WIN_KeyDown(HWND hwnd, WPARAM wParam, LPARAM lParam);
// WM_LBUTTONDOWN: a window with an image is fitted to it again.
LRESULT WIN_LeftButtonDown(HWND hwnd);
// WM_LBUTTONDBLCLK: with want_thumbnail on, opens the full image of the
// thumbnail and closes this window; else as a click.
LRESULT WIN_LeftDoubleClick(HWND hwnd);
// WM_RBUTTONDOWN: the File popup (Edit without an image) as a context menu.
LRESULT WIN_RightButtonDown(HWND hwnd, LPARAM lParam);
