#include "tests/support/ChildTest.h"

#include <array>
#include <chrono>
#include <stdexcept>

#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"

namespace support
{
namespace
{
Handle openNull()
{
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return checkedFile(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                   OPEN_EXISTING, 0, nullptr),
                       "CreateFileW");
}
} // namespace

DWORD runInChild(const std::wstring& test, const std::wstring& name, const std::wstring& value)
{
    std::array<wchar_t, 32768> program{};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    const std::wstring commandLine =
        L"\"" + std::wstring(program.data()) + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + test;

    const Handle null = openNull();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = startup.hStdOutput = startup.hStdError = null.get();
    SetEnvironmentVariableW(name.c_str(), value.c_str());
    const PROCESS_INFORMATION created = startChild(program.data(), commandLine, 0, startup);
    SetEnvironmentVariableW(name.c_str(), nullptr);
    const Handle thread(created.hThread);
    const Handle process(created.hProcess);

    const auto allowed = std::chrono::duration_cast<std::chrono::milliseconds>(deadline).count();
    if (WaitForSingleObject(process.get(), static_cast<DWORD>(allowed)) != WAIT_OBJECT_0)
    {
        TerminateProcess(process.get(), 1);
        throw std::runtime_error("the child process does not end");
    }
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process.get(), &exitCode))
        throwLastError("GetExitCodeProcess");
    return exitCode;
}

std::wstring environmentValue(const std::wstring& name)
{
    std::array<wchar_t, 32768> value{};
    const DWORD size = GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    return {value.data(), size};
}
} // namespace support
