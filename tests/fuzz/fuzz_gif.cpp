// Fuzzes the GIF reader with arbitrary files; whatever it loads is written
// back by the GIF writer and read again, and must come back unchanged.
#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

std::string Scratch(const char* name)
{
    const char* dir = getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/kvfuzz_gif_" + std::to_string(getpid()) + "_" + name;
}

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
    static const std::string input = Scratch("in.gif");
    static const std::string output = Scratch("out.gif");
    static bool ready = false;
    if (!ready) {
        FMT_RegisterBuiltins();
        HDL_SetEcho(false);
        ready = true;
    }
    FILE* f = fopen(input.c_str(), "wb");
    if (!f) return 0;
    fwrite(data, 1, size, f);
    fclose(f);

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
