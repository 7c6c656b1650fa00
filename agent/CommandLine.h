// CommandLine.h: what the agent takes from its command line.
#pragma once

#include <string>
#include <vector>

/// The parsed command line. "/log=" and a path is the only option (settled behaviour 51).
struct CommandLine
{
    std::wstring programPath;
    std::wstring logFile;                // empty: no log file was asked for
    std::vector<std::wstring> arguments; // everything else, in order; nothing reads it
};

/// The process's command line (GetCommandLineW). All fields are empty when it can't be split.
[[nodiscard]] CommandLine parseCommandLine();

/// The arguments of a command line, the program's path first (CommandLineToArgvW); none when it can't be split.
[[nodiscard]] std::vector<std::wstring> splitCommandLine(const std::wstring& commandLine);
