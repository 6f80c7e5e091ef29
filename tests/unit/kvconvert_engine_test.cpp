// kvconvert's files equal what the engine's own functions make of the same
// input: load, the batch's choice of operation for the target, save.
#include "cli/cli_job.h"
#include "cli/headless.h"
#include "colour/conversions.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "formats/formats.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// A 24-bit BMP with pixel (x, y) from the function, rows bottom-up.
template <typename Pixel>
std::vector<unsigned char> MakeBmp(int w, int h, Pixel pixel)
{
    int stride = (w * 3 + 3) & ~3;
    std::vector<unsigned char> f(54 + static_cast<size_t>(stride) * h, 0);
    auto put32 = [&](size_t at, uint32_t v) { memcpy(&f[at], &v, 4); };
    f[0] = 'B';
    f[1] = 'M';
    put32(2, static_cast<uint32_t>(f.size()));
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<uint32_t>(w));
    put32(22, static_cast<uint32_t>(h));
    f[26] = 1;
    f[28] = 24;
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            unsigned char rgb[3];
            pixel(x, y, rgb);
            size_t at = 54 + static_cast<size_t>(h - 1 - y) * stride + x * 3;
            f[at] = rgb[2];
            f[at + 1] = rgb[1];
            f[at + 2] = rgb[0];
        }
    return f;
}

// The batch's conversion of one image, spelled out with the engine's operations.
void EngineConvert(ColourDocument* doc, int bits, bool flat, bool dither)
{
    ColourChange change;
    if (bits > doc->bits) {
        if (CLR_DocIncreaseDepth(doc, bits, -1, &change)) CLR_ApplyChange(doc, &change);
    } else if (bits < doc->bits) {
        int done = (!flat && bits != 16 && bits != 1) ? CLR_DocOptimizedCut(doc, 1 << bits, dither, &change)
                                                      : CLR_DocFlatCut(doc, bits, dither, &change);
        if (done) CLR_ApplyChange(doc, &change);
    }
}

std::vector<unsigned char> EngineFile(const std::string& input, int row, int bits, bool flat, bool dither)
{
    INF_Begin(input.c_str());
    HGLOBAL dib = nullptr;
    EXPECT_TRUE(BMP_Load(input.c_str(), &dib));
    INF_End();
    ColourDocument doc = {dib, 24, 1};
    EngineConvert(&doc, bits, flat, dither);
    std::string out = TempPath("engine_out");
    HDL_SetActiveBits(doc.bits);
    // Compressed wherever the row can compress the depth, as kvconvert defaults.
    int compressed = FMT_TestCapability(row, FMT_DepthIndex(bits), CAP_COMPRESS_OPTIONAL | CAP_COMPRESS_INHERENT);
    EXPECT_TRUE(FMT_Save(out.c_str(), doc.dib, static_cast<WORD>(doc.color), static_cast<WORD>(compressed),
                         static_cast<WORD>(doc.bits), row));
    GlobalFree(doc.dib);
    std::vector<unsigned char> bytes = ReadWholeFile(out);
    remove(out.c_str());
    return bytes;
}

}  // namespace

TEST(KvconvertEngine, EveryTargetMethodAndDitherGivesTheEnginesBytes)
{
    FMT_RegisterBuiltins();
    SET_Reset();
    HDL_ClearBoxes();
    struct Image {
        const char* name;
        std::vector<unsigned char> file;
    };
    std::vector<Image> images = {
        {"gradient", MakeBmp(37, 23, [](int x, int y, unsigned char* p) {
             p[0] = static_cast<unsigned char>(x * 7);
             p[1] = static_cast<unsigned char>(y * 11);
             p[2] = static_cast<unsigned char>((x + y) * 5);
         })},
        {"noise", MakeBmp(16, 9, [](int x, int y, unsigned char* p) {
             uint32_t s = static_cast<uint32_t>(x * 73856093u ^ y * 19349663u) * 1103515245u + 12345u;
             p[0] = static_cast<unsigned char>(s >> 24);
             p[1] = static_cast<unsigned char>(s >> 16);
             p[2] = static_cast<unsigned char>(s >> 8);
         })},
        {"few", MakeBmp(7, 3, [](int x, int, unsigned char* p) {
             static const unsigned char c[3][3] = {{255, 0, 0}, {0, 128, 255}, {250, 250, 250}};
             memcpy(p, c[x % 3], 3);
         })},
    };
    int compared = 0;
    for (const Image& image : images) {
        std::string input = TempPath(std::string(image.name) + ".bmp");
        ASSERT_TRUE(WriteWholeFile(input, image.file));
        for (int bits : {1, 4, 8, 16, 24, 32}) {
            // BMP holds every depth but 16; TGA holds 16.
            int row = bits == 16 ? FMT_Row_TGA : FMT_Row_BMP;
            for (bool flat : {true, false})
                for (bool dither : {true, false}) {
                    ConvertOptions o;
                    o.depth = bits;
                    o.flat = flat;
                    o.dither = dither;
                    std::string output = TempPath("cli_out");
                    char unfinished[512];
                    ASSERT_EQ(1, CLI_ConvertFile(o, input, output, row, unfinished, sizeof unfinished))
                        << image.name << " " << bits << " flat " << flat << " dither " << dither;
                    std::vector<unsigned char> cli = ReadWholeFile(output);
                    remove(output.c_str());
                    std::vector<unsigned char> engine = EngineFile(input, row, bits, flat, dither);
                    ASSERT_FALSE(cli.empty());
                    EXPECT_EQ(engine, cli) << image.name << " " << bits << " flat " << flat << " dither " << dither;
                    compared++;
                }
        }
        remove(input.c_str());
    }
    EXPECT_EQ(3 * 6 * 4, compared);
    EXPECT_TRUE(HDL_Boxes().empty()) << HDL_Boxes().front().text;
}

TEST(KvconvertEngine, PrivateNameAtTheLimitConvertsOneLongerIsRefused)
{
    FMT_RegisterBuiltins();
    const std::string input = TempPath("limit_in.bmp");
    ASSERT_TRUE(WriteWholeFile(input, MakeBmp(3, 2, [](int, int, unsigned char* p) { memset(p, 9, 3); })));
    // Outputs whose private name (7 more) fits exactly, and is one too long:
    // cut, that would be a user's file.
    LongName limit(FIL_NameRoom - 1);
    const std::string fits = limit.name.substr(0, limit.name.size() - 7), over = fits + "Z";
    const std::string cut = over + ".kvpar";
    ASSERT_TRUE(WriteWholeFile(cut, {'u'}));
    char unfinished[FIL_NameRoom];
    EXPECT_EQ(1, CLI_ConvertFile(ConvertOptions(), input, fits, FMT_Row_GIF, unfinished, sizeof unfinished));
    EXPECT_EQ(0, CLI_ConvertFile(ConvertOptions(), input, over, FMT_Row_GIF, unfinished, sizeof unfinished));
    EXPECT_EQ(std::vector<unsigned char>{'u'}, ReadWholeFile(cut));
    EXPECT_TRUE(FileExists(fits) && !FileExists(over));
    for (const std::string& name : {cut, fits, input}) remove(name.c_str());
}
