// GIF: the reader takes the first image of a GIF87a or GIF89a file into a DIB
// of 1, 4 or 8 bits; the writer makes a GIF87a file from such a DIB with its
// own LZW encoder. Extensions, later images and transparency are ignored.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace {

// String ids of the texts this format shows.
enum : UINT {
    ID_WRITE_FAILED = 8197,      // "Cannot write file, check disk space"
    ID_NO_MEMORY = 8204,         // "Not enough memory to perform operation"
    ID_INCOMPLETE = 9477,        // "Incomplete %s file, cannot load"
    ID_OUT_OF_MEMORY = 9481,     // "Out of memory -- Cannot load %s file"
    ID_DAMAGED = 9482,           // "The %s File is Damaged -- Cannot Load"
    ID_UNRECOGNIZED = 9486,      // "Unrecognized %s format, cannot read"
    ID_NO_SAVE_MEMORY = 9488,    // "Not enough memory to save image in %s format"
    ID_UNKNOWN_ERROR = 9489,     // "Cannot read %s file, unknown error"
    ID_HEADER_WRITE = 9491,      // "Cannot write %s header, check disk space"
    ID_PALETTE_WRITE = 9492,     // "Cannot write %s palette, check disk space"
    ID_CANNOT_SAVE_BITS = 21013  // "Cannot save %u-bit GIF files"
};

const int kMaxCodes = 4096;     // codes are at most 12 bits wide
const int kMaxCodeSize = 12;
const int kStackSize = 8192;    // pixels of one decoded string, reversed
const int kBlockSize = 0x118;   // one data sub-block and some slack

// Pixel results besides 0..255.
enum : int { PIXEL_FAILED = -1, PIXEL_END = -2 };

void Report(UINT id) { FMT_FormatError(id, FMT_Row_GIF); }

// ---- LZW decoding ---------------------------------------------------------------

struct Decoder {
    int32_t prefix[kMaxCodes];
    int32_t suffix[kMaxCodes];
    int32_t stack[kStackSize];
    BYTE block[kBlockSize];
    int blockLength;  // bytes in block
    int blockPos;     // next unread byte of block
    uint32_t bits;    // bits fetched but not yet taken, lowest first
    int bitCount;
    int minSize, clear, end, firstFree, nextFree, codeSize, codeLimit;
    int oldCode, firstChar;
    int top;          // pixels still on the stack
    bool fresh;       // the next code starts a new table
    bool ended;       // the end code was met
    bool terminated;  // the zero-length block was met
};

void ResetTable(Decoder& d)
{
    d.nextFree = d.firstFree;
    d.codeSize = d.minSize + 1;
    d.codeLimit = 1 << d.codeSize;
    d.fresh = true;
}

void StartDecoder(Decoder& d, int minSize)
{
    d.minSize = minSize;
    d.clear = 1 << minSize;
    d.end = d.clear + 1;
    d.firstFree = d.clear + 2;
    d.blockLength = d.blockPos = 0;
    d.bits = 0;
    d.bitCount = 0;
    d.oldCode = d.firstChar = 0;
    d.top = 0;
    d.ended = d.terminated = false;
    ResetTable(d);
}

// Takes the next code from the data sub-blocks, or PIXEL_FAILED (reported).
int ReadCode(Decoder& d)
{
    while (d.bitCount < d.codeSize) {
        if (d.blockPos >= d.blockLength) {
            if (d.terminated) {
                Report(ID_UNKNOWN_ERROR);
                return PIXEL_FAILED;
            }
            DWORD overrun = FIL_BufferedOverrun();
            int length = FIL_GetBuffered();
            if (FIL_BufferedOverrun() != overrun) {
                Report(ID_INCOMPLETE);
                return PIXEL_FAILED;
            }
            if (length == 0) {
                // More bits asked for after the block terminator.
                d.terminated = true;
                Report(ID_UNKNOWN_ERROR);
                return PIXEL_FAILED;
            }
            if (FIL_ReadBuffered(d.block, static_cast<UINT>(length)) != static_cast<UINT>(length)) {
                Report(ID_INCOMPLETE);
                return PIXEL_FAILED;
            }
            d.blockLength = length;
            d.blockPos = 0;
        }
        d.bits |= static_cast<uint32_t>(d.block[d.blockPos++]) << d.bitCount;
        d.bitCount += 8;
    }
    int code = static_cast<int>(d.bits & ((1U << d.codeSize) - 1));
    d.bits >>= d.codeSize;
    d.bitCount -= d.codeSize;
    return code;
}

// Skips the sub-blocks that follow the end code, up to the terminator.
void Drain(Decoder& d)
{
    while (!d.terminated) {
        DWORD overrun = FIL_BufferedOverrun();
        int length = FIL_GetBuffered();
        if (FIL_BufferedOverrun() != overrun || length == 0) break;
        if (FIL_ReadBuffered(d.block, static_cast<UINT>(length)) != static_cast<UINT>(length)) break;
    }
    d.terminated = true;
}

// The next pixel of the image: 0..255, PIXEL_END after the end code, or
// PIXEL_FAILED when the data is broken (reported).
int NextPixel(Decoder& d)
{
    if (d.top > 0) return d.stack[--d.top];
    if (d.ended) return PIXEL_END;
    for (;;) {
        int code = ReadCode(d);
        if (code < 0) return PIXEL_FAILED;
        if (code == d.clear) {
            // Leading and repeated clear codes just start the table again.
            ResetTable(d);
            continue;
        }
        if (code == d.end) {
            Drain(d);
            d.ended = true;
            return PIXEL_END;
        }
        if (d.fresh) {
            // The first code of a table is a pixel value itself.
            if (code > d.end) {
                Report(ID_UNKNOWN_ERROR);
                return PIXEL_FAILED;
            }
            d.fresh = false;
            d.oldCode = d.firstChar = code;
            return code;
        }
        const int incoming = code;
        int top = 0;
        if (code >= d.nextFree) {
            // Not in the table yet: the previous string plus its first pixel.
            d.stack[top++] = d.firstChar;
            code = d.oldCode;
        }
        while (code >= d.clear) {
            if (d.prefix[code] == code || top >= kStackSize - 1) {
                Report(ID_UNKNOWN_ERROR);
                return PIXEL_FAILED;
            }
            d.stack[top++] = d.suffix[code];
            code = d.prefix[code];
        }
        d.firstChar = code;
        d.stack[top++] = code;
        if (d.nextFree < kMaxCodes) {
            d.prefix[d.nextFree] = d.oldCode;
            d.suffix[d.nextFree] = d.firstChar;
            d.nextFree++;
            if (d.nextFree >= d.codeLimit && d.codeSize < kMaxCodeSize) {
                d.codeSize++;
                d.codeLimit <<= 1;
            }
        }
        d.oldCode = incoming;
        d.top = top - 1;
        return d.stack[d.top];
    }
}

// Decodes one row of width pixels into a DIB row at 1, 4 or 8 bits. Returns
// 1, PIXEL_END or PIXEL_FAILED.
int DecodeRow(Decoder& d, BYTE* row, LONG width, int depth)
{
    for (LONG x = 0; x < width; x++) {
        int v = NextPixel(d);
        if (v < 0) return v;
        switch (depth) {
        case 8: row[x] = static_cast<BYTE>(v); break;
        case 4:
            if (x & 1)
                row[x >> 1] |= static_cast<BYTE>(v & 0x0F);
            else
                row[x >> 1] = static_cast<BYTE>((v & 0x0F) << 4);
            break;
        default:
            if (v & 1) row[x >> 3] |= static_cast<BYTE>(0x80 >> (x & 7));
            break;
        }
    }
    return 1;
}

// Steps the load panel every 16 rows and at the last one (rows counted from 1).
void StepRows(LONG done, LONG height)
{
    if (done % 16 == 1 || done == height) INF_Step(static_cast<WORD>(done));
}

// Reads the rows of the image, in order or in the four interlace passes.
// Row y from the top is DIB row height - 1 - y. Returns 1 when the image is
// complete or its data ended early, 0 on a failure (reported).
int ReadRows(Decoder& d, BYTE* pixels, LONG width, LONG height, DWORD stride, int depth, bool interlaced)
{
    DWORD overrun = FIL_BufferedOverrun();
    int minSize = FIL_GetBuffered();
    if (FIL_BufferedOverrun() != overrun) {
        Report(ID_INCOMPLETE);
        return 0;
    }
    if (minSize < 1 || minSize > 8) {
        // Pixel values are at most 8 bits, and the table must hold the codes.
        Report(ID_UNKNOWN_ERROR);
        return 0;
    }
    StartDecoder(d, minSize);

    static const struct { LONG start, step; } passes[4] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
    const int passCount = interlaced ? 4 : 1;
    LONG done = 0;
    for (int pass = 0; pass < passCount; pass++) {
        LONG start = interlaced ? passes[pass].start : 0;
        LONG step = interlaced ? passes[pass].step : 1;
        for (LONG y = start; y < height; y += step) {
            BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - y) * stride;
            int result = DecodeRow(d, row, width, depth);
            if (result == PIXEL_END) return 1;  // what is missing stays zero
            if (result == PIXEL_FAILED) return 0;
            UTL_Yield();  // for its message pump only: a GIF load isn't stopped
            StepRows(++done, height);
        }
    }
    return 1;
}

// Skips the data sub-blocks of an extension; 0 when one is short (reported).
int SkipExtension()
{
    BYTE data[256];
    FIL_GetBuffered();  // the label: every kind is skipped alike
    for (;;) {
        int length = FIL_GetBuffered();
        if (length == 0) return 1;
        if (FIL_ReadBuffered(data, static_cast<UINT>(length)) != static_cast<UINT>(length)) {
            Report(ID_DAMAGED);
            return 0;
        }
    }
}

WORD Word(const BYTE* p) { return static_cast<WORD>(p[0] | (p[1] << 8)); }

// Reads the image that follows an image separator. Returns 1 with the new DIB
// in *dib, 0 on a failure (reported, nothing held).
int ReadImage(Decoder& d, int depth, const RGBQUAD* globalColors, HGLOBAL* dib)
{
    BYTE desc[9];
    if (FIL_ReadBuffered(desc, sizeof desc) != sizeof desc) {
        Report(ID_INCOMPLETE);
        return 0;
    }
    // left and top at desc[0..3] are not used
    const LONG width = static_cast<int16_t>(Word(desc + 4));
    const LONG height = static_cast<int16_t>(Word(desc + 6));
    const BYTE flags = desc[8];

    const DWORD stride = DIB_Stride(width > 0 ? width : 0, depth);
    const DWORD colors = 1U << depth;
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, depth, stride, colors);

    // An empty or negative picture can't be made, and one beyond the image
    // limit isn't: both are short of memory. A clean end code leaves missing
    // rows zero, so the file's size bounds nothing.
    BYTE* block = nullptr;
    HGLOBAL mem = width > 0 && height > 0 ? DIB_AllocatePacked(&header, &block) : nullptr;
    if (!mem) {
        Report(ID_OUT_OF_MEMORY);
        return 0;
    }
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + header.biSize);
    BYTE* pixels = block + header.biSize + colors * sizeof(RGBQUAD);

    int ok = 1;
    if (flags & 0x80) {
        // A local table: as many entries as the DIB's table holds are kept,
        // the rest are read past so that the data stays in step.
        const DWORD entries = 1U << ((flags & 7) + 1);
        BYTE rgb[3 * 256];
        if (FIL_ReadBuffered(rgb, 3 * entries) != 3 * entries) {
            Report(ID_INCOMPLETE);
            ok = 0;
        } else {
            for (DWORD i = 0; i < entries && i < colors; i++) {
                table[i].rgbRed = rgb[3 * i];
                table[i].rgbGreen = rgb[3 * i + 1];
                table[i].rgbBlue = rgb[3 * i + 2];
                table[i].rgbReserved = 0;
            }
        }
    } else {
        memcpy(table, globalColors, colors * sizeof(RGBQUAD));
    }

    if (ok) {
        INF_SetProgress(0, static_cast<WORD>(height));
        ok = ReadRows(d, pixels, width, height, stride, depth, (flags & 0x40) != 0);
    }
    GlobalUnlock(mem);
    if (!ok) {
        GlobalFree(mem);
        return 0;
    }
    *dib = mem;
    return 1;
}

// ---- LZW encoding ---------------------------------------------------------------

const int kHashSize = 5003;    // a prime about 20% above 4096
const int kHashShift = 4;      // 5003 needs 4 doublings to reach 65536
const int kPacketSize = 254;   // bytes of a data sub-block

// The code output sits in the hottest loop; it must not become a call that
// keeps the encoder's state in memory.
#if defined(__GNUC__)
#define KV_GIF_INLINE __attribute__((always_inline))
#else
#define KV_GIF_INLINE
#endif

const int kStageSize = 0x8000;  // coded bytes gathered before they go out in packets

struct Encoder {
    int32_t keys[kHashSize];    // (pixel << 12) + prefix, -1 when free
    uint16_t codes[kHashSize];  // the code of the string in the same slot
    BYTE packet[256];           // a length byte and up to 254 bytes
    BYTE staged[kStageSize];    // coded bytes not yet in a packet
};

// Writes the staged bytes out in packets of 254 (all of them when last is
// set, else whole packets only, the rest moved to the front). Returns the
// number of bytes left staged.
int WritePackets(Encoder& e, FILE* stream, int staged, bool last)
{
    int at = 0;
    while (staged - at >= kPacketSize || (last && staged > at)) {
        int n = staged - at < kPacketSize ? staged - at : kPacketSize;
        e.packet[0] = static_cast<BYTE>(n);
        memcpy(e.packet + 1, e.staged + at, static_cast<size_t>(n));
        fwrite(e.packet, 1, static_cast<size_t>(n) + 1, stream);
        at += n;
    }
    memmove(e.staged, e.staged + at, static_cast<size_t>(staged - at));
    return staged - at;
}

int MaxCodeFor(int width) { return width == kMaxCodeSize ? kMaxCodes : (1 << width) - 1; }

void ClearHash(Encoder& e)
{
    for (int i = 0; i < kHashSize; i++) e.keys[i] = -1;
}

// Unpacks one row of a 1 or 4-bit DIB to one byte a pixel.
void FetchRow(const BYTE* row, LONG width, int depth, BYTE* out)
{
    if (depth == 4) {
        for (LONG x = 0; x < width; x++) out[x] = static_cast<BYTE>((x & 1) ? row[x >> 1] & 0x0F : row[x >> 1] >> 4);
    } else {
        for (LONG x = 0; x < width; x++) out[x] = static_cast<BYTE>((row[x >> 3] >> (7 - (x & 7))) & 1);
    }
}

// Compresses the whole image into data sub-blocks on the stream. The state
// lives in locals so that the hot loop keeps it in registers.
void Compress(Encoder& e, FILE* stream, const BYTE* pixels, LONG width, LONG height, DWORD stride, int depth,
              BYTE* line, int initialWidth)
{
    const int clear = 1 << (initialWidth - 1);
    const int end = clear + 1;
    int codeWidth = initialWidth;
    int maxCode = MaxCodeFor(codeWidth);
    int nextFree = clear + 2;
    bool resetWidth = false;
    uint64_t bits = 0;  // pending output bits, lowest first
    int bitCount = 0;
    int staged = 0;     // bytes in e.staged
    BYTE* const out = e.staged;
    int32_t* const keys = e.keys;
    uint16_t* const codes = e.codes;

    // Sends one code, least significant bit first, then widens (or resets)
    // the width for the codes that follow: it grows once the next free code
    // has passed the largest code of the width. Bits leave four bytes at a
    // time; the stage goes out in packets when it nears its end.
    auto output = [&](int code) KV_GIF_INLINE {
        bits |= static_cast<uint64_t>(code) << bitCount;
        bitCount += codeWidth;
        if (bitCount >= 32) {
            out[staged] = static_cast<BYTE>(bits);
            out[staged + 1] = static_cast<BYTE>(bits >> 8);
            out[staged + 2] = static_cast<BYTE>(bits >> 16);
            out[staged + 3] = static_cast<BYTE>(bits >> 24);
            staged += 4;
            bits >>= 32;
            bitCount -= 32;
            if (staged > kStageSize - 8) staged = WritePackets(e, stream, staged, false);
        }
        if (resetWidth) {
            codeWidth = initialWidth;
            maxCode = MaxCodeFor(codeWidth);
            resetWidth = false;
        } else if (nextFree > maxCode) {
            codeWidth++;
            maxCode = MaxCodeFor(codeWidth);
        }
    };

    ClearHash(e);
    output(clear);
    int prefix = -1;
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - y) * stride;
        if (depth != 8) {
            FetchRow(row, width, depth, line);
            row = line;
        }
        LONG x = 0;
        if (prefix < 0) prefix = row[x++];
        for (; x < width; x++) {
            const int c = row[x];
            const int32_t key = (static_cast<int32_t>(c) << kMaxCodeSize) + prefix;
            int slot = (c << kHashShift) ^ prefix;
            int32_t held = keys[slot];
            if (held == key) {
                prefix = codes[slot];
                continue;
            }
            if (held >= 0) {
                // Probe backwards until the key or a free slot turns up.
                const int step = slot == 0 ? 1 : kHashSize - slot;
                do {
                    slot -= step;
                    if (slot < 0) slot += kHashSize;
                    held = keys[slot];
                } while (held != key && held >= 0);
                if (held == key) {
                    prefix = codes[slot];
                    continue;
                }
            }
            output(prefix);
            prefix = c;
            if (nextFree < kMaxCodes) {
                codes[slot] = static_cast<uint16_t>(nextFree++);
                keys[slot] = key;
            } else {
                // The table is full: a clear code at the full width, then
                // the table and the width start again.
                ClearHash(e);
                nextFree = clear + 2;
                resetWidth = true;
                output(clear);
            }
        }
        UTL_Yield();  // keeps the window alive; a save isn't stopped
    }
    output(prefix);
    output(end);
    // The last bits as whole bytes, then the last packets.
    while (bitCount > 0) {
        out[staged++] = static_cast<BYTE>(bits);
        bits >>= 8;
        bitCount -= 8;
    }
    WritePackets(e, stream, staged, true);
}

// Writes bytes and pushes them to the file so that a full disk shows now.
bool WriteNow(FILE* stream, const void* data, size_t n)
{
    return fwrite(data, 1, n, stream) == n && fflush(stream) == 0 && !ferror(stream);
}

void PutWord(BYTE* p, DWORD value)
{
    p[0] = static_cast<BYTE>(value);
    p[1] = static_cast<BYTE>(value >> 8);
}

}  // namespace

int GIF_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    std::unique_ptr<Decoder> decoder(new (std::nothrow) Decoder());
    if (!decoder) {
        MSG_Report(SEV_ERROR, ID_NO_MEMORY);
        return 0;
    }
    HFILE file = FIL_OpenBuffered(path, FIL_BUFFER_READ, 0x8000);
    if (file == 0) file = FIL_OpenBuffered(path, FIL_BUFFER_READ, 0x2000);
    if (file == 0 || file == HFILE_ERROR) return 0;

    int ok = 0;
    BYTE signature[6];
    BYTE screen[7];
    if (FIL_ReadBuffered(signature, sizeof signature) != sizeof signature) {
        Report(ID_DAMAGED);
    } else if (memcmp(signature, "GIF87a", 6) != 0 && memcmp(signature, "GIF89a", 6) != 0) {
        Report(ID_UNRECOGNIZED);
    } else if (FIL_ReadBuffered(screen, sizeof screen) != sizeof screen) {
        Report(ID_DAMAGED);
    } else {
        INF_SetValue(INF_VERSION, signature[4] == '7' ? 87 : 89);
        // Screen width, height, background and aspect are not used.
        const BYTE flags = screen[4];
        INF_SetValue(INF_PALETTE, (flags & 0x80) ? 1 : 0);
        const int fileDepth = (flags & 7) + 1;
        const int depth = fileDepth == 1 ? 1 : fileDepth <= 4 ? 4 : 8;
        INF_SetValue(INF_BITSPERPIXEL, depth);
        INF_SetValue(INF_TYPE, 0);
        INF_SetValue(INF_PLANES, 1);
        INF_SetValue(INF_COMPRESSED, 1);
        INF_SetValue(INF_GRAY, 0);

        RGBQUAD globalColors[256];
        memset(globalColors, 0, sizeof globalColors);
        bool good = true;
        if (flags & 0x80) {
            const UINT entries = 2U << (flags & 7);
            BYTE rgb[3 * 256];
            if (FIL_ReadBuffered(rgb, 3 * entries) != 3 * entries) {
                Report(ID_INCOMPLETE);
                good = false;
            } else {
                for (UINT i = 0; i < entries; i++) {
                    globalColors[i].rgbRed = rgb[3 * i];
                    globalColors[i].rgbGreen = rgb[3 * i + 1];
                    globalColors[i].rgbBlue = rgb[3 * i + 2];
                }
            }
        }
        while (good) {
            BYTE kind = FIL_GetBuffered();
            if (kind == 0x21) {
                good = SkipExtension() != 0;
            } else if (kind == 0x2C) {
                // The first image ends the reading; the rest of the file is not looked at.
                ok = ReadImage(*decoder, depth, globalColors, dib);
                break;
            } else if (kind == 0x3B) {
                ok = 1;  // no image: success without a DIB
                break;
            } else {
                Report(ID_DAMAGED);
                good = false;
            }
        }
    }
    FIL_CloseBuffered();
    return ok;
}

int GIF_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD depthArg)
{
    BITMAPINFOHEADER* header;
    RGBQUAD* colors;
    BYTE* pixels;
    if (!DIB_Lock(dib, &header, &colors, &pixels)) {
        Report(ID_NO_SAVE_MEMORY);
        return 0;
    }
    const int depth = header->biBitCount;
    if (depth != 1 && depth != 4 && depth != 8) {
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, ID_CANNOT_SAVE_BITS, static_cast<UINT>(depthArg));
        return 0;
    }
    const LONG width = header->biWidth;
    const LONG height = header->biHeight;
    const DWORD stride = DIB_Stride(width, depth);
    // The picture must fit the 16-bit fields of the header and the block.
    const SIZE_T need = DIB_PackedSize(width, height, depth, DIB_NumColors(header));
    const SIZE_T have = GlobalSize(dib);
    if (width <= 0 || height <= 0 || width > 0xFFFF || height > 0xFFFF || need == 0 ||
        header->biSize + DIB_PaletteSize(header) + static_cast<uint64_t>(stride) * height > have) {
        GlobalUnlock(dib);
        Report(ID_HEADER_WRITE);
        return 0;
    }

    // The colour table as red, green and blue of 1 << depth entries; the
    // entries the DIB doesn't have are black.
    const int entries = 1 << depth;
    const int known = DIB_NumColors(header) < entries ? DIB_NumColors(header) : entries;
    BYTE table[3 * 256];
    memset(table, 0, sizeof table);
    for (int i = 0; i < known; i++) {
        table[3 * i] = colors[i].rgbRed;
        table[3 * i + 1] = colors[i].rgbGreen;
        table[3 * i + 2] = colors[i].rgbBlue;
    }

    std::unique_ptr<Encoder> encoder(new (std::nothrow) Encoder);
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[static_cast<size_t>(width)]);
    if (!encoder || !line) {
        GlobalUnlock(dib);
        Report(ID_NO_SAVE_MEMORY);
        return 0;
    }

    FILE* stream = FIL_OpenStream(path, "wb");
    if (!stream) {
        GlobalUnlock(dib);
        return 0;
    }
    setvbuf(stream, nullptr, _IOFBF, 0x10000);

    UINT failure = 0;
    BYTE screen[13] = {'G', 'I', 'F', '8', '7', 'a'};
    PutWord(screen + 6, static_cast<DWORD>(width));
    PutWord(screen + 8, static_cast<DWORD>(height));
    screen[10] = static_cast<BYTE>(((depth - 1) << 5) | 0x80 | (depth - 1));
    screen[11] = 0;  // background
    screen[12] = 0;  // aspect
    if (!WriteNow(stream, screen, sizeof screen)) {
        failure = ID_HEADER_WRITE;
    } else if (!WriteNow(stream, table, 3 * static_cast<size_t>(entries))) {
        failure = ID_PALETTE_WRITE;
    } else {
        // Image descriptor at 0,0 with no local table and no interlace.
        BYTE desc[11] = {0x2C, 0, 0, 0, 0};
        PutWord(desc + 5, static_cast<DWORD>(width));
        PutWord(desc + 7, static_cast<DWORD>(height));
        desc[9] = 0;
        const int minSize = depth == 1 ? 2 : depth;
        desc[10] = static_cast<BYTE>(minSize);
        fwrite(desc, 1, sizeof desc, stream);
        Compress(*encoder, stream, pixels, width, height, stride, depth, line.get(), minSize + 1);
        static const BYTE trailer[2] = {0x00, 0x3B};
        if (!WriteNow(stream, trailer, sizeof trailer)) failure = ID_WRITE_FAILED;
    }
    GlobalUnlock(dib);
    if (fclose(stream) != 0 && !failure) failure = ID_WRITE_FAILED;
    if (failure) {
        if (failure == ID_WRITE_FAILED)
            MSG_Report(SEV_ERROR, ID_WRITE_FAILED);
        else
            Report(failure);
        FIL_Remove(path);
        return 0;
    }
    return 1;
}
