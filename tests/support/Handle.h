// Handle.h: owners of the platform handles that tests make, and how many there are.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <system_error>

namespace support
{
struct HandleCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Owns a handle by CloseHandle; null when there is none. INVALID_HANDLE_VALUE goes through `checkedFile` first.
using Handle = std::unique_ptr<void, HandleCloser>;

/// Throws the last error as std::system_error.
[[noreturn]] inline void throwLastError(const char* call)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), call);
}

/// Owns the result of CreateFileW or CreateNamedPipeW; throws when it is INVALID_HANDLE_VALUE.
[[nodiscard]] inline Handle checkedFile(HANDLE handle, const char* call)
{
    if (handle == INVALID_HANDLE_VALUE)
        throwLastError(call);
    return Handle(handle);
}

/// A manual-reset event, not set.
[[nodiscard]] inline Handle makeEvent()
{
    Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event)
        throwLastError("CreateEventW");
    return event;
}

/// How many handles this process has. Wine 8 does not count them, but gives each new one the lowest number that is free; so
/// there it is the number of a new one.
[[nodiscard]] inline DWORD handleCount()
{
    DWORD count = 0;
    if (!GetProcessHandleCount(GetCurrentProcess(), &count))
        throwLastError("GetProcessHandleCount");
    if (count == 0)
        count = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(makeEvent().get()) / 4);
    return count;
}
} // namespace support
