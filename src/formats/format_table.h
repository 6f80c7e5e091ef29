// The format table: the one list of file types. A row says the extension,
// the description, the reader, the writer and what each depth can hold.
#pragma once

#include "platform/win32.h"

typedef int (*FMT_LoadProc)(LPCSTR path, HGLOBAL* dib);
typedef int (*FMT_SaveProc)(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
typedef int (*FMT_ValidateProc)(LPCSTR path);

// Row kinds (bit set).
enum FormatKind { KIND_RASTER = 1, KIND_METAFILE = 2, KIND_ANIMATION = 4, KIND_WAVE = 8, KIND_MIDI = 16 };

// Capability bits of one depth.
enum Capability { CAP_COLOR = 1, CAP_GRAY = 2, CAP_COMPRESS_OPTIONAL = 4, CAP_COMPRESS_INHERENT = 8 };
// Depth indices of the capability record: 1, 4, 8, 16, 24, 32 bits.
enum DepthIndex { DEPTH_1, DEPTH_4, DEPTH_8, DEPTH_16, DEPTH_24, DEPTH_32 };
// The depth index of a bit count (1, 4, 8, 16, 24, 32), or -1.
int FMT_DepthIndex(int bits);

struct FormatRow {
    DWORD index;
    DWORD kind;
    char extension[8];
    char* description;
    FMT_LoadProc load;
    FMT_SaveProc save;
    FMT_ValidateProc validate;
    BYTE capability[6];
    char* module;
    LONG id;
};

// The empty handlers; their identity is what the registry tests.
int FMT_NoLoad(LPCSTR path, HGLOBAL* dib);
int FMT_StubLoad(LPCSTR path, HGLOBAL* dib);
int FMT_ModuleLoad(LPCSTR path, HGLOBAL* dib);
int FMT_NoSave(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
int FMT_StubSave(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
int FMT_ModuleSave(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth);
int FMT_AcceptAll(LPCSTR path);
int FMT_ModuleAccept(LPCSTR path);
// The "*" row's reader: finds the row by extension and loads through it.
int FMT_AnyLoad(LPCSTR path, HGLOBAL* dib);

// Row numbers of the built-in formats, -1 before registration.
extern int FMT_Row_Any, FMT_Row_AVI, FMT_Row_BIT, FMT_Row_BMP, FMT_Row_CLP, FMT_Row_CUT, FMT_Row_CVP, FMT_Row_DIB,
    FMT_Row_EPS, FMT_Row_GEN, FMT_Row_GIF, FMT_Row_HEX, FMT_Row_ICO, FMT_Row_IFF, FMT_Row_IMG, FMT_Row_IMG_IRIS,
    FMT_Row_IMG_GEM, FMT_Row_JPG, FMT_Row_PIC, FMT_Row_KQP, FMT_Row_LBM, FMT_Row_MCP, FMT_Row_MID, FMT_Row_MSP,
    FMT_Row_PCC, FMT_Row_PCX, FMT_Row_PCT, FMT_Row_PPM, FMT_Row_RAS, FMT_Row_RGB, FMT_Row_RLE, FMT_Row_SVW,
    FMT_Row_TGA, FMT_Row_TIF, FMT_Row_WAV, FMT_Row_WPG;

// The current load and save formats (rows), and the row that the "*" row
// found by extension for the last load (-1 when none).
extern int FIL_LoadRow;
extern int FIL_SaveRow;
extern int FMT_FoundRow;

// Registers the built-in rows, once.
void FMT_RegisterBuiltins();
// Adds a row; a module name becomes a full path by an existence probe. Returns the row.
int FMT_Register(DWORD kind, LPCSTR extension, LPCSTR description, FMT_LoadProc load, FMT_SaveProc save,
                 FMT_ValidateProc validate, const BYTE* capability, LPCSTR module, LONG id);
void FMT_Free();
int FMT_LastIndex();
const FormatRow* FMT_GetRow(int row);

int FMT_Load(LPCSTR path, HGLOBAL* dib, int row);
// Writes through the row's writer; a DIB whose depth the row's capability
// bytes don't list is refused with "Internal error, cannot write file".
int FMT_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth, int row);
int FMT_Validate(LPCSTR path, int row);

void FMT_GetExtension(int row, LPSTR buffer);
void FMT_GetDescription(int row, LPSTR buffer);
DWORD FMT_GetKind(int row);
LONG FMT_GetId(int row);
LPCSTR FMT_GetModule(int row);
// The handle that module calls receive first: the extension library's, or null.
void FMT_SetModuleHost(HINSTANCE host);
int FMT_FromId(LONG id);
int FMT_FromExtension(LPCSTR extension);
int FMT_CanLoad(int row);
int FMT_CanSave(int row);
int FMT_IsLoadStub(int row);
int FMT_IsSaveStub(int row);
int FMT_GetCapability(int row, int depthIndex);
int FMT_TestCapability(int row, int depthIndex, int mask);
// The row for a path by its last extension, or -1.
int FMT_FromFileName(LPCSTR path);
// Size of a buffer for a filter list.
UINT FMT_FilterSize();
// Filter lists ("description\0*.ext\0"... "\0") and the ids of their rows.
WORD FMT_LoadFilter(LPSTR buffer, LONG* ids);
WORD FMT_SaveFilter(LPSTR buffer, LONG* ids);
// Reports string id with the row's upper-case extension for its %s (severity 2).
void FMT_FormatError(UINT id, int row);
