// The end of an agent whose worker is not done when it is asked to close: inside a call of MAPI, or waiting for the host's
// answer, at its first snapshot or while it handles notifications.
#include <algorithm>
#include <array>

#include "tests/endtoend/LiveTest.h"
#include "tests/support/Handle.h"

namespace endtoend
{
namespace
{
using support::PipeReply;

constexpr std::string_view sessionEnded = "80040200"; // what MAPI's objects answer when the session is over

const Records closeRequest = {"WM_CLOSE received", "Shutdown..."};
/// What the main thread writes when the worker needs longer, and what it writes behind that when MAPI goes along.
const Records tryFast = {"Closing MAPI session...",
                         "Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)"};
const Records sessionClosed = {"MAPI session closed"};
const Records workerDone = {"MAPI thread finished"};
const Records done = {"Done", std::string(support::logFooter)};

const std::string walkCancelled = "mapi::traverseFolders: cancelled by request";

/// Two stores, of one contact each, and more keys of the mailbox.
std::string twoStores(const std::string& more)
{
    return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]}, {"name": "Archive",
        "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Old", "class": "IPF.Contact", "messages": [{"displayName": "Bea"}]}]}], )" +
           more + "}";
}

const std::string adaLine = namedLine("Ada", 1, firstFolder, 1);

// ---- The first snapshot, while the host holds its answer back ----------------------------------------------------------

class HeldAnswerTest : public EndToEndTest
{
protected:
    void startHeld(const std::string& moreOfMailbox = plansFor({}))
    {
        serveHost({PipeReply::heldText("ack", m_release.get())});
        startAgentOn(twoStores(moreOfMailbox));
        ASSERT_TRUE(host().waitForRequests(1));
    }

    /// Closes the window, lets the host answer when the session is closed, and waits for the end; behind the sending of the
    /// first message the log must have these records of the fast shutdown, and of the worker.
    void expectEnd(const Records& shutdown, const Records& worker)
    {
        ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
        ASSERT_TRUE(waitForLog("MAPI session closed"));
        ASSERT_TRUE(SetEvent(m_release.get()));
        expectRun(finish(), wholeLog(joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                                             snapshot("Mailbox", "0;2", {adaLine}),
                                             closeRequest,
                                             tryFast,
                                             shutdown,
                                             sessionClosed,
                                             worker,
                                             workerDone,
                                             done})));
    }

    const support::Handle m_release = support::makeEvent();
};

TEST_F(HeldAnswerTest, MakesTheWorkersNextCallsFail)
{
    startHeld();
    expectEnd({}, {"createSnapshot for \"Archive\" started",
                   workerFailed("mapi::PropValue::read, line N: hr = 0x80040200(MAPI call failed)")});
}

TEST_F(HeldAnswerTest, EndsInACancelledWalkWhenTheSessionCannotBeEnded)
{
    startHeld(plansFor({{R"("method": "IMAPIClientShutdown::DoFastShutdown")", "0x80040115"},
                        {R"("method": "IMAPISession::Logoff")", "0x80040115"}}));
    expectEnd({"HRESULT logged: mapi::Session::shutdown, line N: hr = 0x80040115(Fast shutdown failed)", "Logoff...",
               "HRESULT logged: mapi::Session::logoff, line N: hr = 0x80040115"},
              {"createSnapshot for \"Archive\" started", workerFailed(walkCancelled)});
}

TEST_F(HeldAnswerTest, EndsAlsoWhenTheHostGoesWithoutOne)
{
    startHeld();
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    ASSERT_TRUE(waitForLog("MAPI session closed"));
    host().stop();
    expectRun(finish(), wholeLog(joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                                         snapshot("Mailbox", "0;2", {adaLine}),
                                         closeRequest,
                                         tryFast,
                                         sessionClosed,
                                         {"NamedPipe::send: ReadFile failed, error=0x6d",
                                          workerFailed("Unable to send data through ipc channel")},
                                         workerDone,
                                         done})));
}

// ---- The worker inside a call of MAPI ----------------------------------------------------------------------------------

class HeldWorkerTest : public LiveTest
{
protected:
    /// One store of one contact, and more keys of the mailbox.
    static std::string mailbox(const std::string& more)
    {
        return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]}], )" +
               more + "}";
    }

    /// Closes the window, lets the call go on when this record stands in the log, and waits for the end. From the request
    /// on the log must have these records, and the messages that they say are sent.
    void expectEndAfter(std::string_view record, const Records& log)
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
        const auto logged = static_cast<std::ptrdiff_t>(readLog(logFile()).size());
        const auto sent = static_cast<std::ptrdiff_t>(messages().size());
        ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
        ASSERT_TRUE(waitForLog(record));
        ask({{"do", "release"}, {"hold", "call"}});
        AgentRun run = finish();
        run.log.erase(run.log.begin(), run.log.begin() + logged);
        run.messages.erase(run.messages.begin(), run.messages.begin() + sent);
        expectRun(run, joined({closeRequest, log}));
    }
};

/// The first call of GetProps for a contact.
class HeldSnapshotTest : public HeldWorkerTest
{
protected:
    void SetUp() override
    {
        HeldWorkerTest::SetUp();
        startAgentOn(mailbox(R"("plans": [{"method": "IMAPIProp::GetProps", "hold": "call"}])"));
    }
};

TEST_F(HeldSnapshotTest, IsLeftInOrderWhenTheCallReturnsInTime)
{
    const Records read = snapshot("Mailbox", "0;1", {adaLine});
    expectEndAfter("Shutdown...", joined({{read.end() - 2, read.end()},
                                          {"Subscribe to Mailbox", "Unadvise hr = 0", workerFailed(walkCancelled)},
                                          workerDone,
                                          orderlyEnd}));
}

TEST_F(HeldSnapshotTest, FailsUnderAFastShutdown)
{
    expectEndAfter("MAPI session closed",
                   joined({tryFast,
                           sessionClosed,
                           {workerFailed("OutlookContact::load, line N: hr = 0x80040200(MAPI call failed)")},
                           workerDone,
                           done}));
}

class HeldBatchTest : public HeldWorkerTest
{
protected:
    const Notification m_deletion{.event = 8, .id = nobody, .parent = folderId(1, firstFolder)};
    const Records m_sent = {sending("delete", {deletedLine(nobody)})};

    /// Starts the agent on a mailbox with more keys, and has its worker stay in the first call of the handling of a batch.
    void startHeld(const std::vector<Notification>& batch, const std::string& more = plansFor({}))
    {
        startLive(mailbox(more));
        ask({{"do", "plan"}, {"method", "IMsgStore::OpenEntry"}, {"hold", "call"}});
        ask(inject(batch));
    }

    /// What the worker writes when it goes on in a session that is over: what is needed for the message was in the
    /// notification, so the host has its due.
    [[nodiscard]] Records finishedWithoutMapi() const
    {
        return joined({notifiedUnopened(8, nobody, messageType, sessionEnded),
                       m_sent,
                       {"Unadvise hr = " + std::string(sessionEnded)},
                       workerDone,
                       done});
    }
};

TEST_F(HeldBatchTest, IsFinishedWithoutMapiAfterAFastShutdown)
{
    startHeld({m_deletion});
    expectEndAfter("MAPI session closed", joined({tryFast, sessionClosed, finishedWithoutMapi()}));
}

TEST_F(HeldBatchTest, IsLostAfterAFastShutdownWhenItGoesOn)
{
    startHeld({m_deletion, m_deletion});
    expectEndAfter("MAPI session closed", joined({tryFast,
                                                  sessionClosed,
                                                  notifiedUnopened(8, nobody, messageType, sessionEnded),
                                                  {caught("AdviseSinkImpl::OnNotify",
                                                          "condition \"s_session\" failed "
                                                          "(mapi::Session::isSameObject in MapiSession.cpp, line N)"),
                                                   "Unadvise hr = " + std::string(sessionEnded)},
                                                  workerDone,
                                                  done}));
}

TEST_F(HeldBatchTest, IsFinishedWithTheNextOnesWhenTheCallReturnsInTime)
{
    startHeld({m_deletion});
    ask(inject({m_deletion}));
    // What waits in the queue is delivered as long as it is being emptied, which the stop request does not end.
    const Records one = joined({notifiedUnopened(8, nobody), m_sent});
    expectEndAfter("Shutdown...", joined({one, one, {"Unadvise hr = 0"}, workerDone, orderlyEnd}));
}

TEST_F(HeldBatchTest, IsLostWhenTheStopRequestMeetsTheWalkOfTheReconciliation)
{
    startHeld({{.event = 8, .objectType = folderType, .id = nobody, .parent = folderId(1, firstFolder)}});
    expectEndAfter("Shutdown...", joined({notifiedUnopened(8, nobody, folderType),
                                          {caught("AdviseSinkImpl::OnNotify", walkCancelled), "Unadvise hr = 0"},
                                          workerDone,
                                          orderlyEnd}));
}

TEST_F(HeldBatchTest, IsCutOffAlsoByTheThreadsDoorAndTheAccelerator)
{
    for (const bool byThread : {true, false})
    {
        startHeld({m_deletion});
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
        ASSERT_TRUE(byThread ? agent().postToMainThread(WM_CLOSE) : agent().pressAltF4());
        ASSERT_TRUE(waitForLog("MAPI session closed"));
        ask({{"do", "release"}, {"hold", "call"}});
        AgentRun run = finish();
        const auto last = std::find(run.log.begin(), run.log.end(), "Shutdown...");
        EXPECT_EQ(*(last - 1) == "WM_CLOSE for thread received, will quit", byThread);
        run.log.erase(run.log.begin(), last);
        run.messages.erase(run.messages.begin()); // the snapshot
        expectRun(run, joined({{"Shutdown..."}, tryFast, sessionClosed, finishedWithoutMapi()}));
        forgetRun();
    }
}

/// A refusal of the fast shutdown at one step, and what the log says of it behind "hr = 0x".
struct FastShutdownRefusal
{
    const char* keys;
    const char* logged;
};

class HeldBatchRefusalTest : public HeldBatchTest, public testing::WithParamInterface<FastShutdownRefusal>
{
};

TEST_P(HeldBatchRefusalTest, IsFinishedWithoutMapiAfterALogoff)
{
    startHeld({m_deletion}, GetParam().keys);
    expectEndAfter("MAPI session closed",
                   joined({tryFast,
                           {"HRESULT logged: mapi::Session::shutdown, line N: hr = 0x" + std::string(GetParam().logged),
                            "Logoff..."},
                           sessionClosed,
                           finishedWithoutMapi()}));
}

// Not offered, refused (also by a warning), and failing half-way and at the end.
INSTANTIATE_TEST_SUITE_P(
    Steps, HeldBatchRefusalTest,
    testing::Values(
        FastShutdownRefusal{R"("fastShutdown": "unsupported")", "80004002(Fast shutdown is not supported)"},
        FastShutdownRefusal{
            R"("plans": [{"method": "IMAPIClientShutdown::QueryFastShutdown", "result": "MAPI_E_NO_SUPPORT"}])",
            "80040102(Fast shutdown is either not supported or disabled by system administrator)"},
        FastShutdownRefusal{
            R"("plans": [{"method": "IMAPIClientShutdown::QueryFastShutdown", "result": "0x00000001"}])",
            "1(Fast shutdown is either not supported or disabled by system administrator)"},
        FastShutdownRefusal{
            R"("plans": [{"method": "IMAPIClientShutdown::NotifyProcessShutdown", "result": "0x80004005"}])",
            "80004005(Fast shutdown notification failed)"},
        FastShutdownRefusal{R"("plans": [{"method": "IMAPIClientShutdown::DoFastShutdown", "result": "0x80040115"}])",
                            "80040115(Fast shutdown failed)"}),
    [](const auto& test) { return "Step" + std::to_string(test.index); });

// ---- The last call -----------------------------------------------------------------------------------------------------

TEST_F(HeldWorkerTest, WaitsInVainForWhatTheMainThreadWouldHaveToPassOn)
{
    startLive(mailbox(plansFor({})));
    ask({{"do", "plan"}, {"method", "IMsgStore::Unadvise"}, {"hold", "call"}, {"deliver", true}});
    const auto logged = static_cast<std::ptrdiff_t>(readLog(logFile()).size());
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    ASSERT_TRUE(waitForLog("Shutdown...")); // from here on the main thread handles no messages
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
    ask(inject({{.event = 8, .id = nobody, .parent = folderId(1, firstFolder)}}));
    ask({{"do", "release"}, {"hold", "call"}});
    AgentRun run = finish();
    run.log.erase(run.log.begin(), run.log.begin() + logged);
    run.messages.erase(run.messages.begin()); // the snapshot
    // The end of the session lets the worker go, so what it logs and the main thread's record come at the same time.
    const auto closed = std::ranges::find(run.log, "MAPI session closed");
    ASSERT_NE(closed, run.log.end());
    std::stable_partition(run.log.begin(), closed + 1, [](const std::string& record)
                          { return !record.starts_with("Unadvise") && record != "MAPI thread finished"; });
    expectRun(
        run,
        joined(
            {closeRequest, tryFast, sessionClosed, {"Unadvise hr = " + std::string(sessionEnded)}, workerDone, done}));
}

TEST_F(HeldWorkerTest, LogsAnUnadviseThatFails)
{
    startLive(mailbox(plansFor({{R"("method": "IMsgStore::Unadvise")", "0x80040115"}})));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(Records(std::find(run.log.begin(), run.log.end(), "WM_CLOSE received"), run.log.end()),
              joined({closeRequest, {"Unadvise hr = 80040115"}, workerDone, orderlyEnd}));
}
} // namespace
} // namespace endtoend
