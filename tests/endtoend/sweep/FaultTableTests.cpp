// The table of calls that are made to fail is whole: what the agent imports stands in it, or here.
#include <algorithm>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/ProgramFile.h"
#include "tests/endtoend/sweep/FaultTable.h"

namespace endtoend::sweep
{
namespace
{
/// Functions of Windows of which no call fails in a sweep.
constexpr std::string_view others[] = {
    // They can't fail with what the agent passes, or have no result that it could heed.
    "DefWindowProcW", "DispatchMessageW", "GetCommandLineW", "GetCurrentThreadId", "GetLastError", "GetLocalTime",
    "GetModuleHandleW", "PostQuitMessage", "SetErrorMode", "Sleep", "MultiByteToWideChar", "WideCharToMultiByte",
    // Of the search for a runtime, behind what the reference run finds first; linkwell_mapi_tests has them fail.
    "FreeLibrary", "GetSystemDirectoryW", "LoadLibraryA",
    // The agent does not call them: the libraries of GCC and mingw-w64 do, for its start, its end, exceptions and threads.
    "AddVectoredExceptionHandler", "CryptAcquireContextA", "CryptGenRandom", "CryptReleaseContext",
    "DeleteCriticalSection", "EnterCriticalSection", "FileTimeToSystemTime", "FormatMessageA", "GetCurrentProcess",
    "GetCurrentProcessId", "GetCurrentThread", "GetModuleHandleA", "GetProcessAffinityMask", "GetProcessTimes",
    "GetStartupInfoA", "GetSystemTimeAdjustment", "GetSystemTimeAsFileTime", "GetThreadContext", "GetThreadTimes",
    "GetTickCount64", "InitializeCriticalSection", "IsDBCSLeadByteEx", "IsDebuggerPresent", "LeaveCriticalSection",
    "OpenProcess", "OutputDebugStringA", "QueryPerformanceCounter", "QueryPerformanceFrequency", "RaiseException",
    "RemoveVectoredExceptionHandler", "RtlCaptureContext", "RtlLookupFunctionEntry", "RtlUnwindEx", "RtlVirtualUnwind",
    "SetLastError", "SetProcessAffinityMask", "SetSystemTime", "SetThreadContext", "SetUnhandledExceptionFilter",
    "SuspendThread", "TlsGetValue", "TryEnterCriticalSection", "VirtualProtect", "VirtualQuery",
    "__C_specific_handler"};

TEST(FaultTableTest, HasWhatTheAgentImports)
{
    const ProgramFile agent(agentProgram());
    std::size_t found = 0;
    for (const std::string& module : agent.importedModules())
    {
        if (module == "msvcrt.dll")
            continue; // of which the sweeps take the heap and the start of threads
        for (const std::string& function : agent.importedFunctions(module))
        {
            const bool isInTable =
                std::ranges::find(platformfaults::functions, function, &platformfaults::Function::name) !=
                platformfaults::functions.end();
            found += isInTable ? 1 : 0;
            EXPECT_NE(isInTable, std::ranges::find(others, function) != std::end(others)) << function;
        }
    }
    EXPECT_GT(found, 30U);
}
} // namespace
} // namespace endtoend::sweep
