// RandomEdits.h: edits at random of what a mailbox holds at the moment.
#pragma once

#include "tests/endtoend/soak/Choices.h"
#include "tests/endtoend/soak/MailboxModel.h"

namespace endtoend::soak
{
/// A request of docs/sandbox-control.md that the sandbox accepts, with identifiers for places.
/// @param favourite  the identifier of an object that is drawn more often than others, as long as it is there; or empty.
[[nodiscard]] Json randomEdit(Choices& choices, const MailboxModel& mailbox, const std::string& favourite);
} // namespace endtoend::soak
