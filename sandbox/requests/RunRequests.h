// RunRequests.h: the requests about the run: plans, waits, the journal, and who watches.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// Each answers a request whose "do" is taken already, and throws MailboxError.

[[nodiscard]] Json answerPlan(const JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerClearPlans(const JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerRelease(const JsonObject& request, HANDLE stop);
/// Answered when it is so. Throws also when it runs out of time, or when `stop` is set.
[[nodiscard]] Json answerWait(const JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerSubscriptions(const JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerJournal(const JsonObject& request, HANDLE stop);
} // namespace sandbox
