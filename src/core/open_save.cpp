// Opening documents into image windows: File New, File Open with its dialog
// (several files at once in the Explorer style), a name from the command
// line, a second instance or an outside program, and files dropped on the frame.
#include "core/open_save.h"

#include "core/app.h"
#include "core/extensions.h"
#include "core/image_record.h"
#include "core/last_files.h"
#include "core/messages.h"
#include "core/recent_files.h"
#include "core/save_dialog.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/jpeg.h"
#include "platform/profile.h"

#include <commdlg.h>
#include <dlgs.h>
#include <shellapi.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

char FIL_NameBuffer[FIL_NameRoom];
char FIL_OpenBuffer[FIL_OpenBufferSize];
char FIL_FolderPrefix[FIL_NameRoom];
int FIL_Pending;
int FIL_NewCounter = 1;

namespace {
const UINT kImageTitle = 1281;     // "Image"
const UINT kNoNewWindows = 8226;   // "No new windows can be created..."
const UINT kOutOfMemory = 8204;
const UINT kDropUnsupported = 8254;  // "Drag & Drop: Unsupported file format, cannot load"
const UINT kDropFailed = 8255;       // "Drag & Drop: Cannot load the specified file"
const WPARAM kOpenedCommand = 4122;  // tells the extension library a file was opened
const char kSection[] = "Core";
const char kFolderKey[] = "FILEDIRECTORY";

// A movable block holding a copy of text, or null.
HGLOBAL TextBlock(LPCSTR text)
{
    const SIZE_T length = lstrlenA(text);
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, length + 1);
    if (!block) return nullptr;
    if (char* to = static_cast<char*>(GlobalLock(block))) {
        memcpy(to, text, length + 1);
        GlobalUnlock(block);
    }
    return block;
}

// Copies text into a FIL_NameRoom buffer when it fits whole, else leaves it
// empty: a cut name would be some other file.
void CopyWhole(LPSTR to, const std::string& text)
{
    to[0] = 0;
    if (FIL_NameFits(text.c_str())) lstrcpyA(to, text.c_str());
}

// The whole name of an entry of the Open dialog's result: the entry itself,
// or the folder and the entry when several names came back.
std::string DialogName(LPCSTR entry)
{
    LPCSTR first = FIL_OpenBuffer;
    if (!*(first + strlen(first) + 1)) return first;
    return std::string(first) + "\\" + entry;
}

// WM_MDICREATE of an image window with a kind-1 creation block.
HWND CreateImageWindow(LPCSTR title, HGLOBAL handle)
{
    ImageCreateBlock block{};
    block.kind = IMG_CREATE_NORMAL;
    block.handle = handle;
    HDC screen = GetDC(nullptr);
    const int width = 2 * GetDeviceCaps(screen, LOGPIXELSX);
    const int height = 2 * GetDeviceCaps(screen, LOGPIXELSY);
    ReleaseDC(nullptr, screen);
    MDICREATESTRUCTA create{};
    create.szClass = "GenericWClass";
    create.szTitle = title;
    create.hOwner = MAI_Instance;
    create.x = CW_USEDEFAULT;
    create.y = CW_USEDEFAULT;
    create.cx = width;
    create.cy = height;
    create.style = 0;
    create.lParam = reinterpret_cast<LPARAM>(&block);
    return reinterpret_cast<HWND>(SendMessageA(MAI_Client, WM_MDICREATE, 0, reinterpret_cast<LPARAM>(&create)));
}

bool IsJpegFamily(int row) { return row != -1 && (row == FMT_Row_JPG || row == FMT_Row_PIC || row == FMT_Row_KQP); }

// What the open path writes into a window it loaded: the path, the file's
// size, the format row and a JPEG family comment.
void DescribeLoadedWindow(HWND frame, HWND window, LPCSTR name)
{
    IMG_SetFlag(window, IF_UNTITLED, 0);
    LIB_MDILoad(window, name);
    if (HGLOBAL path = TextBlock(name)) {
        IMG_SetAttr(window, IA_PATH, reinterpret_cast<LONG_PTR>(path));
        IMG_SetAttr(window, IA_FILE_SIZE, FIL_GetFileSize(name));
    }
    const int row = FIL_LoadRow == FMT_Row_Any ? FMT_FoundRow : FIL_LoadRow;
    IMG_SetFormat(window, row);
    HGLOBAL comment = nullptr;
    if (IsJpegFamily(row)) {
        LPCSTR text = ZIM_GetComment();
        if (text && *text) comment = TextBlock(text);
    }
    IMG_SetAttr(window, IA_COMMENT, reinterpret_cast<LONG_PTR>(comment));
    if (SET_Value(SET_WANT_THUMBNAIL)) {
        SendMessageA(frame, WM_COMMAND, kOpenedCommand, reinterpret_cast<LPARAM>(window));
        IMG_SetFlag(window, IF_MODIFIED, 0);
    }
}

// The folder the Open dialog starts in: the one used last, else ".".
void StartFolder(LPSTR folder, int size)
{
    lstrcpynA(folder, ".", size);
    // A stored folder longer than the buffer is not used cut.
    std::string whole(static_cast<size_t>(size) + 1, '\0');
    HPROFILE profile = PRF_OpenSection(kSection);
    const int stored = PRF_GetString(profile, kFolderKey, &whole[0], size + 1);
    PRF_Close(profile);
    if (stored && strlen(whole.c_str()) < static_cast<size_t>(size)) lstrcpyA(folder, whole.c_str());
}

void KeepFolder()
{
    char folder[FIL_NameRoom] = "";
    GetCurrentDirectoryA(sizeof folder, folder);
    HPROFILE profile = PRF_OpenSection(kSection);
    PRF_SetString(profile, kFolderKey, folder, lstrlenA(folder));
    PRF_Close(profile);
}

// The text of the filter selected in the dialog (the older style's combo).
void SelectedFilterText(HWND dialog, LPSTR text, int size)
{
    text[0] = 0;
    HWND combo = GetDlgItem(dialog, cmb1);
    const LRESULT index = combo ? SendMessageA(combo, CB_GETCURSEL, 0, 0) : CB_ERR;
    if (index == CB_ERR || SendMessageA(combo, CB_GETLBTEXTLEN, static_cast<WPARAM>(index), 0) >= size) return;
    SendMessageA(combo, CB_GETLBTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text));
}

// A Photo CD filter shows the disc's overview in place of a list, when the
// folder holds one.
void FilterChosen(HWND dialog, LPCSTR filterText)
{
    if (strncmp(filterText, "PCD", 3) != 0) return;
    char folder[FIL_NameRoom] = "";
    GetCurrentDirectoryA(sizeof folder, folder);
    if (!FIL_IsPhotoCdFolder(folder)) return;
    SetDlgItemTextA(dialog, edt1, folder);
    SendMessageA(dialog, WM_COMMAND, IDOK, 0);
    SetDlgItemTextA(dialog, edt1, "OVERVIEW.PCD");
}
}  // namespace

int FIL_IsPhotoCdFolder(LPCSTR) { return 0; }

UINT_PTR CALLBACK FIL_OpenHook(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    char text[128];
    if (message == WM_COMMAND && LOWORD(wParam) == cmb1 && HIWORD(wParam) == CBN_SELCHANGE) {
        SelectedFilterText(dialog, text, sizeof text);
        FilterChosen(dialog, text);
    } else if (message == WM_NOTIFY && reinterpret_cast<const NMHDR*>(lParam)->code == CDN_TYPECHANGE) {
        const auto* notify = reinterpret_cast<const OFNOTIFYA*>(lParam);
        LPCSTR filter = notify->lpOFN->lpstrFilter;
        // Every entry is a description and a pattern.
        for (DWORD i = 1; filter && *filter && i < notify->lpOFN->nFilterIndex; i++) {
            filter += strlen(filter) + 1;
            filter += strlen(filter) + 1;
        }
        if (filter && *filter) FilterChosen(GetParent(dialog), filter);
    }
    return FALSE;
}

LONG FIL_GetFileSize(LPCSTR path)
{
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return -1;
    const DWORD size = GetFileSize(file, nullptr);
    CloseHandle(file);
    return size == INVALID_FILE_SIZE ? -1 : static_cast<LONG>(size);
}

int FIL_LoadFile(LPCSTR name, HGLOBAL* handle)
{
    // The load handlers take their names in the OEM character set, whole: a
    // handler refuses a name that doesn't fit with its own open failure.
    std::string oem(name);
    CharToOemA(&oem[0], &oem[0]);
    char shown[129];  // the load panel shows at most 128 characters
    lstrcpynA(shown, oem.c_str(), sizeof shown);
    *handle = nullptr;
    INF_Begin(shown);
    const int loaded = FMT_Load(oem.c_str(), handle, FIL_LoadRow);
    INF_End();
    return loaded && *handle;
}

int FIL_OpenDialog(LPSTR buffer, int* row)
{
    FIL_DetectDialogStyle();
    char folder[FIL_NameRoom];
    StartFolder(folder, sizeof folder);
    memset(FIL_OpenBuffer, 0, sizeof FIL_OpenBuffer);
    FIL_FolderPrefix[0] = 0;

    const UINT filterSize = FMT_FilterSize();
    std::unique_ptr<char[]> filter(new (std::nothrow) char[filterSize]);
    std::unique_ptr<LONG[]> ids(new (std::nothrow) LONG[FMT_LastIndex() + 2]);
    if (!filter || !ids) {
        MSG_Report(SEV_ERROR, kOutOfMemory);
        return 0;
    }
    const WORD count = FMT_LoadFilter(filter.get(), ids.get());
    // A row that can't load has no filter entry: no dialog at all.
    const LONG wanted = FMT_GetId(*row);
    int position = -1;
    for (WORD i = 0; i < count && position < 0; i++)
        if (ids[i] == wanted) position = i;
    if (position < 0) return 0;

    char extension[16] = "";
    FMT_GetExtension(*row, extension);
    char defaultExtension[20];
    wsprintfA(defaultExtension, "*.%s", extension);
    char title[256] = "";

    OPENFILENAMEA dialog{};
    dialog.lStructSize = OPENFILENAME_SIZE_VERSION_400A;
    dialog.hwndOwner = MAI_Frame;
    dialog.hInstance = MAI_Instance;
    dialog.lpstrFilter = filter.get();
    dialog.nFilterIndex = static_cast<DWORD>(position + 1);
    dialog.lpstrFile = FIL_OpenBuffer;
    dialog.nMaxFile = sizeof FIL_OpenBuffer;
    dialog.lpstrFileTitle = title;
    dialog.nMaxFileTitle = sizeof title;
    dialog.lpstrInitialDir = folder;
    dialog.lpstrDefExt = defaultExtension;
    dialog.lpfnHook = FIL_OpenHook;
    dialog.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT | OFN_ENABLEHOOK;
    if (FIL_ExplorerStyle) dialog.Flags |= OFN_EXPLORER | OFN_ALLOWMULTISELECT;
    const int chosen = GetOpenFileNameA(&dialog) ? 1 : 0;
    if (chosen && dialog.nFilterIndex >= 1 && dialog.nFilterIndex <= count)
        *row = FMT_FromId(ids[dialog.nFilterIndex - 1]);

    // One name, or a folder followed by the names chosen in it.
    LPCSTR first = FIL_OpenBuffer;
    LPCSTR next = first + strlen(first) + 1;
    // Names are kept only whole; FIL_OpenDocument takes them from the list.
    if (!*next) {
        FIL_Pending = 1;
        CopyWhole(buffer, first);
    } else {
        CopyWhole(FIL_FolderPrefix, std::string(first) + "\\");
        CopyWhole(buffer, DialogName(next));
        FIL_Pending = 0;
        for (LPCSTR name = next; *name; name += strlen(name) + 1) FIL_Pending++;
    }
    KeepFolder();
    return chosen;
}

HWND FIL_OpenDocument(HWND frame, LPCSTR name, int isNew)
{
    FIL_Pending = 0;
    bool fromDialog = false;
    std::string current;  // the whole name; FIL_NameBuffer holds it once it is loaded
    if (isNew) {
        char image[64] = "";
        LoadStringA(MAI_Instance, kImageTitle, image, sizeof image);
        wsprintfA(FIL_NameBuffer, "%s%d", image, FIL_NewCounter++);
        current = FIL_NameBuffer;
        FIL_Pending = 1;
    } else if (name) {
        current = name;
        FIL_Pending = 1;
        FIL_LoadRow = FMT_FromFileName(name);
    } else {
        int row = FIL_LoadRow;
        if (!FIL_OpenDialog(FIL_NameBuffer, &row)) return nullptr;
        fromDialog = true;
        FIL_LoadRow = row;
        current = DialogName(FIL_OpenBuffer + strlen(FIL_OpenBuffer) + 1);
    }

    // The names after the first of a multiple selection.
    LPCSTR cursor = FIL_OpenBuffer + strlen(FIL_OpenBuffer) + 1;
    HWND last = nullptr;
    while (FIL_Pending) {
        FIL_Pending--;
        HGLOBAL handle = nullptr;
        // A failed load drops the rest of the selection.
        if (!isNew && !FIL_LoadFile(current.c_str(), &handle)) return nullptr;
        // The handlers refuse a name that doesn't fit; should one have taken
        // it (an extension module), it still gets no window under a cut name.
        if (!FIL_NameFits(current.c_str())) {
            if (handle) GlobalFree(handle);
            return nullptr;
        }
        lstrcpyA(FIL_NameBuffer, current.c_str());
        HWND window = CreateImageWindow(FIL_NameBuffer, handle);
        if (!window) {
            MSG_Report(SEV_ERROR, kNoNewWindows);
            return nullptr;
        }
        last = window;
        // Only names chosen in the dialog enter the Last Files list.
        if (fromDialog && !FIL_FindLastFile(FIL_NameBuffer)) {
            FIL_AddLastFile(FIL_NameBuffer);
            FIL_BuildLastFilesMenu();
        }
        if (isNew) break;
        if (IMG_GetRecord(window)) DescribeLoadedWindow(frame, window, FIL_NameBuffer);
        if (FIL_Pending) {
            cursor += strlen(cursor) + 1;
            current = DialogName(cursor);
        }
    }
    return last;
}

void FIL_DropFiles(HWND frame, HDROP drop)
{
    const UINT count = DragQueryFileA(drop, 0xFFFFFFFF, nullptr, 0);
    for (UINT i = 0; i < count; i++) {
        // The whole name, however long: the load refuses one that doesn't fit.
        const UINT length = DragQueryFileA(drop, i, nullptr, 0);
        std::string whole(length + 1, '\0');
        DragQueryFileA(drop, i, &whole[0], length + 1);
        LPCSTR name = whole.c_str();
        const int row = FMT_FromFileName(name);
        if (row == -1) {
            MSG_Report(SEV_ERROR, kDropUnsupported);
            continue;
        }
        FIL_LoadRow = row;
        if (!IsWindow(FIL_OpenDocument(frame, name, 0))) MSG_Report(SEV_ERROR, kDropFailed);
    }
    DragFinish(drop);
}
