// The Last Files list: the five files last opened through the Open dialog,
// newest first, kept in the profile store (section "Core", keys
// FIL_FILENAME1 to FIL_FILENAME5), and the labels of its menu entries.
#pragma once

#include "platform/win32.h"

const int FIL_LastFileCount = 5;
// Shifts slots 1-4 down one and writes name in slot 1; an empty name is ignored.
void FIL_AddLastFile(LPCSTR name);
// The slot (1-5) whose name equals name exactly, 0 when none.
int FIL_FindLastFile(LPCSTR name);
// The name in a slot (1-5), "" when empty or longer than the buffer (never
// cut); the buffer's size in size.
void FIL_GetLastFile(int slot, LPSTR buffer, int size);
// The menu label of a list entry: "&<number>. <name><extension>" without the folder.
void FIL_LastFileLabel(int number, LPCSTR path, LPSTR label, int size);
