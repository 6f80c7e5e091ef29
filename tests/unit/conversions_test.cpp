// The Colors menu on a document held without a window: which commands the
// menu offers at each depth, the depth a document claims afterwards, the
// 16-bit shortcuts, the colour flag, and how a caller bringing an image to a
// depth picks the reduction.
#include "cli/headless.h"
#include "colour/conversions.h"
#include "colour/median_cut.h"
#include "core/settings.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

typedef std::vector<BYTE> Bytes;

// A DIB of width x 1 whose pixels are the given bytes (padded), with a table.
HGLOBAL Dib(LONG width, int bits, const Bytes& table, const Bytes& pixels)
{
    const DWORD stride = ((width * bits + 31) / 32) * 4;
    BITMAPINFOHEADER h = {sizeof h, width, 1, 1, static_cast<WORD>(bits), BI_RGB, stride, 0, 0,
                          static_cast<DWORD>(table.size() / 4), static_cast<DWORD>(table.size() / 4)};
    HGLOBAL mem = GlobalAlloc(GHND, sizeof h + table.size() + stride);
    BYTE* p = static_cast<BYTE*>(GlobalLock(mem));
    memcpy(p, &h, sizeof h);
    if (!table.empty()) memcpy(p + sizeof h, table.data(), table.size());
    memcpy(p + sizeof h + table.size(), pixels.data(), pixels.size() < stride ? pixels.size() : stride);
    GlobalUnlock(mem);
    return mem;
}

BITMAPINFOHEADER HeaderOf(HGLOBAL mem)
{
    BITMAPINFOHEADER h;
    memcpy(&h, GlobalLock(mem), sizeof h);
    GlobalUnlock(mem);
    return h;
}

Bytes PixelsOf(HGLOBAL mem)
{
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(mem));
    BITMAPINFOHEADER h;
    memcpy(&h, p, sizeof h);
    const BYTE* px = p + h.biSize + 4 * h.biClrUsed;
    Bytes out(px, px + h.biSizeImage);
    GlobalUnlock(mem);
    return out;
}

RGBQUAD Entry(HGLOBAL mem, int i)
{
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(mem));
    RGBQUAD q;
    memcpy(&q, p + 40 + 4 * i, 4);
    GlobalUnlock(mem);
    return q;
}

// Two pixels of one colour, (200, 100, 50), 24 bits.
HGLOBAL Rust24() { return Dib(2, 24, {}, {50, 100, 200, 50, 100, 200}); }

class ColourDocumentTest : public ::testing::Test {
protected:
    ColourDocument doc = {nullptr, 0, 1};
    void SetUp() override
    {
        SET_Reset();
        HDL_ClearBoxes();
        CLR_SetCutProgress(0);
    }
    void TearDown() override
    {
        if (doc.dib) GlobalFree(doc.dib);
        CLR_SetCutProgress(1);
        EXPECT_TRUE(HDL_Boxes().empty());
    }
    void Hold(HGLOBAL dib, int bits, int color)
    {
        if (doc.dib) GlobalFree(doc.dib);
        doc = {dib, bits, color};
    }
};

TEST_F(ColourDocumentTest, CommandsClaimTheirDepthAndColour)
{
    const Bytes redGreen = {0, 0, 255, 0, 255, 0, 0, 0};
    const struct {
        HGLOBAL dib;
        int bits, color, command;
        const char* after;  // the result: the document's depth and colour, the block's depth and colours
        Bytes pixels;       // when looked at
        Bytes first;        // the first entry's red, green and blue, when looked at
    } cases[] = {
        {Rust24(), 24, 1, CLR_CMD_32BIT_TRANSPARENT, "1: 32 colour, 32-bit 0", {50, 100, 200, 0, 50, 100, 200, 0}, {}},
        {Rust24(), 24, 1, CLR_CMD_32BIT_OPAQUE, "1: 32 colour, 32-bit 0", {50, 100, 200, 255, 50, 100, 200, 255}, {}},
        // Gray claims 8 bits from deep images and keeps shallow depths.
        {Rust24(), 24, 1, CLR_CMD_GRAY, "1: 8 gray, 8-bit 256", {}, {}},
        {Dib(2, 8, redGreen, {0, 1}), 8, 1, CLR_CMD_GRAY, "1: 8 gray, 8-bit 2", {}, {}},
        {Dib(2, 4, redGreen, {0x01}), 4, 1, CLR_CMD_GRAY, "1: 4 gray, 4-bit 2", {}, {}},
        // Optimized Cut claims 4 or 8 bits; when only grays are in the image
        // every entry is gray, and the document turns gray.
        {Rust24(), 24, 1, CLR_CMD_16_OPTIMIZED, "1: 4 colour, 4-bit 16", {}, {200, 96, 48}},
        {Rust24(), 32, 1, CLR_CMD_256_OPTIMIZED_DITHER, "1: 8 colour, 8-bit 256", {}, {}},
        {Dib(2, 24, {}, {90, 90, 90, 200, 200, 200}), 24, 1, CLR_CMD_16_OPTIMIZED, "1: 4 gray, 4-bit 16", {}, {}},
        // Flat Cut to monochrome is gray; decreasing to 24 bits drops the fourth byte.
        {Rust24(), 24, 1, CLR_CMD_MONO_FLAT, "1: 1 gray, 1-bit 2", {}, {}},
        {Dib(1, 32, {}, {1, 2, 3, 4}), 32, 1, CLR_CMD_24BIT_DECREASE, "1: 24 colour, 24-bit 0", {1, 2, 3, 0}, {}},
        // A 16-bit document holds a 24-bit block: raising it claims the depth and keeps the block.
        {Rust24(), 16, 1, CLR_CMD_24BIT_INCREASE, "1: 24 colour, 24-bit 0", {}, {}},
        {Rust24(), 16, 1, CLR_CMD_32BIT_OPAQUE, "1: 32 colour, 24-bit 0", {}, {}},
        // Colour sets only the flag; commands not offered change nothing: a 4-bit
        // source never reaches the cut, nor goes below 4, nor a paletted one the 256 cut.
        {Dib(2, 4, Bytes(64, 0), {0x01}), 4, 0, CLR_CMD_COLOR, "1: 4 colour, 4-bit 16", {}, {}},
        {Dib(2, 4, Bytes(64, 0), {0x01}), 4, 1, CLR_CMD_16_OPTIMIZED, "0: 4 colour, 4-bit 16", {}, {}},
        {Dib(2, 4, Bytes(64, 0), {0x01}), 4, 1, CLR_CMD_16_INCREASE, "0: 4 colour, 4-bit 16", {}, {}},
        {Dib(2, 4, Bytes(64, 0), {0x01}), 4, 1, CLR_CMD_256_OPTIMIZED, "0: 4 colour, 4-bit 16", {}, {}},
    };
    for (const auto& c : cases) {
        Hold(c.dib, c.bits, c.color);
        const int result = CLR_RunCommand(&doc, c.command);
        const BITMAPINFOHEADER h = HeaderOf(doc.dib);
        EXPECT_EQ(c.after, std::to_string(result) + ": " + std::to_string(doc.bits) + (doc.color ? " colour, " : " gray, ") +
                               std::to_string(h.biBitCount) + "-bit " + std::to_string(h.biClrUsed))
            << c.command;
        // A command that changes no pixels keeps the block.
        if (c.command == CLR_CMD_COLOR || !result || c.bits == 16) EXPECT_EQ(c.dib, doc.dib) << c.command;
        if (!c.pixels.empty()) EXPECT_EQ(c.pixels, PixelsOf(doc.dib)) << c.command;
        const RGBQUAD e = Entry(doc.dib, 0);
        if (!c.first.empty()) EXPECT_EQ(c.first, (Bytes{e.rgbRed, e.rgbGreen, e.rgbBlue})) << c.command;
    }
}

TEST_F(ColourDocumentTest, BringingToADepthPicksTheReductionByTheRules)
{
    // Optimized Cut asked, but monochrome and 16-bit targets take Flat Cut.
    Hold(Rust24(), 24, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 1, 1, 0, CLR_RULE_BATCH));
    EXPECT_EQ(1, HeaderOf(doc.dib).biBitCount);
    EXPECT_EQ(255, Entry(doc.dib, 1).rgbGreen);
    Hold(Rust24(), 24, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 16, 1, 0, CLR_RULE_BATCH));
    EXPECT_EQ(16, doc.bits);
    EXPECT_EQ((Bytes{48, 96, 200, 48, 96, 200, 0, 0}), PixelsOf(doc.dib));
    // 16 colours from 8 bits: the cut's own palette, not the fixed one.
    Hold(Dib(2, 8, {50, 100, 200, 0}, {0, 0}), 8, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 4, 1, 1, CLR_RULE_BATCH));
    EXPECT_EQ(4, doc.bits);
    EXPECT_EQ(96, Entry(doc.dib, 0).rgbGreen);
    // 24 from 32 has no palette: the fourth byte goes, the image stays 24 bits.
    Hold(Dib(1, 32, {}, {1, 2, 3, 4}), 32, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 24, 1, 1, CLR_RULE_BATCH));
    EXPECT_EQ(24, doc.bits);
    EXPECT_EQ((Bytes{1, 2, 3, 0}), PixelsOf(doc.dib));
    Hold(Dib(1, 32, {}, {1, 2, 3, 4}), 32, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 24, 1, 1, CLR_RULE_SAVE));
    EXPECT_EQ((Bytes{1, 2, 3, 0}), PixelsOf(doc.dib));
    // Deeper targets raise the image opaque; the same depth changes nothing.
    Hold(Dib(1, 4, {1, 2, 3, 0}, {0}), 4, 1);
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 32, 0, 0, CLR_RULE_BATCH));
    EXPECT_EQ((Bytes{1, 2, 3, 255}), PixelsOf(doc.dib));
    HGLOBAL same = doc.dib;
    ASSERT_EQ(1, CLR_ConvertDocument(&doc, 32, 1, 1, CLR_RULE_BATCH));
    EXPECT_EQ(same, doc.dib);
}

TEST_F(ColourDocumentTest, ApplyingAPaletteOfGraysOrNoEntriesTurnsTheDocumentGray)
{
    Hold(Rust24(), 24, 1);
    ColourChange change = {Dib(2, 8, {7, 7, 7, 0, 9, 9, 9, 0}, {0, 1}), 8, CLR_COLOR_KEEP};
    CLR_ApplyChange(&doc, &change);
    EXPECT_EQ(0, doc.color);
    doc.color = 1;
    change = {Dib(2, 4, {}, {0x01}), 4, CLR_COLOR_KEEP};  // biClrUsed 0: nothing to the contrary
    CLR_ApplyChange(&doc, &change);
    EXPECT_EQ(0, doc.color);
    doc.color = 1;
    change = {Dib(2, 8, {7, 7, 7, 0, 9, 8, 9, 0}, {0, 1}), 8, CLR_COLOR_KEEP};
    CLR_ApplyChange(&doc, &change);
    EXPECT_EQ(1, doc.color);
    change = {Dib(1, 24, {}, {5, 5, 5}), 24, CLR_COLOR_KEEP};  // only palettes are looked at
    CLR_ApplyChange(&doc, &change);
    EXPECT_EQ(1, doc.color);
    EXPECT_EQ(24, doc.bits);
}

}  // namespace
