// MailboxError.h: why a mailbox can't be made, in words for the person who wrote it.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace sandbox
{
/// A mailbox file that can't be served, or a request that can't be done.
class MailboxError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
    /// @param path  of the value that is wrong, as a JSON pointer; stands before the text.
    MailboxError(const std::string& path, const std::string& text)
        : std::runtime_error((path.empty() ? "/" : path) + ": " + text), m_path(path)
    {
    }

    /// None for a complaint about no value.
    [[nodiscard]] const std::optional<std::string>& path() const noexcept { return m_path; }

private:
    std::optional<std::string> m_path;
};

/// A rule of the mailbox that an object would break. Knows of no JSON; its reader adds the path.
class MailboxRuleError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
} // namespace sandbox
