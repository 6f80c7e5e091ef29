// The BMP, DIB and RLE reader and writer: header forms, refusals and their
// messages, truncated and hostile files, round trips through every row, the
// writer's exact bytes, and the corpus of files written by other programs.
#include "corpus_support.h"
#include "formats/bmp.h"

namespace {

const char kNotLegitimate[] = "Error, not a Legitimate DIB File!";
const char kTopDown[] = "Illegal or Unsupported BMP/DIB file format";
const char kUnsupported[] = "Unsupported BMP/DIB file format";
const char kCannotWrite[] = "Cannot write file, check disk space";
const char kNoMemory[] = "Not enough memory to load file";

void Put16(Bytes& b, unsigned v)
{
    b.push_back(static_cast<BYTE>(v));
    b.push_back(static_cast<BYTE>(v >> 8));
}
void Put32(Bytes& b, uint32_t v)
{
    Put16(b, v & 0xFFFF);
    Put16(b, v >> 16);
}
Bytes Cat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

Bytes FileHeader(uint32_t size, uint32_t offBits)
{
    Bytes b = {'B', 'M'};
    Put32(b, size);
    Put32(b, 0);
    Put32(b, offBits);
    return b;
}

Bytes InfoHeader(int32_t width, int32_t height, unsigned bits, uint32_t compression = 0, uint32_t sizeImage = 0,
                 uint32_t clrUsed = 0)
{
    Bytes b;
    Put32(b, 40);
    Put32(b, static_cast<uint32_t>(width));
    Put32(b, static_cast<uint32_t>(height));
    Put16(b, 1);
    Put16(b, bits);
    Put32(b, compression);
    Put32(b, sizeImage);
    Put32(b, 2835);
    Put32(b, 2835);
    Put32(b, clrUsed);
    Put32(b, 0);
    return b;
}

Bytes CoreHeader(unsigned width, unsigned height, unsigned bits)
{
    Bytes b;
    Put32(b, 12);
    Put16(b, width);
    Put16(b, height);
    Put16(b, 1);
    Put16(b, bits);
    return b;
}

// A whole file: file header (size and offset filled in), image header, table, pixels.
Bytes WithFileHeader(const Bytes& header, const Bytes& table, const Bytes& pixels)
{
    uint32_t off = static_cast<uint32_t>(14 + header.size() + table.size());
    return Cat({FileHeader(off + static_cast<uint32_t>(pixels.size()), off), header, table, pixels});
}

typedef LoadedDib Loaded;

void LoadPath(const std::string& path, Loaded& l) { LoadWith(BMP_Load, path, l); }

void LoadBytes(const Bytes& file, Loaded& l)
{
    std::string path = TempPath("load.bmp");
    ASSERT_TRUE(WriteWholeFile(path, file));
    LoadPath(path, l);
    remove(path.c_str());
}

// A refusal shows exactly one box with exactly this text.
void ExpectRefused(const Bytes& file, const char* text, const char* what)
{
    Loaded l;
    LoadBytes(file, l);
    EXPECT_EQ(0, l.result) << what;
    ASSERT_EQ(1u, l.texts.size()) << what;
    EXPECT_EQ(text, l.texts[0]) << what;
}

Bytes Table(std::initializer_list<RGBQUAD> entries)
{
    Bytes b;
    for (const RGBQUAD& q : entries) b.insert(b.end(), {q.rgbBlue, q.rgbGreen, q.rgbRed, q.rgbReserved});
    return b;
}

struct ActiveBits {
    explicit ActiveBits(int bits) { HDL_SetActiveBits(bits); }
    ~ActiveBits() { HDL_SetActiveBits(0); }
};

// A DIB block made in code: header, table entries, pixel rows as given.
HGLOBAL MakeDib(LONG width, LONG height, int bits, const Bytes& table, const Bytes& pixels)
{
    Bytes header = InfoHeader(width, height, bits, 0, static_cast<uint32_t>(pixels.size()), static_cast<uint32_t>(table.size() / 4));
    Bytes all = Cat({header, table, pixels});
    HGLOBAL mem = GlobalAlloc(GHND, all.size());
    memcpy(GlobalLock(mem), all.data(), all.size());
    GlobalUnlock(mem);
    return mem;
}

}  // namespace

TEST(BmpLoad, BareDibStartingWithFortyLoadsAndFillsTheLoadInformation)
{
    Bytes table = Table({{10, 20, 30, 0}, {40, 50, 60, 0}});
    Bytes pixels = {0, 1, 0, 0, 1, 1, 0, 0};
    Bytes file = Cat({InfoHeader(2, 2, 8, 0, 999, 2), table, pixels});
    Loaded l;
    LoadBytes(file, l);
    ASSERT_EQ(1, l.result);
    EXPECT_TRUE(l.texts.empty());
    // The header as stored, but for the image size: the stored 999 is not believed.
    EXPECT_EQ(InfoHeader(2, 2, 8, 0, 8, 2), Bytes(reinterpret_cast<const BYTE*>(&l.h), reinterpret_cast<const BYTE*>(&l.h) + 40));
    EXPECT_EQ(table, l.table);
    EXPECT_EQ(pixels, l.pixels);
    EXPECT_EQ("width 2 height 2 palette 1 planes 1 colors 2 gray 0 memory 8 compressed 0 bits 8 type 0 version 3 "
              "creator IBMPC",
              InfoText({INF_WIDTH, INF_HEIGHT, INF_PALETTE, INF_PLANES, INF_COLORS, INF_GRAY, INF_MEMORY, INF_COMPRESSED,
                        INF_BITSPERPIXEL, INF_TYPE, INF_VERSION, INF_CREATOR}));
    EXPECT_EQ(5, INF_Info.step);
    EXPECT_EQ(5, INF_Info.lastStep);
}

TEST(BmpLoad, TopDownAndBitFieldImagesAreRefusedAtEveryDepth)
{
    for (unsigned bits : {1u, 4u, 8u, 24u, 32u}) {
        Bytes table = bits <= 8 ? Bytes(4u << bits, 0) : Bytes();
        Bytes file = WithFileHeader(InfoHeader(4, -2, bits), table, Bytes(2 * ((4 * bits + 31) / 32) * 4, 0));
        ExpectRefused(file, kTopDown, "top-down");
    }
    // The box is an error: no caption, OK with the exclamation mark.
    ASSERT_EQ(1u, HDL_Boxes().size());
    EXPECT_EQ("", HDL_Boxes()[0].caption);
    EXPECT_EQ(0x1030u, HDL_Boxes()[0].flags);
    for (unsigned bits : {16u, 32u}) {
        Bytes masks;
        Put32(masks, bits == 16 ? 0x7C00 : 0xFF0000);
        Put32(masks, bits == 16 ? 0x03E0 : 0xFF00);
        Put32(masks, bits == 16 ? 0x001F : 0xFF);
        Bytes file = WithFileHeader(InfoHeader(2, 2, bits, BI_BITFIELDS), masks, Bytes(16, 0));
        ExpectRefused(file, kUnsupported, "bit fields");
    }
}

TEST(BmpLoad, CoreHeadersCutAndStrayRunLengthDataAndSixteenBitsLoadToTheseBlocks)
{
    Bytes pixels24(36), rows(120000, 0);
    for (size_t i = 0; i < pixels24.size(); i++) pixels24[i] = static_cast<BYTE>(i + 1);
    for (size_t i = 0; i < 40; i++) rows[i] = static_cast<BYTE>(i + 1);
    // A 4-bit core file with only two entries: the table read runs into the
    // pixels, the bits offset sets the position right again; whatever follows
    // is never pixels.
    Bytes core4 = Cat({FileHeader(0, 14 + 12 + 6), CoreHeader(4, 1, 4), {9, 8, 7, 6, 5, 4}, {0x01, 0x10, 0, 0}, Bytes(60, 0xEE)});
    const Bytes bw = Table({{0, 0, 0, 0}, {255, 255, 255, 0}});
    // RLE8 of 4x3: two rows, then the end.
    const Bytes rle = {4, 7, 0, 0, 2, 5, 0, 0, 0, 1};
    const Bytes rleFile = WithFileHeader(InfoHeader(4, 3, 8, BI_RLE8, static_cast<uint32_t>(rle.size()), 2), bw, rle);
    const Bytes clipped = {
        200, 1,                              // far past the row of 3
        0, 9, 1, 2, 1, 2, 1, 2, 1, 2, 1, 0,  // absolute run past the row
        0, 0,                                // end of line
        2, 2, 0, 2, 0, 50,                   // delta far above the image
        7, 1,                                // never reached
    };
    struct Case {
        Bytes file;
        std::string header;  // depth, size, colours and the image size of the block
        Bytes table;         // its first entries
        Bytes pixels;
        const char* what;
    };
    const std::vector<Case> cases = {
        // (The reader takes 40 header bytes even from the core form, so a core file is never shorter than 54 bytes.)
        {WithFileHeader(CoreHeader(4, 3, 24), {}, pixels24), "24 bits 4 x 3 colours 0 size 36", {}, pixels24, "core, 24 bits"},
        // Three-byte entries become four-byte ones.
        {Cat({WithFileHeader(CoreHeader(3, 1, 1), {1, 2, 3, 4, 5, 6}, {0xA0, 0, 0, 0}), Bytes(20, 0x55)}),
         "1 bits 3 x 1 colours 2 size 4", {1, 2, 3, 0, 4, 5, 6, 0}, {0xA0, 0, 0, 0}, "core, 1 bit"},
        {core4, "4 bits 4 x 1 colours 16 size 4", {9, 8, 7, 0, 6, 5, 4, 0}, {0x01, 0x10, 0, 0}, "core, short table"},
        // A core file with 40 bytes of its 120000 loads with the rest zero.
        {WithFileHeader(CoreHeader(200, 200, 24), {}, Bytes(rows.begin(), rows.begin() + 40)), "24 bits 200 x 200 colours 0 size 120000", {}, rows, "core, cut"},
        {rleFile, "8 bits 4 x 3 colours 2 size 12", bw, {7, 7, 7, 7, 5, 5, 0, 0, 0, 0, 0, 0}, "run-length, whole"},
        {Bytes(rleFile.begin(), rleFile.end() - 7), "8 bits 4 x 3 colours 2 size 12", bw, {7, 7, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0}, "run-length, cut after the first row"},
        {WithFileHeader(InfoHeader(3, 2, 8, BI_RLE8, static_cast<uint32_t>(clipped.size()), 3), Table({{0, 0, 0, 0}, {1, 1, 1, 0}, {2, 2, 2, 0}}), clipped),
         "8 bits 3 x 2 colours 3 size 8", {}, {1, 1, 1, 0, 2, 2, 0, 0}, "run-length past the row or image"},
        // A small run-length image whose data lies past the end loads all zero.
        {Cat({FileHeader(0, 5000), InfoHeader(4, 4, 8, BI_RLE8, 0, 1), Bytes(4, 0)}), "8 bits 4 x 4 colours 1 size 16", {}, Bytes(16, 0), "run-length data past the end"},
        // White, red, green, blue 1 -> 8.
        {WithFileHeader(InfoHeader(2, 2, 16), {}, {0xFF, 0x7F, 0x00, 0x7C, 0xE0, 0x03, 0x01, 0x00}), "24 bits 2 x 2 colours 0 size 16", {},
         {255, 255, 255, 0, 0, 255, 0, 0, 0, 255, 0, 8, 0, 0, 0, 0}, "16 bits"},
    };
    for (const Case& c : cases) {
        Loaded l;
        LoadBytes(c.file, l);
        ASSERT_EQ(1, l.result) << c.what;
        EXPECT_TRUE(l.texts.empty()) << c.what;
        EXPECT_EQ(40u, l.h.biSize) << c.what;
        EXPECT_EQ(static_cast<DWORD>(BI_RGB), l.h.biCompression) << c.what;
        EXPECT_EQ(c.header, std::to_string(l.h.biBitCount) + " bits " + std::to_string(l.h.biWidth) + " x " + std::to_string(l.h.biHeight) +
                                " colours " + std::to_string(l.h.biClrUsed) + " size " + std::to_string(l.h.biSizeImage)) << c.what;
        EXPECT_EQ(c.table, Bytes(l.table.begin(), l.table.begin() + std::min(l.table.size(), c.table.size()))) << c.what;
        EXPECT_EQ(c.pixels, l.pixels) << c.what;
    }
}

TEST(BmpLoad, SparseRunLengthLoadsWithinTheImageLimitOnly)
{
    // 1000 x 1000 from a few codes: a run, a delta, a run, end of line, a run, end of bitmap.
    Bytes rle = {3, 7, 0, 2, 10, 200, 2, 9, 0, 0, 1, 5, 0, 1};
    Bytes file = WithFileHeader(InfoHeader(1000, 1000, 8, BI_RLE8, static_cast<uint32_t>(rle.size()), 16),
                                Bytes(64, 0), rle);
    Bytes pixels(1000000, 0);
    pixels[0] = pixels[1] = pixels[2] = 7;
    pixels[200013] = pixels[200014] = 9;
    pixels[201000] = 5;
    Loaded l;
    LoadBytes(file, l);
    EXPECT_TRUE(l.result == 1 && l.texts.empty() && pixels == l.pixels);
    // The image (1000104 bytes with header and table) beyond a lower limit.
    uint64_t limit = DIB_GetMemoryLimit();
    DIB_SetMemoryLimit(1000000);
    ExpectRefused(file, kNoMemory, "beyond the image limit");
    DIB_SetMemoryLimit(limit);
}

TEST(BmpLoad, HostileFilesAreRefusedWithTheirMessage)
{
    ExpectRefused({}, kNotLegitimate, "empty file");
    Bytes whole = WithFileHeader(InfoHeader(3, 2, 8, 0, 0, 2), Table({{0, 0, 0, 0}, {255, 255, 255, 0}}), {1, 1, 1, 0, 0, 1, 0, 0});
    ExpectRefused(Bytes(whole.begin(), whole.end() - 1), kNotLegitimate, "plain one byte short");
    ExpectRefused({'B', 'M', 1, 2, 3}, kNotLegitimate, "short file header");
    Bytes header = InfoHeader(2, 2, 8);
    ExpectRefused(Cat({FileHeader(0, 0), Bytes(header.begin(), header.begin() + 30)}), kNotLegitimate, "short header");
    Bytes big = InfoHeader(2, 2, 8);
    big[0] = 64;
    ExpectRefused(Cat({big, Bytes(100, 0)}), kNotLegitimate, "header of 64 bytes");
    ExpectRefused(WithFileHeader(InfoHeader(0, 2, 24), {}, Bytes(16, 0)), kNotLegitimate, "no width");
    ExpectRefused(WithFileHeader(InfoHeader(-5, 2, 24), {}, Bytes(16, 0)), kNotLegitimate, "negative width");
    ExpectRefused(WithFileHeader(InfoHeader(2, 0, 24), {}, Bytes(16, 0)), kNotLegitimate, "no height");
    ExpectRefused(WithFileHeader(InfoHeader(100000, 100000, 24), {}, Bytes(64, 0)), kNotLegitimate, "huge plain");
    ExpectRefused(WithFileHeader(InfoHeader(0x7FFFFFFF, 0x7FFFFFFF, 32), {}, Bytes(64, 0)), kNotLegitimate, "largest plain");
    ExpectRefused(WithFileHeader(InfoHeader(60000, 60000, 8, BI_RLE8, 0, 0), Bytes(1024, 0), {255, 1, 0, 1}),
                  kNoMemory, "huge run-length image from four bytes");
    ExpectRefused(WithFileHeader(CoreHeader(65535, 65535, 24), {}, Bytes(64, 0)), kNoMemory, "huge core");
    ExpectRefused(WithFileHeader(InfoHeader(2, 2, 8, 0, 0, 257), Bytes(2000, 0), Bytes(8, 0)), kNotLegitimate,
                  "257 colours");
    ExpectRefused(WithFileHeader(InfoHeader(2, 2, 24, 0, 0, 0xFFFFFFFF), {}, Bytes(16, 0)), kNotLegitimate,
                  "four billion colours");
    ExpectRefused(Cat({FileHeader(0, 0x7FFFFFF0), InfoHeader(2, 2, 24), Bytes(16, 0)}), kNotLegitimate,
                  "bits offset past the end");
    ExpectRefused(WithFileHeader(InfoHeader(2, 2, 2), Bytes(16, 0), Bytes(8, 0)), kUnsupported, "2 bits");
    ExpectRefused(WithFileHeader(InfoHeader(2, 2, 24, 4), {}, Bytes(16, 0)), kUnsupported, "JPEG inside");
    ExpectRefused(WithFileHeader(InfoHeader(2, 2, 4, BI_RLE8), Bytes(64, 0), {2, 1, 0, 1}), kNotLegitimate,
                  "RLE8 at 4 bits");
}

TEST(BmpSave, WritesFileHeaderAndTheWholeBlock)
{
    Bytes table = Table({{0, 0, 255, 0}, {255, 255, 255, 0}});
    HGLOBAL dib = MakeDib(2, 2, 8, table, {1, 0, 0, 0, 1, 1, 0, 0});
    std::string path = TempPath("pinned.bmp");
    HDL_ClearBoxes();
    ASSERT_EQ(1, BMP_Save(path.c_str(), dib, 1, 0, 8));
    EXPECT_TRUE(HDL_Boxes().empty());
    Bytes plain = Cat({{'B', 'M', 70, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0},
                       InfoHeader(2, 2, 8, 0, 8, 2), table, {1, 0, 0, 0, 1, 1, 0, 0}});
    EXPECT_EQ(plain, ReadWholeFile(path));
    // The file's size is the block's size (with any rounding) plus the file header.
    EXPECT_EQ(GlobalSize(dib) + 14, 70u);

    // Compressed with an 8-bit active image: RLE8, sized to its data.
    {
        ActiveBits active(8);
        ASSERT_EQ(1, BMP_Save(path.c_str(), dib, 1, 1, 8));
    }
    Bytes rle = Cat({{'B', 'M', 72, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0}, InfoHeader(2, 2, 8, BI_RLE8, 10, 2), table,
                     {1, 1, 1, 0, 0, 0, 2, 1, 0, 1}});
    EXPECT_EQ(rle, ReadWholeFile(path));

    // Deeper than 15 bits the compressed flag is dropped.
    HGLOBAL rgb = MakeDib(1, 1, 24, {}, {1, 2, 3, 0});
    {
        ActiveBits active(24);
        ASSERT_EQ(1, BMP_Save(path.c_str(), rgb, 1, 1, 24));
    }
    Bytes deep = Cat({{'B', 'M', 58, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0}, InfoHeader(1, 1, 24, 0, 4, 0), {1, 2, 3, 0}});
    EXPECT_EQ(deep, ReadWholeFile(path));
    remove(path.c_str());
    GlobalFree(rgb);
    GlobalFree(dib);
}

TEST(BmpSave, RunLengthOutputIsWhatImageMagickDecoded)
{
    // The 19x7 image of the fixtures: runs, alternations, short stretches.
    for (int bits : {4, 8}) {
        LONG width = 19, height = 7;
        int colors = 1 << bits;
        size_t stride = ((static_cast<size_t>(width) * bits + 31) / 32) * 4;
        Bytes table, pixels(stride * height, 0), rgb;
        for (int c = 0; c < colors; c++) table.insert(table.end(), {BYTE(c * 7), BYTE(255 - c), BYTE(c * 13), 0});
        for (LONG y = 0; y < height; y++) {
            for (LONG x = 0; x < width; x++) {
                int v = y == 0 ? 2 : y == 1 ? (x & 1) : y == 2 ? x / 5 : y == 3 ? (x * x * 7 + 3)
                      : y == 4 ? (x < width / 2 ? 3 : 9) : y == 5 ? (x % 3 == 0 ? 1 : 5) : 12;
                v &= colors - 1;
                BYTE* row = &pixels[y * stride];
                if (bits == 8) row[x] = static_cast<BYTE>(v);
                else row[x / 2] |= static_cast<BYTE>(x & 1 ? v : v << 4);
            }
        }
        HGLOBAL dib = MakeDib(width, height, bits, table, pixels);
        std::string path = TempPath("rle_writer.bmp");
        {
            ActiveBits active(bits);
            ASSERT_EQ(1, BMP_Save(path.c_str(), dib, 1, 1, static_cast<WORD>(bits)));
        }
        std::string name = "bmp/rle" + std::to_string(bits) + "_writer";
        Bytes fixture = ReadWholeFile(DataPath(name + ".bmp"));
        ASSERT_FALSE(fixture.empty());
        Bytes written = ReadWholeFile(path);
        remove(path.c_str());
        // The header fields the writer fills differ from the fixture's only
        // in what MakeDib puts in (resolution), so compare from the table on.
        ASSERT_EQ(fixture.size(), written.size()) << bits;
        EXPECT_EQ(bits == 4 ? 2 : 1, written[30]);
        EXPECT_EQ(Bytes(fixture.begin() + 54, fixture.end()), Bytes(written.begin() + 54, written.end())) << bits;
        // And what ImageMagick decoded from the fixture is what we load.
        Loaded l;
        LoadPath(DataPath(name + ".bmp"), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(pixels, l.pixels);
        EXPECT_EQ(ReadWholeFile(DataPath(name + ".rgb")), ReferenceSamples(l.h, l.table, l.pixels, false)) << bits;
        GlobalFree(dib);
    }
}

TEST(BmpSave, NameAtTheLimitWorksOneLongerIsRefusedAndTouchesNothing)
{
    LongName limit(FIL_NameRoom - 1);
    const std::string over = limit.name + "Z";  // cut, it would be the first name
    HGLOBAL dib = MakeDib(2, 2, 8, Table({{0, 0, 0, 0}}), Bytes(8, 0));
    ASSERT_EQ(1, BMP_Save(limit.name.c_str(), dib, 1, 0, 8));
    HGLOBAL read = DIB_ReadFile(limit.name.c_str());
    EXPECT_NE(nullptr, read);
    GlobalFree(read);
    const Bytes kept = ReadWholeFile(limit.name);
    HDL_ClearBoxes();
    EXPECT_EQ(0, BMP_Save(over.c_str(), dib, 1, 0, 8));
    EXPECT_EQ(std::vector<std::string>{kCannotWrite}, BoxTexts());
    EXPECT_EQ(nullptr, DIB_ReadFile(over.c_str()));
    EXPECT_EQ(kept, ReadWholeFile(limit.name));
    EXPECT_FALSE(FileExists(over));
    remove(limit.name.c_str());
    GlobalFree(dib);
}

TEST(DibReadFile, ReadsTheBlockAsStoredWithoutMessages)
{
    Bytes table = Table({{0, 0, 0, 0}, {1, 1, 1, 0}});
    Bytes rle = {3, 1, 0, 1};
    std::string path = TempPath("readfile.bmp");
    ASSERT_TRUE(WriteWholeFile(path, WithFileHeader(InfoHeader(3, 1, 8, BI_RLE8, 4, 2), table, rle)));
    HDL_ClearBoxes();
    HGLOBAL dib = DIB_ReadFile(path.c_str());
    ASSERT_NE(nullptr, dib);
    BITMAPINFOHEADER h;
    DIB_GetInfo(dib, &h);
    EXPECT_EQ(static_cast<DWORD>(BI_RLE8), h.biCompression);
    EXPECT_EQ(4u, h.biSizeImage);
    ASSERT_GE(GlobalSize(dib), 52u);
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(dib));
    EXPECT_EQ(Cat({InfoHeader(3, 1, 8, BI_RLE8, 4, 2), table, rle}), Bytes(p, p + 52));
    GlobalUnlock(dib);
    GlobalFree(dib);
    ASSERT_TRUE(WriteWholeFile(path, WithFileHeader(InfoHeader(3, -1, 8), table, Bytes(4, 0))));
    EXPECT_EQ(nullptr, DIB_ReadFile(path.c_str()));
    ASSERT_TRUE(WriteWholeFile(path, Bytes(5, 0)));
    EXPECT_EQ(nullptr, DIB_ReadFile(path.c_str()));
    EXPECT_TRUE(HDL_Boxes().empty());
    remove(path.c_str());
}
