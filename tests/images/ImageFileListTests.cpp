#include <algorithm>
#include <gtest/gtest.h>
#include <cstring>
#include <string>
#include <vector>
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

std::string Terminator()
{
    return std::string(kHeader, '\0');
}

// Every file and folder directly inside `folder`.
std::vector<std::wstring> Listing(const std::wstring& folder)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return names;
    do
    {
        if (wcscmp(data.cFileName, L".") && wcscmp(data.cFileName, L".."))
            names.push_back(data.cFileName);
    } while (FindNextFileW(find, &data));
    FindClose(find);
    return names;
}

class ImageFileListTest : public ::testing::Test
{
protected:
    ImageFileListTest()
    {
        images = folder.File(L"images");
        out = folder.File(L"out");
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

TEST_F(ImageFileListTest, FindImagesListsTheSpecificationsInOrder)
{
    // Written in the opposite order of the specifications, so the order is theirs, not the disk's.
    ASSERT_TRUE(WriteFileBytes(images + L"\\e.gif", "g"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\d.bmp", "b"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\c.tif", "t"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\b.jpg", "j"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", "p"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\notes.txt", "x"));
    CreateDirectoryW((images + L"\\sub").c_str(), nullptr);
    ASSERT_TRUE(WriteFileBytes(images + L"\\sub\\deep.png", "p"));
    CImageFileList list;
    EXPECT_EQ(list.FindImages(&images[0]), 5);
    ASSERT_EQ(list.GetCount(), 5);
    const wchar_t* expected[] = { L"a.png", L"b.jpg", L"c.tif", L"d.bmp", L"e.gif" };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(std::wstring(list.GetFile(i)), images + L"\\" + expected[i]);
    DeleteFileW((images + L"\\sub\\deep.png").c_str());
    RemoveDirectoryW((images + L"\\sub").c_str());
}

TEST_F(ImageFileListTest, FindImagesOfAMissingFolderIsEmpty)
{
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", "p"));
    CImageFileList list;
    ASSERT_EQ(list.FindImages(&images[0]), 1);
    std::wstring missing = folder.File(L"missing");
    EXPECT_EQ(list.FindImages(&missing[0]), 0);
    EXPECT_EQ(list.GetCount(), 0);  // the earlier listing is cleared
    EXPECT_EQ(list.FindImages(nullptr), 0);
}

TEST_F(ImageFileListTest, ConcatenateWritesTheFormat)
{
    std::string a = "PNG bytes \x00\x01\x02", b(70000, 'z');  // b spans more than one copy chunk
    a.push_back('\0');
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", a));
    ASSERT_TRUE(WriteFileBytes(images + L"\\b.jpg", b));
    CImageFileList list;
    ASSERT_EQ(list.FindImages(&images[0]), 2);
    std::wstring package = folder.File(L"new folder\\pack.bin");  // the folder is created
    ASSERT_TRUE(list.Concatenate(&package[0]));
    std::string bytes = ReadFileBytes(package);
    EXPECT_EQ(bytes.size(), 3 * kHeader + a.size() + b.size());
    EXPECT_EQ(bytes, Header(L"a.png", a.size()) + Header(L"b.jpg", b.size()) + Terminator() + a + b);
    DeleteFileW(package.c_str());
    RemoveDirectoryW(folder.File(L"new folder").c_str());
}

TEST_F(ImageFileListTest, EmptyListMakesATerminatorOnlyPackage)
{
    CImageFileList list;
    list.FindImages(&images[0]);
    std::wstring package = folder.File(L"empty.pkg");
    ASSERT_TRUE(list.Concatenate(&package[0]));
    EXPECT_EQ(ReadFileBytes(package), Terminator());
    EXPECT_TRUE(Unpack(Terminator()));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, RoundTripByteForByte)
{
    std::string a(1000, '\0'), b, c;
    for (size_t i = 0; i < a.size(); ++i)
        a[i] = static_cast<char>(i * 7);
    b = "tiny";
    c.assign(200000, '\xAB');
    ASSERT_TRUE(WriteFileBytes(images + L"\\one.png", a));
    ASSERT_TRUE(WriteFileBytes(images + L"\\two.gif", b));
    ASSERT_TRUE(WriteFileBytes(images + L"\\three.bmp", c));
    ASSERT_TRUE(WriteFileBytes(out + L"\\two.gif", "old contents are replaced"));
    CImageFileList list;
    ASSERT_EQ(list.FindImages(&images[0]), 3);
    std::wstring package = folder.File(L"pack.bin");
    ASSERT_TRUE(list.Concatenate(&package[0]));
    ASSERT_TRUE(list.DeConcatenate(&package[0], &out[0]));
    EXPECT_EQ(ReadFileBytes(out + L"\\one.png"), a);
    EXPECT_EQ(ReadFileBytes(out + L"\\two.gif"), b);
    EXPECT_EQ(ReadFileBytes(out + L"\\three.bmp"), c);
    EXPECT_EQ(Listing(out).size(), 3u);
}

TEST_F(ImageFileListTest, DeConcatenateCreatesTheTargetFolder)
{
    std::wstring target = folder.File(L"made\\here");
    std::wstring package = folder.File(L"p.pkg");
    ASSERT_TRUE(WriteFileBytes(package, Header(L"x.png", 3) + Terminator() + "abc"));
    CImageFileList list;
    ASSERT_TRUE(list.DeConcatenate(&package[0], &target[0]));
    EXPECT_EQ(ReadFileBytes(target + L"\\x.png"), "abc");
    DeleteFileW((target + L"\\x.png").c_str());
    RemoveDirectoryW(target.c_str());
    RemoveDirectoryW(folder.File(L"made").c_str());
}

TEST_F(ImageFileListTest, CleanUpFilesDeletesTheListedFiles)
{
    ASSERT_TRUE(WriteFileBytes(images + L"\\a.png", "p"));
    ASSERT_TRUE(WriteFileBytes(images + L"\\keep.txt", "t"));
    CImageFileList list;
    list.FindImages(&images[0]);
    list.CleanUpFiles();
    EXPECT_FALSE(FileExists(images + L"\\a.png"));
    EXPECT_TRUE(FileExists(images + L"\\keep.txt"));
}

// ---- hostile packages ----------------------------------------------------------------------------

TEST_F(ImageFileListTest, RefusesNamesThatAreNotPlainFileNames)
{
    const wchar_t* names[] = { L"..\\evil.png", L"../evil.png", L"sub\\evil.png", L"C:evil.png", L"C:\\evil.png",
                               L"\\\\server\\share\\evil.png", L"..", L".", L"evil.png:stream", L"evil?.png",
                               L"CON", L"nul.png", L"COM1.gif", L"evil.png.", L"evil.png ", L"tab\tname.png" };
    for (const wchar_t* name : names)
    {
        EXPECT_FALSE(Unpack(Header(name, 4) + Terminator() + "evil")) << Narrow(name);
        EXPECT_TRUE(Listing(out).empty()) << Narrow(name);
    }
    EXPECT_FALSE(FileExists(folder.File(L"evil.png")));
    EXPECT_FALSE(FileExists(folder.Path() + L"\\..\\evil.png"));
}

TEST_F(ImageFileListTest, RefusesAnEmptyNameWithASize)
{
    // A header whose name is empty but whose size is not: not the terminator, and not a file.
    EXPECT_FALSE(Unpack(Header(L"", 4) + Terminator() + "evil"));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, RefusesAHostileNameAfterGoodOnesWithoutWritingAny)
{
    std::string package = Header(L"good.png", 2) + Header(L"..\\evil.png", 2) + Terminator() + "okev";
    EXPECT_FALSE(Unpack(package));
    EXPECT_TRUE(Listing(out).empty());  // checked whole before the first byte is written
}

TEST_F(ImageFileListTest, RefusesANameWithoutTerminator)
{
    std::wstring full(260, L'a');
    EXPECT_FALSE(Unpack(Header(full, 1) + Terminator() + "x"));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, RefusesTruncatedPackages)
{
    std::string good = Header(L"a.png", 5) + Terminator() + "12345";
    for (size_t cut : { size_t(0), size_t(1), size_t(527), size_t(528), size_t(1000), good.size() - 1 })
    {
        EXPECT_FALSE(Unpack(good.substr(0, cut))) << cut;
        EXPECT_TRUE(Listing(out).empty()) << cut;
    }
    EXPECT_TRUE(Unpack(good));
    EXPECT_EQ(ReadFileBytes(out + L"\\a.png"), "12345");
}

TEST_F(ImageFileListTest, RefusesMissingTerminator)
{
    EXPECT_FALSE(Unpack(Header(L"a.png", 3) + "abc"));
    EXPECT_FALSE(Unpack(Header(L"a.png", 3) + Header(L"b.png", 3)));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, RefusesSizesPastTheEnd)
{
    EXPECT_FALSE(Unpack(Header(L"a.png", 6) + Terminator() + "abc"));
    EXPECT_FALSE(Unpack(Header(L"a.png", 0xFFFFFFFFFFFFFFFFull) + Terminator() + "abc"));
    EXPECT_FALSE(Unpack(Header(L"a.png", 0x8000000000000000ull) + Header(L"b.png", 0x8000000000000003ull) +
                        Terminator() + "abc"));  // sums that wrap around
    EXPECT_FALSE(Unpack(Header(L"a.png", 2) + Header(L"b.png", 2) + Terminator() + "abc"));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, RefusesBytesBeyondTheAnnouncedSizes)
{
    EXPECT_FALSE(Unpack(Header(L"a.png", 2) + Terminator() + "abc"));
    EXPECT_TRUE(Listing(out).empty());
}

TEST_F(ImageFileListTest, MissingPackageFails)
{
    std::wstring missing = folder.File(L"missing.pkg");
    CImageFileList list;
    EXPECT_FALSE(list.DeConcatenate(&missing[0], &out[0]));
    EXPECT_FALSE(list.DeConcatenate(nullptr, &out[0]));
    EXPECT_FALSE(FileExists(missing));
}

TEST_F(ImageFileListTest, ZeroLengthFilesRoundTrip)
{
    EXPECT_TRUE(Unpack(Header(L"empty.png", 0) + Header(L"b.png", 1) + Terminator() + "b"));
    EXPECT_TRUE(FileExists(out + L"\\empty.png"));
    EXPECT_EQ(ReadFileBytes(out + L"\\empty.png"), "");
    EXPECT_EQ(ReadFileBytes(out + L"\\b.png"), "b");
}
