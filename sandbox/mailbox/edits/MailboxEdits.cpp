#include "sandbox/mailbox/edits/MailboxEdits.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/edits/EditRules.h"
#include "sandbox/mailbox/edits/ObjectCopier.h"
#include "sandbox/mailbox/reading/DescriptionReader.h"
#include "sandbox/mailbox/reading/FolderReader.h"

namespace sandbox
{
namespace
{
template <class Object>
[[nodiscard]] std::shared_ptr<Object> as(const std::shared_ptr<MailboxObject>& object)
{
    return std::static_pointer_cast<Object>(object);
}

[[nodiscard]] bool isMessage(const MailboxObject& object) noexcept
{
    return object.type() == MAPI_MESSAGE;
}

/// Has the object say of itself what follows from its place as long as it has one.
void rememberParent(MailboxObject& object)
{
    ObjectDescription description = object.description();
    if (description.properties.find(PROP_ID(PR_PARENT_ENTRYID)) != nullptr)
        return;
    description.properties.set({PR_PARENT_ENTRYID, placeOf(object).parentId});
    object.redescribe(std::move(description));
}

/// Whoever holds an object of those deleted need not hold the folder in which it lay.
void rememberParents(const std::shared_ptr<MailboxObject>& object)
{
    if (isMessage(*object))
    {
        rememberParent(*object);
        return;
    }
    for (const std::shared_ptr<Folder>& folder : withFoldersBelow(as<Folder>(object)))
    {
        rememberParent(*folder);
        for (const std::shared_ptr<Message>& message : folder->messages())
            rememberParent(*message);
    }
}
} // namespace

MailboxEdits::MailboxEdits(Mailbox& mailbox) : m_mailbox(mailbox)
{
    for (const std::shared_ptr<Store>& store : mailbox.stores())
        m_undo.push([store, handedOut = store->handedOut()] { store->setHandedOut(handedOut); });
}

std::shared_ptr<Message> MailboxEdits::addContact(const std::shared_ptr<Folder>& folder, const Json& contact,
                                                  const std::string& path)
{
    undoAdding(folder);
    const std::shared_ptr<Message> message =
        FolderReader(m_mailbox, storeOf(*folder)).readMessage(contact, path, folder);
    m_events.add(folder->store(), fnevObjectCreated, *message, placeOf(*message));
    m_events.contentsChanged(folder);
    return message;
}

std::shared_ptr<Folder> MailboxEdits::addFolder(const std::shared_ptr<Folder>& parent, const Json& folder,
                                                const std::string& path)
{
    undoAdding(parent);
    const std::shared_ptr<Folder> added = FolderReader(m_mailbox, storeOf(*parent)).readFolder(folder, path, parent);
    m_events.add(parent->store(), fnevObjectCreated, *added, placeOf(*added));
    return added;
}

void MailboxEdits::editContact(const std::shared_ptr<Message>& message, const Json& set, const std::string& path)
{
    const ObjectDescription before = message->description();
    ObjectDescription after = before;
    readMessageChange(JsonObject(set, path), message->store().names(), m_mailbox.addressBook(), after);
    m_undo.push([message, before] { message->redescribe(before); });
    message->redescribe(std::move(after));
    m_events.add(message->store(), fnevObjectModified, *message, placeOf(*message));
}

void MailboxEdits::editFolder(const std::shared_ptr<Folder>& folder, const Json& set, const std::string& path)
{
    const FolderDescription before = folder->folderDescription();
    FolderDescription after = before;
    readFolderChange(JsonObject(set, path), folder->store().names(), after);
    m_undo.push([folder, before] { folder->redescribe(before); });
    folder->redescribe(std::move(after));
    m_events.add(folder->store(), fnevObjectModified, *folder, placeOf(*folder));
}

void MailboxEdits::editStore(const std::shared_ptr<Store>& store, const Json& set, const std::string& path)
{
    const StoreDescription before = store->storeDescription();
    StoreDescription after = before;
    readStoreChange(JsonObject(set, path), after);
    m_undo.push([store, before] { store->redescribe(before); });
    store->redescribe(std::move(after));
}

std::shared_ptr<MailboxObject> MailboxEdits::move(const std::shared_ptr<MailboxObject>& object,
                                                  const std::shared_ptr<Folder>& target, bool keepId)
{
    requireMovable(*object, *target, keepId);
    if (isMessage(*object))
        return moveMessage(as<Message>(object), target, keepId);
    return moveFolder(as<Folder>(object), target);
}

std::shared_ptr<MailboxObject> MailboxEdits::copy(const std::shared_ptr<MailboxObject>& object,
                                                  const std::shared_ptr<Folder>& target)
{
    requireCopyable(*object, *target);
    std::shared_ptr<MailboxObject> copied;
    if (isMessage(*object))
    {
        copied = copyMessage(*as<Message>(object), target);
        m_events.contentsChanged(target);
    }
    else
    {
        copied = copyFolder(as<Folder>(object), target);
    }
    m_events.add(target->store(), fnevObjectCopied, *copied, placeOf(*copied), placeOf(*object));
    return copied;
}

void MailboxEdits::remove(const std::shared_ptr<MailboxObject>& object)
{
    requireRemovable(*object);
    if (isMessage(*object))
    {
        const std::shared_ptr<Message> message = as<Message>(object);
        m_events.contentsChanged(message->folder());
        m_events.add(message->store(), fnevObjectDeleted, *object, placeOf(*object));
    }
    else
    {
        m_events.add(as<Folder>(object)->store(), fnevObjectDeleted, *object, placeOf(*object));
    }
    takeOut(object);
}

void MailboxEdits::inject(const Store& store, StoreEvent event)
{
    m_events.inject(store, std::move(event));
}

std::vector<StoreBatch> MailboxEdits::keep()
{
    std::vector<StoreBatch> batches = m_events.batches(m_mailbox);
    for (const std::shared_ptr<MailboxObject>& object : m_gone)
        rememberParents(object);
    m_undo.forget();
    return batches;
}

Store& MailboxEdits::storeOf(const Folder& folder) const
{
    return *m_mailbox.stores()[folder.store().number() - 1];
}

std::shared_ptr<Message> MailboxEdits::copyMessage(const Message& message, const std::shared_ptr<Folder>& target)
{
    undoAdding(target);
    return ObjectCopier(m_mailbox, message.store(), storeOf(*target)).copyMessage(message, target);
}

std::shared_ptr<Folder> MailboxEdits::copyFolder(const std::shared_ptr<Folder>& folder,
                                                 const std::shared_ptr<Folder>& target)
{
    undoAdding(target);
    return ObjectCopier(m_mailbox, folder->store(), storeOf(*target)).copyFolder(folder, target);
}

/// Takes back whatever comes into the folder from now on.
void MailboxEdits::undoAdding(const std::shared_ptr<Folder>& parent)
{
    m_undo.push(
        [this, parent, folders = parent->folders().size(), messages = parent->messages().size()]
        {
            while (parent->folders().size() > folders)
            {
                const std::shared_ptr<Folder> added = parent->folders().back();
                m_mailbox.forget(added);
                parent->removeFolder(*added);
            }
            while (parent->messages().size() > messages)
            {
                const std::shared_ptr<Message> added = parent->messages().back();
                m_mailbox.forget(added);
                parent->removeMessage(*added);
            }
        });
}

/// Its identifiers open nothing any more, and no table shows it that is made from now on.
void MailboxEdits::takeOut(const std::shared_ptr<MailboxObject>& object)
{
    m_mailbox.forget(object);
    if (isMessage(*object))
    {
        const std::shared_ptr<Message> message = as<Message>(object);
        const std::shared_ptr<Folder> folder = message->folder();
        const std::size_t place = folder->removeMessage(*message);
        m_undo.push([folder, place, message] { folder->insertMessage(place, message); });
    }
    else
    {
        const std::shared_ptr<Folder> folder = as<Folder>(object);
        const std::shared_ptr<Folder> parent = folder->parent();
        const std::size_t place = parent->removeFolder(*folder);
        m_undo.push([parent, place, folder] { parent->insertFolder(place, folder); });
    }
    m_undo.push([this, object] { m_mailbox.remember(object); });
    m_gone.push_back(object);
}

std::shared_ptr<Message> MailboxEdits::moveMessage(const std::shared_ptr<Message>& message,
                                                   const std::shared_ptr<Folder>& target, bool keepId)
{
    const std::shared_ptr<Folder> source = message->folder();
    const ObjectPlace former = placeOf(*message);
    std::shared_ptr<Message> moved = message;
    if (keepId)
    {
        const std::size_t place = source->removeMessage(*message);
        target->addMessage(message);
        message->setFolder(target);
        m_undo.push(
            [source, target, message, place]
            {
                target->removeMessage(*message);
                source->insertMessage(place, message);
                message->setFolder(source);
            });
    }
    else
    {
        moved = copyMessage(*message, target);
        takeOut(message);
    }
    addMoveEvents(*message, former, source->store(), *moved, target->store());
    m_events.contentsChanged(source);
    m_events.contentsChanged(target);
    return moved;
}

std::shared_ptr<Folder> MailboxEdits::moveFolder(const std::shared_ptr<Folder>& folder,
                                                 const std::shared_ptr<Folder>& target)
{
    const std::shared_ptr<Folder> source = folder->parent();
    const ObjectPlace former = placeOf(*folder);
    std::shared_ptr<Folder> moved = folder;
    if (&folder->store() == &target->store())
    {
        const std::size_t place = source->removeFolder(*folder);
        target->addFolder(folder);
        folder->setParent(target);
        m_undo.push(
            [source, target, folder, place]
            {
                target->removeFolder(*folder);
                source->insertFolder(place, folder);
                folder->setParent(source);
            });
    }
    else
    {
        moved = copyFolder(folder, target);
        takeOut(folder);
    }
    addMoveEvents(*folder, former, source->store(), *moved, target->store());
    return moved;
}

void MailboxEdits::addMoveEvents(const MailboxObject& former, const ObjectPlace& formerPlace, const Store& formerStore,
                                 const MailboxObject& object, const Store& store)
{
    if (&formerStore == &store)
    {
        m_events.add(store, fnevObjectMoved, object, placeOf(object), formerPlace);
        return;
    }
    m_events.add(store, fnevObjectCreated, object, placeOf(object));
    m_events.add(formerStore, fnevObjectDeleted, former, formerPlace);
}
} // namespace sandbox
