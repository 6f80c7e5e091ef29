// The batch engine's run state, output names and the conversion rules of one image.
#include "batch/batch_engine.h"

#include "core/messages.h"
#include "formats/format_table.h"

#include <cstdlib>
#include <cstring>
#include <new>

unsigned short BAT_Session = 0;
int BAT_ItemCount = 0;
BatchPair* BAT_Items = nullptr;
int BAT_Total = 0;
int BAT_Step = 0;
char BAT_OutputDir[128] = "";
int BAT_ColorTarget = 4;
int BAT_UseFlatCut = 0;
int BAT_Color = 1;
int BAT_Dither = 1;
int BAT_Compress = 1;
int BAT_ThumbnailsSaved = 0;
int BAT_ThumbnailsRun = 0;

namespace {
int itemRoom = 0;  // pairs the block holds

char* Copy(const char* text)
{
    const size_t length = strlen(text) + 1;
    char* copy = new (std::nothrow) char[length];
    if (copy) memcpy(copy, text, length);
    return copy;
}
}  // namespace

int BAT_TargetBits(int target)
{
    static const int kBits[BAT_TargetCount] = {1, 4, 8, 16, 24, 32};
    return target >= 0 && target < BAT_TargetCount ? kBits[target] : 0;
}

int BAT_GetSession() { return BAT_Session; }

void BAT_SetScripted(int value)
{
    if (value) BAT_Session++;
    BAT_SetActive(value, value);
}

int BAT_AllocateItems(int count)
{
    BAT_FreeItems();
    if (count < 0) return 0;
    // Even an empty list gets its block: a run over it asks for a file.
    BAT_Items = new (std::nothrow) BatchPair[count + 1]();
    if (!BAT_Items) return 0;
    itemRoom = count;
    return 1;
}

int BAT_AddItem(const char* input, const char* output)
{
    if (!BAT_Items || BAT_ItemCount >= itemRoom) return 0;
    BatchPair pair = {Copy(input), Copy(output)};
    if (!pair.input || !pair.output) {
        delete[] pair.input;
        delete[] pair.output;
        return 0;
    }
    BAT_Items[BAT_ItemCount++] = pair;
    return 1;
}

void BAT_FreeItem(int i)
{
    if (!BAT_Items || i < 0 || i >= BAT_ItemCount) return;
    delete[] BAT_Items[i].input;
    delete[] BAT_Items[i].output;
    BAT_Items[i].input = BAT_Items[i].output = nullptr;
}

void BAT_FreeItems()
{
    for (int i = 0; i < BAT_ItemCount; i++) BAT_FreeItem(i);
    delete[] BAT_Items;
    BAT_Items = nullptr;
    BAT_ItemCount = 0;
    itemRoom = 0;
}

int BAT_OutputName(const char* name, int row, char* out, size_t size)
{
    const size_t length = strlen(name);
    char extension[16] = "";
    FMT_GetExtension(row, extension);
    const char* dot = strchr(name, '.');
    // The extension goes right behind the first dot; without one the name ends where it did.
    const size_t keep = dot ? static_cast<size_t>(dot - name) + 1 : length;
    const size_t need = keep + (dot ? strlen(extension) : 0) + 1;
    if (need > size) return 0;
    memcpy(out, name, keep);
    out[keep] = 0;
    if (dot) strcat(out, extension);
    return 1;
}

BatchSettings BAT_CurrentSettings(int outputRow)
{
    BatchSettings s;
    s.row = outputRow;
    s.bits = BAT_TargetBits(BAT_ColorTarget);
    s.color = BAT_Color;
    s.flatCut = BAT_UseFlatCut;
    s.dither = BAT_Dither;
    s.compress = BAT_Compress;
    return s;
}

void BAT_ConvertRules(const BatchImageAccess& access, void* image, const BatchSettings& settings)
{
    ColourDocument doc;
    access.read(image, &doc);
    ColourChange change;
    if (doc.color && !settings.color && CLR_DocMakeGray(&doc, &change)) {
        access.install(image, doc, change);
        access.read(image, &doc);
    }
    // A deeper target raises the depth (alpha 255); a shallower one cuts,
    // where Monochrome and 16 bits always take Flat Cut.
    if (settings.bits != doc.bits &&
        CLR_DocToDepth(&doc, settings.bits, !settings.flatCut, settings.dither, CLR_RULE_BATCH, &change))
        access.install(image, doc, change);
    access.setCompressed(image, settings.compress ? 1 : 0);
    access.setFormat(image, settings.row);
}
