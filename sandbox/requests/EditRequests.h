// EditRequests.h: the requests that change the mailbox, and those that only seem to: raw notifications.
#pragma once

#include <string_view>

#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/edits/MailboxEdits.h"

namespace sandbox
{
/// Whether a request of this name changes the mailbox.
[[nodiscard]] bool isEdit(std::string_view name);

/// Makes the edit that a request tells, whose "do" is taken already, and gives what the answer has. The mailbox is locked.
/// Throws as MailboxEdits does, but MailboxError only.
[[nodiscard]] Json makeEdit(std::string_view name, JsonObject& request, Mailbox& mailbox, MailboxEdits& edits);
} // namespace sandbox
