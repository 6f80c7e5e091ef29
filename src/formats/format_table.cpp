// The format table: rows registered at start-up (and by extension modules),
// identification by file name, the filter lists and the format messages.
#include "formats/format_table.h"

#include "core/messages.h"
#include "formats/formats.h"
#include "platform/dib.h"

#include <cstdlib>
#include <cstring>
#include <new>

int FMT_Row_Any = -1, FMT_Row_AVI = -1, FMT_Row_BIT = -1, FMT_Row_BMP = -1, FMT_Row_CLP = -1, FMT_Row_CUT = -1,
    FMT_Row_CVP = -1, FMT_Row_DIB = -1, FMT_Row_EPS = -1, FMT_Row_GEN = -1, FMT_Row_GIF = -1, FMT_Row_HEX = -1,
    FMT_Row_ICO = -1, FMT_Row_IFF = -1, FMT_Row_IMG = -1, FMT_Row_IMG_IRIS = -1, FMT_Row_IMG_GEM = -1,
    FMT_Row_JPG = -1, FMT_Row_PIC = -1, FMT_Row_KQP = -1, FMT_Row_LBM = -1, FMT_Row_MCP = -1, FMT_Row_MID = -1,
    FMT_Row_MSP = -1, FMT_Row_PCC = -1, FMT_Row_PCX = -1, FMT_Row_PCT = -1, FMT_Row_PPM = -1, FMT_Row_RAS = -1,
    FMT_Row_RGB = -1, FMT_Row_RLE = -1, FMT_Row_SVW = -1, FMT_Row_TGA = -1, FMT_Row_TIF = -1, FMT_Row_WAV = -1,
    FMT_Row_WPG = -1;

int FIL_LoadRow = -1;
int FIL_SaveRow = -1;
int FMT_FoundRow = -1;

namespace {
FormatRow* rows = nullptr;
int rowCount = 0;

const FormatRow* Row(int row) { return (row >= 0 && row < rowCount) ? &rows[row] : nullptr; }
}  // namespace

// Each empty handler leaves its own mark, so that no two can be folded into
// one function: the registry tells them apart by address.
namespace {
volatile int lastEmptyHandler = 0;
}

int FMT_NoLoad(LPCSTR, HGLOBAL* dib)
{
    lastEmptyHandler = 1;
    if (dib) *dib = nullptr;
    return 0;
}
int FMT_StubLoad(LPCSTR, HGLOBAL* dib)
{
    lastEmptyHandler = 2;
    if (dib) *dib = nullptr;
    return 0;
}
int FMT_ModuleLoad(LPCSTR, HGLOBAL* dib)
{
    lastEmptyHandler = 3;
    if (dib) *dib = nullptr;
    return 0;
}
int FMT_NoSave(LPCSTR, HGLOBAL, WORD, WORD, WORD)
{
    lastEmptyHandler = 4;
    return 0;
}
int FMT_StubSave(LPCSTR, HGLOBAL, WORD, WORD, WORD)
{
    lastEmptyHandler = 5;
    return 0;
}
int FMT_ModuleSave(LPCSTR, HGLOBAL, WORD, WORD, WORD)
{
    lastEmptyHandler = 6;
    return 0;
}
int FMT_AcceptAll(LPCSTR)
{
    lastEmptyHandler = 7;
    return 1;
}
int FMT_ModuleAccept(LPCSTR)
{
    lastEmptyHandler = 8;
    return 1;
}

int FMT_DepthIndex(int bits)
{
    switch (bits) {
    case 1: return DEPTH_1;
    case 4: return DEPTH_4;
    case 8: return DEPTH_8;
    case 16: return DEPTH_16;
    case 24: return DEPTH_24;
    case 32: return DEPTH_32;
    default: return -1;
    }
}

int FMT_Register(DWORD kind, LPCSTR extension, LPCSTR description, FMT_LoadProc load, FMT_SaveProc save,
                 FMT_ValidateProc validate, const BYTE* capability, LPCSTR module, LONG id)
{
    // The array grows by one row: a cleared block for the new count, the old rows copied.
    FormatRow* grown = static_cast<FormatRow*>(calloc(static_cast<size_t>(rowCount) + 1, sizeof(FormatRow)));
    if (!grown) return -1;
    if (rows) memcpy(grown, rows, sizeof(FormatRow) * static_cast<size_t>(rowCount));
    free(rows);
    rows = grown;
    FormatRow& r = rows[rowCount];
    r.index = static_cast<DWORD>(rowCount);
    r.kind = kind;
    lstrcpynA(r.extension, extension, sizeof r.extension);
    // Descriptions are cut at 100 characters so that every filter entry fits
    // the 128 bytes a row is given in the filter buffer.
    char cut[101];
    lstrcpynA(cut, description ? description : "", sizeof cut);
    r.description = strdup(cut);
    r.load = load;
    r.save = save;
    r.validate = validate;
    if (capability) memcpy(r.capability, capability, sizeof r.capability);
    if (module) {
        // OpenFile gives the full path only when it fits its 128 characters;
        // a module it can't take whole keeps its name as given, never cut.
        OFSTRUCT of;
        r.module = strdup(OpenFile(module, &of, OF_EXIST) != HFILE_ERROR ? of.szPathName : module);
    }
    r.id = id;
    return rowCount++;
}

void FMT_RegisterBuiltins()
{
    if (rowCount) return;
    struct Builtin {
        int* global;
        DWORD kind;
        const char* extension;
        FMT_LoadProc load;
        FMT_SaveProc save;
        BYTE capability[6];
        LONG id;
    };
    static const Builtin builtins[] = {
        {&FMT_Row_Any, KIND_RASTER, "*", FMT_AnyLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 3},
        {&FMT_Row_AVI, KIND_ANIMATION, "AVI", AVI_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 123},
        {&FMT_Row_BIT, KIND_RASTER, "BIT", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 10},
        {&FMT_Row_BMP, KIND_RASTER, "BMP", BMP_Load, BMP_Save, {3, 1, 1, 0, 1, 1}, 9},
        {&FMT_Row_CLP, KIND_RASTER, "CLP", CLP_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 22},
        {&FMT_Row_CUT, KIND_RASTER, "CUT", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 26},
        {&FMT_Row_CVP, KIND_RASTER, "CVP", FMT_StubLoad, FMT_StubSave, {0, 0, 0, 0, 1, 0}, 27},
        {&FMT_Row_DIB, KIND_RASTER, "DIB", BMP_Load, BMP_Save, {7, 5, 5, 0, 1, 1}, 31},
        {&FMT_Row_EPS, KIND_RASTER, "EPS", FMT_NoLoad, EPS_Save, {3, 3, 3, 0, 3, 0}, 38},
        {&FMT_Row_GEN, KIND_RASTER, "GEN", GEN_Load, GEN_Save, {0, 0, 0, 0, 3, 0}, 46},
        {&FMT_Row_GIF, KIND_RASTER, "GIF", GIF_Load, GIF_Save, {9, 9, 9, 0, 0, 0}, 47},
        {&FMT_Row_HEX, KIND_RASTER, "HEX", HEX_Load, HEX_Save, {2, 3, 3, 0, 3, 0}, 52},
        {&FMT_Row_ICO, KIND_RASTER, "ICO", ICO_Load, ICO_Save, {1, 1, 1, 0, 0, 0}, 54},
        {&FMT_Row_IFF, KIND_RASTER, "IFF", IFF_Load, IFF_Save, {0, 0, 0, 0, 1, 0}, 55},
        {&FMT_Row_IMG, KIND_RASTER, "IMG", FMT_StubLoad, FMT_StubSave, {0, 0, 0, 0, 1, 0}, 7},
        {&FMT_Row_IMG_IRIS, KIND_RASTER, "IMG", FMT_StubLoad, FMT_StubSave, {0, 0, 2, 0, 0, 0}, 34},
        {&FMT_Row_IMG_GEM, KIND_RASTER, "IMG", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 58},
        {&FMT_Row_JPG, KIND_RASTER, "JPG", JPG_Load, JPG_Save, {0, 0, 11, 0, 9, 0}, 59},
        {&FMT_Row_PIC, KIND_RASTER, "PIC", PIC_Load, PIC_Save, {0, 0, 11, 0, 9, 0}, 32},
        {&FMT_Row_KQP, KIND_RASTER, "KQP", KQP_Load, KQP_Save, {0, 0, 11, 0, 9, 0}, 69},
        {&FMT_Row_LBM, KIND_RASTER, "LBM", IFF_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 61},
        {&FMT_Row_MCP, KIND_RASTER, "MCP", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 65},
        {&FMT_Row_MID, KIND_MIDI, "MID", MID_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 127},
        {&FMT_Row_MSP, KIND_RASTER, "MSP", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 70},
        {&FMT_Row_PCC, KIND_RASTER, "PCC", PCX_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 78},
        {&FMT_Row_PCX, KIND_RASTER, "PCX", PCX_Load, PCX_Save, {10, 11, 11, 0, 11, 0}, 81},
        {&FMT_Row_PCT, KIND_RASTER, "PCT", PCT_Load, FMT_StubSave, {0, 0, 0, 0, 0, 0}, 75},
        {&FMT_Row_PPM, KIND_RASTER, "PPM", PPM_Load, PPM_Save, {0, 0, 1, 0, 1, 0}, 88},
        {&FMT_Row_RAS, KIND_RASTER, "RAS", RAS_Load, RAS_Save, {2, 0, 3, 0, 3, 0}, 94},
        {&FMT_Row_RGB, KIND_RASTER, "RGB", SGI_Load, SGI_Save, {0, 0, 2, 0, 1, 0}, 98},
        {&FMT_Row_RLE, KIND_RASTER, "RLE", BMP_Load, BMP_Save, {11, 11, 11, 0, 0, 0}, 101},
        {&FMT_Row_SVW, KIND_RASTER, "SVW", FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 111},
        {&FMT_Row_TGA, KIND_RASTER, "TGA", TGA_Load, TGA_Save, {0, 0, 7, 5, 5, 5}, 112},
        {&FMT_Row_TIF, KIND_RASTER, "TIF", TIF_Load, TIF_Save, {5, 7, 7, 7, 7, 7}, 113},
        {&FMT_Row_WAV, KIND_WAVE, "WAV", WAV_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 126},
        {&FMT_Row_WPG, KIND_RASTER, "WPG", WPG_Load, WPG_Save, {11, 11, 11, 0, 0, 0}, 119},
    };
    const UINT kFirstDescription = 1024;
    UINT n = 0;
    for (const Builtin& b : builtins) {
        char description[128];
        if (LoadStringA(nullptr, kFirstDescription + n, description, sizeof description) <= 0) description[0] = 0;
        *b.global = FMT_Register(b.kind, b.extension, description, b.load, b.save, FMT_AcceptAll, b.capability,
                                 nullptr, b.id);
        n++;
    }
}

void FMT_Free()
{
    for (int i = 0; i < rowCount; i++) {
        free(rows[i].description);
        free(rows[i].module);
    }
    free(rows);
    rows = nullptr;
    rowCount = 0;
}

int FMT_LastIndex() { return rowCount - 1; }

const FormatRow* FMT_GetRow(int row) { return Row(row); }

// ---- dispatch, through an extension module where the row has one --------------------

namespace {
// The extension library's handle, handed to every module call; null without one.
HINSTANCE moduleHost;
}  // namespace

void FMT_SetModuleHost(HINSTANCE host) { moduleHost = host; }

#ifdef _WIN32
namespace {
typedef int(WINAPI* ModuleLoadProc)(HINSTANCE, LPCSTR, HGLOBAL*);
typedef int(WINAPI* ModuleSaveProc)(HINSTANCE, LPCSTR, HGLOBAL, WORD, WORD, WORD);
typedef int(WINAPI* ModuleValidateProc)(HINSTANCE, LPCSTR);

// A module is loaded for each single call and freed after it.
template <typename Proc, typename... Args>
int CallModule(const FormatRow* r, const char* entry, Args... args)
{
    HMODULE module = LoadLibraryA(r->module);
    if (!module) return 0;
    Proc proc = reinterpret_cast<Proc>(reinterpret_cast<void*>(GetProcAddress(module, entry)));
    int result = proc ? proc(moduleHost, args...) : 0;
    FreeLibrary(module);
    return result;
}
}  // namespace
#endif

int FMT_Load(LPCSTR path, HGLOBAL* dib, int row)
{
    const FormatRow* r = Row(row);
    if (!r) return 0;
#ifdef _WIN32
    if (r->module) return CallModule<ModuleLoadProc>(r, "ZT_Fmt_Load", path, dib);
#else
    if (r->module) return 0;
#endif
    return r->load ? r->load(path, dib) : 0;
}

namespace {
const UINT kInternalWriteError = 2063;  // "Internal error, cannot write file"

// Whether the row's capability bytes list the depth of the DIB to be written.
// A 24-bit DIB also stands for a 16-bit document, and the icon writer takes
// a 32-bit image unreduced and makes its own depth.
bool HoldsDib(const FormatRow* r, HGLOBAL dib, WORD depth)
{
    BITMAPINFOHEADER header;
    DIB_GetInfo(dib, &header);
    const int bits = header.biBitCount;
    const int d = FMT_DepthIndex(bits);
    if (d >= 0 && r->capability[d]) return true;
    if (bits == 24 && depth == 16 && r->capability[DEPTH_16]) return true;
    return bits == 32 && static_cast<int>(r->index) == FMT_Row_ICO;
}
}  // namespace

int FMT_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth, int row)
{
    const FormatRow* r = Row(row);
    if (!r) return 0;
    // No writer ever gets a depth its row does not list: that would be a
    // fault of the caller's conversion, and it writes no file.
    const bool writes = r->save && r->save != FMT_NoSave && r->save != FMT_StubSave;
    if (writes && !HoldsDib(r, dib, depth)) {
        MSG_Report(SEV_ERROR, kInternalWriteError);
        return 0;
    }
#ifdef _WIN32
    if (r->module) return CallModule<ModuleSaveProc>(r, "ZT_Fmt_Save", path, dib, color, compressed, depth);
#else
    if (r->module) return 0;
#endif
    return r->save ? r->save(path, dib, color, compressed, depth) : 0;
}

int FMT_Validate(LPCSTR path, int row)
{
    const FormatRow* r = Row(row);
    if (!r) return 0;
#ifdef _WIN32
    if (r->module) return CallModule<ModuleValidateProc>(r, "ZT_Fmt_Validate", path);
#else
    if (r->module) return 0;
#endif
    return r->validate ? r->validate(path) : 0;
}

// ---- fields and tests -----------------------------------------------------------------

void FMT_GetExtension(int row, LPSTR buffer)
{
    const FormatRow* r = Row(row);
    lstrcpyA(buffer, r ? r->extension : "");
}

void FMT_GetDescription(int row, LPSTR buffer)
{
    const FormatRow* r = Row(row);
    lstrcpyA(buffer, r && r->description ? r->description : "");
}

DWORD FMT_GetKind(int row) { return Row(row) ? Row(row)->kind : 0; }
LONG FMT_GetId(int row) { return Row(row) ? Row(row)->id : -1; }
LPCSTR FMT_GetModule(int row) { return Row(row) ? Row(row)->module : nullptr; }

int FMT_FromId(LONG id)
{
    for (int i = 0; i < rowCount; i++)
        if (rows[i].id == id) return i;
    return -1;
}

int FMT_FromExtension(LPCSTR extension)
{
    for (int i = 0; i < rowCount; i++)
        if (lstrcmpiA(rows[i].extension, extension) == 0) return i;
    return -1;
}

int FMT_CanLoad(int row)
{
    const FormatRow* r = Row(row);
    return r && r->load && r->load != FMT_NoLoad;
}

int FMT_CanSave(int row)
{
    const FormatRow* r = Row(row);
    return r && r->save && r->save != FMT_NoSave;
}

int FMT_IsLoadStub(int row) { return Row(row) && Row(row)->load == FMT_StubLoad; }
int FMT_IsSaveStub(int row) { return Row(row) && Row(row)->save == FMT_StubSave; }

int FMT_GetCapability(int row, int depthIndex)
{
    const FormatRow* r = Row(row);
    if (!r || depthIndex < 0 || depthIndex > 5) return 0;
    return static_cast<signed char>(r->capability[depthIndex]);
}

int FMT_TestCapability(int row, int depthIndex, int mask) { return (FMT_GetCapability(row, depthIndex) & mask) != 0; }

int FMT_FromFileName(LPCSTR path)
{
    if (!path) return -1;
    // The last dot of the whole path: a dot in a folder name counts too.
    LPCSTR dot = strrchr(path, '.');
    if (!dot || !dot[1]) return -1;
    char extension[260];
    lstrcpynA(extension, dot + 1, sizeof extension);
    CharUpperBuffA(extension, static_cast<DWORD>(strlen(extension)));
    for (int i = 0; i < rowCount; i++)
        if (strcmp(rows[i].extension, extension) == 0 && FMT_Validate(path, i)) return i;
    return -1;
}

UINT FMT_FilterSize() { return rowCount > 1 ? static_cast<UINT>(rowCount - 1) * 128 : 128; }

namespace {
WORD Filter(LPSTR buffer, LONG* ids, bool forLoad)
{
    WORD listed = 0;
    LPSTR at = buffer;
    for (int i = 0; i < rowCount; i++) {
        bool take = forLoad ? (FMT_CanLoad(i) && !FMT_IsLoadStub(i)) : (FMT_CanSave(i) && !FMT_IsSaveStub(i));
        if (!take) continue;
        if (at) {
            size_t n = strlen(rows[i].description);
            memcpy(at, rows[i].description, n + 1);
            at += n + 1;
            at[0] = '*';
            at[1] = '.';
            n = strlen(rows[i].extension);
            memcpy(at + 2, rows[i].extension, n + 1);
            at += n + 3;
        }
        if (ids) ids[listed] = rows[i].id;
        listed++;
    }
    if (at) *at = 0;
    return listed;
}
}  // namespace

WORD FMT_LoadFilter(LPSTR buffer, LONG* ids) { return Filter(buffer, ids, true); }
WORD FMT_SaveFilter(LPSTR buffer, LONG* ids) { return Filter(buffer, ids, false); }

void FMT_FormatError(UINT id, int row)
{
    char extension[16];
    FMT_GetExtension(row, extension);
    CharUpperBuffA(extension, static_cast<DWORD>(strlen(extension)));
    MSG_Report(SEV_ERROR, id, extension);
}

int FMT_AnyLoad(LPCSTR path, HGLOBAL* dib)
{
    if (dib) *dib = nullptr;
    FMT_FoundRow = FMT_FromFileName(path);
    // A name ending in ".*" finds this row itself, which reads nothing by
    // itself; taken as unknown rather than loaded through itself again.
    if (FMT_FoundRow == FMT_Row_Any) FMT_FoundRow = -1;
    if (FMT_FoundRow < 0) {
        // "Unsupported file type for image:" + path + "cannot load.", no blanks between.
        char head[64], tail[32];
        LoadStringA(nullptr, 21254, head, sizeof head);
        LoadStringA(nullptr, 21255, tail, sizeof tail);
        size_t size = strlen(head) + strlen(path) + strlen(tail) + 1;
        char* text = new (std::nothrow) char[size];
        if (!text) return 0;
        strcpy(text, head);
        strcat(text, path);
        strcat(text, tail);
        MSG_ReportText(SEV_ERROR, text);
        delete[] text;
        return 0;
    }
    FIL_LoadRow = FMT_FoundRow;
    int result = FMT_Load(path, dib, FIL_LoadRow);
    FIL_LoadRow = FMT_Row_Any;
    return result;
}
