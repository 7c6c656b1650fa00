// DescriptionReader.h: single objects of a mailbox file and of requests: what they say of a store, a folder, a message or a
// user, in DescriptionReader.cpp, and what a request changes of it, in ChangeReader.cpp.
#pragma once

#include <memory>
#include <string>

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// All take objects that the schema allows, and throw MailboxError for what it can't say.

[[nodiscard]] StoreDescription readStoreDescription(const JsonObject& object, std::shared_ptr<NameMapping> names);

/// @param defaultName  the name of a folder that needs none; null if it must have one.
[[nodiscard]] FolderDescription readFolderDescription(const JsonObject& object, NameMapping& names,
                                                      const wchar_t* defaultName);

[[nodiscard]] ObjectDescription readMessageDescription(const JsonObject& object, NameMapping& names,
                                                       const AddressBook& addressBook);

/// @param key  the user's key in the address book, part of the Exchange address if the file gives none.
[[nodiscard]] AddressEntryDescription readAddressEntryDescription(const JsonObject& object, const std::string& key);

// Each puts what the object "set" of a request says over what the description says; what it doesn't mention stays. When they
// throw, the description is half changed.

void readMessageChange(const JsonObject& set, NameMapping& names, const AddressBook& addressBook,
                       ObjectDescription& into);
void readFolderChange(const JsonObject& set, NameMapping& names, FolderDescription& into);
void readStoreChange(const JsonObject& set, StoreDescription& into);
} // namespace sandbox
