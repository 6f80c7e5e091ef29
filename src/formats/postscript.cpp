// The PostScript that draws a 24-bit image: strings 20481 to 20489 around the
// rows in hexadecimal.
#include "formats/postscript.h"

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace {
// The strings, in the order they are sent.
constexpr UINT kRgbString = 20481;    // "/rgbstr %d 3 mul string def\n"
constexpr UINT kReadProc = 20482;     // the procedure reading one row
constexpr UINT kSaveGraphics = 20483; // "gs %d %d 0 0 CB\n"
constexpr UINT kScale = 20484;        // "save 0 0 translate %d %d scale\n"
constexpr UINT kMatrix = 20485;       // "%d %d 8 [%d 0 0 -%d 0 %d]\n"
constexpr UINT kBeginData = 20486;    // "%%BeginData: %d ASCII Lines\n"
constexpr UINT kColorImage = 20487;   // "{read24} false 3 colorimage\n"
constexpr UINT kRowEnd = 20488;       // "\n"
constexpr UINT kEndData = 20489;      // "%%EndData\nrestore\ngr\n"
// What a device answers when memory is short.
constexpr int kNoMemory = -5;

// Every byte's two digits, so that a byte costs one look-up.
struct HexPairs {
    char digits[512];
};
constexpr HexPairs kHexPairs = [] {
    HexPairs t{};
    const char hex[] = "0123456789ABCDEF";
    for (int v = 0; v < 256; ++v) {
        t.digits[2 * v] = hex[v >> 4];
        t.digits[2 * v + 1] = hex[v & 15];
    }
    return t;
}();

void PutLength(char* packet, uint32_t length)
{
    for (int i = 0; i < 4; ++i) packet[i] = static_cast<char>((length >> (8 * i)) & 0xFF);
}
}  // namespace

int PS_SendString(const PS_Sink& sink, UINT id, ...)
{
    char format[256];
    if (LoadStringA(nullptr, id, format, sizeof format) <= 0) return kNoMemory;
    // wvsprintfA writes at most 1024 characters with its terminator.
    char packet[PS_PacketHeader + 1024];
    va_list args;
    va_start(args, id);
    int length = wvsprintfA(packet + PS_PacketHeader, format, args);
    va_end(args);
    if (length < 0) return kNoMemory;
    PutLength(packet, static_cast<uint32_t>(length));
    return sink.send(sink.context, packet, length);
}

const char* PS_HexPair(BYTE value) { return kHexPairs.digits + 2 * value; }

void PS_HexRow(const BYTE* bgr, int width, char* out)
{
    for (int x = 0; x < width; ++x, bgr += 3) {
        for (int channel = 2; channel >= 0; --channel, out += 2) memcpy(out, PS_HexPair(bgr[channel]), 2);
    }
}

int PS_WriteImage(const PS_Sink& sink, const BITMAPINFOHEADER* header, const BYTE* pixels, int printedWidth,
                  int printedHeight, void (*progress)(int percent))
{
    const int width = header->biWidth;
    const int height = header->biHeight < 0 ? -header->biHeight : header->biHeight;
    if (width <= 0 || height <= 0 || header->biBitCount != 24) return kNoMemory;
    // One row of hexadecimal behind the packet header; an int must hold its length.
    if (static_cast<uint64_t>(width) * 6 > INT32_MAX - PS_PacketHeader) return kNoMemory;
    const int hexLength = width * 6;
    std::unique_ptr<char[]> row(new (std::nothrow) char[PS_PacketHeader + hexLength]());
    if (!row) return kNoMemory;

    int result = PS_SendString(sink, kRgbString, width);
    if (result > 0) result = PS_SendString(sink, kReadProc);
    if (result > 0) result = PS_SendString(sink, kSaveGraphics, printedWidth, printedHeight);
    if (result > 0) result = PS_SendString(sink, kScale, printedWidth, printedHeight);
    if (result > 0) result = PS_SendString(sink, kMatrix, width, height, width, height, height);
    if (result > 0) result = PS_SendString(sink, kBeginData, height);
    if (result > 0) result = PS_SendString(sink, kColorImage);
    if (result <= 0) return result;

    const size_t stride = ((static_cast<size_t>(width) * 24 + 31) >> 5) * 4;
    PutLength(row.get(), static_cast<uint32_t>(hexLength));
    const BYTE* line = pixels;
    for (int r = 0; r < height; ++r, line += stride) {
        if (progress && r != 0 && (r % 10 == 0 || r == height - 1))
            progress(static_cast<int>(static_cast<int64_t>(r) * 100 / height));
        PS_HexRow(line, width, row.get() + PS_PacketHeader);
        result = sink.send(sink.context, row.get(), hexLength);
        if (result > 0) result = PS_SendString(sink, kRowEnd);
        if (result <= 0) return result;
    }
    return PS_SendString(sink, kEndData);
}
