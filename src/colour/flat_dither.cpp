// Flat Cut with dither: the fixed palettes of Flat Cut, reached by error
// diffusion in serpentine order or by the ordered halftone matrix. The rows
// hold error only, in scan order; after each line they are mirrored so that
// the next line, scanned the other way, finds its errors at its own x.
#include "colour/error_diffusion.h"

#include "colour/flat_cut.h"
#include "colour/luma.h"
#include "core/messages.h"
#include "core/settings.h"

#include <cstring>

namespace {
const UINT kNoMemory = 8204;
const UINT kDitherText = 1301;

// Exchanges cell x with cell width - 1 - x for x below width / 2.
void MirrorRow(DitherCell* row, LONG width)
{
    for (LONG x = 0, z = width - 1; x < width / 2; x++, z--) {
        DitherCell t = row[x];
        row[x] = row[z];
        row[z] = t;
    }
}

// Writes the output of image column c: a bit, a nibble, a byte or three bytes.
inline void PutPixel(BYTE* line, LONG c, int target, int index, int r, int g, int b)
{
    switch (target) {
    case 1:
        if (index) line[c >> 3] |= static_cast<BYTE>(0x80 >> (c & 7));
        break;
    case 4: line[c >> 1] |= static_cast<BYTE>((c & 1) ? index : index << 4); break;
    case 8: line[c] = static_cast<BYTE>(index); break;
    default:
        line[3 * c] = static_cast<BYTE>(b);
        line[3 * c + 1] = static_cast<BYTE>(g);
        line[3 * c + 2] = static_cast<BYTE>(r);
        break;
    }
}
}  // namespace

int CLR_FlatDither(HGLOBAL source, HGLOBAL* result, int target, int gray)
{
    if (target != 1 && target != 4 && target != 8 && target != 16 && target != 24) return 0;
    LONG ditherType = SET_Value(SET_DITHER_TYPE);
    bool halftone = ditherType == 0;
    FlatJob job;
    if (!CLR_FlatBegin(&job, source, target, kDitherText)) return 0;
    const LONG width = job.width;

    DitherCell** rows = nullptr;
    const KernelRow& kernel = CLR_GetKernel(ditherType);
    int n = kernel.rows;
    if (!halftone) {
        rows = CLR_AllocRows(n, width);
        if (!rows) {
            CLR_FlatAbandon(&job);
            MSG_Report(SEV_ERROR, kNoMemory);
            return 0;
        }
    }

    bool forward = true;
    for (LONG y = 0; y < job.rows; y++) {
        CLR_FlatProgress(&job, y);
        int step;
        const BYTE* in = CLR_FlatSourceLine(&job, y, &step);
        BYTE* out = job.outPixels + static_cast<size_t>(y) * job.outStride;
        const signed char* matrixRow = CLR_HalftoneMatrix[y & 3];
        DitherCell* errors = rows ? rows[0] : nullptr;
        for (LONG x = 0; x < width; x++) {
            LONG c = forward ? x : width - 1 - x;  // the image column
            const BYTE* p = in + static_cast<size_t>(c) * step;
            int r = p[2], g = p[1], b = p[0];
            int index = 0;
            if (halftone) {
                int m = matrixRow[x & 3];
                int luma = CLR_Luma(r, g, b);
                switch (target) {
                case 1: index = CLR_Clamp(luma + m * 16) >> 7; break;
                case 4: {
                    int offset = m * 2 * (luma >> 4);
                    r = CLR_Clamp(r + offset);
                    if (!gray) {
                        g = CLR_Clamp(g + offset);
                        b = CLR_Clamp(b + offset);
                        index = CLR_Halftone16Map[CLR_Flat16Key(r, g, b)];
                    } else {
                        index = CLR_Flat16Gray(r);
                    }
                    break;
                }
                case 8: {
                    int offset = m * (luma >> 5);
                    r = CLR_Clamp(r + offset);
                    g = CLR_Clamp(g + offset);
                    b = CLR_Clamp(b + offset);
                    index = CLR_Flat256Index(r, g, b);
                    break;
                }
                case 16:
                    r &= 0xF8;
                    g &= 0xF8;
                    b &= 0xF8;
                    break;
                default: break;
                }
                PutPixel(out, c, target, index, r, g, b);
                continue;
            }

            r = CLR_Clamp(r + errors[x].red);
            g = CLR_Clamp(g + errors[x].green);
            b = CLR_Clamp(b + errors[x].blue);
            int qr, qg, qb;
            switch (target) {
            case 1: {
                // The luminance stands for all three channels, so the error is gray.
                int luma = CLR_Luma(r, g, b);
                index = luma >> 7;
                r = g = b = luma;
                qr = qg = qb = index * 255;
                break;
            }
            case 4: {
                index = CLR_Flat16Index(r, g, b, gray, 200);
                const RGBQUAD& q = CLR_Flat16Palette[index];
                qr = q.rgbRed;
                qg = q.rgbGreen;
                qb = q.rgbBlue;
                break;
            }
            case 8:
                // Quantised as the index's top bits, not the palette's value.
                index = CLR_Flat256Index(r, g, b);
                qr = r & 0xE0;
                qg = g & 0xE0;
                qb = b & 0xC0;
                break;
            case 16:
                qr = r & 0xF8;
                qg = g & 0xF8;
                qb = b & 0xF8;
                break;
            default:
                qr = r;
                qg = g;
                qb = b;
                break;
            }
            if (target >= 16) PutPixel(out, c, target, 0, qr, qg, qb);
            else PutPixel(out, c, target, index, r, g, b);
            kernel.kernel(rows, x, y, width, job.rows, r - qr, g - qg, b - qb);
        }
        if (!halftone) {
            CLR_RotateRows(rows, n);
            memset(rows[n - 1], 0, sizeof(DitherCell) * static_cast<size_t>(width));
            for (int k = 0; k < n - 1; k++) MirrorRow(rows[k], width);
            forward = !forward;
        }
    }

    CLR_FreeRows(rows, n);
    CLR_FlatEnd(&job);
    *result = job.output;
    return 1;
}
