// JsonText.h: from text to JSON, with complaints that a person can follow.
#pragma once

#include <string>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Allows comments. Throws MailboxError "line <line>, column <column>: <what>" for a text that is no JSON, and with a
/// path for a key that an object has twice.
[[nodiscard]] Json parseJson(const std::string& text);
} // namespace sandbox
