// Fuzzes the PPM reader with arbitrary files; every image it accepts is
// written back (gray as P5, colour as P6) and must read back to the same pixels.
#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "fuzz_support.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace {

void CheckRoundTrip(HGLOBAL first, const std::string& path)
{
    BITMAPINFOHEADER *a, *b;
    RGBQUAD *ta, *tb;
    BYTE *pa, *pb;
    DIB_Lock(first, &a, &ta, &pa);
    WORD bits = a->biBitCount;
    GlobalUnlock(first);
    if (!PPM_Save(path.c_str(), first, bits == 24, 0, bits)) __builtin_trap();
    HGLOBAL second = nullptr;
    if (!PPM_Load(path.c_str(), &second)) __builtin_trap();
    DIB_Lock(first, &a, &ta, &pa);
    DIB_Lock(second, &b, &tb, &pb);
    if (a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount) __builtin_trap();
    if (memcmp(pa, pb, a->biSizeImage) != 0 || memcmp(ta, tb, DIB_PaletteSize(a)) != 0) __builtin_trap();
    GlobalUnlock(second);
    GlobalUnlock(first);
    GlobalFree(second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.ppm");
    static const std::string out = FuzzScratch("out.ppm");
    FuzzStartOnce();
    if (!FuzzWriteInput(in, data, size)) return 0;
    HGLOBAL dib = nullptr;
    if (PPM_Load(in.c_str(), &dib)) {
        if (!dib) __builtin_trap();
        // A short binary file loads whole, so large images are common: only small ones go back.
        BITMAPINFOHEADER h;
        DIB_GetInfo(dib, &h);
        if (static_cast<uint64_t>(h.biWidth) * static_cast<uint64_t>(h.biHeight) <= (1u << 20)) CheckRoundTrip(dib, out);
        GlobalFree(dib);
    } else if (dib) {
        __builtin_trap();
    }
    HDL_ClearBoxes();
    return 0;
}
