// Fuzzes the TIFF reader with arbitrary files. A load shows at most one
// message (a damaged strip the library recovers from is reported and the
// image still loads; a strip the library drops silently fails silently), and
// a failed load leaves no image; every image it accepts is a well-formed DIB,
// and is written back uncompressed and must read back to the same pixels.
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

// The block holds exactly header, colour table and the rows the header claims.
void CheckDib(HGLOBAL dib)
{
    BITMAPINFOHEADER* h;
    if (!DIB_Lock(dib, &h, nullptr, nullptr)) __builtin_trap();
    if (h->biWidth <= 0 || h->biHeight <= 0 || h->biWidth > 65535 || h->biHeight > 65535) __builtin_trap();
    SIZE_T size = h->biSize + DIB_PaletteSize(h) + static_cast<SIZE_T>(DIB_Stride(h->biWidth, h->biBitCount)) * h->biHeight;
    if (size != GlobalSize(dib) || h->biSizeImage != DIB_Stride(h->biWidth, h->biBitCount) * h->biHeight) __builtin_trap();
    GlobalUnlock(dib);
}

void CheckRoundTrip(HGLOBAL first, const std::string& path)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(first, &info);
    const int bits = info.biBitCount;
    if (bits == 2) return;  // no depth of the writer holds 2 bits
    if (!TIF_Save(path.c_str(), first, 1, 0, static_cast<WORD>(bits))) __builtin_trap();
    HGLOBAL second = nullptr;
    INF_Begin(path.c_str());
    if (!TIF_Load(path.c_str(), &second)) __builtin_trap();
    BITMAPINFOHEADER *a, *b;
    BYTE *pa, *pb;
    DIB_Lock(first, &a, nullptr, &pa);
    DIB_Lock(second, &b, nullptr, &pb);
    if (a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount) __builtin_trap();
    const DWORD stride = DIB_Stride(a->biWidth, bits);
    const size_t used = (static_cast<size_t>(a->biWidth) * bits + 7) / 8;
    for (LONG y = 0; y < a->biHeight; y++)
        if (memcmp(pa + y * stride, pb + y * stride, used) != 0) __builtin_trap();
    GlobalUnlock(first);
    GlobalUnlock(second);
    GlobalFree(second);
    remove(path.c_str());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string input = FuzzScratch("in.tif");
    static const std::string output = FuzzScratch("out.tif");
    FuzzStartOnce();
    if (!FuzzWriteInput(input, data, size)) return 0;
    HDL_ClearBoxes();
    INF_Begin(input.c_str());
    HGLOBAL dib = nullptr;
    int result = TIF_Load(input.c_str(), &dib);
    if (result) {
        if (!dib || HDL_Boxes().size() > 1) __builtin_trap();
        CheckDib(dib);
        CheckRoundTrip(dib, output);
        GlobalFree(dib);
    } else if (dib || HDL_Boxes().size() > 1) {
        __builtin_trap();
    }
    INF_End();
    HDL_ClearBoxes();
    return 0;
}
