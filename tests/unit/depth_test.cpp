// The depth increase at DIB level: every increase of a 1, 4, 8 and 24-bit
// source compared byte for byte with the files that
// tests/data/colour/depth_make_expected.py derives from the rules, and the
// cases that decide what lands in the table, the channels and the alpha byte.
#include "cli/headless.h"
#include "colour/depth.h"
#include "colour_fixtures.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using colourtest::Bytes;
const auto BlockOf = colourtest::BlockFrom;
const auto BytesOf = colourtest::PackedBytesOf;

// A DIB from header facts, table (blue, green, red, 0 each) and pixel rows.
Bytes MakeDib(LONG width, LONG height, int bits, const Bytes& table, const Bytes& pixels, DWORD clrUsed)
{
    BITMAPINFOHEADER h = {sizeof h, width, height, 1, static_cast<WORD>(bits), BI_RGB,
                          static_cast<DWORD>(pixels.size()), 0, 0, clrUsed, clrUsed};
    Bytes out(reinterpret_cast<BYTE*>(&h), reinterpret_cast<BYTE*>(&h) + sizeof h);
    out.insert(out.end(), table.begin(), table.end());
    out.insert(out.end(), pixels.begin(), pixels.end());
    return out;
}

// Raises bytes to target; the result's bytes, empty on failure.
Bytes Raise(const Bytes& source, int target, BYTE alpha)
{
    HGLOBAL src = BlockOf(source);
    HGLOBAL out = nullptr;
    Bytes result;
    if (CLR_IncreaseDib(src, &out, target, alpha)) {
        EXPECT_EQ(0u, GlobalFlags(out) & 0xFF);
        result = BytesOf(out);
        GlobalFree(out);
    } else {
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(source, BytesOf(src)) << "the source is left alone";
    GlobalFree(src);
    return result;
}

int refused = -1;
int RefuseKind(int kind, SIZE_T) { return kind != refused; }

class IncreaseDepth : public ::testing::Test {
protected:
    void SetUp() override { HDL_ClearBoxes(); }
    void TearDown() override { CLR_DepthSetMemoryGate(nullptr); }
};

TEST_F(IncreaseDepth, MatchesTheReferenceFiles)
{
    struct Run {
        const char* source;
        int target;
        int alpha;
    };
    const Run runs[] = {{"mono", 4, 0},     {"mono", 8, 0},    {"mono", 16, 0},   {"mono", 24, 0},
                        {"mono", 32, 255},  {"mono", 32, 0},   {"column", 4, 0},  {"column", 8, 0},
                        {"column", 16, 0},  {"column", 32, 255}, {"c4", 8, 0},    {"c4", 16, 0},
                        {"c4", 24, 0},      {"c4", 32, 255},   {"c4short", 8, 0}, {"c4short", 16, 0},
                        {"c4short", 32, 0}, {"c8", 16, 0},     {"c8", 24, 0},     {"c8", 32, 0},
                        {"c8", 32, 255},    {"rgb", 32, 255},  {"rgb", 32, 0}};
    for (const Run& run : runs) {
        std::string name = std::string("depth_") + run.source + "_to" + std::to_string(run.target) +
                           (run.target == 32 ? "_a" + std::to_string(run.alpha) : "");
        Bytes source = ReadWholeFile(DataPath(std::string("colour/depth_") + run.source + ".dib"));
        Bytes expected = ReadWholeFile(DataPath("colour/" + name + ".dib"));
        ASSERT_FALSE(source.empty() || expected.empty()) << name;
        EXPECT_EQ(expected, Raise(source, run.target, static_cast<BYTE>(run.alpha))) << name;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(IncreaseDepth, PalettedTo16WritesTheFullChannelsUnmasked)
{
    // Entry 1 is (255, 7, 129): a 16-bit increase keeps it exactly, no 0xF8 cut.
    const Bytes table = {0, 0, 0, 0, 129, 7, 255, 0};
    Bytes out = Raise(MakeDib(2, 1, 4, table, {0x10, 0, 0, 0}, 2), 16, 0);
    ASSERT_EQ(40u + 8, out.size());
    const BITMAPINFOHEADER* h = reinterpret_cast<const BITMAPINFOHEADER*>(out.data());
    EXPECT_EQ(24, h->biBitCount);
    EXPECT_EQ(0u, h->biClrUsed);
    EXPECT_EQ((Bytes{129, 7, 255, 0, 0, 0, 0, 0}), Bytes(out.begin() + 40, out.end()));
}

TEST_F(IncreaseDepth, ThirtyTwoBitsEndEveryPixelWithTheAlphaByte)
{
    const Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0};
    Bytes source = MakeDib(3, 1, 24, {}, pixels, 0);
    Bytes opaque = Raise(source, 32, 255);
    EXPECT_EQ((Bytes{1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255}), Bytes(opaque.begin() + 40, opaque.end()));
    Bytes clear = Raise(source, 32, 0);
    EXPECT_EQ((Bytes{1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0}), Bytes(clear.begin() + 40, clear.end()));
}

TEST_F(IncreaseDepth, ShallowerLayoutsAreNoIncrease)
{
    Bytes eight = MakeDib(4, 1, 8, Bytes(1024, 0), {1, 2, 3, 4}, 256);
    EXPECT_TRUE(Raise(eight, 4, 0).empty());
    EXPECT_TRUE(Raise(MakeDib(1, 1, 24, {}, {1, 2, 3, 0}, 0), 8, 0).empty());
    EXPECT_TRUE(Raise(eight, 1, 0).empty());
    EXPECT_TRUE(HDL_Boxes().empty()) << "nothing to report: the menu never asks for these";
}

TEST_F(IncreaseDepth, MemoryShortOrAnUnreadableSourceReportsAndGivesNothing)
{
    Bytes source = MakeDib(3, 1, 1, {0, 0, 0, 0, 255, 255, 255, 0}, {0xA0, 0, 0, 0}, 2);
    for (int kind : {DEPTH_MEM_OUTPUT, DEPTH_MEM_ROW}) {
        refused = kind;
        CLR_DepthSetMemoryGate(RefuseKind);
        HDL_ClearBoxes();
        EXPECT_TRUE(Raise(source, 24, 0).empty()) << kind;
        ASSERT_EQ(1u, HDL_Boxes().size());
        EXPECT_EQ("Not enough memory to perform operation", HDL_Boxes()[0].text);
    }
    CLR_DepthSetMemoryGate(nullptr);
    // A header that promises two rows in a block that holds one.
    Bytes lying = source;
    reinterpret_cast<BITMAPINFOHEADER*>(lying.data())->biHeight = 2;
    HDL_ClearBoxes();
    EXPECT_TRUE(Raise(lying, 8, 0).empty());
    EXPECT_EQ(1u, HDL_Boxes().size());
}

}  // namespace
