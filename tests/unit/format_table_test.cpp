// The format table: every built-in row as registered (against a golden text),
// the handler tests, the filter lists, identification by file name and the
// format messages.
#include "corpus_support.h"
#include "formats/format_table.h"
#include "test_support.h"

#ifdef _WIN32
#include <direct.h>
#define chdir _chdir
#define getcwd _getcwd
#else
#endif

namespace {

const int kRowCount = 36;

// The built-in rows as tests/data/format_rows.txt gives them, one line each:
// index, extension, description, kind, capabilities, id, and whether the row
// loads and saves (none, stub or real).
std::vector<std::string> GoldenRows()
{
    std::vector<std::string> lines(1);
    for (unsigned char c : ReadWholeFile(DataPath("format_rows.txt"))) {
        if (c == '\n') lines.emplace_back();
        else lines.back() += static_cast<char>(c);
    }
    lines.pop_back();
    return lines;
}

// A row as such a line, read through the table's accessors.
std::string RowText(int i)
{
    char extension[128], description[128];
    FMT_GetExtension(i, extension);
    FMT_GetDescription(i, description);
    std::string caps;
    for (int d = 0; d < 6; d++) caps += (d ? "," : "") + std::to_string(FMT_GetCapability(i, d));
    const char* load = !FMT_CanLoad(i) ? "none" : FMT_IsLoadStub(i) ? "stub" : "real";
    const char* save = !FMT_CanSave(i) ? "none" : FMT_IsSaveStub(i) ? "stub" : "real";
    return std::to_string(i) + " " + extension + " \"" + description + "\" kind " + std::to_string(FMT_GetKind(i)) +
           " caps " + caps + " id " + std::to_string(FMT_GetId(i)) + " load " + load + " save " + save;
}

// The filter list and ids that the golden rows give: every row that really
// loads (or saves), in row order.
std::string ExpectedFilter(const char* kind, std::vector<LONG>& ids)
{
    std::string out;
    for (const std::string& line : GoldenRows()) {
        if (line.find(std::string(kind) + " real") == std::string::npos) continue;
        const size_t open = line.find('"') + 1, space = line.find(' ') + 1;
        out += line.substr(open, line.find('"', open) - open) + '\0' + "*." + line.substr(space, open - 2 - space) + '\0';
        ids.push_back(std::stol(line.substr(line.find(" id ") + 4)));
    }
    return out + '\0';
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

TEST_F(FormatTable, BuiltinRowsAreTheGoldenTableInOrder)
{
    const std::vector<std::string> golden = GoldenRows();
    ASSERT_EQ(static_cast<size_t>(kRowCount), golden.size());
    ASSERT_EQ(kRowCount - 1, FMT_LastIndex());
    for (int i = 0; i < kRowCount; i++) {
        EXPECT_EQ(golden[i], RowText(i));
        const FormatRow* r = FMT_GetRow(i);
        ASSERT_NE(nullptr, r);
        EXPECT_EQ(static_cast<DWORD>(i), r->index);
        EXPECT_TRUE(r->validate == FMT_AcceptAll);
        EXPECT_EQ(nullptr, r->module);
    }
    EXPECT_EQ(nullptr, FMT_GetRow(kRowCount));
    EXPECT_EQ(nullptr, FMT_GetRow(-1));
    // Registering again adds nothing.
    FMT_RegisterBuiltins();
    EXPECT_EQ(kRowCount - 1, FMT_LastIndex());
}

TEST_F(FormatTable, FilterListsHoldTheReadableAndWritableRowsInRowOrder)
{
    EXPECT_EQ(35u * 128u, FMT_FilterSize());
    for (const char* kind : {"load", "save"}) {
        std::vector<LONG> want, ids(64, -99);
        const std::string expected = ExpectedFilter(kind, want);
        std::vector<char> buffer(FMT_FilterSize() + 16, '#');
        const bool load = kind[0] == 'l';
        ASSERT_EQ(want.size(), load ? FMT_LoadFilter(buffer.data(), ids.data()) : FMT_SaveFilter(buffer.data(), ids.data()));
        EXPECT_EQ(want, std::vector<LONG>(ids.begin(), ids.begin() + want.size())) << kind;
        EXPECT_EQ(-99, ids[want.size()]);
        ASSERT_EQ(expected, std::string(buffer.data(), expected.size())) << kind;
        EXPECT_EQ('#', buffer[expected.size()]);
        // Without a buffer only the count comes back.
        EXPECT_EQ(want.size(), load ? FMT_LoadFilter(nullptr, nullptr) : FMT_SaveFilter(nullptr, nullptr));
    }
    // The first entries and the end, byte for byte.
    std::vector<LONG> ids;
    const std::string readable = ExpectedFilter("load", ids), writable = ExpectedFilter("save", ids);
    EXPECT_EQ(std::string("* - List all files\0*.*\0AVI- Video for Windows\0*.AVI\0BMP", 52), readable.substr(0, 52));
    EXPECT_EQ(std::string("WPG- WordPerfect\0*.WPG\0\0", 24), writable.substr(writable.size() - 24));
}

TEST_F(FormatTable, FileNamesResolveByTheLastDotOfThePath)
{
    const std::string longName = "a." + std::string(5000, 'g');
    EXPECT_EQ(-1, FMT_FromFileName(nullptr));
    // The dot of a folder counts when the file has none: "V1\FILE" is no
    // extension. The first of like extensions wins: IMG is Aurora's.
    const std::pair<const char*, int> names[] = {
        {"picture", -1}, {"picture.", -1}, {"", -1},
        {"picture.tar.gif", FMT_Row_GIF}, {"PICTURE.gIf", FMT_Row_GIF}, {"picture.gif.tar", -1},
        {"C:\\dir.v1\\file", -1}, {"C:\\dir.v1\\file.tif", FMT_Row_TIF}, {".IMG", 14},
        {"scan.img", FMT_Row_IMG}, {"old.CUT", FMT_Row_CUT}, {"a.lbm", FMT_Row_LBM},
        {"a.gi", -1}, {"a.gifx", -1}, {longName.c_str(), -1},
    };
    for (const auto& n : names) EXPECT_EQ(n.second, FMT_FromFileName(n.first)) << n.first;
    EXPECT_EQ(FMT_Row_AVI, FMT_FromId(123));
    EXPECT_EQ(FMT_Row_IMG_IRIS, FMT_FromId(34));
    EXPECT_EQ(-1, FMT_FromId(999));
    EXPECT_EQ(FMT_Row_IMG, FMT_FromExtension("img"));
    EXPECT_EQ(FMT_Row_WPG, FMT_FromExtension("WpG"));
    EXPECT_EQ(-1, FMT_FromExtension("zzz"));
}

TEST_F(FormatTable, AnyRowLoadsThroughTheFoundRowOrReportsAnUnknownExtension)
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

    // A stub row matches by name and yields nothing, silently.
    HDL_ClearBoxes();
    dib = nullptr;
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

    // A format message names the row by its extension in upper case.
    FMT_FormatError(9478, FMT_Row_PCX);
    row = FMT_Register(KIND_RASTER, "kvu", "kvu- lower", FMT_NoLoad, FMT_NoSave, FMT_AcceptAll, nullptr, nullptr, 901);
    FMT_FormatError(9477, row);
    ASSERT_EQ(2u, HDL_Boxes().size());
    EXPECT_EQ("Not a legal PCX file", HDL_Boxes()[0].text);
    EXPECT_EQ("", HDL_Boxes()[0].caption);
    EXPECT_EQ(MSG_ReportFlags, HDL_Boxes()[0].flags);
    EXPECT_EQ("Incomplete KVU file, cannot load", HDL_Boxes()[1].text);
    // The row itself keeps its extension as registered.
    EXPECT_STREQ("kvu", FMT_GetRow(row)->extension);
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
    MakeFolder(folder);
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
    // The new row is listed last, earlier rows keep their numbers; Free empties the table.
    std::vector<LONG> ids(64, 0);
    const WORD n = FMT_SaveFilter(nullptr, ids.data());
    remove((folder + "/kvfmt.dll").c_str());
    DropFolder(folder);
    std::string got = std::to_string(FMT_GetModule(FMT_Row_GIF) == nullptr) + std::to_string(FMT_GetId(row)) +
                      std::to_string(FMT_CanSave(row) && !FMT_IsSaveStub(row)) + " " + std::to_string(n) + " " +
                      std::to_string(ids[n - 1]) + " " + std::to_string(FMT_FromId(119) == FMT_Row_WPG) + " ";
    FMT_Free();
    got += std::to_string(FMT_LastIndex()) + std::to_string(FMT_GetRow(0) == nullptr) +
           std::to_string(FMT_FromFileName("a.gif")) + std::to_string(FMT_LoadFilter(nullptr, nullptr)) +
           std::to_string(FMT_CanLoad(0));
    FMT_RegisterBuiltins();
    EXPECT_EQ(got, "17771 20 777 1 -11-100");
    EXPECT_EQ(FMT_LastIndex(), kRowCount - 1);
    EXPECT_EQ(FMT_FromFileName("a.gif"), FMT_Row_GIF);
}
