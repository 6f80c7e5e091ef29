// The TGA reader and writer: exact bytes of small files worked out by hand for
// every depth and both encodings the writer takes, round trips, the reader's
// header rules, maps, origins and packets that cross rows, the questions,
// hostile and truncated files, and the real files of the corpus.
#include "corpus_support.h"

#include <array>
#include <functional>

using namespace pcxtga;

namespace {

const char kPossibleErrors[] = "Possible errors encountered while reading\nfile, Continue loading this file?";
const char kCancelBatch[] = "\n\nCancel Batch?";
const char kIncomplete[] = "Incomplete TGA file, cannot load";

// An 18-byte header.
Bytes Header(int type, int width, int height, int depth, int descriptor = 0, int mapType = 0, int mapLength = 0,
             int entrySize = 0, int firstEntry = 0, int idLength = 0)
{
    return {static_cast<BYTE>(idLength), static_cast<BYTE>(mapType), static_cast<BYTE>(type),
            static_cast<BYTE>(firstEntry), static_cast<BYTE>(firstEntry >> 8),
            static_cast<BYTE>(mapLength), static_cast<BYTE>(mapLength >> 8), static_cast<BYTE>(entrySize),
            0, 0, 0, 0,
            static_cast<BYTE>(width), static_cast<BYTE>(width >> 8), static_cast<BYTE>(height),
            static_cast<BYTE>(height >> 8), static_cast<BYTE>(depth), static_cast<BYTE>(descriptor)};
}

// The map a writer puts behind the header of an 8-bit image: 256 entries of
// blue, green, red, the given ones first and the rest zero.
Bytes WrittenMap(const Bytes& bgr)
{
    Bytes map(768, 0);
    std::copy(bgr.begin(), bgr.end(), map.begin());
    return map;
}

class Tga : public FormatTest {
protected:
    int Load(const Bytes& file, HGLOBAL* dib)
    {
        std::string path = Temp("in.tga");
        EXPECT_TRUE(WriteWholeFile(path, file));
        return TGA_Load(path.c_str(), dib);
    }
    Bytes Save(HGLOBAL dib, WORD color, WORD compressed, WORD depth, int* result = nullptr)
    {
        std::string path = Temp("out.tga");
        remove(path.c_str());
        int ok = TGA_Save(path.c_str(), dib, color, compressed, depth);
        if (result) *result = ok;
        return ReadWholeFile(path);
    }
};

// ---- the writer ----------------------------------------------------------------------

TEST_F(Tga, WrittenBytesAtEveryDepthAndEncoding)
{
    std::vector<HGLOBAL> made;
    auto dib = [&](LONG width, LONG height, int bits, DWORD used, const std::function<void(DibView&)>& fill) {
        made.push_back(MakeDib(width, height, bits, used));
        DibView v(made.back());
        fill(v);
        return made.back();
    };
    const HGLOBAL mapped = dib(3, 2, 8, 2, [](DibView& v) {
        SetEntry(v.table, 0, 1, 2, 3), SetEntry(v.table, 1, 4, 5, 6);
        memcpy(v.Top(0), "\x01\x01\x00", 3), memcpy(v.Top(1), "\x00\x01\x00", 3);
    });
    // Rows from the bottom of the picture, which is the file's order.
    const HGLOBAL packets = dib(8, 4, 8, 0, [](DibView& v) {
        memcpy(v.Top(3), "\x01\x01\x01\x02\x03\x04\x04\x05", 8), memcpy(v.Top(2), "\x06\x07\x08\x09\x0A\x0B\x0C\x0D", 8);
        memcpy(v.Top(1), "\x01\x02\x02\x02\x02\x02\x02\x02", 8), memcpy(v.Top(0), "\x01\x01\x02\x02\x03\x03\x04\x04", 8);
        for (int i = 0; i < 256; i++) SetEntry(v.table, i, static_cast<BYTE>(i), 0, 0);
    });
    Bytes redMap(768, 0), longRaw = {0x7F};
    for (int i = 0; i < 256; i++) redMap[3 * i + 2] = static_cast<BYTE>(i);
    const HGLOBAL long130 = dib(130, 2, 8, 0, [](DibView& v) {
        memset(v.Top(1), 9, 130);
        for (int x = 0; x < 130; x++) v.Top(0)[x] = static_cast<BYTE>(x);
    });
    for (int x = 0; x < 128; x++) longRaw.push_back(static_cast<BYTE>(x));
    const HGLOBAL rgb = dib(2, 1, 24, 0, [](DibView& v) { memcpy(v.Top(0), "\x10\x20\x30\x10\x20\x30", 6); });
    const HGLOBAL rgba = dib(3, 1, 32, 0, [](DibView& v) { memcpy(v.Top(0), "\x01\x02\x03\x80\x01\x02\x03\x80\x01\x02\x03\x00", 12); });
    // Blue, green, red: (255, 128, 8), then (248, 128, 8) twice; all three pack to 0x061F.
    const HGLOBAL to16 = dib(3, 1, 24, 0, [](DibView& v) { memcpy(v.Top(0), "\xFF\x80\x08\xF8\x80\x08\xF8\x80\x08", 9); });
    const HGLOBAL words = dib(2, 1, 16, 0, [](DibView& v) { memcpy(v.Top(0), "\xFF\xFF\x34\x12", 4); });
    const Bytes pixels = {0x10, 0x20, 0x30, 0x10, 0x20, 0x30}, alpha = {1, 2, 3, 0x80, 1, 2, 3, 0x80, 1, 2, 3, 0};
    const struct {
        HGLOBAL dib;
        WORD color, compressed, depth;
        Bytes expected;  // none when refused with the text
        const char* text;
    } cases[] = {
        // Rows go out from the bottom of the picture; a gray image is type 3 and keeps its map of 256 entries.
        {mapped, 1, 0, 8, Cat(Cat(Header(1, 3, 2, 8, 0, 1, 256, 24), WrittenMap({3, 2, 1, 6, 5, 4})), {0, 1, 0, 1, 1, 0}), nullptr},
        {mapped, 0, 0, 8, Cat(Cat(Header(3, 3, 2, 8, 0, 1, 256, 24), WrittenMap({3, 2, 1, 6, 5, 4})), {0, 1, 0, 1, 1, 0}), nullptr},
        // A run of three; a raw pair stops where a run starts; a run of two; the
        // last pixel alone. All different: the last pixel joins the raw packet.
        // One raw pixel, then a run of seven. Pairs are runs while three or more
        // pixels are left; the last pair goes raw.
        {packets, 1, 1, 8,
         Cat(Cat(Header(9, 8, 4, 8, 0, 1, 256, 24), redMap),
             {0x82, 1, 0x01, 2, 3, 0x81, 4, 0x00, 5, 0x07, 6, 7, 8, 9, 10, 11, 12, 13, 0x00, 1, 0x86, 2, 0x81, 1,
              0x81, 2, 0x81, 3, 0x01, 4, 4}),
         nullptr},
        // Packets hold 128 pixels at most.
        {long130, 1, 1, 8, Cat(Cat(Cat(Header(9, 130, 2, 8, 0, 1, 256, 24), Bytes(768, 0)), {0xFF, 9, 0x01, 9, 9}), Cat(longRaw, {0x01, 128, 129})),
         nullptr},
        {rgb, 1, 0, 24, Cat(Header(2, 2, 1, 24, 0, 0, 0, 24), pixels), nullptr},
        {rgb, 1, 1, 24, Cat(Header(10, 2, 1, 24, 0, 0, 0, 24), {0x01, 0x10, 0x20, 0x30, 0x10, 0x20, 0x30}), nullptr},
        {rgb, 0, 0, 24, Cat(Header(3, 2, 1, 24, 0, 0, 0, 24), pixels), nullptr},
        // The alpha byte tells the pixels apart: a run of two, then one raw.
        {rgba, 1, 0, 32, Cat(Header(2, 3, 1, 32, 0, 0, 0, 24), alpha), nullptr},
        {rgba, 1, 1, 32, Cat(Header(10, 3, 1, 32, 0, 0, 0, 24), {0x81, 1, 2, 3, 0x80, 0x00, 1, 2, 3, 0}), nullptr},
        // Packets compare the three source bytes, so the first pixel stays apart.
        {to16, 1, 0, 16, Cat(Header(2, 3, 1, 16, 0, 0, 0, 24), {0x1F, 0x06, 0x1F, 0x06, 0x1F, 0x06}), nullptr},
        {to16, 1, 1, 16, Cat(Header(10, 3, 1, 16, 0, 0, 0, 24), {0x00, 0x1F, 0x06, 0x01, 0x1F, 0x06, 0x1F, 0x06}), nullptr},
        // A DIB of packed 16-bit pixels goes out word for word, the top bit cleared.
        {words, 1, 0, 16, Cat(Header(2, 2, 1, 16, 0, 0, 0, 24), {0xFF, 0x7F, 0x34, 0x12}), nullptr},
        {dib(4, 4, 1, 0, [](DibView&) {}), 1, 0, 1, {}, "Cannot save monochrome TGA files"},
        {dib(4, 4, 4, 0, [](DibView&) {}), 1, 0, 4, {}, "Cannot save 16-color TGA files"},
    };
    for (const auto& c : cases) {
        HDL_ClearBoxes();
        int ok = -1;
        EXPECT_EQ(c.expected, Save(c.dib, c.color, c.compressed, c.depth, &ok)) << c.depth << " " << c.compressed;
        EXPECT_EQ(c.text ? 0 : 1, ok) << c.depth;
        EXPECT_EQ(c.text ? std::vector<std::string>{c.text} : std::vector<std::string>{}, BoxTexts()) << c.depth;
    }
    for (HGLOBAL d : made) GlobalFree(d);
}

// ---- the reader: header rules ---------------------------------------------------------------

TEST_F(Tga, HeadersAndShortDataAreRefused)
{
    HGLOBAL dib = reinterpret_cast<HGLOBAL>(1);
    Bytes cut = Header(2, 1, 1, 24);
    cut.resize(10);
    const struct {
        Bytes file;
        const char* message;
    } cases[] = {
        {Cat(Header(2, 1, 1, 64), Bytes(8, 0)), "64-bit Targa files not supported"},
        {Cat(Header(1, 1, 1, 8, 0, 1, 257, 24), Bytes(800, 0)), "Too many entries in Targa colormap, not supported"},
        {Cat(Header(2, 1, 1, 15, 0, 0, 0, 24), Bytes(8, 0)), "Illegal TGA File -- Bad Header"},
        {Cat(Header(2, 0, 1, 24), Bytes(8, 0)), "Illegal TGA File -- Bad Header"},
        {Cat(Header(2, 1, 1, 48), Bytes(8, 0)), "Illegal TGA File -- Bad Header"},
        {cut, kIncomplete},
        {Cat(Header(2, 0xFFFF, 0xFFFF, 32), Bytes(100, 0)), "Out of memory -- Cannot load TGA file"},  // 16 GB
        // Raw, one byte short; less than one packet can hold; a raw pixel cut
        // short; a raw packet cut short; the data ends between packets; ends
        // inside the map.
        {Cat(Header(2, 4, 4, 24), Bytes(47, 1)), kIncomplete},
        {Cat(Header(10, 4, 4, 24), {0x8F, 1, 2}), kIncomplete},
        {Cat(Header(10, 4, 4, 24), {0x80, 1, 2, 3, 0x00, 9}), kIncomplete},
        {Cat(Header(10, 4, 4, 24), Cat({0x0F}, Bytes(44, 1))), kIncomplete},
        {Cat(Cat(Header(10, 200, 4, 8), {0xFF, 5, 0xFF, 5, 0xFF, 5, 0xFF, 5, 0xFF, 5, 0xFF, 5}), {0x00, 5, 0x00, 5}), kIncomplete},
        {Cat(Header(1, 8, 8, 8, 0, 1, 256, 24), Bytes(100, 0)), kIncomplete},
    };
    for (const auto& c : cases) {
        HDL_ClearBoxes();
        EXPECT_EQ(0, Load(c.file, &dib));
        EXPECT_EQ(nullptr, dib);
        EXPECT_EQ(std::vector<std::string>{c.message}, BoxTexts());
    }
    // A missing file is no report at all.
    HDL_ClearBoxes();
    EXPECT_EQ(0, TGA_Load(TempPath("never_written.tga").c_str(), &dib));
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(Tga, PixelFormsAndPacketsAcrossRowsGiveTheseRows)
{
    struct Case {
        Bytes file;
        WORD bits;
        std::vector<Bytes> rows;  // the first bytes of each row, top first
        int fileBits;             // the depth the load information gives
        const char* what;
    };
    const std::vector<Case> cases = {
        // 0x7FFF, 0x8000 (the top bit is no channel), 0x0421, 0x7C1F.
        {Cat(Header(2, 4, 1, 16), {0xFF, 0x7F, 0x00, 0x80, 0x21, 0x04, 0x1F, 0x7C}), 24,
         {{0xF8, 0xF8, 0xF8, 0, 0, 0, 8, 8, 8, 0xF8, 0, 0xF8}}, 16, "16 bits"},
        {Cat(Header(2, 2, 1, 32, 8), {1, 2, 3, 4, 5, 6, 7, 0}), 32, {{1, 2, 3, 4, 5, 6, 7, 0}}, 32, "32 bits"},
        // An odd depth with no map entry size passes and stores nothing.
        {Cat(Header(2, 2, 1, 15), {0xFF, 0xFF, 0xFF, 0xFF}), 24, {Bytes(6, 0)}, 15, "15 bits"},
        // 3 x 2 at 24 bits, top first: a run of 4 then a raw packet of 2.
        {Cat(Header(10, 3, 2, 24, 0x20), {0x83, 1, 2, 3, 0x01, 4, 5, 6, 7, 8, 9}), 24,
         {{1, 2, 3, 1, 2, 3, 1, 2, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9}}, 24, "run into the next row"},
        // A raw packet of 4 that goes on in the next row, then a run of 2.
        {Cat(Header(9, 3, 2, 8, 0x20, 1, 0, 24), {0x03, 1, 2, 3, 4, 0x81, 5}), 8, {{1, 2, 3}, {4, 5, 5}}, 8, "raw packet into the next row"},
    };
    for (const Case& c : cases) {
        HGLOBAL dib = nullptr;
        ASSERT_EQ(1, Load(c.file, &dib)) << c.what;
        OwnedDib own{dib};
        DibView v(dib);
        EXPECT_EQ(c.bits, v.h->biBitCount) << c.what;
        for (size_t y = 0; y < c.rows.size(); y++) EXPECT_EQ(c.rows[y], v.TopRow(static_cast<LONG>(y), c.rows[y].size())) << c.what;
        EXPECT_EQ(c.fileBits, INF_GetValue(INF_BITSPERPIXEL)) << c.what;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(Tga, OnlyDescriptorsTwentyAndTwentyOneMeanTopFirst)
{
    Bytes rows = {1, 2, 3, 4};  // file rows 1 2 and 3 4
    for (int descriptor : {0x00, 0x20, 0x21, 0x28, 0x08, 0x30, 0x10}) {
        HGLOBAL dib = nullptr;
        ASSERT_EQ(1, Load(Cat(Header(3, 2, 2, 8, descriptor), rows), &dib));
        OwnedDib own{dib};
        DibView v(dib);
        bool top = descriptor == 0x20 || descriptor == 0x21;
        // Never mirrored, whatever the right-to-left bit says.
        EXPECT_EQ(top ? Bytes({1, 2}) : Bytes({3, 4}), v.TopRow(0, 2)) << descriptor;
        EXPECT_EQ(top ? Bytes({3, 4}) : Bytes({1, 2}), v.TopRow(1, 2)) << descriptor;
    }
}

TEST_F(Tga, MapsOfEveryEntrySize)
{
    typedef std::array<int, 4> Quad;  // blue, green, red, reserved
    struct Case {
        Bytes file;
        std::vector<std::pair<int, Quad>> entries;  // entries looked at
        Bytes row;
        int gray;  // -1: not looked at
        const char* what;
    };
    const std::vector<Case> cases = {
        // A 3-byte ID field, then two 16-bit entries.
        {Cat(Header(1, 2, 1, 8, 0, 1, 2, 16, 0, 3), {'a', 'b', 'c', 0x1F, 0x00, 0xE0, 0x03, 1, 0}),
         {{0, {0xF8, 0, 0, 0}}, {1, {0, 0xF8, 0, 0}}}, {1, 0}, 0, "ID field and 16-bit entries"},
        // 32-bit entries: the fourth byte is dropped.
        {Cat(Header(1, 1, 1, 8, 0, 1, 2, 32), {1, 2, 3, 4, 5, 6, 7, 8, 1}), {{0, {1, 2, 3, 0}}, {1, {5, 6, 7, 0}}}, {1}, -1, "32-bit entries"},
        // A first entry of 2 moves the map up by two entries, and the last two fall off.
        {Cat(Header(1, 1, 1, 8, 0, 1, 4, 24, 2), {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 0}),
         {{0, {0, 0, 0, 0}}, {1, {0, 0, 0, 0}}, {2, {1, 1, 1, 0}}, {3, {2, 2, 2, 0}}, {4, {0, 0, 0, 0}}}, {0}, -1, "first entry 2"},
        // A first entry far beyond the scratch: the map is passed over, nothing written.
        {Cat(Header(1, 1, 1, 8, 0, 1, 4, 32, 300), Cat(Bytes(16, 0xAA), {3})), {{0, {0, 0, 0, 0}}}, {3}, -1, "first entry 300"},
        // A gray type with a map is read as mapped; without one it gets the gray ramp.
        {Cat(Header(3, 1, 1, 8, 0, 1, 1, 24), {9, 8, 7, 0}), {{0, {9, 8, 7, 0}}}, {0}, 0, "gray with a map"},
        {Cat(Header(11, 1, 1, 8), {0x00, 5}), {{200, {200, 200, 200, 0}}}, {5}, 1, "run-length gray without a map"},
    };
    for (const Case& c : cases) {
        HGLOBAL dib = nullptr;
        ASSERT_EQ(1, Load(c.file, &dib)) << c.what;
        OwnedDib own{dib};
        DibView v(dib);
        EXPECT_EQ(8, v.h->biBitCount) << c.what;
        for (const auto& e : c.entries) {
            const RGBQUAD& q = v.table[e.first];
            EXPECT_EQ(e.second, (Quad{q.rgbBlue, q.rgbGreen, q.rgbRed, q.rgbReserved})) << c.what << ", entry " << e.first;
        }
        EXPECT_EQ(c.row, v.TopRow(0, c.row.size())) << c.what;
        if (c.gray >= 0) EXPECT_EQ(c.gray, INF_GetValue(INF_GRAY)) << c.what;
        EXPECT_EQ(c.file[2] >= 9, INF_GetValue(INF_COMPRESSED)) << c.what;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

// ---- the reader: packets ---------------------------------------------------------------------

TEST_F(Tga, APacketBeyondTheLastRowAsks)
{
    // 2 x 2 gray: a run of 5 pixels for 4.
    const Bytes beyond = Cat(Header(11, 2, 2, 8), {0x84, 7});
    const std::string asked = std::string(" Warning/4132/") + kPossibleErrors;
    EXPECT_EQ(AnswersToTheQuestion([&](HGLOBAL* dib) { return Load(beyond, dib); },
                                   [](HGLOBAL dib) { return Hex(DibView(dib).TopRow(1, 2)); }),
              "1" + asked + " 0707; 0" + asked + "; 0" + asked + " Korvanta/4132/" + kCancelBatch + "; 1");

    // A raw packet that ends exactly with the last row asks nothing.
    HGLOBAL dib = nullptr;
    HDL_ClearBoxes();
    ASSERT_EQ(1, Load(Cat(Header(11, 2, 2, 8), {0x03, 1, 2, 3, 4}), &dib));
    EXPECT_TRUE(HDL_Boxes().empty());
    EXPECT_EQ(Bytes({3, 4}), DibView(dib).TopRow(0, 2));
    GlobalFree(dib);
}

}  // namespace
