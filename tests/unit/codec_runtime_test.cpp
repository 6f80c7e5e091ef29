// The codec runtime: the plain file wrappers with their read-error flag, and
// the buffered file at its edges.
#include "formats/codec_runtime.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {
std::vector<unsigned char> Bytes(std::initializer_list<unsigned char> list) { return list; }

std::vector<unsigned char> Counting(int n)
{
    std::vector<unsigned char> bytes;
    for (int i = 0; i < n; i++) bytes.push_back(static_cast<unsigned char>(i));
    return bytes;
}
}  // namespace

TEST(CodecRuntime, PlainReadsFlagAShortReadAndKeepWhatWasThere)
{
    std::string path = TempPath("plain_reads.bin");
    ASSERT_TRUE(WriteWholeFile(path, Bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x00, 0x00, 0x80, 0x3F, 0x99})));
    HFILE f = _lopen(path.c_str(), OF_READ);
    ASSERT_NE(HFILE_ERROR, f);
    EXPECT_EQ(12u, FIL_Size(f));
    // Each value read, in hex, and the flag after it.
    std::string trace;
    auto log = [&trace](unsigned long v) {
        char text[32];
        snprintf(text, sizeof text, "%lx/%d ", v, FIL_GetReadError());
        trace += text;
    };
    FIL_SetReadError(0);
    log(FIL_ReadWord(f)), log(FIL_ReadLong(f)), log(FIL_ReadByte(f)), log(static_cast<unsigned long>(FIL_ReadFloat(f)));
    // One byte left: a word takes it as its low byte and raises the flag.
    log(FIL_ReadWord(f));
    FIL_SetReadError(0);
    log(FIL_ReadByte(f));
    FIL_SetReadError(0);
    log(FIL_ReadLong(f));
    // The flag stays until a reader resets it.
    log(FIL_ReadBlock(f, nullptr, 100));
    FIL_SetReadError(0);
    log(FIL_ReadBlock(f, nullptr, 100));
    _llseek(f, 8, FILE_BEGIN);
    unsigned char block[8] = {0};
    log(FIL_ReadBlock(f, block, 8)), log(block[1]);
    EXPECT_EQ("2211/0 66554433/0 77/0 1/0 99/1 0/1 0/1 1/1 1/0 0/1 80/1 ", trace);
    _lclose(f);
    FIL_SetReadError(0);
    EXPECT_EQ(12u, FIL_SizeByName(path.c_str()));
    FIL_Remove(path.c_str());
    EXPECT_FALSE(FileExists(path));
    EXPECT_EQ(0u, FIL_SizeByName(path.c_str()));
}

TEST(CodecRuntime, BufferedReadStopsExactlyAtTheEnd)
{
    std::string path = TempPath("buffered_read.bin");
    ASSERT_TRUE(WriteWholeFile(path, Counting(10)));
    unsigned char got[16];
    std::string trace;
    auto log = [&trace](long v) { trace += std::to_string(v) + " "; };
    auto read = [&](size_t n) {
        memset(got, 0xEE, sizeof got);
        const size_t r = FIL_ReadBuffered(got, n);
        // The bytes read, or the first one of the buffer when none was.
        const size_t shown = std::max<size_t>(r, 1);
        trace += std::to_string(r) + "[";
        for (size_t i = 0; i < shown; i++) trace += std::to_string(got[i]) + (i + 1 < shown ? "," : "] ");
    };
    // A buffer of 4: three read, then five across it (one from the buffer, four
    // straight from the file), one byte; two asked with one there fail as a whole;
    // single bytes past the end come as 0 and are counted. Seeking refills.
    ASSERT_GT(FIL_OpenBuffered(path.c_str(), FIL_BUFFER_READ, 4), 0);
    read(3), log(FIL_TellBuffered()), read(5), log(FIL_TellBuffered()), log(FIL_GetBuffered()), log(FIL_TellBuffered());
    read(2), log(FIL_BufferedOverrun()), log(FIL_GetBuffered()), log(FIL_GetBuffered()), log(FIL_BufferedOverrun());
    log(FIL_TellBuffered()), read(1), log(FIL_SeekBuffered(2, FILE_BEGIN)), log(FIL_GetBuffered()), log(FIL_TellBuffered());
    read(4), log(FIL_SeekBuffered(-1, FILE_END)), log(FIL_GetBuffered()), log(FIL_CloseBuffered());
    EXPECT_EQ("3[0,1,2] 3 5[3,4,5,6,7] 8 8 9 0[9] 0 0 0 2 10 0[238] 2 2 3 4[3,4,5,6] 9 9 1 ", trace);
    // Size 0 reads the whole file at once; the overrun count starts afresh.
    trace.clear();
    ASSERT_GT(FIL_OpenBuffered(path.c_str(), FIL_BUFFER_READ, 0), 0);
    log(FIL_BufferedOverrun()), read(10), log(FIL_GetBuffered()), log(FIL_BufferedOverrun()), log(FIL_CloseBuffered());
    // An empty file: nothing to read from the first byte on.
    ASSERT_TRUE(WriteWholeFile(path, {}));
    ASSERT_GT(FIL_OpenBuffered(path.c_str(), FIL_BUFFER_READ, 0), 0);
    read(1), log(FIL_GetBuffered()), log(FIL_BufferedOverrun()), log(FIL_CloseBuffered());
    EXPECT_EQ("0 10[0,1,2,3,4,5,6,7,8,9] 0 1 1 0[238] 0 1 1 ", trace);
    remove(path.c_str());

    // A file that can't be opened is -1; nothing stays open.
    EXPECT_EQ(HFILE_ERROR, FIL_OpenBuffered(TempPath("missing/none.bin").c_str(), FIL_BUFFER_READ, 0));
    EXPECT_EQ(0, FIL_CloseBuffered());
}

TEST(CodecRuntime, BufferedWriteFlushesWhenFullAndAtClose)
{
    std::string path = TempPath("buffered_write.bin");
    std::string trace;
    auto log = [&trace](long v) { trace += std::to_string(v) + " "; };
    auto size = [&path] { return static_cast<long>(FIL_SizeByName(path.c_str())); };
    // A buffer of 4: three and one held, the fifth byte flushes them; more than
    // the buffer holds goes out at once, behind what was held.
    ASSERT_GT(FIL_OpenBuffered(path.c_str(), FIL_BUFFER_WRITE, 4), 0);
    log(FIL_WriteBuffered("abc", 3)), log(FIL_PutBuffered('d') != 0), log(size()), log(FIL_TellBuffered());
    log(FIL_PutBuffered('e') != 0), log(size()), log(FIL_TellBuffered()), log(FIL_WriteBuffered("0123456789", 10));
    log(size()), log(FIL_WriteBuffered("XY", 2)), log(FIL_TellBuffered()), log(FIL_CloseBuffered());
    EXPECT_EQ("3 1 0 4 1 4 5 10 15 2 17 1 ", trace);
    std::vector<unsigned char> bytes = ReadWholeFile(path);
    EXPECT_EQ("abcde0123456789XY", std::string(bytes.begin(), bytes.end()));
    remove(path.c_str());

    EXPECT_EQ(HFILE_ERROR, FIL_OpenBuffered(TempPath("missing/none.bin").c_str(), FIL_BUFFER_WRITE, 0));
#ifndef _WIN32
    // A buffer that can't be had gives 0 (native blocks stop below 2 GB),
    // and the file just created is gone again.
    EXPECT_EQ(0, FIL_OpenBuffered(path.c_str(), FIL_BUFFER_WRITE, 0x80000000U));
    EXPECT_FALSE(FileExists(path));
#endif
}

TEST(CodecRuntime, NamesAreTakenWholeOrRefusedBeforeAnyFileIsTouched)
{
    // The longest name that fits, and one character more whose cut it is.
    LongName limit(FIL_NameRoom - 1);
    const char* at = limit.name.c_str();
    const std::string over = limit.name + "Z";
    FILE* s = FIL_OpenStream(at, "wb");
    ASSERT_NE(nullptr, s);
    fputs("kept", s);
    fclose(s);
    EXPECT_EQ(4u, FIL_SizeByName(at));

    EXPECT_EQ(nullptr, FIL_OpenStream(over.c_str(), "wb"));
    EXPECT_EQ(HFILE_ERROR, FIL_OpenBuffered(over.c_str(), FIL_BUFFER_WRITE, 0));
    EXPECT_EQ(HFILE_ERROR, FIL_Create(over.c_str()));
    EXPECT_EQ(HFILE_ERROR, FIL_OpenBuffered(over.c_str(), FIL_BUFFER_READ, 0));
    FIL_Remove(over.c_str());
    EXPECT_EQ((std::vector<unsigned char>{'k', 'e', 'p', 't'}), ReadWholeFile(at));
    EXPECT_FALSE(FileExists(over));
    FIL_Remove(at);
    EXPECT_FALSE(FileExists(at));
}
