// Fuzzes the TGA reader with arbitrary files; every 8, 24 or 32-bit image it
// accepts is written back plain and run-length and must read back the same,
// and a 24-bit one written at 16 bits must read back with 5-bit channels.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.tga");
    static const std::string out = FuzzScratch("out.tga");
    return FuzzReaderInput(data, size, in, TGA_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        if (h.biBitCount == 8 || h.biBitCount == 24 || h.biBitCount == 32)
            for (WORD compressed : {0, 1}) FuzzCheckRoundTrip(TGA_Load, TGA_Save, dib, out, 1, compressed, 8);
        if (h.biBitCount == 24) FuzzCheckRoundTrip(TGA_Load, TGA_Save, dib, out, 1, 1, 8, 16);
    });
}
