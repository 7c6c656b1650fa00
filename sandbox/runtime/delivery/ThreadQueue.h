// ThreadQueue.h: work for one thread, done while that thread handles its window messages.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "sandbox/runtime/record/ChangeSignal.h"

namespace sandbox
{
/// A hidden window of a thread, and the tasks that its window procedure does, one for each message. At most one message is
/// in the thread's own queue at any time: that queue holds 10,000, and the other messages of the thread have their turns
/// between two tasks. A task whose predecessor handles messages is done inside that one. Used by any thread.
class ThreadQueue
{
public:
    using Task = std::function<void()>;

    /// The calling thread's, made with its window unless it is there; never null. Throws MapiFailure or std::bad_alloc.
    /// It goes with the thread, or when its last user has detached: on that thread at once, else when the thread next
    /// handles messages.
    [[nodiscard]] static std::shared_ptr<ThreadQueue> ofThisThread();

    ThreadQueue() = default;
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;

    /// Counts the users; the first attaches on the thread itself, right after `ofThisThread`.
    void attach() noexcept;
    void detach() noexcept;

    /// Takes a task. It is dropped when there is no user or no window, and when these go before its turn.
    /// @param task  throws nothing.
    void post(Task task);

    [[nodiscard]] static bool isThereForThisThread() noexcept;
    /// Does now what tasks the calling thread's queue has at this moment, in their order; nothing if it has no queue. Those
    /// that come meanwhile wait for their turns.
    static void doWaitingTasks() noexcept;

    [[nodiscard]] bool isOfThisThread() const noexcept { return m_thread == GetCurrentThreadId(); }
    [[nodiscard]] bool isGone() const noexcept;

    /// Notified when a queue has gone; whoever posts may use it for what the tasks do.
    [[nodiscard]] static ChangeSignal& changes() noexcept;

    /// To be called when a thread ends, by that thread.
    static void threadEnds() noexcept;
    /// To be called when this module is unloaded: whatever windows are left never call it again.
    static void moduleEnds() noexcept;

private:
    class Registry;

    static LRESULT CALLBACK handleMessage(HWND window, UINT message, WPARAM wide, LPARAM longer) noexcept;
    void takeTurn() noexcept;
    [[nodiscard]] Task takeTaskUpTo(std::uint64_t last) noexcept;
    void askForTurn() noexcept;
    void end() noexcept;
    void becomeGone() noexcept;

    const DWORD m_thread = GetCurrentThreadId();
    mutable std::mutex m_mutex; // guards all below
    HWND m_window = nullptr;    // null: gone
    unsigned m_users = 0;
    bool m_asked = false; // a message is on its way
    std::deque<Task> m_tasks;
    std::uint64_t m_posted = 0; // so many tasks came
};
} // namespace sandbox
