// Requests.h: what a request over the control channel does. docs/sandbox-control.md tells the requests.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace sandbox
{
/// Does what one request says, and gives its answer: one line of JSON, UTF-8, without the line feed. Nothing leaves it:
/// whatever is wrong is told in the answer. Used by one thread at a time, with no lock held.
/// @param stop  ends a request that waits; borrowed.
[[nodiscard]] std::string answerRequest(std::string_view line, HANDLE stop);
} // namespace sandbox
