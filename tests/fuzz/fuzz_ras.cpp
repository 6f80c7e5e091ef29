// Fuzzes the Sun raster reader with arbitrary files; every image it accepts
// is written back at its depth and must read back to the same pixels and table.
#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "fuzz_support.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace {

// The pixel at (x, y) of a locked DIB as a number.
uint32_t Pixel(const BITMAPINFOHEADER* h, const BYTE* bits, LONG x, LONG y)
{
    const BYTE* row = bits + static_cast<size_t>(y) * DIB_Stride(h->biWidth, h->biBitCount);
    switch (h->biBitCount) {
    case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1;
    case 8: return row[x];
    case 24: return row[3 * x] | row[3 * x + 1] << 8 | row[3 * x + 2] << 16;
    default: return 0;
    }
}

void CheckRoundTrip(HGLOBAL first, const std::string& path)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(first, &info);
    if (!RAS_Save(path.c_str(), first, 1, 0, info.biBitCount)) __builtin_trap();
    BITMAPINFOHEADER *a, *b;
    RGBQUAD *ta, *tb;
    BYTE *pa, *pb;
    HGLOBAL second = nullptr;
    if (!RAS_Load(path.c_str(), &second)) __builtin_trap();
    DIB_Lock(first, &a, &ta, &pa);
    DIB_Lock(second, &b, &tb, &pb);
    if (a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount) __builtin_trap();
    for (LONG y = 0; y < a->biHeight; y++)
        for (LONG x = 0; x < a->biWidth; x++)
            if (Pixel(a, pa, x, y) != Pixel(b, pb, x, y)) __builtin_trap();
    if (memcmp(ta, tb, DIB_PaletteSize(a)) != 0) __builtin_trap();
    GlobalUnlock(second);
    GlobalUnlock(first);
    GlobalFree(second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.ras");
    static const std::string out = FuzzScratch("out.ras");
    FuzzStartOnce();
    if (!FuzzWriteInput(in, data, size)) return 0;
    HGLOBAL dib = nullptr;
    if (RAS_Load(in.c_str(), &dib)) {
        if (!dib) __builtin_trap();
        // Run-length data past the end reads as zero, so large images are common: only small ones go back.
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
