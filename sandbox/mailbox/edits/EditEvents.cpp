#include "sandbox/mailbox/edits/EditEvents.h"

#include <algorithm>
#include <utility>

#include "sandbox/mailbox/model/Message.h"

namespace sandbox
{
namespace
{
/// Puts an event behind those that its store has already, from batch number `first` on.
void append(std::vector<StoreBatch>& batches, std::size_t first, const std::shared_ptr<Store>& store, StoreEvent event)
{
    const auto place = std::find_if(batches.begin() + static_cast<std::ptrdiff_t>(first), batches.end(),
                                    [&](const StoreBatch& batch) { return batch.store == store; });
    if (place != batches.end())
        place->events.push_back(std::move(event));
    else
        batches.push_back({store, {std::move(event)}});
}

[[nodiscard]] StoreEvent eventOf(ULONG type, ULONG objectType, const ObjectPlace& place, const ObjectPlace& former)
{
    StoreEvent event;
    event.type = type;
    event.objectType = objectType;
    event.entryId.bytes = place.entryId;
    event.parentId.bytes = place.parentId;
    event.oldId.bytes = former.entryId;
    event.oldParentId.bytes = former.parentId;
    return event;
}
} // namespace

ObjectPlace placeOf(const MailboxObject& object)
{
    const std::shared_ptr<Folder> parent = object.type() == MAPI_MESSAGE ? static_cast<const Message&>(object).folder()
                                                                         : static_cast<const Folder&>(object).parent();
    return {object.entryId(), parent ? parent->entryId() : object.entryId()};
}

void EditEvents::add(const Store& store, ULONG eventType, const MailboxObject& object, const ObjectPlace& place,
                     const ObjectPlace& former)
{
    m_items.push_back({store.number(), eventOf(eventType, object.type(), place, former)});
}

void EditEvents::inject(const Store& store, StoreEvent event)
{
    event.heedsMasks = false;
    m_items.push_back({store.number(), std::move(event)});
}

void EditEvents::contentsChanged(const std::shared_ptr<Folder>& folder)
{
    if (std::ranges::find(m_changed, folder) == m_changed.end())
        m_changed.push_back(folder);
}

std::vector<StoreBatch> EditEvents::batches(const Mailbox& mailbox) const
{
    std::vector<StoreBatch> batches;
    for (const Item& item : m_items)
        append(batches, 0, mailbox.stores()[item.storeNumber - 1], item.event);
    const std::size_t first = batches.size();
    for (const std::shared_ptr<Folder>& folder : m_changed)
    {
        if (mailbox.find(folder->entryId()) != folder)
            continue;
        append(batches, first, mailbox.stores()[folder->store().number() - 1],
               eventOf(fnevObjectModified, MAPI_FOLDER, {folder->entryId(), {}}, {}));
    }
    return batches;
}
} // namespace sandbox
