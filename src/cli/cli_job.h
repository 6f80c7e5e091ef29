// One conversion of kvconvert: load by the input's last extension, convert as
// the batch facility converts one image, save through the output row.
#pragma once

#include "cli/cli_options.h"
#include "platform/win32.h"

#include <string>

// The document being converted: its DIB and the facts a window would hold.
struct CliDocument {
    HGLOBAL dib = nullptr;
    int bits = 0;        // 1, 4, 8, 16, 24 or 32
    int color = 1;       // 0 for a gray image
    int compressed = 0;  // saved compressed
    int format = -1;     // row it was loaded through
};

// The output name for an input: its file name cut at the first dot, plus "."
// and the row's extension (lower case unless the name has no lower-case
// letter); a name without a dot stays as it is.
std::string CLI_OutputName(const std::string& input, int row);

// kvconvert's default depth for an image of bits going to row: its own if the
// row holds it, else the largest the row holds below it, else the smallest
// above it. (Not the Save dialog's search, which looks upward first.)
int CLI_DefaultDepth(int row, int bits);
// The settings for a document going to row: the default depth above, colour
// (gray where the row can't hold colour at that depth) and compression
// (forced where inherent, off where impossible).
void CLI_PresetSave(int row, int bits, int color, int compressed, int* outBits, int* outColor, int* outCompressed);

// Loads path through the row of its last extension; 0 after a report.
int CLI_LoadDocument(const std::string& path, CliDocument* doc);
// Converts the document to the target depth and colour with the batch's rules.
void CLI_ConvertDocument(CliDocument* doc, int targetBits, int gray, const ConvertOptions& options);
// Converts one input into output through outRow: load, preset, convert, save
// under a private name and put it in place. 1 converted, 0 failed (reported),
// -1 stopped by the user. unfinished names the private file while it exists.
int CLI_ConvertFile(const ConvertOptions& options, const std::string& input, const std::string& output, int outRow,
                    char* unfinished, size_t unfinishedSize);
// The private name output is written under before it is put in place.
std::string CLI_PartName(const std::string& output);
// 1 when input, output and the output's private name all fit whole; else
// says which path is too long and returns 0. Nothing is ever cut.
int CLI_CheckNames(const std::string& input, const std::string& output);
// Frees the document's DIB.
void CLI_FreeDocument(CliDocument* doc);
