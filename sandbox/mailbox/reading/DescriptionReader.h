// DescriptionReader.h: single objects of a mailbox file: what is said of a store, a folder, a message or a user.
#pragma once

#include <memory>
#include <string>

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/reading/Results.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
// Each takes the keys that it knows from the object. The caller takes those that say what lies inside, and finishes.
// All throw MailboxError.

[[nodiscard]] StoreDescription readStoreDescription(JsonObject& object, std::shared_ptr<NameMapping> names);

/// @param defaultName  the name of a folder that needs none; null if it must have one.
[[nodiscard]] FolderDescription readFolderDescription(JsonObject& object, NameMapping& names,
                                                      const wchar_t* defaultName);

[[nodiscard]] ObjectDescription readMessageDescription(JsonObject& object, NameMapping& names,
                                                       const AddressBook& addressBook);

/// @param key  the user's key in the address book, part of the Exchange address if the file gives none.
[[nodiscard]] AddressEntryDescription readAddressEntryDescription(JsonObject& object, const std::string& key);

/// The planned answers of the flat functions, the session and the stores table.
[[nodiscard]] Results readMailboxResults(JsonObject& object);
} // namespace sandbox
