// Fuzzes the IFF reader with arbitrary files; every true-colour image it
// accepts is written back (always 24 planes) and must read back the same.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.iff");
    static const std::string out = FuzzScratch("out.iff");
    return FuzzReaderInput(data, size, in, IFF_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        if (h.biBitCount == 24 && h.biWidth <= 0xFFFF && h.biHeight <= 0xFFFF)
            FuzzCheckRoundTrip(IFF_Load, IFF_Save, dib, out, 1, 0, 32);
    });
}
