// PropertyMemory.h: properties in MAPI's memory, on their way to a client or from one.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
// What is made is one MAPI block that the client frees, unless something else is said. All throw std::bad_alloc.

[[nodiscard]] SPropValue* toMapiMemory(std::span<const Property> properties);
[[nodiscard]] SPropTagArray* toTagArray(const std::vector<ULONG>& tags);

/// FreeProws: frees a row set and the rows in it, each a block of its own; null is fine. Answers as memory::free.
HRESULT freeRows(SRowSet* rows) noexcept;

struct RowsFreer
{
    void operator()(SRowSet* rows) const noexcept { freeRows(rows); }
};
/// A row set that frees itself unless it is given away.
using RowSet = std::unique_ptr<SRowSet, RowsFreer>;

/// A row set with a place for so many rows and none in it.
[[nodiscard]] RowSet makeRowSet(std::size_t capacity);

/// A value out of a client's memory, as the mailbox holds it; text becomes wide. None if the type is not served.
[[nodiscard]] std::optional<Value> fromMapiMemory(const SPropValue& value);
} // namespace sandbox
