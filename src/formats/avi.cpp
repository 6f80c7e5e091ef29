// The AVI row: the first frame of a film as the document's image.
#include "formats/avi.h"

#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/avi_frames.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdlib>

namespace {
enum {
    MSG_NO_MEMORY = 8202,      // "Not enough memory to load file"
    MSG_DECOMPRESS = 9493,     // "Error decompressing %s file, cannot load"
    CREATOR_FILM = 20992,      // "Windows"
    MSG_CANT_OPEN = 20994,     // "Unable to open %s"
    MSG_NO_SERVICES = 21264,   // "%s files are read through the Windows AVIFile services, ..."
};

// Widens one row of 5-5-5 pixels to 8-bit blue, green, red.
void Widen555(const BYTE* from, BYTE* to, LONG width)
{
    for (LONG x = 0; x < width; x++, from += 2, to += 3) {
        const unsigned v = from[0] | (from[1] << 8);
        to[0] = static_cast<BYTE>((v & 0x1F) << 3);
        to[1] = static_cast<BYTE>((v & 0x3E0) >> 2);
        to[2] = static_cast<BYTE>((v & 0x7C00) >> 7);
    }
}

int Stop()
{
    AVI_Close();
    return 0;
}
}  // namespace

int AVI_Open(LPCSTR path)
{
    if (!AVF_Available()) {
        FMT_FormatError(MSG_NO_SERVICES, FMT_Row_AVI);
        return 0;
    }
    if (AVF_Open(path)) return 1;
    MSG_Report(SEV_ERROR, MSG_CANT_OPEN, path);
    return 0;
}

void AVI_Close() { AVF_Close(); }

HGLOBAL AVI_FrameToDib(const BITMAPINFOHEADER* frame, int* noMemory)
{
    *noMemory = 0;
    if (!frame || frame->biSize < sizeof(BITMAPINFOHEADER) || frame->biCompression != BI_RGB) return nullptr;
    const int bits = frame->biBitCount;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return nullptr;
    const LONG width = frame->biWidth;
    // A frame from the decoder may stand top-down (negative height).
    const bool topDown = frame->biHeight < 0;
    const LONG height = topDown ? -frame->biHeight : frame->biHeight;
    if (width <= 0 || height <= 0 || frame->biHeight == -0x7FFFFFFF - 1) return nullptr;
    DWORD colors = 0;
    if (bits <= 8) colors = frame->biClrUsed && frame->biClrUsed < (1U << bits) ? frame->biClrUsed : 1U << bits;
    const DWORD tableFrom = bits <= 8 ? colors : frame->biClrUsed <= 256 ? frame->biClrUsed : 256;

    const int outBits = bits == 16 ? 24 : bits;
    BITMAPINFOHEADER header = *frame;
    header.biSize = sizeof header;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(outBits);
    header.biClrUsed = colors;
    header.biClrImportant = 0;
    if (!DIB_PackedSize(width, height, outBits, colors)) return nullptr;
    header.biSizeImage = DIB_Stride(width, outBits) * static_cast<DWORD>(height);
    BYTE* block = nullptr;
    HGLOBAL dib = DIB_AllocatePacked(&header, &block);
    if (!dib) {
        *noMemory = 1;
        return nullptr;
    }
    const BYTE* source = reinterpret_cast<const BYTE*>(frame) + frame->biSize;
    memcpy(block + sizeof header, source, 4 * static_cast<size_t>(colors));
    source += 4 * static_cast<size_t>(tableFrom);
    BYTE* pixels = block + sizeof header + 4 * static_cast<size_t>(colors);
    const DWORD fromStride = DIB_Stride(width, bits), toStride = DIB_Stride(width, outBits);
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = source + static_cast<size_t>(topDown ? height - 1 - y : y) * fromStride;
        BYTE* to = pixels + static_cast<size_t>(y) * toStride;
        if (bits == 16)
            Widen555(row, to, width);
        else
            memcpy(to, row, fromStride);
    }
    GlobalUnlock(dib);
    return dib;
}

int AVI_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    INF_SetProgress(0, 10);
    INF_SetValue(INF_PALETTE, 0);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, 0);
    INF_SetValue(INF_COMPRESSED, 1);
    INF_SetValue(INF_TYPE, 3);
    INF_SetValue(INF_VERSION, 1);
    INF_SetCreator(CREATOR_FILM);
    INF_Invalidate();
    INF_Step(3);
    // A zero from the yield is the user's stop: everything open is closed.
    if (!UTL_Yield()) return 0;
    if (!AVI_Open(path)) return 0;
    if (!UTL_Yield()) return Stop();

    const BITMAPINFOHEADER* frame = AVF_Frame(0);
    if (!frame || frame->biHeight == 0) {
        FMT_FormatError(MSG_DECOMPRESS, FMT_Row_AVI);
        return Stop();
    }
    INF_SetValue(INF_MEMORY, static_cast<LONG>(frame->biSizeImage + frame->biSize));
    INF_SetValue(INF_WIDTH, frame->biWidth);
    INF_SetValue(INF_HEIGHT, std::labs(frame->biHeight));
    INF_SetValue(INF_COLORS, frame->biBitCount <= 8 ? DIB_PaletteSize(frame) : 0);
    INF_Invalidate();
    INF_Step(6);
    if (!UTL_Yield()) return Stop();

    int noMemory = 0;
    HGLOBAL made = AVI_FrameToDib(frame, &noMemory);
    if (!made) {
        if (noMemory)
            MSG_Report(SEV_ERROR, MSG_NO_MEMORY);
        else
            FMT_FormatError(MSG_DECOMPRESS, FMT_Row_AVI);
        return Stop();
    }
    // A 16-bit frame makes a 16-bit document that holds a 24-bit DIB.
    INF_SetValue(INF_BITSPERPIXEL, frame->biBitCount);
    INF_Step(7);
    AVI_Close();
    *dib = made;
    return 1;
}
