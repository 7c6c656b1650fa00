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

/// How long a call that is to deliver waits for the first thread.
constexpr std::chrono::seconds patience{5};

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

/// A task that does nothing but say that its turn has come.
class Delivery::Mark
{
public:
    explicit Mark(std::shared_ptr<ThreadQueue> queue) : m_queue(std::move(queue))
    {
        m_queue->post(
            [passed = m_passed]
            {
                *passed = true;
                ThreadQueue::changes().notify();
            });
    }

    [[nodiscard]] const std::shared_ptr<ThreadQueue>& queue() const noexcept { return m_queue; }
    [[nodiscard]] bool isPast() const noexcept { return *m_passed || m_queue->isGone(); }

private:
    std::shared_ptr<ThreadQueue> m_queue;
    std::shared_ptr<std::atomic<bool>> m_passed = std::make_shared<std::atomic<bool>>(false);
};

Delivery::Delivery()
{
    plans::deliverBy([] { instance().deliverToThisThread(); });
}

Delivery& Delivery::instance()
{
    static Delivery& s_delivery = *new Delivery;
    return s_delivery;
}

void Delivery::begin()
{
    std::shared_ptr<ThreadQueue> queue = ThreadQueue::ofThisThread();
    queue->attach();
    const std::lock_guard lock(m_mutex);
    m_first = std::move(queue);
}

void Delivery::end() noexcept
{
    std::shared_ptr<ThreadQueue> queue;
    {
        const std::lock_guard lock(m_mutex);
        queue.swap(m_first);
    }
    queue->detach();
    ThreadQueue::changes().notify();
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
    const std::shared_ptr<ThreadQueue> first = firstQueue();
    if (first == nullptr)
        return;
    for (const StoreBatch& batch : batches)
    {
        for (const std::shared_ptr<Watcher>& watcher : watchersOf(*batch.store))
        {
            EventBatch events;
            std::ranges::copy_if(batch.events, std::back_inserter(events),
                                 [&](const StoreEvent& event) { return concerns(watcher->subscription, event); });
            if (events.empty())
                continue;
            first->post([this, watcher, held = std::move(events), number = ++m_lastSent]
                        { passOn(watcher, held, number); });
        }
    }
}

bool Delivery::waitUntilIdle(std::chrono::milliseconds timeout, HANDLE stop)
{
    using Queues = std::set<std::shared_ptr<ThreadQueue>>;
    const auto markIn = [](const Queues& queues)
    {
        return std::vector<Mark>(queues.begin(), queues.end());
    };
    const auto arePast = [](const std::vector<Mark>& marks, const Queues& watched)
    {
        return std::ranges::all_of(marks,
                                   [&](const Mark& mark) { return mark.isPast() || !watched.contains(mark.queue()); });
    };
    const std::vector<Mark> first = markIn(watchedFirstQueue());
    // What was on its way to other threads is there once the first one's mark is past.
    std::optional<std::vector<Mark>> others;
    // Every delivery that counts has begun once these are past.
    std::optional<std::uint64_t> last;
    return ThreadQueue::changes().waitUntil(
        [&]
        {
            if (!others && !arePast(first, watchedFirstQueue()))
                return false;
            if (!others)
                others = markIn(watchedQueues());
            if (!last && !arePast(*others, watchedQueues()))
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

/// For the call of a client.
void Delivery::deliverToThisThread()
{
    if (!ThreadQueue::isThereForThisThread())
        return;
    const ClientCall outside;
    waitUntilPassedOn();
    ThreadQueue::doWaitingTasks();
}

/// Waits until what was sent so far has come to the threads of wrapped sinks; but not for ever, as the first thread may
/// handle no messages, and not on that one, which does it itself.
void Delivery::waitUntilPassedOn()
{
    const std::shared_ptr<ThreadQueue> first = firstQueue();
    if (first == nullptr || first->isOfThisThread())
        return;
    const auto isDone = [&, last = m_lastSent.load()]
    {
        return m_lastPassedOn >= last || first->isGone() || !watchedFirstQueue().contains(first);
    };
    (void)ThreadQueue::changes().waitUntil(isDone, patience, nullptr);
}

/// On the first thread.
void Delivery::passOn(const std::shared_ptr<Watcher>& watcher, const EventBatch& events, std::uint64_t number)
{
    const bool isForThisThread = watcher->queue == nullptr || watcher->queue->isOfThisThread();
    if (!isForThisThread)
        watcher->queue->post([this, watcher, events] { deliver(*watcher, events); });
    m_lastPassedOn = std::max(m_lastPassedOn.load(), number);
    ThreadQueue::changes().notify();
    if (isForThisThread)
        deliver(*watcher, events);
}

void Delivery::deliver(Watcher& watcher, const EventBatch& events)
{
    const Running running(*this);
    if (!watcher.isOver())
        notifySink(watcher.gate, events);
}

std::shared_ptr<ThreadQueue> Delivery::firstQueue() const
{
    const std::lock_guard lock(m_mutex);
    return m_first;
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

/// The first thread's, if there is one and anybody is advised; else none.
std::set<std::shared_ptr<ThreadQueue>> Delivery::watchedFirstQueue() const
{
    std::set<std::shared_ptr<ThreadQueue>> queues;
    if (!subscriptions().empty())
        queues.insert(firstQueue());
    queues.erase(nullptr);
    return queues;
}
} // namespace sandbox
