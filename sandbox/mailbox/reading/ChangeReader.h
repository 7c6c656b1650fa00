// ChangeReader.h: what a running sandbox is told to say about an object from now on.
#pragma once

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
// Each reads an object with keys of the mailbox file, told in docs/sandbox-control.md, and puts what it says over what
// the description says; what it doesn't mention stays. All throw MailboxError, and leave the description half changed
// then.

void readMessageChange(JsonObject set, NameMapping& names, const AddressBook& addressBook, ObjectDescription& into);
void readFolderChange(JsonObject set, NameMapping& names, FolderDescription& into);
void readStoreChange(JsonObject set, StoreDescription& into);
} // namespace sandbox
