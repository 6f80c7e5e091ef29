// Helpers shared by the unit tests: scratch files and the data folders.
#pragma once

#include "platform/win32.h"

#include <cstdio>
#include <string>
#include <vector>

#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

// A scratch path unique to this process, in the system's temporary folder.
inline std::string TempPath(const std::string& name)
{
#ifdef _WIN32
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    return std::string(dir) + "kvtest_" + std::to_string(GetCurrentProcessId()) + "_" + name;
#else
    const char* dir = getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/kvtest_" + std::to_string(getpid()) + "_" + name;
#endif
}

// The repository's test data and the corpus of files written by other programs.
inline std::string DataPath(const std::string& name) { return std::string(KV_SOURCE_DIR) + "/tests/data/" + name; }
inline std::string CorpusPath(const std::string& name) { return std::string(KV_SOURCE_DIR) + "/../shared/corpus/" + name; }

inline std::vector<unsigned char> ReadWholeFile(const std::string& path)
{
    std::vector<unsigned char> bytes;
    FILE* f = fopen(path.c_str(), "rb");
    if (!f) return bytes;
    unsigned char chunk[65536];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + got);
    fclose(f);
    return bytes;
}

inline bool WriteWholeFile(const std::string& path, const std::vector<unsigned char>& bytes)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = bytes.empty() || fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return fclose(f) == 0 && ok;
}

inline bool FileExists(const std::string& path)
{
    FILE* f = fopen(path.c_str(), "rb");
    if (f) fclose(f);
    return f != nullptr;
}

#ifndef _WIN32
// Runs save() with the files of this process limited to `bytes` (writes past
// it fail as on a full disk, without the signal) and returns its result.
template <class Save>
int UnderFileSizeLimit(rlim_t bytes, Save save)
{
    struct rlimit old;
    getrlimit(RLIMIT_FSIZE, &old);
    void (*previous)(int) = signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = {bytes, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    int result = save();
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, previous);
    return result;
}
#endif

#ifdef _WIN32
const char kFolderMark = '\\';
inline bool MakeFolder(const std::string& path) { return CreateDirectoryA(path.c_str(), nullptr) != 0; }
inline void DropFolder(const std::string& path) { RemoveDirectoryA(path.c_str()); }
#else
const char kFolderMark = '/';
inline bool MakeFolder(const std::string& path) { return mkdir(path.c_str(), 0700) == 0; }
inline void DropFolder(const std::string& path) { rmdir(path.c_str()); }
#endif

// A name of exactly length characters in a fresh tree of folders (parts of
// 150) under the temporary folder; nothing exists at it. The folders go with
// the object.
struct LongName {
    std::string name;
    std::vector<std::string> folders;
    explicit LongName(size_t length)
    {
        for (std::string at = TempPath("long"); MakeFolder(at); at += std::string(150, 'd')) {
            folders.push_back(at += kFolderMark);
            if (at.size() + 200 >= length) {
                name = at + std::string(length - at.size(), 'n');
                break;
            }
        }
    }
    ~LongName() { for (size_t i = folders.size(); i-- > 0;) DropFolder(folders[i]); }
};
