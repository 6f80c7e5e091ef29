// The string table: every text the program shows comes from it, native builds
// through the compiled table and Windows builds through the .rc resources.
#include "platform/string_table.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

std::string Load(UINT id, int size = 512)
{
    std::string buf(static_cast<size_t>(size), '\x7f');
    int n = LoadStringA(nullptr, id, &buf[0], size);
    return buf.substr(0, static_cast<size_t>(n));
}

// Entries in resources/strings.txt, counted from the source itself.
unsigned CountSourceEntries()
{
    std::vector<unsigned char> bytes = ReadWholeFile(std::string(KV_SOURCE_DIR) + "/resources/strings.txt");
    unsigned count = 0;
    bool lineStart = true;
    for (unsigned char c : bytes) {
        if (lineStart && c >= '0' && c <= '9') count++;
        lineStart = c == '\n';
    }
    return count;
}

}  // namespace

TEST(StringTable, HoldsEveryEntryOfTheSourceInAscendingOrder)
{
    unsigned source = CountSourceEntries();
    ASSERT_GT(source, 500u);
    EXPECT_EQ(source, STR_Count);
    for (unsigned i = 1; i < STR_Count; i++) ASSERT_LT(STR_Table[i - 1].id, STR_Table[i].id) << i;
}

TEST(StringTable, LoadStringCutsAtTheBufferAndMissesCleanly)
{
    char buf[32];
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(4, LoadStringA(nullptr, 8234, buf, 5));
    EXPECT_STREQ("Ther", buf);
    // A text exactly as long as the buffer loses its last character to the zero.
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(24, LoadStringA(nullptr, 8234, buf, 25));
    EXPECT_EQ(std::string("There is no image to sav") + '\0' + 'x', std::string(buf, 26));
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(0, LoadStringA(nullptr, 65000, buf, sizeof buf));
    EXPECT_EQ(0, buf[0]);
}

TEST(StringTable, ResourcesAndCompiledTableGiveIdenticalTexts)
{
    // Natively LoadStringA is the compiled table; under Windows it reads the
    // resources that windres built from the same source, so every id must
    // come back byte for byte.
    unsigned compared = 0;
    for (unsigned i = 0; i < STR_Count; i++) {
        const StringEntry& e = STR_Table[i];
        if (e.length == 0) continue;
        std::string text = Load(e.id, 1024);
        ASSERT_EQ(std::string(e.text, e.length), text) << "id " << e.id;
        compared++;
    }
    EXPECT_EQ(STR_Count, compared);
}
