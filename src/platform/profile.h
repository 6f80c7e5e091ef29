// The profile store: named sections of keyed values that outlive the
// process, addressed by product, version text and section.
//
// On Windows a section is the registry key
//   HKEY_CURRENT_USER\Software\<product>\<version>\<section>
// whose values are strings (REG_SZ); integer reads also accept REG_DWORD.
//
// On other systems a product's version is one text file,
//   <config>/<product in lower case>/<version>.ini
// where <config> is $KORVANTA_PROFILE when that is set and not empty (a
// folder that stands for the configuration folder, as tests use it), else
// $XDG_CONFIG_HOME, else $HOME/.config. The file holds lines
//   [section]
//   key=value
// with sections and keys compared without regard to ASCII case. In names and
// values a backslash escapes the next character: "\\", "\=", "\[", "\]",
// "\;", and "\n", "\r", "\t", "\xNN" for control bytes. Lines starting with
// ";" are comments. A handle writes its changes at PRF_Close by merging them
// into the file as it then stands, through a temporary file that replaces it.
//
// Every operation accepts a null handle and then does nothing, so a store
// that can't be opened yields the callers' defaults.
#pragma once

#include "platform/win32.h"

struct ProfileSection;
typedef ProfileSection* HPROFILE;

// The product key every caller passes: the program's name.
inline constexpr char PRF_ProductName[] = "Korvanta";
// The settings version, 3.50: a program with another number finds an empty store.
const unsigned PRF_VersionMajor = 3;
const unsigned PRF_VersionMinor = 50;

// Writes the version text ("%u.%0.2u" from major and minor) into buffer (16 bytes is enough).
void PRF_VersionText(LPSTR buffer);

// Opens or creates a section; null when the store can't be reached or memory is short.
HPROFILE PRF_Open(LPCSTR product, LPCSTR version, LPCSTR section);
// Opens a section of this program: its name, its version text and the section.
HPROFILE PRF_OpenSection(LPCSTR section);
// Closes the handle and makes what was written through it lasting.
void PRF_Close(HPROFILE profile);

// Copies the value into buffer (cut to size - 1 characters); a missing key
// leaves the buffer as it was. Returns non-zero when the key was there.
int PRF_GetString(HPROFILE profile, LPCSTR key, LPSTR buffer, int size);
// Stores the first length characters of text.
void PRF_SetString(HPROFILE profile, LPCSTR key, LPCSTR text, int length);

// Integer reads: a missing key, or a value that isn't a decimal integer,
// leaves the target as it was (that is how defaults work). Values are kept
// as decimal text, so a value written by one width reads back by another.
void PRF_GetInt(HPROFILE profile, LPCSTR key, int* value);
void PRF_SetInt(HPROFILE profile, LPCSTR key, int value);
void PRF_GetLong(HPROFILE profile, LPCSTR key, LONG* value);
void PRF_SetLong(HPROFILE profile, LPCSTR key, LONG value);
void PRF_GetDword(HPROFILE profile, LPCSTR key, DWORD* value);
void PRF_SetDword(HPROFILE profile, LPCSTR key, DWORD value);
// Gives the key this integer when it has no value; an existing value stays.
void PRF_AddDefault(HPROFILE profile, LPCSTR key, int value);

// Where the store lives, for tests: on Windows a key path under
// HKEY_CURRENT_USER that takes the place of "Software"; elsewhere a folder
// that takes the place of the configuration folder. Null restores the normal place.
void PRF_SetLocation(LPCSTR location);
