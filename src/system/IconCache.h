#pragma once
// CIconCache: icons loaded from a module's resources once per size and kept until the library
// unloads, so that every window of a class can show the same icon without loading it again.
//
// Creation: Instance() builds the singleton on first use; the frame's unload deletes it, which
// destroys every cached icon. Callers never destroy an icon they got from the cache.
#include <windows.h>
#include <vector>
#include "Export.h"

class CCriticalSectionEx;

class VESKON_API CIconCache
{
public:
    static CIconCache* Instance();
    // True when the singleton exists.
    static bool Exists();
    ~CIconCache() noexcept;
    CIconCache(const CIconCache&) = delete;
    CIconCache& operator=(const CIconCache&) = delete;

    // Icon resource `id` of `module` at width x height pixels (the closest image the resource
    // has, scaled by the system when it has none of that size), from the singleton's cache (made
    // on first use); null when the module has no such icon. A failed load is not remembered, so a
    // later call tries again.
    static HICON Load(HINSTANCE module, int id, int width, int height);

    // Number of icons held.
    int size();

private:
    CIconCache();
    HICON Find(HINSTANCE module, int id, int width, int height);

    struct Entry
    {
        HINSTANCE module;
        int id;
        int width;
        int height;
        HICON icon;
    };
    std::vector<Entry> m_entries;
    CCriticalSectionEx* m_lock;
};
