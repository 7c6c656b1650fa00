// EnvironmentVariable.h: a variable of this process, for a while.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

#include "tests/support/Handle.h"

namespace support
{
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
} // namespace support
