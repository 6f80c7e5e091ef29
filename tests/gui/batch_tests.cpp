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
const LONG kBits = 24;
const int kSession = 42, kActive = 32, kScripted = 71, kOpenFile = 31;
const int kFiles = 299, kInFormat = 294, kOutFormat = 295, kTarget = 296, kOutDir = 347, kEdit = 258;
const int kFlat = 309, kOptimized = 310, kDither = 311, kColor = 313, kGrayRadio = 314, kCompress = 315;
const int kRun = 320, kAccept = 1, kDrop = 2, kBar = 257;
const char kBatchKey[] = "Software\\Korvanta\\3.50\\Batch";

// A 24-bit BMP of many colours in folder, no two neighbours alike.
void WriteInput(const std::string& folder, const char* name, int width, int height, int seed)
{
    kvgui::WriteBmp(folder + "\\" + name, MakeDib(width, height, 24, {}, [&](int x, int y) {
        return static_cast<DWORD>(((x + y) * seed) & 255) << 16 | static_cast<DWORD>((y * 5 + x / 7 * 31) & 255) << 8 |
               static_cast<DWORD>((x * 9 + seed) & 255);
    }));
}

DWORD StoredSession()
{
    char text[32] = "0";
    DWORD size = sizeof text;
    RegGetValueA(HKEY_CURRENT_USER, kBatchKey, "Session", RRF_RT_REG_SZ, nullptr, text, &size);
    return strtoul(text, nullptr, 10);
}

std::vector<std::string> Files(HWND dialog)
{
    std::vector<std::string> items = ListItems(dialog, kFiles);
    for (std::string& item : items)
        item = Upper(item);
    return items;
}

// One run of the program in a folder, with the settings a run depends on at their defaults.
struct Defaults {
    CoreGuard guard{{"dither_type", "fast_dither", "want_thumbnail", "keep_undo", "color_match"}};
};
struct Batch : Defaults, Session {
    explicit Batch(const std::string& folder) : Session("", "/NOLOGO", folder) {}

    HWND Open()
    {
        Command(kBatchCommand);
        return WaitForControl(kFiles);
    }

    LONG_PTR Call(int item, LONG flag = 0, const std::string& text = "")
    {
        ServiceCall call;
        call.flag = flag;
        call.hasText = !text.empty();
        call.text = text;
        return Service(item, call);
    }
};

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
    HWND box = b.WaitForText("Batch Processing", 60000);
    const std::string text = box ? MessageBoxText(box) : "";
    Answer(box, IDOK);
    return text;
}

TEST(Batch, DialogListsTheInputFormatsFilesOffersTheOutputsTargetsAndNamesEachOutput)
{
    const std::string folder = FreshFolder("kv_batch_names"), out = FreshFolder("kv_batch_names\\out");
    for (const char* name : {"pic.one.bmp", "plain.bmp", "other.gif"}) WriteInput(folder, name, 9, 7, 3);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    const DWORD stored = StoredSession();
    HWND dialog = b.Open();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(StoredSession(), stored + 1);
    // A format without files says so in three lines, and "Batch!" is off.
    ASSERT_TRUE(ChooseItem(dialog, kInFormat, "PCX-"));
    EXPECT_EQ(Files(dialog),
              (std::vector<std::string>{"NO GRAPHICS FILES FOUND", "IN DIRECTORY", Upper(folder)}));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(dialog, kRun)));
    ASSERT_TRUE(ChooseItem(dialog, kInFormat, "BMP-"));
    EXPECT_EQ(Files(dialog), (std::vector<std::string>{"PIC.ONE.BMP", "PLAIN.BMP"}));
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
        ASSERT_TRUE(ChooseItem(dialog, kOutFormat, o.format));
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
    Answer(b.WaitForText("Illegal or non-existant output directory '" + missing + "\\'"), IDOK);
    EXPECT_TRUE(IsWindow(dialog));
    EXPECT_EQ(RunInto(b, dialog, out), "Batch Processing Complete");
    // Names cut at the first dot, the typed one upper case; the session is
    // counted once in the store and twice in memory.
    EXPECT_FALSE(ReadBytes(out + "\\PIC.PCX").empty());
    EXPECT_FALSE(ReadBytes(out + "\\RENAMED.PCX").empty());
    EXPECT_TRUE(ReadBytes(out + "\\PLAIN.PCX").empty());
    EXPECT_EQ(StoredSession(), stored + 1);
    EXPECT_EQ(b.Call(kSession), static_cast<LONG_PTR>((stored + 2) & 0xFFFF));
}

TEST(Batch, RunWritesTheBytesKvconvertWritesForEveryInputAndOptionSet)
{
    const std::string folder = FreshFolder("kv_batch_bytes");
    // Twelve inputs over six formats, made by kvconvert from two pictures.
    WriteInput(folder, "b1.bmp", 61, 37, 3);
    WriteInput(folder, "b2.bmp", 40, 30, 7);
    const char* made[][2] = {{"b1.bmp -t gif -d 8", "g1.gif"},  {"b2.bmp -t gif -d 4", "g2.gif"},
                             {"b1.bmp -t pcx -d 24", "p1.pcx"}, {"b2.bmp -t pcx -d 1", "p2.pcx"},
                             {"b1.bmp -t tga", "t1.x.tga"},     {"b2.bmp -t tga -d 16", "t2.tga"},
                             {"b1.bmp -t tif", "f1.tif"},       {"b2.bmp -t tif -d 8 --gray", "f2.tif"},
                             {"b1.bmp -t jpg", "j1.jpg"},       {"b2.bmp -t jpg --gray", "j2.jpg"}};
    std::vector<std::string> inputs = {"b1.bmp", "b2.bmp"};
    for (const auto& m : made) {
        ASSERT_TRUE(Convert(std::string(m[0]) + " -o " + m[1], folder)) << m[1];
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
        ASSERT_TRUE(Convert(std::string(sets[s].args) + " --force -o ref" + std::to_string(s) + list, folder));
        HWND dialog = b.Open();
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(ChooseItem(dialog, kInFormat, "* -"));
        ASSERT_TRUE(ChooseItem(dialog, kOutFormat, sets[s].format));
        ASSERT_TRUE(ChooseItem(dialog, kTarget, sets[s].target));
        PressButton(dialog, sets[s].flat ? kFlat : kOptimized);
        PressButton(dialog, sets[s].color ? kColor : kGrayRadio);
        SetCheck(dialog, kDither, sets[s].dither);
        EXPECT_TRUE(Within(3000, [&] { return Checked(dialog, sets[s].flat ? kFlat : kOptimized); }));
        EXPECT_TRUE(Within(3000, [&] { return Checked(dialog, sets[s].color ? kColor : kGrayRadio); }));
        EXPECT_EQ(Files(dialog).size(), inputs.size());
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
    WriteBytes(folder + "\\a_broken.bmp", {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'});
    WriteInput(folder, "b.bmp", 8, 8, 5);
    WriteInput(folder, "c.bmp", 8, 8, 9);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    for (bool escape : {false, true}) {
        const std::string out = FreshFolder(escape ? "kv_batch_fail\\aborted" : "kv_batch_fail\\complete");
        HWND dialog = b.Open();
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(ChooseItem(dialog, kInFormat, "BMP-"));
        ASSERT_TRUE(ChooseItem(dialog, kOutFormat, "GIF-"));
        SendMessageA(GetDlgItem(dialog, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(out.c_str()));
        PressButton(dialog, kRun);
        HWND box = b.WaitForText("Error, not a Legitimate DIB File!\n\nCancel Batch?", 20000);
        ASSERT_NE(box, nullptr);
        // The bar lies along the bottom of the screen, as wide as the screen.
        HWND bar = b.WaitForControl(kBar, 1000);
        ASSERT_NE(bar, nullptr);
        EXPECT_EQ(ControlText(bar, kBar), "Batch Running -- Hit the ESCAPE key to abort...");
        RECT r;
        GetWindowRect(bar, &r);
        EXPECT_EQ(r.left, 0);
        EXPECT_EQ(r.right, GetSystemMetrics(SM_CXSCREEN));
        EXPECT_EQ(r.bottom, GetSystemMetrics(SM_CYSCREEN));
        Answer(box, IDNO);
        // The run waits 2000 ms after the failure; Escape ends the wait at once.
        const ULONGLONG answered = GetTickCount64();
        if (escape) PostMessageA(b.frame, WM_KEYDOWN, VK_ESCAPE, 0);
        box = b.WaitForText("Batch Processing", 20000);
        const ULONGLONG waited = GetTickCount64() - answered;
        EXPECT_TRUE(escape ? waited < 1500 : waited >= 1900) << waited << " ms";
        EXPECT_EQ(MessageBoxText(box), escape ? "Batch Processing Aborted" : "Batch Processing Complete");
        Answer(box, IDOK);
        EXPECT_EQ(ReadBytes(out + "\\B.GIF").empty(), escape);
        EXPECT_EQ(ReadBytes(out + "\\C.GIF").empty(), escape);
    }
}

TEST(Batch, AnOutsideProgramsBracketCountsASessionAndKeepsNoUndo)
{
    const std::string folder = FreshFolder("kv_batch_bracket");
    WriteInput(folder, "u.bmp", 30, 20, 4);
    Batch b(folder);
    ASSERT_NE(b.frame, nullptr);
    const LONG_PTR session = b.Call(kSession);
    auto undoGrayed = [&] {
        const std::vector<MenuEntry> bar = b.Menus();
        return bar.at(1).items.at(0).id == kUndo && bar.at(1).items.at(0).IsGrayed();
    };
    for (int bracket : {1, 0}) {
        b.Call(kScripted, bracket);
        EXPECT_EQ(b.Call(kActive), bracket);
        HWND window = reinterpret_cast<HWND>(b.Call(kOpenFile, 0, folder + "\\u.bmp"));
        ASSERT_NE(window, nullptr);
        b.Command(bracket ? kGray : kFlat256);
        EXPECT_TRUE(Within(10000, [&] { return b.Attr(window, kBits) == 8; }));
        EXPECT_EQ(undoGrayed(), bracket == 1);
    }
    EXPECT_EQ(b.Call(kSession), session + 1);
}

}  // namespace
