// CommandLine.h: what linkwell-hostcheck is asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/hostcheck/Check.h"

namespace hostcheck
{
enum ExitValue
{
    AllRight = 0, // notes included
    Findings = 1, // something is wrong or slow
    BadCommandLine = 2,
    NoHost = 3 // none serves the pipe, or the one that was named can't be started
};

struct Request
{
    SubjectOptions subject;
    std::vector<const Check*> checks; // in the order of all
    Runtime runtime = Runtime::Any;
    bool json = false;
};

/// Either a request, or a text to be printed and the exit value that goes with it.
struct CommandLine
{
    std::optional<Request> request;
    std::string text;
    ExitValue exitValue = AllRight;
};

[[nodiscard]] std::string toUtf8(const std::wstring& wide);

/// @param words  without the program's name.
[[nodiscard]] CommandLine readCommandLine(std::vector<std::wstring> words);
} // namespace hostcheck
