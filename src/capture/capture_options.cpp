// Capture options and the hot key module. The options and the module come
// with the capture engine; until then capture has nothing to load or unload.
#include "capture/capture.h"

void CAP_LoadOptions() {}
void CAP_UnloadOptions() {}
