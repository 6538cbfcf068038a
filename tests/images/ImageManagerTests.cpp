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

    // A fresh manager with caching "1", "0" or, for null, the value missing.
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

TEST_F(ImageManagerTest, CachingIsOnByDefaultAndRelativeNamesComeFromTheGuiFolder)
{
    CImageManager* manager = Manager(nullptr);
    std::wstring name = L"veskon_logo_" + std::to_wstring(GetCurrentProcessId()) + L".png";
    std::wstring full = Image(name), missingFolder = folder.File(L"no such folder"), gui = folder.Path();
    EXPECT_FALSE(manager->SetGUIFolder(W(missingFolder)));
    int index = 5;
    EXPECT_EQ(manager->Add(W(name), nullptr, index, true), nullptr) << "no GUI folder yet";
    EXPECT_EQ(index, -1);
    ASSERT_TRUE(manager->SetGUIFolder(W(gui)));
    CAlphaChannelImage* image = manager->Add(W(name), nullptr, index, true);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(index, 0);
    int again = -1;
    EXPECT_EQ(manager->Add(W(name), nullptr, again, true), image);
    EXPECT_EQ(again, 0);
    for (wchar_t& c : full)
        c = towupper(c);
    EXPECT_EQ(manager->Add(W(full), nullptr, again, true), image) << "stored under the full path, any case";
    EXPECT_EQ(again, 0);
    EXPECT_EQ(manager->size(), 1);

    ASSERT_NE(CKVRN_DllMain::s_deleteImageManager, nullptr);
    CKVRN_DllMain::s_deleteImageManager();
    EXPECT_EQ(CImageManager::Instance()->size(), 0) << "unloading the frame deleted the manager";
}

TEST_F(ImageManagerTest, CachingOffDecodesEveryAddAndFreesAtOnce)
{
    CImageManager* manager = Manager(L"0");
    std::wstring path = Image(L"half.png", Argb(128, 0, 0, 200));
    CAlphaChannelImage* plain = manager->Add(W(path), false);
    CAlphaChannelImage* premultiplied = manager->Add(W(path), nullptr);
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(premultiplied, nullptr);
    EXPECT_NE(plain, premultiplied);
    EXPECT_EQ(manager->size(), 2);
    DWORD before = DibPixels(plain->GetHBitmap())[0], after = DibPixels(premultiplied->GetHBitmap())[0];
    EXPECT_EQ(after & 0xFF, (before & 0xFF) * 128 / 255) << "the option is the premultiply flag";
    int found = -1;
    EXPECT_EQ(manager->Get(W(path), nullptr, found), plain) << "the look-up finds the first";
    EXPECT_EQ(found, 0);

    EXPECT_TRUE(manager->Free(W(path), nullptr, false));
    EXPECT_EQ(manager->Get(0), nullptr);
    EXPECT_EQ(manager->Get(W(path), nullptr, found), premultiplied) << "next entry of that path";
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(manager->Free(premultiplied, false));
    EXPECT_FALSE(manager->Free(premultiplied, false)) << "already gone";
    EXPECT_FALSE(manager->Free(W(path), nullptr, false));
    EXPECT_EQ(manager->size(), 2) << "freed entries keep their places";
}

TEST_F(ImageManagerTest, FreeWithCachingOnNeedsForce)
{
    CImageManager* manager = Manager(L"1");
    std::wstring path = Image(L"c.png"), other = folder.File(L"other.png");
    int index = -1;
    CAlphaChannelImage* image = manager->Add(W(path), nullptr, index, true);
    ASSERT_NE(image, nullptr);
    EXPECT_TRUE(manager->Free(index, false));
    EXPECT_EQ(manager->Get(index), image);
    EXPECT_EQ(image->GetWidth(), 4) << "still usable";
    EXPECT_FALSE(manager->Free(1, true));
    EXPECT_FALSE(manager->Free(-1, true));
    EXPECT_FALSE(manager->Free(W(other), nullptr, true));
    EXPECT_FALSE(manager->Free(static_cast<CAlphaChannelImage*>(nullptr), true));
    EXPECT_EQ(manager->Get(-1), nullptr);
    EXPECT_EQ(manager->Get(1), nullptr);

    EXPECT_TRUE(manager->Free(index, true));
    EXPECT_EQ(manager->Get(index), nullptr);
    EXPECT_EQ(manager->size(), 1);
    int found = 7;
    EXPECT_EQ(manager->Get(W(path), nullptr, found), nullptr);
    EXPECT_EQ(found, -1);
    EXPECT_FALSE(manager->Free(W(path), nullptr, true)) << "its path was emptied";
    CAlphaChannelImage* again = manager->Add(W(path), nullptr, index, true);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(index, 1) << "added again as a new entry";
    EXPECT_EQ(manager->Get(W(path), nullptr, found), again);
    EXPECT_EQ(found, 1);
}

TEST_F(ImageManagerTest, BadNamesLeaveNoEntry)
{
    CImageManager* manager = Manager(L"1");
    int index = 5;
    EXPECT_EQ(manager->Add(nullptr, nullptr, index, true), nullptr);
    EXPECT_EQ(index, -1);
    std::wstring empty(1, L'\0'), missing = folder.File(L"missing.png"), garbage = folder.File(L"garbage.png");
    ASSERT_TRUE(WriteFileBytes(garbage, "not an image"));
    EXPECT_EQ(manager->Add(&empty[0]), nullptr);
    EXPECT_EQ(manager->Add(W(missing)), nullptr);
    index = 5;
    EXPECT_EQ(manager->Add(W(garbage), nullptr, index, true), nullptr);
    EXPECT_EQ(index, -1);
    std::wstring huge(5000, L'x'), gui = folder.Path();
    manager->SetGUIFolder(W(gui));
    EXPECT_EQ(manager->Add(W(huge)), nullptr);
    EXPECT_EQ(manager->size(), 0);
}
