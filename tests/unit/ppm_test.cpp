// The PPM reader and writer: exact bytes of small files worked out by hand,
// round trips, the text and binary forms with their number rules, hostile
// headers, and the real files of the corpus.
#include "pcx_tga_support.h"

#include <gtest/gtest.h>

using namespace pcxtga;

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class Ppm : public FormatTest {
protected:
    void Load(const Bytes& file, LoadedDib& l)
    {
        std::string path = Temp("in.ppm");
        ASSERT_TRUE(WriteWholeFile(path, file));
        LoadWith(PPM_Load, path, l);
    }
    Bytes Save(HGLOBAL dib, WORD color, WORD depth, int* result = nullptr)
    {
        std::string path = Temp("out.ppm");
        remove(path.c_str());
        int ok = PPM_Save(path.c_str(), dib, color, 0, depth);
        if (result) *result = ok;
        return ReadWholeFile(path);
    }
};

TEST_F(Ppm, WriterBytesAtEveryDepthAndRoundTrips)
{
    // 8 bits, 2 x 2: index 1 is (red 10, green 20, blue 30), index 0 black;
    // rows from the top: 1 0 / 0 1.
    OwnedDib mapped{MakeDib(2, 2, 8, 2)};
    {
        DibView v(mapped.dib);
        SetEntry(v.table, 1, 10, 20, 30);
        memcpy(v.Top(0), "\x01\x00", 2);
        memcpy(v.Top(1), "\x00\x01", 2);
    }
    EXPECT_EQ(Cat(Text("P6\n2 2\n255\n"), {10, 20, 30, 0, 0, 0, 0, 0, 0, 10, 20, 30}), Save(mapped.dib, 1, 8));
    // Gray keeps the table's red byte.
    EXPECT_EQ(Cat(Text("P5\n2 2\n255\n"), {10, 0, 0, 10}), Save(mapped.dib, 0, 8));

    // 24 bits, 2 x 1: blue, green, red in the DIB go out red, green, blue; gray takes blue.
    OwnedDib rgb{MakeDib(2, 1, 24)};
    memcpy(DibView(rgb.dib).Top(0), "\x01\x02\x03\x04\x05\x06", 6);
    EXPECT_EQ(Cat(Text("P6\n2 1\n255\n"), {3, 2, 1, 6, 5, 4}), Save(rgb.dib, 1, 24));
    EXPECT_EQ(Cat(Text("P5\n2 1\n255\n"), {1, 4}), Save(rgb.dib, 0, 24));
    // Read back: the same pixels (gray through the gray table).
    LoadedDib back, gray;
    Load(Save(rgb.dib, 1, 24), back);
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 0, 0}), back.pixels);
    Load(Save(mapped.dib, 0, 8), gray);
    EXPECT_EQ(Bytes({0, 10, 0, 0, 10, 0, 0, 0}), gray.pixels);
    EXPECT_EQ(255, gray.table[4 * 255]);

    // A 32-bit DIB is refused with the message that names the depth asked for.
    OwnedDib wide{MakeDib(1, 1, 32)};
    int result = 1;
    EXPECT_TRUE(Save(wide.dib, 1, 24, &result).empty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(std::vector<std::string>{"Cannot save 24-bit PCX files"}, BoxTexts());
}

TEST_F(Ppm, ReaderFormsNumbersAndRefusals)
{
    const std::string notLegal = "Not a legal PPM format file";
    const struct {
        const char* file;
        const char* message;  // "" for a silent failure, null for a load
        int bits;
        Bytes pixels;  // rows from the bottom, padded
    } cases[] = {
        // A maximum of 15 maps to the full range; a sample above it counts as it.
        {"P2\n3 1\n15\n0 15 99\n", nullptr, 8, {0, 255, 255, 0}},
        // Comments stand for their line feed, in the header and between samples.
        {"P2 #a\n2#b\n1 255\n4#c\n5", nullptr, 8, {4, 5, 0, 0}},
        // Rows fill from the top of the picture; a missing byte reads as 0xFF.
        {"P5\n1 2\n255\n\x07", nullptr, 8, {255, 0, 0, 0, 7, 0, 0, 0}},
        {"P3\n1 1\n255\n1 2 3\n", nullptr, 24, {3, 2, 1, 0}},
        {"P6\n1 1\n255\n\x01\x02\x03", nullptr, 24, {3, 2, 1, 0}},
        // Numbers are unsigned 16-bit: a width of 65537 is 1.
        {"P5 65537 1 255 \x09", nullptr, 8, {9, 0, 0, 0}},
        {"Q5\n1 1\n255\n", "Not a legal PPM file", 0, {}},
        {"P2\r\n1 1\n255\n0\n", notLegal.c_str(), 0, {}},
        {"P1\n1 1\n1\n0\n", notLegal.c_str(), 0, {}},
        {"P4\n8 1\n255\n\xff", notLegal.c_str(), 0, {}},
        {"P5\n1 1\n0\n\x01", notLegal.c_str(), 0, {}},
        {"P5\n-1 1\n255\n", notLegal.c_str(), 0, {}},
        {"P6\n65535 65535\n255\n", "Not enough memory to load PPM image", 0, {}},
        // A text sample that isn't a number ends the load without a message.
        {"P2\n2 1\n255\n7\n", "", 0, {}},
        {"P3\n1 1\n255\n1 -2 3\n", "", 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        LoadedDib l;
        Load(Bytes(c.file, c.file + strlen(c.file)), l);
        if (c.message) {
            EXPECT_EQ(0, l.result);
            EXPECT_EQ(*c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{}, l.texts);
            continue;
        }
        ASSERT_EQ(1, l.result);
        EXPECT_TRUE(l.texts.empty());
        EXPECT_EQ(c.bits, l.h.biBitCount);
        EXPECT_EQ(c.pixels, l.pixels);
        EXPECT_EQ(c.bits == 8 ? 1 : 0, INF_GetValue(INF_GRAY));
    }
}

TEST_F(Ppm, CorpusFilesMatchTheirReferenceOrFollowTheRules)
{
    // 16-bit binary files: samples are read a byte each and scaled from a
    // maximum of 65535, so every sample is 0 (the reference reads two bytes a
    // sample). 16-bit text samples scale as the reference does.
    const struct {
        const char* file;
        const char* outcome;
    } expectations[] = {
        {"files/pnm/hopper.pnm", "reference"},
        {"files/pnm/hopper_8bit.ppm", "reference"},
        {"files/pnm/hopper_8bit_plain.pgm", "reference"},
        {"files/pnm/hopper_16bit_plain.pgm", "reference"},
        {"files/pnm/hopper_16bit.pgm", "black"},
        {"files/pnm/16_bit_binary.pgm", "black"},
        {"files/pnm/negative_size.ppm", "Not a legal PPM format file"},
    };
    std::vector<ManifestRow> rows = Manifest("pnm");
    ASSERT_EQ(7u, rows.size());
    for (const ManifestRow& row : rows) {
        SCOPED_TRACE(row.path);
        std::string outcome;
        for (const auto& e : expectations)
            if (row.path == e.file) outcome = e.outcome;
        ASSERT_FALSE(outcome.empty());
        LoadedDib l;
        LoadWith(PPM_Load, CorpusPath(row.path), l);
        if (outcome.find("PPM") != std::string::npos) {
            EXPECT_EQ(0, l.result);
            EXPECT_EQ(std::vector<std::string>{outcome}, l.texts);
            continue;
        }
        ASSERT_EQ(1, l.result);
        Bytes samples = ReferenceSamples(l.h, l.table, l.pixels, false);
        if (outcome == "reference") {
            EXPECT_EQ(row.reference, Sha256(samples));
        } else {
            EXPECT_NE(row.reference, Sha256(samples));
            EXPECT_EQ(Bytes(samples.size(), 0), samples);
        }
    }
}

}  // namespace
