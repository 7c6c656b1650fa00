// KernelHandle.h: the owner of an event, a pipe or a file.
#pragma once

#include <windows.h>

#include <memory>

namespace sandbox
{
struct KernelHandleCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Owns a handle by CloseHandle; null when there is none, so INVALID_HANDLE_VALUE never gets into it.
using KernelHandle = std::unique_ptr<void, KernelHandleCloser>;

/// A manual-reset event, not set. Throws std::system_error.
[[nodiscard]] KernelHandle makeEvent();

/// Throws the last error as std::system_error.
[[noreturn]] void throwLastError(const char* call);
} // namespace sandbox
