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

#include "probe/probe_protocol.h"

namespace kvgui {

inline constexpr char kFrameClass[] = "FrameClass";
inline constexpr char kFrameTitle[] = "Korvanta";
inline constexpr char kImageClass[] = "GenericWClass";
inline constexpr char kCoreKey[] = "Software\\Korvanta\\3.50\\Core";

// KORVANTA.EXE: $KV_KORVANTA_EXE if set, else in the parent of this program's folder.
std::string KorvantaPath();
// "/a/b" -> "Z:\a\b"; anything else is returned unchanged.
std::string WindowsPath(const std::string& path);

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

// One entry of a menu, with the entries of its popup if it is one.
struct MenuEntry {
    UINT id = 0;
    UINT type = 0;   // MFT_* flags
    UINT state = 0;  // MFS_* flags
    bool popup = false;
    std::string text;
    std::vector<MenuEntry> items;

    bool IsSeparator() const { return (type & MFT_SEPARATOR) != 0; }
    bool IsGrayed() const { return (state & MFS_GRAYED) != 0; }
    bool IsChecked() const { return (state & MFS_CHECKED) != 0; }
};

// A call of the frame's service item (message 5684 + item) with the fields
// of its block, which hold what the service left there after the call. text
// is passed when hasText is set; a non-empty dib is copied into a movable
// block of the program whose handle the block carries as hDIB.
// With resultDib the DIB the call returned comes back in dib; a non-empty
// record is passed through the block's record and read back after the call.
struct ServiceCall : kvprobe::Block {
    bool hasText = false;
    bool resultDib = false;
    std::string text;
    std::vector<BYTE> dib;
    std::vector<BYTE> record;
};

// One run of KORVANTA.EXE; the destructor ends the process if it still runs.
class Program {
public:
    Program() = default;
    ~Program() { Kill(); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Starts the program with args after its quoted path, in workDir (or the current folder).
    bool Start(const std::string& args = "", const std::string& workDir = "");
    // Waits for the visible frame of this process; 0 on timeout.
    HWND WaitForFrame(DWORD timeoutMs = 20000);
    // True when the process ended within timeoutMs, with its exit code in *exitCode.
    bool WaitForExit(DWORD timeoutMs, DWORD* exitCode);
    bool IsRunning() const;
    void Kill();
    DWORD Pid() const { return info_.dwProcessId; }
    HWND Frame() const { return frame_; }

    // Wine keeps menus and class data where only the owning process reads
    // them, so these are read inside the program by kv_gui_probe.dll, which
    // a window hook on the window's thread loads there.

    // The menu bar with all its popups; with opened, each popup first gets
    // WM_INITMENUPOPUP as when the user opens it.
    bool ReadMenuBar(HWND window, std::vector<MenuEntry>* bar, bool opened = false);
    // Facts of window's class by name (style, cls_extra, wnd_extra,
    // background, icon_resource, cursor_is_arrow, menu_name or menu_id).
    std::map<std::string, std::string> ClassInfo(HWND window);
    // Calls service item on the frame from inside the program; false when the probe didn't run it.
    bool CallService(HWND frame, int item, ServiceCall* call, LONG_PTR* result);
    // Drops files on window as the shell does; false when the probe didn't post it.
    bool DropFiles(HWND window, const std::vector<std::string>& names);

private:
    bool Probe(HWND window, unsigned query, std::string* answer);
    void DetachProbe();

    PROCESS_INFORMATION info_{};
    HWND frame_ = nullptr;
    HHOOK hook_ = nullptr;
    DWORD hookedThread_ = 0;
};

// ---- windows and controls -------------------------------------------------------

std::string ClassName(HWND window);
// A window's text through WM_GETTEXT, which also reaches controls of another process.
std::string WindowText(HWND window);
// Visible top-level windows of process pid, of class className if not null.
std::vector<HWND> TopLevelWindows(DWORD pid, const char* className = nullptr);
// A visible top-level window of class className of process pid, the lowest when there are more; 0 on timeout.
HWND WaitForProcessWindow(DWORD pid, const char* className, DWORD timeoutMs);
bool WaitForWindowGone(HWND window, DWORD timeoutMs);
// The image windows in the frame's MDI client, top first.
std::vector<HWND> ImageWindows(HWND frame);

// The text of a dialog's control by id; empty when there is no such control.
std::string ControlText(HWND dialog, int id);
// The message of a message box: its static text control, id 0xFFFF.
std::string MessageBoxText(HWND box);
bool Checked(HWND dialog, int id);
// Clicks the left button at a point of the screen through SendInput, as the user does.
bool ClickScreen(int x, int y);
// Presses a dialog's button by id as a click does: posts BN_CLICKED.
bool PressButton(HWND dialog, int id);
// Answers a box or a dialog by its button; it must go.
void Answer(HWND box, int button);
// SendMessageTimeoutA with 5 s; the answer, or 0.
LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// The entries of a dialog's combo or list box, read in UTF-16 as Wine
// answers another process; empty when there is no such control.
std::vector<std::string> ComboItems(HWND dialog, int id);
std::vector<std::string> ListItems(HWND dialog, int id);
// The selected entry of a dialog's combo box; -1 when none.
int ComboSelection(HWND dialog, int id);
// Selects an entry of a dialog's combo box by index, or the first whose text
// begins with prefix, and tells the dialog as a choice in the list does.
bool SelectComboItem(HWND dialog, int id, int index);
bool ChooseItem(HWND dialog, int id, const std::string& prefix);

// KORVANTA.EXE mapped once as a data file, for reading its resources.
HMODULE ProgramResources();
// Entries of the program's accelerator table id; empty when there is none.
std::vector<ACCEL> Accelerators(int id);

// ---- pixels -------------------------------------------------------------------

// A rectangle of the screen as 0x00RRGGBB values, rows top-down.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    std::uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
    // Number of pixels in rect (image coordinates, clipped) whose colour is rgb.
    int Count(const RECT& rect, std::uint32_t rgb) const;
    bool operator==(const Image& other) const { return width == other.width && pixels == other.pixels; }
};

// An image of width by height whose pixel (x, y) is rgb(x, y).
Image Picture(int width, int height, const std::function<std::uint32_t(int, int)>& rgb);
// The pixels of an uncompressed bottom-up packed DIB of 1, 4, 8, 24 or 32 bits
// that starts at byte at (14 in a .DIB file); empty when there is none.
Image DibImage(const std::vector<BYTE>& bytes, size_t at = 0);

// A COLORREF as 0x00RRGGBB.
std::uint32_t Rgb(COLORREF colour);
// Copies rect of the screen through GDI; false on failure.
bool CaptureScreenRect(const RECT& rect, Image* image);
// The top left width by height pixels of window's client area; empty on failure.
Image ClientShot(HWND window, int width, int height);
// Whether the pixels of window's client area at points are rgb(x, y) of
// each; waits up to timeoutMs, as the screen may lag behind a paint.
::testing::AssertionResult Shows(HWND window, const std::vector<POINT>& points,
                                 const std::function<std::uint32_t(int, int)>& rgb, DWORD timeoutMs = 3000);
// Whether a dialog, message box or the logo has painted itself: waits until
// the middle half of its client area is not one flat colour.
::testing::AssertionResult IsPainted(HWND window, DWORD timeoutMs = 5000);

// ---- files and the profile store ------------------------------------------------

// A packed DIB of 4, 8, 16 (5-5-5) or 24 bits; pixel(x, y), counted from the
// top, gives the index or 0xRRGGBB.
std::vector<BYTE> MakeDib(int width, int height, int bits, const std::vector<RGBQUAD>& table,
                          const std::function<DWORD(int, int)>& pixel);

// The scenarios' scratch folder in the temp folder, and a name in it.
std::string Folder();
std::string PathOf(const std::string& name);
// A folder of its own under the temp folder, emptied of files; its path.
std::string FreshFolder(const std::string& name);
bool Exists(const std::string& path);
std::string Upper(std::string text);
bool WriteBytes(const std::string& path, const std::vector<BYTE>& bytes);
// Writes a .bmp file around a packed DIB into Folder(), or to name itself
// when it holds a backslash; its full path.
std::string WriteBmp(const std::string& name, const std::vector<BYTE>& dib);
// A whole file; empty when it can't be read.
std::vector<BYTE> ReadBytes(const std::string& path);
// Runs a shell command on the Unix side and waits up to timeoutMs for it to
// end; its exit status, or -1 when it didn't start or end in time.
int RunUnix(const std::string& command, DWORD timeoutMs = 20000);
// kvconvert.exe beside the program, run in folder (the current one when
// empty): the batch conversion on the same engine. True on status 0.
bool Convert(const std::string& args, const std::string& folder = "");

// The Core section of the profile store, read and written in the registry as
// another program would. A value that isn't a string reads "<type N>".
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

// ---- a session ------------------------------------------------------------------

// One run of the program, by default without its logo, with an optional file
// after the switches, in folder (or the current one); the frame once it is up.
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
    // Attributes of window's record as one text, values apart by blanks; the
    // DIB (4) and bitmap (12) handles as 1 when there is one, else 0.
    std::string Attrs(HWND window, const std::vector<LONG>& attributes);
    void SetFlag(HWND window, LONG mask, LONG on);
    LONG Row(const std::string& name);
    HWND OpenFile(const std::string& path);  // service 31 with a block
    // Puts a DIB made in the test into window; its handle in the program.
    LONG_PTR SetImage(HWND window, const std::vector<BYTE>& dib);

    void Command(WPARAM id) const { PostMessageA(frame, WM_COMMAND, id, 0); }
    // Returns once the frame's thread is back in its message loop.
    void Settle() const { Send(frame, WM_NULL, 0, 0); }
    // File, Exit; true when the program ended with code 0.
    bool Exit();
    std::vector<MenuEntry> Menus();  // each popup opened as the user opens it

    // A message box of the program (static text 0xFFFF) or its common file
    // dialog, painted; 0 after the wait.
    HWND WaitForDialog(bool fileDialog) const;
    HWND WaitForBox() const { return WaitForDialog(false); }
    // Answers a message box of the program by its button; its text, or "" when none came.
    std::string AnswerBox(int button) const;
    HWND WaitForFileDialog() const { return WaitForDialog(true); }
    bool NoDialogs() const { return TopLevelWindows(program.Pid(), "#32770").empty(); }
    // A dialog of the program holding control id; 0 after the wait.
    HWND WaitForControl(int id, DWORD timeoutMs = 10000) const;
    // A message box of the program whose text begins with prefix; 0 after the wait.
    HWND WaitForText(const std::string& prefix, DWORD timeoutMs = 10000) const;
};

// The clipboard as another program uses it: ClipboardPut empties it and puts
// packed DIB bytes as CF_DIB, a bitmap made of them as CF_BITMAP, PALETTEENTRY
// bytes as CF_PALETTE; ClipboardRead gives a DIB's packed bytes, a bitmap as a
// packed 24-bit DIB, a palette's entries; empty when nothing came.
bool ClipboardPut(const std::vector<std::pair<UINT, std::vector<BYTE>>>& items);
std::vector<BYTE> ClipboardRead(UINT format);

}  // namespace kvgui
