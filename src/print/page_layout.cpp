// Printed sizes and the choice of the PostScript path.
#include "print/page_layout.h"

#include <cctype>
#include <cstdint>
#include <string>

namespace {
// A product kept to 32 bits as the printer arithmetic has always done it.
int32_t Wrap(int64_t value)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}
}  // namespace

int PRI_PrintedSize(int pixels, int printerDpi, int screenDpi, int percent)
{
    if (screenDpi == 0) return 0;
    // Divided in 64 bits so that the smallest value over -1 cannot trap.
    const int64_t product = Wrap(static_cast<int64_t>(printerDpi) * pixels);
    const int32_t before = Wrap(product / screenDpi);
    return Wrap(static_cast<int64_t>(Wrap(static_cast<int64_t>(before) * percent)) / 100);
}

namespace {
bool NamesPostScript(const char* text)
{
    std::string name = text ? text : "";
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name.find("POSTSCRIPT") != std::string::npos || name.find("PSCRIPT") != std::string::npos;
}
}  // namespace

int PRI_IsColorPostScriptDriver(const char* driverName, const char* technology, int bitsPixel, int planes,
                                int numColors, int colorDevice)
{
    if (!NamesPostScript(driverName) && !NamesPostScript(technology)) return 0;
    const bool monochrome = (static_cast<int64_t>(bitsPixel) * planes < 9 && numColors < 3) || colorDevice == 0;
    return monochrome ? 0 : 1;
}
