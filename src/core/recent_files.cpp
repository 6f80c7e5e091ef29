// The Last Files list in the profile store. The section is opened and
// closed around each single read or write, so that two running programs see
// each other's changes.
#include "core/recent_files.h"

#include "formats/codec_runtime.h"
#include "platform/profile.h"

#include <cstring>
#include <string>

namespace {
const char kSection[] = "Core";
const int kNameRoom = FIL_NameRoom;

void SlotKey(int slot, LPSTR key) { wsprintfA(key, "FIL_FILENAME%d", slot); }

void WriteSlot(int slot, LPCSTR name)
{
    char key[32];
    SlotKey(slot, key);
    HPROFILE profile = PRF_OpenSection(kSection);
    PRF_SetString(profile, key, name, lstrlenA(name));
    PRF_Close(profile);
}
}  // namespace

void FIL_GetLastFile(int slot, LPSTR buffer, int size)
{
    if (size <= 0) return;
    buffer[0] = 0;
    if (slot < 1 || slot > FIL_LastFileCount) return;
    char key[32];
    SlotKey(slot, key);
    // A stored name longer than the buffer is not given at all: cut, it
    // would name some other file.
    std::string whole(static_cast<size_t>(size) + 1, '\0');
    HPROFILE profile = PRF_OpenSection(kSection);
    PRF_GetString(profile, key, &whole[0], size + 1);
    PRF_Close(profile);
    if (strlen(whole.c_str()) < static_cast<size_t>(size)) lstrcpyA(buffer, whole.c_str());
}

void FIL_AddLastFile(LPCSTR name)
{
    if (!name || !*name) return;
    for (int slot = FIL_LastFileCount; slot >= 2; slot--) {
        char older[kNameRoom];
        FIL_GetLastFile(slot - 1, older, sizeof older);
        WriteSlot(slot, older);
    }
    WriteSlot(1, name);
}

int FIL_FindLastFile(LPCSTR name)
{
    for (int slot = 1; slot <= FIL_LastFileCount; slot++) {
        char stored[kNameRoom];
        FIL_GetLastFile(slot, stored, sizeof stored);
        if (strcmp(stored, name) == 0) return slot;
    }
    return 0;
}

void FIL_LastFileLabel(int number, LPCSTR path, LPSTR label, int size)
{
    // The name and extension without drive or folder.
    LPCSTR part = path;
    for (LPCSTR at = path; *at; at++)
        if (*at == '\\' || *at == '/' || *at == ':') part = at + 1;
    char text[kNameRoom + 16];
    wsprintfA(text, "&%d. ", number);
    const size_t used = strlen(text);
    size_t n = strlen(part);
    if (n > sizeof text - used - 1) n = sizeof text - used - 1;
    memcpy(text + used, part, n);
    text[used + n] = 0;
    lstrcpynA(label, text, size);
}
