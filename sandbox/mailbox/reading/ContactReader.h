// ContactReader.h: the short forms of a message in a mailbox file: its class, and the fields of a contact.
#pragma once

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/Property.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// What the keys of an object say: all of a message, so that an absent key has a meaning of its own; or a change, in which an
/// absent key says nothing, a null takes the value away, and "email" replaces the whole of the first e-mail address.
enum class Saying
{
    Whole,
    Change
};

/// What the short forms say. Throws MailboxError.
[[nodiscard]] PropertySet readContactKeys(const JsonObject& message, NameMapping& names, const AddressBook& addressBook,
                                          Saying saying);
} // namespace sandbox
