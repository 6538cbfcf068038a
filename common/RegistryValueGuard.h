#pragma once
// Shared by the programs around the library (tests, demo): saves one registry value (or its
// absence) and puts it back on destruction, for the library's own fixed keys, which a test or a
// demo scene must leave as it found them.
#include <windows.h>
#include <shlwapi.h>
#include <string>
#include <vector>

namespace veskon_common
{
class RegistryValueGuard
{
public:
    RegistryValueGuard(HKEY root, const std::wstring& key, const std::wstring& name)
        : m_root(root), m_key(key), m_name(name), m_existed(false), m_keyExisted(false), m_type(REG_NONE)
    {
        HKEY opened = nullptr;
        if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        {
            // Remember the outermost missing key, so that whatever the test creates goes again.
            size_t pos = 0;
            for (;;)
            {
                size_t next = key.find(L'\\', pos);
                std::wstring prefix = key.substr(0, next);
                HKEY probe = nullptr;
                if (RegOpenKeyExW(root, prefix.c_str(), 0, KEY_READ, &probe) != ERROR_SUCCESS)
                {
                    m_createdTop = prefix;
                    break;
                }
                RegCloseKey(probe);
                if (next == std::wstring::npos)
                    break;
                pos = next + 1;
            }
            return;
        }
        m_keyExisted = true;
        DWORD bytes = 0;
        if (RegQueryValueExW(opened, name.c_str(), nullptr, &m_type, nullptr, &bytes) == ERROR_SUCCESS)
        {
            m_data.resize(bytes);
            if (RegQueryValueExW(opened, name.c_str(), nullptr, &m_type, m_data.data(), &bytes) == ERROR_SUCCESS)
                m_existed = true;
        }
        RegCloseKey(opened);
    }

    ~RegistryValueGuard()
    {
        if (!m_keyExisted)
        {
            // The key did not exist: remove it and the parents that came with it.
            if (!m_createdTop.empty())
                SHDeleteKeyW(m_root, m_createdTop.c_str());
            return;
        }
        HKEY opened = nullptr;
        if (RegOpenKeyExW(m_root, m_key.c_str(), 0, KEY_ALL_ACCESS, &opened) != ERROR_SUCCESS)
            return;
        if (m_existed)
            RegSetValueExW(opened, m_name.c_str(), 0, m_type, m_data.data(), static_cast<DWORD>(m_data.size()));
        else
            RegDeleteValueW(opened, m_name.c_str());
        RegCloseKey(opened);
    }

    RegistryValueGuard(const RegistryValueGuard&) = delete;
    RegistryValueGuard& operator=(const RegistryValueGuard&) = delete;

private:
    HKEY m_root;
    std::wstring m_key;
    std::wstring m_name;
    bool m_existed;
    bool m_keyExisted;
    std::wstring m_createdTop; // the first key of the path that did not exist yet
    DWORD m_type;
    std::vector<BYTE> m_data;
};
}
