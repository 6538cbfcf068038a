#pragma once
// CLocalize: chooses the user's language, loads the language resource library "ZintorRes.dll"
// from <library folder>\Resource\<langid>\ (or <library folder>\<langid>\) as a data file and
// serves its strings. Pass GethInstance() wherever a dialog template or string is loaded.
//
// Creation: the frame's load creates it; the constructor chooses and loads the language.
#include <windows.h>
#include <string>
#include "Export.h"

typedef std::wstring CStringW;

class VESKON_API CLocalize
{
public:
    static CLocalize* Instance();
    ~CLocalize() noexcept;
    CLocalize(const CLocalize&) = delete;
    CLocalize& operator=(const CLocalize&) = delete;

    HINSTANCE GethInstance();
    // Loads string `id` into buf; a missing string yields "Failed to find a localized string
    // for ID # <id>." in buf (and a trace line).
    wchar_t* GetString(int id, wchar_t* buf, int bufSize);
    // A new string the caller deletes, or null when the string is empty.
    CStringW* GetString(int id);
    wchar_t* GetLastString(wchar_t* buf, int bufSize, int& id);
    void GetLangIDs(unsigned short& overrideId, unsigned short& languageId);
    bool IsRightToLeft();

    // A printf format from the resource library, or `fallback` when the library or the string is
    // missing, so that a failure text never becomes a format. Returns out.
    static wchar_t* GetFormat(int id, const wchar_t* fallback, wchar_t* out, int size);

    // True when the singleton exists (so that callers at unload do not create it again).
    static bool Exists();

private:
    CLocalize();
    void Load();

    HINSTANCE m_hResource;
    wchar_t m_path1[MAX_PATH];
    wchar_t m_path2[MAX_PATH];
    volatile int m_lastId;
    wchar_t m_lastString[1024];
    LANGID m_overrideLanguage;
    LANGID m_language;
    bool m_rightToLeft;
};
