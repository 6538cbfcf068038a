#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "system/FileList.h"

using namespace veskon_test;

namespace
{
void Touch(const std::wstring& path, ULONGLONG seconds)
{
    WriteFileBytes(path, "x");
    SetFileWriteTime(path, seconds);
}
}

TEST(CFileList, ListsBySpecificationThenOldestFirst)
{
    ScratchFolder dir;
    Touch(dir.File(L"b.txt"), 50);
    Touch(dir.File(L"a.txt"), 50);
    Touch(dir.File(L"c.txt"), 10);
    Touch(dir.File(L"z.log"), 5);
    CreateDirectoryW(dir.File(L"sub.txt").c_str(), nullptr);
    Touch(dir.File(L"sub.txt\\deep.txt"), 1);

    CFileList list;
    list.AddFileSpec(L"*.txt");
    list.AddFileSpec(L"*.log");
    list.AddFileSpec(L"a.*"); // a.txt again: listed once
    list.AddFileSpec(nullptr);
    ASSERT_EQ(4, list.FindFiles(dir.Path().c_str()));
    EXPECT_EQ(dir.File(L"c.txt"), list.GetFile(0));
    EXPECT_EQ(dir.File(L"a.txt"), list.GetFile(1)) << "same time: by name";
    EXPECT_EQ(dir.File(L"b.txt"), list.GetFile(2));
    EXPECT_EQ(dir.File(L"z.log"), list.GetFile(3));
    EXPECT_EQ(nullptr, list.GetFile(4));
    EXPECT_EQ(nullptr, list.GetFile(-1));

    EXPECT_EQ(5, list.FindFiles(dir.Path().c_str(), true)) << "recursive listing enters sub-folders";
    EXPECT_EQ(0, list.FindFiles(nullptr));
}
