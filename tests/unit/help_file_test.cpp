// The help file tool, tools/make_help.py, where the build runs it: what it writes
// decodes back to the help text, a changed file is noticed, and a source it
// refuses leaves no file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "test_support.h"

#ifndef _WIN32
namespace {

int RunTool(const std::string& arguments)
{
    return std::system(("python3 '" + std::string(KV_SOURCE_DIR) + "/tools/make_help.py' " + arguments).c_str());
}

std::string Quoted(const std::string& path) { return "'" + path + "' "; }

}  // namespace

TEST(HelpFile, DecodesToItsTextAndLeavesNothingForABadSource)
{
    const std::string source = std::string(KV_SOURCE_DIR) + "/help/korvanta.txt";
    const std::string help = TempPath("help.hlp");
    ASSERT_EQ(0, RunTool(Quoted(source) + Quoted(help)));
    EXPECT_EQ(0, RunTool("--check " + Quoted(help) + Quoted(source)));

    // One letter of the title changed in the file: the check sees it.
    std::string title;
    std::ifstream in(source);
    for (std::string line; title.empty() && std::getline(in, line);)
        if (line.rfind("title: ", 0) == 0)
            title = line.substr(7);
    std::vector<unsigned char> bytes = ReadWholeFile(help);
    const auto at = std::search(bytes.begin(), bytes.end(), title.begin(), title.end());
    ASSERT_NE(at, bytes.end());
    *at ^= 0x20;
    ASSERT_TRUE(WriteWholeFile(help, bytes));
    EXPECT_NE(0, RunTool("--check " + Quoted(help) + Quoted(source) + "2>/dev/null"));

    // A jump to no topic is refused before anything is written.
    const std::string bad = TempPath("bad.txt"), out = TempPath("bad.hlp");
    const std::string text = "title: T\n= index Index\n-> nowhere\n";
    ASSERT_TRUE(WriteWholeFile(bad, {text.begin(), text.end()}));
    EXPECT_NE(0, RunTool(Quoted(bad) + Quoted(out) + "2>/dev/null"));
    EXPECT_FALSE(FileExists(out) || FileExists(out + ".part"));
    std::remove(help.c_str());
    std::remove(bad.c_str());
}
#endif
