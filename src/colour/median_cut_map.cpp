// Optimized Cut, third stage: every pixel's palette index, one table read per
// pixel through the restored map.
#include "colour/median_cut_state.h"

#include "platform/thermometer.h"

namespace {
// The palette index of a key; a colour the histogram never saw gives 0.
inline BYTE IndexOf(const CutRef* table, DWORD key)
{
    CutRef ref = table[key];
    return ref ? static_cast<BYTE>(CUT_Color(ref).index) : 0;
}

// Writes the index of pixel x as a nibble, the first pixel of a byte high.
inline void PutNibble(BYTE* line, LONG x, BYTE index)
{
    BYTE& b = line[x >> 1];
    if (x & 1)
        b = static_cast<BYTE>((b & 0xF0) | (index & 0x0F));
    else
        b = static_cast<BYTE>((b & 0x0F) | (index << 4));
}
}  // namespace

int CLR_CutMapPixels(const BYTE* source, BYTE* dest, LONG width, LONG height, int sourceBits, int destBits,
                     const RGBQUAD* colors)
{
    CutState& s = CUT_State;
    if (!s.table || width <= 0 || height <= 0) return 1;
    const CutRef* table = s.table;
    const DWORD srcStride = ((static_cast<DWORD>(width) * static_cast<DWORD>(sourceBits) + 31) >> 5) << 2;
    const DWORD dstStride = ((static_cast<DWORD>(width) * static_cast<DWORD>(destBits) + 31) >> 5) << 2;
    const bool bytes = sourceBits >= 24 && destBits == 8;
    for (LONG y = 0; y < height; y++) {
        if (s.progress && ((y & 15) == 0 || y == height - 1))
            TRM_Update(static_cast<WORD>(s.progressHeight + y + 1));
        const BYTE* p = source + static_cast<SIZE_T>(y) * srcStride;
        BYTE* q = dest + static_cast<SIZE_T>(y) * dstStride;
        switch (sourceBits) {
        case 8:
            // A paletted source always gives nibbles (it comes here with 16 colours).
            for (LONG x = 0; x < width; x++) {
                const RGBQUAD& c = colors[p[x]];
                PutNibble(q, x, IndexOf(table, CUT_Key(c.rgbRed, c.rgbGreen, c.rgbBlue)));
            }
            break;
        case 24:
        case 32: {
            const int step = sourceBits / 8;
            if (bytes) {
                for (LONG x = 0; x < width; x++, p += step) q[x] = IndexOf(table, CUT_Key(p[2], p[1], p[0]));
            } else {
                // Two pixels to a byte; an odd last pixel leaves the low nibble 0.
                LONG x = 0;
                for (; x + 1 < width; x += 2, p += 2 * step)
                    q[x >> 1] = static_cast<BYTE>((IndexOf(table, CUT_Key(p[2], p[1], p[0])) << 4) |
                                                  (IndexOf(table, CUT_Key(p[step + 2], p[step + 1], p[step])) & 0x0F));
                if (x < width) q[x >> 1] = static_cast<BYTE>(IndexOf(table, CUT_Key(p[2], p[1], p[0])) << 4);
            }
            break;
        }
        default:
            break;  // other depths are never mapped
        }
    }
    return 1;
}
