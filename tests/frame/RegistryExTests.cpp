// CRegistryEx: every read goes through the string read (strings, signed DWORDs, QWORDs' low half);
// the ranged read never clamps; numbers are written as decimal strings; zero DWORDs are refused by
// SetDWORD on purpose. Each case works in its own scratch key under HKEY_CURRENT_USER.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "frame/RegistryEx.h"
#include "support/TestSupport.h"

using veskon_test::ScratchRegistryKey;

namespace
{
void PutRaw(ScratchRegistryKey& key, const wchar_t* name, DWORD type, const void* data, DWORD bytes)
{
    HKEY opened = nullptr;
    ASSERT_EQ(RegOpenKeyExW(key.Root(), key.Key(), 0, KEY_SET_VALUE, &opened), ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
    RegCloseKey(opened);
}

void PutString(ScratchRegistryKey& key, const wchar_t* name, const std::wstring& text)
{
    PutRaw(key, name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void PutDword(ScratchRegistryKey& key, const wchar_t* name, DWORD value)
{
    PutRaw(key, name, REG_DWORD, &value, sizeof(value));
}

struct RawValue
{
    bool found = false;
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;
};

RawValue ReadRaw(HKEY root, const std::wstring& key, const wchar_t* name)
{
    RawValue raw;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return raw;
    DWORD bytes = 0;
    if (RegQueryValueExW(opened, name, nullptr, &raw.type, nullptr, &bytes) == ERROR_SUCCESS)
    {
        raw.bytes.resize(bytes);
        raw.found = RegQueryValueExW(opened, name, nullptr, &raw.type, raw.bytes.data(), &bytes) == ERROR_SUCCESS;
    }
    RegCloseKey(opened);
    return raw;
}

std::wstring AsText(const RawValue& raw)
{
    return std::wstring(reinterpret_cast<const wchar_t*>(raw.bytes.data()), raw.bytes.size() / sizeof(wchar_t));
}

std::wstring Read(ScratchRegistryKey& key, const wchar_t* name, int size = MAX_PATH)
{
    std::vector<wchar_t> data(static_cast<size_t>(size) + 1, L'#');
    if (!CRegistryEx::Get(key.Root(), key.Key(), const_cast<wchar_t*>(name), data.data(), size))
        return L"<false:" + std::wstring(data.data(), wcsnlen(data.data(), static_cast<size_t>(size))) + L">";
    return data.data();
}
}

// ---- the string read -----------------------------------------------------------------------

TEST(RegistryExGet, ReadsStringsAsStored)
{
    ScratchRegistryKey key;
    PutString(key, L"s", L"hello world");
    EXPECT_EQ(Read(key, L"s"), L"hello world");
}

TEST(RegistryExGet, ReadsDwordsAsSignedDecimal)
{
    ScratchRegistryKey key;
    PutDword(key, L"four", 4);
    PutDword(key, L"all", 0xFFFFFFFFu);
    PutDword(key, L"big", 0x80000000u);
    EXPECT_EQ(Read(key, L"four"), L"4");
    EXPECT_EQ(Read(key, L"all"), L"-1");
    EXPECT_EQ(Read(key, L"big"), L"-2147483648");
}

TEST(RegistryExGet, ReadsOnlyTheLowHalfOfQwords)
{
    ScratchRegistryKey key;
    unsigned long long five = 0x0000000700000005ull;
    unsigned long long minusTwo = 0x00000000FFFFFFFEull;
    PutRaw(key, L"five", REG_QWORD, &five, sizeof(five));
    PutRaw(key, L"m2", REG_QWORD, &minusTwo, sizeof(minusTwo));
    EXPECT_EQ(Read(key, L"five"), L"5");
    EXPECT_EQ(Read(key, L"m2"), L"-2");
}

TEST(RegistryExGet, ReturnsOtherTypesAsRawBytes)
{
    ScratchRegistryKey key;
    const wchar_t expand[] = L"%TEMP%\\x";
    PutRaw(key, L"expand", REG_EXPAND_SZ, expand, sizeof(expand));
    const BYTE binary[] = { 'A', 0, 'B', 0 };
    PutRaw(key, L"binary", REG_BINARY, binary, sizeof(binary));
    const wchar_t unterminated[] = { L'a', L'b', L'c' };
    PutRaw(key, L"bare", REG_SZ, unterminated, sizeof(unterminated));
    const BYTE odd[] = { 'Z', 0, 'Y' };
    PutRaw(key, L"odd", REG_BINARY, odd, sizeof(odd));

    EXPECT_EQ(Read(key, L"expand"), L"%TEMP%\\x"); // not expanded
    EXPECT_EQ(Read(key, L"binary"), L"AB");
    EXPECT_EQ(Read(key, L"bare"), L"abc");
    // A dangling odd byte is not half a character.
    EXPECT_EQ(Read(key, L"odd"), L"Z");
}

TEST(RegistryExGet, MissingValueEmptiesTheBufferMissingKeyLeavesIt)
{
    ScratchRegistryKey key;
    EXPECT_EQ(Read(key, L"absent"), L"<false:>");

    wchar_t data[16] = L"keep";
    wchar_t missingKey[] = L"Software\\VeskonTests\\no such key at all";
    wchar_t name[] = L"x";
    EXPECT_FALSE(CRegistryEx::Get(HKEY_CURRENT_USER, missingKey, name, data, 16));
    EXPECT_STREQ(data, L"keep");
}

TEST(RegistryExGet, RefusesMissingArgumentsWithoutTouchingTheBuffer)
{
    ScratchRegistryKey key;
    PutString(key, L"s", L"value");
    wchar_t data[16] = L"keep";
    wchar_t empty[] = L"";
    wchar_t name[] = L"s";
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), nullptr, name, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), empty, name, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), nullptr, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), empty, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), name, data, 0));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), name, nullptr, 16));
    EXPECT_STREQ(data, L"keep");
}

TEST(RegistryExGet, StringLongerThanTheCapacityReadsAsEmptyAndFalse)
{
    ScratchRegistryKey key;
    PutString(key, L"ten", L"abcdefghij");
    PutString(key, L"four", L"abcd");
    EXPECT_EQ(Read(key, L"ten", 5), L"<false:>");
    // Four characters and the terminator fit exactly into five.
    EXPECT_EQ(Read(key, L"four", 5), L"abcd");
}

TEST(RegistryExGet, HugeValueReadsAsEmptyAndTheTypedReadsGiveTheirDefaults)
{
    ScratchRegistryKey key;
    PutString(key, L"huge", std::wstring(100000, L'7'));
    EXPECT_EQ(Read(key, L"huge"), L"<false:>");
    wchar_t name[] = L"huge";
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), name, 42, 0, 100), 42);
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), name, false));
}

TEST(RegistryExGet, DwordIntoATinyBufferStaysInsideIt)
{
    ScratchRegistryKey key;
    PutDword(key, L"n", 123456);
    wchar_t data[8];
    wmemset(data, L'#', 8);
    wchar_t name[] = L"n";
    // Three characters hold the four bytes of the query; the number is cut, nothing beyond is written.
    EXPECT_TRUE(CRegistryEx::Get(key.Root(), key.Key(), name, data, 3));
    EXPECT_STREQ(data, L"12");
    EXPECT_EQ(data[3], L'#');
    EXPECT_EQ(data[7], L'#');
}

// ---- typed reads -------------------------------------------------------------------------------

TEST(RegistryExGetRanged, FollowsTheStoredValueInsideTheRangeOnly)
{
    ScratchRegistryKey key;
    wchar_t x[] = L"x";
    PutDword(key, L"x", 4);
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 0, 4), 4);
    PutDword(key, L"x", 9);
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 0, 4), 5); // not clamped to 4
    PutString(key, L"x", L"3");
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 0, 4), 3);
    PutString(key, L"x", L"abc");
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 0, 4), 0);
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 1, 4), 5);
    PutString(key, L"x", L"");
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, 0, 4), 5);
    PutDword(key, L"x", 0xFFFFFFFFu);
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 5, -5, 10), -1); // signed comparison
    wchar_t absent[] = L"absent";
    EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), absent, 5, 0, 4), 5);
}

TEST(RegistryExGetRanged, RangeWithMaximumBelowMinimumAlwaysGivesTheDefault)
{
    ScratchRegistryKey key;
    wchar_t x[] = L"x";
    for (DWORD value : { 0u, 0x100000u, 0x150000u, 0x200000u, 0xFFFFFFFFu })
    {
        PutDword(key, L"x", value);
        EXPECT_EQ(CRegistryEx::Get(key.Root(), key.Key(), x, 0x200000, 0x100000, -1), 0x200000) << value;
    }
}

TEST(RegistryExGetBool, NonZeroNumbersAreTrueEmptyAndMissingGiveTheDefault)
{
    ScratchRegistryKey key;
    wchar_t flag[] = L"flag";
    PutString(key, L"flag", L"0");
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), flag, true));
    PutString(key, L"flag", L"");
    EXPECT_TRUE(CRegistryEx::Get(key.Root(), key.Key(), flag, true));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), flag, false));
    PutString(key, L"flag", L"7");
    EXPECT_TRUE(CRegistryEx::Get(key.Root(), key.Key(), flag, false));
    PutString(key, L"flag", L"yes"); // not a number: its integer value is 0
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), flag, true));
    PutDword(key, L"flag", 0);
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), flag, true));
    PutDword(key, L"flag", 2);
    EXPECT_TRUE(CRegistryEx::Get(key.Root(), key.Key(), flag, false));
    wchar_t absent[] = L"absent";
    EXPECT_TRUE(CRegistryEx::Get(key.Root(), key.Key(), absent, true));
    EXPECT_FALSE(CRegistryEx::Get(key.Root(), key.Key(), absent, false));
}

TEST(RegistryExGetDWORD, QueriesFourBytesWhateverTheType)
{
    ScratchRegistryKey key;
    PutDword(key, L"n", 77);
    PutString(key, L"a", L"a"); // 'a', 0, 0, 0: four bytes
    PutString(key, L"long", L"abc");
    wchar_t n[] = L"n", a[] = L"a", lng[] = L"long", absent[] = L"absent";
    unsigned long data = 99;
    EXPECT_TRUE(CRegistryEx::GetDWORD(key.Root(), key.Key(), n, data));
    EXPECT_EQ(data, 77u);
    data = 99;
    EXPECT_TRUE(CRegistryEx::GetDWORD(key.Root(), key.Key(), a, data));
    EXPECT_EQ(data, 0x61u);
    data = 99;
    EXPECT_FALSE(CRegistryEx::GetDWORD(key.Root(), key.Key(), lng, data)); // eight bytes do not fit
    EXPECT_EQ(data, 0u);
    data = 99;
    EXPECT_FALSE(CRegistryEx::GetDWORD(key.Root(), key.Key(), absent, data));
    EXPECT_EQ(data, 0u);
    data = 99;
    EXPECT_FALSE(CRegistryEx::GetDWORD(key.Root(), key.Key(), nullptr, data));
    EXPECT_EQ(data, 0u);
}

// ---- writes ------------------------------------------------------------------------------------

TEST(RegistryExSet, WritesStringsWithTheirTerminator)
{
    ScratchRegistryKey key;
    wchar_t name[] = L"s", text[] = L"abc";
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), name, text));
    RawValue raw = ReadRaw(key.Root(), key.Key(), L"s");
    ASSERT_TRUE(raw.found);
    EXPECT_EQ(raw.type, static_cast<DWORD>(REG_SZ));
    ASSERT_EQ(raw.bytes.size(), 8u);
    EXPECT_EQ(AsText(raw), std::wstring(L"abc\0", 4));
}

TEST(RegistryExSet, WritesNumbersAndBoolsAsDecimalStrings)
{
    ScratchRegistryKey key;
    wchar_t seven[] = L"seven", minus[] = L"minus", yes[] = L"yes", no[] = L"no";
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), seven, 7));
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), minus, -12));
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), yes, true));
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), no, false));
    struct Expected
    {
        const wchar_t* name;
        std::wstring text;
    } expected[] = { { L"seven", std::wstring(L"7\0", 2) },
                     { L"minus", std::wstring(L"-12\0", 4) },
                     { L"yes", std::wstring(L"1\0", 2) },
                     { L"no", std::wstring(L"0\0", 2) } };
    for (const Expected& e : expected)
    {
        RawValue raw = ReadRaw(key.Root(), key.Key(), e.name);
        ASSERT_TRUE(raw.found) << e.name;
        EXPECT_EQ(raw.type, static_cast<DWORD>(REG_SZ)) << e.name;
        EXPECT_EQ(AsText(raw), e.text) << e.name;
    }
}

TEST(RegistryExSet, SetDWORDRefusesZeroThePointerOverloadStoresIt)
{
    ScratchRegistryKey key;
    wchar_t name[] = L"d";
    ASSERT_TRUE(CRegistryEx::SetDWORD(key.Root(), key.Key(), name, 5));
    EXPECT_FALSE(CRegistryEx::SetDWORD(key.Root(), key.Key(), name, 0));
    RawValue raw = ReadRaw(key.Root(), key.Key(), L"d");
    ASSERT_TRUE(raw.found);
    EXPECT_EQ(raw.type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(*reinterpret_cast<DWORD*>(raw.bytes.data()), 5u);

    unsigned long zero = 0;
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), key.Key(), name, &zero));
    raw = ReadRaw(key.Root(), key.Key(), L"d");
    EXPECT_EQ(raw.type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(*reinterpret_cast<DWORD*>(raw.bytes.data()), 0u);
    EXPECT_FALSE(CRegistryEx::Set(key.Root(), key.Key(), name, static_cast<unsigned long*>(nullptr)));
}

TEST(RegistryExSet, CreatesMissingKeys)
{
    ScratchRegistryKey key;
    std::wstring nested = std::wstring(key.Key()) + L"\\a\\b\\c";
    wchar_t name[] = L"v";
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), &nested[0], name, 3));
    EXPECT_EQ(AsText(ReadRaw(key.Root(), nested, L"v")), std::wstring(L"3\0", 2));
}

TEST(RegistryExSet, RefusesMissingArgumentsAndWritesNothing)
{
    ScratchRegistryKey key;
    wchar_t name[] = L"v", empty[] = L"", text[] = L"t";
    EXPECT_FALSE(CRegistryEx::Set(key.Root(), key.Key(), name, static_cast<wchar_t*>(nullptr)));
    EXPECT_FALSE(CRegistryEx::Set(key.Root(), key.Key(), empty, text));
    EXPECT_FALSE(CRegistryEx::Set(key.Root(), empty, name, text));
    EXPECT_FALSE(CRegistryEx::Set(key.Root(), nullptr, name, 4));
    EXPECT_FALSE(CRegistryEx::SetDWORD(key.Root(), key.Key(), nullptr, 4));
    EXPECT_FALSE(ReadRaw(key.Root(), key.Key(), L"v").found);
    EXPECT_FALSE(ReadRaw(key.Root(), key.Key(), L"").found);
}

TEST(RegistryExPath, StoresQuotedAndReadsBackUnquoted)
{
    ScratchRegistryKey key;
    wchar_t name[] = L"p";
    wchar_t path[MAX_PATH] = L"C:\\Program Files\\Veskon\\app.exe";
    ASSERT_TRUE(CRegistryEx::SetPath(key.Root(), key.Key(), name, path, MAX_PATH));
    EXPECT_STREQ(path, L"\"C:\\Program Files\\Veskon\\app.exe\""); // the encoded text comes back
    EXPECT_EQ(AsText(ReadRaw(key.Root(), key.Key(), L"p")),
              std::wstring(L"\"C:\\Program Files\\Veskon\\app.exe\"\0", 34));

    // Already quoted: never quoted twice.
    ASSERT_TRUE(CRegistryEx::SetPath(key.Root(), key.Key(), name, path, MAX_PATH));
    EXPECT_STREQ(path, L"\"C:\\Program Files\\Veskon\\app.exe\"");

    wchar_t read[MAX_PATH] = L"junk";
    ASSERT_TRUE(CRegistryEx::GetPath(key.Root(), key.Key(), name, read, MAX_PATH));
    EXPECT_STREQ(read, L"C:\\Program Files\\Veskon\\app.exe");
}

TEST(RegistryExPath, BoundaryCases)
{
    ScratchRegistryKey key;
    wchar_t name[] = L"p", absent[] = L"absent";
    wchar_t empty[MAX_PATH] = L"";
    EXPECT_FALSE(CRegistryEx::SetPath(key.Root(), key.Key(), name, empty, MAX_PATH));
    EXPECT_FALSE(CRegistryEx::SetPath(key.Root(), key.Key(), name, nullptr, MAX_PATH));
    EXPECT_FALSE(ReadRaw(key.Root(), key.Key(), L"p").found);

    // The copy back is bounded by the caller's size; the registry holds the whole encoding.
    wchar_t small[8] = L"C:\\a\\b";
    ASSERT_TRUE(CRegistryEx::SetPath(key.Root(), key.Key(), name, small, 6));
    EXPECT_STREQ(small, L"\"C:\\a");
    EXPECT_EQ(AsText(ReadRaw(key.Root(), key.Key(), L"p")), std::wstring(L"\"C:\\a\\b\"\0", 9));

    wchar_t read[MAX_PATH] = L"junk";
    EXPECT_FALSE(CRegistryEx::GetPath(key.Root(), key.Key(), absent, read, MAX_PATH));
    EXPECT_STREQ(read, L"");
    wchar_t untouched[4] = L"abc";
    EXPECT_FALSE(CRegistryEx::GetPath(key.Root(), key.Key(), name, untouched, 0));
    EXPECT_STREQ(untouched, L"abc");
}

TEST(RegistryExDelete, DeleteValueNeedsKeyAndValue)
{
    ScratchRegistryKey key;
    PutString(key, L"v", L"1");
    wchar_t v[] = L"v";
    EXPECT_TRUE(CRegistryEx::DeleteValue(key.Root(), key.Key(), v));
    EXPECT_FALSE(ReadRaw(key.Root(), key.Key(), L"v").found);
    EXPECT_FALSE(CRegistryEx::DeleteValue(key.Root(), key.Key(), v));
    wchar_t missingKey[] = L"Software\\VeskonTests\\no such key at all";
    EXPECT_FALSE(CRegistryEx::DeleteValue(key.Root(), missingKey, v));
}

TEST(RegistryExDelete, DeleteSectionRemovesTheWholeSubtree)
{
    ScratchRegistryKey key;
    std::wstring section = std::wstring(key.Key()) + L"\\section";
    std::wstring child = section + L"\\child";
    wchar_t name[] = L"v";
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), &child[0], name, 1));
    ASSERT_TRUE(CRegistryEx::Set(key.Root(), &section[0], name, 2));
    EXPECT_TRUE(CRegistryEx::DeleteSection(key.Root(), &section[0]));
    HKEY opened = nullptr;
    EXPECT_NE(RegOpenKeyExW(key.Root(), section.c_str(), 0, KEY_READ, &opened), ERROR_SUCCESS);
    // The scratch key itself stays.
    ASSERT_EQ(RegOpenKeyExW(key.Root(), key.Key(), 0, KEY_READ, &opened), ERROR_SUCCESS);
    RegCloseKey(opened);

    EXPECT_FALSE(CRegistryEx::DeleteSection(key.Root(), &section[0]));
    wchar_t empty[] = L"";
    EXPECT_FALSE(CRegistryEx::DeleteSection(key.Root(), empty));
    EXPECT_FALSE(CRegistryEx::DeleteSection(key.Root(), nullptr));
}
