// The frame services that run on the colour engine and the format table alone.
#include "core/service_engine.h"

#include "colour/colour_switches.h"
#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "formats/format_table.h"

namespace {
// Items 43 and 44: a fixed-palette reduction, for the depths Flat Cut knows.
LRESULT FlatCut(const ServiceBlock* block, int dither)
{
    const LONG_PTR depth = block->value;
    if (!block->hDIB || (depth != 1 && depth != 4 && depth != 8 && depth != 16 && depth != 24)) return 0;
    const int shown = CLR_FlatShowProgress;
    CLR_SetFlatProgress(block->option ? 1 : 0);
    HGLOBAL result = nullptr;
    const int target = static_cast<int>(depth), gray = block->flag ? 1 : 0;
    const int done = dither ? CLR_FlatDither(block->hDIB, &result, target, gray)
                            : CLR_FlatReduce(block->hDIB, &result, target, gray);
    CLR_SetFlatProgress(shown);
    return done ? reinterpret_cast<LRESULT>(result) : 0;
}

// Item 41: the whole median cut; the thermometer is on again afterwards.
LRESULT OptimizedCut(const ServiceBlock* block)
{
    if (!block->hDIB || block->value <= 0 || block->value > 256) return 0;
    CLR_SetCutProgress(block->option ? 1 : 0);
    CLR_SetCutDither(block->flag ? 1 : 0);
    HGLOBAL result = nullptr;
    const int done = CLR_MedianCut(block->hDIB, &result, static_cast<int>(block->value));
    CLR_SetCutProgress(1);
    return done ? reinterpret_cast<LRESULT>(result) : 0;
}

// Items 73 to 75 take their arguments from the record; none is refused.
const CutStep* Step(const ServiceBlock* block) { return static_cast<const CutStep*>(block->record); }
}  // namespace

int SVC_IsColourService(int item)
{
    return item == SVC_OPTIMIZED_CUT || item == SVC_FLAT_CUT || item == SVC_FLAT_CUT_DITHER ||
           (item >= SVC_CUT_BEGIN && item <= SVC_CUT_END);
}

LRESULT SVC_ColourService(int item, ServiceBlock* block)
{
    if (!block) {
        if (item == SVC_CUT_BEGIN) {
            // The steps run silent; each image is counted by the caller.
            CLR_SetCutProgress(0);
            return CLR_CutBegin();
        }
        if (item == SVC_CUT_END) {
            CLR_CutEnd();
            CLR_SetCutProgress(1);
        }
        return 0;
    }
    const CutStep* step = Step(block);
    switch (item) {
    case SVC_OPTIMIZED_CUT:
        return OptimizedCut(block);
    case SVC_FLAT_CUT:
        return FlatCut(block, 0);
    case SVC_FLAT_CUT_DITHER:
        return FlatCut(block, 1);
    case SVC_CUT_BEGIN:
    case SVC_CUT_END:
        return SVC_ColourService(item, nullptr);
    case SVC_CUT_ADD_IMAGE:
        if (!step || !step->pixels) return 0;
        return CLR_CutAddImage(step->pixels, step->colors, step->width, step->height, static_cast<int>(step->bits));
    case SVC_CUT_MAKE_PALETTE:
        if (!step || !step->table) return 0;
        return CLR_CutMakePalette(step->table, static_cast<int>(step->count));
    case SVC_CUT_MAP_PIXELS:
        if (!step || !step->pixels || !step->dest) return 0;
        return CLR_CutMapPixels(step->pixels, step->dest, step->width, step->height, static_cast<int>(step->bits),
                                static_cast<int>(step->destBits), step->colors);
    default:
        return 0;
    }
}

int SVC_RegisterFormat(const FormatOffer* offer)
{
    if (!offer) return -1;
    // Local copies: the offer's texts need not be terminated.
    char extension[sizeof offer->extension + 1], description[sizeof offer->description + 1],
        module[sizeof offer->module + 1];
    lstrcpynA(extension, offer->extension, sizeof extension);
    lstrcpynA(description, offer->description, sizeof description);
    lstrcpynA(module, offer->module, sizeof module);
    FMT_LoadProc load = offer->canRead ? FMT_ModuleLoad : FMT_NoLoad;
    FMT_SaveProc save = offer->canWrite ? FMT_ModuleSave : FMT_NoSave;
    return FMT_Register(KIND_RASTER, extension, description, load, save, FMT_ModuleAccept, offer->capability,
                        module, offer->id);
}
