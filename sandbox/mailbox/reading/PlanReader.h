// PlanReader.h: plans for calls to come, in a mailbox file and in requests.
#pragma once

#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/model/Plan.h"

namespace sandbox
{
/// Reads all keys of the object that are not taken yet as a plan. Throws MailboxError.
/// @param mailbox  where the place under "on" is; complete.
[[nodiscard]] Plan readPlan(JsonObject& object, const Mailbox& mailbox);
} // namespace sandbox
