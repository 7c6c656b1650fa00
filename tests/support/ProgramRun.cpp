#include "tests/support/ProgramRun.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"

namespace support
{
namespace
{
/// On a busy machine Wine loses a child now and then (seen twice in some thousand starts), as it seems before any of the
/// child's own code has run. CreateProcessW then gives this error.
constexpr DWORD wineLostChild = ERROR_INTERNAL_ERROR;
constexpr int mostAttempts = 4;

Handle openForChild(const std::filesystem::path& file, DWORD access, DWORD creation)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return checkedFile(CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, creation,
                                   FILE_ATTRIBUTE_NORMAL, nullptr),
                       "CreateFileW");
}

/// Waits for the end of a child and gives its exit code; ends it when it still runs after `deadline`. Takes its handles over.
DWORD waitForExit(const PROCESS_INFORMATION& started)
{
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    if (WaitForSingleObject(process.get(), static_cast<DWORD>(std::chrono::milliseconds(deadline).count())) !=
        WAIT_OBJECT_0)
    {
        TerminateProcess(process.get(), 1);
        throw std::runtime_error("a program still runs after the deadline");
    }
    DWORD status = 0;
    if (!GetExitCodeProcess(process.get(), &status))
        throwLastError("GetExitCodeProcess");
    return status;
}
} // namespace

PROCESS_INFORMATION startChild(const wchar_t* program, const std::wstring& commandLine, DWORD flags,
                               STARTUPINFOW& startup)
{
    const int attempts = runsOnWine() ? mostAttempts : 1;
    for (int attempt = 1;; ++attempt)
    {
        std::wstring writable = commandLine; // CreateProcessW may write to it
        PROCESS_INFORMATION started{};
        if (CreateProcessW(program, writable.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup,
                           &started))
            return started;
        if (GetLastError() != wineLostChild || attempt == attempts)
            throwLastError("CreateProcessW");
    }
}

ProgramRun runProgram(const std::wstring& commandLine, const std::string& input)
{
    const TempFolder folder;
    writeBytes(folder.path() / "input", input);
    const Handle in = openForChild(folder.path() / "input", GENERIC_READ, OPEN_EXISTING);
    const Handle out = openForChild(folder.path() / "output", GENERIC_WRITE, CREATE_NEW);
    const Handle err = openForChild(folder.path() / "errors", GENERIC_WRITE, CREATE_NEW);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.get();
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    const PROCESS_INFORMATION started = startChild(nullptr, commandLine, 0, startup);
    ProgramRun run;
    run.status = waitForExit(started);
    run.output = readBytes(folder.path() / "output");
    run.errors = readBytes(folder.path() / "errors");
    return run;
}

DWORD runInChild(const std::wstring& test, const std::wstring& name, const std::wstring& value)
{
    std::array<wchar_t, 32768> program{};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    const std::wstring commandLine =
        L"\"" + std::wstring(program.data()) + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + test;
    const EnvironmentVariable variable(name, value);
    return runProgram(commandLine).status;
}
} // namespace support
