// Screen capture driven through the X server: the hot key pressed by xdotool,
// the windows captured belong to this program, and what the screen showed is
// read independently by xwd and compared with what KORVANTA.EXE captured.
#include "driver.h"
#include "formats/format_table.h"

#include <cstdio>
#include <cstdlib>

using namespace kvgui;

namespace {
const char kCaptureKey[] = "Software\\Korvanta\\3.50\\Capture";

// A scratch file that both sides name: the X side by its Unix path, this program on drive Z:.
std::string XFile(const std::string& name) { return "/tmp/kv_capture_" + std::to_string(GetCurrentProcessId()) + name; }

// The X server's own picture of a rectangle of the screen.
Image XScreen(const RECT& r)
{
    Image image{r.right - r.left, r.bottom - r.top};
    char crop[64];
    snprintf(crop, sizeof crop, "%ldx%ld+%ld+%ld", r.right - r.left, r.bottom - r.top, r.left, r.top);
    EXPECT_EQ(RunUnix("xwd -root -silent | convert xwd:- -crop " + std::string(crop) + " -depth 8 rgb:" + XFile(".rgb")),
              0);
    const std::vector<BYTE> bytes = ReadBytes("Z:" + XFile(".rgb"));
    for (size_t i = 0; i + 2 < bytes.size(); i += 3)
        image.pixels.push_back(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]);
    DeleteFileA(("Z:" + XFile(".rgb")).c_str());
    return image;
}

void ExpectSame(const Image& captured, const RECT& rect, const Image* before = nullptr)
{
    const Image screen = before ? *before : XScreen(rect);
    ASSERT_EQ(std::to_string(captured.width) + "x" + std::to_string(captured.height),
              std::to_string(rect.right - rect.left) + "x" + std::to_string(rect.bottom - rect.top));
    EXPECT_TRUE(captured.pixels == screen.pixels) << "captured differs from the X server's picture";
}

// "Another program": a top-level window with a child of another colour, on a thread of its own.
struct Target {
    int x, y, w, h;
    HWND top = nullptr, child = nullptr;
    HANDLE thread;

    static DWORD WINAPI Run(LPVOID self)
    {
        auto* t = static_cast<Target*>(self);
        WNDCLASSA wc{0, DefWindowProcA, 0, 0, nullptr, nullptr, nullptr, CreateSolidBrush(RGB(200, 60, 30)), nullptr,
                     "KvCaptureTarget"};
        RegisterClassA(&wc);
        wc.hbrBackground = CreateSolidBrush(RGB(20, 90, 210));
        wc.lpszClassName = "KvCaptureChild";
        RegisterClassA(&wc);
        t->top = CreateWindowExA(WS_EX_TOPMOST, "KvCaptureTarget", "KvCaptureTarget", WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                                 t->x, t->y, t->w, t->h, nullptr, nullptr, nullptr, nullptr);
        t->child = CreateWindowExA(WS_EX_CLIENTEDGE, "KvCaptureChild", "", WS_CHILD | WS_VISIBLE, 30, 40, 120, 70,
                                   t->top, nullptr, nullptr, nullptr);
        // A spot in the child, so that no part of the picture is flat.
        CreateWindowExA(0, "KvCaptureTarget", "", WS_CHILD | WS_VISIBLE, 10, 10, 30, 20, t->child, nullptr, nullptr,
                        nullptr);
        MSG msg;
        while (GetMessageA(&msg, nullptr, 0, 0) > 0) DispatchMessageA(&msg);
        DestroyWindow(t->top);
        return 0;
    }
    Target(int x, int y, int w, int h) : x(x), y(y), w(w), h(h), thread(CreateThread(nullptr, 0, Run, this, 0, nullptr))
    {
        Within(5000, [&] { return child != nullptr; });
        Sleep(500);
    }
    ~Target()
    {
        PostThreadMessageA(GetThreadId(thread), WM_QUIT, 0, 0);
        WaitForSingleObject(thread, 5000);
        CloseHandle(thread);
    }
    // The client area on the screen, or the whole window.
    static RECT Rect(HWND w, bool client)
    {
        RECT r;
        if (!client) return GetWindowRect(w, &r), r;
        GetClientRect(w, &r);
        MapWindowPoints(w, nullptr, reinterpret_cast<POINT*>(&r), 2);
        return r;
    }
};

// Presses the hot key through the X server, with a window of ours focused there.
// A click on the target makes it the foreground window, as for a user.
void HotKey(const Target& target, const std::string& keys = "key F11")
{
    const RECT r = target.Rect(target.top, true);
    ASSERT_EQ(RunUnix("xdotool mousemove " + std::to_string(std::max(r.left, 0L) + 10) + " " + std::to_string(r.top + 10) +
                   " click 1 sleep 0.3 search --name '^KvCaptureTarget$' windowfocus --sync " + keys),
              0);
}

std::string CaptureValue(const std::string& name)
{
    char text[260] = "";
    DWORD size = sizeof text;
    return RegGetValueA(HKEY_CURRENT_USER, kCaptureKey, name.c_str(), RRF_RT_REG_SZ, nullptr, text, &size) ? "" : text;
}

// The store as a scenario starts it: capture_mode (when given) and the "Capture" keys; all go afterwards.
struct Store : CoreGuard {
    Store(const std::string& mode, const std::map<std::string, std::string>& keys)
        : CoreGuard({"capture_mode", "capture_key", "capture_key_alt", "capture_key_ctrl"})
    {
        RegDeleteTreeA(HKEY_CURRENT_USER, kCaptureKey);
        if (!mode.empty()) SetCore("capture_mode", mode);
        for (const auto& [name, text] : keys)
            RegSetKeyValueA(HKEY_CURRENT_USER, kCaptureKey, name.c_str(), REG_SZ, text.c_str(), text.size() + 1);
    }
    ~Store() { RegDeleteTreeA(HKEY_CURRENT_USER, kCaptureKey); }
};

std::vector<BYTE> Clipboard() { return ClipboardRead(CF_DIB); }
}  // namespace

TEST(Capture, ActiveWindowOverTheLeftEdgeToNumberedFiles)
{
    Store store("257", {{"cap_file", "shot"}, {"cap_dir", Folder()}, {"cap_use_count", "1"}, {"cap_file_num", "12"},
                        {"cap_client", "1"}});  // the active window's client area to numbered files
    for (const char* name : {"SHOT0012.DIB", "SHOT0013.DIB"}) DeleteFileA(PathOf(name).c_str());
    Session run;
    ASSERT_NE(run.frame, nullptr);
    Target target(-50, 100, 300, 200);
    HotKey(target);
    ASSERT_TRUE(Within(8000, [&] { return Exists(PathOf("SHOT0012.DIB")); }));
    run.Settle();
    // x becomes 0 and the width stays: the picture is shifted right.
    RECT client = target.Rect(target.top, true);
    ASSERT_LT(client.left, 0);
    ExpectSame(DibImage(ReadBytes(PathOf("SHOT0012.DIB")), 14),
               {0, client.top, client.right - client.left, client.bottom});
    HotKey(target);
    EXPECT_TRUE(Within(8000, [&] { return Exists(PathOf("SHOT0013.DIB")); }));
}

TEST(Capture, ApplicationAndDraggedRectangleToTheClipboard)
{
    Store store("", {});
    ASSERT_TRUE(ClipboardPut({}));
    Session run;
    ASSERT_NE(run.frame, nullptr);
    Target target(300, 200, 320, 240);
    HotKey(target);  // a first start: the active application to the clipboard
    run.Settle();
    ExpectSame(DibImage(Clipboard()), target.Rect(target.top, false));

    run.Command(771);
    ASSERT_TRUE(ClipboardPut({}));
    HotKey(target);
    ASSERT_NE(WaitForProcessWindow(run.program.Pid(), "TransClass", 5000), nullptr);
    // Shift goes down after the button: the drag stays 200 by 60.
    ASSERT_EQ(
        RunUnix("xdotool mousemove 250 180 sleep 0.3 mousedown 1 sleep 0.3 keydown shift mousemove 350 210 sleep 0.2 "
             "mousemove 450 240 sleep 0.3 mouseup 1 keyup shift"),
        0);
    ASSERT_TRUE(Within(5000, [&] { return TopLevelWindows(run.program.Pid(), "TransClass").empty(); }));
    run.Settle();
    ExpectSame(DibImage(Clipboard()), {250, 180, 450, 240});
}

TEST(Capture, ChildUnderTheMouseToANewWindow)
{
    Store store("1040", {{"cap_client", "1"}});  // the window under the mouse to an image window
    Session run;
    ASSERT_NE(run.frame, nullptr);
    Target target(200, 150, 300, 200);
    const RECT child = target.Rect(target.child, true);
    HotKey(target, "");
    const Image before = XScreen(child);  // the new window will cover it
    HotKey(target, "mousemove " + std::to_string(child.left + 80) + " " + std::to_string(child.top + 50) +
                       " sleep 0.3 key F11");
    ASSERT_NE(run.WaitForWindows(1), nullptr);
    run.Settle();
    ASSERT_TRUE(ClipboardPut({}));
    Send(run.frame, WM_COMMAND, 514, 0);  // Copy
    ExpectSame(DibImage(Clipboard()), child, &before);
}

TEST(Capture, OptionsDialogWritesItsKeysAndTheScreenGoesToFiles)
{
    Store store("516", {});  // the entire screen to the clipboard
    for (const char* name : {"SNAP98.BMP", "SNAP99.BMP", "SNAP100.BMP"}) DeleteFileA(PathOf(name).c_str());
    Session run;
    ASSERT_NE(run.frame, nullptr);
    Target target(500, 400, 200, 150);
    run.Command(773);
    HWND dialog = run.WaitForControl(325, 5000);
    ASSERT_NE(dialog, nullptr);
    // Only the formats that can save the display's depth are offered.
    FMT_RegisterBuiltins();
    HDC screen = GetDC(nullptr);
    const int mode = FMT_DepthIndex(GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES));
    std::vector<std::string> offered, listed;
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        char extension[16];
        FMT_GetExtension(row, extension);
        if (FMT_CanSave(row) && FMT_GetCapability(row, mode) && !FMT_IsSaveStub(row)) offered.push_back(extension);
    }
    for (const std::string& item : ComboItems(dialog, 295)) listed.push_back(item.substr(0, item.find('-')));
    EXPECT_EQ(listed, offered);
    const auto bmp = std::find(listed.begin(), listed.end(), "BMP") - listed.begin();

    // To File, Increment File Number, Capture Contents, Alt, Ctrl; F9.
    for (int id : {293, 291, 289, 340, 341}) ASSERT_TRUE(PressButton(dialog, id));
    Send(GetDlgItem(dialog, 258), WM_SETTEXT, 0, reinterpret_cast<LPARAM>((Folder() + "\\snap").c_str()));
    Send(GetDlgItem(dialog, 325), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("00012"));
    ASSERT_TRUE(SelectComboItem(dialog, 295, static_cast<int>(bmp)));
    ASSERT_TRUE(SelectComboItem(dialog, 256, 8));
    Answer(dialog, IDOK);
    run.Settle();
    const std::map<std::string, std::string> written = {
        {"cap_file", "snap"}, {"cap_dir", Folder()}, {"cap_file_num", "12"}, {"cap_file_num_len", "5"},
        {"cap_use_count", "1"}, {"cap_client", "1"}, {"cap_save_id", std::to_string(FMT_Row_BMP)}};
    for (const auto& [name, value] : written) EXPECT_EQ(CaptureValue(name), value) << name;
    EXPECT_EQ(CoreValue("capture_key") + CoreValue("capture_key_alt") + CoreValue("capture_key_ctrl"), "12011");

    // Typed again with two digits: 98, then 99, then the question, and counting goes on with three.
    run.Command(773);
    dialog = run.WaitForControl(325, 5000);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ControlText(dialog, 325), "00012");
    Send(GetDlgItem(dialog, 325), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("98"));
    EXPECT_EQ(ControlText(dialog, 326), "snap98.BMP");
    ASSERT_TRUE(PressButton(dialog, 340));  // without Alt: the X server keeps Ctrl+Alt+F9 for itself
    Answer(dialog, IDOK);
    run.Settle();
    HotKey(target, "key ctrl+F9");
    ASSERT_TRUE(Within(8000, [&] { return Exists(PathOf("SNAP98.BMP")); }));
    run.Settle();
    ExpectSame(DibImage(ReadBytes(PathOf("SNAP98.BMP")), 14),
               {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)});
    HotKey(target, "key ctrl+F9");
    EXPECT_EQ(run.AnswerBox(IDNO), "Capture file index has reached 100, reset to zero?");
    EXPECT_TRUE(Within(8000, [&] { return Exists(PathOf("SNAP99.BMP")); }));
    HotKey(target, "key ctrl+F9");
    EXPECT_TRUE(Within(8000, [&] { return Exists(PathOf("SNAP100.BMP")); }));
    Send(run.frame, WM_CLOSE, 0, 0);
    DWORD code;  // the mode goes to the store with the settings at the end
    ASSERT_TRUE(run.program.WaitForExit(10000, &code));
    EXPECT_EQ(CoreValue("capture_mode"), "260");
}

TEST(Capture, WithoutSaveAllOnlyTheClipboardDestinationLasts)
{
    Store store("", {{"cap_save_all", "0"}, {"cap_file_num", "7"}});
    {
        Session run;
        ASSERT_NE(run.frame, nullptr);
        run.Command(770);
        run.Command(773);
        HWND dialog = run.WaitForControl(325, 5000);
        ASSERT_NE(dialog, nullptr);
        for (int id : {293, 291, 289}) ASSERT_TRUE(PressButton(dialog, id));
        Send(GetDlgItem(dialog, 325), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("0042"));
        Answer(dialog, IDOK);
        Send(run.frame, WM_CLOSE, 0, 0);
        DWORD code;  // a clean end, which writes the store
        ASSERT_TRUE(run.program.WaitForExit(10000, &code));
    }
    EXPECT_EQ(CoreValue("capture_mode"), "516");
    EXPECT_EQ(CaptureValue("cap_file_num"), "7");
    Session again;
    again.Command(773);
    HWND dialog = again.WaitForControl(325, 5000);
    ASSERT_NE(dialog, nullptr);
    std::string checks;
    for (int id : {292, 293, 330, 291, 289, 290})
        checks += std::to_string(Send(GetDlgItem(dialog, id), BM_GETCHECK, 0, 0));
    EXPECT_EQ(checks, "100001");
    EXPECT_EQ(ControlText(dialog, 325), "0000");
    Answer(dialog, IDCANCEL);
}

TEST(Capture, WithoutTheModuleThereIsNoCapture)
{
    Store store("1028", {});  // the entire screen to an image window
    CreateDirectoryA(PathOf("alone").c_str(), nullptr);
    const std::string alone = PathOf("alone\\KORVANTA.EXE");
    ASSERT_TRUE(CopyFileA(KorvantaPath().c_str(), alone.c_str(), FALSE));
    _putenv_s("KV_KORVANTA_EXE", alone.c_str());
    Session run;
    _putenv_s("KV_KORVANTA_EXE", "");
    ASSERT_NE(run.frame, nullptr);
    Target target(500, 400, 200, 150);
    HotKey(target);
    Sleep(1500);
    run.Settle();
    EXPECT_TRUE(run.Windows().empty());
    EXPECT_TRUE(run.NoDialogs());
}
