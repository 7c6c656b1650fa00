#include "sandbox/mailbox/model/Property.h"

#include <algorithm>
#include <utility>

namespace sandbox
{
const PropertySet::Entry* PropertySet::find(ULONG id) const noexcept
{
    const auto place = std::ranges::lower_bound(m_entries, id, {}, &Entry::id);
    return place != m_entries.end() && place->id == id ? &*place : nullptr;
}

void PropertySet::set(Property property)
{
    const ULONG id = PROP_ID(property.tag);
    put({id, std::move(property)});
}

void PropertySet::setAbsent(ULONG id)
{
    put({id, std::nullopt});
}

void PropertySet::merge(const PropertySet& other)
{
    for (const Entry& entry : other.m_entries)
        put(entry);
}

void PropertySet::forget(ULONG id)
{
    std::erase_if(m_entries, [id](const Entry& entry) { return entry.id == id; });
}

void PropertySet::put(Entry entry)
{
    const auto place = std::ranges::lower_bound(m_entries, entry.id, {}, &Entry::id);
    if (place != m_entries.end() && place->id == entry.id)
        *place = std::move(entry);
    else
        m_entries.insert(place, std::move(entry));
}
} // namespace sandbox
