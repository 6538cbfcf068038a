#include "frame/MemoryManager.h"
#include "frame/ErrorMsg.h"
#include "frame/Localize.h"
#include "frame/ZintorResIds.h"
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace
{
void ReportFailure(int id, const wchar_t* fallback, __int64 size)
{
    wchar_t format[260];
    CLocalize::GetFormat(id, fallback, format, 260);
    wchar_t text[1024] = {};
    _snwprintf_s(text, 1024, _TRUNCATE, format, size);
    CErrorMsg::Instance()->Display(nullptr, text);
}

bool FitsSizeT(__int64 size)
{
    return static_cast<unsigned __int64>(size) <= static_cast<unsigned __int64>(SIZE_MAX);
}
}

void* CMemoryManager::Alloc(__int64 size)
{
    if (size <= 0)
        return nullptr;
    void* block = FitsSizeT(size) ? malloc(static_cast<size_t>(size)) : nullptr;
    if (!block)
    {
        ReportFailure(IDS_ALLOC_FAILED, L"Failed to allocate %I64d bytes of memory.", size);
        return nullptr;
    }
    memset(block, 0, static_cast<size_t>(size));
    return block;
}

void* CMemoryManager::Realloc(void* ptr, __int64 size)
{
    // A zero size does not free, as callers rely on.
    if (!ptr || size <= 0)
        return nullptr;
    void* block = FitsSizeT(size) ? realloc(ptr, static_cast<size_t>(size)) : nullptr;
    if (!block)
    {
        ReportFailure(IDS_REALLOC_FAILED, L"Failed to reallocate memory to %I64d bytes.", size);
        return nullptr;
    }
    return block;
}

void CMemoryManager::Free(void* ptr)
{
    if (ptr)
        free(ptr);
}

void CMemoryManager::FreePtr(void** pptr)
{
    if (pptr && *pptr)
    {
        free(*pptr);
        *pptr = nullptr;
    }
}
