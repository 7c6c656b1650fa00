// FaultTable.h: the calls to Windows and to the C runtime's heap that are made to fail in an agent, and the ways in which each can.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platformfaults
{
/// What becomes of a call that fails.
enum class Effect
{
    Nothing,      // no work is done
    Done,         // the work is done, and a failure answered
    Cut,          // a write of half the bytes, which succeeds; a read of one byte, behind which there is more
    Empty,        // a read that succeeds without a byte
    WrongType,    // a registry value's type is REG_BINARY
    Unterminated, // a registry value's text lacks its zero
    Directory     // what is there is a folder
};

/// One way to fail.
struct Kind
{
    const char* name; // null: no more kinds
    std::intptr_t result = 0;
    DWORD error = ERROR_SUCCESS; // the last error
    Effect effect = Effect::Nothing;
};

inline constexpr std::size_t mostKinds = 6;

struct Function
{
    enum class Area
    {
        File, // log and pipe
        Window,
        Module, // registry and modules
        Memory,
        Thread
    };

    const char* name;
    Area area;
    std::array<Kind, mostKinds> kinds;
};

inline constexpr auto functions = []
{
    using enum Function::Area;
    using enum Effect;
    constexpr Kind badHandle{"ERROR_INVALID_HANDLE", 0, ERROR_INVALID_HANDLE, Done};
    constexpr Kind noMemory{"ERROR_NOT_ENOUGH_MEMORY", 0, ERROR_NOT_ENOUGH_MEMORY};
    constexpr Kind noResources{"ERROR_NO_SYSTEM_RESOURCES", 0, ERROR_NO_SYSTEM_RESOURCES};
    constexpr Kind noResource{"ERROR_RESOURCE_NAME_NOT_FOUND", 0, ERROR_RESOURCE_NAME_NOT_FOUND};
    constexpr Kind doneAndRefused{"ERROR_ACCESS_DENIED", 0, ERROR_ACCESS_DENIED, Done};
    constexpr Kind null{"null"};
    constexpr Kind waitFailed{"WAIT_FAILED", static_cast<std::intptr_t>(WAIT_FAILED), ERROR_INVALID_HANDLE};
    constexpr auto fileError = [](const char* name, DWORD error)
    {
        return Kind{name, -1, error}; // INVALID_HANDLE_VALUE
    };
    constexpr auto failure = [](const char* name, DWORD error)
    {
        return Kind{name, 0, error};
    };
    constexpr auto status = [](const char* name, LSTATUS result)
    {
        return Kind{name, result};
    };
    return std::to_array<Function>({
        {"CreateFileW",
         File,
         {{fileError("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED),
           fileError("ERROR_SHARING_VIOLATION", ERROR_SHARING_VIOLATION),
           fileError("ERROR_PATH_NOT_FOUND", ERROR_PATH_NOT_FOUND),
           fileError("ERROR_FILE_NOT_FOUND", ERROR_FILE_NOT_FOUND), fileError("ERROR_PIPE_BUSY", ERROR_PIPE_BUSY),
           fileError("ERROR_TOO_MANY_OPEN_FILES", ERROR_TOO_MANY_OPEN_FILES)}}},
        {"WriteFile",
         File,
         {{failure("ERROR_DISK_FULL", ERROR_DISK_FULL),
           failure("ERROR_BROKEN_PIPE", ERROR_BROKEN_PIPE),
           failure("ERROR_NO_DATA", ERROR_NO_DATA),
           {"half of it", TRUE, ERROR_SUCCESS, Cut}}}},
        {"ReadFile",
         File,
         {{failure("ERROR_BROKEN_PIPE", ERROR_BROKEN_PIPE),
           failure("ERROR_PIPE_NOT_CONNECTED", ERROR_PIPE_NOT_CONNECTED),
           {"ERROR_MORE_DATA", FALSE, ERROR_MORE_DATA, Cut},
           {"no byte", TRUE, ERROR_SUCCESS, Empty}}}},
        {"WaitNamedPipeW",
         File,
         {{failure("ERROR_SEM_TIMEOUT", ERROR_SEM_TIMEOUT), failure("ERROR_FILE_NOT_FOUND", ERROR_FILE_NOT_FOUND)}}},
        {"SetFilePointer", File, {{{"INVALID_SET_FILE_POINTER", -1, ERROR_INVALID_HANDLE}}}},
        {"GetFileAttributesExW",
         File,
         {{failure("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED), {"a folder", TRUE, ERROR_SUCCESS, Directory}}}},
        {"MoveFileExW",
         File,
         {{failure("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED),
           failure("ERROR_SHARING_VIOLATION", ERROR_SHARING_VIOLATION)}}},

        {"RegisterClassExW", Window, {{failure("ERROR_CLASS_ALREADY_EXISTS", ERROR_CLASS_ALREADY_EXISTS), noMemory}}},
        {"UnregisterClassW", Window, {{failure("ERROR_CLASS_HAS_WINDOWS", ERROR_CLASS_HAS_WINDOWS)}}},
        {"CreateWindowExW", Window, {{noMemory, noResources}}},
        {"IsWindow", Window, {{failure("ERROR_INVALID_WINDOW_HANDLE", ERROR_INVALID_WINDOW_HANDLE)}}},
        {"DestroyWindow", Window, {{failure("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED)}}},
        {"UpdateWindow", Window, {{null}}},
        {"LoadIconW", Window, {{noResource}}},
        {"LoadCursorW", Window, {{noResource}}},
        {"LoadAcceleratorsW", Window, {{noResource}}},
        {"GetMessageW", Window, {{{"-1", -1, ERROR_INVALID_WINDOW_HANDLE}}}},
        {"PeekMessageW", Window, {{null}}},
        {"PostThreadMessageW", Window, {{failure("ERROR_NOT_ENOUGH_QUOTA", ERROR_NOT_ENOUGH_QUOTA)}}},
        {"TranslateAcceleratorW", Window, {{failure("ERROR_INVALID_ACCEL_HANDLE", ERROR_INVALID_ACCEL_HANDLE)}}},
        {"TranslateMessage", Window, {{null}}},

        {"RegOpenKeyExW",
         Module,
         {{status("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED), status("ERROR_FILE_NOT_FOUND", ERROR_FILE_NOT_FOUND)}}},
        {"RegQueryValueExW",
         Module,
         {{status("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED),
           status("ERROR_FILE_NOT_FOUND", ERROR_FILE_NOT_FOUND),
           status("ERROR_MORE_DATA", ERROR_MORE_DATA),
           {"wrong type", ERROR_SUCCESS, ERROR_SUCCESS, WrongType},
           {"without its zero", ERROR_SUCCESS, ERROR_SUCCESS, Unterminated}}}},
        {"RegQueryValueExA", Module, {{status("ERROR_MORE_DATA", ERROR_MORE_DATA)}}},
        {"LoadLibraryW",
         Module,
         {{failure("ERROR_MOD_NOT_FOUND", ERROR_MOD_NOT_FOUND),
           failure("ERROR_BAD_EXE_FORMAT", ERROR_BAD_EXE_FORMAT)}}},
        {"GetModuleHandleExW", Module, {{failure("ERROR_MOD_NOT_FOUND", ERROR_MOD_NOT_FOUND)}}},
        {"GetProcAddress", Module, {{failure("ERROR_PROC_NOT_FOUND", ERROR_PROC_NOT_FOUND)}}},
        {"ExpandEnvironmentStringsW", Module, {{noMemory, {"too long", 1000}}}},

        {"malloc", Memory, {{null}}},
        {"calloc", Memory, {{null}}},
        {"realloc", Memory, {{null}}},
        {"CommandLineToArgvW", Memory, {{noMemory}}},
        {"LocalFree", Memory, {{{"the handle", 1, ERROR_INVALID_HANDLE, Done}}}},

        {"_beginthreadex", Thread, {{null}}},
        {"CreateEventA", Thread, {{noMemory}}},
        {"CreateSemaphoreA", Thread, {{noMemory}}},
        {"SetEvent", Thread, {{badHandle}}},
        // Files are closed by it, too; but a lock has an event only where it has been waited for.
        {"CloseHandle", Thread, {{badHandle}}},
        {"ResetEvent", Thread, {{badHandle}}},
        {"ReleaseSemaphore", Thread, {{badHandle}}},
        {"WaitForSingleObject", Thread, {{waitFailed}}},
        {"WaitForMultipleObjects", Thread, {{waitFailed}}},
        {"DuplicateHandle", Thread, {{doneAndRefused, noResources}}},
        {"GetHandleInformation", Thread, {{failure("ERROR_INVALID_HANDLE", ERROR_INVALID_HANDLE)}}},
        {"ResumeThread", Thread, {{{"-1", -1, ERROR_ACCESS_DENIED, Done}}}},
        {"SetThreadPriority", Thread, {{failure("ERROR_ACCESS_DENIED", ERROR_ACCESS_DENIED)}}},
        {"GetThreadPriority",
         Thread,
         {{{"THREAD_PRIORITY_ERROR_RETURN", THREAD_PRIORITY_ERROR_RETURN, ERROR_INVALID_HANDLE}}}},
        {"TlsAlloc", Thread, {{{"TLS_OUT_OF_INDEXES", -1, ERROR_NO_SYSTEM_RESOURCES}}}},
        {"TlsSetValue", Thread, {{failure("ERROR_INVALID_PARAMETER", ERROR_INVALID_PARAMETER)}}},
    });
}();

/// The variable that names the section of memory by which a test and the DLL in its agent talk.
inline constexpr wchar_t sectionVariable[] = L"LINKWELL_FAULT_SECTION";

/// What stands in that section.
struct Section
{
    // Written by the test before the start: the call that fails.
    std::uint32_t function; // in `functions`
    std::uint32_t kind;
    std::uint32_t call; // from 1; 0: none fails

    // Written by the agent.
    std::atomic<std::uint32_t> isAttached;
    std::atomic<std::uint32_t> mainThread;
    std::atomic<std::uint32_t> failedThread; // which made the call that failed; 0: there was none
    std::atomic<std::uint32_t> exception;    // the first one of the machine, such as an access violation; 0: none
    std::array<std::atomic<std::uint32_t>, functions.size()> calls;
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
} // namespace platformfaults
