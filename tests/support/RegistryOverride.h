// RegistryOverride.h: HKEY_LOCAL_MACHINE as a test wants it, without touching the machine's own.
#pragma once

#include <windows.h>

#include <string>

namespace support
{
/// For the life of this object the process sees an empty scratch key as HKEY_LOCAL_MACHINE. One at a time.
/// The scratch key stands below HKEY_CURRENT_USER and is removed at the end.
class RegistryOverride
{
public:
    RegistryOverride();
    ~RegistryOverride();
    RegistryOverride(const RegistryOverride&) = delete;
    RegistryOverride& operator=(const RegistryOverride&) = delete;

    /// Makes a subkey, with those above it.
    void makeKey(const std::wstring& subkey);
    /// Sets a value of type REG_SZ or REG_EXPAND_SZ, terminator included; makes the subkey. An empty name is the key's
    /// default value.
    void setText(const std::wstring& subkey, const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ);
    /// Sets a value of any type to these bytes.
    void setBytes(const std::wstring& subkey, const std::wstring& name, DWORD type, const void* bytes, DWORD size);

private:
    std::wstring m_path;
    HKEY m_root = nullptr;
};
} // namespace support
