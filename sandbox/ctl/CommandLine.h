// CommandLine.h: from the words of the command line to what is to be done.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace sandboxctl
{
/// The exit statuses of the program.
enum class Status
{
    Done = 0,
    Refused = 1,
    BadCommandLine = 2,
    NoAnswer = 3
};

/// One request and how it is sent.
struct Command
{
    std::optional<std::string> pipe; // none: the environment names it
    std::chrono::milliseconds patience{5000};
    bool raw = false; // print the answer as it came
    nlohmann::json request;
};

/// A command; or none, and what to print instead.
struct CommandLine
{
    std::optional<Command> command;
    Status status = Status::Done;
    std::string text; // help or the version when the status is Done, otherwise what is wrong
};

/// @param words  those behind the program's name, UTF-8.
[[nodiscard]] CommandLine readCommandLine(std::vector<std::string> words);
} // namespace sandboxctl
