// Test program entry: every suite runs with its own temporary folder (so the library's trace log
// and scratch files land there and go with it), GDI+ started as a host would, and the frame torn
// down at the end as a host must. VESKON_CHILD=<name> in the environment runs a registered child body instead.
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <gtest/gtest.h>
#include <string>
#include "frame/KVRN_DllMain.h"
#include "FolderTree.h"

namespace veskon_test
{
int RunRegisteredChild(const std::string& name);
}

int main(int argc, char** argv)
{
    char child[128] = {};
    if (GetEnvironmentVariableA("VESKON_CHILD", child, sizeof(child)) > 0)
    {
        // A child body; it inherits the parent's temporary folder through the environment.
        SetEnvironmentVariableA("VESKON_CHILD", nullptr);
        Gdiplus::GdiplusStartupInput input;
        ULONG_PTR token = 0;
        Gdiplus::GdiplusStartup(&token, &input, nullptr);
        int code = veskon_test::RunRegisteredChild(child);
        delete CKVRN_DllMain::Instance();
        Gdiplus::GdiplusShutdown(token);
        return code;
    }

    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    wchar_t runFolder[MAX_PATH] = {};
    _snwprintf_s(runFolder, MAX_PATH, _TRUNCATE, L"%sveskon_run_%lu", temp, GetCurrentProcessId());
    CreateDirectoryW(runFolder, nullptr);
    SetEnvironmentVariableW(L"TMP", runFolder);
    SetEnvironmentVariableW(L"TEMP", runFolder);

    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    delete CKVRN_DllMain::Instance();
    Gdiplus::GdiplusShutdown(token);
    veskon_common::RemoveFolderTree(runFolder);
    return result;
}
