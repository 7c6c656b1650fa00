// Places.h: how a person names an object of a mailbox that is being served: by a path of display names, or by '#' and an
// entry identifier. docs/sandbox-control.md tells the form.
#pragma once

#include <memory>
#include <string>

#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/Mailbox.h"

namespace sandbox
{
// Each gives the one object of its kind that the place stands for. They throw MailboxError with `path`, the place's own
// place in the JSON, if there is none or if there are several.

[[nodiscard]] std::shared_ptr<Store> storeAt(const Mailbox& mailbox, const Json& place, const std::string& path);
/// A store's name alone stands for the IPM subtree.
[[nodiscard]] std::shared_ptr<Folder> folderAt(const Mailbox& mailbox, const Json& place, const std::string& path);
[[nodiscard]] std::shared_ptr<Message> messageAt(const Mailbox& mailbox, const Json& place, const std::string& path);
/// Whatever it is. A store's name alone stands for the store.
[[nodiscard]] std::shared_ptr<MailboxObject> objectAt(const Mailbox& mailbox, const Json& place,
                                                      const std::string& path);

/// The display name by which a path names the object; none for a message without one, and for a user.
[[nodiscard]] std::optional<std::wstring> nameInPath(const MailboxObject& object);
} // namespace sandbox
