// kvconvert's command line: GNU-style options into one record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ConvertOptions {
    std::string output;           // -o: a file (one input) or a directory; empty = current directory
    std::string to;               // -t: output format by extension
    int depth = 0;                // -d: 1, 4, 8, 16, 24 or 32; 0 = CLI_DefaultDepth
    bool gray = false;            // --gray
    bool flat = false;            // --flat (else Optimized Cut)
    bool dither = true;           // --dither / --no-dither
    int ditherType = 2;           // --dither-type
    int fastDither = 1;           // --fast-dither
    int compress = -1;            // --compress 1, --no-compress 0, -1 = as the format says
    int tiffCompression[5] = {-1, -1, -1, -1, -1};  // --tiff-compression, by depth 1/4/8/16/24
    int jpegQuality = -1;         // --jpeg-quality
    uint64_t memoryLimit = 0;     // --limit-memory: bytes of one image at most; 0 = the default
    int answer = 0;               // --yes 1, --no -1, 0 = ask on a terminal, else no
    bool force = false;           // --force
    int progress = -1;            // --progress 1, -q 0, -1 = on a terminal
    int jobs = 0;                 // -j: files converted at once; 0 = the number of cores
    std::string filesFrom;        // --files-from: input names one a line; "-" = standard input
    bool listFormats = false;     // --list-formats
    std::string info;             // --info FILE
    bool version = false;
    bool help = false;
    std::vector<std::string> inputs;
};

// Parses argv; on a usage error returns 0 with the reason in error.
int CLI_ParseOptions(int argc, char** argv, ConvertOptions* options, std::string* error);

// The index of a dither by number or name (halftone, qvd-fast, floyd-steinberg,
// stucki, burkes, sierra, jarvis, stevenson-arce, floyd-noise), or -1.
int CLI_DitherIndex(const std::string& text);

// Bytes from a size with an optional K, M or G suffix (powers of 1024), if it
// is from 1 byte to 2G (the default image limit); otherwise 0.
uint64_t CLI_ParseMemoryLimit(const std::string& text);

// The TIFF compression list index of a name (PackBits 1, RLE 2, Group3 3, Group4 4), or -1.
int CLI_TiffCompressionIndex(const std::string& name);
