// Settings held in memory by key number.
#include "core/settings.h"

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
