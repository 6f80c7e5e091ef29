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
const char kImageClass[] = "GenericWClass";
const char kCoreKey[] = "Software\\Korvanta\\3.50\\Core";

// Service items and record attributes as other programs name them.
const int kGetAttr = 0, kTestFlag = 2, kSetFlag = 3, kSetImage = 11, kNewWindow = 28, kOpenFile = 31;
const int kCurrentIds = 52, kGetId = 40, kFromFileName = 58;
const LONG kFlags = 0, kDib = 4, kBitmap = 12, kPaletteUpdates = 20, kBits = 24, kFormat = 32, kScrollX = 44,
           kFileSize = 52;
const LONG kModified = 0x1, kUntitled = 0x2, kColor = 0x4, kRaster = 0x10;

// ---- fixtures made in code -----------------------------------------------------------

// A packed DIB: header, table, bottom-up rows; pixel(x, y) gives the index (or
// 0xRRGGBB above 8 bits) of the pixel at x and y counted from the top.
template <typename Pixel>
std::vector<BYTE> PackedDib(int width, int height, int bits, const std::vector<RGBQUAD>& table, Pixel pixel)
{
    const DWORD stride = ((static_cast<DWORD>(width) * bits + 31) / 32) * 4;
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biSizeImage = stride * height;
    header.biClrUsed = static_cast<DWORD>(table.size());
    std::vector<BYTE> dib(sizeof header + table.size() * sizeof(RGBQUAD) + header.biSizeImage, 0);
    std::memcpy(dib.data(), &header, sizeof header);
    if (!table.empty())
        std::memcpy(dib.data() + sizeof header, table.data(), table.size() * sizeof(RGBQUAD));
    BYTE* rows = dib.data() + sizeof header + table.size() * sizeof(RGBQUAD);
    for (int y = 0; y < height; ++y) {
        BYTE* row = rows + static_cast<size_t>(height - 1 - y) * stride;
        for (int x = 0; x < width; ++x) {
            const DWORD p = pixel(x, y);
            if (bits == 8) {
                row[x] = static_cast<BYTE>(p);
            } else if (bits == 16) {  // 5-5-5
                const WORD v = static_cast<WORD>(((p >> 19) & 31) << 10 | ((p >> 11) & 31) << 5 | ((p >> 3) & 31));
                row[2 * x] = static_cast<BYTE>(v);
                row[2 * x + 1] = static_cast<BYTE>(v >> 8);
            } else {  // 24
                row[3 * x] = static_cast<BYTE>(p);
                row[3 * x + 1] = static_cast<BYTE>(p >> 8);
                row[3 * x + 2] = static_cast<BYTE>(p >> 16);
            }
        }
    }
    return dib;
}

// An 8-bit colour image of 200 by 120 with a four-colour table (wider than
// the smallest width the system allows a window with a caption).
const int kColourWidth = 200, kColourHeight = 120;
std::vector<BYTE> ColourDib8()
{
    const std::vector<RGBQUAD> table = {{0, 0, 255, 0}, {0, 255, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}};
    return PackedDib(kColourWidth, kColourHeight, 8, table,
                     [](int x, int y) { return static_cast<DWORD>((x / 10 + y / 10) % 4); });
}

std::vector<BYTE> GrayDib8()
{
    std::vector<RGBQUAD> table;
    for (int i = 0; i < 16; ++i) {
        const BYTE v = static_cast<BYTE>(i * 17);
        table.push_back({v, v, v, 0});
    }
    return PackedDib(16, 8, 8, table, [](int x, int) { return static_cast<DWORD>(x); });
}

std::vector<BYTE> Dib16()
{
    return PackedDib(20, 10, 16, {}, [](int x, int) { return x < 10 ? 0xFF0000u : 0x0000FFu; });
}

// Every pixel gray, but 24 bits: no table to look at.
std::vector<BYTE> GrayPixelsDib24()
{
    return PackedDib(12, 6, 24, {}, [](int x, int) { return static_cast<DWORD>(x * 20) * 0x010101u; });
}

std::string TempFolder()
{
    char base[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, base);
    std::string folder = std::string(base) + "kv_spine";
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

// Writes a .bmp file around a packed DIB; the full path.
std::string WriteBmpFile(const std::string& name, const std::vector<BYTE>& dib)
{
    const std::string path = TempFolder() + "\\" + name;
    const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(dib.data());
    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;
    file.bfSize = static_cast<DWORD>(sizeof file + dib.size());
    file.bfOffBits = static_cast<DWORD>(sizeof file + header->biSize + header->biClrUsed * sizeof(RGBQUAD));
    HANDLE out = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(out, INVALID_HANDLE_VALUE) << path;
    DWORD written = 0;
    WriteFile(out, &file, sizeof file, &written, nullptr);
    WriteFile(out, dib.data(), static_cast<DWORD>(dib.size()), &written, nullptr);
    CloseHandle(out);
    return path;
}

std::string Upper(std::string text)
{
    CharUpperBuffA(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

// ---- windows of the program ---------------------------------------------------------

std::vector<HWND> ImageWindows(HWND frame)
{
    std::vector<HWND> found;
    HWND client = GetDlgItem(frame, 3244);
    for (HWND child = GetWindow(client, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (ClassName(child) == kImageClass)
            found.push_back(child);
    return found;
}

HWND WaitForImageWindow(HWND frame, DWORD timeoutMs)
{
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    do {
        std::vector<HWND> windows = ImageWindows(frame);
        if (!windows.empty())
            return windows.front();
        Sleep(50);
    } while (GetTickCount64() < end);
    return nullptr;
}

// A top-level window of class className of process pid, waiting up to timeoutMs.
HWND WaitForProcessWindow(DWORD pid, const char* className, DWORD timeoutMs)
{
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    do {
        std::vector<HWND> windows = TopLevelWindows(pid, className);
        if (!windows.empty())
            return windows.front();
        Sleep(50);
    } while (GetTickCount64() < end);
    return nullptr;
}

// ---- the profile store in the registry ---------------------------------------------------

void SetCoreValue(const char* name, const char* text)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), static_cast<DWORD>(strlen(text) + 1));
    RegCloseKey(key);
}

void DeleteCoreValue(const char* name)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_SET_VALUE, &key) == ERROR_SUCCESS) {
        RegDeleteValueA(key, name);
        RegCloseKey(key);
    }
}

// The value as the registry holds it, with its type; false when it is missing.
bool ReadCoreValue(const char* name, std::string* text, DWORD* type)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return false;
    char buffer[64] = {};
    DWORD size = sizeof buffer - 1;
    const bool found = RegQueryValueExA(key, name, nullptr, type, reinterpret_cast<BYTE*>(buffer), &size) ==
                       ERROR_SUCCESS;
    RegCloseKey(key);
    *text = buffer;
    return found;
}

// Removes a setting a scenario gave, whatever the scenario's outcome.
struct CoreValueGuard {
    const char* name;
    ~CoreValueGuard() { DeleteCoreValue(name); }
};

// ---- services --------------------------------------------------------------------------

LONG_PTR Service(Program& program, HWND frame, int item, ServiceCall call)
{
    LONG_PTR result = -12345;
    EXPECT_TRUE(program.CallService(frame, item, &call, &result)) << "service " << item;
    return result;
}

LONG_PTR Attr(Program& program, HWND frame, HWND window, LONG attribute)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.attribute = attribute;
    return Service(program, frame, kGetAttr, call);
}

LONG RowOf(Program& program, HWND frame, const char* name)
{
    ServiceCall call;
    call.hasText = true;
    call.text = name;
    return static_cast<LONG>(Service(program, frame, kFromFileName, call));
}

// Puts a DIB made in the test into a window through IMG_SetImage; its handle in the program.
LONG_PTR SetImage(Program& program, HWND frame, HWND window, const std::vector<BYTE>& dib)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.dib = dib;
    LONG_PTR result = 0;
    EXPECT_TRUE(program.CallService(frame, kSetImage, &call, &result));
    return call.hDIB;
}

// A program started with args whose frame is up.
struct Started {
    Program program;
    HWND frame = nullptr;

    explicit Started(const std::string& args)
    {
        if (program.Start(args))
            frame = program.WaitForFrame();
    }
};

// ---- the logo ---------------------------------------------------------------------------

TEST(Logo, NoLogoSwitchShowsNoLogoWindow)
{
    Started run(kNoLogo);
    ASSERT_NE(run.frame, nullptr);
    Sleep(500);
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), kLogoClass).empty());
    EXPECT_TRUE(run.program.IsRunning());
}

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
    Sleep(300);
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
    POINT origin{0, 0};
    ClientToScreen(logo, &origin);
    Image shot;
    ASSERT_TRUE(CaptureScreenRect(RECT{origin.x, origin.y, origin.x + 40, origin.y + 40}, &shot));
    for (POINT p : {POINT{2, 2}, POINT{35, 3}, POINT{5, 37}, POINT{20, 20}}) {
        const uint32_t expected = static_cast<const uint32_t*>(bits)[p.y * 320 + p.x] & 0xFFFFFF;
        EXPECT_EQ(shot.At(p.x, p.y), expected) << p.x << "," << p.y;
    }
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

TEST(Logo, FileOnTheCommandLineCutsTheWaitShort)
{
    const std::string path = WriteBmpFile("cut.bmp", ColourDib8());
    Program program;
    const ULONGLONG started = GetTickCount64();
    ASSERT_TRUE(program.Start(path));
    HWND frame = program.WaitForFrame(10000);
    ASSERT_NE(frame, nullptr);
    ASSERT_NE(WaitForImageWindow(frame, 8000), nullptr);
    EXPECT_LT(GetTickCount64() - started, 8000u);
    EXPECT_TRUE(TopLevelWindows(program.Pid(), kLogoClass).empty());
}

TEST(Logo, AboutCommandShowsItAndACharacterOrClickClosesIt)
{
    Started run(kNoLogo);
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

TEST(CommandLine, NameWithBlanksOpensAsAWholeIntoARecordFromTheLoad)
{
    const std::vector<BYTE> dib = ColourDib8();
    const std::string path = WriteBmpFile("my picture 1.bmp", dib);
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(ImageWindows(run.frame).size(), 1u);
    // The whole line after the switch, upper-cased, names the file.
    EXPECT_EQ(WindowText(window), Upper(path));
    // The window is fitted to the image.
    RECT client{};
    GetClientRect(window, &client);
    EXPECT_EQ(client.right, kColourWidth);
    EXPECT_EQ(client.bottom, kColourHeight);

    Program& p = run.program;
    // A clean, titled colour raster image of 8 bits in the BMP row.
    EXPECT_EQ(Attr(p, run.frame, window, kFlags), kColor | kRaster);
    EXPECT_EQ(Attr(p, run.frame, window, kBits), 8);
    EXPECT_EQ(Attr(p, run.frame, window, kFormat), RowOf(p, run.frame, "ANY.BMP"));
    EXPECT_EQ(Attr(p, run.frame, window, kFileSize), static_cast<LONG_PTR>(sizeof(BITMAPFILEHEADER) + dib.size()));
    EXPECT_EQ(Attr(p, run.frame, window, kScrollX), 0);
    EXPECT_EQ(Attr(p, run.frame, window, kPaletteUpdates), 0);
    EXPECT_NE(Attr(p, run.frame, window, kDib), 0);
    // Attribute numbers that name no field read 0.
    EXPECT_EQ(Attr(p, run.frame, window, 2), 0);
    EXPECT_EQ(Attr(p, run.frame, window, 68), 0);
}

TEST(CommandLine, SwitchAfterTheNameBelongsToTheName)
{
    const std::string path = WriteBmpFile("switch.bmp", ColourDib8());
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
    const std::string path = WriteBmpFile("picture.qqq", ColourDib8());
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    Sleep(1500);
    EXPECT_TRUE(ImageWindows(run.frame).empty());
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
    HWND dialog = WaitForOwnedWindow(frame, "#32770", 8000);
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(IsPainted(dialog));
    EXPECT_FALSE(IsWindow(logo));
    EXPECT_TRUE(PressButton(dialog, IDCANCEL));
    EXPECT_TRUE(WaitForWindowGone(dialog, 5000));
    EXPECT_TRUE(ImageWindows(frame).empty());
}

TEST(CommandLine, NoLogoFileThenBatchOpensTheFileFirst)
{
    const std::string path = WriteBmpFile("first.bmp", ColourDib8());
    Started run(std::string("/NOLOGO /BATCH ") + path);
    ASSERT_NE(run.frame, nullptr);
    // The file opened inside the start-up, before the loop served the posted command.
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(WindowText(window), Upper(path));
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), kLogoClass).empty());
}

// ---- a second instance ----------------------------------------------------------------------

TEST(SecondInstance, WithoutAFileNameReportsOnlyOneCopyAndLeaves)
{
    Started first(kNoLogo);
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
    EXPECT_TRUE(ImageWindows(first.frame).empty());
}

TEST(SecondInstance, WithAFileNameHandsItToTheFirstAndEndsWithZero)
{
    const std::string path = WriteBmpFile("handed over.bmp", ColourDib8());
    Started first(kNoLogo);
    ASSERT_NE(first.frame, nullptr);
    Program second;
    ASSERT_TRUE(second.Start(path));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(second.WaitForExit(10000, &code));
    EXPECT_EQ(code, 0u);
    // The send returned only after the first instance had opened the file.
    std::vector<HWND> windows = ImageWindows(first.frame);
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(WindowText(windows[0]), Upper(path));
    EXPECT_EQ(Attr(first.program, first.frame, windows[0], kFlags), kColor | kRaster);
}

TEST(SecondInstance, FileOpensBehindTheFirstInstancesOpenDialog)
{
    const std::string path = WriteBmpFile("behind dialog.bmp", ColourDib8());
    Started first("/NOLOGO /LOAD");
    ASSERT_NE(first.frame, nullptr);
    HWND dialog = WaitForOwnedWindow(first.frame, "#32770", 8000);
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(IsPainted(dialog));
    // The dialog's own message loop serves the second instance's send.
    Program second;
    ASSERT_TRUE(second.Start(path));
    DWORD code = 0xFFFFFFFF;
    ASSERT_TRUE(second.WaitForExit(10000, &code));
    EXPECT_EQ(code, 0u);
    std::vector<HWND> windows = ImageWindows(first.frame);
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(WindowText(windows[0]), Upper(path));
    EXPECT_TRUE(IsWindow(dialog));
    EXPECT_TRUE(PressButton(dialog, IDCANCEL));
    EXPECT_TRUE(WaitForWindowGone(dialog, 5000));
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
    const std::string path = WriteBmpFile("shared.bmp", ColourDib8());
    const std::string unknown = WriteBmpFile("shared.qqq", ColourDib8());
    Started run(kNoLogo);
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
        SharedName shared(TempFolder() + "\\missing.bmp", -1);
        EXPECT_EQ(SendMessageA(run.frame, open, 0, 0), 0);
    }
    EXPECT_TRUE(ImageWindows(run.frame).empty());
    EXPECT_TRUE(TopLevelWindows(run.program.Pid(), "#32770").empty());
    {
        SharedName shared(path, -1);
        HWND window = reinterpret_cast<HWND>(SendMessageA(run.frame, open, 0, 0));
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(ClassName(window), kImageClass);
        EXPECT_EQ(WindowText(window), path);
        // The receiver fills in the row it found, and it became the load format.
        const LONG bmpRow = RowOf(run.program, run.frame, "X.BMP");
        EXPECT_EQ(shared.RowWritten(), bmpRow);
        ServiceCall idOfBmp;
        idOfBmp.row = bmpRow;
        ServiceCall current;
        LONG_PTR ignored = 0;
        ASSERT_TRUE(run.program.CallService(run.frame, kCurrentIds, &current, &ignored));
        EXPECT_EQ(current.value, Service(run.program, run.frame, kGetId, idOfBmp));
    }
}

// ---- the record through the services ---------------------------------------------------------

TEST(ImageRecord, SetFlagSetsOnlyForOneAndTestFlagSeesAnyBitOfTheMask)
{
    const std::string path = WriteBmpFile("flags.bmp", ColourDib8());
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    auto setFlag = [&](LONG mask, LONG on) {
        ServiceCall call;
        call.window = reinterpret_cast<LONG_PTR>(window);
        call.value = mask;
        call.flag = on;
        Service(run.program, run.frame, kSetFlag, call);
    };
    auto testFlag = [&](LONG mask) {
        ServiceCall call;
        call.window = reinterpret_cast<LONG_PTR>(window);
        call.value = mask;
        return Service(run.program, run.frame, kTestFlag, call);
    };
    ASSERT_EQ(testFlag(kColor), 1);
    setFlag(kColor, 2);
    EXPECT_EQ(testFlag(kColor), 0);
    setFlag(kColor, 1);
    EXPECT_EQ(testFlag(kColor), 1);
    setFlag(kColor, -1);
    EXPECT_EQ(testFlag(kColor), 0);
    setFlag(kModified | kUntitled, 1);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFlags), kModified | kUntitled | kRaster);
    EXPECT_EQ(testFlag(kColor | kUntitled), 1);
    setFlag(kModified | kUntitled, 0);
    EXPECT_EQ(testFlag(kColor | kUntitled | kModified), 0);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFlags), kRaster);
}

TEST(ImageRecord, CopiesAreNewObjectsAndTheRecordKeepsItsOwn)
{
    const std::string path = WriteBmpFile("copies.bmp", ColourDib8());
    CoreValueGuard guard{"screen_bitmaps"};
    SetCoreValue("screen_bitmaps", "0");
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    const int kGetDib = 4, kGetBitmap = 5, kGetPalette = 6, kCopyDib = 7, kCopyBitmap = 8, kCopyPalette = 9;
    for (int get : {kGetDib, kGetBitmap, kGetPalette}) {
        const LONG_PTR own = Service(run.program, run.frame, get, call);
        const LONG_PTR copy = Service(run.program, run.frame, get + 3, call);
        EXPECT_NE(own, 0) << get;
        EXPECT_NE(copy, 0) << get;
        EXPECT_NE(copy, own) << get;
        // The record's own object stays in place.
        EXPECT_EQ(Service(run.program, run.frame, get, call), own) << get;
    }
    EXPECT_EQ(Service(run.program, run.frame, kGetDib, call), Attr(run.program, run.frame, window, kDib));
    // A 24-bit image has no palette, and its copy is none either.
    SetImage(run.program, run.frame, window, GrayPixelsDib24());
    EXPECT_EQ(Service(run.program, run.frame, kGetPalette, call), 0);
    EXPECT_EQ(Service(run.program, run.frame, kCopyPalette, call), 0);
    EXPECT_NE(Service(run.program, run.frame, kCopyBitmap, call), 0);
    EXPECT_NE(Service(run.program, run.frame, kCopyDib, call), 0);
}

TEST(ImageRecord, NewWindowHasNoImageAndTakesItsDepthFromABlankInfo)
{
    Started run(kNoLogo);
    ASSERT_NE(run.frame, nullptr);
    HWND window = reinterpret_cast<HWND>(Service(run.program, run.frame, kNewWindow, {}));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(WindowText(window), "Image1");
    // No load has run: the info is blank (unknown), so the depth is 4 and the image colour.
    EXPECT_EQ(Attr(run.program, run.frame, window, kFlags), kUntitled | kColor);
    EXPECT_EQ(Attr(run.program, run.frame, window, kBits), 4);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFormat), -1);
    EXPECT_EQ(Attr(run.program, run.frame, window, kDib), 0);
    EXPECT_EQ(Attr(run.program, run.frame, window, kBitmap), 0);
}

TEST(ImageRecord, SetImageMarksModifiedAndDetectsGrayPalettesOnly)
{
    const std::string path = WriteBmpFile("gray.bmp", ColourDib8());
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    Program& p = run.program;
    // A 24-bit image of gray pixels has no table to look at: it stays colour.
    const LONG_PTR handle = SetImage(p, run.frame, window, GrayPixelsDib24());
    EXPECT_EQ(Attr(p, run.frame, window, kDib), handle);
    EXPECT_EQ(Attr(p, run.frame, window, kFlags), kColor | kRaster | kModified);
    // A gray table turns the colour image gray.
    SetImage(p, run.frame, window, GrayDib8());
    EXPECT_EQ(Attr(p, run.frame, window, kFlags), kRaster | kModified);
    // And a gray image never turns colour here.
    SetImage(p, run.frame, window, ColourDib8());
    EXPECT_EQ(Attr(p, run.frame, window, kFlags), kRaster | kModified);
    // The window follows the image's size.
    RECT client{};
    GetClientRect(window, &client);
    EXPECT_EQ(client.right, kColourWidth);
    EXPECT_EQ(client.bottom, kColourHeight);
}

TEST(ImageRecord, SetImageWithKeepUndoSwapsTheTwoRecords)
{
    const std::string path = WriteBmpFile("undo.bmp", ColourDib8());
    CoreValueGuard guard{"keep_undo"};
    SetCoreValue("keep_undo", "1");
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    const int undoWord = sizeof(LONG_PTR);
    // Creation set the attributes in a first record; putting the loaded image
    // in kept that (imageless) record in the undo word.
    const LONG_PTR created = GetWindowLongPtrA(window, undoWord);
    const LONG_PTR loaded = GetWindowLongPtrA(window, 0);
    ASSERT_NE(loaded, 0);
    ASSERT_NE(created, 0);
    ASSERT_NE(created, loaded);
    const LONG_PTR loadedDib = Attr(run.program, run.frame, window, kDib);

    SetImage(run.program, run.frame, window, GrayPixelsDib24());
    // The loaded record went to the undo word whole; the older one is reused as current.
    EXPECT_EQ(GetWindowLongPtrA(window, 0), created);
    EXPECT_EQ(GetWindowLongPtrA(window, undoWord), loaded);
    EXPECT_NE(Attr(run.program, run.frame, window, kDib), loadedDib);
    // The new state inherits the attributes: depth and format of the load.
    EXPECT_EQ(Attr(run.program, run.frame, window, kBits), 8);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFormat), RowOf(run.program, run.frame, "X.BMP"));

    SetImage(run.program, run.frame, window, ColourDib8());
    EXPECT_EQ(GetWindowLongPtrA(window, 0), loaded);
    EXPECT_EQ(GetWindowLongPtrA(window, undoWord), created);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFormat), RowOf(run.program, run.frame, "X.BMP"));
}

TEST(ImageRecord, WithoutKeepUndoTheRecordIsReused)
{
    const std::string path = WriteBmpFile("noundo.bmp", ColourDib8());
    CoreValueGuard guard{"keep_undo"};
    SetCoreValue("keep_undo", "0");
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = WaitForImageWindow(run.frame, 8000);
    ASSERT_NE(window, nullptr);
    const LONG_PTR record = GetWindowLongPtrA(window, 0);
    SetImage(run.program, run.frame, window, GrayPixelsDib24());
    EXPECT_EQ(GetWindowLongPtrA(window, 0), record);
    EXPECT_EQ(GetWindowLongPtrA(window, sizeof(LONG_PTR)), 0);
    EXPECT_EQ(Attr(run.program, run.frame, window, kFlags), kColor | kRaster | kModified);
}

// The device bitmap a DIB gets under each screen_bitmaps value on this 24-bit screen.
TEST(ImageRecord, ScreenBitmapsDecidesWhichImagesGetADeviceBitmap)
{
    HDC screen = GetDC(nullptr);
    const int screenBits = GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES);
    ReleaseDC(nullptr, screen);
    ASSERT_GE(screenBits, 16) << "the rules below are for a deep screen";
    const std::string path = WriteBmpFile("bitmaps.bmp", ColourDib8());
    CoreValueGuard guard{"screen_bitmaps"};
    struct Case {
        const char* setting;
        bool for8, for16, for24;
    };
    // 1 says "Don't use on 16-bit and 24-bit images", yet a 16-bit DIB gets one.
    for (const Case& c : {Case{"0", true, true, true}, Case{"1", true, true, false}, Case{"2", false, false, false}}) {
        SetCoreValue("screen_bitmaps", c.setting);
        Started run(std::string(kNoLogo) + " " + path);
        ASSERT_NE(run.frame, nullptr);
        HWND window = WaitForImageWindow(run.frame, 8000);
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(Attr(run.program, run.frame, window, kBitmap) != 0, c.for8) << c.setting;
        SetImage(run.program, run.frame, window, Dib16());
        EXPECT_EQ(Attr(run.program, run.frame, window, kBitmap) != 0, c.for16) << c.setting;
        SetImage(run.program, run.frame, window, GrayPixelsDib24());
        EXPECT_EQ(Attr(run.program, run.frame, window, kBitmap) != 0, c.for24) << c.setting;
    }
}

TEST(ImageRecord, WindowPaintsItsImage)
{
    // Left half red, right half blue, 20 by 10, through the device bitmap and without.
    CoreValueGuard guard{"screen_bitmaps"};
    for (const char* setting : {"0", "2"}) {
        SetCoreValue("screen_bitmaps", setting);
        Started run(kNoLogo);
        ASSERT_NE(run.frame, nullptr);
        HWND window = reinterpret_cast<HWND>(Service(run.program, run.frame, kNewWindow, {}));
        ASSERT_NE(window, nullptr);
        SetImage(run.program, run.frame, window, PackedDib(20, 10, 24, {}, [](int x, int) {
                     return x < 10 ? 0xFF0000u : 0x0000FFu;
                 }));
        Sleep(300);
        POINT origin{0, 0};
        ClientToScreen(window, &origin);
        Image shot;
        ASSERT_TRUE(CaptureScreenRect(RECT{origin.x, origin.y, origin.x + 20, origin.y + 10}, &shot));
        EXPECT_EQ(shot.Count(RECT{0, 0, 10, 10}, 0xFF0000u), 100) << setting;
        EXPECT_EQ(shot.Count(RECT{10, 0, 20, 10}, 0x0000FFu), 100) << setting;
    }
}

// ---- the end ------------------------------------------------------------------------------------

TEST(Shutdown, ExitStoresTheCurrentFormatsInTheProfileStore)
{
    const std::string path = WriteBmpFile("formats.bmp", ColourDib8());
    DeleteCoreValue("load_proc");
    DeleteCoreValue("save_proc");
    CoreValueGuard loadGuard{"load_proc"}, saveGuard{"save_proc"};
    LONG bmpRow = -1, dibRow = -1;
    {
        Started run(std::string(kNoLogo) + " " + path);
        ASSERT_NE(run.frame, nullptr);
        ASSERT_NE(WaitForImageWindow(run.frame, 8000), nullptr);
        bmpRow = RowOf(run.program, run.frame, "X.BMP");
        dibRow = RowOf(run.program, run.frame, "X.DIB");
        ASSERT_NE(bmpRow, dibRow);
        // Exit asks nothing, even with an image open.
        PostMessageA(run.frame, WM_COMMAND, 264, 0);
        DWORD code = 0xFFFFFFFF;
        ASSERT_TRUE(run.program.WaitForExit(5000, &code));
        EXPECT_EQ(code, 0u);
    }
    std::string text;
    DWORD type = 0;
    ASSERT_TRUE(ReadCoreValue("load_proc", &text, &type));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(text, std::to_string(bmpRow));
    ASSERT_TRUE(ReadCoreValue("save_proc", &text, &type));
    EXPECT_EQ(text, std::to_string(dibRow));

    // The next start takes them up as its current formats.
    Started again(kNoLogo);
    ASSERT_NE(again.frame, nullptr);
    ServiceCall current;
    LONG_PTR ignored = 0;
    ASSERT_TRUE(again.program.CallService(again.frame, kCurrentIds, &current, &ignored));
    ServiceCall bmp;
    bmp.row = bmpRow;
    EXPECT_EQ(current.value, Service(again.program, again.frame, kGetId, bmp));
}

TEST(Shutdown, EndOfSessionWritesTheSettingsWithoutALoop)
{
    const std::string path = WriteBmpFile("session.bmp", ColourDib8());
    DeleteCoreValue("load_proc");
    CoreValueGuard loadGuard{"load_proc"}, saveGuard{"save_proc"};
    Started run(std::string(kNoLogo) + " " + path);
    ASSERT_NE(run.frame, nullptr);
    ASSERT_NE(WaitForImageWindow(run.frame, 8000), nullptr);
    const LONG bmpRow = RowOf(run.program, run.frame, "X.BMP");
    // The frame asks its children; an image window lets the session end.
    EXPECT_EQ(SendMessageA(run.frame, WM_QUERYENDSESSION, 0, 0), 1);
    std::string text;
    DWORD type = 0;
    EXPECT_FALSE(ReadCoreValue("load_proc", &text, &type));
    // A false end changes nothing; a true one writes at once.
    SendMessageA(run.frame, WM_ENDSESSION, FALSE, 0);
    EXPECT_FALSE(ReadCoreValue("load_proc", &text, &type));
    SendMessageA(run.frame, WM_ENDSESSION, TRUE, 0);
    ASSERT_TRUE(ReadCoreValue("load_proc", &text, &type));
    EXPECT_EQ(text, std::to_string(bmpRow));
}

}  // namespace
