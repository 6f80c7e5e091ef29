// The System Info report without a window: which text names a fact of the
// machine, the report's lines built from the texts the dialog shows, and
// where a line of it stands on a printed page.
#pragma once

#include "platform/win32.h"

#include <functional>
#include <string>
#include <vector>

// The program's string id as text; empty when there is none.
std::string SYS_String(UINT id);

// String ids of the character translation for a keyboard code page, of a
// keyboard type (type 7 named by its subtype), and of the mouse.
UINT SYS_CodePageText(UINT codePage);
UINT SYS_KeyboardText(int type, int subtype);
UINT SYS_MouseText(int present, int swapped);
// "Pentium (2)" and its fellows for a processor type and count; empty when
// the type has no name.
std::string SYS_CpuText(DWORD type, int count);
// "Ras" and the short name of each raster capability the bits hold.
std::string SYS_RasterText(int caps);

// What the report is made of: the text of a dialog control by id, and the
// paths of the function modules and names of the format modules.
struct SYS_ReportFacts {
    std::function<std::string(int)> control;
    std::vector<std::string> functionModules;
    std::vector<std::string> formatModules;
};
// The report's lines in order, each with the newline its string ends in.
std::vector<std::string> SYS_ReportLines(const SYS_ReportFacts& facts);

// A line on the printer: each leading tab moves *x four text heights to the
// right, each leading newline moves *y one height down. Returns where the
// text to draw begins.
size_t SYS_LineIndent(const std::string& line, int height, int* x, int* y);
