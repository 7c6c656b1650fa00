// Subject.h: the host that is checked, and what more than one check does with it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/hostcheck/Client.h"
#include "tools/hostcheck/HostProcess.h"

namespace hostcheck
{
/// A contact in a message of its own.
inline constexpr std::string_view oneContact =
    "2;snapshot;contact;0;1\n"
    "Anna Berg;Anna;;Berg;Nordlicht AG;anna@example.com;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718";

struct SubjectOptions
{
    std::wstring pipeName = L"CorvenaLinkwell"; // without the prefix
    Milliseconds timeout{30'000};               // for the answer to a message
    std::size_t largeMegabytes = 64;
    std::vector<std::wstring> command; // starts the host; empty: it listens already
    std::wstring output;               // the file for what that host prints; empty: nowhere
    std::wstring agent;                // LinkwellAgent.exe; empty: none is started
};

/// How the host took the first message.
struct FirstMessage
{
    std::vector<std::string> pieces; // of the answer: what one read brought each
    std::string problem;             // why there are none
    Milliseconds time{0};            // until the first one
    bool spareInTime = false;        // another instance was free before the pipe's default time-out was over
    Milliseconds spareTime{0};       // until then, or until that was over
    Milliseconds lateTime{0};        // until one was free that was not in time; 0: none was in two seconds more

    [[nodiscard]] std::string answer() const;
};

/// How it took many, as the agent sends them.
struct Row
{
    std::vector<Milliseconds> times; // of those that were acknowledged, until they were
    std::string problem;             // what became of the one behind them; empty: nothing bad
};

/// Used by one thread.
class Subject
{
public:
    static constexpr std::size_t rowLength = 100;

    explicit Subject(SubjectOptions options);

    /// Starts the host, if it is to be started, and waits until the pipe is there. Throws Problem.
    void start();
    /// Ends the host that `start` has started.
    void stop() noexcept { m_process.reset(); }
    /// After something went wrong: starts the host anew, or makes sure that the one that listens still answers. Throws
    /// Problem when it doesn't.
    void renew();

    [[nodiscard]] const SubjectOptions& options() const noexcept { return m_options; }
    [[nodiscard]] const std::wstring& path() const noexcept { return m_path; }
    [[nodiscard]] bool isStarted() const noexcept { return !m_options.command.empty(); }

    /// Sends it when it is first asked for.
    [[nodiscard]] const FirstMessage& firstMessage();
    /// The same for so many.
    [[nodiscard]] const Row& row();

    /// A connection, waited for as long as for an answer.
    [[nodiscard]] std::unique_ptr<Client> connect() const;
    /// Sends a message. Throws Problem unless it is answered as the first one was, right or wrong.
    void exchange(std::string_view text = oneContact);
    /// Waits for the answer to what has been written. Throws Problem as `exchange` does.
    void takeAnswer(Client& client, std::string answer = {});
    /// Sends a message to the end of a connection that was made for something else; whatever comes of it is no matter, as
    /// there is a check for clients that go without a word.
    void leave(Client& client);

private:
    const SubjectOptions m_options;
    const std::wstring m_path;
    std::unique_ptr<HostProcess> m_process;
    std::optional<FirstMessage> m_firstMessage;
    std::optional<Row> m_row;
};

/// Bytes for a reader: in quotation marks, with what can't be printed in hexadecimal.
[[nodiscard]] std::string printable(std::string_view bytes);
} // namespace hostcheck
