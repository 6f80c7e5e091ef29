// The logo window, class AboutClass: the picture and the program's credits,
// shown at start-up and by Help, About.
#pragma once

#include "platform/win32.h"

// The logo's window, 0 when none is shown.
extern HWND LOGO_Window;
inline constexpr char LOGO_ClassName[] = "AboutClass";

// Creates the AboutClass window owned by the frame and takes the mouse.
void LOGO_Show();
// Releases the mouse and destroys the logo window, if one is shown.
void LOGO_Close();
// Draws the picture (screens of 8 bits and more) and the credit lines.
void LOGO_Paint(HWND window, HDC dc);
// The window procedure of AboutClass: a button press or a character closes it.
LRESULT CALLBACK AboutWndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
