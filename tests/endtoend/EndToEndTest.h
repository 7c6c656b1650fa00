// EndToEndTest.h: what the end-to-end tests share: the agent as a process, on a mailbox of the sandbox, with a host that
// is served here.
#pragma once

#include <windows.h>

#include <filesystem>
#include <initializer_list>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "sandbox/control/ControlClient.h"
#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/Expected.h"
#include "tests/support/LogFile.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/pipe/PipeServer.h"

namespace endtoend
{
/// The name of the host's pipe, without the prefix.
inline constexpr std::wstring_view hostPipeName = L"CorvenaLinkwell";

/// How long what has to come may take on a busy machine.
inline constexpr DWORD busyMilliseconds = 120'000;

/// What the sandbox's end report says when all memory and all interfaces have come back.
inline constexpr std::string_view nothingHeld = "Nothing is held.\n";

using Json = nlohmann::json;

/// The mailbox file's key "plans", with one plan for each of these pairs: its keys, and the result that it never runs out of.
[[nodiscard]] std::string plansFor(std::initializer_list<std::pair<std::string_view, std::string_view>> plans);

/// What is left of an agent that has ended.
struct AgentRun
{
    std::optional<DWORD> exitValue;    // none when it did not end in time
    Records log;                       // none without a log file
    std::vector<std::string> messages; // in UTF-8, without the length in front of them, which has been checked
    std::string report;                // the sandbox's end report
    std::string standardError;
};

/// All bytes of a file; none when it isn't there.
[[nodiscard]] std::string bytesOf(const std::filesystem::path& file);

class EndToEndTest : public testing::Test
{
protected:
    /// Fails where the sandbox isn't registered as the default mail client; changes nothing in the registry.
    void SetUp() override;

    // ---- Before the start --------------------------------------------------------------------------------------------

    /// The mailbox of the agents that are started from now on, as docs/sandbox.md describes it.
    void writeMailbox(std::string_view json) const;
    /// A variable of the environment of the agents that are started from now on.
    void setVariable(const std::wstring& name, const std::wstring& value) { m_environment.emplace_back(name, value); }
    /// The log of the agents that are started from now on.
    void logTo(const std::wstring& logFile) { m_logFile = logFile; }
    /// A DLL that the agents that are started from now on load before anything else.
    void loadFirst(const std::filesystem::path& library) { m_library = library; }
    /// Makes the pipe of the host. Each request gets one of these answers; the last one stands for the rest.
    void serveHost(std::vector<support::PipeReply> replies = {support::PipeReply::text("ack")});
    void serveHostWithoutSpareInstance();

    // ---- The run -----------------------------------------------------------------------------------------------------

    /// Starts the agent with the log file `logFile`, or with other arguments.
    void startAgent() { startAgent(L"/log=" + m_logFile); }
    void startAgent(const std::wstring& arguments);
    /// Starts it on this mailbox, with a host that says "ack" if none is served yet.
    void startAgentOn(std::string_view json);
    [[nodiscard]] const AgentProcess& agent() const { return *m_agent; }
    [[nodiscard]] support::PipeServer& host() { return *m_host; }
    /// The messages that the host has had so far, in UTF-8, without the length in front of them, which is checked.
    [[nodiscard]] std::vector<std::string> messages() const;
    /// The same, and forgets them.
    [[nodiscard]] std::vector<std::string> takeMessages() const;
    /// Waits for a record in the agent's log; false when the agent ends without it, or after `limit`.
    [[nodiscard]] bool waitForLog(std::string_view text, std::chrono::milliseconds limit = support::deadline) const;
    /// Asks the sandbox of the running agent, as docs/sandbox-control.md says, and gives its answer; a wait without a
    /// time-out gets two minutes. Throws when it refuses.
    Json ask(Json request);
    /// Waits until the agent has subscribed to all its stores, of which this is the last, and handles its messages.
    [[nodiscard]] bool waitUntilSubscribed(std::string_view lastStore,
                                           std::chrono::milliseconds limit = support::deadline);
    /// Waits for the end of the agent and collects what it has left.
    [[nodiscard]] AgentRun finish();

    /// A whole run on this mailbox, as `startAgentOn` begins it, until the last store, which is named, has been subscribed;
    /// then the window is closed. What is logged behind each "Subscribe to ..." until the next one or the close request is left out of the log: mostly
    /// that is the walk of the snapshot anew.
    [[nodiscard]] AgentRun runUntilSubscribed(std::string_view json, std::string_view lastStore,
                                              std::chrono::milliseconds limit = support::deadline);
    /// A whole run of the agent that has been started, whose worker ends by itself. In its log "MAPI thread finished"
    /// stands in front of what the main thread writes at the same time.
    [[nodiscard]] AgentRun runUntilWorkerEnds();

    // ---- What is expected --------------------------------------------------------------------------------------------

    /// The run must have ended with 0 and with this log, these messages and this report, and nothing else.
    void expectRun(const AgentRun& run, const Records& log, const std::vector<std::string>& messages,
                   std::string_view report = nothingHeld) const;
    /// Such a run with the messages that its log says are sent.
    void expectRun(const AgentRun& run, const Records& log) const { expectRun(run, log, sentIn(log)); }
    /// `runUntilSubscribed` must end with `logOfClosedWindow` of these records.
    void expectClosedRun(std::string_view json, std::string_view lastStore, const Records& records,
                         std::string_view report = nothingHeld);
    /// A run on this mailbox whose worker ends must leave `logOfEndedWorker` of these records.
    void expectEndedWorker(std::string_view json, const Records& records);

    /// The log of a run: the header, the two records of the start, and these.
    [[nodiscard]] Records wholeLog(const Records& records) const;
    /// The log of a run that ended by the closing of its window: behind these records from "WM_CLOSE received" to the
    /// footer, with an orderly logoff. Each store that these records subscribe to, but for public ones, is unadvised.
    [[nodiscard]] Records logOfClosedWindow(const Records& records) const;
    /// The log of a run whose worker ended by itself.
    [[nodiscard]] Records logOfEndedWorker(const Records& records) const;
    /// The record "Started ..." of the agent that ran last.
    [[nodiscard]] std::string startedRecord() const;

    [[nodiscard]] std::wstring file(const std::wstring& name) const { return m_folder.file(name); }
    [[nodiscard]] const std::wstring& logFile() const noexcept { return m_logFile; }

private:
    support::TempFolder m_folder;
    std::wstring m_logFile = m_folder.file(L"agent.log");
    std::list<support::EnvironmentVariable> m_environment;
    std::filesystem::path m_library; // empty: none
    std::unique_ptr<support::PipeServer> m_host;
    std::unique_ptr<AgentProcess> m_agent;
    std::unique_ptr<sandbox::ControlClient> m_control; // null until the running agent's sandbox is asked something
    std::wstring m_commandLine;                        // of the agent that was started last
};
} // namespace endtoend
