// Drives the real KORVANTA.EXE from outside, as a user or another program
// would: starts it with a command line, finds its frame and dialogs, sends
// window messages, reads menus and control texts, and captures pixels.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kvgui {

// Frame window class and title that every scenario looks for.
inline constexpr char kFrameClass[] = "FrameClass";
inline constexpr char kFrameTitle[] = "Korvanta";

// Full path of KORVANTA.EXE: $KV_KORVANTA_EXE if set (a Unix path is taken
// as one on drive Z:), else KORVANTA.EXE in the parent of this program's folder.
std::string KorvantaPath();

// "/a/b" -> "Z:\a\b"; anything else is returned unchanged.
std::string WindowsPath(const std::string& path);

// ---- menus --------------------------------------------------------------------

// One entry of a menu, with the entries of its popup if it is one.
struct MenuEntry {
    UINT id = 0;
    UINT type = 0;      // MFT_* flags
    UINT state = 0;     // MFS_* flags
    bool popup = false;
    std::string text;
    std::vector<MenuEntry> items;

    bool IsSeparator() const { return (type & MFT_SEPARATOR) != 0; }
    bool IsGrayed() const { return (state & MFS_GRAYED) != 0; }
    bool IsChecked() const { return (state & MFS_CHECKED) != 0; }
};

// ---- frame services ------------------------------------------------------------

// A call of one of the frame's numbered services (message 5684 + item) with
// the fields of its block. text is passed when hasText is set; a non-empty
// dib is copied into a movable block of the program whose handle the block
// carries as hDIB. After the call the fields hold what the service left in the block.
struct ServiceCall {
    LONG_PTR window = 0;
    LONG_PTR hDIB = 0;
    bool hasText = false;
    std::string text;
    LONG attribute = 0;
    LONG_PTR object = 0;
    LONG flag = 0;
    LONG option = 0;
    LONG_PTR value = 0;
    LONG value2 = 0;
    LONG value3 = 0;
    LONG value4 = 0;
    LONG row = 0;
    LONG formatId = -1;
    std::vector<BYTE> dib;
};

// ---- the program ---------------------------------------------------------------

// One run of KORVANTA.EXE. Whatever happens in a test, the destructor ends
// the process if it is still running, so that no instance outlives its test.
class Program {
public:
    Program() = default;
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Starts the program with args after its quoted path, in workDir (or the
    // current folder when empty). False when CreateProcessA fails.
    bool Start(const std::string& args = "", const std::string& workDir = "");

    // Waits up to timeoutMs for a visible top-level window of class
    // FrameClass titled "Korvanta" belonging to this process; 0 on timeout.
    HWND WaitForFrame(DWORD timeoutMs = 20000);

    // Waits up to timeoutMs for the process to end. True when it ended, with
    // its exit code in *exitCode.
    bool WaitForExit(DWORD timeoutMs, DWORD* exitCode);

    bool IsRunning() const;

    // Terminates the process if it still runs and waits for it to go.
    void Kill();

    DWORD Pid() const { return info_.dwProcessId; }
    HWND Frame() const { return frame_; }

    // Wine keeps menus and class data where only the owning process reads
    // them, so these are read inside the program by kv_gui_probe.dll, which
    // a window hook on the window's thread loads there.

    // The menu bar of window with all its popups; false when it can't be
    // read. With opened, each popup first gets WM_INITMENUPOPUP as when the
    // user opens it, so the states are the ones the program sets.
    bool ReadMenuBar(HWND window, std::vector<MenuEntry>* bar, bool opened = false);

    // Facts of window's class: style, cls_extra, wnd_extra, background,
    // icon_resource (400 or 401 when the class icon is that resource of the
    // program, else 0), cursor_is_arrow, menu_name or menu_id, module.
    std::map<std::string, std::string> ClassInfo(HWND window);

    // Calls service item on the frame from inside the program, where the
    // block's pointers mean something; false when the probe didn't run it.
    bool CallService(HWND frame, int item, ServiceCall* call, LONG_PTR* result);

    // Drops files on window as the shell does (WM_DROPFILES posted with a
    // drop handle made inside the program); false when the probe didn't post it.
    bool DropFiles(HWND window, const std::vector<std::string>& names);

private:
    // Sends query to window and returns the probe's answer; false when the
    // probe could not be attached or did not answer.
    bool Probe(HWND window, unsigned query, std::string* answer);
    void DetachProbe();

    PROCESS_INFORMATION info_{};
    HWND frame_ = nullptr;
    HHOOK hook_ = nullptr;
    DWORD hookedThread_ = 0;
};

// Full path of kv_gui_probe.dll: $KV_GUI_PROBE_DLL if set, else beside this program.
std::string ProbePath();

// ---- windows ------------------------------------------------------------------

std::string ClassName(HWND window);

// A window's text through WM_GETTEXT, which also reaches edit controls of
// another process (GetWindowTextA does not).
std::string WindowText(HWND window);

// Visible top-level windows of process pid, of class className if not null.
std::vector<HWND> TopLevelWindows(DWORD pid, const char* className = nullptr);

// Waits up to timeoutMs for a visible top-level window of class className
// ("#32770" for dialogs and message boxes) whose owner is owner; 0 on timeout.
HWND WaitForOwnedWindow(HWND owner, const char* className, DWORD timeoutMs);

// Waits until window no longer exists; false on timeout.
bool WaitForWindowGone(HWND window, DWORD timeoutMs);

// The text of a control of a dialog, by id; empty when there is no such control.
std::string ControlText(HWND dialog, int id);

// The message of a message box: its static text control, id 0xFFFF.
std::string MessageBoxText(HWND box);

// Clicks the left mouse button at a point of the screen through SendInput,
// as the user does; the button's state is what GetAsyncKeyState sees.
bool ClickScreen(int x, int y);

// Presses a dialog's push button by id as a click does: posts BN_CLICKED
// with the button's handle. False when the dialog has no such control.
bool PressButton(HWND dialog, int id);

// The entries of a dialog's combo box by id, in list order; empty when it
// has none or there is no such control.
std::vector<std::string> ComboItems(HWND dialog, int id);

// The index of the selected entry of a dialog's combo box; -1 when nothing
// is selected or there is no such control.
int ComboSelection(HWND dialog, int id);

// Selects entry index of a dialog's combo box and tells the dialog with
// CBN_SELCHANGE, as a choice in the list does. False when the control is
// missing or has no such entry.
bool SelectComboItem(HWND dialog, int id, int index);

// ---- resources of the program file --------------------------------------------

// KORVANTA.EXE mapped as a data file, for reading its resources.
class ResourceFile {
public:
    explicit ResourceFile(const std::string& path);
    ~ResourceFile();
    ResourceFile(const ResourceFile&) = delete;
    ResourceFile& operator=(const ResourceFile&) = delete;
    HMODULE Module() const { return module_; }

    // Entries of accelerator table id; empty when there is none.
    std::vector<ACCEL> Accelerators(int id) const;

    // True when a resource of the given type and id (or name) exists.
    bool Has(LPCSTR type, LPCSTR name) const;

private:
    HMODULE module_ = nullptr;
};

// ---- pixels -------------------------------------------------------------------

// A rectangle of the screen as 0x00RRGGBB values, rows top-down.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    std::uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }

    // Number of pixels in rect (image coordinates, clipped) whose colour is rgb.
    int Count(const RECT& rect, std::uint32_t rgb) const;

    // Writes a 24-bit bottom-up .bmp file; false on failure.
    bool WriteBmp(const std::string& path) const;
};

// The colour of a COLORREF as 0x00RRGGBB, for comparison with Image pixels.
std::uint32_t Rgb(COLORREF colour);

// Copies rect of the screen (screen coordinates) through GDI: BitBlt from
// GetDC(NULL) into a 32-bit DIB section. False on failure.
bool CaptureScreenRect(const RECT& rect, Image* image);

// The whole screen.
bool CaptureScreen(Image* image);

// The window's rectangle on the screen, frame and menu bar included.
bool CaptureWindow(HWND window, Image* image);

// Whether a dialog, message box or the logo has painted itself on the screen:
// waits up to timeoutMs until the middle half of its client area holds its
// texts and controls, not one flat colour; the failure tells what was seen.
::testing::AssertionResult IsPainted(HWND window, DWORD timeoutMs = 5000);

// ---- shared scenario helpers ----------------------------------------------------

inline constexpr char kImageClass[] = "GenericWClass";
inline constexpr char kCoreKey[] = "Software\\Korvanta\\3.50\\Core";

// Runs pred every 50 ms until it is true; false when timeoutMs passed first.
template <typename Pred>
bool Within(DWORD timeoutMs, Pred pred)
{
    for (const ULONGLONG end = GetTickCount64() + timeoutMs;; Sleep(50)) {
        if (pred())
            return true;
        if (GetTickCount64() >= end)
            return false;
    }
}

// The image windows in the frame's MDI client, top first.
std::vector<HWND> ImageWindows(HWND frame);

// Waits up to timeoutMs for a visible top-level window of class className of process pid; 0 on timeout.
HWND WaitForProcessWindow(DWORD pid, const char* className, DWORD timeoutMs);

// SendMessageTimeoutA with 5 s; the answer, or 0.
LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// A packed DIB of 4, 8, 16 (5-5-5) or 24 bits; pixel(x, y), counted from the
// top, gives the index or 0xRRGGBB.
std::vector<BYTE> MakeDib(int width, int height, int bits, const std::vector<RGBQUAD>& table,
                          const std::function<DWORD(int, int)>& pixel);

// A scratch folder of the scenarios in the temp folder, and a name in it.
std::string Folder();
std::string PathOf(const std::string& name);
bool Exists(const std::string& path);
std::string Upper(std::string text);
// A folder of its own under the temp folder, emptied of files; its path.
std::string FreshFolder(const std::string& name);
// Writes a whole file; false on failure.
bool WriteBytes(const std::string& path, const std::vector<BYTE>& bytes);
// Writes a .bmp file around a packed DIB into Folder(), or to name itself
// when it holds a backslash; its full path.
std::string WriteBmp(const std::string& name, const std::vector<BYTE>& dib);
// A whole file; empty when it can't be read.
std::vector<BYTE> ReadBytes(const std::string& path);
// kvconvert.exe beside the program, run in folder (the current one when
// empty): the batch conversion on the same engine. True on status 0.
bool Convert(const std::string& args, const std::string& folder = "");

// The rows of a dialog's list box, read in UTF-16 as Wine answers another process.
std::vector<std::string> ListItems(HWND dialog, int id);
// Chooses the entry of a dialog's combo box whose text begins with prefix,
// as a choice in the list does; false when there is none.
bool ChooseItem(HWND dialog, int id, const std::string& prefix);
bool Checked(HWND dialog, int id);

// The Core section of the profile store, read and written in the registry as
// another program would. A missing value reads "", one that isn't a string
// "<type N>" so that it can't pass for one.
void SetCore(const std::string& name, const std::string& text);
std::string CoreValue(const std::string& name);
std::map<std::string, std::string> CoreValues();
void ClearCore();  // a first start: the section goes with all it holds

// Settings a scenario uses start absent and are taken away again, whatever its outcome.
struct CoreGuard {
    std::vector<std::string> names;
    explicit CoreGuard(std::vector<std::string> list) : names(std::move(list)) { Clear(); }
    ~CoreGuard() { Clear(); }
    void Clear() const;
};

// One run of the program, by default without its logo, with an optional file
// after the switches; the frame once it is up.
struct Session {
    Program program;
    HWND frame = nullptr;

    explicit Session(const std::string& file = "", const std::string& switches = "/NOLOGO",
                     const std::string& folder = "");

    HWND Client() const { return GetDlgItem(frame, 3244); }
    std::vector<HWND> Windows() const { return ImageWindows(frame); }
    // Waits until there are count image windows; the one on top, or 0.
    HWND WaitForWindows(size_t count, DWORD timeoutMs = 8000) const;

    // Frame services as other programs call them.
    LONG_PTR Service(int item, ServiceCall call);
    LONG_PTR Attr(HWND window, LONG attribute);
    void SetAttr(HWND window, LONG attribute, LONG_PTR value);
    void SetFlag(HWND window, LONG mask, LONG on);
    LONG Row(const std::string& name);
    HWND OpenFile(const std::string& path);  // service 31 with a block
    // Puts a DIB made in the test into window; its handle in the program.
    LONG_PTR SetImage(HWND window, const std::vector<BYTE>& dib);

    void Command(WPARAM id) const { PostMessageA(frame, WM_COMMAND, id, 0); }
    // Returns once the frame's thread is back in its message loop.
    void Settle() const { Send(frame, WM_NULL, 0, 0); }

    // A message box of the program (static text 0xFFFF) or its common file dialog.
    HWND WaitForDialog(bool fileDialog) const;
    HWND WaitForBox() const { return WaitForDialog(false); }
    HWND WaitForFileDialog() const { return WaitForDialog(true); }
    bool NoDialogs() const { return TopLevelWindows(program.Pid(), "#32770").empty(); }
    // A dialog of the program holding control id; 0 after the wait.
    HWND WaitForControl(int id, DWORD timeoutMs = 10000) const;
    // A message box of the program whose text begins with prefix; 0 after the wait.
    HWND WaitForText(const std::string& prefix, DWORD timeoutMs = 10000) const;
    // File, Exit; true when the program ended with code 0.
    bool Exit();

    // The menu bar with each popup opened as the user opens it.
    std::vector<MenuEntry> Menus();
};

// Answers a box or a dialog by its button; it must go.
void Answer(HWND box, int button);

}  // namespace kvgui
