#include "files/IniFile.h"
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include "files/FileIO.h"
#include "frame/CriticalSectionEx.h"
#include "frame/MemoryManager.h"

namespace
{
const int kLineChars = 2048;     // longest line the parser looks at
const int kNameChars = MAX_PATH; // longest name or value it keeps
const int kNumberChars = 1024;   // text of a number read by the typed getters
const int kSavedLineBytes = 1024;

bool Usable(const wchar_t* text)
{
    return text && *text;
}

bool IsNameEnd(wchar_t c)
{
    return c == L'\0' || c == L' ' || c == L'\t' || c == L'=';
}

bool IsLineEnd(wchar_t c)
{
    return c == L'\0' || c == L'\r' || c == L'\n';
}

// Copies [begin, end) into out, bounded and terminated.
void CopyBounded(const wchar_t* begin, const wchar_t* end, wchar_t* out, int outSize)
{
    if (!out || outSize < 1)
        return;
    size_t n = static_cast<size_t>(end - begin);
    if (n > static_cast<size_t>(outSize - 1))
        n = static_cast<size_t>(outSize - 1);
    wmemcpy(out, begin, n);
    out[n] = L'\0';
}

// Copies from text up to the first character for which stop() holds; returns that position.
wchar_t* CopyUntil(wchar_t* text, wchar_t* out, int outSize, bool (*stop)(wchar_t))
{
    if (out && outSize >= 1)
        out[0] = L'\0';
    if (!text)
        return text;
    wchar_t* end = text;
    while (!stop(*end))
        ++end;
    CopyBounded(text, end, out, outSize);
    return end;
}

// Appends one saved line in the ANSI code page, at most kSavedLineBytes bytes. A line that does
// not fit is cut (at a character boundary) before its "\r\n", never after, so that it cannot run
// into the next one.
void AppendAnsiLine(std::string& file, const std::wstring& line)
{
    const int room = kSavedLineBytes - 2;
    auto bytesFor = [&line](size_t chars) {
        return WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(chars), nullptr, 0, nullptr, nullptr);
    };
    size_t chars = line.size();
    if (bytesFor(chars) > room)
    {
        size_t low = 0, high = chars;  // the longest prefix that fits lies in [low, high)
        while (high - low > 1)
        {
            size_t middle = low + (high - low) / 2;
            (bytesFor(middle) <= room ? low : high) = middle;
        }
        chars = low;
    }
    char bytes[kSavedLineBytes];
    int n = chars ? WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(chars), bytes, room, nullptr, nullptr) : 0;
    file.append(bytes, static_cast<size_t>(n));
    file.append("\r\n");
}
}

CIniFile::CIniFile(wchar_t* path, int attributes)
    : m_lastSection(nullptr), m_filename(), m_attributes(attributes), m_lock(new (std::nothrow) CCriticalSectionEx())
{
    if (!Usable(path))
        return;
    wcsncpy_s(m_filename, MAX_PATH, path, _TRUNCATE);
    __int64 chars = 0;
    wchar_t* text = GetBuffer(m_filename, chars);
    if (!text)
        return;
    try
    {
        Parse(text);
    }
    catch (...)
    {
        // Out of memory while parsing: keep what was read so far.
    }
    CMemoryManager::Free(text);
}

CIniFile::~CIniFile() noexcept
{
    DeleteAllSections();
    delete m_lock;
    m_lock = nullptr;
}

wchar_t* CIniFile::GetFilename()
{
    return m_filename;
}

void CIniFile::Parse(wchar_t* text)
{
    wchar_t line[kLineChars];
    wchar_t name[kNameChars];
    wchar_t value[kNameChars];
    Section* current = nullptr;
    while (text && *text)
    {
        bool found = false;
        text = GetLine(text, line, kLineChars, nullptr, found, true);
        if (!found || !line[0])
            break;
        GetSectionName(line, name, kNameChars);
        if (name[0])
        {
            current = FindOrCreateSection(name);
            continue;
        }
        if (!current)
            continue;
        GetNameValuePair(line, name, kNameChars, value, kNameChars);
        if (name[0] && value[0])
            (*current)[name] = value;  // a later duplicate replaces the earlier one
    }
}

CIniFile::Section* CIniFile::FindSection(const wchar_t* name)
{
    auto it = m_sections.find(name);
    m_lastSection = it == m_sections.end() ? nullptr : it->second;
    return m_lastSection;
}

CIniFile::Section* CIniFile::FindOrCreateSection(const wchar_t* name)
{
    if (Section* found = FindSection(name))
        return found;
    std::unique_ptr<Section> created(new Section());
    m_sections[name] = created.get();
    m_lastSection = created.release();
    return m_lastSection;
}

wchar_t* CIniFile::GetString(wchar_t* section, wchar_t* key, wchar_t* dflt, wchar_t* out, int outSize)
{
    if (!dflt || !out || outSize < 1)
        return out;
    out[0] = L'\0';
    if (Usable(section) && Usable(key))
    {
        try
        {
            if (Section* s = FindSection(section))
            {
                auto it = s->find(key);
                if (it != s->end() && !it->second.empty())
                    wcsncpy_s(out, static_cast<size_t>(outSize), it->second.c_str(), _TRUNCATE);
            }
        }
        catch (...)
        {
            out[0] = L'\0';
        }
    }
    if (!out[0] && dflt[0])
        wcsncpy_s(out, static_cast<size_t>(outSize), dflt, _TRUNCATE);
    return out;
}

int CIniFile::GetInteger(wchar_t* section, wchar_t* key, int dflt)
{
    wchar_t dfltText[32];
    wchar_t text[kNumberChars];
    _snwprintf_s(dfltText, 32, _TRUNCATE, L"%d", dflt);
    return _wtoi(GetString(section, key, dfltText, text, kNumberChars));
}

__int64 CIniFile::Get__int64(wchar_t* section, wchar_t* key, __int64 dflt)
{
    wchar_t dfltText[32];
    wchar_t text[kNumberChars];
    _snwprintf_s(dfltText, 32, _TRUNCATE, L"%I64d", dflt);
    return _wtoi64(GetString(section, key, dfltText, text, kNumberChars));
}

bool CIniFile::GetBoolean(wchar_t* section, wchar_t* key, bool dflt)
{
    wchar_t dfltText[32];
    wchar_t text[kNumberChars];
    _snwprintf_s(dfltText, 32, _TRUNCATE, L"%d", dflt ? 1 : 0);
    GetString(section, key, dfltText, text, kNumberChars);
    if (_wcsicmp(text, L"true") == 0)
        return true;
    if (_wcsicmp(text, L"false") == 0)
        return false;
    return _wtoi(text) != 0;
}

void CIniFile::GetRectangle(wchar_t* section, wchar_t* key, RECT* dflt, RECT* out)
{
    if (!out)
        return;
    wchar_t none[1] = { L'\0' };
    wchar_t text[kNumberChars];
    GetString(section, key, none, text, kNumberChars);
    int left = 0, top = 0, right = 0, bottom = 0;
    if (swscanf(text, L"%d %d %d %d", &left, &top, &right, &bottom) == 4)
    {
        out->left = left;
        out->top = top;
        out->right = right;
        out->bottom = bottom;
    }
    else if (dflt)
    {
        *out = *dflt;
    }
}

void CIniFile::PutString(wchar_t* section, wchar_t* key, wchar_t* value)
{
    if (!Usable(section) || !Usable(key))
        return;
    try
    {
        Section* s = FindOrCreateSection(section);
        if (!Usable(value))
            return;  // an empty value never replaces a stored one
        (*s)[key] = value;
    }
    catch (...)
    {
        // Out of memory: the value is not stored.
    }
}

void CIniFile::PutInteger(wchar_t* section, wchar_t* key, int value)
{
    PutInteger(section, key, value, true);
}

void CIniFile::PutInteger(wchar_t* section, wchar_t* key, int value, bool isSigned)
{
    wchar_t text[32];
    if (isSigned)
        _snwprintf_s(text, 32, _TRUNCATE, L"%d", value);
    else
        _snwprintf_s(text, 32, _TRUNCATE, L"%u", static_cast<unsigned>(value));
    PutString(section, key, text);
}

void CIniFile::Put__int64(wchar_t* section, wchar_t* key, __int64 value)
{
    wchar_t text[32];
    _snwprintf_s(text, 32, _TRUNCATE, L"%I64d", value);
    PutString(section, key, text);
}

void CIniFile::PutBoolean(wchar_t* section, wchar_t* key, bool value)
{
    wchar_t text[2] = { value ? L'1' : L'0', L'\0' };
    PutString(section, key, text);
}

void CIniFile::PutRectangle(wchar_t* section, wchar_t* key, RECT* rect)
{
    if (!rect)
        return;
    wchar_t text[64];
    _snwprintf_s(text, 64, _TRUNCATE, L"%d %d %d %d", static_cast<int>(rect->left), static_cast<int>(rect->top),
                 static_cast<int>(rect->right), static_cast<int>(rect->bottom));
    PutString(section, key, text);
}

void CIniFile::DeleteKeyword(wchar_t* section, wchar_t* key)
{
    if (!Usable(section) || !Usable(key))
        return;
    try
    {
        if (Section* s = FindSection(section))
            s->erase(key);
    }
    catch (...)
    {
    }
}

void CIniFile::DeleteSection(wchar_t* section)
{
    if (!Usable(section))
        return;
    try
    {
        auto it = m_sections.find(section);
        if (it == m_sections.end())
            return;
        if (m_lastSection == it->second)
            m_lastSection = nullptr;
        delete it->second;
        m_sections.erase(it);
    }
    catch (...)
    {
    }
}

void CIniFile::DeleteAllSections()
{
    for (auto& entry : m_sections)
        delete entry.second;
    m_sections.clear();
    m_lastSection = nullptr;
}

void CIniFile::RenameSection(wchar_t* oldName, wchar_t* newName)
{
    if (!Usable(oldName) || !Usable(newName) || wcscmp(oldName, newName) == 0)
        return;
    try
    {
        auto it = m_sections.find(oldName);
        if (it == m_sections.end())
            return;
        Section* moved = it->second;
        std::wstring target(newName);
        auto existing = m_sections.find(target);
        if (existing != m_sections.end())
        {
            if (m_lastSection == existing->second)
                m_lastSection = nullptr;
            delete existing->second;
            existing->second = moved;
        }
        else
        {
            m_sections.emplace(target, moved);
        }
        m_sections.erase(it);
    }
    catch (...)
    {
    }
}

CIniFile::SectionList* CIniFile::GetSections()
{
    SectionList* list = new (std::nothrow) SectionList();
    if (!list)
        return nullptr;
    try
    {
        list->reserve(m_sections.size());
        for (const auto& entry : m_sections)
        {
            std::unique_ptr<std::wstring> name(new std::wstring(entry.first));
            list->push_back(name.get());
            name.release();
        }
    }
    catch (...)
    {
        FreeSectionList(list);
        return nullptr;
    }
    return list;
}

void CIniFile::FreeSectionList(SectionList* list)
{
    if (!list)
        return;
    for (std::wstring* name : *list)
        delete name;
    delete list;
}

bool CIniFile::Save()
{
    if (m_sections.empty() || !m_filename[0])
        return false;
    if (m_lock)
        m_lock->Enter(L"CIniFile::Save");
    bool written = false;
    try
    {
        std::string file;
        for (const auto& section : m_sections)
        {
            file.append("\r\n");
            AppendAnsiLine(file, L"[" + section.first + L"]");
            for (const auto& pair : *section.second)
                AppendAnsiLine(file, pair.first + L"=" + pair.second);
        }
        // OpenWrite deletes the file first: the new text never mixes with the old.
        CFileIO out(m_filename, m_attributes ? static_cast<unsigned long>(m_attributes) : FILE_ATTRIBUTE_NORMAL);
        written = out.OpenWrite() && out.Write(&file[0], static_cast<__int64>(file.size()));
        out.Close();
    }
    catch (...)
    {
        written = false;  // out of memory for the text: the file is left as it was
    }
    if (m_lock)
        m_lock->Leave();
    return written;
}

// ---- text helpers ------------------------------------------------------------------------------

wchar_t* CIniFile::GetBuffer(wchar_t* path, __int64& chars)
{
    chars = 0;
    if (!Usable(path) || !CFileIO::FileExists(path))
        return nullptr;
    bool unicode = CFileIO::IsUnicode(path, chars);
    CFileIO file(path);
    if (!file.OpenRead() || !file.ReadEntireFile())
        return nullptr;
    __int64 size = 0;
    char* bytes = file.GetBuffer(&size);
    file.Close();
    if (!bytes || size <= 0 || size >= 0x7FFFFFFF)
        return nullptr;
    wchar_t* text = nullptr;
    if (unicode && size >= 2)
    {
        __int64 count = (size - 2) / 2;
        text = static_cast<wchar_t*>(CMemoryManager::Alloc((count + 1) * static_cast<__int64>(sizeof(wchar_t))));
        if (text && count > 0)
            memcpy(text, bytes + 2, static_cast<size_t>(count) * sizeof(wchar_t));
    }
    else
    {
        int n = MultiByteToWideChar(CP_ACP, 0, bytes, static_cast<int>(size), nullptr, 0);
        if (n > 0)
        {
            text = static_cast<wchar_t*>(CMemoryManager::Alloc((static_cast<__int64>(n) + 1) * static_cast<__int64>(sizeof(wchar_t))));
            if (text)
                MultiByteToWideChar(CP_ACP, 0, bytes, static_cast<int>(size), text, n);
        }
    }
    return text;  // zero-filled allocation: terminated
}

wchar_t* CIniFile::GetLine(wchar_t* text, wchar_t* line, int lineSize, __int64* length, bool& found, bool skipWhitespace)
{
    found = false;
    if (length)
        *length = 0;
    if (line && lineSize >= 1)
        line[0] = L'\0';
    if (!text)
        return text;
    if (skipWhitespace)
        text = SkipWhitespace(text);
    wchar_t* end = text;
    while (*end && !(end[0] == L'\r' && end[1] == L'\n'))
        ++end;
    found = end != text || *end != L'\0';
    if (length)
        *length = end - text;
    CopyBounded(text, end, line, lineSize);
    return *end ? end + 2 : end;
}

wchar_t* CIniFile::SkipWhitespace(wchar_t* text)
{
    if (!text)
        return text;
    while (*text == L' ' || *text == L'\t' || *text == L'=' || *text == L'\r' || *text == L'\n')
        ++text;
    return text;
}

wchar_t* CIniFile::EatTilWhitespace(wchar_t* text, wchar_t* out, int outSize)
{
    return CopyUntil(text, out, outSize, IsNameEnd);
}

wchar_t* CIniFile::EatTilEOL(wchar_t* text, wchar_t* out, int outSize)
{
    return CopyUntil(text, out, outSize, IsLineEnd);
}

wchar_t* CIniFile::GetSectionName(wchar_t* line, wchar_t* out, int outSize)
{
    if (!out || outSize < 1)
        return out;
    out[0] = L'\0';
    if (!line || line[0] != L'[')
        return out;
    const wchar_t* close = wcschr(line + 1, L']');
    if (close)
        CopyBounded(line + 1, close, out, outSize);
    return out;
}

void CIniFile::GetNameValuePair(wchar_t* line, wchar_t* name, int nameSize, wchar_t* value, int valueSize)
{
    if (name && nameSize >= 1)
        name[0] = L'\0';
    if (value && valueSize >= 1)
        value[0] = L'\0';
    if (!line || line[0] == L';' || line[0] == L'=' || !wcschr(line, L'='))
        return;
    wchar_t* p = SkipWhitespace(line);
    p = EatTilWhitespace(p, name, nameSize);
    p = SkipWhitespace(p);
    EatTilEOL(p, value, valueSize);
}
