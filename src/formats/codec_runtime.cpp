// The codec runtime shared by all readers and writers.
#include "formats/codec_runtime.h"

#include <cstdlib>
#include <cstring>

ImageInfo INF_Info = {nullptr, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, nullptr, 0, 0, 0, 0};

namespace {
const InfoPanelHooks* panel = nullptr;

LONG* NumericField(int field)
{
    switch (field) {
    case INF_WIDTH: return &INF_Info.width;
    case INF_HEIGHT: return &INF_Info.height;
    case INF_PALETTE: return &INF_Info.palette;
    case INF_PLANES: return &INF_Info.planes;
    case INF_COLORS: return &INF_Info.colors;
    case INF_GRAY: return &INF_Info.gray;
    case INF_MEMORY: return &INF_Info.memory;
    case INF_COMPRESSED: return &INF_Info.compressed;
    case INF_BITSPERPIXEL: return &INF_Info.bitsPerPixel;
    case INF_TYPE: return &INF_Info.type;
    case INF_VERSION: return &INF_Info.version;
    default: return nullptr;
    }
}

char** TextField(int field)
{
    if (field == INF_FILE) return &INF_Info.file;
    if (field == INF_CREATOR) return &INF_Info.creator;
    return nullptr;
}
}  // namespace

void INF_SetValue(int field, LONG value)
{
    if (LONG* at = NumericField(field)) *at = value;
}

LONG INF_GetValue(int field)
{
    LONG* at = NumericField(field);
    return at ? *at : -1;
}

void INF_SetText(int field, LPCSTR text)
{
    char** at = TextField(field);
    if (!at) return;
    free(*at);
    *at = text ? strdup(text) : nullptr;
}

void INF_SetCreator(UINT creatorId)
{
    char text[64];
    if (LoadStringA(nullptr, creatorId, text, sizeof text) > 0) INF_SetText(INF_CREATOR, text);
}

void INF_SetProgress(WORD first, WORD last)
{
    INF_Info.step = first;
    INF_Info.firstStep = first;
    INF_Info.lastStep = last;
}

void INF_Invalidate() { INF_Info.invalid = 1; }

void INF_Step(WORD step)
{
    INF_Info.step = step;
    if (panel && panel->repaint) panel->repaint(step);
    INF_Info.invalid = 0;
}

void INF_Begin(LPCSTR path)
{
    INF_SetText(INF_FILE, path);
    for (int f = INF_WIDTH; f <= INF_VERSION; f++) INF_SetValue(f, -1);
    INF_SetProgress(0, 0);
    INF_Invalidate();
    if (panel && panel->open) panel->open();
}

void INF_End()
{
    if (panel && panel->close) panel->close();
    INF_SetText(INF_FILE, nullptr);
    INF_SetText(INF_CREATOR, nullptr);
}

void INF_SetPanelHooks(const InfoPanelHooks* hooks) { panel = hooks; }

// ---- DIB header ----------------------------------------------------------------

void DIB_InitHeader(BITMAPINFOHEADER* h, LONG width, LONG height, int bits, DWORD stride, DWORD colors)
{
    h->biSize = sizeof(BITMAPINFOHEADER);
    h->biWidth = width;
    h->biHeight = height;
    h->biPlanes = 1;
    h->biBitCount = static_cast<WORD>(bits);
    h->biCompression = BI_RGB;
    h->biSizeImage = stride * static_cast<DWORD>(height);
    h->biXPelsPerMeter = 0;
    h->biYPelsPerMeter = 0;
    h->biClrUsed = colors;
    h->biClrImportant = colors;
    INF_SetValue(INF_WIDTH, width);
    INF_SetValue(INF_HEIGHT, height);
    INF_SetValue(INF_PALETTE, static_cast<LONG>(colors));
    INF_SetValue(INF_COLORS, static_cast<LONG>(colors));
    INF_SetValue(INF_MEMORY, static_cast<LONG>(h->biSizeImage));
    INF_Invalidate();
}

SIZE_T DIB_PackedSize(LONG width, LONG height, int bits, DWORD colors)
{
    if (width <= 0 || height <= 0 || bits <= 0 || bits > 32 || colors > 256) return 0;
    // Everything in 64 bits, then refused beyond what a 32-bit process could hold.
    uint64_t stride = ((static_cast<uint64_t>(width) * static_cast<uint64_t>(bits) + 31) >> 5) << 2;
    uint64_t total = stride * static_cast<uint64_t>(height) + sizeof(BITMAPINFOHEADER) + 4ULL * colors;
    if (stride > 0xFFFFFFFFULL || total > 0x7FFFFFFFULL) return 0;
    return static_cast<SIZE_T>(total);
}

namespace {
uint64_t memoryLimit = 0x80000000ULL;
}  // namespace

void DIB_SetMemoryLimit(uint64_t bytes) { memoryLimit = bytes; }
uint64_t DIB_GetMemoryLimit() { return memoryLimit; }

HGLOBAL DIB_AllocatePacked(const BITMAPINFOHEADER* h, BYTE** block)
{
    *block = nullptr;
    DWORD colors = h->biClrUsed ? h->biClrUsed : (h->biBitCount <= 8 ? 1U << h->biBitCount : 0);
    SIZE_T size = DIB_PackedSize(h->biWidth, h->biHeight, h->biBitCount, colors);
    if (!size || size > memoryLimit) return nullptr;
    HGLOBAL mem = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
    if (!mem) return nullptr;
    *block = static_cast<BYTE*>(GlobalLock(mem));
    if (!*block) {
        GlobalFree(mem);
        return nullptr;
    }
    memcpy(*block, h, sizeof *h);
    return mem;
}

// ---- plain file wrappers ---------------------------------------------------------

namespace {
int readError = 0;
char scratchPath[FIL_NameRoom];
}  // namespace

int FIL_NameFits(LPCSTR name) { return name && strlen(name) < static_cast<size_t>(FIL_NameRoom); }

HFILE FIL_Open(LPCSTR path, int mode) { return FIL_NameFits(path) ? _lopen(path, mode) : HFILE_ERROR; }

HFILE FIL_Create(LPCSTR path) { return FIL_NameFits(path) ? _lcreat(path, 0) : HFILE_ERROR; }

int FIL_GetReadError() { return readError; }
void FIL_SetReadError(int value) { readError = value; }

BYTE FIL_ReadByte(HFILE file)
{
    BYTE b = 0;
    if (_lread(file, &b, 1) != 1) readError = 1;
    return b;
}

WORD FIL_ReadWord(HFILE file)
{
    BYTE b[2] = {0, 0};
    if (_lread(file, b, 2) != 2) readError = 1;
    return static_cast<WORD>(b[0] | (b[1] << 8));
}

DWORD FIL_ReadLong(HFILE file)
{
    BYTE b[4] = {0, 0, 0, 0};
    if (_lread(file, b, 4) != 4) readError = 1;
    return static_cast<DWORD>(b[0]) | (static_cast<DWORD>(b[1]) << 8) | (static_cast<DWORD>(b[2]) << 16) |
           (static_cast<DWORD>(b[3]) << 24);
}

float FIL_ReadFloat(HFILE file)
{
    DWORD bits = FIL_ReadLong(file);
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

int FIL_ReadBlock(HFILE file, void* buffer, UINT length)
{
    if (!buffer) return 1;
    if (_lread(file, buffer, length) != length) {
        readError = 1;
        return 0;
    }
    return 1;
}

int FIL_WriteByte(HFILE file, BYTE value) { return _lwrite(file, reinterpret_cast<LPCCH>(&value), 1) == 1; }

int FIL_WriteWord(HFILE file, WORD value)
{
    BYTE b[2] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8)};
    return _lwrite(file, reinterpret_cast<LPCCH>(b), 2) == 2;
}

int FIL_WriteLong(HFILE file, DWORD value)
{
    BYTE b[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8), static_cast<BYTE>(value >> 16),
                 static_cast<BYTE>(value >> 24)};
    return _lwrite(file, reinterpret_cast<LPCCH>(b), 4) == 4;
}

int FIL_WriteString(HFILE file, LPCSTR text)
{
    DWORD length = text ? static_cast<DWORD>(strlen(text)) : 0;
    if (!FIL_WriteLong(file, length)) return 0;
    return length == 0 || _lwrite(file, text, length) == length;
}

FILE* FIL_OpenStream(LPCSTR path, LPCSTR mode)
{
    if (!FIL_NameFits(path)) return nullptr;
    lstrcpyA(scratchPath, path);
    return fopen(scratchPath, mode);
}

DWORD FIL_Size(HFILE file)
{
    LONG here = _llseek(file, 0, FILE_CURRENT);
    LONG end = _llseek(file, 0, FILE_END);
    _llseek(file, here, FILE_BEGIN);
    return end < 0 ? 0 : static_cast<DWORD>(end);
}

DWORD FIL_SizeByName(LPCSTR path)
{
    HFILE file = FIL_Open(path, OF_READ);
    if (file == HFILE_ERROR) return 0;
    DWORD size = FIL_Size(file);
    _lclose(file);
    return size;
}

int FIL_Exists(LPCSTR path)
{
    HFILE file = FIL_Open(path, OF_READ);
    if (file == HFILE_ERROR) return 0;
    _lclose(file);
    return 1;
}

void FIL_Remove(LPCSTR path)
{
    // A cut name would delete some other file.
    if (!FIL_NameFits(path)) return;
    char name[FIL_NameRoom];
    lstrcpyA(name, path);
    DeleteFileA(name);
}

// ---- the buffered file -------------------------------------------------------------

namespace {
struct BufferedFile {
    HGLOBAL block = nullptr;
    BYTE* base = nullptr;
    BYTE* cursor = nullptr;
    LONG count = 0;  // bytes unread (read) or held (write)
    UINT size = 0;
    int mode = 0;
    HFILE file = HFILE_ERROR;
    DWORD overrun = 0;
    bool atEnd = false;  // a refill found nothing: until a seek, the file gives no more
};
BufferedFile bf;

// Refills the buffer from the file. At the end of the file it asks the
// system only once, so that a reader fetching bytes past the end (a header
// that promises more than the file holds) costs no system call per byte.
LONG Refill()
{
    UINT got = bf.atEnd ? 0 : _lread(bf.file, bf.base, bf.size);
    if (got == static_cast<UINT>(HFILE_ERROR)) got = 0;
    bf.atEnd = got == 0;
    bf.cursor = bf.base;
    bf.count = static_cast<LONG>(got);
    return bf.count;
}

int Flush()
{
    if (bf.count <= 0) return 1;
    UINT put = _lwrite(bf.file, reinterpret_cast<LPCCH>(bf.base), static_cast<UINT>(bf.count));
    if (put != static_cast<UINT>(bf.count)) return 0;
    bf.cursor = bf.base;
    bf.count = 0;
    return 1;
}
}  // namespace

HFILE FIL_OpenBuffered(LPCSTR path, int mode, UINT size)
{
    HFILE file = mode == FIL_BUFFER_READ ? FIL_Open(path, OF_READ) : FIL_Create(path);
    if (file == HFILE_ERROR) return HFILE_ERROR;
    if (size == 0) {
        size = 0x8000;
        if (mode == FIL_BUFFER_READ) {
            DWORD whole = FIL_Size(file);
            if (whole > 0 && whole < 0x7FFFFFF0U) size = whole;
        }
    }
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
    if (!block) {
        _lclose(file);
        if (mode == FIL_BUFFER_WRITE) FIL_Remove(path);
        return 0;
    }
    bf = BufferedFile();
    bf.block = block;
    bf.base = static_cast<BYTE*>(GlobalLock(block));
    bf.cursor = bf.base;
    bf.size = size;
    bf.mode = mode;
    bf.file = file;
    if (mode == FIL_BUFFER_READ) Refill();
    return file;
}

UINT FIL_ReadBuffered(void* target, UINT n)
{
    BYTE* to = static_cast<BYTE*>(target);
    if (bf.count >= static_cast<LONG>(n)) {
        memcpy(to, bf.cursor, n);
        bf.cursor += n;
        bf.count -= static_cast<LONG>(n);
        return n;
    }
    // Take what the buffer holds, the rest straight from the file.
    UINT held = bf.count > 0 ? static_cast<UINT>(bf.count) : 0;
    memcpy(to, bf.cursor, held);
    bf.cursor += held;
    bf.count = 0;
    UINT rest = n - held;
    UINT got = bf.atEnd ? 0 : _lread(bf.file, to + held, rest);
    if (got != rest) return 0;
    Refill();
    return n;
}

BYTE FIL_GetBuffered()
{
    if (bf.count <= 0) {
        if (Refill() <= 0) {
            // Past the end: the byte is 0 and the count runs below zero.
            bf.count = -1;
            bf.overrun++;
            return 0;
        }
    }
    bf.count--;
    return *bf.cursor++;
}

DWORD FIL_BufferedOverrun() { return bf.overrun; }

UINT FIL_WriteBuffered(const void* source, UINT n)
{
    const BYTE* from = static_cast<const BYTE*>(source);
    if (n <= bf.size - static_cast<UINT>(bf.count)) {
        memcpy(bf.cursor, from, n);
        bf.cursor += n;
        bf.count += static_cast<LONG>(n);
        return n;
    }
    if (!Flush()) return 0;
    if (n > bf.size) return _lwrite(bf.file, reinterpret_cast<LPCCH>(from), n) == n ? n : 0;
    memcpy(bf.cursor, from, n);
    bf.cursor += n;
    bf.count = static_cast<LONG>(n);
    return n;
}

int FIL_PutBuffered(BYTE value) { return FIL_WriteBuffered(&value, 1) == 1; }

LONG FIL_SeekBuffered(LONG offset, int origin)
{
    if (bf.mode == FIL_BUFFER_WRITE && !Flush()) return -1;
    LONG at = _llseek(bf.file, offset, origin);
    if (at < 0) return -1;
    bf.atEnd = false;
    if (bf.mode == FIL_BUFFER_READ) Refill();
    return at;
}

LONG FIL_TellBuffered()
{
    LONG at = _llseek(bf.file, 0, FILE_CURRENT);
    if (bf.mode == FIL_BUFFER_WRITE) return at + bf.count;
    return at - (bf.count > 0 ? bf.count : 0);
}

int FIL_CloseBuffered()
{
    int ok = 1;
    if (bf.file == HFILE_ERROR) return 0;
    if (bf.mode == FIL_BUFFER_WRITE) ok = Flush();
    _lclose(bf.file);
    GlobalUnlock(bf.block);
    GlobalFree(bf.block);
    bf = BufferedFile();
    return ok;
}
