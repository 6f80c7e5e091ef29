// The program's start and end as a user and other programs see them: the
// logo, the command line, the second instance, the image record read through
// the frame services, and the settings written at the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {

const char kNoLogo[] = "/NOLOGO";
const char kLogoClass[] = "AboutClass";

// Service items and record attributes as other programs name them.
const int kTestFlag = 2, kNewWindow = 28, kOpenFile = 31, kCurrentIds = 52, kGetId = 40;
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

std::vector<BYTE> GrayDib8()
{
    std::vector<RGBQUAD> table;
    for (int i = 0; i < 16; ++i) {
        const BYTE v = static_cast<BYTE>(i * 17);
        table.push_back({v, v, v, 0});
    }
    return MakeDib(16, 8, 8, table, [](int x, int) { return static_cast<DWORD>(x); });
}

std::vector<BYTE> Dib16()
{
    return MakeDib(20, 10, 16, {}, [](int x, int) { return x < 10 ? 0xFF0000u : 0x0000FFu; });
}

// Every pixel gray, but 24 bits: no table to look at.
std::vector<BYTE> GrayPixelsDib24()
{
    return MakeDib(12, 6, 24, {}, [](int x, int) { return static_cast<DWORD>(x * 20) * 0x010101u; });
}

// ---- the logo ---------------------------------------------------------------------------

TEST(Logo, ShowsThePictureCentredUntilAClick)
{
    Program program;
    ASSERT_TRUE(program.Start());
    HWND logo = WaitForProcessWindow(program.Pid(), kLogoClass, 10000);
    ASSERT_NE(logo, nullptr);
    EXPECT_TRUE(IsPainted(logo));
    // 320 by 200, left at half the screen less 160, top at half less 150.
    RECT rect{};
    GetWindowRect(logo, &rect);
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    EXPECT_EQ(rect.left, screenWidth / 2 - 160);
    EXPECT_EQ(rect.top, screenHeight / 2 - 150);
    EXPECT_EQ(rect.right - rect.left, 320);
    EXPECT_EQ(rect.bottom - rect.top, 200);
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
    ResourceFile exe(KorvantaPath());
    HRSRC found = FindResourceA(exe.Module(), "Korvanta", "HDIB");
    ASSERT_NE(found, nullptr);
    const auto* packed = static_cast<const BITMAPINFOHEADER*>(LockResource(LoadResource(exe.Module(), found)));
    const BYTE* coded = reinterpret_cast<const BYTE*>(packed) + packed->biSize +
                        (packed->biClrUsed ? packed->biClrUsed : 256) * sizeof(RGBQUAD);
    BITMAPINFO target{};
    target.bmiHeader.biSize = sizeof target.bmiHeader;
    target.bmiHeader.biWidth = 320;
    target.bmiHeader.biHeight = -200;
    target.bmiHeader.biPlanes = 1;
    target.bmiHeader.biBitCount = 32;
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
    SelectObject(memory, old);
    DeleteObject(section);
    DeleteDC(memory);

    // Without a click it stays for the time being.
    Sleep(1000);
    EXPECT_TRUE(IsWindow(logo));
    ASSERT_TRUE(ClickScreen((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2));
    EXPECT_TRUE(WaitForWindowGone(logo, 3000));
    EXPECT_NE(program.WaitForFrame(5000), nullptr);
    EXPECT_TRUE(TopLevelWindows(program.Pid(), kLogoClass).empty());
}

TEST(Logo, GoesByItselfAfterTenSeconds)
{
    Program program;
    ASSERT_TRUE(program.Start());
    HWND logo = WaitForProcessWindow(program.Pid(), kLogoClass, 10000);
    ASSERT_NE(logo, nullptr);
    const ULONGLONG shown = GetTickCount64();
    ASSERT_TRUE(WaitForWindowGone(logo, 15000));
    const ULONGLONG stayed = GetTickCount64() - shown;
    EXPECT_GE(stayed, 9000u);
    EXPECT_LE(stayed, 12000u);
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
        EXPECT_EQ(client.right, kColourWidth);
        EXPECT_EQ(client.bottom, kColourHeight);
        EXPECT_EQ(run.Attr(window, kFlags), kColor | kRaster);
        EXPECT_EQ(run.Attr(window, kBits), 8);
        EXPECT_EQ(run.Attr(window, kFormat), run.Row("ANY.BMP"));
        EXPECT_EQ(run.Attr(window, kFileSize), static_cast<LONG_PTR>(sizeof(BITMAPFILEHEADER) + dib.size()));
        EXPECT_EQ(run.Attr(window, kScrollX), 0);
        EXPECT_EQ(run.Attr(window, kPaletteUpdates), 0);
        EXPECT_NE(run.Attr(window, kDib), 0);
    }
}

TEST(Logo, AboutCommandShowsItAndACharacterOrClickClosesIt)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    for (UINT closer : {static_cast<UINT>(WM_CHAR), static_cast<UINT>(WM_LBUTTONDOWN),
                        static_cast<UINT>(WM_RBUTTONDBLCLK)}) {
        PostMessageA(run.frame, WM_COMMAND, 2563, 0);
        HWND about = WaitForProcessWindow(run.program.Pid(), kLogoClass, 5000);
        ASSERT_NE(about, nullptr);
        EXPECT_TRUE(IsPainted(about));
        EXPECT_EQ(GetWindow(about, GW_OWNER), run.frame);
        // Another message leaves it up.
        PostMessageA(about, WM_MOUSEMOVE, 0, 0);
        Sleep(200);
        EXPECT_TRUE(IsWindow(about));
        PostMessageA(about, closer, 'x', 0);
        EXPECT_TRUE(WaitForWindowGone(about, 3000)) << closer;
    }
    EXPECT_TRUE(run.program.IsRunning());
}

// ---- the command line ----------------------------------------------------------------------

TEST(CommandLine, SwitchAfterTheNameBelongsToTheName)
{
    const std::string path = WriteBmp("switch.bmp", ColourDib8());
    // /NOLOGO is found anywhere, but the name runs to the end of the line.
    Program program;
    ASSERT_TRUE(program.Start(path + " /NOLOGO"));
    HWND box = WaitForProcessWindow(program.Pid(), "#32770", 10000);
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(IsPainted(box));
    EXPECT_EQ(MessageBoxText(box), "Cannot load, file does not exist");
    EXPECT_TRUE(TopLevelWindows(program.Pid(), kLogoClass).empty());
    ASSERT_TRUE(PressButton(box, IDOK));
    HWND frame = program.WaitForFrame(5000);
    ASSERT_NE(frame, nullptr);
    Sleep(300);
    EXPECT_TRUE(ImageWindows(frame).empty());
}

TEST(CommandLine, UnknownExtensionOpensNothingAndSaysNothing)
{
    const std::string path = WriteBmp("picture.qqq", ColourDib8());
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    Sleep(1500);
    EXPECT_TRUE(run.Windows().empty());
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), "#32770").empty());
    EXPECT_TRUE(run.program.IsRunning());
}

TEST(CommandLine, LoadSwitchOpensTheOpenDialogAfterTheLogo)
{
    Program program;
    ASSERT_TRUE(program.Start("/load"));
    HWND logo = WaitForProcessWindow(program.Pid(), kLogoClass, 10000);
    ASSERT_NE(logo, nullptr);
    // No dialog while the logo is up.
    Sleep(500);
    EXPECT_TRUE(TopLevelWindows(program.Pid(), "#32770").empty());
    RECT rect{};
    GetWindowRect(logo, &rect);
    ASSERT_TRUE(ClickScreen(rect.left + 10, rect.top + 10));
    HWND frame = program.WaitForFrame(5000);
    ASSERT_NE(frame, nullptr);
    HWND dialog = WaitForProcessWindow(program.Pid(), "#32770", 8000);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(GetWindow(dialog, GW_OWNER), frame);
    EXPECT_TRUE(IsPainted(dialog));
    EXPECT_FALSE(IsWindow(logo));
    EXPECT_TRUE(PressButton(dialog, IDCANCEL));
    EXPECT_TRUE(WaitForWindowGone(dialog, 5000));
    EXPECT_TRUE(ImageWindows(frame).empty());
}

// ---- a second instance ----------------------------------------------------------------------

TEST(SecondInstance, WithoutAFileNameReportsOnlyOneCopyAndLeaves)
{
    Session first;
    ASSERT_NE(first.frame, nullptr);
    Program second;
    ASSERT_TRUE(second.Start(kNoLogo));
    HWND box = WaitForProcessWindow(second.Pid(), "#32770", 10000);
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(IsPainted(box));
    EXPECT_EQ(MessageBoxText(box), "Only one copy of KorVanta may be run at a time");
    ASSERT_TRUE(PressButton(box, IDOK));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(second.WaitForExit(5000, &code));
    EXPECT_EQ(code, 0u);
    EXPECT_TRUE(first.program.IsRunning());
    EXPECT_TRUE(first.Windows().empty());
}

TEST(SecondInstance, WithAFileNameHandsItToTheFirstEvenBehindItsOpenDialogAndEndsWithZero)
{
    const std::string path = WriteBmp("handed over.bmp", ColourDib8());
    for (bool load : {false, true}) {
        Session first("", load ? "/NOLOGO /LOAD" : "/NOLOGO");
        ASSERT_NE(first.frame, nullptr);
        // The Open dialog's own message loop serves the second instance's send.
        HWND dialog = load ? first.WaitForFileDialog() : nullptr;
        Program second;
        ASSERT_TRUE(second.Start(path));
        DWORD code = 0xFFFFFFFF;
        ASSERT_TRUE(second.WaitForExit(10000, &code)) << load;
        EXPECT_EQ(code, 0u);
        // The send returned only after the first instance had opened the file.
        std::vector<HWND> windows = first.Windows();
        ASSERT_EQ(windows.size(), 1u) << load;
        EXPECT_EQ(WindowText(windows[0]), Upper(path));
        EXPECT_EQ(first.Attr(windows[0], kFlags), kColor | kRaster);
        if (load) {
            EXPECT_TRUE(IsWindow(dialog));
            Answer(dialog, IDCANCEL);
        }
    }
}

// Writes CoreMemObject as a second instance does and sends service 31 with no block.
struct SharedName {
    HANDLE mapping = nullptr;
    BYTE* view = nullptr;

    SharedName(const std::string& name, LONG formatId)
    {
        mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 1024, "CoreMemObject");
        view = mapping ? static_cast<BYTE*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 1024)) : nullptr;
        if (!view)
            return;
        std::memset(view, 0, 1024);
        std::memcpy(view + 52, &formatId, 4);
        std::memcpy(view + 56, name.c_str(), name.size() + 1);
    }
    ~SharedName()
    {
        if (view)
            UnmapViewOfFile(view);
        if (mapping)
            CloseHandle(mapping);
    }
    LONG RowWritten() const
    {
        LONG row;
        std::memcpy(&row, view + 48, 4);
        return row;
    }
};

TEST(SecondInstance, ServiceThirtyOneOpensTheNameInCoreMemObject)
{
    const std::string path = WriteBmp("shared.bmp", ColourDib8());
    const std::string unknown = WriteBmp("shared.qqq", ColourDib8());
    Session run;
    ASSERT_NE(run.frame, nullptr);
    const UINT open = 0x400 + 4660 + kOpenFile;
    {
        // An unknown extension opens nothing and shows nothing.
        SharedName shared(unknown, -1);
        ASSERT_NE(shared.view, nullptr);
        EXPECT_EQ(SendMessageA(run.frame, open, 0, 0), 0);
        EXPECT_EQ(shared.RowWritten(), -1);
    }
    {
        SharedName shared(Folder() + "\\missing.bmp", -1);
        EXPECT_EQ(SendMessageA(run.frame, open, 0, 0), 0);
    }
    EXPECT_TRUE(run.Windows().empty());
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), "#32770").empty());
    {
        SharedName shared(path, -1);
        HWND window = reinterpret_cast<HWND>(SendMessageA(run.frame, open, 0, 0));
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(ClassName(window), kImageClass);
        EXPECT_EQ(WindowText(window), path);
        // The receiver fills in the row it found, and it became the load format.
        const LONG bmpRow = run.Row("X.BMP");
        EXPECT_EQ(shared.RowWritten(), bmpRow);
        ServiceCall idOfBmp;
        idOfBmp.row = bmpRow;
        ServiceCall current;
        LONG_PTR ignored = 0;
        ASSERT_TRUE(run.program.CallService(run.frame, kCurrentIds, &current, &ignored));
        EXPECT_EQ(current.value, run.Service(kGetId, idOfBmp));
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
    run.SetFlag(window, kColor, 2);
    EXPECT_EQ(testFlag(kColor), 0);
    run.SetFlag(window, kColor, 1);
    EXPECT_EQ(testFlag(kColor), 1);
    run.SetFlag(window, kColor, -1);
    EXPECT_EQ(testFlag(kColor), 0);
    run.SetFlag(window, kModified | kUntitled, 1);
    EXPECT_EQ(run.Attr(window, kFlags), kModified | kUntitled | kRaster);
    EXPECT_EQ(testFlag(kColor | kUntitled), 1);
    run.SetFlag(window, kModified | kUntitled, 0);
    EXPECT_EQ(testFlag(kColor | kUntitled | kModified), 0);
    EXPECT_EQ(run.Attr(window, kFlags), kRaster);

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

TEST(ImageRecord, NewWindowHasNoImageAndTakesItsDepthFromABlankInfo)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    HWND window = reinterpret_cast<HWND>(run.Service(kNewWindow, {}));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(WindowText(window), "Image1");
    // No load has run: the info is blank (unknown), so the depth is 4 and the image colour.
    EXPECT_EQ(run.Attr(window, kFlags), kUntitled | kColor);
    EXPECT_EQ(run.Attr(window, kBits), 4);
    EXPECT_EQ(run.Attr(window, kFormat), -1);
    EXPECT_EQ(run.Attr(window, kDib), 0);
    EXPECT_EQ(run.Attr(window, kBitmap), 0);
}

TEST(ImageRecord, SetImageMarksModifiedDetectsGrayPalettesOnlyAndWithoutKeepUndoReusesTheRecord)
{
    const std::string path = WriteBmp("gray.bmp", ColourDib8());
    CoreGuard guard({"keep_undo"});
    SetCore("keep_undo", "0");
    Session run(path);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const LONG_PTR record = GetWindowLongPtrA(window, 0);
    // A 24-bit image of gray pixels has no table to look at: it stays colour.
    const LONG_PTR handle = run.SetImage(window, GrayPixelsDib24());
    EXPECT_EQ(run.Attr(window, kDib), handle);
    EXPECT_EQ(run.Attr(window, kFlags), kColor | kRaster | kModified);
    EXPECT_EQ(GetWindowLongPtrA(window, 0), record);
    EXPECT_EQ(GetWindowLongPtrA(window, sizeof(LONG_PTR)), 0);
    // A gray table turns the colour image gray, and a gray image never turns colour here.
    run.SetImage(window, GrayDib8());
    EXPECT_EQ(run.Attr(window, kFlags), kRaster | kModified);
    run.SetImage(window, ColourDib8());
    EXPECT_EQ(run.Attr(window, kFlags), kRaster | kModified);
    // The window follows the image's size.
    RECT client{};
    GetClientRect(window, &client);
    EXPECT_EQ(client.right, kColourWidth);
    EXPECT_EQ(client.bottom, kColourHeight);
}

TEST(ImageRecord, SetImageWithKeepUndoSwapsTheTwoRecords)
{
    const std::string path = WriteBmp("undo.bmp", ColourDib8());
    CoreGuard guard({"keep_undo"});
    SetCore("keep_undo", "1");
    Session run(path);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const int undoWord = sizeof(LONG_PTR);
    // Creation set the attributes in a first record; putting the loaded image
    // in kept that (imageless) record in the undo word.
    const LONG_PTR created = GetWindowLongPtrA(window, undoWord);
    const LONG_PTR loaded = GetWindowLongPtrA(window, 0);
    ASSERT_NE(loaded, 0);
    ASSERT_NE(created, 0);
    ASSERT_NE(created, loaded);
    const LONG_PTR loadedDib = run.Attr(window, kDib);

    run.SetImage(window, GrayPixelsDib24());
    // The loaded record went to the undo word whole; the older one is reused as current.
    EXPECT_EQ(GetWindowLongPtrA(window, 0), created);
    EXPECT_EQ(GetWindowLongPtrA(window, undoWord), loaded);
    EXPECT_NE(run.Attr(window, kDib), loadedDib);
    // The new state inherits the attributes: depth and format of the load.
    EXPECT_EQ(run.Attr(window, kBits), 8);
    EXPECT_EQ(run.Attr(window, kFormat), run.Row("X.BMP"));

    run.SetImage(window, ColourDib8());
    EXPECT_EQ(GetWindowLongPtrA(window, 0), loaded);
    EXPECT_EQ(GetWindowLongPtrA(window, undoWord), created);
    EXPECT_EQ(run.Attr(window, kFormat), run.Row("X.BMP"));
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
        run.SetImage(window, Dib16());
        EXPECT_EQ(run.Attr(window, kBitmap) != 0, c.for16) << c.setting;
        // Left half red, right half blue, 20 by 10: painted through the device bitmap or without.
        run.SetImage(window, MakeDib(20, 10, 24, {}, [](int x, int) { return x < 10 ? 0xFF0000u : 0x0000FFu; }));
        Image shot;
        EXPECT_TRUE(Within(3000, [&] {
            POINT at{0, 0};
            ClientToScreen(window, &at);
            return CaptureScreenRect(RECT{at.x, at.y, at.x + 20, at.y + 10}, &shot) &&
                   shot.Count(RECT{0, 0, 10, 10}, 0xFF0000u) == 100 && shot.Count(RECT{10, 0, 20, 10}, 0x0000FFu) == 100;
        })) << c.setting;
        EXPECT_EQ(run.Attr(window, kBitmap) != 0, c.for24) << c.setting;
    }
}

// ---- the end ------------------------------------------------------------------------------------

TEST(Shutdown, ExitStoresTheCurrentFormatsInTheProfileStore)
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
        PostMessageA(run.frame, WM_COMMAND, 264, 0);
        DWORD code = 0xFFFFFFFF;
        ASSERT_TRUE(run.program.WaitForExit(5000, &code));
        EXPECT_EQ(code, 0u);
    }
    // Decimal strings; anything else reads "<type N>".
    EXPECT_EQ(CoreValue("load_proc"), std::to_string(bmpRow));
    EXPECT_EQ(CoreValue("save_proc"), std::to_string(dibRow));

    // The next start takes them up as its current formats.
    Session again;
    ASSERT_NE(again.frame, nullptr);
    ServiceCall current;
    LONG_PTR ignored = 0;
    ASSERT_TRUE(again.program.CallService(again.frame, kCurrentIds, &current, &ignored));
    ServiceCall bmp;
    bmp.row = bmpRow;
    EXPECT_EQ(current.value, again.Service(kGetId, bmp));
}

TEST(Shutdown, EndOfSessionWritesTheSettingsWithoutALoop)
{
    const std::string path = WriteBmp("session.bmp", ColourDib8());
    CoreGuard guard({"load_proc", "save_proc"});
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    const LONG bmpRow = run.Row("X.BMP");
    // The frame asks its children; an image window lets the session end.
    EXPECT_EQ(SendMessageA(run.frame, WM_QUERYENDSESSION, 0, 0), 1);
    EXPECT_EQ(CoreValue("load_proc"), "");
    // A false end changes nothing; a true one writes at once.
    SendMessageA(run.frame, WM_ENDSESSION, FALSE, 0);
    EXPECT_EQ(CoreValue("load_proc"), "");
    SendMessageA(run.frame, WM_ENDSESSION, TRUE, 0);
    EXPECT_EQ(CoreValue("load_proc"), std::to_string(bmpRow));
}

}  // namespace
