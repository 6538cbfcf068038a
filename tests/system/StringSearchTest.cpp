#include <gtest/gtest.h>
#include "system/StringSearch.h"

namespace
{
const wchar_t* kDefinition = L"up.png, down.png,dis.png ,\thover.png, 10, 20, -80, 24, IDCANCEL";

// Field `index` of `list` read into a 16-character buffer that held "stale"; "<false>" when refused.
std::wstring Field(const wchar_t* list, int index, int size = 16)
{
    wchar_t out[16] = L"stale";
    const bool found = CStringSearch::GetCommaDelimitedStringValue(list, index, out, size);
    return found ? std::wstring(out) : L"<false>" + std::wstring(out);
}
}

TEST(CStringSearch, StringFields)
{
    EXPECT_EQ(L"up.png", Field(kDefinition, 0)) << "counted from 0";
    EXPECT_EQ(L"dis.png", Field(kDefinition, 2)) << "blanks and tabs around a field are dropped";
    EXPECT_EQ(L"hover.png", Field(kDefinition, 3));
    EXPECT_EQ(L"IDCANCEL", Field(kDefinition, 8)) << "the last field";
    EXPECT_EQ(L"", Field(L"a,,c", 1)) << "an empty field exists";
    EXPECT_EQ(L"", Field(L"a,,c,", 3)) << "after a trailing comma";
    EXPECT_EQ(L"", Field(L"", 0));
    EXPECT_EQ(L"<false>", Field(kDefinition, 9)) << "one past the last field leaves the output empty";
    EXPECT_EQ(L"<false>", Field(kDefinition, -1));
    EXPECT_EQ(L"<false>", Field(nullptr, 0));
    EXPECT_EQ(L"abc", Field(L"abcdef,xyz", 0, 4)) << "cut to the buffer, not running into the next field";
    EXPECT_EQ(L"ab", Field(L"ab,xyz", 0, 4));
    EXPECT_EQ(L"", Field(L"ab", 0, 1)) << "a one-character buffer holds only the terminator";
    EXPECT_EQ(L"<false>stale", Field(L"x", 0, 0)) << "size 0: nothing written";
    EXPECT_FALSE(CStringSearch::GetCommaDelimitedStringValue(L"x", 0, nullptr, 4));
}

TEST(CStringSearch, IntegerFields)
{
    EXPECT_EQ(10, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 4, -1));
    EXPECT_EQ(-80, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 6, -1)) << "sign";
    EXPECT_EQ(0, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 8, -1)) << "a name reads as 0";
    EXPECT_EQ(-1, CStringSearch::GetCommaDelimitedIntegerValue(kDefinition, 9, -1)) << "missing field";
    EXPECT_EQ(7, CStringSearch::GetCommaDelimitedIntegerValue(L"1,,3", 1, 7)) << "empty field";
    EXPECT_EQ(7, CStringSearch::GetCommaDelimitedIntegerValue(nullptr, 0, 7));
}
