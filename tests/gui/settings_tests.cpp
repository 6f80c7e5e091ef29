// The Settings dialog and the life of the settings in the real program: what
// the dialog shows for what the profile store holds, and which values of the
// "Core" section its OK and the end of the program write. The store is read
// directly in the registry, as another program would see it.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {


// Commands of the frame.
const WPARAM kOpen = 257, kSettings = 263, kExit = 264;

// Controls of the Settings dialog.
const int kTiffMono = 304, kTiff16Colors = 305, kTiff256Colors = 306, kTiff16Bit = 307, kTiff24Bit = 308;
const int kFlatCut = 309, kOptimizedCut = 310, kSaveDither = 311, kWarnColorLoss = 312, kKeepUndo = 324;
const int kScreenBitmaps = 327, kStatusBars = 328, kStartup = 331, kColorMatch = 336, kDitherType = 337;
const int kAlphaDisplay = 346, kThumbnails = 1018;

// The filter list of the Open dialog.
const int kFilterCombo = 1136;

// Rows of the format table as the store names them.
const char kBmpRow[] = "3", kDibRow[] = "7";

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
    HWND dialog = WaitForOwnedWindow(run.frame, "#32770", timeoutMs);
    if (!dialog || WindowText(dialog) != "Settings" || !GetDlgItem(dialog, kDitherType))
        return nullptr;
    EXPECT_TRUE(IsPainted(dialog));
    return dialog;
}

// File, Settings... as the menu sends it.
HWND OpenSettings(const Session& run)
{
    run.Command(kSettings);
    return WaitForSettings(run);
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

// File, Exit; true when the program ended with code 0.
bool Exit(Session& run)
{
    run.Command(kExit);
    DWORD code = 0xFFFFFFFF;
    return run.program.WaitForExit(10000, &code) && code == 0;
}

std::string SelectedText(HWND dialog, int id)
{
    const std::vector<std::string> items = ComboItems(dialog, id);
    const int at = ComboSelection(dialog, id);
    return at >= 0 && at < static_cast<int>(items.size()) ? items[at] : "<none>";
}

bool Checked(HWND dialog, int id)
{
    return IsDlgButtonChecked(dialog, id) == BST_CHECKED;
}

// The filter the Open dialog starts on, that is the current load format; the
// dialog is cancelled again. Even so it leaves its folder in FILEDIRECTORY.
std::string OpenDialogFilter(const Session& run)
{
    PostMessageA(run.frame, WM_COMMAND, kOpen, 0);
    HWND dialog = WaitForOwnedWindow(run.frame, "#32770", 15000);
    if (!dialog)
        return "<no Open dialog>";
    EXPECT_TRUE(IsPainted(dialog));
    const std::string filter = SelectedText(dialog, kFilterCombo);
    EXPECT_TRUE(CloseDialog(run, dialog, IDCANCEL));
    return filter;
}

// Each scenario starts from an empty Core section and empties it again at
// the end, so that no setting it made (no undo, other status bars) reaches
// the scenarios that run after it.
class SettingsDialog : public ::testing::Test {
protected:
    void SetUp() override { ClearCore(); }
    void TearDown() override { ClearCore(); }
};

// ---- first start ---------------------------------------------------------------------------------

TEST_F(SettingsDialog, FirstStartShowsDefaultsAndWritesOnlyTheFormatRowsAtExit)
{
    Session run;
    ASSERT_NE(run.frame, nullptr) << "no frame of " << KorvantaPath();
    run.Settle();
    // Loading writes nothing.
    EXPECT_EQ(CoreValues(), Store{});

    HWND dialog = OpenSettings(run);
    ASSERT_NE(dialog, nullptr) << "no Settings dialog";
    EXPECT_EQ(ComboItems(dialog, kScreenBitmaps),
              (std::vector<std::string>{"Use on all images", "Don't use on 16-bit and 24-bit images",
                                        "Don't use on any image"}));
    EXPECT_EQ(ComboItems(dialog, kStatusBars),
              (std::vector<std::string>{"No Status Bars", "System/Help Status Bar", "Local Status Bar",
                                        "Show Both Status Bars"}));
    EXPECT_EQ(ComboItems(dialog, kStartup),
              (std::vector<std::string>{"No Startup Command", "Load Dialog", "Batch Facility"}));
    EXPECT_EQ(ComboItems(dialog, kColorMatch), (std::vector<std::string>{"Best Match", "Halftone"}));
    EXPECT_EQ(ComboItems(dialog, kDitherType), kDithers);
    EXPECT_EQ(ComboItems(dialog, kAlphaDisplay),
              (std::vector<std::string>{"No Alpha Channel", "Half Alpha Channel", "Full Alpha Channel",
                                        "Stripe Alpha Channel"}));
    // Every setting at its default.
    EXPECT_EQ(ComboSelection(dialog, kScreenBitmaps), 0);
    EXPECT_EQ(ComboSelection(dialog, kStatusBars), 3);
    EXPECT_EQ(ComboSelection(dialog, kStartup), 0);
    EXPECT_EQ(ComboSelection(dialog, kColorMatch), 1);
    EXPECT_EQ(ComboSelection(dialog, kDitherType), 2);
    EXPECT_EQ(ComboSelection(dialog, kAlphaDisplay), 3);
    for (int id : {kTiffMono, kTiff16Colors, kTiff256Colors, kTiff16Bit, kTiff24Bit})
        EXPECT_EQ(SelectedText(dialog, id), "PackBits") << "combo " << id;
    EXPECT_TRUE(Checked(dialog, kKeepUndo));
    EXPECT_TRUE(Checked(dialog, kFlatCut));
    EXPECT_FALSE(Checked(dialog, kOptimizedCut));
    EXPECT_FALSE(Checked(dialog, kSaveDither));
    EXPECT_TRUE(Checked(dialog, kWarnColorLoss));
    EXPECT_FALSE(Checked(dialog, kThumbnails));
    ASSERT_TRUE(CloseDialog(run, dialog, IDCANCEL));
    EXPECT_EQ(CoreValues(), Store{});

    // The load and save formats are the DIB row, and the end writes exactly them.
    ASSERT_TRUE(Exit(run));
    EXPECT_EQ(CoreValues(), (Store{{"load_proc", kDibRow}, {"save_proc", kDibRow}}));
}

// ---- OK and Cancel -------------------------------------------------------------------------------

TEST_F(SettingsDialog, OnlyDitherChangedWritesOnlyDitherTypeAndCancelWritesNothing)
{
    {
        Session run;
        ASSERT_NE(run.frame, nullptr);
        HWND dialog = OpenSettings(run);
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(SelectComboItem(dialog, kDitherType, 5));
        ASSERT_TRUE(PressButton(dialog, kKeepUndo));
        ASSERT_TRUE(PressButton(dialog, kOptimizedCut));
        ASSERT_TRUE(CloseDialog(run, dialog, IDCANCEL));
        EXPECT_EQ(CoreValues(), Store{});

        // Cancel kept the settings in memory as they were, too.
        dialog = OpenSettings(run);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(ComboSelection(dialog, kDitherType), 2);
        EXPECT_TRUE(Checked(dialog, kKeepUndo));
        EXPECT_TRUE(Checked(dialog, kFlatCut));
        ASSERT_TRUE(SelectComboItem(dialog, kDitherType, 5));
        ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
        // OK wrote the one setting that changed, at once and as decimal text.
        EXPECT_EQ(CoreValues(), (Store{{"dither_type", "5"}}));

        // An OK that changes nothing writes nothing more.
        dialog = OpenSettings(run);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(SelectedText(dialog, kDitherType), "Sierra");
        ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
        EXPECT_EQ(CoreValues(), (Store{{"dither_type", "5"}}));

        ASSERT_TRUE(Exit(run));
        EXPECT_EQ(CoreValues(), (Store{{"dither_type", "5"}, {"load_proc", kDibRow}, {"save_proc", kDibRow}}));
    }
    // The next start reads it back.
    Session again;
    ASSERT_NE(again.frame, nullptr);
    HWND dialog = OpenSettings(again);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ComboSelection(dialog, kDitherType), 5);
    ASSERT_TRUE(CloseDialog(again, dialog, IDCANCEL));
    ASSERT_TRUE(Exit(again));
    EXPECT_EQ(CoreValues(), (Store{{"dither_type", "5"}, {"load_proc", kDibRow}, {"save_proc", kDibRow}}));
}

TEST_F(SettingsDialog, EachControlWritesItsOwnKeyAndTheNextStartShowsIt)
{
    const Store written = {
        {"screen_bitmaps", "2"}, {"status_wnd", "1"},       {"startup", "2"},
        {"color_match", "0"},    {"dither_type", "7"},      {"alpha_display", "0"},
        {"tif_1_bit_compression", "4"},                     {"keep_undo", "0"},
        {"save_colorcut", "1"},  {"save_dither", "1"},      {"save_warn_colorloss", "0"},
        {"want_thumbnail", "1"},
    };
    {
        Session run;
        ASSERT_NE(run.frame, nullptr);
        HWND dialog = OpenSettings(run);
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(SelectComboItem(dialog, kScreenBitmaps, 2));
        ASSERT_TRUE(SelectComboItem(dialog, kStatusBars, 1));
        ASSERT_TRUE(SelectComboItem(dialog, kStartup, 2));
        ASSERT_TRUE(SelectComboItem(dialog, kColorMatch, 0));
        ASSERT_TRUE(SelectComboItem(dialog, kDitherType, 7));
        ASSERT_TRUE(SelectComboItem(dialog, kAlphaDisplay, 0));
        // "Group4" stands first in the Monochrome list and is compression 4.
        ASSERT_EQ(ComboItems(dialog, kTiffMono), (std::vector<std::string>{"Group4", "PackBits"}));
        ASSERT_TRUE(SelectComboItem(dialog, kTiffMono, 0));
        for (int id : {kKeepUndo, kOptimizedCut, kSaveDither, kWarnColorLoss, kThumbnails})
            ASSERT_TRUE(PressButton(dialog, id)) << id;
        ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
        EXPECT_EQ(CoreValues(), written);
        ASSERT_TRUE(Exit(run));
    }
    Store afterExit = written;
    afterExit["load_proc"] = kDibRow;
    afterExit["save_proc"] = kDibRow;
    EXPECT_EQ(CoreValues(), afterExit);

    // startup 2 opens the batch facility at the next start; it is set back
    // here so that this start shows only what the dialog reads.
    SetCore("startup", "0");
    Session again;
    ASSERT_NE(again.frame, nullptr);
    HWND dialog = OpenSettings(again);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ComboSelection(dialog, kScreenBitmaps), 2);
    EXPECT_EQ(ComboSelection(dialog, kStatusBars), 1);
    EXPECT_EQ(ComboSelection(dialog, kStartup), 0);
    EXPECT_EQ(ComboSelection(dialog, kColorMatch), 0);
    EXPECT_EQ(ComboSelection(dialog, kDitherType), 7);
    EXPECT_EQ(ComboSelection(dialog, kAlphaDisplay), 0);
    EXPECT_EQ(SelectedText(dialog, kTiffMono), "Group4");
    EXPECT_FALSE(Checked(dialog, kKeepUndo));
    EXPECT_FALSE(Checked(dialog, kFlatCut));
    EXPECT_TRUE(Checked(dialog, kOptimizedCut));
    EXPECT_TRUE(Checked(dialog, kSaveDither));
    EXPECT_FALSE(Checked(dialog, kWarnColorLoss));
    EXPECT_TRUE(Checked(dialog, kThumbnails));
    ASSERT_TRUE(CloseDialog(again, dialog, IDCANCEL));
    ASSERT_TRUE(Exit(again));
}

// ---- TIFF compression ----------------------------------------------------------------------------

TEST_F(SettingsDialog, TiffCombosOfferGroup4ForMonochromeAndPackBitsEverywhere)
{
    SetCore("tif_1_bit_compression", "4");
    Session run;
    ASSERT_NE(run.frame, nullptr);
    HWND dialog = OpenSettings(run);
    ASSERT_NE(dialog, nullptr);
    // "LZW" and "Group3" are never offered.
    EXPECT_EQ(ComboItems(dialog, kTiffMono), (std::vector<std::string>{"Group4", "PackBits"}));
    for (int id : {kTiff16Colors, kTiff256Colors, kTiff16Bit, kTiff24Bit})
        EXPECT_EQ(ComboItems(dialog, id), std::vector<std::string>{"PackBits"}) << "combo " << id;
    // The value is found by its name, not by its position in the list.
    EXPECT_EQ(ComboSelection(dialog, kTiffMono), 0);
    EXPECT_EQ(SelectedText(dialog, kTiffMono), "Group4");
    // Choosing "PackBits", second in the list, stores compression 1.
    ASSERT_TRUE(SelectComboItem(dialog, kTiffMono, 1));
    ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
    EXPECT_EQ(CoreValues(), (Store{{"tif_1_bit_compression", "1"}}));

    // And "Group4", first in the list, stores compression 4.
    dialog = OpenSettings(run);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(SelectedText(dialog, kTiffMono), "PackBits");
    ASSERT_TRUE(SelectComboItem(dialog, kTiffMono, 0));
    ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
    EXPECT_EQ(CoreValues(), (Store{{"tif_1_bit_compression", "4"}}));
    ASSERT_TRUE(Exit(run));
}

TEST_F(SettingsDialog, StoredLzwCompressionReadsBackAsPackBits)
{
    SetCore("tif_8_bit_compression", "0");
    Store expected = {{"tif_8_bit_compression", "0"}};
    for (int start = 0; start < 2; ++start) {
        SCOPED_TRACE("start " + std::to_string(start));
        Session run;
        ASSERT_NE(run.frame, nullptr);
        HWND dialog = OpenSettings(run);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(ComboSelection(dialog, kTiff256Colors), 0);
        EXPECT_EQ(SelectedText(dialog, kTiff256Colors), "PackBits");
        ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
        // The 0 became 1 when it was loaded, so OK finds nothing changed and
        // leaves the stored text as it was: each start reads it as 1 again.
        EXPECT_EQ(CoreValues(), expected);
        ASSERT_TRUE(Exit(run));
        expected["load_proc"] = kDibRow;
        expected["save_proc"] = kDibRow;
        EXPECT_EQ(CoreValues(), expected);
        EXPECT_EQ(CoreValue("tif_8_bit_compression"), "0");
    }
}

// ---- keys the dialog no longer edits -------------------------------------------------------------

TEST_F(SettingsDialog, OkStoresZeroForAnOldMetafilePaletteAndKeepsMetafileSize)
{
    SetCore("metafile_pal", "1");
    SetCore("metafile_size", "250");
    Session run;
    ASSERT_NE(run.frame, nullptr);
    HWND dialog = OpenSettings(run);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(GetDlgItem(dialog, 338), nullptr);
    EXPECT_EQ(GetDlgItem(dialog, 318), nullptr);
    ASSERT_TRUE(CloseDialog(run, dialog, IDOK));
    EXPECT_EQ(CoreValues(), (Store{{"metafile_pal", "0"}, {"metafile_size", "250"}}));
    ASSERT_TRUE(Exit(run));
}

// ---- the current formats ------------------------------------------------------------------------

TEST_F(SettingsDialog, FormatRowsThatCantServeFallBackToTheDibRow)
{
    struct Case {
        const char* loadProc;  // nullptr: not stored
        const char* saveProc;
        const char* filter;  // the Open dialog's first filter
        const char* loadAtExit;
        const char* saveAtExit;
    };
    const Case cases[] = {
        // Beyond the table, as after a format module has gone (the other
        // unusable rows are the settings' unit tests' business).
        {"99", kBmpRow, "DIB- Windows DIB", kDibRow, kBmpRow},
        {kBmpRow, "99", "BMP- Windows Bitmap", kBmpRow, kDibRow},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("load_proc ") + (c.loadProc ? c.loadProc : "none") + ", save_proc " +
                     (c.saveProc ? c.saveProc : "none"));
        ClearCore();
        if (c.loadProc) {
            SetCore("load_proc", c.loadProc);
            SetCore("save_proc", c.saveProc);
        }
        Session run;
        ASSERT_NE(run.frame, nullptr);
        EXPECT_EQ(OpenDialogFilter(run), c.filter);
        // Without a message: no other window of the program came up.
        EXPECT_EQ(TopLevelWindows(run.program.Pid(), "#32770").size(), 0u);
        ASSERT_TRUE(Exit(run));
        // The Open dialog keeps the folder it was in; the rest is the two rows.
        Store values = CoreValues();
        EXPECT_NE(values["FILEDIRECTORY"], "");
        values.erase("FILEDIRECTORY");
        EXPECT_EQ(values, (Store{{"load_proc", c.loadAtExit}, {"save_proc", c.saveAtExit}}));
    }
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
    ASSERT_TRUE(Exit(run));
}

}  // namespace
