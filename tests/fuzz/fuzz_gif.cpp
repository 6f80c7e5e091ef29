// Fuzzes the GIF reader with arbitrary files; whatever it loads is written
// back by the GIF writer and read again, and must come back unchanged.
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

// Header, colour table and pixels of a DIB as one byte string.
std::string Contents(HGLOBAL dib)
{
    BITMAPINFOHEADER* h;
    RGBQUAD* colors;
    BYTE* pixels;
    if (!DIB_Lock(dib, &h, &colors, &pixels)) __builtin_trap();
    size_t size = sizeof *h + DIB_PaletteSize(h) + static_cast<size_t>(h->biSizeImage);
    if (size > GlobalSize(dib)) __builtin_trap();
    std::string out(reinterpret_cast<const char*>(h), size);
    GlobalUnlock(dib);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string input = FuzzScratch("in.gif");
    static const std::string output = FuzzScratch("out.gif");
    FuzzStartOnce();
    if (!FuzzWriteInput(input, data, size)) return 0;

    HDL_ClearBoxes();
    HGLOBAL dib = nullptr;
    int ok = GIF_Load(input.c_str(), &dib);
    // A failure shows exactly one message; a success none.
    if (HDL_Boxes().size() != (ok ? 0u : 1u)) __builtin_trap();
    if (!ok && dib) __builtin_trap();
    if (!dib) return 0;

    BITMAPINFOHEADER header;
    DIB_GetInfo(dib, &header);
    if (static_cast<uint64_t>(header.biWidth) * static_cast<uint64_t>(header.biHeight) <= (1u << 20)) {
        if (!GIF_Save(output.c_str(), dib, 1, 0, header.biBitCount)) __builtin_trap();
        HGLOBAL again = nullptr;
        if (!GIF_Load(output.c_str(), &again) || !again) __builtin_trap();
        std::string before = Contents(dib);
        std::string after = Contents(again);
        if (before != after) __builtin_trap();
        GlobalFree(again);
        remove(output.c_str());
    }
    GlobalFree(dib);
    return 0;
}
