// What every reader or writer shares, over one table of them: inputs that
// once broke a reader and the seeds its fuzzer starts from (some broken on
// purpose); writes into no folder or onto a full disk.
#include <gtest/gtest.h>

#include "core/messages.h"
#include "corpus_support.h"
#include "formats/formats.h"
#include "test_support.h"

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

// Loaded with a sound header, or refused with no block and one message at most.
TEST(Readers, KeptCrashersAndFuzzSeedsLoadOrFailCleanly)
{
    for (const Reader& r : kReaders) {
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
    }
}

// A stop request (the user's, or a signal to the converter) ends a load that
// would succeed: no block and not a word.
TEST(Readers, AStopRequestEndsTheLoadSilently)
{
    for (const Reader& r : kReaders) {
        if (!r.stops) continue;
        int stopped = 0;
        for (const std::string& path : ReplayFilesIn(DataPath("../fuzz/seeds/") + r.name)) {
            HGLOBAL dib = nullptr;
            HDL_ClearBoxes();
            if (!r.load(path.c_str(), &dib) || !dib || !HDL_Boxes().empty()) {
                if (dib) GlobalFree(dib);
                continue;
            }
            GlobalFree(dib);
            dib = reinterpret_cast<HGLOBAL>(1);
            HDL_RequestStop(true);
            const int ok = r.load(path.c_str(), &dib);
            HDL_RequestStop(false);
            EXPECT_EQ(0, ok) << path;
            EXPECT_EQ(nullptr, dib) << path;
            EXPECT_TRUE(HDL_Boxes().empty()) << path;
            if (ok && dib) GlobalFree(dib);
            stopped++;
        }
        EXPECT_GT(stopped, 0) << r.name;
    }
}

struct FailedWrite {
    const char* name;
    int (*save)(LPCSTR, HGLOBAL, WORD, WORD, WORD);
    WORD bits, compressed;
    const char* noFolder;  // the message when the folder is missing; "" for none
    long limit;            // bytes the disk holds
    const char* fullDisk;  // the message when it is full
};

// Refused with its message and no file left behind, whichever step failed.
TEST(Writers, FailedWritesReportOnceAndLeaveNoFile)
{
    const char kOpen[] = "Cannot open output file, check disk space", kWrite[] = "Cannot write file, check disk space";
    const char kTgaWrite[] = "Cannot write file to disk, check disk space";
    const FailedWrite writes[] = {
        {"bmp", BMP_Save, 8, 0, kWrite, 4096, kWrite},
        {"gif", GIF_Save, 8, 0, "", 8, "Cannot write GIF header, check disk space"},
        {"gif", GIF_Save, 8, 0, "", 100, "Cannot write GIF palette, check disk space"},
        {"gif", GIF_Save, 8, 0, "", 5000, kWrite},
        {"pcx", PCX_Save, 24, 0, kOpen, 4096, kWrite},
        {"tga", TGA_Save, 24, 0, kOpen, 100000, kTgaWrite},
        {"tga", TGA_Save, 24, 1, kOpen, 100000, kTgaWrite},
        {"gen", GEN_Save, 24, 0, kOpen, 10, kWrite},
        {"wpg", WPG_Save, 8, 1, kOpen, 4096, kWrite},
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
        EXPECT_EQ(*w.noFolder ? std::vector<std::string>{w.noFolder} : std::vector<std::string>{}, BoxTexts());
        EXPECT_FALSE(FileExists(nowhere));
#ifndef _WIN32
        std::string path = TempPath(std::string("full.") + w.name);
        HDL_ClearBoxes();
        EXPECT_EQ(0, UnderFileSizeLimit(w.limit, [&] { return w.save(path.c_str(), dib, 1, w.compressed, w.bits); }));
        EXPECT_EQ(std::vector<std::string>{w.fullDisk}, BoxTexts());
        EXPECT_FALSE(FileExists(path));
#endif
        GlobalFree(dib);
    }
}

}  // namespace
