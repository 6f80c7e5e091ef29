// Fuzzes the TIFF reader with arbitrary files. A load shows at most one
// message (a damaged strip the library recovers from is reported and the
// image still loads; a strip the library drops silently fails silently), and
// a failed load leaves no image; every image it accepts is a well-formed DIB,
// and is written back uncompressed and must read back to the same pixels.
#include "fuzz_support.h"

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
        BITMAPINFOHEADER h;
        DIB_GetInfo(dib, &h);
        // No depth of the writer holds 2 bits.
        if (h.biBitCount != 2) {
            INF_Begin(output.c_str());
            FuzzCheckRoundTrip(TIF_Load, TIF_Save, dib, output, 1, 0, 9);
            remove(output.c_str());
        }
        GlobalFree(dib);
    } else if (dib || HDL_Boxes().size() > 1) {
        __builtin_trap();
    }
    INF_End();
    HDL_ClearBoxes();
    return 0;
}
