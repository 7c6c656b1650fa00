// MailboxError.h: why a mailbox can't be made, in words for the person who wrote it.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sandbox
{
/// The text with each control character as JSON escapes it: what quotes a file or a request stays one line.
[[nodiscard]] inline std::string onOneLine(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string line;
    for (const char character : text)
    {
        const auto code = static_cast<unsigned char>(character);
        if (code >= 0x20 && code != 0x7F)
            line += character;
        else
            line.append("\\u00").append(1, digits[code >> 4]).append(1, digits[code & 0xF]);
    }
    return line;
}

/// A mailbox file that can't be served, or a request that can't be done.
class MailboxError : public std::runtime_error
{
public:
    explicit MailboxError(const std::string& text) : std::runtime_error(onOneLine(text)) {}
    /// @param path  of the value that is wrong, as a JSON pointer; stands before the text.
    MailboxError(const std::string& path, const std::string& text)
        : std::runtime_error(onOneLine((path.empty() ? "/" : path) + ": " + text)), m_path(path)
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
