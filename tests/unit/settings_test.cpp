// Settings: the 26 keys, their load from and write to the profile store, the
// current formats they give, the Settings dialog's OK rules and the shell
// registration of the readable extensions.
#include "cli/headless.h"
#include "core/settings.h"
#include "formats/format_table.h"
#include "platform/profile.h"
#include "platform/shell_registration.h"
#include "scratch_store.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {
// Each key's number, its name in the store and its value at the first start.
struct ExpectedKey {
    int key;
    const char* name;
    LONG byDefault;
};
const ExpectedKey kKeys[] = {
    {0, "tif_1_bit_compression", 1}, {4, "tif_4_bit_compression", 1}, {8, "tif_8_bit_compression", 1},
    {12, "tif_16_bit_compression", 1}, {16, "tif_24_bit_compression", 1}, {20, "save_dither", 0},
    {24, "save_colorcut", 0}, {28, "save_warn_colorloss", 1}, {32, "pal_fastmatch", 1}, {36, "screen_bitmaps", 0},
    {40, "metafile_size", 100}, {44, "fast_dither", 1}, {48, "capture_key", 122}, {52, "keep_undo", 1},
    {56, "status_wnd", 3}, {60, "capture_mode", 514}, {64, "load_proc", -1}, {68, "save_proc", -1},
    {72, "startup", 0}, {76, "color_match", 1}, {80, "dither_type", 2}, {84, "metafile_pal", 0},
    {88, "capture_key_alt", 0}, {92, "capture_key_ctrl", 0}, {96, "alpha_display", 3}, {100, "want_thumbnail", 0},
};

// What the window side was handed.
std::vector<std::string> handed;
void RecordDisplay(int colorMatch, int alphaDisplay)
{
    handed.push_back("display " + std::to_string(colorMatch) + " " + std::to_string(alphaDisplay));
}
void RecordStatus(int mode) { handed.push_back("status " + std::to_string(mode)); }
const SettingsHooks kRecording = {RecordDisplay, RecordStatus};

void Store(const char* key, const char* text)
{
    HPROFILE p = PRF_OpenSection("Core");
    PRF_SetString(p, key, text, lstrlenA(text));
    PRF_Close(p);
}

// The keys of the table that the store holds, with their text.
std::vector<std::string> StoredKeys()
{
    std::vector<std::string> found;
    HPROFILE p = PRF_OpenSection("Core");
    for (const ExpectedKey& k : kKeys) {
        char text[64];
        if (PRF_GetString(p, k.name, text, sizeof text)) found.push_back(std::string(k.name) + "=" + text);
    }
    PRF_Close(p);
    return found;
}

// Choices that repeat every current value, as an OK without edits gives them.
SettingsChoices Unchanged()
{
    SettingsChoices c;
    c.screenBitmaps = SET_Value(SET_SCREEN_BITMAPS);
    c.statusWnd = SET_Value(SET_STATUS_WND);
    c.startup = SET_Value(SET_STARTUP);
    c.colorMatch = SET_Value(SET_COLOR_MATCH);
    c.ditherType = SET_Value(SET_DITHER_TYPE);
    c.alphaDisplay = SET_Value(SET_ALPHA_DISPLAY);
    for (int i = 0; i < 5; i++) c.tiff[i] = SET_Value(4 * i);
    c.keepUndo = SET_Value(SET_KEEP_UNDO);
    c.saveColorcut = SET_Value(SET_SAVE_COLORCUT);
    c.saveDither = SET_Value(SET_SAVE_DITHER);
    c.saveWarnColorloss = SET_Value(SET_SAVE_WARN_COLORLOSS);
    c.wantThumbnail = SET_Value(SET_WANT_THUMBNAIL);
    c.metafilePal = 0;
    c.metafileSize = 0;
    return c;
}

std::vector<int> ChangedKeys()
{
    std::vector<int> keys;
    for (const ExpectedKey& k : kKeys)
        if (SET_IsChanged(k.key)) keys.push_back(k.key);
    return keys;
}

class Settings : public ::testing::Test {
protected:
    void SetUp() override
    {
        FMT_RegisterBuiltins();
        SET_SetHooks(&kRecording);
        handed.clear();
        HDL_ClearBoxes();
    }
    void TearDown() override
    {
        SET_SetHooks(nullptr);
        SET_Reset();
    }
};
// The values of some keys, as one line.
std::string Values(std::initializer_list<int> keys)
{
    std::string line;
    for (int key : keys) line += (line.empty() ? "" : " ") + std::to_string(SET_Value(key));
    return line;
}
}  // namespace

// The key names and defaults are checked through the store and the first start.
TEST_F(Settings, PutsMarkNothingAndKeysOffTheGridAreRefused)
{
    ASSERT_EQ(26, SET_KeyCount);
    // Memory only: a put marks nothing; key numbers off the grid are refused.
    SET_Reset();
    SET_Put(SET_DITHER_TYPE, 6);
    EXPECT_EQ(6, SET_Value(SET_DITHER_TYPE));
    EXPECT_FALSE(SET_IsChanged(SET_DITHER_TYPE));
    LONG v = 55;
    EXPECT_FALSE(SET_Get(81, &v));
    EXPECT_FALSE(SET_Get(104, &v));
    EXPECT_FALSE(SET_Get(-4, &v));
    EXPECT_EQ(55, v);
    SET_Put(104, 9);
    SET_MarkChanged(SET_STARTUP, 1);
    EXPECT_TRUE(SET_IsChanged(SET_STARTUP));
}

TEST_F(Settings, FirstStartGivesEveryDefaultAndTheDibRow)
{
    ScratchStore store("first");
    for (const ExpectedKey& k : kKeys) {
        SET_Put(k.key, 12345);
        SET_MarkChanged(k.key, 1);
    }
    SET_Load();
    for (const ExpectedKey& k : kKeys) {
        EXPECT_EQ(k.byDefault, SET_Value(k.key)) << k.name;
        EXPECT_FALSE(SET_IsChanged(k.key)) << k.name;
    }
    EXPECT_EQ((std::vector<std::string>{"display 1 3", "status 3"}), handed);
    FIL_LoadRow = FIL_SaveRow = -5;
    SET_InitFormats();
    EXPECT_EQ(FMT_Row_DIB, FIL_LoadRow);
    EXPECT_EQ(FMT_Row_DIB, FIL_SaveRow);
    EXPECT_TRUE(StoredKeys().empty());
    EXPECT_TRUE(HDL_Boxes().empty());
#ifdef _WIN32
    EXPECT_STREQ("kv_unit_tests.exe", SET_ProgramFile());
#else
    EXPECT_STREQ("kv_unit_tests", SET_ProgramFile());
#endif
    EXPECT_NE('\0', SET_ProgramFolder()[0]);
}

TEST_F(Settings, UnusableFormatRowsFallBackToDib)
{
    ScratchStore store("formats");
    const struct {
        const char* load;
        const char* save;
        int loadRow;
        int saveRow;
    } cases[] = {
        {"35", "35", 35, 35},  // WPG, the last row, reads and writes
        {"36", "36", 7, 7},    // beyond the table
        {"8", "8", 7, 8},      // EPS writes but can't read
        {"4", "4", 4, 7},      // CLP reads but can't write
        {"5", "26", 5, 26},    // stubs count: CUT "reads", PCT "writes"
        {"-1", "-7", 7, 7},
        {"0", "0", 0, 7},      // the "*" row reads by extension and writes nothing
        {"x", "", 7, 7},       // no number: the default -1
    };
    for (const auto& c : cases) {
        Store("load_proc", c.load);
        Store("save_proc", c.save);
        SET_Load();
        SET_InitFormats();
        EXPECT_EQ(c.loadRow, FIL_LoadRow) << c.load;
        EXPECT_EQ(c.saveRow, FIL_SaveRow) << c.save;
    }
    EXPECT_TRUE(HDL_Boxes().empty());
}

TEST_F(Settings, StoredValuesLoadAndTiffZeroReadsAsOne)
{
    ScratchStore store("values");
    Store("tif_8_bit_compression", "0");
    Store("tif_24_bit_compression", "0");
    Store("tif_1_bit_compression", "4");
    Store("dither_type", "7");
    Store("capture_mode", "-3");
    Store("status_wnd", "1");
    Store("alpha_display", "0");
    Store("color_match", "0");
    Store("keep_undo", "not a number");
    SET_Load();
    EXPECT_EQ(Values({SET_TIF_8_BIT_COMPRESSION, SET_TIF_24_BIT_COMPRESSION, SET_TIF_1_BIT_COMPRESSION,
                      SET_DITHER_TYPE, SET_CAPTURE_MODE, SET_KEEP_UNDO}),
              "1 1 4 7 -3 1");
    EXPECT_TRUE(ChangedKeys().empty());
    EXPECT_EQ((std::vector<std::string>{"display 0 0", "status 1"}), handed);
    // The correction of 0 is made in memory only.
    SET_Save();
    HPROFILE p = PRF_OpenSection("Core");
    char text[16] = "";
    PRF_GetString(p, "tif_8_bit_compression", text, sizeof text);
    PRF_Close(p);
    EXPECT_STREQ("0", text);
}

TEST_F(Settings, SaveWritesExactlyTheChangedKeysAsDecimalText)
{
    ScratchStore store("save");
    SET_Load();
    SET_Put(SET_DITHER_TYPE, 5);
    SET_MarkChanged(SET_DITHER_TYPE, 1);
    SET_Put(SET_CAPTURE_MODE, -12);
    SET_MarkChanged(SET_CAPTURE_MODE, 1);
    SET_Put(SET_KEEP_UNDO, 0);  // put but not marked: stays out of the store
    SET_Save();
    EXPECT_EQ((std::vector<std::string>{"capture_mode=-12", "dither_type=5"}), StoredKeys());
    EXPECT_TRUE(ChangedKeys().empty());

    // Nothing marked: nothing written, even over a value changed behind its back.
    Store("dither_type", "6");
    SET_Save();
    EXPECT_EQ((std::vector<std::string>{"capture_mode=-12", "dither_type=6"}), StoredKeys());

    // The values come back at the next start.
    SET_Reset();
    SET_Load();
    EXPECT_EQ(Values({SET_DITHER_TYPE, SET_CAPTURE_MODE, SET_KEEP_UNDO}), "6 -12 1");
}

TEST_F(Settings, ShutdownWritesTheCurrentFormats)
{
    ScratchStore store("shutdown");
    SET_Load();
    FIL_LoadRow = FMT_Row_GIF;
    FIL_SaveRow = FMT_Row_TIF;
    SET_SaveFormats();
    EXPECT_EQ((std::vector<std::string>{"load_proc=10", "save_proc=33"}), StoredKeys());
    EXPECT_TRUE(ChangedKeys().empty());
    SET_Reset();
    SET_Load();
    FIL_LoadRow = FIL_SaveRow = -1;
    SET_InitFormats();
    EXPECT_EQ(FMT_Row_GIF, FIL_LoadRow);
    EXPECT_EQ(FMT_Row_TIF, FIL_SaveRow);
}

TEST_F(Settings, OkMarksOnlyWhatChangedAndKeepsTheMetafileRules)
{
    ScratchStore store("ok");
    SET_Load();
    SettingsChoices c = Unchanged();
    c.ditherType = 5;
    EXPECT_EQ(0, SET_ApplyChoices(&c));
    EXPECT_EQ(std::vector<int>{SET_DITHER_TYPE}, ChangedKeys());
    SET_Save();
    EXPECT_EQ(std::vector<std::string>{"dither_type=5"}, StoredKeys());

    // metafile_pal is read from a control the dialog lacks: an old 1 becomes 0.
    // metafile_size reads 0 there, which is ignored.
    SET_Put(SET_METAFILE_PAL, 1);
    SET_Put(SET_METAFILE_SIZE, 250);
    c = Unchanged();
    EXPECT_EQ(0, SET_ApplyChoices(&c));
    EXPECT_EQ(0, SET_Value(SET_METAFILE_PAL));
    EXPECT_EQ(250, SET_Value(SET_METAFILE_SIZE));
    EXPECT_EQ(std::vector<int>{SET_METAFILE_PAL}, ChangedKeys());
    c.metafileSize = 300;
    SET_ApplyChoices(&c);
    EXPECT_EQ(300, SET_Value(SET_METAFILE_SIZE));
    // Marked exactly when different: the earlier metafile_pal mark is gone.
    EXPECT_EQ(std::vector<int>{SET_METAFILE_SIZE}, ChangedKeys());

    // color_match and status_wnd say when they changed; nothing selected keeps a value.
    c = Unchanged();
    c.colorMatch = 0;
    EXPECT_EQ(SET_COLOR_MATCH_CHANGED, SET_ApplyChoices(&c));
    c.statusWnd = 1;
    EXPECT_EQ(SET_STATUS_WND_CHANGED, SET_ApplyChoices(&c));
    c = Unchanged();
    c.screenBitmaps = -1;
    c.tiff[2] = -1;
    c.alphaDisplay = -1;
    SET_Put(SET_TIF_8_BIT_COMPRESSION, 3);
    SET_ApplyChoices(&c);
    EXPECT_EQ(0, SET_Value(SET_SCREEN_BITMAPS));
    EXPECT_EQ(3, SET_Value(SET_TIF_8_BIT_COMPRESSION));
    EXPECT_EQ(3, SET_Value(SET_ALPHA_DISPLAY));
    c = Unchanged();
    c.saveColorcut = 1;
    c.tiff[0] = 4;
    c.wantThumbnail = 1;
    SET_ApplyChoices(&c);
    // metafile_size still carries its mark from above: an ignored value touches nothing.
    EXPECT_EQ((std::vector<int>{SET_TIF_1_BIT_COMPRESSION, SET_SAVE_COLORCUT, SET_METAFILE_SIZE, SET_WANT_THUMBNAIL}),
              ChangedKeys());
    EXPECT_EQ(4, SET_Value(SET_TIF_1_BIT_COMPRESSION));
}

TEST_F(Settings, ShellRegistrationTiesTheReadableExtensions)
{
    ScratchStore store("shell");
#ifdef _WIN32
    // An association the user already has is kept.
    HKEY bmp = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, (store.Root() + "\\Classes\\.bmp").c_str(), 0,
                                             nullptr, 0, KEY_WRITE, nullptr, &bmp, nullptr));
    RegSetValueExA(bmp, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>("Paint"), 6);
    RegCloseKey(bmp);
#endif
    SET_Load();
    SET_RegisterExtensions();
    EXPECT_STREQ("avi bmp clp dib gen gif hex ico iff jpg pic kqp lbm mid pcc pcx pct ppm ras rgb rle tga tif wav wpg",
                 REG_LastRegistered());
#ifdef _WIN32
    auto text = [&](const std::string& key, LPCSTR name) {
        char data[1024] = "<none>";
        DWORD size = sizeof data;
        HKEY k = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, (store.Root() + "\\Classes\\" + key).c_str(), 0, KEY_READ, &k) ==
            ERROR_SUCCESS) {
            // A value that is there but holds no bytes reads as "".
            if (RegQueryValueExA(k, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size) == ERROR_SUCCESS)
                data[size < sizeof data ? size : sizeof data - 1] = 0;
            RegCloseKey(k);
        }
        return std::string(data);
    };
    std::string path = std::string(SET_ProgramFolder()) + "\\" + SET_ProgramFile();
    // The program's class opens with this program; a readable extension points
    // at it unless the user's association is there; a stub row's is left alone.
    EXPECT_EQ("\"" + path + "\" %1 | Korvanta Paint  <none>",
              text("Korvanta\\shell\\open\\command", nullptr) + " | " + text(".gif", nullptr) + " " + text(".bmp", nullptr) +
                  " " + text(".bmp\\OpenWithProgids", "Korvanta") + " " + text(".cut", nullptr));
#endif
}
