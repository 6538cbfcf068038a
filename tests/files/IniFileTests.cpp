#include <gtest/gtest.h>
#include <memory>
#include <string>
#include "files/IniFile.h"
#include "frame/MemoryManager.h"
#include "support/TestSupport.h"

using namespace veskon_test;

namespace
{
std::string Utf16Bytes(const std::wstring& text, bool mark = true)
{
    std::string bytes = mark ? std::string("\xFF\xFE", 2) : std::string();
    for (wchar_t c : text)
    {
        bytes.push_back(static_cast<char>(c & 0xFF));
        bytes.push_back(static_cast<char>((c >> 8) & 0xFF));
    }
    return bytes;
}

class IniFileTest : public ::testing::Test
{
protected:
    std::unique_ptr<CIniFile> Load(const std::string& bytes, const wchar_t* name = L"test.ini")
    {
        path = folder.File(name);
        EXPECT_TRUE(WriteFileBytes(path, bytes));
        return std::unique_ptr<CIniFile>(new CIniFile(&path[0], 0));
    }
    std::wstring Get(CIniFile& ini, const wchar_t* section, const wchar_t* key, const wchar_t* dflt = L"")
    {
        wchar_t out[300] = L"unchanged";
        ini.GetString(const_cast<wchar_t*>(section), const_cast<wchar_t*>(key), const_cast<wchar_t*>(dflt), out, 300);
        return out;
    }
    std::wstring Sections(CIniFile& ini)
    {
        CIniFile::SectionList* list = ini.GetSections();
        std::wstring joined;
        for (std::wstring* name : *list)
            joined += L"[" + *name + L"]";
        CIniFile::FreeSectionList(list);
        return joined;
    }

    ScratchFolder folder;
    std::wstring path;
};

wchar_t* W(const wchar_t* text)
{
    return const_cast<wchar_t*>(text);
}

struct SaveJob
{
    CIniFile* ini;
    LONG failures;
};

DWORD WINAPI SaveRepeatedly(void* p)
{
    SaveJob* job = static_cast<SaveJob*>(p);
    for (int i = 0; i < 20; ++i)
        if (!job->ini->Save())
            InterlockedIncrement(&job->failures);
    return 0;
}
}

// ---- static helpers ------------------------------------------------------------------------------

TEST(IniFileHelpers, SkipWhitespaceSkipsBlanksTabsEqualsAndLineBreaks)
{
    wchar_t text[] = L" \t=\r\n=x y";
    EXPECT_EQ(CIniFile::SkipWhitespace(text), text + 6);
    EXPECT_EQ(CIniFile::SkipWhitespace(nullptr), nullptr);
}

TEST(IniFileHelpers, EatTilWhitespaceStopsAtBlankTabOrEquals)
{
    wchar_t out[8];
    wchar_t a[] = L"name=value";
    EXPECT_EQ(CIniFile::EatTilWhitespace(a, out, 8), a + 4);
    EXPECT_STREQ(out, L"name");
    wchar_t b[] = L"ab\tc";
    CIniFile::EatTilWhitespace(b, out, 8);
    EXPECT_STREQ(out, L"ab");
    wchar_t c[] = L"averylongname rest";
    EXPECT_EQ(CIniFile::EatTilWhitespace(c, out, 8), c + 13);  // bounded copy, full scan
    EXPECT_STREQ(out, L"averylo");
}

TEST(IniFileHelpers, EatTilEOLStopsAtCrOrLf)
{
    wchar_t out[16];
    wchar_t a[] = L"value  \r\nnext";
    EXPECT_EQ(CIniFile::EatTilEOL(a, out, 16), a + 7);
    EXPECT_STREQ(out, L"value  ");
    wchar_t b[] = L"x\ny";
    CIniFile::EatTilEOL(b, out, 16);
    EXPECT_STREQ(out, L"x");
}

TEST(IniFileHelpers, GetLineSplitsAtCrLfAndBoundsTheCopy)
{
    wchar_t text[] = L"  first line\r\nsecond\r\n\r\nlast";
    wchar_t line[64];
    __int64 length = -1;
    bool found = false;
    wchar_t* next = CIniFile::GetLine(text, line, 64, &length, found, true);
    EXPECT_TRUE(found);
    EXPECT_STREQ(line, L"first line");
    EXPECT_EQ(length, 10);
    next = CIniFile::GetLine(next, line, 64, &length, found, false);
    EXPECT_STREQ(line, L"second");
    next = CIniFile::GetLine(next, line, 64, &length, found, false);
    EXPECT_TRUE(found);  // an empty line is still a line
    EXPECT_STREQ(line, L"");
    wchar_t small[5];
    next = CIniFile::GetLine(next, small, 5, &length, found, false);
    EXPECT_STREQ(small, L"last");
    EXPECT_EQ(*next, L'\0');
    CIniFile::GetLine(next, line, 64, &length, found, false);
    EXPECT_FALSE(found);
    wchar_t longText[] = L"0123456789\r\nX";
    next = CIniFile::GetLine(longText, small, 5, &length, found, false);
    EXPECT_STREQ(small, L"0123");
    EXPECT_EQ(length, 10);
    EXPECT_EQ(*next, L'X');  // the rest of a long line is skipped
}

TEST(IniFileHelpers, GetSectionName)
{
    wchar_t out[8];
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[Main]"), out, 8), L"Main");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[a b]tail"), out, 8), L"a b");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[open"), out, 8), L"");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L" [x]"), out, 8), L"");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[VeryLongSectionName]"), out, 8), L"VeryLon");
}

TEST(IniFileHelpers, GetNameValuePairShapes)
{
    struct Case
    {
        const wchar_t* line;
        const wchar_t* name;
        const wchar_t* value;
    } cases[] = {
        { L"key = value", L"key", L"value" },
        { L"key==x", L"key", L"x" },
        { L"a b=c", L"a", L"b=c" },
        { L"k=v=w", L"k", L"v=w" },
        { L"k\t=\t v  ", L"k", L"v  " },
        { L"=x", L"", L"" },
        { L"; note=1", L"", L"" },
        { L"novalue", L"", L"" },
        { L"empty=", L"empty", L"" },
    };
    for (const Case& c : cases)
    {
        wchar_t name[16] = L"?", value[16] = L"?";
        CIniFile::GetNameValuePair(W(c.line), name, 16, value, 16);
        EXPECT_STREQ(name, c.name) << Narrow(c.line);
        EXPECT_STREQ(value, c.value) << Narrow(c.line);
    }
}

TEST_F(IniFileTest, GetBufferReadsAnsiAndUtf16)
{
    std::wstring ansi = folder.File(L"ansi.ini"), wide = folder.File(L"wide.ini"), empty = folder.File(L"empty.ini");
    ASSERT_TRUE(WriteFileBytes(ansi, "[S]\r\nk=\xE9t\xE9"));
    ASSERT_TRUE(WriteFileBytes(wide, Utf16Bytes(L"[S]\r\nk=\u0416")));
    ASSERT_TRUE(WriteFileBytes(empty, ""));
    __int64 chars = 0;
    wchar_t* text = CIniFile::GetBuffer(&ansi[0], chars);
    ASSERT_NE(text, nullptr);
    wchar_t expected[32];
    MultiByteToWideChar(CP_ACP, 0, "[S]\r\nk=\xE9t\xE9", -1, expected, 32);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(chars, 10);
    CMemoryManager::Free(text);
    text = CIniFile::GetBuffer(&wide[0], chars);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, L"[S]\r\nk=\u0416");
    EXPECT_EQ(chars, 8);
    CMemoryManager::Free(text);
    EXPECT_EQ(CIniFile::GetBuffer(&empty[0], chars), nullptr);
    std::wstring missing = folder.File(L"missing.ini");
    EXPECT_EQ(CIniFile::GetBuffer(&missing[0], chars), nullptr);
    EXPECT_FALSE(FileExists(missing));  // reading does not create it
}

// ---- parsing -------------------------------------------------------------------------------------

TEST_F(IniFileTest, ParsesEveryLineShape)
{
    auto ini = Load("orphan=before any section\r\n"
                    "[Main]\r\n"
                    "key = value\r\n"
                    "twice==x\r\n"
                    "a b=c\r\n"
                    "=ignored\r\n"
                    "; comment=1\r\n"
                    "novalue\r\n"
                    "empty=\r\n"
                    "trailing = kept  \r\n"
                    "\t  indented=yes\r\n"
                    "\r\n"
                    "   \r\n"
                    "dup=first\r\n"
                    "dup=second\r\n"
                    "[Other]\r\n"
                    "x=1\r\n"
                    "[Main]\r\n"
                    "more=again\r\n");
    EXPECT_EQ(Get(*ini, L"Main", L"key"), L"value");
    EXPECT_EQ(Get(*ini, L"Main", L"twice"), L"x");
    EXPECT_EQ(Get(*ini, L"Main", L"a"), L"b=c");
    EXPECT_EQ(Get(*ini, L"Main", L"trailing"), L"kept  ");
    EXPECT_EQ(Get(*ini, L"Main", L"indented"), L"yes");
    EXPECT_EQ(Get(*ini, L"Main", L"dup"), L"second");
    EXPECT_EQ(Get(*ini, L"Main", L"more"), L"again");
    EXPECT_EQ(Get(*ini, L"Other", L"x"), L"1");
    EXPECT_EQ(Get(*ini, L"Main", L"novalue", L"d"), L"d");
    EXPECT_EQ(Get(*ini, L"Main", L"empty", L"d"), L"d");
    EXPECT_EQ(Get(*ini, L"Main", L"; comment", L"d"), L"d");
    EXPECT_EQ(Get(*ini, L"Main", L";", L"d"), L"d");
    EXPECT_EQ(Get(*ini, L"Main", L"orphan", L"d"), L"d");
    EXPECT_EQ(Sections(*ini), L"[Main][Other]");
}

TEST_F(IniFileTest, NamesAreCaseSensitive)
{
    auto ini = Load("[Main]\r\nKey=1\r\n");
    EXPECT_EQ(Get(*ini, L"Main", L"Key"), L"1");
    EXPECT_EQ(Get(*ini, L"Main", L"key", L"no"), L"no");
    EXPECT_EQ(Get(*ini, L"main", L"Key", L"no"), L"no");
}

TEST_F(IniFileTest, ParsesUtf16WithByteOrderMark)
{
    auto ini = Load(Utf16Bytes(L"[Fen\u00EAtre]\r\nTitel = \u041F\u0440\u0438\u0432\u0435\u0442\r\nn=5\r\n"));
    EXPECT_EQ(Get(*ini, L"Fen\u00EAtre", L"Titel"), L"\u041F\u0440\u0438\u0432\u0435\u0442");
    EXPECT_EQ(ini->GetInteger(W(L"Fen\u00EAtre"), W(L"n"), 0), 5);
}

TEST_F(IniFileTest, LongLinesAndValuesAreBounded)
{
    std::string longValue(5000, 'v');
    auto ini = Load("[S]\r\nk=" + longValue + "\r\nnext=1\r\n");
    std::wstring value = Get(*ini, L"S", L"k");
    EXPECT_EQ(value, std::wstring(259, L'v'));
    EXPECT_EQ(Get(*ini, L"S", L"next"), L"1");
}

TEST_F(IniFileTest, MissingFileGivesAnEmptyObject)
{
    std::wstring missing = folder.File(L"none.ini");
    CIniFile ini(&missing[0], 0);
    EXPECT_STREQ(ini.GetFilename(), missing.c_str());
    EXPECT_EQ(Sections(ini), L"");
    EXPECT_FALSE(ini.Save());  // nothing to write: the file is not created
    EXPECT_FALSE(FileExists(missing));
    CIniFile unnamed(nullptr, 0);
    EXPECT_STREQ(unnamed.GetFilename(), L"");
}

// ---- typed getters -------------------------------------------------------------------------------

TEST_F(IniFileTest, GetStringDefaultsAndBounds)
{
    auto ini = Load("[S]\r\nk=abcdef\r\n");
    wchar_t out[4] = L"zz";
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L"k"), W(L"d"), out, 4), L"abc");
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L"x"), W(L"dflt"), out, 4), L"dfl");
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L""), W(L"d"), out, 4), L"d");
    EXPECT_STREQ(ini->GetString(nullptr, W(L"k"), W(L"d"), out, 4), L"d");
    out[0] = L'q';
    ini->GetString(W(L"S"), W(L"k"), nullptr, out, 4);  // needs a default: untouched
    EXPECT_EQ(out[0], L'q');
    ini->GetString(W(L"S"), W(L"k"), W(L"d"), out, 0);
    EXPECT_EQ(out[0], L'q');
}

TEST_F(IniFileTest, GetIntegerAndInt64)
{
    auto ini = Load("[S]\r\ni=-42\r\nbig=9000000000\r\ntext=abc\r\n");
    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"i"), 7), -42);
    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"none"), 7), 7);
    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"text"), 7), 0);
    EXPECT_EQ(ini->Get__int64(W(L"S"), W(L"big"), 1), 9000000000LL);
    EXPECT_EQ(ini->Get__int64(W(L"S"), W(L"none"), -9000000000LL), -9000000000LL);
}

TEST_F(IniFileTest, GetBooleanRule)
{
    auto ini = Load("[S]\r\na=TRUE\r\nb=False\r\nc=2\r\nd=abc\r\ne=0\r\n");
    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"a"), false));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"b"), true));
    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"c"), false));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"d"), true));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"e"), true));
    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"none"), true));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"none"), false));
}

TEST_F(IniFileTest, GetRectangleNeedsFourNumbers)
{
    auto ini = Load("[S]\r\nr=1 2 3 4\r\nthree=1 2 3\r\nneg=-5 -6 7 8\r\n");
    RECT dflt = { 9, 9, 9, 9 };
    RECT out = {};
    ini->GetRectangle(W(L"S"), W(L"r"), &dflt, &out);
    EXPECT_EQ(out.left, 1);
    EXPECT_EQ(out.top, 2);
    EXPECT_EQ(out.right, 3);
    EXPECT_EQ(out.bottom, 4);
    ini->GetRectangle(W(L"S"), W(L"three"), &dflt, &out);
    EXPECT_EQ(out.left, 9);
    EXPECT_EQ(out.bottom, 9);
    ini->GetRectangle(W(L"S"), W(L"neg"), &dflt, &out);
    EXPECT_EQ(out.left, -5);
    EXPECT_EQ(out.bottom, 8);
    out = {};
    ini->GetRectangle(W(L"S"), W(L"none"), &dflt, &out);
    EXPECT_EQ(out.top, 9);
}

// ---- setters -------------------------------------------------------------------------------------

TEST_F(IniFileTest, PutsFormatValues)
{
    CIniFile ini(nullptr, 0);
    ini.PutInteger(W(L"S"), W(L"i"), -3);
    ini.PutInteger(W(L"S"), W(L"u"), -1, false);
    ini.PutInteger(W(L"S"), W(L"s"), -1, true);
    ini.Put__int64(W(L"S"), W(L"l"), -9000000000LL);
    ini.PutBoolean(W(L"S"), W(L"t"), true);
    ini.PutBoolean(W(L"S"), W(L"f"), false);
    RECT r = { 1, -2, 3, 4 };
    ini.PutRectangle(W(L"S"), W(L"r"), &r);
    EXPECT_EQ(Get(ini, L"S", L"i"), L"-3");
    EXPECT_EQ(Get(ini, L"S", L"u"), L"4294967295");
    EXPECT_EQ(Get(ini, L"S", L"s"), L"-1");
    EXPECT_EQ(Get(ini, L"S", L"l"), L"-9000000000");
    EXPECT_EQ(Get(ini, L"S", L"t"), L"1");
    EXPECT_EQ(Get(ini, L"S", L"f"), L"0");
    EXPECT_TRUE(ini.GetBoolean(W(L"S"), W(L"t"), false));
    EXPECT_FALSE(ini.GetBoolean(W(L"S"), W(L"f"), true));
    EXPECT_EQ(Get(ini, L"S", L"r"), L"1 -2 3 4");
}

TEST_F(IniFileTest, EmptyValueLeavesTheOldOneButCreatesTheSection)
{
    CIniFile ini(nullptr, 0);
    ini.PutString(W(L"S"), W(L"k"), W(L"old"));
    ini.PutString(W(L"S"), W(L"k"), W(L""));
    ini.PutString(W(L"S"), W(L"k"), nullptr);
    EXPECT_EQ(Get(ini, L"S", L"k"), L"old");
    ini.PutString(W(L"New"), W(L"k"), W(L""));
    EXPECT_EQ(Sections(ini), L"[New][S]");
    ini.PutString(W(L""), W(L"k"), W(L"v"));
    ini.PutString(W(L"S"), nullptr, W(L"v"));
    EXPECT_EQ(Sections(ini), L"[New][S]");
    ini.PutString(W(L"S"), W(L"k"), W(L"new"));
    EXPECT_EQ(Get(ini, L"S", L"k"), L"new");
}

TEST_F(IniFileTest, DeleteKeywordSectionAndAll)
{
    auto ini = Load("[A]\r\nx=1\r\ny=2\r\n[B]\r\nz=3\r\n");
    ini->DeleteKeyword(W(L"A"), W(L"x"));
    ini->DeleteKeyword(W(L"Missing"), W(L"y"));
    EXPECT_EQ(Get(*ini, L"A", L"x", L"gone"), L"gone");
    EXPECT_EQ(Get(*ini, L"A", L"y"), L"2");
    ini->DeleteSection(W(L"B"));
    EXPECT_EQ(Get(*ini, L"B", L"z", L"gone"), L"gone");
    EXPECT_EQ(Sections(*ini), L"[A]");
    ini->DeleteAllSections();
    EXPECT_EQ(Sections(*ini), L"");
    EXPECT_EQ(Get(*ini, L"A", L"y", L"gone"), L"gone");
}

TEST_F(IniFileTest, RenameSectionMovesItsKeys)
{
    auto ini = Load("[Old]\r\nk=v\r\n[Taken]\r\nt=1\r\n");
    EXPECT_EQ(Get(*ini, L"Old", L"k"), L"v");  // primes the look-up cache with the old section
    ini->RenameSection(W(L"Old"), W(L"New"));
    EXPECT_EQ(Get(*ini, L"Old", L"k", L"none"), L"none");
    EXPECT_EQ(Get(*ini, L"New", L"k"), L"v");
    ini->RenameSection(W(L"Missing"), W(L"Other"));
    EXPECT_EQ(Sections(*ini), L"[New][Taken]");
    ini->RenameSection(W(L"New"), W(L"Taken"));  // replaces the section of that name
    EXPECT_EQ(Sections(*ini), L"[Taken]");
    EXPECT_EQ(Get(*ini, L"Taken", L"k"), L"v");
    EXPECT_EQ(Get(*ini, L"Taken", L"t", L"none"), L"none");
}

// ---- saving --------------------------------------------------------------------------------------

TEST_F(IniFileTest, SaveWritesSortedAnsiWithoutComments)
{
    auto ini = Load("; header comment\r\n[b]\r\nz = 1\r\na=two words  \r\n[a]\r\nk=v=w\r\n");
    ini->PutString(W(L"B"), W(L"x"), W(L"y"));
    ASSERT_TRUE(ini->Save());
    EXPECT_EQ(ReadFileBytes(path), "\r\n[B]\r\nx=y\r\n"
                                   "\r\n[a]\r\nk=v=w\r\n"
                                   "\r\n[b]\r\na=two words  \r\nz=1\r\n");
}

TEST_F(IniFileTest, SaveOfAUtf16FileWritesAnsi)
{
    auto ini = Load(Utf16Bytes(L"[z]\r\nk=\u00E9\r\n[m]\r\nq=1\r\n"));
    ASSERT_TRUE(ini->Save());
    char e[4] = {};
    WideCharToMultiByte(CP_ACP, 0, L"\u00E9", 1, e, 4, nullptr, nullptr);
    EXPECT_EQ(ReadFileBytes(path), std::string("\r\n[m]\r\nq=1\r\n\r\n[z]\r\nk=") + e + "\r\n");
}

TEST_F(IniFileTest, SavedFileReadsBackTheSame)
{
    CIniFile ini(&(path = folder.File(L"round.ini"))[0], 0);
    ini.PutString(W(L"Window"), W(L"Title"), W(L"Hello = World "));
    RECT r = { 10, 20, 300, 400 };
    ini.PutRectangle(W(L"Window"), W(L"Rect"), &r);
    ini.PutBoolean(W(L"Flags"), W(L"On"), true);
    ini.Put__int64(W(L"Flags"), W(L"Big"), 1LL << 40);
    ASSERT_TRUE(ini.Save());
    CIniFile back(&path[0], 0);
    EXPECT_EQ(Get(back, L"Window", L"Title"), L"Hello = World ");
    RECT out = {};
    back.GetRectangle(W(L"Window"), W(L"Rect"), nullptr, &out);
    EXPECT_EQ(out.right, 300);
    EXPECT_TRUE(back.GetBoolean(W(L"Flags"), W(L"On"), false));
    EXPECT_EQ(back.Get__int64(W(L"Flags"), W(L"Big"), 0), 1LL << 40);
    EXPECT_EQ(Sections(back), L"[Flags][Window]");
}

TEST_F(IniFileTest, SaveKeepsOverlongLinesApart)
{
    CIniFile ini(&(path = folder.File(L"long.ini"))[0], 0);
    std::wstring huge(3000, L'h');
    ini.PutString(W(L"S"), W(L"a"), &huge[0]);
    ini.PutString(W(L"S"), W(L"b"), W(L"short"));
    ASSERT_TRUE(ini.Save());
    std::string bytes = ReadFileBytes(path);
    EXPECT_EQ(bytes, "\r\n[S]\r\na=" + std::string(1022 - 2, 'h') + "\r\nb=short\r\n");
    CIniFile back(&path[0], 0);
    EXPECT_EQ(Get(back, L"S", L"b"), L"short");
}

TEST_F(IniFileTest, SaveUsesTheAttributes)
{
    path = folder.File(L"hidden.ini");
    CIniFile ini(&path[0], FILE_ATTRIBUTE_HIDDEN);
    ini.PutString(W(L"S"), W(L"k"), W(L"v"));
    ASSERT_TRUE(ini.Save());
    DWORD attributes = GetFileAttributesW(path.c_str());
    ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(attributes & FILE_ATTRIBUTE_HIDDEN);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(IniFileTest, ConcurrentSavesWriteWholeFiles)
{
    CIniFile ini(&(path = folder.File(L"threads.ini"))[0], 0);
    for (int i = 0; i < 200; ++i)
    {
        wchar_t key[16];
        _snwprintf_s(key, 16, _TRUNCATE, L"k%03d", i);
        ini.PutInteger(W(L"S"), key, i);
    }
    std::string expected = "\r\n[S]\r\n";
    for (int i = 0; i < 200; ++i)
    {
        char line[32];
        _snprintf_s(line, 32, _TRUNCATE, "k%03d=%d\r\n", i, i);
        expected += line;
    }
    SaveJob shared = { &ini, 0 };
    HANDLE threads[4];
    for (HANDLE& t : threads)
        t = CreateThread(nullptr, 0, &SaveRepeatedly, &shared, 0, nullptr);
    WaitForMultipleObjects(4, threads, TRUE, 60000);
    for (HANDLE t : threads)
        CloseHandle(t);
    EXPECT_EQ(shared.failures, 0);
    EXPECT_EQ(ReadFileBytes(path), expected);
}
