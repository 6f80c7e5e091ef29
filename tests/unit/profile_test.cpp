// The profile store: values by section and key that outlive their handle,
// integer reads that leave a default alone, and the store's physical form
// (the registry on Windows, a plain text file of sections elsewhere).
#include "platform/profile.h"
#include "scratch_store.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {
const char kVersion[] = "3.50";

std::string GetText(LPCSTR section, LPCSTR key, LPCSTR product = PRF_ProductName, LPCSTR version = kVersion)
{
    char buffer[256] = "<none>";
    HPROFILE p = PRF_Open(product, version, section);
    PRF_GetString(p, key, buffer, sizeof buffer);
    PRF_Close(p);
    return buffer;
}

int GetNumber(LPCSTR section, LPCSTR key, int fallback)
{
    int value = fallback;
    HPROFILE p = PRF_Open(PRF_ProductName, kVersion, section);
    PRF_GetInt(p, key, &value);
    PRF_Close(p);
    return value;
}

void PutText(LPCSTR section, LPCSTR key, LPCSTR text)
{
    HPROFILE p = PRF_Open(PRF_ProductName, kVersion, section);
    PRF_SetString(p, key, text, static_cast<int>(strlen(text)));
    PRF_Close(p);
}
}  // namespace

TEST(Profile, ValuesOutliveTheirHandle)
{
    ScratchStore store("values");
    HPROFILE p = PRF_OpenSection("Core");
    ASSERT_NE(nullptr, p);
    PRF_SetString(p, "name", "hello world", 5);
    PRF_SetInt(p, "count", -5);
    PRF_SetLong(p, "long", -2147483647L - 1);
    PRF_SetDword(p, "dword", 0xFFFFFFFFu);
    // A handle reads its own writes before it closes.
    int n = 0;
    PRF_GetInt(p, "count", &n);
    EXPECT_EQ(-5, n);
    PRF_Close(p);

    // Read back through a new handle: cut to the buffer, keys without regard to case,
    // integers at every width; a missing key leaves every target as it was.
    p = PRF_OpenSection("Core");
    std::string got;
    for (const char* key : {"name", "COUNT", "long", "dword", "absent"}) {
        char whole[32] = "keep", cut[3] = "k";
        int i = 77;
        DWORD d = 78;
        LONG l = 79;
        const int found = PRF_GetString(p, key, whole, sizeof whole) + PRF_GetString(p, key, cut, sizeof cut);
        PRF_GetInt(p, key, &i), PRF_GetDword(p, key, &d), PRF_GetLong(p, key, &l);
        got += std::string(key) + "=" + whole + "/" + cut + "/" + std::to_string(found) + "/" + std::to_string(i) +
               "/" + std::to_string(d) + "/" + std::to_string(l) + " ";
    }
    PRF_Close(p);
    EXPECT_EQ(got,
              "name=hello/he/2/77/78/79 COUNT=-5/-5/2/-5/4294967291/-5 "
              "long=-2147483648/-2/2/-2147483648/2147483648/-2147483648 "
              "dword=4294967295/42/2/-1/4294967295/-1 absent=keep/k/0/77/78/79 ");
}

TEST(Profile, SectionsHandlesAndDefaultsKeepApart)
{
    ScratchStore store("apart");
    // A default never replaces a value, not even an empty one (which reads as no number).
    HPROFILE p = PRF_OpenSection("Capture");
    PRF_SetInt(p, "mode", 4);
    PRF_AddDefault(p, "mode", 9);
    PRF_AddDefault(p, "hotkey", 122);
    PRF_SetString(p, "empty", "", 0);
    PRF_AddDefault(p, "empty", 5);
    PRF_Close(p);
    // Sections, products and versions are apart; section names match without regard to case.
    PutText("Core", "k", "1");
    PutText("Batch", "k", "2");
    // Handles open together keep each other's writes.
    HPROFILE a = PRF_OpenSection("Core"), b = PRF_OpenSection("Capture"), c = PRF_OpenSection("Core");
    PRF_SetInt(a, "x", 1), PRF_SetInt(b, "y", 2), PRF_SetInt(c, "z", 3);
    PRF_Close(a), PRF_Close(b), PRF_Close(c);
    const std::string got = std::to_string(GetNumber("Capture", "mode", -1)) + " " +
                            std::to_string(GetNumber("Capture", "hotkey", -1)) + " [" + GetText("Capture", "empty") +
                            "] " + std::to_string(GetNumber("Capture", "empty", -1)) + " " + GetText("Core", "k") +
                            " " + GetText("BATCH", "k") + " " + GetText("Capture", "k") + " " +
                            GetText("Core", "k", PRF_ProductName, "3.51") + " " + GetText("Core", "k", "Other") + " " +
                            std::to_string(GetNumber("Core", "x", 0) * 100 + GetNumber("Capture", "y", 0) * 10 +
                                           GetNumber("Core", "z", 0));
    EXPECT_EQ(got, "4 122 [] -1 1 2 <none> <none> <none> 123");
}

TEST(Profile, OnlyDecimalIntegersReadAsNumbers)
{
    ScratchStore store("numbers");
    const struct {
        const char* text;
        int expected;
    } cases[] = {
        {"12abc", 31}, {"", 31}, {"abc", 31}, {"0x10", 31}, {"1 2", 31}, {"-", 31},
        {"99999999999", 31}, {"-2147483649", 31}, {" 42 ", 42}, {"+7", 7}, {"-0", 0},
        {"-2147483648", INT_MIN}, {"2147483647", INT_MAX}, {"4294967295", -1}, {"007", 7},
    };
    for (const auto& c : cases) {
        PutText("Core", "value", c.text);
        EXPECT_EQ(c.expected, GetNumber("Core", "value", 31)) << '"' << c.text << '"';
    }
}

#ifdef _WIN32
TEST(Profile, RegistryHoldsTheProgramsSectionsAsStrings)
{
    // The program's own place: HKCU\Software\Korvanta\3.50\Core, with a key of this test's own.
    std::string key = "kvtest_probe_" + std::to_string(GetCurrentProcessId());
    HPROFILE p = PRF_OpenSection("Core");
    ASSERT_NE(nullptr, p);
    PRF_SetString(p, key.c_str(), "17", 2);
    PRF_Close(p);
    HKEY core = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Korvanta\\3.50\\Core", 0,
                                           KEY_READ | KEY_WRITE, &core));
    char data[16] = {0};
    DWORD type = 0, size = sizeof data;
    EXPECT_EQ(ERROR_SUCCESS,
              RegQueryValueExA(core, key.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &size));
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), type);
    EXPECT_EQ(3u, size);
    EXPECT_STREQ("17", data);
    EXPECT_EQ(17, GetNumber("Core", key.c_str(), 0));

    // A DWORD value put there by hand reads as an integer and as text.
    DWORD raw = 4000000000u;
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueExA(core, key.c_str(), 0, REG_DWORD, reinterpret_cast<BYTE*>(&raw), 4));
    DWORD d = 0;
    p = PRF_OpenSection("Core");
    PRF_GetDword(p, key.c_str(), &d);
    PRF_Close(p);
    EXPECT_EQ(4000000000u, d);
    EXPECT_EQ("4000000000", GetText("Core", key.c_str()));
    // Stored text without its NUL still reads whole.
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueExA(core, key.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>("123"), 3));
    EXPECT_EQ("123", GetText("Core", key.c_str()));
    RegDeleteValueA(core, key.c_str());
    RegCloseKey(core);
}
#else
TEST(Profile, TextFileHoldsSectionsAndKeysAsPlainLines)
{
    ScratchStore store("form");
    PutText("Core", "dither_type", "5");
    PutText("Core", "FIL_FILENAME1", "/pics/a=b;[c]\\d\ne\tf\x01");
    PutText("Odd]Section", "key=with;", "v");
    std::vector<unsigned char> bytes = ReadWholeFile(store.File());
    EXPECT_EQ("; Korvanta 3.50\n"
              "[Core]\n"
              "dither_type=5\n"
              "FIL_FILENAME1=/pics/a\\=b\\;\\[c\\]\\\\d\\ne\\tf\\x01\n"
              "[Odd\\]Section]\n"
              "key\\=with\\;=v\n",
              std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ("/pics/a=b;[c]\\d\ne\tf\x01", GetText("Core", "FIL_FILENAME1"));
    EXPECT_EQ("v", GetText("Odd]Section", "key=with;"));
    // Opening a section creates it, as the registry creates a key.
    HPROFILE p = PRF_OpenSection("Batch");
    PRF_Close(p);
    bytes = ReadWholeFile(store.File());
    std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ("[Batch]\n", text.substr(text.size() - 8));
    // No temporary file is left beside the store.
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(store.Root() + "/korvanta"),
                               std::filesystem::directory_iterator()));
}

TEST(Profile, TextFileReaderSurvivesWhatAHandEditLeaves)
{
    ScratchStore store("hand");
    std::filesystem::create_directories(store.Root() + "/korvanta");
    ASSERT_TRUE(WriteWholeFile(store.File(), [] {
        std::string s = "orphan=1\r\n"
                        "; comment=2\r\n"
                        "[Core\r\n"
                        "lost=3\r\n"
                        "[core]\r\n"
                        "no equals sign\r\n"
                        "a=1\r\n"
                        "a=2\r\n"
                        "bad=\\x4\\q\\\r\n"
                        "[Other]\n"
                        "a=9\n"
                        "[CORE]\n"
                        "b=7";
        return std::vector<unsigned char>(s.begin(), s.end());
    }()));
    auto values = [] {
        std::string text;
        for (const char* key : {"orphan", "lost", "; comment", "a", "bad", "b", "c"}) text += GetText("Core", key) + " ";
        return text + GetText("Other", "a");
    };
    EXPECT_EQ("<none> <none> <none> 2 x4q\\ 7 <none> 9", values());
    // A write keeps every other value of the file.
    PutText("Core", "c", "8");
    EXPECT_EQ("<none> <none> <none> 2 x4q\\ 7 8 9", values());
}

TEST(Profile, EnvironmentNamesTheFolderOfTheStore)
{
    std::string folder = TempPath("env_store");
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    const char* old = getenv("KORVANTA_PROFILE");
    std::string saved = old ? old : "";
    PRF_SetLocation(nullptr);
    setenv("KORVANTA_PROFILE", folder.c_str(), 1);
    PutText("Core", "k", "42");
    EXPECT_TRUE(FileExists(folder + "/korvanta/3.50.ini"));
    EXPECT_EQ(42, GetNumber("Core", "k", 0));
    if (old) setenv("KORVANTA_PROFILE", saved.c_str(), 1);
    else unsetenv("KORVANTA_PROFILE");
    std::filesystem::remove_all(folder, ignored);
}

TEST(Profile, StoreThatCantBeReadIsNeitherReadNorOverwritten)
{
    ScratchStore store("unreadable");
    // The store's path is a folder: nothing reads from it, nothing replaces it.
    std::filesystem::create_directories(store.File());
    PutText("Core", "k", "1");
    EXPECT_EQ(-3, GetNumber("Core", "k", -3));
    EXPECT_TRUE(std::filesystem::is_directory(store.File()));
}
#endif
