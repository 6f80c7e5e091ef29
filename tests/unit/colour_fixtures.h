// Helpers of the colour engine's tests: packed DIBs built from plain values,
// their bytes, and the sets of expected results in tests/data/colour.
#pragma once

#include "cli/headless.h"
#include "colour/colour_switches.h"
#include "core/settings.h"
#include "platform/win32.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace colourtest {

using Bytes = std::vector<unsigned char>;

// The fixture of the Flat Cut and dither tests: each starts from the default
// settings, no progress shown, and no boxes or thermometer calls recorded.
class ReductionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        SET_Reset();
        CLR_SetFlatProgress(0);
        HDL_ClearBoxes();
        HDL_ClearThermometerCalls();
    }
};

// A moveable block holding exactly these bytes.
inline HGLOBAL BlockFrom(const Bytes& bytes)
{
    HGLOBAL h = GlobalAlloc(GHND, bytes.size());
    if (!h) return nullptr;
    memcpy(GlobalLock(h), bytes.data(), bytes.size());
    GlobalUnlock(h);
    return h;
}

// The bytes of a block, all GlobalSize of them.
inline Bytes BytesOf(HGLOBAL h)
{
    Bytes out(GlobalSize(h));
    const void* p = GlobalLock(h);
    if (p && !out.empty()) memcpy(out.data(), p, out.size());
    GlobalUnlock(h);
    return out;
}

// The bytes a packed DIB is made of by its header: header, table, pixels.
inline Bytes PackedBytesOf(HGLOBAL mem)
{
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(mem));
    BITMAPINFOHEADER h;
    memcpy(&h, p, sizeof h);
    Bytes out(p, p + h.biSize + 4 * h.biClrUsed + h.biSizeImage);
    GlobalUnlock(mem);
    return out;
}

inline void Put16(Bytes& b, unsigned v)
{
    b.push_back(static_cast<unsigned char>(v));
    b.push_back(static_cast<unsigned char>(v >> 8));
}
inline void Put32(Bytes& b, uint32_t v)
{
    for (int i = 0; i < 4; i++) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

inline uint32_t Stride(int width, int bits) { return (static_cast<uint32_t>(width) * bits + 31) / 32 * 4; }

// A 40-byte header with biSizeImage = stride * height and biClrUsed = biClrImportant = colours.
inline Bytes Header(int width, int height, int bits, uint32_t colours)
{
    Bytes b;
    Put32(b, 40);
    Put32(b, static_cast<uint32_t>(width));
    Put32(b, static_cast<uint32_t>(height));
    Put16(b, 1);
    Put16(b, static_cast<unsigned>(bits));
    Put32(b, 0);
    Put32(b, Stride(width, bits) * static_cast<uint32_t>(height < 0 ? -height : height));
    Put32(b, 0);
    Put32(b, 0);
    Put32(b, colours);
    Put32(b, colours);
    return b;
}

struct Rgb {
    int r, g, b;
};

// Table entries stored blue, green, red, 0.
inline void PutTable(Bytes& b, const std::vector<Rgb>& colours)
{
    for (const Rgb& c : colours) {
        b.push_back(static_cast<unsigned char>(c.b));
        b.push_back(static_cast<unsigned char>(c.g));
        b.push_back(static_cast<unsigned char>(c.r));
        b.push_back(0);
    }
}

// A 24-bit DIB from rows of colours (row 0 first in memory), padding zero.
inline Bytes Dib24(const std::vector<std::vector<Rgb>>& rows)
{
    int width = static_cast<int>(rows[0].size()), height = static_cast<int>(rows.size());
    Bytes b = Header(width, height, 24, 0);
    for (const auto& row : rows) {
        size_t start = b.size();
        for (const Rgb& c : row) {
            b.push_back(static_cast<unsigned char>(c.b));
            b.push_back(static_cast<unsigned char>(c.g));
            b.push_back(static_cast<unsigned char>(c.r));
        }
        b.resize(start + Stride(width, 24), 0);
    }
    return b;
}

// A DIB of 1, 4 or 8 bits from rows of indices and a table, padding zero.
inline Bytes DibIndexed(int bits, const std::vector<Rgb>& table, const std::vector<std::vector<int>>& rows)
{
    int width = static_cast<int>(rows[0].size()), height = static_cast<int>(rows.size());
    Bytes b = Header(width, height, bits, static_cast<uint32_t>(table.size()));
    PutTable(b, table);
    for (const auto& row : rows) {
        size_t start = b.size();
        b.resize(start + Stride(width, bits), 0);
        for (int x = 0; x < width; x++) {
            int v = row[x];
            if (bits == 1) b[start + x / 8] |= static_cast<unsigned char>((v & 1) << (7 - x % 8));
            else if (bits == 4) b[start + x / 2] |= static_cast<unsigned char>((v & 15) << (x % 2 ? 0 : 4));
            else b[start + x] = static_cast<unsigned char>(v);
        }
    }
    return b;
}

// Where the pixels of a packed DIB begin (40-byte header, biClrUsed entries).
inline size_t PixelOffset(const Bytes& dib)
{
    uint32_t used = dib[32] | dib[33] << 8 | dib[34] << 16 | static_cast<uint32_t>(dib[35]) << 24;
    return 40 + 4 * used;
}

// "offset N: got X, want Y" for the first difference, or "" when equal.
inline std::string FirstDifference(const Bytes& got, const Bytes& want)
{
    if (got == want) return "";
    size_t n = got.size() < want.size() ? got.size() : want.size();
    for (size_t i = 0; i < n; i++)
        if (got[i] != want[i])
            return "offset " + std::to_string(i) + ": got " + std::to_string(got[i]) + ", want " + std::to_string(want[i]);
    return "size " + std::to_string(got.size()) + ", want " + std::to_string(want.size());
}

// A set of expected results written by tests/data/colour/flat_make_golden.py.
struct GoldenCase {
    std::string name;
    int op, image, target, gray, ditherType, fastDither;
    Bytes templ, expected;
};
struct GoldenSet {
    std::vector<Bytes> images;
    std::vector<GoldenCase> cases;
    bool ok = false;
};

inline GoldenSet ReadGolden(const std::string& file)
{
    GoldenSet set;
    Bytes data = ReadWholeFile(DataPath("colour/" + file));
    size_t at = 0;
    bool bad = false;
    auto need = [&](size_t n) {
        if (at + n > data.size()) bad = true;
        return !bad;
    };
    auto u8 = [&]() -> unsigned { return need(1) ? data[at++] : 0; };
    auto u32 = [&]() -> uint32_t {
        if (!need(4)) return 0;
        uint32_t v = data[at] | data[at + 1] << 8 | data[at + 2] << 16 | static_cast<uint32_t>(data[at + 3]) << 24;
        at += 4;
        return v;
    };
    auto blob = [&]() -> Bytes {
        uint32_t n = u32();
        if (!need(n)) return {};
        Bytes b(data.begin() + at, data.begin() + at + n);
        at += n;
        return b;
    };
    if (!need(4) || memcmp(data.data(), "KVCG", 4) != 0) return set;
    at = 4;
    uint32_t images = u32();
    for (uint32_t i = 0; i < images && !bad; i++) set.images.push_back(blob());
    uint32_t cases = u32();
    for (uint32_t i = 0; i < cases && !bad; i++) {
        GoldenCase c;
        unsigned len = u8();
        if (!need(len)) break;
        c.name.assign(reinterpret_cast<const char*>(data.data() + at), len);
        at += len;
        c.op = u8();
        c.image = u8();
        c.target = u8();
        c.gray = u8();
        c.ditherType = u8();
        c.fastDither = u8();
        c.templ = blob();
        c.expected = blob();
        set.cases.push_back(c);
    }
    set.ok = !bad && at == data.size() && set.cases.size() == cases;
    return set;
}

}  // namespace colourtest
