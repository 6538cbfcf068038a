#include <gtest/gtest.h>
#include <string>
#include "files/FileIO.h"
#include "frame/KVRN_DllMain.h"
#include "frame/RegistryEx.h"
#include "images/ImageManager.h"
#include "layered/AlphaChannelImage.h"
#include "support/TestImages.h"
#include "support/TestSupport.h"

using namespace veskon_test;

namespace
{
const wchar_t kKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
const wchar_t kValue[] = L"ImageManagerCacheingEnabled";

// Each test gets a manager created under its own caching setting and deletes it at the end, so
// that the next test reads the setting afresh; the registry value is put back as it was.
class ImageManagerTest : public ::testing::Test
{
protected:
    ImageManagerTest() : guard(HKEY_LOCAL_MACHINE, kKey, kValue) { delete CImageManager::Instance(); }
    ~ImageManagerTest() override { delete CImageManager::Instance(); }

    CImageManager* Manager(const wchar_t* caching)
    {
        if (caching)
            CRegistryEx::Set(HKEY_LOCAL_MACHINE, const_cast<wchar_t*>(kKey), const_cast<wchar_t*>(kValue),
                             const_cast<wchar_t*>(caching));
        else
            CRegistryEx::DeleteValue(HKEY_LOCAL_MACHINE, const_cast<wchar_t*>(kKey), const_cast<wchar_t*>(kValue));
        delete CImageManager::Instance();
        return CImageManager::Instance();
    }
    std::wstring Image(const std::wstring& name, DWORD argb = Argb(255, 10, 20, 30))
    {
        std::wstring path = folder.File(name);
        EXPECT_TRUE(SaveSolidPng(path, 4, 3, argb));
        return path;
    }

    RegistryValueGuard guard;
    ScratchFolder folder;
};

wchar_t* W(std::wstring& s)
{
    return &s[0];
}
}

TEST_F(ImageManagerTest, CachingIsOnByDefault)
{
    CImageManager* manager = Manager(nullptr);
    std::wstring path = Image(L"a.png");
    int first = -1, second = -1;
    CAlphaChannelImage* a = manager->Add(W(path), nullptr, first, true);
    CAlphaChannelImage* b = manager->Add(W(path), nullptr, second, true);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a, b);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(manager->size(), 1);
}

TEST_F(ImageManagerTest, CachedLookUpIgnoresCase)
{
    CImageManager* manager = Manager(L"1");
    std::wstring path = Image(L"Mixed.png");
    std::wstring upper = path;
    for (wchar_t& c : upper)
        c = towupper(c);
    int i1 = -1, i2 = -1;
    CAlphaChannelImage* a = manager->Add(W(path), nullptr, i1, true);
    CAlphaChannelImage* b = manager->Add(W(upper), nullptr, i2, true);
    EXPECT_EQ(a, b);
    EXPECT_EQ(i2, i1);
    int found = -1;
    EXPECT_EQ(manager->Get(W(upper), nullptr, found), a);
    EXPECT_EQ(found, i1);
}

TEST_F(ImageManagerTest, CachingOffDecodesEveryAdd)
{
    CImageManager* manager = Manager(L"0");
    std::wstring path = Image(L"b.png");
    int first = -1, second = -1;
    CAlphaChannelImage* a = manager->Add(W(path), nullptr, first, true);
    CAlphaChannelImage* b = manager->Add(W(path), nullptr, second, true);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(manager->size(), 2);
    int found = -1;
    EXPECT_EQ(manager->Get(W(path), nullptr, found), a);  // the look-up finds the first
    EXPECT_EQ(found, 0);
}

TEST_F(ImageManagerTest, FreeWithCachingOnNeedsForce)
{
    CImageManager* manager = Manager(L"1");
    std::wstring path = Image(L"c.png");
    int index = -1;
    CAlphaChannelImage* image = manager->Add(W(path), nullptr, index, true);
    ASSERT_NE(image, nullptr);
    EXPECT_TRUE(manager->Free(index, false));
    EXPECT_EQ(manager->Get(index), image);
    EXPECT_EQ(image->GetWidth(), 4);  // still usable
    EXPECT_TRUE(manager->Free(index, true));
    EXPECT_EQ(manager->Get(index), nullptr);
    EXPECT_EQ(manager->size(), 1);
    int found = 7;
    EXPECT_EQ(manager->Get(W(path), nullptr, found), nullptr);
    EXPECT_EQ(found, -1);
    EXPECT_FALSE(manager->Free(W(path), nullptr, true));  // its path was emptied
}

TEST_F(ImageManagerTest, FreeWithCachingOffFreesAtOnce)
{
    CImageManager* manager = Manager(L"0");
    std::wstring a = Image(L"d.png"), b = Image(L"e.png"), c = Image(L"f.png");
    CAlphaChannelImage* imageA = manager->Add(W(a));
    CAlphaChannelImage* imageB = manager->Add(W(b));
    CAlphaChannelImage* imageC = manager->Add(W(c));
    EXPECT_TRUE(manager->Free(W(b), nullptr, false));
    EXPECT_EQ(manager->Get(1), nullptr);
    EXPECT_TRUE(manager->Free(imageC, false));
    EXPECT_EQ(manager->Get(2), nullptr);
    EXPECT_FALSE(manager->Free(imageC, false));  // already gone
    EXPECT_EQ(manager->Get(0), imageA);          // indexes are stable
    EXPECT_EQ(manager->size(), 3);
    (void)imageB;
}

TEST_F(ImageManagerTest, FreeUnknownEntriesFails)
{
    CImageManager* manager = Manager(L"1");
    std::wstring path = Image(L"g.png");
    manager->Add(W(path));
    std::wstring other = folder.File(L"other.png");
    EXPECT_FALSE(manager->Free(5, true));
    EXPECT_FALSE(manager->Free(-1, true));
    EXPECT_FALSE(manager->Free(W(other), nullptr, true));
    EXPECT_FALSE(manager->Free(static_cast<CAlphaChannelImage*>(nullptr), true));
    EXPECT_EQ(manager->Get(1), nullptr);
    EXPECT_EQ(manager->Get(-1), nullptr);
    EXPECT_NE(manager->Get(0), nullptr);
}

TEST_F(ImageManagerTest, ReAddAfterForcedFreeMakesANewEntry)
{
    CImageManager* manager = Manager(L"1");
    std::wstring path = Image(L"h.png");
    int first = -1, again = -1;
    manager->Add(W(path), nullptr, first, true);
    ASSERT_TRUE(manager->Free(first, true));
    CAlphaChannelImage* image = manager->Add(W(path), nullptr, again, true);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(again, 1);
    int found = -1;
    EXPECT_EQ(manager->Get(W(path), nullptr, found), image);
    EXPECT_EQ(found, 1);
}

TEST_F(ImageManagerTest, RelativeNamesComeFromTheGuiFolder)
{
    CImageManager* manager = Manager(L"1");
    std::wstring name = L"veskon_logo_" + std::to_wstring(GetCurrentProcessId()) + L".png";
    Image(name);
    std::wstring missingFolder = folder.File(L"no such folder");
    EXPECT_FALSE(manager->SetGUIFolder(W(missingFolder)));
    int index = -1;
    EXPECT_EQ(manager->Add(W(name), nullptr, index, true), nullptr);  // no GUI folder yet
    EXPECT_EQ(index, -1);
    std::wstring gui = folder.Path();
    ASSERT_TRUE(manager->SetGUIFolder(W(gui)));
    CAlphaChannelImage* image = manager->Add(W(name), nullptr, index, true);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(index, 0);
    int again = -1;
    EXPECT_EQ(manager->Add(W(name), nullptr, again, true), image);
    EXPECT_EQ(again, 0);
    std::wstring full = folder.File(name);
    int found = -1;
    EXPECT_EQ(manager->Get(W(full), nullptr, found), image);  // stored under the full path
}

TEST_F(ImageManagerTest, TheOptionIsThePremultiplyFlag)
{
    CImageManager* manager = Manager(L"0");
    std::wstring path = Image(L"half.png", Argb(128, 0, 0, 200));
    CAlphaChannelImage* plain = manager->Add(W(path), false);
    CAlphaChannelImage* premultiplied = manager->Add(W(path), nullptr);
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(premultiplied, nullptr);
    DWORD before = DibPixels(plain->GetHBitmap())[0];
    DWORD after = DibPixels(premultiplied->GetHBitmap())[0];
    EXPECT_EQ(after & 0xFF, (before & 0xFF) * 128 / 255);
}

TEST_F(ImageManagerTest, BadNamesLeaveNoEntry)
{
    CImageManager* manager = Manager(L"1");
    int index = 5;
    EXPECT_EQ(manager->Add(nullptr, nullptr, index, true), nullptr);
    EXPECT_EQ(index, -1);
    std::wstring empty;
    empty.resize(1);
    EXPECT_EQ(manager->Add(&empty[0]), nullptr);
    std::wstring missing = folder.File(L"missing.png");
    EXPECT_EQ(manager->Add(W(missing)), nullptr);
    std::wstring garbage = folder.File(L"garbage.png");
    ASSERT_TRUE(WriteFileBytes(garbage, "not an image"));
    index = 5;
    EXPECT_EQ(manager->Add(W(garbage), nullptr, index, true), nullptr);
    EXPECT_EQ(index, -1);
    std::wstring huge(5000, L'x');
    std::wstring gui = folder.Path();
    manager->SetGUIFolder(W(gui));
    EXPECT_EQ(manager->Add(W(huge)), nullptr);
    EXPECT_EQ(manager->size(), 0);
}

TEST_F(ImageManagerTest, UnloadOfTheFrameDeletesTheManager)
{
    CImageManager* manager = Manager(L"1");
    ASSERT_NE(manager, nullptr);
    ASSERT_NE(CKVRN_DllMain::s_deleteImageManager, nullptr);
    std::wstring path = Image(L"unload.png");
    manager->Add(W(path));
    CKVRN_DllMain::s_deleteImageManager();
    // A fresh manager after the old one was deleted: empty.
    EXPECT_EQ(CImageManager::Instance()->size(), 0);
}

TEST_F(ImageManagerTest, CachedAddAmongManyEntries)
{
    // Many entries of one file (caching off adds each), then the cached look-up of another file
    // still finds the right entry.
    CImageManager* manager = Manager(L"0");
    std::wstring a = Image(L"many.png"), b = Image(L"target.png");
    for (int i = 0; i < 50; ++i)
        manager->Add(W(a));
    int index = -1;
    CAlphaChannelImage* target = manager->Add(W(b), nullptr, index, true);
    EXPECT_EQ(index, 50);
    int found = -1;
    EXPECT_EQ(manager->Get(W(b), nullptr, found), target);
    EXPECT_EQ(found, 50);
    ASSERT_TRUE(manager->Free(0, false));
    EXPECT_EQ(manager->Get(W(a), nullptr, found), manager->Get(1));  // next entry of that path
    EXPECT_EQ(found, 1);
}
