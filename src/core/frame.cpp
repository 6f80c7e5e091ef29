// The frame window: hosts the MDI client, owns the menu bar, routes the menu
// and accelerator commands and answers the service messages.
#include "core/frame.h"

#include "batch/batch.h"
#include "capture/capture.h"
#include "controls/image_info.h"
#include "colour/conversions.h"
#include "controls/status.h"
#include "controls/system_info.h"
#include "core/app.h"
#include "core/extensions.h"
#include "core/image_record.h"
#include "core/image_window.h"
#include "core/last_files.h"
#include "core/logo.h"
#include "core/menu_state.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/save_document.h"
#include "core/services.h"
#include "core/settings.h"
#include "core/utilities.h"
#include "edit/clipboard.h"
#include "print/print.h"

#include <direct.h>
#include <shellapi.h>

#include "korvanta_ids.h"
#include "menu_ids.h"

HMENU MAI_FileMenu;
HMENU MAI_EditMenu;
HMENU MAI_ColorsMenu;
HMENU MAI_WindowMenu;

namespace {
// Guards WM_PALETTECHANGED: realising a child's palette sends it again.
int paletteBusy;

// Sends message to every child of the client that has no owner (icon titles have one).
void SendToChildren(UINT message, WPARAM wParam, LPARAM lParam)
{
    for (HWND child = GetWindow(MAI_Client, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (!GetWindow(child, GW_OWNER)) SendMessageA(child, message, wParam, lParam);
}

// The help file of the program, closed when the frame goes.
const char kHelpFile[] = "KORVANTA.HLP";
const char kHelpOnHelp[] = "WINHELP.HLP";
// "There is no image to save"
const UINT kNoImageToSave = 8234;

// WM_SIZE: the status bars take their strip under the client.
LRESULT Resize(HWND frame, UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = DefFrameProcA(frame, MAI_Client, message, wParam, lParam);
    if (wParam != SIZE_MINIMIZED && MAI_Client) {
        RECT client;
        GetClientRect(frame, &client);
        MoveWindow(MAI_Client, 0, 0, client.right, client.bottom - STA_GetHeight(), TRUE);
        STA_Layout(frame);
        STA_Update(1);
    }
    return result;
}
}  // namespace

LRESULT MAI_CreateClient(HWND frame, const CREATESTRUCTA* create)
{
    // The Window popup lists the image windows, numbered from the first child id.
    CLIENTCREATESTRUCT ccs{};
    ccs.hWindowMenu = GetSubMenu(GetMenu(frame), MENUPOS_WINDOW);
    ccs.idFirstChild = IDM_FIRSTCHILD;
    // WS_CHILD | WS_CLIPCHILDREN; shown below once it exists.
    MAI_Client = CreateWindowExA(0, "mdiclient", nullptr, 0x42000000, 0, 0, 0, 0, frame,
                                 reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_MDICLIENT)),
                                 MAI_Instance, &ccs);
    // Whether the client came to be is tested by the frame's creator.
    if (MAI_Client)
        ShowWindow(MAI_Client, SW_SHOW);
    DragAcceptFiles(frame, TRUE);
    return 0;
}

// The Edit menu. The accelerators reach these without the menu's test, so
// each command tests again what its menu entry needs and otherwise does nothing.
static void MAI_EditCommand(UINT id)
{
    HWND window = MAI_Active && IMG_GetRecord(MAI_Active) ? MAI_Active : nullptr;
    if (!window || IMG_TestFlag(window, IF_MEDIA)) return;
    if (id == IDM_PASTE) {
        CBD_Paste(window);
        return;
    }
    if (id == IDM_UNDO) {
        if (IMG_HasUndo(window)) UND_Undo(window);
        return;
    }
    if (!IMG_GetDIB(window)) return;
    switch (id) {
    case IDM_CUT: CBD_Cut(window); break;
    case IDM_COPY: CBD_Copy(window); break;
    case IDM_DELETE: CBD_Delete(window); break;
    case IDM_PASTEPALETTE: CBD_PastePalette(window); break;
    }
}

LRESULT MAI_Command(HWND frame, WPARAM wParam, LPARAM lParam)
{
    if (FIL_LastFileCommand(frame, wParam, lParam) == 2) return 0;
    switch (LOWORD(wParam)) {
    case IDM_NEW:
        UTL_BeginWait();
        FIL_OpenDocument(frame, nullptr, 1);
        UTL_EndWait();
        return 0;
    case IDM_OPEN:
        FIL_OpenDocument(frame, nullptr, 0);
        return 0;
    case IDM_SAVE:
    case IDM_SAVEAS:
        // The accelerators and extension modules reach these without the menu's test.
        if (!MAI_Active || !IMG_GetRecord(MAI_Active) || !IMG_GetDIB(MAI_Active)) {
            MSG_Report(SEV_ERROR, kNoImageToSave);
            return 0;
        }
        if (LOWORD(wParam) == IDM_SAVEAS) {
            FIL_SaveAs(MAI_Active);
        } else {
            UTL_BeginWait();
            FIL_SaveDocument(MAI_Active);
            UTL_EndWait();
        }
        return 0;
    case IDM_PRINT:
        // The accelerators reach this without the menu's test.
        if (MAI_Active && IMG_GetRecord(MAI_Active) && !IMG_TestFlag(MAI_Active, IF_MEDIA) && IMG_GetDIB(MAI_Active))
            PRI_Print(MAI_Active);
        return 0;
    case IDM_PRINTSETUP:
        PRI_PrinterSetup();
        return 0;
    case IDM_CLOSE:
        if (MAI_Active) SendMessageA(MAI_Active, WM_CLOSE, 0, 0);
        return 0;
    case IDM_UNDO:
    case IDM_CUT:
    case IDM_COPY:
    case IDM_PASTE:
    case IDM_DELETE:
    case IDM_PASTEPALETTE:
        UTL_BeginWait();
        MAI_EditCommand(LOWORD(wParam));
        UTL_EndWait();
        return 0;
    case IDM_COLOR:
    case IDM_GRAY:
    case IDM_MONO_FLAT:
    case IDM_MONO_FLATDITHER:
    case IDM_C16_INCREASE:
    case IDM_C16_FLAT:
    case IDM_C16_OPTIMIZED:
    case IDM_C16_FLATDITHER:
    case IDM_C16_OPTIMIZEDDITHER:
    case IDM_C256_INCREASE:
    case IDM_C256_FLAT:
    case IDM_C256_OPTIMIZED:
    case IDM_C256_FLATDITHER:
    case IDM_C256_OPTIMIZEDDITHER:
    case IDM_B16_INCREASE:
    case IDM_B16_FLAT:
    case IDM_B16_FLATDITHER:
    case IDM_B24_DECREASE:
    case IDM_B24_INCREASE:
    case IDM_B32_OPAQUE:
    case IDM_B32_TRANSPARENT:
        // The Colors popup works on the active image with the wait cursor
        // up, except "Color", which only sets a flag.
        if (MAI_Active && IMG_GetRecord(MAI_Active)) {
            const bool wait = LOWORD(wParam) != IDM_COLOR;
            if (wait) UTL_BeginWait();
            CLR_WindowCommand(MAI_Active, LOWORD(wParam));
            if (wait) UTL_EndWait();
        }
        return 0;
    case IDM_IMAGEINFO:
        // Only an image window with an image has facts to show.
        DIS_ImageInfo(frame, MAI_Active);
        return 0;
    case IDM_BATCH:
        BAT_Facility(frame);
        return 0;
    case IDM_SYSINFO:
        SYS_ShowInfo(frame);
        return 0;
    case IDM_CAPTURE_ACTIVEWINDOW:
    case IDM_CAPTURE_ACTIVEAPP:
    case IDM_CAPTURE_SCREEN:
    case IDM_CAPTURE_RECTANGLE:
    case IDM_CAPTURE_UNDERMOUSE:
        CAP_SetMode(LOWORD(wParam));
        return 0;
    case IDM_CAPTURE_OPTIONS:
        CAP_OptionsCommand(frame);
        return 0;
    case IDM_SETTINGS:
        UTL_BeginWait();
        SET_Settings(frame);
        UTL_EndWait();
        return 0;
    case IDM_EXIT:
        SendMessageA(frame, WM_CLOSE, 0, 0);
        return 0;
    case IDM_TILE:
        SendMessageA(MAI_Client, WM_MDITILE, 0, 0);
        return 0;
    case IDM_CASCADE:
        SendMessageA(MAI_Client, WM_MDICASCADE, 0, 0);
        return 0;
    case IDM_ARRANGE:
        SendMessageA(MAI_Client, WM_MDIICONARRANGE, 0, 0);
        return 0;
    case IDM_CLOSEALL:
        MAI_CloseAllCommand();
        return 0;
    case IDM_HELPINDEX:
        // The help file lies in the program's own folder.
        _chdrive(MAI_HomeDrive);
        SetCurrentDirectoryA(MAI_HomeDir);
        WinHelpA(frame, kHelpFile, HELP_INDEX, 0);
        return 0;
    case IDM_HELPUSING:
        WinHelpA(frame, kHelpOnHelp, HELP_INDEX, 0);
        return 0;
    case IDM_ABOUT:
        LOGO_Show();
        return 0;
    }
    return DefFrameProcA(frame, MAI_Client, WM_COMMAND, wParam, lParam);
}

// WM_CLOSE: gives the desktop its colours back before the windows go, then
// destroys the frame. Unsaved images are not asked about here.
static LRESULT MAI_Close(HWND frame)
{
    HWND focus = GetFocus();
    if (HDC dc = GetDC(focus)) {
        SelectPalette(dc, static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE)), FALSE);
        RealizePalette(dc);
        ReleaseDC(focus, dc);
    }
    DestroyWindow(frame);
    return 0;
}

// WM_DESTROY: stops accepting files, lets the subsystems go and ends the main loop.
static LRESULT MAI_Destroy(HWND frame)
{
    DragAcceptFiles(frame, FALSE);
    FIL_DestroyLastFilesMenu();
    MAI_FreeLibrary();
    WinHelpA(frame, kHelpFile, HELP_QUIT, 0);
    CAP_UnloadOptions();
    STA_Destroy();
    PostQuitMessage(0);
    return 0;
}

// WM_ENDSESSION: no loop will follow, so the shutdown runs here.
static LRESULT MAI_EndSession(HWND frame, WPARAM ending)
{
    if (!ending) return 0;
    MAI_FreeLibrary();
    CAP_UnloadOptions();
    STA_Destroy();
    MAI_Shutdown();
    return 0;
}

LRESULT CALLBACK MPFrameWndProc(HWND frame, UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = 0;
    if (LIB_FrameMessage(frame, message, wParam, lParam, &result)) return result;

    if (MAI_IsService(message)) return MAI_Service(frame, message, lParam);
    switch (message) {
    case WM_CREATE:
        return MAI_CreateClient(frame, reinterpret_cast<const CREATESTRUCTA*>(lParam));
    case WM_SIZE:
        return Resize(frame, message, wParam, lParam);
    case WM_INITMENUPOPUP:
        MAI_UpdateMenu(reinterpret_cast<HMENU>(wParam));
        return 0;
    case WM_MENUSELECT: {
        HMENU menu = reinterpret_cast<HMENU>(lParam);
        const UINT flags = HIWORD(wParam);
        HMENU popup = flags != 0xFFFF && (flags & MF_POPUP) ? GetSubMenu(menu, LOWORD(wParam)) : nullptr;
        MAI_MenuSelect(frame, menu, LOWORD(wParam), popup, flags);
        return 0;
    }
    case WM_COMMAND:
        return MAI_Command(frame, wParam, lParam);
    case WM_DROPFILES:
        FIL_DropFiles(frame, reinterpret_cast<HDROP>(wParam));
        return 0;
    case CAP_HotKeyMessage:
        // The hot key: the screen is grabbed as it stands, under the wait cursor.
        UTL_BeginWait();
        CAP_Capture();
        UTL_EndWait();
        return 0;
    case WM_CLOSE:
        return MAI_Close(frame);
    case WM_DESTROY:
        return MAI_Destroy(frame);
    case WM_QUERYENDSESSION:
        return MAI_QueryCloseAll();
    case WM_ENDSESSION:
        return MAI_EndSession(frame, wParam);
    case WM_WININICHANGE:
    case WM_DEVMODECHANGE:
        return 0;
    case WM_QUERYNEWPALETTE:
        if (MAI_Active) SendMessageA(MAI_Active, WM_QUERYNEWPALETTE, 0, 0);
        return 0;
    case WM_PALETTECHANGED:
        if (!paletteBusy) {
            paletteBusy = 1;
            SendToChildren(WM_PALETTECHANGED, wParam, lParam);
            paletteBusy = 0;
        }
        return 0;
    }
    return DefFrameProcA(frame, MAI_Client, message, wParam, lParam);
}
