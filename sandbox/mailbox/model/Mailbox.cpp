#include "sandbox/mailbox/model/Mailbox.h"

#include <algorithm>
#include <utility>

#include "sandbox/mailbox/model/ContactGenerator.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/MailboxError.h"

namespace sandbox
{
namespace
{
// Stores begin at identifiers far from each other, as real ones do: whoever takes one store's identifiers to another
// store misses.
constexpr ULONG firstNamedId = 0x8000;
constexpr ULONG namedIdStep = 0x40;

[[noreturn]] void refuseDuplicate(const Bytes& entryId)
{
    throw MailboxRuleError("the entry identifier " + toHex(entryId) + " stands for another object already");
}
} // namespace

Mailbox::Mailbox() = default;

std::shared_ptr<NameMapping> Mailbox::namesOfNextStore() const
{
    const auto number = static_cast<ULONG>(m_stores.size()) + 1;
    return std::make_shared<NameMapping>(firstNamedId + number * namedIdStep);
}

std::shared_ptr<Store> Mailbox::addStore(StoreDescription description, FolderDescription root,
                                         FolderDescription ipmSubtree)
{
    if (m_stores.size() == maximumStores)
        throw MailboxRuleError("a mailbox has at most 255 stores");
    const auto number = static_cast<unsigned>(m_stores.size()) + 1;
    auto store = std::make_shared<Store>(number, std::move(description));
    auto rootFolder = std::make_shared<Folder>(*store, nullptr, store->nextFolderNumber(), std::move(root));
    auto ipmFolder = std::make_shared<Folder>(*store, rootFolder, store->nextFolderNumber(), std::move(ipmSubtree));
    rootFolder->addFolder(ipmFolder);
    store->setTopFolders(rootFolder, ipmFolder);

    registerObject(store, {store->entryId()});
    registerFolder(rootFolder);
    registerFolder(ipmFolder);
    m_stores.push_back(store);
    return store;
}

std::shared_ptr<Folder> Mailbox::addFolder(Store& store, const std::shared_ptr<Folder>& parent,
                                           FolderDescription description)
{
    auto folder = std::make_shared<Folder>(store, parent, store.nextFolderNumber(), std::move(description));
    registerFolder(folder);
    parent->addFolder(folder);
    return folder;
}

std::shared_ptr<Message> Mailbox::addMessage(Store& store, const std::shared_ptr<Folder>& folder,
                                             ObjectDescription description,
                                             std::shared_ptr<const ContactGenerator> generator, std::uint32_t index)
{
    auto message = std::make_shared<Message>(folder, store.nextMessageNumber(), std::move(description),
                                             std::move(generator), index);
    registerMessage(message);
    folder->addMessage(message);
    return message;
}

void Mailbox::addGeneratedContacts(Store& store, const std::shared_ptr<Folder>& folder, std::uint32_t count,
                                   std::uint32_t seed)
{
    const auto generator = std::make_shared<const ContactGenerator>(seed, store.names());
    for (std::uint32_t index = 0; index < count; ++index)
        addMessage(store, folder, ObjectDescription(), generator, index);
}

std::shared_ptr<AddressEntry> Mailbox::addAddressEntry(const std::string& key, AddressEntryDescription description)
{
    auto entry = std::make_shared<AddressEntry>(std::move(description));
    registerObject(entry, {entry->entryId()});
    m_addressBook[key] = entry;
    return entry;
}

void Mailbox::forget(const std::shared_ptr<MailboxObject>& object)
{
    const auto forgetMessage = [this](const Message& message)
    {
        unregister(message, {});
        m_stores[message.store().number() - 1]->removeMessage(message.number());
    };
    if (object->type() == MAPI_MESSAGE)
    {
        forgetMessage(static_cast<const Message&>(*object));
        return;
    }
    for (const std::shared_ptr<Folder>& folder : withFoldersBelow(std::static_pointer_cast<Folder>(object)))
    {
        unregister(*folder, {folder->entryId(), folder->shortTermId()});
        for (const std::shared_ptr<Message>& message : folder->messages())
            forgetMessage(*message);
    }
}

void Mailbox::remember(const std::shared_ptr<MailboxObject>& object)
{
    if (object->type() == MAPI_MESSAGE)
    {
        registerMessage(std::static_pointer_cast<Message>(object));
        return;
    }
    for (const std::shared_ptr<Folder>& folder : withFoldersBelow(std::static_pointer_cast<Folder>(object)))
    {
        registerFolder(folder);
        for (const std::shared_ptr<Message>& message : folder->messages())
            registerMessage(message);
    }
}

std::shared_ptr<MailboxObject> Mailbox::find(const Bytes& entryId) const
{
    const auto place = m_objects.find(entryId);
    return place != m_objects.end() ? place->second : findMessage(entryId);
}

void Mailbox::registerObject(const std::shared_ptr<MailboxObject>& object, const std::vector<Bytes>& ids)
{
    std::vector<Bytes> all = object->explicitIds();
    for (const Bytes& id : ids)
    {
        if (std::find(all.begin(), all.end(), id) == all.end())
            all.push_back(id);
    }
    for (const Bytes& id : all)
    {
        if (find(id) != nullptr)
            refuseDuplicate(id);
    }
    for (Bytes& id : all)
        m_objects.emplace(std::move(id), object);
}

std::shared_ptr<Message> Mailbox::findMessage(const Bytes& entryId) const
{
    const std::optional<MessageIdParts> parts = parseMessageId(entryId);
    if (!parts || parts->storeNumber == 0 || parts->storeNumber > m_stores.size())
        return {};
    std::shared_ptr<Message> message = m_stores[parts->storeNumber - 1]->message(parts->message);
    // A message with an explicit identifier does not answer to the one that it would otherwise have.
    const bool same = message && (message->shortTermId() == entryId || message->entryId() == entryId);
    return same ? message : nullptr;
}

void Mailbox::registerFolder(const std::shared_ptr<Folder>& folder)
{
    registerObject(folder, {folder->entryId(), folder->shortTermId()});
}

void Mailbox::registerMessage(const std::shared_ptr<Message>& message)
{
    for (const Bytes& id : {message->entryId(), message->shortTermId()})
    {
        if (m_objects.contains(id))
            refuseDuplicate(id);
    }
    registerObject(message, {});
    m_stores[message->store().number() - 1]->addMessage(message->number(), message);
}

void Mailbox::unregister(const MailboxObject& object, const std::vector<Bytes>& ids)
{
    for (const Bytes& id : object.explicitIds())
        m_objects.erase(id);
    for (const Bytes& id : ids)
        m_objects.erase(id);
}
} // namespace sandbox
