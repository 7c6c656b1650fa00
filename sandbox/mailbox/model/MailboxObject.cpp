#include "sandbox/mailbox/model/MailboxObject.h"

#include <algorithm>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/SandboxTags.h"

namespace sandbox
{
MailboxObject::MailboxObject(ObjectDescription description)
    : m_entryId(std::move(description.entryId)),
      m_aliases(std::move(description.aliases)),
      m_properties(std::move(description.properties)),
      m_row(std::move(description.row))
{
}

Bytes MailboxObject::entryId() const
{
    return m_entryId.empty() ? generatedEntryId() : m_entryId;
}

std::vector<Bytes> MailboxObject::explicitIds() const
{
    std::vector<Bytes> ids = m_aliases;
    if (!m_entryId.empty())
        ids.push_back(m_entryId);
    return ids;
}

std::optional<Property> MailboxObject::property(ULONG id) const
{
    if (const PropertySet::Entry* said = m_properties.find(id))
        return said->property;
    return builtIn(id);
}

std::optional<Property> MailboxObject::rowProperty(ULONG id) const
{
    if (const PropertySet::Entry* said = m_row.find(id))
        return said->property;
    if (std::optional<Property> ofRow = builtInOfRow(id))
        return ofRow;
    return property(id);
}

std::vector<ULONG> MailboxObject::tags() const
{
    std::vector<ULONG> tags;
    for (const ULONG id : builtInIds())
    {
        if (m_properties.find(id) != nullptr)
            continue;
        if (const std::optional<Property> own = builtIn(id))
            tags.push_back(own->tag);
    }
    for (const PropertySet::Entry& said : m_properties.entries())
    {
        if (said.property)
            tags.push_back(said.property->tag);
    }
    std::ranges::sort(tags);
    return tags;
}

ObjectDescription MailboxObject::description() const
{
    return {m_entryId, m_aliases, m_properties, m_row};
}

void MailboxObject::redescribe(ObjectDescription description)
{
    m_properties = std::move(description.properties);
    m_row = std::move(description.row);
}

std::optional<Property> MailboxObject::builtInOfRow(ULONG id) const
{
    if (id != PROP_ID(PR_INSTANCE_KEY))
        return std::nullopt;
    return Property{PR_INSTANCE_KEY, entryId()}; // any value that is another one in each row of a table
}
} // namespace sandbox
