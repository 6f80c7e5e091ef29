// The colour engine's process-wide switches.
#include "colour/colour_switches.h"

int CLR_FlatShowProgress = 0;
int CLR_CutDither = 0;
int CLR_CutShowProgress = 1;

void CLR_SetFlatProgress(int on) { CLR_FlatShowProgress = on; }
void CLR_SetCutDither(int on) { CLR_CutDither = on; }
void CLR_SetCutProgress(int on) { CLR_CutShowProgress = on; }
