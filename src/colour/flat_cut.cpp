// Flat Cut: every pixel mapped by table lookup and shifts to a fixed palette.
#include "colour/flat_cut.h"

#include "colour/colour_switches.h"
#include "colour/error_diffusion.h"
#include "colour/luma.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"
#include "platform/thermometer.h"

#include <cstdlib>
#include <cstring>

const RGBQUAD CLR_Flat16Palette[16] = {
    {0, 0, 0, 0},       {0, 0, 128, 0},     {0, 128, 0, 0},   {0, 128, 128, 0},
    {128, 0, 0, 0},     {128, 0, 128, 0},   {128, 128, 0, 0}, {192, 192, 192, 0},
    {128, 128, 128, 0}, {0, 0, 255, 0},     {0, 255, 0, 0},   {0, 255, 255, 0},
    {255, 0, 0, 0},     {255, 0, 255, 0},   {255, 255, 0, 0}, {255, 255, 255, 0},
};

const BYTE CLR_Flat16Map[64] = {
    0, 4, 4, 12, 2, 6, 6, 12, 2, 6, 6, 12, 10, 10, 14, 14,
    1, 5, 5, 12, 3, 0, 4, 12, 2, 2, 6, 12, 10, 10, 14, 14,
    1, 5, 5, 13, 3, 1, 5, 13, 3, 3, 15, 15, 11, 11, 15, 14,
    9, 13, 13, 13, 11, 9, 13, 13, 11, 11, 15, 15, 11, 11, 15, 15,
};

namespace {
const UINT kNoMemory = 8204;
const UINT kFinished = 1302;
const UINT kFlatText = 1300;

// Red and green levels 0-7 give level * 36 + level / 2, blue levels 0-3 give level * 85.
BYTE Level8(int level) { return static_cast<BYTE>(level * 36 + level / 2); }

bool ValidTarget(int target) { return target == 1 || target == 4 || target == 8 || target == 16 || target == 24; }

// Per-channel parts of the 3-3-2 index and the 1-bit luminance, so that the
// inner loops do one lookup per channel.
struct FlatTables {
    BYTE red8[256], green8[256], blue8[256];
    FlatTables()
    {
        for (int v = 0; v < 256; v++) {
            red8[v] = static_cast<BYTE>(v >> 5);
            green8[v] = static_cast<BYTE>((v >> 5) << 3);
            blue8[v] = static_cast<BYTE>((v >> 6) << 6);
        }
    }
};
const FlatTables tables;

// Target 1: luminance above 127 sets the bit, bits from the most significant.
void ReduceLineTo1(const BYTE* in, int step, BYTE* out, LONG width)
{
    LONG x = 0;
    for (; x + 8 <= width; x += 8) {
        unsigned byte = 0;
        for (int bit = 0; bit < 8; bit++, in += step)
            byte = (byte << 1) | (CLR_Luma(in[2], in[1], in[0]) > 127 ? 1U : 0U);
        *out++ = static_cast<BYTE>(byte);
    }
    if (x < width) {
        unsigned byte = 0;
        int shift = 7;
        for (; x < width; x++, shift--, in += step)
            if (CLR_Luma(in[2], in[1], in[0]) > 127) byte |= 1U << shift;
        *out = static_cast<BYTE>(byte);
    }
}

// Target 4: the 16-colour choice, two pixels a byte, the first in the high nibble.
void ReduceLineTo4(const BYTE* in, int step, BYTE* out, LONG width, int gray)
{
    LONG x = 0;
    for (; x + 2 <= width; x += 2, in += 2 * step)
        *out++ = static_cast<BYTE>((CLR_Flat16Index(in[2], in[1], in[0], gray, 50) << 4) |
                                   CLR_Flat16Index(in[step + 2], in[step + 1], in[step], gray, 50));
    if (x < width) *out = static_cast<BYTE>(CLR_Flat16Index(in[2], in[1], in[0], gray, 50) << 4);
}

// Target 8: the 3-3-2 index, red in the low bits.
void ReduceLineTo8(const BYTE* in, int step, BYTE* out, LONG width)
{
    const FlatTables& t = tables;
    if (step == 3) {
        for (LONG x = 0; x < width; x++, in += 3) out[x] = static_cast<BYTE>(t.blue8[in[0]] | t.green8[in[1]] | t.red8[in[2]]);
    } else {
        for (LONG x = 0; x < width; x++, in += step)
            out[x] = static_cast<BYTE>(t.blue8[in[0]] | t.green8[in[1]] | t.red8[in[2]]);
    }
}

// Targets 16 and 24: three bytes, masked to five bits for 16.
void ReduceLineTo24(const BYTE* in, int step, BYTE* out, LONG width, BYTE mask)
{
    for (LONG x = 0; x < width; x++, in += step, out += 3) {
        out[0] = in[0] & mask;
        out[1] = in[1] & mask;
        out[2] = in[2] & mask;
    }
}
}  // namespace

RGBQUAD CLR_Flat256Color(int index)
{
    RGBQUAD c;
    c.rgbRed = Level8(index & 7);
    c.rgbGreen = Level8((index >> 3) & 7);
    c.rgbBlue = static_cast<BYTE>(((index >> 6) & 3) * 85);
    c.rgbReserved = 0;
    return c;
}

void CLR_FlatWritePalette(RGBQUAD* table, int target)
{
    switch (target) {
    case 1:
        table[0] = RGBQUAD{0, 0, 0, 0};
        table[1] = RGBQUAD{255, 255, 255, 0};
        break;
    case 4: memcpy(table, CLR_Flat16Palette, sizeof CLR_Flat16Palette); break;
    case 8:
        for (int i = 0; i < 256; i++) table[i] = CLR_Flat256Color(i);
        break;
    default: break;
    }
}

int CLR_FlatBegin(FlatJob* job, HGLOBAL source, int target, UINT textId)
{
    memset(job, 0, sizeof *job);
    job->source = source;
    BITMAPINFOHEADER* header;
    RGBQUAD* colors;
    BYTE* pixels;
    DIB_Lock(source, &header, &colors, &pixels);
    job->progress = CLR_FlatShowProgress != 0;
    if (job->progress) {
        char text[256];
        if (LoadStringA(nullptr, textId, text, sizeof text) <= 0) text[0] = 0;
        TRM_Open(TRM_Owner(), text);
        TRM_SetRange(0, header ? static_cast<WORD>(header->biHeight < 0 ? -header->biHeight : header->biHeight) : 0);
    }

    int outBits = CLR_FlatOutputBits(target);
    DWORD entries = outBits < 24 ? 1U << outBits : 0;
    SIZE_T size = 0;
    if (header) {
        job->width = header->biWidth;
        job->rows = header->biHeight >= 0 ? header->biHeight : header->biHeight > -0x7FFFFFFF ? -header->biHeight : 0;
        job->sourceBits = header->biBitCount;
        job->sourceStride = DIB_Stride(job->width, job->sourceBits);
        job->outStride = DIB_Stride(job->width, outBits);
        job->sourcePixels = pixels;
        // A source block shorter than its header says is refused like a failed
        // allocation, so that no line is read past its end.
        if (CLR_SourceFits(source, header)) size = DIB_PackedSize(job->width, job->rows, outBits, entries);
    }
    if (size) job->output = GlobalAlloc(GHND, size);
    if (job->output && job->sourceBits <= 8) {
        job->scratch = static_cast<BYTE*>(calloc(static_cast<size_t>(job->width) * 3 + 4, 1));
        if (!job->scratch) job->output = GlobalFree(job->output);
    }
    if (!job->output) {
        if (header) GlobalUnlock(source);
        if (job->progress) TRM_Close();
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    BITMAPINFOHEADER* out = static_cast<BITMAPINFOHEADER*>(GlobalLock(job->output));
    DIB_InitHeader(out, job->width, job->rows, outBits, job->outStride, entries);
    out->biHeight = header->biHeight;
    RGBQUAD* outColors = reinterpret_cast<RGBQUAD*>(out + 1);
    CLR_FlatWritePalette(outColors, target);
    job->outPixels = reinterpret_cast<BYTE*>(outColors + entries);
    CLR_FullColorTable(header, colors, job->table);
    return 1;
}

const BYTE* CLR_FlatSourceLine(FlatJob* job, LONG y, int* step)
{
    const BYTE* line = job->sourcePixels + static_cast<size_t>(y) * job->sourceStride;
    switch (job->sourceBits) {
    case 24: *step = 3; return line;
    case 32: *step = 4; return line;
    case 4: {
        BYTE* out = job->scratch;
        for (LONG x = 0; x < job->width; x++, out += 3) {
            const RGBQUAD& c = job->table[(x & 1) ? line[x >> 1] & 15 : line[x >> 1] >> 4];
            out[0] = c.rgbBlue;
            out[1] = c.rgbGreen;
            out[2] = c.rgbRed;
        }
        break;
    }
    case 8: {
        BYTE* out = job->scratch;
        for (LONG x = 0; x < job->width; x++, out += 3) {
            const RGBQUAD& c = job->table[line[x]];
            out[0] = c.rgbBlue;
            out[1] = c.rgbGreen;
            out[2] = c.rgbRed;
        }
        break;
    }
    default: break;  // not read: the scratch line stays black
    }
    if (job->scratch) {
        *step = 3;
        return job->scratch;
    }
    // A depth above 8 that is not read (16 bits): one black pixel, no step.
    static const BYTE black[4] = {0, 0, 0, 0};
    *step = 0;
    return black;
}

void CLR_FlatProgress(const FlatJob* job, LONG y)
{
    if (job->progress && ((y & 15) == 0 || y == job->rows - 1)) TRM_Update(static_cast<WORD>(y + 1));
}

void CLR_FlatEnd(FlatJob* job)
{
    GlobalUnlock(job->output);
    GlobalUnlock(job->source);
    free(job->scratch);
    job->scratch = nullptr;
    if (job->progress) TRM_Close();
}

void CLR_FlatAbandon(FlatJob* job)
{
    GlobalUnlock(job->output);
    GlobalFree(job->output);
    job->output = nullptr;
    GlobalUnlock(job->source);
    free(job->scratch);
    job->scratch = nullptr;
    if (job->progress) TRM_Close();
}

int CLR_FlatReduce(HGLOBAL source, HGLOBAL* result, int target, int gray)
{
    if (!ValidTarget(target)) return 0;
    FlatJob job;
    if (!CLR_FlatBegin(&job, source, target, kFlatText)) return 0;
    for (LONG y = 0; y < job.rows; y++) {
        CLR_FlatProgress(&job, y);
        int step;
        const BYTE* in = CLR_FlatSourceLine(&job, y, &step);
        BYTE* out = job.outPixels + static_cast<size_t>(y) * job.outStride;
        switch (target) {
        case 1: ReduceLineTo1(in, step, out, job.width); break;
        case 4: ReduceLineTo4(in, step, out, job.width, gray); break;
        case 8: ReduceLineTo8(in, step, out, job.width); break;
        case 16: ReduceLineTo24(in, step, out, job.width, 0xF8); break;
        default: ReduceLineTo24(in, step, out, job.width, 0xFF); break;
        }
    }
    if (job.progress) {
        char text[256];
        if (LoadStringA(nullptr, kFinished, text, sizeof text) <= 0) text[0] = 0;
        TRM_SetText(text);
    }
    CLR_FlatEnd(&job);
    *result = job.output;
    return 1;
}

int CLR_SourceFits(HGLOBAL source, const BITMAPINFOHEADER* header)
{
    if (!header || header->biWidth <= 0 || header->biHeight == 0 || header->biHeight < -0x7FFFFFFF) return 0;
    if (header->biBitCount == 0 || header->biBitCount > 32) return 0;
    unsigned long long rows = header->biHeight < 0 ? -static_cast<long long>(header->biHeight) : header->biHeight;
    unsigned long long stride = ((static_cast<unsigned long long>(header->biWidth) * header->biBitCount + 31) >> 5) << 2;
    unsigned long long need = header->biSize + static_cast<unsigned long long>(DIB_PaletteSize(header)) + stride * rows;
    return need <= GlobalSize(source);
}
