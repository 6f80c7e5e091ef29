// The decisions of Save As and its option column, the Last Files list and
// the Local status line, checked without windows.
#include "controls/status_line.h"
#include "core/recent_files.h"
#include "core/save_options.h"
#include "scratch_store.h"

#include <gtest/gtest.h>

#include <functional>
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

// Option bits as words, for compact comparisons.
std::string Words(WORD bits)
{
    static const char* const names[] = {"1", "4", "8", "16", "24", "32", "colour", "gray", "compressed"};
    std::string text;
    for (int i = 0; i < 9; i++)
        if (bits & (1 << i)) text += std::string(text.empty() ? "" : " ") + names[i];
    return text;
}

}  // namespace

TEST(SaveOptions, ColumnFollowsTheFormatAndTheClicks)
{
    EXPECT_EQ(FIL_PresetOptions(0, 1, 24), FIL_OPT_24BIT | FIL_OPT_COLOR);
    EXPECT_EQ(FIL_PresetOptions(1, 0, 8), FIL_OPT_8BIT | FIL_OPT_GRAY | FIL_OPT_COMPRESSED);
    EXPECT_EQ(FIL_PresetOptions(0, 0, 1), FIL_OPT_1BIT | FIL_OPT_GRAY);
    // A column starts from the options; each step is a format change (click -1)
    // or a click on a control; after it: "checked / enabled", and "reset" when
    // the texts are to be reset.
    const BYTE only8And16[6] = {0, 0, 1, 1, 0, 0};
    struct Step {
        const BYTE* caps;
        int click;
        const char* after;
    };
    const std::vector<std::pair<WORD, std::vector<Step>>> cases = {
        // RLE has no 24 and nothing above it: down from 32 to 8, where compression is inherent.
        {FIL_OPT_24BIT | FIL_OPT_COLOR, {{kRle, -1, "8 colour compressed / 1 4 8 colour gray reset"}}},
        // BMP never compresses: the check goes; GIF compresses inherently: it comes back.
        {FIL_OPT_8BIT | FIL_OPT_GRAY | FIL_OPT_COMPRESSED,
         {{kBmp, -1, "8 gray / 1 4 8 24 32 colour gray reset"}, {kGif, -1, "8 gray compressed / 1 4 8 colour gray reset"}}},
        // The nearest depth is looked for upward first: 16 in BMP is 24; 1 in
        // TGA is 8, where compression is optional and stays unchecked; 32 in JPG
        // goes down past 24 to 8; 32 where only 8 and 16 are written is 16.
        {FIL_OPT_16BIT | FIL_OPT_COLOR, {{kBmp, -1, "24 colour / 1 4 8 24 32 colour gray reset"}}},
        {FIL_OPT_1BIT | FIL_OPT_COLOR, {{kTga, -1, "8 colour / 8 16 24 32 colour gray compressed reset"}}},
        {FIL_OPT_32BIT | FIL_OPT_COLOR, {{kJpg, -1, "8 colour compressed / 8 24 colour gray reset"}}},
        {FIL_OPT_32BIT | FIL_OPT_COLOR, {{only8And16, -1, "16 colour / 8 16 colour gray reset"}}},
        // HEX holds 1 bit only as gray; back at 8 bits colour is open again but stays unchecked.
        {FIL_OPT_8BIT | FIL_OPT_COLOR, {{kHex, -1, "8 colour / 1 4 8 24 colour gray reset"}, {kHex, 0, "1 gray / 1 4 8 24 gray"}, {kHex, 2, "8 gray / 1 4 8 24 colour gray"}}},
        // Without a checked depth only gray and the depths are open.
        {FIL_OPT_COLOR, {{kBmp, -1, "gray / 1 4 8 24 32 gray reset"}}},
        // Clicks keep one depth and one of colour and gray.
        {FIL_OPT_8BIT | FIL_OPT_24BIT | FIL_OPT_COLOR,
         {{kBmp, 0, "1 colour / 1 4 8 16 24 32 colour gray"}, {kBmp, FIL_CTL_GRAY, "1 gray / 1 4 8 24 32 colour gray"}, {kBmp, FIL_CTL_COLOR, "1 colour / 1 4 8 24 32 colour gray"}}},
        // DIB compresses 1, 4 and 8 bits optionally: checked compression closes
        // 24 and 32, for colour and gray alike.
        {FIL_OPT_8BIT | FIL_OPT_COLOR,
         {{kDib, -1, "8 colour / 1 4 8 24 32 colour gray compressed reset"},
          {kDib, FIL_CTL_COMPRESSED, "8 colour compressed / 1 4 8 colour gray compressed"},
          {kDib, FIL_CTL_GRAY, "8 gray compressed / 1 4 8 colour gray compressed"},
          {kDib, FIL_CTL_COMPRESSED, "8 gray / 1 4 8 24 32 colour gray compressed"}}},
    };
    for (const auto& c : cases) {
        SaveColumn column;
        FIL_ColumnFromOptions(&column, c.first);
        for (const Step& step : c.second) {
            column.resetTexts = 0;
            if (step.click < 0)
                FIL_UpdateColumn(&column, step.caps, FIL_MODE_FORMAT);
            else
                FIL_ClickColumn(&column, step.caps, step.click);
            WORD enabled = 0;
            for (int i = 0; i < FIL_ControlCount; i++)
                if (column.enabled[i]) enabled |= FIL_ControlBit(i);
            EXPECT_EQ(Words(FIL_OptionsFromColumn(&column)) + " / " + Words(enabled) + (column.resetTexts ? " reset" : ""),
                      step.after)
                << Words(c.first) << ", click " << step.click;
        }
    }
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
    // Facts: colour before and after, depth before and chosen, to an icon, the warning on.
    const std::vector<std::pair<SaveFacts, std::string>> cases = {
        {{1, 1, 24, 8, 0, 1}, "ask, 24 to 8"},
        {{1, 1, 24, 8, 0, 0}, "24 to 8"},
        // Colour to gray at 24 bits: gray caps the depth at 8, then it is raised again.
        {{1, 0, 24, 24, 0, 1}, "ask, gray, 8 to 24"},
        // Gray to colour: only the flag, then the depth is raised; nothing lost.
        {{0, 1, 8, 24, 0, 1}, "colour, 8 to 24"},
        {{1, 1, 8, 8, 0, 1}, "8 kept"},
        // A 32-bit image saved as an icon is neither asked about nor reduced; a 24-bit one is.
        {{1, 1, 32, 8, 1, 1}, "32 kept"},
        {{1, 1, 24, 8, 1, 1}, "ask, 24 to 8"},
        // No depth chosen keeps the document's.
        {{1, 1, 16, 0, 0, 1}, "16 kept"},
    };
    for (const auto& c : cases) {
        SavePlan plan;
        FIL_PlanSave(&c.first, &plan);
        std::string text = std::string(plan.ask ? "ask, " : "") + (plan.makeGray ? "gray, " : "") +
                           (plan.setColor ? "colour, " : "") + std::to_string(plan.fromBits);
        text += plan.convert ? " to " + std::to_string(plan.toBits) : " kept";
        EXPECT_EQ(text, c.second) << c.second;
    }
}

TEST(LastFiles, NewestFirstFiveAtMostExactMatchesAndLabels)
{
    ScratchStore store("lastfiles");
    // Slots 1 to 6 as a buffer of the given size receives them.
    auto slots = [](int size) {
        std::vector<std::string> names;
        char name[260];
        for (int slot = 1; slot <= 6; slot++) {
            FIL_GetLastFile(slot, name, size);
            names.push_back(name);
        }
        return names;
    };
    EXPECT_EQ(FIL_FindLastFile("a.bmp"), 0);
    FIL_AddLastFile("");
    EXPECT_EQ(slots(260), (std::vector<std::string>{"", "", "", "", "", ""}));
    for (const char* file : {"C:\\1.bmp", "C:\\2.bmp", "C:\\3.bmp"}) FIL_AddLastFile(file);
    EXPECT_EQ(slots(260), (std::vector<std::string>{"C:\\3.bmp", "C:\\2.bmp", "C:\\1.bmp", "", "", ""}));
    for (const char* file : {"C:\\4.bmp", "C:\\5.bmp", "C:\\6.bmp"}) FIL_AddLastFile(file);
    EXPECT_EQ(slots(260), (std::vector<std::string>{"C:\\6.bmp", "C:\\5.bmp", "C:\\4.bmp", "C:\\3.bmp", "C:\\2.bmp", ""}));
    // Names fit whole or not at all: "C:\\6.bmp" fits 9 and is never cut to 8.
    EXPECT_EQ(slots(9), (std::vector<std::string>{"C:\\6.bmp", "C:\\5.bmp", "C:\\4.bmp", "C:\\3.bmp", "C:\\2.bmp", ""}));
    EXPECT_EQ(slots(8), (std::vector<std::string>{"", "", "", "", "", ""}));
    EXPECT_EQ(FIL_FindLastFile("C:\\4.bmp"), 3);
    EXPECT_EQ(FIL_FindLastFile("c:\\4.bmp"), 0);
    EXPECT_EQ(FIL_FindLastFile("C:\\1.bmp"), 0);
    // Labels show the name without the folder.
    char label[64];
    FIL_LastFileLabel(1, "C:\\PICS\\PHOTO.BMP", label, sizeof label);
    EXPECT_STREQ(label, "&1. PHOTO.BMP");
    FIL_LastFileLabel(3, "Z:/tmp/dir.x/a.b.gif", label, sizeof label);
    EXPECT_STREQ(label, "&3. a.b.gif");
    FIL_LastFileLabel(2, "D:NAME", label, sizeof label);
    EXPECT_STREQ(label, "&2. NAME");
}

TEST(StatusLine, PiecesTheirColoursAndTheRoundedSize)
{
    // Each case changes the facts of a 3 x 2 24-bit BMP image; the line, its
    // pieces' colours (Black, Blue, Red) and whether it is centred.
    const std::vector<std::pair<std::function<void(StatusFacts&)>, std::string>> cases = {
        // A 24-bit row of 3 pixels is 9 bytes, rounded up to 12; two rows.
        {[](StatusFacts&) {}, "Type: 24-Bit, Size: 24 (3 x 2), File Size: 1234, Format: BMP- Windows Bitmap KBKBKBKB"},
        // Compressed turns the file size red; modified adds the last piece.
        {[](StatusFacts& f) { f.compressed = 1, f.flags |= IF_MODIFIED; },
         "Type: 24-Bit, Size: 24 (3 x 2), File Size: 1234, Format: BMP- Windows Bitmap; Modified KBKBKRKBK"},
        {[](StatusFacts& f) { f.bits = f.bitCount = 1, f.width = 33, f.height = -5, f.fileSize = -1; },
         "Type: Monochrome, Size: 40 (33 x 5), File Size: NA, Format: BMP- Windows Bitmap KBKBKBKB"},
        // Sound windows show no size.
        {[](StatusFacts& f) { f.hasDib = 0, f.flags = IF_WAVE, f.formatName = "WAV- Windows WAV Format"; },
         "Type: Waveform, File Size: 1234, Format: WAV- Windows WAV Format KBKBKB"},
        {[](StatusFacts& f) { f.hasDib = 0, f.flags = IF_MIDI; }, "Type: MIDI, File Size: 1234, Format: BMP- Windows Bitmap KBKBKB"},
        {[](StatusFacts& f) { f.hasDib = 0; }, "<< Empty Window >> K centred"},
        {[](StatusFacts& f) { f.window = 0; }, "<< No Active Image >> K centred"},
    };
    for (const auto& c : cases) {
        StatusFacts facts{};
        facts.window = facts.hasDib = 1;
        facts.flags = IF_COLOR;
        facts.bits = facts.bitCount = 24;
        facts.fileSize = 1234;
        facts.width = 3;
        facts.height = 2;
        facts.formatName = "BMP- Windows Bitmap";
        c.first(facts);
        StatusPiece pieces[STA_MaxPieces];
        int centred = 0;
        const int count = STA_LocalPieces(facts, pieces, &centred);
        std::string line, colours;
        for (int i = 0; i < count; i++) {
            line += pieces[i].text;
            colours += pieces[i].colour == STA_Black ? 'K' : pieces[i].colour == STA_Blue ? 'B' : pieces[i].colour == STA_Red ? 'R' : '?';
        }
        EXPECT_EQ(line + " " + colours + (centred ? " centred" : ""), c.second);
    }
    EXPECT_EQ(STA_PixelBytes(640, 480, 8), 307200u);
    EXPECT_EQ(STA_PixelBytes(1, 1, 24), 4u);
    EXPECT_EQ(STA_PixelBytes(5, 3, 4), 12u);
}
