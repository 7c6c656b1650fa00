// Filter.h: a restriction, taken over from the client's memory and evaluated on the rows of a table.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
/// A property of the row at hand; none if the row doesn't have it.
using RowProperties = std::function<std::optional<Property>(ULONG id)>;

/// A restriction tree. Text compares by its UTF-16 units, exactly, unless a content restriction says otherwise. A row
/// that lacks a property, or can't read it, fails every comparison with it.
class Filter
{
public:
    /// Copies all that it needs. Throws MapiFailure: MAPI_E_TOO_COMPLEX for a form that is not served or types that don't
    /// go together, MAPI_E_INVALID_PARAMETER for a missing part.
    explicit Filter(const SRestriction& restriction);
    Filter(Filter&&) noexcept;
    ~Filter();

    [[nodiscard]] bool matches(const RowProperties& row) const;

private:
    struct Node;
    std::unique_ptr<const Node> m_root;
};

/// The order of two values of one kind: negative, 0 or positive; none if they can't be compared.
[[nodiscard]] std::optional<int> compareValues(const Value& a, const Value& b) noexcept;

/// As `compareValues`, with text regardless of case; a missing value comes first.
[[nodiscard]] int compareForSorting(const std::optional<Property>& a, const std::optional<Property>& b);
} // namespace sandbox
