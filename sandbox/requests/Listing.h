// Listing.h: what is in a mailbox, as JSON.
#pragma once

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// The answer of a request "list", whose "do" is taken already. The mailbox is locked. Throws MailboxError.
[[nodiscard]] Json listItems(const JsonObject& request, const Mailbox& mailbox);
} // namespace sandbox
