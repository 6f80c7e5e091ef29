// The decisions of Save As and its option column, the Last Files list and
// the Local status line, checked without windows.
#include "controls/status_line.h"
#include "core/recent_files.h"
#include "core/save_options.h"
#include "scratch_store.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Capability bytes of formats as the format table gives them (1 colour,
// 2 gray, 4 compression optional, 8 compression inherent; 1, 4, 8, 16, 24, 32 bits).
const BYTE kRle[6] = {11, 11, 11, 0, 0, 0};
const BYTE kGif[6] = {9, 9, 9, 0, 0, 0};
const BYTE kBmp[6] = {3, 1, 1, 0, 1, 1};
const BYTE kDib[6] = {7, 5, 5, 0, 1, 1};
const BYTE kTga[6] = {0, 0, 7, 5, 5, 5};
const BYTE kHex[6] = {2, 3, 3, 0, 3, 0};
const BYTE kJpg[6] = {0, 0, 11, 0, 9, 0};

SaveColumn Column(WORD options)
{
    SaveColumn column;
    FIL_ColumnFromOptions(&column, options);
    return column;
}

// The enabled controls as a word of option bits, for compact comparisons.
WORD Enabled(const SaveColumn& column)
{
    WORD bits = 0;
    for (int i = 0; i < FIL_ControlCount; i++)
        if (column.enabled[i]) bits |= FIL_ControlBit(i);
    return bits;
}

}  // namespace

TEST(SaveOptions, PresetTakesCompressionColourAndDepthFromTheDocument)
{
    EXPECT_EQ(FIL_PresetOptions(0, 1, 24), FIL_OPT_24BIT | FIL_OPT_COLOR);
    EXPECT_EQ(FIL_PresetOptions(1, 0, 8), FIL_OPT_8BIT | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
    EXPECT_EQ(FIL_PresetOptions(0, 0, 1), FIL_OPT_1BIT | FIL_OPT_GRAY);
}

TEST(SaveOptions, RleFromA24BitImageOffersOnlyItsDepthsAndMovesDownTo8Bits)
{
    SaveColumn column = Column(FIL_OPT_24BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kRle, FIL_MODE_FORMAT);
    EXPECT_EQ(column.resetTexts, 1);
    // 24 is impossible; nothing above it is possible, so the search goes down
    // from 32 and stops at 8; there compression is inherent, so it is checked
    // but can't be changed.
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_COMPRESSED);
    EXPECT_EQ(Enabled(column), FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_GRAY);
}

TEST(SaveOptions, FormatChangeUnchecksCompressionTheDepthCantHave)
{
    // From RLE (compressed 8 bits) to BMP, which never compresses.
    SaveColumn column = Column(FIL_OPT_8BIT | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
    FIL_UpdateColumn(&column, kBmp, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_GRAY);
    EXPECT_EQ(Enabled(column),
              FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_24BIT | FIL_OPT_32BIT | FIL_OPT_COLOR | FIL_OPT_GRAY);
    // GIF compresses inherently: the check comes back.
    FIL_UpdateColumn(&column, kGif, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
}

TEST(SaveOptions, NearestDepthLooksUpwardFirst)
{
    // 16 bits in BMP: the next depth up, 24, is taken, not 8.
    SaveColumn column = Column(FIL_OPT_16BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kBmp, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_24BIT | FIL_OPT_COLOR);
    // 1 bit in TGA: up to 8, where compression is optional and stays unchecked.
    column = Column(FIL_OPT_1BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kTga, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_COLOR);
    EXPECT_TRUE(column.enabled[FIL_CTL_COMPRESSED]);
    // 32 bits in JPG: nothing above, so down through 16 to 8; 24 is passed over.
    column = Column(FIL_OPT_32BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kJpg, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_COMPRESSED);
    // 32 bits where only 8 and 16 are written: down to 16 first.
    const BYTE only8And16[6] = {0, 0, 1, 1, 0, 0};
    column = Column(FIL_OPT_32BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, only8And16, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_16BIT | FIL_OPT_COLOR);
}

TEST(SaveOptions, ColourImpossibleAtTheDepthFallsBackToGray)
{
    // HEX holds 1 bit only as gray.
    SaveColumn column = Column(FIL_OPT_8BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kHex, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_COLOR);
    FIL_ClickColumn(&column, kHex, 0);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_1BIT | FIL_OPT_GRAY);
    EXPECT_FALSE(column.enabled[FIL_CTL_COLOR]);
    EXPECT_TRUE(column.enabled[FIL_CTL_GRAY]);
    // Back to 8 bits: Colour is possible again but stays unchecked.
    FIL_ClickColumn(&column, kHex, 2);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_GRAY);
    EXPECT_TRUE(column.enabled[FIL_CTL_COLOR]);
}

TEST(SaveOptions, WithoutACheckedDepthOnlyGrayAndTheDepthsAreOpen)
{
    SaveColumn column = Column(FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kBmp, FIL_MODE_FORMAT);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_GRAY);
    EXPECT_EQ(Enabled(column), FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_24BIT | FIL_OPT_32BIT | FIL_OPT_GRAY);
}

TEST(SaveOptions, ClicksKeepOneDepthAndOneOfColourAndGray)
{
    SaveColumn column = Column(FIL_OPT_8BIT | FIL_OPT_24BIT | FIL_OPT_COLOR);
    FIL_ClickColumn(&column, kBmp, 0);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_1BIT | FIL_OPT_COLOR);
    FIL_ClickColumn(&column, kBmp, FIL_CTL_GRAY);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_1BIT | FIL_OPT_GRAY);
    FIL_ClickColumn(&column, kBmp, FIL_CTL_COLOR);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_1BIT | FIL_OPT_COLOR);
}

TEST(SaveOptions, CheckedCompressionClosesTheDepthsThatCantCompress)
{
    // DIB compresses 1, 4 and 8 bits optionally, 24 and 32 not at all.
    SaveColumn column = Column(FIL_OPT_8BIT | FIL_OPT_COLOR);
    FIL_UpdateColumn(&column, kDib, FIL_MODE_FORMAT);
    ASSERT_TRUE(column.enabled[FIL_CTL_COMPRESSED]);
    FIL_ClickColumn(&column, kDib, FIL_CTL_COMPRESSED);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_COMPRESSED);
    EXPECT_EQ(Enabled(column),
              FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
    // Colour and Gray apply the same limit.
    FIL_ClickColumn(&column, kDib, FIL_CTL_GRAY);
    EXPECT_EQ(Enabled(column),
              FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_COLOR | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
    FIL_ClickColumn(&column, kDib, FIL_CTL_COMPRESSED);
    EXPECT_EQ(FIL_OptionsFromColumn(&column), FIL_OPT_8BIT | FIL_OPT_GRAY);
    EXPECT_EQ(Enabled(column), FIL_OPT_1BIT | FIL_OPT_4BIT | FIL_OPT_8BIT | FIL_OPT_24BIT | FIL_OPT_32BIT |
                                   FIL_OPT_COLOR | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
}

TEST(SaveNames, ProposedNameIsTheTitleCutAtItsFirstDotWithTheRowsExtension)
{
    char name[260];
    FIL_ProposedName("C:\\PICS\\PHOTO.BMP", "RLE", name, sizeof name);
    EXPECT_STREQ(name, "C:\\PICS\\PHOTO.RLE");
    FIL_ProposedName("C:\\MY.DIR\\PHOTO.BMP", "GIF", name, sizeof name);
    EXPECT_STREQ(name, "C:\\MY.GIF");
    FIL_ProposedName("Image1", "TIF", name, sizeof name);
    EXPECT_STREQ(name, "Image1.TIF");
    char small[8];
    FIL_ProposedName("ABCD.EFG", "TIF", small, sizeof small);  // never cut
    EXPECT_STREQ(small, "");
}

TEST(SaveNames, FilterChangeRewritesTheExtensionAndAcceptAddsAMissingOne)
{
    char name[64] = "photo.bmp";
    FIL_NameForFilter(name, sizeof name, "RLE");
    EXPECT_STREQ(name, "photo.RLE");
    char twoDots[64] = "a.b.c";
    FIL_NameForFilter(twoDots, sizeof twoDots, "GIF");
    EXPECT_STREQ(twoDots, "a.GIF");
    char bare[64] = "photo";
    FIL_NameForFilter(bare, sizeof bare, "GIF");
    EXPECT_STREQ(bare, "photo");
    FIL_NameAtAccept(bare, sizeof bare, "GIF");
    EXPECT_STREQ(bare, "photo.GIF");
    FIL_NameAtAccept(name, sizeof name, "GIF");
    EXPECT_STREQ(name, "photo.RLE");
    char typed[9] = "photo";  // "photo.GIF" needs 10: stays, never cut
    FIL_NameAtAccept(typed, sizeof typed, "GIF");
    EXPECT_STREQ(typed, "photo");
}

TEST(SaveNames, NameChecksSplitAtTheFirstDotOfTheLastPart)
{
    EXPECT_EQ(FIL_CheckSaveName("C:\\out\\a.b.c"), 0u);
    EXPECT_EQ(FIL_CheckSaveName("C:\\out\\a.bbb.c"), 8238u);
    EXPECT_EQ(FIL_CheckSaveName("C:\\out\\x.abcd"), 8238u);
    EXPECT_EQ(FIL_CheckSaveName("C:\\long.folder.name\\x.bmp"), 0u);
    EXPECT_EQ(FIL_CheckSaveName("C:\\out\\a/b.toolong"), 8238u);
    EXPECT_EQ(FIL_CheckSaveName("noextension"), 0u);
    const std::string base128(128, 'n'), base129(129, 'n');
    EXPECT_EQ(FIL_CheckSaveName(("C:\\" + base128 + ".bmp").c_str()), 0u);
    EXPECT_EQ(FIL_CheckSaveName(("C:\\" + base129 + ".bmp").c_str()), 8237u);
    // The extension is looked at first.
    EXPECT_EQ(FIL_CheckSaveName((base129 + ".long").c_str()), 8238u);
}

TEST(SavePlan, ColourLossAsksAndPicksTheConversions)
{
    SavePlan plan;
    // 24-bit colour to an 8-bit format.
    SaveFacts facts{1, 1, 24, 8, 0, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 1);
    EXPECT_EQ(plan.makeGray, 0);
    EXPECT_EQ(plan.convert, 1);
    EXPECT_EQ(plan.fromBits, 24);
    EXPECT_EQ(plan.toBits, 8);
    // The same without the warning: no question, the same conversion.
    facts.warn = 0;
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 0);
    EXPECT_EQ(plan.convert, 1);
    // Colour to gray at the same 24 bits: gray caps the depth at 8, then it is raised again.
    facts = SaveFacts{1, 0, 24, 24, 0, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 1);
    EXPECT_EQ(plan.makeGray, 1);
    EXPECT_EQ(plan.fromBits, 8);
    EXPECT_EQ(plan.convert, 1);
    // Gray to colour 24: only the flag, then the depth is raised; nothing lost.
    facts = SaveFacts{0, 1, 8, 24, 0, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 0);
    EXPECT_EQ(plan.setColor, 1);
    EXPECT_EQ(plan.makeGray, 0);
    EXPECT_EQ(plan.convert, 1);
    // The same depth and colour: nothing at all.
    facts = SaveFacts{1, 1, 8, 8, 0, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask + plan.makeGray + plan.setColor + plan.convert, 0);
}

TEST(SavePlan, A32BitImageSavedAsAnIconIsNeitherAskedAboutNorReduced)
{
    SavePlan plan;
    SaveFacts facts{1, 1, 32, 8, 1, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 0);
    EXPECT_EQ(plan.convert, 0);
    // A 24-bit image to an icon is reduced as for any format.
    facts.oldBits = 24;
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.ask, 1);
    EXPECT_EQ(plan.convert, 1);
    // No depth chosen keeps the document's.
    facts = SaveFacts{1, 1, 16, 0, 0, 1};
    FIL_PlanSave(&facts, &plan);
    EXPECT_EQ(plan.toBits, 16);
    EXPECT_EQ(plan.convert + plan.ask, 0);
}

TEST(LastFiles, NewestFirstFiveAtMostAndExactMatches)
{
    ScratchStore store("lastfiles");
    char name[260];
    EXPECT_EQ(FIL_FindLastFile("a.bmp"), 0);
    FIL_AddLastFile("");
    FIL_GetLastFile(1, name, sizeof name);
    EXPECT_STREQ(name, "");
    for (const char* file : {"C:\\1.bmp", "C:\\2.bmp", "C:\\3.bmp"}) FIL_AddLastFile(file);
    FIL_GetLastFile(1, name, sizeof name);
    EXPECT_STREQ(name, "C:\\3.bmp");
    FIL_GetLastFile(3, name, sizeof name);
    EXPECT_STREQ(name, "C:\\1.bmp");
    FIL_GetLastFile(4, name, sizeof name);
    EXPECT_STREQ(name, "");
    for (const char* file : {"C:\\4.bmp", "C:\\5.bmp", "C:\\6.bmp"}) FIL_AddLastFile(file);
    const char* expected[] = {"C:\\6.bmp", "C:\\5.bmp", "C:\\4.bmp", "C:\\3.bmp", "C:\\2.bmp"};
    for (int slot = 1; slot <= 5; slot++) {
        FIL_GetLastFile(slot, name, sizeof name);
        EXPECT_STREQ(name, expected[slot - 1]) << slot;
    }
    EXPECT_EQ(FIL_FindLastFile("C:\\4.bmp"), 3);
    EXPECT_EQ(FIL_FindLastFile("c:\\4.bmp"), 0);
    EXPECT_EQ(FIL_FindLastFile("C:\\1.bmp"), 0);
    FIL_GetLastFile(1, name, 9);  // "C:\\6.bmp" fits 9, is never cut to 8
    EXPECT_STREQ(name, "C:\\6.bmp");
    FIL_GetLastFile(1, name, 8);
    EXPECT_STREQ(name, "");
    FIL_GetLastFile(6, name, sizeof name);
    EXPECT_STREQ(name, "");
}

TEST(LastFiles, LabelsShowTheNameWithoutTheFolder)
{
    char label[64];
    FIL_LastFileLabel(1, "C:\\PICS\\PHOTO.BMP", label, sizeof label);
    EXPECT_STREQ(label, "&1. PHOTO.BMP");
    FIL_LastFileLabel(3, "Z:/tmp/dir.x/a.b.gif", label, sizeof label);
    EXPECT_STREQ(label, "&3. a.b.gif");
    FIL_LastFileLabel(2, "D:NAME", label, sizeof label);
    EXPECT_STREQ(label, "&2. NAME");
}

namespace {
StatusFacts ImageFacts()
{
    StatusFacts facts{};
    facts.window = 1;
    facts.hasDib = 1;
    facts.flags = IF_COLOR;
    facts.bits = 24;
    facts.fileSize = 1234;
    facts.width = 3;
    facts.height = 2;
    facts.bitCount = 24;
    facts.formatName = "BMP- Windows Bitmap";
    return facts;
}

std::string Line(const StatusPiece* pieces, int count)
{
    std::string line;
    for (int i = 0; i < count; i++) line += pieces[i].text;
    return line;
}
}  // namespace

TEST(StatusLine, ImagePiecesInOrderAndColour)
{
    StatusPiece pieces[STA_MaxPieces];
    int centred = 1;
    StatusFacts facts = ImageFacts();
    int count = STA_LocalPieces(facts, pieces, &centred);
    ASSERT_EQ(count, 8);
    EXPECT_EQ(centred, 0);
    // A 24-bit row of 3 pixels is 9 bytes, rounded up to 12; two rows.
    EXPECT_EQ(Line(pieces, count), "Type: 24-Bit, Size: 24 (3 x 2), File Size: 1234, Format: BMP- Windows Bitmap");
    const COLORREF colours[] = {STA_Black, STA_Blue, STA_Black, STA_Blue, STA_Black, STA_Blue, STA_Black, STA_Blue};
    for (int i = 0; i < count; i++) EXPECT_EQ(pieces[i].colour, colours[i]) << i;
    // Compressed turns the file size red; modified adds the last piece.
    facts.compressed = 1;
    facts.flags |= IF_MODIFIED;
    count = STA_LocalPieces(facts, pieces, &centred);
    ASSERT_EQ(count, 9);
    EXPECT_EQ(pieces[5].colour, STA_Red);
    EXPECT_STREQ(pieces[8].text, "; Modified");
    EXPECT_EQ(pieces[8].colour, STA_Black);
}

TEST(StatusLine, SizeCountsTheRoundedRowsAndAnUnmeasuredFileIsNA)
{
    StatusPiece pieces[STA_MaxPieces];
    int centred = 0;
    StatusFacts facts = ImageFacts();
    facts.bits = 1;
    facts.bitCount = 1;
    facts.width = 33;
    facts.height = -5;
    facts.fileSize = -1;
    const int count = STA_LocalPieces(facts, pieces, &centred);
    EXPECT_EQ(Line(pieces, count), "Type: Monochrome, Size: 40 (33 x 5), File Size: NA, Format: BMP- Windows Bitmap");
    EXPECT_EQ(STA_PixelBytes(640, 480, 8), 307200u);
    EXPECT_EQ(STA_PixelBytes(1, 1, 24), 4u);
    EXPECT_EQ(STA_PixelBytes(5, 3, 4), 12u);
}

TEST(StatusLine, SoundWindowsShowNoSizeAndEmptyOrNoWindowsAreCentred)
{
    StatusPiece pieces[STA_MaxPieces];
    int centred = 0;
    StatusFacts facts = ImageFacts();
    facts.hasDib = 0;
    facts.flags = IF_WAVE;
    facts.formatName = "WAV- Windows WAV Format";
    int count = STA_LocalPieces(facts, pieces, &centred);
    EXPECT_EQ(Line(pieces, count), "Type: Waveform, File Size: 1234, Format: WAV- Windows WAV Format");
    facts.flags = IF_MIDI;
    count = STA_LocalPieces(facts, pieces, &centred);
    EXPECT_STREQ(pieces[1].text, "MIDI");

    facts.flags = IF_COLOR;
    count = STA_LocalPieces(facts, pieces, &centred);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(centred, 1);
    EXPECT_STREQ(pieces[0].text, "<< Empty Window >>");
    facts.window = 0;
    count = STA_LocalPieces(facts, pieces, &centred);
    ASSERT_EQ(count, 1);
    EXPECT_STREQ(pieces[0].text, "<< No Active Image >>");
}
