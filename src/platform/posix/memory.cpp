// GlobalAlloc family for native builds. A handle points at a small record
// that holds the data pointer, its size and the lock count, so that a block
// can move on GlobalReAlloc exactly as a moveable block may on Windows.
#include "platform/win32.h"

#include <cstdlib>
#include <cstring>
#include <new>

struct KvGlobalBlock {
    uint32_t magic;
    UINT flags;
    UINT locks;
    SIZE_T size;
    BYTE* data;
};

namespace {
const uint32_t kBlockMagic = 0x4B56474DU;  // "KVGM"
// A 32-bit process never gets a block of 2 GB or more; native builds refuse
// the same sizes so that both behave alike on hostile sizes.
const SIZE_T kLargestBlock = 0x7FFFFFFFU;

bool IsBlock(HGLOBAL mem) { return mem && mem->magic == kBlockMagic; }
}  // namespace

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes)
{
    if (bytes > kLargestBlock) return nullptr;
    KvGlobalBlock* block = new (std::nothrow) KvGlobalBlock{kBlockMagic, flags, 0, bytes, nullptr};
    if (!block) return nullptr;
    // One spare byte so a zero-sized block still has an address to lock.
    block->data = static_cast<BYTE*>((flags & GMEM_ZEROINIT) ? calloc(bytes + 1, 1) : malloc(bytes + 1));
    if (!block->data) {
        delete block;
        return nullptr;
    }
    return block;
}

HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags)
{
    if (!IsBlock(mem)) return nullptr;
    if (flags & GMEM_MODIFY) {
        mem->flags = (mem->flags & ~GMEM_DISCARDABLE) | (flags & GMEM_DISCARDABLE);
        return mem;
    }
    if (bytes > kLargestBlock) return nullptr;
    // A locked fixed-style block can't move, as on Windows.
    if (mem->locks && !(flags & GMEM_MOVEABLE) && bytes > mem->size) return nullptr;
    BYTE* grown = static_cast<BYTE*>(realloc(mem->data, bytes + 1));
    if (!grown) return nullptr;
    if ((flags & GMEM_ZEROINIT) && bytes > mem->size) memset(grown + mem->size, 0, bytes - mem->size);
    mem->data = grown;
    mem->size = bytes;
    return mem;
}

LPVOID GlobalLock(HGLOBAL mem)
{
    if (!IsBlock(mem)) return nullptr;
    if (mem->locks < 0xFF) mem->locks++;
    return mem->data;
}

BOOL GlobalUnlock(HGLOBAL mem)
{
    if (!IsBlock(mem) || mem->locks == 0) return FALSE;
    mem->locks--;
    return mem->locks != 0;
}

SIZE_T GlobalSize(HGLOBAL mem) { return IsBlock(mem) ? mem->size : 0; }

UINT GlobalFlags(HGLOBAL mem) { return IsBlock(mem) ? (mem->locks & 0xFF) : 0x8000; }

HGLOBAL GlobalFree(HGLOBAL mem)
{
    if (!mem) return nullptr;
    if (!IsBlock(mem)) return mem;
    mem->magic = 0;
    free(mem->data);
    delete mem;
    return nullptr;
}
