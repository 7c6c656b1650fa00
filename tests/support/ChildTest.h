// ChildTest.h: a test in a process of its own, for what ends the process.
#pragma once

#include <windows.h>

#include <string>

namespace support
{
/// Runs one test of this program again, also when it is disabled, and gives the exit code of that process. What it
/// prints is dropped. The child has this process's environment, with `name` set to `value`.
/// @param test  its full name, "<suite>.<case>".
[[nodiscard]] DWORD runInChild(const std::wstring& test, const std::wstring& name, const std::wstring& value);

/// The value of an environment variable; empty when there is none.
[[nodiscard]] std::wstring environmentValue(const std::wstring& name);
} // namespace support
