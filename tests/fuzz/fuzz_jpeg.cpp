// Fuzzes the JPEG layer with arbitrary files: the file facts, then the load.
// A failed load shows exactly one message and leaves no image; every image it
// accepts is a well-formed 8-bit gray or 24-bit DIB of the size the facts gave.
#include "platform/jpeg.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string input = FuzzScratch("in.jpg");
    FuzzStartOnce();
    if (!FuzzWriteInput(input, data, size)) return 0;
    DWORD parameters = 0, pixels = 0;
    int kind = 0, bits = 0;
    int known = ZIM_GetInfo(input.c_str(), nullptr, &parameters, &kind, &pixels, &bits, nullptr, nullptr);
    if (known && ((parameters & 0xFF) > 100 || ((parameters >> 8) & 0xFF) > 100 || (parameters >> 19) != 0)) __builtin_trap();
    HDL_ClearBoxes();
    INF_Begin(input.c_str());
    HGLOBAL dib = nullptr;
    int result = JPG_Load(input.c_str(), &dib);
    if (result) {
        if (!dib || !HDL_Boxes().empty() || !known) __builtin_trap();
        BITMAPINFOHEADER* h;
        if (!DIB_Lock(dib, &h, nullptr, nullptr)) __builtin_trap();
        if ((h->biBitCount != 8 && h->biBitCount != 24) || h->biBitCount != bits || h->biSizeImage != pixels) __builtin_trap();
        SIZE_T whole = h->biSize + DIB_PaletteSize(h) + static_cast<SIZE_T>(h->biSizeImage);
        if (whole != GlobalSize(dib)) __builtin_trap();
        GlobalUnlock(dib);
        GlobalFree(dib);
    } else if (dib || HDL_Boxes().size() != 1) {
        __builtin_trap();
    }
    (void)ZIM_GetComment();
    INF_End();
    HDL_ClearBoxes();
    return 0;
}
