// Films as documents: the first frame of an AVI file loads as the image, and
// any frame can be fetched again later by number. The frames come from the
// platform's film source (platform/avi_frames.h).
#pragma once

#include "platform/win32.h"

// Opens a film for frame fetches; a failure is reported ("Unable to open",
// or that the build has no film services) and gives 0.
int AVI_Open(LPCSTR path);
void AVI_Close();
// A new bottom-up DIB of a fetched frame: a frame of 16 bits (5-5-5) is
// widened to 24 bits, any other is copied whole. Null when frame isn't a
// plain frame of a known depth (*noMemory 0) or memory is short (*noMemory 1).
HGLOBAL AVI_FrameToDib(const BITMAPINFOHEADER* frame, int* noMemory);
