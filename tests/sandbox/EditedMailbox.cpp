#include "tests/sandbox/EditedMailbox.h"

#include <sstream>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/MailboxReader.h"
#include "sandbox/mailbox/reading/ObjectPaths.h"

using namespace sandbox;

namespace sandboxtest
{
namespace
{
[[nodiscard]] std::string wordOf(ULONG eventType)
{
    switch (eventType)
    {
    case fnevObjectCreated:
        return "created";
    case fnevObjectDeleted:
        return "deleted";
    case fnevObjectModified:
        return "modified";
    case fnevObjectMoved:
        return "moved";
    case fnevObjectCopied:
        return "copied";
    default:
        return "event " + std::to_string(eventType);
    }
}

[[nodiscard]] std::string phrase(const char* word, const EventId& id)
{
    return id.bytes.empty() && !id.size ? "" : word + toHex(id.bytes);
}

/// A value as text, exact enough to keep any two apart.
[[nodiscard]] std::string wordsOf(const std::optional<Property>& property)
{
    if (!property)
        return "-";
    std::ostringstream words;
    words << std::hex << property->tag << '/' << property->answersAs << '=';
    if (const auto* wide = std::get_if<std::wstring>(&property->value))
        words << toUtf8(*wide);
    else if (const auto* bytes = std::get_if<Bytes>(&property->value))
        words << toHex(*bytes);
    else if (const auto* number = std::get_if<std::int32_t>(&property->value))
        words << *number;
    else if (const auto* flag = std::get_if<bool>(&property->value))
        words << *flag;
    else
        words << '#' << property->value.index();
    return words.str();
}

void describe(std::ostream& out, const Mailbox& mailbox, const std::shared_ptr<MailboxObject>& object)
{
    out << object->type() << ' ' << idOf(*object) << ' ' << toHex(object->shortTermId());
    std::vector<Bytes> ids = object->explicitIds();
    ids.push_back(object->entryId());
    ids.push_back(object->shortTermId());
    for (const Bytes& id : ids)
        out << ' ' << toHex(id) << (id.empty() || mailbox.find(id) == object ? "" : " opens another object");
    for (const ULONG tag : object->tags())
        out << ' ' << wordsOf(object->property(PROP_ID(tag))) << '|' << wordsOf(object->rowProperty(PROP_ID(tag)));
    out << '\n';
}
} // namespace

Batches wordsOf(const std::vector<StoreBatch>& batches)
{
    Batches words;
    for (const StoreBatch& batch : batches)
    {
        for (const StoreEvent& event : batch.events)
            words.push_back(toUtf8(batch.store->name()) + ": " + wordOf(event.type) +
                            (event.objectType == MAPI_MESSAGE ? " message" : " folder") + phrase(" ", event.entryId) +
                            phrase(" in ", event.parentId) + phrase(" from ", event.oldId) +
                            phrase(" in ", event.oldParentId));
    }
    return words;
}

std::string idOf(const MailboxObject& object)
{
    return toHex(object.entryId());
}

std::wstring text(const MailboxObject& object, ULONG tag)
{
    const std::optional<Property> property = object.property(PROP_ID(tag));
    return property ? std::get<std::wstring>(property->value) : L"(none)";
}

EditedMailbox::EditedMailbox(const std::string& json) : m_mailbox(readMailbox(json)) {}

std::shared_ptr<Folder> EditedMailbox::folder(const std::string& place) const
{
    return folderAt(*m_mailbox, place, place);
}

std::shared_ptr<Message> EditedMailbox::message(const std::string& place) const
{
    return messageAt(*m_mailbox, place, place);
}

std::shared_ptr<MailboxObject> EditedMailbox::find(const Bytes& id) const
{
    return m_mailbox->find(id);
}

std::vector<std::string> EditedMailbox::namesIn(const std::string& place) const
{
    std::vector<std::string> names;
    for (const std::shared_ptr<Message>& message : folder(place)->messages())
        names.push_back(toUtf8(text(*message, PR_DISPLAY_NAME_W)));
    return names;
}

std::wstring EditedMailbox::named(const Message& message, LONG number) const
{
    const std::optional<ULONG> id = message.store().names().find(addressProperty(number));
    return id ? text(message, PROP_TAG(PT_UNICODE, *id)) : L"(none)";
}

bool EditedMailbox::hasNamed(const Message& message, LONG number) const
{
    const std::optional<ULONG> id = message.store().names().find(addressProperty(number));
    return id && message.property(*id);
}

std::vector<StoreBatch> EditedMailbox::editRaw(const Edit& edit)
{
    MailboxEdits edits(*m_mailbox);
    edit(edits);
    return edits.keep();
}

std::string EditedMailbox::refusal(const Edit& edit)
{
    const std::string before = wholeState();
    std::string complaint = "(not refused)";
    try
    {
        MailboxEdits edits(*m_mailbox);
        edit(edits);
    }
    catch (const std::runtime_error& error)
    {
        complaint = error.what();
    }
    return wholeState() == before ? complaint : complaint + " - and the mailbox has changed";
}

std::string EditedMailbox::wholeState() const
{
    std::ostringstream out;
    for (const std::shared_ptr<Store>& store : m_mailbox->stores())
    {
        describe(out, *m_mailbox, store);
        const Store::HandedOut handedOut = store->handedOut();
        out << handedOut.folders << ' ' << handedOut.messages << ' ' << handedOut.names << '\n';
        for (const std::shared_ptr<Folder>& folder : withFoldersBelow(store->root()))
        {
            describe(out, *m_mailbox, folder);
            for (const std::shared_ptr<Message>& message : folder->messages())
                describe(out, *m_mailbox, message);
        }
    }
    return out.str();
}
} // namespace sandboxtest
