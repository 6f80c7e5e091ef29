// TIFF (PackBits) and JPEG (quality 75, 2x2 chroma) save and load of a
// 4000x3000 24-bit photo-like picture (12 Mpixels): gradients, a texture,
// flat patches (which PackBits runs compress) and grain. Each benchmark runs
// the program's whole handler: file written or read, DIB built. Throughput is
// reported as pixels per second.
//
// With KV_BENCH_TIFF_JPEG_DUMP=<dir> the picture is also written there as
// photo.ppm, photo.tif and photo.jpg for the peer tools (peers_tiff_jpeg.sh).
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
#include <unistd.h>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

HGLOBAL Picture()
{
    static HGLOBAL picture = nullptr;
    if (picture) return picture;
    const DWORD stride = ((kWidth * 24 + 31) / 32) * 4;
    picture = GlobalAlloc(GHND, sizeof(BITMAPINFOHEADER) + static_cast<SIZE_T>(stride) * kHeight);
    BYTE* p = static_cast<BYTE*>(GlobalLock(picture));
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    h->biSize = sizeof(BITMAPINFOHEADER);
    h->biWidth = kWidth;
    h->biHeight = kHeight;
    h->biPlanes = 1;
    h->biBitCount = 24;
    h->biSizeImage = stride * kHeight;
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
            line[3 * x] = static_cast<BYTE>(b < 0 ? 0 : b > 255 ? 255 : b);
            line[3 * x + 1] = static_cast<BYTE>(g < 0 ? 0 : g > 255 ? 255 : g);
            line[3 * x + 2] = static_cast<BYTE>(r < 0 ? 0 : r > 255 ? 255 : r);
        }
    }
    GlobalUnlock(picture);
    return picture;
}

std::string Scratch(const char* name) { return "/tmp/kvbench_" + std::to_string(getpid()) + "_" + name; }

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

// The picture top row first as a binary PPM.
void WritePpm(const std::string& path)
{
    HGLOBAL picture = Picture();
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(picture)) + sizeof(BITMAPINFOHEADER);
    const DWORD stride = ((kWidth * 24 + 31) / 32) * 4;
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return;
    fprintf(f, "P6\n%d %d\n255\n", static_cast<int>(kWidth), static_cast<int>(kHeight));
    std::string row(static_cast<size_t>(kWidth) * 3, '\0');
    for (LONG y = kHeight - 1; y >= 0; y--) {
        const BYTE* s = p + static_cast<size_t>(y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            row[3 * x] = static_cast<char>(s[3 * x + 2]);
            row[3 * x + 1] = static_cast<char>(s[3 * x + 1]);
            row[3 * x + 2] = static_cast<char>(s[3 * x]);
        }
        fwrite(row.data(), 1, row.size(), f);
    }
    fclose(f);
    GlobalUnlock(picture);
}

void DumpForPeers()
{
    const char* dir = getenv("KV_BENCH_TIFF_JPEG_DUMP");
    if (!dir || !*dir) return;
    Setup();
    std::string base(dir);
    WritePpm(base + "/photo.ppm");
    TIF_Save((base + "/photo.tif").c_str(), Picture(), 1, 1, 24);
    ZIM_Save((base + "/photo.jpg").c_str(), Picture(), 1, 1, 24);
}

void BM_TiffPackBitsSave(benchmark::State& state)
{
    Setup();
    HGLOBAL picture = Picture();
    std::string path = Scratch("save.tif");
    for (auto _ : state)
        if (!TIF_Save(path.c_str(), picture, 1, 1, 24)) state.SkipWithError("save failed");
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_TiffPackBitsLoad(benchmark::State& state)
{
    Setup();
    std::string path = Scratch("load.tif");
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
    std::string path = Scratch("save.jpg");
    for (auto _ : state)
        if (!ZIM_Save(path.c_str(), picture, 1, 1, 24)) state.SkipWithError("save failed");
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_JpegLoad(benchmark::State& state)
{
    Setup();
    std::string path = Scratch("load.jpg");
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
