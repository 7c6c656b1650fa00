// BatchRequest.h: several edits whose notifications arrive together.
#pragma once

#include <windows.h>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Answers a request "batch", whose "do" is taken already: does all that it tells, or throws MailboxError and has done
/// nothing.
[[nodiscard]] Json answerBatch(JsonObject& request, HANDLE stop);
} // namespace sandbox
