// Delivery.h: who watches which store, and how what a store tells reaches them.
#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <vector>

#include "agent/mapi/MapiInterfaces.h"
#include "sandbox/mailbox/Store.h"
#include "sandbox/mailbox/StoreEvent.h"

namespace sandbox
{
/// One watcher of one store.
struct Subscription
{
    ULONG_PTR connection = 0; // more than 32 bits, never 0
    std::shared_ptr<Store> store;
    Bytes entryId; // the one object that is watched; empty for the whole store
    ULONG mask = 0;
};

/// All subscriptions of the process. A wrapped sink (HrThisThreadAdviseSink) is called on the thread that wrapped it, by
/// the window procedure of a hidden window, while that thread handles its messages; any other sink on the thread that
/// calls `send`. Used by any thread; never called with a mailbox locked.
class Delivery
{
public:
    /// The one of this process; never destroyed.
    [[nodiscard]] static Delivery& instance();

    /// IMsgStore::Advise: takes a reference on the sink and gives the connection's number.
    ULONG_PTR advise(std::shared_ptr<Store> store, Bytes entryId, ULONG mask, IMAPIAdviseSink* sink);
    /// IMsgStore::Unadvise: nothing is delivered for this connection from here on, also nothing that waits already.
    /// False if there is no such connection.
    bool unadvise(ULONG_PTR connection);
    /// The subscriptions, oldest first.
    [[nodiscard]] std::vector<Subscription> subscriptions() const;

    /// Hands each batch to those whom it concerns, each getting the events that pass its mask and object, in order, in one
    /// call of OnNotify. For wrapped sinks it only posts.
    void send(const std::vector<StoreBatch>& batches);

    /// Waits until every notification posted so far has been delivered, its handler has returned, and each thread with a
    /// wrapped sink that is advised has since looked at its queue. False after `timeout`, or when `stop` is signalled.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds timeout, HANDLE stop);
    /// Waits until there are at least so many subscriptions.
    [[nodiscard]] bool waitUntilAdvised(std::size_t count, std::chrono::milliseconds timeout, HANDLE stop);
};
} // namespace sandbox
