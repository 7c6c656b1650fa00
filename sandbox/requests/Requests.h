// Requests.h: what a request over the control channel does. docs/sandbox-control.md describes them.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace sandbox
{
/// Does what one request says, and gives its answer: one line of JSON, UTF-8, without the line feed. Nothing leaves it:
/// whatever is wrong stands in the answer. Used by any thread, with no lock held; the
/// notifications of two edits that are made at the same time may come in either order.
/// @param stop  ends a request that waits; borrowed.
[[nodiscard]] std::string answerRequest(std::string_view line, HANDLE stop);
} // namespace sandbox
