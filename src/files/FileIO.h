#pragma once
// CFileIO: one file by name (at most 259 characters), opened with a chosen access, read and
// written in blocks with 64-bit sizes, optionally read whole into an owned buffer; its attributes
// are set again when it closes. Failures of open, read, write, seek and folder creation are
// reported through CErrorMsg::Display. The static operations are the library's path toolbox.
//
// Every static operation that writes into an output buffer returns that buffer and does nothing
// when an input is null or empty or the size is below 1.
#include <windows.h>
#include "Export.h"

class VESKON_API CFileIO
{
public:
    explicit CFileIO(wchar_t* path);
    CFileIO(wchar_t* path, unsigned long attributes);
    CFileIO(wchar_t* path, unsigned long attributes, unsigned long share);
    ~CFileIO() noexcept;
    CFileIO(const CFileIO&) = delete;
    CFileIO& operator=(const CFileIO&) = delete;

    void SetAttributes(unsigned long attributes);
    void SetSharingMode(unsigned long share);
    wchar_t* GetFilename();
    HANDLE GetHandle();

    bool Open(int access, unsigned long attributes, unsigned long share);
    bool Open();
    // Creates a missing file, like every open.
    bool OpenRead();
    bool OpenReadWrite();
    // Deletes the file first: writing always starts on an empty file.
    bool OpenWrite();
    bool OpenAppend();
    // OpenAppend, with RollOverFile(GetFilename(), suffix, limit, ..., count) applied on the way:
    // a file that has grown past `limit` is rolled over (and a fresh one opened), and the older
    // backup names are cleaned up. The size is read from the open handle, so a log appended line
    // by line pays for one open per line.
    bool OpenAppendRolled(wchar_t* suffix, __int64 limit, int count);
    bool Close();

    bool Read(char* buf, __int64* count);
    bool Write(char* buf, __int64 count);
    bool Write();
    bool Append(char* buf, int count);
    bool Seek(__int64 offset, unsigned long method);
    bool Seek(__int64 offset, unsigned long method, bool unused);
    bool ReadEntireFile();
    char* GetBuffer(__int64* size);
    char* GetBuffer(__int64* size, bool detach);
    // The size as of the last construction, open or close (not a live query).
    __int64 GetFileSize();
    void Free();

    static bool FileExists(wchar_t* path);
    static bool FileExists(wchar_t* path, WIN32_FIND_DATAW* data);
    static bool FolderExists(wchar_t* path);
    static __int64 GetFileSize(wchar_t* path);
    static bool DeleteFileW(wchar_t* path);
    static bool CreateFolder(wchar_t* path);
    static wchar_t* CombinePath(wchar_t* folder, wchar_t* name, wchar_t* out, int size);
    static wchar_t* CombineLocalFilename(const wchar_t* name, wchar_t* out, int size);
    static wchar_t* GetFolder(wchar_t* path, wchar_t* out, int size);
    static wchar_t* GetFilename(wchar_t* path, wchar_t* out, int size);
    static wchar_t* GetExtension(wchar_t* path, wchar_t* out, int size);
    static wchar_t* StripExtension(wchar_t* path);
    static wchar_t* AppendSlash(wchar_t* path, int size);
    static wchar_t* RemoveSlash(wchar_t* path);
    static wchar_t* EncodeDelimitedPath(wchar_t* path, wchar_t* out, int size);
    static wchar_t* DecodeDelimitedPath(wchar_t* path, wchar_t* out, int size);
    static wchar_t* GetCurrentFolder(HINSTANCE module, wchar_t* out, int size);
    static wchar_t* GetCurrentFolder(wchar_t* out, int size);
    static wchar_t* GetSpecialFolder(int csidl, wchar_t* out, int size);
    static bool FindFile(wchar_t* path, wchar_t* out, int size);
    static wchar_t* FormatNumber(__int64 n, wchar_t* out, int size);
    static bool IsUnicode(wchar_t* path, __int64& chars);
    static void GetFiletime(wchar_t* path, FILETIME* lastWrite);
    static wchar_t* ConvertFiletimeToDateTimeString(FILETIME* ft, wchar_t* out, int size);
    static wchar_t* GetFileDateTimeString(wchar_t* path, wchar_t* out, int size);
    static __int64 CompareFileTimes(wchar_t* a, wchar_t* b);
    static wchar_t* MakeUniqueFilename(__int64 number, wchar_t* folder, wchar_t* suffix, wchar_t* out,
                                       bool noCheck, wchar_t* ext, int size);
    static wchar_t* MakeUniqueFilename(wchar_t* folder, wchar_t* suffix, wchar_t* out, wchar_t* ext, int size);
    static wchar_t* MakeUniqueFilename(wchar_t* folder, wchar_t* out, wchar_t* ext, int size);
    static void PruneFolder(wchar_t* folder, int keep, wchar_t* filespec);
    static void RotateFile(wchar_t* path, __int64 limit, bool wholeLines);
    static void RollOverFile(wchar_t* path, wchar_t* suffix, __int64 limit, bool flag, int count);

private:
    void Init(wchar_t* path, unsigned long attributes, unsigned long share);
    void RefreshFindData();

    wchar_t m_filename[MAX_PATH];
    __int64 m_bufferSize;
    char* m_buffer;
    HANDLE m_handle;
    unsigned long m_attributes;
    unsigned long m_share;
    WIN32_FIND_DATAW* m_findData;
};
