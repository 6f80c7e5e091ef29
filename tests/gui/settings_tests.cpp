// The Settings dialog and the life of the settings in the real program: what
// the dialog shows for what the profile store holds, and which values of the
// "Core" section its OK and the end of the program write. The store is read
// directly in the registry, as another program would see it.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {

const WPARAM kSettings = 263;

// Controls of the Settings dialog.
const int kTiffMono = 304, kTiff16Colors = 305, kTiff256Colors = 306, kTiff16Bit = 307, kTiff24Bit = 308;
const int kFlatCut = 309, kOptimizedCut = 310, kSaveDither = 311, kWarnColorLoss = 312, kKeepUndo = 324;
const int kScreenBitmaps = 327, kStatusBars = 328, kStartup = 331, kColorMatch = 336, kDitherType = 337;
const int kAlphaDisplay = 346, kThumbnails = 1018;

// The DIB row of the format table as the store names it.
const char kDibRow[] = "7";

const std::vector<std::string> kDithers = {
    "Halftone", "QVD Fast", "Floyd-Steinberg", "Stucki", "Burkes", "Sierra", "Jarvis, Judice + Ninke",
    "Stevenson + Arce",
};

// The values of the Core section by name.
using Store = std::map<std::string, std::string>;

// ---- the program --------------------------------------------------------------------------------

// The Settings dialog when it has come up; 0 otherwise.
HWND WaitForSettings(const Session& run, DWORD timeoutMs = 10000)
{
    HWND dialog = run.WaitForControl(kDitherType, timeoutMs);
    if (!dialog || WindowText(dialog) != "Settings")
        return nullptr;
    EXPECT_TRUE(IsPainted(dialog));
    return dialog;
}

// Ends a dialog by one of its buttons and waits until the command that
// showed it is over; false when the dialog didn't go.
bool CloseDialog(const Session& run, HWND dialog, int button)
{
    if (!PressButton(dialog, button) || !WaitForWindowGone(dialog, 10000))
        return false;
    run.Settle();
    return true;
}

// Each scenario starts from an empty Core section and empties it again at
// the end, so that no setting it made (no undo, other status bars) reaches
// the scenarios that run after it.
class SettingsDialog : public ::testing::Test {
protected:
    void SetUp() override { ClearCore(); }
    void TearDown() override { ClearCore(); }
};

// ---- the dialog and the store ----------------------------------------------------------------------

// The rules of the values (defaults, unusable rows, TIFF compressions, the
// metafile keys) are the settings' unit tests' business; these scenarios
// check that the dialog shows and writes each of them.
TEST_F(SettingsDialog, FirstStartShowsTheDefaultsAndOkWritesEachControlsOwnKeyForTheNextStart)
{
    const std::vector<std::string> tiffMono = {"Group4", "PackBits"}, packBits = {"PackBits"};
    // Each combo's entries, the default and the entry chosen.
    const struct {
        int id;
        std::vector<std::string> items;
        int first, chosen;
    } combos[] = {
        {kScreenBitmaps, {"Use on all images", "Don't use on 16-bit and 24-bit images", "Don't use on any image"}, 0, 2},
        {kStatusBars, {"No Status Bars", "System/Help Status Bar", "Local Status Bar", "Show Both Status Bars"}, 3, 1},
        {kStartup, {"No Startup Command", "Load Dialog", "Batch Facility"}, 0, 2},
        {kColorMatch, {"Best Match", "Halftone"}, 1, 0},
        {kDitherType, kDithers, 2, 7},
        {kAlphaDisplay, {"No Alpha Channel", "Half Alpha Channel", "Full Alpha Channel", "Stripe Alpha Channel"}, 3, 0},
        {kTiffMono, tiffMono, 1, 0},
        {kTiff16Colors, packBits, 0, 0},
        {kTiff256Colors, packBits, 0, 0},
        {kTiff16Bit, packBits, 0, 0},
        {kTiff24Bit, packBits, 0, 0},
    };
    // Each box, whether it starts checked; each is clicked once.
    const std::pair<int, bool> boxes[] = {{kKeepUndo, true},       {kOptimizedCut, false}, {kSaveDither, false},
                                          {kWarnColorLoss, true},  {kThumbnails, false}};
    const Store written = {
        {"screen_bitmaps", "2"}, {"status_wnd", "1"},       {"startup", "2"},
        {"color_match", "0"},    {"dither_type", "7"},      {"alpha_display", "0"},
        {"tif_1_bit_compression", "4"},                     {"keep_undo", "0"},
        {"save_colorcut", "1"},  {"save_dither", "1"},      {"save_warn_colorloss", "0"},
        {"want_thumbnail", "1"},
    };
    {
        Session run;
        ASSERT_NE(run.frame, nullptr) << "no frame of " << KorvantaPath();
        run.Settle();
        // Loading writes nothing, and neither does Cancel, which keeps the
        // settings in memory as they were, too: the second time the dialog
        // shows the same, and OK writes the settings that changed, at once
        // and as decimal text.
        EXPECT_EQ(CoreValues(), Store{});
        for (int button : {IDCANCEL, IDOK}) {
            run.Command(kSettings);
            HWND dialog = WaitForSettings(run);
            ASSERT_NE(dialog, nullptr) << "no Settings dialog";
            EXPECT_TRUE(Checked(dialog, kFlatCut));
            for (const auto& c : combos) {
                EXPECT_EQ(ComboItems(dialog, c.id), c.items) << "combo " << c.id;
                EXPECT_EQ(ComboSelection(dialog, c.id), c.first) << "combo " << c.id;
                ASSERT_TRUE(SelectComboItem(dialog, c.id, c.chosen)) << "combo " << c.id;
            }
            for (const auto& box : boxes) {
                EXPECT_EQ(Checked(dialog, box.first), box.second) << "box " << box.first;
                ASSERT_TRUE(PressButton(dialog, box.first)) << "box " << box.first;
            }
            ASSERT_TRUE(CloseDialog(run, dialog, button));
            EXPECT_EQ(CoreValues(), button == IDOK ? written : Store{});
        }
        // The end writes the load and save formats: the DIB row on a first start.
        ASSERT_TRUE(run.Exit());
    }
    Store afterExit = written;
    afterExit["load_proc"] = afterExit["save_proc"] = kDibRow;
    EXPECT_EQ(CoreValues(), afterExit);

    // startup 2 opens the batch facility at the next start; it is set back
    // here so that this start shows only what the dialog reads.
    SetCore("startup", "0");
    Session again;
    ASSERT_NE(again.frame, nullptr);
    again.Command(kSettings);
    HWND dialog = WaitForSettings(again);
    ASSERT_NE(dialog, nullptr);
    for (const auto& c : combos)
        EXPECT_EQ(ComboSelection(dialog, c.id), c.id == kStartup ? 0 : c.chosen) << "combo " << c.id;
    for (const auto& box : boxes)
        EXPECT_NE(Checked(dialog, box.first), box.second) << "box " << box.first;
    EXPECT_FALSE(Checked(dialog, kFlatCut));
    ASSERT_TRUE(CloseDialog(again, dialog, IDCANCEL));
    ASSERT_TRUE(again.Exit());
}

// ---- the keyboard --------------------------------------------------------------------------------

// One key going down or up, as the keyboard gives it.
bool SendKey(WORD key, bool up)
{
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
    const bool sent = SendInput(1, &input, sizeof input) == 1;
    Sleep(30);
    return sent;
}

// Presses key with Ctrl held. Under Wine, when a window takes the X focus
// the X server's own picture of the keyboard is laid over the key state, and
// that lets go of a Ctrl which came through SendInput a moment before; such a
// Ctrl is pressed again before the key comes.
bool PressWithControl(WORD key)
{
    if (!SendKey(VK_CONTROL, false))
        return false;
    Sleep(150);
    if (!(GetAsyncKeyState(VK_CONTROL) & 0x8000) && !SendKey(VK_CONTROL, false))
        return false;
    const bool pressed = SendKey(key, false) && SendKey(key, true);
    return SendKey(VK_CONTROL, true) && pressed;
}

// Makes window the foreground window and waits until its thread has taken
// the activation and given some window the focus, so that keys reach it
// (without a focus they would come as system keys); false when that doesn't
// happen within a few seconds.
bool BringToFront(HWND window)
{
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (GetForegroundWindow() != window)
            SetForegroundWindow(window);
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        if (GetForegroundWindow() == window && GetGUIThreadInfo(thread, &info) && info.hwndActive == window &&
            info.hwndFocus)
            return true;
        Sleep(100);
    }
    return false;
}

TEST_F(SettingsDialog, CtrlSOpensSettings)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    // Keys go to the foreground window; the X focus follows a moment later.
    ASSERT_TRUE(BringToFront(run.frame)) << "the frame didn't come to the front";
    run.Settle();
    Sleep(300);
    ASSERT_TRUE(PressWithControl('S'));

    // Settings, not Save: without an image, Save would put up its message box instead.
    HWND dialog = WaitForSettings(run);
    ASSERT_NE(dialog, nullptr) << "Ctrl+S brought no Settings dialog";
    ASSERT_TRUE(CloseDialog(run, dialog, IDCANCEL));
    ASSERT_TRUE(run.Exit());
}

}  // namespace
