// LogRuns.h: what happened in each run of the agent, as its log tells it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/support/LogLines.h"
#include "tools/support/Page.h"

namespace diagnosis
{
/// Lines of one run that mean the same.
struct Finding
{
    const Entry* entry = nullptr;   // null: a record that the page does not know
    const Entry* failure = nullptr; // what was caught, if the page knows that
    Kind kind = Kind::Problem;
    std::string first; // time stamps
    std::string last;
    std::string text; // of the first record
    std::uint64_t count = 0;
};

struct Store
{
    std::string name;
    bool isDefault = false;
    bool isPublic = false;
    bool opened = true;
    std::uint64_t contacts = 0; // in the first snapshot
};

enum class End
{
    Asked,       // somebody asked the agent to close
    Failed,      // it could not start, or its worker has failed
    Ended,       // in order, and the log does not say why
    OutOfMemory, // MAPI's; the agent ended itself
    None         // still running, killed, crashed, or hanging
};

struct Run
{
    std::uint64_t number = 0; // from 1
    bool hasStart = false;    // else the log begins in its midst
    std::string begin;        // time stamps
    std::string end;
    std::string commandLine;
    bool loggedOn = false;     // to MAPI
    std::vector<Store> stores; // the first of them, no more than `storesKept`
    std::uint64_t storeCount = 0;
    std::uint64_t watched = 0;  // stores whose changes are reported
    std::uint64_t contacts = 0; // in the first snapshots
    std::uint64_t notifications = 0;
    std::uint64_t messages = 0;    // begun
    std::uint64_t refused = 0;     // of these
    std::vector<Finding> findings; // in the order of their first records, no more than `findingsKept`
    End how = End::None;
    std::string lastText;  // the last record
    bool followed = false; // by another run

    static constexpr std::size_t storesKept = 50;
    static constexpr std::size_t findingsKept = 200;

    [[nodiscard]] bool hasProblems() const;
};

/// Reads lines in their order, and gives each run when it is over.
class RunReader
{
public:
    using Receiver = std::function<void(const Run&)>;

    explicit RunReader(Receiver receiver);
    void read(const LinePart& part);
    /// There are no more lines.
    void finish();
    /// Records that look torn, or that are none of the agent's, outside of any run.
    [[nodiscard]] std::uint64_t strayLines() const noexcept { return m_strayLines; }

private:
    void readRecord(std::string_view stamp, std::string_view text);
    void beginRun(std::string_view stamp, bool hasStart);
    void endRun();
    void readOrdinary(const Match& match);
    void note(const Match& match, std::string_view stamp, std::string_view text);
    [[nodiscard]] std::string_view hole(const Match& match, std::size_t index) const;
    [[nodiscard]] Store* storeNamed(std::string_view name);

    Receiver m_receiver;
    Run m_run;
    bool m_inRun = false;
    bool m_closing = false; // MAPI's session, under what still runs
    bool m_asked = false;
    bool m_workerFailed = false;
    std::uint64_t m_runs = 0;
    std::uint64_t m_strayLines = 0;
};

/// Reads a log and its backup. Throws std::exception when the log can't be read.
void readRuns(const std::wstring& log, RunReader& reader);
} // namespace diagnosis
