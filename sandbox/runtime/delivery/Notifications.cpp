#include "sandbox/runtime/delivery/Notifications.h"

#include <algorithm>
#include <cstring>

#include "sandbox/runtime/objects/MapiFailure.h"

namespace sandbox
{
namespace
{
constexpr ULONG s_objectEvents = fnevObjectCreated | fnevObjectDeleted | fnevObjectModified | fnevObjectMoved |
                                 fnevObjectCopied | fnevSearchComplete;

[[nodiscard]] EventId idOf(ULONG size, const ENTRYID* entryId)
{
    if (entryId == nullptr)
        return {{}, size != 0 ? std::optional(size) : std::nullopt};
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(entryId);
    return {Bytes(bytes, bytes + size), std::nullopt};
}
} // namespace

EventBatch eventsOf(ULONG count, const NOTIFICATION* notifications)
{
    EventBatch events;
    for (ULONG index = 0; index < count; ++index)
    {
        require((notifications[index].ulEventType & ~s_objectEvents) == 0, MAPI_E_NO_SUPPORT);
        const OBJECT_NOTIFICATION& object = notifications[index].info.obj;
        StoreEvent& event = events.emplace_back();
        event.type = notifications[index].ulEventType;
        event.objectType = object.ulObjType;
        event.entryId = idOf(object.cbEntryID, object.lpEntryID);
        event.parentId = idOf(object.cbParentID, object.lpParentID);
        event.oldId = idOf(object.cbOldID, object.lpOldID);
        event.oldParentId = idOf(object.cbOldParentID, object.lpOldParentID);
        if (const SPropTagArray* tags = object.lpPropTagArray)
            event.propTags.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    }
    return events;
}

NotificationArray::NotificationArray(const EventBatch& events)
    : m_count(static_cast<ULONG>(events.size())),
      m_notifications(static_cast<NOTIFICATION*>(memory::allocate(events.size() * sizeof(NOTIFICATION))))
{
    std::memset(m_notifications, 0, events.size() * sizeof(NOTIFICATION));
    NOTIFICATION* notification = m_notifications;
    for (const StoreEvent& event : events)
    {
        notification->ulEventType = event.type;
        OBJECT_NOTIFICATION& object = notification->info.obj;
        object.ulObjType = event.objectType;
        setId(event.entryId, object.cbEntryID, object.lpEntryID);
        setId(event.parentId, object.cbParentID, object.lpParentID);
        setId(event.oldId, object.cbOldID, object.lpOldID);
        setId(event.oldParentId, object.cbOldParentID, object.lpOldParentID);
        object.lpPropTagArray = makeTags(event.propTags);
        ++notification;
    }
}

void NotificationArray::setId(const EventId& id, ULONG& size, ENTRYID*& bytes)
{
    size = id.size.value_or(static_cast<ULONG>(id.bytes.size()));
    if (id.bytes.empty())
        return;
    void* copy = memory::allocateMore(id.bytes.size(), m_notifications);
    std::memcpy(copy, id.bytes.data(), id.bytes.size());
    bytes = static_cast<ENTRYID*>(copy);
}

SPropTagArray* NotificationArray::makeTags(const std::vector<ULONG>& tags)
{
    if (tags.empty())
        return nullptr;
    const std::size_t size = offsetof(SPropTagArray, aulPropTag) + tags.size() * sizeof(ULONG);
    auto* array = static_cast<SPropTagArray*>(memory::allocateMore(size, m_notifications));
    array->cValues = static_cast<ULONG>(tags.size());
    std::ranges::copy(tags, array->aulPropTag);
    return array;
}
} // namespace sandbox
