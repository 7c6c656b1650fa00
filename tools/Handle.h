// Handle.h: an owner of what CloseHandle closes.
#pragma once

#include <windows.h>

#include <memory>
#include <type_traits>

namespace tools
{
struct HandleCloser
{
    void operator()(HANDLE handle) const noexcept
    {
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
    }
};
/// Null or INVALID_HANDLE_VALUE: there is none.
using OwnedHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;
} // namespace tools
