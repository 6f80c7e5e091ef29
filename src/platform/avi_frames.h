// The source of a film's frames: open a film, fetch any frame by number as a
// packed DIB, close. Windows reads films through its AVIFile services; a
// build without them has no source (AVF_Available is 0 and nothing opens).
// One film is open at a time, and a fetch is finished before the next.
#pragma once

#include "platform/win32.h"

// Whether the platform reads films at all.
int AVF_Available();
// Opens a film for reading, closing what was open; 0 when it can't be opened
// or holds no stream (nothing is reported here).
int AVF_Open(LPCSTR path);
// The packed DIB of frame n of the film's video stream, owned by the source
// and valid until the next fetch or close; null when there is none.
const BITMAPINFOHEADER* AVF_Frame(LONG n);
// Releases the film's streams; harmless when nothing is open.
void AVF_Close();
