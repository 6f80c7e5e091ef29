// Fuzzes the PCX reader with arbitrary files; every image it accepts that the
// writer can hold is written back compressed and must read back to the same
// pixels and table.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.pcx");
    static const std::string out = FuzzScratch("out.pcx");
    return FuzzReaderInput(data, size, in, PCX_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        // A short file loads whole, so wide pictures are common: only those
        // whose line length the header's 16 bits hold go back; 32 bits never.
        const uint64_t planeBytes = (static_cast<uint64_t>(h.biWidth) * (h.biBitCount < 8 ? 1 : 8) + 7) / 8;
        if (h.biBitCount == 32 || planeBytes >= 0xFFFF) return;
        FuzzCheckRoundTrip(PCX_Load, PCX_Save, dib, out, 1, 1, 4);
    });
}
