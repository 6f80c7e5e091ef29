// The ICO row's dialog in the real program: an icon of two images asks which
// to open, and Save As ICO asks for the type, starting on the image's own.
#include <gtest/gtest.h>

#include "driver.h"

using namespace kvgui;

namespace {

const int kList = 339, kBox = 350, kNameField = 1152, kFilterCombo = 1136;

// Unicode, so that list texts come back in UTF-16 across processes.
LRESULT SendW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, wParam, lParam, SMTO_ABORTIFHUNG, 5000, &result);
    return static_cast<LRESULT>(result);
}

// The lines of a list box (read in UTF-16: Wine answers another process so).
std::vector<std::string> ListLines(HWND dialog)
{
    std::vector<std::string> lines;
    HWND list = GetDlgItem(dialog, kList);
    for (LRESULT i = 0, n = SendW(list, LB_GETCOUNT, 0, 0); i < n; ++i) {
        std::wstring wide(SendW(list, LB_GETTEXTLEN, i, 0) + 1, L'\0');
        SendW(list, LB_GETTEXT, i, reinterpret_cast<LPARAM>(wide.data()));
        lines.emplace_back(wide.begin(), wide.begin() + wcslen(wide.c_str()));
    }
    return lines;
}

// The dialog of the program that has control id, waited for up to 10 s.
HWND WaitForDialog(const Program& program, int id)
{
    for (int i = 0; i < 200; ++i, Sleep(50))
        for (HWND window : TopLevelWindows(program.Pid(), "#32770"))
            if (GetDlgItem(window, id)) return window;
    return nullptr;
}

}  // namespace

TEST(Icon, OpenPicksAnImageAndSaveAsAsksForTheType)
{
    char temp[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string output = std::string(temp) + "SAVED.ICO";
    DeleteFileA(output.c_str());
    Program program;
    const std::string icon = std::string(KV_SOURCE_DIR).substr(2) + "/tests/data/ico/two_images.ico";
    ASSERT_TRUE(program.Start("/NOLOGO " + WindowsPath(icon)));
    HWND dialog = WaitForDialog(program, kList);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(WindowText(dialog), "Icon Types/Sizes");
    EXPECT_EQ(ListLines(dialog), (std::vector<std::string>{"16 x 16 Monochrome", "32 x 32 16-Color"}));
    EXPECT_EQ(ControlText(dialog, kBox), "Load icon mask to create 32-bit image");
    EXPECT_EQ(SendW(GetDlgItem(dialog, kBox), BM_GETCHECK, 0, 0), BST_CHECKED);
    SendW(GetDlgItem(dialog, kList), LB_SETCURSEL, 1, 0);
    ASSERT_TRUE(PressButton(dialog, IDOK));
    HWND frame = program.WaitForFrame();
    ASSERT_NE(frame, nullptr);

    // The second image, 32 bits with its mask: Save As ICO starts on 32 x 32 256-Color, alpha on.
    HWND client = GetDlgItem(frame, 3244), window = nullptr;
    for (int i = 0; i < 100 && !(window = GetWindow(client, GW_CHILD)); ++i) Sleep(50);
    ASSERT_NE(window, nullptr);
    PostMessageA(frame, WM_COMMAND, 259, 0);
    HWND save = WaitForDialog(program, kNameField);
    ASSERT_NE(save, nullptr);
    HWND filter = GetDlgItem(save, kFilterCombo);
    SendW(filter, CB_SETCURSEL, static_cast<WPARAM>(SendMessageA(filter, CB_FINDSTRING, -1, LPARAM("ICO-"))), 0);
    SendW(save, WM_COMMAND, MAKEWPARAM(kFilterCombo, CBN_SELCHANGE), reinterpret_cast<LPARAM>(filter));
    SendMessageA(GetDlgItem(save, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(output.c_str()));
    ASSERT_TRUE(PressButton(save, IDOK));
    dialog = WaitForDialog(program, kList);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ListLines(dialog),
              (std::vector<std::string>{"16 x 16 Monochrome", "16 x 16 16-Color", "16 x 16 256-Color",
                                        "32 x 32 Monochrome", "32 x 32 16-Color", "32 x 32 256-Color",
                                        "64 x 64 Monochrome", "64 x 64 16-Color", "64 x 64 256-Color"}));
    EXPECT_EQ(SendW(GetDlgItem(dialog, kList), LB_GETCURSEL, 0, 0), 5);
    EXPECT_EQ(ControlText(dialog, kBox), "Use alpha channel to create icon mask");
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(dialog, kBox)));
    ASSERT_TRUE(PressButton(dialog, IDOK));
    // 22 + 40 + 1024 table bytes + 32 x 32 pixels + 32 mask rows of 4 bytes.
    WIN32_FILE_ATTRIBUTE_DATA data{};
    // The file exists from its creation on: wait until the writer has put all of it there.
    for (int i = 0; i < 200 && !(GetFileAttributesExA(output.c_str(), GetFileExInfoStandard, &data) &&
                                 data.nFileSizeLow == 2238u);
         ++i)
        Sleep(50);
    EXPECT_EQ(data.nFileSizeLow, 2238u);
}
