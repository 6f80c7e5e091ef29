// Messages: texts by number, captions and box flags by severity, and the
// question that a failing file puts during an unattended batch.
#include "cli/headless.h"
#include "core/messages.h"
#include "test_support.h"

#include <gtest/gtest.h>

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
    // Each box shown as "caption, flags: text", and the record cleared.
    std::vector<std::string> Shown()
    {
        std::vector<std::string> shown;
        char flags[16];
        for (const HeadlessBox& b : HDL_Boxes()) {
            snprintf(flags, sizeof flags, "%#x", static_cast<unsigned>(b.flags));
            shown.push_back(b.caption + ", " + flags + ": " + b.text);
        }
        HDL_ClearBoxes();
        return shown;
    }
};
}  // namespace
TEST_F(Messages, CaptionsAndFlagsFollowTheSeverity)
{
    typedef std::vector<std::string> Texts;
    const std::string possible = "Possible errors encountered while reading\nfile, Continue loading this file?";
    // Missing texts name their id; severities out of range show nothing.
    MSG_Report(SEV_ERROR, kNoSuchText);
    MSG_Report(SEV_NOTICE, 8204);
    MSG_Report(SEV_ERROR, 9478, "PCX");
    MSG_Report(SEV_WARNING, 9477, "TGA");
    MSG_Report(0, 8204);
    MSG_Report(4, 8204);
    MSG_ReportText(SEV_NOTICE, "done");
    MSG_ReportText(SEV_WARNING, "careful");
    MSG_ReportText(7, "never shown");
    EXPECT_EQ(Shown(), (Texts{", 0x1030: Internal error (id = 65000)", "Korvanta, 0x1030: Not enough memory to perform operation",
                              ", 0x1030: Not a legal PCX file", "Warning, 0x1030: Incomplete TGA file, cannot load",
                              "Korvanta, 0x1030: done", "Warning, 0x1030: careful"}));
    // A question is always Yes/No, with the same captions, and answers with the button.
    for (int answer : {IDYES, IDNO, IDYES, IDNO}) HDL_QueueAnswer(answer);
    EXPECT_EQ(IDYES, MSG_Query(SEV_NOTICE, kNoSuchText + 1));
    EXPECT_EQ(IDNO, MSG_Query(SEV_NOTICE, 9478, "GIF"));
    EXPECT_EQ(IDYES, MSG_Query(SEV_ERROR, 9478, "GIF"));
    EXPECT_EQ(IDNO, MSG_Query(SEV_WARNING, 1296));
    EXPECT_EQ(Shown(), (Texts{"Korvanta, 0x1024: Internal query error (id = 65001)", "Korvanta, 0x1024: Not a legal GIF file",
                              ", 0x1024: Not a legal GIF file", "Warning, 0x1024: " + possible}));

    // During an unattended batch an error asks whether to cancel it; a long
    // text is cut to 255 before the question.
    BAT_SetActive(1, 0);
    for (int answer : {IDNO, IDYES}) HDL_QueueAnswer(answer);
    EXPECT_EQ(IDNO, MSG_Report(SEV_ERROR, 9478, "GIF"));
    EXPECT_EQ(0, MSG_GetAbort());
    EXPECT_EQ(IDYES, MSG_Report(SEV_ERROR, 9478, "RAS"));
    EXPECT_EQ(1, MSG_GetAbort());
    MSG_ClearAbort();
    // Notices, warnings and questions never turn into the batch question.
    MSG_Report(SEV_NOTICE, 8204);
    MSG_Report(SEV_WARNING, 8204);
    HDL_QueueAnswer(IDYES);
    EXPECT_EQ(IDYES, MSG_Query(SEV_WARNING, 1296));
    EXPECT_EQ(0, MSG_GetAbort());
    const std::string longText(400, 'x');
    for (int answer : {IDYES, IDNO}) HDL_QueueAnswer(answer);
    MSG_ReportText(SEV_ERROR, "bad file");
    MSG_ReportText(SEV_ERROR, longText.c_str());
    EXPECT_EQ(1, MSG_GetAbort());
    EXPECT_EQ(Shown(), (Texts{", 0x1024: Not a legal GIF file\n\nCancel Batch?", ", 0x1024: Not a legal RAS file\n\nCancel Batch?",
                              "Korvanta, 0x1030: Not enough memory to perform operation",
                              "Warning, 0x1030: Not enough memory to perform operation", "Warning, 0x1024: " + possible,
                              ", 0x1024: bad file\n\nCancel Batch?", ", 0x1024: " + std::string(255, 'x') + "\n\nCancel Batch?"}));
    MSG_SetAbort(0);
    EXPECT_EQ(0, MSG_GetAbort());
    // During a scripted batch an error is a plain report.
    BAT_SetActive(1, 1);
    EXPECT_EQ(1, BAT_IsActive());
    EXPECT_EQ(1, BAT_IsScripted());
    MSG_Report(SEV_ERROR, 9478, "GIF");
    MSG_ReportText(SEV_ERROR, "bad file");
    EXPECT_EQ(Shown(), (Texts{", 0x1030: Not a legal GIF file", ", 0x1030: bad file"}));
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
