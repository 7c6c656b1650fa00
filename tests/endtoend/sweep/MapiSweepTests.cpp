// Each call that the agent makes to the runtime in the reference run fails once, in each way that suits it.
#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string_view>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/endtoend/sweep/ReferenceRun.h"
#include "tests/endtoend/sweep/Sweep.h"

namespace endtoend::sweep
{
namespace
{
using testing::IsEmpty;

/// What a plan says under its key "result" or "gives".
const std::map<std::string, std::string> results = { // and as the journal has it
    {"E_FAIL", "0x80004005"},
    {"MAPI_E_NOT_FOUND", "0x8004010F"},
    {"MAPI_W_ERRORS_RETURNED", "0x40380"}};
constexpr const char* gifts[] = {"nothing", "empty", "fewer", "otherTypes", "nullValues", "huge"};

constexpr const char* objectType = "0xFFE0003"; // PR_OBJECT_TYPE

/// Those of which the first call begins before the journal does.
constexpr const char* earlyMethods[] = {"MAPIInitialize", "MAPILogonEx"};

bool isEarly(const std::string& method)
{
    return std::ranges::find(earlyMethods, method) != std::end(earlyMethods);
}

Json with(Json plans, Json plan)
{
    plans.push_back(std::move(plan));
    return plans;
}

bool isFailure(const std::string& result)
{
    return result.starts_with("0x8") && result.size() == 10;
}

/// A call of the reference run, the `number`th to this method, and a way in which it fails.
struct Fault
{
    std::string method;
    unsigned number;
    const char* key; // of the plan
    std::string way;
    std::string tag; // of the property that is asked for, if it is one

    [[nodiscard]] std::string point() const { return method + ' ' + std::to_string(number); }
    [[nodiscard]] Json plan() const { return {{"method", method}, {"call", number}, {key, way}}; }
    /// Whether the call has come, with the result that is planned, or a failure of its own in place of a warning.
    [[nodiscard]] bool isIn(const Json& calls) const
    {
        unsigned count = 0;
        const auto call = std::ranges::find_if(calls, [&](const Json& each)
                                               { return each.at("call") == method && ++count == number; });
        if (call == calls.end())
            return false;
        const std::string result = call->at("result");
        const auto planned = results.find(way);
        return planned == results.end() || result == planned->second ||
               (isFailure(result) && !isFailure(planned->second));
    }
};

/// What the sandbox has noted of a run, from behind the logon to the last call.
struct Journal
{
    Json calls = Json::array();
    std::size_t beforeEnd = 0; // so many came before the close request
    bool isWhole = false;      // the run came to its end in order
};

/// The way in which a reference run is closed.
struct Ending
{
    Json plans = Json::array();
    std::function<void()> closed{}; // the window has been asked to close
};

class MapiSweepTest : public ReferenceRunTest
{
protected:
    /// A reference run. What its calls can do wrong is in `m_faults` then, in their order.
    /// @param onlyEnd  only those behind the close request.
    [[nodiscard]] AgentRun recordedRun(const Ending& ending, bool onlyEnd)
    {
        Journal journal;
        AgentRun made = journaledRun(ending.plans, ending, journal);
        for (const char* const method : earlyMethods)
            addFaults({{"call", method}}, !onlyEnd);
        for (std::size_t index = 0; index < journal.calls.size(); ++index)
            addFaults(journal.calls[index], !onlyEnd || index >= journal.beforeEnd);
        return made;
    }

    void addRuns(Sweep& sweep, const Judge& judge, const Ending& ending)
    {
        for (const Fault& fault : m_faults)
            sweep.add(fault.point(), fault.way,
                      [this, &judge, &ending, fault]
                      {
                          Journal journal;
                          const AgentRun made = isEarly(fault.method)
                                                    ? run(with(ending.plans, fault.plan()), {.closed = ending.closed})
                                                    : journaledRun(with(ending.plans, fault.plan()), ending, journal);
                          Verdict verdict{judge.outcome(made), judge.complaints(made, allowanceFor(fault, made))};
                          if (journal.isWhole && !fault.isIn(journal.calls))
                              verdict.complaints.push_back("the call has not come, or has not failed");
                          return verdict;
                      });
    }

    /// What is settled that comes of it (docs/settled-behaviour.md).
    [[nodiscard]] static Allowance allowanceFor(const Fault& fault, const AgentRun& made)
    {
        // What the runtime gives with success is believed: who is told that there is nothing has nothing to report.
        const bool isBelieved = fault.key == std::string_view("gives");
        const auto isOf = [&fault](std::string_view start)
        {
            return fault.method.starts_with(start);
        };
        Allowance allowance;
        allowance.misreads = isBelieved; // without the type of an address it is taken as it is
        // Without memory (47), and by an exception that isn't the agent's own inside a notification (58), as a null pointer
        // in place of an object or another of its interfaces is one.
        const bool isNullObject =
            fault.way == "nothing" && !isOf("HrGetOneProp") && !isOf("IMAPIProp::") && !isOf("IMAPITable::");
        allowance.aborts = isOf("MAPIAllocate") || ((isOf("IUnknown::QueryInterface") || isNullObject) &&
                                                    std::ranges::count(made.log, "Subscribe to Public") != 0);
        // A changed contact that can't be opened counts as deleted (36), a folder whose parent can't be opened as none of
        // ours (28), an object whose type can't be read as no folder; and no row is an answer.
        allowance.losesSilently = isBelieved || isOf("IUnknown::QueryInterface") || isOf("IMsgStore::OpenEntry") ||
                                  isOf("IMAPITable::FindRow") || fault.tag == objectType;
        // So does a known folder that the walk after a deletion can't read or open (22, 27, 41). What can't be compared is
        // different (26), and a folder whose class can't be read is none of ours (19), so a contact that is moved has gone, or come.
        allowance.misplaces = isBelieved || isOf("IMsgStore::OpenEntry") || isOf("IMAPIContainer::") ||
                              isOf("IMAPITable::") || isOf("IMAPISession::CompareEntryIDs") || isOf("HrGetOneProp") ||
                              isOf("IMAPIProp::GetPropList");
        allowance.holds = isOf("IMsgStore::Advise") || isOf("IMsgStore::Unadvise"); // the sink
        return allowance;
    }

    std::vector<Fault> m_faults;

private:
    [[nodiscard]] AgentRun journaledRun(const Json& plans, const Ending& ending, Journal& journal)
    {
        const auto noted = [this]
        {
            return ask({{"do", "journal"}, {"action", "read"}}).at("calls");
        };
        Interventions interventions;
        interventions.started = [&]
        {
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
            ask({{"do", "journal"}, {"action", "start"}});
            ask({{"do", "release"}, {"hold", "start"}});
        };
        interventions.beforeClose = [&]
        {
            // Only now: an agent that ends by itself is not held.
            ask({{"do", "plan"}, {"method", "MAPIUninitialize"}, {"call", 2}, {"hold", "end"}});
            journal.beforeEnd = noted().size();
        };
        interventions.closed = [&]
        {
            if (ending.closed)
                ending.closed();
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "end"}});
            journal.calls = noted();
            journal.isWhole = true;
            if (m_gifts.empty())
                findGifts(journal.calls);
            ask({{"do", "release"}, {"hold", "end"}});
        };
        return run(with(plans, {{"method", "MAPILogonEx"}, {"hold", "start"}}), interventions);
    }

    /// Asks the sandbox what each of the methods can be planned to give; a call as late as this never comes.
    void findGifts(const Json& calls)
    {
        std::set<std::string> methods(std::begin(earlyMethods), std::end(earlyMethods));
        for (const Json& call : calls)
            methods.insert(call.at("call"));
        for (const std::string& method : methods)
        {
            for (const char* const gift : gifts)
            {
                try
                {
                    ask({{"do", "plan"}, {"method", method}, {"call", 1'000'000}, {"gives", gift}});
                    m_gifts.emplace(method, gift);
                }
                catch (const sandbox::Refusal&)
                {
                    // It does not suit the method.
                }
            }
        }
    }

    /// Counts the next call of the journal.
    void addFaults(const Json& call, bool isWanted)
    {
        const std::string method = call.at("call");
        const std::string tag = call.value(Json::json_pointer("/arguments/ulPropTag"), "");
        const unsigned number = ++m_numbers[method];
        if (!isWanted || method == "MAPIUninitialize") // which gives nothing, not even a result
            return;
        for (const auto& [result, inJournal] : results)
            m_faults.push_back({method, number, "result", result, tag});
        const auto [first, last] = m_gifts.equal_range(method);
        for (auto gift = first; gift != last; ++gift)
            m_faults.push_back({method, number, "gives", gift->second, tag});
    }

    std::multimap<std::string, const char*> m_gifts;
    std::map<std::string, unsigned> m_numbers;
};

TEST_F(MapiSweepTest, LeavesACorrectPartWhicheverCallFails)
{
    const Ending ending;
    const Judge judge(recordedRun(ending, false));
    ASSERT_THAT(judge.complaints(judge.reference(), {}), IsEmpty());
    std::set<std::string> ways;
    std::ranges::transform(m_faults, std::inserter(ways, ways.end()), &Fault::way);
    ASSERT_EQ(ways.size(), results.size() + std::size(gifts)) << "there is a way in which no call fails";
    Sweep sweep("fault sweep: calls to the runtime", 60);
    addRuns(sweep, judge, ending);
    sweep.run();
}

TEST_F(MapiSweepTest, EndsWhicheverCallFailsWhenTheWorkerIsLate)
{
    const Ending ending{Json::array({{{"method", "IMsgStore::Unadvise"}, {"hold", "late"}}}), [this]
                        {
                            if (!waitForLog("MAPI session closed"))
                                return;
                            ask({{"do", "release"}, {"hold", "late"}});
                        }};
    const Judge judge(recordedRun(ending, true));
    ASSERT_THAT(judge.complaints(judge.reference(), {}), IsEmpty());
    Sweep sweep("fault sweep: calls to the runtime at a late worker's end", 5);
    addRuns(sweep, judge, ending);
    sweep.run();
}
} // namespace
} // namespace endtoend::sweep
