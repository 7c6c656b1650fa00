// HandleCount.h: what a test that looks for lost handles counts.
#pragma once

#include <windows.h>

#include <cstdint>

#include "tests/support/Handle.h"

namespace support
{
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
