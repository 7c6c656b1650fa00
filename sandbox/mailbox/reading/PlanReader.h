// PlanReader.h: plans for calls to come, in a mailbox file and in requests.
#pragma once

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/model/Plan.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Reads a plan. Throws MailboxError.
/// @param mailbox  where the paths under "on" and "opens" lead; complete.
[[nodiscard]] Plan readPlan(const JsonObject& object, const Mailbox& mailbox);
} // namespace sandbox
