// JsonText.h: from text to JSON, and from a path back to its place in the text.
#pragma once

#include <string>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Allows comments. Throws MailboxError "line <line>, column <column>: <what>" for a text that is no JSON, and one with a
/// path for a key that an object has twice.
[[nodiscard]] Json parseJson(const std::string& text);

/// "line <line>, column <column>" of the member's key or the element with this path, the last one if there are several.
/// @param text  what parseJson took.
[[nodiscard]] std::string positionOf(const std::string& text, const std::string& path);
} // namespace sandbox
