// The IFF, PICT, WPG and CLP readers and the IFF and WPG writers: small files
// worked out by hand, round trips, hostile files and their messages, and files
// of netpbm and ImageMagick where those tools are installed.
#include "corpus_support.h"

#include <cstdlib>

using namespace pcxtga;

namespace {

Bytes Big(std::initializer_list<DWORD> values, int bytes)
{
    Bytes out;
    for (DWORD v : values)
        for (int s = 8 * (bytes - 1); s >= 0; s -= 8) out.push_back(static_cast<BYTE>(v >> s));
    return out;
}
Bytes Little(std::initializer_list<DWORD> values, int bytes)
{
    Bytes out;
    for (DWORD v : values)
        for (int s = 0; s < 8 * bytes; s += 8) out.push_back(static_cast<BYTE>(v >> s));
    return out;
}
Bytes Text(const char* s) { return Bytes(s, s + strlen(s)); }
Bytes Chunk(const char* id, const Bytes& data) { return Cat(Cat(Text(id), Big({DWORD(data.size())}, 4)), data); }
Bytes Form(const char* type, const Bytes& chunks) { return Chunk("FORM", Cat(Text(type), chunks)); }
Bytes Bmhd(int width, int height, int planes, int compression)
{
    return Cat(Big({DWORD(width), DWORD(height), 0, 0}, 2), {BYTE(planes), 0, BYTE(compression), 0, 0, 0, 1, 1, 0, 1, 0, 1});
}

#ifndef _WIN32
bool Shell(const std::string& command) { return system((command + " 2>/dev/null").c_str()) == 0; }
bool HaveTool(const char* name) { return Shell(std::string("command -v ") + name + " >/dev/null"); }
// A binary PPM's samples scaled to 0..255, rows from the top.
Bytes PpmSamples(const std::string& path)
{
    Bytes f = ReadWholeFile(path);
    std::string head(f.begin(), f.begin() + std::min<size_t>(f.size(), 40));
    int w, h, max, used = 0;
    if (sscanf(head.c_str(), "P6 %d %d %d%n", &w, &h, &max, &used) != 3) return {};
    Bytes out(f.begin() + used + 1, f.end());
    for (BYTE& v : out) v = static_cast<BYTE>((v * 255 + max / 2) / max);
    return out;
}
#endif

class IffPictWpgClp : public FormatTest {
protected:
    void Load(int (*load)(LPCSTR, HGLOBAL*), const Bytes& file, LoadedDib& l)
    {
        ASSERT_TRUE(WriteWholeFile(Temp("in.bin"), file));
        LoadWith(load, TempPath("in.bin"), l);
    }
    // The file loads with its one message (or none), to these pixels and, when given, this table.
    void ExpectLoad(int (*load)(LPCSTR, HGLOBAL*), const Bytes& file, const char* text, const Bytes& pixels,
                    const Bytes& table = {})
    {
        SCOPED_TRACE(testing::PrintToString(file));
        LoadedDib l;
        Load(load, file, l);
        EXPECT_EQ(!pixels.empty(), l.result == 1);
        EXPECT_EQ(*text ? std::vector<std::string>{text} : std::vector<std::string>{}, l.texts);
        EXPECT_EQ(pixels, l.pixels);
        if (!table.empty()) EXPECT_EQ(table, l.table);
    }
};

// ---- IFF -------------------------------------------------------------------------

TEST_F(IffPictWpgClp, IffWrittenBytesRoundTripAndOtherReaders)
{
    // Two pixels, red green blue (0x81, 0x02, 0xFF) and (0x01, 0x00, 0x80).
    OwnedDib rgb{DibFromRows(2, 1, 24, {}, {{0xFF, 0x02, 0x81, 0x80, 0x00, 0x01}})};
    // A plane line is 2 bytes. Planes 0-7 are red's bits: 0 set in both
    // pixels (0xC0), 7 in the first (0x80); plane 9 is green's bit 1 in the
    // first; planes 16-22 blue's bits 0-6 in the first, 23 in both. FORM and
    // BODY count one plane's line only: 2 + 60 and 2.
    Bytes planes(48, 0);
    planes[0] = 0xC0, planes[14] = 0x80, planes[18] = 0x80;
    for (int p = 16; p < 23; p++) planes[2 * p] = 0x80;
    planes[46] = 0xC0;
    const Bytes expected = Cat(Cat(Cat(Text("FORM"), Big({62}, 4)),
                                   Cat(Text("ILBM"), Chunk("BMHD", Cat(Big({2, 1, 0, 0}, 2), {24, 0, 0, 0, 0, 0, 1, 1, 0, 1, 0, 1})))),
                               Cat(Cat(Chunk("CAMG", Big({0}, 4)), Text("BODY")), Cat(Big({2}, 4), planes)));
    const std::string path = Temp("out.iff");
    ASSERT_EQ(1, IFF_Save(path.c_str(), rgb.dib, 1, 0, 24));
    EXPECT_EQ(expected, ReadWholeFile(path));

    // Every depth goes out as 24 planes and comes back through the 24-plane path.
    OwnedDib mapped{DibFromRows(3, 2, 4, {{1, 2, 3, 0}, {200, 100, 50, 0}}, {{0x01, 0x10}, {0x11, 0x00}})};
    for (HGLOBAL dib : {rgb.dib, mapped.dib}) {
        ASSERT_EQ(1, IFF_Save(path.c_str(), dib, 1, 0, 24));
        LoadedDib l;
        LoadWith(IFF_Load, path, l);
        EXPECT_EQ(24, l.h.biBitCount);
        EXPECT_EQ(ReferenceSamples(dib, false), ReferenceSamples(l.dib, false));
        EXPECT_EQ("compressed 1 bits 24 version 1 creator Amiga",
                  InfoText({INF_COMPRESSED, INF_BITSPERPIXEL, INF_VERSION, INF_CREATOR}));
    }
#ifndef _WIN32
    // Another reader stops where the sizes end; with the sizes of all planes it reads ours.
    if (HaveTool("ilbmtoppm")) {
        Bytes file = ReadWholeFile(path);
        const DWORD body = DWORD(file.size() - 60);
        const Bytes form = Big({body + 52}, 4), size = Big({body}, 4);
        std::copy(form.begin(), form.end(), file.begin() + 4);
        std::copy(size.begin(), size.end(), file.begin() + 56);
        ASSERT_TRUE(WriteWholeFile(path, file));
        ASSERT_TRUE(Shell("ilbmtoppm " + path + " > " + Temp("back.ppm")));
        EXPECT_EQ(ReferenceSamples(mapped.dib, false), PpmSamples(TempPath("back.ppm")));
    }
#endif
}

#ifndef _WIN32
// netpbm and ImageMagick run beside the native build; ./korvanta installs them.
TEST_F(IffPictWpgClp, IffReadsOtherProgramsFiles)
{
    ASSERT_TRUE(HaveTool("ppmtoilbm")) << "netpbm is not installed";
    // Three colours (an odd CMAP with its pad byte), four, true colour, HAM.
    const char* odd = "P3 4 2 255 255 0 0 0 255 0 0 0 255 255 0 0 0 255 0 0 0 255 255 0 0 0 255 0\n";
    const char* even = "P3 4 2 255 255 0 0 0 255 0 0 0 255 9 9 9 0 255 0 0 0 255 255 0 0 9 9 9\n";
    const char* rich = "P3 3 2 255 1 2 3 40 50 60 255 128 7 0 0 0 99 98 97 17 34 51\n";
    const struct {
        const char* ppm;
        const char* options;
        int bits;
    } cases[] = {{odd, "", 8}, {even, "-nocompress", 8}, {rich, "-24force", 24}, {rich, "-24force -nocompress", 24},
                 {rich, "-hamforce", 24}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        ASSERT_TRUE(WriteWholeFile(Temp("src.ppm"), Text(c.ppm)));
        ASSERT_TRUE(Shell("ppmtoilbm " + std::string(c.options) + " " + TempPath("src.ppm") + " > " + Temp("t.iff")));
        ASSERT_TRUE(Shell("ilbmtoppm " + TempPath("t.iff") + " > " + Temp("ref.ppm")));
        LoadedDib l;
        LoadWith(IFF_Load, TempPath("t.iff"), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(c.bits, l.h.biBitCount);
        const bool ham = strstr(c.options, "ham") != nullptr;
        // HAM keeps each channel's four bits shifted left by four, where
        // ilbmtoppm fills the low four bits from the colour before.
        Bytes expected = PpmSamples(TempPath("ref.ppm"));
        if (ham)
            for (BYTE& v : expected) v &= 0xF0;
        EXPECT_EQ(expected, ReferenceSamples(l.dib, false));
    }
}
#endif

TEST_F(IffPictWpgClp, IffRefusesDamageAndDecodesEveryMode)
{
    const Bytes head = Chunk("BMHD", Bmhd(2, 1, 1, 0)), cmap = Chunk("CMAP", {0, 0, 0, 255, 255, 255});
    // HAM, 6 planes, no table: the first pixel sets red to 5 (selector 2), the
    // second all channels to 3 (selector 0); values 0x25 and 0x03 by plane.
    const Bytes ham = Cat(Cat(Chunk("BMHD", Bmhd(2, 1, 6, 0)), Chunk("CAMG", Big({0x800}, 4))),
                          Chunk("BODY", {0xC0, 0, 0x40, 0, 0x80, 0, 0, 0, 0, 0, 0x80, 0}));
    // 24 planes in an ABIT: plane 0 is red's bit 0 of the first pixel, 23 blue's bit 7 of the second.
    Bytes abit(48, 0);
    abit[0] = 0x80, abit[46] = 0x40;
    // An odd chunk and its pad byte before the image, as other programs write them.
    const Bytes padded = Cat(Cat(head, cmap), Cat(Chunk("TEXT", {'x'}), Cat({0}, Chunk("BODY", {0x40, 0}))));
    const struct {
        Bytes file;
        const char* text;  // "" for none
        Bytes pixels;
        Bytes table;
    } cases[] = {
        {Text("FOR"), "Incomplete IFF file, cannot load", {}, {}},
        {Text("FORX\0\0\0\4ILBM"), "Unknown IFF format, cannot read", {}, {}},
        {Form("ACBM", head), "ACBM/ABIT IFF format files not supported", {}, {}},
        {Form("PBM ", head), "Unknown IFF sub-format, cannot read", {}, {}},
        {Form("ILBM", Cat(Text("BMHD"), Big({20, 0x10002}, 4))), "Incomplete IFF file, cannot load", {}, {}},
        {Form("ILBM", Cat(cmap, Chunk("BODY", {0, 0}))), "Incomplete IFF file, cannot load", {}, {}},
        {Form("ILBM", Cat(head, cmap)), "Cannot find image tag in IFF file, cannot load", {}, {}},
        {Form("ILBM", Cat(Chunk("BMHD", Bmhd(2, 1, 1, 2)), Chunk("BODY", {0, 0}))), "Unknown IFF compression method", {}, {}},
        {Form("ILBM", Cat(Chunk("BMHD", Bmhd(2, 1, 24, 1)), Chunk("BODY", {2, 0, 0, 0}))),
         "The IFF File is Damaged -- Cannot Load", {}, {}},
        {Form("ILBM", Cat(Cat(Chunk("BMHD", Bmhd(2, 1, 1, 1)), cmap), Chunk("BODY", {0xFD, 0}))), "Error decompressing IFF file, cannot load", {}, {}},
        {Form("ILBM", Cat(Cat(head, cmap), Chunk("BODY", {0}))), "The IFF File is Damaged -- Cannot Load", {}, {}},
        {Form("ILBM", ham), "", {0, 0, 0x50, 0x30, 0x30, 0x30, 0, 0}, {}},
        {Form("ILBM", Cat(head, Chunk("ABIT", Bytes(2, 0)))), "", {0, 0, 0, 0, 0, 0, 0, 0}, {}},
        {Form("ILBM", Cat(Chunk("BMHD", Bmhd(2, 1, 24, 0)), Chunk("ABIT", abit))), "", {0, 0, 1, 0x80, 0, 0, 0, 0}, {}},
        // Extra half-brite doubles the table; the added half stays black.
        {Form("ILBM", Cat(Cat(head, cmap), Cat(Chunk("CAMG", Big({0x80}, 4)), Chunk("BODY", {0x40, 0})))), "",
         {0, 1, 0, 0}, {0, 0, 0, 0, 255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {Form("ILBM", padded), "", {0, 1, 0, 0}, {0, 0, 0, 0, 255, 255, 255, 0}},
    };
    for (const auto& c : cases) ExpectLoad(IFF_Load, c.file, c.text, c.pixels, c.table);
}

// ---- WPG -------------------------------------------------------------------------

TEST_F(IffPictWpgClp, WpgWrittenBytesAndRoundTrips)
{
    // 3 x 2 at 1 bit, top row 1 0 1 (0xA0), bottom 0 1 1 (0x60). On a 96-dpi
    // screen 3 pixels are 37 1200ths (37.5 truncated), 2 are 25.
    OwnedDib mono{DibFromRows(3, 2, 1, {{0, 0, 0, 0}, {255, 255, 255, 0}}, {{0xA0}, {0x60}})};
    const Bytes expected = Cat(
        Cat({0xFF, 'W', 'P', 'C', 16, 0, 0, 0, 1, 0x16, 1, 0, 0, 0, 0, 0, 0x0F, 6, 1, 0, 37, 0, 25, 0},
            // the map: 2 entries, length 2 x 3 + 4
            {0x0E, 0xFF, 10, 0, 0, 0, 2, 0, 0, 0, 0, 255, 255, 255}),
        // the bitmap: length 20 + two rows of a one-byte packet, high bit set
        {0x14, 0xFF, 0x00, 0x80, 24, 0, 0, 0, 0, 0, 25, 0, 37, 0, 0, 0, 3, 0, 2, 0, 1, 0, 96, 0, 96, 0, 1, 0xA0, 1, 0x60,
         0x10, 0});
    const std::string path = Temp("out.wpg");
    ASSERT_EQ(1, WPG_Save(path.c_str(), mono.dib, 1, 1, 1));
    EXPECT_EQ(expected, ReadWholeFile(path));

    // 3 x 1 at 4 bits (1 2 3): the line is the stride, 4 bytes, 12 1200ths
    // high; 2 x 1 at 8 bits (5 250): 2 bytes, 25 1200ths wide. Map headers
    // of 16 and 256 entries, then each bitmap record (length 20 + 5, 20 + 3).
    OwnedDib four1{DibFromRows(3, 1, 4, std::vector<RGBQUAD>(16), {{0x12, 0x30}})};
    OwnedDib eight1{DibFromRows(2, 1, 8, std::vector<RGBQUAD>(256), {{5, 250}})};
    const struct {
        HGLOBAL dib;
        WORD depth;
        Bytes map, bitmap;
    } small[] = {
        {four1.dib, 4, {0x0E, 0xFF, 52, 0, 0, 0, 16, 0},
         {0x14, 0xFF, 0, 0x80, 25, 0, 0, 0, 0, 0, 12, 0, 37, 0, 0, 0, 3, 0, 1, 0, 4, 0, 96, 0, 96, 0, 4, 0x12, 0x30, 0, 0, 0x10, 0}},
        {eight1.dib, 8, {0x0E, 0xFF, 0x04, 0x03, 0, 0, 0, 1},
         {0x14, 0xFF, 0, 0x80, 23, 0, 0, 0, 0, 0, 12, 0, 25, 0, 0, 0, 2, 0, 1, 0, 8, 0, 96, 0, 96, 0, 2, 5, 250, 0x10, 0}},
    };
    for (const auto& c : small) {
        ASSERT_EQ(1, WPG_Save(path.c_str(), c.dib, 1, 1, c.depth));
        const Bytes f = ReadWholeFile(path);
        ASSERT_EQ(24 + 8 + 3 * (1u << c.depth) + c.bitmap.size(), f.size());
        EXPECT_EQ(c.map, Bytes(f.begin() + 24, f.begin() + 32));
        EXPECT_EQ(c.bitmap, Bytes(f.end() - c.bitmap.size(), f.end()));
    }

    std::vector<RGBQUAD> table(256);
    for (int i = 0; i < 256; i++) table[i] = {BYTE(i), BYTE(255 - i), BYTE(i / 2), 0};
    Bytes wide(300);
    for (size_t i = 0; i < wide.size(); i++) wide[i] = static_cast<BYTE>(i * 7);
    OwnedDib eight{DibFromRows(300, 3, 8, table, {wide})};
    OwnedDib four{DibFromRows(16, 2, 4, std::vector<RGBQUAD>(table.begin(), table.begin() + 16), {{0x01, 0x23, 0x45, 0xCD, 0xEF, 0x89, 0xAB, 0x67}})};
    ASSERT_EQ(1, WPG_Save(path.c_str(), eight.dib, 1, 1, 8));
    // Literal packets are cut 127, 127 and the rest (46).
    const Bytes file = ReadWholeFile(path);
    const size_t rows = 24 + 8 + 3 * 256 + 26;
    EXPECT_EQ((Bytes{127, 127, 46}), (Bytes{file[rows], file[rows + 128], file[rows + 256]}));
    for (HGLOBAL dib : {mono.dib, eight.dib, four.dib}) {
        BITMAPINFOHEADER h;
        DIB_GetInfo(dib, &h);
        ASSERT_EQ(1, WPG_Save(path.c_str(), dib, 1, 1, h.biBitCount));
        LoadedDib l;
        LoadWith(WPG_Load, path, l);
        EXPECT_EQ(h.biBitCount, l.h.biBitCount);
        EXPECT_EQ(ReferenceSamples(dib, false), ReferenceSamples(l.dib, false));
#ifndef _WIN32
        // ImageMagick reads them alike.
        if (HaveTool("convert")) {
            ASSERT_TRUE(Shell("convert " + path + " -depth 8 ppm:" + Temp("im.ppm")));
            EXPECT_EQ(ReferenceSamples(dib, false), PpmSamples(TempPath("im.ppm")));
        }
#endif
    }
}

TEST_F(IffPictWpgClp, WpgDecodesRunsAndRefusesDamage)
{
    const Bytes head = {0xFF, 'W', 'P', 'C', 16, 0, 0, 0, 1, 0x16, 1, 0, 0, 0, 0, 0};
    // A bitmap-1 record of 4 x 3 at 8 bits, then its lines.
    auto bitmap = [&](int width, int height, int depth, const Bytes& lines) {
        Bytes data = Cat(Little({DWORD(width), DWORD(height), DWORD(depth), 0, 0}, 2), lines);
        return Cat(Cat(head, {0x0B, 0xFF}), Cat(Little({DWORD(data.size())}, 2), Cat(data, {0x10, 0})));
    };
    // Top line: a run of 0x80 | 2 and a literal of 2; a line of 0xFF bytes (op
    // 0x80 with 4); that line once more (op 0 with 1).
    const Bytes lines = {0x82, 7, 2, 8, 9, 0x80, 4, 0, 1};
    const struct {
        Bytes file;
        const char* text;
        Bytes pixels;
    } cases[] = {
        {Bytes(head.begin(), head.begin() + 15), "Not a legal WPG file", {}},
        {Cat({0xFE}, Bytes(head.begin() + 1, head.end())), "Not a legal WPG file", {}},
        {Cat(head, {0x01, 2, 0, 0, 0x10, 0}), "This WPG file does not contain a RASTER image", {}},
        {bitmap(4, 3, 2, lines), "Unsupported WPG format", {}},
        {bitmap(4, 3, 3, lines), "Illegal or Unsupported WPG file format", {}},
        {bitmap(0, 3, 8, lines), "Not enough memory to load WPG image", {}},
        {bitmap(4, 3, 8, {0x85, 1}), "Error decompressing WPG file, cannot load", {}},
        {bitmap(4, 3, 8, {0x82, 1}), "Error decompressing WPG file, cannot load", {}},
        {bitmap(4, 3, 8, {0, 0}), "", {}},
        {bitmap(4, 3, 8, lines), "", {255, 255, 255, 255, 255, 255, 255, 255, 7, 7, 8, 9}},
    };
    for (const auto& c : cases) ExpectLoad(WPG_Load, c.file, c.text, c.pixels);
}

// ---- PICT ------------------------------------------------------------------------

// A version 2 picture: the 512-byte header, size and frame, the version and
// header opcodes, then ops and the end.
Bytes Pict2(const Bytes& ops)
{
    return Cat(Cat(Bytes(512, 0), {0, 0, 0, 0, 0, 0, 0, 2, 0, 3, 0, 0x11, 2, 0xFF, 0x0C, 0}), Cat(Cat(Bytes(24, 0), ops), {0, 0xFF}));
}
// A pixel map opcode and its data (a base address for 0x9A); a table of entries 0 and 1.
Bytes PixMap(int op, int rowBytes, int width, int height, int packType, int pixelSize, const Bytes& rows)
{
    Bytes m = Cat(Big({DWORD(op)}, 2), Bytes(op == 0x9A ? 4 : 0, 0));
    m = Cat(Cat(m, Big({0x8000u | rowBytes, 0, 0, DWORD(height), DWORD(width), 0, DWORD(packType)}, 2)),
            Big({0, 0x480000, 0x480000}, 4));
    m = Cat(m, Big({0, DWORD(pixelSize), 1, DWORD(pixelSize), 0, 0, 0, 0, 0, 0}, 2));
    if (pixelSize < 16) m = Cat(m, Big({0, 0, 0, 1, 0, 0xFF00, 0x8000, 0x1234, 1, 0x1122, 0x2233, 0x3344}, 2));
    return Cat(Cat(m, Bytes(18, 0)), rows);
}

TEST_F(IffPictWpgClp, PictReadsMapsAndRefusesDamage)
{
    // 3 x 2 at 8 bits, packed: a literal row 1 0 1 (and its pad), a run of 1s.
    const Bytes rows = {5, 3, 1, 0, 1, 0, 2, 0xFD, 1};
    const Bytes first = {0x12, 0x80, 0xFF}, blue = {0x33, 0x22, 0x11}, pad = {0, 0, 0};
    const Bytes eight = Cat(Cat(Cat(blue, blue), Cat(blue, pad)), Cat(Cat(blue, first), Cat(blue, pad)));
    // A long comment of 600 bytes in front: the picture is long enough without its header.
    const Bytes commented = Pict2(Cat(Cat(Big({0xA1, 0, 600}, 2), Bytes(600, 0x22)), PixMap(0x98, 4, 3, 2, 0, 8, rows)));
    Bytes version1 = Cat(Bytes(512, 0), Cat(Bytes(10, 0), {0x11, 1, 0x90}));
    version1 = Cat(Cat(version1, Big({2, 0, 0, 2, 10}, 2)), Cat(Bytes(18, 0), {0xC0, 0x3F, 0x00, 0x40, 0xFF}));
    const struct {
        Bytes file;
        const char* text;
        Bytes pixels;
    } cases[] = {
        {Cat(Bytes(100, 0), {0x11}), "Unexpected end-of-file, cannot load PICT file", {}},
        {Bytes(600, 0x22), "Cannot find PICT version number.  Be sure resource fork is stripped from image.", {}},
        {Cat(Bytes(522, 0), {0x11, 3, 0xFF}), "Not a supported PICT file version", {}},
        {Cat(Bytes(522, 0), {0x11, 2, 0x00}), "Illegal or unsupported PICT2 file", {}},
        {Pict2({0, 0x1E, 0, 0x12, 0, 1}), "Unsupported PICT Pattern", {}},
        {Pict2({0, 0x1E, 0, 0x2C, 0, 2, 0, 0}), "Did not find bitmap in PICT", {}},
        {Pict2(Big({0x98, 4}, 2)), "Illegal or unsupported RowBytes value in PICT file", {}},
        {Pict2(PixMap(0x98, 4, 3, 2, 0, 3, rows)), "Unsupported color depth, cannot load", {}},
        {Pict2(PixMap(0x98, 4, 3, 2, 2, 8, rows)), "Unsupported Compression type, cannot load", {}},
        {Pict2(PixMap(0x98, 8, 3, 2, 0, 16, rows)), "Unsupported Compression type, cannot load", {}},
        {Pict2(PixMap(0x98, 4, 3, 2, 0, 8, {6, 3, 1, 0, 1, 0, 2, 0xFD, 1})), "Error decompressing row, cannot load", {}},
        {Pict2(PixMap(0x98, 4, 3, 2, 0, 8, rows)), "", eight},
        {commented, "", eight},
        // Pack type 1 leaves the rows as they are.
        {Pict2(PixMap(0x98, 4, 3, 1, 1, 8, {0, 1, 0, 0})), "", Cat(Cat(first, blue), Cat(first, pad))},
        // 32 bits: red, green and blue strips of each row, unchecked counts.
        {Pict2(PixMap(0x9A, 8, 2, 1, 0, 32, {9, 5, 1, 2, 3, 4, 5, 6})), "", {5, 3, 1, 6, 4, 2, 0, 0}},
        // The picture without its 512-byte header is found by the search.
        {Bytes(commented.begin() + 512, commented.end()), "", eight},
        // Version 1 bitmap, 10 x 2: set bits are black.
        {version1, "", Cat(Cat(Cat(Bytes(27, 255), Bytes(5, 0)), Bytes(6, 0)), Cat(Bytes(24, 255), Bytes(2, 0)))},
    };
    for (const auto& c : cases) ExpectLoad(PCT_Load, c.file, c.text, c.pixels);
}

#ifndef _WIN32
TEST_F(IffPictWpgClp, PictReadsOtherProgramsFiles)
{
    int tools = 0;
    // Rows of 8 bytes or more: other programs leave shorter rows unpacked,
    // while this reader takes every row under a packing opcode as packed.
    Bytes ppm = Text("P6 9 4 255\n");
    for (int i = 0; i < 9 * 4; i++) ppm = Cat(ppm, {BYTE(i * 7 % 5 * 60), BYTE(i % 3 * 100), BYTE(i % 2 * 255)});
    ASSERT_TRUE(WriteWholeFile(Temp("src.ppm"), ppm));
    for (const char* command : {"ppmtopict", "convert - pict:-"}) {
        SCOPED_TRACE(command);
        if (!HaveTool(std::string(command).substr(0, std::string(command).find(' ')).c_str())) continue;
        tools++;
        ASSERT_TRUE(Shell(std::string(command) + " < " + TempPath("src.ppm") + " > " + Temp("t.pct")));
        LoadedDib l;
        LoadWith(PCT_Load, TempPath("t.pct"), l);
        ASSERT_EQ(1, l.result);
        EXPECT_EQ(PpmSamples(TempPath("src.ppm")), ReferenceSamples(l.dib, false));
    }
    EXPECT_EQ(2, tools) << "ppmtopict or ImageMagick is not installed";
}
#endif

// ---- CLP -------------------------------------------------------------------------

// A clipboard file of entries (format, data), the data after the table.
Bytes Clipboard(const std::vector<std::pair<int, Bytes>>& entries, WORD id = 0xC350)
{
    Bytes head = Little({id, DWORD(entries.size())}, 2), data;
    DWORD at = DWORD(4 + 89 * entries.size());
    for (const auto& e : entries) {
        head = Cat(Cat(head, Little({DWORD(e.first)}, 2)), Cat(Little({DWORD(e.second.size()), at}, 4), Bytes(79, 0)));
        data = Cat(data, e.second);
        at += DWORD(e.second.size());
    }
    return Cat(head, data);
}
Bytes DibEntry(int width, int height, int bits, int compression, int used, const Bytes& rest)
{
    return Cat(Cat(Little({40, DWORD(width), DWORD(height)}, 4), Little({1, DWORD(bits)}, 2)),
               Cat(Little({DWORD(compression), 0, 0, 0, DWORD(used), 0}, 4), rest));
}
Bytes BitmapEntry(int bits, const Bytes& data)
{
    return Cat(Cat(Little({0, 2, 1, 8}, 4), Little({1, DWORD(bits), 0, 0}, 2)), data);
}

TEST_F(IffPictWpgClp, ClpTakesTheDibOrTheBitmap)
{
    const Bytes topDown = DibEntry(1, -2, 24, 0, 0, {1, 2, 3, 0, 4, 5, 6, 0});
    const Bytes bitmap = BitmapEntry(32, {1, 2, 3, 4, 5, 6, 7, 8});
    const Bytes whole = Clipboard({{8, topDown}});
    const Bytes rle = DibEntry(2, 1, 8, 1, 2, {0, 0, 0, 0, 9, 9, 9, 0, 2, 1, 0, 1});
    const struct {
        Bytes file;
        const char* text;
        Bytes pixels;
    } cases[] = {
        {Clipboard({{8, topDown}}, 0xC351), "Illegal CLP File -- Bad Header", {}},
        {Bytes(whole.begin(), whole.begin() + 50), "Incomplete CLP file, cannot load", {}},
        {Clipboard({{9, Bytes(8, 0)}}), "No BMP or DIB format found in CLP file, cannot load", {}},
        {Clipboard({{8, Bytes(topDown.begin(), topDown.end() - 1)}}), "Incomplete CLP file, cannot load", {}},
        {Clipboard({{8, Cat({12, 0}, topDown)}}), "Illegal DIB header in CLP file, cannot load", {}},
        {Clipboard({{2, BitmapEntry(24, Bytes(8, 0))}}),
         "This Clipboard file contains a device dependent bitmap which is incompatible with the current device, cannot load.", {}},
        {Clipboard({{8, topDown}}), "", {4, 5, 6, 0, 1, 2, 3, 0}},
        {Clipboard({{2, bitmap}, {8, topDown}}), "", {4, 5, 6, 0, 1, 2, 3, 0}},
        {Clipboard({{2, bitmap}, {8, Cat({12, 0}, topDown)}}), "", {1, 2, 3, 4, 5, 6, 7, 8}},
        {Clipboard({{8, rle}}), "", {1, 1, 0, 0}},
    };
    for (const auto& c : cases) ExpectLoad(CLP_Load, c.file, c.text, c.pixels);
}

}  // namespace
