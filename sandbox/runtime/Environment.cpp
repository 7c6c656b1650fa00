#include "sandbox/runtime/Environment.h"

#include <windows.h>

namespace sandbox
{
namespace
{
[[nodiscard]] std::optional<std::wstring> variable(const wchar_t* name)
{
    const DWORD needed = GetEnvironmentVariableW(name, nullptr, 0); // with the terminating zero
    if (needed <= 1)
        return std::nullopt;
    std::wstring value(needed - 1, L'\0');
    GetEnvironmentVariableW(name, value.data(), needed);
    return value;
}
} // namespace

std::optional<std::wstring> mailboxPath()
{
    return variable(L"LINKWELL_SANDBOX_MAILBOX");
}

std::optional<std::wstring> reportPath()
{
    return variable(L"LINKWELL_SANDBOX_REPORT");
}
} // namespace sandbox
