#include "tests/support/Platform.h"

#include <array>
#include <atomic>

namespace support
{
bool runsOnWine()
{
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

std::wstring uniqueName(const std::wstring& stem)
{
    static std::atomic<unsigned> s_count{0};
    return stem + L'-' + std::to_wstring(GetCurrentProcessId()) + L'-' + std::to_wstring(++s_count);
}

std::wstring environmentValue(const std::wstring& name)
{
    std::array<wchar_t, 32768> value{};
    const DWORD size = GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    return {value.data(), size};
}
} // namespace support
