#include "images/ImageManager.h"
#include <algorithm>
#include <new>
#include "files/FileIO.h"
#include "frame/KVRN_DllMain.h"
#include "frame/MemoryManager.h"
#include "frame/RegistryEx.h"
#include "layered/AlphaChannelImage.h"

namespace
{
CImageManager* s_instance = nullptr;

wchar_t kSettingsKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kCachingValue[] = L"ImageManagerCacheingEnabled";

// The look-up key of a path: paths that are equal ignoring case get the same key.
std::wstring FoldCase(const wchar_t* path)
{
    std::wstring folded(path);
    if (!folded.empty())
        CharUpperBuffW(&folded[0], static_cast<DWORD>(folded.size()));
    return folded;
}

bool Usable(const wchar_t* text)
{
    return text && *text;
}
}

CImageManager* CImageManager::Instance()
{
    if (!s_instance)
    {
        s_instance = new (std::nothrow) CImageManager();
        if (s_instance)
            CKVRN_DllMain::s_deleteImageManager = &CImageManager::DeleteInstance;
    }
    return s_instance;
}

void CImageManager::DeleteInstance()
{
    delete s_instance;
}

CImageManager::CImageManager() : m_guiFolder(nullptr), m_cachingEnabled(true)
{
    m_cachingEnabled = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kCachingValue, true);
}

CImageManager::~CImageManager() noexcept
{
    for (size_t i = 0; i < m_entries.size(); ++i)
    {
        FreeEntry(static_cast<int>(i), true);
        ImageEntry* entry = m_entries[i];
        delete entry->path;
        CMemoryManager::Free(entry);
    }
    m_entries.clear();
    m_pathIndex.clear();
    delete m_guiFolder;
    m_guiFolder = nullptr;
    if (s_instance == this)
        s_instance = nullptr;
}

bool CImageManager::SetGUIFolder(wchar_t* folder)
{
    if (!CFileIO::FolderExists(folder))
        return false;
    std::wstring* copy = new (std::nothrow) std::wstring();
    if (!copy)
        return false;
    try
    {
        copy->assign(folder);
    }
    catch (...)
    {
        delete copy;
        return false;
    }
    delete m_guiFolder;
    m_guiFolder = copy;
    return true;
}

CAlphaChannelImage* CImageManager::Add(wchar_t* name, void* ignored, int& index, bool option)
{
    index = -1;
    if (!Usable(name))
        return nullptr;
    wchar_t path[MAX_PATH] = {};
    if (!CFileIO::FileExists(name) && m_guiFolder && !m_guiFolder->empty())
    {
        // CombinePath does not truncate: a joined path that cannot fit is simply not found.
        if (m_guiFolder->size() + 1 + wcslen(name) >= MAX_PATH)
            return nullptr;
        CFileIO::CombinePath(&(*m_guiFolder)[0], name, path, MAX_PATH);
    }
    else
    {
        if (wcslen(name) >= MAX_PATH)
            return nullptr;
        wcsncpy_s(path, MAX_PATH, name, _TRUNCATE);
    }
    if (!CFileIO::FileExists(path))
        return nullptr;

    int found = -1;
    CAlphaChannelImage* cached = Get(path, nullptr, found);
    if (found >= 0 && m_cachingEnabled)
    {
        index = found;
        return cached;
    }

    CAlphaChannelImage* image = new (std::nothrow) CAlphaChannelImage(path, option);
    if (!image)
        return nullptr;
    if (!image->Valid())
    {
        delete image;
        return nullptr;
    }
    ImageEntry* entry = static_cast<ImageEntry*>(CMemoryManager::Alloc(sizeof(ImageEntry)));
    if (!entry)
    {
        delete image;
        return nullptr;
    }
    try
    {
        entry->path = new std::wstring(path);
        int position = static_cast<int>(m_entries.size());
        m_entries.push_back(entry);
        try
        {
            m_pathIndex[FoldCase(path)].push_back(position);
        }
        catch (...)
        {
            m_entries.pop_back();
            throw;
        }
        entry->image = image;
        index = position;
        return image;
    }
    catch (...)
    {
        delete entry->path;
        CMemoryManager::Free(entry);
        delete image;
        return nullptr;
    }
}

CAlphaChannelImage* CImageManager::Add(wchar_t* name)
{
    int index = -1;
    return Add(name, nullptr, index, true);
}

CAlphaChannelImage* CImageManager::Add(wchar_t* name, void* ignored)
{
    int index = -1;
    return Add(name, ignored, index, true);
}

CAlphaChannelImage* CImageManager::Add(wchar_t* name, bool option)
{
    int index = -1;
    return Add(name, nullptr, index, option);
}

CAlphaChannelImage* CImageManager::Get(int index)
{
    if (index < 0 || index >= size())
        return nullptr;
    return m_entries[static_cast<size_t>(index)]->image;
}

CAlphaChannelImage* CImageManager::Get(wchar_t* path, void* ignored, int& index)
{
    index = FindPath(path);
    return index >= 0 ? m_entries[static_cast<size_t>(index)]->image : nullptr;
}

int CImageManager::FindPath(const wchar_t* path)
{
    if (!Usable(path))
        return -1;
    try
    {
        auto it = m_pathIndex.find(FoldCase(path));
        if (it == m_pathIndex.end())
            return -1;
        for (int position : it->second)  // ascending: the first live entry of that path
        {
            if (!m_entries[static_cast<size_t>(position)]->path->empty())
                return position;
        }
        return -1;
    }
    catch (...)
    {
        return -1;
    }
}

bool CImageManager::Free(int index, bool force)
{
    if (index < 0 || index >= size())
        return false;
    return FreeEntry(index, force);
}

bool CImageManager::Free(wchar_t* path, void* ignored, bool force)
{
    int index = FindPath(path);
    if (index < 0)
        return false;
    return FreeEntry(index, force);
}

bool CImageManager::Free(CAlphaChannelImage* image, bool force)
{
    if (!image)
        return false;  // freed entries hold null: a null image names none of them
    for (size_t i = 0; i < m_entries.size(); ++i)
    {
        if (m_entries[i]->image == image)
            return FreeEntry(static_cast<int>(i), force);
    }
    return false;
}

bool CImageManager::FreeEntry(int index, bool force)
{
    if (m_cachingEnabled && !force)
        return true;  // cached images live until the library unloads
    ImageEntry* entry = m_entries[static_cast<size_t>(index)];
    delete entry->image;
    entry->image = nullptr;
    if (entry->path && !entry->path->empty())
    {
        try
        {
            auto it = m_pathIndex.find(FoldCase(entry->path->c_str()));
            if (it != m_pathIndex.end())
            {
                std::vector<int>& positions = it->second;
                positions.erase(std::remove(positions.begin(), positions.end(), index), positions.end());
                if (positions.empty())
                    m_pathIndex.erase(it);
            }
        }
        catch (...)
        {
            // Without memory for the key the index keeps a stale position; FindPath skips it.
        }
        entry->path->clear();
    }
    return true;
}

int CImageManager::size()
{
    return static_cast<int>(m_entries.size());
}
