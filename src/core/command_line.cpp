// Command line parsing. No quoting: the name runs from the first character
// that does not begin a switch to the end of the line.
#include "core/command_line.h"

#include <cstring>

namespace {
bool IsBlank(char c) { return c == ' ' || c == '\t'; }
}  // namespace

int MAI_ParseCommandLine(LPSTR line, LPSTR* fileName, UINT* startFlags)
{
    *fileName = nullptr;
    *startFlags = 0;
    if (!line) return 0;
    CharUpperBuffA(line, static_cast<DWORD>(strlen(line)));
    if (strstr(line, "/LOAD")) *startFlags |= START_LOAD;
    if (strstr(line, "/BATCH")) *startFlags |= START_BATCH;
    if (strstr(line, "/NOLOGO")) *startFlags |= START_NOLOGO;

    char* at = line;
    while (IsBlank(*at)) at++;
    while (*at == '/') {
        while (*at && !IsBlank(*at)) at++;
        while (IsBlank(*at)) at++;
    }
    if (!*at) return 0;
    *fileName = at;
    return 1;
}
