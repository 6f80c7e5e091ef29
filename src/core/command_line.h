// The program's command line: switches and the file name to open.
#pragma once

#include "platform/win32.h"

enum StartFlags : UINT {
    START_LOAD = 1,    // "/LOAD": show the Open dialog after start-up (wins over /BATCH)
    START_BATCH = 2,   // "/BATCH": open the batch facility after start-up
    START_NOLOGO = 8,  // "/NOLOGO": no logo window
};

// Upper-cases the line in place, sets the start flags from the switches found
// anywhere in it, and points fileName at the name that follows the leading
// switches (to the end of the line, blanks included) or at null. Returns 1
// when a name was found.
int MAI_ParseCommandLine(LPSTR line, LPSTR* fileName, UINT* startFlags);
