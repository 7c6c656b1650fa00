// EndToEndTest.h: what the end-to-end tests share: the agent as a process, on a mailbox of the sandbox, with a host that
// is served here.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "sandbox/control/ControlClient.h"
#include "tests/endtoend/AgentLog.h"
#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/EntryIds.h"
#include "tests/support/PipeServer.h"
#include "tests/support/TempFolder.h"

namespace endtoend
{
/// The name of the host's pipe, without the prefix.
inline constexpr std::wstring_view hostPipeName = L"CorvenaLinkwell";

/// What the sandbox's end report says when all memory and all interfaces have come back.
inline constexpr std::string_view nothingHeld = "Nothing is held.\n";

using Json = nlohmann::json;

/// What is left of an agent that has ended.
struct AgentRun
{
    std::optional<DWORD> exitValue;    // none when it did not end in time
    Records log;                       // none without a log file
    Records subscribing;               // what `closeAndFinish` has taken out of the log
    std::vector<std::string> messages; // in UTF-8, without the length in front of them, which has been checked
    std::string report;                // the sandbox's end report
    std::string standardError;
};

/// The bytes of a message on the wire: the length in four bytes, the highest first, and the text.
[[nodiscard]] std::string wireBytes(std::string_view text);

/// Lines with a line feed between them.
[[nodiscard]] std::string lines(std::initializer_list<std::string_view> texts);

/// A contact's line: its first ten fields with the separators between them, and the identifiers of the message and of
/// its folder.
[[nodiscard]] std::string contactLine(std::string_view tenFields, unsigned store, unsigned folder, unsigned message);
/// The line of a contact that has a name and nothing else.
[[nodiscard]] std::string namedLine(std::string_view name, unsigned store, unsigned folder, unsigned message);
/// The record of a store in the message stores table whose provider's name is the sandbox's own.
[[nodiscard]] std::string storeFound(std::string_view name, unsigned store, bool isDefault = false,
                                     bool isPublic = false);

/// The records of the subscription of a store whose only folders are these, all contact folders, and whose IPM subtree
/// itself looks like one, being empty.
[[nodiscard]] Records subscribed(std::string_view store, std::initializer_list<std::string_view> folders = {});
/// These records one behind the other.
[[nodiscard]] Records joined(std::initializer_list<Records> parts);

class EndToEndTest : public testing::Test
{
protected:
    /// Fails where the sandbox isn't registered as the default mail client; changes nothing in the registry.
    void SetUp() override;

    // ---- Before the start --------------------------------------------------------------------------------------------

    /// The mailbox of the agents that are started from now on, as docs/sandbox.md describes it.
    void writeMailbox(std::string_view json) const;
    /// A variable of the environment of the agents that are started from now on; an empty value takes it away.
    void setVariable(const std::wstring& name, const std::wstring& value) { m_environment[name] = value; }
    /// Makes the pipe of the host. Each request gets one of these answers; the last one stands for the rest.
    void serveHost(std::vector<support::PipeReply> replies = {support::PipeReply::text("ack")});
    void serveHostWithoutSpareInstance();

    // ---- The run -----------------------------------------------------------------------------------------------------

    /// Starts the agent with the log file `logFile`, or with other arguments.
    void startAgent();
    void startAgent(const std::wstring& arguments);
    [[nodiscard]] const AgentProcess& agent() const { return *m_agent; }
    [[nodiscard]] support::PipeServer& host() { return *m_host; }
    [[nodiscard]] bool isHostServed() const noexcept { return m_host != nullptr; }
    /// The messages that the host has had so far, in UTF-8, without the length in front of them, which is checked.
    [[nodiscard]] std::vector<std::string> messages() const;
    /// The same, and forgets them.
    [[nodiscard]] std::vector<std::string> takeMessages() const;
    /// Waits for a record in the agent's log; false when the agent ends without it, or after `limit`.
    [[nodiscard]] bool waitForLog(std::string_view text, std::chrono::milliseconds limit = support::deadline) const;
    /// Asks the sandbox of the running agent, as docs/sandbox-control.md tells, and gives its answer. Throws when it
    /// refuses.
    Json ask(const Json& request);
    /// Waits until the agent has subscribed to all its stores, of which this is the last, and handles its messages.
    [[nodiscard]] bool waitUntilSubscribed(std::string_view lastStore,
                                           std::chrono::milliseconds limit = support::deadline);
    /// Waits for the end of the agent and collects what it has left.
    [[nodiscard]] AgentRun finish();

    /// Closes the window, waits for the end of the agent and collects what it has left. What is logged behind each
    /// "Subscribe to ..." until the next one or the close request stands in `subscribing` and not in `log`: mostly that is
    /// the walk of the snapshot anew.
    [[nodiscard]] AgentRun closeAndFinish();

    /// A whole run on this mailbox: with a host that says "ack" if none is served yet; until the last store, which is
    /// named, has been subscribed; then `closeAndFinish`.
    [[nodiscard]] AgentRun runUntilSubscribed(std::string_view json, std::string_view lastStore,
                                              std::chrono::milliseconds limit = support::deadline);
    /// A whole run on this mailbox, with the host that is served if one is, whose worker ends by itself. In its log
    /// "MAPI thread finished" stands in front of what the main thread writes at the same time.
    [[nodiscard]] AgentRun runUntilWorkerEnds(std::string_view json);

    // ---- What is expected --------------------------------------------------------------------------------------------

    /// The log of a run that ended by the closing of its window: from the header to "Start MAPI thread...", these
    /// records, and from "WM_CLOSE received" to the footer, with an orderly logoff. Each store that these records
    /// subscribe to, but for public ones, is unadvised.
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
    Environment m_environment;
    std::unique_ptr<support::PipeServer> m_host;
    std::unique_ptr<AgentProcess> m_agent;
    std::unique_ptr<sandbox::ControlClient> m_control; // null until the running agent's sandbox is asked something
    std::wstring m_commandLine;                        // of the agent that was started last
};
} // namespace endtoend
