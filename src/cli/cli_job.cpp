// The conversion steps of kvconvert.
#include "cli/cli_job.h"

#include "batch/batch_engine.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cctype>
#include <cstring>

std::string CLI_OutputName(const std::string& input, int row)
{
    size_t slash = input.find_last_of("/\\");
    std::string name = slash == std::string::npos ? input : input.substr(slash + 1);
    std::string out(name.size() + 16, '\0');
    BAT_OutputName(name.c_str(), row, &out[0], out.size());
    out.resize(strlen(out.c_str()));
    // kvconvert keeps the case of the name: the extension is lower case
    // unless the name has no lower-case letter.
    bool lower = false;
    for (char c : name) lower |= islower(static_cast<unsigned char>(c)) != 0;
    const size_t dot = out.find('.');
    if (lower && dot != std::string::npos)
        for (size_t i = dot + 1; i < out.size(); i++) out[i] = static_cast<char>(tolower(static_cast<unsigned char>(out[i])));
    return out;
}

int CLI_DefaultDepth(int row, int bits)
{
    static const int kBits[6] = {1, 4, 8, 16, 24, 32};
    int d = FMT_DepthIndex(bits);
    if (d < 0) d = DEPTH_24;
    if (FMT_GetCapability(row, d)) return kBits[d];
    // As little as possible is lost: the largest depth below, and only when
    // there is none, the smallest above.
    for (int i = d - 1; i >= 0; i--)
        if (FMT_GetCapability(row, i)) return kBits[i];
    for (int i = d + 1; i < 6; i++)
        if (FMT_GetCapability(row, i)) return kBits[i];
    return kBits[d];
}

void CLI_PresetSave(int row, int bits, int color, int compressed, int* outBits, int* outColor, int* outCompressed)
{
    // The icon writer takes a 32-bit image unreduced and makes its own depth.
    if (row == FMT_Row_ICO && bits == 32) {
        *outBits = 32;
        *outColor = color;
        *outCompressed = 0;
        return;
    }
    const int target = CLI_DefaultDepth(row, bits);
    const int d = FMT_DepthIndex(target);
    // Compressed as the format has it at that depth: forced where inherent, off where it can't be.
    if (FMT_TestCapability(row, d, CAP_COMPRESS_INHERENT)) compressed = 1;
    if (!FMT_TestCapability(row, d, CAP_COMPRESS_OPTIONAL | CAP_COMPRESS_INHERENT)) compressed = 0;
    if (!FMT_TestCapability(row, d, CAP_COLOR)) color = 0;
    *outBits = target;
    *outColor = color;
    *outCompressed = compressed;
}

namespace {
// kvconvert's settings for each loaded image: the default depth follows the
// image unless -d is given, colour and compression as the output row holds them.
void FitToImage(const BatchDocument& doc, BatchSettings* s, const void* context)
{
    const ConvertOptions& o = *static_cast<const ConvertOptions*>(context);
    int bits, color, compressed;
    CLI_PresetSave(s->row, o.depth ? o.depth : doc.bits, o.gray ? 0 : doc.color, doc.compressed, &bits, &color,
                   &compressed);
    // Compressed wherever the format can compress this depth, as the batch's
    // Compress box starts; --no-compress asks against it, but a format that
    // always compresses at this depth still does.
    const int d = FMT_DepthIndex(bits);
    compressed = o.compress != 0 && FMT_TestCapability(s->row, d, CAP_COMPRESS_OPTIONAL | CAP_COMPRESS_INHERENT);
    if (FMT_TestCapability(s->row, d, CAP_COMPRESS_INHERENT) && !FMT_TestCapability(s->row, d, CAP_COMPRESS_OPTIONAL))
        compressed = 1;
    s->bits = bits;
    s->color = color;
    s->compress = compressed;
}
}  // namespace

int CLI_ConvertFile(const ConvertOptions& o, const std::string& input, const std::string& output, int outRow,
                    char* unfinished, size_t unfinishedSize)
{
    BatchSettings settings;
    settings.row = outRow;
    settings.flatCut = o.flat ? 1 : 0;
    settings.dither = o.dither ? 1 : 0;
    return BAT_ConvertFile(input, output, settings, FitToImage, &o, unfinished, unfinishedSize);
}
