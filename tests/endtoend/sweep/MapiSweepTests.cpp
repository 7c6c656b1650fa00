// Each call that the agent makes to the runtime in the reference run fails once, in each way that suits it.
#include <algorithm>
#include <map>
#include <set>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/endtoend/sweep/ReferenceRun.h"
#include "tests/endtoend/sweep/Sweep.h"

namespace endtoend::sweep
{
namespace
{
using testing::IsEmpty;

/// A way in which a call fails: what a plan says of it.
struct Way
{
    const char* name;
    const char* key;
};
constexpr Way ways[] = {{"E_FAIL", "result"}, {"MAPI_E_NOT_FOUND", "result"}, {"MAPI_W_ERRORS_RETURNED", "result"}};

/// A call of the reference run: the `number`th to this method.
struct Call
{
    std::string method;
    unsigned number;
};

class MapiSweepTest : public ReferenceRunTest
{
protected:
    /// The reference run; its calls are in `m_calls`, in order.
    [[nodiscard]] AgentRun recordedRun()
    {
        Json journal;
        Interventions interventions;
        // What is held before the journal begins is not in it.
        interventions.started = [&]
        {
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
            ask({{"do", "journal"}, {"action", "start"}});
            ask({{"do", "release"}, {"hold", "start"}});
            add("MAPIInitialize");
            add("MAPILogonEx");
        };
        interventions.closed = [&]
        {
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "end"}});
            journal = ask({{"do", "journal"}, {"action", "read"}});
            ask({{"do", "release"}, {"hold", "end"}});
        };
        AgentRun made = run({{{"method", "MAPILogonEx"}, {"hold", "start"}},
                             {{"method", "MAPIUninitialize"}, {"call", 2}, {"hold", "end"}}},
                            interventions);
        for (const Json& call : journal.at("calls"))
            add(call.at("call"));
        return made;
    }

    /// What is settled that comes of it.
    [[nodiscard]] static Allowance allowanceFor(const Judge& judge, const Call& call)
    {
        Allowance allowance;
        if (call.method.starts_with("MAPIAllocate"))
            allowance.aborts = true; // settled behaviour 47
        else if (call.method == "IUnknown::QueryInterface")
            allowance.aborts = allowance.losesSilently = true; // 58
        else if (call.method == "IMsgStore::Unadvise")
            allowance.holds = true; // the sink
        else if (call.method == "IMsgStore::OpenEntry")
        {
            // A changed contact that can't be opened counts as deleted (36), and a folder whose parent can't be opened as none
            // of ours (28).
            allowance.losesSilently = true;
            for (const std::string& id : judge.field(identifierField))
                allowance.statements.push_back("2;delete;contact ;;;;;;;;;;" + id + ';');
        }
        else if (call.method == "IMAPIContainer::OpenEntry")
        {
            // So does a known folder that the walk after a deletion can't open (22, 27).
            for (const std::string& id : judge.field(folderField))
                allowance.statements.push_back("2;delete;folder " + id);
        }
        return allowance;
    }

    std::vector<Call> m_calls;

private:
    void add(const std::string& method)
    {
        if (method != "MAPIUninitialize") // gives nothing
            m_calls.push_back({method, ++m_numbers[method]});
    }

    std::map<std::string, unsigned> m_numbers;
};

TEST_F(MapiSweepTest, LeavesACorrectPartWhicheverCallFails)
{
    const Judge judge(recordedRun());
    ASSERT_THAT(judge.complaints(judge.reference(), {}), IsEmpty());
    Sweep sweep("fault sweep: calls to the runtime");
    for (const Call& call : m_calls)
    {
        for (const Way& way : ways)
            sweep.add(call.method + ' ' + std::to_string(call.number), way.name,
                      [this, &judge, call, way]
                      {
                          const AgentRun made =
                              run(Json::array({{{"method", call.method}, {"call", call.number}, {way.key, way.name}}}));
                          return Verdict{judge.outcome(made), judge.complaints(made, allowanceFor(judge, call))};
                      });
    }
    sweep.run();
}
} // namespace
} // namespace endtoend::sweep
