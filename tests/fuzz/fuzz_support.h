// Helpers of the fuzz targets: the readers take a file name, so each input is
// written to a scratch file of this process first.
#pragma once

#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>
#include <unistd.h>

// The scratch files made so far, removed when the process ends.
inline std::vector<std::string>& FuzzScratchFiles()
{
    static std::vector<std::string> files;
    return files;
}

inline void FuzzRemoveScratchFiles()
{
    for (const std::string& path : FuzzScratchFiles()) remove(path.c_str());
}

// A scratch path unique to this process, $TMPDIR (or /tmp)/kvfuzz_<pid>_<name>;
// the file is removed when the process ends.
inline std::string FuzzScratch(const char* name)
{
    const char* dir = getenv("TMPDIR");
    std::string path = std::string(dir && *dir ? dir : "/tmp") + "/kvfuzz_" + std::to_string(getpid()) + "_" + name;
    if (FuzzScratchFiles().empty()) atexit(FuzzRemoveScratchFiles);
    FuzzScratchFiles().push_back(path);
    return path;
}

// Writes the input to path; false when the file can't be made.
inline bool FuzzWriteInput(const std::string& path, const uint8_t* data, size_t size)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return false;
    fwrite(data, 1, size, f);
    fclose(f);
    return true;
}

// Once a process: the built-in formats registered, boxes not echoed, and no
// image block above 64 MiB, so that a hostile size is refused cheaply.
inline void FuzzStartOnce()
{
    static bool ready = false;
    if (ready) return;
    FMT_RegisterBuiltins();
    HDL_SetEcho(false);
    DIB_SetMemoryLimit(64ULL << 20);
    ready = true;
}
