#include "frame/Localize.h"
#include "frame/DebugTrace.h"
#include "frame/KVRN_DllMain.h"
#include "frame/RegistryEx.h"
#include "files/FileIO.h"
#include <cwchar>
#include <new>
#include <string>
#include <vector>

namespace
{
CLocalize* g_instance = nullptr;

wchar_t kMachineKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kUserKey[] = L"Software\\Veskon\\Tellvane\\DesktopUI";
wchar_t kLangIdValue[] = L"LANGID";
const wchar_t kResourceFile[] = L"ZintorRes.dll";

struct Attempt
{
    LANGID language;
    std::wstring path;
};

void Trace(const wchar_t* text)
{
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, text, "Localize", __LINE__);
}

template <typename... Args>
void TraceFormat(const wchar_t* format, Args... args)
{
    wchar_t text[1024];
    _snwprintf_s(text, 1024, _TRUNCATE, format, args...);
    Trace(text);
}

void Candidate(wchar_t* folder, LANGID language, wchar_t* out)
{
    wchar_t name[64];
    _snwprintf_s(name, 64, _TRUNCATE, L"%04X\\%s", language, kResourceFile);
    CFileIO::CombinePath(folder, name, out, MAX_PATH);
}

// The language's own folder first, then its primary language with the default sub-language. The
// replaced language stays in force even when that folder is missing too.
bool Probe(wchar_t* folder, LANGID& language, wchar_t* path)
{
    Candidate(folder, language, path);
    if (CFileIO::FileExists(path))
        return true;
    language = static_cast<LANGID>((language & 0x3FF) | 0x400);
    Candidate(folder, language, path);
    return CFileIO::FileExists(path);
}
}

CLocalize* CLocalize::Instance()
{
    if (!g_instance)
    {
        // Loading needs the frame, and the frame's own load creates this singleton: let the frame
        // come first, or a first call made here would build and leak a second object.
        CKVRN_DllMain::Instance();
    }
    if (!g_instance)
    {
        // The constructor loads before the pointer is stored.
        CLocalize* created = new (std::nothrow) CLocalize();
        g_instance = created;
    }
    return g_instance;
}

bool CLocalize::Exists()
{
    return g_instance != nullptr;
}

CLocalize::CLocalize()
    : m_hResource(nullptr), m_path1{}, m_path2{}, m_lastId(-1), m_lastString{}, m_overrideLanguage(0), m_language(0),
      m_rightToLeft(false)
{
    Load();
}

CLocalize::~CLocalize() noexcept
{
    if (g_instance)
    {
        if (m_hResource)
            FreeLibrary(m_hResource);
        m_hResource = nullptr;
        g_instance = nullptr;
    }
}

void CLocalize::Load()
{
    Trace(L"CLocalize::Load - ENTER");
    std::vector<Attempt> attempts;
    LCID locale = 0x0400;

    wchar_t libraryFolder[MAX_PATH] = {};
    CKVRN_DllMain::Instance()->GetApplicationFolder(libraryFolder, MAX_PATH);
    wchar_t folder[MAX_PATH] = {};
    wchar_t resource[] = L"Resource";
    CFileIO::CombinePath(libraryFolder, resource, folder, MAX_PATH);
    if (!CFileIO::FolderExists(folder))
        wcsncpy_s(folder, MAX_PATH, libraryFolder, _TRUNCATE);

    bool loaded = false;
    wchar_t path[MAX_PATH] = {};
    if (folder[0] && CFileIO::FolderExists(folder))
    {
        int language = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kMachineKey, kLangIdValue, 0, 0, 65535);
        if (language == 0)
            language = CRegistryEx::Get(HKEY_CURRENT_USER, kUserKey, kLangIdValue, 0, 0, 65535);
        m_overrideLanguage = static_cast<LANGID>(language);
        m_language = m_overrideLanguage;
        if (m_language != 0)
        {
            locale = m_language;
            TraceFormat(L"CLocalize::Load - registry-based OVERRIDE of LANGID: \"%.4X\"", m_language);
        }
        else
        {
            Trace(L"CLocalize::Load - no registry-based override of LANGID");
            m_language = GetUserDefaultLangID();
            locale = GetUserDefaultLCID();
            TraceFormat(L"CLocalize::Load - \"GetUserDefaultLangID()\" returned: \"%.4X\"", m_language);
        }
        if (!Probe(folder, m_language, path))
        {
            attempts.push_back({ m_language, path });
            TraceFormat(L"CLocalize::Load - \"%s\" NOT FOUND!", path);
            m_language = GetSystemDefaultUILanguage();
            locale = GetSystemDefaultLCID();
            TraceFormat(L"CLocalize::Load - \"GetSystemDefaultUILanguage()\" returned: \"%.4X\"", m_language);
            if (!Probe(folder, m_language, path))
            {
                attempts.push_back({ m_language, path });
                TraceFormat(L"CLocalize::Load - \"%s\" NOT FOUND!", path);
                m_language = 0x0409;
                locale = 0x0409;
                Candidate(folder, m_language, path);
                TraceFormat(L"CLocalize::Load - assuming ENGLISH: \"%.4X\"", m_language);
            }
        }
        HINSTANCE library = CFileIO::FileExists(path) ? LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE) : nullptr;
        if (library)
        {
            TraceFormat(L"CLocalize::Load - selected language resource file = \"%s\"", path);
            wchar_t signature[16] = {};
            if (GetLocaleInfoW(locale, LOCALE_FONTSIGNATURE, signature, 16) && (signature[7] & 0x0800))
                m_rightToLeft = true;
            if (m_hResource)
                FreeLibrary(m_hResource);
            m_hResource = library;
            loaded = true;
        }
    }

    if (!loaded)
    {
        std::wstring message =
            L"The Veskon GUI Support DLL failed to locate or load its language resources DLL.\r\n\r\n"
            L"The following languages and paths were attempted, in order:\r\n\r\n";
        for (const Attempt& attempt : attempts)
        {
            wchar_t line[MAX_PATH + 32];
            _snwprintf_s(line, MAX_PATH + 32, _TRUNCATE, L"    %.4X - \"%s\"\r\n", attempt.language, attempt.path.c_str());
            message += line;
        }
        if (message.size() > 4095)
            message.resize(4095);
        Trace(message.c_str());
    }
    Trace(L"CLocalize::Load - EXIT");
}

HINSTANCE CLocalize::GethInstance()
{
    return m_hResource;
}

wchar_t* CLocalize::GetString(int id, wchar_t* buf, int bufSize)
{
    if (!buf || bufSize < 1)
        return buf;
    buf[0] = L'\0';
    if (LoadStringW(m_hResource, static_cast<UINT>(id), buf, bufSize) <= 0)
    {
        _snwprintf_s(buf, static_cast<size_t>(bufSize), _TRUNCATE, L"Failed to find a localized string for ID # %d.", id);
        Trace(buf);
    }
    else
    {
        m_lastId = id;
    }
    wcsncpy_s(m_lastString, 1024, buf, _TRUNCATE);
    return buf;
}

CStringW* CLocalize::GetString(int id)
{
    wchar_t text[1024];
    GetString(id, text, 1024);
    if (!text[0])
        return nullptr;
    return new (std::nothrow) CStringW(text);
}

wchar_t* CLocalize::GetLastString(wchar_t* buf, int bufSize, int& id)
{
    id = -1;
    if (!buf || bufSize < 1)
        return buf;
    id = m_lastId;
    wcsncpy_s(buf, static_cast<size_t>(bufSize), m_lastString, _TRUNCATE);
    return buf;
}

void CLocalize::GetLangIDs(unsigned short& overrideId, unsigned short& languageId)
{
    overrideId = m_overrideLanguage;
    languageId = m_language;
}

bool CLocalize::IsRightToLeft()
{
    return m_rightToLeft;
}

wchar_t* CLocalize::GetFormat(int id, const wchar_t* fallback, wchar_t* out, int size)
{
    if (!out || size < 1)
        return out;
    out[0] = L'\0';
    HINSTANCE library = Instance() ? Instance()->GethInstance() : nullptr;
    // Without the resource library LoadStringW would search the host's executable, whose
    // strings of the same number mean something else.
    if (!library || LoadStringW(library, static_cast<UINT>(id), out, size) <= 0)
        wcsncpy_s(out, static_cast<size_t>(size), fallback ? fallback : L"", _TRUNCATE);
    return out;
}
