#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "files/FileIO.h"
#include "frame/ErrorMsg.h"
#include "frame/MemoryManager.h"
#include "frame/KVRN_DllMain.h"
#include <shlobj.h>
#include <string>

using namespace veskon_test;

namespace
{
// Runs a static path helper on a copy of `in` and returns what it wrote.
template <typename F>
std::wstring Out(F helper, const std::wstring& in)
{
    std::wstring copy = in;
    wchar_t out[MAX_PATH] = L"untouched";
    helper(copy.empty() ? nullptr : &copy[0], out, MAX_PATH);
    return out;
}

// CFileIO::GetFilename is overloaded with the member of the same name.
wchar_t* FileNameOf(wchar_t* path, wchar_t* out, int size)
{
    return CFileIO::GetFilename(path, out, size);
}

std::wstring Combine(const std::wstring& a, const std::wstring& b)
{
    std::wstring x = a, y = b;
    wchar_t out[MAX_PATH] = L"untouched";
    CFileIO::CombinePath(&x[0], &y[0], out, MAX_PATH);
    return out;
}

}

TEST(CFileIOPaths, CombineAddsOneSeparator)
{
    EXPECT_EQ(L"C:\\a\\b.txt", Combine(L"C:\\a\\", L"\\b.txt"));
    EXPECT_EQ(L"C:\\a\\b", Combine(L"C:\\a", L"b"));
    EXPECT_EQ(L"C:/a/b", Combine(L"C:/a/", L"/b"));
    EXPECT_EQ(L"C:\\a\\\\b", Combine(L"C:\\a", L"\\\\b")) << "only one leading separator is dropped";
    EXPECT_EQ(L"untouched", Combine(L"", L"b"));
    wchar_t folder[] = L"C:\\a";
    EXPECT_EQ(nullptr, CFileIO::CombinePath(folder, nullptr, nullptr, 10));
}

TEST(CFileIOPaths, SplittingHelpers)
{
    EXPECT_EQ(L"", Out(CFileIO::GetFolder, L"file.txt"));
    EXPECT_EQ(L"C:\\x", Out(CFileIO::GetFolder, L"C:\\x\\y.txt"));
    EXPECT_EQ(L"C:/x", Out(CFileIO::GetFolder, L"C:/x/y.txt"));
    EXPECT_EQ(L"C:\\x/y", Out(CFileIO::GetFolder, L"C:\\x/y\\z")) << "\"\\\" wins over \"/\"";
    EXPECT_EQ(L"y.txt", Out(FileNameOf, L"C:\\x\\y.txt\""));
    EXPECT_EQ(L"name", Out(FileNameOf, L"name"));
    EXPECT_EQ(L"gz", Out(CFileIO::GetExtension, L"C:\\a.tar.gz"));
    EXPECT_EQ(L"", Out(CFileIO::GetExtension, L"C:\\noext"));
    EXPECT_EQ(L"untouched", Out(CFileIO::GetFolder, L""));

    wchar_t strip[] = L"C:\\my.dir\\file";
    EXPECT_STREQ(L"C:\\my", CFileIO::StripExtension(strip)) << "cut at the last dot wherever it is";
    wchar_t slash[16] = L"C:\\a";
    CFileIO::AppendSlash(slash, 16);
    CFileIO::AppendSlash(slash, 16);
    EXPECT_STREQ(L"C:\\a\\", slash);
    CFileIO::RemoveSlash(slash);
    EXPECT_STREQ(L"C:\\a", slash);
    wchar_t two[] = L"C:\\a//";
    CFileIO::RemoveSlash(two);
    EXPECT_STREQ(L"C:\\a/", two) << "one separator per call";
}

TEST(CFileIOPaths, DelimitedPaths)
{
    EXPECT_EQ(L"C:\\a", Out(CFileIO::DecodeDelimitedPath, L"'C:\\a\""));
    EXPECT_EQ(L"\"C:\\a\"", Out(CFileIO::EncodeDelimitedPath, L"C:\\a"));
    EXPECT_EQ(L"\"C:\\a\"", Out(CFileIO::EncodeDelimitedPath, L"\"C:\\a\"")) << "never quoted twice";
    EXPECT_EQ(L"\"C:\\a\"", Out(CFileIO::EncodeDelimitedPath, L"'C:\\a'"));
    EXPECT_EQ(L"\"a\"b\"", Out(CFileIO::DecodeDelimitedPath, L"\"\"a\"b\"\"")) << "one quote each side comes off";
}

TEST(CFileIOPaths, FormatNumberPadsToSixteenDigits)
{
    wchar_t out[32];
    EXPECT_STREQ(L"0000000000000042", CFileIO::FormatNumber(42, out, 32));
    EXPECT_STREQ(L"-0000000000000042", CFileIO::FormatNumber(-42, out, 32));
    EXPECT_STREQ(L"1234567890123456789", CFileIO::FormatNumber(1234567890123456789LL, out, 32));
}

VESKON_CHILD(CombineOverflow)
{
    wchar_t folder[] = L"C:\\folder";
    wchar_t name[] = L"name.txt";
    wchar_t out[8];
    CFileIO::CombinePath(folder, name, out, 8);
    return 0; // not reached: an output that does not fit stops the process
}

TEST(CFileIOPaths, OutputThatDoesNotFitStopsTheProcess)
{
    DWORD code = RunChild("CombineOverflow");
    EXPECT_EQ(0xC0000417u, code);
}

TEST(CFileIOObject, OpenReadCreatesAMissingFile)
{
    ScratchFolder dir;
    std::wstring path = dir.File(L"sub\\new.txt");
    CFileIO file(&path[0]);
    EXPECT_TRUE(file.OpenRead());
    file.Close();
    EXPECT_TRUE(FileExists(path)) << "even a read open creates the file and its folder";
    EXPECT_EQ(0, CFileIO::GetFileSize(&path[0]));
}

TEST(CFileIOObject, FileSizeIsNotLive)
{
    ScratchFolder dir;
    std::wstring path = dir.File(L"size.bin");
    CFileIO file(&path[0]);
    ASSERT_TRUE(file.OpenWrite());
    char data[100] = {};
    ASSERT_TRUE(file.Write(data, 100));
    EXPECT_EQ(0, file.GetFileSize()) << "still the size at open time";
    file.Close();
    EXPECT_EQ(100, file.GetFileSize());
}

TEST(CFileIOObject, WriteAppendReadWhole)
{
    ScratchFolder dir;
    std::wstring path = dir.File(L"data.txt");
    WriteFileBytes(path, "old contents that must go");
    {
        CFileIO file(&path[0]);
        ASSERT_TRUE(file.OpenWrite());
        char a[] = "abc";
        ASSERT_TRUE(file.Write(a, 3));
        EXPECT_FALSE(file.Write(a, 0));
        file.Close();
    }
    {
        CFileIO file(&path[0]);
        ASSERT_TRUE(file.OpenAppend());
        char b[] = "def";
        ASSERT_TRUE(file.Write(b, 3));
        ASSERT_TRUE(file.Append(b, 1));
        file.Close();
    }
    EXPECT_EQ("abcdefd", ReadFileBytes(path));

    CFileIO file(&path[0]);
    ASSERT_TRUE(file.OpenRead());
    char buf[16] = {};
    __int64 count = 0x100000000LL | 4; // only the low half is the count
    EXPECT_TRUE(file.Read(buf, &count));
    EXPECT_EQ(0x100000004LL, count);
    count = 10;
    EXPECT_FALSE(file.Read(buf, &count)) << "fewer bytes than asked";
    EXPECT_EQ(3, count);
    ASSERT_TRUE(file.ReadEntireFile());
    __int64 size = 0;
    char* whole = file.GetBuffer(&size, true);
    ASSERT_NE(nullptr, whole);
    EXPECT_EQ(7, size);
    EXPECT_STREQ("abcdefd", whole) << "the buffer is terminated";
    EXPECT_EQ(nullptr, file.GetBuffer(&size)) << "detached";
    CMemoryManager::Free(whole);
}

TEST(CFileIOObject, CloseRestoresTheAttributes)
{
    ScratchFolder dir;
    std::wstring path = dir.File(L"ro.txt");
    {
        CFileIO file(&path[0], FILE_ATTRIBUTE_NORMAL);
        ASSERT_TRUE(file.OpenWrite());
        char a[] = "x";
        file.Write(a, 1);
        file.SetAttributes(FILE_ATTRIBUTE_READONLY);
        EXPECT_TRUE(file.Close());
        EXPECT_FALSE(file.Close()) << "not open any more";
    }
    EXPECT_TRUE(GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(CFileIOObject, NameLengthLimits)
{
    ScratchFolder dir;
    std::wstring longest = dir.Path() + L"\\" + std::wstring(259 - dir.Path().size() - 1, L'n');
    ASSERT_EQ(259u, longest.size());
    {
        CFileIO file(&longest[0]);
        EXPECT_EQ(longest, file.GetFilename()) << "259 characters are accepted";
        EXPECT_TRUE(file.OpenWrite());
    }
    std::wstring overlong = L"C:\\" + std::wstring(257, L'n');
    ASSERT_EQ(260u, overlong.size());
    for (wchar_t* name : { static_cast<wchar_t*>(nullptr), const_cast<wchar_t*>(L""), &overlong[0] })
    {
        CFileIO file(name);
        EXPECT_STREQ(L"", file.GetFilename());
        EXPECT_FALSE(file.OpenRead());
        EXPECT_FALSE(file.ReadEntireFile());
        EXPECT_EQ(0, file.GetFileSize());
        char a[] = "x";
        EXPECT_FALSE(file.Write(a, 1));
        EXPECT_FALSE(file.Seek(0, FILE_BEGIN));
    }
}

TEST(CFileIOObject, OpenFailureIsReportedWithTheName)
{
    ScratchFolder dir;
    std::wstring blocker = dir.File(L"afile");
    WriteFileBytes(blocker, "a file where a folder should be");
    std::wstring path = blocker + L"\\x.txt";
    CFileIO file(&path[0]);
    EXPECT_FALSE(file.OpenWrite());
    std::string log = TraceLogText();
    EXPECT_NE(std::string::npos, log.find("Folder creation failure: \"" + Narrow(blocker)));
    EXPECT_NE(std::string::npos, log.find("File open failure: \"" + Narrow(path) + "\""));
}

TEST(CFileIOObject, LockedFileFailsToOpenAndIsReported)
{
    ScratchFolder dir;
    std::wstring path = dir.File(L"locked.bin");
    WriteFileBytes(path, "data");
    HANDLE exclusive = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, exclusive);
    {
        CFileIO file(&path[0]);
        EXPECT_FALSE(file.OpenRead());
        EXPECT_FALSE(file.ReadEntireFile());
        EXPECT_EQ(ERROR_SHARING_VIOLATION, CErrorMsg::Instance()->GetLastError());
    }
    CloseHandle(exclusive);
    EXPECT_NE(std::string::npos, TraceLogText().find("File open failure: \"" + Narrow(path) + "\""));
    EXPECT_EQ("data", ReadFileBytes(path)) << "nothing lost";
}

TEST(CFileIOStatic, FoldersAndExistence)
{
    ScratchFolder dir;
    std::wstring chain = dir.Path() + L"\\a\\b\\c";
    EXPECT_TRUE(CFileIO::CreateFolder(&chain[0]));
    EXPECT_TRUE(CFileIO::FolderExists(&chain[0]));
    // A path written with forward slashes only is walked along them.
    std::wstring forward = dir.Path() + L"/d/e/";
    for (wchar_t& c : forward)
        c = c == L'\\' ? L'/' : c;
    EXPECT_TRUE(CFileIO::CreateFolder(&forward[0]));
    EXPECT_TRUE(FileExists(dir.File(L"d\\e")));
    std::wstring withSlash = dir.Path() + L"\\a\\";
    EXPECT_TRUE(CFileIO::FolderExists(&withSlash[0]));
    std::wstring file = dir.File(L"a\\Mixed.TXT");
    WriteFileBytes(file, "1");
    std::wstring pattern = dir.File(L"a\\*.txt");
    EXPECT_TRUE(CFileIO::FileExists(&pattern[0])) << "wildcards match";
    std::wstring lower = dir.File(L"a\\mixed.txt");
    wchar_t found[MAX_PATH] = {};
    EXPECT_TRUE(CFileIO::FindFile(&lower[0], found, MAX_PATH));
    EXPECT_EQ(file, found) << "spelled as the file system spells it";
    EXPECT_TRUE(CFileIO::DeleteFileW(&file[0]));
    EXPECT_FALSE(CFileIO::DeleteFileW(&file[0]));
    EXPECT_FALSE(CFileIO::FileExists(nullptr));
}

TEST(CFileIOStatic, FoldersOfTheLibraryAndTheSystem)
{
    wchar_t name[] = L"x.txt", local[MAX_PATH] = {}, folder[MAX_PATH] = {};
    CKVRN_DllMain::Instance()->GetApplicationFolder(folder, MAX_PATH);
    CFileIO::CombineLocalFilename(name, local, MAX_PATH);
    EXPECT_EQ(std::wstring(folder) + L"\\x.txt", local);

    wchar_t special[MAX_PATH] = L"stale";
    CFileIO::GetSpecialFolder(CSIDL_APPDATA, special, MAX_PATH);
    EXPECT_TRUE(CFileIO::FolderExists(special));
    CFileIO::GetSpecialFolder(0x7F, special, MAX_PATH);
    EXPECT_STREQ(L"", special) << "an unknown folder id empties the output";
    EXPECT_NE(std::string::npos, TraceLogText().find("SHGetFolderPath failure: \"127\""));
}

TEST(CFileIOStatic, UnicodeDetection)
{
    ScratchFolder dir;
    std::wstring u = dir.File(L"u.txt"), a = dir.File(L"a.txt"), one = dir.File(L"one.txt");
    WriteFileBytes(u, std::string("\xFF\xFE" "a\0b\0", 6));
    WriteFileBytes(a, "plain");
    WriteFileBytes(one, "\xFF");
    __int64 chars = -1;
    EXPECT_TRUE(CFileIO::IsUnicode(&u[0], chars));
    EXPECT_EQ(2, chars);
    EXPECT_FALSE(CFileIO::IsUnicode(&a[0], chars));
    EXPECT_EQ(5, chars);
    EXPECT_FALSE(CFileIO::IsUnicode(&one[0], chars));
    std::wstring missing = dir.File(L"missing");
    EXPECT_FALSE(CFileIO::IsUnicode(&missing[0], chars));
    EXPECT_EQ(0, chars);
}

TEST(CFileIOStatic, TimesCompareInSeconds)
{
    ScratchFolder dir;
    std::wstring a = dir.File(L"a"), b = dir.File(L"b");
    WriteFileBytes(a, "a");
    WriteFileBytes(b, "b");
    SetFileWriteTime(a, 1000);
    SetFileWriteTime(b, 900);
    EXPECT_EQ(100, CFileIO::CompareFileTimes(&a[0], &b[0]));
    std::wstring missing = dir.File(L"none");
    EXPECT_EQ(0, CFileIO::CompareFileTimes(&a[0], &missing[0]));
    wchar_t text[128] = {};
    CFileIO::GetFileDateTimeString(&a[0], text, 128);
    EXPECT_NE(nullptr, wcsstr(text, L", "));
}

TEST(CFileIOStatic, UniqueNames)
{
    ScratchFolder dir;
    std::wstring folder = dir.Path() + L"\\unique";
    wchar_t ext[] = L"png";
    wchar_t first[MAX_PATH] = {}, second[MAX_PATH] = {};
    CFileIO::MakeUniqueFilename(&folder[0], first, ext, MAX_PATH);
    CFileIO::MakeUniqueFilename(&folder[0], second, ext, MAX_PATH);
    EXPECT_STRNE(first, second);
    std::wstring name = std::wstring(first).substr(folder.size() + 1);
    EXPECT_GE(name.size(), 16u + 4u);
    EXPECT_EQ(L".png", name.substr(name.size() - 4));

    wchar_t suffix[] = L"_s";
    wchar_t out[MAX_PATH] = {};
    CFileIO::MakeUniqueFilename(5, &folder[0], suffix, out, false, ext, MAX_PATH);
    EXPECT_EQ(folder + L"\\0000000000000005_s.png", out);
    WriteFileBytes(out, "taken");
    CFileIO::MakeUniqueFilename(5, &folder[0], suffix, out, false, ext, MAX_PATH);
    EXPECT_EQ(folder + L"\\0000000000000006_s.png", out);
    CFileIO::MakeUniqueFilename(5, &folder[0], suffix, out, true, nullptr, MAX_PATH);
    EXPECT_EQ(folder + L"\\0000000000000005_s", out) << "no check, no extension";
    EXPECT_EQ(nullptr, CFileIO::MakeUniqueFilename(nullptr, out, ext, MAX_PATH));
}

TEST(CFileIOStatic, PruneDeletesTheOldestFirst)
{
    ScratchFolder dir;
    for (int i = 0; i < 5; ++i)
    {
        std::wstring f = dir.File(L"log" + std::to_wstring(i) + L".txt");
        WriteFileBytes(f, "x");
        SetFileWriteTime(f, 100 - i * 10); // log4 is the oldest
    }
    WriteFileBytes(dir.File(L"other.dat"), "kept: does not match");
    wchar_t filespec[] = L"*.txt";
    CFileIO::PruneFolder(dir.Buffer(), 2, filespec);
    EXPECT_TRUE(FileExists(dir.File(L"log0.txt")));
    EXPECT_TRUE(FileExists(dir.File(L"log1.txt")));
    EXPECT_FALSE(FileExists(dir.File(L"log2.txt")));
    EXPECT_FALSE(FileExists(dir.File(L"log4.txt")));
    EXPECT_TRUE(FileExists(dir.File(L"other.dat")));
    CFileIO::PruneFolder(dir.Buffer(), -1, filespec);
    EXPECT_TRUE(FileExists(dir.File(L"log0.txt"))) << "a negative count keeps everything";
}

TEST(CFileIOStatic, RotateKeepsTheTail)
{
    ScratchFolder dir;
    std::string text;
    for (int i = 0; text.size() < 1000; ++i)
        text += "line " + std::to_string(i) + " of the log\r\n";
    text.resize(1000);
    std::wstring path = dir.File(L"rotate.log");

    WriteFileBytes(path, text);
    CFileIO::RotateFile(&path[0], 500, false);
    EXPECT_EQ(text.substr(600), ReadFileBytes(path)) << "400 bytes: 80 per cent of the limit";

    WriteFileBytes(path, text);
    CFileIO::RotateFile(&path[0], 500, true);
    std::string tail = text.substr(600);
    EXPECT_EQ(tail.substr(tail.find("\r\n") + 2), ReadFileBytes(path));

    WriteFileBytes(path, text);
    CFileIO::RotateFile(&path[0], 1000, true);
    EXPECT_EQ(text, ReadFileBytes(path)) << "not larger than the limit: untouched";

    WriteFileBytes(path, std::string(1000, 'x'));
    CFileIO::RotateFile(&path[0], 500, true);
    EXPECT_TRUE(FileExists(path));
    EXPECT_EQ("", ReadFileBytes(path)) << "no line end in the tail: the file stays empty";
}

TEST(CFileIOStatic, RotateUnicodeWritesTheMarkOnlyForWholeLines)
{
    ScratchFolder dir;
    std::wstring wide;
    for (int i = 0; wide.size() < 600; ++i)
        wide += L"row " + std::to_wstring(i) + L"\r\n";
    std::string bytes("\xFF\xFE", 2);
    bytes.append(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
    std::wstring path = dir.File(L"wide.log");

    WriteFileBytes(path, bytes);
    CFileIO::RotateFile(&path[0], 301, false);
    std::string kept = ReadFileBytes(path);
    EXPECT_EQ(240u, kept.size()) << "301 - 60 = 241, made even";
    EXPECT_EQ(bytes.substr(bytes.size() - 240), kept);

    WriteFileBytes(path, bytes);
    CFileIO::RotateFile(&path[0], 300, true);
    kept = ReadFileBytes(path);
    ASSERT_GE(kept.size(), 2u);
    EXPECT_EQ(std::string("\xFF\xFE", 2), kept.substr(0, 2));
    std::wstring rest(reinterpret_cast<const wchar_t*>(kept.data() + 2), (kept.size() - 2) / 2);
    EXPECT_EQ(0u, rest.find(L"row ")) << "starts on a whole line";
}

TEST(CFileIOObject, AppendWithRolloverFollowsTheRolloverRules)
{
    ScratchFolder dir;
    std::wstring log = dir.File(L"svc.log");
    std::wstring b1 = dir.File(L"svc_bk_1.log");
    wchar_t suffix[] = L"_bk";
    WriteFileBytes(log + L"_bk_4", "older naming");
    {
        CFileIO missing(&log[0]);
        ASSERT_TRUE(missing.OpenAppendRolled(suffix, 10, 2));
        missing.Close();
    }
    EXPECT_TRUE(FileExists(log + L"_bk_4")) << "a log that was not there rolls and cleans nothing";
    WriteFileBytes(log, "0123456789");
    {
        CFileIO atLimit(&log[0]);
        ASSERT_TRUE(atLimit.OpenAppendRolled(suffix, 10, 2));
        char more[] = "+";
        atLimit.Write(more, 1);
        atLimit.Close();
    }
    EXPECT_FALSE(FileExists(b1)) << "exactly the limit: appended to";
    EXPECT_FALSE(FileExists(log + L"_bk_4")) << "older names cleaned";
    EXPECT_EQ("0123456789+", ReadFileBytes(log));
    {
        CFileIO past(&log[0]);
        ASSERT_TRUE(past.OpenAppendRolled(suffix, 10, 2));
        char line[] = "new";
        past.Write(line, 3);
        past.Close();
    }
    EXPECT_EQ("0123456789+", ReadFileBytes(b1));
    EXPECT_EQ("new", ReadFileBytes(log)) << "rolled, then a fresh file";
}

TEST(CFileIOStatic, RollOverKeepsNumberedBackups)
{
    ScratchFolder dir;
    std::wstring log = dir.File(L"app.log");
    std::wstring b1 = dir.File(L"app_bk_1.log"), b2 = dir.File(L"app_bk_2.log"), b3 = dir.File(L"app_bk_3.log");
    wchar_t suffix[] = L"_bk";
    WriteFileBytes(log, "current-and-big");
    WriteFileBytes(b1, "one");
    WriteFileBytes(b2, "two");
    CFileIO::RollOverFile(&log[0], suffix, 15, true, 2);
    EXPECT_EQ("current-and-big", ReadFileBytes(log)) << "exactly the limit: no rollover";
    CFileIO::RollOverFile(&log[0], suffix, 14, true, 2);
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ("current-and-big", ReadFileBytes(b1));
    EXPECT_EQ("one", ReadFileBytes(b2)) << "the oldest backup is replaced";
    EXPECT_FALSE(FileExists(b3));

    WriteFileBytes(log, "again");
    WriteFileBytes(log + L"_bk_3", "older naming");
    WriteFileBytes(log + L"_bk_1", "older naming below the count");
    CFileIO::RollOverFile(&log[0], suffix, 0, true, 2);
    EXPECT_TRUE(FileExists(log + L"_bk_3")) << "a zero limit does nothing at all";
    CFileIO::RollOverFile(&log[0], suffix, 1000, true, 2);
    EXPECT_FALSE(FileExists(log + L"_bk_3"));
    EXPECT_TRUE(FileExists(log + L"_bk_1"));
    EXPECT_EQ("again", ReadFileBytes(log));
}
