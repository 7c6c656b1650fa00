// ControlClient.h: a client's end of the control pipe, for programs that edit a running sandbox.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sandbox/control/LinePipe.h"

namespace sandbox
{
/// No sandbox answers: there is no such pipe, it is not free, or the sandbox has gone before it answered. The reason doesn't
/// name the pipe.
class NoAnswer : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The sandbox has refused a request, in its own words.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One connection to a running sandbox, held until the destructor; meanwhile nobody else is served. Used by one thread.
class ControlClient
{
public:
    /// Waits until the pipe is there and free, at most so long; throws NoAnswer afterwards.
    /// @param name  the pipe's path, or a bare name.
    ControlClient(const std::wstring& name, std::chrono::milliseconds patience);

    /// Sends a request and waits for its answer, which always says that it was done; throws Refusal or NoAnswer.
    nlohmann::json request(const nlohmann::json& request);
    /// The same as the sandbox reads and writes it: a line each, without line feed. Throws NoAnswer.
    [[nodiscard]] std::string exchange(std::string_view request);

private:
    const KernelHandle m_pipe;
    LinePipe m_lines;
};

/// An answer's text as JSON. Throws Refusal if it is one, and NoAnswer if it is no answer at all.
[[nodiscard]] nlohmann::json readAnswer(const std::string& line);
} // namespace sandbox
