// The image record's rules that need no window: attribute numbers, the depth
// and flags a new window takes from the load information, block copies, and
// the wire layout shared with other programs.
#include <gtest/gtest.h>

#include <cstring>

#include "core/image_record.h"
#include "core/service_block.h"

namespace {

// Each field set through its member, read back through its attribute number.
TEST(ImageRecord, AttributeNumbersReachTheirFieldsInOrder)
{
    ImageRecord r{};
    r.flags = 0x1111;
    r.hDIB = reinterpret_cast<HGLOBAL>(static_cast<uintptr_t>(0x2222));
    r.hExtra = reinterpret_cast<HGLOBAL>(static_cast<uintptr_t>(0x3333));
    r.hBitmap = reinterpret_cast<HBITMAP>(static_cast<uintptr_t>(0x4444));
    r.hPalette = reinterpret_cast<HPALETTE>(static_cast<uintptr_t>(0x5555));
    r.paletteUpdates = 6;
    r.bits = 24;
    r.compressed = 8;
    r.format = 9;
    r.savePreset = 10;
    r.mediaAlias = 65535;
    r.scrollX = 12;
    r.scrollY = 13;
    r.fileSize = 14;
    r.hPath = reinterpret_cast<HGLOBAL>(static_cast<uintptr_t>(0xF0F0));
    r.reserved = 16;
    r.hComment = reinterpret_cast<HGLOBAL>(static_cast<uintptr_t>(0xABCD));
    const LONG_PTR expected[IMG_FieldCount] = {0x1111, 0x2222, 0x3333, 0x4444, 0x5555, 6,  24,     8, 9,
                                               10,     65535,  12,     13,     14,     0xF0F0, 16, 0xABCD};
    for (int i = 0; i < IMG_FieldCount; ++i)
        EXPECT_EQ(IMG_RecordGet(&r, 4 * i), expected[i]) << "attribute " << 4 * i;
    EXPECT_EQ(IMG_RecordGet(&r, IA_BITS), 24);
    EXPECT_EQ(IMG_RecordGet(&r, IA_MEDIA_ALIAS), 65535);

    // The fields lie in attribute order, each behind the previous one.
    size_t last = 0, lastWidth = 0;
    for (int i = 0; i < IMG_FieldCount; ++i) {
        size_t offset = 0, width = 0;
        bool isSigned = false;
        ASSERT_TRUE(IMG_AttrField(4 * i, &offset, &width, &isSigned));
        if (i > 0) {
            EXPECT_GE(offset, last + lastWidth) << "attribute " << 4 * i;
        }
        last = offset;
        lastWidth = width;
    }
    EXPECT_LE(last + lastWidth, sizeof(ImageRecord));
}

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

TEST(ImageRecord, InfoGivesColourCompressionAndDocumentFlag)
{
    EXPECT_TRUE(IMG_ColourFromInfo(0));
    EXPECT_TRUE(IMG_ColourFromInfo(-1));
    EXPECT_FALSE(IMG_ColourFromInfo(1));
    EXPECT_EQ(IMG_CompressedFromInfo(-1), 0u);
    EXPECT_EQ(IMG_CompressedFromInfo(0), 0u);
    EXPECT_EQ(IMG_CompressedFromInfo(1), 1u);

    EXPECT_EQ(IMG_TypeFlag(0), static_cast<DWORD>(0x0010));
    EXPECT_EQ(IMG_TypeFlag(1), static_cast<DWORD>(0x0020));
    // A meta-file and an animation set no flag here; neither do unknown codes.
    EXPECT_EQ(IMG_TypeFlag(2), 0u);
    EXPECT_EQ(IMG_TypeFlag(3), 0u);
    EXPECT_EQ(IMG_TypeFlag(4), static_cast<DWORD>(0x0200));
    EXPECT_EQ(IMG_TypeFlag(5), static_cast<DWORD>(0x0400));
    EXPECT_EQ(IMG_TypeFlag(6), 0u);
    EXPECT_EQ(IMG_TypeFlag(-1), 0u);
    EXPECT_EQ(IF_MEDIA, static_cast<DWORD>(0x0640));
}

TEST(ImageRecord, CopyBlockDuplicatesSizeAndContents)
{
    HGLOBAL source = GlobalAlloc(GMEM_MOVEABLE, 37);
    ASSERT_NE(source, nullptr);
    auto* bytes = static_cast<BYTE*>(GlobalLock(source));
    for (int i = 0; i < 37; ++i) bytes[i] = static_cast<BYTE>(i * 7 + 1);
    GlobalUnlock(source);

    HGLOBAL copy = MEM_CopyBlock(source);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, source);
    EXPECT_EQ(GlobalSize(copy), GlobalSize(source));
    auto* from = static_cast<BYTE*>(GlobalLock(source));
    auto* to = static_cast<BYTE*>(GlobalLock(copy));
    EXPECT_EQ(std::memcmp(from, to, 37), 0);
    to[0] = 0xEE;
    EXPECT_EQ(from[0], 1);
    GlobalUnlock(copy);
    GlobalUnlock(source);
    GlobalFree(copy);
    GlobalFree(source);
    EXPECT_EQ(MEM_CopyBlock(nullptr), nullptr);
}

TEST(ImageRecord, NewRecordIsCleared)
{
    ImageRecord* r = IMG_NewRecord();
    ASSERT_NE(r, nullptr);
    static const ImageRecord zero{};
    EXPECT_EQ(std::memcmp(r, &zero, sizeof zero), 0);
    IMG_FreeRecord(r);
}

// The numbers other programs use to reach the frame and a first instance.
TEST(ServiceBlock, MessagesAndSharedNameLayout)
{
    EXPECT_EQ(SVC_Message(0), 5684u);
    EXPECT_EQ(SVC_Message(31), 5715u);
    EXPECT_EQ(SVC_Message(77), 5761u);
    EXPECT_EQ(CMO_TextPointerAt, 8u);
    EXPECT_EQ(CMO_RowAt, 48u);
    EXPECT_EQ(CMO_FormatIdAt, 52u);
    EXPECT_EQ(CMO_TextAt, 56u);
    EXPECT_EQ(CMO_TextAt + CMO_TextRoom, 1024u);
    EXPECT_STREQ(CMO_Name, "CoreMemObject");
    // The block's fields lie in the order outside programs rely on.
    const size_t offsets[] = {offsetof(ServiceBlock, window),   offsetof(ServiceBlock, hDIB),
                              offsetof(ServiceBlock, text),     offsetof(ServiceBlock, attribute),
                              offsetof(ServiceBlock, object),   offsetof(ServiceBlock, record),
                              offsetof(ServiceBlock, flag),     offsetof(ServiceBlock, option),
                              offsetof(ServiceBlock, value),    offsetof(ServiceBlock, value2),
                              offsetof(ServiceBlock, value3),   offsetof(ServiceBlock, value4),
                              offsetof(ServiceBlock, row),      offsetof(ServiceBlock, formatId)};
    for (size_t i = 1; i < sizeof offsets / sizeof offsets[0]; ++i) {
        EXPECT_GT(offsets[i], offsets[i - 1]) << i;
    }
    if (sizeof(void*) == 4) {
        EXPECT_EQ(offsets[13], 52u);
        EXPECT_EQ(sizeof(ServiceBlock), 56u);
    }
}

}  // namespace
