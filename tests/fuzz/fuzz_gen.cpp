// Fuzzes the GEN reader with arbitrary files; every image it accepts is
// written back at its depth and must read back to the same pixels and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.gen");
    static const std::string out = FuzzScratch("out.gen");
    return FuzzReaderInput(data, size, in, GEN_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        FuzzCheckRoundTrip(GEN_Load, GEN_Save, dib, out, 1, 0, 4);
    });
}
