// Fuzzes the ICO reader with arbitrary files (no dialog: the batch's pick);
// every image it accepts is written as the icon the writer starts on and must
// read back as a picture of that icon's side.
#include "formats/ico.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.ico");
    static const std::string out = FuzzScratch("out.ico");
    return FuzzReaderInput(data, size, in, ICO_Load, [](HGLOBAL dib, const BITMAPINFOHEADER& h) {
        if (h.biHeight <= 0) return;
        if (!ICO_Save(out.c_str(), dib, 1, 0, h.biBitCount)) __builtin_trap();
        HGLOBAL back = nullptr;
        if (!ICO_Load(out.c_str(), &back)) __builtin_trap();
        BITMAPINFOHEADER b;
        DIB_GetInfo(back, &b);
        const LONG side = 16 * (ICO_StartType(h.biWidth, h.biBitCount) & 15);
        if (b.biWidth != side || b.biHeight != side) __builtin_trap();
        GlobalFree(back);
    });
}
