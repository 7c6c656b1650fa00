// RawEvent.h: a raw notification, as a request writes it.
#pragma once

#include <string>

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/model/StoreEvent.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// The notification of docs/sandbox-control.md, identifiers of places being the long-term ones. Throws MailboxError. The
/// mailbox is locked.
[[nodiscard]] StoreEvent readRawEvent(const Mailbox& mailbox, const Json& json, const std::string& path);
} // namespace sandbox
