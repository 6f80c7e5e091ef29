// Fuzzes the PICT reader with arbitrary files.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.pct");
    return FuzzReaderInput(data, size, in, PCT_Load, [](HGLOBAL, const BITMAPINFOHEADER&) {});
}
