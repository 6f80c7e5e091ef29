// BMP, DIB and RLE: one reader and one writer for the three rows. The file is
// an optional 14-byte file header, a 40-byte (or 12-byte core) header, the
// colour table and the pixels; the block the reader makes is the same packed
// DIB, so the work is in fixing the header. Run-length data is expanded, and
// on saving built, by DIB_Recompress.
#include "formats/bmp.h"

#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

const UINT kNotLegitimate = 4100;   // "Error, not a Legitimate DIB File!"
const UINT kTopDown = 8251;         // "Illegal or Unsupported BMP/DIB file format"
const UINT kUnsupported = 8252;     // "Unsupported BMP/DIB file format"
const UINT kNoMemory = 8202;        // "Not enough memory to load file"
const UINT kCannotWrite = 8197;     // "Cannot write file, check disk space"

const WORD kFileType = 0x4D42;  // "BM"
const DWORD kInfoSize = sizeof(BITMAPINFOHEADER);
const DWORD kCoreSize = sizeof(BITMAPCOREHEADER);

inline WORD Read16(const BYTE* p) { return static_cast<WORD>(p[0] | (p[1] << 8)); }
inline DWORD Read32(const BYTE* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<DWORD>(p[3]) << 24); }
inline void Put16(BYTE* p, WORD v)
{
    p[0] = static_cast<BYTE>(v);
    p[1] = static_cast<BYTE>(v >> 8);
}
inline void Put32(BYTE* p, DWORD v)
{
    Put16(p, static_cast<WORD>(v));
    Put16(p + 2, static_cast<WORD>(v >> 16));
}

// The file under the header reader: a C stream for the loader, a file handle
// for DIB_ReadFile.
struct BmpFile {
    FILE* stream = nullptr;
    HFILE file = HFILE_ERROR;

    size_t Read(void* to, size_t n)
    {
        if (stream) return fread(to, 1, n, stream);
        long got = _hread(file, to, static_cast<long>(n));
        return got < 0 ? 0 : static_cast<size_t>(got);
    }
    bool Seek(long at)
    {
        if (stream) return fseek(stream, at, SEEK_SET) == 0;
        return _llseek(file, at, FILE_BEGIN) == at;
    }
    long Tell()
    {
        if (stream) return ftell(stream);
        return _llseek(file, 0, FILE_CURRENT);
    }
    long Size()
    {
        long here = Tell();
        long end;
        if (stream) {
            fseek(stream, 0, SEEK_END);
            end = ftell(stream);
        } else {
            end = _llseek(file, 0, FILE_END);
        }
        Seek(here);
        return end < 0 ? 0 : end;
    }
    void Close()
    {
        if (stream) fclose(stream);
        if (file != HFILE_ERROR) _lclose(file);
        stream = nullptr;
        file = HFILE_ERROR;
    }
};

// What the header reader found.
struct BmpHeader {
    HGLOBAL block = nullptr;  // header and colour table, unlocked
    BITMAPINFOHEADER h = {};  // the header as completed
    bool core = false;        // the file had the 12-byte form
    uint64_t imageBytes = 0;  // pixel bytes by the header: the plain size unless compressed with a size
    uint64_t remaining = 0;   // bytes of the file from the pixels on
};

uint64_t RowBytes(uint64_t width, int bits) { return ((width * static_cast<uint64_t>(bits) + 31) >> 5) << 2; }

// a times b, or the largest value when that would overflow.
uint64_t Times(uint64_t a, uint64_t b) { return b && a > UINT64_MAX / b ? UINT64_MAX : a * b; }

// Reads file header, image header and colour table, leaving the file at the
// pixels. False when the file is too short for a header, the header has an
// unknown size or impossible dimensions, or the table can't be allocated.
bool ReadHeader(BmpFile& f, BmpHeader* out)
{
    long start = f.Tell();
    long fileSize = f.Size();
    BYTE fileHeader[14];
    if (start < 0 || f.Read(fileHeader, sizeof fileHeader) != sizeof fileHeader) return false;
    DWORD offBits = Read32(fileHeader + 10);
    if (Read16(fileHeader) != kFileType) {
        // A bare DIB: the header starts where the file does.
        offBits = 0;
        if (!f.Seek(start)) return false;
    }
    long headerAt = f.Tell();
    BYTE raw[kInfoSize];
    if (f.Read(raw, sizeof raw) != sizeof raw) return false;
    BITMAPINFOHEADER h = {};
    DWORD size = Read32(raw);
    if (size == kCoreSize) {
        // The core form: 16-bit sizes, no compression, three-byte table entries.
        h.biSize = kInfoSize;
        h.biWidth = Read16(raw + 4);
        h.biHeight = Read16(raw + 6);
        h.biPlanes = Read16(raw + 8);
        h.biBitCount = Read16(raw + 10);
        h.biClrUsed = h.biClrImportant = DIB_ColorsForBits(h.biBitCount);
        if (!f.Seek(headerAt + static_cast<long>(kCoreSize))) return false;
    } else if (size == kInfoSize) {
        memcpy(&h, raw, sizeof h);
    } else {
        return false;
    }
    if (h.biWidth <= 0 || h.biHeight == 0 || h.biHeight == INT32_MIN) return false;
    // The stored size of a plain image is never believed.
    uint64_t rows = h.biHeight < 0 ? 0 - static_cast<int64_t>(h.biHeight) : h.biHeight;
    uint64_t plain = Times(RowBytes(static_cast<uint64_t>(h.biWidth), h.biBitCount), rows);
    out->imageBytes = h.biSizeImage == 0 || h.biCompression == BI_RGB ? plain : h.biSizeImage;
    h.biSizeImage = out->imageBytes > 0xFFFFFFFFULL ? 0xFFFFFFFFU : static_cast<DWORD>(out->imageBytes);
    if (h.biClrUsed == 0) h.biClrUsed = DIB_NumColors(&h);
    // No table holds more than 256 entries; a count beyond is a lying header.
    if (h.biClrUsed > 256) return false;
    DWORD colors = h.biClrUsed;
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, kInfoSize + 4 * colors);
    BYTE* p = block ? static_cast<BYTE*>(GlobalLock(block)) : nullptr;
    if (!p) {
        if (block) GlobalFree(block);
        return false;
    }
    memcpy(p, &h, sizeof h);
    // The table as the header counts it; when that is more than the file holds
    // it runs into the pixels, and the bits offset puts the position right.
    BYTE* table = p + kInfoSize;
    if (size == kCoreSize) {
        f.Read(table, 3 * static_cast<size_t>(colors));
        for (DWORD i = colors; i-- > 0;) {
            BYTE blue = table[3 * i], green = table[3 * i + 1], red = table[3 * i + 2];
            table[4 * i] = blue;
            table[4 * i + 1] = green;
            table[4 * i + 2] = red;
            table[4 * i + 3] = 0;
        }
    } else {
        f.Read(table, 4 * static_cast<size_t>(colors));
    }
    GlobalUnlock(block);
    if (offBits) {
        int64_t at = static_cast<int64_t>(start) + offBits;
        f.Seek(at > fileSize ? fileSize : static_cast<long>(at));
    }
    long pixelsAt = f.Tell();
    out->block = block;
    out->h = h;
    out->core = size == kCoreSize;
    out->remaining = pixelsAt >= 0 && pixelsAt < fileSize ? static_cast<uint64_t>(fileSize - pixelsAt) : 0;
    return true;
}

// Decides, before the pixel block is allocated, whether the image is one this
// program takes. Returns 0 and the bytes to read, or the message id of the
// refusal.
// - A plain image with the 40-byte header must be all there (a short one is
//   not legitimate), so its pixel bytes may not exceed what the file holds.
// - A plain core-header file or run-length data that is cut short loads with
//   the rest zero; run-length data is read as far as the file has it.
// Beyond that only memory bounds a file: a plain image comes from the image
// allocator, and the image that run-length data decodes to must fit its limit.
UINT CheckImage(const BmpHeader& bh, uint64_t* readBytes)
{
    const BITMAPINFOHEADER& h = bh.h;
    int bits = h.biBitCount;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return kUnsupported;
    if (h.biCompression > BI_BITFIELDS) return kUnsupported;
    if ((h.biCompression == BI_RLE8 && bits != 8) || (h.biCompression == BI_RLE4 && bits != 4)) return kNotLegitimate;
    if (h.biCompression == BI_RGB) {
        if (!bh.core && bh.imageBytes > bh.remaining) return kNotLegitimate;
        *readBytes = bh.imageBytes;
        return 0;
    }
    *readBytes = bh.imageBytes < bh.remaining ? bh.imageBytes : bh.remaining;
    uint64_t limit = DIB_GetMemoryLimit();
    SIZE_T decoded = DIB_PackedSize(h.biWidth, h.biHeight, bits, h.biClrUsed);
    if (!decoded || decoded > limit || kInfoSize + 4ULL * h.biClrUsed + *readBytes > limit) return kNoMemory;
    return 0;
}

// The block the pixels are read into, with header and table: a plain image is
// the packed DIB itself and comes from the image allocator; run-length data
// grows the header block to what is read. The header block is taken over.
// Null when memory is short or the image is beyond the limit.
HGLOBAL PixelBlock(HGLOBAL headerBlock, const BITMAPINFOHEADER& h, uint64_t readBytes)
{
    SIZE_T table = 4 * static_cast<SIZE_T>(h.biClrUsed);
    if (h.biCompression != BI_RGB) {
        HGLOBAL grown = GlobalReAlloc(headerBlock, kInfoSize + table + static_cast<SIZE_T>(readBytes),
                                      GMEM_MOVEABLE | GMEM_ZEROINIT);
        if (!grown) GlobalFree(headerBlock);
        return grown;
    }
    BYTE* to;
    HGLOBAL block = DIB_AllocatePacked(&h, &to);
    if (block) {
        const BYTE* from = static_cast<const BYTE*>(GlobalLock(headerBlock));
        if (from) memcpy(to + kInfoSize, from + kInfoSize, table);
        GlobalUnlock(headerBlock);
        GlobalUnlock(block);
    }
    GlobalFree(headerBlock);
    return block;
}

void Report(UINT id) { MSG_Report(SEV_ERROR, id); }

}  // namespace

int BMP_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    BmpFile f;
    f.stream = FIL_OpenStream(path, "rb");
    if (!f.stream) return 0;
    INF_SetProgress(0, 5);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 3);
    INF_SetCreator(CREATOR_IBMPC);

    BmpHeader bh;
    if (!ReadHeader(f, &bh)) {
        f.Close();
        Report(kNotLegitimate);
        return 0;
    }
    HGLOBAL block = bh.block;
    const BITMAPINFOHEADER& h = bh.h;
    // Top-down and bit-field images are refused at every depth.
    UINT refusal = h.biHeight < 0 ? kTopDown : h.biCompression == BI_BITFIELDS ? kUnsupported : 0;

    INF_SetValue(INF_BITSPERPIXEL, h.biBitCount);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_WIDTH, h.biWidth);
    INF_SetValue(INF_HEIGHT, h.biHeight);
    INF_SetValue(INF_PALETTE, h.biBitCount != 24);
    INF_SetValue(INF_COLORS, static_cast<LONG>(h.biClrUsed));
    INF_SetValue(INF_COMPRESSED, h.biCompression != BI_RGB);
    INF_SetValue(INF_MEMORY, static_cast<LONG>(h.biSizeImage));
    INF_Invalidate();
    INF_Step(1);

    uint64_t readBytes = 0;
    if (!refusal) refusal = CheckImage(bh, &readBytes);
    if (refusal) {
        GlobalFree(block);
        f.Close();
        Report(refusal);
        return 0;
    }

    SIZE_T pixelsAt = kInfoSize + 4 * h.biClrUsed;
    block = PixelBlock(block, h, readBytes);
    INF_Step(2);

    size_t got = 0;
    if (block) {
        BYTE* p = static_cast<BYTE*>(GlobalLock(block));
        got = p ? fread(p + pixelsAt, 1, static_cast<size_t>(readBytes), f.stream) : 0;
        GlobalUnlock(block);
    }
    INF_Step(3);

    if (block && h.biBitCount == 16) block = DIB_Fix16(block, 1);

    // A plain image with the 40-byte header must be whole; a short core or
    // run-length file keeps what was there and the rest stays zero.
    if (block && got < readBytes && !bh.core && h.biCompression == BI_RGB) {
        GlobalFree(block);
        f.Close();
        Report(kNotLegitimate);
        return 0;
    }
    f.Close();
    if (!block) {
        Report(kNoMemory);
        return 0;
    }
    INF_Step(4);

    if (h.biCompression != BI_RGB) {
        HGLOBAL plain = DIB_Recompress(block, 0, 0);
        GlobalFree(block);
        if (!plain) return 0;
        block = plain;
    }
    block = DIB_Normalize(block);
    if (!block) return 0;
    INF_Step(5);
    DIB_FixHeader(block);
    *dib = block;
    return 1;
}

HGLOBAL DIB_ReadFile(LPCSTR path)
{
    BmpFile f;
    f.file = FIL_Open(path, OF_READ);
    if (f.file == HFILE_ERROR) return nullptr;
    BmpHeader bh;
    if (!ReadHeader(f, &bh)) {
        f.Close();
        return nullptr;
    }
    HGLOBAL block = bh.block;
    uint64_t readBytes = 0;
    if (bh.h.biHeight < 0 || bh.h.biCompression == BI_BITFIELDS || CheckImage(bh, &readBytes) != 0) {
        GlobalFree(block);
        f.Close();
        return nullptr;
    }
    SIZE_T pixelsAt = kInfoSize + 4 * bh.h.biClrUsed;
    HGLOBAL grown = PixelBlock(block, bh.h, readBytes);
    if (!grown) {
        f.Close();
        return nullptr;
    }
    BYTE* p = static_cast<BYTE*>(GlobalLock(grown));
    if (p) f.Read(p + pixelsAt, static_cast<size_t>(readBytes));
    GlobalUnlock(grown);
    f.Close();
    return grown;
}

int BMP_Save(LPCSTR path, HGLOBAL dib, WORD, WORD compressed, WORD depth)
{
    if (depth > 15) compressed = 0;
    HGLOBAL packed = nullptr;
    if (compressed) {
        // The run-length form follows the active window's depth: RLE4 for a
        // 4-bit image, RLE8 for everything else (a 1-bit image too).
        packed = DIB_Recompress(dib, 0, UTL_ActiveImageBits() == 4 ? BI_RLE4 : BI_RLE8);
        if (!packed) return 0;
    }
    HGLOBAL source = packed ? packed : dib;
    bool ok = false;
    HFILE file = FIL_Create(path);
    if (file != HFILE_ERROR) {
        SIZE_T size = GlobalSize(source);
        const BYTE* p = static_cast<const BYTE*>(GlobalLock(source));
        if (p && size >= kInfoSize) {
            const BITMAPINFOHEADER* h = reinterpret_cast<const BITMAPINFOHEADER*>(p);
            BYTE header[14];
            Put16(header, kFileType);
            Put32(header + 2, static_cast<DWORD>(size + 14));
            Put16(header + 6, 0);
            Put16(header + 8, 0);
            Put32(header + 10, h->biSize + DIB_PaletteSize(h) + 14);
            ok = _lwrite(file, reinterpret_cast<LPCCH>(header), sizeof header) == sizeof header &&
                 _hwrite(file, reinterpret_cast<LPCCH>(p), static_cast<long>(size)) == static_cast<long>(size);
        }
        if (p) GlobalUnlock(source);
        _lclose(file);
        if (!ok) FIL_Remove(path);
    }
    if (packed) GlobalFree(packed);
    if (!ok) Report(kCannotWrite);
    return ok ? 1 : 0;
}
