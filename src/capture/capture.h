// Screen capture: its options, kept in the profile store, and the hot key
// module CAPTURE.DLL.
#pragma once

#include "platform/win32.h"

// At start-up, after the settings: reads the capture options, checks the
// mode's menu entry, loads CAPTURE.DLL and binds the hot key to the frame.
void CAP_LoadOptions();
// At frame destruction: writes the options, unbinds the hot key and frees CAPTURE.DLL.
void CAP_UnloadOptions();
