// Fuzzes the Sun raster reader with arbitrary files; every image it accepts
// is written back at its depth and must read back to the same pixels and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.ras");
    static const std::string out = FuzzScratch("out.ras");
    return FuzzReaderInput(data, size, in, RAS_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        FuzzCheckRoundTrip(RAS_Load, RAS_Save, dib, out, 1, 0, 1);
    });
}
