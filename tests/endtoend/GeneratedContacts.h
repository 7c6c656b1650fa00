// GeneratedContacts.h: the contacts that the sandbox makes by rule (docs/sandbox.md), as lines of a message.
#pragma once

#include <string>

namespace endtoend
{
/// The line of generated contact `index`, counted from 0, of a folder that says this seed. The folder has no messages
/// of its own, and no folder in front of it has any.
[[nodiscard]] std::string generatedLine(unsigned index, unsigned seed, unsigned store, unsigned folder);
} // namespace endtoend
