#include <algorithm>
#include <gtest/gtest.h>
#include <cstring>
#include <string>
#include <vector>
#include <shlwapi.h>
#include "images/ImageFileList.h"
#include "support/TestSupport.h"

using namespace veskon_test;

namespace
{
const size_t kHeader = 528;

std::string Header(const std::wstring& name, unsigned long long size)
{
    std::string header(kHeader, '\0');
    memcpy(&header[0], name.data(), std::min<size_t>(name.size(), 260) * 2);
    for (int i = 0; i < 8; ++i)
        header[520 + static_cast<size_t>(i)] = static_cast<char>((size >> (8 * i)) & 0xFF);
    return header;
}

const std::string kTerminator(kHeader, '\0');

bool Empty(const std::wstring& folder)
{
    return PathIsDirectoryEmptyW(folder.c_str()) != FALSE;
}

class ImageFileListTest : public ::testing::Test
{
protected:
    ImageFileListTest() : images(folder.File(L"images")), out(folder.File(L"out"))
    {
        CreateDirectoryW(images.c_str(), nullptr);
        CreateDirectoryW(out.c_str(), nullptr);
    }
    // Unpacks `bytes` as a package into the out folder.
    bool Unpack(const std::string& bytes)
    {
        std::wstring package = folder.File(L"input.pkg");
        EXPECT_TRUE(WriteFileBytes(package, bytes));
        CImageFileList list;
        return list.DeConcatenate(&package[0], &out[0]);
    }

    ScratchFolder folder;
    std::wstring images;
    std::wstring out;
};
}

TEST_F(ImageFileListTest, FindImagesListsTheSpecificationsInOrderAndCleansThemUp)
{
    // Written in the opposite order of the specifications, so the order is theirs, not the disk's.
    for (const wchar_t* name : { L"e.gif", L"d.bmp", L"c.tif", L"b.jpg", L"a.png", L"notes.txt" })
        ASSERT_TRUE(WriteFileBytes(images + L"\\" + name, "x"));
    CreateDirectoryW((images + L"\\sub").c_str(), nullptr);
    ASSERT_TRUE(WriteFileBytes(images + L"\\sub\\deep.png", "p"));
    CImageFileList list;
    EXPECT_EQ(list.FindImages(&images[0]), 5);
    ASSERT_EQ(list.GetCount(), 5);
    const wchar_t* expected[] = { L"a.png", L"b.jpg", L"c.tif", L"d.bmp", L"e.gif" };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(std::wstring(list.GetFile(i)), images + L"\\" + expected[i]);
    list.CleanUpFiles();
    for (const wchar_t* name : expected)
        EXPECT_FALSE(FileExists(images + L"\\" + name)) << Narrow(name);
    EXPECT_TRUE(FileExists(images + L"\\notes.txt") && FileExists(images + L"\\sub\\deep.png"))
        << "only the listed files are deleted";

    std::wstring missing = folder.File(L"missing");
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", "p"));
    ASSERT_EQ(list.FindImages(&images[0]), 1);
    EXPECT_EQ(list.FindImages(&missing[0]), 0);
    EXPECT_EQ(list.GetCount(), 0) << "the earlier listing is cleared";
    EXPECT_EQ(list.FindImages(nullptr), 0);
}

TEST_F(ImageFileListTest, ConcatenateWritesTheFormatAndDeConcatenateReadsItBack)
{
    std::string a("PNG bytes \x00\x01\x02", 13), b(70000, 'z');  // b spans more than one copy chunk
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", a));
    ASSERT_TRUE(WriteFileBytes(images + L"\\b.jpg", b));
    ASSERT_TRUE(WriteFileBytes(out + L"\\b.jpg", "old contents are replaced"));
    CImageFileList list;
    ASSERT_EQ(list.FindImages(&images[0]), 2);
    std::wstring package = folder.File(L"new folder\\pack.bin");  // the folder is created
    ASSERT_TRUE(list.Concatenate(&package[0]));
    std::string bytes = ReadFileBytes(package);
    EXPECT_EQ(bytes.size(), 3 * kHeader + a.size() + b.size());
    EXPECT_EQ(bytes, Header(L"a.png", a.size()) + Header(L"b.jpg", b.size()) + kTerminator + a + b);
    ASSERT_TRUE(list.DeConcatenate(&package[0], &out[0]));
    EXPECT_EQ(ReadFileBytes(out + L"\\a.png"), a);
    EXPECT_EQ(ReadFileBytes(out + L"\\b.jpg"), b);
}

TEST_F(ImageFileListTest, EmptyListsEmptyFilesAndANewTargetFolder)
{
    CImageFileList list;
    list.FindImages(&images[0]);
    std::wstring package = folder.File(L"empty.pkg");
    ASSERT_TRUE(list.Concatenate(&package[0]));
    EXPECT_EQ(ReadFileBytes(package), kTerminator);
    EXPECT_TRUE(Unpack(kTerminator));
    EXPECT_TRUE(Empty(out));

    std::wstring target = folder.File(L"made\\here");
    ASSERT_TRUE(WriteFileBytes(package, Header(L"empty.png", 0) + Header(L"x.png", 3) + kTerminator + "abc"));
    ASSERT_TRUE(list.DeConcatenate(&package[0], &target[0]));
    EXPECT_TRUE(FileExists(target + L"\\empty.png"));
    EXPECT_EQ(ReadFileBytes(target + L"\\empty.png"), "");
    EXPECT_EQ(ReadFileBytes(target + L"\\x.png"), "abc");

    std::wstring missing = folder.File(L"missing.pkg");
    EXPECT_FALSE(list.DeConcatenate(&missing[0], &out[0]));
    EXPECT_FALSE(list.DeConcatenate(nullptr, &out[0]));
    EXPECT_FALSE(FileExists(missing));
}

// ---- hostile packages: each is refused whole, and nothing is written anywhere ----------------

TEST_F(ImageFileListTest, RefusesNamesThatAreNotPlainFileNames)
{
    const std::wstring names[] = { L"..\\evil.png", L"../evil.png", L"C:evil.png", L"..", L"evil.png ", L"nul.png",
                                   L"COM1.gif", L"tab\tname.png", L"", std::wstring(260, L'a') };
    for (const std::wstring& name : names)
    {
        EXPECT_FALSE(Unpack(Header(name, 4) + kTerminator + "evil")) << Narrow(name);
        EXPECT_TRUE(Empty(out)) << Narrow(name);
    }
    EXPECT_FALSE(Unpack(Header(L"good.png", 2) + Header(L"..\\evil.png", 2) + kTerminator + "okev"));
    EXPECT_TRUE(Empty(out)) << "checked whole before the first byte is written";
    EXPECT_FALSE(FileExists(folder.File(L"evil.png")));
    EXPECT_FALSE(FileExists(folder.Path() + L"\\..\\evil.png"));
}

TEST_F(ImageFileListTest, RefusesMissingTerminatorsAndWrongSizes)
{
    std::string good = Header(L"a.png", 5) + kTerminator + "12345";
    for (size_t cut : { size_t(0), size_t(527), 2 * kHeader - 1, good.size() - 1 })
        EXPECT_FALSE(Unpack(good.substr(0, cut))) << "cut at " << cut;
    EXPECT_FALSE(Unpack(Header(L"a.png", 0xFFFFFFFFFFFFFFFFull) + kTerminator + "abc"));
    EXPECT_FALSE(Unpack(Header(L"a.png", 0x8000000000000000ull) + Header(L"b.png", 0x8000000000000003ull) +
                        kTerminator + "abc"))
        << "sizes whose sum wraps around";
    EXPECT_FALSE(Unpack(Header(L"a.png", 2) + kTerminator + "abc")) << "bytes beyond the announced sizes";
    EXPECT_TRUE(Empty(out));
    EXPECT_TRUE(Unpack(good));
    EXPECT_EQ(ReadFileBytes(out + L"\\a.png"), "12345");
}
