#pragma once
// CImageManager: the process-wide store of loaded images. Callers ask by file name and share the
// CAlphaChannelImage it hands out; they never delete it. With caching on (the default; HKLM
// "Software\Veskon\Win32_GUI_Support_DLL" value "ImageManagerCacheingEnabled", read once at
// creation) each file is decoded once and kept until the library unloads; with caching off every
// Add decodes again and Free releases at once.
//
// Entries keep their place for the manager's life, so an index stays valid: freeing an image
// empties its entry (no path, no image) instead of removing it.
//
// Creation: the first Instance() call; it also installs the frame's unload hook, which deletes
// the manager when the host deletes CKVRN_DllMain. Used from the user-interface thread only.
#include <windows.h>
#include <string>
#include <unordered_map>
#include <vector>
#include "Export.h"

class CAlphaChannelImage;

class VESKON_API CImageManager
{
public:
    // One loaded image. Allocated with CMemoryManager; `reserved` is kept and never read.
    struct ImageEntry
    {
        std::wstring* path;
        void* reserved;
        CAlphaChannelImage* image;
    };

    static CImageManager* Instance();
    ~CImageManager() noexcept;
    CImageManager(const CImageManager&) = delete;
    CImageManager& operator=(const CImageManager&) = delete;

    // Folder that relative image names are looked up in; false (and nothing kept) when the folder
    // does not exist.
    bool SetGUIFolder(wchar_t* folder);

    // The image of `name` (a path, or a name inside the GUI folder when no such file exists
    // as given). `index` gets its entry's index, -1 on failure (null result). `option` is the
    // premultiply flag of CAlphaChannelImage. The void* arguments are accepted and ignored.
    CAlphaChannelImage* Add(wchar_t* name, void* ignored, int& index, bool option);
    CAlphaChannelImage* Add(wchar_t* name);
    CAlphaChannelImage* Add(wchar_t* name, void* ignored);
    CAlphaChannelImage* Add(wchar_t* name, bool option);

    // Null for an index out of range or a freed entry.
    CAlphaChannelImage* Get(int index);
    // The first entry whose path equals `path` ignoring case; index -1 and null when none.
    CAlphaChannelImage* Get(wchar_t* path, void* ignored, int& index);

    // False when no such entry. With caching on and force false nothing is freed (true).
    // Otherwise the image is deleted and the entry emptied (true).
    bool Free(int index, bool force);
    bool Free(wchar_t* path, void* ignored, bool force);
    bool Free(CAlphaChannelImage* image, bool force);

    // Entries, freed ones included.
    int size();

private:
    CImageManager();
    int FindPath(const wchar_t* path);
    bool FreeEntry(int index, bool force);
    static void DeleteInstance();

    std::wstring* m_guiFolder;
    std::vector<ImageEntry*> m_entries;
    bool m_cachingEnabled;
    // Case-folded path -> indexes of the entries holding that path, ascending; makes the path
    // look-up independent of the number of entries.
    std::unordered_map<std::wstring, std::vector<int>> m_pathIndex;
};
