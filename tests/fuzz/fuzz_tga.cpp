// Fuzzes the TGA reader with arbitrary files; every 8, 24 or 32-bit image it
// accepts is written back plain and run-length and must read back the same,
// and a 24-bit one written at 16 bits must read back with 5-bit channels.
#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "fuzz_support.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

// Writes the image and reads it back; the reloaded pixel bytes of the width
// must equal the original's, masked to 5 bits a channel for 16.
void CheckRoundTrip(HGLOBAL first, const std::string& path, WORD compressed, WORD depth)
{
    if (!TGA_Save(path.c_str(), first, 1, compressed, depth)) __builtin_trap();
    HGLOBAL second = nullptr;
    if (!TGA_Load(path.c_str(), &second)) __builtin_trap();
    BITMAPINFOHEADER *a, *b;
    RGBQUAD *ta, *tb;
    BYTE *pa, *pb;
    DIB_Lock(first, &a, &ta, &pa);
    DIB_Lock(second, &b, &tb, &pb);
    if (a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount) __builtin_trap();
    DWORD stride = DIB_Stride(a->biWidth, a->biBitCount);
    DWORD used = static_cast<DWORD>(a->biWidth) * a->biBitCount / 8;
    BYTE mask = depth == 16 ? 0xF8 : 0xFF;
    for (LONG y = 0; y < a->biHeight; y++)
        for (DWORD i = 0; i < used; i++)
            if ((pa[y * stride + i] & mask) != pb[y * stride + i]) __builtin_trap();
    if (a->biBitCount == 8)
        for (int i = 0; i < 256; i++)
            if (ta[i].rgbRed != tb[i].rgbRed || ta[i].rgbGreen != tb[i].rgbGreen || ta[i].rgbBlue != tb[i].rgbBlue)
                __builtin_trap();
    GlobalUnlock(second);
    GlobalUnlock(first);
    GlobalFree(second);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string in = FuzzScratch("in.tga");
    static const std::string out = FuzzScratch("out.tga");
    FuzzStartOnce();
    if (!FuzzWriteInput(in, data, size)) return 0;
    HGLOBAL dib = nullptr;
    if (TGA_Load(in.c_str(), &dib)) {
        if (!dib) __builtin_trap();
        BITMAPINFOHEADER h;
        DIB_GetInfo(dib, &h);
        // Large images (a header of an odd depth reads no pixels at all) only load:
        // writing them back would only slow the fuzzing.
        bool small = static_cast<uint64_t>(h.biWidth) * static_cast<uint64_t>(h.biHeight) <= (1u << 20);
        if (small && (h.biBitCount == 8 || h.biBitCount == 24 || h.biBitCount == 32)) {
            CheckRoundTrip(dib, out, 0, h.biBitCount);
            CheckRoundTrip(dib, out, 1, h.biBitCount);
        }
        if (small && h.biBitCount == 24) CheckRoundTrip(dib, out, 1, 16);
        GlobalFree(dib);
    } else if (dib) {
        __builtin_trap();
    }
    HDL_ClearBoxes();
    return 0;
}
