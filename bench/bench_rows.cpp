// Writing and reading of the rows without a benchmark of their own (SGI RGB,
// PPM, Sun raster, GEN, HEX, IFF, WPG on the picture's 8-bit gray, and EPS,
// which is only written) on a 4000x3000 24-bit picture: smooth gradients
// crossed by bands, with a little grain. Throughput is reported as pixels per second.
//
// With KV_BENCH_ROWS_DUMP set to a folder, the picture (picture24.ppm) and our
// files of it are left there for bench/peers_rows.sh.
#include "bench_images.h"
#include "cli/headless.h"
#include "colour/luma.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const LONG kWidth = 4000;
const LONG kHeight = 3000;

typedef int (*SaveProc)(LPCSTR, HGLOBAL, WORD, WORD, WORD);
typedef int (*LoadProc)(LPCSTR, HGLOBAL*);

struct Row {
    const char* name;  // the file's extension
    SaveProc save;
    LoadProc load;
    int bits;  // 24, or 8 for the gray copy
};
const Row kRows[] = {{"rgb", SGI_Save, SGI_Load, 24}, {"ppm", PPM_Save, PPM_Load, 24}, {"ras", RAS_Save, RAS_Load, 24},
                     {"gen", GEN_Save, GEN_Load, 24}, {"hex", HEX_Save, HEX_Load, 24}, {"iff", IFF_Save, IFF_Load, 24},
                     {"wpg", WPG_Save, WPG_Load, 8}, {"eps", EPS_Save, nullptr, 24}};

HGLOBAL Picture();
// The picture, or its 8-bit gray copy.
HGLOBAL PictureAt(int bits)
{
    static HGLOBAL gray = nullptr;
    if (bits == 24) return Picture();
    if (!gray) {
        CLR_InitLuma();
        gray = DIB_ToGray(Picture());
    }
    return gray;
}

HGLOBAL Picture()
{
    static HGLOBAL picture = nullptr;
    if (picture) return picture;
    FMT_RegisterBuiltins();
    HDL_SetEcho(true);
    picture = BenchNewDib(kWidth, kHeight, 24);
    BITMAPINFOHEADER* h;
    BYTE* pixels;
    DIB_Lock(picture, &h, nullptr, &pixels);
    const DWORD stride = DIB_Stride(kWidth, 24);
    uint32_t seed = 4099;
    for (LONG y = 0; y < kHeight; y++) {
        BYTE* row = pixels + static_cast<SIZE_T>(kHeight - 1 - y) * stride;
        for (LONG x = 0; x < kWidth; x++) {
            seed = seed * 1664525u + 1013904223u;
            const int grain = static_cast<int>((seed >> 28) & 7) - 4, band = ((x + y) / 250 & 1) * 30;
            row[3 * x] = BenchClamp(60 + y * 150 / kHeight + grain);
            row[3 * x + 1] = BenchClamp(40 + x * 120 / kWidth + band);
            row[3 * x + 2] = BenchClamp(200 - (x + y) * 150 / (kWidth + kHeight) + band + grain);
        }
    }
    GlobalUnlock(picture);
    if (const char* folder = getenv("KV_BENCH_ROWS_DUMP")) {
        BenchWritePpm(std::string(folder) + "/picture24.ppm", picture);
        for (const Row& r : kRows)
            r.save((std::string(folder) + "/ours." + r.name).c_str(), PictureAt(r.bits), 1, 0, static_cast<WORD>(r.bits));
    }
    return picture;
}

void Encode(benchmark::State& state, const Row& row)
{
    HGLOBAL dib = PictureAt(row.bits);
    const std::string path = BenchScratch((std::string("e.") + row.name).c_str());
    for (auto _ : state)
        if (!row.save(path.c_str(), dib, 1, 0, static_cast<WORD>(row.bits))) state.SkipWithError("save failed");
    const double bytes = BenchFileBytes(path);
    if (bytes >= 0) state.counters["file_bytes"] = bytes;
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void Decode(benchmark::State& state, const Row& row)
{
    const std::string path = BenchScratch((std::string("d.") + row.name).c_str());
    row.save(path.c_str(), PictureAt(row.bits), 1, 0, static_cast<WORD>(row.bits));
    for (auto _ : state) {
        HGLOBAL dib = nullptr;
        INF_Begin(path.c_str());
        if (!row.load(path.c_str(), &dib) || !dib) state.SkipWithError("load failed");
        INF_End();
        GlobalFree(dib);
    }
    remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

// RowsEncode/rgb, RowsDecode/rgb and so on, one pair per row.
[[maybe_unused]] const bool registered = [] {
    for (const Row& r : kRows) {
        benchmark::RegisterBenchmark((std::string("RowsEncode/") + r.name).c_str(), Encode, r)
            ->Unit(benchmark::kMillisecond);
        if (r.load)
            benchmark::RegisterBenchmark((std::string("RowsDecode/") + r.name).c_str(), Decode, r)
                ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
