// TIFF (PackBits) and JPEG (quality 75, 2x2 chroma) save and load of a
// 4000x3000 24-bit photo-like picture (12 Mpixels): gradients, a texture,
// flat patches (which PackBits runs compress) and grain. Each benchmark runs
// the program's whole handler: file written or read, DIB built. Throughput is
// reported as pixels per second.
//
// With KV_BENCH_TIFF_JPEG_DUMP=<dir> the picture is also written there as
// photo.ppm, photo.tif and photo.jpg for the peer tools (peers_tiff_jpeg.sh).
#include "bench_images.h"
#include "cli/headless.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/jpeg.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

HGLOBAL Picture()
{
    static HGLOBAL picture = nullptr;
    if (picture) return picture;
    const DWORD stride = DIB_Stride(kWidth, 24);
    picture = BenchNewDib(kWidth, kHeight, 24);
    BYTE* p = static_cast<BYTE*>(GlobalLock(picture));
    uint32_t state = 77001U;
    for (LONG y = 0; y < kHeight; y++) {
        BYTE* line = p + sizeof(BITMAPINFOHEADER) + static_cast<size_t>(y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            state = state * 1103515245U + 12345U;
            // A quarter of the picture is flat sky: runs for PackBits.
            bool flat = y < kHeight / 4;
            int grain = flat ? 0 : static_cast<int>((state >> 16) & 15) - 8;
            int light = (x + 2 * y) * 180 / (kWidth + 2 * kHeight) + 40;
            int weave = flat ? 0 : ((x / 9 + y / 6) & 7) * 3 - 10;
            int r = flat ? 120 : light + weave + grain + (x * 60) / kWidth;
            int g = flat ? 170 : light + weave + grain / 2;
            int b = flat ? 230 : light - weave + grain + (y * 50) / kHeight;
            line[3 * x] = BenchClamp(b);
            line[3 * x + 1] = BenchClamp(g);
            line[3 * x + 2] = BenchClamp(r);
        }
    }
    GlobalUnlock(picture);
    return picture;
}

void Setup()
{
    static bool done = false;
    if (done) return;
    done = true;
    FMT_RegisterBuiltins();
    SET_Reset();
    HDL_SetEcho(true);
    ZIM_SetQuality(75);
}

void DumpForPeers()
{
    const char* dir = getenv("KV_BENCH_TIFF_JPEG_DUMP");
    if (!dir || !*dir) return;
    Setup();
    std::string base(dir);
    BenchWritePpm(base + "/photo.ppm", Picture());
    TIF_Save((base + "/photo.tif").c_str(), Picture(), 1, 1, 24);
    ZIM_Save((base + "/photo.jpg").c_str(), Picture(), 1, 1, 24);
}

void BM_TiffPackBitsSave(benchmark::State& state)
{
    Setup();
    HGLOBAL picture = Picture();
    std::string path = BenchScratch("save.tif");
    for (auto _ : state)
        if (!TIF_Save(path.c_str(), picture, 1, 1, 24)) state.SkipWithError("save failed");
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_TiffPackBitsLoad(benchmark::State& state)
{
    Setup();
    std::string path = BenchScratch("load.tif");
    TIF_Save(path.c_str(), Picture(), 1, 1, 24);
    for (auto _ : state) {
        HGLOBAL dib = nullptr;
        if (!TIF_Load(path.c_str(), &dib)) state.SkipWithError("load failed");
        GlobalFree(dib);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_JpegSave(benchmark::State& state)
{
    Setup();
    HGLOBAL picture = Picture();
    std::string path = BenchScratch("save.jpg");
    for (auto _ : state)
        if (!ZIM_Save(path.c_str(), picture, 1, 1, 24)) state.SkipWithError("save failed");
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_JpegLoad(benchmark::State& state)
{
    Setup();
    std::string path = BenchScratch("load.jpg");
    ZIM_Save(path.c_str(), Picture(), 1, 1, 24);
    for (auto _ : state) {
        HGLOBAL dib = nullptr;
        if (!ZIM_Load(path.c_str(), &dib)) state.SkipWithError("load failed");
        GlobalFree(dib);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

const bool dumped = (DumpForPeers(), true);

}  // namespace

BENCHMARK(BM_TiffPackBitsSave)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TiffPackBitsLoad)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JpegSave)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JpegLoad)->Unit(benchmark::kMillisecond);
