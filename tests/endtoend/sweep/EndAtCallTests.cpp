// The end of the process at every call of its worker: each time the worker is inside one call of MAPI when the agent is asked
// to end, by one of the three doors.
#include <map>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/endtoend/sweep/LogParts.h"
#include "tests/endtoend/sweep/ReferenceRun.h"
#include "tests/endtoend/sweep/Sweep.h"
#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
using testing::IsEmpty;

/// A call of the worker in the reference run.
struct WorkerCall
{
    std::string method;
    unsigned number;   // of all calls to this method
    std::size_t phase; // 0: until it is subscribed; 1 and more: at that step; behind all steps: at the end
};

class EndAtCallTest : public ReferenceRunTest
{
protected:
    /// The reference run; the worker's calls are in `m_calls`.
    [[nodiscard]] AgentRun recordedRun();
    /// The run that ends while the worker is inside this call, which returns before the session is closed or after it.
    [[nodiscard]] Verdict endAt(const Judge& judge, const WorkerCall& call, bool isLate, Door door);

    std::vector<WorkerCall> m_calls;

private:
    void endWhileHeld(bool isLate);
};

AgentRun EndAtCallTest::recordedRun()
{
    std::map<std::string, unsigned> numbers{{"MAPIInitialize", 1},
                                            {"MAPILogonEx", 1}}; // made before the journal begins
    std::size_t phase = 0;
    const auto takePhase = [&]
    {
        const Json journal = ask({{"do", "journal"}, {"action", "read"}, {"clear", true}});
        for (const Json& call : journal.at("calls"))
        {
            const std::string method = call.at("call");
            const unsigned number = ++numbers[method];
            if (call.at("thread") != 1)
                m_calls.push_back({method, number, phase});
        }
        ++phase;
    };
    Interventions interventions;
    interventions.started = [&]
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
        ask({{"do", "journal"}, {"action", "start"}});
        ask({{"do", "release"}, {"hold", "start"}});
    };
    interventions.beforeStep = [&](std::size_t)
    {
        takePhase();
    };
    interventions.beforeClose = takePhase;
    interventions.closed = [&]
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "end"}});
        takePhase();
        ask({{"do", "release"}, {"hold", "end"}});
    };
    return run({{{"method", "MAPILogonEx"}, {"hold", "start"}},
                {{"method", "MAPIUninitialize"}, {"call", 2}, {"hold", "end"}}},
               interventions);
}

void EndAtCallTest::endWhileHeld(bool isLate)
{
    EXPECT_TRUE(waitForLog(isLate ? "MAPI session closed" : "Shutdown..."));
    ask({{"do", "release"}, {"hold", "call"}});
    EXPECT_EQ(WaitForSingleObject(agent().process(), busyMilliseconds), WAIT_OBJECT_0);
}

Verdict EndAtCallTest::endAt(const Judge& judge, const WorkerCall& call, bool isLate, Door door)
{
    m_door = door;
    bool isHeld = false;
    const auto end = [&](bool isAsked)
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
        isHeld = true;
        if (!isAsked)
            requestEnd();
        endWhileHeld(isLate);
    };
    Interventions interventions;
    if (call.phase == 0)
        interventions.started = [&]
        {
            end(false);
        };
    else if (call.phase <= referenceSteps().size())
        interventions.beforeStep = [&](std::size_t step)
        {
            if (step + 1 != call.phase)
                return;
            ask(referenceSteps()[step]);
            end(false);
        };
    else
        interventions.closed = [&]
        {
            end(true);
        };
    const AgentRun made =
        run(Json::array({{{"method", call.method}, {"call", call.number}, {"hold", "call"}}}), interventions);

    Allowance allowance;
    allowance.losesSilently = true; // what has not been said when the end comes
    std::vector<std::string> complaints = judge.complaints(made, allowance);
    if (!isHeld)
        complaints.push_back("the call has not come");
    const auto [body, tail] = splitAtShutdown(made.log);
    const Records& whole = judge.reference().log;
    const Records before(body.begin(), body.end() - (door == Door::Accelerator || body.empty() ? 0 : 1)); // the request
    if (before.size() > whole.size() || !std::equal(before.begin(), before.end(), whole.begin()))
        complaints.push_back("the log is another one before the end is asked for");
    if (!isEndInOrder(tail, false))
        complaints.push_back("the log's end is out of order");
    if (isLate && std::ranges::count(tail, "Logoff...") != 0)
        complaints.push_back("the session is not ended fast");
    return {judge.outcome(made), complaints};
}

TEST_F(EndAtCallTest, EndsInOrderWhicheverCallTheWorkerIsIn)
{
    const Judge judge(recordedRun());
    ASSERT_THAT(judge.complaints(judge.reference(), {}), IsEmpty());
    ASSERT_GT(m_calls.size(), 300U);
    Sweep sweep("end of the process at every call", 20);
    for (std::size_t index = 0; index < m_calls.size(); ++index)
    {
        const WorkerCall& call = m_calls[index];
        for (const bool isLate : {false, true})
        {
            const auto door = static_cast<Door>((index + (isLate ? 1 : 0)) % 3);
            sweep.add(call.method + ' ' + std::to_string(call.number),
                      isLate ? "the call returns too late" : "the call returns in time",
                      [this, &judge, &call, isLate, door] { return endAt(judge, call, isLate, door); });
        }
    }
    sweep.run();
}
} // namespace
} // namespace endtoend::sweep
