#include "sandbox/runtime/record/ChangeSignal.h"

#include <algorithm>
#include <new>
#include <optional>

namespace sandbox
{
namespace
{
using Clock = std::chrono::steady_clock;

/// The time that is left as Windows takes it.
[[nodiscard]] DWORD millisecondsTo(const std::optional<Clock::time_point>& end)
{
    if (!end)
        return INFINITE;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
    return static_cast<DWORD>(std::clamp<long long>(left, 0, INFINITE - 1));
}
} // namespace

/// One waiting thread's event, known to the signal for as long as it waits.
class ChangeSignal::Waiter
{
public:
    explicit Waiter(ChangeSignal& signal) : m_signal(signal), m_event(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
        if (m_event == nullptr)
            throw std::bad_alloc();
        try
        {
            const std::lock_guard lock(m_signal.m_mutex);
            m_signal.m_waiters.push_back(m_event);
        }
        catch (...)
        {
            CloseHandle(m_event);
            throw;
        }
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter()
    {
        {
            const std::lock_guard lock(m_signal.m_mutex);
            std::erase(m_signal.m_waiters, m_event);
        }
        CloseHandle(m_event);
    }

    [[nodiscard]] HANDLE event() const noexcept { return m_event; }

private:
    ChangeSignal& m_signal;
    const HANDLE m_event;
};

void ChangeSignal::notify() noexcept
{
    const std::lock_guard lock(m_mutex);
    for (const HANDLE waiter : m_waiters)
        SetEvent(waiter);
}

bool ChangeSignal::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout, HANDLE stop)
{
    std::optional<Clock::time_point> end;
    if (timeout != forever)
        end = Clock::now() + std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24 * 365));
    const Waiter waiter(*this);
    const HANDLE events[] = {waiter.event(), stop};
    while (!condition())
    {
        const DWORD left = millisecondsTo(end);
        if (left == 0 || WaitForMultipleObjects(stop != nullptr ? 2 : 1, events, FALSE, left) == WAIT_OBJECT_0 + 1)
            return false;
    }
    return true;
}
} // namespace sandbox
