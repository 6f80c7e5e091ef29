// Flat Cut and Flat Cut with Floyd-Steinberg to 1, 4, 8 and 16 bits on a
// 4000x3000 24-bit photo-like picture: smooth diagonal gradients for the
// light and the colour, a woven texture, and grain from a fixed generator.
// Throughput is reported as pixels per second.
#include "bench_images.h"
#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "core/settings.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

// The picture, made once: every value an integer function of x, y and the generator.
HGLOBAL Picture()
{
    static HGLOBAL picture = nullptr;
    if (picture) return picture;
    DWORD stride = DIB_Stride(kWidth, 24);
    picture = BenchNewDib(kWidth, kHeight, 24);
    BYTE* p = static_cast<BYTE*>(GlobalLock(picture));
    uint32_t state = 20240611U;
    for (LONG y = 0; y < kHeight; y++) {
        BYTE* line = p + sizeof(BITMAPINFOHEADER) + static_cast<size_t>(y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            state = state * 1103515245U + 12345U;
            int grain = static_cast<int>((state >> 16) & 31) - 16;
            int light = (x + y) * 200 / (kWidth + kHeight) + 30;       // a diagonal ramp
            int weave = ((x / 7 + y / 5) & 7) * 3 - 10;                 // a fine texture
            int warm = (x * 255) / kWidth, cool = (y * 255) / kHeight;  // colour drifts
            int r = light + weave + grain + (warm - 128) / 3;
            int g = light + weave + grain / 2 + (cool - 128) / 4;
            int b = light - weave + grain + (128 - warm) / 3;
            line[3 * x] = BenchClamp(b);
            line[3 * x + 1] = BenchClamp(g);
            line[3 * x + 2] = BenchClamp(r);
        }
    }
    GlobalUnlock(picture);
    return picture;
}

void Run(benchmark::State& state, int (*reduce)(HGLOBAL, HGLOBAL*, int, int))
{
    HGLOBAL source = Picture();
    SET_Reset();
    SET_Put(SET_DITHER_TYPE, 2);
    CLR_SetFlatProgress(0);
    int target = static_cast<int>(state.range(0));
    for (auto _ : state) {
        HGLOBAL out = nullptr;
        if (!reduce(source, &out, target, 0)) {
            state.SkipWithError("reduction failed");
            break;
        }
        benchmark::DoNotOptimize(out);
        GlobalFree(out);
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
    state.counters["Mpixel/s"] =
        benchmark::Counter(static_cast<double>(kWidth) * kHeight / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_FlatCutPlain(benchmark::State& state) { Run(state, CLR_FlatReduce); }
void BM_FlatCutFloydSteinberg(benchmark::State& state) { Run(state, CLR_FlatDither); }

}  // namespace

BENCHMARK(BM_FlatCutPlain)->Arg(1)->Arg(4)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FlatCutFloydSteinberg)->Arg(1)->Arg(4)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);
