#include "sandbox/runtime/delivery/Notifications.h"

#include <algorithm>
#include <cstring>

#include "sandbox/runtime/record/Call.h"

namespace sandbox
{
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

void notifySink(SinkGate& gate, const EventBatch& events) noexcept
{
    try
    {
        const Call named("IMAPIAdviseSink::OnNotify"); // whose the memory is
        const NotificationArray array(events);
        gate.notify(array.count(), array.get());
    }
    catch (const std::bad_alloc&)
    {
    }
}
} // namespace sandbox
