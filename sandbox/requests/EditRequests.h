// EditRequests.h: the requests that change the mailbox, and those that only seem to: raw notifications.
#pragma once

#include <windows.h>

#include <string_view>

#include "sandbox/mailbox/edits/MailboxEdits.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Whether a request of this name changes the mailbox.
[[nodiscard]] bool isEdit(std::string_view name);

/// Makes the edit of a request whose "do" is taken already, and gives what the answer has. The mailbox is locked.
/// Throws as MailboxEdits does, but MailboxError only.
[[nodiscard]] Json makeEdit(std::string_view name, const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits);

/// Answers a request "batch", whose "do" is taken already: several edits whose notifications arrive together. Makes all of
/// them, or throws MailboxError and has made none.
[[nodiscard]] Json answerBatch(const JsonObject& request, HANDLE stop);
} // namespace sandbox
