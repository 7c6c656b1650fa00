// MailboxReader.h: the mailbox file of docs/sandbox.md.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"

namespace sandbox
{
/// The mailbox that a JSON text in UTF-8 describes. Throws MailboxError, whose text begins with line and column, and where
/// the text is JSON with the path of the value as well.
[[nodiscard]] std::shared_ptr<Mailbox> readMailbox(const std::string& text);

/// The same for a file. Throws MailboxError as well when the file can't be read.
[[nodiscard]] std::shared_ptr<Mailbox> readMailboxFile(const std::filesystem::path& path);
} // namespace sandbox
