// The ICO row's dialog in the real program: an icon of two images asks which
// to open, and Save As ICO asks for the type, starting on the image's own.
#include <gtest/gtest.h>

#include "driver.h"

using namespace kvgui;

namespace {

const int kList = 339, kBox = 350, kNameField = 1152, kFilterCombo = 1136;

TEST(Icon, OpenPicksAnImageAndSaveAsAsksForTheType)
{
    const std::string output = PathOf("SAVED.ICO");
    DeleteFileA(output.c_str());
    const std::string icon = std::string(KV_SOURCE_DIR).substr(2) + "/tests/data/ico/two_images.ico";
    Session run(WindowsPath(icon));
    ASSERT_NE(run.frame, nullptr);
    HWND dialog = run.WaitForControl(kList);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(WindowText(dialog), "Icon Types/Sizes");
    EXPECT_EQ(ListItems(dialog, kList), (std::vector<std::string>{"16 x 16 Monochrome", "32 x 32 16-Color"}));
    EXPECT_EQ(ControlText(dialog, kBox), "Load icon mask to create 32-bit image");
    EXPECT_TRUE(Checked(dialog, kBox));
    Send(GetDlgItem(dialog, kList), LB_SETCURSEL, 1, 0);
    Answer(dialog, IDOK);
    ASSERT_NE(run.WaitForWindows(1), nullptr);

    // The second image, 32 bits with its mask: Save As ICO starts on 32 x 32 256-Color, alpha on.
    run.Command(259);
    HWND save = run.WaitForFileDialog();
    ASSERT_NE(save, nullptr);
    ASSERT_TRUE(ChooseItem(save, kFilterCombo, "ICO-"));
    Send(GetDlgItem(save, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(output.c_str()));
    Answer(save, IDOK);
    dialog = run.WaitForControl(kList);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ListItems(dialog, kList),
              (std::vector<std::string>{"16 x 16 Monochrome", "16 x 16 16-Color", "16 x 16 256-Color",
                                        "32 x 32 Monochrome", "32 x 32 16-Color", "32 x 32 256-Color",
                                        "64 x 64 Monochrome", "64 x 64 16-Color", "64 x 64 256-Color"}));
    EXPECT_EQ(Send(GetDlgItem(dialog, kList), LB_GETCURSEL, 0, 0), 5);
    EXPECT_EQ(ControlText(dialog, kBox), "Use alpha channel to create icon mask");
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(dialog, kBox)));
    Answer(dialog, IDOK);
    // 22 + 40 + 1024 table bytes + 32 x 32 pixels + 32 mask rows of 4 bytes.
    EXPECT_TRUE(Within(5000, [&] { return ReadBytes(output).size() == 2238u; })) << ReadBytes(output).size();
}

}  // namespace
