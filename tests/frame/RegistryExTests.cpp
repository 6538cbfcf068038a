// CRegistryEx: every read goes through the string read (strings, signed DWORDs, QWORDs' low half);
// the ranged read never clamps; numbers are written as decimal strings; zero DWORDs are refused by
// SetDWORD on purpose. Each case works in its own scratch key under HKEY_CURRENT_USER.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "frame/RegistryEx.h"
#include "support/TestSupport.h"

namespace
{
class RegistryEx : public ::testing::Test
{
protected:
    void PutRaw(const wchar_t* name, DWORD type, const void* data, DWORD bytes)
    {
        ASSERT_EQ(RegSetKeyValueW(Root(), Key(), name, type, data, bytes), ERROR_SUCCESS);
    }
    void Put(const wchar_t* name, const std::wstring& text)
    {
        PutRaw(name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    void Put(const wchar_t* name, DWORD value) { PutRaw(name, REG_DWORD, &value, sizeof(value)); }

    // What is stored, byte for byte (RegGetValueW would mend a missing terminator), as
    // "<type>:<bytes as wide text>", or "absent".
    std::wstring Stored(const wchar_t* name, const std::wstring& key = L"")
    {
        HKEY opened = nullptr;
        DWORD type = REG_NONE, bytes = sizeof(wchar_t) * 512;
        std::vector<wchar_t> data(512);
        LONG status = RegOpenKeyExW(Root(), key.empty() ? Key() : key.c_str(), 0, KEY_READ, &opened);
        if (status == ERROR_SUCCESS)
            status = RegQueryValueExW(opened, name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &bytes);
        RegCloseKey(opened);
        if (status != ERROR_SUCCESS)
            return L"absent";
        return std::to_wstring(type) + L":" + std::wstring(data.data(), bytes / sizeof(wchar_t));
    }
    static std::wstring Sz(const wchar_t* text)
    {
        return std::to_wstring(REG_SZ) + L":" + text + std::wstring(1, L'\0');
    }

    // The string read's result, or "<false:what the buffer holds>".
    std::wstring Read(const wchar_t* name, int size = MAX_PATH)
    {
        std::vector<wchar_t> data(static_cast<size_t>(size) + 1, L'#');
        if (!CRegistryEx::Get(Root(), Key(), const_cast<wchar_t*>(name), data.data(), size))
            return L"<false:" + std::wstring(data.data(), wcsnlen(data.data(), static_cast<size_t>(size))) + L">";
        return data.data();
    }
    int Ranged(const wchar_t* name, int dflt, int min, int max)
    {
        return CRegistryEx::Get(Root(), Key(), const_cast<wchar_t*>(name), dflt, min, max);
    }
    bool Flag(const wchar_t* name, bool dflt)
    {
        return CRegistryEx::Get(Root(), Key(), const_cast<wchar_t*>(name), dflt);
    }

    HKEY Root() const { return m_key.Root(); }
    wchar_t* Key() { return m_key.Key(); }
    veskon_test::ScratchRegistryKey m_key;
};
}

TEST_F(RegistryEx, ReadsEveryTypeAsText)
{
    Put(L"s", L"hello world");
    Put(L"all", 0xFFFFFFFFu);
    unsigned long long five = 0x0000000700000005ull;
    PutRaw(L"five", REG_QWORD, &five, sizeof(five));
    const wchar_t expand[] = L"%TEMP%\\x";
    PutRaw(L"expand", REG_EXPAND_SZ, expand, sizeof(expand));
    const wchar_t unterminated[] = { L'a', L'b', L'c' };
    PutRaw(L"bare", REG_SZ, unterminated, sizeof(unterminated));
    const BYTE odd[] = { 'Z', 0, 'Y' };
    PutRaw(L"odd", REG_BINARY, odd, sizeof(odd));

    EXPECT_EQ(Read(L"s"), L"hello world");
    EXPECT_EQ(Read(L"all"), L"-1") << "DWORDs read as signed decimal";
    EXPECT_EQ(Read(L"five"), L"5") << "QWORDs read as their low half";
    EXPECT_EQ(Read(L"expand"), L"%TEMP%\\x") << "other types are raw bytes, not expanded";
    EXPECT_EQ(Read(L"bare"), L"abc") << "a string stored without terminator ends";
    EXPECT_EQ(Read(L"odd"), L"Z") << "a dangling odd byte is not half a character";
}

TEST_F(RegistryEx, ReadFailuresAndCapacityBoundaries)
{
    Put(L"ten", L"abcdefghij");
    Put(L"four", L"abcd");
    Put(L"huge", std::wstring(100000, L'7'));
    Put(L"n", 123456);
    EXPECT_EQ(Read(L"absent"), L"<false:>") << "a missing value empties the buffer";
    EXPECT_EQ(Read(L"ten", 5), L"<false:>") << "longer than the capacity";
    EXPECT_EQ(Read(L"four", 5), L"abcd") << "four characters and the terminator fit into five";
    EXPECT_EQ(Read(L"huge"), L"<false:>");
    EXPECT_EQ(Ranged(L"huge", 42, 0, 100), 42);
    EXPECT_FALSE(Flag(L"huge", false));

    wchar_t data[16] = L"keep";
    wchar_t missingKey[] = L"Software\\VeskonTests\\no such key at all", empty[] = L"", name[] = L"four";
    EXPECT_FALSE(CRegistryEx::Get(Root(), missingKey, name, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(Root(), nullptr, name, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(Root(), Key(), empty, data, 16));
    EXPECT_FALSE(CRegistryEx::Get(Root(), Key(), name, data, 0));
    EXPECT_FALSE(CRegistryEx::Get(Root(), Key(), name, nullptr, 16));
    EXPECT_STREQ(data, L"keep") << "a missing key or argument leaves the buffer alone";

    // Three characters hold the four bytes of the DWORD query; the number is cut, nothing beyond is written.
    wmemset(data, L'#', 16);
    wchar_t n[] = L"n";
    EXPECT_TRUE(CRegistryEx::Get(Root(), Key(), n, data, 3));
    EXPECT_STREQ(data, L"12");
    EXPECT_EQ(data[3], L'#');
    EXPECT_EQ(data[15], L'#');
}

TEST_F(RegistryEx, TypedReadsNeverClampAndGetDWORDTakesAnyFourBytes)
{
    Put(L"four", 4);
    Put(L"nine", 9);
    Put(L"three", L"3");
    Put(L"abc", L"abc");
    Put(L"empty", L"");
    Put(L"minus", 0xFFFFFFFFu);
    Put(L"mid", 0x150000u);
    EXPECT_EQ(Ranged(L"four", 5, 0, 4), 4) << "the maximum is inside";
    EXPECT_EQ(Ranged(L"nine", 5, 0, 4), 5) << "not clamped to 4";
    EXPECT_EQ(Ranged(L"three", 5, 0, 4), 3);
    EXPECT_EQ(Ranged(L"abc", 5, 0, 4), 0) << "a non-numeric text is 0";
    EXPECT_EQ(Ranged(L"abc", 5, 1, 4), 5);
    EXPECT_EQ(Ranged(L"empty", 5, 0, 4), 5);
    EXPECT_EQ(Ranged(L"absent", 5, 0, 4), 5);
    EXPECT_EQ(Ranged(L"minus", 5, -5, 10), -1) << "signed comparison";
    EXPECT_EQ(Ranged(L"mid", 0x200000, 0x100000, -1), 0x200000) << "a maximum below the minimum admits nothing";
    EXPECT_EQ(Ranged(L"minus", 0x200000, 0x100000, -1), 0x200000);

    Put(L"zero", L"0");
    Put(L"two", 2);
    EXPECT_FALSE(Flag(L"zero", true));
    EXPECT_FALSE(Flag(L"abc", true)) << "a non-numeric text is 0";
    EXPECT_TRUE(Flag(L"two", false));
    EXPECT_TRUE(Flag(L"empty", true)) << "an empty string gives the default";
    EXPECT_FALSE(Flag(L"empty", false));
    EXPECT_TRUE(Flag(L"absent", true));

    // GetDWORD queries four bytes whatever the type.
    Put(L"n", 77);
    Put(L"a", L"a"); // 'a', 0, 0, 0: four bytes
    Put(L"long", L"abc");
    wchar_t n[] = L"n", a[] = L"a", lng[] = L"long";
    unsigned long data = 99;
    EXPECT_TRUE(CRegistryEx::GetDWORD(Root(), Key(), n, data));
    EXPECT_EQ(data, 77u);
    EXPECT_TRUE(CRegistryEx::GetDWORD(Root(), Key(), a, data));
    EXPECT_EQ(data, 0x61u);
    data = 99;
    EXPECT_FALSE(CRegistryEx::GetDWORD(Root(), Key(), lng, data)) << "eight bytes do not fit";
    EXPECT_EQ(data, 0u);
    data = 99;
    EXPECT_FALSE(CRegistryEx::GetDWORD(Root(), Key(), nullptr, data));
    EXPECT_EQ(data, 0u);
}

TEST_F(RegistryEx, WritesNumbersAsStringsAndSetDWORDRefusesZero)
{
    std::wstring nested = std::wstring(Key()) + L"\\a\\b";
    wchar_t s[] = L"s", text[] = L"abc", seven[] = L"seven", minus[] = L"minus", yes[] = L"yes", no[] = L"no";
    wchar_t empty[] = L"";
    ASSERT_TRUE(CRegistryEx::Set(Root(), &nested[0], s, text));
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), seven, 7));
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), minus, -12));
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), yes, true));
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), no, false));
    EXPECT_EQ(Stored(s, nested), Sz(L"abc")) << "with its terminator";
    EXPECT_EQ(Stored(seven), Sz(L"7")) << "a string, not a DWORD";
    EXPECT_EQ(Stored(minus), Sz(L"-12"));
    EXPECT_EQ(Stored(yes), Sz(L"1"));
    EXPECT_EQ(Stored(no), Sz(L"0"));

    EXPECT_FALSE(CRegistryEx::Set(Root(), Key(), s, static_cast<wchar_t*>(nullptr)));
    EXPECT_FALSE(CRegistryEx::Set(Root(), Key(), empty, text));
    EXPECT_FALSE(CRegistryEx::Set(Root(), nullptr, s, 4));
    EXPECT_EQ(Stored(s), L"absent");
    EXPECT_EQ(Stored(L""), L"absent");

    // SetDWORD refuses zero on purpose; the pointer overload stores it.
    wchar_t name[] = L"d";
    const std::wstring dword = std::to_wstring(REG_DWORD) + L":";
    ASSERT_TRUE(CRegistryEx::SetDWORD(Root(), Key(), name, 5));
    EXPECT_FALSE(CRegistryEx::SetDWORD(Root(), Key(), name, 0));
    EXPECT_EQ(Stored(name), dword + std::wstring(L"\x5\0", 2));
    unsigned long zero = 0;
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), name, &zero));
    EXPECT_EQ(Stored(name), dword + std::wstring(2, L'\0'));
    EXPECT_FALSE(CRegistryEx::Set(Root(), Key(), name, static_cast<unsigned long*>(nullptr)));
    EXPECT_FALSE(CRegistryEx::SetDWORD(Root(), Key(), nullptr, 4));
}

TEST_F(RegistryEx, PathsAreStoredEncodedAndCopiedBackBounded)
{
    wchar_t name[] = L"p", absent[] = L"absent";
    wchar_t path[MAX_PATH] = L"C:\\Program Files\\Veskon\\app.exe";
    ASSERT_TRUE(CRegistryEx::SetPath(Root(), Key(), name, path, MAX_PATH));
    EXPECT_STREQ(path, L"\"C:\\Program Files\\Veskon\\app.exe\"") << "the encoded text comes back";
    wchar_t read[MAX_PATH] = L"junk";
    ASSERT_TRUE(CRegistryEx::GetPath(Root(), Key(), name, read, MAX_PATH));
    EXPECT_STREQ(read, L"C:\\Program Files\\Veskon\\app.exe");

    // The registry holds the whole encoding; the copy back is cut to the caller's size.
    wchar_t small[8] = L"C:\\a\\b";
    ASSERT_TRUE(CRegistryEx::SetPath(Root(), Key(), name, small, 6));
    EXPECT_STREQ(small, L"\"C:\\a");
    EXPECT_EQ(Stored(name), Sz(L"\"C:\\a\\b\""));

    wchar_t empty[MAX_PATH] = L"";
    EXPECT_FALSE(CRegistryEx::SetPath(Root(), Key(), absent, empty, MAX_PATH));
    EXPECT_FALSE(CRegistryEx::SetPath(Root(), Key(), absent, nullptr, MAX_PATH));
    EXPECT_EQ(Stored(absent), L"absent");
    EXPECT_FALSE(CRegistryEx::GetPath(Root(), Key(), absent, read, MAX_PATH));
    EXPECT_STREQ(read, L"") << "a failed read empties the path";
    wchar_t untouched[4] = L"abc";
    EXPECT_FALSE(CRegistryEx::GetPath(Root(), Key(), name, untouched, 0));
    EXPECT_STREQ(untouched, L"abc");
}

TEST_F(RegistryEx, DeletesAValueAndAWholeSection)
{
    std::wstring section = std::wstring(Key()) + L"\\section";
    std::wstring child = section + L"\\child";
    wchar_t v[] = L"v", empty[] = L"", missingKey[] = L"Software\\VeskonTests\\no such key at all";
    ASSERT_TRUE(CRegistryEx::Set(Root(), Key(), v, 1));
    EXPECT_TRUE(CRegistryEx::DeleteValue(Root(), Key(), v));
    EXPECT_EQ(Stored(v), L"absent");
    EXPECT_FALSE(CRegistryEx::DeleteValue(Root(), Key(), v));
    EXPECT_FALSE(CRegistryEx::DeleteValue(Root(), missingKey, v));

    ASSERT_TRUE(CRegistryEx::Set(Root(), &child[0], v, 1));
    ASSERT_TRUE(CRegistryEx::Set(Root(), &section[0], v, 2));
    EXPECT_TRUE(CRegistryEx::DeleteSection(Root(), &section[0]));
    HKEY opened = nullptr;
    EXPECT_NE(RegOpenKeyExW(Root(), section.c_str(), 0, KEY_READ, &opened), ERROR_SUCCESS) << "the key itself goes";
    ASSERT_EQ(RegOpenKeyExW(Root(), Key(), 0, KEY_READ, &opened), ERROR_SUCCESS) << "the parent stays";
    RegCloseKey(opened);
    EXPECT_FALSE(CRegistryEx::DeleteSection(Root(), &section[0]));
    EXPECT_FALSE(CRegistryEx::DeleteSection(Root(), empty));
    EXPECT_FALSE(CRegistryEx::DeleteSection(Root(), nullptr));
}
