// GIF encode and decode of a 4000x3000 8-bit picture: smooth gradients with
// noise, mapped to a fixed 256-colour palette, so that LZW sees the kind of
// data a photo reduced to a palette gives.
//
// With KV_BENCH_GIF_DUMP=<folder> the picture is also written there as
// picture.bmp (8-bit, the same palette), picture.ppm and picture.gif (ours),
// for bench/peers_gif.sh to time other tools on the same pixels.
#include "bench_images.h"
#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

// Palette: a 6x7x6 colour cube (252 entries) and four grays.
void MakePalette(RGBQUAD* table)
{
    BenchCubePalette(table);
    for (int i = 0, n = 252; i < 4; i++, n++) table[n] = {BYTE(40 + 50 * i), BYTE(40 + 50 * i), BYTE(40 + 50 * i), 0};
}

// The picture as a packed 8-bit DIB in a moveable block.
HGLOBAL MakePicture()
{
    const DWORD stride = DIB_Stride(kWidth, 8);
    HGLOBAL mem = BenchNewDib(kWidth, kHeight, 8);
    BITMAPINFOHEADER* h;
    RGBQUAD* table;
    BYTE* pixels;
    DIB_Lock(mem, &h, &table, &pixels);
    MakePalette(table);
    uint32_t seed = 2024;
    for (LONG y = 0; y < kHeight; y++) {
        BYTE* row = pixels + static_cast<SIZE_T>(kHeight - 1 - y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            seed = seed * 1664525u + 1013904223u;
            double noise = static_cast<double>((seed >> 24) & 0x1F) - 16.0;
            double r = 128 + 100 * std::sin(x / 530.0) * std::cos(y / 410.0) + noise;
            double g = 40 + 170.0 * y / kHeight + 30 * std::sin((x + y) / 300.0) + noise * 0.7;
            double b = 200 - 150.0 * x / kWidth + 25 * std::cos(y / 170.0) + noise * 0.5;
            auto level = [](double v, int steps) {
                int q = static_cast<int>(std::lround(v * (steps - 1) / 255.0));
                return q < 0 ? 0 : q >= steps ? steps - 1 : q;
            };
            row[x] = static_cast<BYTE>(level(r, 6) * 42 + level(g, 7) * 6 + level(b, 6));
        }
    }
    GlobalUnlock(mem);
    return mem;
}

void WriteDumps(HGLOBAL dib, const std::string& folder)
{
    BenchWriteBmp(folder + "/picture.bmp", dib);
    BenchWritePpm(folder + "/picture.ppm", dib);
    GIF_Save((folder + "/picture.gif").c_str(), dib, 1, 0, 8);
}

HGLOBAL Picture()
{
    static HGLOBAL picture = nullptr;
    if (!picture) {
        FMT_RegisterBuiltins();
        HDL_SetEcho(true);
        picture = MakePicture();
        if (const char* folder = getenv("KV_BENCH_GIF_DUMP")) WriteDumps(picture, folder);
    }
    return picture;
}

void GifEncode8Bit4000x3000(benchmark::State& state)
{
    HGLOBAL dib = Picture();
    const std::string path = BenchScratch("encode.gif");
    for (auto _ : state) {
        if (!GIF_Save(path.c_str(), dib, 1, 0, 8)) state.SkipWithError("save failed");
    }
    double bytes = BenchFileBytes(path);
    if (bytes >= 0) state.counters["file_bytes"] = bytes;
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(GifEncode8Bit4000x3000)->Unit(benchmark::kMillisecond);

void GifDecode8Bit4000x3000(benchmark::State& state)
{
    const std::string path = BenchScratch("decode.gif");
    GIF_Save(path.c_str(), Picture(), 1, 0, 8);
    for (auto _ : state) {
        HGLOBAL dib = nullptr;
        INF_Begin(path.c_str());
        if (!GIF_Load(path.c_str(), &dib) || !dib) state.SkipWithError("load failed");
        INF_End();
        GlobalFree(dib);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(GifDecode8Bit4000x3000)->Unit(benchmark::kMillisecond);

}  // namespace
