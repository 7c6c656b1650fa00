// Sweep.h: many runs of one kind, of which a test does a share or all.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace endtoend::sweep
{
/// What came of one run.
struct Verdict
{
    std::string outcome;                 // in two words, as `Judge::outcome` has it
    std::vector<std::string> complaints; // none if all was as it must be
};

/// Runs that are the same but for one point at which something fails in one way. Of all that were added `run` does as many as
/// LINKWELL_SWEEP_RUNS in the environment says ("all" for all), chosen by LINKWELL_SEED; or those that
/// LINKWELL_SWEEP_ONLY names.
class Sweep
{
public:
    /// @param table       in the rows for LINKWELL_FIGURES.
    /// @param usualCount  how many runs are done where LINKWELL_SWEEP_RUNS isn't set.
    Sweep(std::string table, std::size_t usualCount) : m_table(std::move(table)), m_usualCount(usualCount) {}

    /// @param point  where something fails; with the kind it names the run.
    /// @param kind   in which way.
    void add(std::string point, std::string kind, std::function<Verdict()> run);

    /// Does the runs. Each complaint fails the test, with what repeats the run. Prints a table of points, runs and outcomes by
    /// kind, and appends its rows to the file that LINKWELL_FIGURES names.
    void run();

private:
    struct Run
    {
        std::string point;
        std::string kind;
        std::function<Verdict()> run;
    };

    [[nodiscard]] std::vector<const Run*> chosen() const;
    void report(const std::vector<const Run*>& runs, const std::vector<Verdict>& verdicts) const;

    const std::string m_table;
    const std::size_t m_usualCount;
    std::vector<Run> m_runs;
};
} // namespace endtoend::sweep
