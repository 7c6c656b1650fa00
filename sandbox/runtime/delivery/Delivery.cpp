#include "sandbox/runtime/delivery/Delivery.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "sandbox/runtime/delivery/Notifications.h"
#include "sandbox/runtime/delivery/ThreadQueue.h"
#include "sandbox/runtime/record/Call.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
namespace
{
/// More than 32 bits, and none that a client can come by when it loses the upper ones.
constexpr ULONG_PTR firstConnection = 0x500000001;

[[nodiscard]] bool concerns(const Subscription& subscription, const StoreEvent& event)
{
    return !event.heedsMasks || (event.type & subscription.mask) != 0;
}
} // namespace

/// A subscription with the way to its sink.
struct Delivery::Watcher
{
    Subscription subscription;
    std::shared_ptr<ThreadQueue> queue; // null: the sink is not wrapped
    std::function<bool()> isOver;
    SinkGate gate;
};

/// Deliveries that run, by the order in which they began.
class Delivery::Running
{
public:
    explicit Running(Delivery& delivery) : m_delivery(delivery)
    {
        const std::lock_guard lock(m_delivery.m_mutex);
        m_number = *m_delivery.m_running.insert(++m_delivery.m_lastRun).first;
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running()
    {
        {
            const std::lock_guard lock(m_delivery.m_mutex);
            m_delivery.m_running.erase(m_number);
        }
        ThreadQueue::changes().notify();
    }

private:
    Delivery& m_delivery;
    std::uint64_t m_number;
};

Delivery::Delivery()
{
    plans::deliverBy(
        []
        {
            const ClientCall outside; // of the call that delivers
            ThreadQueue::doWaitingTasks();
        });
}

Delivery& Delivery::instance()
{
    static Delivery& s_delivery = *new Delivery;
    return s_delivery;
}

ULONG_PTR Delivery::advise(std::shared_ptr<Store> store, ULONG mask, IMAPIAdviseSink* sink,
                           std::shared_ptr<ThreadQueue> queue, std::function<bool()> isOver)
{
    const std::shared_ptr<Watcher> watcher(
        new Watcher{{0, std::move(store), mask}, std::move(queue), std::move(isOver), SinkGate(sink)});
    ULONG_PTR connection = 0;
    {
        const std::lock_guard lock(m_mutex);
        connection = firstConnection + m_advised;
        watcher->subscription.connection = connection;
        m_watchers.push_back(watcher);
        ++m_advised;
    }
    ThreadQueue::changes().notify();
    return connection;
}

bool Delivery::unadvise(ULONG_PTR connection, const Store& store)
{
    std::shared_ptr<Watcher> found;
    {
        const std::lock_guard lock(m_mutex);
        const auto place = std::ranges::find_if(
            m_watchers, [&](const std::shared_ptr<Watcher>& watcher)
            { return watcher->subscription.connection == connection && watcher->subscription.store.get() == &store; });
        if (place == m_watchers.end())
            return false;
        found = *place;
        m_watchers.erase(place);
    }
    found->gate.close();
    ThreadQueue::changes().notify();
    return true;
}

std::vector<Subscription> Delivery::subscriptions() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<Subscription> all;
    for (const std::shared_ptr<Watcher>& watcher : m_watchers)
    {
        if (!watcher->isOver())
            all.push_back(watcher->subscription);
    }
    return all;
}

void Delivery::noteEndOfSession() noexcept
{
    ThreadQueue::changes().notify();
}

void Delivery::send(const std::vector<StoreBatch>& batches)
{
    const Running running(*this);
    for (const StoreBatch& batch : batches)
    {
        for (const std::shared_ptr<Watcher>& watcher : watchersOf(*batch.store))
        {
            EventBatch events;
            std::ranges::copy_if(batch.events, std::back_inserter(events),
                                 [&](const StoreEvent& event) { return concerns(watcher->subscription, event); });
            if (events.empty())
                continue;
            if (watcher->queue == nullptr)
                deliver(*watcher, events);
            else
                watcher->queue->post([this, watcher, events = std::move(events)] { deliver(*watcher, events); });
        }
    }
}

bool Delivery::waitUntilIdle(std::chrono::milliseconds timeout, HANDLE stop)
{
    struct Mark
    {
        std::shared_ptr<ThreadQueue> queue;
        std::shared_ptr<std::atomic<bool>> passed;
    };
    std::vector<Mark> marks;
    for (const std::shared_ptr<ThreadQueue>& queue : watchedQueues())
    {
        const auto passed = std::make_shared<std::atomic<bool>>(false);
        marks.push_back({queue, passed});
        queue->post(
            [passed]
            {
                *passed = true;
                ThreadQueue::changes().notify();
            });
    }
    const auto isPast = [this](const Mark& mark)
    {
        return *mark.passed || mark.queue->isGone() || !watchedQueues().contains(mark.queue);
    };
    // Every delivery that counts has begun once all marks are past.
    std::optional<std::uint64_t> last;
    return ThreadQueue::changes().waitUntil(
        [&]
        {
            if (!last && !std::ranges::all_of(marks, isPast))
                return false;
            const std::lock_guard lock(m_mutex);
            if (!last)
                last = m_lastRun;
            return m_running.empty() || *m_running.begin() > *last;
        },
        timeout, stop);
}

bool Delivery::waitUntilAdvised(std::size_t count, std::chrono::milliseconds timeout, HANDLE stop)
{
    return ThreadQueue::changes().waitUntil([&] { return subscriptions().size() >= count; }, timeout, stop);
}

void Delivery::deliver(Watcher& watcher, const EventBatch& events)
{
    const Running running(*this);
    if (!watcher.isOver())
        notifySink(watcher.gate, events);
}

std::vector<std::shared_ptr<Delivery::Watcher>> Delivery::watchersOf(const Store& store) const
{
    const std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<Watcher>> found;
    std::ranges::copy_if(m_watchers, std::back_inserter(found), [&](const std::shared_ptr<Watcher>& watcher)
                         { return watcher->subscription.store.get() == &store; });
    return found;
}

std::set<std::shared_ptr<ThreadQueue>> Delivery::watchedQueues() const
{
    const std::lock_guard lock(m_mutex);
    std::set<std::shared_ptr<ThreadQueue>> queues;
    for (const std::shared_ptr<Watcher>& watcher : m_watchers)
    {
        if (watcher->queue != nullptr && !watcher->isOver())
            queues.insert(watcher->queue);
    }
    return queues;
}
} // namespace sandbox
