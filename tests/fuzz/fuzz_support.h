// Helpers of the fuzz targets: the readers take a file name, so each input is
// written to a scratch file of this process first.
#pragma once

#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <unistd.h>

// The scratch files made so far, removed when the process ends.
inline std::vector<std::string>& FuzzScratchFiles()
{
    static std::vector<std::string> files;
    return files;
}

inline void FuzzRemoveScratchFiles()
{
    for (const std::string& path : FuzzScratchFiles()) remove(path.c_str());
}

// A scratch path unique to this process, $TMPDIR (or /tmp)/kvfuzz_<pid>_<name>;
// the file is removed when the process ends.
inline std::string FuzzScratch(const char* name)
{
    const char* dir = getenv("TMPDIR");
    std::string path = std::string(dir && *dir ? dir : "/tmp") + "/kvfuzz_" + std::to_string(getpid()) + "_" + name;
    if (FuzzScratchFiles().empty()) atexit(FuzzRemoveScratchFiles);
    FuzzScratchFiles().push_back(path);
    return path;
}

// Writes the input to path; false when the file can't be made.
inline bool FuzzWriteInput(const std::string& path, const uint8_t* data, size_t size)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return false;
    fwrite(data, 1, size, f);
    fclose(f);
    return true;
}

// Once a process: the built-in formats registered, boxes not echoed, and no
// image block above 64 MiB, so that a hostile size is refused cheaply.
inline void FuzzStartOnce()
{
    static bool ready = false;
    if (ready) return;
    FMT_RegisterBuiltins();
    HDL_SetEcho(false);
    DIB_SetMemoryLimit(64ULL << 20);
    ready = true;
}

// ---- round trips -------------------------------------------------------------
// A reader and a writer of one row, as the format table calls them.
using FuzzLoadProc = int (*)(LPCSTR, HGLOBAL*);
using FuzzSaveProc = int (*)(LPCSTR, HGLOBAL, WORD, WORD, WORD);

// The pixel at (x, y) of a locked DIB as a number, whatever its depth.
inline uint32_t FuzzPixel(const BITMAPINFOHEADER* h, const BYTE* bits, LONG x, LONG y)
{
    const BYTE* row = bits + static_cast<size_t>(y) * DIB_Stride(h->biWidth, h->biBitCount);
    switch (h->biBitCount) {
    case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1;
    case 4: return (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4;
    case 8: return row[x];
    case 24: return row[3 * x] | row[3 * x + 1] << 8 | row[3 * x + 2] << 16;
    case 32: return row[4 * x] | row[4 * x + 1] << 8 | row[4 * x + 2] << 16 | static_cast<uint32_t>(row[4 * x + 3]) << 24;
    default: return 0;
    }
}

// Writes first back at depth (0: its own) and reads it again: sizes, depth,
// every pixel (at 16 bits the top five bits of each channel) and, from
// tableBits up, the colour table must come back. Traps otherwise.
inline void FuzzCheckRoundTrip(FuzzLoadProc load, FuzzSaveProc save, HGLOBAL first, const std::string& path,
                               WORD color, WORD compressed, int tableBits, WORD depth = 0)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(first, &info);
    const int bits = info.biBitCount;
    if (!save(path.c_str(), first, color, compressed, depth ? depth : static_cast<WORD>(bits))) __builtin_trap();
    HGLOBAL second = nullptr;
    if (!load(path.c_str(), &second)) __builtin_trap();
    BITMAPINFOHEADER *a, *b;
    RGBQUAD *ta, *tb;
    BYTE *pa, *pb;
    DIB_Lock(first, &a, &ta, &pa);
    DIB_Lock(second, &b, &tb, &pb);
    if (a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount) __builtin_trap();
    const uint32_t mask = depth == 16 ? 0xF8F8F8 : 0xFFFFFFFF;
    for (LONG y = 0; y < a->biHeight; y++)
        for (LONG x = 0; x < a->biWidth; x++)
            if ((FuzzPixel(a, pa, x, y) & mask) != FuzzPixel(b, pb, x, y)) __builtin_trap();
    if (bits <= 8 && bits >= tableBits && memcmp(ta, tb, (1u << bits) * sizeof(RGBQUAD)) != 0) __builtin_trap();
    GlobalUnlock(second);
    GlobalUnlock(first);
    GlobalFree(second);
}

// One input for a reader: a load that fails leaves no image and shows at most
// `refused` messages, one that succeeds at most `loaded` and an image unless
// the reader may give nothing; an accepted image small enough to keep each
// input quick is handed to back() (which writes it back where the writer can
// hold it).
template <typename Back>
inline int FuzzReaderInput(const uint8_t* data, size_t size, const std::string& in, FuzzLoadProc load, Back back,
                           size_t loaded = SIZE_MAX, size_t refused = SIZE_MAX, bool mayGiveNothing = false)
{
    FuzzStartOnce();
    if (!FuzzWriteInput(in, data, size)) return 0;
    HGLOBAL dib = nullptr;
    const int ok = load(in.c_str(), &dib);
    if (HDL_Boxes().size() > (ok ? loaded : refused) || (ok && !dib && !mayGiveNothing) || (!ok && dib)) __builtin_trap();
    if (dib) {
        BITMAPINFOHEADER h;
        DIB_GetInfo(dib, &h);
        if (static_cast<uint64_t>(h.biWidth) * static_cast<uint64_t>(h.biHeight) <= (1u << 20)) back(dib, h);
        GlobalFree(dib);
    }
    HDL_ClearBoxes();
    return 0;
}
