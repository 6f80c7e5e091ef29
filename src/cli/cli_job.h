// One conversion of kvconvert: load by the input's last extension, convert as
// the batch facility converts one image, save through the output row.
#pragma once

#include "cli/cli_options.h"
#include "platform/win32.h"

#include <string>

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

// Converts one input into output through outRow with the batch engine's
// file step, the settings fitted to each image as CLI_PresetSave says. 1 converted, 0 failed (reported),
// -1 stopped by the user. unfinished names the private file while it exists.
int CLI_ConvertFile(const ConvertOptions& options, const std::string& input, const std::string& output, int outRow,
                    char* unfinished, size_t unfinishedSize);
