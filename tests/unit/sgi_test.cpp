// The SGI RGB reader and writer: exact bytes of small files worked out by
// hand and read back, the seeking rules of each dimension, run-length rows,
// hostile headers and truncated files, and the real files of the corpus.
#include "corpus_support.h"

using namespace pcxtga;

namespace {

// A 512-byte header with these fields (big-endian), the rest zero, cut to bytes.
Bytes Header(int storage, int bpc, int dimension, int x, int y, int z, size_t bytes = 512)
{
    Bytes h(512, 0);
    const int words[] = {474, storage << 8 | bpc, dimension, x, y, z};
    for (int i = 0; i < 6; i++) h[2 * i] = static_cast<BYTE>(words[i] >> 8), h[2 * i + 1] = static_cast<BYTE>(words[i]);
    h.resize(bytes);
    return h;
}

Bytes Longs(std::initializer_list<DWORD> values)
{
    Bytes out;
    for (DWORD v : values)
        for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<BYTE>(v >> s));
    return out;
}

class Sgi : public FormatTest {
protected:
    void Load(const Bytes& file, LoadedDib& l)
    {
        ASSERT_TRUE(WriteWholeFile(Temp("in.rgb"), file));
        LoadWith(SGI_Load, TempPath("in.rgb"), l);
    }
};

TEST_F(Sgi, WrittenBytesReadBackAndFailedWrites)
{
    OwnedDib mapped{DibFromRows(3, 2, 8, {{3, 2, 1, 0}, {6, 5, 4, 0}}, {{1, 1, 0}, {0, 1, 0}})};
    OwnedDib rgb{DibFromRows(2, 2, 24, {}, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}})};  // blue, green, red
    // Dimension 0 and the image name at 24. At 8 bits one channel of the
    // entries' blue bytes, bottom row first; at 24 bits red rows, green, blue.
    Bytes head8 = Header(0, 0, 0, 3, 2, 1), head24 = Header(0, 0, 0, 2, 2, 3), packed = Header(1, 0, 0, 2, 2, 3);
    const char name[] = "Created by 'KorVanta' a conversion utility by Tolmera Works Inc.";
    for (Bytes* h : {&head8, &head24, &packed}) std::copy(name, name + sizeof name - 1, h->begin() + 24);
    const struct {
        HGLOBAL dib;
        WORD compressed, depth;
        Bytes expected, readBack;  // the file; the DIB's rows read from it, bottom first
    } cases[] = {
        {mapped.dib, 0, 8, Cat(head8, {3, 6, 3, 6, 6, 3}), {3, 6, 3, 0, 6, 6, 3, 0}},
        {rgb.dib, 0, 24, Cat(head24, {9, 12, 3, 6, 8, 11, 2, 5, 7, 10, 1, 4}),
         {7, 8, 9, 10, 11, 12, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0}},
        // Six starts of 0, six lengths of the width, and no picture data to read.
        {rgb.dib, 1, 24, Cat(Cat(packed, Bytes(24, 0)), Longs({2, 2, 2, 2, 2, 2})), {}},
    };
    std::string path = Temp("out.rgb");
    for (const auto& c : cases) {
        ASSERT_EQ(1, SGI_Save(path.c_str(), c.dib, 1, c.compressed, c.depth));
        EXPECT_EQ(c.expected, ReadWholeFile(path));
        LoadedDib l;
        LoadWith(SGI_Load, path, l);
        EXPECT_EQ(c.readBack, l.pixels);
        EXPECT_EQ(c.compressed ? std::vector<std::string>{"Incomplete RGB file, cannot load"} : std::vector<std::string>{},
                  l.texts);
    }
}

TEST_F(Sgi, RowsAreFoundByDimensionAndRunLength)
{
    const Bytes data = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    const struct {
        Bytes file, pixels;  // the DIB's rows from the bottom
    } cases[] = {
        {Cat(Header(0, 1, 0, 2, 2, 1), data), {10, 11, 0, 0, 12, 13, 0, 0}},  // in sequence
        {Cat(Header(0, 1, 4, 2, 2, 1), data), {10, 11, 0, 0, 12, 13, 0, 0}},  // as dimension 0
        {Cat(Header(0, 1, 1, 2, 2, 1), data), {10, 11, 0, 0, 10, 11, 0, 0}},  // every row at 512
        // row x x size x bytes per channel: the first bytes of 16-bit samples
        {Cat(Header(0, 2, 2, 2, 2, 1), data), {10, 11, 0, 0, 14, 15, 0, 0}},
        {Cat(Header(0, 1, 3, 2, 2, 3), data), {18, 14, 10, 19, 15, 11, 0, 0, 20, 16, 12, 21, 17, 13, 0, 0}},
        // Run-length rows at 528 (a copy of 2, a run of 2, the end) and 534,
        // which stops at its length of 3 inside a run whose value reads as 0.
        {Cat(Cat(Header(1, 1, 2, 4, 2, 1), Longs({528, 534, 6, 3})), {0x82, 10, 11, 0x02, 7, 0x00, 0x81, 5, 0x03}),
         {10, 11, 7, 7, 5, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        LoadedDib l;
        Load(c.file, l);
        EXPECT_EQ(c.pixels, l.pixels);
        // A gray table for one channel.
        if (l.h.biBitCount == 8) {
            EXPECT_EQ((Bytes{200, 200, 200, 0}), Bytes(&l.table[800], &l.table[804]));
        }
    }
    EXPECT_EQ(1, INF_GetValue(INF_COMPRESSED));
    EXPECT_EQ(1, INF_GetValue(INF_GRAY));
    EXPECT_STREQ("Iris", INF_Info.creator);
}

TEST_F(Sgi, HostileFilesEndWithTheirMessages)
{
    const char *kIncomplete = "Incomplete RGB file, cannot load", *kUnknown = "Unrecognized RGB format, cannot read",
               *kMemory = "Not enough memory to load RGB image";
    const Bytes oneRow = Header(1, 1, 2, 4, 1, 1);
    const struct {
        Bytes file;
        const char* text;
    } cases[] = {
        {Header(0, 1, 2, 2, 2, 1, 107), "Not a legal RGB file"},
        {Cat({0x01, 0xDB}, Bytes(510, 0)), "Not a legal RGB format file"},
        {Header(0, 1, 3, 2, 2, 4), kUnknown},
        {Header(0, 1, 3, 2, 2, 2), kUnknown},
        {Header(0, 1, 3, 65535, 65535, 3), kMemory},
        {Header(0, 1, 3, 0, 2, 1), kMemory},
        {Cat(Header(0, 1, 0, 4, 2, 1), Bytes(7, 1)), kIncomplete},
        {Cat(Header(1, 1, 2, 4, 2, 1), Longs({0, 0, 0})), kIncomplete},  // tables cut short
        // a length beyond the scratch of (4 + 4 / 64) x 4 bytes
        {Cat(Cat(oneRow, Longs({520, 17})), Bytes(17, 0)), "The RGB File is Damaged -- Cannot Load"},
        {Cat(Cat(oneRow, Longs({520, 16})), Bytes(15, 0)), kIncomplete},
        {Cat(Cat(oneRow, Longs({520, 2})), {0x05, 1}), kIncomplete},  // 5 pixels in a row of 4
        {Cat(Cat(oneRow, Longs({0x80000000u, 2})), {0x01, 1}), kIncomplete},
    };
    for (const auto& c : cases) {
        LoadedDib l;
        Load(c.file, l);
        EXPECT_EQ(std::vector<std::string>{c.text}, l.texts);
    }
}

}  // namespace
