// A film's frame as the window's DIB: bottom-up, 16 bits widened to 24, and
// nothing made of what is no plain frame.
#include <gtest/gtest.h>

#include "formats/avi.h"

#include <vector>

namespace {
std::vector<BYTE> Frame(LONG width, LONG height, WORD bits, DWORD compression, DWORD sizeImage, std::vector<BYTE> rest)
{
    BITMAPINFOHEADER h{sizeof h, width, height, 1, bits, compression, sizeImage, 0, 0, 0, 0};
    std::vector<BYTE> bytes(reinterpret_cast<BYTE*>(&h), reinterpret_cast<BYTE*>(&h) + sizeof h);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

TEST(FilmFrame, BecomesABottomUpDibWith16BitsWidenedTo24AndRefusesWhatIsNoPlainFrame)
{
    // 5-5-5 red, green, blue and 0x4210 in top-down rows of 2; rows of 8 bytes come out, the bottom one first.
    const std::vector<BYTE> top16 = Frame(2, -2, 16, BI_RGB, 0, {0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00, 0x10, 0x42});
    const std::vector<BYTE> want = Frame(2, 2, 24, BI_RGB, 16,
                                         {0xF8, 0, 0, 0x80, 0x80, 0x80, 0, 0, 0, 0, 0xF8, 0, 0xF8, 0, 0, 0});
    const std::vector<BYTE> refused[] = {Frame(2, 2, 8, BI_RLE8, 0, std::vector<BYTE>(1040)),
                                         Frame(2, 2, 3, BI_RGB, 0, std::vector<BYTE>(64)),
                                         Frame(0, 2, 24, BI_RGB, 0, std::vector<BYTE>(16))};
    int noMemory = -1;
    HGLOBAL dib = AVI_FrameToDib(reinterpret_cast<const BITMAPINFOHEADER*>(top16.data()), &noMemory);
    ASSERT_NE(dib, nullptr);
    const BYTE* got = static_cast<const BYTE*>(GlobalLock(dib));
    EXPECT_EQ(std::vector<BYTE>(got, got + GlobalSize(dib)), want);
    GlobalUnlock(dib);
    GlobalFree(dib);
    for (const std::vector<BYTE>& frame : refused) {
        EXPECT_EQ(AVI_FrameToDib(reinterpret_cast<const BITMAPINFOHEADER*>(frame.data()), &noMemory), nullptr);
        EXPECT_EQ(noMemory, 0);
    }
}
}  // namespace
