#include "tests/endtoend/sweep/Sweep.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/Figures.h"
#include "tests/support/fuzz/Choices.h"

namespace endtoend::sweep
{
namespace
{
/// A variable of the environment; empty when there is none.
std::string_view variable(const char* name)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? text : "";
}
} // namespace

void Sweep::add(std::string point, std::string kind, std::function<Verdict()> run)
{
    m_runs.push_back({std::move(point), std::move(kind), std::move(run)});
}

std::vector<const Sweep::Run*> Sweep::chosen() const
{
    std::vector<const Run*> runs;
    const std::string_view only = variable("LINKWELL_SWEEP_ONLY");
    for (const Run& run : m_runs)
    {
        if (only.empty() || only == run.point + ' ' + run.kind)
            runs.push_back(&run);
    }
    if (!only.empty() || variable("LINKWELL_SWEEP_RUNS") == "all")
        return runs;
    const std::size_t count =
        std::min<std::size_t>(support::amountOf("LINKWELL_SWEEP_RUNS", m_usualCount), runs.size());
    const unsigned long long seed = support::amountOf("LINKWELL_SEED", 1);
    std::cout << m_table << ": " << count << " of " << runs.size() << " runs, chosen by the seed " << seed << '\n';
    support::Choices choices(seed);
    for (std::size_t place = 0; place < count; ++place)
        std::swap(runs[place], runs[place + choices.below(runs.size() - place)]);
    runs.resize(count);
    return runs;
}

void Sweep::run()
{
    const std::vector<const Run*> runs = chosen();
    ASSERT_FALSE(runs.empty()) << "LINKWELL_SWEEP_ONLY or LINKWELL_SWEEP_RUNS leaves no run";
    const auto& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::vector<Verdict> verdicts;
    for (const Run* run : runs)
    {
        const Verdict verdict = run->run();
        for (const std::string& complaint : verdict.complaints)
            ADD_FAILURE() << complaint << "\nThis does the run again:\n    LINKWELL_SWEEP_ONLY='" << run->point << ' '
                          << run->kind << "' scripts/test --only linkwell_sweep_tests '" << test.test_suite_name()
                          << '.' << test.name() << "'";
        verdicts.push_back(verdict);
    }
    report(runs, verdicts);
}

void Sweep::report(const std::vector<const Run*>& runs, const std::vector<Verdict>& verdicts) const
{
    struct Row
    {
        std::set<std::string> points;
        std::size_t runs = 0;
        std::map<std::string, std::size_t> outcomes;
    };
    std::map<std::string, Row> rows;
    for (std::size_t index = 0; index < runs.size(); ++index)
    {
        Row& row = rows[runs[index]->kind];
        row.points.insert(runs[index]->point);
        ++row.runs;
        ++row.outcomes[verdicts[index].complaints.empty() ? verdicts[index].outcome : "WRONG"];
    }
    for (const auto& [kind, row] : rows)
    {
        std::string outcomes;
        for (const auto& [outcome, count] : row.outcomes)
            outcomes += (outcomes.empty() ? "" : ", ") + std::to_string(count) + ' ' + outcome;
        std::cout << kind << ": " << row.points.size() << " points, " << row.runs << " runs: " << outcomes << '\n';
        support::addFigures(
            m_table, {{"Kind", kind}, {"Points", row.points.size()}, {"Runs", row.runs}, {"Outcomes", outcomes}});
    }
}
} // namespace endtoend::sweep
