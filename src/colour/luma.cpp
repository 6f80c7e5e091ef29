// Luminance tables: (|v| * w + 51) / 100 with w in hundredths, sign restored,
// which is v * weight + 0.51 truncated toward zero without floating point.
#include "colour/luma.h"

LONG CLR_LumaRedTable[512];
LONG CLR_LumaGreenTable[512];
LONG CLR_LumaBlueTable[512];

namespace {
LONG Weighted(int v, int hundredths)
{
    LONG magnitude = (static_cast<LONG>(v < 0 ? -v : v) * hundredths + 51) / 100;
    return v < 0 ? -magnitude : magnitude;
}

// Filled before main so that no caller can see an empty table.
struct LumaInit {
    LumaInit() { CLR_InitLuma(); }
} lumaInit;
}  // namespace

void CLR_InitLuma()
{
    for (int v = -256; v < 256; v++) {
        CLR_LumaRedTable[v + 256] = Weighted(v, 30);
        CLR_LumaGreenTable[v + 256] = Weighted(v, 59);
        CLR_LumaBlueTable[v + 256] = Weighted(v, 11);
    }
}
