// ResultsReader.h: the "results" of an object in a mailbox file.
#pragma once

#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/reading/Results.h"

namespace sandbox
{
/// Whose calls answers are planned for. The mailbox stands for the flat functions, the session and the stores table.
enum class ResultsOf
{
    Mailbox,
    Store,
    Folder,
    Message,
    AddressEntry
};

/// Reads the key "results", if there is one, into `into`. Throws MailboxError, also for a call that there isn't.
void readResults(JsonObject& object, ResultsOf kind, Nulls nulls, Results& into);
} // namespace sandbox
