// libtiff's conditions in the program's words.
//
// libtiff reports a failure through a handler with a module name and a
// printf-style format. The handler below never shows that text: it looks the
// format up in kConditions and reports the string id found there (class 2, so
// that a batch run offers "Cancel Batch?"). A row matches when its pattern is
// part of libtiff's format text (and, where a row names a field, when the
// formatted text names it too); the first matching row wins, so the narrow
// rows stand before the broad ones. Each row has the id used while reading and
// the id used while writing; 0 there means the phase's own fallback:
//
//   opening 6151 "Unknown Internal Error", reading 7683, setting tags 2063,
//   writing scanlines 9728, writing the directory 2076.
//
// Warnings are silent, except the ones that mean the data of a strip ran out
// before its rows did (a Group 3/4 strip that ends early): those are failures
// for this program, reported as "Incomplete TIFF file, cannot load".
#include "tiff/tiff_errors.h"

#include "core/messages.h"
#include "formats/codec_runtime.h"

#include <cstdio>
#include <cstring>

namespace {

// The module name under which the refusal of scheme 5 reports itself.
const char kLzwModule[] = "KvLZWRefused";

struct Condition {
    const char* pattern;  // part of libtiff's format text
    const char* field;    // part of the formatted text as well, or null
    UINT readId;
    UINT writeId;
};

// clang-format off
const Condition kConditions[] = {
    // Compression schemes: scheme 5 is refused by policy, schemes libtiff
    // lacks (the Windows build has no JPEG or Deflate codec) are unknown.
    {kLzwModule,                                  nullptr, 1537, 1537},
    {"decoding is not implemented",               nullptr, 1536, 1536},
    {"encoding is not implemented",               nullptr, 1536, 1536},
    {"support is not configured",                 nullptr, 1536, 1536},

    // The memory cap given at open time.
    {"byte limit defined in open options",        nullptr, 2060, 9729},

    // Opening and the header.
    {"Bad mode",                                  nullptr, 6151, 2063},
    {"Cannot open",                               nullptr, 6145, 8215},
    {"Out of memory (TIFF structure)",            nullptr, 6146, 6146},
    {"Cannot read TIFF header",                   nullptr, 6147, 6147},
    {"Error writing TIFF header",                 nullptr, 6148, 2073},
    {"bad magic number",                          nullptr, 6149, 6149},
    {"bad version number",                        nullptr, 6150, 6150},
    {"bad BigTIFF",                               nullptr, 6150, 6150},

    // Group 3/4 coding.
    {"Bits/sample must be 1",                     nullptr, 3585, 3585},
    {"No space for Group 3/4",                    nullptr, 3586, 3586},
    {"No space for state block",                  nullptr, 3586, 3586},
    {"Premature EOF",                             nullptr, 3584, 0},
    {"Bad code word",                             nullptr, 3589, 0},
    {"Uncompressed data (not supported)",         nullptr, 3589, 0},
    {"Fractional scanlines",                      nullptr, 3589, 0},
    {"Buffer overrun detected",                   nullptr, 3589, 0},
    {"Inconsistent number of bytes per row",      nullptr, 3589, 0},
    {"Row pixels integer overflow",               nullptr, 3589, 0},

    // Arithmetic on sizes that doesn't fit.
    {"Integer overflow",                          nullptr, 6152, 6152},
    {"integer overflow",                          nullptr, 6152, 6152},
    {"Invalid argument to _TIFFMultiplySSize",    nullptr, 6152, 6152},

    // PackBits data that ends before its rows.
    {"Not enough data for scanline",              nullptr, 6656, 0},

    // Directory reading.
    {"Seek error accessing TIFF directory",       nullptr, 2048, 2069},
    {"Can not read TIFF directory count",         nullptr, 2049, 2069},
    {"Sanity check on directory count",           nullptr, 2059, 2069},
    {"Can not read TIFF directory",               nullptr, 2051, 2069},
    {"Failed to allocate memory",                 nullptr, 2050, 2068},
    {"Out of memory reading of",                  nullptr, 2050, 2068},
    {"Failed to allocate space for list",         nullptr, 2050, 2068},
    {"Not enough memory",                         nullptr, 2050, 2068},
    {"Cannot allocate strip offset",              nullptr, 2053, 9729},
    {"Incompatible type for",                     nullptr, 2052, 2063},
    {"Invalid data type for tag",                 nullptr, 2052, 2063},
    {"Wrong data type",                           nullptr, 2052, 2063},
    {"Invalid type for [Strip|Tile]",             nullptr, 2052, 2063},
    {"Bad field type",                            nullptr, 2052, 2063},
    {"missing required",                          nullptr, 2054, 2063},
    {"Incorrect value for",                       nullptr, 2056, 2065},
    {"Sanity check on size of",                   nullptr, 2056, 2065},
    {"Sanity check on tag count",                 nullptr, 2056, 2069},
    {"Incorrect count for",                       nullptr, 2057, 2063},
    {"incorrect count for field",                 nullptr, 2057, 2063},
    {"Cannot handle different values per sample", nullptr, 2058, 2063},
    {"IO error during reading of",                nullptr, 2074, 2069},
    {"File too short",                            nullptr, 2077, 2069},
    {"Cannot read offset/size for strile",        nullptr, 2077, 2069},
    {"IFD loop",                                  nullptr, 2055, 2069},
    {"Failed to read directory at offset",        nullptr, 2055, 2069},
    {"Cannot handle more than",                   nullptr, 2055, 2069},
    {"Directory %u does not exist",               nullptr, 2055, 2069},

    // Field access.
    {"Bad value",                                 "SamplesPerPixel", 2064, 2064},
    {"Bad value",                                 nullptr, 2065, 2065},
    {"Bad LONG8",                                 nullptr, 2065, 2065},
    {"Bad SLONG8",                                nullptr, 2065, 2065},
    {"Null count for",                            nullptr, 2065, 2065},
    {"Too long string value",                     nullptr, 2065, 2065},
    {"Unknown %stag",                             nullptr, 2066, 2066},
    {"Invalid %stag",                             nullptr, 2066, 2066},
    {"Unknown tag",                               nullptr, 2066, 2066},
    {"Can not change",                            nullptr, 2062, 2063},
    {"Must set",                                  nullptr, 2062, 2063},
    {"Cannot modify tag",                         nullptr, 2062, 2063},
    {"Internal error",                            nullptr, 2062, 2063},

    // Strips and scanlines.
    {"Read error",                                nullptr, 2560, 9730},
    {"Seek error at",                             nullptr, 7684, 9730},
    {"Invalid strip byte count",                  nullptr, 7688, 9728},
    {"Too large strip byte count",                nullptr, 7688, 9728},
    {"tile byte count",                           nullptr, 7688, 9728},
    {"Data buffer too small",                     nullptr, 7690, 9728},
    {"Invalid buffer size",                       nullptr, 7690, 9728},
    {"Sample out of range",                       nullptr, 7682, 2064},
    {"Row out of range",                          nullptr, 7686, 2063},
    {"Strip out of range",                        nullptr, 7686, 2063},
    {"Tile out of range",                         nullptr, 7686, 2063},
    {"out of range",                              nullptr, 7686, 2063},
    {"does not support random access",            nullptr, 7686, 2063},
    {"Invalid td_samplesperpixel",                nullptr, 7682, 2064},
    {"Invalid YCbCr subsampling",                 nullptr, 7682, 2064},
    {"Computed scanline size is zero",            nullptr, 7681, 2065},
    {"Cannot handle zero",                        nullptr, 7681, 2065},
    {"Zero tiles",                                nullptr, 7681, 2065},
    {"Zero strips per image",                     nullptr, 7681, 2065},
    {"scanlines from a tiled image",              nullptr, 7685, 2063},
    {"tiles from a striped image",                nullptr, 7685, 2063},
    {"scanlines to a tiled image",                nullptr, 7685, 2063},
    {"File not open for reading",                 nullptr, 7691, 2063},
    {"File not open for writing",                 nullptr, 7691, 2063},
    {"Chunk size requested is larger",            nullptr, 7692, 9728},
    {"No space for strip buffer",                 nullptr, 7693, 9729},
    {"No space for data buffer",                  nullptr, 7693, 9729},
    {"No space for tile buffer",                  nullptr, 7693, 9729},
    {"access to raw",                             nullptr, 7694, 9728},

    // Writing.
    {"before directory write",                    nullptr, 2067, 2067},
    {"Out of memory",                             nullptr, 2060, 2068},
    {"IO error writing tag data",                 nullptr, 2072, 2072},
    {"Cannot write tag",                          nullptr, 2072, 2072},
    {"Error writing directory",                   nullptr, 2069, 2069},
    {"IO error writing directory",                nullptr, 2069, 2069},
    {"Can not write TIFF directory entry",        nullptr, 2069, 2069},
    {"Error updating TIFF header",                nullptr, 2073, 2073},
    {"Error writing SubIFD",                      nullptr, 2069, 2069},
    {"No space for output buffer",                nullptr, 9729, 9729},
    {"No space for %s arrays",                    nullptr, 9729, 9729},
    {"No space to expand strip arrays",           nullptr, 9729, 9729},
    {"Maximum TIFF file size exceeded",           nullptr, 9731, 9731},
    {"Write error",                               nullptr, 9731, 9731},
};
// clang-format on

UINT Fallback(int phase)
{
    switch (phase) {
    case TIF_PHASE_OPEN: return 6151;
    case TIF_PHASE_FIELDS: return 2063;
    case TIF_PHASE_WRITE: return 9728;
    case TIF_PHASE_CLOSE: return 2076;
    default: return 7683;
    }
}

int Writing(int phase) { return phase == TIF_PHASE_FIELDS || phase == TIF_PHASE_WRITE || phase == TIF_PHASE_CLOSE; }

// Notes a condition in the file's state and shows it when the state asks.
void Note(TiffErrors* errors, UINT id)
{
    if (!errors || !id) return;
    if (errors->id == 0) errors->id = id;
    if (errors->immediate && !errors->quiet) TIF_Report(errors, id);
}

int Handle(TIFF*, void* userData, const char* module, const char* format, va_list args, int warning)
{
    char text[512];
    va_list copy;
    va_copy(copy, args);
    vsnprintf(text, sizeof text, format ? format : "", copy);
    va_end(copy);
    UINT id = TIF_ErrorId(module, format, text, userData ? static_cast<TiffErrors*>(userData)->phase : TIF_PHASE_READ,
                          warning);
    Note(static_cast<TiffErrors*>(userData), id);
    return 1;  // libtiff's global handlers (which print) are never called
}

int OnError(TIFF* tif, void* userData, const char* module, const char* format, va_list args)
{
    return Handle(tif, userData, module, format, args, 0);
}

int OnWarning(TIFF* tif, void* userData, const char* module, const char* format, va_list args)
{
    return Handle(tif, userData, module, format, args, 1);
}

// The codec that libtiff finds for scheme 5: it leaves the file with the
// "none" coder (so that a writer goes on uncompressed), reports the refusal
// and fails, which makes setting the scheme fail.
int RefuseLzw(TIFF* tif, int)
{
    if (const TIFFCodec* none = TIFFFindCODEC(COMPRESSION_NONE)) none->init(tif, COMPRESSION_NONE);
    TIFFErrorExtR(tif, kLzwModule, "LZW compression refused");
    return 0;
}

void RegisterLzwRefusal()
{
    static bool registered = false;
    if (registered) return;
    registered = TIFFRegisterCODEC(COMPRESSION_LZW, "LZW", RefuseLzw) != nullptr;
}

}  // namespace

UINT TIF_ErrorId(const char* module, const char* format, const char* text, int phase, int warning)
{
    if (!format) format = "";
    if (!text) text = "";
    if (warning) {
        // Only the end of a Group 3/4 strip's data before its last row counts.
        return strstr(format, "Premature EOF") ? 3584 : 0;
    }
    if (module && strcmp(module, kLzwModule) == 0) return 1537;
    // An open failure with the system's reason ("name: reason") is a file that can't be opened.
    if (module && strncmp(module, "TIFFOpen", 8) == 0 && strcmp(format, "%s: %s") == 0)
        return Writing(phase) ? 8215 : 6145;
    for (const Condition& c : kConditions) {
        if (!strstr(format, c.pattern)) continue;
        if (c.field && !strstr(text, c.field)) continue;
        UINT id = Writing(phase) ? c.writeId : c.readId;
        return id ? id : Fallback(phase);
    }
    return Fallback(phase);
}

void TIF_InitErrors(TiffErrors* errors, int writing)
{
    errors->phase = writing ? TIF_PHASE_FIELDS : TIF_PHASE_OPEN;
    errors->immediate = writing;
    errors->quiet = 0;
    errors->reported = 0;
    errors->id = 0;
}

void TIF_Rearm(TiffErrors* errors)
{
    errors->reported = 0;
    errors->id = 0;
}

void TIF_Report(TiffErrors* errors, UINT id)
{
    if (errors->reported || errors->quiet) return;
    errors->reported = 1;
    if (errors->id == 0) errors->id = id;
    MSG_Report(SEV_ERROR, id);
}

void TIF_ReportPending(TiffErrors* errors)
{
    if (errors->id && !errors->reported) TIF_Report(errors, errors->id);
}

tmsize_t TIF_MemoryCap()
{
    // A strip holds at most the image's rows; coded, PackBits adds a byte in
    // 128 and Group 3/4 can exceed the rows of a small image, hence the margin.
    const uint64_t limit = DIB_GetMemoryLimit();
    const uint64_t cap = limit + limit / 64 + (1ULL << 20);
    const uint64_t largest = sizeof(tmsize_t) < 8 ? 0x7FFFFFFFULL : 0x7FFFFFFFFFFFFFFFULL;
    return static_cast<tmsize_t>(cap < largest && cap >= limit ? cap : largest);
}

namespace {

// Options with the handlers bound to errors and the memory cap; null when they can't be had.
TIFFOpenOptions* Options(TiffErrors* errors)
{
    RegisterLzwRefusal();
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) {
        Note(errors, errors->immediate ? 9729 : 6146);
        return nullptr;
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, errors);
    TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, errors);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, TIF_MemoryCap());
    return options;
}

}  // namespace

TIFF* TIF_OpenFile(LPCSTR path, const char* mode, TiffErrors* errors)
{
    // A name that doesn't fit fails as a file that can't be opened.
    if (!FIL_NameFits(path)) return nullptr;
    TIFFOpenOptions* options = Options(errors);
    if (!options) return nullptr;
    TIFF* tif = TIFFOpenExt(path, mode, options);
    TIFFOpenOptionsFree(options);
    return tif;
}

TIFF* TIF_OpenReader(LPCSTR name, thandle_t handle, TIFFReadWriteProc read, TIFFReadWriteProc write, TIFFSeekProc seek,
                     TIFFCloseProc close, TIFFSizeProc size, TIFFMapFileProc map, TIFFUnmapFileProc unmap,
                     TiffErrors* errors)
{
    TIFFOpenOptions* options = Options(errors);
    if (!options) return nullptr;
    TIFF* tif = TIFFClientOpenExt(name, "r", handle, read, write, seek, close, size, map, unmap, options);
    TIFFOpenOptionsFree(options);
    return tif;
}
