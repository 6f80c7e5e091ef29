// The user's loop through the real program: open an image, look at it,
// change its colours, save it in another format; the menus, the status bars,
// the questions before closing, the Last Files list, drag and drop, scrolling.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "colour/error_diffusion.h"
#include "core/settings.h"
#include "driver.h"

using namespace kvgui;

namespace {

const int kSystemBarId = 0x1234, kLocalBarId = 0x1235;

// Record attributes and flags, as other programs name them.
const LONG kFlags = 0, kDib = 4, kBitmap = 12, kBits = 24, kCompressed = 28, kFormat = 32, kScrollX = 44, kScrollY = 48,
           kFileSize = 52;
const LONG kModified = 0x1, kColor = 0x4, kRaster = 0x10, kAnimation = 0x40;

// Controls of the common file dialogs and of the option column.
const int kNameField = 1152, kFilterCombo = 1136, kHelpButton = 1038;
const int kOption1 = 0xF001, kOption8 = 0xF004, kOption24 = 0xF010, kOptionColor = 0xF040, kOptionCompressed = 0xF100;

const char kChanged[] = " has been changed.  Save file before closing?";

// ---- fixtures made in code ----------------------------------------------------------------

// A true-colour picture of 200 by 120 with thousands of colours, no two
// neighbours alike, so that a shifted or reduced picture can't pass for it.
const int kWidth = 200, kHeight = 120;
DWORD Colourful(int x, int y)
{
    return static_cast<DWORD>((x * 5) & 255) << 16 | static_cast<DWORD>((y * 2 + x / 40 * 37) & 255) << 8 |
           static_cast<DWORD>((x + y) * 3 & 255);
}
std::vector<BYTE> ColourfulDib() { return MakeDib(kWidth, kHeight, 24, {}, Colourful); }

// 256 distinct colours for 8-bit pictures.
RGBQUAD RampEntry(int i) { return {static_cast<BYTE>(i * 7), static_cast<BYTE>(255 - i), static_cast<BYTE>(i), 0}; }
DWORD RampColour(int index)
{
    const RGBQUAD q = RampEntry(index & 255);
    return static_cast<DWORD>(q.rgbRed) << 16 | static_cast<DWORD>(q.rgbGreen) << 8 | q.rgbBlue;
}

const std::vector<std::string> kLastFileKeys = {"FILEDIRECTORY", "FIL_FILENAME1", "FIL_FILENAME2", "FIL_FILENAME3",
                                                "FIL_FILENAME4", "FIL_FILENAME5"};

SIZE ClientSize(HWND window)
{
    RECT rect{};
    GetClientRect(window, &rect);
    return SIZE{rect.right, rect.bottom};
}

bool HasBars(HWND window) { return (GetWindowLongA(window, GWL_STYLE) & (WS_HSCROLL | WS_VSCROLL)) != 0; }

// A rectangle of a child in its parent's client coordinates.
RECT RectIn(HWND parent, HWND child)
{
    RECT rect{};
    GetWindowRect(child, &rect);
    MapWindowPoints(nullptr, parent, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
}

// ---- the dialogs ---------------------------------------------------------------------------

bool Enabled(HWND dialog, int id) { return IsWindowEnabled(GetDlgItem(dialog, id)) != 0; }

HWND SaveAsDialog(Session& run)
{
    run.Command(259);
    return run.WaitForFileDialog();
}

// Types a name into the dialog and accepts it.
void Accept(HWND dialog, const std::string& name)
{
    Send(GetDlgItem(dialog, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name.c_str()));
    Answer(dialog, IDOK);
}

// The program picks the dialog style of the platform: Explorer style on the
// Windows 95 family only. Wine can present the program with such a system.
struct Windows98 {
    static constexpr char kKey[] = "Software\\Wine\\AppDefaults\\KORVANTA.EXE";
    bool set = false;
    explicit Windows98(bool on)
    {
        HMODULE ntdll = GetModuleHandleA("ntdll.dll");
        set = on && ntdll && GetProcAddress(ntdll, "wine_get_version") &&
              RegSetKeyValueA(HKEY_CURRENT_USER, kKey, "Version", REG_SZ, "win98", 6) == ERROR_SUCCESS;
    }
    ~Windows98()
    {
        if (set)
            RegDeleteKeyValueA(HKEY_CURRENT_USER, kKey, "Version");
    }
};

// ---- menus ------------------------------------------------------------------------------------

const MenuEntry* Find(const std::vector<MenuEntry>& items, UINT id)
{
    for (const MenuEntry& item : items) {
        if (item.id == id && !item.popup)
            return &item;
        if (const MenuEntry* found = item.popup ? Find(item.items, id) : nullptr)
            return found;
    }
    return nullptr;
}

bool Grayed(const std::vector<MenuEntry>& bar, UINT id)
{
    const MenuEntry* item = Find(bar, id);
    EXPECT_NE(item, nullptr) << id;
    return !item || item->IsGrayed();
}

// The grayed and the checked entries of the File, Edit, Colors and Window
// menus, Last Files left out: commands by id, submenus by their text.
void States(const std::vector<MenuEntry>& items, std::string* grayed, std::string* checked)
{
    for (const MenuEntry& item : items) {
        if (item.IsSeparator() || item.id == 272)
            continue;
        const std::string name = " " + (item.popup ? item.text : std::to_string(item.id));
        *grayed += item.IsGrayed() ? name : "";
        *checked += item.IsChecked() ? name : "";
        States(item.items, grayed, checked);
    }
}
std::string States(const std::vector<MenuEntry>& bar)
{
    std::string grayed = "grayed", checked = "; checked";
    for (size_t menu : {0, 1, 3, 4})
        States(bar.at(menu).items, &grayed, &checked);
    return grayed + checked;
}

}  // namespace

// ---- opening, changing colours, saving ------------------------------------------------------------------

TEST(UserLoop, OptimizedCutThenSaveAsRleInEitherDialogStyleWritesWhatTheConverterWrites)
{
    const std::string input = WriteBmp("tocut.bmp", ColourfulDib()), reference = PathOf("reference.rle");
    DeleteFileA(reference.c_str());
    ASSERT_TRUE(Convert("-t rle -d 8 --optimized --no-dither \"" + input + "\" -o \"" + reference + "\""));
    CoreGuard guard({"save_warn_colorloss"});
    for (bool explorer : {false, true}) {
        Windows98 style(explorer);
        if (explorer && !style.set)
            continue;
        const std::string output = PathOf(explorer ? "CUTX.RLE" : "CUT.RLE");
        DeleteFileA(output.c_str());
        Session run(input);
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        // Colors, 256 Colors, Optimized Cut: the "256 Colors" submenu is checked now.
        run.Command(1842);
        ASSERT_TRUE(Within(10000, [&] { return run.Attr(window, kBits) == 8; }));
        EXPECT_EQ(run.Attr(window, kFlags) & (kModified | kColor), kModified | kColor);
        const std::vector<MenuEntry> bar = run.Menus();
        EXPECT_TRUE(bar.at(3).items.at(5).IsChecked());
        EXPECT_FALSE(bar.at(3).items.at(7).IsChecked());

        // The dialog starts with the document's 8 bits and colour. The Explorer
        // style holds the column as a template inside the dialog.
        HWND dialog = SaveAsDialog(run);
        ASSERT_NE(dialog, nullptr);
        HWND column = explorer ? FindWindowExA(dialog, nullptr, "#32770", nullptr) : dialog;
        ASSERT_NE(column, nullptr);
        EXPECT_TRUE(Checked(column, kOption8));
        EXPECT_TRUE(Checked(column, kOptionColor));
        // The name and the column follow the filter once the dialog has told the program of it.
        ASSERT_TRUE(ChooseItem(dialog, kFilterCombo, "RLE-"));
        EXPECT_TRUE(Within(3000, [&] { return Upper(ControlText(dialog, kNameField)) == "TOCUT.RLE"; }));
        EXPECT_TRUE(Checked(column, kOptionCompressed));
        EXPECT_FALSE(Enabled(column, kOption24));
        // "Formats>>" grows the dialog over the column that stood beyond its edge.
        EXPECT_EQ(ControlText(dialog, kHelpButton), "Formats>>");
        RECT before{}, after{}, box{};
        GetWindowRect(dialog, &before);
        GetWindowRect(GetDlgItem(column, kOption1), &box);
        EXPECT_GE(box.left, before.right - (explorer ? 0 : 4));
        ASSERT_TRUE(PressButton(dialog, kHelpButton));
        EXPECT_TRUE(Within(3000, [&] { return GetWindowRect(dialog, &after) && after.right >= box.right; }));
        // An Explorer-style name accepted without an extension gets the filter's.
        Accept(dialog, explorer ? PathOf("CUTX") : output);
        ASSERT_TRUE(Within(10000, [&] { return Upper(WindowText(window)) == Upper(output); }));
        // Clean now, and the batch converter on the same engine writes the same bytes.
        const std::vector<BYTE> written = ReadBytes(output);
        const std::string rle = " 8 1 " + std::to_string(run.Row("X.RLE"));
        EXPECT_EQ(run.Attrs(window, {kFlags, kBits, kCompressed, kFormat, kFileSize}),
                  std::to_string(kColor | kRaster) + rle + " " + std::to_string(written.size()));
        EXPECT_TRUE(written == ReadBytes(reference)) << explorer;

        // Opened again it is the same picture: 8 bits, compressed, RLE.
        HWND again = run.OpenFile(output);
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(" " + run.Attrs(again, {kBits, kCompressed, kFormat}), rle);
        SendMessageA(run.Client(), WM_MDITILE, MDITILE_VERTICAL, 0);
        EXPECT_TRUE(Within(3000, [&] {
            return ClientShot(window, kWidth / 2, kHeight / 2).pixels == ClientShot(again, kWidth / 2, kHeight / 2).pixels;
        }));
    }
}

TEST(UserLoop, ColourLossQuestionAnsweredNoLeavesThePixels)
{
    const std::string output = PathOf("LOSS.GIF");
    DeleteFileA(output.c_str());
    CoreGuard guard({"save_warn_colorloss"});
    SetCore("save_warn_colorloss", "1");
    Session run(WriteBmp("loss.bmp", ColourfulDib()));
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const LONG_PTR dib = run.Attr(window, kDib);
    const std::string title = WindowText(window);

    HWND dialog = SaveAsDialog(run);
    ASSERT_NE(dialog, nullptr);
    // GIF can't hold 24 bits: the nearest depth is 8, compressed.
    ASSERT_TRUE(ChooseItem(dialog, kFilterCombo, "GIF-"));
    EXPECT_TRUE(Checked(dialog, kOption8));
    EXPECT_TRUE(Checked(dialog, kOptionCompressed));
    Accept(dialog, output);
    EXPECT_EQ(run.AnswerBox(IDNO), "About to destroy color information, continue?");
    // Nothing written or converted; the window's format is already the chosen one.
    EXPECT_FALSE(Exists(output));
    EXPECT_EQ(run.Attr(window, kDib), dib);
    EXPECT_EQ(run.Attr(window, kBits), 24);
    EXPECT_EQ(run.Attr(window, kFormat), run.Row("X.GIF"));
    EXPECT_EQ(WindowText(window), title);
    EXPECT_TRUE(Shows(window, {{0, 0}, {57, 13}, {199, 119}}, Colourful));

    // Yes goes on: reduced to 8 bits and written.
    dialog = SaveAsDialog(run);
    ASSERT_NE(dialog, nullptr);
    Accept(dialog, output);
    Answer(run.WaitForBox(), IDYES);
    ASSERT_TRUE(Within(10000, [&] { return Exists(output) && run.Attr(window, kBits) == 8; }));
    EXPECT_NE(run.Attr(window, kDib), dib);
}

TEST(UserLoop, UntitledWindowsAreNumberedAndSavedThroughSaveAs)
{
    Session run;
    // New windows count on whatever was closed in between (here the second). No load has run:
    // the info is blank (unknown), so each has no image, depth 4 and colour.
    HWND third = nullptr;
    std::string seen;
    for (int i = 0; i < 3; ++i) {
        // The new window, once it is on top (its activation may lag its creation).
        const std::vector<HWND> before = run.Windows();
        run.Command(256);
        ASSERT_TRUE(Within(8000, [&] {
            const std::vector<HWND> windows = run.Windows();
            third = windows.empty() ? nullptr : windows.front();
            return windows.size() == before.size() + 1 && std::count(before.begin(), before.end(), third) == 0;
        }));
        seen += WindowText(third) + " " + run.Attrs(third, {kFlags, kBits, kFormat, kDib, kBitmap}) + "; ";
        if (i == 1) {
            ASSERT_TRUE(PostMessageA(third, WM_CLOSE, 0, 0) && WaitForWindowGone(third, 5000));
        }
    }
    const std::string blank = " " + std::to_string(0x2 | kColor) + " 4 -1 0 0; ";
    EXPECT_EQ(seen, "Image1" + blank + "Image2" + blank + "Image3" + blank);
    EXPECT_TRUE(run.NoDialogs());

    // File Save of a window without an image.
    run.Command(258);
    EXPECT_EQ(run.AnswerBox(IDOK), "There is no image to save");

    // With an image but no format, Save is Save As; a cancel gives the format back.
    run.SetImage(third, ColourfulDib());
    ASSERT_EQ(run.Attr(third, kFormat), -1);
    run.Command(258);
    HWND dialog = run.WaitForFileDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(Upper(ControlText(dialog, kNameField)).substr(0, 7), "IMAGE3.");
    EXPECT_NE(run.Attr(third, kFormat), -1);
    Answer(dialog, IDCANCEL);
    EXPECT_EQ(run.Attr(third, kFormat), -1);

    // An extension of four characters is refused after the dialog.
    const std::string output = PathOf("x.abcd");
    DeleteFileA(output.c_str());
    dialog = SaveAsDialog(run);
    ASSERT_NE(dialog, nullptr);
    Accept(dialog, output);
    EXPECT_EQ(run.AnswerBox(IDOK), "Illegal DOS extension -- extension too long");
    EXPECT_FALSE(Exists(output));
    EXPECT_EQ(WindowText(third), "Image3");
}

TEST(UserLoop, LastFilesHoldsTheFilesOpenedThroughTheDialogNewestFirst)
{
    CoreGuard guard(kLastFileKeys);
    // A file from the command line doesn't enter the list.
    Session run(WriteBmp("command.bmp", ColourfulDib()));
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    std::vector<MenuEntry> bar = run.Menus();
    ASSERT_EQ(bar.at(0).items.at(10).id, 272u);
    ASSERT_EQ(bar.at(0).items.at(10).items.size(), 1u);
    EXPECT_EQ(bar.at(0).items.at(10).items[0].text, "None");
    EXPECT_TRUE(bar.at(0).items.at(10).items[0].IsGrayed());
    // Neither do dropped files; a file the drop can't open is reported, and the next still opens.
    const std::string missing = PathOf("missing.bmp");
    DeleteFileA(missing.c_str());
    ASSERT_TRUE(run.program.DropFiles(run.frame, {WriteBmp("dropped.qqq", ColourfulDib()), missing}));
    EXPECT_EQ(run.AnswerBox(IDOK), "Drag & Drop: Unsupported file format, cannot load");
    EXPECT_EQ(run.AnswerBox(IDOK), "Drag & Drop: Cannot load the specified file");
    ASSERT_TRUE(run.program.DropFiles(run.frame, {WriteBmp("dropped.bmp", ColourfulDib())}));
    ASSERT_NE(run.WaitForWindows(2), nullptr);
    EXPECT_TRUE(Within(5000, [&] { return Upper(WindowText(run.Windows().front())) == Upper(PathOf("dropped.bmp")); }));
    EXPECT_EQ(CoreValue("FIL_FILENAME1"), "");
    // The rules of the list are the unit tests' business; two files show its wiring.
    const std::string files[] = {WriteBmp("last1.bmp", ColourfulDib()), WriteBmp("last2.bmp", ColourfulDib())};
    for (size_t i = 0; i < 2; ++i) {
        run.Command(257);
        HWND dialog = run.WaitForFileDialog();
        ASSERT_NE(dialog, nullptr);
        Accept(dialog, files[i]);
        ASSERT_NE(run.WaitForWindows(i + 3), nullptr) << files[i];
    }
    // Newest first, in the store and in the menu; the list is stored just
    // after the window appears: wait for the newest name.
    ASSERT_TRUE(Within(5000, [&] { return Upper(CoreValue("FIL_FILENAME1")) == Upper(files[1]); }));
    EXPECT_EQ(Upper(CoreValue("FIL_FILENAME2")), Upper(files[0]));
    EXPECT_EQ(CoreValue("FIL_FILENAME3"), "");
    EXPECT_FALSE(CoreValue("FILEDIRECTORY").empty());
    bar = run.Menus();
    std::vector<std::string> entries;
    for (const MenuEntry& entry : bar.at(0).items.at(10).items)
        entries.push_back(std::to_string(entry.id) + " " + Upper(entry.text));
    EXPECT_EQ(entries, (std::vector<std::string>{"273 &1. LAST2.BMP", "274 &2. LAST1.BMP"}));
    // Opening from the list opens the file and leaves the list as it is.
    run.Command(274);
    ASSERT_NE(run.WaitForWindows(5), nullptr);
    EXPECT_TRUE(Within(5000, [&] { return Upper(WindowText(run.Windows().front())) == Upper(files[0]); }));
    EXPECT_EQ(Upper(CoreValue("FIL_FILENAME1")), Upper(files[1]));
}

// ---- closing ---------------------------------------------------------------------------------------

TEST(UserLoop, ClosingAsksAboutModifiedWindowsUnlessShiftIsHeld)
{
    const std::string clean = WriteBmp("clean.bmp", ColourfulDib());
    const std::string changed = WriteBmp("changed.bmp", ColourfulDib());
    Session run(clean);
    HWND first = run.WaitForWindows(1);
    ASSERT_NE(first, nullptr);
    HWND second = run.OpenFile(changed);
    ASSERT_NE(second, nullptr);
    // Colors, Gray changes the active image.
    run.Command(1281);
    ASSERT_TRUE(Within(5000, [&] { return (run.Attr(second, kFlags) & kModified) != 0; }));

    // File Close: the question owned by the frame; Cancel keeps the window.
    run.Command(265);
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), changed + kChanged);
    EXPECT_EQ(WindowText(box), "Korvanta");
    EXPECT_EQ(GetWindow(box, GW_OWNER), run.frame);
    Answer(box, IDCANCEL);
    // Close All asks before closing any: one Cancel closes nothing.
    run.Command(2307);
    Answer(run.WaitForBox(), IDCANCEL);
    Sleep(300);
    EXPECT_TRUE(IsWindow(first) && IsWindow(second));
    // No closes without saving.
    run.Command(2307);
    Answer(run.WaitForBox(), IDNO);
    EXPECT_EQ(run.WaitForWindows(0), nullptr);
    EXPECT_EQ(ReadBytes(changed).size(), sizeof(BITMAPFILEHEADER) + ColourfulDib().size());

    // With Shift held nothing is asked, by a window's close or by Close All.
    first = run.OpenFile(clean);
    second = run.OpenFile(changed);
    ASSERT_TRUE(first && second);
    run.SetFlag(first, kModified, 1);
    run.SetFlag(second, kModified, 1);
    INPUT shift[2]{};
    shift[0].type = shift[1].type = INPUT_KEYBOARD;
    shift[0].ki.wVk = shift[1].ki.wVk = VK_SHIFT;
    shift[1].ki.dwFlags = KEYEVENTF_KEYUP;
    ASSERT_EQ(SendInput(1, &shift[0], sizeof(INPUT)), 1u);
    Sleep(200);
    Send(second, WM_CLOSE, 0, 0);
    const bool secondGone = WaitForWindowGone(second, 3000);
    Send(run.frame, WM_COMMAND, 2307, 0);
    const bool firstGone = WaitForWindowGone(first, 3000);
    SendInput(1, &shift[1], sizeof(INPUT));
    EXPECT_TRUE(secondGone);
    EXPECT_TRUE(firstGone);
    EXPECT_TRUE(run.NoDialogs());
}

// ---- status bars -------------------------------------------------------------------------------------

TEST(UserLoop, StatusBarsDescribeTheActiveImageAndTheHighlightedEntryInEachMode)
{
    CoreGuard guard({"status_wnd"});
    const std::vector<BYTE> dib = ColourfulDib();
    const std::string path = WriteBmp("status.bmp", dib);
    // Both bars at first (no setting), then the Local one alone, then none.
    for (const std::string mode : {"", "2", "0"}) {
        if (!mode.empty())
            SetCore("status_wnd", mode);
        Session run;
        HWND system = GetDlgItem(run.frame, kSystemBarId);
        HWND local = GetDlgItem(run.frame, kLocalBarId);
        ASSERT_TRUE(system && local);
        EXPECT_EQ(ClassName(system), "StatusClass");
        // Each bar a fortieth of the screen's height, the Local one above, the client above them.
        const int bar = GetSystemMetrics(SM_CYSCREEN) / 40;
        RECT area{};
        GetClientRect(run.frame, &area);
        const std::string layout = std::to_string(IsWindowVisible(system) != 0) + std::to_string(IsWindowVisible(local) != 0) +
                                   " " + std::to_string(area.bottom - RectIn(run.frame, run.Client()).bottom);
        EXPECT_EQ(layout, mode.empty() ? "11 " + std::to_string(2 * bar) : mode == "2" ? "01 " + std::to_string(bar) : "00 0");
        // Only the System/Help bar carries menu help, which follows the highlight.
        const std::string memory = WindowText(system);
        auto select = [&](UINT item, UINT flags, HMENU menu) {
            SendMessageA(run.frame, WM_MENUSELECT, MAKEWPARAM(item, flags), reinterpret_cast<LPARAM>(menu));
            return WindowText(system);
        };
        HMENU menu = GetMenu(run.frame);
        EXPECT_EQ(select(257, 0, menu), mode.empty() ? "Load an existing image" : memory) << mode;
        if (!mode.empty())
            continue;
        const RECT s = RectIn(run.frame, system), l = RectIn(run.frame, local);
        EXPECT_EQ(std::to_string(area.bottom - s.top) + " " + std::to_string(area.bottom - s.bottom) + " " +
                      std::to_string(area.bottom - l.top) + " " + std::to_string(area.right - l.right),
                  std::to_string(bar) + " 0 " + std::to_string(2 * bar) + " 0");
        EXPECT_EQ(WindowText(local), "<< No Active Image >>");
        EXPECT_EQ(memory.rfind("Physical Memory: (Used=", 0), 0u) << memory;
        ASSERT_NE(run.OpenFile(path), nullptr);
        // The pieces of the line are the unit tests' business; 200 pixels of 3 bytes make rows of 600 bytes.
        const std::string fileSize = std::to_string(sizeof(BITMAPFILEHEADER) + dib.size());
        EXPECT_TRUE(Within(3000, [&] {
            return WindowText(local) ==
                   "Type: 24-Bit, Size: 72000 (200 x 120), File Size: " + fileSize + ", Format: BMP- Windows Bitmap";
        })) << WindowText(local);
        EXPECT_EQ(select(260, 0, menu) + "|" + select(1879, 0, menu) + "|" + select(0, MF_POPUP, menu) + "|" +
                      select(3, MF_POPUP, menu) + "|" + select(2321, 0, menu),
                  "Run batch facility to convert multiple images at one time |"
                  "Increase colors in active image to 32-bit precision (0% Alpha)|"
                  "File and window operations, batch, and settings|"
                  "Color conversion, color reduction and dithering|Switch to the window containing this image");
        // The memory line comes back when the menu closes.
        EXPECT_EQ(select(0, 0xFFFF, nullptr).rfind("Physical Memory: (Used=", 0), 0u);
    }
}

// ---- the image window ------------------------------------------------------------------------------------

TEST(UserLoop, ImageLargerThanTheFrameGetsBarsAndScrollsByTheSteps)
{
    const int width = 3000, height = 2400;
    std::vector<RGBQUAD> ramp;
    for (int i = 0; i < 256; ++i)
        ramp.push_back(RampEntry(i));
    Session run(WriteBmp("large.bmp", MakeDib(width, height, 8, ramp, [](int x, int y) { return (x + y) & 255; })));
    HWND window = run.WaitForWindows(1, 15000);
    ASSERT_NE(window, nullptr);
    // Capped within the client area, with both bars.
    EXPECT_EQ(GetWindowLongA(window, GWL_STYLE) & (WS_HSCROLL | WS_VSCROLL), WS_HSCROLL | WS_VSCROLL);
    RECT area{}, rect{};
    GetWindowRect(run.Client(), &area);
    GetWindowRect(window, &rect);
    EXPECT_LE(rect.right, area.right);
    EXPECT_LE(rect.bottom, area.bottom);
    const SIZE client = ClientSize(window);

    auto scroll = [&](UINT message, int code, int position = 0) { Send(window, message, MAKEWPARAM(code, position), 0); };
    auto x = [&] { return run.Attr(window, kScrollX); };
    auto y = [&] { return run.Attr(window, kScrollY); };
    auto at = [&](LONG_PTR x, LONG_PTR y) { return std::to_string(x) + "," + std::to_string(y) + " "; };
    // Where each step leaves the picture; dragging the thumb moves nothing until it is let go.
    std::string seen;
    for (const auto& [message, code, position] : {std::tuple<UINT, int, int>{WM_HSCROLL, SB_LINEDOWN, 0},
                                                  {WM_HSCROLL, SB_PAGEDOWN, 0}, {WM_HSCROLL, SB_LINEUP, 0},
                                                  {WM_HSCROLL, SB_THUMBTRACK, 300}, {WM_HSCROLL, SB_THUMBPOSITION, 300},
                                                  {WM_VSCROLL, SB_PAGEDOWN, 0}, {WM_VSCROLL, SB_THUMBPOSITION, 20}}) {
        scroll(message, code, position);
        seen += at(x(), y());
    }
    EXPECT_EQ(seen, at(10, 0) + at(10 + client.cx, 0) + at(client.cx, 0) + at(client.cx, 0) + at(300, 0) +
                        at(300, client.cy) + at(300, 20));
    EXPECT_TRUE(Shows(window, {{0, 0}, {13, 7}, {39, 39}}, [](int x, int y) { return RampColour(300 + x + 20 + y); }));

    // The range ends where the image, less the bar's room, meets the window's edge.
    const int room = GetSystemMetrics(SM_CXVSCROLL) + 1;
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 30000);
    EXPECT_EQ(x(), width - (client.cx + room));
    // Scrolled to the end, a window that grows keeps the image's end at its edge.
    SetWindowPos(window, nullptr, 0, 0, rect.right - rect.left - 100, rect.bottom - rect.top, SWP_NOMOVE | SWP_NOZORDER);
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 30000);
    const LONG_PTR end = x();
    EXPECT_EQ(end, width - (client.cx - 100 + room));
    SetWindowPos(window, nullptr, 0, 0, rect.right - rect.left, rect.bottom - rect.top, SWP_NOMOVE | SWP_NOZORDER);
    EXPECT_EQ(x(), end - 100);
    const int top = static_cast<int>(y());
    EXPECT_TRUE(Shows(window, {{client.cx - 1, 0}},
                      [&](int x, int) { return RampColour(static_cast<int>(end - 100) + x + top); }));
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 0);
    scroll(WM_HSCROLL, SB_LINEUP);
    EXPECT_EQ(x(), 0);

    // Keys scroll by the same steps where the bar is.
    seen.clear();
    for (WPARAM key : {VK_RIGHT, VK_DOWN, VK_NEXT, VK_PRIOR, VK_UP, VK_HOME}) {
        Send(window, WM_KEYDOWN, key, 0);
        seen += at(x(), y());
    }
    EXPECT_EQ(seen, at(10, 20) + at(10, 30) + at(10, 30 + client.cy) + at(10, 30) + at(10, 20) + at(10, 20));
}

TEST(UserLoop, ClickBringsAHandSizedWindowBackToTheImage)
{
    Session run(WriteBmp("handsized.bmp", ColourfulDib()));
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    // A true-colour image opens in a window of its size, without bars, showing exactly its pixels.
    EXPECT_EQ(ClientSize(window).cx * 1000 + ClientSize(window).cy, kWidth * 1000 + kHeight);
    EXPECT_FALSE(HasBars(window));
    EXPECT_TRUE(Within(3000, [&] { return ClientShot(window, kWidth, kHeight) == Picture(kWidth, kHeight, Colourful); }));
    RECT rect{};
    GetWindowRect(window, &rect);
    for (int grow : {150, -60}) {
        SetWindowPos(window, nullptr, 0, 0, rect.right - rect.left + grow, rect.bottom - rect.top + grow,
                     SWP_NOMOVE | SWP_NOZORDER);
        ASSERT_TRUE(Within(3000, [&] { return ClientSize(window).cx != kWidth; }));
        // Smaller than its image it has bars; larger, none, and background right of and below the image.
        EXPECT_EQ(HasBars(window), grow < 0);
        if (grow > 0) {
            const std::uint32_t background = Rgb(GetSysColor(COLOR_APPWORKSPACE));
            EXPECT_TRUE(Shows(window, {{kWidth + 10, 5}, {5, kHeight + 10}, {kWidth - 1, kHeight - 1}}, [&](int x, int y) {
                return x < kWidth && y < kHeight ? Colourful(x, y) : background;
            }));
        }
        POINT inside{10, 10};
        ClientToScreen(window, &inside);
        // The click is the window's once nothing else stands over the point.
        ASSERT_TRUE(Within(3000, [&] { return WindowFromPoint(inside) == window; }));
        // Bars that stood leave a pixel each way on this system; without them the fit is exact.
        const int room = grow < 0, width = kWidth + room, height = kHeight + room;
        // A click the X server hands over while Wine is still settling the new size can be lost
        // on a loaded machine: it is given again, never more than three times in all.
        bool fitted = false;
        for (int click = 0; click < 3 && !fitted; ++click) {
            ASSERT_TRUE(ClickScreen(inside.x, inside.y));
            fitted = Within(2000, [&] { return ClientSize(window).cx == width && ClientSize(window).cy == height; });
        }
        EXPECT_TRUE(fitted) << grow << ": " << ClientSize(window).cx << " x " << ClientSize(window).cy;
        EXPECT_FALSE(HasBars(window));
    }
}

TEST(UserLoop, ThumbnailDoubleClickOpensTheFullImageAndClosesTheThumbnail)
{
    CoreGuard guard({"want_thumbnail"});
    SetCore("want_thumbnail", "1");
    const std::string path = WriteBmp("thumb.bmp", ColourfulDib());
    Session run(path);
    HWND thumbnail = run.WaitForWindows(1);
    ASSERT_NE(thumbnail, nullptr);
    // Whoever made the thumbnail changed it: it closes with the question.
    run.SetFlag(thumbnail, kModified, 1);
    PostMessageA(thumbnail, WM_LBUTTONDBLCLK, 0, MAKELPARAM(5, 5));
    EXPECT_EQ(run.AnswerBox(IDNO), Upper(path) + kChanged);
    EXPECT_TRUE(WaitForWindowGone(thumbnail, 5000));
    const std::vector<HWND> windows = run.Windows();
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(WindowText(windows[0]), Upper(path));
}

// ---- menu states ------------------------------------------------------------------------------------------

TEST(UserLoop, MenuEntriesFollowTheActiveImage)
{
    ASSERT_TRUE(ClipboardPut({}));
    Session run(WriteBmp("depths.bmp", ColourfulDib()));
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    std::vector<std::string> seen{States(run.Menus())};
    run.SetFlag(window, kColor, 0);
    seen.push_back(States(run.Menus()));
    run.SetFlag(window, kAnimation, 1);
    seen.push_back(States(run.Menus()));
    run.Command(256);
    ASSERT_NE(run.WaitForWindows(2), nullptr);
    seen.push_back(States(run.Menus()));
    for (HWND child : run.Windows())
        Send(run.Client(), WM_MDIDESTROY, reinterpret_cast<WPARAM>(child), 0);
    ASSERT_TRUE(run.Windows().empty());
    seen.push_back(States(run.Menus()));
    // The Colors entries follow the depth (the rule for every depth is the
    // colour commands' unit tests' business); an animation is saved by
    // copying its file, so Save As stays and Save, Print and the clipboard go.
    const std::string colours = " 1824 1840 1856 1872 1873", none = " 1280 1281 Monochrome 16 Colors 1824 256 Colors "
        "1840 16-Bit Color 1856 24-Bit Color 1872 1873 32-Bit Color";
    const std::vector<std::string> expected = {
        // A 24-bit colour image, nothing on the clipboard, no undo; the same image gray.
        "grayed 512 515 517" + colours + "; checked 1280 24-Bit Color 2320",
        "grayed 512 515 517" + colours + "; checked 1281 24-Bit Color 2320",
        // An animation.
        "grayed 258 261 40003 512 513 514 515 517 516" + colours + "; checked 1281 24-Bit Color 2320",
        // A window without an image, on top; no window.
        "grayed 258 259 261 40003 512 513 514 515 517 516" + none + "; checked 1281 24-Bit Color 2321",
        "grayed 265 258 259 261 40003 512 513 514 515 517 516" + none + "; checked 1281 24-Bit Color",
    };
    EXPECT_EQ(seen, expected);
}

// ---- the Explorer-style dialogs ---------------------------------------------------------------------------

TEST(UserLoop, ExplorerStyleOpenDialogOpensSeveralFilesInSelectionOrder)
{
    Windows98 style(true);
    if (!style.set)
        GTEST_SKIP() << "only Wine can present the program with a Windows 95 family system";
    CoreGuard guard(kLastFileKeys);
    SetCore("FILEDIRECTORY", Folder());
    std::vector<std::string> files;
    for (int i = 1; i <= 4; ++i)
        files.push_back(WriteBmp("many" + std::to_string(i) + ".bmp", ColourfulDib()));
    Session run;
    run.Command(257);
    HWND dialog = run.WaitForFileDialog();
    ASSERT_NE(dialog, nullptr);
    Accept(dialog, "\"many1.bmp\" \"many2.bmp\" \"many3.bmp\" \"many4.bmp\"");
    ASSERT_NE(run.WaitForWindows(4), nullptr);
    // Opened one after the other: the last on top (once it is shown); one Last Files entry each, the last first.
    std::string order;
    EXPECT_TRUE(Within(5000, [&] {
        order.clear();
        for (HWND window : run.Windows())
            order += Upper(WindowText(window)) + " ";
        return order == Upper(files[3] + " " + files[2] + " " + files[1] + " " + files[0] + " ");
    })) << order;
    for (int slot = 1; slot <= 4; ++slot)
        EXPECT_EQ(Upper(CoreValue("FIL_FILENAME" + std::to_string(slot))), Upper(files[4 - slot])) << slot;
    EXPECT_EQ(CoreValue("FIL_FILENAME5"), "");
}

// ---- the Edit menu and the clipboard, with this program at the other end ------------------------

namespace {

DWORD WINAPI ReadDib(LPVOID bytes)
{
    *static_cast<std::vector<BYTE>*>(bytes) = ClipboardRead(CF_DIB);
    return 0;
}

LRESULT Do(Session& run, WPARAM id) { return Send(run.frame, WM_COMMAND, id, 0); }
// The active window's DIB, as Copy gives it to another program.
std::vector<BYTE> WindowDib(Session& run)
{
    Do(run, 514);
    return ClipboardRead(CF_DIB);
}

// Whether a DIB shows the picture of rgb, of the size of the fixtures.
bool ShowsPicture(const std::vector<BYTE>& dib, const std::function<std::uint32_t(int, int)>& rgb)
{
    return DibImage(dib) == Picture(kWidth, kHeight, rgb);
}
}  // namespace

TEST(UserLoop, CopyRendersOnlyWhenAskedAndBeforeItsWindowOrProgramEnds)
{
    CoreGuard guard({"screen_bitmaps"});
    for (int bits : {4, 8, 24}) {
        // Without a display bitmap Copy puts bitmap and palette at once; they stay when the DIB is handed over.
        SetCore("screen_bitmaps", bits == 4 ? "0" : "2");
        const int step = bits == 4 ? 16 : 1;
        std::vector<RGBQUAD> table;
        std::vector<BYTE> entries;
        for (int i = 0; bits < 24 && i < 256 / step; ++i) {
            table.push_back(RampEntry(i * step));
            entries.insert(entries.end(), {table.back().rgbRed, table.back().rgbGreen, table.back().rgbBlue, 0});
        }
        // The pixel as stored (an index or 0xRRGGBB) and as seen.
        auto pixel = [&](int x, int y) { return bits == 24 ? Colourful(x, y) : (x / 7 + y) % (256 / step); };
        auto rgb = [&](int x, int y) { return bits == 24 ? pixel(x, y) : RampColour(static_cast<int>(pixel(x, y)) * step); };
        const std::vector<BYTE> dib = MakeDib(kWidth, kHeight, bits, table, pixel);
        Session run(WriteBmp("copy.bmp", dib));
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        Do(run, 514);
        // With the clipboard open the reader's request waits on the program:
        // nothing was rendered before it asked.
        HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME, FALSE, GetWindowThreadProcessId(run.frame, nullptr));
        SuspendThread(thread);
        std::vector<BYTE> got;
        HANDLE reader = CreateThread(nullptr, 0, ReadDib, &got, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(reader, 1500), static_cast<DWORD>(WAIT_TIMEOUT)) << bits;
        ResumeThread(thread);
        EXPECT_EQ(WaitForSingleObject(reader, 10000), WAIT_OBJECT_0);
        CloseHandle(thread);
        CloseHandle(reader);
        EXPECT_TRUE(got == dib) << bits;
        EXPECT_TRUE(ShowsPicture(ClipboardRead(CF_BITMAP), rgb)) << bits;
        EXPECT_TRUE(ClipboardRead(CF_PALETTE) == entries) << bits;
        // Closing the window, or ending the program, hands the offered objects over first.
        Do(run, 514);
        if (bits == 8) {
            EXPECT_TRUE(run.Exit());
        } else {
            Do(run, 265);
            EXPECT_TRUE(WaitForWindowGone(window, 5000));
        }
        EXPECT_TRUE(ClipboardRead(CF_DIB) == dib) << bits;
        EXPECT_TRUE(ShowsPicture(ClipboardRead(CF_BITMAP), rgb)) << bits;
        EXPECT_TRUE(ClipboardRead(CF_PALETTE) == entries) << bits;
    }
}

TEST(UserLoop, PasteTakesAnotherProgramsDibOrBitmapAndUndoGivesTheOldImageBack)
{
    CoreGuard guard({"keep_undo"});
    Session run;
    ASSERT_NE(run.frame, nullptr);
    std::vector<RGBQUAD> ramp;
    for (int i = 0; i < 256; ++i)
        ramp.push_back(RampEntry(i));
    const std::vector<BYTE> ramp8 = MakeDib(kWidth, kHeight, 8, ramp, [](int x, int y) { return (x + y) & 255; });
    const std::vector<BYTE> colourful = ColourfulDib();
    // Without a window Paste is off; into a File New window the DIB wins over the bitmap.
    ASSERT_TRUE(ClipboardPut({{CF_DIB, ramp8}, {CF_BITMAP, colourful}}));
    EXPECT_TRUE(Grayed(run.Menus(), 515));
    Do(run, 256);
    HWND fresh = run.WaitForWindows(1);
    ASSERT_NE(fresh, nullptr);
    EXPECT_FALSE(Grayed(run.Menus(), 515));
    Do(run, 515);
    const std::string changedUntitled = " " + std::to_string(kModified | kColor | 0x2);
    EXPECT_EQ(run.Attrs(fresh, {kBits, kFlags}), "8" + changedUntitled);
    EXPECT_TRUE(WindowDib(run) == ramp8);
    // Pasting onto an image replaces it: 24 bits, colour.
    ASSERT_TRUE(ClipboardPut({{CF_DIB, colourful}}));
    Do(run, 515);
    EXPECT_EQ(run.Attr(fresh, kBits), 24);
    EXPECT_TRUE(WindowDib(run) == colourful);
    // A bitmap alone pastes at its own depth; Undo gives the DIB back exactly, Undo again the bitmap's.
    ASSERT_TRUE(ClipboardPut({{CF_BITMAP, colourful}}));
    Do(run, 515);
    EXPECT_EQ(run.Attr(fresh, kBits), 32);
    const std::vector<BYTE> fromBitmap = WindowDib(run);
    EXPECT_TRUE(ShowsPicture(fromBitmap, Colourful));
    Do(run, 512);
    EXPECT_EQ(run.Attrs(fresh, {kBits, kFlags}), "24" + changedUntitled);
    EXPECT_TRUE(WindowDib(run) == colourful);
    EXPECT_EQ(WindowText(fresh), "Image1");
    Do(run, 512);
    EXPECT_TRUE(WindowDib(run) == fromBitmap);
    // A run-length DIB pastes uncompressed.
    std::vector<BYTE> rle(ramp8.begin(), ramp8.begin() + sizeof(BITMAPINFOHEADER) + 1024);
    for (int y = kHeight - 1; y >= 0; --y) {
        for (int x = 0; x < kWidth; ++x)
            rle.insert(rle.end(), {1, static_cast<BYTE>((x + y) & 255)});
        rle.insert(rle.end(), {0, 0});
    }
    rle.back() = 1;
    reinterpret_cast<BITMAPINFOHEADER*>(rle.data())->biCompression = BI_RLE8;
    reinterpret_cast<BITMAPINFOHEADER*>(rle.data())->biSizeImage = static_cast<DWORD>(rle.size() - 1064);
    ASSERT_TRUE(ClipboardPut({{CF_DIB, rle}}));
    Do(run, 515);
    EXPECT_EQ(run.Attr(fresh, kBits), 8);
    EXPECT_TRUE(WindowDib(run) == ramp8);
}

TEST(UserLoop, UndoTakesBackColoursPastePaletteAndCutOneStepAtATime)
{
    CoreGuard guard({"keep_undo", "dither_type"});
    const std::vector<BYTE> colourful = ColourfulDib();
    std::vector<BYTE> entries;
    std::vector<RGBQUAD> colours;
    for (int i = 0; i < 16; ++i) {
        const BYTE red = static_cast<BYTE>(i * 17), green = static_cast<BYTE>(255 - i * 17), blue = static_cast<BYTE>(i * 85);
        entries.insert(entries.end(), {red, green, blue, 0});
        colours.push_back({blue, green, red, 0});
    }
    for (int dither : {0, 2}) {  // halftone and the default diffusion
        SetCore("dither_type", std::to_string(dither));
        Session run(WriteBmp("edit.bmp", colourful));
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        const std::string title = WindowText(window);
        const LONG_PTR flags = run.Attr(window, kFlags);
        ASSERT_TRUE(ClipboardPut({{CF_PALETTE, entries}}));
        std::vector<MenuEntry> bar = run.Menus();
        for (UINT id : {512, 513, 514, 515, 516, 517})
            EXPECT_EQ(Grayed(bar, id), id == 512 || id == 515) << id;
        // A Colors command, undone and redone.
        Do(run, 1842);
        const std::vector<BYTE> cut = WindowDib(run);
        Do(run, 512);
        EXPECT_EQ(run.Attr(window, kBits), 24);
        EXPECT_EQ(run.Attr(window, kFlags), flags);
        EXPECT_EQ(WindowText(window), title);
        EXPECT_TRUE(WindowDib(run) == colourful);
        Do(run, 512);
        EXPECT_EQ(run.Attr(window, kBits), 8);
        EXPECT_TRUE(WindowDib(run) == cut);
        Do(run, 512);
        // Paste Palette: the palette dither of the colour engine, to 4 bits for 16 colours.
        ASSERT_TRUE(ClipboardPut({{CF_PALETTE, entries}}));
        Do(run, 517);
        EXPECT_EQ(run.Attr(window, kBits), 4);
        HGLOBAL source = GlobalAlloc(GMEM_MOVEABLE, colourful.size());
        std::memcpy(GlobalLock(source), colourful.data(), colourful.size());
        GlobalUnlock(source);
        SET_Put(SET_DITHER_TYPE, dither);
        HGLOBAL expected = CLR_DitherToColors(source, colours.data(), 16);
        ASSERT_NE(expected, nullptr);
        const BYTE* bytes = static_cast<const BYTE*>(GlobalLock(expected));
        const std::vector<BYTE> mapped = WindowDib(run);
        EXPECT_TRUE(mapped == std::vector<BYTE>(bytes, bytes + GlobalSize(expected))) << dither;
        GlobalUnlock(expected);
        GlobalFree(expected);
        GlobalFree(source);
        Do(run, 512);
        EXPECT_TRUE(WindowDib(run) == colourful);
        Do(run, 512);
        // Cut: the window stays without an image, the other program gets it, Undo brings it back.
        Do(run, 513);
        EXPECT_EQ(run.Attr(window, kDib), 0);
        EXPECT_EQ(run.Attr(window, kBits), 4);
        bar = run.Menus();
        for (UINT id : {512, 513, 514, 515, 516, 517})
            EXPECT_EQ(Grayed(bar, id), id != 512 && id != 515) << id;
        EXPECT_TRUE(ClipboardRead(CF_DIB) == mapped);
        Do(run, 512);
        EXPECT_TRUE(WindowDib(run) == mapped);
        EXPECT_TRUE(Grayed(run.Menus(), 512));
    }
}
