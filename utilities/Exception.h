// Exception.h: the one type of all failures of the agent's own code.
#pragma once

#include <string>

namespace utilities
{
/// A failure with its finished message. Derives from nothing, the standard exceptions included, so that a catch of this
/// type catches our own failures and nothing else.
class exception
{
public:
    explicit exception(std::wstring message);
    /// Converts the message with `toWide`. For `narrow_cast`, which has no wide text at hand.
    explicit exception(const char* message);
    exception(const exception&) = default;
    exception& operator=(const exception&) = default;
    virtual ~exception();

    /// A copy of the message.
    [[nodiscard]] virtual std::wstring what() const;

private:
    std::wstring text;
};
} // namespace utilities
