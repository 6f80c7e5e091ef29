// GIF encode and decode of a 4000x3000 8-bit picture: smooth gradients with
// noise, mapped to a fixed 256-colour palette, so that LZW sees the kind of
// data a photo reduced to a palette gives.
//
// With KV_BENCH_GIF_DUMP=<folder> the picture is also written there as
// picture.bmp (8-bit, the same palette), picture.ppm and picture.gif (ours),
// for bench/peers_gif.sh to time other tools on the same pixels.
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

#ifdef _WIN32
#include <process.h>
#define KV_GETPID _getpid
#else
#include <unistd.h>
#define KV_GETPID getpid
#endif

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

std::string Scratch(const char* name)
{
    const char* dir = getenv("TMPDIR");
#ifdef _WIN32
    if (!dir || !*dir) dir = getenv("TEMP");
#endif
    return std::string(dir && *dir ? dir : "/tmp") + "/kvbench_" + std::to_string(KV_GETPID()) + "_" + name;
}

// Palette: a 6x7x6 colour cube (252 entries) and four grays.
void MakePalette(RGBQUAD* table)
{
    int n = 0;
    for (int r = 0; r < 6; r++)
        for (int g = 0; g < 7; g++)
            for (int b = 0; b < 6; b++) table[n++] = {BYTE(b * 51), BYTE(g * 255 / 6), BYTE(r * 51), 0};
    for (int i = 0; i < 4; i++, n++) table[n] = {BYTE(40 + 50 * i), BYTE(40 + 50 * i), BYTE(40 + 50 * i), 0};
}

// The picture as a packed 8-bit DIB in a moveable block.
HGLOBAL MakePicture()
{
    const DWORD stride = DIB_Stride(kWidth, 8);
    HGLOBAL mem = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT,
                              sizeof(BITMAPINFOHEADER) + 1024 + static_cast<SIZE_T>(stride) * kHeight);
    BYTE* p = static_cast<BYTE*>(GlobalLock(mem));
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(p);
    h->biSize = sizeof *h;
    h->biWidth = kWidth;
    h->biHeight = kHeight;
    h->biPlanes = 1;
    h->biBitCount = 8;
    h->biSizeImage = stride * kHeight;
    h->biClrUsed = 256;
    MakePalette(reinterpret_cast<RGBQUAD*>(p + sizeof *h));
    BYTE* pixels = p + sizeof *h + 1024;
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
    BITMAPINFOHEADER* h;
    RGBQUAD* colors;
    BYTE* pixels;
    DIB_Lock(dib, &h, &colors, &pixels);
    const DWORD stride = DIB_Stride(h->biWidth, 8);
    const DWORD bits = static_cast<DWORD>(sizeof *h + 1024);
    const DWORD total = 14 + bits + stride * static_cast<DWORD>(h->biHeight);
    if (FILE* f = fopen((folder + "/picture.bmp").c_str(), "wb")) {
        BYTE file[14] = {'B', 'M'};
        for (int i = 0; i < 4; i++) file[2 + i] = static_cast<BYTE>(total >> (8 * i));
        for (int i = 0; i < 4; i++) file[10 + i] = static_cast<BYTE>((14 + bits) >> (8 * i));
        fwrite(file, 1, sizeof file, f);
        fwrite(h, 1, bits + stride * static_cast<DWORD>(h->biHeight), f);
        fclose(f);
    }
    if (FILE* f = fopen((folder + "/picture.ppm").c_str(), "wb")) {
        fprintf(f, "P6\n%ld %ld\n255\n", static_cast<long>(h->biWidth), static_cast<long>(h->biHeight));
        std::vector<BYTE> line(static_cast<size_t>(h->biWidth) * 3);
        for (LONG y = 0; y < h->biHeight; y++) {
            const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight - 1 - y) * stride;
            for (LONG x = 0; x < h->biWidth; x++) {
                line[3 * x] = colors[row[x]].rgbRed;
                line[3 * x + 1] = colors[row[x]].rgbGreen;
                line[3 * x + 2] = colors[row[x]].rgbBlue;
            }
            fwrite(line.data(), 1, line.size(), f);
        }
        fclose(f);
    }
    GlobalUnlock(dib);
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
    const std::string path = Scratch("encode.gif");
    for (auto _ : state) {
        if (!GIF_Save(path.c_str(), dib, 1, 0, 8)) state.SkipWithError("save failed");
    }
    FILE* f = fopen(path.c_str(), "rb");
    if (f) {
        fseek(f, 0, SEEK_END);
        state.counters["file_bytes"] = static_cast<double>(ftell(f));
        fclose(f);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(GifEncode8Bit4000x3000)->Unit(benchmark::kMillisecond);

void GifDecode8Bit4000x3000(benchmark::State& state)
{
    const std::string path = Scratch("decode.gif");
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
