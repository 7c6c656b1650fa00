// Platform.h: where the tests run, and how long they wait.
#pragma once

#include <chrono>
#include <string>

namespace support
{
/// Whether this is Wine and not Windows.
[[nodiscard]] bool runsOnWine();

/// The longest wait for something that must happen. Generous: it is met only by a test that fails.
inline constexpr std::chrono::seconds deadline{30};

/// A name that no other test and no other process uses at this time: "<stem>-<process id>-<count>".
[[nodiscard]] std::wstring uniqueName(const std::wstring& stem);
} // namespace support
