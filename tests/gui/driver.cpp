// Outside driver of KORVANTA.EXE for the GUI scenarios.
#include "driver.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace kvgui {

namespace {

// Under Wine without a window manager, destroying a managed window waits two
// seconds for the manager to withdraw it, and nobody draws its caption. So
// while the scenarios run, KORVANTA.EXE's windows are unmanaged: Wine draws
// the caption itself and windows go at once. The setting is taken away again
// at the end, so that the program behaves as usual on a desktop with the same
// Wine prefix. Outside Wine nothing is done.
constexpr char kX11Key[] = "Software\\Wine\\AppDefaults\\KORVANTA.EXE\\X11 Driver";

struct UnmanagedWindows {
    bool set = false;
    ~UnmanagedWindows()
    {
        HKEY key = nullptr;
        if (set && RegOpenKeyExA(HKEY_CURRENT_USER, kX11Key, 0, KEY_SET_VALUE, &key) == ERROR_SUCCESS) {
            RegDeleteValueA(key, "Managed");
            RegCloseKey(key);
        }
    }
};

void UseUnmanagedWindowsUnderWine()
{
    static UnmanagedWindows guard;
    static bool done = false;
    if (done)
        return;
    done = true;
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    if (!ntdll || !GetProcAddress(ntdll, "wine_get_version"))
        return;
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, kX11Key, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE,
                        nullptr, &key, nullptr) != ERROR_SUCCESS)
        return;
    // A value someone put there on purpose stays as it is.
    if (RegQueryValueExA(key, "Managed", nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        guard.set = RegSetValueExA(key, "Managed", 0, REG_SZ, reinterpret_cast<const BYTE*>("N"), 2) ==
                    ERROR_SUCCESS;
    }
    RegCloseKey(key);
}

}  // namespace

std::string WindowsPath(const std::string& path)
{
    if (path.empty() || path[0] != '/')
        return path;
    std::string out = "Z:" + path;
    std::replace(out.begin(), out.end(), '/', '\\');
    return out;
}

// $variable as a Windows path if set, else name in the folder levels up from this program's.
static std::string BesideThisProgram(const char* variable, int levels, const char* name)
{
    if (const char* env = std::getenv(variable); env && *env)
        return WindowsPath(env);
    char self[MAX_PATH] = {};
    std::string path(self, GetModuleFileNameA(nullptr, self, MAX_PATH));
    for (int i = 0; i < levels; ++i) {
        size_t cut = path.find_last_of("\\/");
        path = cut == std::string::npos ? std::string() : path.substr(0, cut);
    }
    return path + "\\" + name;
}

// <build>\tests\kv_gui_tests.exe -> <build>\KORVANTA.EXE
std::string KorvantaPath() { return BesideThisProgram("KV_KORVANTA_EXE", 2, "KORVANTA.EXE"); }

// ---- Program -------------------------------------------------------------------

bool Program::Start(const std::string& args, const std::string& workDir)
{
    Kill();
    UseUnmanagedWindowsUnderWine();
    std::string commandLine = "\"" + KorvantaPath() + "\"";
    if (!args.empty())
        commandLine += " " + args;
    std::vector<char> buffer(commandLine.begin(), commandLine.end());
    buffer.push_back('\0');
    STARTUPINFOA startup{sizeof startup};
    if (!CreateProcessA(nullptr, buffer.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        workDir.empty() ? nullptr : workDir.c_str(), &startup, &info_)) {
        std::fprintf(stderr, "cannot start %s: error %lu\n", commandLine.c_str(), GetLastError());
        info_ = {};
        return false;
    }
    return true;
}

HWND Program::WaitForFrame(DWORD timeoutMs)
{
    if (!info_.hProcess)
        return nullptr;
    frame_ = nullptr;
    Within(timeoutMs, [&] {
        if (!IsRunning())
            return true;
        for (HWND window : TopLevelWindows(info_.dwProcessId, kFrameClass)) {
            if (WindowText(window) == kFrameTitle) {
                frame_ = window;
                return true;
            }
        }
        return false;
    });
    return frame_;
}

bool Program::WaitForExit(DWORD timeoutMs, DWORD* exitCode)
{
    DWORD code = 0;
    if (!info_.hProcess || WaitForSingleObject(info_.hProcess, timeoutMs) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(info_.hProcess, &code))
        return false;
    if (exitCode)
        *exitCode = code;
    return true;
}

bool Program::IsRunning() const
{
    return info_.hProcess && WaitForSingleObject(info_.hProcess, 0) == WAIT_TIMEOUT;
}

void Program::Kill()
{
    DetachProbe();
    if (!info_.hProcess)
        return;
    if (IsRunning()) {
        TerminateProcess(info_.hProcess, 0xDEAD);
        WaitForSingleObject(info_.hProcess, 10000);
    }
    CloseHandle(info_.hThread);
    CloseHandle(info_.hProcess);
    info_ = {};
    frame_ = nullptr;
}

// ---- windows -------------------------------------------------------------------

std::string ClassName(HWND window)
{
    char name[256] = {};
    int n = GetClassNameA(window, name, sizeof name);
    return std::string(name, n > 0 ? n : 0);
}

std::string WindowText(HWND window)
{
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutA(window, WM_GETTEXTLENGTH, 0, 0, SMTO_ABORTIFHUNG, 5000, &length))
        return {};
    std::vector<char> text(length + 1, '\0');
    DWORD_PTR copied = 0;
    if (!SendMessageTimeoutA(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()),
                             SMTO_ABORTIFHUNG, 5000, &copied))
        return {};
    return std::string(text.data(), std::min<size_t>(copied, length));
}

std::vector<HWND> TopLevelWindows(DWORD pid, const char* className)
{
    struct Wanted {
        DWORD pid;
        const char* className;
        std::vector<HWND> found;
    } wanted{pid, className, {}};
    EnumWindows(
        [](HWND window, LPARAM param) -> BOOL {
            auto* w = reinterpret_cast<Wanted*>(param);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (IsWindowVisible(window) && (!w->pid || owner == w->pid) &&
                (!w->className || _stricmp(ClassName(window).c_str(), w->className) == 0))
                w->found.push_back(window);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&wanted));
    return wanted.found;
}

bool WaitForWindowGone(HWND window, DWORD timeoutMs)
{
    return Within(timeoutMs, [&] { return !IsWindow(window); });
}

std::string ControlText(HWND dialog, int id)
{
    HWND control = GetDlgItem(dialog, id);
    return control ? WindowText(control) : std::string();
}

std::string MessageBoxText(HWND box)
{
    return ControlText(box, 0xFFFF);
}

bool ClickScreen(int x, int y)
{
    if (!SetCursorPos(x, y))
        return false;
    INPUT inputs[2]{};
    inputs[0].type = INPUT_MOUSE;
    inputs[0].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
    inputs[1].type = INPUT_MOUSE;
    inputs[1].mi.dwFlags = MOUSEEVENTF_LEFTUP;
    if (SendInput(1, &inputs[0], sizeof(INPUT)) != 1)
        return false;
    // Held long enough for a program that polls the button to see it down.
    Sleep(200);
    return SendInput(1, &inputs[1], sizeof(INPUT)) == 1;
}

bool PressButton(HWND dialog, int id)
{
    HWND button = GetDlgItem(dialog, id);
    if (!button)
        return false;
    return PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED),
                        reinterpret_cast<LPARAM>(button)) != 0;
}

namespace {

// The entries of a combo or list box of another process. Sent there, Wine
// answers the ANSI text messages in UTF-16, in twice the room the ANSI
// length promises; so the entries are read in UTF-16 and converted here.
std::vector<std::string> Entries(HWND dialog, int id, UINT countMessage, UINT lengthMessage, UINT textMessage)
{
    std::vector<std::string> items;
    HWND control = GetDlgItem(dialog, id);
    DWORD_PTR count = 0;
    if (!control || !SendMessageTimeoutW(control, countMessage, 0, 0, SMTO_ABORTIFHUNG, 5000, &count) ||
        static_cast<LRESULT>(count) < 0)
        return items;
    for (DWORD_PTR i = 0; i < count; ++i) {
        DWORD_PTR length = 0, copied = 0;
        if (!SendMessageTimeoutW(control, lengthMessage, i, 0, SMTO_ABORTIFHUNG, 5000, &length) ||
            static_cast<LRESULT>(length) < 0)
            return {};
        std::vector<WCHAR> wide(length + 1, L'\0');
        if (!SendMessageTimeoutW(control, textMessage, i, reinterpret_cast<LPARAM>(wide.data()), SMTO_ABORTIFHUNG,
                                 5000, &copied) ||
            static_cast<LRESULT>(copied) < 0)
            return {};
        const int chars = static_cast<int>(std::min<size_t>(copied, length));
        std::string text(static_cast<size_t>(chars) * 2, '\0');
        text.resize(static_cast<size_t>(std::max(
            WideCharToMultiByte(CP_ACP, 0, wide.data(), chars, text.data(), chars * 2, nullptr, nullptr), 0)));
        items.push_back(text);
    }
    return items;
}

}  // namespace

std::vector<std::string> ComboItems(HWND dialog, int id)
{
    return Entries(dialog, id, CB_GETCOUNT, CB_GETLBTEXTLEN, CB_GETLBTEXT);
}

std::vector<std::string> ListItems(HWND dialog, int id)
{
    return Entries(dialog, id, LB_GETCOUNT, LB_GETTEXTLEN, LB_GETTEXT);
}

int ComboSelection(HWND dialog, int id)
{
    HWND combo = GetDlgItem(dialog, id);
    DWORD_PTR at = 0;
    if (!combo || !SendMessageTimeoutA(combo, CB_GETCURSEL, 0, 0, SMTO_ABORTIFHUNG, 5000, &at))
        return -1;
    return static_cast<LRESULT>(at) == CB_ERR ? -1 : static_cast<int>(at);
}

bool SelectComboItem(HWND dialog, int id, int index)
{
    HWND combo = GetDlgItem(dialog, id);
    DWORD_PTR at = 0;
    if (!combo || index < 0 ||
        !SendMessageTimeoutA(combo, CB_SETCURSEL, static_cast<WPARAM>(index), 0, SMTO_ABORTIFHUNG, 5000, &at) ||
        static_cast<LRESULT>(at) != index)
        return false;
    DWORD_PTR ignored = 0;
    return SendMessageTimeoutA(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo),
                               SMTO_ABORTIFHUNG, 5000, &ignored) != 0;
}

// ---- the probe inside the program ------------------------------------------------

namespace {

// The reply window: receives the probe's WM_COPYDATA answers.
std::string g_answer;
bool g_answered = false;

LRESULT CALLBACK ReplyProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_COPYDATA) {
        const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        g_answer.assign(static_cast<const char*>(data->lpData), data->cbData);
        g_answered = true;
        return TRUE;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

HWND ReplyWindow()
{
    static HWND reply = [] {
        WNDCLASSA wc{};
        wc.lpfnWndProc = ReplyProc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = "KvGuiProbeReply";
        RegisterClassA(&wc);
        return CreateWindowExA(0, wc.lpszClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                               wc.hInstance, nullptr);
    }();
    return reply;
}

std::string ProbePath() { return BesideThisProgram("KV_GUI_PROBE_DLL", 1, "kv_gui_probe.dll"); }

HOOKPROC ProbeHookProc(HMODULE* module)
{
    static HMODULE probe = LoadLibraryA(ProbePath().c_str());
    *module = probe;
    if (!probe)
        return nullptr;
    // The 32-bit name carries its stdcall decoration.
    FARPROC proc = GetProcAddress(probe, kvprobe::kHookProcName);
    if (!proc)
        proc = GetProcAddress(probe, "KvProbeHook@12");
    return reinterpret_cast<HOOKPROC>(reinterpret_cast<void*>(proc));
}

}  // namespace

bool Program::Probe(HWND window, unsigned query, std::string* answer)
{
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    if (!thread)
        return false;
    if (!hook_ || hookedThread_ != thread) {
        DetachProbe();
        HMODULE module = nullptr;
        HOOKPROC proc = ProbeHookProc(&module);
        if (!proc) {
            std::fprintf(stderr, "cannot load the probe %s\n", ProbePath().c_str());
            return false;
        }
        hook_ = SetWindowsHookExA(WH_CALLWNDPROC, proc, module, thread);
        if (!hook_)
            return false;
        hookedThread_ = thread;
    }
    static const UINT message = RegisterWindowMessageA(kvprobe::kProbeMessage);
    g_answered = false;
    g_answer.clear();
    DWORD_PTR result = 0;
    // While the send waits, the answer sent back to the reply window is served.
    SendMessageTimeoutA(window, message, query, reinterpret_cast<LPARAM>(ReplyWindow()), SMTO_NORMAL,
                        10000, &result);
    if (!g_answered)
        return false;
    *answer = g_answer;
    return true;
}

void Program::DetachProbe()
{
    if (hook_)
        UnhookWindowsHookEx(hook_);
    hook_ = nullptr;
    hookedThread_ = 0;
}

bool Program::ReadMenuBar(HWND window, std::vector<MenuEntry>* bar, bool opened)
{
    std::string answer;
    if (!Probe(window, opened ? kvprobe::kMenuTreeOpened : kvprobe::kMenuTree, &answer))
        return false;
    bar->clear();
    // Each line: depth, id, type, state, popup flag, text. An entry of depth d
    // belongs to the last popup of depth d - 1.
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string f[6];
        for (std::string& field : f)
            std::getline(fields, field, kvprobe::kFieldSeparator);
        MenuEntry entry;
        entry.id = static_cast<UINT>(std::strtoul(f[1].c_str(), nullptr, 10));
        entry.type = static_cast<UINT>(std::strtoul(f[2].c_str(), nullptr, 10));
        entry.state = static_cast<UINT>(std::strtoul(f[3].c_str(), nullptr, 10));
        entry.popup = f[4] == "1";
        entry.text = f[5];
        std::vector<MenuEntry>* level = bar;
        for (int d = std::atoi(f[0].c_str()); d > 0; --d) {
            if (level->empty() || !level->back().popup)
                return false;
            level = &level->back().items;
        }
        level->push_back(entry);
    }
    return true;
}

std::map<std::string, std::string> Program::ClassInfo(HWND window)
{
    std::map<std::string, std::string> info;
    std::string answer;
    if (!Probe(window, kvprobe::kClassInfo, &answer))
        return info;
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);)
        if (line.find('=') != std::string::npos)
            info[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    return info;
}

bool Program::CallService(HWND frame, int item, ServiceCall* call, LONG_PTR* result)
{
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                        kvprobe::kServiceMappingSize, kvprobe::kServiceMapping);
    if (!mapping)
        return false;
    auto* view = static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    auto* wire = reinterpret_cast<kvprobe::ServiceCall*>(view);
    bool ran = view && sizeof *wire + call->dib.size() <= kvprobe::kServiceMappingSize &&
               call->text.size() < sizeof wire->text && call->record.size() <= sizeof wire->record;
    if (ran) {
        wire->item = static_cast<unsigned>(item);
        wire->hasText = call->hasText;
        wire->dibBytes = static_cast<unsigned>(call->dib.size());
        wire->resultDib = call->resultDib;
        wire->recordBytes = static_cast<unsigned>(call->record.size());
        if (!call->record.empty())
            std::memcpy(wire->record, call->record.data(), call->record.size());
        wire->block = *call;
        std::memcpy(wire->text, call->text.c_str(), call->text.size() + 1);
        if (!call->dib.empty())
            std::memcpy(view + sizeof *wire, call->dib.data(), call->dib.size());
        std::string answer;
        ran = Probe(frame, kvprobe::kService, &answer) && answer == "ok";
    }
    if (ran) {
        *result = wire->result;
        static_cast<kvprobe::Block&>(*call) = wire->block;
        if (call->hasText)
            call->text = std::string(wire->text, strnlen(wire->text, sizeof wire->text));
        if (call->resultDib)
            call->dib.assign(view + sizeof *wire, view + sizeof *wire + wire->dibBytes);
        if (!call->record.empty())
            std::memcpy(call->record.data(), wire->record, call->record.size());
    }
    if (view)
        UnmapViewOfFile(view);
    CloseHandle(mapping);
    return ran;
}

bool Program::DropFiles(HWND window, const std::vector<std::string>& names)
{
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                        kvprobe::kDropMappingSize, kvprobe::kDropMapping);
    if (!mapping)
        return false;
    auto* view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    size_t used = 0;
    bool fits = view != nullptr;
    for (const std::string& name : names) {
        if (!fits || used + name.size() + 2 > kvprobe::kDropMappingSize) {
            fits = false;
            break;
        }
        std::memcpy(view + used, name.c_str(), name.size() + 1);
        used += name.size() + 1;
    }
    if (fits)
        view[used] = '\0';
    std::string answer;
    const bool dropped = fits && Probe(window, kvprobe::kDropFiles, &answer) && answer == "ok";
    if (view)
        UnmapViewOfFile(view);
    CloseHandle(mapping);
    return dropped;
}

// ---- resources -----------------------------------------------------------------

HMODULE ProgramResources()
{
    static const HMODULE module = LoadLibraryExA(KorvantaPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    return module;
}

std::vector<ACCEL> Accelerators(int id)
{
    std::vector<ACCEL> entries;
    HACCEL table = ProgramResources() ? LoadAcceleratorsA(ProgramResources(), MAKEINTRESOURCEA(id)) : nullptr;
    if (!table)
        return entries;
    int count = CopyAcceleratorTableA(table, nullptr, 0);
    entries.resize(static_cast<size_t>(std::max(count, 0)));
    if (count > 0)
        CopyAcceleratorTableA(table, entries.data(), count);
    DestroyAcceleratorTable(table);
    return entries;
}

// ---- pixels --------------------------------------------------------------------

std::uint32_t Rgb(COLORREF colour)
{
    return (GetRValue(colour) << 16) | (GetGValue(colour) << 8) | GetBValue(colour);
}

int Image::Count(const RECT& rect, std::uint32_t rgb) const
{
    int n = 0;
    for (int y = std::max<int>(rect.top, 0); y < std::min<int>(rect.bottom, height); ++y)
        for (int x = std::max<int>(rect.left, 0); x < std::min<int>(rect.right, width); ++x)
            n += At(x, y) == rgb;
    return n;
}

bool CaptureScreenRect(const RECT& rect, Image* image)
{
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    if (width <= 0 || height <= 0)
        return false;
    BITMAPINFO info{{sizeof info.bmiHeader, width, -height, 1, 32, BI_RGB}};  // top-down
    HDC screen = GetDC(nullptr);
    if (!screen)
        return false;
    HDC memory = CreateCompatibleDC(screen);
    void* bits = nullptr;
    HBITMAP section = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    bool ok = memory && section && bits;
    if (ok) {
        HGDIOBJ old = SelectObject(memory, section);
        ok = BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY) != 0;
        GdiFlush();
        SelectObject(memory, old);
    }
    if (ok) {
        image->width = width;
        image->height = height;
        const auto* source = static_cast<const std::uint32_t*>(bits);
        image->pixels.assign(source, source + static_cast<size_t>(width) * height);
        for (auto& p : image->pixels)
            p &= 0x00FFFFFF;
    }
    if (section)
        DeleteObject(section);
    if (memory)
        DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return ok;
}

Image ClientShot(HWND window, int width, int height)
{
    Image shot;
    POINT at{0, 0};
    if (!ClientToScreen(window, &at) || !CaptureScreenRect(RECT{at.x, at.y, at.x + width, at.y + height}, &shot))
        return Image{};
    return shot;
}

Image Picture(int width, int height, const std::function<std::uint32_t(int, int)>& rgb)
{
    Image image{width, height};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.pixels.push_back(rgb(x, y));
    return image;
}

Image DibImage(const std::vector<BYTE>& bytes, size_t at)
{
    BITMAPINFOHEADER h{};
    if (bytes.size() < at + sizeof h)
        return Image{};
    std::memcpy(&h, bytes.data() + at, sizeof h);
    const int bits = h.biBitCount;
    const size_t colours = h.biClrUsed ? h.biClrUsed : bits <= 8 ? 1u << bits : 0;
    const size_t table = at + h.biSize + (h.biCompression == BI_BITFIELDS ? 12 : 0);
    const size_t start = table + colours * 4, stride = (static_cast<size_t>(h.biWidth) * bits + 31) / 32 * 4;
    if ((bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) || h.biWidth <= 0 || h.biHeight <= 0 ||
        h.biWidth > 65535 || h.biHeight > 65535 || colours > 256 || start > bytes.size() ||
        (bytes.size() - start) / stride < static_cast<size_t>(h.biHeight))
        return Image{};
    Image image{h.biWidth, h.biHeight};
    for (int y = h.biHeight; y-- > 0;)
        for (int x = 0; x < h.biWidth; ++x) {
            const BYTE* p = bytes.data() + start + y * stride + static_cast<size_t>(x) * bits / 8;
            if (bits <= 8) {
                const size_t index = bits == 8 ? *p : bits == 4 ? *p >> (x & 1 ? 0 : 4) & 15 : *p >> (7 - x % 8) & 1;
                p = bytes.data() + table + 4 * std::min(index, colours - 1);
            }
            image.pixels.push_back(static_cast<std::uint32_t>(p[2]) << 16 | p[1] << 8 | p[0]);
        }
    return image;
}

::testing::AssertionResult Shows(HWND window, const std::vector<POINT>& points,
                                 const std::function<std::uint32_t(int, int)>& rgb, DWORD timeoutMs)
{
    Image shot;
    POINT wrong{-1, -1};
    const bool shown = Within(timeoutMs, [&] {
        POINT at{0, 0};
        LONG right = 1, bottom = 1;
        for (POINT p : points)
            right = std::max(right, p.x + 1), bottom = std::max(bottom, p.y + 1);
        if (!ClientToScreen(window, &at) || !CaptureScreenRect(RECT{at.x, at.y, at.x + right, at.y + bottom}, &shot))
            return false;
        for (POINT p : points)
            if (shot.At(p.x, p.y) != rgb(p.x, p.y))
                return wrong = p, false;
        return true;
    });
    if (shown)
        return ::testing::AssertionSuccess();
    if (wrong.x < 0)
        return ::testing::AssertionFailure() << "no picture of the window";
    return ::testing::AssertionFailure() << "pixel " << wrong.x << "," << wrong.y << " is " << std::hex
                                         << shot.At(wrong.x, wrong.y) << ", not " << rgb(wrong.x, wrong.y);
}

::testing::AssertionResult IsPainted(HWND window, DWORD timeoutMs)
{
    // Texts and controls put many pixels off the background colour; a window
    // that never painted is one colour edge to edge.
    constexpr int kEnough = 16;
    Image shot;
    int off = 0;
    Within(timeoutMs, [&] {
        RECT r;
        POINT at{0, 0};
        if (!GetClientRect(window, &r) || !ClientToScreen(window, &at) ||
            !CaptureScreenRect(RECT{at.x + r.right / 4, at.y + r.bottom / 4, at.x + r.right * 3 / 4,
                                    at.y + r.bottom * 3 / 4},
                               &shot))
            return false;
        std::map<std::uint32_t, int> counts;
        int most = 0;
        for (std::uint32_t p : shot.pixels)
            most = std::max(most, ++counts[p]);
        off = static_cast<int>(shot.pixels.size()) - most;
        return off >= kEnough;
    });
    if (off >= kEnough)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << ClassName(window) << " \"" << WindowText(window)
                                         << "\" unpainted: the middle of its client area is one colour but for "
                                         << off << " pixels";
}

// ---- shared scenario helpers ----------------------------------------------------

LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    DWORD_PTR result = 0;
    SendMessageTimeoutA(window, message, wParam, lParam, SMTO_NORMAL, 5000, &result);
    return static_cast<LRESULT>(result);
}

std::vector<BYTE> MakeDib(int width, int height, int bits, const std::vector<RGBQUAD>& table,
                          const std::function<DWORD(int, int)>& pixel)
{
    const DWORD stride = ((static_cast<DWORD>(width) * bits + 31) / 32) * 4;
    BITMAPINFOHEADER header{sizeof header, width, height, 1, static_cast<WORD>(bits), BI_RGB, stride * height};
    header.biClrUsed = static_cast<DWORD>(table.size());
    const size_t tableBytes = table.size() * sizeof(RGBQUAD);
    std::vector<BYTE> dib(sizeof header + tableBytes + header.biSizeImage, 0);
    std::memcpy(dib.data(), &header, sizeof header);
    if (!table.empty())
        std::memcpy(dib.data() + sizeof header, table.data(), tableBytes);
    for (int y = 0; y < height; ++y) {
        BYTE* row = dib.data() + sizeof header + tableBytes + static_cast<size_t>(height - 1 - y) * stride;
        for (int x = 0; x < width; ++x) {
            const DWORD p = pixel(x, y);
            if (bits == 8) {
                row[x] = static_cast<BYTE>(p);
            } else if (bits == 4) {
                row[x / 2] |= static_cast<BYTE>(x & 1 ? p : p << 4);
            } else if (bits == 16) {
                const WORD v = static_cast<WORD>(((p >> 19) & 31) << 10 | ((p >> 11) & 31) << 5 | ((p >> 3) & 31));
                row[2 * x] = static_cast<BYTE>(v);
                row[2 * x + 1] = static_cast<BYTE>(v >> 8);
            } else {
                for (int i = 0; i < 3; ++i)
                    row[3 * x + i] = static_cast<BYTE>(p >> (8 * i));
            }
        }
    }
    return dib;
}

// A folder of the temp folder, made when missing.
static std::string TempFolder(const std::string& name)
{
    char base[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, base);
    const std::string folder = std::string(base) + name;
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

std::string Folder() { return TempFolder("kv_gui"); }

std::string PathOf(const std::string& name) { return Folder() + "\\" + name; }

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string Upper(std::string text)
{
    CharUpperBuffA(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::string FreshFolder(const std::string& name)
{
    const std::string folder = TempFolder(name);
    WIN32_FIND_DATAA found;
    HANDLE walk = FindFirstFileA((folder + "\\*").c_str(), &found);
    for (BOOL more = walk != INVALID_HANDLE_VALUE; more; more = FindNextFileA(walk, &found))
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            DeleteFileA((folder + "\\" + found.cFileName).c_str());
    if (walk != INVALID_HANDLE_VALUE)
        FindClose(walk);
    return folder;
}

bool WriteBytes(const std::string& path, const std::vector<BYTE>& bytes)
{
    HANDLE out = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool ok = out != INVALID_HANDLE_VALUE &&
                    WriteFile(out, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                    written == bytes.size();
    if (out != INVALID_HANDLE_VALUE)
        CloseHandle(out);
    EXPECT_TRUE(ok) << path;
    return ok;
}

std::string WriteBmp(const std::string& name, const std::vector<BYTE>& dib)
{
    const std::string path = name.find('\\') == std::string::npos ? PathOf(name) : name;
    const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(dib.data());
    BITMAPFILEHEADER file{0x4D42, static_cast<DWORD>(sizeof file + dib.size()), 0, 0,
                          static_cast<DWORD>(sizeof file + header->biSize + header->biClrUsed * sizeof(RGBQUAD))};
    std::vector<BYTE> bytes(reinterpret_cast<const BYTE*>(&file), reinterpret_cast<const BYTE*>(&file + 1));
    bytes.insert(bytes.end(), dib.begin(), dib.end());
    WriteBytes(path, bytes);
    return path;
}

int RunUnix(const std::string& command, DWORD timeoutMs)
{
    const std::string done = "/tmp/kv_gui_" + std::to_string(GetCurrentProcessId()) + ".done";
    std::string line = "/bin/sh -c \"(" + command + ") >/dev/null 2>&1; echo $? >'" + done + ".t' && mv '" + done +
                       ".t' '" + done + "'\"";
    STARTUPINFOA startup{sizeof startup};
    PROCESS_INFORMATION info{};
    // Wine starts a Unix program without a process handle to wait on: the marker file tells its end.
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info) ||
        !Within(timeoutMs, [&] { return Exists("Z:" + done); }))
        return -1;
    std::vector<BYTE> status = ReadBytes("Z:" + done);
    DeleteFileA(("Z:" + done).c_str());
    status.push_back(0);
    return std::atoi(reinterpret_cast<const char*>(status.data()));
}

bool Convert(const std::string& args, const std::string& folder)
{
    const std::string program = KorvantaPath();
    std::string line = "\"" + program.substr(0, program.find_last_of('\\') + 1) + "kvconvert.exe\" -q " + args;
    STARTUPINFOA startup{sizeof startup};
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        folder.empty() ? nullptr : folder.c_str(), &startup, &info))
        return false;
    DWORD code = 1;
    if (WaitForSingleObject(info.hProcess, 60000) == WAIT_OBJECT_0)
        GetExitCodeProcess(info.hProcess, &code);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return code == 0;
}

bool ChooseItem(HWND dialog, int id, const std::string& prefix)
{
    const std::vector<std::string> items = ComboItems(dialog, id);
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i].compare(0, prefix.size(), prefix) == 0) {
            // The common file dialogs take the filter at the end of the choice.
            return SelectComboItem(dialog, id, static_cast<int>(i)) &&
                   Send(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELENDOK),
                        reinterpret_cast<LPARAM>(GetDlgItem(dialog, id))) >= 0;
        }
    ADD_FAILURE() << "no entry " << prefix << " in combo " << id;
    return false;
}

bool Checked(HWND dialog, int id) { return Send(GetDlgItem(dialog, id), BM_GETCHECK, 0, 0) == BST_CHECKED; }

std::vector<BYTE> ReadBytes(const std::string& path)
{
    HANDLE in = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (in == INVALID_HANDLE_VALUE)
        return {};
    std::vector<BYTE> bytes(GetFileSize(in, nullptr));
    DWORD got = 0;
    if (!bytes.empty())
        ReadFile(in, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr);
    CloseHandle(in);
    bytes.resize(got);
    return bytes;
}

void SetCore(const std::string& name, const std::string& text)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExA(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>(text.size() + 1)),
              ERROR_SUCCESS);
    RegCloseKey(key);
}

std::map<std::string, std::string> CoreValues()
{
    std::map<std::string, std::string> values;
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return values;
    for (DWORD i = 0;; ++i) {
        char name[256] = {};
        DWORD nameSize = sizeof name;
        BYTE data[512] = {};
        DWORD dataSize = sizeof data - 1;
        DWORD type = 0;
        if (RegEnumValueA(key, i, name, &nameSize, nullptr, &type, data, &dataSize) != ERROR_SUCCESS)
            break;
        const std::string text(reinterpret_cast<const char*>(data), dataSize);
        values[name] = type == REG_SZ ? text.substr(0, text.find('\0')) : "<type " + std::to_string(type) + ">";
    }
    RegCloseKey(key);
    return values;
}

std::string CoreValue(const std::string& name)
{
    const std::map<std::string, std::string> values = CoreValues();
    const auto found = values.find(name);
    return found == values.end() ? "" : found->second;
}

void ClearCore()
{
    RegDeleteKeyA(HKEY_CURRENT_USER, kCoreKey);
    HKEY key = nullptr;
    ASSERT_NE(RegOpenKeyExA(HKEY_CURRENT_USER, kCoreKey, 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS)
        << "the Core section is still there";
}

void CoreGuard::Clear() const
{
    for (const std::string& name : names)
        RegDeleteKeyValueA(HKEY_CURRENT_USER, kCoreKey, name.c_str());
}

Session::Session(const std::string& file, const std::string& switches, const std::string& folder)
{
    if (program.Start(file.empty() || switches.empty() ? switches + file : switches + " " + file, folder))
        frame = program.WaitForFrame();
}

namespace {

// The last visible top-level window of class className of process pid that
// meets test; 0 when none came within timeoutMs.
HWND WaitForWindow(DWORD pid, const char* className, DWORD timeoutMs, const std::function<bool(HWND)>& test)
{
    HWND found = nullptr;
    Within(timeoutMs, [&] {
        for (HWND window : TopLevelWindows(pid, className))
            if (test(window))
                found = window;
        return found != nullptr;
    });
    return found;
}

}  // namespace

HWND Session::WaitForControl(int id, DWORD timeoutMs) const
{
    return WaitForWindow(program.Pid(), "#32770", timeoutMs, [&](HWND window) { return GetDlgItem(window, id); });
}

HWND Session::WaitForText(const std::string& prefix, DWORD timeoutMs) const
{
    return WaitForWindow(program.Pid(), "#32770", timeoutMs, [&](HWND window) {
        return GetDlgItem(window, 0xFFFF) && MessageBoxText(window).compare(0, prefix.size(), prefix) == 0;
    });
}

bool Session::Exit()
{
    Command(264);
    DWORD code = 0xFFFFFFFF;
    return program.WaitForExit(10000, &code) && code == 0;
}

std::vector<HWND> ImageWindows(HWND frame)
{
    std::vector<HWND> found;
    for (HWND child = GetWindow(GetDlgItem(frame, 3244), GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (ClassName(child) == kImageClass)
            found.push_back(child);
    return found;
}

HWND WaitForProcessWindow(DWORD pid, const char* className, DWORD timeoutMs)
{
    return WaitForWindow(pid, className, timeoutMs, [](HWND) { return true; });
}

HWND Session::WaitForWindows(size_t count, DWORD timeoutMs) const
{
    HWND top = nullptr;
    Within(timeoutMs, [&] {
        const std::vector<HWND> windows = Windows();
        top = windows.empty() ? nullptr : windows.front();
        return windows.size() == count;
    });
    return top;
}

LONG_PTR Session::Service(int item, ServiceCall call)
{
    LONG_PTR result = -12345;
    EXPECT_TRUE(program.CallService(frame, item, &call, &result)) << "service " << item;
    return result;
}

LONG_PTR Session::Attr(HWND window, LONG attribute)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.attribute = attribute;
    return Service(0, call);
}

std::string Session::Attrs(HWND window, const std::vector<LONG>& attributes)
{
    std::string text;
    for (LONG attribute : attributes) {
        const LONG_PTR value = Attr(window, attribute);
        text += (text.empty() ? "" : " ") + std::to_string(attribute == 4 || attribute == 12 ? value != 0 : value);
    }
    return text;
}

void Session::SetFlag(HWND window, LONG mask, LONG on)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.value = mask;
    call.flag = on;
    Service(3, call);
}

LONG Session::Row(const std::string& name)
{
    ServiceCall call;
    call.hasText = true;
    call.text = name;
    return static_cast<LONG>(Service(58, call));
}

HWND Session::OpenFile(const std::string& path)
{
    ServiceCall call;
    call.hasText = true;
    call.text = path;
    call.row = Row(path);
    return reinterpret_cast<HWND>(Service(31, call));
}

LONG_PTR Session::SetImage(HWND window, const std::vector<BYTE>& dib)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.dib = dib;
    LONG_PTR result = 0;
    EXPECT_TRUE(program.CallService(frame, 11, &call, &result));
    return call.hDIB;
}

HWND Session::WaitForDialog(bool fileDialog) const
{
    const int nameField = 1152;
    HWND found = WaitForWindow(program.Pid(), "#32770", 8000, [&](HWND window) {
        return (GetDlgItem(window, nameField) != nullptr) == fileDialog && (fileDialog || GetDlgItem(window, 0xFFFF));
    });
    if (found) {
        EXPECT_TRUE(IsPainted(found));
    }
    return found;
}

std::string Session::AnswerBox(int button) const
{
    HWND box = WaitForBox();
    const std::string text = box ? MessageBoxText(box) : "";
    if (box)
        Answer(box, button);
    return text;
}

std::vector<MenuEntry> Session::Menus()
{
    std::vector<MenuEntry> bar;
    EXPECT_TRUE(program.ReadMenuBar(frame, &bar, true));
    return bar;
}

void Answer(HWND box, int button)
{
    ASSERT_NE(box, nullptr);
    ASSERT_TRUE(PressButton(box, button));
    EXPECT_TRUE(WaitForWindowGone(box, 5000));
}

// The clipboard goes with its owner window, as with a program that ends.
bool ClipboardPut(const std::vector<std::pair<UINT, std::vector<BYTE>>>& items)
{
    HWND owner = CreateWindowA("STATIC", "", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    bool put = OpenClipboard(owner) && EmptyClipboard();
    for (const auto& [format, bytes] : items) {
        HANDLE data = nullptr;
        const auto* info = reinterpret_cast<const BITMAPINFO*>(bytes.data());
        if (format == CF_DIB) {
            data = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
            std::memcpy(GlobalLock(data), bytes.data(), bytes.size());
            GlobalUnlock(data);
        } else if (format == CF_PALETTE) {
            std::vector<BYTE> logical(sizeof(LOGPALETTE) + bytes.size());
            auto* palette = reinterpret_cast<LOGPALETTE*>(logical.data());
            *palette = {0x300, static_cast<WORD>(bytes.size() / 4)};
            std::memcpy(palette->palPalEntry, bytes.data(), bytes.size());
            data = CreatePalette(palette);
        } else {
            HDC screen = GetDC(nullptr);
            data = CreateDIBitmap(screen, &info->bmiHeader, CBM_INIT,
                                  bytes.data() + info->bmiHeader.biSize + info->bmiHeader.biClrUsed * 4, info,
                                  DIB_RGB_COLORS);
            ReleaseDC(nullptr, screen);
        }
        put = put && SetClipboardData(format, data);
    }
    put = CloseClipboard() && put;
    DestroyWindow(owner);
    return put;
}

std::vector<BYTE> ClipboardRead(UINT format)
{
    std::vector<BYTE> bytes;
    if (!OpenClipboard(nullptr))
        return bytes;
    HANDLE data = GetClipboardData(format);
    if (data && format == CF_DIB) {
        const auto* at = static_cast<const BYTE*>(GlobalLock(data));
        bytes.assign(at, at + GlobalSize(data));
        GlobalUnlock(data);
    } else if (data && format == CF_PALETTE) {
        PALETTEENTRY entries[256];
        const UINT count = GetPaletteEntries(static_cast<HPALETTE>(data), 0, 256, entries);
        bytes.assign(reinterpret_cast<BYTE*>(entries), reinterpret_cast<BYTE*>(entries + count));
    } else if (data) {
        BITMAP facts{};
        GetObjectA(data, sizeof facts, &facts);
        const DWORD stride = (static_cast<DWORD>(facts.bmWidth) * 3 + 3) & ~3u;
        bytes.resize(sizeof(BITMAPINFOHEADER) + stride * facts.bmHeight);
        auto* header = reinterpret_cast<BITMAPINFOHEADER*>(bytes.data());
        *header = {sizeof *header, facts.bmWidth, facts.bmHeight, 1, 24, BI_RGB, stride * facts.bmHeight};
        HDC screen = GetDC(nullptr);
        if (!GetDIBits(screen, static_cast<HBITMAP>(data), 0, facts.bmHeight, header + 1,
                       reinterpret_cast<BITMAPINFO*>(header), DIB_RGB_COLORS))
            bytes.clear();
        ReleaseDC(nullptr, screen);
    }
    CloseClipboard();
    return bytes;
}

}  // namespace kvgui
