#include <gtest/gtest.h>
#include "frame/KVRN_DllMain.h"
#include "system/IconCache.h"

namespace
{
const int kAppIcon = 219;

HICON Load(int id, int width, int height)
{
    return CIconCache::Load(CKVRN_DllMain::Instance()->GethInstance(), id, width, height);
}

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
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    return s;
}
}

TEST(CIconCache, LoadsEachSizeOnceAndForgetsFailures)
{
    for (int size : { 16, 32, 48 })
    {
        HICON icon = Load(kAppIcon, size, size);
        ASSERT_NE(nullptr, icon) << size;
        EXPECT_EQ(size, IconSize(icon).cx);
        EXPECT_EQ(size, IconSize(icon).cy);
    }
    const int held = CIconCache::Instance()->size();
    EXPECT_EQ(Load(kAppIcon, 32, 32), Load(kAppIcon, 32, 32)) << "a second load gives the cached handle";
    EXPECT_EQ(nullptr, Load(31999, 16, 16)) << "no such resource";
    EXPECT_EQ(nullptr, Load(0, 16, 16));
    EXPECT_EQ(nullptr, Load(kAppIcon, -1, 16));
    EXPECT_EQ(held, CIconCache::Instance()->size()) << "neither repeats nor failures are added";
}

TEST(CIconCache, FrameUnloadDeletesTheCacheAndItsIcons)
{
    HICON icon = Load(kAppIcon, 16, 16);
    ASSERT_NE(nullptr, icon);
    EXPECT_NE(nullptr, CKVRN_DllMain::s_deleteIconCache);
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CIconCache::Exists());
    EXPECT_EQ(nullptr, CKVRN_DllMain::s_deleteIconCache);
    ICONINFO info = {};
    EXPECT_FALSE(GetIconInfo(icon, &info)) << "the icons went with it";
    EXPECT_NE(nullptr, Load(kAppIcon, 16, 16)) << "a later use builds a fresh cache";
}
