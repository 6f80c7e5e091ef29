// Loading of CIMAGE.DLL and the calls into it.
#include "core/extensions.h"

#include "controls/status.h"
#include "core/app.h"
#include "formats/format_table.h"

#include <cstdio>

namespace {
// The library's message handlers store their result and return 2 when they took the message.
typedef int(WINAPI* MessageHandler)(HWND, UINT, WPARAM, LPARAM, LRESULT*);
typedef int(WINAPI* InitProc)(HWND, HWND, int);
typedef int(WINAPI* FinishProc)();
typedef LRESULT(WINAPI* WindowHook)(HWND);
typedef LRESULT(WINAPI* DeleteHook)(HWND, HGLOBAL);
typedef LRESULT(WINAPI* NameHook)(HWND, LPCSTR);

const int kHandled = 2;

HMODULE library;
MessageHandler frameHandler;
MessageHandler imageHandler;
FinishProc finisher;

FARPROC Entry(const char* name) { return library ? GetProcAddress(library, name) : nullptr; }

template <typename T>
T EntryAs(const char* name)
{
    return reinterpret_cast<T>(reinterpret_cast<void*>(Entry(name)));
}
}  // namespace

void MAI_LoadLibrary(int logoUp)
{
    MAI_FreeLibrary();
    // Testing for the file first avoids the system's box of a failed load.
    FILE* probe = fopen("CIMAGE.DLL", "rb");
    if (!probe) return;
    fclose(probe);
    library = LoadLibraryA("CIMAGE.DLL");
    if (!library) return;
    // Format modules the library registers reach it through this handle.
    FMT_SetModuleHost(library);
    if (InitProc init = EntryAs<InitProc>("LIB_InitImageLib")) init(MAI_Frame, MAI_Client, logoUp);
    frameHandler = EntryAs<MessageHandler>("LIB_MessageHandler");
    imageHandler = EntryAs<MessageHandler>("LIB_MDIMessageHandler");
    finisher = EntryAs<FinishProc>("LIB_InitImageLibFinish");
    if (!frameHandler || !imageHandler) {
        MAI_FreeLibrary();
        return;
    }
    STA_Update(1);
}

void MAI_FreeLibrary()
{
    if (library) FreeLibrary(library);
    library = nullptr;
    FMT_SetModuleHost(nullptr);
    frameHandler = nullptr;
    imageHandler = nullptr;
    finisher = nullptr;
}

int LIB_IsLoaded() { return library != nullptr; }

void LIB_InitFinish()
{
    if (finisher) finisher();
}

int LIB_FrameMessage(HWND frame, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result)
{
    return frameHandler && frameHandler(frame, message, wParam, lParam, result) == kHandled;
}

int LIB_ImageMessage(HWND child, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result)
{
    return imageHandler && imageHandler(child, message, wParam, lParam, result) == kHandled;
}

LRESULT LIB_MDIChange(HWND child)
{
    WindowHook hook = EntryAs<WindowHook>("LIB_MDIChangeProc");
    return hook ? hook(child) : 0;
}

LRESULT LIB_MDIDelete(HWND child, HGLOBAL hDIB)
{
    DeleteHook hook = EntryAs<DeleteHook>("LIB_MDIDeleteProc");
    return hook ? hook(child, hDIB) : 0;
}

LRESULT LIB_MDIRename(HWND child, LPCSTR name)
{
    NameHook hook = EntryAs<NameHook>("LIB_MDIRenameProc");
    return hook ? hook(child, name) : 0;
}

LRESULT LIB_MDILoad(HWND child, LPCSTR name)
{
    NameHook hook = EntryAs<NameHook>("LIB_MDILoadProc");
    return hook ? hook(child, name) : 0;
}

LRESULT LIB_MDISave(HWND child, LPCSTR name)
{
    NameHook hook = EntryAs<NameHook>("LIB_MDISaveProc");
    return hook ? hook(child, name) : 0;
}
