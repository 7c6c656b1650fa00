// ContactGenerator.h: large numbers of contacts by the rule of docs/sandbox.md, so that a test knows each of them.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
/// Makes a contact's properties at the moment they are asked for, so that a hundred thousand contacts cost no more
/// memory than their places in the mailbox.
class ContactGenerator
{
public:
    /// @param names  the store's mapping; receives the names of the first e-mail slot.
    ContactGenerator(std::uint32_t seed, NameMapping& names);

    [[nodiscard]] std::uint32_t seed() const noexcept { return m_seed; }
    /// A property of contact `index`, counted from 0; none if that contact doesn't have it.
    [[nodiscard]] std::optional<Property> property(std::uint32_t index, ULONG id) const;
    /// Every property that some contact has.
    [[nodiscard]] std::vector<ULONG> ids() const;

private:
    const std::uint32_t m_seed;
    const ULONG m_addressTypeTag;
    const ULONG m_emailAddressTag;
};
} // namespace sandbox
