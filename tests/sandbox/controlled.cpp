// controlled.cpp: a client in a process of its own, to be edited while it runs. Initialises MAPI, logs on, and lives until
// its standard input ends.
//
// linkwell_sandbox_controlled [exit | unload]
// "exit" ends without MAPIUninitialize, and "unload" takes the DLL away first thing, without MAPIUninitialize either.
// Exit status: 0, or 1 when the logon fails.
#include <windows.h>

#include <array>
#include <memory>
#include <string_view>

#include "tests/support/sandbox/SandboxDll.h"

namespace
{
void waitForEndOfInput()
{
    std::array<char, 16> ignored;
    DWORD count = 0;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    while (ReadFile(input, ignored.data(), static_cast<DWORD>(ignored.size()), &count, nullptr) && count != 0)
        continue;
}
} // namespace

int main(int count, char** arguments)
{
    const std::string_view what = count > 1 ? arguments[1] : "";
    auto dll = std::make_unique<sandboxtest::SandboxDll>();
    dll->MAPIInitialize(nullptr);
    IMAPISession* session = nullptr;
    if (FAILED(dll->MAPILogonEx(0, nullptr, nullptr, MAPI_UNICODE | MAPI_EXTENDED | MAPI_USE_DEFAULT, &session)))
        return 1;
    if (what == "unload")
    {
        session->Release();
        dll.reset();
    }
    waitForEndOfInput();
    if (dll && what != "exit")
    {
        session->Release();
        dll->MAPIUninitialize();
    }
    else
    {
        (void)dll.release(); // as by an ordinary client, which never unloads it
    }
    return 0;
}
