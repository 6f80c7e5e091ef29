// PCX and TGA writing and reading on a 4000x3000 landscape-like picture: a
// sky that darkens upward with a flat sun, banded hills with a fine texture,
// and a grainy foreground, as a 24-bit image and as its 8-bit reduction to a
// fixed 6x7x6 palette. Throughput is reported as pixels per second.
//
// With KV_BENCH_PCX_TGA_DUMP set to a folder, the pictures (picture24.ppm,
// picture8.bmp) and our files of them are left there for bench/peers_pcx_tga.sh.
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
#include <string>
#include <vector>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

// The 24-bit picture; y counts from the top.
HGLOBAL MakePicture24()
{
    HGLOBAL mem = BenchNewDib(kWidth, kHeight, 24);
    BITMAPINFOHEADER* h;
    BYTE* pixels;
    DIB_Lock(mem, &h, nullptr, &pixels);
    const DWORD stride = DIB_Stride(kWidth, 24);
    // The skylines of the far and the near hills.
    std::vector<int> farRidges(kWidth), ridges(kWidth);
    for (LONG x = 0; x < kWidth; x++) {
        farRidges[x] = 1150 + static_cast<int>(90 * std::sin(x / 410.0) + 35 * std::sin(x / 97.0 + 1));
        ridges[x] = 1450 + static_cast<int>(160 * std::sin(x / 650.0 + 2) + 50 * std::sin(x / 131.0) +
                                            12 * std::sin(x / 17.0));
    }
    uint32_t seed = 19891;
    for (LONG y = 0; y < kHeight; y++) {
        BYTE* row = pixels + static_cast<SIZE_T>(kHeight - 1 - y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            seed = seed * 1664525u + 1013904223u;
            int grain = static_cast<int>((seed >> 27) & 15) - 8;
            int ridge = ridges[x];
            int far = farRidges[x];
            int r, g, b;
            LONG dx = x - 2900, dy = y - 600;
            if (dx * dx + dy * dy < 180 * 180) {
                r = 255, g = 236, b = 170;  // the sun, flat
            } else if (y < far) {
                int t = y * 255 / 1300;  // sky: darker upward, smooth, a little grain in the high part
                r = 40 + t / 2 + (y < 300 ? grain / 4 : 0);
                g = 80 + t / 2;
                b = 150 + t / 3;
            } else if (y < ridge) {
                int band = (y - far) / 40;  // far hills: flat bands of blue-gray
                r = 70 + band * 3, g = 90 + band * 4, b = 120 - band;
            } else if (y < 2200) {
                int weave = ((x / 6 + y / 4) & 3) * 4;  // near hills: greens with a fine texture
                r = 50 + weave + (y - ridge) / 20;
                g = 110 + weave + (x % 1200) / 60;
                b = 40 + weave / 2;
            } else {
                // Foreground: grainy earth, brighter toward the bottom.
                r = 110 + (y - 2200) / 10 + grain * 2;
                g = 80 + (y - 2200) / 14 + grain;
                b = 50 + grain;
            }
            row[3 * x] = BenchClamp(b);
            row[3 * x + 1] = BenchClamp(g);
            row[3 * x + 2] = BenchClamp(r);
        }
    }
    GlobalUnlock(mem);
    return mem;
}

// The 8-bit reduction: each channel to its nearest of 6, 7 and 6 levels.
HGLOBAL MakePicture8(HGLOBAL source)
{
    HGLOBAL mem = BenchNewDib(kWidth, kHeight, 8);
    BITMAPINFOHEADER *hs, *hd;
    RGBQUAD* table;
    BYTE *from, *to;
    DIB_Lock(source, &hs, nullptr, &from);
    DIB_Lock(mem, &hd, &table, &to);
    BenchCubePalette(table);
    const DWORD s24 = DIB_Stride(kWidth, 24), s8 = DIB_Stride(kWidth, 8);
    for (LONG y = 0; y < kHeight; y++) {
        const BYTE* in = from + static_cast<SIZE_T>(y) * s24;
        BYTE* out = to + static_cast<SIZE_T>(y) * s8;
        for (LONG x = 0; x < kWidth; x++) {
            int b = (in[3 * x] + 25) / 51, g = (in[3 * x + 1] * 6 + 127) / 255, r = (in[3 * x + 2] + 25) / 51;
            out[x] = static_cast<BYTE>(r * 42 + g * 6 + b);
        }
    }
    GlobalUnlock(mem);
    GlobalUnlock(source);
    return mem;
}

void WriteDumps(HGLOBAL p24, HGLOBAL p8, const std::string& folder)
{
    BenchWritePpm(folder + "/picture24.ppm", p24);
    BenchWriteBmp(folder + "/picture8.bmp", p8);
    PCX_Save((folder + "/ours8.pcx").c_str(), p8, 1, 1, 8);
    PCX_Save((folder + "/ours24.pcx").c_str(), p24, 1, 1, 24);
    TGA_Save((folder + "/ours8_raw.tga").c_str(), p8, 1, 0, 8);
    TGA_Save((folder + "/ours8_rle.tga").c_str(), p8, 1, 1, 8);
    TGA_Save((folder + "/ours24_raw.tga").c_str(), p24, 1, 0, 24);
    TGA_Save((folder + "/ours24_rle.tga").c_str(), p24, 1, 1, 24);
}

HGLOBAL Picture(int bits)
{
    static HGLOBAL p24 = nullptr, p8 = nullptr;
    if (!p24) {
        FMT_RegisterBuiltins();
        HDL_SetEcho(true);
        p24 = MakePicture24();
        p8 = MakePicture8(p24);
        if (const char* folder = getenv("KV_BENCH_PCX_TGA_DUMP")) WriteDumps(p24, p8, folder);
    }
    return bits == 8 ? p8 : p24;
}

typedef int (*SaveProc)(LPCSTR, HGLOBAL, WORD, WORD, WORD);
typedef int (*LoadProc)(LPCSTR, HGLOBAL*);

void Encode(benchmark::State& state, SaveProc save, const char* name, int bits, WORD compressed)
{
    HGLOBAL dib = Picture(bits);
    const std::string path = BenchScratch(name);
    for (auto _ : state) {
        if (!save(path.c_str(), dib, 1, compressed, static_cast<WORD>(bits))) state.SkipWithError("save failed");
    }
    double bytes = BenchFileBytes(path);
    if (bytes >= 0) state.counters["file_bytes"] = bytes;
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void Decode(benchmark::State& state, SaveProc save, LoadProc load, const char* name, int bits, WORD compressed)
{
    const std::string path = BenchScratch(name);
    save(path.c_str(), Picture(bits), 1, compressed, static_cast<WORD>(bits));
    for (auto _ : state) {
        HGLOBAL dib = nullptr;
        INF_Begin(path.c_str());
        if (!load(path.c_str(), &dib) || !dib) state.SkipWithError("load failed");
        INF_End();
        GlobalFree(dib);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void PcxEncode8Bit(benchmark::State& s) { Encode(s, PCX_Save, "e8.pcx", 8, 1); }
void PcxEncode24Bit(benchmark::State& s) { Encode(s, PCX_Save, "e24.pcx", 24, 1); }
void PcxDecode8Bit(benchmark::State& s) { Decode(s, PCX_Save, PCX_Load, "d8.pcx", 8, 1); }
void PcxDecode24Bit(benchmark::State& s) { Decode(s, PCX_Save, PCX_Load, "d24.pcx", 24, 1); }
void TgaEncode8BitRaw(benchmark::State& s) { Encode(s, TGA_Save, "e8r.tga", 8, 0); }
void TgaEncode8BitRle(benchmark::State& s) { Encode(s, TGA_Save, "e8c.tga", 8, 1); }
void TgaEncode24BitRaw(benchmark::State& s) { Encode(s, TGA_Save, "e24r.tga", 24, 0); }
void TgaEncode24BitRle(benchmark::State& s) { Encode(s, TGA_Save, "e24c.tga", 24, 1); }
void TgaDecode8BitRaw(benchmark::State& s) { Decode(s, TGA_Save, TGA_Load, "d8r.tga", 8, 0); }
void TgaDecode8BitRle(benchmark::State& s) { Decode(s, TGA_Save, TGA_Load, "d8c.tga", 8, 1); }
void TgaDecode24BitRaw(benchmark::State& s) { Decode(s, TGA_Save, TGA_Load, "d24r.tga", 24, 0); }
void TgaDecode24BitRle(benchmark::State& s) { Decode(s, TGA_Save, TGA_Load, "d24c.tga", 24, 1); }

BENCHMARK(PcxEncode8Bit)->Unit(benchmark::kMillisecond);
BENCHMARK(PcxEncode24Bit)->Unit(benchmark::kMillisecond);
BENCHMARK(PcxDecode8Bit)->Unit(benchmark::kMillisecond);
BENCHMARK(PcxDecode24Bit)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaEncode8BitRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaEncode8BitRle)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaEncode24BitRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaEncode24BitRle)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaDecode8BitRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaDecode8BitRle)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaDecode24BitRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(TgaDecode24BitRle)->Unit(benchmark::kMillisecond);

}  // namespace
