// CLP: a saved Windows clipboard, read for one picture: its DIB if it has
// one, otherwise its device bitmap. Values are little-endian.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

enum {
    MSG_BAD_HEADER = 9476,     // "Illegal %s File -- Bad Header"
    MSG_INCOMPLETE = 9477,     // "Incomplete %s file, cannot load"
    MSG_NO_MEMORY = 8202,      // "Not enough memory to load file"
    MSG_NO_PICTURE = 8232,     // "No BMP or DIB format found in CLP file, cannot load"
    MSG_DEVICE = 8242,         // "... device dependent bitmap which is incompatible ..."
    MSG_BAD_DIB = 8253,        // "Illegal DIB header in CLP file, cannot load"
};

const WORD kFileId = 0xC350;
const UINT kEntrySize = 89;
const UINT kBitmapRecord = 24;
enum { CF_BITMAP_ENTRY = 2, CF_DIB_ENTRY = 8 };

inline WORD Word(const BYTE* p) { return static_cast<WORD>(p[0] | p[1] << 8); }
inline DWORD Long(const BYTE* p) { return Word(p) | static_cast<DWORD>(Word(p + 2)) << 16; }

struct Entry {
    bool present = false;
    DWORD length = 0, offset = 0;
};

// The file and the block being read, released on every way out.
struct LoadState {
    HFILE file = HFILE_ERROR;
    HGLOBAL block = nullptr;
    DWORD size = 0;
    ~LoadState()
    {
        if (block) GlobalFree(block);
        if (file != HFILE_ERROR) _lclose(file);
    }
    int Fail(UINT message)
    {
        if (message == MSG_BAD_HEADER || message == MSG_INCOMPLETE) FMT_FormatError(message, FMT_Row_CLP);
        else if (message) MSG_Report(SEV_ERROR, message);
        return 0;
    }
    // Reads an entry's data into a new block; a message id on failure.
    UINT ReadEntry(const Entry& e, HGLOBAL* out)
    {
        *out = nullptr;
        if (e.offset > size || e.length > size - e.offset) return MSG_INCOMPLETE;
        if (e.length > DIB_GetMemoryLimit()) return MSG_NO_MEMORY;
        HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, e.length ? e.length : 1);
        if (!h) return MSG_NO_MEMORY;
        BYTE* p = static_cast<BYTE*>(GlobalLock(h));
        const bool read = p && _llseek(file, static_cast<LONG>(e.offset), FILE_BEGIN) != HFILE_ERROR &&
                          (e.length == 0 || _lread(file, p, e.length) == e.length);
        if (p) GlobalUnlock(h);
        if (!read) {
            GlobalFree(h);
            return MSG_INCOMPLETE;
        }
        *out = h;
        return 0;
    }
};

// Checks a DIB entry's header against its length: 0 when usable, else the
// message. A 40-byte header is already known.
UINT CheckDib(const BYTE* p, DWORD length)
{
    if (length < sizeof(BITMAPINFOHEADER)) return MSG_INCOMPLETE;
    const LONG width = static_cast<LONG>(Long(p + 4));
    const LONG height = static_cast<LONG>(Long(p + 8));
    const WORD bits = Word(p + 14);
    const DWORD compression = Long(p + 16), used = Long(p + 32);
    if (width <= 0 || height == 0 ||
        (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) || compression > 3)
        return MSG_BAD_DIB;
    const uint64_t colors = used ? used : (bits <= 8 ? 1u << bits : 0);
    const uint64_t table = colors * 4 + (compression == BI_BITFIELDS ? 12 : 0);
    uint64_t need = sizeof(BITMAPINFOHEADER) + table;
    if (compression == BI_RGB || compression == BI_BITFIELDS)
        need += static_cast<uint64_t>(DIB_Stride(width, bits)) * static_cast<uint64_t>(height < 0 ? -static_cast<int64_t>(height) : height);
    return need > length ? MSG_INCOMPLETE : 0;
}

// A device bitmap as a DIB of its own depth: rows word-aligned from the top
// in the data, bottom-up in the DIB. 0 when the depth has no such form.
HGLOBAL DibFromDeviceBits(const BYTE* record, const BYTE* bits, DWORD length, UINT* message)
{
    const LONG width = static_cast<LONG>(Long(record + 4));
    const LONG height = static_cast<LONG>(Long(record + 8));
    const int depth = Word(record + 18);
    *message = MSG_DEVICE;
    if (depth != 24 && depth != 32) return nullptr;
    *message = MSG_NO_MEMORY;
    BITMAPINFOHEADER header;
    const DWORD stride = DIB_Stride(width, depth);
    DIB_InitHeader(&header, width, height, depth, stride, 0);
    BYTE* block;
    HGLOBAL dib = DIB_AllocatePacked(&header, &block);
    if (!dib) return nullptr;
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER);
    const uint64_t source = ((static_cast<uint64_t>(width) * depth + 15) / 16) * 2;
    const SIZE_T used = static_cast<SIZE_T>(width) * (depth / 8);
    // Bytes the data does not hold stay zero.
    for (LONG y = 0; y < height; y++) {
        const uint64_t at = source * static_cast<uint64_t>(y);
        if (at >= length) break;
        const SIZE_T n = static_cast<SIZE_T>(length - at < used ? length - at : used);
        memcpy(pixels + static_cast<SIZE_T>(height - 1 - y) * stride, bits + at, n);
    }
    GlobalUnlock(dib);
    return dib;
}

}  // namespace

int CLP_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    LoadState s;
    s.file = FIL_Open(path, OF_READ);
    if (s.file == HFILE_ERROR) return 0;
    s.size = FIL_Size(s.file);
    INF_SetProgress(0, 5);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 3);
    INF_SetCreator(CREATOR_CLIPBOARD);

    BYTE head[4];
    if (_lread(s.file, head, 4) != 4 || Word(head) != kFileId) return s.Fail(MSG_BAD_HEADER);
    Entry bitmap, dibEntry;
    for (DWORD i = 0, n = Word(head + 2); i < n; i++) {
        BYTE e[kEntrySize];
        if (_lread(s.file, e, kEntrySize) != kEntrySize) return s.Fail(MSG_INCOMPLETE);
        // Of several entries of a format, the last one counts.
        Entry* kept = Word(e) == CF_BITMAP_ENTRY ? &bitmap
                      : Word(e) == CF_DIB_ENTRY  ? &dibEntry
                                                 : nullptr;
        if (kept) *kept = Entry{true, Long(e + 2), Long(e + 6)};
    }
    // A palette entry is never used: a bitmap is taken without one.

    HGLOBAL result = nullptr;
    if (dibEntry.present) {
        if (UINT m = s.ReadEntry(dibEntry, &s.block)) return s.Fail(m);
        const BYTE* p = static_cast<const BYTE*>(GlobalLock(s.block));
        const bool legal = dibEntry.length >= 2 && Word(p) == sizeof(BITMAPINFOHEADER);
        const UINT check = legal ? CheckDib(p, dibEntry.length) : 0;
        GlobalUnlock(s.block);
        if (legal && check) return s.Fail(check);
        if (legal) {
            result = s.block;
            s.block = nullptr;
        } else {
            GlobalFree(s.block);
            s.block = nullptr;
            if (!bitmap.present) return s.Fail(MSG_BAD_DIB);
        }
    }
    if (!result && !bitmap.present) return s.Fail(MSG_NO_PICTURE);
    if (!result) {
        // The device bitmap: it must be of the screen's planes and depth.
        BYTE record[kBitmapRecord];
        if (bitmap.offset > s.size || bitmap.length < kBitmapRecord ||
            _llseek(s.file, static_cast<LONG>(bitmap.offset), FILE_BEGIN) == HFILE_ERROR ||
            _lread(s.file, record, kBitmapRecord) != kBitmapRecord)
            return s.Fail(MSG_INCOMPLETE);
        int dpiX, dpiY, planes, bitsPixel;
        UTL_ScreenFacts(&dpiX, &dpiY, &planes, &bitsPixel);
        if (Word(record + 16) != planes || Word(record + 18) != bitsPixel) return s.Fail(MSG_DEVICE);
        const Entry bits{true, bitmap.length - kBitmapRecord, bitmap.offset + kBitmapRecord};
        if (UINT m = s.ReadEntry(bits, &s.block)) return s.Fail(m);
        const BYTE* data = static_cast<const BYTE*>(GlobalLock(s.block));
        UINT m = 0;
        result = DibFromDeviceBits(record, data, bits.length, &m);
        GlobalUnlock(s.block);
        GlobalFree(s.block);
        s.block = nullptr;
        if (!result) return s.Fail(m);
    }
    _lclose(s.file);
    s.file = HFILE_ERROR;

    BITMAPINFOHEADER info;
    DIB_GetInfo(result, &info);
    INF_SetValue(INF_BITSPERPIXEL, info.biBitCount);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_WIDTH, info.biWidth);
    INF_SetValue(INF_HEIGHT, info.biHeight);
    INF_SetValue(INF_PALETTE, info.biBitCount != 24);
    INF_SetValue(INF_COLORS, static_cast<LONG>(info.biClrUsed));
    INF_SetValue(INF_COMPRESSED, info.biCompression != 0);
    INF_SetValue(INF_MEMORY, static_cast<LONG>(info.biSizeImage));
    INF_Invalidate();
    INF_Step(1);
    if (info.biCompression == BI_RLE8 || info.biCompression == BI_RLE4) {
        HGLOBAL plain = DIB_Recompress(result, 0, 0);
        GlobalFree(result);
        if (!plain) return s.Fail(MSG_NO_MEMORY);
        result = plain;
    }
    // Top-down rows are turned, bit fields expanded, 16 bits widened.
    result = DIB_Normalize(result);
    if (!result) return 0;
    result = DIB_Fix16(result, 1);
    if (!result) return 0;
    DIB_FixHeader(result);
    INF_Step(5);
    *dib = result;
    return 1;
}
