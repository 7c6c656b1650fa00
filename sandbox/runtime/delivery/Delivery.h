// Delivery.h: who watches which store, and how its notifications reach them.
#pragma once

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/mailbox/model/StoreEvent.h"

namespace sandbox
{
class ThreadQueue;

/// One watcher of one store.
struct Subscription
{
    ULONG_PTR connection = 0; // more than 32 bits, never 0
    std::shared_ptr<Store> store;
    ULONG mask = 0;
};

/// All subscriptions of the process. Every notification comes to a hidden window of the thread that was the first to
/// initialise the runtime. When that thread handles its messages, it calls the sink, or, if the sink is wrapped
/// (HrThisThreadAdviseSink) by another thread, passes the notification on to a hidden window of that one. A call that is
/// planned to deliver (Plan::deliver) does both for its own thread. Used by any thread; never called with a mailbox locked.
class Delivery
{
public:
    /// The one of this process; never destroyed.
    [[nodiscard]] static Delivery& instance();

    /// To be called by the thread that initialises the runtime when nobody has: makes the window. Throws MapiFailure or
    /// std::bad_alloc.
    void begin();
    /// To be called by any thread when nobody has the runtime initialised any more: what is on its way is dropped, and the
    /// window goes, at the latest when its thread handles its messages or ends.
    void end() noexcept;

    /// IMsgStore::Advise: takes a reference on the sink and gives the connection's number.
    /// @param queue   by which the thread of a wrapped sink is reached; null for any other sink.
    /// @param isOver  whether the client's session has ended: nothing is delivered then, though the sink stays held. Called
    ///                by any thread, perhaps with a lock held.
    ULONG_PTR advise(std::shared_ptr<Store> store, ULONG mask, IMAPIAdviseSink* sink,
                     std::shared_ptr<ThreadQueue> queue, std::function<bool()> isOver);
    /// IMsgStore::Unadvise: nothing is delivered for this connection from here on, also nothing that waits already.
    /// False if the store has no such connection.
    bool unadvise(ULONG_PTR connection, const Store& store);
    /// The subscriptions of sessions that go on, oldest first.
    [[nodiscard]] std::vector<Subscription> subscriptions() const;

    /// To be called when a session has ended: who waits looks again.
    void noteEndOfSession() noexcept;

    /// Hands each batch to those whom it concerns, each getting the events that pass its mask, in order, in one
    /// call of OnNotify. Only posts; nothing if there is no window.
    void send(const std::vector<StoreBatch>& batches);

    /// Waits until every notification posted so far has been delivered, its handler has returned, and, if anybody is
    /// advised, the window's thread, and then each thread with a wrapped sink that is advised, has since looked at its
    /// queue. False after `timeout`, or when `stop` is signalled.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds timeout, HANDLE stop);
    /// Waits until there are at least so many subscriptions.
    [[nodiscard]] bool waitUntilAdvised(std::size_t count, std::chrono::milliseconds timeout, HANDLE stop);

private:
    struct Watcher;
    class Running;
    class Mark;

    Delivery();
    void deliverToThisThread();
    void waitUntilPassedOn();
    void passOn(const std::shared_ptr<Watcher>& watcher, const EventBatch& events, std::uint64_t number);
    void deliver(Watcher& watcher, const EventBatch& events);
    [[nodiscard]] std::shared_ptr<ThreadQueue> firstQueue() const;
    [[nodiscard]] std::vector<std::shared_ptr<Watcher>> watchersOf(const Store& store) const;
    [[nodiscard]] std::set<std::shared_ptr<ThreadQueue>> watchedQueues() const;
    [[nodiscard]] std::set<std::shared_ptr<ThreadQueue>> watchedFirstQueue() const;

    std::atomic<std::uint64_t> m_lastSent{0};
    std::atomic<std::uint64_t> m_lastPassedOn{0}; // in the order in which they were sent; written by the first thread

    mutable std::mutex m_mutex;           // guards all below
    std::shared_ptr<ThreadQueue> m_first; // of the thread that initialised first; null while nobody has
    std::vector<std::shared_ptr<Watcher>> m_watchers;
    ULONG_PTR m_advised = 0;
    std::uint64_t m_lastRun = 0;
    std::set<std::uint64_t> m_running;
};
} // namespace sandbox
