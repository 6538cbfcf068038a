#pragma once
// CFileList: the files of a folder that match one or more file patterns ("*.log").
//
// Order: patterns are searched in the order they were added; the files of one
// pattern are listed in ascending order of their last-write time, the oldest first (files
// with the same time in ascending order of their names, ignoring case). PruneFolder therefore
// deletes the oldest files first. A file that matches several specifications is listed once.
#include <windows.h>
#include <vector>
#include <string>
#include "Export.h"

class VESKON_API CFileList
{
public:
    CFileList();
    ~CFileList() noexcept;

    void AddFileSpec(const wchar_t* filespec);
    // Lists the matching files of `folder` (sub-folders are not entered unless `recursive`);
    // returns the count. Replaces an earlier listing.
    int FindFiles(const wchar_t* folder, bool recursive = false);
    int GetCount() const;
    // Full path of file `index`, or null outside the list.
    const wchar_t* GetFile(int index) const;
    void Clear();

private:
    void Search(const std::wstring& folder, bool recursive);

    std::vector<std::wstring> m_specs;
    std::vector<std::wstring> m_files;
};
