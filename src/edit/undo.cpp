// One-step undo: a window holds its current record in the first window word
// and at most one undo record in the second; exchanging the two is undo.
#include "core/image_record.h"

#include "controls/status.h"
#include "core/utilities.h"
#include "formats/format_table.h"

#include <string>

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
