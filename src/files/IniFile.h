#pragma once
// CIniFile: one INI file held in memory as sorted sections of sorted name/value strings.
//
// The file is read whole at construction (ANSI, or UTF-16 little-endian with its byte-order mark)
// and written whole by Save(), always as ANSI text: sections and keys in sorted order
// (case-sensitive), an empty first line, and no comments. Comments of the file read are lost.
//
// Line rules: lines end with "\r\n"; leading blanks, tabs, "=" and line breaks are skipped; a
// line "[name]" opens a section; "name = value" sets a key, where the name ends at the first
// blank, tab or "=" and the value is everything after the "=" and any blanks, tabs or further
// "=" that follow it, trailing blanks kept. Lines before the first section, comments (";" first),
// lines without "=" or without a value are ignored; a later duplicate key wins.
//
// Every operation taking a section and key does nothing (a getter returns its default) unless
// both are non-null and non-empty. Empty values are never stored: putting one does nothing.
// Save() is serialized by the object's lock; everything else is for one thread.
#include <windows.h>
#include <map>
#include <string>
#include <vector>
#include "Export.h"

class CCriticalSectionEx;

class VESKON_API CIniFile
{
public:
    typedef std::map<std::wstring, std::wstring> Section;
    // Returned by GetSections(): new strings in a new list; release with FreeSectionList().
    typedef std::vector<std::wstring*> SectionList;

    // Reads and parses `path` when it is non-empty; `attributes` are the file attributes Save()
    // writes the file with (FILE_ATTRIBUTE_NORMAL when 0).
    CIniFile(wchar_t* path, int attributes);
    ~CIniFile() noexcept;
    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;

    wchar_t* GetFilename();

    // Copies the value into out (bounded); when there is none, the default. Returns out.
    // Needs a non-null dflt, a non-null out and outSize >= 1.
    wchar_t* GetString(wchar_t* section, wchar_t* key, wchar_t* dflt, wchar_t* out, int outSize);
    int GetInteger(wchar_t* section, wchar_t* key, int dflt);
    __int64 Get__int64(wchar_t* section, wchar_t* key, __int64 dflt);
    // "true" / "false" in any case, otherwise a non-zero number.
    bool GetBoolean(wchar_t* section, wchar_t* key, bool dflt);
    // "left top right bottom"; unless exactly four numbers are read, out gets *dflt.
    void GetRectangle(wchar_t* section, wchar_t* key, RECT* dflt, RECT* out);

    // Each put creates the section when missing, then replaces the key's value (not when empty).
    void PutString(wchar_t* section, wchar_t* key, wchar_t* value);
    void PutInteger(wchar_t* section, wchar_t* key, int value);
    void PutInteger(wchar_t* section, wchar_t* key, int value, bool isSigned);
    void Put__int64(wchar_t* section, wchar_t* key, __int64 value);
    void PutBoolean(wchar_t* section, wchar_t* key, bool value);
    void PutRectangle(wchar_t* section, wchar_t* key, RECT* rect);

    void DeleteKeyword(wchar_t* section, wchar_t* key);
    void DeleteSection(wchar_t* section);
    void DeleteAllSections();
    // Moves the section oldName, keys and all, to newName (replacing a section of that name).
    void RenameSection(wchar_t* oldName, wchar_t* newName);

    SectionList* GetSections();
    static void FreeSectionList(SectionList* list);

    // Writes the whole file (see above). Without sections the file is left as it is and the
    // result is false; otherwise the result tells whether the file was written.
    bool Save();

    // ---- text helpers, usable on their own --------------------------------------------------
    // The whole file as a new terminated wide text (free it with CMemoryManager::Free): UTF-16
    // after a leading FF FE byte-order mark, otherwise converted from the ANSI code page. Null
    // when the file is missing or empty. `chars` gets the size CFileIO::IsUnicode finds.
    static wchar_t* GetBuffer(wchar_t* path, __int64& chars);
    // Copies the text up to the next "\r\n" or its end into line (at most lineSize - 1
    // characters, terminated), after skipping white space first when asked. `length`, when
    // non-null, receives the line's full length (before bounding); `found` tells whether a line
    // was there. Returns where the next line starts (after the "\r\n"), or the text's end.
    static wchar_t* GetLine(wchar_t* text, wchar_t* line, int lineSize, __int64* length, bool& found,
                            bool skipWhitespace);
    // Skips blanks, tabs, "=", CR and LF.
    static wchar_t* SkipWhitespace(wchar_t* text);
    // Copies up to a blank, tab, "=" or the end; returns where copying stopped.
    static wchar_t* EatTilWhitespace(wchar_t* text, wchar_t* out, int outSize);
    // Copies up to CR, LF or the end; returns where copying stopped.
    static wchar_t* EatTilEOL(wchar_t* text, wchar_t* out, int outSize);
    // The text between a leading "[" and the first "]" (bounded); empty for any other line.
    // Returns out.
    static wchar_t* GetSectionName(wchar_t* line, wchar_t* out, int outSize);
    // Splits "name = value"; both empty for a comment (";" first), a line without "=" or one
    // that begins with "=".
    static void GetNameValuePair(wchar_t* line, wchar_t* name, int nameSize, wchar_t* value, int valueSize);

private:
    void Parse(wchar_t* text);
    Section* FindSection(const wchar_t* name);
    Section* FindOrCreateSection(const wchar_t* name);

    Section* m_lastSection;  // cache of the most recent look-up
    std::map<std::wstring, Section*> m_sections;
    wchar_t m_filename[MAX_PATH];
    int m_attributes;
    CCriticalSectionEx* m_lock;
};
