#include "sandbox/mailbox/model/Message.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/CommonProperties.h"
#include "sandbox/mailbox/model/ContactGenerator.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
namespace
{
constexpr std::int32_t messageIsRead = 1; // MSGFLAG_READ
}

Message::Message(const std::shared_ptr<Folder>& folder, std::uint64_t number, ObjectDescription description,
                 std::shared_ptr<const ContactGenerator> generator, std::uint32_t index)
    : MailboxObject(std::move(description)),
      m_store(folder->store()),
      m_folder(folder),
      m_folderNumber(folder->number()),
      m_number(number),
      m_generator(std::move(generator)),
      m_index(index)
{
}

Bytes Message::shortTermId() const
{
    return shortTermMessageId(m_store.uid(), m_number);
}

Bytes Message::generatedEntryId() const
{
    return messageEntryId(m_store.uid(), m_folderNumber, m_number);
}

std::optional<Property> Message::builtIn(ULONG id) const
{
    switch (id)
    {
    case PROP_ID(PR_PARENT_ENTRYID):
        if (const std::shared_ptr<Folder> folder = m_folder.lock())
            return Property{PR_PARENT_ENTRYID, folder->entryId()};
        return std::nullopt;
    case PROP_ID(PR_MESSAGE_FLAGS):
        return Property{PR_MESSAGE_FLAGS, messageIsRead};
    default:
        break;
    }
    if (m_generator)
    {
        if (std::optional<Property> generated = m_generator->property(m_index, id))
            return generated;
    }
    return commonProperty(id, *this, m_store);
}

std::vector<ULONG> Message::builtInIds() const
{
    std::vector<ULONG> ids = commonPropertyIds();
    ids.insert(ids.end(), {PROP_ID(PR_PARENT_ENTRYID), PROP_ID(PR_MESSAGE_FLAGS)});
    if (m_generator)
    {
        const std::vector<ULONG> generated = m_generator->ids();
        ids.insert(ids.end(), generated.begin(), generated.end());
    }
    return ids;
}

std::optional<Property> Message::builtInOfRow(ULONG id) const
{
    if (id == PROP_ID(PR_ENTRYID))
    {
        const std::shared_ptr<Folder> folder = m_folder.lock();
        if (folder && folder->givesShortTermIds())
            return Property{PR_ENTRYID, shortTermId()};
    }
    return MailboxObject::builtInOfRow(id);
}
} // namespace sandbox
