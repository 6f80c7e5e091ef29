// Optimized Cut, first stage: the working memory, the histogram of five-bit
// colours and the end of a cut.
#include "colour/median_cut_state.h"

#include "core/messages.h"
#include "platform/thermometer.h"

#include <cstdlib>
#include <cstring>

CutState CUT_State;

namespace {
const UINT kNoMemory = 8204;

CLR_CutMemoryGate memoryGate = nullptr;
SIZE_T workingBytes = 0;
SIZE_T workingPeak = 0;

// A fresh record from the pool, a new block when the last one is full; 0 when
// no block can be had.
CutRef NewColor(DWORD key)
{
    CutState& s = CUT_State;
    if (s.usedInBlock == CUT_BlockColors) {
        if (s.blocks == CUT_DirectorySize) return 0;  // cannot happen: every key fits
        void* block = CUT_Allocate(CUT_MEM_BLOCK, sizeof(CutColor) * CUT_BlockColors);
        if (!block) return 0;
        s.directory[s.blocks++] = static_cast<CutColor*>(block);
        s.usedInBlock = 0;
    }
    CutRef ref = static_cast<CutRef>((s.blocks - 1) * CUT_BlockColors + s.usedInBlock + 1);
    s.usedInBlock++;
    CutColor& c = CUT_Color(ref);
    c.key = key;
    c.count = 1;
    return ref;
}

// Counts one pixel; 0 when the pool could not grow.
inline int Count(DWORD key)
{
    CutRef ref = CUT_State.table[key];
    if (ref) {
        CUT_Color(ref).count++;
        return 1;
    }
    ref = NewColor(key);
    if (!ref) return 0;
    CUT_State.table[key] = ref;
    return 1;
}
}  // namespace

void CLR_CutSetMemoryGate(CLR_CutMemoryGate gate) { memoryGate = gate; }
SIZE_T CLR_CutWorkingBytes() { return workingBytes; }
SIZE_T CLR_CutWorkingPeak() { return workingPeak; }
void CLR_CutResetPeak() { workingPeak = workingBytes; }

SIZE_T CLR_CutWorkingBound(int count)
{
    if (count < 1) count = 1;
    if (count > CUT_MaxBoxes) count = CUT_MaxBoxes;
    return sizeof(CutRef) * CUT_TableSize + sizeof(CutColor*) * CUT_DirectorySize +
           sizeof(CutColor) * CUT_TableSize + sizeof(CutRef) * CUT_BucketCount +
           sizeof(CutBox) * static_cast<SIZE_T>(count);
}

int CUT_GateAllows(int kind, SIZE_T bytes) { return !memoryGate || memoryGate(kind, bytes); }

void* CUT_Allocate(int kind, SIZE_T bytes)
{
    if (!CUT_GateAllows(kind, bytes)) return nullptr;
    void* block = calloc(bytes, 1);
    if (!block) return nullptr;
    workingBytes += bytes;
    if (workingBytes > workingPeak) workingPeak = workingBytes;
    return block;
}

void CUT_Release(void* block, SIZE_T bytes)
{
    if (!block) return;
    free(block);
    workingBytes -= bytes;
}

void CUT_FreeBoxes()
{
    CutState& s = CUT_State;
    for (int i = 0; i < s.boxesAllocated; i++) CUT_Release(s.boxesMade[i], sizeof(CutBox));
    s.boxesAllocated = 0;
    s.head = nullptr;
    s.boxCount = 0;
}

int CLR_CutBegin()
{
    CLR_CutEnd();
    CutState& s = CUT_State;
    s.table = static_cast<CutRef*>(CUT_Allocate(CUT_MEM_TABLE, sizeof(CutRef) * CUT_TableSize));
    s.directory = static_cast<CutColor**>(CUT_Allocate(CUT_MEM_DIRECTORY, sizeof(CutColor*) * CUT_DirectorySize));
    void* first = s.directory ? CUT_Allocate(CUT_MEM_BLOCK, sizeof(CutColor) * CUT_BlockColors) : nullptr;
    if (first) {
        s.directory[0] = static_cast<CutColor*>(first);
        s.blocks = 1;
        s.usedInBlock = 0;
    }
    s.buckets = static_cast<CutRef*>(CUT_Allocate(CUT_MEM_BUCKETS, sizeof(CutRef) * CUT_BucketCount));
    if (!s.table || !first || !s.buckets) {
        CLR_CutEnd();
        MSG_Report(SEV_ERROR, kNoMemory);
        return 0;
    }
    return 1;
}

int CLR_CutAddImage(const BYTE* pixels, const RGBQUAD* colors, LONG width, LONG height, int bits)
{
    CutState& s = CUT_State;
    if (!s.table) return 0;
    if (width <= 0 || height <= 0) return 1;
    const DWORD stride = ((static_cast<DWORD>(width) * static_cast<DWORD>(bits) + 31) >> 5) << 2;
    for (LONG y = 0; y < height; y++) {
        if (s.progress && (y & 15) == 0) TRM_Update(static_cast<WORD>(y + 1));
        const BYTE* p = pixels + static_cast<SIZE_T>(y) * stride;
        int ok = 1;
        switch (bits) {
        case 8:
            for (LONG x = 0; x < width && ok; x++) {
                const RGBQUAD& c = colors[p[x]];
                ok = Count(CUT_Key(c.rgbRed, c.rgbGreen, c.rgbBlue));
            }
            break;
        case 24:
            for (LONG x = 0; x < width && ok; x++, p += 3) ok = Count(CUT_Key(p[2], p[1], p[0]));
            break;
        case 32:
            for (LONG x = 0; x < width && ok; x++, p += 4) ok = Count(CUT_Key(p[2], p[1], p[0]));
            break;
        default:
            break;  // other depths are not counted
        }
        if (!ok) {
            CLR_CutEnd();
            MSG_Report(SEV_ERROR, kNoMemory);
            return 0;
        }
    }
    if (s.progress) TRM_Update(static_cast<WORD>(height + 1));
    return 1;
}

void CLR_CutEnd()
{
    CutState& s = CUT_State;
    CUT_FreeBoxes();
    CUT_Release(s.buckets, sizeof(CutRef) * CUT_BucketCount);
    if (s.directory) {
        for (int i = 0; i < s.blocks; i++) CUT_Release(s.directory[i], sizeof(CutColor) * CUT_BlockColors);
        CUT_Release(s.directory, sizeof(CutColor*) * CUT_DirectorySize);
    }
    CUT_Release(s.table, sizeof(CutRef) * CUT_TableSize);
    s.table = nullptr;
    s.directory = nullptr;
    s.buckets = nullptr;
    s.blocks = 0;
    s.usedInBlock = 0;
    s.colorCount = 0;
}
