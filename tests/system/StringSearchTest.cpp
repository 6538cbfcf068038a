#include <gtest/gtest.h>
#include "system/StringSearch.h"

namespace
{
const wchar_t* kDefinition = L"up.png, down.png,dis.png ,\thover.png, 10, 20, -80, 24, IDCANCEL";
}

TEST(CStringSearch, FieldsAreCountedFromZeroAndTrimmed)
{
    wchar_t out[64];
    ASSERT_TRUE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, 0, out, 64));
    EXPECT_STREQ(L"up.png", out);
    ASSERT_TRUE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, 2, out, 64));
    EXPECT_STREQ(L"dis.png", out);
    ASSERT_TRUE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, 3, out, 64));
    EXPECT_STREQ(L"hover.png", out);
    ASSERT_TRUE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, 8, out, 64));
    EXPECT_STREQ(L"IDCANCEL", out);
}

TEST(CStringSearch, MissingFieldLeavesOutputEmpty)
{
    wchar_t out[16] = L"stale";
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, 9, out, 16));
    EXPECT_STREQ(L"", out);
    wcscpy_s(out, L"stale");
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(kDefinition, -1, out, 16));
    EXPECT_STREQ(L"", out);
    wcscpy_s(out, L"stale");
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(nullptr, 0, out, 16));
    EXPECT_STREQ(L"", out);
}

TEST(CStringSearch, EmptyFieldsExist)
{
    wchar_t out[16] = L"stale";
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"a,,c", 1, out, 16));
    EXPECT_STREQ(L"", out);
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"a,,c,", 3, out, 16));
    EXPECT_STREQ(L"", out);
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"", 0, out, 16));
    EXPECT_STREQ(L"", out);
}

TEST(CStringSearch, LongFieldIsCutWithoutReadingTheNextOne)
{
    wchar_t out[4] = {};
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"abcdef,xyz", 0, out, 4));
    EXPECT_STREQ(L"abc", out);
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"ab,xyz", 0, out, 4));
    EXPECT_STREQ(L"ab", out);
    wchar_t one[1] = { L'x' };
    EXPECT_TRUE(CStringSearch::GetCommaDelimitedStringValue(L"ab", 0, one, 1));
    EXPECT_EQ(L'\0', one[0]);
}

TEST(CStringSearch, BadOutputIsRefused)
{
    wchar_t out[4] = L"ab";
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(L"x", 0, nullptr, 4));
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(L"x", 0, out, 0));
    EXPECT_STREQ(L"ab", out);
}

TEST(CStringSearch, IntegersWithDefaults)
{
    EXPECT_EQ(10, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 4, -1));
    EXPECT_EQ(-80, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 6, -1));
    EXPECT_EQ(24, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 7, -1));
    EXPECT_EQ(0, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 8, -1));  // a name reads as 0
    EXPECT_EQ(-1, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 9, -1));
    EXPECT_EQ(7, CStringSearch::GetCommaDelimitedIntegerValue(L"1,,3", 1, 7));
    EXPECT_EQ(7, CStringSearch::GetCommaDelimitedIntegerValue(nullptr, 0, 7));
}
