// ControlServer.h: the sandbox's end of the control pipe.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "sandbox/control/LinePipe.h"

namespace sandbox
{
/// Serves the control pipe on a thread of its own, from the constructor to the destructor: one connection after the other,
/// and the requests of each in order.
class ControlServer
{
public:
    /// Gives the answer to one request, both without a line feed. Called on the server's thread with no lock held; what it
    /// throws ends the connection. `stop`, borrowed, is set when the server is to end: a request that waits gives up.
    using Handler = std::function<std::string(std::string_view request, HANDLE stop)>;

    /// The most bytes that a request may have. A longer one is refused, and those behind it are served.
    static constexpr std::size_t longestRequest = std::size_t{16} << 20;

    /// When it returns, clients can connect. Throws std::runtime_error, in words for a person, if there can't be such a pipe
    /// or somebody else serves it; they don't name the pipe.
    /// @param name  the pipe's path, or a bare name.
    ControlServer(const std::wstring& name, Handler handler);
    /// Ends what goes on, and waits for the thread. An answer that was written can still be read by its client. Never on the
    /// server's own thread, and never while a lock is held that the handler needs.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

private:
    void serve() noexcept;
    [[nodiscard]] bool waitForClient();
    void serveClient();
    [[nodiscard]] bool stops() const noexcept { return WaitForSingleObject(m_stop.get(), 0) == WAIT_OBJECT_0; }

    const Handler m_handler;
    KernelHandle m_stop;
    KernelHandle m_connected;
    KernelHandle m_pipe;
    std::thread m_thread;
};
} // namespace sandbox
