// CAPTURE.DLL: watches the keyboard of the whole desktop through a
// low-level hook and, when the bound key goes down with exactly the bound
// modifiers, posts the capture message to the frame window given to it.
#include <windows.h>

namespace {
const UINT kCaptureMessage = 1025;

HINSTANCE module;
HHOOK hook;
HWND target;
DWORD hotKey;
bool wantAlt, wantCtrl;
// Whether the hot key is down now, so that the key's repeats don't fire again.
bool keyDown;

bool Held(int key) { return (GetAsyncKeyState(key) & 0x8000) != 0; }

LRESULT CALLBACK KeyboardHook(int code, WPARAM wParam, LPARAM lParam)
{
    if (code == HC_ACTION) {
        const auto* key = reinterpret_cast<const KBDLLHOOKSTRUCT*>(lParam);
        const bool down = wParam == WM_KEYDOWN || wParam == WM_SYSKEYDOWN;
        if (key->vkCode == hotKey) {
            const bool alt = (key->flags & LLKHF_ALTDOWN) != 0 || Held(VK_MENU);
            if (down && !keyDown && alt == wantAlt && Held(VK_CONTROL) == wantCtrl && IsWindow(target))
                PostMessageA(target, kCaptureMessage, 0, 0);
            keyDown = down;
        }
    }
    return CallNextHookEx(hook, code, wParam, lParam);
}
}  // namespace

extern "C" {

// Binds the hot key virtualKey to frame and starts watching the keyboard.
__declspec(dllexport) void WINAPI CAP_SetHookProc(HWND frame, UINT virtualKey)
{
    target = frame;
    hotKey = virtualKey;
    keyDown = false;
    if (!hook) hook = SetWindowsHookExA(WH_KEYBOARD_LL, KeyboardHook, module, 0);
}

// The modifiers that must be held with the key (each non-zero or zero).
__declspec(dllexport) void WINAPI CAP_SetHookKeyMod(BOOL alt, BOOL ctrl)
{
    wantAlt = alt != 0;
    wantCtrl = ctrl != 0;
}

// Another key for the same frame.
__declspec(dllexport) void WINAPI CAP_ResetHookKey(UINT virtualKey)
{
    hotKey = virtualKey;
    keyDown = false;
}

// Stops watching the keyboard.
__declspec(dllexport) void WINAPI CAP_UnsetHookProc()
{
    if (hook) UnhookWindowsHookEx(hook);
    hook = nullptr;
    target = nullptr;
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        module = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}
}
