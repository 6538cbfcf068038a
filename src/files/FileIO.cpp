#include "files/FileIO.h"
#include "frame/ErrorMsg.h"
#include "frame/DebugTrace.h"
#include "frame/KVRN_DllMain.h"
#include "frame/MemoryManager.h"
#include "system/DateTime.h"
#include "system/FileList.h"
#include "system/PrivateStrictCopy.h"
#include <shlobj.h>
#include <direct.h>
#include <sys/stat.h>
#include <cwchar>
#include <map>
#include <new>
#include <string>

namespace
{
volatile LONG g_uniqueCounter = 0;

bool Usable(const wchar_t* text)
{
    return text && *text;
}

bool Output(const wchar_t* out, int size)
{
    return out && size >= 1;
}

bool IsSlash(wchar_t c)
{
    return c == L'\\' || c == L'/';
}

bool HasWildcard(const wchar_t* path)
{
    return wcspbrk(path, L"*?") != nullptr;
}

// Path outputs are copied without truncation: a result longer than the caller's buffer stops the
// process through the run-time's invalid-parameter handler, as intended for out-of-range paths.
wchar_t* CopyPath(wchar_t* out, int size, const std::wstring& text)
{
    veskon::StrictCopy(out, static_cast<size_t>(size), text.c_str());
    return out;
}

// Index of the last "\", or of the last "/" when there is no "\"; npos when neither.
size_t LastSeparator(const std::wstring& path)
{
    size_t pos = path.rfind(L'\\');
    return pos != std::wstring::npos ? pos : path.rfind(L'/');
}

std::wstring WithoutTrailingQuote(std::wstring text)
{
    if (!text.empty() && text.back() == L'"')
        text.pop_back();
    return text;
}

void Report(const wchar_t* format, const wchar_t* name)
{
    wchar_t text[MAX_PATH + 64];
    _snwprintf_s(text, MAX_PATH + 64, _TRUNCATE, format, name);
    CErrorMsg::Instance()->Display(nullptr, text);
}

std::wstring Formatted(const wchar_t* format, const wchar_t* a, const wchar_t* b, int n)
{
    wchar_t text[MAX_PATH * 2];
    _snwprintf_s(text, MAX_PATH * 2, _TRUNCATE, format, a, b, n);
    return text;
}

__int64 FindDataSize(const WIN32_FIND_DATAW& data)
{
    return (static_cast<__int64>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

// Remembers, per rolled file and suffix, the write time its folder had when the older names were
// last cleaned up: creating, renaming or deleting a file in a folder moves that time.
struct CleanedFolders
{
    CRITICAL_SECTION lock;
    std::map<std::wstring, ULONGLONG> seen;
    CleanedFolders() { InitializeCriticalSection(&lock); }
    ~CleanedFolders() { DeleteCriticalSection(&lock); }
};

bool OlderNamesMayExist(const wchar_t* path, const wchar_t* suffix)
{
    static CleanedFolders folders;
    std::wstring file(path);
    size_t sep = LastSeparator(file);
    std::wstring folder = sep == std::wstring::npos ? std::wstring(L".") : file.substr(0, sep + 1);
    WIN32_FILE_ATTRIBUTE_DATA info;
    if (!GetFileAttributesExW(folder.c_str(), GetFileExInfoStandard, &info))
        return true;
    ULONGLONG written = (static_cast<ULONGLONG>(info.ftLastWriteTime.dwHighDateTime) << 32) | info.ftLastWriteTime.dwLowDateTime;
    std::wstring key = file + L"|" + suffix;
    EnterCriticalSection(&folders.lock);
    auto found = folders.seen.find(key);
    bool changed = found == folders.seen.end() || found->second != written;
    folders.seen[key] = written;
    LeaveCriticalSection(&folders.lock);
    return changed;
}

// Cheap existence test for a plain path: one attribute query instead of a directory search.
bool PlainPathExists(const wchar_t* path)
{
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}
}

// ---- object --------------------------------------------------------------------------------------

CFileIO::CFileIO(wchar_t* path)
{
    Init(path, FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_WRITE);
}

CFileIO::CFileIO(wchar_t* path, unsigned long attributes)
{
    Init(path, attributes, FILE_SHARE_READ | FILE_SHARE_WRITE);
}

CFileIO::CFileIO(wchar_t* path, unsigned long attributes, unsigned long share)
{
    Init(path, attributes, share);
}

void CFileIO::Init(wchar_t* path, unsigned long attributes, unsigned long share)
{
    m_filename[0] = L'\0';
    m_bufferSize = 0;
    m_buffer = nullptr;
    m_handle = INVALID_HANDLE_VALUE;
    m_attributes = attributes;
    m_share = share;
    m_findData = nullptr;
    // A null, empty or too long name leaves an object on which every operation fails.
    if (!Usable(path) || wcslen(path) >= MAX_PATH)
        return;
    wcsncpy_s(m_filename, MAX_PATH, path, _TRUNCATE);
    m_findData = new (std::nothrow) WIN32_FIND_DATAW();
    RefreshFindData();
}

CFileIO::~CFileIO() noexcept
{
    Free();
    Close();
    delete m_findData;
    m_findData = nullptr;
}

void CFileIO::RefreshFindData()
{
    if (!m_findData || !m_filename[0])
        return;
    // While the file is open only the size is refreshed, from the handle (the part of the entry
    // this object reports); the rest stays as the last look-up by name found it.
    LARGE_INTEGER size;
    if (m_handle != INVALID_HANDLE_VALUE && GetFileSizeEx(m_handle, &size))
    {
        m_findData->nFileSizeHigh = static_cast<DWORD>(size.HighPart);
        m_findData->nFileSizeLow = size.LowPart;
        return;
    }
    WIN32_FILE_ATTRIBUTE_DATA named;
    if (HasWildcard(m_filename) || !GetFileAttributesExW(m_filename, GetFileExInfoStandard, &named))
    {
        FileExists(m_filename, m_findData);
        return;
    }
    ZeroMemory(m_findData, sizeof(*m_findData));
    m_findData->dwFileAttributes = named.dwFileAttributes;
    m_findData->ftCreationTime = named.ftCreationTime;
    m_findData->ftLastAccessTime = named.ftLastAccessTime;
    m_findData->ftLastWriteTime = named.ftLastWriteTime;
    m_findData->nFileSizeHigh = named.nFileSizeHigh;
    m_findData->nFileSizeLow = named.nFileSizeLow;
    std::wstring name(m_filename);
    size_t slash = LastSeparator(name);
    wcsncpy_s(m_findData->cFileName, MAX_PATH, slash == std::wstring::npos ? m_filename : m_filename + slash + 1,
              _TRUNCATE);
}

void CFileIO::SetAttributes(unsigned long attributes)
{
    m_attributes = attributes;
}

void CFileIO::SetSharingMode(unsigned long share)
{
    m_share = share;
}

wchar_t* CFileIO::GetFilename()
{
    return m_filename;
}

HANDLE CFileIO::GetHandle()
{
    return m_handle;
}

bool CFileIO::Open(int access, unsigned long attributes, unsigned long share)
{
    if (!m_filename[0])
        return false;
    if (m_handle != INVALID_HANDLE_VALUE && !PlainPathExists(m_filename))
    {
        CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }
    bool opened = m_handle != INVALID_HANDLE_VALUE;
    if (!opened)
    {
        // OPEN_ALWAYS: a missing file is created, even by OpenRead. A missing folder chain is
        // created when the first attempt says the path is not there, then the open is tried again.
        m_handle = CreateFileW(m_filename, static_cast<DWORD>(access), share, nullptr, OPEN_ALWAYS, attributes, nullptr);
        if (m_handle == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_PATH_NOT_FOUND)
        {
            wchar_t folder[MAX_PATH] = {};
            GetFolder(m_filename, folder, MAX_PATH);
            if (folder[0] && !FolderExists(folder))
                CreateFolder(folder);
            m_handle = CreateFileW(m_filename, static_cast<DWORD>(access), share, nullptr, OPEN_ALWAYS, attributes, nullptr);
        }
        opened = m_handle != INVALID_HANDLE_VALUE;
        if (!opened)
            Report(L"File open failure: \"%s\"", m_filename);
    }
    RefreshFindData();
    return opened;
}

bool CFileIO::Open()
{
    return Open(FILE_ALL_ACCESS, m_attributes, m_share);
}

bool CFileIO::OpenRead()
{
    return Open(GENERIC_READ, m_attributes, m_share);
}

bool CFileIO::OpenReadWrite()
{
    return Open(GENERIC_ALL, m_attributes, m_share);
}

bool CFileIO::OpenWrite()
{
    DeleteFileW(m_filename);
    return Open(GENERIC_WRITE, m_attributes, m_share);
}

bool CFileIO::OpenAppend()
{
    if (!Open(GENERIC_WRITE, m_attributes, m_share))
        return false;
    return Seek(0, FILE_END);
}

bool CFileIO::Close()
{
    if (m_handle == INVALID_HANDLE_VALUE)
        return false;
    // The attributes go on through the handle while it is open (a second open of the file by
    // name costs as much as the first); a handle without that right falls back to the name.
    FILE_BASIC_INFO basic = {};
    basic.FileAttributes = m_attributes;
    bool restored = SetFileInformationByHandle(m_handle, FileBasicInfo, &basic, sizeof(basic)) != FALSE;
    RefreshFindData();
    CloseHandle(m_handle);
    m_handle = INVALID_HANDLE_VALUE;
    if (!restored)
    {
        restored = SetFileAttributesW(m_filename, m_attributes) != FALSE;
        RefreshFindData();
    }
    return restored;
}

bool CFileIO::Read(char* buf, __int64* count)
{
    if (!buf || !count || m_handle == INVALID_HANDLE_VALUE)
        return false;
    DWORD asked = static_cast<DWORD>(*count & 0xFFFFFFFF);
    DWORD read = 0;
    BOOL ok = ReadFile(m_handle, buf, asked, &read, nullptr);
    *count = (*count & ~static_cast<__int64>(0xFFFFFFFF)) | read;
    if (!ok)
    {
        Report(L"File read failure: \"%s\"", m_filename);
        return false;
    }
    return read == asked;
}

bool CFileIO::Write(char* buf, __int64 count)
{
    if (!buf || count <= 0 || m_handle == INVALID_HANDLE_VALUE)
        return false;
    DWORD asked = static_cast<DWORD>(count & 0xFFFFFFFF);
    DWORD written = 0;
    if (!WriteFile(m_handle, buf, asked, &written, nullptr))
    {
        Report(L"File write failure: \"%s\"", m_filename);
        return false;
    }
    return written == asked;
}

bool CFileIO::Write()
{
    return Write(m_buffer, m_bufferSize);
}

bool CFileIO::Append(char* buf, int count)
{
    if (!buf || count < 1)
        return false;
    if (!Seek(0, FILE_END))
        return false;
    return Write(buf, count);
}

bool CFileIO::Seek(__int64 offset, unsigned long method)
{
    if (m_handle == INVALID_HANDLE_VALUE)
        return false;
    LONG high = static_cast<LONG>(offset >> 32);
    SetLastError(NO_ERROR);
    DWORD low = SetFilePointer(m_handle, static_cast<LONG>(offset & 0xFFFFFFFF), &high, method);
    if (low == INVALID_SET_FILE_POINTER && ::GetLastError() != NO_ERROR)
    {
        Report(L"File seek failure: \"%s\"", m_filename);
        return false;
    }
    return true;
}

bool CFileIO::Seek(__int64 offset, unsigned long method, bool /*unused*/)
{
    return Seek(offset, method);
}

bool CFileIO::ReadEntireFile()
{
    if (m_handle == INVALID_HANDLE_VALUE || !Seek(0, FILE_BEGIN))
        return false;
    __int64 size = GetFileSize();
    if (size <= 0)
        return false;
    char* block = static_cast<char*>(CMemoryManager::Alloc(size + 1));
    if (!block)
        return false;
    __int64 count = size;
    if (!Read(block, &count))
    {
        CMemoryManager::Free(block);
        return false;
    }
    Free();
    m_buffer = block;
    m_bufferSize = size;
    return true;
}

char* CFileIO::GetBuffer(__int64* size)
{
    return GetBuffer(size, false);
}

char* CFileIO::GetBuffer(__int64* size, bool detach)
{
    char* buffer = m_buffer;
    if (size)
    {
        *size = m_bufferSize;
        if (detach)
        {
            m_buffer = nullptr;
            m_bufferSize = 0;
        }
    }
    return buffer;
}

__int64 CFileIO::GetFileSize()
{
    return m_findData ? FindDataSize(*m_findData) : 0;
}

void CFileIO::Free()
{
    CMemoryManager::FreePtr(reinterpret_cast<void**>(&m_buffer));
    m_bufferSize = 0;
}

// ---- static path toolbox -------------------------------------------------------------------------

bool CFileIO::FileExists(wchar_t* path)
{
    if (!Usable(path))
        return false;
    if (!HasWildcard(path))
        return PlainPathExists(path);
    WIN32_FIND_DATAW data;
    return FileExists(path, &data);
}

bool CFileIO::FileExists(wchar_t* path, WIN32_FIND_DATAW* data)
{
    if (!Usable(path))
        return false;
    WIN32_FIND_DATAW found = {};
    HANDLE find = FindFirstFileW(path, &found);
    if (data)
        *data = found;
    if (find == INVALID_HANDLE_VALUE)
    {
        if (data)
            ZeroMemory(data, sizeof(*data));
        return false;
    }
    FindClose(find);
    return true;
}

bool CFileIO::FolderExists(wchar_t* path)
{
    if (!Usable(path))
        return false;
    std::wstring pattern(path);
    if (!IsSlash(pattern.back()))
        pattern += L'\\';
    pattern += L'*';
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW(pattern.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    FindClose(find);
    return true;
}

__int64 CFileIO::GetFileSize(wchar_t* path)
{
    WIN32_FIND_DATAW data;
    return FileExists(path, &data) ? FindDataSize(data) : 0;
}

bool CFileIO::DeleteFileW(wchar_t* path)
{
    return FileExists(path) && ::DeleteFileW(path) != FALSE;
}

bool CFileIO::CreateFolder(wchar_t* path)
{
    if (!Usable(path))
        return false;
    if (FolderExists(path))
        return true;
    std::wstring copy(path);
    if (!IsSlash(copy.back()))
        copy += L'\\';
    size_t pos = (copy.compare(0, 2, L"\\\\") == 0 || copy.compare(0, 2, L"//") == 0) ? 2 : 0;
    for (;;)
    {
        size_t sep = copy.find(L'\\', pos);
        if (sep == std::wstring::npos)
            sep = copy.find(L'/', pos);
        if (sep == std::wstring::npos)
            break;
        pos = sep + 1;
        if (sep == 0 || copy[sep - 1] == L':')
            continue; // a drive ("C:\") or the root
        copy[sep] = L'\0';
        if (!FolderExists(&copy[0]))
            _wmkdir(copy.c_str());
        copy[sep] = L'\\';
    }
    if (FolderExists(path))
        return true;
    Report(L"Folder creation failure: \"%s\"", path);
    return false;
}

wchar_t* CFileIO::CombinePath(wchar_t* folder, wchar_t* name, wchar_t* out, int size)
{
    if (!Usable(folder) || !Usable(name) || !Output(out, size))
        return out;
    std::wstring joined(folder);
    if (!IsSlash(joined.back()))
        joined += L'\\';
    joined += IsSlash(name[0]) ? name + 1 : name;
    return CopyPath(out, size, joined);
}

wchar_t* CFileIO::CombineLocalFilename(const wchar_t* name, wchar_t* out, int size)
{
    if (!Usable(name) || !Output(out, size))
        return out;
    wchar_t folder[MAX_PATH] = {};
    CKVRN_DllMain::Instance()->GetApplicationFolder(folder, MAX_PATH);
    return CombinePath(folder, const_cast<wchar_t*>(name), out, size);
}

wchar_t* CFileIO::GetFolder(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    std::wstring text(path);
    size_t sep = LastSeparator(text);
    return CopyPath(out, size, sep == std::wstring::npos ? std::wstring() : WithoutTrailingQuote(text.substr(0, sep)));
}

wchar_t* CFileIO::GetFilename(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    std::wstring text(path);
    size_t sep = LastSeparator(text);
    return CopyPath(out, size, WithoutTrailingQuote(sep == std::wstring::npos ? text : text.substr(sep + 1)));
}

wchar_t* CFileIO::GetExtension(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    const wchar_t* dot = wcsrchr(path, L'.');
    return CopyPath(out, size, dot ? std::wstring(dot + 1) : std::wstring());
}

wchar_t* CFileIO::StripExtension(wchar_t* path)
{
    if (!Usable(path))
        return path;
    // Cut at the last "." wherever it stands, a folder name included: intended.
    wchar_t* dot = wcsrchr(path, L'.');
    if (dot)
        *dot = L'\0';
    return path;
}

wchar_t* CFileIO::AppendSlash(wchar_t* path, int size)
{
    if (!Usable(path) || size < 1)
        return path;
    if (!IsSlash(path[wcslen(path) - 1]))
        veskon::StrictAppend(path, static_cast<size_t>(size), L"\\");
    return path;
}

wchar_t* CFileIO::RemoveSlash(wchar_t* path)
{
    if (!Usable(path))
        return path;
    size_t len = wcslen(path);
    if (IsSlash(path[len - 1]))
        path[len - 1] = L'\0';
    return path;
}

wchar_t* CFileIO::EncodeDelimitedPath(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    // Decoded first, so that a path is never quoted twice.
    std::wstring decoded(path);
    if (!decoded.empty() && (decoded.front() == L'"' || decoded.front() == L'\''))
        decoded.erase(0, 1);
    if (!decoded.empty() && (decoded.back() == L'"' || decoded.back() == L'\''))
        decoded.pop_back();
    return CopyPath(out, size, L"\"" + decoded + L"\"");
}

wchar_t* CFileIO::DecodeDelimitedPath(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    std::wstring decoded(path);
    if (!decoded.empty() && (decoded.front() == L'"' || decoded.front() == L'\''))
        decoded.erase(0, 1);
    if (!decoded.empty() && (decoded.back() == L'"' || decoded.back() == L'\''))
        decoded.pop_back();
    return CopyPath(out, size, decoded);
}

wchar_t* CFileIO::GetCurrentFolder(HINSTANCE module, wchar_t* out, int size)
{
    if (!Output(out, size))
        return out;
    wchar_t file[MAX_PATH] = {};
    if (!GetModuleFileNameW(module, file, MAX_PATH))
        return out;
    return GetFolder(file, out, size);
}

wchar_t* CFileIO::GetCurrentFolder(wchar_t* out, int size)
{
    return GetCurrentFolder(CKVRN_DllMain::s_hModule, out, size);
}

wchar_t* CFileIO::GetSpecialFolder(int csidl, wchar_t* out, int size)
{
    if (!Output(out, size))
        return out;
    out[0] = L'\0';
    wchar_t folder[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, csidl, nullptr, 0, folder)))
    {
        wchar_t text[64];
        _snwprintf_s(text, 64, _TRUNCATE, L"SHGetFolderPath failure: \"%d\"", csidl);
        CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, text, "FileIO", __LINE__);
        return out;
    }
    return CopyPath(out, size, folder);
}

bool CFileIO::FindFile(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return false;
    WIN32_FIND_DATAW data;
    if (!FileExists(path, &data))
        return false;
    wchar_t folder[MAX_PATH] = {};
    GetFolder(path, folder, MAX_PATH);
    if (!folder[0])
        CopyPath(out, size, data.cFileName);
    else
        CombinePath(folder, data.cFileName, out, size);
    return true;
}

wchar_t* CFileIO::FormatNumber(__int64 n, wchar_t* out, int size)
{
    if (!Output(out, size))
        return out;
    _snwprintf_s(out, static_cast<size_t>(size), _TRUNCATE, L"%.16I64d", n);
    return out;
}

bool CFileIO::IsUnicode(wchar_t* path, __int64& chars)
{
    chars = 0;
    if (!FileExists(path))
        return false;
    chars = GetFileSize(path);
    if (chars < 2)
        return false;
    HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    unsigned char mark[2] = {};
    DWORD read = 0;
    BOOL ok = ReadFile(file, mark, 2, &read, nullptr);
    CloseHandle(file);
    if (ok && read == 2 && mark[0] == 0xFF && mark[1] == 0xFE)
    {
        chars = (chars - 2) / 2;
        return true;
    }
    return false;
}

void CFileIO::GetFiletime(wchar_t* path, FILETIME* lastWrite)
{
    if (!Usable(path) || !lastWrite)
        return;
    HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    GetFileTime(file, nullptr, nullptr, lastWrite);
    CloseHandle(file);
}

wchar_t* CFileIO::ConvertFiletimeToDateTimeString(FILETIME* ft, wchar_t* out, int size)
{
    if (!ft || !Output(out, size))
        return out;
    FILETIME local;
    SYSTEMTIME time;
    if (!FileTimeToLocalFileTime(ft, &local) || !FileTimeToSystemTime(&local, &time))
        return out;
    return CDateTime::Format(time, LOCALE_USER_DEFAULT, 0, L", ", out, size);
}

wchar_t* CFileIO::GetFileDateTimeString(wchar_t* path, wchar_t* out, int size)
{
    if (!Usable(path) || !Output(out, size))
        return out;
    FILETIME written = {};
    GetFiletime(path, &written);
    return ConvertFiletimeToDateTimeString(&written, out, size);
}

__int64 CFileIO::CompareFileTimes(wchar_t* a, wchar_t* b)
{
    if (!Usable(a) || !Usable(b))
        return 0;
    struct _stat64i32 sa, sb;
    if (_wstat64i32(a, &sa) != 0 || _wstat64i32(b, &sb) != 0)
        return 0;
    return static_cast<__int64>(sa.st_mtime) - static_cast<__int64>(sb.st_mtime);
}

wchar_t* CFileIO::MakeUniqueFilename(__int64 number, wchar_t* folder, wchar_t* suffix, wchar_t* out, bool noCheck,
                                     wchar_t* ext, int size)
{
    if (!Usable(folder) || !Output(out, size))
        return out;
    CreateFolder(folder);
    for (;;)
    {
        wchar_t name[MAX_PATH];
        _snwprintf_s(name, MAX_PATH, _TRUNCATE, L"%.16I64d%s%s%s", number, Usable(suffix) ? suffix : L"",
                     Usable(ext) ? L"." : L"", Usable(ext) ? ext : L"");
        CombinePath(folder, name, out, size);
        if (noCheck || !FileExists(out))
            return out;
        ++number;
    }
}

wchar_t* CFileIO::MakeUniqueFilename(wchar_t* folder, wchar_t* suffix, wchar_t* out, wchar_t* ext, int size)
{
    if (!Usable(folder) || !Output(out, size))
        return nullptr;
    SYSTEMTIME now;
    GetLocalTime(&now);
    FILETIME local;
    SystemTimeToFileTime(&now, &local);
    ULARGE_INTEGER start;
    start.LowPart = local.dwLowDateTime;
    start.HighPart = local.dwHighDateTime;
    // The counter keeps two calls within one clock tick apart.
    __int64 number = static_cast<__int64>(start.QuadPart) + InterlockedIncrement(&g_uniqueCounter);
    return MakeUniqueFilename(number, folder, suffix, out, false, ext, size);
}

wchar_t* CFileIO::MakeUniqueFilename(wchar_t* folder, wchar_t* out, wchar_t* ext, int size)
{
    return MakeUniqueFilename(folder, nullptr, out, ext, size);
}

void CFileIO::PruneFolder(wchar_t* folder, int keep, wchar_t* filespec)
{
    if (!FolderExists(folder) || !Usable(filespec) || keep < 0)
        return;
    CFileList list;
    list.AddFileSpec(filespec);
    int count = list.FindFiles(folder, false);
    for (int i = 0; i < count - keep; ++i)
        ::DeleteFileW(list.GetFile(i));
}

void CFileIO::RotateFile(wchar_t* path, __int64 limit, bool wholeLines)
{
    if (!FileExists(path) || limit <= 0 || GetFileSize(path) <= limit)
        return;
    __int64 chars = 0;
    bool unicode = IsUnicode(path, chars);
    __int64 keep = limit - limit / 5;
    if (unicode)
        keep &= ~static_cast<__int64>(1);

    CFileIO file(path);
    if (!file.OpenRead() || !file.ReadEntireFile())
        return;
    __int64 size = 0;
    char* data = file.GetBuffer(&size, true);
    file.Close();
    if (keep > size)
        keep = size;
    const char* tail = data + (size - keep);
    const char* end = data + size;

    CFileIO rotated(path);
    if (rotated.OpenWrite())
    {
        if (!wholeLines)
        {
            // No byte-order mark on this path; the asymmetry with whole lines is intended.
            if (keep > 0)
                rotated.Write(const_cast<char*>(tail), keep);
        }
        else
        {
            const char* start = nullptr;
            if (unicode)
            {
                for (const char* p = tail; p + 4 <= end; p += 2)
                {
                    if (p[0] == '\r' && p[1] == 0 && p[2] == '\n' && p[3] == 0)
                    {
                        start = p + 4;
                        break;
                    }
                }
            }
            else
            {
                for (const char* p = tail; p + 2 <= end; ++p)
                {
                    if (p[0] == '\r' && p[1] == '\n')
                    {
                        start = p + 2;
                        break;
                    }
                }
            }
            if (start && start < end)
            {
                if (unicode)
                {
                    char mark[2] = { static_cast<char>(0xFF), static_cast<char>(0xFE) };
                    rotated.Write(mark, 2);
                }
                rotated.Write(const_cast<char*>(start), end - start);
            }
        }
        rotated.Close();
    }
    CMemoryManager::Free(data);
}

namespace
{
// Moves <base><suffix>_<i>.log up by one (the oldest, number `count`, is replaced) and the file
// itself to number 1.
void RollOver(const wchar_t* path, const wchar_t* tag, int count)
{
    size_t length = wcslen(path);
    std::wstring base(path, length > 4 ? length - 4 : 0);
    for (int i = count; i >= 1; --i)
    {
        std::wstring older = Formatted(L"%s%s_%d.log", base.c_str(), tag, i);
        if (i != count && PlainPathExists(older.c_str()))
            MoveFileExW(older.c_str(), Formatted(L"%s%s_%d.log", base.c_str(), tag, i + 1).c_str(), MOVEFILE_REPLACE_EXISTING);
    }
    MoveFileExW(path, Formatted(L"%s%s_%d.log", base.c_str(), tag, 1).c_str(), MOVEFILE_REPLACE_EXISTING);
}

// Clean-up of the older naming (the full path, the suffix and a number, no ".log"). Such a file
// can only have appeared if the folder changed since the last look, so the numbered names are
// only probed again when the folder's write time moved.
void CleanOlderNames(const wchar_t* path, const wchar_t* tag, int count)
{
    if (count > 10 || !OlderNamesMayExist(path, tag))
        return;
    for (int j = count; j <= 10; ++j)
    {
        std::wstring old = Formatted(L"%s%s_%d", path, tag, j);
        if (PlainPathExists(old.c_str()))
            ::DeleteFileW(old.c_str());
    }
}
}

void CFileIO::RollOverFile(wchar_t* path, wchar_t* suffix, __int64 limit, bool /*flag*/, int count)
{
    if (!Usable(path) || limit <= 0)
        return;
    WIN32_FILE_ATTRIBUTE_DATA info;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &info))
        return;
    const wchar_t* tag = suffix ? suffix : L"";
    __int64 size = (static_cast<__int64>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    if (size > limit)
        RollOver(path, tag, count);
    CleanOlderNames(path, tag, count);
}

bool CFileIO::OpenAppendRolled(wchar_t* suffix, __int64 limit, int count)
{
    // Whether the file was there decides, as in RollOverFile, whether anything is rolled or
    // cleaned; the size that decides the rollover comes from the open handle.
    bool existed = m_findData && m_findData->cFileName[0];
    if (!OpenAppend())
        return false;
    if (!existed || limit <= 0)
        return true;
    const wchar_t* tag = suffix ? suffix : L"";
    if (GetFileSize() > limit)
    {
        Close();
        RollOver(m_filename, tag, count);
        CleanOlderNames(m_filename, tag, count);
        return OpenAppend();
    }
    CleanOlderNames(m_filename, tag, count);
    return true;
}
