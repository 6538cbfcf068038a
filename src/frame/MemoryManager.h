#pragma once
// CMemoryManager: heap helpers that zero what they allocate and report failures (with the
// size asked for) through the error reporter.
#include <windows.h>
#include "Export.h"

class VESKON_API CMemoryManager
{
public:
    CMemoryManager() {}
    ~CMemoryManager() {}

    // Zero-filled block of `size` bytes; null for a size of zero or less (silently) or when the
    // heap is exhausted (reported).
    static void* Alloc(__int64 size);
    // Resizes `ptr`; null for a null pointer or a size of zero or less, and the block is left
    // as it was (a zero size does not free). On failure the old block stays valid. The grown
    // part is not zeroed.
    static void* Realloc(void* ptr, __int64 size);
    static void Free(void* ptr);
    // Frees *pptr and sets it to null.
    static void FreePtr(void** pptr);
};
