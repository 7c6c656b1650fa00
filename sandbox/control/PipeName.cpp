#include "sandbox/control/PipeName.h"

#include <windows.h>

namespace sandbox
{
std::wstring pipePath(const std::wstring& name)
{
    return name.find(L'\\') == std::wstring::npos ? L"\\\\.\\pipe\\" + name : name;
}

std::optional<std::wstring> controlPipeName()
{
    const wchar_t* const variable = L"LINKWELL_SANDBOX_CONTROL";
    const DWORD needed = GetEnvironmentVariableW(variable, nullptr, 0); // with the terminating zero
    if (needed <= 1)
        return std::nullopt;
    std::wstring value(needed - 1, L'\0');
    GetEnvironmentVariableW(variable, value.data(), needed);
    return value;
}
} // namespace sandbox
