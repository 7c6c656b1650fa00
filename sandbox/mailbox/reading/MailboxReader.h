// MailboxReader.h: the mailbox file, told in docs/sandbox.md.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"

namespace sandbox
{
/// The mailbox that a JSON text in UTF-8 tells of. Throws MailboxError, whose text begins with the place: line and
/// column where the text is no JSON, and the path of the value otherwise.
[[nodiscard]] std::shared_ptr<Mailbox> readMailbox(const std::string& text);

/// The same for a file. Throws MailboxError as well when the file can't be read.
[[nodiscard]] std::shared_ptr<Mailbox> readMailboxFile(const std::filesystem::path& path);
} // namespace sandbox
