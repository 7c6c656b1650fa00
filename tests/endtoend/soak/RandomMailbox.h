// RandomMailbox.h: mailboxes, and edits of them, at random, the same in every run and with every compiler, for one seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/endtoend/soak/MailboxModel.h"

namespace endtoend::soak
{
class Choices
{
public:
    explicit Choices(std::uint64_t seed) : m_engine(seed) {}

    /// A number from 0 on that is smaller than `count`, which isn't 0.
    [[nodiscard]] std::size_t below(std::size_t count) { return static_cast<std::size_t>(m_engine() % count); }
    /// A number from `least` to `most`.
    [[nodiscard]] std::size_t between(std::size_t least, std::size_t most) { return least + below(most - least + 1); }
    /// True in so many of a hundred cases.
    [[nodiscard]] bool chance(unsigned percent) { return below(100) < percent; }
    /// One of these; there is at least one.
    template <class Value>
    [[nodiscard]] const Value& oneOf(const std::vector<Value>& values)
    {
        return values[below(values.size())];
    }

private:
    std::mt19937_64 m_engine; // the standard says which numbers it gives; of distributions it doesn't
};

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
