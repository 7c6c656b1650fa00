// PipeName.h: the name of the control pipe.
#pragma once

#include <optional>
#include <string>

namespace sandbox
{
/// The path of a pipe. A name without a backslash is a bare one, and gets the prefix of this machine's pipes.
[[nodiscard]] std::wstring pipePath(const std::wstring& name);

/// LINKWELL_SANDBOX_CONTROL; none if it is not set or empty.
[[nodiscard]] std::optional<std::wstring> controlPipeName();
} // namespace sandbox
