// ControlLifetime.h: the control pipe of this process, from the first MAPIInitialize to the last MAPIUninitialize.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace sandbox
{
/// Serves the pipe that LINKWELL_SANDBOX_CONTROL names, if it names one, with `answerRequest`, for as long as the runtime is
/// initialised. If there can't be such a pipe, a line on standard error says why. Used by any thread, with no lock held.
class ControlLifetime
{
public:
    /// The one of this process. Never destroyed: a process may end without MAPIUninitialize, and its threads are gone then.
    [[nodiscard]] static ControlLifetime& instance();

    /// Begins or ends serving if the runtime's state has changed. When it returns, the pipe was as that state asks for at
    /// some moment since the call, and no request is being answered after the end. Not to be called in DllMain, nor on the
    /// pipe's own thread, on which no client is called.
    void update();

private:
    struct Service;

    ControlLifetime() = default;
    void begin() noexcept;
    void end() noexcept;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isChanging = false; // a thread begins or ends it
    bool m_isServing = false;
    std::unique_ptr<Service> m_service; // used by the thread that changes it
};
} // namespace sandbox
