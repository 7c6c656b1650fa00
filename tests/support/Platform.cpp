#include "tests/support/Platform.h"

#include <windows.h>

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
} // namespace support
