#include "sandbox/mailbox/edits/ObjectCopier.h"

#include <unordered_map>
#include <utility>

#include "sandbox/mailbox/model/ContactGenerator.h"
#include "sandbox/mailbox/model/MailboxError.h"

namespace sandbox
{
namespace
{
constexpr ULONG firstNamed = 0x8000;
}

std::shared_ptr<Message> ObjectCopier::copyMessage(const Message& message, const std::shared_ptr<Folder>& target)
{
    return m_mailbox.addMessage(m_to, target, translated(message.description()), translated(message.generator()),
                                message.index());
}

std::shared_ptr<Folder> ObjectCopier::copyFolder(const std::shared_ptr<Folder>& folder,
                                                 const std::shared_ptr<Folder>& target)
{
    std::unordered_map<const Folder*, std::shared_ptr<Folder>> copies;
    for (const std::shared_ptr<Folder>& original : withFoldersBelow(folder))
    {
        FolderDescription description = original->folderDescription();
        description.object = translated(std::move(description.object));
        const std::shared_ptr<Folder>& parent = original == folder ? target : copies[original->parent().get()];
        const std::shared_ptr<Folder> copy = m_mailbox.addFolder(m_to, parent, std::move(description));
        copies[original.get()] = copy;
        for (const std::shared_ptr<Message>& message : original->messages())
            copyMessage(*message, copy);
    }
    return copies[folder.get()];
}

ObjectDescription ObjectCopier::translated(ObjectDescription description)
{
    description.entryId.clear();
    description.aliases.clear();
    if (&m_from != &m_to)
    {
        description.properties = translated(description.properties);
        description.row = translated(description.row);
    }
    return description;
}

PropertySet ObjectCopier::translated(const PropertySet& properties)
{
    PropertySet result;
    for (PropertySet::Entry entry : properties.entries())
    {
        if (entry.id >= firstNamed)
        {
            const std::optional<ULONG> id = m_to.names().findOrCreate(m_from.names().nameOf(entry.id).value());
            if (!id)
                throw MailboxRuleError("the store has no identifier left for a named property");
            entry.id = *id;
            if (entry.property)
                entry.property->tag = PROP_TAG(PROP_TYPE(entry.property->tag), *id);
        }
        if (entry.property)
            result.set(*std::move(entry.property));
        else
            result.setAbsent(entry.id);
    }
    return result;
}

std::shared_ptr<const ContactGenerator>
ObjectCopier::translated(const std::shared_ptr<const ContactGenerator>& generator)
{
    if (!generator || &m_from == &m_to)
        return generator;
    std::shared_ptr<const ContactGenerator>& other = m_generators[generator];
    if (!other)
        other = std::make_shared<const ContactGenerator>(generator->seed(), m_to.names());
    return other;
}
} // namespace sandbox
