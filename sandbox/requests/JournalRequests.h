// JournalRequests.h: the record of calls, over the control channel.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Answers a request "journal", whose "do" is taken already. Throws MailboxError.
[[nodiscard]] Json answerJournal(JsonObject& request, HANDLE stop);
} // namespace sandbox
