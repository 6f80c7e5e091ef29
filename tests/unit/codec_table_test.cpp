// What every reader or writer shares, over one table of them: the files of
// the shared corpus and of other writers against their reference decodes;
// inputs that once broke a reader and the seeds its fuzzer starts from (some
// broken on purpose); writes into no folder or onto a full disk.

#include "core/settings.h"
#include "corpus_support.h"
#include "formats/format_table.h"
#include "test_support.h"

#include <map>

namespace {

struct Reader {
    const char* name;  // the folder under crashers/ and the fuzz seeds
    int (*load)(LPCSTR, HGLOBAL*);
    size_t textsWhenLoaded;   // libtiff may warn about a file it still reads
    size_t textsWhenRefused;  // at least this many; one at most (a question answered No is silent)
    bool mayGiveNothing;      // a file without a picture loads as nothing
    bool stops;               // a stop request ends a load (the others only keep the window alive)
};

const Reader kReaders[] = {
    {"bmp", BMP_Load, 0, 1, false, false}, {"gif", GIF_Load, 0, 1, true, false}, {"jpeg", JPG_Load, 0, 1, false, false},
    {"pcx", PCX_Load, 0, 0, false, true},  {"tga", TGA_Load, 0, 0, false, true}, {"tiff", TIF_Load, 1, 0, false, false},
    {"sgi", SGI_Load, 0, 0, false, true},  {"ppm", PPM_Load, 0, 0, false, false}, {"ras", RAS_Load, 0, 0, false, true},
    {"gen", GEN_Load, 0, 0, false, false}, {"hex", HEX_Load, 0, 0, false, false},
    {"iff", IFF_Load, 0, 0, false, true},  {"pict", PCT_Load, 0, 1, false, false},
    {"wpg", WPG_Load, 0, 0, false, false}, {"clp", CLP_Load, 0, 0, false, false},
};

// The reader of each corpus folder.
int (*ReaderOf(const std::string& format))(LPCSTR, HGLOBAL*)
{
    const std::string name = format == "dib" ? "bmp" : format == "pnm" ? "ppm" : format;
    for (const Reader& r : kReaders)
        if (name == r.name) return r.load;
    return nullptr;
}

// The transparent index of a GIF's control block before its first image, or -1.
int TransparentIndex(const Bytes& f)
{
    if (f.size() < 13) return -1;
    size_t at = 13;
    if (f[10] & 0x80) at += 3u * (2u << (f[10] & 7));
    int index = -1;
    while (at + 1 < f.size() && f[at] == 0x21) {
        if (f[at + 1] == 0xF9 && at + 6 < f.size() && f[at + 2] == 4) index = (f[at + 3] & 1) ? f[at + 6] : -1;
        at += 2;
        while (at < f.size() && f[at] != 0) at += 1 + f[at];
        at++;
    }
    return index;
}

// The samples a load gave, brought into the reference's form by the outcome
// that names how our rules differ (see tests/data/corpus_outcomes.tsv).
Bytes AsTheReferenceSees(const LoadedDib& l, const std::string& outcome, const Bytes& file, bool alpha)
{
    Bytes s = ReferenceSamples(l.h, l.table, l.pixels, alpha);
    const size_t w = static_cast<size_t>(l.h.biWidth), h = static_cast<size_t>(l.h.biHeight), n = alpha ? 4 : 3;
    if (outcome == "transparent" && alpha) {
        const int transparent = TransparentIndex(file), bits = l.h.biBitCount;
        const size_t stride = DIB_Stride(l.h.biWidth, bits);
        for (size_t y = 0; y < h; y++)
            for (size_t x = 0; x < w; x++) {
                const BYTE b = l.pixels[(h - 1 - y) * stride + x * bits / 8];
                const int index = (b >> (8 - bits - x * bits % 8)) & ((1 << bits) - 1);
                s[(y * w + x) * 4 + 3] = index == transparent ? 0 : 255;
            }
    } else if (outcome == "top bits repeated") {
        for (BYTE& v : s) v = (v & 7) ? 0 : static_cast<BYTE>(v | v >> 5);
    } else if (outcome == "turned half round") {
        Bytes turned(s.size());
        for (size_t i = 0; i < w * h; i++) std::copy_n(&s[(w * h - 1 - i) * n], n, &turned[i * n]);
        s = turned;
    } else if (outcome == "red and blue exchanged") {
        for (size_t i = 0; i + 2 < s.size(); i += 3) std::swap(s[i], s[i + 2]);
    } else if (outcome == "16-bit samples") {
        for (size_t c = 0; c < 3; c++)
            for (size_t r = 0; r < h; r++)
                for (size_t i = 0, at = 512 + (r + c * h) * w * 2; i < w && at + i < file.size(); i++)
                    s[((h - 1 - r) * w + i) * 3 + c] ^= file[at + i];
    } else if (outcome == "16-bit run codes" && s.size() >= 3) {
        s[0] ^= 0x7D, s[1] ^= 0x7D, s[2] ^= 0x7D;
    }
    return s;
}

// Every corpus file loads to its reference or meets the outcome our rules
// give it; the files of other writers load to the decodes kept beside them.
TEST(Readers, CorpusFilesMeetTheirOutcomes)
{
    FMT_RegisterBuiltins();
    SET_Reset();
    BAT_SetActive(0, 0);
    std::map<std::string, std::string> outcomes;
    for (const std::vector<std::string>& cells : TsvLines(DataPath("corpus_outcomes.tsv")))
        outcomes[cells[0]] = cells.size() > 1 ? cells[1] : "";
    size_t checked = 0;
    for (const ManifestRow& row : Manifest("")) {
        if (!ReaderOf(row.format)) continue;
        SCOPED_TRACE(row.path);
        ASSERT_EQ(1u, outcomes.count(row.path));
        const std::string outcome = outcomes[row.path], word = outcome.substr(0, outcome.find(' '));
        const std::string text = outcome.find(' ') == std::string::npos ? "" : outcome.substr(outcome.find(' ') + 1);
        LoadedDib l;
        LoadWith(ReaderOf(row.format), CorpusPath(row.path), l);
        checked++;
        if (word == "refused" || word == "asks") {
            EXPECT_EQ(0, l.result);
            ASSERT_EQ(1u, l.texts.size());
            EXPECT_EQ(text.empty() ? l.texts[0] : text, l.texts[0]);
            if (word == "asks") {
                LoadedDib yes;
                HDL_QueueAnswer(IDYES);
                LoadWith(ReaderOf(row.format), CorpusPath(row.path), yes);
                EXPECT_EQ(1, yes.result);
            }
            continue;
        }
        ASSERT_EQ(1, l.result) << (l.texts.empty() ? "" : l.texts[0]);
        EXPECT_EQ(word == "warns" ? 1u : 0u, l.texts.size());
        if (word == "loads" || word == "warns") continue;
        const bool alpha = row.mode == "RGBA";
        const Bytes samples = AsTheReferenceSees(l, outcome, ReadWholeFile(CorpusPath(row.path)), alpha);
        if (word == "black" || word == "16-bit") EXPECT_EQ(Bytes(samples.size(), 0), samples);
        else EXPECT_EQ(row.columns[word == "column" ? std::stoul(text) : 4], Sha256(samples));
        if (word != "reference" && word != "column" && word != "black" && word != "transparent") {
            EXPECT_NE(Sha256(ReferenceSamples(l.dib, alpha)), row.reference);
        }
    }
    EXPECT_EQ(outcomes.size(), checked);
    for (const char* format : {"pcx", "tga"})
        // Each line: the file's name, the SHA-256 of its decode, RGB or RGBA.
        for (const std::vector<std::string>& row : TsvLines(DataPath(std::string(format) + "/expected.tsv"))) {
            SCOPED_TRACE(row[0]);
            ASSERT_GE(row.size(), 3u);
            LoadedDib l;
            LoadWith(ReaderOf(format), DataPath(std::string(format) + "/" + row[0]), l);
            ASSERT_EQ(1, l.result);
            EXPECT_TRUE(l.texts.empty());
            EXPECT_EQ(row[1], Sha256(ReferenceSamples(l.h, l.table, l.pixels, row[2] == "RGBA")));
        }
    SET_Reset();
}

// Loaded with a sound header, or refused with no block and one message at most.
// A stop request (the user's, or a signal to the converter) ends a load that
// would succeed: no block and not a word.
TEST(Readers, KeptCrashersAndFuzzSeedsLoadOrFailCleanly)
{
    for (const Reader& r : kReaders) {
        int stopped = 0;
        std::vector<std::string> files = ReplayFilesIn(DataPath("../fuzz/seeds/") + r.name);
        if (!FilesIn(DataPath("crashers/") + r.name).empty())
            for (const std::string& path : ReplayFilesIn(DataPath("crashers/") + r.name)) files.push_back(path);
        for (const std::string& path : files) {
            HDL_ClearBoxes();
            HGLOBAL dib = nullptr;
            const int ok = r.load(path.c_str(), &dib);
            const std::vector<std::string> texts = BoxTexts();
            if (ok && dib) {
                BITMAPINFOHEADER h;
                memcpy(&h, GlobalLock(dib), sizeof h);
                GlobalUnlock(dib);
                EXPECT_GT(h.biWidth, 0) << path;
                EXPECT_GT(h.biHeight, 0) << path;
                EXPECT_LE(texts.size(), r.textsWhenLoaded) << path;
                if (r.stops && texts.empty()) {
                    HGLOBAL none = reinterpret_cast<HGLOBAL>(1);
                    HDL_RequestStop(true);
                    EXPECT_EQ(0, r.load(path.c_str(), &none)) << path;
                    HDL_RequestStop(false);
                    EXPECT_EQ(nullptr, none) << path;
                    EXPECT_TRUE(HDL_Boxes().empty()) << path;
                    stopped++;
                }
            } else if (ok) {
                EXPECT_TRUE(r.mayGiveNothing) << path;
                EXPECT_TRUE(texts.empty()) << path;
            } else {
                EXPECT_EQ(nullptr, dib) << path;
                EXPECT_GE(texts.size(), r.textsWhenRefused) << path;
                EXPECT_LE(texts.size(), 1u) << path;
            }
            if (dib) GlobalFree(dib);
        }
        EXPECT_EQ(r.stops, stopped > 0) << r.name;
    }
}

// A picture at every depth each writable row lists, with and without
// compression as the row allows, saved through the table and read back: the
// same colours at every pixel. Runs and noise, so that run-length coders
// meet both; a gray table where the row holds only gray; black and white at
// one bit; channels of five bits where 16 bits are asked of a 24-bit image.
TEST(Writers, EveryRowReadsBackEveryDepthItLists)
{
    FMT_RegisterBuiltins();
    SET_Reset();
    BAT_SetActive(0, 0);
    const int depths[6] = {1, 4, 8, 16, 24, 32};
    int checked = 0;
    for (int row = 0; row <= FMT_LastIndex(); row++) {
        char extension[16];
        FMT_GetExtension(row, extension);
        // The lossless coders of our own; JPEG's and the icon's (sized to the icon) have tests of their own.
        if (std::string(" BMP DIB RLE GIF PCX TGA TIF PPM RAS RGB GEN HEX IFF LBM WPG ").find(" " + std::string(extension) + " ") ==
            std::string::npos)
            continue;
        for (int d = 0; d < 6; d++) {
            const int caps = FMT_GetCapability(row, d), bits = depths[d], dibBits = bits == 16 ? 24 : bits;
            if (!caps) continue;
            const WORD colour = caps & 1;
            std::vector<RGBQUAD> table(bits <= 8 ? 1u << bits : 0);
            uint32_t seed = 7u * row + bits;
            auto noise = [&] { return static_cast<BYTE>((seed = seed * 1103515245u + 12345u) >> 16); };
            for (size_t i = 0; i < table.size(); i++) {
                const BYTE v = static_cast<BYTE>(bits == 1 ? 255 * i : i * 255 / (table.size() - 1));
                table[i] = colour && bits > 1 ? RGBQUAD{noise(), noise(), noise(), 0} : RGBQUAD{v, v, v, 0};
            }
            std::vector<Bytes> rows;
            const BYTE mask = bits == 16 ? 0xF8 : 0xFF;
            for (int y = 0; y < 5; y++) {
                rows.emplace_back(DIB_Stride(37, dibBits), static_cast<BYTE>(y == 0 ? 0 : noise() & mask));
                for (size_t i = rows.back().size() / 2; i < rows.back().size(); i++) rows.back()[i] = noise() & mask;
            }
            for (WORD compressed : {0, 1}) {
                if ((compressed && !(caps & 12)) || (!compressed && (caps & 8))) continue;
                SCOPED_TRACE(std::string(extension) + " " + std::to_string(bits) + " bits, compressed " +
                             std::to_string(compressed));
                HGLOBAL dib = DibFromRows(37, 5, dibBits, table, rows), back = nullptr;
                const std::string path = TempPath(std::string("every_depth.") + extension);
                HDL_ClearBoxes();
                HDL_SetActiveBits(bits);
                EXPECT_EQ(1, FMT_Save(path.c_str(), dib, colour, compressed, static_cast<WORD>(bits), row));
                EXPECT_EQ(1, FMT_Load(path.c_str(), &back, row));
                EXPECT_EQ(ReferenceSamples(dib, false), ReferenceSamples(back, false));
                EXPECT_EQ(std::vector<std::string>{}, BoxTexts());
                GlobalFree(dib);
                if (back) GlobalFree(back);
                remove(path.c_str());
                checked++;
            }
        }
    }
    HDL_SetActiveBits(0);
    EXPECT_GE(checked, 40);
    SET_Reset();
}

struct FailedWrite {
    const char* name;
    int (*save)(LPCSTR, HGLOBAL, WORD, WORD, WORD);
    WORD bits, compressed;
    const char* noFolder;  // the message when the folder is missing; "" for none; none when not tried
    long limit;            // bytes the disk holds
    const char* fullDisk;  // the message when it is full; none when the disk is not tried
    const char* shortBlock;  // the message for a block shorter than its header says; none when not tried
};

// Refused with its message and no file left behind, whichever step failed.
TEST(Writers, FailedWritesReportOnceAndLeaveNoFile)
{
    const char kOpen[] = "Cannot open output file, check disk space", kWrite[] = "Cannot write file, check disk space";
    const char kTgaWrite[] = "Cannot write file to disk, check disk space";
    const FailedWrite writes[] = {
        {"bmp", BMP_Save, 8, 0, kWrite, 4096, kWrite, nullptr},
        {"gif", GIF_Save, 8, 0, "", 8, "Cannot write GIF header, check disk space", nullptr},
        {"gif", GIF_Save, 8, 0, "", 100, "Cannot write GIF palette, check disk space", nullptr},
        {"gif", GIF_Save, 8, 0, "", 5000, kWrite, nullptr},
        {"pcx", PCX_Save, 24, 0, kOpen, 4096, kWrite, nullptr},
        {"tga", TGA_Save, 24, 0, kOpen, 100000, kTgaWrite, nullptr},
        {"tga", TGA_Save, 24, 1, kOpen, 100000, kTgaWrite, nullptr},
        {"gen", GEN_Save, 24, 0, kOpen, 10, kWrite, nullptr},
        {"tif", TIF_Save, 24, 1, kOpen, 0, nullptr, "Unsupported TIF format"},
        {"jpg", JPG_Save, 24, 1, kOpen, 0, nullptr, "Unsupported JPG format"},
        {"hex", HEX_Save, 24, 0, nullptr, 100000, kWrite, nullptr},
        {"rgb", SGI_Save, 24, 0, nullptr, 100, "Cannot write file header, check disk space", nullptr},  // in the header
        {"rgb", SGI_Save, 24, 0, nullptr, 515, "Cannot write file header, check disk space", nullptr},  // in the pixels
        {"wpg", WPG_Save, 8, 1, kOpen, 4096, kWrite, nullptr},
        {"eps", EPS_Save, 8, 0, kOpen, 4096, kWrite, "Unsupported EPS format"},
    };
    // Noise, so that no run length coding makes the file small.
    std::vector<RGBQUAD> gray(256);
    for (int i = 0; i < 256; i++) gray[i] = {BYTE(i), BYTE(i), BYTE(i), 0};
    std::vector<Bytes> rows;
    uint32_t seed = 99;
    for (int y = 0; y < 300; y++) {
        rows.emplace_back(900);
        for (BYTE& b : rows.back()) b = static_cast<BYTE>((seed = seed * 1103515245u + 12345u) >> 16);
    }
    FMT_RegisterBuiltins();  // the messages name the format of the current row
    BAT_SetActive(0, 0);
    for (const FailedWrite& w : writes) {
        SCOPED_TRACE(std::string(w.name) + " " + std::to_string(w.limit));
        HGLOBAL dib = DibFromRows(300, 300, w.bits, w.bits == 8 ? gray : std::vector<RGBQUAD>{}, rows);
        std::string nowhere = TempPath("no_such_dir") + "/x." + w.name;
        HDL_ClearBoxes();
        EXPECT_EQ(0, w.save(nowhere.c_str(), dib, 1, w.compressed, w.bits));
        if (w.noFolder) {
            EXPECT_EQ(*w.noFolder ? std::vector<std::string>{w.noFolder} : std::vector<std::string>{}, BoxTexts());
        }
        EXPECT_FALSE(FileExists(nowhere));
        std::string path = TempPath(std::string("full.") + w.name);
#ifndef _WIN32
        HDL_ClearBoxes();
        if (w.fullDisk) {
            EXPECT_EQ(0, UnderFileSizeLimit(w.limit, [&] { return w.save(path.c_str(), dib, 1, w.compressed, w.bits); }));
            EXPECT_EQ(std::vector<std::string>{w.fullDisk}, BoxTexts());
        }
        EXPECT_FALSE(FileExists(path));
#endif
        if (w.shortBlock) {
            reinterpret_cast<BITMAPINFOHEADER*>(GlobalLock(dib))->biHeight = 5000;
            GlobalUnlock(dib);
            HDL_ClearBoxes();
            EXPECT_EQ(0, w.save(path.c_str(), dib, 1, w.compressed, w.bits));
            EXPECT_EQ(std::vector<std::string>{w.shortBlock}, BoxTexts());
            EXPECT_FALSE(FileExists(path));
        }
        GlobalFree(dib);
    }
}

}  // namespace
