// NameMapping.h: the property identifiers that a store gives to named properties.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "mapiabi/MapiTags.h"

namespace sandbox
{
/// The name of a named property: a set, and a number or a text within it.
struct PropertyName
{
    GUID set{};
    std::variant<LONG, std::wstring> name;
};

/// The name with this number in PSETID_Address.
[[nodiscard]] inline PropertyName addressProperty(LONG number)
{
    return {PSETID_Address, number};
}

struct PropertyNameLess
{
    [[nodiscard]] bool operator()(const PropertyName& a, const PropertyName& b) const noexcept;
};

/// A name is no identifier: each store maps names to identifiers of its own, from 8000 to FFFE. This one hands them out
/// in the order of the first question.
class NameMapping
{
public:
    /// @param firstId  the identifier for the first name, at least 0x8000.
    explicit NameMapping(ULONG firstId);

    [[nodiscard]] std::optional<ULONG> find(const PropertyName& name) const;
    /// None when the identifiers are used up.
    [[nodiscard]] std::optional<ULONG> findOrCreate(const PropertyName& name);
    /// The name that has this identifier; none if it isn't handed out.
    [[nodiscard]] std::optional<PropertyName> nameOf(ULONG id) const;

    [[nodiscard]] std::size_t size() const noexcept { return m_ids.size(); }
    /// Forgets the latest names, so that `size` are left.
    void shrinkTo(std::size_t size);

    /// All identifiers handed out so far, in ascending order.
    [[nodiscard]] std::vector<ULONG> ids() const;

private:
    const ULONG m_firstId;
    std::map<PropertyName, ULONG, PropertyNameLess> m_ids;
};
} // namespace sandbox
