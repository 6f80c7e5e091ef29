// ICO: one image of a Windows icon file, picked from its directory and read as
// the DIB it holds, with its mask as alpha when asked; written as an icon of
// one image of 16, 32 or 64 pixels square at 1, 4 or 8 bits.
#include "formats/ico.h"

#include "colour/flat_cut.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace {

enum {
    MSG_PREMATURE_END = 9217,  // "Premature end of file, cannot load"
    MSG_NO_MEMORY = 9480,      // "Not enough memory to load %s image"
    MSG_UNSUPPORTED = 9487,    // "Unsupported %s format"
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE = 8197,
};

const UINT kEntryBytes = 16;
const UINT kHeaderBytes = 40;
const UINT kFileHead = 6 + kEntryBytes;  // three words and the one entry the writer puts out

// The box "Load icon mask to create 32-bit image" as the last OK left it; a
// batch run, which shows no dialog, goes by it.
int loadMask = 1;

inline WORD Word(const BYTE* at) { return static_cast<WORD>(at[0] | at[1] << 8); }
inline DWORD Long(const BYTE* at) { return Word(at) | static_cast<DWORD>(Word(at + 2)) << 16; }
inline void PutWord(BYTE* at, WORD v)
{
    at[0] = static_cast<BYTE>(v);
    at[1] = static_cast<BYTE>(v >> 8);
}
inline void PutLong(BYTE* at, DWORD v)
{
    PutWord(at, static_cast<WORD>(v));
    PutWord(at + 2, static_cast<WORD>(v >> 16));
}

// A zeroed, locked image block of at least `bytes` bytes, taken under the one
// image memory limit: shaped for the allocator as a picture one 32-bit pixel wide.
HGLOBAL AllocateBlock(uint64_t bytes, BYTE** block)
{
    *block = nullptr;
    const uint64_t rows = bytes > kHeaderBytes ? (bytes - kHeaderBytes + 3) / 4 : 1;
    if (rows > 0x7FFFFFFF) return nullptr;
    BITMAPINFOHEADER shape = {};
    shape.biSize = kHeaderBytes;
    shape.biWidth = 1;
    shape.biHeight = static_cast<LONG>(rows);
    shape.biPlanes = 1;
    shape.biBitCount = 32;
    return DIB_AllocatePacked(&shape, block);
}

struct LoadState {
    HFILE file = HFILE_ERROR;
    HGLOBAL image = nullptr;
    ~LoadState()
    {
        if (image) {
            GlobalUnlock(image);
            GlobalFree(image);
        }
        if (file != HFILE_ERROR) _lclose(file);
    }
    int Fail(UINT message)
    {
        if (message == MSG_PREMATURE_END) MSG_Report(SEV_ERROR, message);
        else if (message) FMT_FormatError(message, FMT_Row_ICO);
        return 0;
    }
};

}  // namespace

// ---- the directory and the dialog's lists ---------------------------------------------------

const BYTE ICO_TypeCodes[ICO_TypeCount] = {0x11, 0x21, 0x41, 0x12, 0x22, 0x42, 0x14, 0x24, 0x44};

LPCSTR ICO_TypeText(int code)
{
    static const char* const texts[ICO_TypeCount] = {
        "16 x 16 Monochrome", "16 x 16 16-Color", "16 x 16 256-Color",
        "32 x 32 Monochrome", "32 x 32 16-Color", "32 x 32 256-Color",
        "64 x 64 Monochrome", "64 x 64 16-Color", "64 x 64 256-Color"};
    for (int i = 0; i < ICO_TypeCount; i++)
        if (ICO_TypeCodes[i] == code) return texts[i];
    return "";
}

int ICO_StartType(LONG width, int bits)
{
    const int size = width == 16 ? 1 : width == 32 ? 2 : width == 64 ? 4 : 0;
    const int depth = bits == 1 ? 1 : bits == 4 ? 2 : bits == 8 ? 4 : 0;
    return size && depth ? depth << 4 | size : 0x42;
}

int ICO_EntryLine(const IconEntry* entry, char* text)
{
    const char* kind = entry->colors == 2 ? "Monochrome" : entry->colors == 16 ? "16-Color"
                                                         : entry->colors == 0 ? "256-Color" : nullptr;
    if (!kind) return 0;
    snprintf(text, 32, "%u x %u %s", entry->width, entry->height, kind);
    return 1;
}

int ICO_ListLines(const IconEntry* entries, int count, char (*lines)[32])
{
    int n = 0;
    for (int i = 0; i < count; i++) {
        if (ICO_EntryLine(&entries[i], lines[n])) n++;
        else FMT_FormatError(MSG_UNSUPPORTED, FMT_Row_ICO);
    }
    return n;
}

int ICO_BatchPick(const IconEntry* entries, int count)
{
    if (count <= 0) return -1;
    int pick = -1;
    for (int i = 0; i < count; i++)
        if ((entries[i].colors == 16 || entries[i].colors == 0) && (pick < 0 || entries[i].width > entries[pick].width))
            pick = i;
    return pick < 0 ? 0 : pick;
}

// ---- reading ----------------------------------------------------------------------------------

int ICO_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    LoadState s;
    s.file = FIL_Open(path, OF_READ);
    if (s.file == HFILE_ERROR) return 0;
    FIL_SetReadError(0);
    FIL_ReadWord(s.file);
    FIL_ReadWord(s.file);
    const WORD count = FIL_ReadWord(s.file);
    if (FIL_GetReadError()) return s.Fail(MSG_PREMATURE_END);

    std::unique_ptr<BYTE[]> raw(new (std::nothrow) BYTE[count * kEntryBytes + 1u]);
    std::unique_ptr<IconEntry[]> entries(new (std::nothrow) IconEntry[count + 1u]);
    if (!raw || !entries) return s.Fail(MSG_NO_MEMORY);
    if (!FIL_ReadBlock(s.file, raw.get(), count * kEntryBytes)) return s.Fail(MSG_PREMATURE_END);
    for (UINT i = 0; i < count; i++) {
        const BYTE* at = raw.get() + i * kEntryBytes;
        entries[i] = {at[0], at[1], at[2], at[3], Word(at + 4), Word(at + 6), Long(at + 8), Long(at + 12)};
    }

    // A batch run shows nothing and takes its pick; the user's list positions
    // are taken as directory positions.
    int mask = loadMask;
    const int pick = BAT_IsActive() ? ICO_BatchPick(entries.get(), count)
                                    : UTL_ChooseIconEntry(entries.get(), count, &mask);
    if (pick < 0 || pick >= count) return 0;
    loadMask = mask;

    const IconEntry& e = entries[pick];
    BYTE* block;
    s.image = AllocateBlock(e.size, &block);
    if (!s.image) return s.Fail(MSG_NO_MEMORY);
    // An offset past what a seek reaches is a file that ends before it.
    const LONG offset = static_cast<LONG>(e.offset);
    if (e.offset > 0x7FFFFFFF || _llseek(s.file, offset, FILE_BEGIN) != offset ||
        _hread(s.file, block, static_cast<long>(e.size)) != static_cast<long>(e.size))
        return s.Fail(MSG_PREMATURE_END);
    _lclose(s.file);
    s.file = HFILE_ERROR;

    BITMAPINFOHEADER h;
    memcpy(&h, block, sizeof h);
    const int bits = h.biBitCount;
    if (h.biSize != kHeaderBytes || h.biCompression != BI_RGB || h.biWidth <= 0 ||
        (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32))
        return s.Fail(MSG_UNSUPPORTED);
    // The directory's height rules; the pixels and the mask behind them are
    // read where the entry's data has them, and what it lacks reads as 0.
    const LONG height = e.height;
    const uint64_t stride = ((static_cast<uint64_t>(h.biWidth) * bits + 31) >> 5) << 2;
    const uint64_t maskStride = ((static_cast<uint64_t>(h.biWidth) + 31) >> 5) << 2;
    const uint64_t maskStart = kHeaderBytes + DIB_PaletteSize(&h) + stride * height;
    const uint64_t maskEnd = maskStart + maskStride * height;
    if (maskEnd > e.size) {
        BYTE* wider;
        HGLOBAL bigger = AllocateBlock(maskEnd, &wider);
        if (!bigger) return s.Fail(MSG_NO_MEMORY);
        memcpy(wider, block, e.size);
        GlobalUnlock(s.image);
        GlobalFree(s.image);
        s.image = bigger;
        block = wider;
    }
    h.biHeight = height;
    h.biSizeImage = static_cast<DWORD>(stride * height);
    memcpy(block, &h, sizeof h);

    BITMAPINFOHEADER facts;
    DIB_InitHeader(&facts, h.biWidth, height, bits, static_cast<DWORD>(stride), DIB_NumColors(&h));
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 0);
    INF_SetValue(INF_BITSPERPIXEL, bits);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 0);
    INF_SetCreator(CREATOR_WINDOWS);

    if (loadMask) {
        // Alpha from the mask: a set bit is transparent. Without a whole mask
        // in the entry every pixel is.
        HGLOBAL wide = DIB_ConvertBits(s.image, 32);
        if (wide) {
            const bool whole = maskEnd <= e.size;
            BYTE* pixels = static_cast<BYTE*>(GlobalLock(wide)) + kHeaderBytes;
            for (LONG y = 0; y < height; y++) {
                const BYTE* m = block + maskStart + y * maskStride;
                for (LONG x = 0; x < h.biWidth; x++) {
                    const bool clear = whole && !((m[x >> 3] >> (7 - (x & 7))) & 1);
                    pixels[(static_cast<uint64_t>(y) * h.biWidth + x) * 4 + 3] = clear ? 0xFF : 0;
                }
            }
            GlobalUnlock(wide);
            INF_SetValue(INF_BITSPERPIXEL, 32);
            GlobalUnlock(s.image);
            GlobalFree(s.image);
            s.image = wide;
            *dib = s.image;
            s.image = nullptr;
            return 1;
        }
    }
    GlobalUnlock(s.image);
    *dib = s.image;
    s.image = nullptr;
    return 1;
}

// ---- writing ------------------------------------------------------------------------------------

namespace {

// The picture of the icon: 24-bit colour (a 32-bit image keeps its colour
// bytes, black where the alpha's top bit is clear when alpha is on), scaled
// by the nearest pixel to fit side keeping its aspect, centred on black in a
// square of side. Null when memory is short.
HGLOBAL IconPicture(HGLOBAL dib, LONG side, int alpha)
{
    HGLOBAL colour = DIB_ConvertBits(dib, 24);
    if (!colour) return nullptr;
    BITMAPINFOHEADER *ch, *gh;
    RGBQUAD *ct, *gt;
    BYTE *from, *given;
    DIB_Lock(colour, &ch, &ct, &from);
    const LONG w = ch->biWidth, hgt = ch->biHeight;
    const uint64_t stride = DIB_Stride(w, 24);
    if (alpha && DIB_Lock(dib, &gh, &gt, &given)) {
        const uint64_t n = gh->biBitCount == 32 && w > 0 && hgt > 0 ? static_cast<uint64_t>(w) * hgt : 0;
        for (uint64_t i = 0; i < n; i++)
            if (!(given[4 * i + 3] & 0x80)) memset(from + i / w * stride + i % w * 3, 0, 3);
        GlobalUnlock(dib);
    }

    HGLOBAL canvas = nullptr;
    BYTE* block;
    if (w > 0 && hgt > 0) {
        BITMAPINFOHEADER square = {};
        square.biSize = kHeaderBytes;
        square.biWidth = side;
        square.biHeight = side;
        square.biPlanes = 1;
        square.biBitCount = 24;
        square.biSizeImage = DIB_Stride(side, 24) * side;
        canvas = DIB_AllocatePacked(&square, &block);
    }
    if (canvas) {
        LONG nw = side, nh = side;
        if (hgt < w) nh = static_cast<LONG>(static_cast<int64_t>(hgt) * side / w);
        else nw = static_cast<LONG>(static_cast<int64_t>(w) * side / hgt);
        if (nw == 0) nw = 1;
        if (nh == 0) nh = 1;
        // Rows run bottom-up: the bottom margin takes what the top one leaves.
        const LONG left = (side - nw) / 2, bottom = side - nh - (side - nh) / 2;
        BYTE* to = block + kHeaderBytes;
        for (LONG y = 0; y < nh; y++) {
            const BYTE* row = from + static_cast<int64_t>(y) * hgt / nh * stride;
            BYTE* out = to + (bottom + y) * DIB_Stride(side, 24) + left * 3;
            for (LONG x = 0; x < nw; x++) memcpy(out + 3 * x, row + static_cast<int64_t>(x) * w / nw * 3, 3);
        }
        GlobalUnlock(canvas);
    }
    GlobalUnlock(colour);
    GlobalFree(colour);
    return canvas;
}

// Writes the icon file of one image: the directory, the image's header with
// its height doubled, its table and pixels, then the mask, which is clear, or
// with alpha the complement of the top alpha bit of the pixels of `given`
// walked side to a row (pixels past its end are opaque).
int WriteIcon(LPCSTR path, HGLOBAL icon, HGLOBAL given, LONG side, int alpha)
{
    BITMAPINFOHEADER *h, *gh;
    RGBQUAD *table, *gt;
    BYTE *pixels, *gp;
    if (!DIB_Lock(icon, &h, &table, &pixels)) return 0;
    const int bits = h->biBitCount;
    const DWORD tableBytes = DIB_PaletteSize(h), pixelBytes = DIB_Stride(side, bits) * side;
    const DWORD maskStride = DIB_Stride(side, 1);
    const BYTE sideByte = static_cast<BYTE>(side);
    BYTE head[kFileHead] = {0, 0, 1, 0, 1, 0, sideByte, sideByte, static_cast<BYTE>(1u << bits)};
    PutLong(head + 14, kHeaderBytes + tableBytes + pixelBytes + maskStride * side);
    PutLong(head + 18, kFileHead);
    BITMAPINFOHEADER doubled = *h;
    doubled.biHeight *= 2;
    BYTE mask[8 * 64] = {};
    if (alpha && DIB_Lock(given, &gh, &gt, &gp)) {
        const bool walk = gh->biBitCount == 32 && gh->biWidth > 0 && gh->biHeight > 0;
        const uint64_t n = walk ? static_cast<uint64_t>(gh->biWidth) * gh->biHeight : 0;
        for (LONG i = 0; i < side * side; i++)
            if (static_cast<uint64_t>(i) < n && !(gp[4 * i + 3] & 0x80))
                mask[i / side * maskStride + i % side / 8] |= static_cast<BYTE>(0x80 >> (i % side % 8));
        GlobalUnlock(given);
    }

    HFILE file = FIL_Create(path);
    if (file == HFILE_ERROR) {
        GlobalUnlock(icon);
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    // Each write up to the pixels is checked, the first failure skips the rest.
    const int ok = _lwrite(file, reinterpret_cast<LPCCH>(head), kFileHead) == kFileHead &&
                   _lwrite(file, reinterpret_cast<LPCCH>(&doubled), kHeaderBytes) == kHeaderBytes &&
                   (!tableBytes || _lwrite(file, reinterpret_cast<LPCCH>(table), tableBytes) == tableBytes) &&
                   _lwrite(file, reinterpret_cast<LPCCH>(pixels), pixelBytes) == pixelBytes;
    if (ok) _lwrite(file, reinterpret_cast<LPCCH>(mask), maskStride * side);
    _lclose(file);
    GlobalUnlock(icon);
    if (!ok) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE);
        FIL_Remove(path);
    }
    return ok;
}

}  // namespace

int ICO_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    BITMAPINFOHEADER info;
    DIB_GetInfo(dib, &info);
    int alpha = info.biBitCount == 32;
    const int code = UTL_ChooseIconType(ICO_StartType(info.biWidth, info.biBitCount), &alpha);
    if (!*ICO_TypeText(code)) return 0;
    const LONG side = 16 * (code & 0x0F);
    const int bits = code >> 4 == 1 ? 1 : code >> 4 == 2 ? 4 : 8;
    HGLOBAL picture = IconPicture(dib, side, alpha);
    if (!picture) return 0;
    HGLOBAL icon = nullptr;
    const int reduced = CLR_FlatReduce(picture, &icon, bits, 0);
    GlobalFree(picture);
    if (!reduced) return 0;
    const int result = WriteIcon(path, icon, dib, side, alpha);
    GlobalFree(icon);
    return result;
}
