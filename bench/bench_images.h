// Helpers of the benchmarks: scratch files, blank pictures to draw into, the
// fixed 6x7x6 colour cube, and the BMP and PPM copies of a picture that the
// peers_*.sh scripts give the other tools.
#pragma once

#include "formats/codec_runtime.h"
#include "platform/dib.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#ifdef _WIN32
#include <process.h>
#define KV_BENCH_GETPID _getpid
#else
#include <unistd.h>
#define KV_BENCH_GETPID getpid
#endif

// A scratch path unique to this process: $TMPDIR (or /tmp)/kvbench_<pid>_<name>.
inline std::string BenchScratch(const char* name)
{
    const char* dir = getenv("TMPDIR");
#ifdef _WIN32
    if (!dir || !*dir) dir = getenv("TEMP");
#endif
    return std::string(dir && *dir ? dir : "/tmp") + "/kvbench_" + std::to_string(KV_BENCH_GETPID()) + "_" + name;
}

// A packed bottom-up DIB in a moveable block: header, the depth's table
// entries (biClrUsed set to their count) and pixels, all zero.
inline HGLOBAL BenchNewDib(LONG width, LONG height, int bits)
{
    DWORD stride = DIB_Stride(width, bits);
    DWORD colors = DIB_ColorsForBits(bits);
    HGLOBAL mem = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT,
                              sizeof(BITMAPINFOHEADER) + 4 * colors + static_cast<SIZE_T>(stride) * height);
    BITMAPINFOHEADER* h = static_cast<BITMAPINFOHEADER*>(GlobalLock(mem));
    h->biSize = sizeof *h;
    h->biWidth = width;
    h->biHeight = height;
    h->biPlanes = 1;
    h->biBitCount = static_cast<WORD>(bits);
    h->biSizeImage = stride * static_cast<DWORD>(height);
    h->biClrUsed = colors;
    GlobalUnlock(mem);
    return mem;
}

inline BYTE BenchClamp(int v) { return static_cast<BYTE>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Entries 0 to 251: the colour cube of 6 reds, 7 greens and 6 blues, entry
// r * 42 + g * 6 + b.
inline void BenchCubePalette(RGBQUAD* table)
{
    for (int r = 0; r < 6; r++)
        for (int g = 0; g < 7; g++)
            for (int b = 0; b < 6; b++)
                table[r * 42 + g * 6 + b] = {static_cast<BYTE>(b * 51), static_cast<BYTE>(g * 255 / 6),
                                             static_cast<BYTE>(r * 51), 0};
}

// The size of a file in bytes; -1 when it can't be opened.
inline double BenchFileBytes(const std::string& path)
{
    FILE* f = fopen(path.c_str(), "rb");
    if (!f) return -1;
    fseek(f, 0, SEEK_END);
    double bytes = static_cast<double>(ftell(f));
    fclose(f);
    return bytes;
}

// The DIB as a BMP file: a file header in front of the whole block.
inline void BenchWriteBmp(const std::string& path, HGLOBAL dib)
{
    BITMAPINFOHEADER* h;
    RGBQUAD* table;
    BYTE* pixels;
    DIB_Lock(dib, &h, &table, &pixels);
    const DWORD offset = static_cast<DWORD>(14 + h->biSize + DIB_PaletteSize(h));
    const DWORD total = offset + DIB_Stride(h->biWidth, h->biBitCount) * static_cast<DWORD>(h->biHeight);
    if (FILE* f = fopen(path.c_str(), "wb")) {
        BYTE file[14] = {'B', 'M'};
        for (int i = 0; i < 4; i++) file[2 + i] = static_cast<BYTE>(total >> (8 * i));
        for (int i = 0; i < 4; i++) file[10 + i] = static_cast<BYTE>(offset >> (8 * i));
        fwrite(file, 1, sizeof file, f);
        fwrite(h, 1, total - 14, f);
        fclose(f);
    }
    GlobalUnlock(dib);
}

// An 8-bit (through its table) or 24-bit DIB as a binary PPM, top row first.
inline void BenchWritePpm(const std::string& path, HGLOBAL dib)
{
    BITMAPINFOHEADER* h;
    RGBQUAD* table;
    BYTE* pixels;
    DIB_Lock(dib, &h, &table, &pixels);
    const DWORD stride = DIB_Stride(h->biWidth, h->biBitCount);
    if (FILE* f = fopen(path.c_str(), "wb")) {
        fprintf(f, "P6\n%ld %ld\n255\n", static_cast<long>(h->biWidth), static_cast<long>(h->biHeight));
        std::vector<BYTE> line(static_cast<size_t>(h->biWidth) * 3);
        for (LONG y = h->biHeight - 1; y >= 0; y--) {
            const BYTE* row = pixels + static_cast<SIZE_T>(y) * stride;
            for (LONG x = 0; x < h->biWidth; x++) {
                if (h->biBitCount == 8) {
                    line[3 * x] = table[row[x]].rgbRed;
                    line[3 * x + 1] = table[row[x]].rgbGreen;
                    line[3 * x + 2] = table[row[x]].rgbBlue;
                } else {
                    line[3 * x] = row[3 * x + 2];
                    line[3 * x + 1] = row[3 * x + 1];
                    line[3 * x + 2] = row[3 * x];
                }
            }
            fwrite(line.data(), 1, line.size(), f);
        }
        fclose(f);
    }
    GlobalUnlock(dib);
}
