// The conversion steps of kvconvert.
#include "cli/cli_job.h"

#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/format_table.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdio>

#include <cctype>

std::string CLI_OutputName(const std::string& input, int row)
{
    size_t slash = input.find_last_of("/\\");
    std::string name = slash == std::string::npos ? input : input.substr(slash + 1);
    size_t dot = name.find('.');
    if (dot == std::string::npos) return name;
    char extension[16];
    FMT_GetExtension(row, extension);
    bool lower = false;
    for (char c : name) lower |= islower(static_cast<unsigned char>(c)) != 0;
    std::string ext = extension;
    if (lower)
        for (char& c : ext) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return name.substr(0, dot + 1) + ext;
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

void CLI_FreeDocument(CliDocument* doc)
{
    if (doc->dib) GlobalFree(doc->dib);
    doc->dib = nullptr;
}

int CLI_LoadDocument(const std::string& path, CliDocument* doc)
{
    *doc = CliDocument();
    INF_Begin(path.c_str());
    HGLOBAL dib = nullptr;
    FIL_LoadRow = FMT_Row_Any;
    int ok = FMT_Load(path.c_str(), &dib, FMT_Row_Any) && dib;
    if (ok) {
        // The depth, colour and compression a new window takes from the load.
        LONG product = INF_GetValue(INF_BITSPERPIXEL) * INF_GetValue(INF_PLANES);
        doc->bits = product == 1 ? 1 : product <= 4 ? 4 : product <= 8 ? 8 : product <= 16 ? 16 : product <= 24 ? 24 : 32;
        doc->color = INF_GetValue(INF_GRAY) == 0;
        doc->compressed = INF_GetValue(INF_COMPRESSED) > 0;
        doc->format = FMT_FoundRow;
        doc->dib = dib;
        // Gray detection as the image window does it: a colour table of grays.
        BITMAPINFOHEADER* h;
        RGBQUAD* table;
        if (doc->color && DIB_Lock(dib, &h, &table, nullptr)) {
            if (h->biBitCount < 9) {
                bool differs = false;
                for (DWORD i = 0; i < h->biClrUsed && !differs; i++)
                    differs = table[i].rgbRed != table[i].rgbGreen || table[i].rgbGreen != table[i].rgbBlue;
                if (!differs) doc->color = 0;
            }
            GlobalUnlock(dib);
        }
    }
    INF_End();
    return ok;
}

namespace {
const char kPartSuffix[] = ".kvpart";
}  // namespace

std::string CLI_PartName(const std::string& output) { return output + kPartSuffix; }

int CLI_CheckNames(const std::string& input, const std::string& output)
{
    const unsigned most = static_cast<unsigned>(FIL_NameRoom) - 1;
    if (!FIL_NameFits(input.c_str())) {
        fprintf(stderr, "%s: the path is too long (at most %u characters)\n", input.c_str(), most);
        return 0;
    }
    if (!FIL_NameFits(CLI_PartName(output).c_str())) {
        fprintf(stderr, "%s: the output path %s is too long (at most %u characters)\n", input.c_str(),
                output.c_str(), most - static_cast<unsigned>(sizeof kPartSuffix - 1));
        return 0;
    }
    return 1;
}

int CLI_ConvertFile(const ConvertOptions& o, const std::string& input, const std::string& output, int outRow,
                    char* unfinished, size_t unfinishedSize)
{
    // The private name must also fit the record of the unfinished file.
    if (!CLI_CheckNames(input, output) || CLI_PartName(output).size() >= unfinishedSize) return 0;
    CliDocument doc;
    if (!CLI_LoadDocument(input, &doc)) return UTL_Yield() ? 0 : -1;
    int bits, color, compressed;
    CLI_PresetSave(outRow, o.depth ? o.depth : doc.bits, o.gray ? 0 : doc.color, doc.compressed, &bits, &color,
                   &compressed);
    // Compressed wherever the format can compress this depth, as the batch's
    // Compress box starts; --no-compress asks against it, but a format that
    // always compresses at this depth still does.
    int d = FMT_DepthIndex(bits);
    compressed = o.compress != 0 && FMT_TestCapability(outRow, d, CAP_COMPRESS_OPTIONAL | CAP_COMPRESS_INHERENT);
    if (FMT_TestCapability(outRow, d, CAP_COMPRESS_INHERENT) && !FMT_TestCapability(outRow, d, CAP_COMPRESS_OPTIONAL))
        compressed = 1;
    CLI_ConvertDocument(&doc, bits, !color, o);
    doc.compressed = compressed;

    // Written beside the output under a private name, then put in place: a
    // failed or interrupted save leaves nothing behind.
    std::string temp = CLI_PartName(output);
    snprintf(unfinished, unfinishedSize, "%s", temp.c_str());
    HDL_SetActiveBits(doc.bits);
    int saved = FMT_Save(temp.c_str(), doc.dib, static_cast<WORD>(doc.color), static_cast<WORD>(doc.compressed),
                         static_cast<WORD>(doc.bits), outRow);
    CLI_FreeDocument(&doc);
    bool stopped = UTL_Yield() == 0;
    if (saved && !stopped) {
#ifdef _WIN32
        // Windows' rename won't replace; the existing output was allowed by --force.
        remove(output.c_str());
#endif
        if (rename(temp.c_str(), output.c_str()) != 0) {
            fprintf(stderr, "%s: cannot write %s\n", input.c_str(), output.c_str());
            saved = 0;
        }
    }
    remove(temp.c_str());
    unfinished[0] = 0;
    if (stopped) return -1;
    return saved ? 1 : 0;
}
