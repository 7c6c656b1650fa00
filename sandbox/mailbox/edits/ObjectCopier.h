// ObjectCopier.h: copies of messages and folders, also from one store to another.
#pragma once

#include <map>
#include <memory>

#include "sandbox/mailbox/model/Mailbox.h"

namespace sandbox
{
/// Copies what lies in one store into another, or within one. A copy has identifiers of its own, and its named properties
/// are those of its store. Throws MailboxRuleError when that store has no room for them.
class ObjectCopier
{
public:
    /// All are borrowed. `from` and `to` may be the same.
    ObjectCopier(Mailbox& mailbox, const Store& from, Store& to) noexcept : m_mailbox(mailbox), m_from(from), m_to(to)
    {
    }

    std::shared_ptr<Message> copyMessage(const Message& message, const std::shared_ptr<Folder>& target);
    /// With all that lies below it. The target lies elsewhere.
    std::shared_ptr<Folder> copyFolder(const std::shared_ptr<Folder>& folder, const std::shared_ptr<Folder>& target);

private:
    [[nodiscard]] ObjectDescription translated(ObjectDescription description);
    [[nodiscard]] PropertySet translated(const PropertySet& properties);
    [[nodiscard]] std::shared_ptr<const ContactGenerator>
    translated(const std::shared_ptr<const ContactGenerator>& generator);

    Mailbox& m_mailbox;
    const Store& m_from;
    Store& m_to;
    std::map<std::shared_ptr<const ContactGenerator>, std::shared_ptr<const ContactGenerator>> m_generators;
};
} // namespace sandbox
