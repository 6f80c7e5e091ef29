// The EPS row beyond its save handler (EPS_Save is declared in formats.h).
#pragma once

#include "platform/win32.h"

// Keeps the title the next EPS file is written with: the name of the file at
// path without its folder and extension (the extension starts at the last
// dot). Saves call it with the name the user chose before the writer runs,
// since the writer may be handed a private name to write under.
void EPS_SetTitle(LPCSTR path);
