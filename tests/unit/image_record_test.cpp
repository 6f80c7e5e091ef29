// The image record's rules that need no window: how attribute numbers read
// and write their fields, and the depth a new window takes from the load
// information. The numbers' wiring is the GUI scenarios' business.
#include <gtest/gtest.h>

#include <cstring>

#include "core/image_record.h"

namespace {

TEST(ImageRecord, DepthFromInfoTakesTheNextDocumentDepth)
{
    struct Case {
        LONG bitsPerPixel, planes;
        DWORD bits;
    };
    const Case cases[] = {
        {1, 1, 1},   {0, 1, 4},   {0, 0, 4},  {2, 1, 4},  {1, 2, 4},  {1, 4, 4},   {4, 1, 4},  {1, 5, 8},
        {5, 1, 8},   {8, 1, 8},   {1, 8, 8},  {9, 1, 16}, {15, 1, 16}, {16, 1, 16}, {8, 2, 16}, {17, 1, 24},
        {8, 3, 24},  {24, 1, 24}, {25, 1, 32}, {8, 4, 32}, {32, 1, 32}, {48, 1, 32}, {1, 24, 24},
        // Unknown values (-1) count as the blank 0.
        {-1, -1, 4}, {8, -1, 4}, {-1, 1, 4},
    };
    for (const Case& c : cases)
        EXPECT_EQ(IMG_DepthFromInfo(c.bitsPerPixel, c.planes), c.bits) << c.bitsPerPixel << " x " << c.planes;
}

}  // namespace
