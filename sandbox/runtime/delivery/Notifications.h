// Notifications.h: the events of a store as the notifications that a sink gets.
#pragma once

#include <memory>
#include <vector>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/StoreEvent.h"
#include "sandbox/runtime/delivery/SinkGate.h"
#include "sandbox/runtime/record/Memory.h"

namespace sandbox
{
/// Notifications in memory made for one call of a sink: all of it is overwritten with this object, and what the sink
/// writes into it later, or behind its end, is noted as misuse.
class NotificationArray
{
public:
    /// @param events  not empty. Throws std::bad_alloc.
    explicit NotificationArray(const EventBatch& events);

    [[nodiscard]] NOTIFICATION* get() const noexcept { return m_notifications; }
    [[nodiscard]] ULONG count() const noexcept { return m_count; }

private:
    void setId(const EventId& id, ULONG& size, ENTRYID*& bytes);
    [[nodiscard]] SPropTagArray* makeTags(const std::vector<ULONG>& tags);

    const ULONG m_count;
    NOTIFICATION* const m_notifications;
    const memory::Owner m_owner{m_notifications};
};

/// Calls the sink with these events, in memory made for the call. What there is no memory for is lost.
/// @param events  not empty.
void notifySink(SinkGate& gate, const EventBatch& events) noexcept;
} // namespace sandbox
