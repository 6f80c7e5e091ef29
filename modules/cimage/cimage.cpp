// CIMAGE.DLL: the extension library. At start-up it offers the program the
// format modules found beside it (one: MACPAINT.DLL), and it writes every
// document event its hooks hear, one line each, to the file named by the
// environment variable KV_CIMAGE_EVENTS when that is set. It handles the
// frame commands 4121 (thumbnail settings) and 4122 (a thumbnail for a window
// just opened) by noting them; every other message goes on to the program.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "core/service_block.h"

#include <cstdio>
#include <cstring>

#define CIM_EXPORT extern "C" __declspec(dllexport)

namespace {
HINSTANCE self;
HWND frame;
const int kHandled = 2;
const WPARAM kThumbnailSettings = 4121, kThumbnail = 4122;

// Appends one line to the events file, if one is named.
void Note(const char* what, const char* detail = "")
{
    char path[MAX_PATH];
    const DWORD length = GetEnvironmentVariableA("KV_CIMAGE_EVENTS", path, sizeof path);
    if (length == 0 || length >= sizeof path) return;
    HANDLE file = CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    char line[600];
    const int n = snprintf(line, sizeof line, "%s%s%s\r\n", what, *detail ? " " : "", detail);
    DWORD written = 0;
    if (n > 0) WriteFile(file, line, static_cast<DWORD>(n < static_cast<int>(sizeof line) ? n : sizeof line - 1),
                         &written, nullptr);
    CloseHandle(file);
}

// A window's title, for the events that name no file.
void NoteWindow(const char* what, HWND window)
{
    char title[MAX_PATH] = "";
    GetWindowTextA(window, title, sizeof title);
    Note(what, title);
}

// Offers the MacPaint module to the program when it lies beside this library.
void OfferMacPaint()
{
    FormatOffer offer{};
    char folder[MAX_PATH];
    const DWORD length = GetModuleFileNameA(self, folder, sizeof folder);
    if (length == 0 || length >= sizeof folder) return;
    char* slash = strrchr(folder, '\\');
    if (!slash) return;
    slash[1] = 0;
    char module[MAX_PATH];
    if (snprintf(module, sizeof module, "%sMACPAINT.DLL", folder) >= static_cast<int>(sizeof module)) return;
    if (GetFileAttributesA(module) == INVALID_FILE_ATTRIBUTES) return;
    // A path that doesn't fit the record goes by name; the program looks for it then.
    if (strlen(module) >= sizeof offer.module) strcpy(module, "MACPAINT.DLL");
    strcpy(offer.extension, "MAC");
    strcpy(offer.description, "MAC- MacPaint");
    strcpy(offer.module, module);
    offer.canRead = 1;
    offer.canWrite = 1;
    offer.capability[0] = 3;  // black and white only, colour or gray
    offer.id = 200;
    ServiceBlock block{};
    block.record = &offer;
    block.formatId = -1;
    SendMessageA(frame, SVC_Message(SVC_REGISTER_FORMAT), 0, reinterpret_cast<LPARAM>(&block));
}
}  // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) self = instance;
    if (reason == DLL_PROCESS_DETACH) Note("detach");
    return TRUE;
}

CIM_EXPORT int WINAPI LIB_InitImageLib(HWND frameWindow, HWND, int logoUp)
{
    frame = frameWindow;
    Note(logoUp ? "init logo" : "init");
    OfferMacPaint();
    return 1;
}

CIM_EXPORT int WINAPI LIB_InitImageLibFinish()
{
    Note("finish");
    return 1;
}

// The frame the library serves, for its format modules.
CIM_EXPORT HWND WINAPI CIM_GetFrame() { return frame; }

CIM_EXPORT int WINAPI LIB_MessageHandler(HWND, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result)
{
    if (message != WM_COMMAND) return 0;
    if (LOWORD(wParam) == kThumbnailSettings) {
        Note("command 4121");
    } else if (LOWORD(wParam) == kThumbnail) {
        NoteWindow("command 4122", reinterpret_cast<HWND>(lParam));
    } else {
        return 0;
    }
    *result = 0;
    return kHandled;
}

#ifndef CIM_WITHOUT_IMAGE_HANDLER
CIM_EXPORT int WINAPI LIB_MDIMessageHandler(HWND, UINT, WPARAM, LPARAM, LRESULT*) { return 0; }
#endif

CIM_EXPORT LRESULT WINAPI LIB_MDIChangeProc(HWND child)
{
    NoteWindow("change", child);
    return 0;
}

CIM_EXPORT LRESULT WINAPI LIB_MDIDeleteProc(HWND child, HGLOBAL)
{
    NoteWindow("delete", child);
    return 0;
}

CIM_EXPORT LRESULT WINAPI LIB_MDIRenameProc(HWND, LPCSTR name)
{
    Note("rename", name ? name : "");
    return 0;
}

CIM_EXPORT LRESULT WINAPI LIB_MDILoadProc(HWND, LPCSTR name)
{
    Note("load", name ? name : "");
    return 0;
}

CIM_EXPORT LRESULT WINAPI LIB_MDISaveProc(HWND, LPCSTR name)
{
    Note("save", name ? name : "");
    return 0;
}

// No function modules: the system information lists none.
CIM_EXPORT WORD WINAPI LIB_CountFunctionDLLs() { return 0; }
CIM_EXPORT HINSTANCE WINAPI LIB_GetFunctionDLLHandle(WORD) { return nullptr; }
