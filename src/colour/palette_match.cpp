// Palette matching: the nearest entry by the sum of absolute channel
// differences, and the per-operation cache keyed on five bits per channel.
#include "colour/palette_match.h"

#include <cstdlib>

BYTE* CLR_MatchUsed = nullptr;
BYTE* CLR_MatchIndex = nullptr;

namespace {
const size_t kCells = 32768;

inline int Distance(const RGBQUAD& c, int red, int green, int blue)
{
    int dr = c.rgbRed - red, dg = c.rgbGreen - green, db = c.rgbBlue - blue;
    return (dr < 0 ? -dr : dr) + (dg < 0 ? -dg : dg) + (db < 0 ? -db : db);
}
}  // namespace

BYTE CLR_NearestColor(const RGBQUAD* palette, int count, int red, int green, int blue)
{
    if (count <= 1) return 0;
    int best = 0;
    int bestDistance = Distance(palette[0], red, green, blue);
    for (int i = 1; i < count && bestDistance; i++) {
        int d = Distance(palette[i], red, green, blue);
        // Only a strictly nearer entry replaces the best: ties keep the lower index.
        if (d < bestDistance) {
            best = i;
            bestDistance = d;
        }
    }
    return static_cast<BYTE>(best);
}

int CLR_MatchBegin()
{
    CLR_MatchEnd();
    CLR_MatchUsed = static_cast<BYTE*>(calloc(kCells, 1));
    CLR_MatchIndex = CLR_MatchUsed ? static_cast<BYTE*>(calloc(kCells, 1)) : nullptr;
    if (!CLR_MatchIndex) {
        CLR_MatchEnd();
        return 0;
    }
    return 1;
}

void CLR_MatchEnd()
{
    free(CLR_MatchUsed);
    free(CLR_MatchIndex);
    CLR_MatchUsed = nullptr;
    CLR_MatchIndex = nullptr;
}

BYTE CLR_MatchColor(const RGBQUAD* palette, int count, int red, int green, int blue)
{
    if (!CLR_MatchUsed) return CLR_NearestColor(palette, count, red, green, blue);
    UINT cell = CLR_MatchCell(red, green, blue);
    if (!CLR_MatchUsed[cell]) {
        CLR_MatchIndex[cell] = CLR_NearestColor(palette, count, red, green, blue);
        CLR_MatchUsed[cell] = 1;
    }
    return CLR_MatchIndex[cell];
}
