// HostTest.h: what the tests of hosts/cpp share: a host that records, and a client that does what a test says.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "hosts/cpp/LinkwellHost.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"

namespace hosts
{
/// A message as it goes over the pipe: the length in four bytes, the highest first, and the text.
[[nodiscard]] std::string framed(std::string_view text);

/// A client of a host's pipe. Closes it at the latest when it is destroyed.
class Client
{
public:
    /// Waits for a free instance where there is none. Throws when there is no pipe.
    explicit Client(const std::wstring& pipe);

    /// Waits until all of it is read, or in the pipe's buffer. False when the host has ended the connection.
    bool write(std::string_view bytes);
    /// Waits until the host has read all that was written. False when the host has ended the connection.
    bool flush() { return FlushFileBuffers(m_pipe.get()) != FALSE; }
    /// The next bytes, `size` at most; fewer when the host ends the connection.
    [[nodiscard]] std::string read(std::size_t size);
    void close() { m_pipe.reset(); }
    [[nodiscard]] HANDLE handle() const noexcept { return m_pipe.get(); }

private:
    support::Handle m_pipe;
};

/// A manual-reset event.
class Event
{
public:
    void set() { SetEvent(m_event.get()); }
    /// False after the deadline.
    [[nodiscard]] bool wait() const;

private:
    const support::Handle m_event = support::makeEvent();
};

class HostTest : public testing::Test
{
protected:
    /// Starts the host with `m_options`.
    void startHost();
    /// The same, with a handler that waits for `m_release`; gives the client for whose message it does.
    [[nodiscard]] Client startHostAndHoldHandler();
    [[nodiscard]] linkwell::Host& host() { return *m_host; }
    [[nodiscard]] Client connect() const { return Client(m_options.pipe); }
    /// Sends a text as the agent does, and gives the host's answer.
    [[nodiscard]] std::string exchange(std::string_view text) const;

    [[nodiscard]] std::vector<linkwell::Message> messages() const;
    [[nodiscard]] std::vector<linkwell::Error> errors() const;
    /// The names of their codes.
    [[nodiscard]] std::vector<std::string> codes() const;
    /// Waits until there have been so many errors; false after the deadline.
    [[nodiscard]] bool waitForErrors(std::size_t count) const;

    linkwell::HostOptions m_options = optionsOfTests();
    std::function<void(const linkwell::Message&)> m_onMessage; // called when the message has been recorded
    std::function<void()> m_onError;                           // called when an error has been recorded
    Event m_release;

private:
    [[nodiscard]] static linkwell::HostOptions optionsOfTests();

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<linkwell::Message> m_messages;
    std::vector<linkwell::Error> m_errors;
    std::optional<linkwell::Host> m_host; // the last member: its threads use the others
};

inline constexpr std::string_view contactText =
    "2;snapshot;contact;0;1\n\u0416\u0430\u043D\u043D\u0430;;;;;;;;;;00000000A1;00000000E5";
inline constexpr std::string_view contactName = "\u0416\u0430\u043D\u043D\u0430";
} // namespace hosts
