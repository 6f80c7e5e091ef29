// Template 308, the option column of the Save dialog, and its controls.
// Shared by the resource script and the C++ code, so only #defines.
#pragma once

#define IDD_SAVE_OPTIONS 308

// The control of a save option has id 0xF000 plus the option's bit.
#define IDC_SAVE_1BIT 0xF001
#define IDC_SAVE_4BIT 0xF002
#define IDC_SAVE_8BIT 0xF004
#define IDC_SAVE_16BIT 0xF008
#define IDC_SAVE_24BIT 0xF010
#define IDC_SAVE_32BIT 0xF020
#define IDC_SAVE_COLOR 0xF040
#define IDC_SAVE_GRAY 0xF080
#define IDC_SAVE_COMPRESSED 0xF100
// The two separator lines have no id of their own.
#define IDC_SAVE_STATIC -1
// Where the common dialog puts its own controls (stc32).
#define IDC_SAVE_STANDARD 0x045F
