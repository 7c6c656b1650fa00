#include "tests/endtoend/Registration.h"

#include <windows.h>

namespace endtoend
{
namespace
{
constexpr const wchar_t* mailKey = L"Software\\Clients\\Mail";
constexpr const wchar_t* sandboxKey = L"Software\\Clients\\Mail\\Linkwell Sandbox";
constexpr const char* advice = "\nThese tests run the agent on the sandbox, which must be the machine's default mail "
                               "client. They register nothing "
                               "themselves: run them by scripts/lib/wine-run, in the project's private Wine prefix.";

/// A text value as it stands; empty when it isn't there or is of another type.
std::wstring textValue(const wchar_t* key, const wchar_t* name, DWORD flags)
{
    wchar_t text[512] = {};
    DWORD size = sizeof(text);
    const LSTATUS result = RegGetValueW(HKEY_LOCAL_MACHINE, key, name, flags | RRF_NOEXPAND, nullptr, text, &size);
    return result == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

bool hasValue(const wchar_t* key, const wchar_t* name)
{
    return RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_ANY, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}
} // namespace

std::string wrongInRegistration()
{
    if (textValue(mailKey, nullptr, RRF_RT_REG_SZ) != L"Linkwell Sandbox")
        return std::string("The default mail client is not \"Linkwell Sandbox\".") + advice;
    if (textValue(sandboxKey, L"DllPathEx", RRF_RT_REG_EXPAND_SZ) != L"%LINKWELL_SANDBOX_DLL%")
        return std::string("\"DllPathEx\" of the client \"Linkwell Sandbox\" is not %LINKWELL_SANDBOX_DLL%, "
                           "as a REG_EXPAND_SZ.") +
               advice;
    for (const wchar_t* const name : {L"MSIComponentID", L"DllPath"})
    {
        if (hasValue(sandboxKey, name))
            return std::string("The client \"Linkwell Sandbox\" has other values beside \"DllPathEx\".") + advice;
    }
    return {};
}
} // namespace endtoend
