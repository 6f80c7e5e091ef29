// The ICO row's pieces that its dialog shares in both builds: the directory
// entry, the list's texts, the batch's pick and the types offered for saving.
#pragma once

#include "platform/win32.h"

// One entry of an icon file's directory, 16 bytes in the file.
struct IconEntry {
    BYTE width, height, colors, reserved;
    WORD planes, bitCount;
    DWORD size, offset;
};

// The list's text of an entry ("32 x 32 16-Color"); 0 and no text for a
// colour count that isn't 2, 16 or 0 (256). text holds at least 32 bytes.
int ICO_EntryLine(const IconEntry* entry, char* text);
// The entry a batch run takes: the widest with 16 or 256 colours, the first
// among equals, else entry 0; -1 when there is none at all.
int ICO_BatchPick(const IconEntry* entries, int count);

// The nine types an icon is written as, in the dialog's order: low nibble the
// size (1: 16, 2: 32, 4: 64), high nibble the depth (1: 1 bit, 2: 4, 4: 8).
const int ICO_TypeCount = 9;
extern const BYTE ICO_TypeCodes[ICO_TypeCount];
// The text of a type code, "" for a code that isn't one of the nine.
LPCSTR ICO_TypeText(int code);
// The type the dialog starts on for a DIB of this width and depth: the one of
// that size and depth, else 32 x 32 with 256 colours.
int ICO_StartType(LONG width, int bits);
// Fills lines with the list's texts of the entries that have one, in
// directory order, and reports each other entry as unsupported; the count.
// lines holds count texts.
int ICO_ListLines(const IconEntry* entries, int count, char (*lines)[32]);
