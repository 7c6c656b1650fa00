#include "tests/support/ProgramRun.h"

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

[[nodiscard]] Handle openForChild(const std::filesystem::path& file, DWORD access, DWORD creation)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return checkedFile(CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, creation,
                                   FILE_ATTRIBUTE_NORMAL, nullptr),
                       "CreateFileW");
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
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    if (WaitForSingleObject(process.get(), static_cast<DWORD>(std::chrono::milliseconds(deadline).count())) !=
        WAIT_OBJECT_0)
    {
        TerminateProcess(process.get(), 1);
        throw std::runtime_error("a program still runs after the deadline");
    }
    ProgramRun run;
    if (!GetExitCodeProcess(process.get(), &run.status))
        throwLastError("GetExitCodeProcess");
    run.output = readBytes(folder.path() / "output");
    run.errors = readBytes(folder.path() / "errors");
    return run;
}
} // namespace support
