#include <gtest/gtest.h>
#include "frame/KVRN_DllMain.h"
#include "system/IconCache.h"

namespace
{
const int kAppIcon = 219;

SIZE IconSize(HICON icon)
{
    SIZE s = { 0, 0 };
    ICONINFO info = {};
    if (!GetIconInfo(icon, &info))
        return s;
    BITMAP bm = {};
    GetObjectW(info.hbmColor ? info.hbmColor : info.hbmMask, sizeof(bm), &bm);
    s.cx = bm.bmWidth;
    s.cy = info.hbmColor ? bm.bmHeight : bm.bmHeight / 2;
    if (info.hbmColor)
        DeleteObject(info.hbmColor);
    if (info.hbmMask)
        DeleteObject(info.hbmMask);
    return s;
}
}

TEST(CIconCache, AppIconAtEverySize)
{
    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    for (int size : { 16, 32, 48 })
    {
        HICON icon = CIconCache::Instance()->Load(library, kAppIcon, size, size);
        ASSERT_NE(nullptr, icon) << size;
        SIZE s = IconSize(icon);
        EXPECT_EQ(size, s.cx);
        EXPECT_EQ(size, s.cy);
    }
}

TEST(CIconCache, SecondLoadReturnsTheSameHandle)
{
    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    HICON first = CIconCache::Instance()->Load(library, kAppIcon, 32, 32);
    const int held = CIconCache::Instance()->size();
    HICON second = CIconCache::Instance()->Load(library, kAppIcon, 32, 32);
    EXPECT_EQ(first, second);
    EXPECT_EQ(held, CIconCache::Instance()->size());
}

TEST(CIconCache, MissingIconIsNullAndNotRemembered)
{
    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    const int held = CIconCache::Instance()->size();
    EXPECT_EQ(nullptr, CIconCache::Instance()->Load(library, 31999, 16, 16));
    EXPECT_EQ(nullptr, CIconCache::Instance()->Load(library, 0, 16, 16));
    EXPECT_EQ(nullptr, CIconCache::Instance()->Load(library, kAppIcon, -1, 16));
    EXPECT_EQ(held, CIconCache::Instance()->size());
}

TEST(CIconCache, FrameUnloadDeletesTheCache)
{
    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    HICON icon = CIconCache::Instance()->Load(library, kAppIcon, 16, 16);
    ASSERT_NE(nullptr, icon);
    ASSERT_TRUE(CIconCache::Exists());
    EXPECT_NE(nullptr, CKVRN_DllMain::s_deleteIconCache);
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CIconCache::Exists());
    EXPECT_EQ(nullptr, CKVRN_DllMain::s_deleteIconCache);
    // The icons went with it.
    ICONINFO info = {};
    EXPECT_FALSE(GetIconInfo(icon, &info));
    // A later use builds a fresh cache.
    EXPECT_NE(nullptr, CIconCache::Instance()->Load(CKVRN_DllMain::Instance()->GethInstance(), kAppIcon, 16, 16));
}
