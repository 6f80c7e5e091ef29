// The frame's numbered services, through which extension modules and other
// programs reach the image records, the format table and the open path.
#include "core/services.h"

#include "controls/display_panel.h"
#include "controls/status.h"
#include "colour/error_diffusion.h"
#include "batch/batch_engine.h"
#include "core/app.h"
#include "core/frame.h"
#include "core/image_record.h"
#include "core/image_window.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/save_document.h"
#include "core/service_engine.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/dib_paint.h"
#include "platform/profile.h"
#include "platform/thermometer.h"

namespace {
// Items that are not services: the frame's default handling gets them.
bool IsUnassigned(int item)
{
    switch (item) {
    case 12: case 19: case 34: case 48: case 64: case 66: case 68: case 69: case 70:
        return true;
    default:
        return item < 0 || item > SVC_LastItem;
    }
}

// The view of CoreMemObject while service 31 reads a second instance's name.
struct SharedName {
    HANDLE mapping = nullptr;
    BYTE* view = nullptr;

    ~SharedName()
    {
        if (view) UnmapViewOfFile(view);
        if (mapping) CloseHandle(mapping);
    }
};

// Service 31: opens the file named by the block (or by CoreMemObject when
// there is none) in a new window; the window, or 0.
LRESULT OpenNamedFile(HWND frame, ServiceBlock* given)
{
    ServiceBlock fromMapping{};
    SharedName shared;
    ServiceBlock* block = given;
    if (!block) {
        shared.mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, CMO_Size, CMO_Name);
        if (!shared.mapping) {
            MessageBoxA(nullptr, "Cannot create file mapping", MAI_ProgramName, MB_OK);
            return 0;
        }
        shared.view = static_cast<BYTE*>(MapViewOfFile(shared.mapping, FILE_MAP_ALL_ACCESS, 0, 0, CMO_Size));
        if (!shared.view) {
            MessageBoxA(nullptr, "Cannot map view of file", MAI_ProgramName, MB_OK);
            return 0;
        }
        // The text lies behind the block; the sender's pointer means nothing here.
        shared.view[CMO_Size - 1] = 0;
        fromMapping.text = reinterpret_cast<LPSTR>(shared.view + CMO_TextAt);
        memcpy(&fromMapping.formatId, shared.view + CMO_FormatIdAt, sizeof fromMapping.formatId);
        block = &fromMapping;
    }
    if (!block->text) return 0;
    if (!FIL_Exists(block->text)) return 0;
    block->row = block->formatId == -1 ? FMT_FromFileName(block->text) : FMT_FromId(block->formatId);
    if (shared.view) memcpy(shared.view + CMO_RowAt, &block->row, sizeof block->row);
    if (block->row == -1) return 0;
    FIL_LoadRow = block->row;
    return reinterpret_cast<LRESULT>(FIL_OpenDocument(frame, block->text, 0));
}

// Service 38: a file read into memory with no window; the DIB, or 0.
LRESULT LoadToMemory(ServiceBlock* block)
{
    if (!block->text) return 0;
    int row;
    if (!*block->text) {
        // No name: the Open dialog asks for one, on the format given or the current one.
        row = block->formatId == -1 ? FIL_LoadRow : FMT_FromId(block->formatId);
        if (row == -1) return 0;
        FIL_LoadRow = row;
        if (!FIL_OpenDialog(block->text, &row)) return 0;
    } else {
        if (!FIL_Exists(block->text)) return 0;
        row = block->formatId == -1 ? FMT_FromFileName(block->text) : block->row;
        if (row < 0 || row > FMT_LastIndex()) return 0;
    }
    block->row = row;
    block->formatId = FMT_GetId(row);
    FIL_LoadRow = row;
    HGLOBAL dib = nullptr;
    return FIL_LoadFile(block->text, &dib) ? reinterpret_cast<LRESULT>(dib) : 0;
}

// Service 47: a DIB saved to a file; a compression the depth can't have is dropped.
LRESULT SaveDib(ServiceBlock* block)
{
    if (!block->text || !block->hDIB) return 0;
    const int row = block->formatId == -1 ? FMT_FromFileName(block->text) : FMT_FromId(block->formatId);
    if (row == -1) return 0;
    FIL_SaveRow = row;
    LONG compress = block->option;
    const int depth = FMT_DepthIndex(block->value2);
    if (compress && (depth < 0 || !FMT_TestCapability(row, depth, 12))) compress = 0;
    return FIL_SaveFile(block->text, block->hDIB, static_cast<WORD>(block->flag), static_cast<WORD>(compress),
                        static_cast<WORD>(block->value2));
}

// Services 51 and 61: the filter text and the ids of the listed rows.
LRESULT Filter(const ServiceBlock* block, int forSaving)
{
    auto* buffer = reinterpret_cast<LPSTR>(block->value);
    auto* ids = static_cast<LONG*>(block->record);
#ifndef _WIN64
    if (!ids) ids = reinterpret_cast<LONG*>(block->value2);
#endif
    return forSaving ? FMT_SaveFilter(buffer, ids) : FMT_LoadFilter(buffer, ids);
}

// Service 56: the program's name and the key of its settings.
LRESULT Identity(const ServiceBlock* block)
{
    if (block && block->text) lstrcpynA(block->text, MAI_ProgramName, SVC_IdentityRoom);
    if (block && block->record) {
        char version[16], key[SVC_IdentityRoom];
        PRF_VersionText(version);
        wsprintfA(key, "Software\\%s\\%s", PRF_ProductName, version);
        lstrcpynA(static_cast<LPSTR>(block->record), key, SVC_IdentityRoom);
    }
    return SVC_Identity;
}
}  // namespace

int MAI_IsService(UINT message)
{
    return message >= SVC_First && message <= SVC_Message(SVC_LastItem) &&
           !IsUnassigned(static_cast<int>(message - SVC_First));
}

LRESULT MAI_Service(HWND frame, UINT message, LPARAM lParam)
{
    const int item = static_cast<int>(message - SVC_First);
    auto* block = reinterpret_cast<ServiceBlock*>(lParam);
    // Every service but 31 and those without arguments needs its block.
    if (!block && item != SVC_OPEN_FILE && item != SVC_VERSION && item != SVC_CLIENT && item != SVC_ACTIVE &&
        item != SVC_BATCH_ACTIVE && item != SVC_NOTHING && item != SVC_NEW_WINDOW && item != SVC_HOME &&
        item != SVC_ZERO_45 && item != SVC_ZERO_46 && item != SVC_TRM_CLOSE && item != SVC_INF_INVALIDATE &&
        item != SVC_QUERY_CLOSE_ALL && item != SVC_BATCH_SESSION && item != SVC_CUT_BEGIN && item != SVC_CUT_END &&
        item != SVC_IDENTITY && item != SVC_STATUS_TEXT)
        return 0;
    if (SVC_IsColourService(item)) return SVC_ColourService(item, block);
    switch (item) {
    case SVC_GET_ATTR:
        return IMG_GetAttr(block->window, block->attribute);
    case SVC_SET_ATTR:
        IMG_SetAttr(block->window, block->attribute, block->value);
        return 0;
    case SVC_TEST_FLAG:
        return IMG_TestFlag(block->window, static_cast<DWORD>(block->value));
    case SVC_SET_FLAG:
        IMG_SetFlag(block->window, static_cast<DWORD>(block->value), block->flag);
        return 0;
    case SVC_GET_DIB:
        return reinterpret_cast<LRESULT>(IMG_GetDIB(block->window));
    case SVC_GET_BITMAP:
        return reinterpret_cast<LRESULT>(IMG_GetBitmap(block->window));
    case SVC_GET_PALETTE:
        return reinterpret_cast<LRESULT>(IMG_GetPalette(block->window));
    case SVC_COPY_DIB:
        return reinterpret_cast<LRESULT>(IMG_CopyDIB(block->window));
    case SVC_COPY_BITMAP:
        return reinterpret_cast<LRESULT>(IMG_CopyBitmap(block->window));
    case SVC_COPY_PALETTE:
        return reinterpret_cast<LRESULT>(IMG_CopyPalette(block->window));
    case SVC_ATTACH_DIB:
        IMG_AttachDIB(block->window, block->hDIB);
        return 0;
    case SVC_SET_IMAGE:
        IMG_SetImage(block->window, block->hDIB);
        WIN_UpdateScrollBars(block->window);
        return 0;
    case SVC_TRM_SET_RANGE:
        TRM_SetRange(static_cast<WORD>(block->value), static_cast<WORD>(block->value2));
        return 0;
    case SVC_TRM_OPEN:
        TRM_Open(block->window, block->text);
        return 0;
    case SVC_TRM_SET_TEXT:
        TRM_SetText(block->text);
        return 0;
    case SVC_TRM_UPDATE:
        TRM_Update(static_cast<WORD>(block->value));
        return 0;
    case SVC_TRM_CLOSE:
        TRM_Close();
        return 0;
    case SVC_VERSION:
        return SVC_InterfaceVersion;
    case SVC_INF_PROGRESS:
        INF_SetProgress(static_cast<WORD>(block->value), static_cast<WORD>(block->value2));
        return 0;
    case SVC_INF_SET_VALUE:
    case SVC_INF_SET_VALUE_2:
        // The information's attribute numbers are four times its fields' positions.
        INF_SetValue(block->attribute / 4, static_cast<LONG>(block->value));
        return 0;
    case SVC_INF_SET_TEXT:
        INF_SetText(block->attribute / 4, block->text);
        return 0;
    case SVC_INF_STEP:
        INF_Step(static_cast<WORD>(block->value));
        return 0;
    case SVC_INF_INVALIDATE:
        INF_Invalidate();
        return 0;
    case SVC_REGISTER_FORMAT:
        SVC_RegisterFormat(static_cast<const FormatOffer*>(block->record));
        return 0;
    case SVC_STATUS_TEXT:
        STA_ShowText(block ? block->text : nullptr);
        return 0;
    case SVC_PAINT:
        DIB_Paint(reinterpret_cast<HDC>(block->object), block->hDIB, reinterpret_cast<HPALETTE>(block->value),
                  static_cast<int>(SET_Value(SET_COLOR_MATCH)), static_cast<int>(SET_Value(SET_ALPHA_DISPLAY)));
        return 0;
    case SVC_LOAD:
        return LoadToMemory(block);
    case SVC_SAVE:
        return SaveDib(block);
    case SVC_SAVE_AS:
        // Only an image window has an image to save.
        return WIN_IsImageWindow(block->window) ? FIL_SaveAs(block->window) : 0;
    case SVC_LOAD_FILTER:
        return Filter(block, 0);
    case SVC_SAVE_FILTER:
        return Filter(block, 1);
    case SVC_IDENTITY:
        return Identity(block);
    case SVC_PANEL_PLACE:
        DIS_SetPlace(static_cast<short>(block->value), static_cast<short>(block->value2),
                     static_cast<short>(block->value3), static_cast<short>(block->value4));
        return 0;
    case SVC_APPLY_PALETTE:
        if (!block->hDIB || !block->object) return 0;
        return reinterpret_cast<LRESULT>(
            CLR_ApplyPalette(block->hDIB, reinterpret_cast<HPALETTE>(block->object), static_cast<int>(block->flag)));
    case SVC_NEW_WINDOW:
        return reinterpret_cast<LRESULT>(FIL_OpenDocument(frame, nullptr, 1));
    case SVC_CLIENT:
        return reinterpret_cast<LRESULT>(MAI_Client);
    case SVC_OPEN_FILE:
        return OpenNamedFile(frame, block);
    case SVC_BATCH_ACTIVE:
        return BAT_IsActive();
    case SVC_ACTIVE:
        return reinterpret_cast<LRESULT>(MAI_Active);
    case SVC_SET_ABORT:
        MSG_SetAbort(static_cast<int>(block->value));
        return 0;
    case SVC_FIT:
        WIN_FitToImage(block->window, block->hDIB);
        return 0;
    case SVC_FROM_ID:
        return FMT_FromId(block->formatId);
    case SVC_GET_ID:
        return block->row >= 0 && block->row <= FMT_LastIndex() ? FMT_GetId(block->row) : 0;
    case SVC_GET_FORMAT:
        return IMG_GetFormat(block->window);
    case SVC_CURRENT_IDS:
        block->value = FMT_GetId(FIL_LoadRow);
        block->value2 = FMT_GetId(FIL_SaveRow);
        return 0;
    case SVC_EXTENSION: {
        // The first three characters of the format's extension.
        if (!block->text) return 0;
        char extension[16] = "";
        const int row = FMT_FromId(block->formatId);
        if (row != -1) FMT_GetExtension(row, extension);
        lstrcpynA(block->text, extension, 4);
        return 0;
    }
    case SVC_QUERY_CLOSE_ALL:
        return MAI_QueryCloseAll();
    case SVC_CREATE_RECORD:
        IMG_Create(block->window);
        return 0;
    case SVC_FROM_FILE_NAME:
        return block->text ? FMT_FromFileName(block->text) : -1;
    case SVC_CAN_LOAD:
        return FMT_CanLoad(block->row);
    case SVC_TEST_CAPABILITY:
        return FMT_TestCapability(block->row, static_cast<int>(block->value), block->value2);
    case SVC_MDI_CREATE:
        return SendMessageA(MAI_Client, WM_MDICREATE, 0, block->value);
    case SVC_IS_IMAGE_WINDOW:
        return WIN_IsImageWindow(block->window);
    case SVC_HOME:
        return SetCurrentDirectoryA(MAI_HomeDir) ? 1 : 0;
    case SVC_PANEL_FLAG:
        // A program that drives the frame may switch the load panel off.
        DIS_Enabled = block->flag;
        return 0;
    case SVC_BATCH_SESSION:
        return BAT_GetSession();
    case SVC_BATCH_SCRIPTED:
        // An outside program brackets its own loads and saves as a batch.
        BAT_SetScripted(block->flag);
        return 0;
    default:
        // 13, 45 and 46.
        return 0;
    }
}
