// Playing films and sounds through MCI. Reading a film's frames and playing
// it meet only in the frame number: MCI plays in the window, and when it
// stops the frame it reached is fetched again as the window's still.
#include "media/media.h"

#include "controls/custom_controls.h"
#include "core/app.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "formats/avi.h"
#include "platform/avi_frames.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {
const WORD kAtRest = 0xFFFF;
const UINT kPlayFailed = 21265;      // "Play failed with the following error:\n"
const UINT kNoFrameMemory = 20993;   // "Not enough memory to set frame number"
const int kAnswerRoom = 128;

// What tells films and sounds apart.
struct Kind {
    const char* word;   // the alias word
    bool shortPath;     // MCI strings take no blanks: films use the short path
    bool inWindow;      // the film plays in the window itself
    bool report;        // a failing Play is shown
    WORD* nextAlias;    // counts up at each Play, so that windows play apart
    void (*show)(HWND, WORD);
};

WORD nextMovie, nextSound;

void ShowPosition(HWND window, WORD)
{
    // No picture changes: the position stays in the slider for the next Play.
    IMG_SetAttr(window, IA_MEDIA_ALIAS, kAtRest);
    UpdateWindow(window);
}

const Kind kFilm = {"movie", true, true, false, &nextMovie, AVI_ShowFrame};
const Kind kSound = {"sound", false, false, true, &nextSound, ShowPosition};

HWND Strip(HWND window) { return GetDlgItem(window, MED_StripId); }

// The window's title, which is the file's path, whole, in the form MCI is given.
std::string Path(HWND window, const Kind& kind)
{
    std::string title(static_cast<size_t>(GetWindowTextLengthA(window)) + 1, '\0');
    title.resize(static_cast<size_t>(GetWindowTextA(window, &title[0], static_cast<int>(title.size()))));
    if (!kind.shortPath) return title;
    std::string shortName(GetShortPathNameA(title.c_str(), nullptr, 0) + 1, '\0');
    const DWORD length = GetShortPathNameA(title.c_str(), &shortName[0], static_cast<DWORD>(shortName.size()));
    if (!length || length >= shortName.size()) return title;
    shortName.resize(length);
    return shortName;
}

DWORD Send(HWND window, const std::string& command, std::string* answer = nullptr)
{
    char text[kAnswerRoom] = "";
    const DWORD result = mciSendStringA(command.c_str(), text, sizeof text, window);
    if (answer) *answer = result ? "" : text;
    return result;
}

std::string Name(const Kind& kind, WORD alias) { return kind.word + std::to_string(alias); }

// A number that MCI answered about an alias; 0 when the command failed.
unsigned long Status(HWND window, const std::string& name, const char* item)
{
    std::string answer;
    Send(window, "status " + name + " " + item, &answer);
    return strtoul(answer.c_str(), nullptr, 10);
}

// The length of the window's file in MCI's own units, through a short-lived alias 2.
unsigned long Length(HWND window, const Kind& kind)
{
    const std::string alias = Name(kind, 2);
    Send(window, "open " + Path(window, kind) + " alias " + alias + " wait");
    const unsigned long length = Status(window, alias, "length");
    Send(window, "close " + alias + " wait");
    return length;
}

void SetUp(HWND window, HGLOBAL dib, const Kind& kind)
{
    // The strip first, so that the window is sized around image and strip.
    HWND strip = VC_Create(window, MED_StripId);
    IMG_SetImage(window, dib);
    const unsigned long length = Length(window, kind);
    IMG_SetAttr(window, IA_MEDIA_ALIAS, kAtRest);
    if (!strip) return;
    VC_SetLength(strip, static_cast<WORD>(length > 0xFFFF ? 0xFFFF : length));
    VC_SetPosition(strip, 0);
    VC_EnableStop(strip, 0);
}

void Rest(HWND window, const Kind& kind, bool atPosition)
{
    HWND strip = Strip(window);
    const WORD alias = static_cast<WORD>(IMG_GetAttr(window, IA_MEDIA_ALIAS));
    // A notification for a window at rest is a late one: nothing plays.
    if (alias == kAtRest && atPosition) return;
    unsigned long position = 0, length = 0;
    if (alias != kAtRest && atPosition) {
        position = Status(window, Name(kind, alias), "position");
        length = Status(window, Name(kind, alias), "length");
    }
    if (alias != kAtRest) Send(window, "close " + Name(kind, alias) + " wait");
    VC_EnablePlay(strip, 1);
    VC_EnableStop(strip, 0);
    IMG_SetAttr(window, IA_MEDIA_ALIAS, kAtRest);
    if (!atPosition) return;
    // Run out: the last place; else the place reached.
    const unsigned long place = position >= length ? (length ? length - 1 : 0) : position;
    VC_SetPosition(strip, static_cast<WORD>(place));
    kind.show(window, static_cast<WORD>(place));
}

// A command of a Play; a sound's failure is shown and the window rests again.
bool Played(HWND window, const Kind& kind, const std::string& command)
{
    return (kind.report ? SND_SendCommand(window, command.c_str(), 1) : Send(window, command)) == 0;
}

void Play(HWND window, const Kind& kind)
{
    HWND strip = Strip(window);
    const WORD alias = *kind.nextAlias;
    const std::string name = Name(kind, alias);
    if (!Played(window, kind, "open " + Path(window, kind) + " alias " + name + " wait")) return;
    if (kind.inWindow)
        Send(window, "window " + name + " handle " + std::to_string(reinterpret_cast<ULONG_PTR>(window)) + " wait");
    // From the slider's place; from the start when it stands on the end.
    const WORD place = VC_GetPosition(strip);
    const WORD from = place + 1 >= VC_GetLength(strip) ? 0 : place;
    if (!Played(window, kind, "play " + name + " from " + std::to_string(from) + " notify")) {
        Send(window, "close " + name + " wait");
        return;
    }
    VC_EnablePlay(strip, 0);
    VC_EnableStop(strip, 1);
    IMG_SetAttr(window, IA_MEDIA_ALIAS, alias);
    ++*kind.nextAlias;
}

void OnVcr(HWND window, LPARAM lParam, const Kind& kind)
{
    const WORD alias = static_cast<WORD>(IMG_GetAttr(window, IA_MEDIA_ALIAS));
    switch (HIWORD(lParam)) {
    case 1:
        if (alias == kAtRest) Play(window, kind);
        break;
    case 2:
        // The stop brings the play's notification, which puts the window at rest.
        if (alias != kAtRest) Send(window, "stop " + Name(kind, alias) + " wait");
        break;
    case 3:
        if (alias == kAtRest) kind.show(window, LOWORD(lParam));
        break;
    }
}
}  // namespace

void AVI_SetUpWindow(HWND window, HGLOBAL dib)
{
    IMG_SetFlag(window, IF_ANIMATION, 1);
    SetUp(window, dib, kFilm);
}

void AVI_OnVcr(HWND window, WPARAM, LPARAM lParam) { OnVcr(window, lParam, kFilm); }
void AVI_OnMciNotify(HWND window) { Rest(window, kFilm, true); }

void AVI_ShowFrame(HWND window, WORD frame)
{
    if (!AVI_Open(Path(window, kFilm).c_str())) return;
    int noMemory = 0;
    HGLOBAL dib = AVI_FrameToDib(AVF_Frame(frame), &noMemory);
    AVI_Close();
    if (!dib) {
        if (noMemory) MSG_Report(SEV_ERROR, kNoFrameMemory);
        return;
    }
    IMG_SetImage(window, dib);
    IMG_SetAttr(window, IA_MEDIA_ALIAS, kAtRest);
    UpdateWindow(window);
}

void SND_SetUpWindow(HWND window, HGLOBAL dib) { SetUp(window, dib, kSound); }
void SND_OnVcr(HWND window, WPARAM, LPARAM lParam) { OnVcr(window, lParam, kSound); }
void SND_OnMciNotify(HWND window) { Rest(window, kSound, true); }

DWORD SND_SendCommand(HWND window, LPCSTR command, int report)
{
    const DWORD result = Send(window, command);
    if (result && report) {
        char text[kAnswerRoom] = "";
        LoadStringA(MAI_Instance, kPlayFailed, text, sizeof text);
        const size_t used = strlen(text);
        mciGetErrorStringA(result, text + used, static_cast<UINT>(sizeof text - used));
        MSG_ReportText(SEV_ERROR, text);
        Rest(window, kSound, false);
    }
    return result;
}

void MED_Close(HWND window)
{
    if (!IMG_GetRecord(window) || !IMG_TestFlag(window, IF_MEDIA)) return;
    const WORD alias = static_cast<WORD>(IMG_GetAttr(window, IA_MEDIA_ALIAS));
    const Kind& kind = IMG_TestFlag(window, IF_ANIMATION) ? kFilm : kSound;
    if (alias != kAtRest) Send(window, "close " + Name(kind, alias) + " wait");
}

void MED_PlaceStrip(HWND window)
{
    HWND strip = Strip(window);
    if (!strip) return;
    RECT client;
    GetClientRect(window, &client);
    const int height = VC_GetHeight();
    MoveWindow(strip, 0, client.bottom - height, client.right, height, TRUE);
}
