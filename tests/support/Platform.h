// Platform.h: where the tests run, with which environment, and how long they wait.
#pragma once

#include <windows.h>

#include <chrono>
#include <string>
#include <utility>

#include "tests/support/Handle.h"

namespace support
{
/// Whether this is Wine and not Windows.
[[nodiscard]] bool runsOnWine();

/// The longest wait for something that must happen. Generous: it is met only by a test that fails.
inline constexpr std::chrono::seconds deadline{30};

/// A name that no other test and no other process uses at this time: "<stem>-<process id>-<count>".
[[nodiscard]] std::wstring uniqueName(const std::wstring& stem);

/// Sets a variable of this process, which its children inherit, for the life of this object; afterwards there is no such
/// variable. Throws if it can't be set.
class EnvironmentVariable
{
public:
    EnvironmentVariable(std::wstring name, const std::wstring& value) : m_name(std::move(name))
    {
        if (SetEnvironmentVariableW(m_name.c_str(), value.c_str()) == FALSE)
            throwLastError("SetEnvironmentVariableW");
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { SetEnvironmentVariableW(m_name.c_str(), nullptr); }

private:
    const std::wstring m_name;
};

/// The value of an environment variable; empty when there is none.
[[nodiscard]] std::wstring environmentValue(const std::wstring& name);
} // namespace support
