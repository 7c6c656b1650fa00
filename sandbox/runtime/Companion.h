// Companion.h: what runs beside the runtime for as long as that is initialised.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

namespace sandbox
{
/// Begins when it is wanted and ends when it no longer is, one at a time, and with no lock held: both may wait for other
/// threads. Used by any thread.
class Companion
{
public:
    using Step = void (*)() noexcept;

    /// Called before anything else of this.
    void set(Step begin, Step end) noexcept;

    /// Brings it into the state that `isWanted` tells. When this returns, that was so at some moment since the call.
    void follow(const std::function<bool()>& isWanted);

private:
    Step m_begin = nullptr;
    Step m_end = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_changes = false; // a thread is in one of the two steps
    bool m_runs = false;
};
} // namespace sandbox
