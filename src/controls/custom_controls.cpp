// The program's own control classes. Their window procedures come with the
// controls themselves; until then nothing is registered and no dialog or
// document of the program uses them.
#include "controls/custom_controls.h"

int BMP_RegisterClass() { return 1; }
int GRP_RegisterClass() { return 1; }
int VC_RegisterClasses() { return 1; }
