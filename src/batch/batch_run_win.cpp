// The batch run in the program: each file goes through the same load path
// as the Open command, the batch's conversion rules on its window, and the
// same save path as the Save command; one window exists at a time.
#include "batch/batch.h"

#include "batch/batch_engine.h"
#include "batch_dialog_ids.h"
#include "core/app.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/save_document.h"
#include "core/utilities.h"
#include "formats/format_table.h"

#include <string>

namespace {
const UINT kComplete = 16651, kAborted = 16652, kCaption = 16640;
const WPARAM kTitleTag = 22307;  // carried with the output name; no receiver reads it
const DWORD kFailureWait = 2000;  // ms for the user to read why a file failed

// The run's bar answers its creation and commands and does nothing else.
INT_PTR CALLBACK StatusProc(HWND, UINT message, WPARAM, LPARAM)
{
    return message == WM_INITDIALOG || message == WM_COMMAND;
}

// The bar along the bottom edge of the screen, as wide as the screen, its
// text over the whole of it.
HWND OpenStatus(HWND frame)
{
    HWND bar = CreateDialogParamA(MAI_Instance, MAKEINTRESOURCEA(IDD_BATCHSTATUS), frame, StatusProc, 0);
    if (!bar) return nullptr;
    RECT r;
    GetWindowRect(bar, &r);
    const int height = r.bottom - r.top;
    MoveWindow(bar, 0, GetSystemMetrics(SM_CYSCREEN) - height, GetSystemMetrics(SM_CXSCREEN), height, FALSE);
    RECT client;
    GetClientRect(bar, &client);
    MoveWindow(GetDlgItem(bar, IDC_BAT_RUNNING), 0, 0, client.right, client.bottom, FALSE);
    ShowWindow(bar, SW_SHOW);
    UpdateWindow(bar);
    return bar;
}

// Takes the keyboard messages out of the queue; true when one was Escape.
// All of the program's windows count: the bar or an image may hold the focus.
bool EscapeQueued()
{
    bool escape = false;
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 256, 264, PM_REMOVE))
        if (msg.message >= WM_KEYDOWN && msg.message <= WM_CHAR && msg.wParam == VK_ESCAPE) escape = true;
    return escape;
}

// Starts a step: the first at once, every later one only without an Escape
// in the queue and while files are left.
bool StepCheck()
{
    if (++BAT_Step == 1) return true;
    if (EscapeQueued()) return false;
    return BAT_Step <= BAT_Total;
}

// The wait after a failed load, watching for Escape; false when it came.
bool WaitAfterFailure()
{
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < kFailureWait) {
        if (EscapeQueued()) return false;
        Sleep(20);
    }
    return true;
}

void ReadWindow(void* image, ColourDocument* doc) { *doc = CLR_WindowDocument(static_cast<HWND>(image)); }
void InstallWindow(void* image, const ColourDocument& before, const ColourChange& change)
{
    CLR_WindowInstall(static_cast<HWND>(image), before, change);
}
void SetWindowCompressed(void* image, int compressed)
{
    IMG_SetAttr(static_cast<HWND>(image), IA_COMPRESSED, compressed);
}
void SetWindowFormat(void* image, int row) { IMG_SetFormat(static_cast<HWND>(image), row); }

const BatchImageAccess kWindowAccess = {ReadWindow, InstallWindow, SetWindowCompressed, SetWindowFormat};
}  // namespace

int BAT_ConvertImage(HWND window)
{
    BAT_ConvertRules(kWindowAccess, window, BAT_CurrentSettings(FIL_GetSaveRow()));
    return 1;
}

void BAT_Run(HWND frame)
{
    int i = 0;
    BAT_SetActive(1, 0);
    BAT_Total = BAT_ItemCount;
    BAT_Step = 0;
    UTL_BeginWait();
    HWND bar = OpenStatus(frame);
    MSG_ClearAbort();
    bool stopped = false;
    for (;;) {
        if (!StepCheck()) {
            stopped = true;
            break;
        }
        if (MSG_GetAbort()) break;
        // A run over an empty list loads without a name: the load path then asks.
        const char* input = BAT_Items && i < BAT_ItemCount ? BAT_Items[i].input : nullptr;
        const char* output = BAT_Items && i < BAT_ItemCount ? BAT_Items[i].output : nullptr;
        HWND window = FIL_OpenDocument(frame, input, 0);
        if (MSG_GetAbort()) break;
        if (window) {
            UpdateWindow(window);
            BAT_ConvertImage(window);
            // A file picked in the Open dialog has no output name: it is not saved.
            if (output) {
                const size_t length = lstrlenA(BAT_OutputDir);
                const bool slash = length && BAT_OutputDir[length - 1] == '\\';
                const std::string path = std::string(BAT_OutputDir) + (slash ? "" : "\\") + output;
                SendMessageA(window, WM_SETTEXT, kTitleTag, reinterpret_cast<LPARAM>(path.c_str()));
                // A failed save has reported itself; the run goes on.
                FIL_SaveDocument(window);
            }
            SendMessageA(window, WM_CLOSE, 0, 0);
            BAT_FreeItem(i);
            i++;
        } else {
            BAT_FreeItem(i);
            if (!WaitAfterFailure()) {
                stopped = true;
                break;
            }
            i++;
        }
    }
    if (!stopped) MSG_ClearAbort();
    if (bar) DestroyWindow(bar);
    char text[128] = "", caption[64] = "";
    LoadStringA(MAI_Instance, BAT_Step > BAT_Total ? kComplete : kAborted, text, sizeof text);
    LoadStringA(MAI_Instance, kCaption, caption, sizeof caption);
    MessageBoxA(nullptr, text, caption, MB_OK);
    UTL_EndWait();
    BAT_FreeItems();
    BAT_SetActive(0, 0);
}
