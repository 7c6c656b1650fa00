#include "tests/endtoend/sweep/Sweep.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace endtoend::sweep
{
namespace
{
constexpr unsigned long long usualSeed = 1;

std::string variable(const char* name, const std::string& otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr && *text != '\0' ? text : otherwise;
}
} // namespace

void Sweep::add(std::string point, std::string kind, std::function<Verdict()> run)
{
    m_runs.push_back({std::move(point), std::move(kind), std::move(run)});
}

std::vector<const Sweep::Run*> Sweep::chosen() const
{
    std::vector<const Run*> runs;
    const std::string only = variable("LINKWELL_SWEEP_ONLY", "");
    for (const Run& run : m_runs)
    {
        if (only.empty() || only == run.point + ' ' + run.kind)
            runs.push_back(&run);
    }
    const std::string count = variable("LINKWELL_SWEEP_RUNS", std::to_string(m_usualCount));
    if (!only.empty() || count == "all" || std::stoull(count) >= runs.size())
        return runs;
    const unsigned long long seed = std::stoull(variable("LINKWELL_SEED", std::to_string(usualSeed)));
    std::cout << count << " of " << runs.size() << " runs, chosen by the seed " << seed << '\n';
    std::mt19937_64 engine(seed); // the standard says which numbers it gives; of std::shuffle it doesn't
    for (std::size_t place = 0; place < std::stoull(count); ++place)
        std::swap(runs[place], runs[place + engine() % (runs.size() - place)]);
    runs.resize(std::stoull(count));
    return runs;
}

void Sweep::run()
{
    const std::vector<const Run*> runs = chosen();
    ASSERT_FALSE(runs.empty()) << "LINKWELL_SWEEP_ONLY names no run";
    std::vector<Verdict> verdicts;
    for (const Run* run : runs)
    {
        const Verdict verdict = run->run();
        for (const std::string& complaint : verdict.complaints)
            ADD_FAILURE() << complaint << "\nThis does the run again:\n    LINKWELL_SWEEP_ONLY='" << run->point << ' '
                          << run->kind << "' scripts/test --only linkwell_sweep_tests '"
                          << testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() << ".*'";
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
    std::ofstream figures(variable("LINKWELL_FIGURES", "NUL"), std::ios::app);
    for (const auto& [kind, row] : rows)
    {
        std::string outcomes;
        for (const auto& [outcome, count] : row.outcomes)
            outcomes += (outcomes.empty() ? "" : ", ") + std::to_string(count) + ' ' + outcome;
        std::cout << kind << ": " << row.points.size() << " points, " << row.runs << " runs: " << outcomes << '\n';
        figures << nlohmann::ordered_json{{"table", m_table},
                                          {"row",
                                           {{"Kind", kind},
                                            {"Points", row.points.size()},
                                            {"Runs", row.runs},
                                            {"Outcomes", outcomes}}}}
                       .dump()
                << '\n';
    }
}
} // namespace endtoend::sweep
