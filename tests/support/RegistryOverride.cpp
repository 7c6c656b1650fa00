#include "tests/support/RegistryOverride.h"

#include <system_error>

#include "tests/support/Platform.h"

namespace support
{
namespace
{
void check(LSTATUS status, const char* call)
{
    if (status != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(status), std::system_category(), call);
}

HKEY create(HKEY root, const std::wstring& path)
{
    HKEY key = nullptr;
    check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
          "RegCreateKeyExW");
    return key;
}
} // namespace

RegistryOverride::RegistryOverride() : m_path(L"Software\\" + uniqueName(L"LinkwellTest"))
{
    RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()); // process ids come again
    m_root = create(HKEY_CURRENT_USER, m_path);
    check(RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_root), "RegOverridePredefKey");
}

RegistryOverride::~RegistryOverride()
{
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(m_root);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
}

void RegistryOverride::makeKey(const std::wstring& subkey)
{
    RegCloseKey(create(m_root, subkey));
}

void RegistryOverride::setText(const std::wstring& subkey, const std::wstring& name, const std::wstring& text,
                               DWORD type)
{
    setBytes(subkey, name, type, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void RegistryOverride::setBytes(const std::wstring& subkey, const std::wstring& name, DWORD type, const void* bytes,
                                DWORD size)
{
    const HKEY key = create(m_root, subkey);
    const LSTATUS status = RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(bytes), size);
    RegCloseKey(key);
    check(status, "RegSetValueExW");
}
} // namespace support
