#pragma once
// Fixtures shared by every suite: scratch folders and registry keys that clean up after
// themselves, a message pump, pixel captures, file helpers and child processes.
#include <windows.h>
#include "Dib.h"
#include "RegistryValueGuard.h"
#include <functional>
#include <string>
#include <vector>

namespace veskon_test
{
// A fresh folder under the run's temporary folder, removed with everything in it.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    const std::wstring& Path() const { return m_path; }
    // Path of `name` inside the folder.
    std::wstring File(const std::wstring& name) const;
    wchar_t* Buffer() { return &m_path[0]; }

private:
    std::wstring m_path;
};

// A fresh sub-key of HKEY_CURRENT_USER\Software\VeskonTests, deleted with its values.
class ScratchRegistryKey
{
public:
    ScratchRegistryKey();
    ~ScratchRegistryKey();
    HKEY Root() const { return HKEY_CURRENT_USER; }
    wchar_t* Key() { return &m_key[0]; }

private:
    std::wstring m_key;
};

// Saves one registry value (or its absence) and puts it back on destruction; for the library's
// own fixed keys, which a test must leave as it found them.
using veskon_common::RegistryValueGuard;

// Pumps this thread's messages for `ms` milliseconds.
void PumpMessages(int ms);
// Pumps until `done` returns true or `ms` milliseconds have passed; returns done().
bool PumpUntil(const std::function<bool()>& done, int ms);

// 32-bit top-down pixels (BGRA in memory) of a capture.
struct Pixels
{
    int width = 0;
    int height = 0;
    std::vector<DWORD> data;
    DWORD At(int x, int y) const { return data[static_cast<size_t>(y) * width + x]; }
    BYTE Red(int x, int y) const { return static_cast<BYTE>(At(x, y) >> 16); }
    BYTE Green(int x, int y) const { return static_cast<BYTE>(At(x, y) >> 8); }
    BYTE Blue(int x, int y) const { return static_cast<BYTE>(At(x, y)); }
    BYTE Alpha(int x, int y) const { return static_cast<BYTE>(At(x, y) >> 24); }
};
Pixels CaptureScreen(const RECT& area);
// A 32-bit top-down DIB section (B, G, R, A bytes per pixel); *bits receives its pixels.
using veskon_common::CreateTopDownDib;
Pixels CaptureWindow(HWND hwnd);

std::string ReadFileBytes(const std::wstring& path);
bool WriteFileBytes(const std::wstring& path, const std::string& bytes);
bool FileExists(const std::wstring& path);
// Sets a file's last-write time to a fixed epoch plus `seconds` (for ordering tests).
void SetFileWriteTime(const std::wstring& path, ULONGLONG seconds);

// The library's trace log file of this run (the library writes it in the run's temp folder).
std::wstring TraceLogPath();
// The log's contents, or empty.
std::string TraceLogText();
// Removes the trace log and its backups.
void DeleteTraceLogs();

// Child processes: a test registers a function under a name; RunChild starts this test program
// again with VESKON_CHILD=<name> in its environment (so the command line is free to be anything)
// and returns its exit code.
void RegisterChild(const std::string& name, const std::function<int()>& body);
DWORD RunChild(const std::string& name, const std::wstring& extra = L"", DWORD timeoutMs = 60000);
// The same with exactly this command line (program file: this test program, or `application`).
DWORD RunChildWithCommandLine(const std::string& name, const std::wstring& commandLine,
                              const std::wstring& application = L"", DWORD timeoutMs = 60000,
                              DWORD creationFlags = 0);
// Runs a program with exactly this command line (and CreateProcessW's creation flags, for
// example DETACHED_PROCESS for a child without a console); returns its exit code.
DWORD RunCommandLine(const std::wstring& application, const std::wstring& commandLine, DWORD timeoutMs = 60000,
                     DWORD creationFlags = 0);
std::wstring ThisProgram();

std::string Narrow(const std::wstring& text);
std::wstring Wide(const std::string& text);
}

// Registers a child-process body at start-up: VESKON_CHILD(name) { ...; return code; }
#define VESKON_CHILD(name)                                                                             \
    static int VeskonChild_##name();                                                                   \
    static const bool VeskonChildRegistered_##name =                                                   \
        (::veskon_test::RegisterChild(#name, &VeskonChild_##name), true);                              \
    static int VeskonChild_##name()
