// ProgramRun.h: starts other programs, and runs them to their end.
#pragma once

#include <windows.h>

#include <string>

namespace support
{
/// CreateProcessW with inherited handles, in the current folder, with this process's environment. The caller owns the two
/// handles of the result; a failure is thrown.
/// @param program  null: the command line names it.
[[nodiscard]] PROCESS_INFORMATION startChild(const wchar_t* program, const std::wstring& commandLine, DWORD flags,
                                             STARTUPINFOW& startup);

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

/// Runs one test of this program again, also when it is disabled, and gives the exit code of that process. What it
/// prints is dropped. The child has this process's environment, with `name` set to `value`.
/// @param test  its full name, "<suite>.<case>".
[[nodiscard]] DWORD runInChild(const std::wstring& test, const std::wstring& name, const std::wstring& value);
} // namespace support
