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

// Start-up: every key from the store, defaults where it has none.
void SET_Load();
// Writes every key marked changed, and clears the marks.
void SET_Save();
// The current load and save formats from load_proc and save_proc.
void SET_InitFormats();
// Ties the readable extensions to the program in the shell.
void SET_RegisterExtensions();
