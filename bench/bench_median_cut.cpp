// Optimized Cut on a 4000x3000 24-bit photo-like picture (smooth value noise
// at three scales for the light, a slower one for the colour, grain on every
// pixel), to 16 and 256 colours, direct and with Floyd-Steinberg, with Flat
// Cut to 256 as the fixed-palette reference. The memory runs measure what
// the cut holds beyond the source and output DIBs on 4 and 48 Mpixel images:
// the cut's own count of its working blocks, and the growth of the process's
// peak resident set (VmHWM, reset before the cut) less the output DIB.
//
// With KV_BENCH_PHOTO_DUMP=<folder> the picture is also written there as
// photo.ppm for bench/peers_colour.sh to give other tools the same pixels.
#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <malloc.h>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A small generator that any language can repeat exactly.
struct Lcg {
    uint32_t x;
    BYTE Next()
    {
        x = (x * 1103515245U + 12345U) & 0x7FFFFFFFU;
        return static_cast<BYTE>(x >> 16);
    }
};

// A grid of random values every `cell` pixels, read with bilinear weights.
struct ValueNoise {
    LONG cell, columns;
    std::vector<BYTE> grid;
    ValueNoise(LONG width, LONG height, LONG cellSize, Lcg& g) : cell(cellSize)
    {
        columns = width / cell + 2;
        LONG rows = height / cell + 2;
        grid.resize(static_cast<size_t>(columns) * rows);
        for (BYTE& v : grid) v = g.Next();
    }
    int At(LONG x, LONG y) const
    {
        LONG cx = x / cell, cy = y / cell, fx = x % cell, fy = y % cell;
        const BYTE* p = &grid[static_cast<size_t>(cy) * columns + cx];
        int a = p[0], b = p[1], c = p[columns], d = p[columns + 1];
        return (a * (cell - fx) * (cell - fy) + b * fx * (cell - fy) + c * (cell - fx) * fy + d * fx * fy) /
               (cell * cell);
    }
};

inline BYTE Clamp(int v) { return static_cast<BYTE>(v < 0 ? 0 : v > 255 ? 255 : v); }

// The picture as a packed 24-bit DIB in a moveable block.
HGLOBAL MakePhoto(LONG width, LONG height)
{
    const DWORD stride = DIB_Stride(width, 24);
    BITMAPINFOHEADER h;
    DIB_InitHeader(&h, width, height, 24, stride, 0);
    HGLOBAL mem = GlobalAlloc(GMEM_MOVEABLE, sizeof h + static_cast<SIZE_T>(stride) * height);
    if (!mem) return nullptr;
    BYTE* block = static_cast<BYTE*>(GlobalLock(mem));
    memcpy(block, &h, sizeof h);
    Lcg g{20240601};
    ValueNoise light1(width, height, 400, g), light2(width, height, 90, g), light3(width, height, 17, g);
    ValueNoise red(width, height, 700, g), green(width, height, 600, g), blue(width, height, 500, g);
    for (LONG y = 0; y < height; y++) {
        BYTE* p = block + sizeof h + static_cast<SIZE_T>(y) * stride;
        for (LONG x = 0; x < width; x++, p += 3) {
            int light = (light1.At(x, y) * 5 + light2.At(x, y) * 2 + light3.At(x, y)) / 8;
            int grain = (g.Next() & 15) - 8;
            p[0] = Clamp(light + (blue.At(x, y) - 128) / 2 + grain);
            p[1] = Clamp(light + (green.At(x, y) - 128) / 2 + grain);
            p[2] = Clamp(light + (red.At(x, y) - 128) / 2 + grain);
        }
        memset(p, 0, stride - 3 * static_cast<DWORD>(width));
    }
    GlobalUnlock(mem);
    return mem;
}

void DumpPpm(HGLOBAL photo, const std::string& path)
{
    const BYTE* block = static_cast<const BYTE*>(GlobalLock(photo));
    BITMAPINFOHEADER h;
    memcpy(&h, block, sizeof h);
    FILE* f = fopen(path.c_str(), "wb");
    if (f) {
        fprintf(f, "P6\n%ld %ld\n255\n", static_cast<long>(h.biWidth), static_cast<long>(h.biHeight));
        const DWORD stride = DIB_Stride(h.biWidth, 24);
        std::vector<BYTE> line(3 * static_cast<size_t>(h.biWidth));
        for (LONG y = h.biHeight - 1; y >= 0; y--) {  // PPM runs top down
            const BYTE* p = block + sizeof h + static_cast<SIZE_T>(y) * stride;
            for (LONG x = 0; x < h.biWidth; x++) {
                line[3 * x] = p[3 * x + 2];
                line[3 * x + 1] = p[3 * x + 1];
                line[3 * x + 2] = p[3 * x];
            }
            fwrite(line.data(), 1, line.size(), f);
        }
        fclose(f);
    }
    GlobalUnlock(photo);
}

HGLOBAL Photo()
{
    static HGLOBAL photo = nullptr;
    if (!photo) {
        photo = MakePhoto(4000, 3000);
        if (const char* dump = getenv("KV_BENCH_PHOTO_DUMP")) DumpPpm(photo, std::string(dump) + "/photo.ppm");
    }
    return photo;
}

void Quiet()
{
    SET_Reset();  // Floyd-Steinberg, match cache on
    CLR_SetCutProgress(0);
    CLR_SetFlatProgress(0);
}

void OptimizedCut(benchmark::State& state)
{
    Quiet();
    const int count = static_cast<int>(state.range(0));
    CLR_SetCutDither(static_cast<int>(state.range(1)));
    HGLOBAL photo = Photo();
    for (auto _ : state) {
        HGLOBAL out = nullptr;
        if (!CLR_MedianCut(photo, &out, count)) state.SkipWithError("the cut failed");
        GlobalFree(out);
    }
    CLR_SetCutDither(0);
    state.SetItemsProcessed(state.iterations() * 4000LL * 3000LL);
}
BENCHMARK(OptimizedCut)->ArgNames({"colours", "dither"})->Args({16, 0})->Args({256, 0})->Args({16, 1})->Args({256, 1})
    ->Unit(benchmark::kMillisecond)->MinTime(2.0);

void FlatCut256(benchmark::State& state)
{
    Quiet();
    HGLOBAL photo = Photo();
    for (auto _ : state) {
        HGLOBAL out = nullptr;
        if (!CLR_FlatReduce(photo, &out, 8, 0)) state.SkipWithError("the cut failed");
        GlobalFree(out);
    }
}
BENCHMARK(FlatCut256)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Peak resident set so far, in bytes; 0 where /proc is missing.
long PeakResident()
{
    FILE* f = fopen("/proc/self/status", "r");
    if (!f) return 0;
    char line[256];
    long kb = 0;
    while (fgets(line, sizeof line, f))
        if (!strncmp(line, "VmHWM:", 6)) kb = atol(line + 6);
    fclose(f);
    return kb * 1024;
}

// Makes the peak resident set start again from the present one.
void ResetPeakResident()
{
    FILE* f = fopen("/proc/self/clear_refs", "w");
    if (f) {
        fputs("5", f);
        fclose(f);
    }
}

void OptimizedCutMemory(benchmark::State& state)
{
    Quiet();
    const LONG width = static_cast<LONG>(state.range(0)), height = static_cast<LONG>(state.range(1));
    const int count = static_cast<int>(state.range(2));
    HGLOBAL photo = MakePhoto(width, height);
    const double output = sizeof(BITMAPINFOHEADER) + 4.0 * count +
                          static_cast<double>(DIB_Stride(width, count > 16 ? 8 : 4)) * height;
    double beyond = 0;
    // Large blocks from fresh pages, and the heap's free pages handed back, so
    // that whatever the cut touches shows in the peak resident set.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    for (auto _ : state) {
        malloc_trim(0);
        CLR_CutResetPeak();
        ResetPeakResident();
        const long before = PeakResident();
        HGLOBAL out = nullptr;
        if (!CLR_MedianCut(photo, &out, count)) state.SkipWithError("the cut failed");
        beyond = static_cast<double>(PeakResident() - before) - output;
        GlobalFree(out);
    }
    GlobalFree(photo);
    state.counters["working_KB"] = static_cast<double>(CLR_CutWorkingPeak()) / 1024;
    state.counters["bound_KB"] = static_cast<double>(CLR_CutWorkingBound(count)) / 1024;
    state.counters["rss_beyond_DIBs_KB"] = beyond / 1024;
    state.counters["Mpixels"] = static_cast<double>(width) * height / 1e6;
}
BENCHMARK(OptimizedCutMemory)->ArgNames({"w", "h", "colours"})->Args({2000, 2000, 256})->Args({8000, 6000, 256})
    ->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
