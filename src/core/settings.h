// Settings: 26 small integers by key number (four times the index), kept in
// memory, loaded from the profile store at start-up and written back by key.
#pragma once

#include "platform/win32.h"

enum SettingKey {
    SET_TIF_1_BIT_COMPRESSION = 0,
    SET_TIF_4_BIT_COMPRESSION = 4,
    SET_TIF_8_BIT_COMPRESSION = 8,
    SET_TIF_16_BIT_COMPRESSION = 12,
    SET_TIF_24_BIT_COMPRESSION = 16,
    SET_SAVE_DITHER = 20,
    SET_SAVE_COLORCUT = 24,
    SET_SAVE_WARN_COLORLOSS = 28,
    SET_PAL_FASTMATCH = 32,
    SET_SCREEN_BITMAPS = 36,
    SET_METAFILE_SIZE = 40,
    SET_FAST_DITHER = 44,
    SET_CAPTURE_KEY = 48,
    SET_KEEP_UNDO = 52,
    SET_STATUS_WND = 56,
    SET_CAPTURE_MODE = 60,
    SET_LOAD_PROC = 64,
    SET_SAVE_PROC = 68,
    SET_STARTUP = 72,
    SET_COLOR_MATCH = 76,
    SET_DITHER_TYPE = 80,
    SET_METAFILE_PAL = 84,
    SET_CAPTURE_KEY_ALT = 88,
    SET_CAPTURE_KEY_CTRL = 92,
    SET_ALPHA_DISPLAY = 96,
    SET_WANT_THUMBNAIL = 100,
};
const int SET_KeyCount = 26;

struct SettingRow {
    UINT nameId;    // string id of the key's name in the store
    int kind;       // 0: stored in the Core section
    int keyNumber;
    LONG defaultValue;
};
// The rows, ending with a row whose name id is 0.
extern const SettingRow SET_Table[];

// Memory only; SET_Put doesn't mark the key changed.
int SET_Get(int keyNumber, LONG* value);
LONG SET_Value(int keyNumber);
void SET_Put(int keyNumber, LONG value);
void SET_MarkChanged(int keyNumber, int flag);
int SET_IsChanged(int keyNumber);
// Every key back to its default, no key marked (a fresh start).
void SET_Reset();

// Start-up: every key from the store (section "Core"), defaults where it
// has none; keeps the program's file name and folder, hands the display
// options and the status bars' mode over, and turns a TIFF compression of 0 into 1.
void SET_Load();
// Writes every key marked changed as decimal text, and clears the marks.
void SET_Save();
// The current load and save formats from load_proc and save_proc; the DIB
// row where the value is -1, beyond the table or a row that can't load (save).
void SET_InitFormats();
// Shutdown: stores the current load and save formats in load_proc and
// save_proc, marks both changed and writes every changed key.
void SET_SaveFormats();
// Ties each readable, implemented extension (not the "*" row) to the program in the shell.
void SET_RegisterExtensions();

// The program's file name and its folder as SET_Load found them.
LPCSTR SET_ProgramFile();
LPCSTR SET_ProgramFolder();

// What the Win32 program does with three settings: hand color_match and
// alpha_display to the display (DIB_Paint with null handles), and set the
// status bars' mode. Headless builds install nothing and these do nothing.
struct SettingsHooks {
    void (*displayOptions)(int colorMatch, int alphaDisplay);
    void (*statusMode)(int mode);
};
void SET_SetHooks(const SettingsHooks* hooks);
// Hands color_match and alpha_display over to the display.
void SET_HandOverDisplay();
// Tells the status bars status_wnd.
void SET_HandOverStatusMode();

// ---- the Settings dialog's rules, kept apart from its window --------------------------
// TIFF compression names, by index: 0 "LZW", 1 "PackBits", 2 "RLE", 3 "Group3", 4 "Group4".
const int SET_TiffCompressionCount = 5;
// Copies the name of a compression index (0 to 4), "" for any other.
void SET_TiffName(int index, LPSTR buffer, int size);
// The index of a compression name, -1 when it is none of them.
int SET_TiffIndex(LPCSTR name);
// The compression indices that the combo of a tif_ key offers, in list order;
// returns their count (at most max).
int SET_TiffOffers(int keyNumber, int* indices, int max);
// The compression whose name the combo of a tif_ key selects when the dialog opens.
int SET_TiffShown(int keyNumber);

// What the dialog's controls hold at OK; -1 in a list choice means nothing was selected.
struct SettingsChoices {
    LONG screenBitmaps, statusWnd, startup, colorMatch, ditherType, alphaDisplay;
    LONG tiff[5];  // compression index for 1, 4, 8, 16 and 24 bits
    LONG keepUndo, saveColorcut, saveDither, saveWarnColorloss, wantThumbnail;
    LONG metafilePal;   // from check box 338, which the dialog doesn't have
    LONG metafileSize;  // from edit field 318, likewise; a value below 1 is ignored
};
enum { SET_COLOR_MATCH_CHANGED = 1, SET_STATUS_WND_CHANGED = 2 };
// The OK step: stores each choice, marking a key changed exactly when its value
// differs; returns which of color_match and status_wnd changed.
int SET_ApplyChoices(const SettingsChoices* choices);

#ifdef _WIN32
// The Settings dialog (304); on OK the display options are handed over and the changes written.
void SET_Settings(HWND frame);
INT_PTR CALLBACK SET_SettingsProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
#endif
