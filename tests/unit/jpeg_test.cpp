// The JPEG layer and the JPG, PIC and KQP rows: files written by our saves and
// by libjpeg itself (progressive, other subsamplings, comments, CMYK), damaged
// files, the corpus of files from other programs and the kept crashers.
#include "colour/flat_cut.h"
#include "core/settings.h"
#include "corpus_support.h"
#include "platform/jpeg.h"

#include <jpeglib.h>

namespace {

const char kIncomplete[] = "Incomplete JPG file, cannot load";
const char kNotJpeg[] = "Not a legal JPG file";

// ---- files written with libjpeg directly ------------------------------------------------------

struct JpegParams {
    int width = 16, height = 16;
    int components = 3;                    // samples given per pixel
    J_COLOR_SPACE in = JCS_RGB;            // their colour space
    J_COLOR_SPACE file = JCS_YCbCr;        // the file's
    int quality = 100;
    bool progressive = false;
    int hLuma = 2, vLuma = 2;              // sampling of the first component
    std::vector<std::string> comments;
};

// Writes samples (top row first, `components` a pixel) as a JPEG file.
void WriteJpeg(const std::string& path, const JpegParams& params, const Bytes& samples)
{
    FILE* f = fopen(path.c_str(), "wb");
    ASSERT_NE(nullptr, f);
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    jpeg_stdio_dest(&c, f);
    c.image_width = params.width;
    c.image_height = params.height;
    c.input_components = params.components;
    c.in_color_space = params.in;
    jpeg_set_defaults(&c);
    jpeg_set_colorspace(&c, params.file);
    jpeg_set_quality(&c, params.quality, TRUE);
    if (c.num_components >= 3) {
        c.comp_info[0].h_samp_factor = params.hLuma;
        c.comp_info[0].v_samp_factor = params.vLuma;
    }
    if (params.progressive) jpeg_simple_progression(&c);
    jpeg_start_compress(&c, TRUE);
    for (const std::string& text : params.comments)
        jpeg_write_marker(&c, JPEG_COM, reinterpret_cast<const JOCTET*>(text.data()), static_cast<unsigned>(text.size()));
    for (int y = 0; y < params.height; y++) {
        JSAMPROW row = const_cast<JSAMPROW>(&samples[static_cast<size_t>(y) * params.width * params.components]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    fclose(f);
}

// ---- DIBs and loads ---------------------------------------------------------------------------

struct Loaded : LoadedDib {
    // Pixel x of row y (0 at the top) as blue, green, red; or its gray index.
    const unsigned char* At(LONG x, LONG y) const
    {
        DWORD stride = h.biSizeImage / static_cast<DWORD>(h.biHeight);
        return &pixels[static_cast<size_t>(h.biHeight - 1 - y) * stride + static_cast<size_t>(x) * (h.biBitCount / 8)];
    }
};

void Load(const std::string& path, Loaded& l) { LoadWith(JPG_Load, path, l); }

struct Info {
    int ok = 0, luma = -1, chroma = -1, subsampling = -1, kind = -1, bits = -1;
    DWORD size = 0;
};

Info GetInfo(const std::string& path)
{
    Info i;
    DWORD parameters = 0xFFFFFFFF;
    i.ok = ZIM_GetInfo(path.c_str(), nullptr, &parameters, &i.kind, &i.size, &i.bits, nullptr, nullptr);
    i.luma = parameters & 0xFF;
    i.chroma = (parameters >> 8) & 0xFF;
    i.subsampling = (parameters >> 16) & 7;
    return i;
}

// The facts of a file as one line, to compare whole.
std::string InfoLine(const std::string& path)
{
    Info i = GetInfo(path);
    return "ok " + std::to_string(i.ok) + " luma " + std::to_string(i.luma) + " chroma " + std::to_string(i.chroma) +
           " subsampling " + std::to_string(i.subsampling) + " kind " + std::to_string(i.kind) + " bits " +
           std::to_string(i.bits) + " size " + std::to_string(i.size);
}

class Jpeg : public pcxtga::FormatTest {
protected:
    void SetUp() override { FormatTest::SetUp(), SET_Reset(), ZIM_SetQuality(ZIM_DefaultQuality); }
    void TearDown() override { ZIM_SetQuality(ZIM_DefaultQuality), FormatTest::TearDown(); }

    std::vector<std::string> Save(int (*save)(LPCSTR, HGLOBAL, WORD, WORD, WORD), const std::string& path, HGLOBAL dib,
                                  WORD color, WORD depth, int* result = nullptr)
    {
        HDL_ClearBoxes();
        int r = save(path.c_str(), dib, color, 1, depth);
        if (result) *result = r;
        return BoxTexts();
    }
};

// Two 16 x 16 blocks of one colour each: decoded back within the rounding of
// the colour conversion (one step each way), whatever the quality.
TEST_F(Jpeg, ColourAndGrayImagesRoundTrip)
{
    std::string path = TempPath("round.jpg");
    Bytes row;
    for (int x = 0; x < 32; x++) {
        if (x < 16) row.insert(row.end(), {40, 60, 200});   // blue, green, red
        else row.insert(row.end(), {220, 180, 30});
    }
    HGLOBAL colour = DibFromRows(32, 16, 24, {}, {row});
    int result = 0;
    EXPECT_TRUE(Save(JPG_Save, path, colour, 1, 24, &result).empty());
    ASSERT_EQ(1, result);
    Loaded l;
    Load(path, l);
    ASSERT_EQ(1, l.result);
    EXPECT_TRUE(l.texts.empty());
    EXPECT_EQ("24 32 16 0", std::to_string(l.h.biBitCount) + " " + std::to_string(l.h.biWidth) + " " +
                                std::to_string(l.h.biHeight) + " " + std::to_string(l.h.biClrUsed));
    for (LONG y = 0; y < 16; y++)
        for (LONG x = 0; x < 32; x++)
            for (int c = 0; c < 3 && (x < 15 || x > 16); c++)  // 15 and 16 share the blocks' chroma
                ASSERT_LE(std::abs(l.At(x, y)[c] - row[3 * x + c]), 2) << x << "," << y << "," << c;
    // Version 101 is JFIF 1.01.
    EXPECT_EQ("planes 1 gray 0 compressed 1 bits 24 version 101",
              InfoText({INF_PLANES, INF_GRAY, INF_COMPRESSED, INF_BITSPERPIXEL, INF_VERSION}));

    // Saved as gray, a pixel takes the luminance of its own red, green and
    // blue: 0.299 * 200 + 0.587 * 60 + 0.114 * 40 = 99.6.
    EXPECT_TRUE(Save(JPG_Save, path, colour, 0, 24, &result).empty());
    Loaded lum;
    Load(path, lum);
    ASSERT_EQ(1, lum.result);
    EXPECT_NEAR(100, lum.At(2, 2)[0], 3);

    // Gray levels in 8 x 8 blocks come back exactly at quality 100.
    std::vector<RGBQUAD> grays(256);
    for (int i = 0; i < 256; i++) grays[i] = {BYTE(i), BYTE(i), BYTE(i), 0};
    Bytes levels;
    for (int x = 0; x < 24; x++) levels.push_back(static_cast<unsigned char>(x < 8 ? 0 : x < 16 ? 77 : 255));
    HGLOBAL gray = DibFromRows(24, 8, 8, grays, {levels});
    ZIM_SetQuality(100);
    EXPECT_TRUE(Save(JPG_Save, path, gray, 0, 8, &result).empty());
    ASSERT_EQ(1, result);
    Loaded g;
    Load(path, g);
    ASSERT_EQ(1, g.result);
    EXPECT_EQ(8, g.h.biBitCount);
    EXPECT_EQ(256u, g.h.biClrUsed);
    for (int i = 0; i < 256; i++) EXPECT_EQ((Bytes{BYTE(i), BYTE(i), BYTE(i), 0}), Bytes(&g.table[4 * i], &g.table[4 * i + 4]));
    for (LONG x = 0; x < 24; x++) EXPECT_EQ(levels[x], g.At(x, 7)[0]) << x;
    EXPECT_EQ(1, INF_GetValue(INF_GRAY));
    EXPECT_EQ(8, INF_GetValue(INF_BITSPERPIXEL));
    GlobalFree(colour);
    GlobalFree(gray);
    remove(path.c_str());
}

TEST_F(Jpeg, EightBitColourIsExpandedAndGrayIsOneChannel)
{
    std::string path = TempPath("eight.jpg");
    std::vector<RGBQUAD> table(256, RGBQUAD{0, 0, 0, 0});
    table[1] = {0, 0, 255, 0};  // red
    table[2] = {255, 0, 0, 0};  // blue
    Bytes row(16, 1);
    for (int x = 8; x < 16; x++) row[x] = 2;
    HGLOBAL dib = DibFromRows(16, 16, 8, table, {row});
    ZIM_SetQuality(100);
    int result = 0;
    EXPECT_TRUE(Save(JPG_Save, path, dib, 1, 8, &result).empty());
    ASSERT_EQ(1, result);
    EXPECT_EQ(24, GetInfo(path).bits);
    Loaded l;
    Load(path, l);
    ASSERT_EQ(1, l.result);
    EXPECT_EQ(24, l.h.biBitCount);
    // Red and blue halves, within the colour conversion's rounding and the
    // shared chroma sample of the 16 x 16 block at its edge.
    EXPECT_GE(l.At(0, 0)[2], 200);
    EXPECT_LE(l.At(0, 0)[0], 60);
    EXPECT_GE(l.At(15, 15)[0], 200);
    EXPECT_LE(l.At(15, 15)[2], 60);
    // The same image saved as gray: one channel, the palette's gray levels.
    EXPECT_TRUE(Save(JPG_Save, path, dib, 0, 8, &result).empty());
    Info i = GetInfo(path);
    EXPECT_EQ(8, i.bits);
    EXPECT_EQ(0, i.chroma);
    Loaded g;
    Load(path, g);
    ASSERT_EQ(1, g.result);
    EXPECT_EQ(8, g.h.biBitCount);
    // red 0.30 * 255 = 76.5 -> 77; blue 0.11 * 255 = 28.05 -> 28.
    EXPECT_EQ(77, g.At(0, 0)[0]);
    EXPECT_EQ(28, g.At(15, 0)[0]);
    GlobalFree(dib);
    remove(path.c_str());
}

TEST_F(Jpeg, InfoEstimatesQualityFromTheQuantisationTables)
{
    std::string path = TempPath("info.jpg");
    Bytes row;
    for (int x = 0; x < 40; x++) row.insert(row.end(), {BYTE(x * 6), BYTE(255 - x * 6), BYTE(x * 3)});
    HGLOBAL dib = DibFromRows(40, 30, 24, {}, {row});
    // The quality of a save is the one set, 75 when none was.
    EXPECT_EQ(75, ZIM_GetQuality());
    for (int quality : {75, 1, 5, 25, 50, 90, 99, 100}) {
        ZIM_SetQuality(quality);
        int result = 0;
        Save(JPG_Save, path, dib, 1, 24, &result);
        ASSERT_EQ(1, result);
        // Subsampling 2 is 2 x 2, "4/1/1"; kind 1 is baseline.
        const std::string q = std::to_string(quality);
        EXPECT_EQ("ok 1 luma " + q + " chroma " + q + " subsampling 2 kind 1 bits 24 size " +
                      std::to_string(DIB_Stride(40, 24) * 30),
                  InfoLine(path));
    }
    ZIM_SetQuality(0);
    EXPECT_EQ(1, ZIM_GetQuality());
    ZIM_SetQuality(250);
    EXPECT_EQ(100, ZIM_GetQuality());

    // Files of other makers: 4:2:2, 4:4:4 progressive, gray.
    JpegParams params, progressive, grayParams;
    params.quality = progressive.quality = 60;
    params.vLuma = progressive.hLuma = progressive.vLuma = 1;
    progressive.progressive = true;
    grayParams.components = 1;
    grayParams.in = grayParams.file = JCS_GRAYSCALE;
    grayParams.quality = 30;
    grayParams.width = 13;
    for (const auto& c : {std::make_pair(params, "ok 1 luma 60 chroma 60 subsampling 1 kind 1 bits 24 size 768"),
                          std::make_pair(progressive, "ok 1 luma 60 chroma 60 subsampling 0 kind 2 bits 24 size 768"),
                          std::make_pair(grayParams, "ok 1 luma 30 chroma 0 subsampling 0 kind 1 bits 8 size 256")}) {
        WriteJpeg(path, c.first, Bytes(static_cast<size_t>(c.first.width * 16 * c.first.components), 90));
        EXPECT_EQ(c.second, InfoLine(path));
    }
    // Not a JPEG: nothing, and no message.
    ASSERT_TRUE(WriteWholeFile(path, Bytes(100, 0x41)));
    HDL_ClearBoxes();
    EXPECT_EQ(0, GetInfo(path).ok);
    EXPECT_TRUE(HDL_Boxes().empty());
    EXPECT_EQ(0, GetInfo(TempPath("absent.jpg")).ok);
    GlobalFree(dib);
    remove(path.c_str());
}

TEST_F(Jpeg, CommentIsThatOfTheLastLoad)
{
    std::string path = TempPath("comment.jpg");
    // A file without one leaves the comment empty, and so does a failed load (cut in half).
    const struct {
        std::vector<std::string> comments;
        bool cut;
        const char* comment;
    } cases[] = {{{"First line\nsecond", "Another segment"}, false, "First line\nsecond\r\nAnother segment"},
                 {{}, false, ""},
                 {{"kept"}, false, "kept"},
                 {{"kept"}, true, ""}};
    for (const auto& c : cases) {
        JpegParams params;
        params.comments = c.comments;
        WriteJpeg(path, params, Bytes(16 * 16 * 3, 50));
        Bytes file = ReadWholeFile(path);
        if (c.cut) ASSERT_TRUE(WriteWholeFile(path, Bytes(file.begin(), file.begin() + file.size() / 2)));
        Loaded l;
        Load(path, l);
        EXPECT_EQ(c.cut ? 0 : 1, l.result);
        EXPECT_STREQ(c.comment, ZIM_GetComment());
    }
    remove(path.c_str());
}

TEST_F(Jpeg, CmykAndYcckFilesAreConvertedToRgb)
{
    std::string path = TempPath("cmyk.jpg");
    // Stored ink values as Photoshop writes them (inverted): 200, 100, 50, 128.
    Bytes inks;
    for (int i = 0; i < 16 * 16; i++) inks.insert(inks.end(), {200, 100, 50, 128});
    JpegParams params;
    params.components = 4;
    params.in = JCS_CMYK;
    params.file = JCS_CMYK;
    WriteJpeg(path, params, inks);
    Loaded l;
    Load(path, l);
    ASSERT_EQ(1, l.result);
    EXPECT_EQ(24, l.h.biBitCount);
    // Red = 200 * 128 / 255 = 100.4, green 50.2, blue 25.1, rounded.
    for (LONG y = 0; y < 16; y++)
        for (LONG x = 0; x < 16; x++) ASSERT_EQ((Bytes{25, 50, 100}), Bytes(l.At(x, y), l.At(x, y) + 3)) << x << "," << y;
    EXPECT_EQ(0, INF_GetValue(INF_GRAY));
    // YCCK: the same inks through libjpeg's colour transform, within its rounding.
    params.file = JCS_YCCK;
    WriteJpeg(path, params, inks);
    Loaded y;
    Load(path, y);
    ASSERT_EQ(1, y.result);
    EXPECT_LE(std::abs(y.At(3, 3)[2] - 100), 2);
    EXPECT_LE(std::abs(y.At(3, 3)[1] - 50), 2);
    EXPECT_LE(std::abs(y.At(3, 3)[0] - 25), 2);
    remove(path.c_str());
}

TEST_F(Jpeg, DamagedFilesAreRefusedWithTheirMessage)
{
    std::string path = TempPath("damaged.jpg");
    Bytes samples;
    for (int i = 0; i < 64 * 64; i++) samples.insert(samples.end(), {BYTE(i * 7), BYTE(i / 3), BYTE(i)});
    JpegParams params;
    params.width = params.height = 64;
    params.quality = 90;
    WriteJpeg(path, params, samples);
    const Bytes good = ReadWholeFile(path);
    ASSERT_GT(good.size(), 1000u);

    struct Case {
        Bytes file;
        const char* text;  // none: the file loads
        const char* what;
    };
    // The file with bytes put at an offset from its SOF0 marker.
    auto atFrame = [&good](size_t offset, const Bytes& bytes) {
        Bytes file = good;
        for (size_t i = 0; i + offset + bytes.size() < file.size(); i++)
            if (file[i] == 0xFF && file[i + 1] == 0xC0) {
                std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<long>(i + offset));
                break;
            }
        return file;
    };
    // A progressive file, cut inside a scan and where its fourth scan begins.
    params.progressive = true;
    WriteJpeg(path, params, samples);
    const Bytes progressive = ReadWholeFile(path);
    size_t scans = 0, at = 0;
    for (size_t i = 0; i + 1 < progressive.size() && !at; i++)
        if (progressive[i] == 0xFF && progressive[i + 1] == 0xDA && ++scans == 4) at = i;
    ASSERT_GT(at, 0u);
    std::vector<Case> cases = {
        {Bytes(200, 0x42), kNotJpeg, "not a JPEG"},
        {Bytes(), kIncomplete, "empty"},
        {Bytes(good.begin(), good.begin() + good.size() / 2), kIncomplete, "cut in the middle of the scan"},
        // 12-bit samples this build doesn't read; 60000 x 60000.
        {atFrame(4, {12}), "Unsupported JPG format", "12-bit samples"},
        {atFrame(5, {0xEA, 0x60, 0xEA, 0x60}), "Not enough memory to load JPG image", "10 GB beyond the image limit"},
        {Bytes(progressive.begin(), progressive.begin() + progressive.size() * 2 / 3), kIncomplete, "progressive, cut in a scan"},
        {Bytes(progressive.begin(), progressive.begin() + at), kIncomplete, "progressive, later scans missing"},
        // Only the end marker missing: the image is all there.
        {Bytes(good.begin(), good.end() - 2), nullptr, "no end marker"},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(WriteWholeFile(path, c.file));
        Loaded l;
        Load(path, l);
        EXPECT_EQ(c.text ? 0 : 1, l.result) << c.what;
        EXPECT_EQ(c.text ? std::vector<std::string>{c.text} : std::vector<std::string>{}, l.texts) << c.what;
    }
    // A file that can't be opened fails silently, as with every reader.
    Loaded absent;
    Load(TempPath("absent.jpg"), absent);
    EXPECT_EQ(0, absent.result);
    EXPECT_TRUE(absent.texts.empty());
    remove(path.c_str());
}

TEST_F(Jpeg, PicAndKqpReadOnlyPlainJfifAndWriteIt)
{
    std::string pic = TempPath("image.pic");
    Bytes noise;
    for (int i = 0; i < 64 * 3; i++) noise.push_back(static_cast<unsigned char>(i * 97 % 251));
    HGLOBAL dib = DibFromRows(64, 64, 24, {}, {noise});
    int result = 0;
    EXPECT_TRUE(Save(PIC_Save, pic, dib, 1, 24, &result).empty());
    ASSERT_EQ(1, result);
    Bytes file = ReadWholeFile(pic);
    ASSERT_GT(file.size(), 11u);
    EXPECT_EQ((Bytes{0xFF, 0xD8, 0xFF, 0xE0}), Bytes(file.begin(), file.begin() + 4));
    EXPECT_EQ((Bytes{'J', 'F', 'I', 'F', 0}), Bytes(file.begin() + 6, file.begin() + 11));
    Loaded l;
    LoadWith(PIC_Load, pic, l);
    ASSERT_EQ(1, l.result);
    EXPECT_EQ(24, l.h.biBitCount);
    EXPECT_LE(std::abs(l.At(30, 30)[1] - noise[3 * 30 + 1]), 40);
    Loaded k;
    LoadWith(KQP_Load, pic, k);
    EXPECT_EQ(1, k.result);

    // A JPEG that doesn't begin with JFIF (here an Exif-style APP1 first) is
    // not plainly JFIF: refused, as is anything else.
    const unsigned char head[] = {0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x08, 'E', 'x', 'i', 'f', 0, 0};
    Bytes app1(head, head + sizeof head);
    app1.resize(sizeof head + file.size() - 2);
    std::copy(file.begin() + 2, file.end(), app1.begin() + sizeof head);
    ASSERT_TRUE(WriteWholeFile(pic, app1));
    Loaded jpg;
    Load(pic, jpg);
    EXPECT_EQ(1, jpg.result);  // the JPG row reads it
    // Refused: that file as PIC, anything else as KQP; the messages of the JPEG
    // layer name the row: a damaged JFIF file as PIC.
    const struct {
        int (*load)(LPCSTR, HGLOBAL*);
        Bytes file;
        const char* text;
    } refusals[] = {{PIC_Load, app1, "Illegal or Unsupported PIC file format"},
                    {KQP_Load, Bytes(64, 7), "Illegal or Unsupported KQP file format"},
                    {PIC_Load, Bytes(file.begin(), file.begin() + file.size() / 2), "Incomplete PIC file, cannot load"}};
    for (const auto& r : refusals) {
        ASSERT_TRUE(WriteWholeFile(pic, r.file));
        Loaded refused;
        LoadWith(r.load, pic, refused);
        EXPECT_EQ(0, refused.result);
        EXPECT_EQ(std::vector<std::string>{r.text}, refused.texts);
    }
    GlobalFree(dib);
    remove(pic.c_str());
}

TEST_F(Jpeg, DisplayCopyIsAFlatCutToTheDisplaysPalette)
{
    // Red, white, black, a dark gray: for 16 colours, 2 and 256.
    HGLOBAL dib = DibFromRows(4, 1, 24, {}, {{0, 0, 255, 255, 255, 255, 0, 0, 0, 40, 40, 40}});
    struct Case {
        int colours;
        int bits;
    };
    for (Case c : {Case{16, 4}, Case{4, 4}, Case{2, 1}, Case{1, 1}, Case{256, 8}, Case{8, 8}}) {
        HGLOBAL out = ZIM_ToDisplay(dib, c.colours, 0, nullptr);
        ASSERT_NE(nullptr, out) << c.colours;
        BITMAPINFOHEADER* h;
        RGBQUAD* table;
        BYTE* pixels;
        ASSERT_NE(nullptr, DIB_Lock(out, &h, &table, &pixels));
        EXPECT_EQ(c.bits, h->biBitCount) << c.colours;
        auto colourAt = [&](int x) {
            int index = c.bits == 8 ? pixels[x] : c.bits == 4 ? (pixels[x / 2] >> (x % 2 ? 0 : 4)) & 15 : (pixels[0] >> (7 - x)) & 1;
            return std::array<int, 3>{table[index].rgbRed, table[index].rgbGreen, table[index].rgbBlue};
        };
        // Red is dark for black and white (0.30 of full light).
        EXPECT_EQ(c.bits == 1 ? (std::array<int, 3>{0, 0, 0}) : (std::array<int, 3>{255, 0, 0}), colourAt(0)) << c.colours;
        EXPECT_EQ((std::array<int, 3>{255, 255, 255}), colourAt(1)) << c.colours;
        EXPECT_EQ((std::array<int, 3>{0, 0, 0}), colourAt(2)) << c.colours;
        if (c.bits == 4) {
            EXPECT_EQ((std::array<int, 3>{0, 0, 0}), colourAt(3));  // 40 is below the first gray
        }
        GlobalUnlock(out);
        GlobalFree(out);
    }
    // The source is left alone.
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    EXPECT_EQ(255, p[sizeof(BITMAPINFOHEADER) + 2]);
    GlobalUnlock(dib);
    GlobalFree(dib);
}

}  // namespace
