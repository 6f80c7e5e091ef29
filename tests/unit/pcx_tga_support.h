// Helpers of the PCX and TGA tests: DIBs built in code and a locked view of
// them; the corpus helpers come with them.
#pragma once

#include "core/messages.h"
#include "corpus_support.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace pcxtga {

// ---- DIBs -------------------------------------------------------------------------------

// A packed DIB of the given depth with colour entries entries (written into
// biClrUsed when used is set, else the depth's count) and zero pixels.
inline HGLOBAL MakeDib(LONG width, LONG height, int bits, DWORD used = 0)
{
    return BlankDib(width, height, bits, used, used ? used : DIB_ColorsForBits(bits));
}

// A locked view of a DIB for the length of a scope.
struct DibView {
    HGLOBAL dib;
    BITMAPINFOHEADER* h = nullptr;
    RGBQUAD* table = nullptr;
    BYTE* pixels = nullptr;
    DWORD stride = 0;
    explicit DibView(HGLOBAL handle) : dib(handle)
    {
        DIB_Lock(dib, &h, &table, &pixels);
        stride = DIB_Stride(h->biWidth, h->biBitCount);
    }
    ~DibView() { GlobalUnlock(dib); }
    // Row y counted from the top of the picture.
    BYTE* Top(LONG y) const { return pixels + static_cast<size_t>(h->biHeight - 1 - y) * stride; }
    Bytes TopRow(LONG y, size_t n) const { return Bytes(Top(y), Top(y) + n); }
    // The pixel (x, y from the top) as an index, or blue-green-red(-alpha) bytes packed little-endian.
    uint32_t At(LONG x, LONG y) const
    {
        const BYTE* r = Top(y);
        switch (h->biBitCount) {
        case 1: return (r[x >> 3] >> (7 - (x & 7))) & 1;
        case 4: return (x & 1) ? r[x >> 1] & 15 : r[x >> 1] >> 4;
        case 8: return r[x];
        case 24: return r[3 * x] | r[3 * x + 1] << 8 | r[3 * x + 2] << 16;
        case 32: return r[4 * x] | r[4 * x + 1] << 8 | r[4 * x + 2] << 16 | static_cast<uint32_t>(r[4 * x + 3]) << 24;
        default: return 0;
        }
    }
};

// Frees a DIB at the end of a scope, after the views declared behind it.
struct OwnedDib {
    HGLOBAL dib;
    ~OwnedDib()
    {
        if (dib) GlobalFree(dib);
    }
};

inline void SetEntry(RGBQUAD* table, int i, BYTE red, BYTE green, BYTE blue)
{
    table[i].rgbRed = red;
    table[i].rgbGreen = green;
    table[i].rgbBlue = blue;
    table[i].rgbReserved = 0;
}

// a followed by b.
inline Bytes Cat(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// ---- the fixture ----------------------------------------------------------------------------

// Each test starts with the formats registered, no batch, no abort and
// questions answered No; the scratch files it made through Temp are removed.
class FormatTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        FMT_RegisterBuiltins();
        HDL_ClearBoxes();
        HDL_SetPolicy(IDNO);
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
        HDL_RequestStop(false);
    }
    void TearDown() override
    {
        HDL_ClearBoxes();
        HDL_RequestStop(false);
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
        for (const std::string& p : made) remove(p.c_str());
    }
    // A scratch path, removed after the test.
    std::string Temp(const std::string& name)
    {
        made.push_back(TempPath(name));
        return made.back();
    }
    std::vector<std::string> made;
};

}  // namespace pcxtga
