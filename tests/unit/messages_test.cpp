// Messages: texts by number, captions and box flags by severity, and the
// question that a failing file puts during an unattended batch.
#include "cli/headless.h"
#include "core/messages.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <string>

namespace {
const UINT kNoSuchText = 65000;

class Messages : public ::testing::Test {
protected:
    void SetUp() override
    {
        HDL_ClearBoxes();
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
    }
    void TearDown() override
    {
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
        HDL_ClearBoxes();
    }
    const HeadlessBox& Box(size_t i) { return HDL_Boxes().at(i); }
};
}  // namespace

TEST_F(Messages, MissingTextsNameTheirId)
{
    MSG_Report(SEV_ERROR, kNoSuchText);
    HDL_QueueAnswer(IDYES);
    EXPECT_EQ(IDYES, MSG_Query(SEV_NOTICE, kNoSuchText + 1));
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("Internal error (id = 65000)", Box(0).text);
    EXPECT_EQ("Internal query error (id = 65001)", Box(1).text);
}

TEST_F(Messages, CaptionsAndFlagsFollowTheSeverity)
{
    MSG_Report(SEV_NOTICE, 8204);
    MSG_Report(SEV_ERROR, 9478, "PCX");
    MSG_Report(SEV_WARNING, 9477, "TGA");
    MSG_Report(0, 8204);
    MSG_Report(4, 8204);
    ASSERT_EQ(3u, HDL_Boxes().size());
    EXPECT_EQ("Not enough memory to perform operation", Box(0).text);
    EXPECT_EQ("Korvanta", Box(0).caption);
    EXPECT_EQ(0x1030u, Box(0).flags);
    EXPECT_EQ("Not a legal PCX file", Box(1).text);
    EXPECT_EQ("", Box(1).caption);
    EXPECT_EQ(0x1030u, Box(1).flags);
    EXPECT_EQ("Incomplete TGA file, cannot load", Box(2).text);
    EXPECT_EQ("Warning", Box(2).caption);
    EXPECT_EQ(0x1030u, Box(2).flags);

    HDL_ClearBoxes();
    MSG_ReportText(SEV_NOTICE, "done");
    MSG_ReportText(SEV_WARNING, "careful");
    MSG_ReportText(7, "never shown");
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("done", Box(0).text);
    EXPECT_EQ("Korvanta", Box(0).caption);
    EXPECT_EQ("Warning", Box(1).caption);

    // A question is always Yes/No, with the same captions, and answers with the button.
    HDL_ClearBoxes();
    HDL_QueueAnswer(IDNO);
    HDL_QueueAnswer(IDYES);
    HDL_QueueAnswer(IDNO);
    EXPECT_EQ(IDNO, MSG_Query(SEV_NOTICE, 9478, "GIF"));
    EXPECT_EQ(IDYES, MSG_Query(SEV_ERROR, 9478, "GIF"));
    EXPECT_EQ(IDNO, MSG_Query(SEV_WARNING, 1296));
    ASSERT_EQ(3u, HDL_Boxes().size());
    EXPECT_EQ("Not a legal GIF file", Box(0).text);
    EXPECT_EQ("Korvanta", Box(0).caption);
    EXPECT_EQ("", Box(1).caption);
    EXPECT_EQ("Warning", Box(2).caption);
    EXPECT_EQ("Possible errors encountered while reading\nfile, Continue loading this file?", Box(2).text);
    for (const HeadlessBox& b : HDL_Boxes()) EXPECT_EQ(0x1024u, b.flags);
}

TEST_F(Messages, ErrorDuringAnUnattendedBatchAsksWhetherToCancel)
{
    BAT_SetActive(1, 0);
    HDL_QueueAnswer(IDNO);
    EXPECT_EQ(IDNO, MSG_Report(SEV_ERROR, 9478, "GIF"));
    EXPECT_EQ(0, MSG_GetAbort());
    HDL_QueueAnswer(IDYES);
    EXPECT_EQ(IDYES, MSG_Report(SEV_ERROR, 9478, "RAS"));
    EXPECT_EQ(1, MSG_GetAbort());
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("Not a legal GIF file\n\nCancel Batch?", Box(0).text);
    EXPECT_EQ(0x1024u, Box(0).flags);
    EXPECT_EQ("", Box(0).caption);
    EXPECT_EQ("Not a legal RAS file\n\nCancel Batch?", Box(1).text);

    // Notices, warnings and questions never turn into the batch question.
    MSG_ClearAbort();
    HDL_ClearBoxes();
    MSG_Report(SEV_NOTICE, 8204);
    MSG_Report(SEV_WARNING, 8204);
    HDL_QueueAnswer(IDYES);
    EXPECT_EQ(IDYES, MSG_Query(SEV_WARNING, 1296));
    ASSERT_EQ(3u, HDL_Boxes().size());
    EXPECT_EQ(0x1030u, Box(0).flags);
    EXPECT_EQ(0x1030u, Box(1).flags);
    EXPECT_EQ("Not enough memory to perform operation", Box(1).text);
    EXPECT_EQ("Possible errors encountered while reading\nfile, Continue loading this file?", Box(2).text);
    EXPECT_EQ(0, MSG_GetAbort());

    // A finished text is asked about too; a long one is cut to 255 before the question.
    HDL_ClearBoxes();
    HDL_QueueAnswer(IDYES);
    MSG_ReportText(SEV_ERROR, "bad file");
    std::string longText(400, 'x');
    HDL_QueueAnswer(IDNO);
    MSG_ReportText(SEV_ERROR, longText.c_str());
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("bad file\n\nCancel Batch?", Box(0).text);
    EXPECT_EQ(std::string(255, 'x') + "\n\nCancel Batch?", Box(1).text);
    EXPECT_EQ(std::string(400, 'x'), longText);
    EXPECT_EQ(1, MSG_GetAbort());
    MSG_SetAbort(0);
    EXPECT_EQ(0, MSG_GetAbort());
}

TEST_F(Messages, ErrorDuringAScriptedBatchIsAPlainReport)
{
    BAT_SetActive(1, 1);
    EXPECT_EQ(1, BAT_IsActive());
    EXPECT_EQ(1, BAT_IsScripted());
    MSG_Report(SEV_ERROR, 9478, "GIF");
    MSG_ReportText(SEV_ERROR, "bad file");
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("Not a legal GIF file", Box(0).text);
    EXPECT_EQ(0x1030u, Box(0).flags);
    EXPECT_EQ("bad file", Box(1).text);
    EXPECT_EQ(0x1030u, Box(1).flags);
    EXPECT_EQ(0, MSG_GetAbort());
}

TEST_F(Messages, FileNamePartFollowsTheLastBackslash)
{
    const char* path = "C:\\dir.v1\\sub\\file.gif";
    EXPECT_EQ(path + 14, UTL_FileNamePart(path));
    const char* bare = "file.gif";
    EXPECT_EQ(bare, UTL_FileNamePart(bare));
    const char* folder = "C:\\dir\\";
    EXPECT_STREQ("", UTL_FileNamePart(folder));
    EXPECT_STREQ("", UTL_FileNamePart(""));
}
