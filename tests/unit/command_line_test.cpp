// Command line: switches found anywhere, the name to the end of the line.
#include "core/command_line.h"

#include <gtest/gtest.h>

#include <string>

namespace {
struct Parsed {
    int found;
    std::string name;
    UINT flags;
    std::string line;
};

Parsed Parse(const char* text)
{
    std::string line(text);
    LPSTR name = nullptr;
    UINT flags = 0xFFFF;
    int found = MAI_ParseCommandLine(&line[0], &name, &flags);
    return {found, name ? std::string(name) : std::string("<none>"), flags, line.c_str()};
}
}  // namespace

TEST(CommandLine, SwitchesSetFlagsAndTheNameComesOutUpperCased)
{
    Parsed p = Parse("/nologo /batch picture.bmp");
    EXPECT_EQ(1, p.found);
    EXPECT_EQ("PICTURE.BMP", p.name);
    EXPECT_EQ(START_NOLOGO | START_BATCH, p.flags);
    EXPECT_EQ("/NOLOGO /BATCH PICTURE.BMP", p.line);  // upper-cased in place

    p = Parse("/LOAD");
    EXPECT_EQ(0, p.found);
    EXPECT_EQ("<none>", p.name);
    EXPECT_EQ(START_LOAD, p.flags);

    p = Parse("/Load /Batch");
    EXPECT_EQ(START_LOAD | START_BATCH, p.flags);
    EXPECT_EQ(0, p.found);

    p = Parse("");
    EXPECT_EQ(0, p.found);
    EXPECT_EQ(0u, p.flags);
}

TEST(CommandLine, NameRunsToTheEndOfTheLineBlanksAndLaterSwitchesIncluded)
{
    Parsed p = Parse("/NOLOGO c:\\my pictures\\a b.bmp");
    EXPECT_EQ("C:\\MY PICTURES\\A B.BMP", p.name);

    // A switch after the name belongs to the name, yet still counts as a switch.
    p = Parse("pic.bmp /nologo");
    EXPECT_EQ("PIC.BMP /NOLOGO", p.name);
    EXPECT_EQ(START_NOLOGO, p.flags);

    // No quoting: quotes are part of the name.
    p = Parse("\"a.bmp\"");
    EXPECT_EQ("\"A.BMP\"", p.name);

    // Unknown switches are skipped like known ones; substrings count anywhere.
    p = Parse("/x /NOLOGOFOO  name.pcx  ");
    EXPECT_EQ("NAME.PCX  ", p.name);
    EXPECT_EQ(START_NOLOGO, p.flags);
}
