// Environment.h: the variables by which the sandbox is told what to do.
#pragma once

#include <optional>
#include <string>

namespace sandbox
{
/// LINKWELL_SANDBOX_MAILBOX, the path of the mailbox file; none if it is not set or empty.
[[nodiscard]] std::optional<std::wstring> mailboxPath();

/// The same for LINKWELL_SANDBOX_REPORT, the path of the end report.
[[nodiscard]] std::optional<std::wstring> reportPath();
} // namespace sandbox
