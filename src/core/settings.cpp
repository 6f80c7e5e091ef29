// Settings held in memory by key number, loaded from and written to the
// profile store, and the rules of the Settings dialog.
#include "core/settings.h"

#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/profile.h"
#include "platform/shell_registration.h"

#include <cstring>

#ifndef _WIN32
#include <unistd.h>
#endif

const SettingRow SET_Table[] = {
    {20761, 0, SET_TIF_1_BIT_COMPRESSION, 1},
    {20762, 0, SET_TIF_4_BIT_COMPRESSION, 1},
    {20763, 0, SET_TIF_8_BIT_COMPRESSION, 1},
    {20764, 0, SET_TIF_16_BIT_COMPRESSION, 1},
    {20765, 0, SET_TIF_24_BIT_COMPRESSION, 1},
    {20766, 0, SET_SAVE_DITHER, 0},
    {20767, 0, SET_SAVE_COLORCUT, 0},
    {20768, 0, SET_SAVE_WARN_COLORLOSS, 1},
    {20769, 0, SET_PAL_FASTMATCH, 1},
    {20770, 0, SET_SCREEN_BITMAPS, 0},
    {20774, 0, SET_METAFILE_SIZE, 100},
    {20775, 0, SET_FAST_DITHER, 1},
    {20776, 0, SET_CAPTURE_KEY, 122},
    {20777, 0, SET_KEEP_UNDO, 1},
    {20778, 0, SET_STATUS_WND, 3},
    {20779, 0, SET_CAPTURE_MODE, 514},
    {20780, 0, SET_LOAD_PROC, -1},
    {20781, 0, SET_SAVE_PROC, -1},
    {20782, 0, SET_STARTUP, 0},
    {20783, 0, SET_COLOR_MATCH, 1},
    {20784, 0, SET_DITHER_TYPE, 2},
    {20785, 0, SET_METAFILE_PAL, 0},
    {20786, 0, SET_CAPTURE_KEY_ALT, 0},
    {20787, 0, SET_CAPTURE_KEY_CTRL, 0},
    {20788, 0, SET_ALPHA_DISPLAY, 3},
    {20789, 0, SET_WANT_THUMBNAIL, 0},
    {0, 0, 0, 0},
};

namespace {
LONG values[SET_KeyCount];
int changed[SET_KeyCount];
bool initialised = false;

int Index(int keyNumber)
{
    int i = keyNumber / 4;
    return (keyNumber % 4 == 0 && i >= 0 && i < SET_KeyCount) ? i : -1;
}

void EnsureDefaults()
{
    if (!initialised) SET_Reset();
}
}  // namespace

void SET_Reset()
{
    for (const SettingRow* r = SET_Table; r->nameId; r++) {
        values[r->keyNumber / 4] = r->defaultValue;
        changed[r->keyNumber / 4] = 0;
    }
    initialised = true;
}

int SET_Get(int keyNumber, LONG* value)
{
    EnsureDefaults();
    int i = Index(keyNumber);
    if (i < 0) return 0;
    *value = values[i];
    return 1;
}

LONG SET_Value(int keyNumber)
{
    LONG value = 0;
    SET_Get(keyNumber, &value);
    return value;
}

void SET_Put(int keyNumber, LONG value)
{
    EnsureDefaults();
    int i = Index(keyNumber);
    if (i >= 0) values[i] = value;
}

void SET_MarkChanged(int keyNumber, int flag)
{
    EnsureDefaults();
    int i = Index(keyNumber);
    if (i >= 0) changed[i] = flag;
}

int SET_IsChanged(int keyNumber)
{
    int i = Index(keyNumber);
    return i >= 0 ? changed[i] : 0;
}

// ---- the profile store --------------------------------------------------------------------

namespace {
const UINT kSectionName = 20754;   // "Core"
const UINT kDefaultProgram = 20753;
const UINT kFirstTiffName = 20736;  // "LZW", then PackBits, RLE, Group3, Group4
const char kClassId[] = "{7C41E2B8-93AF-11D0-A5D6-00609F5C3E11}";
#ifdef _WIN32
const char kFolderMark = '\\';
#else
const char kFolderMark = '/';
#endif

const SettingsHooks* hooks = nullptr;
// The program's path is split from one name that fits, so both parts fit.
char programFile[FIL_NameRoom];
char programFolder[FIL_NameRoom];

// Finds the program's own path and splits it into folder and file name.
void KeepProgramName()
{
    char path[FIL_NameRoom];
    path[0] = 0;
#ifdef _WIN32
    DWORD n = GetModuleFileNameA(nullptr, path, sizeof path);
    if (n >= sizeof path) n = 0;
    path[n] = 0;
#else
    // readlink cuts without a word: a result that fills the buffer may be cut
    // and counts as none.
    ssize_t n = readlink("/proc/self/exe", path, sizeof path);
    path[n > 0 && n < static_cast<ssize_t>(sizeof path) ? n : 0] = 0;
#endif
    programFolder[0] = 0;
    if (!path[0]) {
        if (LoadStringA(nullptr, kDefaultProgram, programFile, sizeof programFile) <= 0) programFile[0] = 0;
        return;
    }
    char* mark = strrchr(path, kFolderMark);
    if (!mark) {
        lstrcpynA(programFile, path, sizeof programFile);
        return;
    }
    lstrcpynA(programFile, mark + 1, sizeof programFile);
    *mark = 0;
    lstrcpynA(programFolder, path, sizeof programFolder);
}
}  // namespace

void SET_SetHooks(const SettingsHooks* h) { hooks = h; }

void SET_HandOverDisplay()
{
    if (hooks && hooks->displayOptions)
        hooks->displayOptions(SET_Value(SET_COLOR_MATCH), SET_Value(SET_ALPHA_DISPLAY));
}

void SET_HandOverStatusMode()
{
    if (hooks && hooks->statusMode) hooks->statusMode(SET_Value(SET_STATUS_WND));
}

LPCSTR SET_ProgramFile() { return programFile; }
LPCSTR SET_ProgramFolder() { return programFolder; }

void SET_Load()
{
    char section[64];
    if (LoadStringA(nullptr, kSectionName, section, sizeof section) <= 0) section[0] = 0;
    for (const SettingRow* r = SET_Table; r->nameId; r++) {
        SET_MarkChanged(r->keyNumber, 0);
        char key[64];
        if (LoadStringA(nullptr, r->nameId, key, sizeof key) <= 0) key[0] = 0;
        int value = r->defaultValue;
        HPROFILE profile = PRF_OpenSection(section);
        PRF_GetInt(profile, key, &value);
        PRF_Close(profile);
        SET_Put(r->keyNumber, value);
    }
    KeepProgramName();
    SET_HandOverDisplay();
    SET_HandOverStatusMode();
    // 0 was LZW, which can no longer be chosen.
    static const int tiffKeys[] = {SET_TIF_1_BIT_COMPRESSION, SET_TIF_4_BIT_COMPRESSION, SET_TIF_8_BIT_COMPRESSION,
                                   SET_TIF_16_BIT_COMPRESSION, SET_TIF_24_BIT_COMPRESSION};
    for (int key : tiffKeys)
        if (SET_Value(key) == 0) SET_Put(key, 1);
}

void SET_Save()
{
    char section[64];
    if (LoadStringA(nullptr, kSectionName, section, sizeof section) <= 0) section[0] = 0;
    for (const SettingRow* r = SET_Table; r->nameId; r++) {
        if (!SET_IsChanged(r->keyNumber)) continue;
        SET_MarkChanged(r->keyNumber, 0);
        char text[16];
        wsprintfA(text, "%d", static_cast<int>(SET_Value(r->keyNumber)));
        char key[64];
        if (LoadStringA(nullptr, r->nameId, key, sizeof key) <= 0) key[0] = 0;
        HPROFILE profile = PRF_OpenSection(section);
        PRF_SetString(profile, key, text, lstrlenA(text));
        PRF_Close(profile);
    }
}

void SET_InitFormats()
{
    LONG row = SET_Value(SET_LOAD_PROC);
    FIL_LoadRow = (row == -1 || row > FMT_LastIndex() || !FMT_CanLoad(row)) ? FMT_Row_DIB : static_cast<int>(row);
    row = SET_Value(SET_SAVE_PROC);
    FIL_SaveRow = (row == -1 || row > FMT_LastIndex() || !FMT_CanSave(row)) ? FMT_Row_DIB : static_cast<int>(row);
}

void SET_SaveFormats()
{
    SET_Put(SET_LOAD_PROC, FIL_LoadRow);
    SET_MarkChanged(SET_LOAD_PROC, 1);
    SET_Put(SET_SAVE_PROC, FIL_SaveRow);
    SET_MarkChanged(SET_SAVE_PROC, 1);
    SET_Save();
}

void SET_RegisterExtensions()
{
    char path[FIL_NameRoom + 1];
    path[0] = 0;
    if (programFolder[0]) {
        lstrcpyA(path, programFolder);
        size_t n = strlen(path);
        path[n] = kFolderMark;
        path[n + 1] = 0;
    }
    lstrcatA(path, programFile);
    HREGAPP reg = nullptr;
    if (!REG_OpenApp(&reg, PRF_ProductName, path, kClassId, REG_OPEN_COMMAND)) return;
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        if (!FMT_CanLoad(row) || FMT_IsLoadStub(row) || row == FMT_Row_Any) continue;
        char extension[16];
        FMT_GetExtension(row, extension);
        for (char* c = extension; *c; c++)
            if (*c >= 'A' && *c <= 'Z') *c = static_cast<char>(*c + ('a' - 'A'));
        REG_AddExtension(reg, extension, PRF_ProductName);
    }
    REG_CloseApp(reg);
}

// ---- the Settings dialog's rules ------------------------------------------------------------

void SET_TiffName(int index, LPSTR buffer, int size)
{
    if (size <= 0) return;
    buffer[0] = 0;
    if (index >= 0 && index < SET_TiffCompressionCount &&
        LoadStringA(nullptr, kFirstTiffName + static_cast<UINT>(index), buffer, size) <= 0)
        buffer[0] = 0;
}

int SET_TiffIndex(LPCSTR name)
{
    if (!name || !*name) return -1;
    for (int i = 0; i < SET_TiffCompressionCount; i++) {
        char known[32];
        SET_TiffName(i, known, sizeof known);
        if (lstrcmpA(known, name) == 0) return i;
    }
    return -1;
}

int SET_TiffOffers(int keyNumber, int* indices, int max)
{
    // Two lists, each walked from its second element on purpose, so that
    // "Group3" and "LZW" are never offered: the first is Monochrome's own.
    static const int monochromeOnly[] = {3, 4};
    static const int everyDepth[] = {0, 1};
    int n = 0;
    if (keyNumber == SET_TIF_1_BIT_COMPRESSION)
        for (size_t i = 1; i < sizeof monochromeOnly / sizeof monochromeOnly[0] && n < max; i++)
            indices[n++] = monochromeOnly[i];
    if (keyNumber % 4 == 0 && keyNumber >= SET_TIF_1_BIT_COMPRESSION && keyNumber <= SET_TIF_24_BIT_COMPRESSION)
        for (size_t i = 1; i < sizeof everyDepth / sizeof everyDepth[0] && n < max; i++)
            indices[n++] = everyDepth[i];
    return n;
}

int SET_TiffShown(int keyNumber)
{
    LONG value = SET_Value(keyNumber);
    return value == 0 ? 1 : static_cast<int>(value);
}

namespace {
// One setting read back at OK: the key is marked changed exactly when its value differs.
int Store(int keyNumber, LONG value)
{
    int differs = SET_Value(keyNumber) != value;
    SET_MarkChanged(keyNumber, differs);
    SET_Put(keyNumber, value);
    return differs;
}

// A list choice; nothing selected leaves the setting alone.
int StoreChoice(int keyNumber, LONG value) { return value >= 0 ? Store(keyNumber, value) : 0; }
}  // namespace

int SET_ApplyChoices(const SettingsChoices* c)
{
    int result = 0;
    StoreChoice(SET_SCREEN_BITMAPS, c->screenBitmaps);
    if (StoreChoice(SET_STATUS_WND, c->statusWnd)) result |= SET_STATUS_WND_CHANGED;
    static const int tiffKeys[] = {SET_TIF_1_BIT_COMPRESSION, SET_TIF_4_BIT_COMPRESSION, SET_TIF_8_BIT_COMPRESSION,
                                   SET_TIF_16_BIT_COMPRESSION, SET_TIF_24_BIT_COMPRESSION};
    for (int i = 0; i < 5; i++) StoreChoice(tiffKeys[i], c->tiff[i]);
    StoreChoice(SET_STARTUP, c->startup);
    if (StoreChoice(SET_COLOR_MATCH, c->colorMatch)) result |= SET_COLOR_MATCH_CHANGED;
    StoreChoice(SET_DITHER_TYPE, c->ditherType);
    Store(SET_KEEP_UNDO, c->keepUndo);
    Store(SET_SAVE_COLORCUT, c->saveColorcut);
    Store(SET_SAVE_DITHER, c->saveDither);
    Store(SET_SAVE_WARN_COLORLOSS, c->saveWarnColorloss);
    StoreChoice(SET_ALPHA_DISPLAY, c->alphaDisplay);
    Store(SET_WANT_THUMBNAIL, c->wantThumbnail);
    Store(SET_METAFILE_PAL, c->metafilePal);
    if (c->metafileSize >= 1) Store(SET_METAFILE_SIZE, c->metafileSize);
    return result;
}
