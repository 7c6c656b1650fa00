// Handle.h: owners of the platform handles that tests make.
#pragma once

#include <windows.h>

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
} // namespace support
