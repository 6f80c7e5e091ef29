// The program's start and end as a user and other programs see them: the
// logo, the command line, the second instance, the image record read through
// the frame services, and the settings written at the end.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {

const char kNoLogo[] = "/NOLOGO";
const char kLogoClass[] = "AboutClass";

// Service items and record attributes as other programs name them.
const int kTestFlag = 2, kCurrentIds = 52, kGetId = 40;
const LONG kFlags = 0, kDib = 4, kBitmap = 12, kPaletteUpdates = 20, kBits = 24, kFormat = 32, kScrollX = 44,
           kFileSize = 52;
const LONG kModified = 0x1, kUntitled = 0x2, kColor = 0x4, kRaster = 0x10;

// ---- fixtures made in code -----------------------------------------------------------

// An 8-bit colour image of 200 by 120 with a four-colour table (wider than
// the smallest width the system allows a window with a caption).
const int kColourWidth = 200, kColourHeight = 120;
std::vector<BYTE> ColourDib8()
{
    const std::vector<RGBQUAD> table = {{0, 0, 255, 0}, {0, 255, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}};
    return MakeDib(kColourWidth, kColourHeight, 8, table,
                     [](int x, int y) { return static_cast<DWORD>((x / 10 + y / 10) % 4); });
}

// Left half red, right half blue, 20 by 10.
DWORD RedBlue(int x, int) { return x < 10 ? 0xFF0000u : 0x0000FFu; }

// Every pixel gray, but 24 bits: no table to look at.
std::vector<BYTE> GrayPixelsDib24()
{
    return MakeDib(12, 6, 24, {}, [](int x, int) { return static_cast<DWORD>(x * 20) * 0x010101u; });
}

// ---- the logo ---------------------------------------------------------------------------

TEST(Logo, ShowsThePictureCentredUntilAClickAndAgainForAbout)
{
    Program program;
    ASSERT_TRUE(program.Start());
    HWND logo = WaitForProcessWindow(program.Pid(), kLogoClass, 10000);
    ASSERT_NE(logo, nullptr);
    EXPECT_TRUE(IsPainted(logo));
    // 320 by 200, left at half the screen less 160, top at half less 150.
    RECT rect{};
    GetWindowRect(logo, &rect);
    EXPECT_EQ(std::to_string(rect.left - GetSystemMetrics(SM_CXSCREEN) / 2) + "," +
                  std::to_string(rect.top - GetSystemMetrics(SM_CYSCREEN) / 2) + " " +
                  std::to_string(rect.right - rect.left) + " x " + std::to_string(rect.bottom - rect.top),
              "-160,-150 320 x 200");
    // A popup with a dialog frame, visible; the system adds WS_CLIPSIBLINGS.
    EXPECT_EQ(static_cast<DWORD>(GetWindowLongA(logo, GWL_STYLE)) & ~static_cast<DWORD>(WS_CLIPSIBLINGS) & 0xFFFF0000u,
              0x90400000u);
    // While the logo waits the program serves no messages: the title is read
    // as the system keeps it, without sending WM_GETTEXT.
    char title[16] = "x";
    EXPECT_EQ(GetWindowTextA(logo, title, sizeof title), 0);
    EXPECT_STREQ(title, "");

    // The picture's top left corner lies at the client's. The resource is
    // run-length coded: GDI of this test process decodes it for comparison.
    const HMODULE exe = ProgramResources();
    HRSRC found = FindResourceA(exe, "Korvanta", "HDIB");
    ASSERT_NE(found, nullptr);
    const auto* packed = static_cast<const BITMAPINFOHEADER*>(LockResource(LoadResource(exe, found)));
    const BYTE* coded = reinterpret_cast<const BYTE*>(packed) + packed->biSize +
                        (packed->biClrUsed ? packed->biClrUsed : 256) * sizeof(RGBQUAD);
    BITMAPINFO target{{sizeof target.bmiHeader, 320, -200, 1, 32}};
    void* bits = nullptr;
    HDC memory = CreateCompatibleDC(nullptr);
    HBITMAP section = CreateDIBSection(memory, &target, DIB_RGB_COLORS, &bits, nullptr, 0);
    ASSERT_NE(section, nullptr);
    HGDIOBJ old = SelectObject(memory, section);
    SetDIBitsToDevice(memory, 0, 0, 320, 200, 0, 0, 0, 200, coded, reinterpret_cast<const BITMAPINFO*>(packed),
                      DIB_RGB_COLORS);
    GdiFlush();
    EXPECT_TRUE(Shows(logo, {{2, 2}, {35, 3}, {5, 37}, {20, 20}},
                      [&](int x, int y) { return static_cast<const uint32_t*>(bits)[y * 320 + x] & 0xFFFFFF; }));
    DeleteObject(SelectObject(memory, old));
    DeleteDC(memory);

    // Without a click it stays for the time being.
    Sleep(1000);
    EXPECT_TRUE(IsWindow(logo));
    ASSERT_TRUE(ClickScreen((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2));
    EXPECT_TRUE(WaitForWindowGone(logo, 3000));
    HWND frame = program.WaitForFrame(5000);
    ASSERT_NE(frame, nullptr);
    EXPECT_TRUE(TopLevelWindows(program.Pid(), kLogoClass).empty());

    // About shows it again, owned by the frame; another message leaves it up, a character or a click closes it.
    for (UINT closer : {static_cast<UINT>(WM_CHAR), static_cast<UINT>(WM_LBUTTONDOWN),
                        static_cast<UINT>(WM_RBUTTONDBLCLK)}) {
        PostMessageA(frame, WM_COMMAND, 2563, 0);
        HWND about = WaitForProcessWindow(program.Pid(), kLogoClass, 5000);
        ASSERT_NE(about, nullptr);
        EXPECT_TRUE(IsPainted(about));
        EXPECT_EQ(GetWindow(about, GW_OWNER), frame);
        PostMessageA(about, WM_MOUSEMOVE, 0, 0);
        Sleep(200);
        EXPECT_TRUE(IsWindow(about));
        PostMessageA(about, closer, 'x', 0);
        EXPECT_TRUE(WaitForWindowGone(about, 3000)) << closer;
    }
    EXPECT_TRUE(program.IsRunning());
}

TEST(Logo, FileOnTheCommandLineCutsTheWaitShortAndOpensAsAWholeIntoARecordFromTheLoad)
{
    const std::vector<BYTE> dib = ColourDib8();
    const std::string path = WriteBmp("my picture 1.bmp", dib);
    // The file opens inside the start-up, before the loop serves a posted command.
    for (const char* switches : {"", "/NOLOGO /BATCH"}) {
        const ULONGLONG started = GetTickCount64();
        Session run(path, switches);
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr) << switches;
        EXPECT_LT(GetTickCount64() - started, 8000u);
        EXPECT_TRUE(TopLevelWindows(run.program.Pid(), kLogoClass).empty());
        // The whole line after the switches, upper-cased, names the file.
        EXPECT_EQ(WindowText(window), Upper(path));
        // A clean, titled colour raster image of 8 bits in the BMP row, its window fitted to it.
        RECT client{};
        GetClientRect(window, &client);
        EXPECT_EQ(std::to_string(client.right) + " x " + std::to_string(client.bottom), "200 x 120");
        EXPECT_EQ(run.Attrs(window, {kFlags, kBits, kFormat, kFileSize, kScrollX, kPaletteUpdates, kDib}),
                  std::to_string(kColor | kRaster) + " 8 " + std::to_string(run.Row("ANY.BMP")) + " " +
                      std::to_string(sizeof(BITMAPFILEHEADER) + dib.size()) + " 0 0 1");
    }
}

// ---- the command line ----------------------------------------------------------------------

TEST(CommandLine, NameRunsToTheEndOfTheLineAndAnUnknownExtensionOpensNothingAndSaysNothing)
{
    // /NOLOGO is found anywhere, but a name runs to the end of the line: that file is missing.
    const std::string bmp = WriteBmp("switch.bmp", ColourDib8()), qqq = WriteBmp("picture.qqq", ColourDib8());
    for (const auto& [args, message] : {std::pair<std::string, std::string>{bmp + " /NOLOGO", "Cannot load, file does not exist"},
                                        {"/NOLOGO " + qqq, ""}}) {
        Program program;
        ASSERT_TRUE(program.Start(args));
        if (!message.empty()) {
            HWND box = WaitForProcessWindow(program.Pid(), "#32770", 10000);
            ASSERT_NE(box, nullptr);
            EXPECT_TRUE(IsPainted(box));
            EXPECT_EQ(MessageBoxText(box), message);
            ASSERT_TRUE(PressButton(box, IDOK));
        }
        HWND frame = program.WaitForFrame(5000);
        ASSERT_NE(frame, nullptr);
        Sleep(1500);
        EXPECT_TRUE(ImageWindows(frame).empty()) << args;
        EXPECT_TRUE(TopLevelWindows(program.Pid(), "#32770").empty()) << args;
        EXPECT_TRUE(TopLevelWindows(program.Pid(), kLogoClass).empty()) << args;
    }
}

TEST(CommandLine, LoadSwitchOpensTheOpenDialogOnceTheLogoWentByItselfAfterTenSeconds)
{
    Program program;
    ASSERT_TRUE(program.Start("/load"));
    HWND logo = WaitForProcessWindow(program.Pid(), kLogoClass, 10000);
    ASSERT_NE(logo, nullptr);
    const ULONGLONG shown = GetTickCount64();
    // No dialog while the logo is up.
    Sleep(500);
    EXPECT_TRUE(TopLevelWindows(program.Pid(), "#32770").empty());
    ASSERT_TRUE(WaitForWindowGone(logo, 15000));
    const ULONGLONG stayed = GetTickCount64() - shown;
    EXPECT_GE(stayed, 9000u);
    EXPECT_LE(stayed, 12000u);
    HWND frame = program.WaitForFrame(5000);
    ASSERT_NE(frame, nullptr);
    HWND dialog = WaitForProcessWindow(program.Pid(), "#32770", 8000);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(GetWindow(dialog, GW_OWNER), frame);
    EXPECT_TRUE(IsPainted(dialog));
    Answer(dialog, IDCANCEL);
    EXPECT_TRUE(ImageWindows(frame).empty());
}

// ---- a second instance ----------------------------------------------------------------------

// Whether the program's current load format is the one of row.
bool LoadFormatIs(Session& run, LONG row)
{
    ServiceCall current, of;
    of.row = row;
    LONG_PTR ignored = 0;
    return run.program.CallService(run.frame, kCurrentIds, &current, &ignored) && current.value == run.Service(kGetId, of);
}

TEST(SecondInstance, HandsItsFileNameToTheFirstEvenBehindItsOpenDialogOrSaysThereIsOnlyOneCopyAndEndsWithZero)
{
    const std::string path = WriteBmp("handed over.bmp", ColourDib8());
    // Without a name; with one; with one while the first shows its Open dialog; an unknown
    // extension and a missing file, which the first opens nothing for and says nothing about.
    const std::string names[] = {kNoLogo, path, path, WriteBmp("handed over.qqq", ColourDib8()), PathOf("missing.bmp")};
    for (int c = 0; c < 5; ++c) {
        Session first("", c == 2 ? "/NOLOGO /LOAD" : "/NOLOGO");
        ASSERT_NE(first.frame, nullptr);
        // The Open dialog's own message loop serves the second instance's send.
        HWND dialog = c == 2 ? first.WaitForFileDialog() : nullptr;
        Program second;
        ASSERT_TRUE(second.Start(names[c]));
        if (c == 0) {
            HWND box = WaitForProcessWindow(second.Pid(), "#32770", 10000);
            ASSERT_NE(box, nullptr);
            EXPECT_TRUE(IsPainted(box));
            EXPECT_EQ(MessageBoxText(box), "Only one copy of KorVanta may be run at a time");
            ASSERT_TRUE(PressButton(box, IDOK));
        }
        DWORD code = 0xFFFFFFFF;
        ASSERT_TRUE(second.WaitForExit(10000, &code)) << c;
        EXPECT_EQ(code, 0u);
        EXPECT_TRUE(first.program.IsRunning());
        // The send returned only after the first instance had opened the file.
        std::vector<HWND> windows = first.Windows();
        ASSERT_EQ(windows.size(), c == 1 || c == 2 ? 1u : 0u) << c;
        if (windows.empty()) {
            EXPECT_TRUE(first.NoDialogs()) << c;
            continue;
        }
        EXPECT_EQ(WindowText(windows[0]), Upper(path));
        EXPECT_EQ(first.Attr(windows[0], kFlags), kColor | kRaster);
        // The row found for the name became the load format.
        EXPECT_TRUE(LoadFormatIs(first, first.Row("X.BMP")));
        if (dialog) {
            EXPECT_TRUE(IsWindow(dialog));
            Answer(dialog, IDCANCEL);
        }
    }
}

// ---- the record through the services ---------------------------------------------------------

TEST(ImageRecord, SetFlagSetsOnlyForOneTestFlagSeesAnyBitAndCopiesAreNewObjects)
{
    const std::string path = WriteBmp("flags.bmp", ColourDib8());
    CoreGuard guard({"screen_bitmaps"});
    Session run(path);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    auto testFlag = [&](LONG mask) {
        ServiceCall test = call;
        test.value = mask;
        return run.Service(kTestFlag, test);
    };
    ASSERT_EQ(testFlag(kColor), 1);
    // Each step: the flags set with a value, then what a test of some flags sees and the flags.
    std::string seen;
    for (const auto& [mask, on, tested] : {std::tuple<LONG, LONG, LONG>{kColor, 2, kColor}, {kColor, 1, kColor},
                                           {kColor, -1, kColor}, {kModified | kUntitled, 1, kColor | kUntitled},
                                           {kModified | kUntitled, 0, kColor | kUntitled | kModified}}) {
        run.SetFlag(window, mask, on);
        seen += std::to_string(testFlag(tested)) + " " + std::to_string(run.Attr(window, kFlags)) + "; ";
    }
    EXPECT_EQ(seen, "0 16; 1 20; 0 16; 1 19; 0 16; ");

    // DIB, bitmap and palette: each copy is a new object, the record keeps its own.
    const int kGetDib = 4, kGetPalette = 6, kCopyDib = 7, kCopyBitmap = 8, kCopyPalette = 9;
    for (int get : {kGetDib, kGetDib + 1, kGetPalette}) {
        const LONG_PTR own = run.Service(get, call);
        const LONG_PTR copy = run.Service(get + 3, call);
        EXPECT_NE(own, 0) << get;
        EXPECT_NE(copy, 0) << get;
        EXPECT_NE(copy, own) << get;
        EXPECT_EQ(run.Service(get, call), own) << get;
    }
    EXPECT_EQ(run.Service(kGetDib, call), run.Attr(window, kDib));
    // A 24-bit image has no palette, and its copy is none either.
    run.SetImage(window, GrayPixelsDib24());
    EXPECT_EQ(run.Service(kGetPalette, call), 0);
    EXPECT_EQ(run.Service(kCopyPalette, call), 0);
    EXPECT_NE(run.Service(kCopyBitmap, call), 0);
    EXPECT_NE(run.Service(kCopyDib, call), 0);
}

TEST(ImageRecord, SetImageMarksModifiedAndDetectsGrayTablesOnlyAndKeepUndoDecidesWhetherTheRecordsSwap)
{
    const std::string path = WriteBmp("undo.bmp", ColourDib8());
    CoreGuard guard({"keep_undo"});
    const int undoWord = sizeof(LONG_PTR);
    for (bool keep : {false, true}) {
        SetCore("keep_undo", keep ? "1" : "0");
        Session run(path);
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        // Creation set the attributes in a first record; putting the loaded
        // image in kept that (imageless) record in the undo word, or let it go.
        const LONG_PTR created = GetWindowLongPtrA(window, undoWord), loaded = GetWindowLongPtrA(window, 0);
        ASSERT_NE(loaded, 0);
        ASSERT_EQ(created != 0, keep);
        ASSERT_NE(created, loaded);
        const LONG_PTR loadedDib = run.Attr(window, kDib);
        // A 24-bit image of gray pixels has no table to look at: it stays colour.
        const LONG_PTR handle = run.SetImage(window, GrayPixelsDib24());
        EXPECT_TRUE(!keep || handle != loadedDib);
        EXPECT_EQ(run.Attr(window, kDib), handle);
        // The new state inherits the attributes: depth and format of the load.
        EXPECT_EQ(run.Attrs(window, {kFlags, kBits, kFormat}),
                  std::to_string(kColor | kRaster | kModified) + " 8 " + std::to_string(run.Row("X.BMP")));
        // With undo the loaded record went to the undo word whole and the older one is reused as
        // current, and they swap again; without, the one record stays.
        EXPECT_EQ(GetWindowLongPtrA(window, 0), keep ? created : loaded);
        EXPECT_EQ(GetWindowLongPtrA(window, undoWord), keep ? loaded : 0);
        run.SetImage(window, ColourDib8());
        EXPECT_EQ(GetWindowLongPtrA(window, 0), loaded);
        EXPECT_EQ(GetWindowLongPtrA(window, undoWord), keep ? created : 0);
        EXPECT_EQ(run.Attr(window, kFormat), run.Row("X.BMP"));
        if (keep)
            continue;
        // A gray table turns the colour image gray, and a gray image never turns colour here.
        std::vector<RGBQUAD> grays;
        for (BYTE v = 0; grays.size() < 16; v += 17)
            grays.push_back({v, v, v, 0});
        run.SetImage(window, MakeDib(16, 8, 8, grays, [](int x, int) { return static_cast<DWORD>(x); }));
        EXPECT_EQ(run.Attr(window, kFlags), kRaster | kModified);
        run.SetImage(window, ColourDib8());
        EXPECT_EQ(run.Attr(window, kFlags), kRaster | kModified);
        // The window follows the image's size.
        RECT client{};
        GetClientRect(window, &client);
        EXPECT_EQ(std::to_string(client.right) + " x " + std::to_string(client.bottom), "200 x 120");
    }
}

// The device bitmap a DIB gets under each screen_bitmaps value on this
// 24-bit screen, and the window painting its image through it or without.
TEST(ImageRecord, ScreenBitmapsDecidesWhichImagesGetADeviceBitmap)
{
    HDC screen = GetDC(nullptr);
    const int screenBits = GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES);
    ReleaseDC(nullptr, screen);
    ASSERT_GE(screenBits, 16) << "the rules below are for a deep screen";
    const std::string path = WriteBmp("bitmaps.bmp", ColourDib8());
    CoreGuard guard({"screen_bitmaps"});
    struct Case {
        const char* setting;
        bool for8, for16, for24;
    };
    // 1 says "Don't use on 16-bit and 24-bit images", yet a 16-bit DIB gets one.
    for (const Case& c : {Case{"0", true, true, true}, Case{"1", true, true, false}, Case{"2", false, false, false}}) {
        SetCore("screen_bitmaps", c.setting);
        Session run(path);
        HWND window = run.WaitForWindows(1);
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(run.Attr(window, kBitmap) != 0, c.for8) << c.setting;
        run.SetImage(window, MakeDib(20, 10, 16, {}, RedBlue));
        EXPECT_EQ(run.Attr(window, kBitmap) != 0, c.for16) << c.setting;
        // Painted through the device bitmap or without.
        run.SetImage(window, MakeDib(20, 10, 24, {}, RedBlue));
        EXPECT_TRUE(Within(3000, [&] { return ClientShot(window, 20, 10) == Picture(20, 10, RedBlue); })) << c.setting;
        EXPECT_EQ(run.Attr(window, kBitmap) != 0, c.for24) << c.setting;
    }
}

// ---- the end ------------------------------------------------------------------------------------

TEST(Shutdown, ExitAndTheEndOfTheSessionStoreTheCurrentFormatsForTheNextStart)
{
    const std::string path = WriteBmp("formats.bmp", ColourDib8());
    CoreGuard guard({"load_proc", "save_proc"});
    LONG bmpRow = -1, dibRow = -1;
    {
        Session run(path);
        ASSERT_NE(run.frame, nullptr);
        ASSERT_NE(run.WaitForWindows(1), nullptr);
        bmpRow = run.Row("X.BMP");
        dibRow = run.Row("X.DIB");
        ASSERT_NE(bmpRow, dibRow);
        // Exit asks nothing, even with an image open.
        ASSERT_TRUE(run.Exit());
    }
    // Decimal strings; anything else reads "<type N>".
    EXPECT_EQ(CoreValue("load_proc"), std::to_string(bmpRow));
    EXPECT_EQ(CoreValue("save_proc"), std::to_string(dibRow));

    // The next start takes them up as its current formats.
    Session again;
    ASSERT_NE(again.frame, nullptr);
    EXPECT_TRUE(LoadFormatIs(again, bmpRow));
    ASSERT_NE(again.OpenFile(path), nullptr);
    guard.Clear();
    // The frame asks its children; an image window lets the session end.
    EXPECT_EQ(SendMessageA(again.frame, WM_QUERYENDSESSION, 0, 0), 1);
    // A false end changes nothing; a true one writes at once, without a loop.
    SendMessageA(again.frame, WM_ENDSESSION, FALSE, 0);
    EXPECT_EQ(CoreValue("load_proc"), "");
    SendMessageA(again.frame, WM_ENDSESSION, TRUE, 0);
    EXPECT_EQ(CoreValue("load_proc") + " " + CoreValue("save_proc"), std::to_string(bmpRow) + " " + std::to_string(dibRow));
}

}  // namespace
