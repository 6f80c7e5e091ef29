// Fuzzes the BMP reader through a file, and the DIB operations a loaded or
// pasted DIB goes through: run-length coding both ways (which must give back
// the same pixels), normalising, gray and depth conversion.
#include "formats/bmp.h"
#include "fuzz_support.h"

namespace {

// The pixel bytes of a plain DIB block, checked to lie inside it.
const BYTE* Pixels(HGLOBAL dib, BITMAPINFOHEADER* h, size_t* bytes)
{
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(dib));
    memcpy(h, p, sizeof *h);
    size_t offset = h->biSize + DIB_PaletteSize(h);
    size_t stride = ((static_cast<size_t>(h->biWidth) * h->biBitCount + 31) / 32) * 4;
    *bytes = stride * static_cast<size_t>(h->biHeight);
    if (h->biSize != 40 || h->biCompression != BI_RGB || h->biWidth <= 0 || h->biHeight <= 0 ||
        offset + *bytes > GlobalSize(dib))
        __builtin_trap();
    return p + offset;
}

// RLE coding of a loaded index image must decode to the same pixels.
void CheckRoundTrip(HGLOBAL dib, int compression)
{
    HGLOBAL rle = DIB_Recompress(dib, 0, compression);
    if (!rle) return;
    HGLOBAL back = DIB_Recompress(rle, 0, BI_RGB);
    if (!back) __builtin_trap();
    BITMAPINFOHEADER a, b;
    size_t na, nb;
    const BYTE* pa = Pixels(dib, &a, &na);
    const BYTE* pb = Pixels(back, &b, &nb);
    // Pixels must agree; the padding at the end of each row is not carried.
    if (a.biBitCount == b.biBitCount) {
        if (na != nb || a.biWidth != b.biWidth || a.biHeight != b.biHeight) __builtin_trap();
        for (LONG y = 0; y < a.biHeight; y++)
            for (LONG x = 0; x < a.biWidth; x++)
                if (FuzzPixel(&a, pa, x, y) != FuzzPixel(&b, pb, x, y)) __builtin_trap();
    }
    GlobalUnlock(dib);
    GlobalUnlock(back);
    GlobalFree(back);
    GlobalFree(rle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string input = FuzzScratch("in.bmp");
    FuzzStartOnce();
    if (!FuzzWriteInput(input, data, size)) return 0;

    HGLOBAL dib = nullptr;
    if (BMP_Load(input.c_str(), &dib)) {
        BITMAPINFOHEADER h;
        size_t n;
        Pixels(dib, &h, &n);
        GlobalUnlock(dib);
        if (static_cast<uint64_t>(h.biWidth) * static_cast<uint64_t>(h.biHeight) <= (1u << 20)) {
            if (h.biBitCount <= 8) CheckRoundTrip(dib, BI_RLE8);
            if (h.biBitCount == 4) CheckRoundTrip(dib, BI_RLE4);
            if (HGLOBAL gray = DIB_ToGray(dib)) GlobalFree(gray);
        }
        GlobalFree(dib);
    }
    if (HGLOBAL raw = DIB_ReadFile(input.c_str())) GlobalFree(raw);
    HDL_ClearBoxes();

    // The input as a DIB block from outside (a pasted or resource DIB).
    if (size >= 40 && size < (1u << 20)) {
        HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
        if (block) {
            memcpy(GlobalLock(block), data, size);
            GlobalUnlock(block);
            if (HGLOBAL plain = DIB_Recompress(block, 0, BI_RGB)) GlobalFree(plain);
            if (HGLOBAL norm = DIB_Normalize(block)) {
                DIB_FixHeader(norm);
                GlobalFree(norm);
            }
        }
    }
    return 0;
}
