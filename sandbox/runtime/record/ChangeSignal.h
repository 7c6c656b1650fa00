// ChangeSignal.h: waiting until something has become so, with an end from outside.
#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

namespace sandbox
{
/// Wakes those who wait for a state that others change. Used by any thread.
class ChangeSignal
{
public:
    static constexpr std::chrono::milliseconds forever = std::chrono::milliseconds::max();

    ChangeSignal() = default;
    ChangeSignal(const ChangeSignal&) = delete;
    ChangeSignal& operator=(const ChangeSignal&) = delete;

    /// To be called after each change that somebody may wait for.
    void notify() noexcept;

    /// Waits until `condition` holds, which is asked at once and after each change, by this thread and with no lock held.
    /// False after `timeout`, or when `stop` is signalled. Throws what `condition` throws, and std::bad_alloc.
    /// @param stop  borrowed; null for none.
    [[nodiscard]] bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout,
                                 HANDLE stop);

private:
    class Waiter;

    std::mutex m_mutex;
    std::vector<HANDLE> m_waiters; // an event for each thread that waits; borrowed from its Waiter
};
} // namespace sandbox
