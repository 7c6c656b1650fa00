// ProcessUsage.h: what another process holds of the system.
#pragma once

#include <windows.h>

#include <cstddef>

namespace endtoend::soak
{
struct ProcessUsage
{
    std::size_t privateBytes = 0; // committed on Windows; under Wine, as far as they have been touched
    std::size_t handles = 0;
};

/// Asks for what a process holds at this moment; throws std::system_error when that can't be told.
[[nodiscard]] ProcessUsage usageOf(HANDLE process);
} // namespace endtoend::soak
