// Optimized Cut on one DIB: the output block, the thermometer, the five steps,
// then error diffusion to the new palette when CLR_CutDither asks for it.
#include "colour/median_cut.h"

#include "colour/depth.h"
#include "colour/error_diffusion.h"
#include "colour/median_cut_state.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "platform/dib.h"
#include "platform/thermometer.h"

#include <cstring>

namespace {
const UINT kNoMemory = 8204;
const UINT kCutText = 1303;
const UINT kCutDitherText = 1304;
}  // namespace

int CLR_MedianCut(HGLOBAL source, HGLOBAL* result, int count)
{
    *result = nullptr;
    if (count < 1) count = 1;
    if (count > CUT_MaxBoxes) count = CUT_MaxBoxes;

    BITMAPINFOHEADER* sh;
    RGBQUAD* sourceColors;
    BYTE* sourcePixels;
    if (!CLR_LockReadable(source, &sh, &sourceColors, &sourcePixels)) return 0;
    const LONG width = sh->biWidth;
    const LONG height = sh->biHeight;
    const int sourceBits = sh->biBitCount;
    const int outBits = count > 16 ? 8 : 4;
    const DWORD outStride = DIB_Stride(width, outBits);

    // biClrUsed is the count asked for; the entries no box fills stay black.
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, outBits, outStride, static_cast<DWORD>(count));
    const SIZE_T size = DIB_PackedSize(width, height, outBits, static_cast<DWORD>(count));
    HGLOBAL out = nullptr;
    if (size && CUT_GateAllows(CUT_MEM_OUTPUT, size)) out = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
    if (!out) {
        MSG_Report(SEV_ERROR, kNoMemory);
        GlobalUnlock(source);
        return 0;
    }
    BYTE* block = static_cast<BYTE*>(GlobalLock(out));
    memcpy(block, &header, sizeof header);
    RGBQUAD* outColors = reinterpret_cast<RGBQUAD*>(block + sizeof header);
    BYTE* outPixels = block + sizeof header + static_cast<SIZE_T>(count) * sizeof(RGBQUAD);

    const int dither = CLR_CutDither;
    const int progress = CLR_CutShowProgress;
    if (progress) {
        char text[256];
        if (LoadStringA(nullptr, dither ? kCutDitherText : kCutText, text, sizeof text) <= 0) text[0] = 0;
        TRM_Open(TRM_Owner(), text);
        TRM_SetRange(0, static_cast<WORD>(2 * height));
    }

    // Every pixel value of an 8-bit source reads inside this table.
    RGBQUAD table[256];
    if (sourceBits <= 8)
        CLR_FullColorTable(sh, sourceColors, table);
    else
        memset(table, 0, sizeof table);

    CUT_State.progress = progress;
    CUT_State.progressHeight = height;
    int ok = CLR_CutBegin() && CLR_CutAddImage(sourcePixels, table, width, height, sourceBits) &&
             CLR_CutMakePalette(outColors, count);
    if (ok && !dither) CLR_CutMapPixels(sourcePixels, outPixels, width, height, sourceBits, outBits, table);
    CLR_CutEnd();
    CUT_State.progress = 0;

    GlobalUnlock(out);
    GlobalUnlock(source);
    if (!ok) {
        GlobalFree(out);
        if (progress) TRM_Close();
        return 0;
    }
    // The dither continues the thermometer in its second half; its own result
    // is not consulted (the palette and header are already final).
    if (dither) CLR_DitherToPalette(source, out, 1);
    if (progress) TRM_Close();
    *result = out;
    return 1;
}
