// Frames of films as the window's DIB, and the AVI row where there is no film source.
#include <gtest/gtest.h>

#include "cli/headless.h"
#include "formats/avi.h"
#include "formats/format_table.h"
#include "formats/formats.h"

#include <vector>

namespace {
// A frame: header, then table and pixel bytes as given.
std::vector<BYTE> Frame(LONG width, LONG height, WORD bits, DWORD compression, DWORD used, std::vector<BYTE> rest)
{
    BITMAPINFOHEADER h{};
    h.biSize = sizeof h;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = bits;
    h.biCompression = compression;
    h.biClrUsed = used;
    std::vector<BYTE> bytes(reinterpret_cast<BYTE*>(&h), reinterpret_cast<BYTE*>(&h) + sizeof h);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

TEST(FilmFrame, BecomesABottomUpDibWith16BitsWidenedTo24AndRefusesWhatIsNoPlainFrame)
{
    struct Case {
        std::vector<BYTE> frame;
        DWORD sizeImage;
        std::vector<BYTE> want;  // empty: refused
    };
    // 5-5-5 pixels 0x7C00 (red), 0x03E0 (green), 0x001F (blue), 0x4210; top-down rows of 2.
    const std::vector<BYTE> top16 = Frame(2, -2, 16, BI_RGB, 0, {0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00, 0x10, 0x42});
    const std::vector<BYTE> want24 = Frame(2, 2, 24, BI_RGB, 0,
                                           {0xF8, 0, 0, 0x80, 0x80, 0x80, 0, 0,  // bottom row first
                                            0, 0, 0xF8, 0, 0xF8, 0, 0, 0});
    // Two colours of a 1-bit frame, rows of 4 bytes, bottom-up already.
    const std::vector<BYTE> mono = Frame(3, 2, 1, BI_RGB, 2, {1, 2, 3, 0, 4, 5, 6, 0, 0xA0, 0, 0, 0, 0x40, 0, 0, 0});
    const std::vector<BYTE> rle = Frame(2, 2, 8, BI_RLE8, 0, std::vector<BYTE>(1024 + 8));
    const std::vector<BYTE> odd = Frame(2, 2, 3, BI_RGB, 0, std::vector<BYTE>(64));
    const std::vector<BYTE> empty = Frame(0, 2, 24, BI_RGB, 0, std::vector<BYTE>(16));
    const Case cases[] = {{top16, 16, want24}, {mono, 8, mono}, {rle, 0, {}}, {odd, 0, {}}, {empty, 0, {}}};
    for (const Case& c : cases) {
        int noMemory = -1;
        HGLOBAL dib = AVI_FrameToDib(reinterpret_cast<const BITMAPINFOHEADER*>(c.frame.data()), &noMemory);
        EXPECT_EQ(noMemory, 0);
        if (c.want.empty()) {
            EXPECT_EQ(dib, nullptr);
            continue;
        }
        ASSERT_NE(dib, nullptr);
        std::vector<BYTE> want = c.want;
        // The new header counts its pixel bytes.
        reinterpret_cast<BITMAPINFOHEADER*>(want.data())->biSizeImage = c.sizeImage;
        const BYTE* got = static_cast<const BYTE*>(GlobalLock(dib));
        EXPECT_EQ(std::vector<BYTE>(got, got + GlobalSize(dib)), want);
        GlobalUnlock(dib);
        GlobalFree(dib);
    }
}

#ifndef _WIN32
TEST(FilmFrame, TheAviRowSaysItNeedsWindowsWhereThereIsNoFilmSource)
{
    FMT_RegisterBuiltins();
    HDL_ClearBoxes();
    HGLOBAL dib = reinterpret_cast<HGLOBAL>(1);
    EXPECT_EQ(AVI_Load("film.avi", &dib), 0);
    EXPECT_EQ(dib, nullptr);
    ASSERT_EQ(HDL_Boxes().size(), 1u);
    EXPECT_EQ(HDL_Boxes()[0].text, "AVI files are read through the Windows AVIFile services, which this system does not have");
}
#endif
}  // namespace
