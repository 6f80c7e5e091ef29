// Fuzzes the WPG reader with arbitrary files; every image it accepts is
// written back at its depth and must read back to the same pixels and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.wpg");
    static const std::string out = FuzzScratch("out.wpg");
    return FuzzReaderInput(data, size, in, WPG_Load, [](HGLOBAL dib, const BITMAPINFOHEADER&) {
        FuzzCheckRoundTrip(WPG_Load, WPG_Save, dib, out, 1, 1, 1);
    });
}
