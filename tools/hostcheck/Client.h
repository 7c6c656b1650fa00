// Client.h: the agent's end of the host's pipe, with time-outs: whatever a host does or leaves undone does not hold it.
#pragma once

#include <windows.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sandbox/control/LinePipe.h"

namespace hostcheck
{
using Milliseconds = std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Why a check can't go on, in words for whoever reads the result: mostly something that the host has done.
class Problem : public std::runtime_error
{
public:
    /// @param error  that of the system's call that failed, if one did.
    explicit Problem(const std::string& what, DWORD error = ERROR_SUCCESS) : std::runtime_error(what), m_error(error) {}

    [[nodiscard]] DWORD error() const noexcept { return m_error; }

private:
    DWORD m_error;
};

/// The time since then, in whole milliseconds.
[[nodiscard]] Milliseconds since(Clock::time_point start);
/// For WaitForSingleObject and its like.
[[nodiscard]] DWORD count(Milliseconds time);

/// A message as it goes over the wire: the length of the text in four bytes, the most significant one first, and the text.
[[nodiscard]] std::string framed(std::string_view text);

/// One connection, from the constructor to the destructor. At most one write and one read wait at a time. Used by one thread.
class Client
{
public:
    /// Opens the pipe as the agent does, but waits while all instances are busy, which the agent doesn't, and for two
    /// seconds while there is none. Throws Problem.
    /// @param path  with the prefix.
    Client(const std::wstring& path, Milliseconds patience);
    /// Ends what still waits.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Begins to write. Throws Problem when the host has gone.
    void startWrite(std::string bytes);
    /// Whether the host has taken all, or the pipe has room for the rest; waits for that. Throws Problem when the host goes.
    [[nodiscard]] bool isWritten(Milliseconds limit);

    /// Begins to read, unless that has begun: a read that waits gets what the host's next write brings, and no more.
    void startRead();
    /// What one read brings; none when nothing has come in time: the read waits on. Throws Problem when the host goes.
    [[nodiscard]] std::optional<std::string> read(Milliseconds limit);

    /// Borrowed.
    [[nodiscard]] HANDLE handle() const noexcept { return m_pipe.get(); }

private:
    struct Operation
    {
        sandbox::KernelHandle done = sandbox::makeEvent();
        OVERLAPPED overlapped{};
        std::string bytes;
        bool waits = false;
    };

    void begin(Operation& operation, BOOL started);
    [[nodiscard]] std::optional<DWORD> finish(Operation& operation, Milliseconds limit);

    sandbox::KernelHandle m_pipe;
    Operation m_write;
    Operation m_read;
};

/// Whether an instance of the pipe is free, or becomes free in this time, in milliseconds or as WaitNamedPipeW names it.
[[nodiscard]] bool becomesFree(const std::wstring& path, DWORD time);
} // namespace hostcheck
