// Screen capture: the engine armed by the Capture menu and fired by the hot
// key, its options kept in the profile store, and the hot key module CAPTURE.DLL.
#pragma once

#include "capture/capture_rules.h"
#include "platform/win32.h"

// The message CAPTURE.DLL sends to the frame when the hot key goes down.
const UINT CAP_HotKeyMessage = 1025;

// What is captured (low byte) and where it goes (bits 8 to 10).
extern LONG CAP_Mode;
// The numbered file destination and the grab's options.
extern char cap_file[128];
extern char cap_dir[128];
extern LONG cap_file_num;
extern LONG cap_file_num_len;
extern LONG cap_use_count;
extern LONG cap_client;
extern DWORD cap_save_id;
// The rectangle of the last drag, in screen coordinates.
extern RECT CAP_UserRect;
// The rectangle mode's window, alive only during that mode.
extern HWND CAP_TransWindow;

// One capture of what the mode names, delivered where it says; failures are reported here.
void CAP_Capture();
// Commands 768 to 772: arm a kind, store the mode and check its menu entry.
void CAP_SetMode(UINT commandId);
// Checks the menu entry of command (768 to 773) and clears the others.
void CAP_CheckMenu(UINT commandId);
// A rectangle of the screen as a DIB (*dib) and a device bitmap (*bitmap);
// both 0 after a failure, which is reported. palette may be 0 or -1 (none).
void CAP_GrabRect(HDC screen, int x, int y, int width, int height, HGLOBAL* dib, HPALETTE* palette,
                  HBITMAP* bitmap);
// A window's rectangle on the screen: the whole window, or its client area when cap_client is set.
void CAP_GetRect(HWND window, RECT* rect);
// The file destination: the numbered name, the format cap_save_id, the DIB as it is or in gray.
void CAP_SaveToFile(HGLOBAL dib, HBITMAP bitmap);

// At start-up, after the settings: reads the capture options, checks the
// mode's menu entry, loads CAPTURE.DLL and binds the hot key to the frame.
void CAP_LoadOptions();
// Command 773: the Capture Options dialog, then the options written.
void CAP_OptionsCommand(HWND frame);
INT_PTR CALLBACK CAP_OptionsProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
// At frame destruction: writes the options, unbinds the hot key and frees CAPTURE.DLL.
void CAP_UnloadOptions();
// Reads cap_save_all from the "Capture" section (1 when it has none).
int CAP_SaveAll();
