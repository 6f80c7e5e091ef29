// The format table: every built-in row as registered, the handler tests, the
// filter lists, identification by file name and the format messages.
#include "cli/headless.h"
#include "core/messages.h"
#include "corpus_support.h"
#include "formats/format_table.h"
#include "formats/formats.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#ifdef _WIN32
#include <direct.h>
#define chdir _chdir
#define getcwd _getcwd
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

struct ExpectedRow {
    int* global;
    const char* extension;
    const char* description;
    DWORD kind;
    FMT_LoadProc load;
    FMT_SaveProc save;
    BYTE capability[6];
    LONG id;
};

const ExpectedRow kRows[] = {
    {&FMT_Row_Any, "*", "* - List all files", 1, FMT_AnyLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 3},
    {&FMT_Row_AVI, "AVI", "AVI- Video for Windows", 4, AVI_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 123},
    {&FMT_Row_BIT, "BIT", "BIT- Lotus Manuscript Format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 10},
    {&FMT_Row_BMP, "BMP", "BMP- Windows Bitmap", 1, BMP_Load, BMP_Save, {3, 1, 1, 0, 1, 1}, 9},
    {&FMT_Row_CLP, "CLP", "CLP- Clipboard", 1, CLP_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 22},
    {&FMT_Row_CUT, "CUT", "CUT- Dr. Halo Format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 26},
    {&FMT_Row_CVP, "CVP", "CVP- Kodak Color Video Printer Format", 1, FMT_StubLoad, FMT_StubSave, {0, 0, 0, 0, 1, 0}, 27},
    {&FMT_Row_DIB, "DIB", "DIB- Windows DIB", 1, BMP_Load, BMP_Save, {7, 5, 5, 0, 1, 1}, 31},
    {&FMT_Row_EPS, "EPS", "EPS- Encap. Postscript", 1, FMT_NoLoad, EPS_Save, {3, 3, 3, 0, 3, 0}, 38},
    {&FMT_Row_GEN, "GEN", "GEN- Generic Binary Format", 1, GEN_Load, GEN_Save, {0, 0, 0, 0, 3, 0}, 46},
    {&FMT_Row_GIF, "GIF", "GIF- Compuserve", 1, GIF_Load, GIF_Save, {9, 9, 9, 0, 0, 0}, 47},
    {&FMT_Row_HEX, "HEX", "HEX- Generic Ascii Format", 1, HEX_Load, HEX_Save, {2, 3, 3, 0, 3, 0}, 52},
    {&FMT_Row_ICO, "ICO", "ICO- Windows Icon", 1, ICO_Load, ICO_Save, {1, 1, 1, 0, 0, 0}, 54},
    {&FMT_Row_IFF, "IFF", "IFF- Amiga IFF", 1, IFF_Load, IFF_Save, {0, 0, 0, 0, 1, 0}, 55},
    {&FMT_Row_IMG, "IMG", "IMG- Aurora Format", 1, FMT_StubLoad, FMT_StubSave, {0, 0, 0, 0, 1, 0}, 7},
    {&FMT_Row_IMG_IRIS, "IMG", "IMG- DT-IRIS Format", 1, FMT_StubLoad, FMT_StubSave, {0, 0, 2, 0, 0, 0}, 34},
    {&FMT_Row_IMG_GEM, "IMG", "IMG- GEM Image Format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 58},
    {&FMT_Row_JPG, "JPG", "JPG- JPEG JFIF", 1, JPG_Load, JPG_Save, {0, 0, 11, 0, 9, 0}, 59},
    {&FMT_Row_PIC, "PIC", "PIC- Tolmera PIC", 1, PIC_Load, PIC_Save, {0, 0, 11, 0, 9, 0}, 32},
    {&FMT_Row_KQP, "KQP", "KQP- Konica KQP", 1, KQP_Load, KQP_Save, {0, 0, 11, 0, 9, 0}, 69},
    {&FMT_Row_LBM, "LBM", "LBM- Deluxe Paint Format", 1, IFF_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 61},
    {&FMT_Row_MCP, "MCP", "MCP- Macpaint Format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 65},
    {&FMT_Row_MID, "MID", "MID- MIDI Format", 16, MID_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 127},
    {&FMT_Row_MSP, "MSP", "MSP- Microsoft Paint Format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 70},
    {&FMT_Row_PCC, "PCC", "PCC- PC Paintbrush", 1, PCX_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 78},
    {&FMT_Row_PCX, "PCX", "PCX- PC Paintbrush", 1, PCX_Load, PCX_Save, {10, 11, 11, 0, 11, 0}, 81},
    {&FMT_Row_PCT, "PCT", "PCT- Macintosh Raster PICT", 1, PCT_Load, FMT_StubSave, {0, 0, 0, 0, 0, 0}, 75},
    {&FMT_Row_PPM, "PPM", "PPM- Portable PixMap", 1, PPM_Load, PPM_Save, {0, 0, 1, 0, 1, 0}, 88},
    {&FMT_Row_RAS, "RAS", "RAS- Sun Raster Format", 1, RAS_Load, RAS_Save, {2, 0, 3, 0, 3, 0}, 94},
    {&FMT_Row_RGB, "RGB", "RGB- Silicon Graphics image format", 1, SGI_Load, SGI_Save, {0, 0, 2, 0, 1, 0}, 98},
    {&FMT_Row_RLE, "RLE", "RLE- Compressed BMP", 1, BMP_Load, BMP_Save, {11, 11, 11, 0, 0, 0}, 101},
    {&FMT_Row_SVW, "SVW", "SVW- Super Video Windows format", 1, FMT_StubLoad, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 111},
    {&FMT_Row_TGA, "TGA", "TGA- Targa format", 1, TGA_Load, TGA_Save, {0, 0, 7, 5, 5, 5}, 112},
    {&FMT_Row_TIF, "TIF", "TIF- TIFF Format", 1, TIF_Load, TIF_Save, {5, 7, 7, 7, 7, 7}, 113},
    {&FMT_Row_WAV, "WAV", "WAV- Windows WAV Format", 8, WAV_Load, FMT_NoSave, {0, 0, 0, 0, 0, 0}, 126},
    {&FMT_Row_WPG, "WPG", "WPG- WordPerfect", 1, WPG_Load, WPG_Save, {11, 11, 11, 0, 0, 0}, 119},
};
const int kRowCount = sizeof kRows / sizeof kRows[0];

const char* const kReadable[] = {"*",   "AVI", "BMP", "CLP", "DIB", "GEN", "GIF", "HEX", "ICO",
                                 "IFF", "JPG", "PIC", "KQP", "LBM", "MID", "PCC", "PCX", "PCT",
                                 "PPM", "RAS", "RGB", "RLE", "TGA", "TIF", "WAV", "WPG"};
const char* const kWritable[] = {"BMP", "DIB", "EPS", "GEN", "GIF", "HEX", "ICO", "IFF", "JPG", "PIC",
                                 "KQP", "PCX", "PPM", "RAS", "RGB", "RLE", "TGA", "TIF", "WPG"};

const ExpectedRow& ByExtension(const char* extension)
{
    for (const ExpectedRow& r : kRows)
        if (strcmp(r.extension, extension) == 0) return r;
    return kRows[0];
}

// The filter list that the expected rows give, built from the table above.
std::string ExpectedFilter(const char* const* extensions, size_t count)
{
    std::string out;
    for (size_t i = 0; i < count; i++) {
        const ExpectedRow& r = ByExtension(extensions[i]);
        out += r.description;
        out += '\0';
        out += "*.";
        out += r.extension;
        out += '\0';
    }
    out += '\0';
    return out;
}

// Every test starts from the built-in table alone, and leaves it so.
class FormatTable : public ::testing::Test {
protected:
    void SetUp() override
    {
        FMT_Free();
        FMT_RegisterBuiltins();
        HDL_ClearBoxes();
        BAT_SetActive(0, 0);
        FIL_LoadRow = FMT_Row_Any;
    }
    void TearDown() override
    {
        FMT_Free();
        FMT_RegisterBuiltins();
        HDL_ClearBoxes();
    }
};

// A reader for an added row: records the current load format it runs under.
int loadRowSeen = -2;
int RecordingLoad(LPCSTR, HGLOBAL* dib)
{
    loadRowSeen = FIL_LoadRow;
    *dib = GlobalAlloc(GHND, 64);
    return 1;
}

}  // namespace

TEST_F(FormatTable, BuiltinRowsAreTheTableInOrder)
{
    ASSERT_EQ(kRowCount - 1, FMT_LastIndex());
    for (int i = 0; i < kRowCount; i++) {
        const ExpectedRow& e = kRows[i];
        SCOPED_TRACE(e.description);
        const FormatRow* r = FMT_GetRow(i);
        ASSERT_NE(nullptr, r);
        EXPECT_EQ(i, *e.global);
        EXPECT_EQ(static_cast<DWORD>(i), r->index);
        EXPECT_STREQ(e.extension, r->extension);
        EXPECT_STREQ(e.description, r->description);
        EXPECT_EQ(e.kind, r->kind);
        EXPECT_EQ(0, memcmp(e.capability, r->capability, 6));
        EXPECT_EQ(e.id, r->id);
        EXPECT_TRUE(e.load == r->load);
        EXPECT_TRUE(e.save == r->save);
        EXPECT_TRUE(r->validate == FMT_AcceptAll);
        EXPECT_EQ(nullptr, r->module);

        char text[128];
        FMT_GetExtension(i, text);
        EXPECT_STREQ(e.extension, text);
        FMT_GetDescription(i, text);
        EXPECT_STREQ(e.description, text);
        EXPECT_EQ(e.kind, FMT_GetKind(i));
        EXPECT_EQ(e.id, FMT_GetId(i));
        for (int d = 0; d < 6; d++) EXPECT_EQ(e.capability[d], FMT_GetCapability(i, d)) << d;
    }
    EXPECT_EQ(nullptr, FMT_GetRow(kRowCount));
    EXPECT_EQ(nullptr, FMT_GetRow(-1));
    // Registering again adds nothing.
    FMT_RegisterBuiltins();
    EXPECT_EQ(kRowCount - 1, FMT_LastIndex());
}

TEST_F(FormatTable, HandlerTestsFollowTheEmptyHandlers)
{
    for (int i = 0; i < kRowCount; i++) {
        const ExpectedRow& e = kRows[i];
        SCOPED_TRACE(e.description);
        EXPECT_EQ(e.load != FMT_NoLoad, FMT_CanLoad(i) != 0);
        EXPECT_EQ(e.save != FMT_NoSave, FMT_CanSave(i) != 0);
        EXPECT_EQ(e.load == FMT_StubLoad, FMT_IsLoadStub(i) != 0);
        EXPECT_EQ(e.save == FMT_StubSave, FMT_IsSaveStub(i) != 0);
    }
    // The odd corners by name: EPS can't be read, a stub can be "read", PCT's save is a stub.
    EXPECT_FALSE(FMT_CanLoad(FMT_Row_EPS));
    EXPECT_TRUE(FMT_CanLoad(FMT_Row_CUT));
    EXPECT_TRUE(FMT_IsLoadStub(FMT_Row_CUT));
    EXPECT_TRUE(FMT_CanSave(FMT_Row_PCT));
    EXPECT_TRUE(FMT_IsSaveStub(FMT_Row_PCT));
    EXPECT_FALSE(FMT_CanSave(FMT_Row_LBM));
    EXPECT_FALSE(FMT_CanLoad(-1));
    EXPECT_FALSE(FMT_CanSave(kRowCount));
    EXPECT_FALSE(FMT_IsLoadStub(kRowCount));

    // Capability masks: PCX 1-bit is 10 (gray + inherent compression).
    EXPECT_TRUE(FMT_TestCapability(FMT_Row_PCX, DEPTH_1, CAP_COMPRESS_OPTIONAL | CAP_COMPRESS_INHERENT));
    EXPECT_FALSE(FMT_TestCapability(FMT_Row_PCX, DEPTH_1, CAP_COLOR));
    EXPECT_FALSE(FMT_TestCapability(FMT_Row_BMP, DEPTH_16, 0xFF));
    EXPECT_EQ(0, FMT_GetCapability(FMT_Row_TIF, 6));
    EXPECT_EQ(0, FMT_GetCapability(FMT_Row_TIF, -1));

    // Module rows: readable and no stub; a byte is sign-extended.
    const BYTE capability[6] = {0x80, 0, 0, 0, 1, 0};
    int row = FMT_Register(KIND_RASTER, "QQQ", "QQQ- Module", FMT_ModuleLoad, FMT_NoSave, FMT_ModuleAccept,
                           capability, nullptr, 500);
    EXPECT_EQ(kRowCount, row);
    EXPECT_TRUE(FMT_CanLoad(row));
    EXPECT_FALSE(FMT_IsLoadStub(row));
    EXPECT_FALSE(FMT_CanSave(row));
    EXPECT_EQ(-128, FMT_GetCapability(row, DEPTH_1));
    int bare = FMT_Register(KIND_RASTER, "QQR", "QQR", nullptr, nullptr, FMT_ModuleAccept, nullptr, nullptr, 501);
    EXPECT_FALSE(FMT_CanLoad(bare));
    EXPECT_FALSE(FMT_CanSave(bare));
    for (int d = 0; d < 6; d++) EXPECT_EQ(0, FMT_GetCapability(bare, d));
}

TEST_F(FormatTable, FilterListsHoldTheReadableAndWritableRowsInRowOrder)
{
    EXPECT_EQ(35u * 128u, FMT_FilterSize());

    std::vector<LONG> ids(64, -99);
    const size_t readable = sizeof kReadable / sizeof kReadable[0];
    ASSERT_EQ(readable, FMT_LoadFilter(nullptr, ids.data()));
    for (size_t i = 0; i < readable; i++) EXPECT_EQ(ByExtension(kReadable[i]).id, ids[i]) << kReadable[i];
    EXPECT_EQ(-99, ids[readable]);

    std::vector<char> buffer(FMT_FilterSize() + 16, '#');
    EXPECT_EQ(readable, FMT_LoadFilter(buffer.data(), nullptr));
    std::string expected = ExpectedFilter(kReadable, readable);
    ASSERT_EQ(expected, std::string(buffer.data(), expected.size()));
    EXPECT_EQ('#', buffer[expected.size()]);
    // The first two entries, byte for byte.
    static const char head[] = "* - List all files\0*.*\0AVI- Video for Windows\0*.AVI\0BMP";
    EXPECT_EQ(0, memcmp(head, buffer.data(), sizeof head - 1));

    const size_t writable = sizeof kWritable / sizeof kWritable[0];
    std::fill(ids.begin(), ids.end(), -99);
    std::fill(buffer.begin(), buffer.end(), '#');
    ASSERT_EQ(writable, FMT_SaveFilter(buffer.data(), ids.data()));
    for (size_t i = 0; i < writable; i++) EXPECT_EQ(ByExtension(kWritable[i]).id, ids[i]) << kWritable[i];
    expected = ExpectedFilter(kWritable, writable);
    ASSERT_EQ(expected, std::string(buffer.data(), expected.size()));
    EXPECT_EQ('#', buffer[expected.size()]);
    static const char tail[] = "WPG- WordPerfect\0*.WPG\0\0";
    EXPECT_EQ(0, memcmp(tail, buffer.data() + expected.size() - (sizeof tail - 1), sizeof tail - 1));
}

TEST_F(FormatTable, FileNamesResolveByTheLastDotOfThePath)
{
    EXPECT_EQ(-1, FMT_FromFileName("picture"));
    EXPECT_EQ(-1, FMT_FromFileName("picture."));
    EXPECT_EQ(-1, FMT_FromFileName(""));
    EXPECT_EQ(-1, FMT_FromFileName(nullptr));
    EXPECT_EQ(FMT_Row_GIF, FMT_FromFileName("picture.tar.gif"));
    EXPECT_EQ(FMT_Row_GIF, FMT_FromFileName("PICTURE.gIf"));
    EXPECT_EQ(-1, FMT_FromFileName("picture.gif.tar"));
    // The dot of a folder counts when the file has none: "V1\FILE" is no extension.
    EXPECT_EQ(-1, FMT_FromFileName("C:\\dir.v1\\file"));
    EXPECT_EQ(FMT_Row_TIF, FMT_FromFileName("C:\\dir.v1\\file.tif"));
    // The first of like extensions wins: IMG is Aurora's.
    EXPECT_EQ(14, FMT_FromFileName(".IMG"));
    EXPECT_EQ(FMT_Row_IMG, FMT_FromFileName("scan.img"));
    EXPECT_EQ(FMT_Row_CUT, FMT_FromFileName("old.CUT"));
    EXPECT_EQ(FMT_Row_LBM, FMT_FromFileName("a.lbm"));
    EXPECT_EQ(-1, FMT_FromFileName("a.gi"));
    EXPECT_EQ(-1, FMT_FromFileName("a.gifx"));
    std::string longName = "a." + std::string(5000, 'g');
    EXPECT_EQ(-1, FMT_FromFileName(longName.c_str()));

    EXPECT_EQ(FMT_Row_AVI, FMT_FromId(123));
    EXPECT_EQ(FMT_Row_IMG_IRIS, FMT_FromId(34));
    EXPECT_EQ(-1, FMT_FromId(999));
    EXPECT_EQ(FMT_Row_IMG, FMT_FromExtension("img"));
    EXPECT_EQ(FMT_Row_WPG, FMT_FromExtension("WpG"));
    EXPECT_EQ(-1, FMT_FromExtension("zzz"));
}

TEST_F(FormatTable, AnyRowReportsAnUnknownExtensionWithThePath)
{
    HGLOBAL dib = reinterpret_cast<HGLOBAL>(static_cast<intptr_t>(1));
    EXPECT_EQ(0, FMT_Load("photo.xyz", &dib, FMT_Row_Any));
    EXPECT_EQ(nullptr, dib);
    EXPECT_EQ(-1, FMT_FoundRow);
    EXPECT_EQ(FMT_Row_Any, FIL_LoadRow);
    ASSERT_EQ(1u, HDL_Boxes().size());
    EXPECT_EQ("Unsupported file type for image:photo.xyzcannot load.", HDL_Boxes()[0].text);
    EXPECT_EQ("", HDL_Boxes()[0].caption);
    EXPECT_EQ(MSG_ReportFlags, HDL_Boxes()[0].flags);

    // A path of any length is carried whole and safely.
    HDL_ClearBoxes();
    std::string path = std::string(3000, 'd') + "\\picture";
    EXPECT_EQ(0, FMT_AnyLoad(path.c_str(), &dib));
    ASSERT_EQ(1u, HDL_Boxes().size());
    EXPECT_EQ("Unsupported file type for image:" + path + "cannot load.", HDL_Boxes()[0].text);

    // A name ending in ".*" names this very row: unknown, not loaded through itself.
    HDL_ClearBoxes();
    EXPECT_EQ(0, FMT_AnyLoad("picture.*", &dib));
    ASSERT_EQ(1u, HDL_Boxes().size());
    EXPECT_EQ("Unsupported file type for image:picture.*cannot load.", HDL_Boxes()[0].text);
}

TEST_F(FormatTable, AnyRowLoadsThroughTheFoundRowAndComesBack)
{
    // A stub row matches by name and yields nothing, silently.
    HGLOBAL dib = nullptr;
    EXPECT_EQ(0, FMT_AnyLoad("old.CUT", &dib));
    EXPECT_EQ(nullptr, dib);
    EXPECT_EQ(FMT_Row_CUT, FMT_FoundRow);
    EXPECT_EQ(FMT_Row_Any, FIL_LoadRow);
    EXPECT_EQ(0, FMT_AnyLoad(".IMG", &dib));
    EXPECT_EQ(FMT_Row_IMG, FMT_FoundRow);
    EXPECT_TRUE(HDL_Boxes().empty());

    // A working row runs as the current load format, which is the "*" row again afterwards.
    int row = FMT_Register(KIND_RASTER, "KVT", "KVT- Test", RecordingLoad, FMT_NoSave, FMT_AcceptAll, nullptr,
                           nullptr, 900);
    loadRowSeen = -2;
    EXPECT_EQ(1, FMT_AnyLoad("dir.x/shot.Kvt", &dib));
    EXPECT_EQ(row, loadRowSeen);
    EXPECT_EQ(row, FMT_FoundRow);
    EXPECT_EQ(FMT_Row_Any, FIL_LoadRow);
    ASSERT_NE(nullptr, dib);
    EXPECT_EQ(64u, GlobalSize(dib));
    GlobalFree(dib);
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(FormatTable, FormatErrorPutsTheUpperCaseExtensionIntoTheText)
{
    FMT_FormatError(9478, FMT_Row_PCX);
    int row = FMT_Register(KIND_RASTER, "kvt", "kvt- lower", FMT_NoLoad, FMT_NoSave, FMT_AcceptAll, nullptr,
                           nullptr, 901);
    FMT_FormatError(9477, row);
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("Not a legal PCX file", HDL_Boxes()[0].text);
    EXPECT_EQ("", HDL_Boxes()[0].caption);
    EXPECT_EQ(MSG_ReportFlags, HDL_Boxes()[0].flags);
    EXPECT_EQ("Incomplete KVT file, cannot load", HDL_Boxes()[1].text);
    // The row itself keeps its extension as registered.
    EXPECT_STREQ("kvt", FMT_GetRow(row)->extension);
}

TEST_F(FormatTable, SaveRefusesADibAtADepthItsRowDoesNotList)
{
    // 2 bits are no row's depth, 24 not GIF's: an error and no file. 8 bits go into BMP.
    const std::string path = TempPath("depth_refused");
    for (int bits : {2, 24, 8}) {
        HGLOBAL dib = BlankDib(4, 2, bits, 0, bits <= 8 ? 1u << bits : 0);
        HDL_ClearBoxes();
        const bool listed = bits == 8;
        EXPECT_EQ(listed, FMT_Save(path.c_str(), dib, 1, 0, bits, bits == 24 ? FMT_Row_GIF : FMT_Row_BMP) != 0);
        EXPECT_EQ(listed, FileExists(path)) << bits;
        EXPECT_EQ(listed ? "" : "Internal error, cannot write file", HDL_Boxes().empty() ? "" : HDL_Boxes()[0].text);
        remove(path.c_str());
        GlobalFree(dib);
    }
}

TEST_F(FormatTable, RegisterKeepsTheModulesFullPathAndFreeEmptiesTheTable)
{
    std::string folder = TempPath("modules");
#ifdef _WIN32
    CreateDirectoryA(folder.c_str(), nullptr);
#else
    mkdir(folder.c_str(), 0700);
#endif
    ASSERT_TRUE(WriteWholeFile(folder + "/kvfmt.dll", {'M', 'Z'}));
    char before[1024], here[1024];
    ASSERT_NE(nullptr, getcwd(before, sizeof before));
    ASSERT_EQ(0, chdir(folder.c_str()));
    ASSERT_NE(nullptr, getcwd(here, sizeof here));
    const BYTE capability[6] = {1, 1, 1, 0, 1, 0};
    int row = FMT_Register(KIND_RASTER, "KVM", "KVM- Module", FMT_ModuleLoad, FMT_ModuleSave, FMT_ModuleAccept,
                           capability, "kvfmt.dll", 777);
    ASSERT_EQ(0, chdir(before));
#ifdef _WIN32
    std::string full = std::string(here) + "\\kvfmt.dll";
    EXPECT_EQ(0, lstrcmpiA(full.c_str(), FMT_GetModule(row))) << FMT_GetModule(row);
#else
    EXPECT_EQ(std::string(here) + "/kvfmt.dll", FMT_GetModule(row));
#endif
    EXPECT_EQ(nullptr, FMT_GetModule(FMT_Row_GIF));
    EXPECT_EQ(777, FMT_GetId(row));
    EXPECT_TRUE(FMT_CanSave(row));
    EXPECT_FALSE(FMT_IsSaveStub(row));
    // The new row is listed last, and earlier rows kept their numbers.
    std::vector<LONG> ids(64, 0);
    WORD n = FMT_SaveFilter(nullptr, ids.data());
    EXPECT_EQ(20, n);
    EXPECT_EQ(777, ids[n - 1]);
    EXPECT_EQ(FMT_Row_WPG, FMT_FromId(119));
    EXPECT_STREQ("GIF", FMT_GetRow(FMT_Row_GIF)->extension);
    remove((folder + "/kvfmt.dll").c_str());
#ifdef _WIN32
    RemoveDirectoryA(folder.c_str());
#else
    rmdir(folder.c_str());
#endif

    FMT_Free();
    EXPECT_EQ(-1, FMT_LastIndex());
    EXPECT_EQ(nullptr, FMT_GetRow(0));
    EXPECT_EQ(-1, FMT_FromFileName("a.gif"));
    EXPECT_EQ(0, FMT_LoadFilter(nullptr, nullptr));
    EXPECT_FALSE(FMT_CanLoad(0));
    FMT_RegisterBuiltins();
    EXPECT_EQ(kRowCount - 1, FMT_LastIndex());
    EXPECT_EQ(FMT_Row_GIF, FMT_FromFileName("a.gif"));
}
