// Fuzzes the PPM reader with arbitrary files; every image it accepts is
// written back (gray as P5, colour as P6) and must read back to the same pixels
// and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.ppm");
    static const std::string out = FuzzScratch("out.ppm");
    return FuzzReaderInput(data, size, in, PPM_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        FuzzCheckRoundTrip(PPM_Load, PPM_Save, dib, out, h.biBitCount == 24, 0, 1);
    });
}
