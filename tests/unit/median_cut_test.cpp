// Optimized Cut: whole reductions compared byte for byte with the files that
// tests/data/colour/mc_make_expected.py derives from the cut's rules, and
// small images worked out by hand for the rules that decide the palette: the
// axis ties, the reversed order of equal values, the median walk, the means,
// the list order, the memory failures.
#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "colour/median_cut.h"
#include "colour/median_cut_state.h"
#include "core/settings.h"
#include "colour_fixtures.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using colourtest::BlockFrom;
using colourtest::Bytes;
using colourtest::Rgb;

const auto BytesOf = colourtest::PackedBytesOf;

HGLOBAL DibBlock24(const std::vector<std::vector<Rgb>>& rows) { return BlockFrom(colourtest::Dib24(rows)); }

// One 24-bit row holding each colour `count` times.
HGLOBAL Row24(const std::vector<std::pair<Rgb, int>>& colours)
{
    std::vector<Rgb> row;
    for (auto& c : colours) row.insert(row.end(), c.second, c.first);
    return DibBlock24({row});
}

struct Cut {
    Bytes bytes;  // empty when the cut failed
    const BITMAPINFOHEADER* header() const { return reinterpret_cast<const BITMAPINFOHEADER*>(bytes.data()); }
    Rgb entry(int i) const
    {
        const BYTE* q = bytes.data() + 40 + 4 * i;
        EXPECT_EQ(0, q[3]);
        return Rgb{q[2], q[1], q[0]};
    }
    const BYTE* pixels() const { return bytes.data() + 40 + 4 * header()->biClrUsed; }
};

Cut RunCut(HGLOBAL source, int count, int dither)
{
    CLR_SetCutDither(dither);
    CLR_SetCutProgress(0);
    HGLOBAL out = nullptr;
    Cut cut;
    if (CLR_MedianCut(source, &out, count)) {
        EXPECT_EQ(0u, GlobalFlags(out) & 0xFF) << "the result comes back unlocked";
        cut.bytes = BytesOf(out);
        GlobalFree(out);
    } else {
        EXPECT_EQ(nullptr, out);
    }
    GlobalFree(source);
    return cut;
}

void ExpectEntry(const Cut& cut, int i, BYTE r, BYTE g, BYTE b)
{
    Rgb e = cut.entry(i);
    EXPECT_EQ(r, e.r) << "entry " << i;
    EXPECT_EQ(g, e.g) << "entry " << i;
    EXPECT_EQ(b, e.b) << "entry " << i;
}

// Refuses the n-th allocation of one kind (counting from 1), allows the rest.
int refuseKind = -1, refuseAt = 0, seenOfKind = 0;
int RefuseNth(int kind, SIZE_T)
{
    if (kind != refuseKind) return 1;
    return ++seenOfKind != refuseAt;
}
struct Refusal {
    Refusal(int kind, int nth)
    {
        refuseKind = kind;
        refuseAt = nth;
        seenOfKind = 0;
        CLR_CutSetMemoryGate(RefuseNth);
        HDL_ClearBoxes();
    }
    ~Refusal() { CLR_CutSetMemoryGate(nullptr); }
};

class OptimizedCut : public ::testing::Test {
protected:
    void SetUp() override
    {
        SET_Reset();  // Floyd-Steinberg with the match cache
        HDL_ClearBoxes();
    }
    void TearDown() override
    {
        EXPECT_EQ(0u, CLR_CutWorkingBytes()) << "working memory left behind";
        CLR_SetCutProgress(1);
        CLR_SetCutDither(0);
    }
};

TEST_F(OptimizedCut, MatchesTheReferenceFiles)
{
    const char* names[] = {"bw_16", "bw_256", "bw_16_fs", "one_16", "one_256", "one_256_fs", "primaries_16",
                           "primaries_256", "primaries_16_fs", "gradient_16", "gradient_256", "gradient_16_fs",
                           "gradient_256_fs", "noise_16", "noise_256", "noise_16_fs", "noise_256_fs", "noisebig_16",
                           "noisebig_256", "noisebig_16_fs", "noisebig_256_fs", "noise32_16", "noise32_256",
                           "noise32_16_fs", "pal8_16", "pal8_16_fs", "column_16", "column_16_fs", "gray_16",
                           "gray_256", "gray_16_fs"};
    for (const char* name : names) {
        std::string n = name;
        bool dither = n.size() > 3 && n.compare(n.size() - 3, 3, "_fs") == 0;
        std::string base = n.substr(0, n.find('_'));
        int count = atoi(n.c_str() + base.size() + 1);
        Bytes input = ReadWholeFile(DataPath("colour/mc_" + base + ".dib"));
        Bytes expected = ReadWholeFile(DataPath("colour/mc_" + n + ".dib"));
        ASSERT_FALSE(input.empty() || expected.empty()) << name;
        HGLOBAL source = BlockFrom(input);
        CLR_SetCutDither(dither);
        CLR_SetCutProgress(0);
        HGLOBAL out = nullptr;
        ASSERT_EQ(1, CLR_MedianCut(source, &out, count)) << name;
        EXPECT_EQ(expected, BytesOf(out)) << name;
        EXPECT_EQ(input, BytesOf(source)) << name << ": the source is left alone";
        GlobalFree(out);
        GlobalFree(source);
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(OptimizedCut, DominantFirstColourNeverStopsTheWalk)
{
    // Black holds 10 of 12 pixels yet stays alone in the lower box; the next
    // colour stops the walk.
    Cut cut = RunCut(Row24({{{0, 0, 0}, 10}, {{8, 0, 0}, 1}, {{16, 0, 0}, 1}}), 2, 0);
    ASSERT_FALSE(cut.bytes.empty());
    ExpectEntry(cut, 0, 8, 0, 0);  // (1 + 2) / 2 = 1
    ExpectEntry(cut, 1, 0, 0, 0);
    const BYTE expected[8] = {0x11, 0x11, 0x11, 0x11, 0x11, 0x00, 0, 0};
    EXPECT_EQ(0, memcmp(expected, cut.pixels(), 8));
}

TEST_F(OptimizedCut, LaterBoxRefusedKeepsAValidPaletteWithFewerColours)
{
    const struct {
        int box, count, dither;
        std::vector<Rgb> entries;  // the first ones; the rest stay black
        Bytes pixels;              // the first ones
    } cases[] = {
        // The second split's box: two entries of 16.
        {3, 16, 0, {{120, 120, 0}, {248, 0, 0}}, {0x01, 0x00}},
        // With dither the left-over black entries take part: black finds entry
        // 2 (the first exact match), and (248,248,0) is nearer (248,0,0).
        {3, 16, 1, {{120, 120, 0}, {248, 0, 0}}, {0x21, 0x10}},
        // The first split's box: one entry, the mean of all.
        {2, 256, 0, {{160, 80, 0}}, {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        Refusal refuse(CUT_MEM_BOX, c.box);
        Cut cut = RunCut(Row24({{{0, 0, 0}, 1}, {{248, 0, 0}, 1}, {{248, 248, 0}, 1}}), c.count, c.dither);
        ASSERT_FALSE(cut.bytes.empty());
        ASSERT_EQ(1u, HDL_Boxes().size());
        EXPECT_EQ("Not enough memory to perform full color reduction", HDL_Boxes()[0].text);
        EXPECT_EQ(static_cast<DWORD>(c.count), cut.header()->biClrUsed);
        for (int i = 0; i < c.count; i++) {
            const Rgb e = i < static_cast<int>(c.entries.size()) ? c.entries[i] : Rgb{0, 0, 0};
            ExpectEntry(cut, i, static_cast<BYTE>(e.r), static_cast<BYTE>(e.g), static_cast<BYTE>(e.b));
        }
        EXPECT_EQ(c.pixels, Bytes(cut.pixels(), cut.pixels() + c.pixels.size())) << c.box << " " << c.dither;
    }
}

TEST_F(OptimizedCut, MemoryShortOfTheOutputTablePoolBucketsOrFirstBoxFails)
{
    const int kinds[][2] = {{CUT_MEM_OUTPUT, 1},    {CUT_MEM_TABLE, 1}, {CUT_MEM_DIRECTORY, 1}, {CUT_MEM_BLOCK, 1},
                            {CUT_MEM_BUCKETS, 1}, {CUT_MEM_BOX, 1},   {CUT_MEM_BLOCK, 2}};
    for (auto& k : kinds) {
        // 40 distinct colours: the pool needs a second block while counting.
        std::vector<Rgb> row;
        for (int i = 0; i < 40; i++) row.push_back(Rgb{i % 32 * 8, i / 32 * 8, 9});
        Refusal refuse(k[0], k[1]);
        Cut cut = RunCut(DibBlock24({row}), 16, 0);
        EXPECT_TRUE(cut.bytes.empty()) << "kind " << k[0] << " #" << k[1];
        ASSERT_EQ(1u, HDL_Boxes().size()) << "kind " << k[0];
        EXPECT_EQ("Not enough memory to perform operation", HDL_Boxes()[0].text);
        EXPECT_EQ(0u, CLR_CutWorkingBytes());
    }
}

TEST_F(OptimizedCut, WorkingMemoryStaysWithinItsBoundForEveryColour)
{
    // Every one of the 32,768 five-bit colours once: the pool fills exactly.
    std::vector<std::vector<Rgb>> rows(128, std::vector<Rgb>(256));
    for (int key = 0; key < 32768; key++)
        rows[key / 256][key % 256] = Rgb{(key >> 10) << 3, ((key >> 5) & 31) << 3, (key & 31) << 3};
    CLR_CutResetPeak();
    Cut cut = RunCut(DibBlock24(rows), 256, 0);
    ASSERT_FALSE(cut.bytes.empty());
    const SIZE_T expected = 32768 * 4 + 1024 * sizeof(void*) + 1024 * 640 + 32 * 4 + 256 * sizeof(CutBox);
    EXPECT_EQ(expected, CLR_CutWorkingPeak());
    EXPECT_EQ(expected, CLR_CutWorkingBound(256));
    // 128 KB of table, a directory of 1,024 block pointers, 640 KB of records.
    EXPECT_LE(CLR_CutWorkingPeak(), (772 + 4) * 1024 + 128 + 256 * sizeof(CutBox));
}

}  // namespace
