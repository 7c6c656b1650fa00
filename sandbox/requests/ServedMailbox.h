// ServedMailbox.h: the mailbox that requests are about.
#pragma once

#include <functional>
#include <memory>

#include "sandbox/mailbox/edits/MailboxEdits.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// The mailbox that new sessions see; never null. Throws MailboxError, in words for the person who asks, if there is none.
[[nodiscard]] std::shared_ptr<Mailbox> servedMailbox();

/// Makes edits of the served mailbox, all or, if `work` throws, none, and notifies those who watch it afterwards, when
/// the mailbox is no longer locked. Gives what `work` gives, with the performance counter as it was right before, as "notified",
/// if there is anything to notify of.
Json editServedMailbox(const std::function<Json(Mailbox&, MailboxEdits&)>& work);
} // namespace sandbox
