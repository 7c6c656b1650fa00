#include <windows.h>

#include <string_view>

#include "sandbox/runtime/delivery/ThreadQueue.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/Memory.h"

namespace
{
/// Writes the end report if the environment names a file for it. Other threads are gone, perhaps in the middle of
/// anything, so this takes no lock and no memory.
void writeReport() noexcept
{
    static wchar_t s_path[32768];
    const DWORD size = static_cast<DWORD>(sizeof(s_path) / sizeof(s_path[0]));
    const DWORD length = GetEnvironmentVariableW(L"LINKWELL_SANDBOX_REPORT", s_path, size);
    if (length == 0 || length >= size)
        return;
    const HANDLE file =
        CreateFileW(s_path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    const std::string_view report = sandbox::ledger::report();
    DWORD written = 0;
    WriteFile(file, report.data(), static_cast<DWORD>(report.size()), &written, nullptr);
    CloseHandle(file);
}
} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds)
{
    if (reason == DLL_THREAD_DETACH)
        sandbox::ThreadQueue::threadEnds();
    if (reason != DLL_PROCESS_DETACH)
        return TRUE;
    if (processEnds != nullptr)
        sandbox::ledger::setProcessEnding();
    else
        sandbox::ThreadQueue::moduleEnds();
    sandbox::memory::inspect();
    writeReport();
    return TRUE;
}
