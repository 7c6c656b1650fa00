// ObjectPaths.h: how a person names an object of a mailbox that is being served: by a path of display names, by '#' and an
// entry identifier, or by '@' and a key of the address book. docs/sandbox-control.md has the form.
#pragma once

#include <memory>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
// Each gives the one object of its kind to which the object path leads, a text that the schema allows. They throw
// MailboxError with `path`, which is that of the text in its JSON, if there is none or if there are several.

[[nodiscard]] std::shared_ptr<Store> storeAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path);
/// A store's name alone stands for the IPM subtree.
[[nodiscard]] std::shared_ptr<Folder> folderAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path);
[[nodiscard]] std::shared_ptr<Message> messageAt(const Mailbox& mailbox, const Json& objectPath,
                                                 const std::string& path);
/// Whatever it is. A store's name alone stands for the store.
[[nodiscard]] std::shared_ptr<MailboxObject> objectAt(const Mailbox& mailbox, const Json& objectPath,
                                                      const std::string& path);

/// The display name by which a path names the object; none for a message without one, and for a user.
[[nodiscard]] std::optional<std::wstring> nameInPath(const MailboxObject& object);
} // namespace sandbox
