// The Colors menu's operations on an image window: the window's record gives
// the document, the portable operation works out the change, and the change
// goes in through IMG_SetImage (undo, modified flag, palette, window size,
// gray detection) before the depth and the colour flag are set.
#include "colour/conversions.h"

#include "core/image_record.h"

ColourDocument CLR_WindowDocument(HWND window)
{
    ColourDocument doc;
    doc.dib = IMG_GetDIB(window);
    doc.bits = static_cast<int>(IMG_GetAttr(window, IA_BITS));
    doc.color = IMG_TestFlag(window, IF_COLOR);
    return doc;
}

// A change without a DIB moves no pixel, so it keeps no undo image and
// leaves the modified flag alone.
void CLR_WindowInstall(HWND window, const ColourDocument& before, const ColourChange& change)
{
    if (change.dib) IMG_SetImage(window, change.dib);
    if (change.dib || change.bits != before.bits) IMG_SetAttr(window, IA_BITS, change.bits);
    if (change.color != CLR_COLOR_KEEP) IMG_SetFlag(window, IF_COLOR, change.color == CLR_COLOR_SET ? 1 : 0);
}

namespace {

// Runs an operation on the window's document; 1 when the window changed.
template <typename Operation>
int Run(HWND window, Operation operation)
{
    if (!window) return 0;
    ColourDocument doc = CLR_WindowDocument(window);
    if (!doc.dib) return 0;
    ColourChange change;
    if (!operation(doc, &change)) return 0;
    CLR_WindowInstall(window, doc, change);
    return 1;
}
}  // namespace

int IMG_MakeGray(HWND window)
{
    return Run(window, [](const ColourDocument& doc, ColourChange* change) { return CLR_DocMakeGray(&doc, change); });
}

int CLR_FlatCut(HWND window, int target)
{
    return Run(window, [target](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocFlatCut(&doc, target, 0, change);
    });
}

int CLR_FlatCutDither(HWND window, int target)
{
    return Run(window, [target](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocFlatCut(&doc, target, 1, change);
    });
}

int CLR_OptimizedCut(HWND window, int count)
{
    return Run(window, [count](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocOptimizedCut(&doc, count, 0, change);
    });
}

int CLR_OptimizedCutDither(HWND window, int count)
{
    return Run(window, [count](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocOptimizedCut(&doc, count, 1, change);
    });
}

int CLR_IncreaseDepth(HWND window, int target, int alpha)
{
    return Run(window, [target, alpha](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocIncreaseDepth(&doc, target, alpha, change);
    });
}

int CLR_WindowCommand(HWND window, int command)
{
    return Run(window, [command](const ColourDocument& doc, ColourChange* change) {
        return CLR_DocCommand(&doc, command, change);
    });
}
