// The WAV and MID rows: a sound has no picture, so its document shows one of
// the program's own, SOUND for a wave file and MUSIC for a MIDI file. The
// sound file itself isn't opened here: the document is its name.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <cstring>

namespace {
enum { CREATOR_SOUND = 20992, MSG_UNSUPPORTED = 9487 };

int SND_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    // The name is compared as it stands: only an upper-case ".WAV" is a wave.
    const bool wave = strstr(path, ".WAV") != nullptr;
    INF_SetProgress(0, 3);
    INF_SetValue(INF_PALETTE, 0);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 0);
    INF_SetValue(INF_TYPE, wave ? 4 : 5);
    INF_SetValue(INF_VERSION, 1);
    INF_SetValue(INF_BITSPERPIXEL, 4);
    INF_SetValue(INF_MEMORY, 0);
    INF_SetValue(INF_WIDTH, 0);
    INF_SetValue(INF_HEIGHT, 0);
    INF_SetValue(INF_COLORS, 16);
    INF_SetCreator(CREATOR_SOUND);
    INF_Invalidate();
    INF_Step(1);
#ifdef _WIN32
    HMODULE module = GetModuleHandleA(nullptr);
    HRSRC found = FindResourceA(module, wave ? "SOUND" : "MUSIC", "HDIB");
    INF_Step(2);
    HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
    INF_Step(3);
    if (loaded) {
        *dib = DIB_Recompress(loaded, 1, BI_RGB);
        INF_Step(4);
        FreeResource(loaded);
        INF_Step(5);
    }
#endif
    // Only the program carries the pictures; elsewhere the row can't load.
    if (!*dib) FMT_FormatError(MSG_UNSUPPORTED, wave ? FMT_Row_WAV : FMT_Row_MID);
    return *dib != nullptr;
}
}  // namespace

int WAV_Load(LPCSTR path, HGLOBAL* dib) { return SND_Load(path, dib); }
int MID_Load(LPCSTR path, HGLOBAL* dib) { return SND_Load(path, dib); }
