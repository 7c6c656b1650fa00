#include "sandbox/mailbox/model/NameMapping.h"

#include <algorithm>
#include <cstring>

namespace sandbox
{
namespace
{
constexpr ULONG lastId = 0xFFFE;
}

bool PropertyNameLess::operator()(const PropertyName& a, const PropertyName& b) const noexcept
{
    const int sets = std::memcmp(&a.set, &b.set, sizeof(GUID));
    return sets != 0 ? sets < 0 : a.name < b.name;
}

NameMapping::NameMapping(ULONG firstId) : m_firstId(firstId) {}

std::optional<ULONG> NameMapping::find(const PropertyName& name) const
{
    const auto place = m_ids.find(name);
    return place != m_ids.end() ? std::optional(place->second) : std::nullopt;
}

std::optional<ULONG> NameMapping::findOrCreate(const PropertyName& name)
{
    if (const std::optional<ULONG> known = find(name))
        return known;
    const ULONG id = m_firstId + static_cast<ULONG>(m_ids.size());
    if (id > lastId)
        return std::nullopt;
    m_ids.emplace(name, id);
    return id;
}

std::optional<PropertyName> NameMapping::nameOf(ULONG id) const
{
    const auto place = std::ranges::find_if(m_ids, [id](const auto& entry) { return entry.second == id; });
    return place != m_ids.end() ? std::optional(place->first) : std::nullopt;
}

void NameMapping::shrinkTo(std::size_t size)
{
    std::erase_if(m_ids, [first = m_firstId + size](const auto& entry) { return entry.second >= first; });
}

std::vector<ULONG> NameMapping::ids() const
{
    std::vector<ULONG> ids;
    for (std::size_t count = 0; count < m_ids.size(); ++count)
        ids.push_back(m_firstId + static_cast<ULONG>(count));
    return ids;
}
} // namespace sandbox
