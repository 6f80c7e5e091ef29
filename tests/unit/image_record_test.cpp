// The image record's rules that need no window: how attribute numbers read
// and write their fields, and the depth a new window takes from the load
// information. The numbers' wiring is the GUI scenarios' business.
#include <gtest/gtest.h>

#include <cstring>

#include "core/image_record.h"

namespace {

TEST(ImageRecord, SignedFieldsReadSignExtendedOthersZeroExtended)
{
    ImageRecord r{};
    r.format = -1;
    r.scrollX = -5;
    r.scrollY = -6;
    r.fileSize = -1;
    r.flags = 0xFFFFFFFFu;
    r.bits = 0x80000000u;
    EXPECT_EQ(IMG_RecordGet(&r, IA_FORMAT), -1);
    EXPECT_EQ(IMG_RecordGet(&r, IA_SCROLL_X), -5);
    EXPECT_EQ(IMG_RecordGet(&r, IA_SCROLL_Y), -6);
    EXPECT_EQ(IMG_RecordGet(&r, IA_FILE_SIZE), -1);
    EXPECT_EQ(static_cast<ULONG_PTR>(IMG_RecordGet(&r, IA_FLAGS)), static_cast<ULONG_PTR>(0xFFFFFFFFu));
    EXPECT_EQ(static_cast<ULONG_PTR>(IMG_RecordGet(&r, IA_BITS)), static_cast<ULONG_PTR>(0x80000000u));
}

TEST(ImageRecord, SetWritesOnlyItsOwnFieldCutToItsWidth)
{
    ImageRecord r{};
    std::memset(&r, 0x5A, sizeof r);
    ImageRecord before = r;
    ASSERT_EQ(IMG_RecordSet(&r, IA_COMPRESSED, 1), 1);
    EXPECT_EQ(r.compressed, 1u);
    r.compressed = before.compressed;
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0) << "another field changed";

    ASSERT_EQ(IMG_RecordSet(&r, IA_FORMAT, -1), 1);
    EXPECT_EQ(r.format, -1);
    // A value wider than a 32-bit field keeps its low 32 bits.
    const LONG_PTR wide = static_cast<LONG_PTR>(sizeof(LONG_PTR) > 4 ? 0x100000005LL : 5);
    ASSERT_EQ(IMG_RecordSet(&r, IA_BITS, wide), 1);
    EXPECT_EQ(r.bits, 5u);
    // A handle field holds a whole pointer.
    const LONG_PTR handle = static_cast<LONG_PTR>(sizeof(LONG_PTR) > 4 ? 0x123456789ALL : 0x12345678);
    ASSERT_EQ(IMG_RecordSet(&r, IA_EXTRA, handle), 1);
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(r.hExtra), handle);
    EXPECT_EQ(IMG_RecordGet(&r, IA_EXTRA), handle);
}

TEST(ImageRecord, NumbersThatNameNoFieldReadZeroAndWriteNothing)
{
    ImageRecord r{};
    std::memset(&r, 0x77, sizeof r);
    const ImageRecord before = r;
    for (int attribute : {-4, -1, 1, 2, 3, 6, 66, 68, 72, 1000}) {
        EXPECT_EQ(IMG_RecordGet(&r, attribute), 0) << attribute;
        EXPECT_EQ(IMG_RecordSet(&r, attribute, 99), 0) << attribute;
    }
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0);
}

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
