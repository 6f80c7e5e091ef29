// One-step undo: a window holds its current record in the first window word
// and at most one undo record in the second; exchanging the two is undo.
#include "core/image_record.h"

#include "controls/status.h"
#include "core/extensions.h"
#include "core/image_window.h"
#include "core/messages.h"
#include "core/utilities.h"
#include "edit/clipboard.h"
#include "formats/format_table.h"

#include <string>

namespace {
// "Not enough memory", as the image record reports it.
const UINT kNoMemory = 8204;
}  // namespace

void IMG_SwapUndo(HWND hwnd, int repaint, int retitle)
{
    ImageRecord* old = IMG_GetRecord(hwnd);
    ImageRecord* current = IMG_GetUndoRecord(hwnd);
    IMG_PutRecord(hwnd, current);
    IMG_PutUndoRecord(hwnd, old);

    // The view doesn't jump: the returning state takes the scroll position.
    if (current && old) {
        current->scrollX = old->scrollX;
        current->scrollY = old->scrollY;
    }
    // The title's extension follows the file type of the returning state.
    if (old && current && retitle && old->format != current->format && current->format != -1) {
        // The title is the file's path: read whole, never cut.
        std::string title = UTL_WindowText(hwnd);
        const std::string::size_type point = title.find('.');
        if (point != std::string::npos) {
            char extension[16] = "";
            FMT_GetExtension(current->format, extension);
            title = title.substr(0, point + 1) + extension;
            SetWindowTextA(hwnd, title.c_str());
        }
    }
    if (repaint) InvalidateRect(hwnd, nullptr, TRUE);
    STA_Update(0);
}

int IMG_HasUndo(HWND hwnd)
{
    ImageRecord* undo = IMG_GetUndoRecord(hwnd);
    return IMG_GetRecord(hwnd) && undo && undo->hDIB ? 1 : 0;
}

void IMG_DropUndo(HWND hwnd)
{
    if (ImageRecord* undo = IMG_GetUndoRecord(hwnd)) {
        IMG_ReleaseContents(hwnd, undo);
        IMG_FreeRecord(undo);
        IMG_PutUndoRecord(hwnd, nullptr);
    }
}

// A private copy of a text block; when it can't be locked the handle is
// shared, when memory is short the copy is 0.
static HGLOBAL CopyText(HGLOBAL text)
{
    if (!text) return nullptr;
    const char* from = static_cast<const char*>(GlobalLock(text));
    if (!from) return text;
    const SIZE_T length = strlen(from);
    HGLOBAL copy = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, length + 1);
    if (copy) {
        if (char* to = static_cast<char*>(GlobalLock(copy))) {
            memcpy(to, from, length + 1);
            GlobalUnlock(copy);
        }
    }
    GlobalUnlock(text);
    return copy;
}

void IMG_CloneRecord(ImageRecord* destination, const ImageRecord* source)
{
    if (!destination || !source || destination == source) return;
    *destination = *source;
    destination->hPath = CopyText(source->hPath);
    destination->hComment = CopyText(source->hComment);
}

void IMG_MakeEmptyFromUndo(HWND hwnd)
{
    // The image goes to the undo word whatever keep_undo says.
    IMG_SwapUndo(hwnd, 0, 0);
    ImageRecord* record = IMG_GetRecord(hwnd);
    if (!record) {
        record = IMG_NewRecord();
        if (!record) {
            // Nothing changes when no record can be had.
            IMG_SwapUndo(hwnd, 0, 0);
            MSG_Report(SEV_ERROR, kNoMemory);
            return;
        }
        IMG_PutRecord(hwnd, record);
    } else {
        IMG_ReleaseContents(hwnd, record);
    }
    // The empty state keeps every attribute of the image it replaces.
    if (ImageRecord* undo = IMG_GetUndoRecord(hwnd)) IMG_CloneRecord(record, undo);
    record->hDIB = nullptr;
    record->hExtra = nullptr;
    record->hBitmap = nullptr;
    record->hPalette = nullptr;
    record->savePreset = 0;
    // A window without an image has no scroll bars; Undo fits it again.
    ShowScrollBar(hwnd, SB_BOTH, FALSE);
    InvalidateRect(hwnd, nullptr, TRUE);
    STA_Update(0);
}

void UND_Undo(HWND window)
{
    IMG_SwapUndo(window, 1, 1);
    LIB_MDIChange(window);
    WIN_FitToImage(window, IMG_GetDIB(window));
}
