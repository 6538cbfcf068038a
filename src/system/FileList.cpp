#include "system/FileList.h"
#include <algorithm>

namespace
{
struct Found
{
    std::wstring path;
    std::wstring name;
    ULONGLONG written;
};

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name)
{
    if (folder.empty())
        return name;
    wchar_t last = folder.back();
    return (last == L'\\' || last == L'/') ? folder + name : folder + L'\\' + name;
}
}

CFileList::CFileList() {}

CFileList::~CFileList() noexcept {}

void CFileList::AddFileSpec(const wchar_t* filespec)
{
    if (filespec && *filespec)
        m_specs.emplace_back(filespec);
}

int CFileList::FindFiles(const wchar_t* folder, bool recursive)
{
    m_files.clear();
    if (folder && *folder)
        Search(folder, recursive);
    return GetCount();
}

void CFileList::Search(const std::wstring& folder, bool recursive)
{
    for (const std::wstring& filespec : m_specs)
    {
        std::vector<Found> found;
        WIN32_FIND_DATAW data;
        HANDLE find = FindFirstFileW(JoinPath(folder, filespec).c_str(), &data);
        if (find != INVALID_HANDLE_VALUE)
        {
            do
            {
                if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                    continue;
                ULARGE_INTEGER t;
                t.LowPart = data.ftLastWriteTime.dwLowDateTime;
                t.HighPart = data.ftLastWriteTime.dwHighDateTime;
                found.push_back({ JoinPath(folder, data.cFileName), data.cFileName, t.QuadPart });
            } while (FindNextFileW(find, &data));
            FindClose(find);
        }
        std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
            if (a.written != b.written)
                return a.written < b.written;
            return _wcsicmp(a.name.c_str(), b.name.c_str()) < 0;
        });
        for (const Found& f : found)
        {
            bool listed = std::any_of(m_files.begin(), m_files.end(),
                                      [&](const std::wstring& p) { return _wcsicmp(p.c_str(), f.path.c_str()) == 0; });
            if (!listed)
                m_files.push_back(f.path);
        }
    }
    if (!recursive)
        return;
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW(JoinPath(folder, L"*").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return;
    std::vector<std::wstring> subfolders;
    do
    {
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && wcscmp(data.cFileName, L".") != 0 &&
            wcscmp(data.cFileName, L"..") != 0)
            subfolders.push_back(JoinPath(folder, data.cFileName));
    } while (FindNextFileW(find, &data));
    FindClose(find);
    for (const std::wstring& sub : subfolders)
        Search(sub, true);
}

int CFileList::GetCount() const
{
    return static_cast<int>(m_files.size());
}

const wchar_t* CFileList::GetFile(int index) const
{
    if (index < 0 || index >= GetCount())
        return nullptr;
    return m_files[static_cast<size_t>(index)].c_str();
}

void CFileList::Clear()
{
    m_files.clear();
    m_specs.clear();
}
