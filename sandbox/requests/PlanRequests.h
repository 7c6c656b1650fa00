// PlanRequests.h: what calls to come are to answer, over the control channel.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// Each answers a request whose "do" is taken already, and throws MailboxError.

[[nodiscard]] Json answerPlan(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerClearPlans(JsonObject& request, HANDLE stop);
[[nodiscard]] Json answerRelease(JsonObject& request, HANDLE stop);
} // namespace sandbox
