// Fuzzes the GIF reader with arbitrary files; a failure shows one message at
// most, a success none, and whatever it loads is written back by the GIF
// writer and read again, and must come back with its pixels and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.gif");
    static const std::string out = FuzzScratch("out.gif");
    return FuzzReaderInput(
        data, size, in, GIF_Load,
        [](HGLOBAL dib, const BITMAPINFOHEADER&) { FuzzCheckRoundTrip(GIF_Load, GIF_Save, dib, out, 1, 0, 1); }, 0, 1,
        true);
}
