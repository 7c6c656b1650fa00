// Judge.h: what a run in which something has failed may leave, beside the run in which nothing has.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend::sweep
{
/// What may come of a failure beyond a run that has said less and said so.
struct Allowance
{
    bool aborts = false;        // the process may end by std::abort: without a footer and an end report
    bool losesSilently = false; // what is lost need not stand in the log
    bool misreads = false;      // an Exchange address may stand where an e-mail address belongs
    bool holds = false; // the end report may name more than the addresses that are never freed (settled behaviour 15)
    /// A folder of ours may count as none: contacts and folders that are there may be reported as deleted, and contacts that
    /// change as added.
    bool misplaces = false;
};

/// What a message says of each of its contacts or folders: "2;add;contact " and the item's line.
[[nodiscard]] std::vector<std::string> statementsOf(const std::string& message);

/// Whether an end report has nothing but the addresses that are never freed (settled behaviour 15).
[[nodiscard]] bool isNothingHeld(const std::string& report);

/// Holds runs against the reference run.
class Judge
{
public:
    /// @param reference  a run without a failure.
    explicit Judge(AgentRun reference) : m_reference(std::move(reference)) {}

    [[nodiscard]] const AgentRun& reference() const noexcept { return m_reference; }

    /// What is wrong with a run, a sentence each: it has not ended, or with another exit value than 0; its log is broken off, or
    /// has no record of a failure although something was lost; a message contradicts its header, the log or the
    /// mailbox; something is held; something was written to standard error.
    [[nodiscard]] std::vector<std::string> complaints(const AgentRun& run, const Allowance& allowance) const;

    /// How a run went, in two words for a table: "all said", "less said", "worker ended", "not started", "aborted", "crashed",
    /// "hangs".
    [[nodiscard]] std::string outcome(const AgentRun& run) const;

private:
    [[nodiscard]] bool isDeletion(const std::string& statement) const;
    [[nodiscard]] bool isTrue(const std::string& statement, const Allowance& allowance) const;
    [[nodiscard]] bool saysFailure(const Records& log) const;

    const AgentRun m_reference;
};
} // namespace endtoend::sweep
