// The user's loop through the real program: open an image, look at it,
// change its colours, save it in another format; the menus, the status bars,
// the questions before closing, the Last Files list, drag and drop, scrolling.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {

const char kNoLogo[] = "/NOLOGO";
const char kImageClass[] = "GenericWClass";
const char kCoreKey[] = "Software\\Korvanta\\3.50\\Core";
const int kClientId = 3244;
const int kSystemBarId = 0x1234, kLocalBarId = 0x1235;

// Frame services and record attributes, as other programs name them.
const int kGetAttr = 0, kSetAttr = 1, kSetFlag = 3, kSetImage = 11, kOpenFile = 31, kFromFileName = 58;
const LONG kFlags = 0, kDib = 4, kBits = 24, kCompressed = 28, kFormat = 32, kScrollX = 44, kScrollY = 48,
           kFileSize = 52;
const LONG kModified = 0x1, kColor = 0x4;

// Controls of the common Save and Open dialogs, and of the option column.
const int kNameField = 1152, kFilterCombo = 1136, kHelpButton = 1038;
const int kOption1 = 0xF001, kOption4 = 0xF002, kOption8 = 0xF004, kOption16 = 0xF008, kOption24 = 0xF010,
          kOption32 = 0xF020, kOptionColor = 0xF040, kOptionGray = 0xF080, kOptionCompressed = 0xF100;

// ---- fixtures made in code ----------------------------------------------------------------

// A packed DIB of 8 or 24 bits; pixel(x, y), counted from the top, gives the
// index or 0xRRGGBB.
std::vector<BYTE> MakeDib(int width, int height, int bits, const std::vector<RGBQUAD>& table,
                          const std::function<DWORD(int, int)>& pixel)
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
            } else {
                row[3 * x] = static_cast<BYTE>(p);
                row[3 * x + 1] = static_cast<BYTE>(p >> 8);
                row[3 * x + 2] = static_cast<BYTE>(p >> 16);
            }
        }
    }
    return dib;
}

// A true-colour picture of 200 by 120 with thousands of colours: no two
// neighbours alike, so a shifted or scaled picture can't pass for it.
const int kWidth = 200, kHeight = 120;
DWORD Colourful(int x, int y)
{
    return static_cast<DWORD>((x * 5) & 255) << 16 | static_cast<DWORD>((y * 2 + x / 40 * 37) & 255) << 8 |
           static_cast<DWORD>((x + y) * 3 & 255);
}
std::vector<BYTE> ColourfulDib() { return MakeDib(kWidth, kHeight, 24, {}, Colourful); }

// A ramp of 256 distinct colours for 8-bit pictures.
std::vector<RGBQUAD> Ramp()
{
    std::vector<RGBQUAD> table;
    for (int i = 0; i < 256; ++i)
        table.push_back({static_cast<BYTE>(i * 7), static_cast<BYTE>(255 - i), static_cast<BYTE>(i), 0});
    return table;
}
DWORD RampColour(int index)
{
    const RGBQUAD q = Ramp()[static_cast<size_t>(index & 255)];
    return static_cast<DWORD>(q.rgbRed) << 16 | static_cast<DWORD>(q.rgbGreen) << 8 | q.rgbBlue;
}

std::string Folder()
{
    char base[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, base);
    std::string folder = std::string(base) + "kv_loop";
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

std::string PathOf(const std::string& name) { return Folder() + "\\" + name; }

std::string WriteBmp(const std::string& name, const std::vector<BYTE>& dib)
{
    const std::string path = PathOf(name);
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

std::vector<BYTE> ReadFileBytes(const std::string& path)
{
    std::vector<BYTE> bytes;
    HANDLE in = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (in == INVALID_HANDLE_VALUE)
        return bytes;
    bytes.resize(GetFileSize(in, nullptr));
    DWORD got = 0;
    if (!bytes.empty())
        ReadFile(in, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr);
    CloseHandle(in);
    bytes.resize(got);
    return bytes;
}

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string Upper(std::string text)
{
    CharUpperBuffA(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

// ---- the profile store --------------------------------------------------------------------

void SetCore(const char* name, const std::string& text)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(text.size() + 1));
    RegCloseKey(key);
}

void DeleteCore(const char* name)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_SET_VALUE, &key) == ERROR_SUCCESS) {
        RegDeleteValueA(key, name);
        RegCloseKey(key);
    }
}

std::string ReadCore(const char* name)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return {};
    char buffer[512] = {};
    DWORD size = sizeof buffer - 1;
    RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return buffer;
}

// Settings a scenario gives are taken away again, whatever its outcome.
struct CoreGuard {
    std::vector<const char*> names;
    explicit CoreGuard(std::vector<const char*> list) : names(std::move(list))
    {
        for (const char* name : names)
            DeleteCore(name);
    }
    ~CoreGuard()
    {
        for (const char* name : names)
            DeleteCore(name);
    }
};

// ---- the program ------------------------------------------------------------------------

template <typename Pred>
bool Within(DWORD timeoutMs, Pred pred)
{
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    for (;;) {
        if (pred())
            return true;
        if (GetTickCount64() >= end)
            return false;
        Sleep(50);
    }
}

struct Session {
    Program program;
    HWND frame = nullptr;

    explicit Session(const std::string& args = "")
    {
        if (program.Start(args.empty() ? kNoLogo : std::string(kNoLogo) + " " + args))
            frame = program.WaitForFrame();
    }

    HWND Client() const { return GetDlgItem(frame, kClientId); }

    std::vector<HWND> Windows() const
    {
        std::vector<HWND> found;
        for (HWND child = GetWindow(Client(), GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
            if (ClassName(child) == kImageClass)
                found.push_back(child);
        return found;
    }

    // Waits for the count of image windows to reach count; the newest window (first in Z order).
    HWND WaitForWindows(size_t count, DWORD timeoutMs = 8000) const
    {
        HWND newest = nullptr;
        Within(timeoutMs, [&] {
            std::vector<HWND> windows = Windows();
            if (windows.size() != count)
                return false;
            newest = windows.empty() ? nullptr : windows.front();
            return true;
        });
        return newest;
    }

    LONG_PTR Service(int item, ServiceCall call)
    {
        LONG_PTR result = -12345;
        EXPECT_TRUE(program.CallService(frame, item, &call, &result)) << "service " << item;
        return result;
    }

    LONG_PTR Attr(HWND window, LONG attribute)
    {
        ServiceCall call;
        call.window = reinterpret_cast<LONG_PTR>(window);
        call.attribute = attribute;
        return Service(kGetAttr, call);
    }

    void SetAttr(HWND window, LONG attribute, LONG_PTR value)
    {
        ServiceCall call;
        call.window = reinterpret_cast<LONG_PTR>(window);
        call.attribute = attribute;
        call.value = value;
        Service(kSetAttr, call);
    }

    void SetFlag(HWND window, LONG mask, LONG on)
    {
        ServiceCall call;
        call.window = reinterpret_cast<LONG_PTR>(window);
        call.value = mask;
        call.flag = on;
        Service(kSetFlag, call);
    }

    LONG Row(const char* name)
    {
        ServiceCall call;
        call.hasText = true;
        call.text = name;
        return static_cast<LONG>(Service(kFromFileName, call));
    }

    // Opens a file in the program as an outside program does (service 31 with a block).
    HWND OpenFile(const std::string& path)
    {
        ServiceCall call;
        call.hasText = true;
        call.text = path;
        call.row = Row(path.c_str());
        return reinterpret_cast<HWND>(Service(kOpenFile, call));
    }

    void Command(WPARAM id) { PostMessageA(frame, WM_COMMAND, id, 0); }

    // A message box of the program (a dialog with the static text 0xFFFF).
    HWND WaitForBox(DWORD timeoutMs = 8000) const
    {
        HWND box = nullptr;
        Within(timeoutMs, [&] {
            for (HWND window : TopLevelWindows(program.Pid(), "#32770"))
                if (GetDlgItem(window, 0xFFFF)) {
                    box = window;
                    return true;
                }
            return false;
        });
        return box;
    }

    // The common file dialog (the one with the name field).
    HWND WaitForFileDialog(DWORD timeoutMs = 8000) const
    {
        HWND dialog = nullptr;
        Within(timeoutMs, [&] {
            for (HWND window : TopLevelWindows(program.Pid(), "#32770"))
                if (GetDlgItem(window, kNameField)) {
                    dialog = window;
                    return true;
                }
            return false;
        });
        return dialog;
    }

    bool NoDialogs() const { return TopLevelWindows(program.Pid(), "#32770").empty(); }
};

// Answers a box by its button; the box must go.
void Answer(HWND box, int button)
{
    ASSERT_NE(box, nullptr);
    ASSERT_TRUE(PressButton(box, button));
    EXPECT_TRUE(WaitForWindowGone(box, 5000));
}

// The client area of a window on the screen.
Image ClientShot(HWND window, int width, int height)
{
    Image shot;
    POINT origin{0, 0};
    ClientToScreen(window, &origin);
    EXPECT_TRUE(CaptureScreenRect(RECT{origin.x, origin.y, origin.x + width, origin.y + height}, &shot));
    return shot;
}

SIZE ClientSize(HWND window)
{
    RECT rect{};
    GetClientRect(window, &rect);
    return SIZE{rect.right, rect.bottom};
}

// ---- the dialogs ---------------------------------------------------------------------------

// Selects the filter whose text begins with prefix, as a user picking it in the list.
bool ChooseFilter(HWND dialog, const char* prefix)
{
    HWND combo = GetDlgItem(dialog, kFilterCombo);
    DWORD_PTR index = 0;
    if (!SendMessageTimeoutA(combo, CB_FINDSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(prefix),
                             SMTO_NORMAL, 5000, &index) ||
        static_cast<LRESULT>(index) == CB_ERR)
        return false;
    DWORD_PTR ignored = 0;
    SendMessageTimeoutA(combo, CB_SETCURSEL, index, 0, SMTO_NORMAL, 5000, &ignored);
    SendMessageTimeoutA(dialog, WM_COMMAND, MAKEWPARAM(kFilterCombo, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo),
                        SMTO_NORMAL, 5000, &ignored);
    return true;
}

void SetName(HWND dialog, const std::string& name)
{
    DWORD_PTR ignored = 0;
    SendMessageTimeoutA(GetDlgItem(dialog, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name.c_str()),
                        SMTO_NORMAL, 5000, &ignored);
}

bool Checked(HWND dialog, int id)
{
    DWORD_PTR state = 0;
    SendMessageTimeoutA(GetDlgItem(dialog, id), BM_GETCHECK, 0, 0, SMTO_NORMAL, 5000, &state);
    return state == BST_CHECKED;
}

bool Enabled(HWND dialog, int id) { return IsWindowEnabled(GetDlgItem(dialog, id)) != 0; }

// Save As up to the dialog.
HWND OpenSaveAs(Session& run)
{
    run.Command(259);
    return run.WaitForFileDialog();
}

// Opens a file through File Open's dialog, as the user types its name.
HWND OpenThroughDialog(Session& run, const std::string& path, size_t windowsAfter)
{
    run.Command(257);
    HWND dialog = run.WaitForFileDialog();
    EXPECT_NE(dialog, nullptr);
    if (!dialog)
        return nullptr;
    SetName(dialog, path);
    EXPECT_TRUE(PressButton(dialog, IDOK));
    EXPECT_TRUE(WaitForWindowGone(dialog, 5000));
    return run.WaitForWindows(windowsAfter);
}

// kvconvert.exe beside KORVANTA.EXE: the batch conversion of the same engine.
bool Convert(const std::string& args)
{
    std::string exe = KorvantaPath();
    exe = exe.substr(0, exe.find_last_of('\\') + 1) + "kvconvert.exe";
    std::string commandLine = "\"" + exe + "\" " + args;
    std::vector<char> buffer(commandLine.begin(), commandLine.end());
    buffer.push_back('\0');
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(nullptr, buffer.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info))
        return false;
    const bool ended = WaitForSingleObject(info.hProcess, 60000) == WAIT_OBJECT_0;
    DWORD code = 1;
    GetExitCodeProcess(info.hProcess, &code);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return ended && code == 0;
}

// ---- menus ------------------------------------------------------------------------------------

const MenuEntry* Find(const std::vector<MenuEntry>& items, UINT id)
{
    for (const MenuEntry& item : items) {
        if (item.id == id && !item.popup)
            return &item;
        if (item.popup)
            if (const MenuEntry* found = Find(item.items, id))
                return found;
    }
    return nullptr;
}

bool Grayed(const std::vector<MenuEntry>& bar, UINT id)
{
    const MenuEntry* item = Find(bar, id);
    EXPECT_NE(item, nullptr) << id;
    return item ? item->IsGrayed() : true;
}

std::vector<MenuEntry> OpenedMenus(Session& run)
{
    std::vector<MenuEntry> bar;
    EXPECT_TRUE(run.program.ReadMenuBar(run.frame, &bar, true));
    return bar;
}

// The Colors popup of the bar (position 3).
const MenuEntry& Colors(const std::vector<MenuEntry>& bar) { return bar.at(3); }

void EmptyTheClipboard()
{
    if (OpenClipboard(nullptr)) {
        EmptyClipboard();
        CloseClipboard();
    }
}

}  // namespace

// ---- opening and looking -------------------------------------------------------------------------

TEST(UserLoop, OpenedTrueColourBmpShowsExactlyItsPixels)
{
    const std::string path = WriteBmp("colourful.bmp", ColourfulDib());
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(ClientSize(window).cx, kWidth);
    EXPECT_EQ(ClientSize(window).cy, kHeight);
    EXPECT_EQ(GetWindowLongA(window, GWL_STYLE) & (WS_HSCROLL | WS_VSCROLL), 0);
    Sleep(500);
    const Image shot = ClientShot(window, kWidth, kHeight);
    int wrong = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            wrong += shot.At(x, y) != Colourful(x, y);
    EXPECT_EQ(wrong, 0);
}

TEST(UserLoop, OptimizedCutThenSaveAsRleWritesWhatTheConverterWrites)
{
    const std::string input = WriteBmp("tocut.bmp", ColourfulDib());
    const std::string output = PathOf("CUT.RLE"), reference = PathOf("reference.rle");
    DeleteFileA(output.c_str());
    DeleteFileA(reference.c_str());
    CoreGuard guard({"save_warn_colorloss"});
    Session run(input);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const LONG rle = run.Row("X.RLE");

    // Colors, 256 Colors, Optimized Cut.
    run.Command(1842);
    ASSERT_TRUE(Within(10000, [&] { return run.Attr(window, kBits) == 8; }));
    EXPECT_EQ(run.Attr(window, kFlags) & (kModified | kColor), kModified | kColor);
    const std::vector<MenuEntry> bar = OpenedMenus(run);
    EXPECT_TRUE(Colors(bar).items.at(5).IsChecked());
    EXPECT_FALSE(Colors(bar).items.at(7).IsChecked());

    HWND dialog = OpenSaveAs(run);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ControlText(dialog, kHelpButton), "Formats>>");
    // The BMP row of the load: 8 bits and colour, as the document is.
    EXPECT_TRUE(Checked(dialog, kOption8));
    EXPECT_TRUE(Checked(dialog, kOptionColor));
    EXPECT_TRUE(Enabled(dialog, kOption24));

    ASSERT_TRUE(ChooseFilter(dialog, "RLE-"));
    const std::string name = ControlText(dialog, kNameField);
    EXPECT_EQ(Upper(name), "TOCUT.RLE") << name;
    // RLE holds 1, 4 and 8 bits, always compressed.
    for (int id : {kOption1, kOption4, kOption8, kOptionColor, kOptionGray})
        EXPECT_TRUE(Enabled(dialog, id)) << std::hex << id;
    for (int id : {kOption16, kOption24, kOption32, kOptionCompressed})
        EXPECT_FALSE(Enabled(dialog, id)) << std::hex << id;
    EXPECT_TRUE(Checked(dialog, kOption8));
    EXPECT_TRUE(Checked(dialog, kOptionCompressed));
    EXPECT_FALSE(Checked(dialog, kOption24));

    // "Formats>>" shows the column: the dialog grows over it.
    RECT before{}, after{}, column{};
    GetWindowRect(dialog, &before);
    ASSERT_TRUE(PressButton(dialog, kHelpButton));
    ASSERT_TRUE(Within(3000, [&] {
        GetWindowRect(dialog, &after);
        return after.right > before.right;
    }));
    GetWindowRect(GetDlgItem(dialog, kOption1), &column);
    EXPECT_LE(column.right, after.right);
    EXPECT_GE(column.left, before.right - 4);

    SetName(dialog, output);
    ASSERT_TRUE(PressButton(dialog, IDOK));
    ASSERT_TRUE(WaitForWindowGone(dialog, 5000));
    ASSERT_TRUE(Within(10000, [&] { return Upper(WindowText(window)) == Upper(output); }));
    EXPECT_EQ(run.Attr(window, kFormat), rle);
    EXPECT_EQ(run.Attr(window, kCompressed), 1);
    EXPECT_EQ(run.Attr(window, kFlags) & kModified, 0);
    const std::vector<BYTE> written = ReadFileBytes(output);
    ASSERT_FALSE(written.empty());
    EXPECT_EQ(run.Attr(window, kFileSize), static_cast<LONG_PTR>(written.size()));

    // The batch converter of the same engine writes the same bytes.
    ASSERT_TRUE(Convert("-q -t rle -d 8 --optimized --no-dither \"" + input + "\" -o \"" + reference + "\""));
    EXPECT_TRUE(written == ReadFileBytes(reference)) << written.size() << " " << ReadFileBytes(reference).size();

    // Opened again it is the same picture, 8 bits, compressed, RLE.
    HWND again = run.OpenFile(output);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(run.Attr(again, kBits), 8);
    EXPECT_EQ(run.Attr(again, kCompressed), 1);
    EXPECT_EQ(run.Attr(again, kFormat), rle);
    SendMessageA(run.Client(), WM_MDITILE, MDITILE_VERTICAL, 0);
    Sleep(500);
    const Image first = ClientShot(window, kWidth / 2, kHeight / 2);
    const Image second = ClientShot(again, kWidth / 2, kHeight / 2);
    EXPECT_TRUE(first.pixels == second.pixels);
}

TEST(UserLoop, ColourLossQuestionAnsweredNoLeavesThePixels)
{
    const std::string input = WriteBmp("loss.bmp", ColourfulDib());
    const std::string output = PathOf("LOSS.GIF");
    DeleteFileA(output.c_str());
    CoreGuard guard({"save_warn_colorloss"});
    SetCore("save_warn_colorloss", "1");
    Session run(input);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    const LONG_PTR dib = run.Attr(window, kDib);
    const std::string title = WindowText(window);
    const LONG gif = run.Row("X.GIF");

    HWND dialog = OpenSaveAs(run);
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(ChooseFilter(dialog, "GIF-"));
    // GIF can't hold 24 bits: the nearest depth is 8, compressed.
    EXPECT_TRUE(Checked(dialog, kOption8));
    EXPECT_TRUE(Checked(dialog, kOptionCompressed));
    SetName(dialog, output);
    ASSERT_TRUE(PressButton(dialog, IDOK));
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "About to destroy color information, continue?");
    Answer(box, IDNO);
    Sleep(300);
    EXPECT_FALSE(Exists(output));
    EXPECT_EQ(run.Attr(window, kDib), dib);
    EXPECT_EQ(run.Attr(window, kBits), 24);
    EXPECT_EQ(WindowText(window), title);
    // The format is already the chosen one; the pixels are untouched.
    EXPECT_EQ(run.Attr(window, kFormat), gif);
    const Image shot = ClientShot(window, kWidth, kHeight);
    for (POINT p : {POINT{0, 0}, POINT{57, 13}, POINT{199, 119}, POINT{120, 80}})
        EXPECT_EQ(shot.At(p.x, p.y), Colourful(p.x, p.y)) << p.x << "," << p.y;

    // Yes goes on: reduced to 8 bits and written.
    dialog = OpenSaveAs(run);
    ASSERT_NE(dialog, nullptr);
    SetName(dialog, output);
    ASSERT_TRUE(PressButton(dialog, IDOK));
    Answer(run.WaitForBox(), IDYES);
    ASSERT_TRUE(Within(10000, [&] { return Exists(output) && run.Attr(window, kBits) == 8; }));
    EXPECT_NE(run.Attr(window, kDib), dib);
    EXPECT_EQ(run.Attr(window, kCompressed), 1);
}

TEST(UserLoop, SaveAsRefusesTooLongAnExtensionAndAnUntitledImageGoesToSaveAs)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    // File Save of a window without an image.
    run.Command(256);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    run.Command(258);
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "There is no image to save");
    Answer(box, IDOK);

    // With an image but no format, Save is Save As; a cancel gives the format back.
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.dib = ColourfulDib();
    run.Service(kSetImage, call);
    ASSERT_EQ(run.Attr(window, kFormat), -1);
    run.Command(258);
    HWND dialog = run.WaitForFileDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(Upper(ControlText(dialog, kNameField)).substr(0, 7), "IMAGE1.");
    EXPECT_NE(run.Attr(window, kFormat), -1);
    Answer(dialog, IDCANCEL);
    EXPECT_EQ(run.Attr(window, kFormat), -1);

    // An extension of four characters is refused after the dialog.
    dialog = OpenSaveAs(run);
    ASSERT_NE(dialog, nullptr);
    const std::string output = PathOf("x.abcd");
    DeleteFileA(output.c_str());
    SetName(dialog, output);
    ASSERT_TRUE(PressButton(dialog, IDOK));
    box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "Illegal DOS extension -- extension too long");
    Answer(box, IDOK);
    EXPECT_FALSE(Exists(output));
    EXPECT_EQ(WindowText(window), "Image1");
}

TEST(UserLoop, NewWindowsAreNumberedOnWhateverWasClosed)
{
    Session run;
    ASSERT_NE(run.frame, nullptr);
    run.Command(256);
    HWND first = run.WaitForWindows(1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(WindowText(first), "Image1");
    run.Command(256);
    HWND second = run.WaitForWindows(2);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(WindowText(second), "Image2");
    // An empty window closes without a question.
    PostMessageA(second, WM_CLOSE, 0, 0);
    ASSERT_TRUE(WaitForWindowGone(second, 5000));
    run.Command(256);
    HWND third = run.WaitForWindows(2);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(WindowText(third), "Image3");
    EXPECT_TRUE(run.NoDialogs());
}

// ---- Last Files -----------------------------------------------------------------------------------

TEST(UserLoop, LastFilesHoldsTheFilesOpenedThroughTheDialogNewestFirst)
{
    CoreGuard guard({"FIL_FILENAME1", "FIL_FILENAME2", "FIL_FILENAME3", "FIL_FILENAME4", "FIL_FILENAME5",
                     "FILEDIRECTORY"});
    const std::string onCommandLine = WriteBmp("command.bmp", ColourfulDib());
    std::vector<std::string> files;
    for (int i = 1; i <= 6; ++i)
        files.push_back(WriteBmp("last" + std::to_string(i) + ".bmp", ColourfulDib()));

    Session run(onCommandLine);
    ASSERT_NE(run.frame, nullptr);
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    std::vector<MenuEntry> bar = OpenedMenus(run);
    const MenuEntry* last = &bar.at(0).items.at(10);
    ASSERT_EQ(last->id, 272u);
    ASSERT_EQ(last->items.size(), 1u);
    EXPECT_EQ(last->items[0].text, "None");
    EXPECT_TRUE(last->items[0].IsGrayed());

    for (size_t i = 0; i < files.size(); ++i)
        ASSERT_NE(OpenThroughDialog(run, files[i], i + 2), nullptr) << files[i];
    // The five newest, newest first, in the store and in the menu.
    for (int slot = 1; slot <= 5; ++slot)
        EXPECT_EQ(Upper(ReadCore(("FIL_FILENAME" + std::to_string(slot)).c_str())), Upper(files[6 - slot])) << slot;
    EXPECT_FALSE(ReadCore("FILEDIRECTORY").empty());
    bar = OpenedMenus(run);
    last = &bar.at(0).items.at(10);
    ASSERT_EQ(last->items.size(), 5u);
    for (int slot = 1; slot <= 5; ++slot) {
        EXPECT_EQ(last->items[slot - 1].id, static_cast<UINT>(272 + slot));
        EXPECT_EQ(Upper(last->items[slot - 1].text), "&" + std::to_string(slot) + ". LAST" + std::to_string(7 - slot) + ".BMP");
    }

    // Opening from the list itself changes nothing in it.
    run.Command(275);
    HWND opened = run.WaitForWindows(8);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(Upper(WindowText(opened)), Upper(files[3]));
    for (int slot = 1; slot <= 5; ++slot)
        EXPECT_EQ(Upper(ReadCore(("FIL_FILENAME" + std::to_string(slot)).c_str())), Upper(files[6 - slot])) << slot;
}

// ---- closing --------------------------------------------------------------------------------------

TEST(UserLoop, ClosingAModifiedWindowAsksAndCancelKeepsIt)
{
    const std::string path = WriteBmp("modified.bmp", ColourfulDib());
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    // Colors, Gray changes the image.
    run.Command(1281);
    ASSERT_TRUE(Within(5000, [&] { return (run.Attr(window, kFlags) & kModified) != 0; }));

    run.Command(265);
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), Upper(path) + " has been changed.  Save file before closing?");
    EXPECT_EQ(WindowText(box), "Korvanta");
    EXPECT_EQ(GetWindow(box, GW_OWNER), run.frame);
    Answer(box, IDCANCEL);
    Sleep(200);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(run.Attr(window, kFlags) & kModified, kModified);

    run.Command(265);
    Answer(run.WaitForBox(), IDNO);
    EXPECT_TRUE(WaitForWindowGone(window, 5000));
    // The file is as it was.
    EXPECT_EQ(ReadFileBytes(path).size(), sizeof(BITMAPFILEHEADER) + ColourfulDib().size());
}

TEST(UserLoop, CloseAllWithOneCancelClosesNothing)
{
    const std::string clean = WriteBmp("clean.bmp", ColourfulDib());
    const std::string changed = WriteBmp("changed.bmp", ColourfulDib());
    Session run(clean);
    ASSERT_NE(run.frame, nullptr);
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    HWND window = run.OpenFile(changed);
    ASSERT_NE(window, nullptr);
    run.SetFlag(window, kModified, 1);

    run.Command(2307);
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), Upper(changed) + " has been changed.  Save file before closing?");
    Answer(box, IDCANCEL);
    Sleep(300);
    EXPECT_EQ(run.Windows().size(), 2u);

    run.Command(2307);
    Answer(run.WaitForBox(), IDNO);
    EXPECT_EQ(run.WaitForWindows(0, 5000), nullptr);
    EXPECT_TRUE(run.Windows().empty());
}

TEST(UserLoop, ShiftHeldClosesWithoutAsking)
{
    const std::string one = WriteBmp("shift1.bmp", ColourfulDib());
    const std::string two = WriteBmp("shift2.bmp", ColourfulDib());
    Session run(one);
    ASSERT_NE(run.frame, nullptr);
    HWND first = run.WaitForWindows(1);
    ASSERT_NE(first, nullptr);
    HWND second = run.OpenFile(two);
    ASSERT_NE(second, nullptr);
    run.SetFlag(first, kModified, 1);
    run.SetFlag(second, kModified, 1);

    INPUT shift[2]{};
    shift[0].type = shift[1].type = INPUT_KEYBOARD;
    shift[0].ki.wVk = shift[1].ki.wVk = VK_SHIFT;
    shift[1].ki.dwFlags = KEYEVENTF_KEYUP;
    ASSERT_EQ(SendInput(1, &shift[0], sizeof(INPUT)), 1u);
    Sleep(200);
    // One window by its own close, then the rest by Close All.
    SendMessageA(second, WM_CLOSE, 0, 0);
    const bool secondGone = WaitForWindowGone(second, 3000);
    DWORD_PTR ignored = 0;
    SendMessageTimeoutA(run.frame, WM_COMMAND, 2307, 0, SMTO_NORMAL, 5000, &ignored);
    const bool firstGone = WaitForWindowGone(first, 3000);
    SendInput(1, &shift[1], sizeof(INPUT));
    EXPECT_TRUE(secondGone);
    EXPECT_TRUE(firstGone);
    EXPECT_TRUE(run.NoDialogs());
}

// ---- drag and drop ---------------------------------------------------------------------------------

TEST(UserLoop, DroppedFilesOpenOrReportWhyNot)
{
    CoreGuard guard({"FIL_FILENAME1"});
    const std::string unknown = WriteBmp("dropped.qqq", ColourfulDib());
    const std::string good = WriteBmp("dropped.bmp", ColourfulDib());
    const std::string missing = PathOf("missing.bmp");
    DeleteFileA(missing.c_str());
    Session run;
    ASSERT_NE(run.frame, nullptr);

    ASSERT_TRUE(run.program.DropFiles(run.frame, {unknown, good}));
    HWND box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "Drag & Drop: Unsupported file format, cannot load");
    Answer(box, IDOK);
    // The next file of the drop still opens, and doesn't enter Last Files.
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Upper(WindowText(window)), Upper(good));
    EXPECT_EQ(ReadCore("FIL_FILENAME1"), "");

    // A file that can't be read: the reader says why, then the drop says it failed.
    ASSERT_TRUE(run.program.DropFiles(run.frame, {missing}));
    box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    Answer(box, IDOK);
    box = run.WaitForBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box), "Drag & Drop: Cannot load the specified file");
    Answer(box, IDOK);
    EXPECT_EQ(run.Windows().size(), 1u);
}

// ---- status bars -------------------------------------------------------------------------------------

TEST(UserLoop, StatusBarsDescribeTheActiveImageAndTheHighlightedEntry)
{
    CoreGuard guard({"status_wnd"});
    const std::vector<BYTE> dib = ColourfulDib();
    const std::string path = WriteBmp("status.bmp", dib);
    Session run;
    ASSERT_NE(run.frame, nullptr);
    HWND system = GetDlgItem(run.frame, kSystemBarId);
    HWND local = GetDlgItem(run.frame, kLocalBarId);
    ASSERT_NE(system, nullptr);
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(ClassName(system), "StatusClass");
    EXPECT_TRUE(IsWindowVisible(system));
    EXPECT_TRUE(IsWindowVisible(local));

    // Both bars, the local one above, each a fortieth of the screen's height.
    const int bar = GetSystemMetrics(SM_CYSCREEN) / 40;
    RECT area{}, systemRect{}, localRect{}, clientRect{};
    GetClientRect(run.frame, &area);
    GetWindowRect(system, &systemRect);
    GetWindowRect(local, &localRect);
    GetWindowRect(run.Client(), &clientRect);
    MapWindowPoints(nullptr, run.frame, reinterpret_cast<POINT*>(&systemRect), 2);
    MapWindowPoints(nullptr, run.frame, reinterpret_cast<POINT*>(&localRect), 2);
    MapWindowPoints(nullptr, run.frame, reinterpret_cast<POINT*>(&clientRect), 2);
    EXPECT_EQ(systemRect.top, area.bottom - bar);
    EXPECT_EQ(systemRect.bottom, area.bottom);
    EXPECT_EQ(localRect.top, area.bottom - 2 * bar);
    EXPECT_EQ(localRect.right - localRect.left, area.right);
    EXPECT_EQ(clientRect.bottom, area.bottom - 2 * bar);

    EXPECT_EQ(WindowText(local), "<< No Active Image >>");
    EXPECT_EQ(WindowText(system).rfind("Physical Memory: (Used=", 0), 0u) << WindowText(system);

    HWND window = run.OpenFile(path);
    ASSERT_NE(window, nullptr);
    // 200 pixels of 3 bytes make 600-byte rows.
    const std::string facts = "Type: 24-Bit, Size: 72000 (200 x 120), File Size: " +
                              std::to_string(sizeof(BITMAPFILEHEADER) + dib.size()) + ", Format: BMP- Windows Bitmap";
    EXPECT_TRUE(Within(3000, [&] { return WindowText(local) == facts; })) << WindowText(local);
    run.Command(1281);
    EXPECT_TRUE(Within(5000, [&] {
        return WindowText(local) == "Type: 256-Color, Size: 24000 (200 x 120), File Size: " +
                                        std::to_string(sizeof(BITMAPFILEHEADER) + dib.size()) +
                                        ", Format: BMP- Windows Bitmap; Modified";
    })) << WindowText(local);

    // The help line follows the highlight and the memory line comes back when the menu closes.
    HMENU menuBar = GetMenu(run.frame);
    auto select = [&](UINT item, UINT flags, HMENU menu) {
        SendMessageA(run.frame, WM_MENUSELECT, MAKEWPARAM(item, flags), reinterpret_cast<LPARAM>(menu));
        return WindowText(system);
    };
    EXPECT_EQ(select(257, MF_STRING, menuBar), "Load an existing image");
    EXPECT_EQ(select(260, MF_STRING, menuBar), "Run batch facility to convert multiple images at one time ");
    EXPECT_EQ(select(1879, MF_STRING, menuBar), "Increase colors in active image to 32-bit precision (0% Alpha)");
    EXPECT_EQ(select(0, MF_POPUP, menuBar), "File and window operations, batch, and settings");
    EXPECT_EQ(select(3, MF_POPUP, menuBar), "Color conversion, color reduction and dithering");
    EXPECT_EQ(select(2321, MF_STRING, menuBar), "Switch to the window containing this image");
    EXPECT_EQ(select(2329, MF_STRING, menuBar), "Show full list of windows which can be selected");
    EXPECT_EQ(select(0, 0xFFFF, nullptr).rfind("Physical Memory: (Used=", 0), 0u);
}

TEST(UserLoop, StatusModesShowOneBarOrNone)
{
    CoreGuard guard({"status_wnd"});
    SetCore("status_wnd", "2");
    {
        Session run;
        ASSERT_NE(run.frame, nullptr);
        HWND system = GetDlgItem(run.frame, kSystemBarId);
        HWND local = GetDlgItem(run.frame, kLocalBarId);
        EXPECT_FALSE(IsWindowVisible(system));
        EXPECT_TRUE(IsWindowVisible(local));
        RECT area{}, localRect{}, clientRect{};
        GetClientRect(run.frame, &area);
        GetWindowRect(local, &localRect);
        GetWindowRect(run.Client(), &clientRect);
        MapWindowPoints(nullptr, run.frame, reinterpret_cast<POINT*>(&localRect), 2);
        EXPECT_EQ(localRect.top, area.bottom - GetSystemMetrics(SM_CYSCREEN) / 40);
        EXPECT_EQ(clientRect.bottom - clientRect.top, area.bottom - GetSystemMetrics(SM_CYSCREEN) / 40);
        // Only the System/Help bar carries menu help.
        const std::string before = WindowText(system);
        SendMessageA(run.frame, WM_MENUSELECT, MAKEWPARAM(257, MF_STRING), reinterpret_cast<LPARAM>(GetMenu(run.frame)));
        EXPECT_EQ(WindowText(system), before);
    }
    SetCore("status_wnd", "0");
    {
        Session run;
        ASSERT_NE(run.frame, nullptr);
        EXPECT_FALSE(IsWindowVisible(GetDlgItem(run.frame, kSystemBarId)));
        EXPECT_FALSE(IsWindowVisible(GetDlgItem(run.frame, kLocalBarId)));
        RECT area{}, clientRect{};
        GetClientRect(run.frame, &area);
        GetWindowRect(run.Client(), &clientRect);
        EXPECT_EQ(clientRect.bottom - clientRect.top, area.bottom);
    }
}

// ---- the image window ------------------------------------------------------------------------------------

TEST(UserLoop, ImageLargerThanTheFrameGetsBarsAndScrollsByTheSteps)
{
    const int width = 1600, height = 1400;
    const std::string path =
        WriteBmp("large.bmp", MakeDib(width, height, 8, Ramp(), [](int x, int y) { return static_cast<DWORD>((x + y) & 255); }));
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1, 15000);
    ASSERT_NE(window, nullptr);
    const LONG style = GetWindowLongA(window, GWL_STYLE);
    EXPECT_EQ(style & (WS_HSCROLL | WS_VSCROLL), WS_HSCROLL | WS_VSCROLL);
    // Capped to the client area of the frame.
    RECT clientArea{}, windowRect{};
    GetWindowRect(run.Client(), &clientArea);
    GetWindowRect(window, &windowRect);
    EXPECT_LE(windowRect.right, clientArea.right);
    EXPECT_LE(windowRect.bottom, clientArea.bottom);
    const SIZE client = ClientSize(window);
    ASSERT_LT(client.cx, width);
    ASSERT_LT(client.cy, height);

    auto scroll = [&](UINT message, int code, int position = 0) {
        DWORD_PTR ignored = 0;
        SendMessageTimeoutA(window, message, MAKEWPARAM(code, position), 0, SMTO_NORMAL, 5000, &ignored);
    };
    auto x = [&] { return run.Attr(window, kScrollX); };
    auto y = [&] { return run.Attr(window, kScrollY); };
    scroll(WM_HSCROLL, SB_LINEDOWN);
    EXPECT_EQ(x(), 10);
    scroll(WM_HSCROLL, SB_PAGEDOWN);
    EXPECT_EQ(x(), 10 + client.cx);
    scroll(WM_HSCROLL, SB_LINEUP);
    EXPECT_EQ(x(), client.cx);
    // Dragging the thumb moves nothing until it is let go.
    scroll(WM_HSCROLL, SB_THUMBTRACK, 300);
    EXPECT_EQ(x(), client.cx);
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 300);
    EXPECT_EQ(x(), 300);
    scroll(WM_VSCROLL, SB_PAGEDOWN);
    EXPECT_EQ(y(), client.cy);
    scroll(WM_VSCROLL, SB_THUMBPOSITION, 20);
    EXPECT_EQ(y(), 20);
    Sleep(300);
    Image shot = ClientShot(window, 40, 40);
    for (POINT p : {POINT{0, 0}, POINT{13, 7}, POINT{39, 39}})
        EXPECT_EQ(shot.At(p.x, p.y), RampColour(300 + p.x + 20 + p.y)) << p.x << "," << p.y;

    // The range ends where the image, less the bar's room, meets the window's edge.
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 30000);
    EXPECT_EQ(x(), width - (client.cx + GetSystemMetrics(SM_CXVSCROLL) + 1));
    scroll(WM_HSCROLL, SB_THUMBPOSITION, 0);
    scroll(WM_HSCROLL, SB_LINEUP);
    EXPECT_EQ(x(), 0);

    // Keys scroll by the same steps where the bar is.
    auto key = [&](WPARAM vk) {
        DWORD_PTR ignored = 0;
        SendMessageTimeoutA(window, WM_KEYDOWN, vk, 0, SMTO_NORMAL, 5000, &ignored);
    };
    key(VK_RIGHT);
    EXPECT_EQ(x(), 10);
    key(VK_DOWN);
    EXPECT_EQ(y(), 30);
    key(VK_NEXT);
    EXPECT_EQ(y(), 30 + client.cy);
    key(VK_PRIOR);
    key(VK_UP);
    EXPECT_EQ(y(), 20);
    key(VK_END);
    key(VK_HOME);
    EXPECT_EQ(x(), 10);
    EXPECT_EQ(y(), 20);
}

TEST(UserLoop, ClickBringsAHandSizedWindowBackToTheImage)
{
    const std::string path = WriteBmp("handsized.bmp", ColourfulDib());
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    RECT rect{};
    GetWindowRect(window, &rect);
    for (int grow : {150, -60}) {
        SetWindowPos(window, nullptr, 0, 0, rect.right - rect.left + grow, rect.bottom - rect.top + grow,
                     SWP_NOMOVE | SWP_NOZORDER);
        ASSERT_TRUE(Within(3000, [&] { return ClientSize(window).cx != kWidth; }));
        // A window smaller than its image has bars.
        if (grow < 0) {
            EXPECT_NE(GetWindowLongA(window, GWL_STYLE) & (WS_HSCROLL | WS_VSCROLL), 0);
        }
        POINT inside{10, 10};
        ClientToScreen(window, &inside);
        ASSERT_TRUE(ClickScreen(inside.x, inside.y));
        EXPECT_TRUE(Within(3000, [&] { return ClientSize(window).cx == kWidth && ClientSize(window).cy == kHeight; }))
            << grow << ": " << ClientSize(window).cx << " x " << ClientSize(window).cy;
        EXPECT_EQ(GetWindowLongA(window, GWL_STYLE) & (WS_HSCROLL | WS_VSCROLL), 0);
    }
}

// ---- menu states ------------------------------------------------------------------------------------------

TEST(UserLoop, ColorsEntriesFollowTheDepthOfTheActiveImage)
{
    EmptyTheClipboard();
    const std::string path = WriteBmp("depths.bmp", ColourfulDib());
    Session run(path);
    ASSERT_NE(run.frame, nullptr);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    // The limits, one by one, as the menu is to show them.
    const struct {
        UINT id;
        std::function<bool(int)> enabled;
    } rules[] = {
        {1809, [](int b) { return b > 1; }},  {1810, [](int b) { return b > 1; }},
        {1824, [](int b) { return b < 4; }},  {1825, [](int b) { return b > 4; }},
        {1826, [](int b) { return b > 4; }},  {1827, [](int b) { return b > 4; }},
        {1828, [](int b) { return b > 4; }},  {1840, [](int b) { return b < 8; }},
        {1841, [](int b) { return b > 8; }},  {1842, [](int b) { return b > 8; }},
        {1843, [](int b) { return b > 8; }},  {1844, [](int b) { return b > 8; }},
        {1856, [](int b) { return b < 16; }}, {1857, [](int b) { return b > 16; }},
        {1858, [](int b) { return b > 16; }}, {1872, [](int b) { return b > 24; }},
        {1873, [](int b) { return b < 24; }}, {1878, [](int b) { return b < 32; }},
        {1879, [](int b) { return b < 32; }},
    };
    const int depths[] = {1, 4, 8, 16, 24, 32};
    for (int b : depths) {
        run.SetAttr(window, kBits, b);
        const std::vector<MenuEntry> bar = OpenedMenus(run);
        for (const auto& rule : rules)
            EXPECT_EQ(!Grayed(bar, rule.id), rule.enabled(b)) << "b " << b << ", id " << rule.id;
        const MenuEntry& colors = Colors(bar);
        for (int position = 0; position < 6; ++position) {
            EXPECT_EQ(colors.items.at(3 + position).IsChecked(), depths[position] == b) << b << " " << position;
            EXPECT_FALSE(colors.items.at(3 + position).IsGrayed());
        }
        EXPECT_TRUE(Find(bar, 1280)->IsChecked());
        EXPECT_FALSE(Find(bar, 1281)->IsChecked());
        // File and Edit of an image, with nothing on the clipboard.
        for (UINT id : {265u, 258u, 259u, 261u, 40003u, 513u, 514u, 516u})
            EXPECT_FALSE(Grayed(bar, id)) << id;
        for (UINT id : {512u, 515u, 517u})
            EXPECT_TRUE(Grayed(bar, id)) << id;
    }
    // A gray image checks Gray instead.
    run.SetFlag(window, kColor, 0);
    std::vector<MenuEntry> bar = OpenedMenus(run);
    EXPECT_FALSE(Find(bar, 1280)->IsChecked());
    EXPECT_TRUE(Find(bar, 1281)->IsChecked());

    // A window without an image: only Close and the Window menu.
    run.Command(256);
    ASSERT_NE(run.WaitForWindows(2), nullptr);
    bar = OpenedMenus(run);
    EXPECT_FALSE(Grayed(bar, 265));
    for (UINT id : {258u, 259u, 261u, 40003u, 512u, 513u, 514u, 515u, 516u, 517u})
        EXPECT_TRUE(Grayed(bar, id)) << id;
    for (int position = 0; position <= 8; ++position)
        EXPECT_TRUE(Colors(bar).items.at(position).IsGrayed()) << position;
    for (UINT id : {2305u, 2306u, 2307u, 2308u})
        EXPECT_FALSE(Grayed(bar, id)) << id;

    // No window at all: not even Close.
    SendMessageA(run.Client(), WM_MDIDESTROY, reinterpret_cast<WPARAM>(run.Windows().front()), 0);
    SendMessageA(run.Client(), WM_MDIDESTROY, reinterpret_cast<WPARAM>(run.Windows().front()), 0);
    ASSERT_TRUE(run.Windows().empty());
    bar = OpenedMenus(run);
    EXPECT_TRUE(Grayed(bar, 265));
    EXPECT_TRUE(Grayed(bar, 259));
    EXPECT_TRUE(Grayed(bar, 515));
}
