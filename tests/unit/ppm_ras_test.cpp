// The PPM and Sun raster readers and writers: bytes worked out by hand at every
// depth written, the readers' rules and refusals, the corpus files.
#include "corpus_support.h"

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// A Sun raster header of eight big-endian longs.
Bytes Header(DWORD width, DWORD height, DWORD depth, DWORD type, DWORD mapType, DWORD mapLength, DWORD length = 0)
{
    Bytes out;
    for (DWORD v : {DWORD{0x59A66A95u}, width, height, depth, length, type, mapType, mapLength})
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<BYTE>(v >> shift));
    return out;
}

class PpmRas : public FormatTest {
protected:
    void Load(int (*load)(LPCSTR, HGLOBAL*), const Bytes& file, LoadedDib& l)
    {
        std::string path = Temp("in");
        ASSERT_TRUE(WriteWholeFile(path, file));
        LoadWith(load, path, l);
    }
    // Saves, then reads the file written (none when the save made none).
    Bytes Save(int (*save)(LPCSTR, HGLOBAL, WORD, WORD, WORD), HGLOBAL dib, WORD color, WORD depth, int expected = 1)
    {
        std::string path = Temp("out");
        remove(path.c_str());
        EXPECT_EQ(expected, save(path.c_str(), dib, color, 0, depth));
        return ReadWholeFile(path);
    }
};

TEST_F(PpmRas, PpmWriterBytesAtEveryDepth)
{
    // 8 bits, 2 x 2, index 1 = (red 10, green 20, blue 30), rows 1 0 / 0 1 from
    // the top: colour is the entry's red, green, blue, gray its red byte.
    OwnedDib mapped{MakeDib(2, 2, 8, 2)}, rgb{MakeDib(2, 1, 24)}, wide{MakeDib(1, 1, 32)};
    SetEntry(DibView(mapped.dib).table, 1, 10, 20, 30);
    memcpy(DibView(mapped.dib).pixels, "\x00\x01\x00\x00\x01\x00\x00\x00", 8);
    EXPECT_EQ(Cat(Text("P6\n2 2\n255\n"), {10, 20, 30, 0, 0, 0, 0, 0, 0, 10, 20, 30}), Save(PPM_Save, mapped.dib, 1, 8));
    EXPECT_EQ(Cat(Text("P5\n2 2\n255\n"), {10, 0, 0, 10}), Save(PPM_Save, mapped.dib, 0, 8));
    // 24 bits: blue, green, red go out red, green, blue; gray takes the blue byte.
    memcpy(DibView(rgb.dib).pixels, "\x01\x02\x03\x04\x05\x06", 6);
    EXPECT_EQ(Cat(Text("P6\n2 1\n255\n"), {3, 2, 1, 6, 5, 4}), Save(PPM_Save, rgb.dib, 1, 24));
    EXPECT_EQ(Cat(Text("P5\n2 1\n255\n"), {1, 4}), Save(PPM_Save, rgb.dib, 0, 24));
    // A 32-bit DIB is refused, naming the depth asked for; no file is made.
    EXPECT_TRUE(Save(PPM_Save, wide.dib, 1, 24, 0).empty());
    EXPECT_EQ(std::vector<std::string>{"Cannot save 24-bit PCX files"}, BoxTexts());
}

TEST_F(PpmRas, PpmReaderFormsNumbersAndRefusals)
{
    const char* notLegal = "Not a legal PPM format file";
    // A message ("" a silent failure) or the pixels of a load, rows from the bottom.
    const struct { const char* file; const char* message; Bytes pixels; } cases[] = {
        {"P2\n3 1\n15\n0 15 99\n", nullptr, {0, 255, 255, 0}},        // maximum 15 scales; above it counts as it
        {"P2 #a\n2#b\n1 255\n4#c\n5", nullptr, {4, 5, 0, 0}},         // a comment stands for its line feed
        {"P5\n1 2\n255\n\x07", nullptr, {255, 0, 0, 0, 7, 0, 0, 0}},  // top row first; a missing byte is 0xFF
        {"P3\n1 1\n255\n1 2 3\n", nullptr, {3, 2, 1, 0}},
        {"P6\n1 1\n255\n\x01\x02\x03", nullptr, {3, 2, 1, 0}},
        {"P5 65537 1 255 \x09", nullptr, {9, 0, 0, 0}},  // numbers are unsigned 16-bit
        {"Q5\n1 1\n255\n", "Not a legal PPM file", {}},
        {"P2\r\n1 1\n255\n0\n", notLegal, {}},
        {"P1\n1 1\n1\n0\n", notLegal, {}},
        {"P4\n8 1\n255\n\xff", notLegal, {}},
        {"P5\n1 1\n0\n\x01", notLegal, {}},
        {"P5\n-1 1\n255\n", notLegal, {}},
        {"P6\n65535 65535\n255\n", "Not enough memory to load PPM image", {}},
        {"P2\n2 1\n255\n7\n", "", {}},  // a sample that isn't a number
        {"P3\n1 1\n255\n1 -2 3\n", "", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        LoadedDib l;
        Load(PPM_Load, Text(c.file), l);
        EXPECT_EQ(c.message ? 0 : 1, l.result);
        EXPECT_EQ(c.message && *c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{}, l.texts);
        EXPECT_EQ(c.pixels, l.pixels);
        if (!c.message) {
            EXPECT_EQ(c.file[1] == '2' || c.file[1] == '5' ? 8 : 24, l.h.biBitCount);
        }
    }
}

TEST_F(PpmRas, RasWriterBytesAtEveryDepth)
{
    // Lines are padded to 16 bits with 0: 3 pixels of 1 bit take 2 bytes, of
    // 8 bits 4, 1 pixel of 24 bits 4. Maps go all red, all green, all blue.
    OwnedDib mono{MakeDib(3, 2, 1, 2)}, mapped{MakeDib(3, 1, 8, 2)}, rgb{MakeDib(1, 1, 24)}, nibbles{MakeDib(1, 1, 4)};
    SetEntry(DibView(mono.dib).table, 0, 1, 2, 3);
    SetEntry(DibView(mono.dib).table, 1, 4, 5, 6);
    memcpy(DibView(mono.dib).pixels, "\x40\0\0\0\xA0", 5);  // rows from the top: A0, 40
    SetEntry(DibView(mapped.dib).table, 1, 7, 8, 9);
    memcpy(DibView(mapped.dib).pixels, "\x01\x00\x01", 3);
    memcpy(DibView(rgb.dib).pixels, "\x0A\x0B\x0C", 3);
    const struct { HGLOBAL dib; Bytes expected; } cases[] = {
        {mono.dib, Cat(Cat(Header(3, 2, 1, 1, 1, 6, 4), {1, 4, 2, 5, 3, 6}), {0xA0, 0, 0x40, 0})},
        {mapped.dib, Cat(Cat(Header(3, 1, 8, 1, 1, 6, 4), {0, 7, 0, 8, 0, 9}), {1, 0, 1, 0})},
        {rgb.dib, Cat(Header(1, 1, 24, 1, 0, 0, 4), {0x0A, 0x0B, 0x0C, 0})},
    };
    for (const auto& c : cases) EXPECT_EQ(c.expected, Save(RAS_Save, c.dib, 1, DibView(c.dib).h->biBitCount));
    // A depth the row doesn't offer is refused before a file is made.
    EXPECT_TRUE(Save(RAS_Save, nibbles.dib, 1, 4, 0).empty());
    EXPECT_EQ(std::vector<std::string>{"Unsupported RAS format"}, BoxTexts());
}

TEST_F(PpmRas, RasReaderDepthsMapsRunsAndRefusals)
{
    Bytes reds(768), cut = Header(1, 1, 8, 1, 0, 0);
    for (int i = 0; i < 256; i++) reds[i] = static_cast<BYTE>(i);
    cut.pop_back();
    const std::string incomplete = "Incomplete RAS file, cannot load", unsupported = "Unsupported RAS format",
                      ask = "Possible errors encountered while reading\nfile, Continue loading this file?",
                      ignore24 = "Ignoring colormap in 24-bit RAS image";
    // The answer to the question, the boxes, the first two entries and the
    // pixels (rows from the bottom) of a load; no pixels for a refusal.
    const struct { Bytes file; int answer; std::vector<std::string> texts; Bytes table, pixels; } cases[] = {
        // Mono: without a map 0 is white; a map is read red, green, blue.
        {Cat(Header(17, 1, 1, 1, 0, 0), {0x80, 0, 0x80, 0}), IDNO, {}, {255, 255, 255, 0, 0, 0, 0, 0}, {0x80, 0, 0x80, 0}},
        {Cat(Header(1, 1, 1, 1, 1, 6), {1, 2, 3, 4, 5, 6, 0x80, 0}), IDNO, {}, {5, 3, 1, 0, 6, 4, 2, 0}, {0x80, 0, 0, 0}},
        // A run of 7 crosses into the next row; 0x80 0 is a literal 0x80, cut off.
        {Cat(Header(3, 2, 8, 2, 0, 0), {0x80, 6, 7, 0x80, 0}), IDNO, {}, Bytes(8), {7, 7, 7, 0, 7, 7, 7, 0}},
        // A run that outlives the last row asks: No refuses, Yes keeps the image.
        {Cat(Header(3, 1, 8, 2, 0, 0), {0x80, 9, 7}), IDNO, {ask}, {}, {}},
        {Cat(Header(3, 1, 8, 2, 0, 0), {0x80, 9, 7}), IDYES, {ask}, Bytes(8), {7, 7, 7, 0}},
        {Cat(Header(2, 1, 8, 2, 0, 0), {5}), IDNO, {}, Bytes(8), {5, 0, 0, 0}},  // past the end: 0
        // 16 bits with 256 entries: 8 bits, the first byte of each pair.
        {Cat(Cat(Header(2, 1, 16, 1, 1, 768), reds), {3, 9, 4, 9}), IDNO, {"Ignoring colormap in 16-bit RAS image"},
         {0, 0, 0, 0, 0, 0, 1, 0}, {3, 4, 0, 0}},
        {Cat(Header(1, 1, 24, 1, 1, 6), {9, 9, 9, 9, 9, 9, 1, 2, 3, 0}), IDNO, {ignore24}, {}, {1, 2, 3, 0}},
        {Cat(Header(0x10001, 1, 8, 1, 0, 0), {6, 0}), IDNO, {}, Bytes(8), {6, 0, 0, 0}},  // 16-bit width
        {cut, IDNO, {"Not a legal RAS file"}, {}, {}},
        {Cat(Header(1, 1, 4, 1, 0, 0), {0, 0}), IDNO, {unsupported}, {}, {}},
        {Cat(Header(1, 1, 16, 1, 0, 0), {0, 0}), IDNO, {unsupported}, {}, {}},
        {Cat(Header(1, 1, 8, 1, 1, 900), Bytes(902)), IDNO, {"Illegal colormap in RAS file"}, {}, {}},
        {Cat(Header(1, 1, 8, 1, 1, 6), {1, 2, 3}), IDNO, {incomplete}, {}, {}},
        {Cat(Header(1, 1, 24, 1, 2, 9), {1, 2, 3}), IDNO, {ignore24, incomplete}, {}, {}},
        {Cat(Header(3, 2, 8, 1, 0, 0), {1, 2, 3, 4}), IDNO, {incomplete}, {}, {}},
        {Header(0xFFFF, 0xFFFF, 24, 2, 0, 0), IDNO, {"Not enough memory to load RAS image"}, {}, {}},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        SCOPED_TRACE(i);
        HDL_SetPolicy(cases[i].answer);
        LoadedDib l;
        Load(RAS_Load, cases[i].file, l);
        EXPECT_EQ(cases[i].texts, l.texts);
        EXPECT_EQ(cases[i].pixels.empty() ? 0 : 1, l.result);
        EXPECT_EQ(cases[i].table, Bytes(l.table.begin(), l.table.begin() + std::min<size_t>(8, l.table.size())));
        EXPECT_EQ(cases[i].pixels, l.pixels);
    }
}

}  // namespace
