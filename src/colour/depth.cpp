// Depth conversions at DIB level: the increase to a deeper layout, row by row
// through a scratch row that holds one byte per index (or three per 24-bit
// pixel), and the gray copy.
#include "colour/depth.h"

#include "colour/error_diffusion.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"

#include <cstring>
#include <new>

namespace {
const UINT kNoMemory = 8204;
const UINT kNoGrayMemory = 8199;

CLR_DepthMemoryGate memoryGate = nullptr;

bool GateAllows(int kind, SIZE_T bytes) { return !memoryGate || memoryGate(kind, bytes); }

// Spreads one source row into the scratch row: 1 and 4 bits give one byte per
// index for every byte of the padded row, most significant first; 8 bits and
// 24 bits (three bytes a pixel) are copied; 32 bits keep their first three bytes.
void ExpandRow(const BYTE* line, int bits, DWORD stride, LONG width, BYTE* scratch)
{
    switch (bits) {
    case 1:
        for (DWORD i = 0; i < stride; i++)
            for (int bit = 7; bit >= 0; bit--) *scratch++ = static_cast<BYTE>((line[i] >> bit) & 1);
        break;
    case 4:
        for (DWORD i = 0; i < stride; i++) {
            *scratch++ = static_cast<BYTE>(line[i] >> 4);
            *scratch++ = static_cast<BYTE>(line[i] & 0x0F);
        }
        break;
    case 8:
        memcpy(scratch, line, stride);
        break;
    case 24:
        memcpy(scratch, line, static_cast<SIZE_T>(width) * 3);
        break;
    case 32:
        for (LONG x = 0; x < width; x++, line += 4, scratch += 3) memcpy(scratch, line, 3);
        break;
    default:
        break;
    }
}
}  // namespace

void CLR_DepthSetMemoryGate(CLR_DepthMemoryGate gate) { memoryGate = gate; }

int CLR_DibReadable(HGLOBAL dib, const BITMAPINFOHEADER* h)
{
    if (!h || h->biSize < sizeof(BITMAPINFOHEADER) || h->biSize > 4096 || h->biCompression != BI_RGB) return 0;
    if (h->biWidth <= 0 || h->biHeight <= 0) return 0;
    switch (h->biBitCount) {
    case 1: case 4: case 8: case 16: case 24: case 32: break;
    default: return 0;
    }
    uint64_t stride = ((static_cast<uint64_t>(h->biWidth) * h->biBitCount + 31) >> 5) << 2;
    uint64_t needed = h->biSize + static_cast<uint64_t>(DIB_PaletteSize(h)) + stride * static_cast<uint64_t>(h->biHeight);
    return needed <= GlobalSize(dib) ? 1 : 0;
}

int CLR_LockReadable(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels)
{
    if (!DIB_Lock(dib, header, colors, pixels)) {
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    if (!CLR_DibReadable(dib, *header)) {
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    return 1;
}

int CLR_IncreaseDib(HGLOBAL source, HGLOBAL* result, int target, BYTE alpha)
{
    *result = nullptr;
    const int o = CLR_IncreaseOutputBits(target);
    if (o != 4 && o != 8 && o != 24 && o != 32) return 0;

    BITMAPINFOHEADER* sh;
    RGBQUAD* sourceColors;
    BYTE* sourcePixels;
    if (!CLR_LockReadable(source, &sh, &sourceColors, &sourcePixels)) return 0;
    const int bits = sh->biBitCount;
    const bool paletted = bits <= 8;
    // Nothing to increase: a shallower layout, or indices from direct colour.
    if (o < bits || (o <= 8 && !paletted) || bits == 16) {
        GlobalUnlock(source);
        return 0;
    }

    const LONG width = sh->biWidth;
    const LONG height = sh->biHeight;
    const DWORD sourceStride = DIB_Stride(width, bits);
    const DWORD outStride = DIB_Stride(width, o);
    const DWORD outEntries = o < 24 ? 1U << o : 0;
    const DWORD sourceEntries = paletted ? 1U << bits : 0;

    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, o, outStride, outEntries);
    const SIZE_T size = DIB_PackedSize(width, height, o, outEntries);
    HGLOBAL out = nullptr;
    if (size && GateAllows(DEPTH_MEM_OUTPUT, size)) out = GlobalAlloc(GMEM_MOVEABLE, size);
    if (!out) {
        GlobalUnlock(source);
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    // Eight times the padded 8-bit row holds a 1-bit row at a byte per pixel.
    const SIZE_T scratchSize = static_cast<SIZE_T>(DIB_Stride(width, 8)) * 8;
    BYTE* scratch = GateAllows(DEPTH_MEM_ROW, scratchSize) ? new (std::nothrow) BYTE[scratchSize]() : nullptr;
    if (!scratch) {
        GlobalFree(out);
        GlobalUnlock(source);
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }

    BYTE* block = static_cast<BYTE*>(GlobalLock(out));
    memcpy(block, &header, sizeof header);
    RGBQUAD* outColors = reinterpret_cast<RGBQUAD*>(block + sizeof header);
    BYTE* outPixels = reinterpret_cast<BYTE*>(outColors + outEntries);

    // The source's table, black past the entries it has, so that every index
    // reads inside it.
    RGBQUAD table[256];
    if (paletted)
        CLR_FullColorTable(sh, sourceColors, table);
    else
        memset(table, 0, sizeof table);
    if (outEntries) {
        // Entries the source doesn't have stay black, so the same image always gives the same bytes.
        memset(outColors, 0, outEntries * sizeof(RGBQUAD));
        memcpy(outColors, table, (sourceEntries < outEntries ? sourceEntries : outEntries) * sizeof(RGBQUAD));
    }

    for (LONG y = 0; y < height; y++) {
        const BYTE* line = sourcePixels + static_cast<SIZE_T>(y) * sourceStride;
        BYTE* q = outPixels + static_cast<SIZE_T>(y) * outStride;
        ExpandRow(line, bits, sourceStride, width, scratch);
        DWORD used = 0;
        switch (o) {
        case 4:
            // An odd width takes its last low nibble from the padding of the source row.
            used = static_cast<DWORD>((width + 1) / 2);
            for (DWORD i = 0; i < used; i++)
                q[i] = static_cast<BYTE>((scratch[2 * i] << 4) | (scratch[2 * i + 1] & 0x0F));
            break;
        case 8:
            used = static_cast<DWORD>(width);
            memcpy(q, scratch, used);
            break;
        case 24:
        case 32: {
            const int step = o / 8;
            BYTE* p = q;
            for (LONG x = 0; x < width; x++, p += step) {
                if (paletted) {
                    const RGBQUAD& c = table[scratch[x]];
                    p[0] = c.rgbBlue;
                    p[1] = c.rgbGreen;
                    p[2] = c.rgbRed;
                } else {
                    memcpy(p, scratch + 3 * x, 3);
                }
                if (step == 4) p[3] = alpha;
            }
            used = static_cast<DWORD>(width) * step;
            break;
        }
        default:
            break;
        }
        if (used < outStride) memset(q + used, 0, outStride - used);
    }

    delete[] scratch;
    GlobalUnlock(out);
    GlobalUnlock(source);
    *result = out;
    return 1;
}

int CLR_GrayDib(HGLOBAL source, HGLOBAL* result)
{
    *result = DIB_ToGray(source);
    if (!*result) {
        MSG_Report(SEV_ERROR, kNoGrayMemory);
        return 0;
    }
    return 1;
}
