// PropTagArray.h: a list of property tags in MAPI memory.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>

#include "agent/mapi/ValuePtr.h"

namespace mapi
{
/// Owns one SPropTagArray: made here, or taken over from a MAPI call by `reset`.
class PropTagArray : public ValuePtr<_SPropTagArray>
{
public:
    PropTagArray() = default;
    /// An array with these tags in this order. Throws for an empty list.
    explicit PropTagArray(std::span<const ULONG> tags);
    PropTagArray(std::initializer_list<ULONG> tags);

    /// The tag at the index. Throws when there is none.
    [[nodiscard]] ULONG& at(std::size_t index) const;

private:
    const std::size_t npos = static_cast<std::size_t>(-1); // an index that no array has
};
} // namespace mapi
