// ChildProcess.h: starts a child process.
#pragma once

#include <windows.h>

#include <string>

namespace support
{
/// CreateProcessW with inherited handles, in the current folder. The caller owns the two handles of the result; a failure
/// is thrown.
/// @param program      null: the command line names it.
/// @param environment  as CreateProcessW takes it; null for this process's own.
[[nodiscard]] PROCESS_INFORMATION startChild(const wchar_t* program, const std::wstring& commandLine, DWORD flags,
                                             void* environment, STARTUPINFOW& startup);
} // namespace support
