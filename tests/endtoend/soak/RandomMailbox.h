// RandomMailbox.h: mailboxes, folders and contacts at random.
#pragma once

#include "tests/endtoend/EndToEndTest.h"
#include "tests/endtoend/soak/Choices.h"

namespace endtoend::soak
{
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
} // namespace endtoend::soak
