// WaitRequests.h: who watches, and waiting until something is so.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// Each answers a request whose "do" is taken already, and throws MailboxError.

/// "wait": answered when it is so. Throws also when it runs out of time, or when `stop` is set.
[[nodiscard]] Json answerWait(JsonObject& request, HANDLE stop);
/// "subscriptions"
[[nodiscard]] Json answerSubscriptions(JsonObject& request, HANDLE stop);
} // namespace sandbox
