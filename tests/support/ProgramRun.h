// ProgramRun.h: a program that is run to its end.
#pragma once

#include <windows.h>

#include <string>

namespace support
{
/// What is left of a program that has ended.
struct ProgramRun
{
    DWORD status = 0;
    std::string output; // what it wrote to the standard output
    std::string errors; // and to the standard error
};

/// Starts a program with this process's environment, and waits for its end. Throws when it can't be started, or still runs
/// after `deadline`; then it is ended.
/// @param input  what it reads from the standard input.
[[nodiscard]] ProgramRun runProgram(const std::wstring& commandLine, const std::string& input = {});
} // namespace support
