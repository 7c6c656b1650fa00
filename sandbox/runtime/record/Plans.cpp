#include "sandbox/runtime/record/Plans.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "sandbox/runtime/record/ChangeSignal.h"

namespace sandbox::plans
{
namespace
{
/// A plan and what has become of it. All but the plan itself is guarded by the lock of the list.
struct Entry
{
    const Plan plan;
    std::uint64_t calls = 0;  // so many were counted
    unsigned waiting = 0;     // calls that wait at the hold
    bool isReleased = false;  // the hold keeps nobody any longer
    bool isForgotten = false; // the plan itself no longer holds

    /// Counts one more call, and whether the plan applies to it.
    [[nodiscard]] bool count() noexcept
    {
        ++calls;
        return calls >= plan.call && (plan.times == 0 || calls - plan.call < plan.times);
    }
};
using EntryPtr = std::shared_ptr<Entry>;

struct List
{
    std::mutex mutex;
    std::vector<EntryPtr> entries;
    ChangeSignal changes; // notified when an entry has changed in what somebody may wait for
};

constinit std::atomic<bool> s_any{false};
constinit std::atomic<void (*)()> s_deliver{nullptr};

[[nodiscard]] List& list()
{
    static List& s_list = *new List; // never destroyed: clients may call as long as the process lives
    return s_list;
}

template <class Value>
[[nodiscard]] bool fits(const Value& planned, const Value& called)
{
    return planned == Value() || planned == called;
}

[[nodiscard]] bool isAbout(const Plan& plan, std::string_view method, const CallTarget& target)
{
    return fits<std::string_view>(plan.method, method) && fits(plan.target.on, target.on) &&
           fits(plan.target.opens, target.opens) && fits(plan.target.table, target.table);
}

/// The plans for a call, which counts for each that is made for its method and target.
[[nodiscard]] std::vector<EntryPtr> plansFor(std::string_view method, const CallTarget& target)
{
    const std::lock_guard lock(list().mutex);
    std::vector<EntryPtr> applying;
    for (const EntryPtr& entry : list().entries)
    {
        if (isAbout(entry->plan, method, target) && entry->count())
            applying.push_back(entry);
    }
    return applying;
}

/// Asks about an entry with the lock held.
template <class Question>
[[nodiscard]] auto ask(Question question)
{
    const std::lock_guard lock(list().mutex);
    return question();
}

/// A call that waits at a hold, for as long as it does.
class Waiting
{
public:
    explicit Waiting(Entry& entry) : m_entry(entry)
    {
        {
            const std::lock_guard lock(list().mutex);
            ++m_entry.waiting;
        }
        list().changes.notify();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting()
    {
        const std::lock_guard lock(list().mutex);
        --m_entry.waiting; // nobody waits for there being fewer
    }

private:
    Entry& m_entry;
};

void waitAtHold(Entry& entry)
{
    const auto isFree = [&]
    {
        return ask([&] { return entry.isReleased || entry.isForgotten; });
    };
    if (entry.plan.hold.empty() || isFree())
        return;
    const Waiting waiting(entry);
    (void)list().changes.waitUntil(isFree, ChangeSignal::forever, nullptr);
}

[[nodiscard]] bool isForgotten(const Entry& entry)
{
    return ask([&] { return entry.isForgotten; });
}

void waitAsPlanned(Entry& entry)
{
    waitAtHold(entry);
    if (entry.plan.delay.count() > 0)
        (void)list().changes.waitUntil([&] { return isForgotten(entry); }, entry.plan.delay, nullptr);
}

void deliverAsPlanned(const std::vector<EntryPtr>& applying)
{
    const auto delivers = [](const EntryPtr& entry)
    {
        return entry->plan.deliver && !isForgotten(*entry);
    };
    void (*const deliver)() = s_deliver;
    if (deliver != nullptr && std::ranges::any_of(applying, delivers))
        deliver();
}
} // namespace

void add(Plan plan)
{
    plan.call = std::max<std::uint64_t>(plan.call, 1);
    auto entry = std::make_shared<Entry>(Entry{std::move(plan)});
    const std::lock_guard lock(list().mutex);
    list().entries.push_back(std::move(entry));
    s_any = true;
}

void clear()
{
    {
        const std::lock_guard lock(list().mutex);
        for (const EntryPtr& entry : list().entries)
            entry->isForgotten = true;
        list().entries.clear();
        s_any = false;
    }
    list().changes.notify();
}

bool release(std::string_view hold)
{
    bool found = false;
    {
        const std::lock_guard lock(list().mutex);
        for (const EntryPtr& entry : list().entries)
        {
            if (hold.empty() || entry->plan.hold != hold)
                continue;
            entry->isReleased = true;
            found = true;
        }
    }
    list().changes.notify();
    return found;
}

bool waitUntilHeld(std::string_view hold, std::chrono::milliseconds timeout, HANDLE stop)
{
    const auto isHeld = [&]
    {
        return ask(
            [&]
            {
                return std::ranges::any_of(
                    list().entries, [&](const EntryPtr& entry)
                    { return entry->plan.hold == hold && entry->waiting != 0 && !entry->isReleased; });
            });
    };
    return list().changes.waitUntil(isHeld, timeout, stop);
}

bool any() noexcept
{
    return s_any.load(std::memory_order_relaxed);
}

void deliverBy(void (*deliver)())
{
    s_deliver = deliver;
}

Planned apply(std::string_view method, const CallTarget& target)
{
    const std::vector<EntryPtr> applying = plansFor(method, target);
    for (const EntryPtr& entry : applying)
        waitAsPlanned(*entry);
    deliverAsPlanned(applying);
    Planned planned;
    for (const EntryPtr& entry : applying)
    {
        if (isForgotten(*entry))
            continue;
        if (entry->plan.result)
            planned.result = entry->plan.result;
        if (entry->plan.gives != Gives::AsMade)
            planned.gives = entry->plan.gives;
    }
    return planned;
}
} // namespace sandbox::plans
