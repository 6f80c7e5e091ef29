// The frame services that run on the colour engine and the format table:
// each reduction gives the engine's own bytes, the stepwise cut gives what
// the whole cut gives, and an offered row joins the table as a module row.
#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "colour_fixtures.h"
#include "core/service_engine.h"
#include "formats/format_table.h"

#include <gtest/gtest.h>

namespace {

using colourtest::BlockFrom;
using colourtest::Bytes;
using colourtest::BytesOf;

// A 24-bit image of many colours, 21 pixels wide so that rows are padded.
Bytes Gradient()
{
    std::vector<std::vector<colourtest::Rgb>> rows;
    for (int y = 0; y < 9; y++) {
        rows.emplace_back();
        for (int x = 0; x < 21; x++) rows.back().push_back({x * 12, y * 28, (x * y * 7) & 255});
    }
    return colourtest::Dib24(rows);
}

Bytes Taken(LRESULT handle)
{
    if (!handle) return {};
    Bytes bytes = BytesOf(reinterpret_cast<HGLOBAL>(handle));
    GlobalFree(reinterpret_cast<HGLOBAL>(handle));
    return bytes;
}

TEST(ColourServices, ReductionsGiveTheEngineBytesAndStepsGiveTheWholeCut)
{
    HGLOBAL source = BlockFrom(Gradient());
    ServiceBlock block{};
    block.hDIB = source;
    for (int item : {SVC_FLAT_CUT, SVC_FLAT_CUT_DITHER}) {
        for (int depth : {1, 4, 8, 16, 24, 32}) {
            block.value = depth;
            block.flag = depth == 4;
            HGLOBAL want = nullptr;
            const int made = item == SVC_FLAT_CUT ? CLR_FlatReduce(source, &want, depth, depth == 4)
                                                  : CLR_FlatDither(source, &want, depth, depth == 4);
            const Bytes got = Taken(SVC_ColourService(item, &block));
            EXPECT_EQ(got, depth == 32 ? Bytes() : Taken(made ? reinterpret_cast<LRESULT>(want) : 0))
                << item << " " << depth;
        }
    }
    for (int dither : {0, 1}) {
        block.value = 16;
        block.flag = dither;
        const Bytes got = Taken(SVC_ColourService(SVC_OPTIMIZED_CUT, &block));
        EXPECT_EQ(CLR_CutShowProgress, 1);
        CLR_SetCutDither(dither);
        CLR_SetCutProgress(0);
        HGLOBAL want = nullptr;
        ASSERT_TRUE(CLR_MedianCut(source, &want, 16));
        EXPECT_EQ(got, Taken(reinterpret_cast<LRESULT>(want))) << dither;
    }
    block.value = 0;
    EXPECT_EQ(SVC_ColourService(SVC_OPTIMIZED_CUT, &block), 0);

    // Begin, count, palette, map, end: the table and pixels of the plain cut to 16.
    CLR_SetCutDither(0);
    HGLOBAL whole = nullptr;
    ASSERT_TRUE(CLR_MedianCut(source, &whole, 16));
    const Bytes want = Taken(reinterpret_cast<LRESULT>(whole));
    const Bytes image = Gradient();
    Bytes table(16 * 4), pixels(colourtest::Stride(21, 4) * 9);
    CutStep step{image.data() + 40, pixels.data(), nullptr, reinterpret_cast<RGBQUAD*>(table.data()), 21, 9, 24, 4, 16};
    block.record = &step;
    EXPECT_EQ(SVC_ColourService(SVC_CUT_BEGIN, nullptr), 1);
    EXPECT_EQ(CLR_CutShowProgress, 0);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_ADD_IMAGE, &block), 1);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_MAKE_PALETTE, &block), 16);
    EXPECT_EQ(SVC_ColourService(SVC_CUT_MAP_PIXELS, &block), 1);
    SVC_ColourService(SVC_CUT_END, &block);
    EXPECT_EQ(CLR_CutShowProgress, 1);
    EXPECT_EQ(table, Bytes(want.begin() + 40, want.begin() + 40 + 64));
    EXPECT_EQ(pixels, Bytes(want.begin() + 40 + 64, want.end()));
    GlobalFree(source);
}

TEST(FormatOfferService, AddsAModuleRowThatNeverWinsABuiltInName)
{
    FMT_RegisterBuiltins();
    FormatOffer offer{};
    memcpy(offer.extension, "MACX", 4);  // unterminated: cut at four characters
    strcpy(offer.description, "MAC- MacPaint");
    strcpy(offer.module, "NOSUCH.DLL");
    offer.canRead = 1;
    offer.capability[0] = 3;
    offer.id = 200;
    const int mac = SVC_RegisterFormat(&offer);
    memcpy(offer.extension, "GIF", 4);
    offer.canRead = 0;
    offer.canWrite = 1;
    const int gif = SVC_RegisterFormat(&offer);
    char text[128];
    FMT_GetExtension(mac, text);
    EXPECT_STREQ(text, "MACX");
    FMT_GetDescription(mac, text);
    EXPECT_STREQ(text, "MAC- MacPaint");
    EXPECT_STREQ(FMT_GetModule(mac), "NOSUCH.DLL");
    EXPECT_EQ(FMT_GetId(mac), 200);
    EXPECT_EQ(FMT_GetCapability(mac, 0), 3);
    EXPECT_TRUE(FMT_CanLoad(mac) && !FMT_IsLoadStub(mac) && !FMT_CanSave(mac));
    EXPECT_TRUE(!FMT_CanLoad(gif) && FMT_CanSave(gif));
    // The module can't be had: its calls give 0, and the built-in GIF row stays first.
    HGLOBAL dib = nullptr;
    EXPECT_EQ(FMT_Load("a.macx", &dib, mac), 0);
    EXPECT_EQ(FMT_FromExtension("GIF"), FMT_Row_GIF);
    FMT_Free();
    FMT_RegisterBuiltins();
}

}  // namespace
