// SchemaCheck.h: docs/mailbox.schema.json and docs/requests.schema.json, held against JSON.
#pragma once

#include <string>
#include <string_view>

#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Throws MailboxError with the first thing about the value that the schemas don't allow. Any thread.
/// @param definition  the name that the definition has in its schema: "mailbox", "moveRequest", ...
/// @param path        the value's own path, for the complaint.
/// Folders below folders and the requests of a batch are not looked at: whoever reads one has it checked by itself, since
/// the check goes down by recursion and folders lie deeper than the stack is.
void checkSchema(std::string_view definition, const Json& value, const std::string& path);

/// The same for a request, by the definition that its name and "Request" make up. Gives the name.
const std::string& checkRequest(const Json& request, const std::string& path);
} // namespace sandbox
