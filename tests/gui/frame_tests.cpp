// The frame window as a user and an outside program see it: the window and
// its MDI client, the menu bar, the accelerators, the picture on the screen
// and the ways to end the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <tuple>

#include "driver.h"

using namespace kvgui;

namespace {

// The logo would hold the start-up for seconds; these scenarios don't need it.
const char kNoLogo[] = "/NOLOGO";

// One expected menu entry. A popup is given with its entries' table; a
// separator with kSeparator.
struct Entry {
    const char* text;
    UINT id;
    const std::vector<Entry>* popup = nullptr;
};
const char* const kSeparator = nullptr;

const std::vector<Entry> kLastFiles = {{"None", 0}};

const std::vector<Entry> kFile = {
    {"&New\tCtrl+N", 256},     {"&Open...\tCtrl+O", 257},    {"&Close", 265},
    {"&Save", 258},            {"Save &As...", 259},         {"Batch...\tCtrl+B", 260},
    {"&Print", 261},           {"Printer Se&tup...", 262},   {"Settings...\tCtrl+S", 263},
    {"&Image Info...", 40003}, {"Last Files...", 272, &kLastFiles}, {"&Exit", 264},
};

const std::vector<Entry> kEdit = {
    {"&Undo\tCtrl+Z", 512},  {"C&ut\tCtrl+X", 513},           {"&Copy\tCtrl+C", 514},
    {"&Paste\tCtrl+V", 515}, {"&Paste Palette\tCtrl+P", 517}, {"&Delete\tCtrl+Del", 516},
};

const std::vector<Entry> kCapture = {
    {"Active Window", 768},          {"Active Application", 769}, {"Entire Screen", 770},
    {"User Defined Rectangle", 771}, {"Window under Mouse", 772}, {"Set Options...", 773},
};

const std::vector<Entry> kMonochrome = {{"Flat Cut", 1809}, {"Flat Cut with Dither", 1810}};
const std::vector<Entry> k16Colors = {
    {"Flat Cut", 1825}, {"Optimized Cut", 1826}, {"Flat Cut with Dither", 1827},
    {"Optimized Cut with Dither", 1828}, {"Increase colors to 16", 1824},
};
const std::vector<Entry> k256Colors = {
    {"Flat Cut", 1841}, {"Optimized Cut", 1842}, {"Flat Cut with Dither", 1843},
    {"Optimized Cut with Dither", 1844}, {"Increase colors to 256", 1840},
};
const std::vector<Entry> k16Bit = {
    {"Flat Cut", 1857}, {"Flat Cut with Dither", 1858}, {"Increase color to 16-bit", 1856},
};
const std::vector<Entry> k24Bit = {
    {"Decrease color to 24-bit", 1872}, {"Increase color to 24-bit", 1873},
};
const std::vector<Entry> k32Bit = {
    {"Increase color to 32-bit (Opaque)", 1878}, {"Increase color to 32-bit (Transparent)", 1879},
};
const std::vector<Entry> kColors = {
    {"Color", 1280},
    {"Gray", 1281},
    {kSeparator, 0},
    {"Monochrome", 0, &kMonochrome},
    {"16 Colors", 0, &k16Colors},
    {"256 Colors", 0, &k256Colors},
    {"16-Bit Color", 0, &k16Bit},
    {"24-Bit Color", 0, &k24Bit},
    {"32-Bit Color", 0, &k32Bit},
};

const std::vector<Entry> kWindow = {
    {"&Tile", 2305}, {"&Cascade", 2306}, {"Arrange &Icons", 2308}, {"Close &All", 2307},
};

const std::vector<Entry> kHelp = {
    {"&Index", 2560}, {"Using &Help", 2561}, {"&System Info", 2562}, {"&About KorVanta...", 2563},
};

// Compares a menu with its expected table, entry by entry and into popups;
// where names the menu in failure messages.
void ExpectMenu(const std::vector<MenuEntry>& actual, const std::vector<Entry>& expected,
                const std::string& where)
{
    ASSERT_EQ(actual.size(), expected.size()) << where;
    for (size_t i = 0; i < expected.size(); ++i) {
        const Entry& want = expected[i];
        const MenuEntry& got = actual[i];
        const std::string at = where + " position " + std::to_string(i);
        if (want.text == kSeparator) {
            EXPECT_TRUE(got.IsSeparator()) << at;
            EXPECT_FALSE(got.popup) << at;
            continue;
        }
        EXPECT_FALSE(got.IsSeparator()) << at;
        EXPECT_EQ(got.text, want.text) << at;
        // An extended menu gives a popup an id too: Last Files keeps 272.
        EXPECT_EQ(got.id, want.id) << at;
        EXPECT_EQ(got.popup, want.popup != nullptr) << at;
        if (want.popup)
            ExpectMenu(got.items, *want.popup, where + " > " + want.text);
    }
}

// Where to leave screenshots for a person to look at: $KV_GUI_SHOTS, if set.
void KeepScreenshot(const Image& image, const char* name)
{
    if (const char* dir = std::getenv("KV_GUI_SHOTS"); dir && *dir)
        image.WriteBmp(WindowsPath(std::string(dir) + "/" + name));
}

// One program started for the whole suite, for the checks that only look.
class RunningFrame : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        program_ = std::make_unique<Program>();
        if (program_->Start(kNoLogo))
            program_->WaitForFrame();
    }
    static void TearDownTestSuite() { program_.reset(); }

    void SetUp() override
    {
        frame_ = program_->Frame();
        ASSERT_NE(frame_, nullptr) << "no frame of " << KorvantaPath();
    }

    static std::unique_ptr<Program> program_;
    HWND frame_ = nullptr;
};
std::unique_ptr<Program> RunningFrame::program_;

TEST_F(RunningFrame, FrameHasItsClassTitleStyleAndPlace)
{
    EXPECT_EQ(ClassName(frame_), "FrameClass");
    EXPECT_EQ(WindowText(frame_), "Korvanta");
    EXPECT_TRUE(IsWindowVisible(frame_));
    // WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN as created, plus what the system
    // adds to every overlapped window (WS_CLIPSIBLINGS) and WS_VISIBLE.
    const LONG style = GetWindowLongA(frame_, GWL_STYLE);
    EXPECT_EQ(style & ~(WS_VISIBLE | WS_CLIPSIBLINGS), 0x02CF0000);
    EXPECT_EQ(GetParent(frame_), nullptr);
    RECT rect{};
    ASSERT_TRUE(GetWindowRect(frame_, &rect));
    EXPECT_EQ(rect.left, 20);
    EXPECT_EQ(rect.top, 20);
    EXPECT_GT(rect.right - rect.left, 100);
    EXPECT_GT(rect.bottom - rect.top, 100);
}

TEST_F(RunningFrame, MdiClientFillsTheFrame)
{
    HWND client = GetDlgItem(frame_, 3244);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(_stricmp(ClassName(client).c_str(), "MDIClient"), 0) << ClassName(client);
    EXPECT_EQ(GetParent(client), frame_);
    EXPECT_TRUE(IsWindowVisible(client));
    const LONG style = GetWindowLongA(client, GWL_STYLE);
    EXPECT_EQ(style & (WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE), WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE);
    // The client spans the frame's client area from its top left corner; only
    // status bars may take a strip at the bottom.
    RECT frameClient{}, clientRect{};
    GetClientRect(frame_, &frameClient);
    GetWindowRect(client, &clientRect);
    MapWindowPoints(nullptr, frame_, reinterpret_cast<POINT*>(&clientRect), 2);
    EXPECT_EQ(clientRect.left, 0);
    EXPECT_EQ(clientRect.top, 0);
    EXPECT_EQ(clientRect.right, frameClient.right);
    EXPECT_GT(clientRect.bottom, frameClient.bottom / 2);
    EXPECT_LE(clientRect.bottom, frameClient.bottom);
    // No image windows yet.
    EXPECT_EQ(GetWindow(client, GW_CHILD), nullptr);
}

TEST_F(RunningFrame, ClassCarriesIconArrowMenuAndWorkspaceBackground)
{
    std::map<std::string, std::string> info = program_->ClassInfo(frame_);
    ASSERT_FALSE(info.empty()) << "the probe did not answer";
    EXPECT_EQ(info["icon_resource"], "400");
    EXPECT_EQ(info["cursor_is_arrow"], "1");
    EXPECT_EQ(info["background"], std::to_string(COLOR_APPWORKSPACE + 1));
    EXPECT_EQ(info["menu_name"], "FrameMenu");
    EXPECT_EQ(info["style"], "0");
    EXPECT_EQ(info["cls_extra"], "0");
    EXPECT_EQ(info["wnd_extra"], "0");
}

// Reads the frame's menu bar inside the program; fails the test if it can't.
std::vector<MenuEntry> MenuBar(Program& program, HWND frame)
{
    std::vector<MenuEntry> bar;
    EXPECT_TRUE(program.ReadMenuBar(frame, &bar)) << "the probe did not answer";
    return bar;
}

TEST_F(RunningFrame, MenuBarHasSixPopupsWithTheirTitles)
{
    std::vector<MenuEntry> bar = MenuBar(*program_, frame_);
    ASSERT_EQ(bar.size(), 6u);
    const char* titles[] = {"File", "Edit", "Capture", "Colors", "Window", "Help"};
    for (size_t i = 0; i < bar.size(); ++i) {
        EXPECT_EQ(bar[i].text, titles[i]) << "position " << i;
        EXPECT_TRUE(bar[i].popup) << "position " << i;
        EXPECT_FALSE(bar[i].IsGrayed()) << "position " << i;
    }
}

TEST_F(RunningFrame, FileMenuEntriesAndLastFilesPopup)
{
    std::vector<MenuEntry> bar = MenuBar(*program_, frame_);
    ASSERT_GE(bar.size(), 1u);
    ExpectMenu(bar[0].items, kFile, "File");
    // Until a file has been opened the list holds one disabled "None".
    ASSERT_EQ(bar[0].items.size(), kFile.size());
    const std::vector<MenuEntry>& last = bar[0].items[10].items;
    ASSERT_EQ(last.size(), 1u);
    EXPECT_TRUE(last[0].IsGrayed());
}

TEST_F(RunningFrame, ColorsMenuHasDepthSubmenusAtPositionsThreeToEight)
{
    std::vector<MenuEntry> bar = MenuBar(*program_, frame_);
    ASSERT_GE(bar.size(), 4u);
    ExpectMenu(bar[3].items, kColors, "Colors");
}

TEST_F(RunningFrame, EditCaptureWindowAndHelpMenuEntries)
{
    std::vector<MenuEntry> bar = MenuBar(*program_, frame_);
    ASSERT_EQ(bar.size(), 6u);
    ExpectMenu(bar[1].items, kEdit, "Edit");
    ExpectMenu(bar[2].items, kCapture, "Capture");
    // The client adds its window list to the Window menu only while image
    // windows exist; with none it holds its four commands.
    ExpectMenu(bar[4].items, kWindow, "Window");
    ExpectMenu(bar[5].items, kHelp, "Help");
}

TEST_F(RunningFrame, OpenedWindowMenuIsEnabledAndEmptyLastFilesIsGrayed)
{
    // Opened as a user opens them: the Window commands are always enabled,
    // and the empty Last Files list shows its disabled "None".
    std::vector<MenuEntry> bar;
    ASSERT_TRUE(program_->ReadMenuBar(frame_, &bar, true));
    ASSERT_EQ(bar.size(), 6u);
    for (const MenuEntry& entry : bar[4].items) {
        EXPECT_FALSE(entry.IsGrayed()) << entry.text;
        EXPECT_FALSE(entry.IsChecked()) << entry.text;
    }
    EXPECT_TRUE(bar[0].items.at(10).items.at(0).IsGrayed());
}

TEST_F(RunningFrame, ScreenShowsMenuBarOverTheWorkspace)
{
    Image shot;
    ASSERT_TRUE(CaptureWindow(frame_, &shot));
    KeepScreenshot(shot, "frame.bmp");
    RECT window{}, client{};
    GetWindowRect(frame_, &window);
    ASSERT_TRUE(GetWindowRect(GetDlgItem(frame_, 3244), &client));
    // The MDI client, in image coordinates, shows the empty workspace.
    const RECT workspace{client.left - window.left, client.top - window.top, client.right - window.left,
                         client.bottom - window.top};
    const int area = (workspace.right - workspace.left) * (workspace.bottom - workspace.top);
    ASSERT_GT(area, 0);
    EXPECT_EQ(shot.Count(workspace, Rgb(GetSysColor(COLOR_APPWORKSPACE))), area);
    // The menu bar stands right above it: menu background with menu text on it.
    const int barHeight = GetSystemMetrics(SM_CYMENU);
    const RECT bar{workspace.left, workspace.top - barHeight, workspace.right, workspace.top};
    EXPECT_GT(shot.Count(bar, Rgb(GetSysColor(COLOR_MENU))), area / 1000);
    EXPECT_GT(shot.Count(bar, Rgb(GetSysColor(COLOR_MENUTEXT))), 50);
}

// ---- resources of the program file ------------------------------------------------

TEST(ProgramResources, AcceleratorTable500HoldsEveryShortcut)
{
    ResourceFile exe(KorvantaPath());
    ASSERT_NE(exe.Module(), nullptr) << KorvantaPath();
    std::vector<ACCEL> table = exe.Accelerators(500);
    using Key = std::tuple<int, int, int>;  // modifiers, virtual key, command
    std::vector<Key> actual;
    for (const ACCEL& a : table)
        actual.emplace_back(a.fVirt & ~FNOINVERT, a.key, a.cmd);
    std::vector<Key> expected = {
        {FVIRTKEY | FCONTROL, 'N', 256},       {FVIRTKEY | FCONTROL, 'O', 257},
        {FVIRTKEY | FCONTROL, 'B', 260},       {FVIRTKEY | FCONTROL, 'S', 263},
        {FVIRTKEY | FCONTROL, 'U', 512},       {FVIRTKEY | FCONTROL, 'Z', 512},
        {FVIRTKEY | FALT, VK_BACK, 512},       {FVIRTKEY | FCONTROL, 'X', 513},
        {FVIRTKEY | FCONTROL, 'C', 514},       {FVIRTKEY | FCONTROL, VK_INSERT, 514},
        {FVIRTKEY | FCONTROL, 'V', 515},       {FVIRTKEY | FSHIFT, VK_INSERT, 515},
        {FVIRTKEY | FCONTROL, 'P', 517},       {FVIRTKEY | FCONTROL, VK_DELETE, 516},
        {FVIRTKEY, VK_F1, 2561},
    };
    std::sort(actual.begin(), actual.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(actual, expected);
}

TEST(ProgramResources, IconsLogoAndMenuArePresent)
{
    ResourceFile exe(KorvantaPath());
    ASSERT_NE(exe.Module(), nullptr) << KorvantaPath();
    EXPECT_TRUE(exe.Has(RT_GROUP_ICON, MAKEINTRESOURCEA(400)));
    EXPECT_TRUE(exe.Has(RT_GROUP_ICON, MAKEINTRESOURCEA(401)));
    EXPECT_TRUE(exe.Has(RT_MENU, "FrameMenu"));
    // The logo: a packed 8-bit DIB of 320 by 200 pixels.
    HRSRC logo = FindResourceA(exe.Module(), "Korvanta", "HDIB");
    ASSERT_NE(logo, nullptr);
    HGLOBAL data = LoadResource(exe.Module(), logo);
    ASSERT_NE(data, nullptr);
    ASSERT_GE(SizeofResource(exe.Module(), logo), sizeof(BITMAPINFOHEADER));
    const auto* header = static_cast<const BITMAPINFOHEADER*>(LockResource(data));
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(header->biSize, sizeof(BITMAPINFOHEADER));
    EXPECT_EQ(header->biWidth, 320);
    EXPECT_EQ(header->biHeight, 200);
    EXPECT_EQ(header->biBitCount, 8);
}

// ---- ending the program -------------------------------------------------------------

// Sends message to a freshly started frame and expects the process to end
// with exit code 0 within a few seconds.
void ExpectEndsWithZero(UINT message, WPARAM wParam)
{
    Program program;
    ASSERT_TRUE(program.Start(kNoLogo));
    HWND frame = program.WaitForFrame();
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(PostMessageA(frame, message, wParam, 0));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(program.WaitForExit(5000, &code)) << "still running";
    EXPECT_EQ(code, 0u);
    EXPECT_FALSE(IsWindow(frame));
}

TEST(Shutdown, FileExitEndsTheProgramWithCodeZero)
{
    ExpectEndsWithZero(WM_COMMAND, 264);
}

TEST(Shutdown, CloseOfTheFrameEndsTheProgramWithCodeZero)
{
    ExpectEndsWithZero(WM_CLOSE, 0);
}

TEST(Shutdown, WindowCommandsWithoutImagesLeaveTheProgramRunning)
{
    Program program;
    ASSERT_TRUE(program.Start(kNoLogo));
    HWND frame = program.WaitForFrame();
    ASSERT_NE(frame, nullptr);
    for (WPARAM id : {2305, 2306, 2308})
        EXPECT_EQ(SendMessageA(frame, WM_COMMAND, id, 0), 0) << id;
    // Swallowed: the frame answers them itself with 0.
    EXPECT_EQ(SendMessageA(frame, WM_WININICHANGE, 0, 0), 0);
    EXPECT_TRUE(program.IsRunning());
    EXPECT_TRUE(IsWindowVisible(frame));
    EXPECT_EQ(GetWindow(GetDlgItem(frame, 3244), GW_CHILD), nullptr);
}

}  // namespace
