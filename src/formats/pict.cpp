// PICT: a Macintosh picture read for the one bitmap or pixel map it holds.
// The opcodes are walked, vector drawing skipped, up to the first map; the
// image is always a 24-bit DIB. Values are big-endian. A failure anywhere
// sets the reader's sticky message, and every loop ends on it.
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
    MSG_NO_MEMORY = 7936,      // "Not enough memory to load PICT file"
    MSG_CANNOT_OPEN = 7937,    // "Error opening input file, cannot load"
    MSG_NO_VERSION = 7938,     // "Cannot find PICT version number. ..."
    MSG_BAD_PICT2 = 7939,      // "Illegal or unsupported PICT2 file"
    MSG_BAD_VERSION = 7940,    // "Not a supported PICT file version"
    MSG_NO_BITMAP = 7942,      // "Did not find bitmap in PICT"
    MSG_PATTERN = 7943,        // "Unsupported PICT Pattern"
    MSG_ROW_BYTES = 7944,      // "Illegal or unsupported RowBytes value in PICT file"
    MSG_DEPTH = 7945,          // "Unsupported color depth, cannot load"
    MSG_COMPRESSION = 7946,    // "Unsupported Compression type, cannot load"
    MSG_ROW = 7947,            // "Error decompressing row, cannot load"
    MSG_END_OF_FILE = 7948,    // "Unexpected end-of-file, cannot load PICT file"
};

const UINT kBufferSize = 0x1000;
const DWORD kHeaderSize = 512;
const DWORD kSearchSpan = 0x400;

// The file through a private buffer, with a sticky failure.
struct Reader {
    HFILE file = HFILE_ERROR;
    std::unique_ptr<BYTE[]> buffer;
    DWORD size = 0;        // of the file
    DWORD bufferAt = 0;    // file position of buffer[0]
    DWORD held = 0;        // bytes in the buffer
    DWORD at = 0;          // file position of the next byte
    DWORD start = 0;       // the picture's first byte; even places count from here
    UINT failure = 0;

    void Fail(UINT message)
    {
        if (!failure) failure = message;
    }
    BYTE Byte()
    {
        if (failure) return 0;
        if (at < bufferAt || at >= bufferAt + held) {
            if (at >= size || _llseek(file, static_cast<LONG>(at), FILE_BEGIN) == HFILE_ERROR) {
                Fail(MSG_END_OF_FILE);
                return 0;
            }
            UINT got = _lread(file, buffer.get(), kBufferSize);
            if (got == static_cast<UINT>(HFILE_ERROR) || got == 0) {
                Fail(MSG_END_OF_FILE);
                return 0;
            }
            bufferAt = at;
            held = got;
        }
        return buffer[at++ - bufferAt];
    }
    WORD Word()
    {
        WORD high = Byte();
        return static_cast<WORD>(high << 8 | Byte());
    }
    DWORD Long()
    {
        DWORD high = Word();
        return high << 16 | Word();
    }
    void Skip(uint64_t n)
    {
        if (failure) return;
        if (at + n > size) {
            at = size;
            Fail(MSG_END_OF_FILE);
            return;
        }
        at += static_cast<DWORD>(n);
    }
    void AlignEven()
    {
        if ((at - start) & 1) Skip(1);
    }
};

// PackBits, with its state kept from one row to the next.
struct Unpacker {
    Reader* in;
    bool packed = false;
    DWORD literal = 0, repeat = 0;
    BYTE value = 0;
    DWORD consumed = 0;  // file bytes taken since the row began

    BYTE Next()
    {
        if (!packed) {
            consumed++;
            return in->Byte();
        }
        while (!literal && !repeat) {
            const BYTE code = in->Byte();
            consumed++;
            if (in->failure) return 0;
            if (code < 0x80) {
                literal = code + 1u;
            } else {
                repeat = 0x100u - code + 1;
                value = in->Byte();
                consumed++;
            }
        }
        if (literal) {
            literal--;
            consumed++;
            return in->Byte();
        }
        repeat--;
        return value;
    }
};

// Bits of a row, high bit first.
struct BitSource {
    Unpacker* bytes;
    BYTE current = 0;
    int left = 0;
    DWORD Take(int n)
    {
        DWORD v = 0;
        for (int i = 0; i < n; i++) {
            if (!left) {
                current = bytes->Next();
                left = 8;
            }
            left--;
            v = v << 1 | ((current >> left) & 1);
        }
        return v;
    }
};

// Skips a region: its length word counts itself.
void SkipRegion(Reader& in)
{
    const WORD length = in.Word();
    in.Skip(length >= 2 ? length - 2u : 0);
}

// Skips the data of an opcode below 0xA2 that is not a map; a pattern of an
// unknown kind fails the reader.
void SkipOpcode(Reader& in, DWORD op)
{
    auto inRange = [op](DWORD lo, DWORD hi) { return op >= lo && op <= hi; };
    if (op == 0 || inRange(0x17, 0x19) || op == 0x1C || op == 0x1E || inRange(0x38, 0x3F) || inRange(0x48, 0x4F) ||
        inRange(0x58, 0x5F) || inRange(0x78, 0x7F) || inRange(0x88, 0x8F))
        return;
    if (op == 1 || inRange(0x70, 0x77) || inRange(0x80, 0x87)) return SkipRegion(in);
    if (op == 2 || op == 9 || op == 0x0A || op == 0x10 || op == 0x20 || inRange(0x30, 0x37) || inRange(0x40, 0x47) ||
        inRange(0x50, 0x57))
        return in.Skip(8);
    if (op == 3 || op == 5 || op == 8 || op == 0x0D || op == 0x15 || op == 0x16 || op == 0x23 || op == 0xA0)
        return in.Skip(2);
    if (op == 4 || op == 0x11) return in.Skip(1);
    if (op == 6 || op == 7 || op == 0x0B || op == 0x0C || op == 0x0E || op == 0x0F || op == 0x21 || inRange(0x68, 0x6F))
        return in.Skip(4);
    if (inRange(0x12, 0x14)) {
        // A colour pattern: only the dithered kind (2) is known.
        if (in.Word() != 2) return in.Fail(MSG_PATTERN);
        return in.Skip(8 + 5);
    }
    if (op == 0x1A || op == 0x1B || op == 0x1D || op == 0x1F || op == 0x22) return in.Skip(6);
    if (op == 0x28 || op == 0x29 || op == 0x2A || op == 0x2B) {
        in.Skip(op == 0x28 ? 4 : op == 0x2B ? 2 : 1);
        return in.Skip(in.Byte());
    }
    if (inRange(0x60, 0x67)) return in.Skip(12);
    if (op == 0xA1) {
        in.Skip(2);
        return in.Skip(in.Word());
    }
    // 0x24-0x27, 0x2C-0x2F, 0x92-0x97, 0x9C-0x9F and the rest carry their length.
    in.Skip(in.Word());
}

// Skips an opcode from 0xA2 on.
void SkipHighOpcode(Reader& in, DWORD op)
{
    if (op <= 0xAF) return in.Skip(in.Word());
    if (op <= 0xCF) return;
    if (op <= 0xFE) return in.Skip(in.Long());
    if (op == 0xC00) return in.Skip(24);
    if (op <= 0x7FFF) return in.Skip((op >> 7) & 0xFF);
    if (op <= 0x80FF) return;
    in.Skip(in.Long());
}

struct Rect {
    int top, left, bottom, right;
};
Rect ReadRect(Reader& in)
{
    Rect r;
    r.top = static_cast<short>(in.Word());
    r.left = static_cast<short>(in.Word());
    r.bottom = static_cast<short>(in.Word());
    r.right = static_cast<short>(in.Word());
    return r;
}

// The picture's DIB, freed unless handed over.
struct Image {
    HGLOBAL handle = nullptr;
    BYTE* pixels = nullptr;
    DWORD stride = 0;
    ~Image()
    {
        if (handle) {
            GlobalUnlock(handle);
            GlobalFree(handle);
        }
    }
    bool Allocate(Reader& in, LONG width, LONG height)
    {
        BITMAPINFOHEADER header;
        stride = DIB_Stride(width, 24);
        DIB_InitHeader(&header, width, height, 24, stride, 0);
        BYTE* block;
        handle = width > 0 && height > 0 ? DIB_AllocatePacked(&header, &block) : nullptr;
        if (!handle) {
            in.Fail(MSG_NO_MEMORY);
            return false;
        }
        pixels = block + sizeof(BITMAPINFOHEADER);
        return true;
    }
};

// Reads the rows of a map: the row's packed length when packed, then its
// pixels through put(x, bits source); the count check unless exempt.
template <typename PutRow>
void ReadRows(Reader& in, Image& image, LONG height, DWORD rowBytes, bool packed, bool checkCount, PutRow putRow)
{
    Unpacker bytes{&in};
    bytes.packed = packed;
    INF_SetProgress(0, static_cast<WORD>(height));
    for (LONG y = 0; y < height && !in.failure; y++) {
        UTL_Yield();
        DWORD length = 0;
        if (packed) length = rowBytes < 251 ? in.Byte() : in.Word();
        bytes.consumed = 0;
        BitSource bits{&bytes};
        putRow(image.pixels + static_cast<SIZE_T>(height - 1 - y) * image.stride, bits);
        if (packed && checkCount && !in.failure && bytes.consumed != length) in.Fail(MSG_ROW);
        if (y % 16 == 0) INF_Step(static_cast<WORD>(y));
    }
}

// A map opcode's data; fills image or sets the failure.
void ReadMap(Reader& in, Image& image, DWORD op, int version)
{
    const bool packedOp = op >= 0x98 && op <= 0x9B;
    const bool masked = op == 0x91 || op == 0x99 || op == 0x9B;
    if (op == 0x9A || op == 0x9B) in.Skip(4);
    const WORD rawRowBytes = in.Word();
    const DWORD rowBytes = rawRowBytes & 0x7FFF;

    if (!(rawRowBytes & 0x8000) && version == 1) {
        // A bitmap: one bit a pixel, 1 black.
        const Rect bounds = ReadRect(in);
        in.Skip(8 + 8 + 2);
        if (masked) SkipRegion(in);
        if (in.failure) return;
        const LONG width = bounds.right - bounds.left, height = bounds.bottom - bounds.top;
        INF_SetValue(INF_VERSION, 1);
        INF_SetValue(INF_COMPRESSED, 1);
        INF_SetValue(INF_BITSPERPIXEL, 24);
        INF_SetValue(INF_GRAY, 1);
        if (!image.Allocate(in, width, height)) return;
        const uint64_t rowBits = static_cast<uint64_t>(rowBytes) * 8;
        ReadRows(in, image, height, rowBytes, packedOp, true, [&](BYTE* row, BitSource& bits) {
            for (LONG x = 0; x < width; x++) {
                const BYTE v = bits.Take(1) == 1 ? 0 : 255;
                memset(row + 3 * static_cast<SIZE_T>(x), v, 3);
            }
            for (uint64_t i = static_cast<uint64_t>(width); i < rowBits && !in.failure; i++) bits.Take(1);
        });
        return;
    }

    if (!(rawRowBytes & 0x8000)) return in.Fail(MSG_ROW_BYTES);
    const Rect bounds = ReadRect(in);
    in.Skip(2);  // version
    const WORD packType = in.Word();
    in.Skip(4 + 4 + 4 + 2);  // pack size, resolutions, pixel type
    const WORD pixelSize = in.Word();
    const WORD components = in.Word();
    in.Skip(2 + 4 + 4 + 4);  // component size, plane bytes, table handle, reserved
    if (in.failure) return;
    if (pixelSize != 1 && pixelSize != 2 && pixelSize != 4 && pixelSize != 8 && pixelSize != 16 && pixelSize != 32)
        return in.Fail(MSG_DEPTH);
    RGBTRIPLE table[256];
    for (RGBTRIPLE& e : table) e.rgbtRed = e.rgbtGreen = e.rgbtBlue = 0x01;  // the high byte of 0x0101
    if (pixelSize < 16) {
        in.Skip(4);
        const WORD flags = in.Word();
        const WORD size = in.Word();
        // 0xFFFF is an empty table.
        const DWORD entries = size == 0xFFFF ? 0 : size + 1u;
        for (DWORD i = 0; i < entries && !in.failure; i++) {
            const WORD value = in.Word();
            const BYTE red = static_cast<BYTE>(in.Word() >> 8);
            const BYTE green = static_cast<BYTE>(in.Word() >> 8);
            const BYTE blue = static_cast<BYTE>(in.Word() >> 8);
            const DWORD place = (flags & 0x8000) ? i : (value & 0xFFu);
            if (place < 256) table[place] = RGBTRIPLE{blue, green, red};
        }
    }
    in.Skip(8 + 8 + 2);
    if (masked) SkipRegion(in);
    if (in.failure) return;
    if (packType != 0 && packType != 1 && packType != 3 && packType != 4) return in.Fail(MSG_COMPRESSION);
    const LONG width = bounds.right - bounds.left, height = bounds.bottom - bounds.top;
    INF_SetValue(INF_VERSION, 2);
    INF_SetValue(INF_COMPRESSED, components > 3);
    INF_SetValue(INF_BITSPERPIXEL, 24);
    INF_SetValue(INF_GRAY, 0);
    if (pixelSize == 16) return in.Fail(MSG_COMPRESSION);
    if (!image.Allocate(in, width, height)) return;
    const bool packed = packedOp && packType != 1;
    const uint64_t rowPixels = static_cast<uint64_t>(rowBytes) * 8 / pixelSize;
    std::unique_ptr<BYTE[]> strip;
    if (pixelSize == 32) {
        strip.reset(new (std::nothrow) BYTE[3 * static_cast<SIZE_T>(width)]);
        if (!strip) return in.Fail(MSG_NO_MEMORY);
    }
    ReadRows(in, image, height, rowBytes, packed, pixelSize != 32, [&](BYTE* row, BitSource& bits) {
        if (pixelSize == 32) {
            // Red, green and blue strips of a row's width each.
            for (SIZE_T i = 0; i < 3 * static_cast<SIZE_T>(width) && !in.failure; i++) strip[i] = bits.bytes->Next();
            for (LONG x = 0; x < width; x++) {
                row[3 * x + 2] = strip[x];
                row[3 * x + 1] = strip[width + x];
                row[3 * x] = strip[2 * static_cast<SIZE_T>(width) + x];
            }
        } else {
            for (LONG x = 0; x < width && !in.failure; x++) {
                const RGBTRIPLE& c = table[bits.Take(pixelSize) & 0xFF];
                memcpy(row + 3 * static_cast<SIZE_T>(x), &c, 3);
            }
        }
        for (uint64_t i = static_cast<uint64_t>(width); i < rowPixels && !in.failure; i++) bits.Take(pixelSize);
    });
}

// Finds the version marker when it does not follow the header: 0x11, 1 or 2,
// 0xFF within the file's first bytes. Sets the reading place 10 bytes before
// the zeros in front of it; false when there is none.
bool SearchVersion(Reader& in)
{
    BYTE head[kSearchSpan];
    const DWORD n = in.size < kSearchSpan ? in.size : kSearchSpan;
    if (_llseek(in.file, 0, FILE_BEGIN) == HFILE_ERROR || _lread(in.file, head, n) != n) return false;
    in.held = 0;
    for (DWORD i = 0; i + 2 < n; i++) {
        if (head[i] != 0x11 || (head[i + 1] != 1 && head[i + 1] != 2) || head[i + 2] != 0xFF) continue;
        if (n - (i + 1) < 9) return false;
        DWORD zeros = 0;
        while (zeros < 16 && i - zeros > 0 && head[i - zeros - 1] == 0) zeros++;
        if (i - zeros < 10) return false;
        in.at = in.start = i - zeros - 10;
        return true;
    }
    return false;
}

}  // namespace

int PCT_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    Reader in;
    in.file = FIL_Open(path, OF_READ);
    if (in.file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_OPEN);
        return 0;
    }
    struct Close {
        HFILE file;
        ~Close() { _lclose(file); }
    } close{in.file};
    in.buffer.reset(new (std::nothrow) BYTE[kBufferSize]);
    if (!in.buffer) {
        MSG_Report(SEV_ERROR, MSG_NO_MEMORY);
        return 0;
    }
    in.size = FIL_Size(in.file);
    Image image;

    // The header of 512 bytes, the picture's size word and frame, zeros, 0x11.
    in.at = in.start = kHeaderSize;
    in.Skip(2 + 8);
    BYTE b = 0;
    while (!in.failure && (b = in.Byte()) == 0) {
    }
    if (!in.failure && b != 0x11) {
        if (!SearchVersion(in)) in.Fail(MSG_NO_VERSION);
        in.Skip(2 + 8);
        while (!in.failure && (b = in.Byte()) == 0) {
        }
    }
    int version = 0;
    if (!in.failure) {
        const BYTE v = in.Byte();
        if (v == 1) version = 1;
        else if (v == 2 && in.Byte() == 0xFF) version = 2;
        else if (!in.failure) in.Fail(v == 2 ? MSG_BAD_PICT2 : MSG_BAD_VERSION);
    }
    // The opcodes, up to the first map.
    while (!in.failure && !image.handle) {
        DWORD op;
        if (version == 2) {
            in.AlignEven();
            op = in.Word();
        } else {
            op = in.Byte();
        }
        if (in.failure) break;
        if (op == 0xFF) {
            in.Fail(MSG_NO_BITMAP);
        } else if (op == 0x90 || op == 0x91 || (op >= 0x98 && op <= 0x9B)) {
            ReadMap(in, image, op, version);
        } else if (op < 0xA2) {
            SkipOpcode(in, op);
        } else {
            SkipHighOpcode(in, op);
        }
    }
    if (in.failure) {
        MSG_Report(SEV_ERROR, in.failure);
        return 0;
    }
    GlobalUnlock(image.handle);
    *dib = image.handle;
    image.handle = nullptr;
    return 1;
}
