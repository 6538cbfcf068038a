// Uses the installed headers, import library and DLL; exits 0 when the library answers.
#include <cstdio>
#include <cwchar>
#include "VeskonWin32GUISupportDLL.h"

int main()
{
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    wchar_t folder[] = L"C:\\data", name[] = L"file.txt", out[MAX_PATH] = {};
    CFileIO::CombinePath(folder, name, out, MAX_PATH);
    bool ok = frame && frame->GethInstance() && wcscmp(out, L"C:\\data\\file.txt") == 0;
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, L"consumer says hello", "consumer", __LINE__);
    delete CKVRN_DllMain::Instance();
    printf("consumer: %s\n", ok ? "library found and working" : "FAILED");
    return ok ? 0 : 1;
}
