// kvconvert's own rules: options, output names and the default depth, colour and compression.
#include "cli/cli_job.h"
#include "cli/cli_options.h"
#include "formats/format_table.h"

#include <gtest/gtest.h>

namespace {
int Parse(std::vector<std::string> args, ConvertOptions* o, std::string* error)
{
    std::vector<char*> argv;
    static char program[] = "kvconvert";
    argv.push_back(program);
    for (std::string& a : args) argv.push_back(&a[0]);
    error->clear();
    return CLI_ParseOptions(static_cast<int>(argv.size()), argv.data(), o, error);
}

struct Preset {
    int bits, color, compressed;
};
Preset PresetFor(const char* ext, int bits, int color, int compressed)
{
    FMT_RegisterBuiltins();
    Preset p;
    CLI_PresetSave(FMT_FromExtension(ext), bits, color, compressed, &p.bits, &p.color, &p.compressed);
    return p;
}
}  // namespace

TEST(KvconvertOptions, LongShortAttachedAndSeparateValues)
{
    ConvertOptions o;
    std::string error;
    ASSERT_EQ(1, Parse({"-o", "out", "--to=gif", "-d8", "--gray", "--flat", "--no-dither", "--dither-type", "stucki",
                        "--fast-dither=0", "--no-compress", "--tiff-compression", "1=Group4", "--jpeg-quality", "90",
                        "--limit-memory=64M", "--yes", "--force", "-q", "a.bmp", "--", "-b.bmp"},
                       &o, &error))
        << error;
    EXPECT_EQ("out", o.output);
    EXPECT_EQ("gif", o.to);
    EXPECT_EQ(8, o.depth);
    EXPECT_TRUE(o.gray);
    EXPECT_TRUE(o.flat);
    EXPECT_FALSE(o.dither);
    EXPECT_EQ(3, o.ditherType);
    EXPECT_EQ(0, o.fastDither);
    EXPECT_EQ(0, o.compress);
    EXPECT_EQ(4, o.tiffCompression[0]);
    EXPECT_EQ(-1, o.tiffCompression[2]);
    EXPECT_EQ(90, o.jpegQuality);
    EXPECT_EQ(64u << 20, o.memoryLimit);
    EXPECT_EQ(1, o.answer);
    EXPECT_TRUE(o.force);
    EXPECT_EQ(0, o.progress);
    ASSERT_EQ(2u, o.inputs.size());
    EXPECT_EQ("-b.bmp", o.inputs[1]);
}

TEST(KvconvertOptions, BadUsageIsRefusedWithAReason)
{
    ConvertOptions o;
    std::string error;
    EXPECT_EQ(0, Parse({"-d", "12", "a.bmp"}, &o, &error));
    EXPECT_EQ("--depth must be 1, 4, 8, 16, 24 or 32", error);
    EXPECT_EQ(0, Parse({"--dither-type", "bayer"}, &o, &error));
    EXPECT_EQ("unknown dither type 'bayer'", error);
    EXPECT_EQ(0, Parse({"--tiff-compression", "8=LZW"}, &o, &error));
    EXPECT_EQ(0, Parse({"--tiff-compression", "32=PackBits"}, &o, &error));
    EXPECT_EQ(0, Parse({"--frobnicate"}, &o, &error));
    EXPECT_EQ("unknown option '--frobnicate'", error);
    EXPECT_EQ(0, Parse({"-o"}, &o, &error));
    EXPECT_EQ("option -o needs a value", error);
    EXPECT_EQ(0, Parse({"--force=1"}, &o, &error));
    EXPECT_EQ(0, Parse({"--jpeg-quality", "0"}, &o, &error));
    EXPECT_EQ("--jpeg-quality must be 1 to 100", error);
    // Sizes from 1 byte to 2G, with K, M or G.
    for (const char* size : {"0", "3G", "2049M", "12T", "1.5G", "K", "99999999999999G"})
        EXPECT_EQ(0, Parse({"--limit-memory", size}, &o, &error)) << size;
    EXPECT_EQ(2048u, CLI_ParseMemoryLimit("2k"));
    EXPECT_EQ(8, CLI_DitherIndex("floyd-noise"));
    EXPECT_EQ(0, CLI_DitherIndex("0"));
    EXPECT_EQ(-1, CLI_DitherIndex("9"));
}

TEST(KvconvertNames, CutAtTheFirstDotWithTheOutputExtension)
{
    FMT_RegisterBuiltins();
    EXPECT_EQ("PIC.BMP", CLI_OutputName("PIC.ONE.PCX", FMT_Row_BMP));
    EXPECT_EQ("A.BMP", CLI_OutputName("C:\\IN\\A.B.TIF", FMT_Row_BMP));
    EXPECT_EQ("photo.gif", CLI_OutputName("/tmp/in.d/photo.one.bmp", FMT_Row_GIF));
    // A name without a dot keeps no extension at all, as the batch's names do.
    EXPECT_EQ("NODOT", CLI_OutputName("dir.v1/NODOT", FMT_Row_GIF));
}

TEST(KvconvertPreset, DefaultDepthIsTheOwnElseTheLargestBelowElseTheSmallestAbove)
{
    // The image's own depth where the format holds it.
    Preset p = PresetFor("BMP", 8, 1, 1);
    EXPECT_EQ(8, p.bits);
    EXPECT_EQ(1, p.color);
    EXPECT_EQ(0, p.compressed);  // BMP can't be compressed
    // 24 bits to GIF: the largest below, 8.
    p = PresetFor("GIF", 24, 1, 0);
    EXPECT_EQ(8, p.bits);
    EXPECT_EQ(1, p.compressed);  // inherent
    // Downward first, where the Save dialog looks upward; from 1 bit, up to the smallest.
    EXPECT_EQ(24, PresetFor("PCX", 32, 1, 0).bits);
    EXPECT_EQ(8, PresetFor("BMP", 16, 1, 0).bits);
    EXPECT_EQ(8, PresetFor("JPG", 1, 0, 0).bits);
    // RLE always compresses; 24 bits go to 8.
    p = PresetFor("RLE", 24, 1, 0);
    EXPECT_EQ(8, p.bits);
    EXPECT_EQ(1, p.compressed);
    // The SGI row holds 8 bits as gray only: colour is dropped there.
    p = PresetFor("RGB", 8, 1, 0);
    EXPECT_EQ(8, p.bits);
    EXPECT_EQ(0, p.color);
    p = PresetFor("RGB", 24, 1, 0);
    EXPECT_EQ(24, p.bits);
    EXPECT_EQ(1, p.color);
    // DIB keeps a loaded file's compression where it's optional.
    p = PresetFor("DIB", 4, 1, 1);
    EXPECT_EQ(4, p.bits);
    EXPECT_EQ(1, p.compressed);
}
