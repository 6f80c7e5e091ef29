// The batch facility in the real program: what the Batch dialog lists and
// offers, what a run writes (the bytes kvconvert writes with the same
// options), its bar, its questions, Escape between files, the session
// counter, and an outside program's bracket of its own loads.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver.h"

using namespace kvgui;

namespace {

const WPARAM kBatchCommand = 260, kGray = 1281, kFlat256 = 1841, kUndo = 512;
const int kSession = 42, kActive = 32, kScripted = 71, kOpenFile = 31;
const int kFiles = 299, kInFormat = 294, kOutFormat = 295, kTarget = 296, kOutDir = 347, kEdit = 258;
const int kFlat = 309, kOptimized = 310, kDither = 311, kColor = 313, kGrayRadio = 314, kCompress = 315;
const int kRun = 320, kAccept = 1, kDrop = 2, kBar = 257;
const char kBatchKey[] = "Software\\Korvanta\\3.50\\Batch";
const char kCoreKey[] = "Software\\Korvanta\\3.50\\Core";

template <typename Pred>
bool Within(DWORD timeoutMs, Pred pred)
{
    for (const ULONGLONG end = GetTickCount64() + timeoutMs;; Sleep(50)) {
        if (pred()) return true;
        if (GetTickCount64() >= end) return false;
    }
}

std::string Folder(const std::string& name)
{
    char base[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, base);
    const std::string folder = std::string(base) + name;
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

// A fresh folder of its own (the dialog lists every file in it).
std::string FreshFolder(const std::string& name)
{
    const std::string folder = Folder(name);
    WIN32_FIND_DATAA found;
    HANDLE walk = FindFirstFileA((folder + "\\*").c_str(), &found);
    for (BOOL more = walk != INVALID_HANDLE_VALUE; more; more = FindNextFileA(walk, &found))
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileA((folder + "\\" + found.cFileName).c_str());
    if (walk != INVALID_HANDLE_VALUE) FindClose(walk);
    return folder;
}

std::vector<BYTE> ReadBytes(const std::string& path)
{
    std::vector<BYTE> bytes;
    HANDLE in = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (in == INVALID_HANDLE_VALUE) return bytes;
    bytes.resize(GetFileSize(in, nullptr));
    DWORD got = 0;
    if (!bytes.empty()) ReadFile(in, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr);
    CloseHandle(in);
    return bytes;
}

// A 24-bit BMP of many colours, no two neighbours alike.
void WriteBmp(const std::string& path, int width, int height, int seed)
{
    const DWORD stride = (static_cast<DWORD>(width) * 3 + 3) & ~3u;
    std::vector<BYTE> pixels(stride * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            BYTE* p = &pixels[y * stride + 3 * x];
            p[0] = static_cast<BYTE>(x * 9 + seed), p[1] = static_cast<BYTE>(y * 5 + x / 7 * 31), p[2] = static_cast<BYTE>((x + y) * seed);
        }
    BITMAPINFOHEADER info{sizeof info, width, height, 1, 24, BI_RGB, stride * height};
    BITMAPFILEHEADER file{0x4D42, static_cast<DWORD>(sizeof file + sizeof info + pixels.size()), 0, 0, sizeof file + sizeof info};
    HANDLE out = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(out, &file, sizeof file, &written, nullptr);
    WriteFile(out, &info, sizeof info, &written, nullptr);
    WriteFile(out, pixels.data(), static_cast<DWORD>(pixels.size()), &written, nullptr);
    CloseHandle(out);
}

// kvconvert.exe beside the program, in folder; true on status 0.
bool Convert(const std::string& folder, const std::string& args)
{
    const std::string program = KorvantaPath();
    std::string line = "\"" + program.substr(0, program.find_last_of('\\') + 1) + "kvconvert.exe\" -q " + args;
    STARTUPINFOA startup{sizeof startup};
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(), &startup, &info))
        return false;
    DWORD code = 1;
    if (WaitForSingleObject(info.hProcess, 60000) == WAIT_OBJECT_0) GetExitCodeProcess(info.hProcess, &code);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return code == 0;
}

DWORD StoredSession()
{
    char text[32] = "0";
    DWORD size = sizeof text;
    RegGetValueA(HKEY_CURRENT_USER, kBatchKey, "Session", RRF_RT_REG_SZ, nullptr, text, &size);
    return strtoul(text, nullptr, 10);
}

std::string Upper(std::string text)
{
    CharUpperBuffA(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

// The rows of a list box of another process (read in UTF-16, as Wine answers).
std::vector<std::string> ListItems(HWND list)
{
    std::vector<std::string> items;
    const LRESULT count = SendMessageW(list, LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        std::vector<WCHAR> wide(SendMessageW(list, LB_GETTEXTLEN, i, 0) + 1, L'\0');
        SendMessageW(list, LB_GETTEXT, i, reinterpret_cast<LPARAM>(wide.data()));
        char text[MAX_PATH] = "";
        WideCharToMultiByte(CP_ACP, 0, wide.data(), -1, text, sizeof text, nullptr, nullptr);
        items.push_back(Upper(text));
    }
    return items;
}

// One run of the program in a folder, with the settings a run depends on at their defaults.
struct Batch {
    Program program;
    HWND frame = nullptr;

    explicit Batch(const std::string& folder)
    {
        for (const char* name : {"dither_type", "fast_dither", "want_thumbnail", "keep_undo", "color_match"})
            RegDeleteKeyValueA(HKEY_CURRENT_USER, kCoreKey, name);
        if (program.Start("/NOLOGO", folder)) frame = program.WaitForFrame();
    }

    // A top-level dialog of the program holding control id, or 0 after the wait.
    HWND WaitForDialog(int id, DWORD timeoutMs = 10000) const
    {
        HWND found = nullptr;
        Within(timeoutMs, [&] {
            for (HWND w : TopLevelWindows(program.Pid(), "#32770"))
                if (GetDlgItem(w, id)) found = w;
            return found != nullptr;
        });
        return found;
    }

    HWND Open()
    {
        PostMessageA(frame, WM_COMMAND, kBatchCommand, 0);
        return WaitForDialog(kFiles);
    }

    LONG_PTR Service(int item, LONG flag = 0, const std::string& text = "")
    {
        ServiceCall call;
        call.flag = flag;
        call.hasText = !text.empty();
        call.text = text;
        LONG_PTR result = -1;
        EXPECT_TRUE(program.CallService(frame, item, &call, &result)) << item;
        return result;
    }
};

void Choose(HWND dialog, int id, const std::string& prefix)
{
    const std::vector<std::string> items = ComboItems(dialog, id);
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i].compare(0, prefix.size(), prefix) == 0) {
            ASSERT_TRUE(SelectComboItem(dialog, id, static_cast<int>(i)));
            return;
        }
    FAIL() << "no entry " << prefix;
}

bool Checked(HWND dialog, int id) { return SendDlgItemMessageA(dialog, id, BM_GETCHECK, 0, 0) == BST_CHECKED; }
void SetCheck(HWND dialog, int id, bool on)
{
    if (Checked(dialog, id) != on) PressButton(dialog, id);
    EXPECT_TRUE(Within(3000, [&] { return Checked(dialog, id) == on; })) << id;
}

// "Batch!" into folder; returns the text of the closing box, which is answered.
std::string RunInto(Batch& b, HWND dialog, const std::string& folder)
{
    SendMessageA(GetDlgItem(dialog, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(folder.c_str()));
    PressButton(dialog, kRun);
    HWND box = nullptr;
    Within(60000, [&] {
        for (HWND w : TopLevelWindows(b.program.Pid(), "#32770"))
            if (MessageBoxText(w).compare(0, 16, "Batch Processing") == 0) box = w;
        return box != nullptr;
    });
    if (!box) return "";
    const std::string text = MessageBoxText(box);
    PressButton(box, IDOK);
    WaitForWindowGone(box, 5000);
    return text;
}

TEST(Batch, DialogListsTheInputFormatsFilesOffersTheOutputsTargetsAndNamesEachOutput)
{
    const std::string folder = FreshFolder("kv_batch_names"), out = FreshFolder("kv_batch_names\\out");
    for (const char* name : {"pic.one.bmp", "plain.bmp", "other.gif"}) WriteBmp(folder + "\\" + name, 9, 7, 3);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    const DWORD stored = StoredSession();
    HWND dialog = b.Open();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(StoredSession(), stored + 1);
    // A format without files says so in three lines, and "Batch!" is off.
    Choose(dialog, kInFormat, "PCX-");
    EXPECT_EQ(ListItems(GetDlgItem(dialog, kFiles)),
              (std::vector<std::string>{"NO GRAPHICS FILES FOUND", "IN DIRECTORY", Upper(folder)}));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(dialog, kRun)));
    Choose(dialog, kInFormat, "BMP-");
    EXPECT_EQ(ListItems(GetDlgItem(dialog, kFiles)), (std::vector<std::string>{"PIC.ONE.BMP", "PLAIN.BMP"}));
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(dialog, kRun)));
    // The targets and Compress follow the output format's capability bytes.
    const struct {
        const char* format;
        std::vector<std::string> targets;
        bool compressOffered, compressChecked;
    } outputs[] = {
        {"GIF-", {"256 Colors", "16 Colors", "Monochrome"}, false, true},
        {"TIF-", {"32-Bit Color", "24-Bit Color", "16-Bit Color", "256 Colors", "16 Colors", "Monochrome"}, true, false},
        {"TGA-", {"32-Bit Color", "24-Bit Color", "16-Bit Color", "256 Colors"}, true, false},
        {"PCX-", {"24-Bit Color", "256 Colors", "16 Colors", "Monochrome"}, false, true},
    };
    for (const auto& o : outputs) {
        Choose(dialog, kOutFormat, o.format);
        EXPECT_EQ(ComboItems(dialog, kTarget), o.targets) << o.format;
        EXPECT_EQ(IsWindowEnabled(GetDlgItem(dialog, kCompress)) != 0, o.compressOffered) << o.format;
        EXPECT_EQ(Checked(dialog, kCompress), o.compressChecked) << o.format;
    }
    // A click in the output column of the second row edits its name; Enter
    // keeps the typed name and moves on, Cancel drops the edit.
    HWND list = GetDlgItem(dialog, kFiles);
    RECT client;
    GetClientRect(list, &client);
    POINT at{client.right * 3 / 4, 20 + 10};
    ClientToScreen(list, &at);
    SetForegroundWindow(dialog);
    ASSERT_TRUE(ClickScreen(at.x, at.y));
    ASSERT_TRUE(Within(3000, [&] { return Upper(WindowText(GetDlgItem(dialog, kEdit))) == "PLAIN.PCX"; }));
    SendMessageA(GetDlgItem(dialog, kEdit), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("renamed.pcx"));
    PressButton(dialog, kAccept);
    ASSERT_TRUE(Within(3000, [&] { return Upper(WindowText(GetDlgItem(dialog, kEdit))) == "PIC.PCX"; }));
    PressButton(dialog, kDrop);
    ASSERT_TRUE(Within(3000, [&] { return !IsWindowEnabled(GetDlgItem(dialog, kEdit)); }));
    // A folder that isn't there is refused, with and without its backslash; the dialog stays.
    const std::string missing = folder + "\\nothere";
    SendMessageA(GetDlgItem(dialog, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(missing.c_str()));
    PressButton(dialog, kRun);
    HWND box = nullptr;
    ASSERT_TRUE(Within(10000, [&] {
        for (HWND w : TopLevelWindows(b.program.Pid(), "#32770"))
            if (GetDlgItem(w, IDOK) && !GetDlgItem(w, kFiles)) box = w;
        return box != nullptr;
    }));
    EXPECT_EQ(MessageBoxText(box), "Illegal or non-existant output directory '" + missing + "\\'");
    PressButton(box, IDOK);
    ASSERT_TRUE(WaitForWindowGone(box, 5000));
    EXPECT_TRUE(IsWindow(dialog));
    EXPECT_EQ(RunInto(b, dialog, out), "Batch Processing Complete");
    // Names cut at the first dot, the typed one upper case; the session is
    // counted once in the store and twice in memory.
    EXPECT_FALSE(ReadBytes(out + "\\PIC.PCX").empty());
    EXPECT_FALSE(ReadBytes(out + "\\RENAMED.PCX").empty());
    EXPECT_TRUE(ReadBytes(out + "\\PLAIN.PCX").empty());
    EXPECT_EQ(StoredSession(), stored + 1);
    EXPECT_EQ(b.Service(kSession), static_cast<LONG_PTR>((stored + 2) & 0xFFFF));
}

TEST(Batch, RunWritesTheBytesKvconvertWritesForEveryInputAndOptionSet)
{
    const std::string folder = FreshFolder("kv_batch_bytes");
    // Twelve inputs over six formats, made by kvconvert from two pictures.
    WriteBmp(folder + "\\b1.bmp", 61, 37, 3);
    WriteBmp(folder + "\\b2.bmp", 40, 30, 7);
    const char* made[][2] = {{"b1.bmp -t gif -d 8", "g1.gif"},  {"b2.bmp -t gif -d 4", "g2.gif"},
                             {"b1.bmp -t pcx -d 24", "p1.pcx"}, {"b2.bmp -t pcx -d 1", "p2.pcx"},
                             {"b1.bmp -t tga", "t1.x.tga"},     {"b2.bmp -t tga -d 16", "t2.tga"},
                             {"b1.bmp -t tif", "f1.tif"},       {"b2.bmp -t tif -d 8 --gray", "f2.tif"},
                             {"b1.bmp -t jpg", "j1.jpg"},       {"b2.bmp -t jpg --gray", "j2.jpg"}};
    std::vector<std::string> inputs = {"b1.bmp", "b2.bmp"};
    for (const auto& m : made) {
        ASSERT_TRUE(Convert(folder, std::string(m[0]) + " -o " + m[1])) << m[1];
        inputs.push_back(m[1]);
    }
    const struct {
        const char *format, *target, *args;
        bool flat, dither, color;
    } sets[] = {
        {"GIF-", "256 Colors", "-t gif -d 8 --optimized --dither", false, true, true},
        {"PCX-", "16 Colors", "-t pcx -d 4 --flat --no-dither", true, false, true},
        {"TIF-", "24-Bit Color", "-t tif -d 24 --gray --no-compress", false, true, false},
    };
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    int compared = 0;
    for (size_t s = 0; s < 3; ++s) {
        const std::string mine = FreshFolder("kv_batch_bytes\\run" + std::to_string(s));
        const std::string theirs = FreshFolder("kv_batch_bytes\\ref" + std::to_string(s));
        std::string list;
        for (const std::string& input : inputs) list += " " + input;
        ASSERT_TRUE(Convert(folder, std::string(sets[s].args) + " --force -o ref" + std::to_string(s) + list));
        HWND dialog = b.Open();
        ASSERT_NE(dialog, nullptr);
        Choose(dialog, kInFormat, "* -");
        Choose(dialog, kOutFormat, sets[s].format);
        Choose(dialog, kTarget, sets[s].target);
        PressButton(dialog, sets[s].flat ? kFlat : kOptimized);
        PressButton(dialog, sets[s].color ? kColor : kGrayRadio);
        SetCheck(dialog, kDither, sets[s].dither);
        EXPECT_TRUE(Within(3000, [&] { return Checked(dialog, sets[s].flat ? kFlat : kOptimized); }));
        EXPECT_TRUE(Within(3000, [&] { return Checked(dialog, sets[s].color ? kColor : kGrayRadio); }));
        EXPECT_EQ(ListItems(GetDlgItem(dialog, kFiles)).size(), inputs.size());
        ASSERT_EQ(RunInto(b, dialog, mine), "Batch Processing Complete") << sets[s].args;
        for (const std::string& input : inputs) {
            const std::string name = Upper(input.substr(0, input.find('.'))) + "." + std::string(sets[s].format, 3);
            const std::vector<BYTE> reference = ReadBytes(theirs + "\\" + name);
            ASSERT_FALSE(reference.empty()) << name;
            EXPECT_TRUE(ReadBytes(mine + "\\" + name) == reference) << sets[s].args << " " << input;
            ++compared;
        }
    }
    EXPECT_EQ(compared, 36);
}

TEST(Batch, AFailingFileAsksNoGoesOnAndEscapeDuringTheWaitAborts)
{
    const std::string folder = FreshFolder("kv_batch_fail");
    HANDLE broken = CreateFileA((folder + "\\a_broken.bmp").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(broken, "not an image", 12, &written, nullptr);
    CloseHandle(broken);
    WriteBmp(folder + "\\b.bmp", 8, 8, 5);
    WriteBmp(folder + "\\c.bmp", 8, 8, 9);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    for (bool escape : {false, true}) {
        const std::string out = FreshFolder(escape ? "kv_batch_fail\\aborted" : "kv_batch_fail\\complete");
        HWND dialog = b.Open();
        ASSERT_NE(dialog, nullptr);
        Choose(dialog, kInFormat, "BMP-");
        Choose(dialog, kOutFormat, "GIF-");
        SendMessageA(GetDlgItem(dialog, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(out.c_str()));
        PressButton(dialog, kRun);
        HWND box = nullptr;
        ASSERT_TRUE(Within(20000, [&] {
            for (HWND w : TopLevelWindows(b.program.Pid(), "#32770"))
                if (GetDlgItem(w, 0xFFFF) && GetDlgItem(w, IDNO)) box = w;
            return box != nullptr;
        }));
        EXPECT_EQ(MessageBoxText(box), "Error, not a Legitimate DIB File!\n\nCancel Batch?");
        // The bar lies along the bottom of the screen, as wide as the screen.
        HWND bar = b.WaitForDialog(kBar, 1000);
        ASSERT_NE(bar, nullptr);
        EXPECT_EQ(ControlText(bar, kBar), "Batch Running -- Hit the ESCAPE key to abort...");
        RECT r;
        GetWindowRect(bar, &r);
        EXPECT_EQ(r.left, 0);
        EXPECT_EQ(r.right, GetSystemMetrics(SM_CXSCREEN));
        EXPECT_EQ(r.bottom, GetSystemMetrics(SM_CYSCREEN));
        PressButton(box, IDNO);
        ASSERT_TRUE(WaitForWindowGone(box, 5000));
        // The run waits 2000 ms after the failure; Escape ends the wait at once.
        const ULONGLONG answered = GetTickCount64();
        if (escape) PostMessageA(b.frame, WM_KEYDOWN, VK_ESCAPE, 0);
        std::string end;
        ASSERT_TRUE(Within(20000, [&] {
            for (HWND w : TopLevelWindows(b.program.Pid(), "#32770"))
                if (MessageBoxText(w).compare(0, 16, "Batch Processing") == 0) box = w, end = MessageBoxText(w);
            return !end.empty();
        }));
        const ULONGLONG waited = GetTickCount64() - answered;
        EXPECT_TRUE(escape ? waited < 1500 : waited >= 1900) << waited << " ms";
        EXPECT_EQ(end, escape ? "Batch Processing Aborted" : "Batch Processing Complete");
        PressButton(box, IDOK);
        WaitForWindowGone(box, 5000);
        EXPECT_EQ(ReadBytes(out + "\\B.GIF").empty(), escape);
        EXPECT_EQ(ReadBytes(out + "\\C.GIF").empty(), escape);
    }
}

TEST(Batch, AnOutsideProgramsBracketCountsASessionAndKeepsNoUndo)
{
    const std::string folder = FreshFolder("kv_batch_bracket");
    WriteBmp(folder + "\\u.bmp", 30, 20, 4);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    const LONG_PTR session = b.Service(kSession);
    auto undoGrayed = [&] {
        std::vector<MenuEntry> bar;
        EXPECT_TRUE(b.program.ReadMenuBar(b.frame, &bar, true));
        for (const MenuEntry& item : bar.at(1).items)
            if (item.id == kUndo) return item.IsGrayed();
        ADD_FAILURE() << "no Undo";
        return false;
    };
    for (int bracket : {1, 0}) {
        b.Service(kScripted, bracket);
        EXPECT_EQ(b.Service(kActive), bracket);
        HWND window = reinterpret_cast<HWND>(b.Service(kOpenFile, 0, folder + "\\u.bmp"));
        ASSERT_NE(window, nullptr);
        PostMessageA(b.frame, WM_COMMAND, bracket ? kGray : kFlat256, 0);
        Sleep(1500);
        EXPECT_EQ(undoGrayed(), bracket == 1);
    }
    EXPECT_EQ(b.Service(kSession), session + 1);
}

}  // namespace
