// CommonProperties.h: the properties that every folder and message has.
#pragma once

#include <optional>
#include <vector>

#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
class MailboxObject;
class Store;

/// PR_ENTRYID, PR_OBJECT_TYPE, PR_STORE_ENTRYID and their like; none for any other property.
[[nodiscard]] std::optional<Property> commonProperty(ULONG id, const MailboxObject& object, const Store& store);

/// The identifiers of those properties.
[[nodiscard]] std::vector<ULONG> commonPropertyIds();
} // namespace sandbox
