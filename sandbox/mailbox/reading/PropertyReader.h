// PropertyReader.h: the "properties" and "row" of an object in a mailbox file.
#pragma once

#include <string>

#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/Property.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Reads an object from property to value into `into`. Throws MailboxError for anything that docs/sandbox.md does not
/// allow, also for a property about which `into` says something already.
/// @param names  the store's mapping; null for an object that can't have named properties.
void readProperties(const Json& value, const std::string& path, NameMapping* names, PropertySet& into);

/// A tag written as 0x and up to eight digits, of a type that the sandbox serves.
[[nodiscard]] ULONG readTag(std::string_view text, const std::string& path);

/// A result as the schema has it.
[[nodiscard]] HRESULT readResult(const Json& value, const std::string& path);
} // namespace sandbox
