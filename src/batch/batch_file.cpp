// One file converted without a window: the document takes the place of the
// image window, and the same conversion rules run on it.
#include "batch/batch_engine.h"

#include "cli/headless.h"
#include "formats/codec_runtime.h"
#include "formats/eps.h"
#include "formats/format_table.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdio>

namespace {
const char kPartSuffix[] = ".kvpart";

void ReadDocument(void* image, ColourDocument* doc)
{
    const BatchDocument* d = static_cast<const BatchDocument*>(image);
    *doc = {d->dib, d->bits, d->color};
}

void InstallChange(void* image, const ColourDocument& before, const ColourChange& change)
{
    BatchDocument* d = static_cast<BatchDocument*>(image);
    ColourDocument doc = before;
    CLR_ApplyChange(&doc, &change);
    d->dib = doc.dib;
    d->bits = doc.bits;
    d->color = doc.color;
}

void SetCompressed(void* image, int compressed) { static_cast<BatchDocument*>(image)->compressed = compressed; }
void SetFormat(void* image, int row) { static_cast<BatchDocument*>(image)->format = row; }

const BatchImageAccess kDocumentAccess = {ReadDocument, InstallChange, SetCompressed, SetFormat};
}  // namespace

void BAT_FreeDocument(BatchDocument* doc)
{
    if (doc->dib) GlobalFree(doc->dib);
    doc->dib = nullptr;
}

void BAT_ConvertDocument(BatchDocument* doc, const BatchSettings& settings)
{
    BAT_ConvertRules(kDocumentAccess, doc, settings);
}

int BAT_LoadDocument(const std::string& path, BatchDocument* doc)
{
    *doc = BatchDocument();
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

std::string BAT_PartName(const std::string& output) { return output + kPartSuffix; }

int BAT_CheckNames(const std::string& input, const std::string& output)
{
    const unsigned most = static_cast<unsigned>(FIL_NameRoom) - 1;
    if (!FIL_NameFits(input.c_str())) {
        fprintf(stderr, "%s: the path is too long (at most %u characters)\n", input.c_str(), most);
        return 0;
    }
    if (!FIL_NameFits(BAT_PartName(output).c_str())) {
        fprintf(stderr, "%s: the output path %s is too long (at most %u characters)\n", input.c_str(),
                output.c_str(), most - static_cast<unsigned>(sizeof kPartSuffix - 1));
        return 0;
    }
    return 1;
}

int BAT_ConvertFile(const std::string& input, const std::string& output, BatchSettings settings, BatchFit fit,
                    const void* context, char* unfinished, size_t unfinishedSize)
{
    // The private name must also fit the record of the unfinished file.
    if (!BAT_CheckNames(input, output) || BAT_PartName(output).size() >= unfinishedSize) return 0;
    BatchDocument doc;
    if (!BAT_LoadDocument(input, &doc)) return UTL_Yield() ? 0 : -1;
    if (fit) fit(doc, &settings, context);
    BAT_ConvertDocument(&doc, settings);

    // Written beside the output under a private name, then put in place: a
    // failed or interrupted save leaves nothing behind.
    std::string temp = BAT_PartName(output);
    snprintf(unfinished, unfinishedSize, "%s", temp.c_str());
    HDL_SetActiveBits(doc.bits);
    // An EPS file is titled by the name it ends up with, not the private one.
    EPS_SetTitle(output.c_str());
    int saved = FMT_Save(temp.c_str(), doc.dib, static_cast<WORD>(doc.color), static_cast<WORD>(doc.compressed),
                         static_cast<WORD>(doc.bits), doc.format);
    BAT_FreeDocument(&doc);
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
