// Saving documents. Save As brings the window's own image to what the chosen
// format and options ask for (gray, depth) before the write, so that the
// window shows what the file holds.
#include "core/save_document.h"

#include "colour/conversions.h"
#include "core/app.h"
#include "core/extensions.h"
#include "core/image_record.h"
#include "core/messages.h"
#include "core/open_save.h"
#include "core/save_dialog.h"
#include "core/save_options.h"
#include "core/settings.h"
#include "core/utilities.h"
#include "formats/codec_runtime.h"
#include "formats/eps.h"
#include "formats/format_table.h"
#include "platform/ui_hooks.h"

#include <commdlg.h>

#include <cstring>
#include <string>

namespace {
const UINT kColourLoss = 19716;      // "About to destroy color information, continue?"
const UINT kChanged = 17920;         // " has been changed.  Save file before closing?"
const UINT kInputError = 21000;      // "Error opening input file, cannot save"
const UINT kOutputError = 21001;     // "Error opening output file, cannot save"
const UINT kWriteError = 21002;      // "Error writing output file, check disk space"
const int kNameRoom = FIL_NameRoom;
const UINT kCopyBlock = 2048;

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

// Brings the window's image to target bits by the save rules; 1 on success.
int ConvertDepth(HWND hwnd, int target)
{
    ColourDocument doc;
    doc.dib = IMG_GetDIB(hwnd);
    doc.bits = static_cast<int>(IMG_GetAttr(hwnd, IA_BITS));
    doc.color = IMG_TestFlag(hwnd, IF_COLOR);
    ColourChange change;
    if (!CLR_DocToDepth(&doc, target, SET_Value(SET_SAVE_COLORCUT) != 0, SET_Value(SET_SAVE_DITHER) != 0,
                        CLR_RULE_SAVE, &change))
        return 0;
    if (change.dib) IMG_SetImage(hwnd, change.dib);
    if (change.dib || change.bits != doc.bits) IMG_SetAttr(hwnd, IA_BITS, change.bits);
    if (change.color != CLR_COLOR_KEEP) IMG_SetFlag(hwnd, IF_COLOR, change.color == CLR_COLOR_SET ? 1 : 0);
    return 1;
}

// The window's row for Save As: its own when that can be saved, else the
// current save format; a window without a row takes the current save format,
// or DIB, or row 1.
void ChooseRow(HWND hwnd)
{
    const int format = IMG_GetFormat(hwnd);
    if (format != -1) {
        if (FMT_CanSave(format))
            FIL_SaveRow = format;
        else
            IMG_SetFormat(hwnd, FIL_SaveRow);
        return;
    }
    int row = FIL_SaveRow;
    if (row > FMT_LastIndex() || !FMT_CanSave(row)) row = FMT_Row_DIB;
    if (row > FMT_LastIndex() || !FMT_CanSave(row)) row = 1;
    IMG_SetFormat(hwnd, row);
}
}  // namespace

int FIL_GetLoadRow() { return FIL_LoadRow; }
int FIL_GetSaveRow() { return FIL_SaveRow; }
void FIL_SetLoadRow(HWND, int row) { FIL_LoadRow = row; }
void FIL_SetSaveRow(HWND, int row) { FIL_SaveRow = row; }

int FIL_SaveFile(LPCSTR name, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    // The last step before the writer: the title an EPS file carries.
    EPS_SetTitle(name);
    return FMT_Save(name, dib, color, compressed, depth, FIL_SaveRow);
}

int FIL_SaveDocument(HWND hwnd)
{
    // The title is the file's path for as long as the window lives.
    const std::string whole = UTL_WindowText(hwnd);
    LPCSTR title = whole.c_str();
    const int format = IMG_GetFormat(hwnd);
    if (format == -1) return FIL_SaveAs(hwnd);
    FIL_SetSaveRow(hwnd, format);
    if (!FIL_SaveFile(title, IMG_GetDIB(hwnd), static_cast<WORD>(IMG_TestFlag(hwnd, IF_COLOR)),
                      static_cast<WORD>(IMG_GetAttr(hwnd, IA_COMPRESSED)), static_cast<WORD>(IMG_GetAttr(hwnd, IA_BITS))))
        return 0;
    IMG_SetAttr(hwnd, IA_FILE_SIZE, FIL_GetFileSize(title));
    LIB_MDISave(hwnd, title);
    IMG_DropUndo(hwnd);
    IMG_SetFlag(hwnd, IF_MODIFIED, 0);
    return 1;
}

int FIL_SaveAs(HWND hwnd)
{
    // Media documents are copied, never converted.
    if (IMG_TestFlag(hwnd, IF_ANIMATION)) return FIL_SaveMediaCopy(hwnd, 4);
    if (IMG_TestFlag(hwnd, IF_WAVE)) return FIL_SaveMediaCopy(hwnd, 8);
    if (IMG_TestFlag(hwnd, IF_MIDI)) return FIL_SaveMediaCopy(hwnd, 16);

    WORD options = 0;
    const int oldFormat = IMG_GetFormat(hwnd);
    ChooseRow(hwnd);

    const bool preset = IMG_GetAttr(hwnd, IA_SAVE_PRESET) == 1;
    const int oldBits = static_cast<int>(IMG_GetAttr(hwnd, IA_BITS));
    const int oldColor = IMG_TestFlag(hwnd, IF_COLOR);
    if (!preset) options = FIL_PresetOptions(IMG_GetAttr(hwnd, IA_COMPRESSED) != 0, oldColor, oldBits);

    char extension[16] = "";
    FMT_GetExtension(IMG_GetFormat(hwnd), extension);
    char name[kNameRoom] = "";
    FIL_ProposedName(UTL_WindowText(hwnd).c_str(), extension, name, sizeof name);

    int row = FIL_SaveRow;
    if (!FIL_SaveDialog(name, &row, &options)) {
        IMG_SetFormat(hwnd, oldFormat);
        return 0;
    }
    FIL_SetSaveRow(hwnd, row);
    if (const UINT problem = FIL_CheckSaveName(name)) {
        MSG_Report(SEV_ERROR, problem);
        return 0;
    }

    // The dialog's ruins would otherwise stand over the image during a long conversion.
    UpdateWindow(hwnd);
    IMG_SetFormat(hwnd, row);
    IMG_SetAttr(hwnd, IA_COMPRESSED, (options & FIL_OPT_COMPRESSED) ? 1 : 0);
    if (preset) IMG_SetAttr(hwnd, IA_SAVE_PRESET, 0);

    SaveFacts facts;
    facts.oldColor = oldColor;
    facts.newColor = (options & FIL_OPT_COLOR) ? 1 : 0;
    facts.oldBits = oldBits;
    facts.newBits = FIL_OptionDepth(options);
    facts.toIcon = row == FMT_Row_ICO;
    facts.warn = SET_Value(SET_SAVE_WARN_COLORLOSS) != 0;
    SavePlan plan;
    FIL_PlanSave(&facts, &plan);
    if (plan.ask && MSG_Query(SEV_WARNING, kColourLoss) != IDYES) return 0;

    UTL_BeginWait();
    int converted = 1;
    if (plan.makeGray) converted = IMG_MakeGray(hwnd);
    if (plan.setColor) IMG_SetFlag(hwnd, IF_COLOR, 1);
    if (converted && plan.convert) converted = ConvertDepth(hwnd, plan.toBits);
    UTL_EndWait();
    if (!converted) return 0;

    const std::string oldTitle = UTL_WindowText(hwnd);
    SetWindowTextA(hwnd, name);
    UTL_BeginWait();
    const int saved = FIL_SaveDocument(hwnd);
    UTL_EndWait();

    // A file of the write-only EPS format can't be opened again: the window
    // keeps its old name, and a later File Save writes there. The test is
    // case sensitive, as it always was.
    const bool eps = strstr(name, ".EPS") != nullptr;
    if (saved && !eps) LIB_MDIRename(hwnd, name);
    if (saved) {
        IMG_SetAttr(hwnd, IA_FILE_SIZE, FIL_GetFileSize(name));
        if (HGLOBAL old = reinterpret_cast<HGLOBAL>(IMG_GetAttr(hwnd, IA_PATH))) GlobalFree(old);
        IMG_SetAttr(hwnd, IA_PATH, reinterpret_cast<LONG_PTR>(TextBlock(name)));
    }
    if (!saved || eps) SetWindowTextA(hwnd, oldTitle.c_str());
    return saved;
}

int FIL_SaveMediaCopy(HWND hwnd, int kind)
{
    // The source whole; folder and name only propose the target, and a
    // part that doesn't fit proposes nothing rather than a cut name.
    const std::string source = UTL_WindowText(hwnd);
    std::string folder = ".";
    char name[kNameRoom] = "";
    std::string::size_type mark = source.rfind('\\');
    if (mark != std::string::npos) folder = source.substr(0, mark);
    const std::string base = mark == std::string::npos ? source : source.substr(mark + 1);
    if (FIL_NameFits(base.c_str())) lstrcpyA(name, base.c_str());

    // All three kinds offer the AVI pattern.
    const UINT description = kind == 4 ? 20999 : kind == 8 ? 20885 : 20886;
    char filter[160] = "";
    const int length = LoadStringA(MAI_Instance, description, filter, 120);
    const int used = length > 0 ? length : 0;
    memcpy(filter + used + 1, "*.AVI\0", 7);

    char title[kNameRoom] = "";
    OPENFILENAMEA dialog{};
    dialog.lStructSize = OPENFILENAME_SIZE_VERSION_400A;
    dialog.hwndOwner = MAI_Frame;
    dialog.lpstrFilter = filter;
    dialog.nFilterIndex = 1;
    dialog.lpstrFile = name;
    dialog.nMaxFile = sizeof name;
    dialog.lpstrFileTitle = title;
    dialog.nMaxFileTitle = sizeof title;
    dialog.lpstrInitialDir = folder.c_str();
    dialog.lpstrDefExt = "AVI";
    dialog.Flags = OFN_SHAREAWARE | OFN_OVERWRITEPROMPT | OFN_HIDEREADONLY;
    if (!GetSaveFileNameA(&dialog)) return 0;

    // Calls that take the full name (OpenFile stops at 128 characters).
    HFILE from = FIL_Open(source.c_str(), OF_READ);
    if (from == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, kInputError);
        return 0;
    }
    HFILE to = FIL_Create(name);
    if (to == HFILE_ERROR) {
        _lclose(from);
        MSG_Report(SEV_ERROR, kOutputError);
        return 0;
    }
    UTL_BeginWait();
    static char block[kCopyBlock];
    for (;;) {
        const UINT got = _lread(from, block, kCopyBlock);
        if (got == static_cast<UINT>(HFILE_ERROR)) break;
        if (got && _lwrite(to, block, got) != got) {
            UTL_EndWait();
            _lclose(from);
            _lclose(to);
            MSG_Report(SEV_ERROR, kWriteError);
            FIL_Remove(name);
            return 0;
        }
        if (got < kCopyBlock) break;
    }
    UTL_EndWait();
    _lclose(from);
    _lclose(to);
    // The window is titled with the name alone, without its folder.
    SetWindowTextA(hwnd, title);
    LIB_MDIRename(hwnd, title);
    return 1;
}

int FIL_QueryClose(HWND hwnd)
{
    if (GetAsyncKeyState(VK_SHIFT) < 0) return 1;
    if (!IMG_TestFlag(hwnd, IF_MODIFIED)) return 1;
    if (IMG_TestFlag(hwnd, IF_MEDIA)) return 1;
    if (BAT_IsActive()) return 1;
    char text[65 + 128] = "";
    GetWindowTextA(hwnd, text, 65);
    char question[128] = "";
    LoadStringA(MAI_Instance, kChanged, question, sizeof question);
    lstrcatA(text, question);
    switch (UTL_MessageBox(MAI_Frame, text, MAI_ProgramName, MB_YESNOCANCEL | MB_ICONQUESTION)) {
    case IDYES:
        return FMT_CanSave(IMG_GetFormat(hwnd)) ? FIL_SaveDocument(hwnd) : FIL_SaveAs(hwnd);
    case IDNO:
        return 1;
    default:
        return 0;
    }
}
