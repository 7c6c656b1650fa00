// ProcessUsage.h: what another process holds at a moment, for tests that must find it the same hours later.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

namespace endtoend::soak
{
struct ProcessUsage
{
    std::size_t privateBytes = 0; // committed on Windows; under Wine, as far as they have been touched
    std::size_t handles = 0;
    std::size_t userObjects = 0; // windows, menus and the like; under Wine those of all processes of the prefix
    std::size_t gdiObjects = 0;
};

/// Throws when the system doesn't say. The process has to be there still, and its handle to allow reading its memory.
[[nodiscard]] ProcessUsage usageOf(HANDLE process);

/// How much more of each the last moment may have than the first one.
struct Room
{
    /// The heap's own unrest.
    std::size_t privateBytes = 512 * 1024;
    /// What is open for one operation on a pipe, or shown for a moment by a program of the system, when it is counted.
    std::size_t objects = 8;
};
/// What is beyond that, for a failure to say; empty when nothing is.
[[nodiscard]] std::string growthBeyond(const Room& room, const ProcessUsage& first, const ProcessUsage& last);

/// Prints what a long run has done and what was held at its two moments, and adds it to the table of long runs.
void report(const std::string& what, std::size_t amount, std::size_t messages, const ProcessUsage& first,
            const ProcessUsage& last);
} // namespace endtoend::soak
