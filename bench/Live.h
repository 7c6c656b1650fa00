// Live.h: agent or floor as a process that watches a mailbox of the sandbox, and a host that keeps when each message came.
#pragma once

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench/Turns.h"
#include "sandbox/control/ControlClient.h"
#include "tests/endtoend/AgentProcess.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/pipe/SequenceHost.h"

namespace bench
{
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using Json = nlohmann::json;

/// The longest wait for something that must happen.
inline constexpr std::chrono::minutes patience{10};

/// A message in UTF-8, and when the host had read its last byte.
struct Arrival
{
    Clock::time_point time;
    std::string text;
};

/// A host by the reference sequence of docs/wire-protocol.md, on the agent's pipe. One at a time on a machine.
class TimingHost
{
public:
    TimingHost();

    /// The next messages that have not been taken. Waits for so many, and throws when they don't come.
    /// @param sender  the process that sends them, without which they are not waited for any longer.
    [[nodiscard]] std::vector<Arrival> take(std::size_t count, HANDLE sender = GetCurrentProcess());

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Arrival> m_arrivals;
    std::size_t m_wanted = 1;
    support::SequenceHost m_host; // its threads use what is above
};

/// An agent, or the floor's linkwell_watcher, with a log. Ends when it is destroyed.
class LiveProcess
{
public:
    /// Starts it on this mailbox of one store, which has a contact, and waits until it has subscribed and handles its
    /// messages. The agent's snapshot has been taken from the host then; the floor sends none.
    LiveProcess(TimingHost& host, Party party, const std::string& mailbox);

    /// Asks the sandbox, as docs/sandbox-control.md says; throws when it refuses.
    Json ask(const Json& request) { return m_control.request(request); }
    /// Waits until the next call of this method is held, which `ask` has planned by this name.
    void waitUntilHeld(const std::string& hold) { wait({{"for", "held"}, {"hold", hold}}); }

    /// The next message, or so many of them.
    [[nodiscard]] Arrival take() { return m_host.take(1, m_process.process()).front(); }
    [[nodiscard]] std::vector<Arrival> take(std::size_t count) { return m_host.take(count, m_process.process()); }

    /// Has it end. Throws unless it ends with 0, has written nothing to standard error and holds nothing of the sandbox's.
    void close();

    [[nodiscard]] HANDLE process() const noexcept { return m_process.process(); }
    /// The log's path: no other process has it on its command line, also in other Wine prefixes.
    [[nodiscard]] const std::wstring& logFile() const noexcept { return m_logFile; }

private:
    [[nodiscard]] std::list<support::EnvironmentVariable> environment(const std::string& mailbox) const;
    void wait(Json request);

    TimingHost& m_host;
    const Party m_party;
    const support::TempFolder m_folder;
    const std::wstring m_logFile = m_folder.file(std::to_wstring(Clock::now().time_since_epoch().count()) + L".log");
    const std::wstring m_pipe = support::uniqueName(L"linkwell-bench");
    const std::list<support::EnvironmentVariable> m_environment;
    const endtoend::AgentProcess m_process;
    sandbox::ControlClient m_control;
};
} // namespace bench
