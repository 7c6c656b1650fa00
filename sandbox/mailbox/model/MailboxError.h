// MailboxError.h: why a mailbox can't be made, in words for the person who wrote it.
#pragma once

#include <stdexcept>
#include <string>

namespace sandbox
{
/// A mailbox file that can't be served. The text begins with the place in the file, where there is one.
class MailboxError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A rule of the mailbox that an object would break. Knows of no file; its reader adds the place.
class MailboxRuleError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
} // namespace sandbox
