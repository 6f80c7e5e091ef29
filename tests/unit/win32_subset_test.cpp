// The Win32 subset behaves as Windows does: these tests run natively against
// platform/posix and, unchanged, under Wine against the real API.
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Win32Subset, MoveableBlocksZeroGrowAndCountLocks)
{
    HGLOBAL h = GlobalAlloc(GHND, 100);
    ASSERT_NE(nullptr, h);
    EXPECT_EQ(100u, GlobalSize(h));
    BYTE* p = static_cast<BYTE*>(GlobalLock(h));
    ASSERT_NE(nullptr, p);
    for (int i = 0; i < 100; i++) ASSERT_EQ(0, p[i]) << i;
    memset(p, 0xAB, 100);
    // Locks nest: the first unlock leaves the block locked.
    ASSERT_NE(nullptr, GlobalLock(h));
    EXPECT_TRUE(GlobalUnlock(h));
    EXPECT_FALSE(GlobalUnlock(h));

    HGLOBAL g = GlobalReAlloc(h, 5000, GMEM_MOVEABLE | GMEM_ZEROINIT);
    ASSERT_NE(nullptr, g);
    EXPECT_GE(GlobalSize(g), 5000u);
    p = static_cast<BYTE*>(GlobalLock(g));
    EXPECT_EQ(0xAB, p[0]);
    EXPECT_EQ(0xAB, p[99]);
    EXPECT_EQ(0, p[100]);
    EXPECT_EQ(0, p[4999]);
    GlobalUnlock(g);
    g = GlobalReAlloc(g, 10, GMEM_MOVEABLE);
    ASSERT_NE(nullptr, g);
    p = static_cast<BYTE*>(GlobalLock(g));
    EXPECT_EQ(0xAB, p[9]);
    GlobalUnlock(g);
    EXPECT_EQ(nullptr, GlobalFree(g));
}

TEST(Win32Subset, FileCallsReadWriteSeekAndStopAtTheEnd)
{
    std::string path = TempPath("files.bin");
    HFILE f = _lcreat(path.c_str(), 0);
    ASSERT_NE(HFILE_ERROR, f);
    EXPECT_EQ(10u, _lwrite(f, "0123456789", 10));
    EXPECT_EQ(5L, _hwrite(f, "abcde", 5));
    EXPECT_EQ(0, _lclose(f));

    f = _lopen(path.c_str(), OF_READ);
    ASSERT_NE(HFILE_ERROR, f);
    EXPECT_EQ(15, _llseek(f, 0, FILE_END));
    EXPECT_EQ(8, _llseek(f, 8, FILE_BEGIN));
    char buf[32] = {};
    // A read past the end gives what is there and then 0, not an error.
    EXPECT_EQ(7u, _lread(f, buf, 20));
    EXPECT_STREQ("89abcde", buf);
    EXPECT_EQ(0u, _lread(f, buf, 20));
    EXPECT_EQ(10, _llseek(f, -5, FILE_END));
    EXPECT_EQ(2L, _hread(f, buf, 2));
    EXPECT_EQ(0, memcmp(buf, "ab", 2));
    _lclose(f);

    EXPECT_EQ(HFILE_ERROR, _lopen((path + ".missing").c_str(), OF_READ));
    DeleteFileA(path.c_str());
}

TEST(Win32Subset, OpenFileTellsExistenceFullPathAndErrors)
{
    std::string path = TempPath("openfile.txt");
    OFSTRUCT of;
    HFILE f = OpenFile(path.c_str(), &of, OF_CREATE | OF_WRITE);
    ASSERT_NE(HFILE_ERROR, f);
    _lwrite(f, "xyz", 3);
    _lclose(f);

    memset(&of, 0x55, sizeof of);
    EXPECT_NE(HFILE_ERROR, OpenFile(path.c_str(), &of, OF_EXIST));
    std::string full = of.szPathName;
    std::string tail = path.substr(path.find_last_of("/\\") + 1);
    EXPECT_EQ(tail, full.substr(full.size() - tail.size()));
    EXPECT_NE(std::string::npos, full.find_first_of("/\\"));

    // OF_CREATE truncates an existing file.
    f = OpenFile(path.c_str(), &of, OF_CREATE | OF_WRITE);
    ASSERT_NE(HFILE_ERROR, f);
    _lclose(f);
    f = _lopen(path.c_str(), OF_READ);
    EXPECT_EQ(0, _llseek(f, 0, FILE_END));
    _lclose(f);

    EXPECT_NE(HFILE_ERROR, OpenFile(path.c_str(), &of, OF_DELETE));
    EXPECT_EQ(HFILE_ERROR, OpenFile(path.c_str(), &of, OF_EXIST));
    EXPECT_EQ(2, of.nErrCode);
}

TEST(Win32Subset, WsprintfFollowsWindowsConversions)
{
    char out[1100];
    EXPECT_EQ(4, wsprintfA(out, "%u.%0.2u", 3, 50));
    EXPECT_STREQ("3.50", out);
    wsprintfA(out, "%u.%0.2u", 3, 5);
    EXPECT_STREQ("3.05", out);
    wsprintfA(out, "[%5d][%-5d][%05d][%d]", 42, 42, -42, -2147483647 - 1);
    EXPECT_STREQ("[   42][42   ][-0042][-2147483648]", out);
    wsprintfA(out, "%x %X %#x %#X %lu %ld %c%c", 0xbeefu, 0xbeefu, 255u, 255u, 4000000000u, -7L, 'o', 'k');
    EXPECT_STREQ("beef BEEF 0xff 0XFF 4000000000 -7 ok", out);
    wsprintfA(out, "<%s><%.3s><%6s><%-6s>100%%", "text", "truncate", "ab", "ab");
    EXPECT_STREQ("<text><tru><    ab><ab    >100%", out);
    // Output stops at 1023 characters plus the terminator, and says 1024.
    std::string longText(2000, 'q');
    EXPECT_EQ(1024, wsprintfA(out, "%s", longText.c_str()));
    EXPECT_EQ(1023u, strlen(out));
}

TEST(Win32Subset, CharUpperBuffAndStringHelpers)
{
    char text[] = "abc /load x\xe9y";
    CharUpperBuffA(text, 6);
    EXPECT_STREQ("ABC /Load x\xe9y", text);
    CharUpperBuffA(text, static_cast<DWORD>(strlen(text)));
    EXPECT_STREQ("ABC /LOAD X\xc9Y", text);
    char small[4];
    lstrcpynA(small, "abcdef", 4);
    EXPECT_STREQ("abc", small);
    EXPECT_EQ(0, lstrcmpiA("Korvanta.BMP", "KORVANTA.bmp"));
    EXPECT_GT(0, lstrcmpiA("a.bmp", "b.bmp"));
}
