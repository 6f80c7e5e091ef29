// BMP, DIB and RLE files beyond the format table's handlers (BMP_Load and
// BMP_Save are declared in formats.h).
#pragma once

#include "platform/win32.h"

// Reads a BMP or bare DIB file as the loader does, without messages and without
// the load information: the block as the file holds it (run-length data still
// compressed, 16 bits still 16), or null when the file can't be read or isn't
// a DIB this program takes (top-down, bit fields, lying sizes).
HGLOBAL DIB_ReadFile(LPCSTR path);
