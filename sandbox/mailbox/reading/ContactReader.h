// ContactReader.h: the short forms of a message in a mailbox file: its class, and the fields of a contact.
#pragma once

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
/// What the short forms say. Throws MailboxError.
/// @param nulls  TakeAway for a change of a message: then an absent key says nothing, and "email" replaces the whole of
///               the first e-mail address.
[[nodiscard]] PropertySet readContactKeys(JsonObject& message, NameMapping& names, const AddressBook& addressBook,
                                          Nulls nulls);
} // namespace sandbox
