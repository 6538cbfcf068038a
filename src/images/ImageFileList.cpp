#include "images/ImageFileList.h"
#include <cwchar>
#include <memory>
#include <string>
#include <vector>
#include "files/FileIO.h"
#include "frame/ErrorMsg.h"

namespace
{
const size_t kNameBytes = CImageFileList::PACKAGE_NAME_CHARS * sizeof(wchar_t);
const size_t kHeaderBytes = CImageFileList::PACKAGE_HEADER_BYTES;
const DWORD kCopyChunk = 64 * 1024;

static_assert(CImageFileList::PACKAGE_HEADER_BYTES == 528, "package headers are 528 bytes");
static_assert(sizeof(wchar_t) == 2, "package names are UTF-16");

struct HandleCloser
{
    typedef HANDLE pointer;
    void operator()(HANDLE h) const
    {
        if (h != INVALID_HANDLE_VALUE)
            CloseHandle(h);
    }
};
typedef std::unique_ptr<HANDLE, HandleCloser> File;

bool Usable(const wchar_t* text)
{
    return text && *text;
}

void Report(const wchar_t* what, const wchar_t* path, const wchar_t* detail = L"")
{
    wchar_t text[1024];
    _snwprintf_s(text, 1024, _TRUNCATE, L"%s: \"%s\"%s", what, path ? path : L"", detail);
    CErrorMsg::Instance()->Display(nullptr, text);
}

File OpenForReading(const wchar_t* path)
{
    return File(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
}

File OpenForWriting(const wchar_t* path)
{
    return File(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool ReadExactly(HANDLE file, void* buffer, DWORD count)
{
    DWORD read = 0;
    return ReadFile(file, buffer, count, &read, nullptr) && read == count;
}

bool WriteExactly(HANDLE file, const void* buffer, DWORD count)
{
    DWORD written = 0;
    return WriteFile(file, buffer, count, &written, nullptr) && written == count;
}

// Copies exactly `count` bytes from one open file to another.
bool CopyBytes(HANDLE from, HANDLE to, unsigned long long count, std::vector<char>& chunk)
{
    while (count > 0)
    {
        DWORD n = count < kCopyChunk ? static_cast<DWORD>(count) : kCopyChunk;
        if (!ReadExactly(from, chunk.data(), n) || !WriteExactly(to, chunk.data(), n))
            return false;
        count -= n;
    }
    return true;
}

bool IsReservedDeviceName(const std::wstring& name)
{
    // "CON", "con.png", "COM1 .gif": Windows opens the device, whatever the folder.
    std::wstring base = name.substr(0, name.find(L'.'));
    while (!base.empty() && base.back() == L' ')
        base.pop_back();
    static const wchar_t* const devices[] = { L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$" };
    for (const wchar_t* device : devices)
    {
        if (_wcsicmp(base.c_str(), device) == 0)
            return true;
    }
    if (base.size() == 4 && (_wcsnicmp(base.c_str(), L"COM", 3) == 0 || _wcsnicmp(base.c_str(), L"LPT", 3) == 0) &&
        base[3] >= L'0' && base[3] <= L'9')
        return true;
    return false;
}

// A name that can only mean a file directly inside the target folder: no folder parts, drive,
// stream, wildcard or device, and nothing Windows would silently trim ("..", trailing dots).
bool IsPlainFileName(const std::wstring& name)
{
    if (name.empty())
        return false;
    for (wchar_t c : name)
    {
        if (c < 32 || wcschr(L"\\/:*?\"<>|", c))
            return false;
    }
    if (name.back() == L'.' || name.back() == L' ')
        return false;  // also refuses "." and ".."
    return !IsReservedDeviceName(name);
}

struct PackedFile
{
    std::wstring name;
    unsigned long long size;
};

// Reads and checks every header of an open package; false (with `why` set) for anything that is
// not a well-formed package. On success the file pointer stands at the first content byte.
bool ReadPackageHeaders(HANDLE package, unsigned long long packageSize, std::vector<PackedFile>& files,
                        const wchar_t*& why)
{
    unsigned long long offset = 0;
    unsigned long long total = 0;
    unsigned char header[kHeaderBytes];
    for (;;)
    {
        if (packageSize - offset < kHeaderBytes)
        {
            why = L" (no terminating header)";
            return false;
        }
        if (!ReadExactly(package, header, static_cast<DWORD>(kHeaderBytes)))
        {
            why = L" (read failure)";
            return false;
        }
        offset += kHeaderBytes;
        bool zero = true;
        for (unsigned char b : header)
        {
            if (b)
            {
                zero = false;
                break;
            }
        }
        if (zero)
            break;

        wchar_t name[CImageFileList::PACKAGE_NAME_CHARS];
        memcpy(name, header, kNameBytes);
        size_t length = wcsnlen(name, CImageFileList::PACKAGE_NAME_CHARS);
        if (length == CImageFileList::PACKAGE_NAME_CHARS)
        {
            why = L" (name without terminator)";
            return false;
        }
        unsigned long long size = 0;
        for (int i = 7; i >= 0; --i)
            size = (size << 8) | header[kNameBytes + static_cast<size_t>(i)];
        PackedFile file{ std::wstring(name, length), size };
        if (!IsPlainFileName(file.name))
        {
            why = L" (not a plain file name)";
            return false;
        }
        if (size > packageSize || total + size > packageSize)
        {
            why = L" (size past the end)";
            return false;
        }
        total += size;
        files.push_back(file);
    }
    if (packageSize - offset != total)
    {
        why = total > packageSize - offset ? L" (size past the end)" : L" (sizes do not match the package)";
        return false;
    }
    return true;
}
}

CImageFileList::CImageFileList() {}

CImageFileList::~CImageFileList() noexcept {}

int CImageFileList::FindImages(wchar_t* folder)
{
    Clear();
    if (!CFileIO::FolderExists(folder))
        return 0;
    static const wchar_t* const specs[] = { L"*.png", L"*.jpg", L"*.tif", L"*.bmp", L"*.gif" };
    try
    {
        for (const wchar_t* filespec : specs)
            AddFileSpec(filespec);
        return FindFiles(folder, false);
    }
    catch (...)
    {
        Clear();
        return 0;
    }
}

bool CImageFileList::Concatenate(wchar_t* package)
{
    if (!Usable(package) || wcslen(package) >= MAX_PATH)
        return false;
    try
    {
        wchar_t folder[MAX_PATH] = {};
        CFileIO::GetFolder(package, folder, MAX_PATH);
        if (folder[0] && !CFileIO::CreateFolder(folder))
            return false;

        std::vector<std::wstring> paths;
        std::vector<char> headers;
        for (int i = 0; i < GetCount(); ++i)
        {
            const wchar_t* path = GetFile(i);
            WIN32_FILE_ATTRIBUTE_DATA data;
            if (!path || _wcsicmp(path, package) == 0 ||
                !GetFileAttributesExW(path, GetFileExInfoStandard, &data) ||
                (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                continue;
            const wchar_t* name = path + wcslen(path);
            while (name > path && name[-1] != L'\\' && name[-1] != L'/')
                --name;
            if (wcslen(name) >= PACKAGE_NAME_CHARS)
                continue;
            unsigned long long size = (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
            char header[kHeaderBytes] = {};
            memcpy(header, name, wcslen(name) * sizeof(wchar_t));
            for (int b = 0; b < 8; ++b)
                header[kNameBytes + static_cast<size_t>(b)] = static_cast<char>((size >> (8 * b)) & 0xFF);
            headers.insert(headers.end(), header, header + kHeaderBytes);
            paths.push_back(path);
        }
        headers.resize(headers.size() + kHeaderBytes, 0);  // the terminator

        File out = OpenForWriting(package);
        if (out.get() == INVALID_HANDLE_VALUE)
        {
            Report(L"Image package cannot be written", package);
            return false;
        }
        bool ok = WriteExactly(out.get(), headers.data(), static_cast<DWORD>(headers.size()));
        std::vector<char> chunk(kCopyChunk);
        for (size_t i = 0; ok && i < paths.size(); ++i)
        {
            // Exactly the size its header announced: a file that changed meanwhile spoils the package.
            unsigned long long size = 0;
            for (int b = 7; b >= 0; --b)
                size = (size << 8) | static_cast<unsigned char>(headers[i * kHeaderBytes + kNameBytes + static_cast<size_t>(b)]);
            File in = OpenForReading(paths[i].c_str());
            ok = in.get() != INVALID_HANDLE_VALUE && CopyBytes(in.get(), out.get(), size, chunk);
        }
        out.reset();
        if (!ok)
        {
            ::DeleteFileW(package);
            Report(L"Image package cannot be written", package);
        }
        return ok;
    }
    catch (...)
    {
        return false;
    }
}

bool CImageFileList::DeConcatenate(wchar_t* package, wchar_t* folder)
{
    if (!Usable(package) || !Usable(folder))
        return false;
    try
    {
        File in = OpenForReading(package);
        if (in.get() == INVALID_HANDLE_VALUE)
        {
            Report(L"Image package cannot be read", package);
            return false;
        }
        LARGE_INTEGER size;
        if (!GetFileSizeEx(in.get(), &size) || size.QuadPart < 0)
            return false;

        std::vector<PackedFile> files;
        const wchar_t* why = L"";
        if (!ReadPackageHeaders(in.get(), static_cast<unsigned long long>(size.QuadPart), files, why))
        {
            Report(L"Image package refused", package, why);
            return false;
        }

        std::wstring target(folder);
        if (target.back() != L'\\' && target.back() != L'/')
            target += L'\\';
        for (const PackedFile& file : files)
        {
            if (target.size() + file.name.size() >= MAX_PATH)
            {
                Report(L"Image package refused", package, L" (path too long)");
                return false;
            }
        }
        if (!CFileIO::CreateFolder(folder))
            return false;

        std::vector<char> chunk(kCopyChunk);
        for (const PackedFile& file : files)
        {
            std::wstring path = target + file.name;
            // A link already in the folder would carry the bytes elsewhere.
            DWORD attributes = GetFileAttributesW(path.c_str());
            if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT))
            {
                Report(L"Image package target is a link", path.c_str());
                return false;
            }
            File out = OpenForWriting(path.c_str());
            if (out.get() == INVALID_HANDLE_VALUE || !CopyBytes(in.get(), out.get(), file.size, chunk))
            {
                Report(L"Image package file cannot be written", path.c_str());
                return false;
            }
        }
        return true;
    }
    catch (...)
    {
        return false;
    }
}

void CImageFileList::CleanUpFiles()
{
    for (int i = 0; i < GetCount(); ++i)
    {
        const wchar_t* path = GetFile(i);
        if (path)
            ::DeleteFileW(path);
    }
}
