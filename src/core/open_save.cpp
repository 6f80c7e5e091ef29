// Opening documents into image windows.
#include "core/open_save.h"

#include "core/app.h"
#include "core/extensions.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/jpeg.h"

#include <commdlg.h>

#include <memory>
#include <new>

namespace {
const UINT kImageTitle = 1281;   // "Image"
const UINT kNoNewWindows = 8226;  // "No new windows can be created..."
const DWORD kNameRoom = 260;

char nameBuffer[kNameRoom];
int newCounter = 1;

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
}  // namespace

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
    // The load handlers take their names in the OEM character set.
    char oem[kNameRoom];
    lstrcpynA(oem, name, sizeof oem);
    CharToOemA(oem, oem);
    char shown[129];
    lstrcpynA(shown, oem, sizeof shown);
    *handle = nullptr;
    INF_Begin(shown);
    const int loaded = FMT_Load(oem, handle, FIL_LoadRow);
    INF_End();
    return loaded && *handle;
}

int FIL_OpenDialog(LPSTR buffer, int* row)
{
    const UINT filterSize = FMT_FilterSize();
    std::unique_ptr<char[]> filter(new (std::nothrow) char[filterSize]);
    std::unique_ptr<LONG[]> ids(new (std::nothrow) LONG[FMT_LastIndex() + 2]);
    if (!filter || !ids) {
        MSG_Report(SEV_ERROR, 8204);
        return 0;
    }
    const WORD count = FMT_LoadFilter(filter.get(), ids.get());
    // A row that can't load has no filter entry: no dialog at all.
    const LONG wanted = FMT_GetId(*row);
    int position = -1;
    for (WORD i = 0; i < count; i++)
        if (ids[i] == wanted) position = i;
    if (position < 0) return 0;

    char extension[16] = "";
    FMT_GetExtension(*row, extension);
    char defaultExtension[20];
    wsprintfA(defaultExtension, "*.%s", extension);
    char title[256] = "";
    buffer[0] = 0;

    OPENFILENAMEA dialog{};
    dialog.lStructSize = sizeof dialog;
    dialog.hwndOwner = MAI_Frame;
    dialog.lpstrFilter = filter.get();
    dialog.nFilterIndex = static_cast<DWORD>(position + 1);
    dialog.lpstrFile = buffer;
    dialog.nMaxFile = kNameRoom;
    dialog.lpstrFileTitle = title;
    dialog.nMaxFileTitle = sizeof title;
    dialog.lpstrInitialDir = ".";
    dialog.lpstrDefExt = defaultExtension;
    dialog.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT;
    const int chosen = GetOpenFileNameA(&dialog) ? 1 : 0;
    if (chosen && dialog.nFilterIndex >= 1 && dialog.nFilterIndex <= count)
        *row = FMT_FromId(ids[dialog.nFilterIndex - 1]);
    return chosen;
}

HWND FIL_OpenDocument(HWND frame, LPCSTR name, int isNew)
{
    if (isNew) {
        char image[64] = "";
        LoadStringA(MAI_Instance, kImageTitle, image, sizeof image);
        wsprintfA(nameBuffer, "%s%d", image, newCounter++);
        HWND window = CreateImageWindow(nameBuffer, nullptr);
        if (!window) MSG_Report(SEV_ERROR, kNoNewWindows);
        return window;
    }
    if (name) {
        lstrcpynA(nameBuffer, name, sizeof nameBuffer);
        FIL_LoadRow = FMT_FromFileName(nameBuffer);
    } else {
        int row = FIL_LoadRow;
        if (!FIL_OpenDialog(nameBuffer, &row)) return nullptr;
        FIL_LoadRow = row;
    }

    HGLOBAL handle = nullptr;
    if (!FIL_LoadFile(nameBuffer, &handle)) return nullptr;
    HWND window = CreateImageWindow(nameBuffer, handle);
    if (!window) {
        MSG_Report(SEV_ERROR, kNoNewWindows);
        return nullptr;
    }
    if (!IMG_GetRecord(window)) return window;

    IMG_SetFlag(window, IF_UNTITLED, 0);
    LIB_MDILoad(window, nameBuffer);
    if (HGLOBAL path = TextBlock(nameBuffer)) {
        IMG_SetAttr(window, IA_PATH, reinterpret_cast<LONG_PTR>(path));
        IMG_SetAttr(window, IA_FILE_SIZE, FIL_GetFileSize(nameBuffer));
    }
    const int row = FIL_LoadRow == FMT_Row_Any ? FMT_FoundRow : FIL_LoadRow;
    IMG_SetFormat(window, row);
    HGLOBAL comment = nullptr;
    if (IsJpegFamily(row)) {
        LPCSTR text = ZIM_GetComment();
        if (text && *text) comment = TextBlock(text);
    }
    IMG_SetAttr(window, IA_COMMENT, reinterpret_cast<LONG_PTR>(comment));
    return window;
}
