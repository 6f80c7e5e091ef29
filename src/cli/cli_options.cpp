// kvconvert's option parser: long options with "=" or a separate value, short
// options with an attached or separate value, "--" ends the options.
#include "cli/cli_options.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

const char* const kDitherNames[] = {"halftone", "qvd-fast", "floyd-steinberg", "stucki", "burkes",
                                    "sierra",   "jarvis",   "stevenson-arce",  "floyd-noise"};

bool ParseInt(const std::string& text, int low, int high, int* value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    long v = strtol(text.c_str(), &end, 10);
    if (*end || v < low || v > high) return false;
    *value = static_cast<int>(v);
    return true;
}

bool IsDepth(int bits) { return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32; }

}  // namespace

int CLI_DitherIndex(const std::string& text)
{
    int n;
    if (ParseInt(text, 0, 8, &n)) return n;
    for (int i = 0; i < 9; i++)
        if (strcasecmp(text.c_str(), kDitherNames[i]) == 0) return i;
    return -1;
}

uint64_t CLI_ParseMemoryLimit(const std::string& text)
{
    const uint64_t largest = 2ULL << 30;  // the program's own image limit, which this only lowers
    size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') digits++;
    if (digits == 0 || digits > 12) return 0;
    std::string suffix = text.substr(digits);
    int shift = suffix.empty() ? 0 : suffix == "K" || suffix == "k" ? 10 : suffix == "M" || suffix == "m" ? 20
              : suffix == "G" || suffix == "g" ? 30 : -1;
    if (shift < 0) return 0;
    // Twelve digits times 2^30 stay inside 64 bits.
    uint64_t value = strtoull(text.substr(0, digits).c_str(), nullptr, 10) << shift;
    return value >= 1 && value <= largest ? value : 0;
}

int CLI_TiffCompressionIndex(const std::string& name)
{
    const char* const names[] = {"LZW", "PackBits", "RLE", "Group3", "Group4"};
    for (int i = 0; i < 5; i++)
        if (strcasecmp(name.c_str(), names[i]) == 0) return i;
    return -1;
}

int CLI_ParseOptions(int argc, char** argv, ConvertOptions* o, std::string* error)
{
    *o = ConvertOptions();
    bool optionsDone = false;
    for (int i = 1; i < argc; i++) {
        std::string arg = argv[i];
        if (optionsDone || arg.empty() || arg[0] != '-' || arg == "-") {
            o->inputs.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsDone = true;
            continue;
        }
        // Split "--name=value" and "-xVALUE".
        std::string name = arg, value;
        bool hasValue = false;
        if (arg.compare(0, 2, "--") == 0) {
            size_t eq = arg.find('=');
            if (eq != std::string::npos) {
                name = arg.substr(0, eq);
                value = arg.substr(eq + 1);
                hasValue = true;
            }
        } else if (arg.size() > 2) {
            name = arg.substr(0, 2);
            value = arg.substr(2);
            hasValue = true;
        }
        auto needValue = [&](std::string* out) {
            if (hasValue) {
                *out = value;
                return true;
            }
            if (i + 1 >= argc) {
                *error = "option " + name + " needs a value";
                return false;
            }
            *out = argv[++i];
            return true;
        };
        auto flag = [&]() {
            if (hasValue) *error = "option " + name + " takes no value";
            return !hasValue;
        };
        std::string v;
        if (name == "-o" || name == "--output") {
            if (!needValue(&o->output)) return 0;
        } else if (name == "-t" || name == "--to") {
            if (!needValue(&v)) return 0;
            if (!v.empty() && v[0] == '.') v.erase(0, 1);
            if (v.empty()) {
                *error = "--to needs a format extension";
                return 0;
            }
            o->to = v;
        } else if (name == "-d" || name == "--depth") {
            if (!needValue(&v)) return 0;
            if (!ParseInt(v, 1, 32, &o->depth) || !IsDepth(o->depth)) {
                *error = "--depth must be 1, 4, 8, 16, 24 or 32";
                return 0;
            }
        } else if (name == "--gray" || name == "--grey" || name == "--color" || name == "--colour") {
            if (!flag()) return 0;
            o->gray = name == "--gray" || name == "--grey";
        } else if (name == "--flat" || name == "--optimized") {
            if (!flag()) return 0;
            o->flat = name == "--flat";
        } else if (name == "--dither" || name == "--no-dither") {
            if (!flag()) return 0;
            o->dither = name == "--dither";
        } else if (name == "--dither-type") {
            if (!needValue(&v)) return 0;
            o->ditherType = CLI_DitherIndex(v);
            if (o->ditherType < 0) {
                *error = "unknown dither type '" + v + "'";
                return 0;
            }
        } else if (name == "--fast-dither") {
            if (!needValue(&v)) return 0;
            if (!ParseInt(v, 0, 1, &o->fastDither)) {
                *error = "--fast-dither must be 0 or 1";
                return 0;
            }
        } else if (name == "--compress" || name == "--no-compress") {
            if (!flag()) return 0;
            o->compress = name == "--compress" ? 1 : 0;
        } else if (name == "--tiff-compression") {
            if (!needValue(&v)) return 0;
            size_t eq = v.find('=');
            int bits = 0, index = -1;
            if (eq != std::string::npos && ParseInt(v.substr(0, eq), 1, 24, &bits))
                index = CLI_TiffCompressionIndex(v.substr(eq + 1));
            int slot = bits == 1 ? 0 : bits == 4 ? 1 : bits == 8 ? 2 : bits == 16 ? 3 : bits == 24 ? 4 : -1;
            // LZW can't be chosen; Group 3 and 4 only apply where the writer allows them.
            if (slot < 0 || index < 1) {
                *error = "--tiff-compression takes DEPTH=NAME: depth 1, 4, 8, 16 or 24; PackBits, RLE, Group3 or Group4";
                return 0;
            }
            o->tiffCompression[slot] = index;
        } else if (name == "--jpeg-quality") {
            if (!needValue(&v)) return 0;
            if (!ParseInt(v, 1, 100, &o->jpegQuality)) {
                *error = "--jpeg-quality must be 1 to 100";
                return 0;
            }
        } else if (name == "--limit-memory") {
            if (!needValue(&v)) return 0;
            o->memoryLimit = CLI_ParseMemoryLimit(v);
            if (!o->memoryLimit) {
                *error = "--limit-memory takes a size from 1 byte to 2G, with K, M or G for 1024, 1024^2, 1024^3";
                return 0;
            }
        } else if (name == "--yes" || name == "--no") {
            if (!flag()) return 0;
            o->answer = name == "--yes" ? 1 : -1;
        } else if (name == "--force") {
            if (!flag()) return 0;
            o->force = true;
        } else if (name == "-q" || name == "--quiet" || name == "--progress") {
            if (!flag()) return 0;
            o->progress = name == "--progress" ? 1 : 0;
        } else if (name == "-j" || name == "--jobs") {
            if (!needValue(&v)) return 0;
            if (!ParseInt(v, 1, 256, &o->jobs)) {
                *error = "--jobs must be 1 to 256";
                return 0;
            }
        } else if (name == "--files-from") {
            if (!needValue(&o->filesFrom)) return 0;
            if (o->filesFrom.empty()) {
                *error = "--files-from needs a file name, or - for standard input";
                return 0;
            }
        } else if (name == "--list-formats") {
            if (!flag()) return 0;
            o->listFormats = true;
        } else if (name == "--info") {
            if (!needValue(&o->info)) return 0;
        } else if (name == "--version") {
            if (!flag()) return 0;
            o->version = true;
        } else if (name == "-h" || name == "--help") {
            if (!flag()) return 0;
            o->help = true;
        } else {
            *error = "unknown option '" + arg + "'";
            return 0;
        }
        if (!error->empty()) return 0;
    }
    return 1;
}
