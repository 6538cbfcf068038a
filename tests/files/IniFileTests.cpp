#include <gtest/gtest.h>
#include <memory>
#include <string>
#include "files/IniFile.h"
#include "frame/MemoryManager.h"
#include "support/TestSupport.h"

using namespace veskon_test;

namespace
{
// UTF-16 little-endian with its byte-order mark.
std::string Utf16Bytes(const std::wstring& text)
{
    std::string bytes("\xFF\xFE", 2);
    for (wchar_t c : text)
    {
        bytes.push_back(static_cast<char>(c & 0xFF));
        bytes.push_back(static_cast<char>((c >> 8) & 0xFF));
    }
    return bytes;
}

wchar_t* W(const wchar_t* text)
{
    return const_cast<wchar_t*>(text);
}

class IniFileTest : public ::testing::Test
{
protected:
    std::unique_ptr<CIniFile> Load(const std::string& bytes)
    {
        path = folder.File(L"test.ini");
        EXPECT_TRUE(WriteFileBytes(path, bytes));
        return std::unique_ptr<CIniFile>(new CIniFile(&path[0], 0));
    }
    std::wstring Get(CIniFile& ini, const wchar_t* section, const wchar_t* key, const wchar_t* dflt = L"")
    {
        wchar_t out[300] = L"unchanged";
        return ini.GetString(W(section), W(key), W(dflt), out, 300);
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

DWORD WINAPI SaveTwentyTimes(void* ini)
{
    LONG failures = 0;
    for (int i = 0; i < 20; ++i)
        failures += static_cast<CIniFile*>(ini)->Save() ? 0 : 1;
    return static_cast<DWORD>(failures);
}
}

TEST(IniFileHelpers, TextHelpersStopWhereTheyShouldAndBoundTheirCopies)
{
    wchar_t skip[] = L" \t=\r\n=x y";
    EXPECT_EQ(CIniFile::SkipWhitespace(skip), skip + 6) << "blanks, tabs, '=', CR and LF are skipped";
    EXPECT_EQ(CIniFile::SkipWhitespace(nullptr), nullptr);

    wchar_t out[8];
    wchar_t name[] = L"averylongname=rest";
    EXPECT_EQ(CIniFile::EatTilWhitespace(name, out, 8), name + 13) << "the scan goes on past a full output";
    EXPECT_STREQ(out, L"averylo");
    wchar_t eol[] = L"v \r\nnext", lf[] = L"x\ny";
    EXPECT_EQ(CIniFile::EatTilEOL(eol, out, 8), eol + 2);
    EXPECT_STREQ(out, L"v ");
    EXPECT_EQ(CIniFile::EatTilEOL(lf, out, 8), lf + 1);

    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[a b]tail"), out, 8), L"a b");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[open"), out, 8), L"");
    EXPECT_STREQ(CIniFile::GetSectionName(W(L" [x]"), out, 8), L"") << "the '[' must come first";
    EXPECT_STREQ(CIniFile::GetSectionName(W(L"[VeryLongSectionName]"), out, 8), L"VeryLon");

    wchar_t text[] = L"  first line\r\n\r\n0123456789\r\nlast";
    wchar_t line[64], small[5];
    __int64 length = -1;
    bool found = false;
    wchar_t* next = CIniFile::GetLine(text, line, 64, &length, found, true);
    EXPECT_TRUE(found);
    EXPECT_STREQ(line, L"first line");
    EXPECT_EQ(length, 10);
    next = CIniFile::GetLine(next, line, 64, &length, found, false);
    EXPECT_TRUE(found) << "an empty line is still a line";
    EXPECT_STREQ(line, L"");
    next = CIniFile::GetLine(next, small, 5, &length, found, false);
    EXPECT_STREQ(small, L"0123");
    EXPECT_EQ(length, 10);
    EXPECT_EQ(*next, L'l') << "the next line starts after the cut line's CR LF";
    next = CIniFile::GetLine(next, small, 5, &length, found, false);
    EXPECT_STREQ(small, L"last") << "exactly fills the buffer";
    CIniFile::GetLine(next, line, 64, &length, found, false);
    EXPECT_FALSE(found);

    const wchar_t* pairs[][3] = {
        { L"key = value", L"key", L"value" }, { L"key==x", L"key", L"x" },  { L"a b=c", L"a", L"b=c" },
        { L"k\t=\t v  ", L"k", L"v  " },     { L"=x", L"", L"" },          { L"; note=1", L"", L"" },
        { L"novalue", L"", L"" },             { L"empty=", L"empty", L"" },
    };
    for (auto& c : pairs)
    {
        wchar_t value[16] = L"?";
        CIniFile::GetNameValuePair(W(c[0]), line, 64, value, 16);
        EXPECT_STREQ(line, c[1]) << Narrow(c[0]);
        EXPECT_STREQ(value, c[2]) << Narrow(c[0]);
    }
}

TEST_F(IniFileTest, GetBufferReadsAnsiAndUtf16AndRefusesEmptyOrMissingFiles)
{
    std::wstring ansi = folder.File(L"ansi.ini"), wide = folder.File(L"wide.ini"), empty = folder.File(L"empty.ini"),
                 missing = folder.File(L"missing.ini");
    ASSERT_TRUE(WriteFileBytes(ansi, "k=\x80\xE9"));
    ASSERT_TRUE(WriteFileBytes(wide, Utf16Bytes(L"k=\u0416")));
    ASSERT_TRUE(WriteFileBytes(empty, ""));
    __int64 chars = 0;
    wchar_t* text = CIniFile::GetBuffer(&ansi[0], chars);
    ASSERT_NE(text, nullptr);
    wchar_t expected[16];
    MultiByteToWideChar(CP_ACP, 0, "k=\x80\xE9", -1, expected, 16);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(chars, 4);
    CMemoryManager::Free(text);
    text = CIniFile::GetBuffer(&wide[0], chars);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, L"k=\u0416") << "the byte-order mark is not part of the text";
    EXPECT_EQ(chars, 3);
    CMemoryManager::Free(text);
    EXPECT_EQ(CIniFile::GetBuffer(&empty[0], chars), nullptr);
    EXPECT_EQ(CIniFile::GetBuffer(&missing[0], chars), nullptr);
    EXPECT_FALSE(FileExists(missing)) << "reading does not create the file";
}

TEST_F(IniFileTest, ParsesSectionsAndSkipsWhatIsNotAPair)
{
    // The shapes of a single line are the helpers' business (above); this is about the file.
    auto ini = Load("orphan=before any section\r\n"
                    "[Main]\r\n"
                    "key = value\r\n"
                    "empty=\r\n"
                    "\t  indented=yes\r\n"
                    "\r\n"
                    "   \r\n"
                    "dup=first\r\n"
                    "dup=second\r\n"
                    "Long=" + std::string(5000, 'v') + "\r\n"
                    "[Other]\r\n"
                    "x=1\r\n"
                    "[Main]\r\n"
                    "more=again\r\n");
    EXPECT_EQ(Get(*ini, L"Main", L"key"), L"value");
    EXPECT_EQ(Get(*ini, L"Main", L"indented"), L"yes") << "blank lines and leading white space are skipped";
    EXPECT_EQ(Get(*ini, L"Main", L"dup"), L"second") << "a later duplicate replaces the earlier one";
    EXPECT_EQ(Get(*ini, L"Main", L"Long"), std::wstring(259, L'v')) << "values are bounded to 260 characters";
    EXPECT_EQ(Get(*ini, L"Main", L"more"), L"again") << "a section named again is continued";
    EXPECT_EQ(Get(*ini, L"Other", L"x"), L"1") << "the line after an overlong one is read";
    for (const wchar_t* ignored : { L"empty", L"orphan", L"long" })
        EXPECT_EQ(Get(*ini, L"Main", ignored, L"d"), L"d") << Narrow(ignored);
    EXPECT_EQ(Get(*ini, L"main", L"key", L"d"), L"d") << "section names are case-sensitive";
    EXPECT_EQ(Sections(*ini), L"[Main][Other]");
}

TEST_F(IniFileTest, GettersDefaultsAndBounds)
{
    auto ini = Load("[S]\r\nk=abcdef\r\ni=-42\r\nbig=9000000000\r\ntext=abc\r\n"
                    "a=TRUE\r\nb=False\r\nc=2\r\nr=1 2 3 4\r\nthree=1 2 3\r\n");
    wchar_t out[4] = L"zz";
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L"k"), W(L"d"), out, 4), L"abc");
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L"x"), W(L"dflt"), out, 4), L"dfl");
    EXPECT_STREQ(ini->GetString(W(L"S"), W(L""), W(L"d"), out, 4), L"d");
    EXPECT_STREQ(ini->GetString(nullptr, W(L"k"), W(L"d"), out, 4), L"d");
    out[0] = L'q';
    ini->GetString(W(L"S"), W(L"k"), nullptr, out, 4);
    ini->GetString(W(L"S"), W(L"k"), W(L"d"), out, 0);
    EXPECT_EQ(out[0], L'q') << "no default or no room: the output is not touched";

    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"i"), 7), -42);
    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"none"), 7), 7);
    EXPECT_EQ(ini->GetInteger(W(L"S"), W(L"text"), 7), 0) << "a value that is not a number reads as 0";
    EXPECT_EQ(ini->Get__int64(W(L"S"), W(L"big"), 1), 9000000000LL);
    EXPECT_EQ(ini->Get__int64(W(L"S"), W(L"none"), -9000000000LL), -9000000000LL);

    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"a"), false));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"b"), true));
    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"c"), false));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"text"), true));
    EXPECT_TRUE(ini->GetBoolean(W(L"S"), W(L"none"), true));
    EXPECT_FALSE(ini->GetBoolean(W(L"S"), W(L"none"), false));

    RECT dflt = { 9, 9, 9, 9 }, four = { 1, 2, 3, 4 }, rect = {};
    ini->GetRectangle(W(L"S"), W(L"r"), &dflt, &rect);
    EXPECT_TRUE(EqualRect(&rect, &four));
    ini->GetRectangle(W(L"S"), W(L"three"), &dflt, &rect);
    EXPECT_TRUE(EqualRect(&rect, &dflt)) << "three numbers give the default";
}

TEST_F(IniFileTest, PutsFormatValuesAndAnEmptyValueChangesNothing)
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
    EXPECT_EQ(Get(ini, L"S", L"i") + L"|" + Get(ini, L"S", L"u") + L"|" + Get(ini, L"S", L"s") + L"|" +
                  Get(ini, L"S", L"l") + L"|" + Get(ini, L"S", L"t") + Get(ini, L"S", L"f") + L"|" + Get(ini, L"S", L"r"),
              L"-3|4294967295|-1|-9000000000|10|1 -2 3 4");

    ini.PutString(W(L"S"), W(L"i"), W(L""));
    ini.PutString(W(L"S"), W(L"i"), nullptr);
    EXPECT_EQ(Get(ini, L"S", L"i"), L"-3") << "an empty value leaves the old one";
    ini.PutString(W(L"New"), W(L"k"), W(L""));
    ini.PutString(W(L""), W(L"k"), W(L"v"));
    ini.PutString(W(L"S"), nullptr, W(L"v"));
    EXPECT_EQ(Sections(ini), L"[New][S]") << "an empty value still creates its section; empty names do nothing";
    CIniFile unnamed(nullptr, 0);
    unnamed.PutString(W(L"S"), W(L"k"), W(L"v"));
    EXPECT_FALSE(unnamed.Save()) << "no file name";
}

TEST_F(IniFileTest, DeleteAndRename)
{
    auto ini = Load("[A]\r\nx=1\r\ny=2\r\n[B]\r\nz=3\r\n[Old]\r\nk=v\r\n");
    ini->DeleteKeyword(W(L"A"), W(L"x"));
    ini->DeleteKeyword(W(L"Missing"), W(L"y"));
    EXPECT_EQ(Get(*ini, L"A", L"x", L"gone") + Get(*ini, L"A", L"y"), L"gone2");
    ini->DeleteSection(W(L"B"));
    EXPECT_EQ(Get(*ini, L"B", L"z", L"gone"), L"gone");

    EXPECT_EQ(Get(*ini, L"Old", L"k"), L"v");  // leaves the old section as the last one looked up
    ini->RenameSection(W(L"Old"), W(L"New"));
    ini->RenameSection(W(L"Missing"), W(L"Other"));
    EXPECT_EQ(Get(*ini, L"Old", L"k", L"none") + Get(*ini, L"New", L"k"), L"nonev");
    EXPECT_EQ(Sections(*ini), L"[A][New]");
    ini->RenameSection(W(L"New"), W(L"A"));
    EXPECT_EQ(Sections(*ini), L"[A]") << "renaming onto a taken name replaces that section";
    EXPECT_EQ(Get(*ini, L"A", L"k") + Get(*ini, L"A", L"y", L"none"), L"vnone");

    ini->DeleteAllSections();
    EXPECT_EQ(Sections(*ini), L"");
    EXPECT_EQ(Get(*ini, L"A", L"k", L"gone"), L"gone");
}

TEST_F(IniFileTest, SaveOfAUtf16FileWritesSortedAnsiWithoutComments)
{
    auto ini = Load(Utf16Bytes(L"; header comment\r\n[b]\r\nz = \u00E9\r\na=two words  \r\n[a]\r\nk=v=w\r\n"));
    EXPECT_EQ(Get(*ini, L"b", L"z"), L"\u00E9");
    ini->PutString(W(L"B"), W(L"x"), W(L"y"));
    ASSERT_TRUE(ini->Save());
    char e[4] = {};
    WideCharToMultiByte(CP_ACP, 0, L"\u00E9", 1, e, 4, nullptr, nullptr);
    EXPECT_EQ(ReadFileBytes(path), std::string("\r\n[B]\r\nx=y\r\n"
                                               "\r\n[a]\r\nk=v=w\r\n"
                                               "\r\n[b]\r\na=two words  \r\nz=") +
                                       e + "\r\n");
}

TEST_F(IniFileTest, SaveCutsOverlongLinesAndUsesTheAttributes)
{
    CIniFile ini(&(path = folder.File(L"long.ini"))[0], FILE_ATTRIBUTE_HIDDEN);
    std::wstring huge(3000, L'h');
    ini.PutString(W(L"S"), W(L"a"), &huge[0]);
    ini.PutString(W(L"S"), W(L"b"), W(L"short"));
    ASSERT_TRUE(ini.Save());
    EXPECT_EQ(ReadFileBytes(path), "\r\n[S]\r\na=" + std::string(1022 - 2, 'h') + "\r\nb=short\r\n")
        << "a line is at most 1024 bytes with its CR LF";
    DWORD attributes = GetFileAttributesW(path.c_str());
    EXPECT_TRUE(attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_HIDDEN));
    CIniFile back(&path[0], 0);  // reading closes the file with normal attributes
    EXPECT_EQ(Get(back, L"S", L"b"), L"short") << "the saved file reads back";

    std::wstring missing = folder.File(L"none.ini");
    CIniFile empty(&missing[0], 0);
    EXPECT_FALSE(empty.Save());
    EXPECT_FALSE(FileExists(missing)) << "nothing to write: the file is not created";
}

TEST_F(IniFileTest, ConcurrentSavesWriteWholeFiles)
{
    CIniFile ini(&(path = folder.File(L"threads.ini"))[0], 0);
    std::string expected = "\r\n[S]\r\n";
    for (int i = 0; i < 200; ++i)
    {
        wchar_t key[16];
        char line[32];
        _snwprintf_s(key, 16, _TRUNCATE, L"k%03d", i);
        _snprintf_s(line, 32, _TRUNCATE, "k%03d=%d\r\n", i, i);
        ini.PutInteger(W(L"S"), key, i);
        expected += line;
    }
    HANDLE threads[4];
    for (HANDLE& t : threads)
        t = CreateThread(nullptr, 0, &SaveTwentyTimes, &ini, 0, nullptr);
    WaitForMultipleObjects(4, threads, TRUE, 60000);
    for (HANDLE t : threads)
    {
        DWORD failures = 1;
        GetExitCodeThread(t, &failures);
        EXPECT_EQ(failures, 0u);
        CloseHandle(t);
    }
    EXPECT_EQ(ReadFileBytes(path), expected);
}
