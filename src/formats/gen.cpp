// GEN: the program's own bare 24-bit raster. One text line of width, a blank
// and height, then the rows from the bottom of the picture, three bytes a
// pixel in red, green, blue order, without padding.
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
    MSG_BAD_HEADER = 9476,  // "Illegal %s File -- Bad Header"
    MSG_NO_MEMORY = 9480,   // "Not enough memory to load %s image"
    MSG_CANNOT_CREATE = 8215,
    MSG_CANNOT_WRITE = 8197,
    MSG_NO_SAVE_MEMORY = 9488,
};

// Forms a decimal number from the characters up to one of the two ends (the
// second may be -1 for none); any other character counts as its value less
// 48, and the number wraps as a 32-bit int. False at the end of the file.
bool ReadHeaderNumber(FILE* in, int end1, int end2, LONG* value)
{
    uint32_t n = 0;
    for (;;) {
        int c = fgetc(in);
        if (c == EOF) return false;
        if (c == end1 || c == end2) break;
        n = n * 10 + static_cast<uint32_t>(c - 48);
    }
    *value = static_cast<LONG>(n);
    return true;
}

int FailLoad(UINT message, FILE* in, HGLOBAL image)
{
    if (image) {
        GlobalUnlock(image);
        GlobalFree(image);
    }
    fclose(in);
    if (message) FMT_FormatError(message, FMT_Row_GEN);
    return 0;
}

}  // namespace

int GEN_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    FILE* in = FIL_OpenStream(path, "rb");
    if (!in) return 0;
    LONG width = 0, height = 0;
    if (!ReadHeaderNumber(in, ' ', -1, &width) || !ReadHeaderNumber(in, '\n', '\r', &height))
        return FailLoad(MSG_BAD_HEADER, in, nullptr);

    INF_SetProgress(0, static_cast<WORD>(height));
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 0);
    INF_SetValue(INF_BITSPERPIXEL, 24);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 1);
    INF_SetCreator(CREATOR_IBMPC);

    const DWORD stride = DIB_Stride(width, 24);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, 24, stride, 0);
    BYTE* block;
    HGLOBAL image = DIB_AllocatePacked(&header, &block);
    if (!image) return FailLoad(MSG_NO_MEMORY, in, nullptr);
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER);
    // The block holds every row, so a line of width x 3 bytes fits in size_t.
    const size_t lineBytes = static_cast<size_t>(width) * 3;
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes]);
    if (!line) return FailLoad(MSG_NO_MEMORY, in, image);

    // A truncated file keeps what it read; the rest of the picture stays zero.
    for (LONG row = 0; row < height; row++) {
        UTL_Yield();
        if (row % 32 == 1 || row == height - 1) INF_Step(static_cast<WORD>(row + 1));
        size_t got = fread(line.get(), 1, lineBytes, in);
        if (got == 0) {
            INF_Step(static_cast<WORD>(height));
            break;
        }
        memset(line.get() + got, 0, lineBytes - got);
        BYTE* out = pixels + static_cast<size_t>(row) * stride;
        for (size_t i = 0; i < lineBytes; i += 3) {
            out[i] = line[i + 2];
            out[i + 1] = line[i + 1];
            out[i + 2] = line[i];
        }
    }
    fclose(in);
    GlobalUnlock(image);
    *dib = image;
    return 1;
}

int GEN_Save(LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    const int bits = h->biBitCount;
    const LONG width = h->biWidth > 0 ? h->biWidth : 0;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    const DWORD stride = DIB_Stride(width, bits);
    const DWORD entries = DIB_NumColors(h);

    FILE* out = FIL_OpenStream(path, "wb");
    if (!out) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    auto fail = [&](UINT message, bool formatMessage) {
        fclose(out);
        if (formatMessage) FMT_FormatError(message, FMT_Row_GEN);
        else MSG_Report(SEV_ERROR, message);
        FIL_Remove(path);
        return 0;
    };
    const size_t lineBytes = static_cast<size_t>(width) * 3;
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes ? lineBytes : 1]);
    if (!line) return fail(MSG_NO_SAVE_MEMORY, true);
    if (fprintf(out, "%d %d\n", static_cast<int>(width), static_cast<int>(height)) < 0)
        return fail(MSG_CANNOT_WRITE, false);

    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<size_t>(h->biHeight < 0 ? height - 1 - y : y) * stride;
        BYTE* p = line.get();
        for (LONG x = 0; x < width; x++, p += 3) {
            if (bits == 24 || bits == 32) {
                const BYTE* q = row + static_cast<size_t>(x) * (bits / 8);
                p[0] = q[2], p[1] = q[1], p[2] = q[0];
                continue;
            }
            DWORD index = bits == 8   ? row[x]
                          : bits == 4 ? ((x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4)
                          : bits == 1 ? (row[x >> 3] >> (7 - (x & 7))) & 1
                                      : entries;
            RGBQUAD c = index < entries ? table[index] : RGBQUAD{0, 0, 0, 0};
            p[0] = c.rgbRed, p[1] = c.rgbGreen, p[2] = c.rgbBlue;
        }
        if (fwrite(line.get(), 1, lineBytes, out) != lineBytes) return fail(MSG_CANNOT_WRITE, false);
    }
    if (fflush(out) != 0) return fail(MSG_CANNOT_WRITE, false);
    fclose(out);
    return 1;
}
