#include "system/IconCache.h"
#include <new>
#include "frame/CriticalSectionEx.h"
#include "frame/KVRN_DllMain.h"

namespace
{
CIconCache* g_iconCache = nullptr;

void DeleteIconCache()
{
    delete g_iconCache;
}
}

CIconCache* CIconCache::Instance()
{
    if (!g_iconCache)
    {
        g_iconCache = new (std::nothrow) CIconCache();
        if (g_iconCache)
            CKVRN_DllMain::s_deleteIconCache = &DeleteIconCache;
    }
    return g_iconCache;
}

bool CIconCache::Exists()
{
    return g_iconCache != nullptr;
}

CIconCache::CIconCache() : m_lock(new (std::nothrow) CCriticalSectionEx())
{
}

CIconCache::~CIconCache() noexcept
{
    for (Entry& e : m_entries)
    {
        if (e.icon)
            DestroyIcon(e.icon);
    }
    m_entries.clear();
    delete m_lock;
    if (g_iconCache == this)
    {
        g_iconCache = nullptr;
        CKVRN_DllMain::s_deleteIconCache = nullptr;
    }
}

HICON CIconCache::Load(HINSTANCE module, int id, int width, int height)
{
    if (id <= 0 || id > 0xFFFF || width < 0 || height < 0)
        return nullptr;
    CIconCache* cache = Instance();
    return cache ? cache->Find(module, id, width, height) : nullptr;
}

HICON CIconCache::Find(HINSTANCE module, int id, int width, int height)
{
    // Tooltips and timed dialogs may ask from other threads than the layered windows.
    if (m_lock)
        m_lock->Enter(L"CIconCache::Load");
    HICON icon = nullptr;
    for (const Entry& e : m_entries)
    {
        if (e.module == module && e.id == id && e.width == width && e.height == height)
        {
            icon = e.icon;
            break;
        }
    }
    if (!icon)
    {
        icon = static_cast<HICON>(LoadImageW(module, MAKEINTRESOURCEW(id), IMAGE_ICON, width, height, LR_DEFAULTCOLOR));
        if (icon)
        {
            try
            {
                m_entries.push_back(Entry{ module, id, width, height, icon });
            }
            catch (...)
            {
                // Without room to remember it the icon cannot be handed out: nobody would free it.
                DestroyIcon(icon);
                icon = nullptr;
            }
        }
    }
    if (m_lock)
        m_lock->Leave();
    return icon;
}

int CIconCache::size()
{
    if (m_lock)
        m_lock->Enter(L"CIconCache::size");
    const int n = static_cast<int>(m_entries.size());
    if (m_lock)
        m_lock->Leave();
    return n;
}
