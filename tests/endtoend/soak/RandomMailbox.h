// RandomMailbox.h: mailboxes, and edits of them, at random.
#pragma once

#include <string>

#include "tests/endtoend/soak/MailboxModel.h"
#include "tests/support/fuzz/Choices.h"

namespace endtoend::soak
{
using support::Choices;

/// A mailbox file of one to three stores.
[[nodiscard]] Json randomMailbox(Choices& choices);

/// A folder as in a mailbox file, with contacts in it, and with folders below it on at most so many levels.
[[nodiscard]] Json randomFolder(Choices& choices, unsigned levelsBelow);
/// The class of a folder, or null for none.
[[nodiscard]] Json randomFolderClass(Choices& choices);

/// A contact as in a mailbox file.
[[nodiscard]] Json randomContact(Choices& choices);
/// What an edit sets in a contact: some of its texts, or its class; a null takes one away.
[[nodiscard]] Json randomContactChange(Choices& choices);

/// A request that the sandbox of such a mailbox does not refuse.
/// @param favourite  the identifier of what is edited more often than the rest, if it is there.
[[nodiscard]] Json randomEdit(Choices& choices, const MailboxModel& mailbox, const std::string& favourite);
} // namespace endtoend::soak
