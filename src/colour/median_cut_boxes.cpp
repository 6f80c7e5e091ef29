// Optimized Cut, second stage: the boxes. The histogram is compacted into one
// array that the boxes slice; the widest box is split at its population
// median until there are enough boxes; each box's mean becomes a palette
// entry; the table is then restored as the map from colour to entry.
#include "colour/median_cut_state.h"

#include "core/messages.h"

namespace {
const UINT kNoMemory = 8204;
const UINT kPartialReduction = 8207;

// A new zero-filled box, numbered in the order made; null when refused.
CutBox* NewBox()
{
    CutState& s = CUT_State;
    if (s.boxesAllocated == CUT_MaxBoxes) return nullptr;
    CutBox* box = static_cast<CutBox*>(CUT_Allocate(CUT_MEM_BOX, sizeof(CutBox)));
    if (!box) return nullptr;
    s.boxesMade[s.boxesAllocated++] = box;
    box->number = static_cast<DWORD>(s.boxesAllocated);
    return box;
}

// The five-bit value of a colour along an axis.
inline DWORD AxisValue(DWORD key, DWORD axis)
{
    return axis == CUT_AXIS_RED ? CUT_Red(key) : axis == CUT_AXIS_GREEN ? CUT_Green(key) : CUT_Blue(key);
}

// Bounds of the box's slice, then its longest side. In a tie blue beats green
// and red, and green beats red.
void ComputeBounds(CutBox* box)
{
    DWORD rMin = 31, rMax = 0, gMin = 31, gMax = 0, bMin = 31, bMax = 0;
    for (DWORD i = 0; i < box->colorCount; i++) {
        DWORD key = CUT_Color(box->colors[i]).key;
        DWORD r = CUT_Red(key), g = CUT_Green(key), b = CUT_Blue(key);
        if (r < rMin) rMin = r;
        if (r > rMax) rMax = r;
        if (g < gMin) gMin = g;
        if (g > gMax) gMax = g;
        if (b < bMin) bMin = b;
        if (b > bMax) bMax = b;
    }
    if (box->colorCount == 0) rMin = rMax = gMin = gMax = bMin = bMax = 0;
    box->redMin = rMin;
    box->redMax = rMax;
    box->greenMin = gMin;
    box->greenMax = gMax;
    box->blueMin = bMin;
    box->blueMax = bMax;
    DWORD dR = rMax - rMin, dG = gMax - gMin, dB = bMax - bMin;
    if (dR <= dG)
        box->axis = dG <= dB ? CUT_AXIS_BLUE : CUT_AXIS_GREEN;
    else
        box->axis = dR <= dB ? CUT_AXIS_BLUE : CUT_AXIS_RED;
    box->width = box->axis == CUT_AXIS_RED ? dR : box->axis == CUT_AXIS_GREEN ? dG : dB;
}

// Puts a box into the list, which runs from the widest box to the narrowest;
// among equal widths the box goes before the first one with no more pixels
// than itself.
void InsertBox(CutBox* b)
{
    CutState& s = CUT_State;
    b->next = b->prev = nullptr;
    CutBox* head = s.head;
    if (!head) {
        s.head = b;
        return;
    }
    if (!head->next) {
        // One box: a tie of widths puts the new box first, whatever the populations.
        if (head->width > b->width) {
            head->next = b;
            b->prev = head;
        } else {
            b->next = head;
            head->prev = b;
            s.head = b;
        }
        return;
    }
    CutBox* c = head;
    while (c->next && c->width >= b->width) {
        if (c->width == b->width && c->pixelCount <= b->pixelCount) break;
        c = c->next;
    }
    if (c == head) {
        b->next = head;
        head->prev = b;
        s.head = b;
    } else if (!c->next && b->width < c->width) {
        c->next = b;
        b->prev = c;
    } else {
        b->prev = c->prev;
        b->next = c;
        c->prev->next = b;
        c->prev = b;
    }
}

// Orders a slice by one five-bit channel with the 32 buckets: each colour is
// pushed onto the front of its bucket's chain, then the chains are popped in
// bucket order. Colours equal on the axis come out in reversed order.
void SortSlice(CutBox* box)
{
    CutRef* buckets = CUT_State.buckets;
    for (int i = 0; i < CUT_BucketCount; i++) buckets[i] = 0;
    for (DWORD i = 0; i < box->colorCount; i++) {
        CutRef ref = box->colors[i];
        CutColor& c = CUT_Color(ref);
        DWORD v = AxisValue(c.key, box->axis);
        c.link = buckets[v];
        buckets[v] = ref;
    }
    DWORD out = 0;
    for (int v = 0; v < CUT_BucketCount; v++)
        for (CutRef ref = buckets[v]; ref; ref = CUT_Color(ref).link) box->colors[out++] = ref;
}

// Splits the widest box. 0 when nothing more can be split (the widest box has
// width 0) or a box could not be had (8207 reported); the list is whole either way.
int SplitBox()
{
    CutState& s = CUT_State;
    CutBox* box = s.head;
    s.head = box->next;
    if (s.head) s.head->prev = nullptr;
    box->next = box->prev = nullptr;

    SortSlice(box);
    if (box->width == 0) {
        InsertBox(box);
        return 0;
    }

    // The first colour never stops the walk, so the lower part is never empty.
    const int64_t half = box->pixelCount / 2;
    int64_t sum = 0;
    DWORD stop = 0;
    for (; stop < box->colorCount; stop++) {
        DWORD count = CUT_Color(box->colors[stop]).count;
        if (sum + count > half && sum > 0) break;
        sum += count;
    }

    CutBox* upper = NewBox();
    if (!upper) {
        MSG_Report(SEV_ERROR, kPartialReduction);
        InsertBox(box);
        return 0;
    }
    upper->colors = box->colors + stop;
    upper->colorCount = box->colorCount - stop;
    upper->pixelCount = box->pixelCount - sum;
    box->colorCount -= upper->colorCount;
    box->pixelCount -= upper->pixelCount;
    ComputeBounds(upper);
    ComputeBounds(box);
    InsertBox(box);
    InsertBox(upper);
    s.boxCount++;
    return 1;
}

// The population-weighted mean of a box's five-bit channels, truncated.
void ComputeMean(CutBox* box)
{
    uint64_t r = 0, g = 0, b = 0, n = 0;
    for (DWORD i = 0; i < box->colorCount; i++) {
        const CutColor& c = CUT_Color(box->colors[i]);
        r += static_cast<uint64_t>(CUT_Red(c.key)) * c.count;
        g += static_cast<uint64_t>(CUT_Green(c.key)) * c.count;
        b += static_cast<uint64_t>(CUT_Blue(c.key)) * c.count;
        n += c.count;
    }
    box->red = n ? static_cast<DWORD>(r / n) : 0;
    box->green = n ? static_cast<DWORD>(g / n) : 0;
    box->blue = n ? static_cast<DWORD>(b / n) : 0;
}

// Puts every colour back into the slot of its key, all other slots empty, by
// following cycles: each exchange settles one colour for good.
void RestoreTable()
{
    CutRef* table = CUT_State.table;
    for (DWORD i = 0; i < CUT_State.colorCount; i++) {
        for (CutRef ref = table[i]; ref; ref = table[i]) {
            DWORD key = CUT_Color(ref).key;
            if (key == i) break;
            table[i] = table[key];
            table[key] = ref;
        }
    }
}
}  // namespace

int CLR_CutMakePalette(RGBQUAD* palette, int count)
{
    CutState& s = CUT_State;
    if (!s.table) return 0;
    CUT_FreeBoxes();
    CutBox* first = NewBox();
    if (!first) {
        CLR_CutEnd();
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }

    // Compaction in key order; every slot a colour leaves is cleared.
    CutRef* table = s.table;
    DWORD n = 0;
    int64_t pixels = 0;
    for (DWORD key = 0; key < static_cast<DWORD>(CUT_TableSize); key++) {
        CutRef ref = table[key];
        if (!ref) continue;
        table[key] = 0;
        table[n++] = ref;
        pixels += CUT_Color(ref).count;
    }
    s.colorCount = n;
    first->colors = table;
    first->colorCount = n;
    first->pixelCount = pixels;
    ComputeBounds(first);
    s.head = first;
    s.boxCount = 1;

    if (count > CUT_MaxBoxes) count = CUT_MaxBoxes;
    while (s.boxCount < count)
        if (!SplitBox()) break;

    for (CutBox* box = s.head; box; box = box->next) ComputeMean(box);
    for (CutBox* box = s.head; box; box = box->next)
        for (DWORD i = 0; i < box->colorCount; i++) CUT_Color(box->colors[i]).box = box->number;

    // The list's order is the palette's order; no entry is reserved.
    DWORD index = 0;
    for (CutBox* box = s.head; box; box = box->next, index++) {
        palette[index].rgbBlue = static_cast<BYTE>(box->blue * 8);
        palette[index].rgbGreen = static_cast<BYTE>(box->green * 8);
        palette[index].rgbRed = static_cast<BYTE>(box->red * 8);
        palette[index].rgbReserved = 0;
        box->paletteIndex = index;
    }

    for (DWORD i = 0; i < n; i++) {
        CutColor& c = CUT_Color(table[i]);
        c.index = s.boxesMade[c.box - 1]->paletteIndex;
    }
    RestoreTable();
    return static_cast<int>(index);
}
