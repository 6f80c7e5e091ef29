// The batch engine's portable rules: output names into a caller's buffer,
// the pairs of a run, and an outside program's bracket.
#include "batch/batch_engine.h"
#include "core/messages.h"
#include "formats/format_table.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(BatchEngine, OutputNamesFitTheirBufferOrAreRefusedWhole)
{
    FMT_RegisterBuiltins();
    char out[12];
    const struct {
        const char* name;
        int row;
        size_t room;
        const char* expected;  // null: refused
    } cases[] = {
        {"PIC.ONE.PCX", FMT_Row_BMP, sizeof out, "PIC.BMP"},
        {"NODOT", FMT_Row_GIF, sizeof out, "NODOT"},
        {"AB.C", FMT_Row_TIF, 7, "AB.TIF"},
        {"AB.C", FMT_Row_TIF, 6, nullptr},
    };
    for (const auto& c : cases) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(c.expected != nullptr, BAT_OutputName(c.name, c.row, out, c.room) != 0) << c.name;
        if (c.expected) EXPECT_STREQ(c.expected, out);
        else EXPECT_EQ('x', out[0]) << "nothing is written when the name doesn't fit";
    }
}

TEST(BatchEngine, PairsAreCopiedUpToTheBlocksRoomAndABracketCountsOneSession)
{
    ASSERT_TRUE(BAT_AllocateItems(2));
    char input[] = "A.BMP";
    EXPECT_TRUE(BAT_AddItem(input, "A.GIF"));
    input[0] = 'Z';
    EXPECT_TRUE(BAT_AddItem("B.BMP", "B.GIF"));
    EXPECT_FALSE(BAT_AddItem("C.BMP", "C.GIF"));
    ASSERT_EQ(2, BAT_ItemCount);
    EXPECT_STREQ("A.BMP", BAT_Items[0].input);
    EXPECT_STREQ("B.GIF", BAT_Items[1].output);
    BAT_FreeItem(0);
    EXPECT_EQ(nullptr, BAT_Items[0].input);
    BAT_FreeItems();
    EXPECT_EQ(0, BAT_ItemCount);
    EXPECT_EQ(nullptr, BAT_Items);

    const int session = BAT_GetSession();
    BAT_SetScripted(1);
    EXPECT_EQ(1, BAT_IsActive());
    EXPECT_EQ(1, BAT_IsScripted());
    BAT_SetScripted(0);
    EXPECT_EQ(0, BAT_IsActive() | BAT_IsScripted());
    EXPECT_EQ(session + 1, BAT_GetSession());
}
