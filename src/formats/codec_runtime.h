// What every reader and writer shares: the DIB header builder, the load
// information (ImageInfo) with its progress counter, the plain file wrappers
// with their read-error flag, and the one buffered file.
#pragma once

#include "platform/win32.h"

#include <climits>
#include <cstdint>
#include <cstdio>

// ---- load information --------------------------------------------------------
enum InfoField {
    INF_FILE,
    INF_FORMAT,
    INF_WIDTH,
    INF_HEIGHT,
    INF_PALETTE,
    INF_PLANES,
    INF_COLORS,
    INF_GRAY,
    INF_MEMORY,
    INF_COMPRESSED,
    INF_BITSPERPIXEL,
    INF_TYPE,
    INF_VERSION,
    INF_CREATOR,
};

// -1 in a numeric field means unknown.
struct ImageInfo {
    char* file;
    LONG width, height, palette, planes, colors, gray, memory, compressed, bitsPerPixel, type, version;
    char* creator;
    WORD step, firstStep, lastStep;
    int invalid;  // the panel must repaint its values on the next step
};
extern ImageInfo INF_Info;

void INF_SetValue(int field, LONG value);
LONG INF_GetValue(int field);
// Stores a fresh copy of text (null clears it) in the file or creator field.
void INF_SetText(int field, LPCSTR text);
void INF_SetProgress(WORD first, WORD last);
void INF_Invalidate();
void INF_Step(WORD step);
// Before and after a load: all numeric fields unknown, the path kept; the
// panel is opened and closed through the hook when the program has one.
void INF_Begin(LPCSTR path);
void INF_End();

// The load panel (a window in the program, nothing headless).
struct InfoPanelHooks {
    void (*open)();
    void (*repaint)(WORD step);
    void (*close)();
};
void INF_SetPanelHooks(const InfoPanelHooks* hooks);

// Creator texts (string ids) that readers store in the creator field.
enum CreatorId {
    CREATOR_IBMPC = 19200,
    CREATOR_CLIPBOARD = 19201,
    CREATOR_VIDEOLAB = 19202,
    CREATOR_PCAT = 19203,
    CREATOR_MICROVAX = 19204,
    CREATOR_SUN3 = 19205,
    CREATOR_UNKNOWN = 19207,
    CREATOR_MACINTOSH = 19208,
    CREATOR_DRHALO = 19209,
    CREATOR_AMIGA = 19210,
    CREATOR_KODAK = 19211,
    CREATOR_IRIS = 19212,
    CREATOR_SUN = 19213,
    CREATOR_WINDOWS = 19214,
};
// Loads the creator text from the string table into the creator field.
void INF_SetCreator(UINT creatorId);

// ---- DIB header ----------------------------------------------------------------
// Row stride of a DIB: rows padded to 32 bits.
inline DWORD DIB_Stride(LONG width, int bits) { return ((static_cast<DWORD>(width) * bits + 31) >> 5) << 2; }
// Fills a 40-byte header and copies its facts into ImageInfo.
void DIB_InitHeader(BITMAPINFOHEADER* header, LONG width, LONG height, int bits, DWORD stride, DWORD colors);
// The reader preamble: allocates a zeroed moveable block for header, colour
// table and pixels, copies the header in and locks it. Null when the size
// overflows or memory is short (nothing is reported here).
HGLOBAL DIB_AllocatePacked(const BITMAPINFOHEADER* header, BYTE** block);
// Overflow-safe size of a packed DIB of these dimensions, or 0 if it can't exist.
SIZE_T DIB_PackedSize(LONG width, LONG height, int bits, DWORD colors);
// The one process-wide limit on a single image block (2 GB unless lowered):
// DIB_AllocatePacked refuses any block above it, so a hostile size costs
// nothing while a legal sparse or short file still loads.
void DIB_SetMemoryLimit(uint64_t bytes);
uint64_t DIB_GetMemoryLimit();

// ---- file names ----------------------------------------------------------------
// Room for a file name, NUL included, in every call that takes one: the ANSI
// calls' MAX_PATH on Windows, PATH_MAX on native builds.
#ifdef _WIN32
const int FIL_NameRoom = MAX_PATH;
#else
const int FIL_NameRoom = PATH_MAX;
#endif
// Non-zero when the whole name fits FIL_NameRoom. A name is never cut: one
// that doesn't fit is refused before anything is opened, created or removed.
int FIL_NameFits(LPCSTR name);

// ---- plain file wrappers ---------------------------------------------------------
BYTE FIL_ReadByte(HFILE file);
WORD FIL_ReadWord(HFILE file);
DWORD FIL_ReadLong(HFILE file);
float FIL_ReadFloat(HFILE file);
// Reads length bytes; a null buffer succeeds at once. 0 on a short read.
int FIL_ReadBlock(HFILE file, void* buffer, UINT length);
int FIL_WriteByte(HFILE file, BYTE value);
int FIL_WriteWord(HFILE file, WORD value);
int FIL_WriteLong(HFILE file, DWORD value);
// A 32-bit length and the characters without a NUL; null writes length 0.
int FIL_WriteString(HFILE file, LPCSTR text);
int FIL_GetReadError();
void FIL_SetReadError(int value);
// _lopen and _lcreat for a name that fits; HFILE_ERROR for one that doesn't.
HFILE FIL_Open(LPCSTR path, int mode);
HFILE FIL_Create(LPCSTR path);
// Opens a C stream ("rb" or "wb") through a copy of the path; null when the
// name doesn't fit.
FILE* FIL_OpenStream(LPCSTR path, LPCSTR mode);
DWORD FIL_Size(HFILE file);
DWORD FIL_SizeByName(LPCSTR path);
// Non-zero when the named file opens for reading (and is closed again), as
// OpenFile's OF_EXIST probe, but for any name that fits.
int FIL_Exists(LPCSTR path);
// Deletes the named file; a name that doesn't fit deletes nothing.
void FIL_Remove(LPCSTR path);

// ---- the buffered file (one at a time in the whole program) -------------------------
enum { FIL_BUFFER_READ = 0, FIL_BUFFER_WRITE = 1 };
// Opens path for reading (mode 0, the buffer filled at once; size 0 = whole
// file) or creates it for writing (mode 1, size 0 = 0x8000). Returns the
// handle, HFILE_ERROR when the file can't be opened (or its name doesn't
// fit), 0 when memory is short.
HFILE FIL_OpenBuffered(LPCSTR path, int mode, UINT size);
// Reads n bytes into target: n, or 0 when the file ended first.
UINT FIL_ReadBuffered(void* target, UINT n);
// One byte. At the end of the file it yields 0 bytes without a test, as the
// readers that fetch bytes one at a time expect; FIL_BufferedOverrun tells.
BYTE FIL_GetBuffered();
// Bytes fetched past the end of the file since it was opened.
DWORD FIL_BufferedOverrun();
// Writes n bytes: n, or 0 when a flush failed.
UINT FIL_WriteBuffered(const void* source, UINT n);
int FIL_PutBuffered(BYTE value);
// Moves the file (origin as _llseek) and refills the buffer; the new position or -1.
LONG FIL_SeekBuffered(LONG offset, int origin);
// The position of the next byte to read or write.
LONG FIL_TellBuffered();
// Flushes a write, closes the file and frees the buffer; 0 when the flush failed.
int FIL_CloseBuffered();
