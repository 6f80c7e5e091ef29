// Process entry, start-up, the second-instance hand-over, the main loop and
// the shutdown of the Win32 program.
#include "core/app.h"

#include "capture/capture.h"
#include "colour/luma.h"
#include "controls/custom_controls.h"
#include "controls/display_panel.h"
#include "controls/status.h"
#include "core/command_line.h"
#include "core/extensions.h"
#include "core/frame.h"
#include "core/image_record.h"
#include "core/last_files.h"
#include "core/logo.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/service_block.h"
#include "core/utilities.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"

#include <direct.h>

#include <cstring>

#include "korvanta_ids.h"
#include "menu_ids.h"

HINSTANCE MAI_Instance;
HWND MAI_Frame;
HWND MAI_Client;
HWND MAI_Active;
HACCEL MAI_Accel;

unsigned short MAI_ScreenBitsPixel;
unsigned short MAI_ScreenPlanes;
unsigned short MAI_ScreenWidth;
unsigned short MAI_ScreenHeight;
unsigned short MAI_WinVersion;

char MAI_SerifFont[MAI_FontNameSize] = "Tms Rmn";
char MAI_SansFont[MAI_FontNameSize] = "Helv";
char MAI_DialogFont[MAI_FontNameSize] = "MS Sans Serif";
BYTE MAI_CharSet;

int MAI_StartDrive;
char MAI_StartDir[MAI_FolderSize];
int MAI_HomeDrive;
char MAI_HomeDir[MAI_FolderSize];

namespace {
// String ids of the localisation overrides.
const UINT kSerifFaceId = 1350;
const UINT kSansFaceId = 1351;
const UINT kCharSetId = 1352;
const UINT kDialogFaceId = 1369;
// "Only one copy of KorVanta may be run at a time"
const UINT kOnlyOneCopy = 8222;
// "Cannot load, file does not exist"
const UINT kNoSuchFile = 8231;

// How long the logo stays up at most; a file on the command line cuts it to 0.
const DWORD kLogoLimit = 10000;
DWORD logoLimit = kLogoLimit;

// Reads the screen's depth and size once; later code only reads the globals.
void ReadScreenFacts()
{
    HDC screen = GetDC(nullptr);
    MAI_ScreenBitsPixel = static_cast<unsigned short>(GetDeviceCaps(screen, BITSPIXEL));
    MAI_ScreenPlanes = static_cast<unsigned short>(GetDeviceCaps(screen, PLANES));
    MAI_ScreenHeight = static_cast<unsigned short>(GetDeviceCaps(screen, VERTRES));
    MAI_ScreenWidth = static_cast<unsigned short>(GetDeviceCaps(screen, HORZRES));
    ReleaseDC(nullptr, screen);
}

// The current drive (1 for A) and folder.
void KeepCurrentFolder(int* drive, char* folder)
{
    // A folder too long for the buffer is kept as none, never cut.
    const DWORD length = GetCurrentDirectoryA(MAI_FolderSize, folder);
    if (length == 0 || length >= static_cast<DWORD>(MAI_FolderSize)) folder[0] = 0;
    *drive = _getdrive();
}

// The faces of the program's fonts: newer systems have their own names for
// the two classic faces, and the string table may name others.
void ChooseFonts()
{
    MAI_WinVersion = LOWORD(GetVersion());
    if (MAI_WinVersion > 0x300) {
        lstrcpyA(MAI_SerifFont, "Times New Roman");
        lstrcpyA(MAI_SansFont, "Arial");
    }
    char text[MAI_FontNameSize];
    if (LoadStringA(MAI_Instance, kSerifFaceId, text, sizeof text) > 0) MAI_OverrideFace(MAI_SerifFont, text);
    if (LoadStringA(MAI_Instance, kSansFaceId, text, sizeof text) > 0) MAI_OverrideFace(MAI_SansFont, text);
    if (LoadStringA(MAI_Instance, kDialogFaceId, text, sizeof text) > 0) MAI_OverrideFace(MAI_DialogFont, text);
    if (LoadStringA(MAI_Instance, kCharSetId, text, sizeof text) > 0) {
        const int charSet = MAI_CharSetFromName(text);
        if (charSet >= 0) MAI_CharSet = static_cast<BYTE>(charSet);
    }
}

// A second instance hands its file to the first through CoreMemObject and
// frame service 31, and ends. Returns 0 for MAI_InitInstance.
int HandOverToFirstInstance(HWND first, LPSTR commandLine)
{
    LPSTR fileName = nullptr;
    UINT startFlags = 0;
    if (!MAI_ParseCommandLine(commandLine, &fileName, &startFlags)) {
        MSG_Report(SEV_ERROR, kOnlyOneCopy);
        return 0;
    }
    // The full path goes over whole (OpenFile's record stops at 128
    // characters); a name that can't go whole goes not at all.
    char full[CMO_TextRoom] = "";
    LPCSTR name = fileName ? fileName : "";
    const DWORD length = *name ? GetFullPathNameA(name, sizeof full, full, nullptr) : 0;
    if (length > 0 && length < sizeof full) name = full;
    if (strlen(name) >= CMO_TextRoom) return 0;

    HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, CMO_Size, CMO_Name);
    if (!mapping) {
        MessageBoxA(nullptr, "Cannot create file mapping", MAI_ProgramName, MB_OK);
        return 0;
    }
    BYTE* view = static_cast<BYTE*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, CMO_Size));
    if (!view) {
        MessageBoxA(nullptr, "Cannot map view of file", MAI_ProgramName, MB_OK);
        CloseHandle(mapping);
        return 0;
    }
    const LONG noFormat = -1;
    memcpy(view + CMO_FormatIdAt, &noFormat, sizeof noFormat);
    const DWORD textPointer = static_cast<DWORD>(reinterpret_cast<UINT_PTR>(view + CMO_TextAt));
    memcpy(view + CMO_TextPointerAt, &textPointer, sizeof textPointer);
    lstrcpyA(reinterpret_cast<LPSTR>(view + CMO_TextAt), name);
    FlushViewOfFile(view, CMO_Size);
    // The send returns once the first instance has opened the file.
    SendMessageA(first, SVC_Message(SVC_OPEN_FILE), 0, 0);
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    return 0;
}

// Makes the program's own folder current, so that the extension modules are
// found there: DlgDirListA without a list control changes to the folder.
void GoToProgramFolder()
{
    char path[MAI_FolderSize] = "";
    // A cut path would name some other folder, and modules would be found there.
    const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
    if (length == 0 || length >= sizeof path) return;
    char* cut = strrchr(path, '\\');
    if (!cut) return;
    *cut = 0;
    char folder[MAI_FolderSize];
    lstrcpyA(folder, path);
    DlgDirListA(MAI_Frame, path, 0, 0, 0);
    SetCurrentDirectoryA(folder);
}

// Holds the start-up until a mouse button goes down or the logo's time is up.
void WaitForLogo(DWORD shownAt)
{
    SetCapture(MAI_Frame);
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    HCURSOR old = SetCursor(LoadCursorA(nullptr, IDC_ARROW));
    for (;;) {
        const bool pressed = (GetAsyncKeyState(VK_LBUTTON) & 0x8000) || (GetAsyncKeyState(VK_RBUTTON) & 0x8000);
        if (pressed || GetTickCount() - shownAt > logoLimit) break;
        Sleep(10);
    }
    ReleaseCapture();
    LOGO_Close();
    LIB_InitFinish();
    if (old) SetCursor(old);
}
}  // namespace

void MAI_OverrideFace(LPSTR face, LPCSTR text)
{
    if (text && *text) lstrcpynA(face, text, MAI_FontNameSize);
}

int MAI_CharSetFromName(LPCSTR name)
{
    static const struct {
        const char* name;
        int charSet;
    } sets[] = {{"ANSI", 0}, {"SYMBOL", 2}, {"SHIFTJIS", 128}, {"OEM", 255}};
    for (const auto& set : sets)
        if (lstrcmpA(name, set.name) == 0) return set.charSet;
    return -1;
}

int MAI_InitInstance(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int showState)
{
    MAI_Instance = instance;
    ReadScreenFacts();
    ChooseFonts();

    if (HWND first = FindWindowA(MAI_FrameClassName, MAI_ProgramName))
        return HandOverToFirstInstance(first, commandLine);

    if (!MAI_RegisterClasses()) return 0;
    FMT_RegisterBuiltins();
    SET_Load();

    LPSTR fileName = nullptr;
    UINT startFlags = 0;
    if (MAI_ParseCommandLine(commandLine, &fileName, &startFlags)) logoLimit = 0;

    if (!MAI_CreateFrame(fileName, showState)) return 0;
    MAI_CacheMenus(MAI_Frame);
    FIL_CreateLastFilesMenu();

    const bool logo = !(startFlags & START_NOLOGO);
    DWORD shownAt = 0;
    if (logo) {
        LOGO_Show();
        shownAt = GetTickCount();
    }

    GoToProgramFolder();
    CAP_LoadOptions();
    STA_Create(MAI_Frame);
    STA_ShowMemory();
    MAI_LoadLibrary(logo ? 1 : 0);
    BMP_RegisterClass();
    GRP_RegisterClass();
    DIS_Install();
    SET_RegisterExtensions();
    CLR_InitLuma();

    if (logo) WaitForLogo(shownAt);

    // One start command; it waits for the main loop, so the command-line file opens first.
    WPARAM command = 0;
    if (startFlags & START_LOAD)
        command = IDM_OPEN;
    else if (startFlags & START_BATCH)
        command = IDM_BATCH;
    else if (SET_Value(SET_STARTUP) == 1)
        command = IDM_OPEN;
    else if (SET_Value(SET_STARTUP) == 2)
        command = IDM_BATCH;
    if (command) PostMessageA(MAI_Frame, WM_COMMAND, command, 0);

    SET_InitFormats();
    return MAI_LoadCommandFile(fileName);
}

int MAI_RegisterClasses()
{
    // One class record serves all three: later classes keep what isn't reset.
    WNDCLASSA wc{};
    wc.style = 0;
    wc.lpfnWndProc = MPFrameWndProc;
    wc.cbClsExtra = 0;
    wc.cbWndExtra = 0;
    wc.hInstance = MAI_Instance;
    wc.hIcon = LoadIconA(MAI_Instance, MAKEINTRESOURCEA(IDI_FRAME));
    wc.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_APPWORKSPACE + 1);
    wc.lpszMenuName = "FrameMenu";
    wc.lpszClassName = MAI_FrameClassName;
    if (!RegisterClassA(&wc)) return 0;

    wc.style = CS_DBLCLKS;
    wc.lpfnWndProc = MainWndProc;
    wc.cbWndExtra = IMG_WindowBytes;
    wc.hIcon = LoadIconA(MAI_Instance, MAKEINTRESOURCEA(IDI_IMAGE));
    wc.lpszMenuName = nullptr;
    wc.lpszClassName = "GenericWClass";
    if (!RegisterClassA(&wc)) return 0;

    wc.lpfnWndProc = AboutWndProc;
    wc.cbWndExtra = 0;
    wc.lpszClassName = LOGO_ClassName;
    if (!RegisterClassA(&wc)) return 0;

    if (!STA_RegisterClass()) return 0;
    if (!VC_RegisterClasses()) return 0;
    MSG_LoadWaitCursor();
    return 1;
}

int MAI_CreateFrame(LPCSTR fileName, int showState)
{
    // WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN; WM_CREATE makes the client.
    MAI_Frame = CreateWindowExA(0, MAI_FrameClassName, MAI_ProgramName, 0x02CF0000, 20, 20, CW_USEDEFAULT,
                                CW_USEDEFAULT, nullptr, nullptr, MAI_Instance, nullptr);
    if (!MAI_Frame || !MAI_Client) return 0;
    MAI_Accel = LoadAcceleratorsA(MAI_Instance, MAKEINTRESOURCEA(IDR_ACCELERATORS));
    if (!MAI_Accel) return 0;
    ShowWindow(MAI_Frame, showState);
    UpdateWindow(MAI_Frame);
    return 1;
}

int MAI_LoadCommandFile(LPCSTR fileName)
{
    if (!fileName || !*fileName) return 1;
    if (!FIL_Exists(fileName)) {
        MSG_Report(SEV_ERROR, kNoSuchFile);
        return 1;
    }
    // A name the format table doesn't know opens nothing and says nothing.
    const int row = FMT_FromFileName(fileName);
    if (row != -1) {
        FIL_LoadRow = row;
        FIL_OpenDocument(MAI_Frame, fileName, 0);
    }
    return 1;
}

void MAI_MessageLoop()
{
    MSG msg;
    while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
        if (TranslateAcceleratorA(MAI_Frame, MAI_Accel, &msg)) {
            STA_Update(0);
            continue;
        }
        if (TranslateMDISysAccel(MAI_Client, &msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

void MAI_Shutdown()
{
    FMT_Free();
    SET_SaveFormats();
}

int MAI_PixelsFromUnits(int value, int mode)
{
    switch (mode) {
    case 1:
        return value * HIWORD(GetDialogBaseUnits()) / 8;
    case 2: {
        HDC screen = GetDC(nullptr);
        const int perInch = GetDeviceCaps(screen, LOGPIXELSX);
        ReleaseDC(nullptr, screen);
        return -(value * perInch / 72);
    }
    default:
        return value;
    }
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int showState)
{
    KeepCurrentFolder(&MAI_StartDrive, MAI_StartDir);
    if (!MAI_InitInstance(instance, previous, commandLine, showState)) return 0;
    // Documents are found relative to where the user started the program.
    KeepCurrentFolder(&MAI_HomeDrive, MAI_HomeDir);
    _chdrive(MAI_StartDrive);
    SetCurrentDirectoryA(MAI_StartDir);
    MAI_MessageLoop();
    MAI_Shutdown();
    return 0;
}
