#include "tests/support/ChildProcess.h"

#include "tests/support/Handle.h"
#include "tests/support/Platform.h"

namespace support
{
namespace
{
/// On a busy machine Wine loses a child now and then (seen twice in some thousand starts), as it seems before any of the
/// child's own code has run. CreateProcessW then gives this error.
constexpr DWORD wineLostChild = ERROR_INTERNAL_ERROR;
constexpr int mostAttempts = 4;
} // namespace

PROCESS_INFORMATION startChild(const wchar_t* program, const std::wstring& commandLine, DWORD flags, void* environment,
                               STARTUPINFOW& startup)
{
    const int attempts = runsOnWine() ? mostAttempts : 1;
    for (int attempt = 1;; ++attempt)
    {
        std::wstring writable = commandLine; // CreateProcessW may write to it
        PROCESS_INFORMATION started{};
        if (CreateProcessW(program, writable.data(), nullptr, nullptr, TRUE, flags, environment, nullptr, &startup,
                           &started))
            return started;
        if (GetLastError() != wineLostChild || attempt == attempts)
            throwLastError("CreateProcessW");
    }
}
} // namespace support
