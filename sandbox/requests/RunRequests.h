// RunRequests.h: the requests about the run: plans, waits, the journal, and who watches.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// Each answers a request whose "do" is taken already, and throws MailboxError.

[[nodiscard]] Json answerPlan(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerClearPlans(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerRelease(JsonObject& request, HANDLE stop);
/// Answered when it is so. Throws also when it runs out of time, or when `stop` is set.
[[nodiscard]] Json answerWait(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerSubscriptions(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerJournal(JsonObject& request, HANDLE stop);
} // namespace sandbox
