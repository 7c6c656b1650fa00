// The main thread's side of MAPI where no log shows it: threads, times, and ends that no request to close brings about.
#include "agent/MapiSide.h"

#include <chrono>
#include <future>
#include <memory>

#include "tests/agent/AgentTest.h"
#include "tests/support/Platform.h"
#include "tests/support/mapi/MapiMocks.h"
#include "utilities/StopRequested.h"

namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// The worker's first call of MAPI that needs the session, and the last one when it fails.
constexpr const char* firstCall = "IMAPISession::GetMsgStoresTable";

class MapiSideTest : public tests::AgentTest
{
protected:
    MapiSideTest() { m_sandbox.serve(R"({"stores": []})"); }
};

TEST_F(MapiSideTest, RunsTheWorkerOnAThreadOfItsOwnThatInitialisesMapiForItself)
{
    sandbox().startJournal();
    planResult(firstCall, "0x80004005");
    {
        MapiSide side;
        side.shutdown();
    }
    using Call = std::pair<std::string, bool>; // and whether this thread made it
    std::vector<Call> made;
    const tests::Json journal = sandbox().takeJournal();
    for (const tests::Json& call : journal)
        made.emplace_back(call.at("call"), call.at("thread") == journal.front().at("thread"));
    EXPECT_EQ(made.at(0), Call("MAPIInitialize", true));
    EXPECT_THAT(made, Contains(Call("MAPIInitialize", false)));
    EXPECT_THAT(made, Contains(Call(firstCall, false)));
    EXPECT_EQ(made.back(), Call("MAPIUninitialize", true));
}

TEST_F(MapiSideTest, GivesTheWorkerHalfASecondBeforeItClosesTheSession)
{
    using Clock = std::chrono::steady_clock;
    sandbox().plan({{"method", firstCall}, {"delay", 1000}, {"result", "0x80004005"}});
    Clock::time_point closing;
    const auto hook = tests::whenLogged("Closing MAPI session...", [&] { closing = Clock::now(); });
    MapiSide side;
    const auto asked = Clock::now();
    side.shutdown();
    EXPECT_GE(closing - asked, std::chrono::milliseconds(490)); // but for the clock's steps
    EXPECT_THAT(log(), Not(Contains("Logoff...")));             // it was still running
}

TEST_F(MapiSideTest, ClosesNothingWithoutASession)
{
    planResult(firstCall, "0x80004005");
    std::promise<void> ended;
    const auto hook = tests::whenLogged("MAPI thread finished", [&] { ended.set_value(); });
    MapiSide side;
    ended.get_future().wait();
    mapi::Session::s_session = nullptr;
    (void)newLines();
    side.shutdown();
    EXPECT_THAT(newLines(), ElementsAre("Done"));
}

TEST_F(MapiSideTest, LeavesNoThreadOfTheWorkerBehind)
{
    planResult(firstCall, "0x80004005");
    support::Handle worker;
    const auto hook =
        tests::whenLogged("MAPI thread finished",
                          [&] { worker = support::Handle(OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId())); });
    {
        MapiSide side;
        side.shutdown();
    }
    EXPECT_EQ(WaitForSingleObject(worker.get(), 0), WAIT_OBJECT_0);
}

/// Looks for itself at its end.
class LastLookSession : public tests::MockSession
{
public:
    explicit LastLookSession(bool& isStillThere) : m_isStillThere(isStillThere) {}

protected:
    ~LastLookSession() override { m_isStillThere = mapi::Session::s_session.GetInterfacePtr() != nullptr; }

private:
    bool& m_isStillThere;
};

TEST_F(MapiSideTest, ForgetsTheSessionBeforeItsLastReferenceGoes)
{
    planResult(firstCall, "0x80004005");
    std::promise<void> ended;
    const auto hook = tests::whenLogged("MAPI thread finished", [&] { ended.set_value(); });
    MapiSide side;
    ended.get_future().wait();
    bool isStillThere = true;
    mapi::Session::s_session.Attach(new testing::NiceMock<LastLookSession>(isStillThere));
    side.shutdown();
    EXPECT_FALSE(isStillThere);
    EXPECT_FALSE(mapi::Session::s_session);
}

TEST_F(MapiSideTest, WaitsForTheWorkerWithoutStoppingItWhenItIsUnwound)
{
    sandbox().plan({{"method", firstCall}, {"hold", "worker"}, {"result", "0x80004005"}});
    auto side = std::make_unique<MapiSide>();
    sandbox().waitUntilHeld("worker");
    auto unwound = std::async(std::launch::async, [&] { side.reset(); });
    EXPECT_EQ(unwound.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(utilities::stopRequested);
    sandbox().release("worker");
    EXPECT_EQ(unwound.wait_for(support::deadline), std::future_status::ready);
    EXPECT_EQ(log().back(), "MAPI thread finished");
}
} // namespace
