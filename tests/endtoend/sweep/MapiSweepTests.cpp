// Each call that the agent makes to the runtime in the reference run fails once, in each way that suits it.
#include <algorithm>
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
constexpr const char* results[] = {"E_FAIL", "MAPI_E_NOT_FOUND", "MAPI_W_ERRORS_RETURNED"};
constexpr const char* gifts[] = {"nothing", "empty", "fewer", "otherTypes", "nullValues", "huge"};

constexpr const char* objectType = "0xFFE0003"; // PR_OBJECT_TYPE

/// A call of the reference run, the `number`th to this method, and a way in which it fails.
struct Fault
{
    std::string method;
    unsigned number;
    const char* key; // of the plan
    const char* way;
    std::string tag; // of the property that is asked for, if it is one

    [[nodiscard]] std::string point() const { return method + ' ' + std::to_string(number); }
    [[nodiscard]] Json plan() const { return {{"method", method}, {"call", number}, {key, way}}; }
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
        Json calls;
        std::size_t beforeEnd = 0;
        const auto journal = [this](const char* action)
        {
            return ask({{"do", "journal"}, {"action", action}});
        };
        const auto letGo = [this](const char* hold)
        {
            ask({{"do", "release"}, {"hold", hold}});
        };
        Interventions interventions;
        interventions.started = [&]
        {
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
            journal("start");
            letGo("start");
        };
        interventions.beforeClose = [&]
        {
            beforeEnd = onlyEnd ? journal("read").at("calls").size() : 0;
        };
        interventions.closed = [&]
        {
            if (ending.closed)
                ending.closed();
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "end"}});
            calls = journal("read").at("calls");
            findGifts(calls);
            letGo("end");
        };
        Json plans = ending.plans;
        plans.push_back({{"method", "MAPILogonEx"}, {"hold", "start"}});
        plans.push_back({{"method", "MAPIUninitialize"}, {"call", 2}, {"hold", "end"}});
        AgentRun made = run(plans, interventions);

        // Those that had begun before the journal did.
        addFaults({{"call", "MAPIInitialize"}}, !onlyEnd);
        addFaults({{"call", "MAPILogonEx"}}, !onlyEnd);
        for (std::size_t index = 0; index < calls.size(); ++index)
            addFaults(calls[index], index >= beforeEnd);
        return made;
    }

    void addRuns(Sweep& sweep, const Judge& judge, const Ending& ending)
    {
        for (const Fault& fault : m_faults)
            sweep.add(fault.point(), fault.way,
                      [this, &judge, &ending, fault]
                      {
                          Json plans = ending.plans;
                          plans.push_back(fault.plan());
                          const AgentRun made = run(plans, {.closed = ending.closed});
                          return Verdict{judge.outcome(made), judge.complaints(made, allowanceFor(fault, made))};
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
        const bool isNullObject = fault.way == std::string_view("nothing") && !isOf("HrGetOneProp") &&
                                  !isOf("IMAPIProp::") && !isOf("IMAPITable::");
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
    /// Asks the sandbox what each of the methods can be planned to give; a call as late as this never comes.
    void findGifts(const Json& calls)
    {
        std::set<std::string> methods = {"MAPIInitialize", "MAPILogonEx"};
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
        for (const char* const result : results)
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
