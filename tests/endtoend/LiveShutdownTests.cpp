// The end of an agent whose worker is inside a call of MAPI, at its first snapshot or while it handles notifications; and
// of one whose stores can't be watched.
#include "tests/endtoend/FastShutdownRefusals.h"
#include "tests/endtoend/LiveTest.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
using testing::IsEmpty;

constexpr unsigned contacts = 3;
const std::string ended = "80040200"; // what MAPI's objects answer when the session is over

/// What the main thread writes when the worker has been done in its time, and what it writes when it hasn't.
const Records orderly = {"Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                         std::string(support::logFooter)};
const Records closeRequest = {"WM_CLOSE received", "Shutdown..."};
const std::string tryFast = "Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)";
const Records done = {"Done", std::string(support::logFooter)};

/// A mailbox of one contact, and more keys of it.
std::string mailbox(std::string_view more = "")
{
    return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]}])" +
           std::string(more) + "}";
}

std::string reported(std::string_view location, std::string_view failure)
{
    return "An exception has been caught in " + std::string(location) + " : " + std::string(failure);
}

/// An agent whose worker is held inside a call.
class HeldWorkerTest : public LiveTest
{
protected:
    /// Asks to close the window, lets the call go on when this record stands in the log, and waits for the end. Gives what
    /// has been written since the request.
    Records closeAndReleaseAfter(std::string_view record)
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
        const std::size_t before = readLog(logFile()).size();
        EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
        EXPECT_TRUE(waitForLog(record));
        ask({{"do", "release"}, {"hold", "call"}});
        m_run = finish();
        EXPECT_EQ(m_run.exitValue, 0U);
        EXPECT_EQ(m_run.report, nothingHeld);
        m_run.log.erase(m_run.log.begin(), m_run.log.begin() + static_cast<std::ptrdiff_t>(before));
        return m_run.log;
    }

    AgentRun m_run;
};

// ---- The first snapshot ------------------------------------------------------------------------------------------------

class HeldSnapshotTest : public HeldWorkerTest
{
protected:
    /// Starts the agent, whose worker stays in the first GetProps for a contact.
    void startHeld(std::string_view more = "")
    {
        writeMailbox(mailbox(R"(, "plans": [{"method": "IMAPIProp::GetProps", "hold": "call"}])" + std::string(more)));
        serveHost();
        startAgent();
    }
};

TEST_F(HeldSnapshotTest, IsLeftInOrderWhenTheCallReturnsInTime)
{
    startHeld();
    EXPECT_EQ(closeAndReleaseAfter("Shutdown..."),
              joined({closeRequest,
                      {"createSnapshot for \"Mailbox\": 1 contact(s) found",
                       "Sending data:\n" + lines({"2;snapshot;contact;0;1", namedLine("Ada", 1, contacts, 1)}),
                       "Subscribe to Mailbox", "Unadvise hr = 0",
                       reported("AsyncMapiHelper::run", "mapi::traverseFolders: cancelled by request"),
                       "MAPI thread finished"},
                      orderly}));
    EXPECT_EQ(m_run.messages.size(), 1U);
}

TEST_F(HeldSnapshotTest, FailsUnderAFastShutdown)
{
    startHeld();
    EXPECT_EQ(
        closeAndReleaseAfter("MAPI session closed"),
        joined({closeRequest,
                {"Closing MAPI session...", tryFast, "MAPI session closed",
                 reported("AsyncMapiHelper::run", "OutlookContact::load, line N: hr = 0x80040200(MAPI call failed)"),
                 "MAPI thread finished"},
                done}));
    EXPECT_THAT(m_run.messages, IsEmpty());
}

// ---- A batch -----------------------------------------------------------------------------------------------------------

class HeldBatchTest : public HeldWorkerTest
{
protected:
    const Json m_deletion = inject({{.event = 8, .id = nobody, .parent = folderId(1, contacts)}});
    const std::string m_message = change("delete", "contact", {deletedLine(nobody)});

    /// Starts the agent on a mailbox with more keys, and has its worker stay in this call of the handling of a batch.
    void startHeld(const std::string& method, const Json& batch, std::string_view more = "")
    {
        startLive(mailbox(more));
        ask({{"do", "plan"}, {"method", method}, {"hold", "call"}});
        ask(batch);
    }
};

TEST_F(HeldBatchTest, IsFinishedWhenTheCallReturnsInTime)
{
    startHeld("IMsgStore::OpenEntry", m_deletion);
    EXPECT_EQ(closeAndReleaseAfter("Shutdown..."),
              joined({closeRequest,
                      notifiedUnopened(8, 5, nobody),
                      {sending(m_message), "Unadvise hr = 0", "MAPI thread finished"},
                      orderly}));
    EXPECT_EQ(m_run.messages.back(), m_message);
}

TEST_F(HeldBatchTest, IsFinishedWithoutMapiAfterAFastShutdown)
{
    startHeld("IMsgStore::OpenEntry", m_deletion);
    EXPECT_EQ(closeAndReleaseAfter("MAPI session closed"),
              joined({closeRequest,
                      {"Closing MAPI session...", tryFast, "MAPI session closed"},
                      notifiedUnopened(8, 5, nobody, ended),
                      {sending(m_message), "Unadvise hr = " + ended, "MAPI thread finished"},
                      done}));
    EXPECT_EQ(m_run.messages.back(), m_message); // the host has its due: what is needed for it was in the notification
}

TEST_F(HeldBatchTest, IsLostAfterAFastShutdownWhenItGoesOn)
{
    const Raw deletion{.event = 8, .id = nobody, .parent = folderId(1, contacts)};
    startHeld("IMsgStore::OpenEntry", inject({deletion, deletion}));
    EXPECT_EQ(closeAndReleaseAfter("MAPI session closed"),
              joined({closeRequest,
                      {"Closing MAPI session...", tryFast, "MAPI session closed"},
                      notifiedUnopened(8, 5, nobody, ended),
                      {reported("AdviseSinkImpl::OnNotify", "condition \"s_session\" failed "
                                                            "(mapi::Session::isSameObject in MapiSession.cpp, line N)"),
                       "Unadvise hr = " + ended, "MAPI thread finished"},
                      done}));
    EXPECT_EQ(m_run.messages.size(), 1U); // the snapshot
}

TEST_F(HeldBatchTest, LeavesTheNextBatchesAlone)
{
    startHeld("IMsgStore::OpenEntry", m_deletion);
    ask(m_deletion);
    ask(m_deletion);
    // Those that wait in the queue are delivered as long as it is being emptied, which the stop request does not end.
    EXPECT_EQ(closeAndReleaseAfter("Shutdown..."),
              joined({closeRequest,
                      notifiedUnopened(8, 5, nobody),
                      {sending(m_message)},
                      notifiedUnopened(8, 5, nobody),
                      {sending(m_message)},
                      notifiedUnopened(8, 5, nobody),
                      {sending(m_message), "Unadvise hr = 0", "MAPI thread finished"},
                      orderly}));
}

TEST_F(HeldBatchTest, IsLostWhenTheStopRequestMeetsTheWalkOfTheReconciliation)
{
    startHeld("IMsgStore::OpenEntry",
              inject({{.event = 8, .objectType = 3, .id = nobody, .parent = folderId(1, contacts)}}));
    EXPECT_EQ(closeAndReleaseAfter("Shutdown..."),
              joined({closeRequest,
                      notifiedUnopened(8, 3, nobody),
                      {reported("AdviseSinkImpl::OnNotify", "mapi::traverseFolders: cancelled by request"),
                       "Unadvise hr = 0", "MAPI thread finished"},
                      orderly}));
}

class HeldBatchRefusalTest : public HeldBatchTest, public testing::WithParamInterface<FastShutdownRefusal>
{
};

TEST_P(HeldBatchRefusalTest, IsFinishedWithoutMapiAfterALogoff)
{
    startHeld("IMsgStore::OpenEntry", m_deletion, std::string(", ") + GetParam().settings);
    EXPECT_EQ(closeAndReleaseAfter("MAPI session closed"),
              joined({closeRequest,
                      {"Closing MAPI session...", tryFast,
                       "HRESULT logged: mapi::Session::shutdown, line N: hr = 0x" + std::string(GetParam().logged),
                       "Logoff...", "MAPI session closed"},
                      notifiedUnopened(8, 5, nobody, ended),
                      {sending(m_message), "Unadvise hr = " + ended, "MAPI thread finished"},
                      done}));
}

INSTANTIATE_TEST_SUITE_P(Steps, HeldBatchRefusalTest, testing::ValuesIn(fastShutdownRefusals));

// ---- Other requests to close -------------------------------------------------------------------------------------------

TEST_F(HeldBatchTest, IsCutOffAlsoByTheThreadsDoorAndTheAccelerator)
{
    for (const bool byThread : {true, false})
    {
        startHeld("IMsgStore::OpenEntry", m_deletion);
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
        ASSERT_TRUE(byThread ? agent().postToMainThread(WM_CLOSE) : agent().pressAltF4());
        ASSERT_TRUE(waitForLog("MAPI session closed"));
        ask({{"do", "release"}, {"hold", "call"}});
        AgentRun run = finish();
        EXPECT_EQ(run.exitValue, 0U);
        const auto last = std::find(run.log.begin(), run.log.end(), "Shutdown...");
        EXPECT_EQ(*(last - 1) == "WM_CLOSE for thread received, will quit", byThread);
        run.log.erase(run.log.begin(), last);
        EXPECT_EQ(run.log, joined({{"Shutdown...", "Closing MAPI session...", tryFast, "MAPI session closed"},
                                   notifiedUnopened(8, 5, nobody, ended),
                                   {sending(m_message), "Unadvise hr = " + ended, "MAPI thread finished"},
                                   done}));
        forgetRun();
    }
}

// ---- Stores that can't be watched --------------------------------------------------------------------------------------

class WatchFailureTest : public LiveTest
{
protected:
    /// A store that refuses to be watched, and one that doesn't.
    static std::string twoStores(std::string_view moreOfFirst, std::string_view more = "")
    {
        return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, )" +
               std::string(moreOfFirst) +
               R"("folders": [{"name": "Contacts", "class": "IPF.Contact"}]}, {"name": "Archive",
               "ipmSubtree": {"class": "IPF.Note"}, "folders": [{"name": "Old", "class": "IPF.Contact"}]}])" +
               std::string(more) + "}";
    }

    static Json newContact(const std::string& folder)
    {
        return {{"do", "addContact"}, {"folder", folder}, {"contact", {{"displayName", "Eve"}}}};
    }
};

TEST_F(WatchFailureTest, LeavesTheStoreAloneAndGoesOn)
{
    startLive(twoStores(R"("results": {"Advise": "MAPI_E_NO_SUPPORT"}, )"), "Archive");
    const Records log = readLog(logFile());
    const auto subscribe = std::find(log.begin(), log.end(), "Subscribe to Mailbox");
    EXPECT_EQ(Records(subscribe, log.end()),
              (Records{"Subscribe to Mailbox",
                       "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: "
                       "hr = 0x80040102(Advise store notification)",
                       "Subscribe to Archive", "subfolder found: Old",
                       "Maybe Contacts folder Old registered as known notification source"}));
    EXPECT_THAT(after(newContact("Mailbox/Contacts")).messages, IsEmpty());
    EXPECT_EQ(after(newContact("Archive/Old")).messages.size(), 1U);
    closeLive();
}

TEST_F(WatchFailureTest, IsAlsoThatOfTheThreadsSink)
{
    startLive(twoStores("", R"(, "plans": [{"method": "HrThisThreadAdviseSink", "result": "0x80004005"}])"), "Archive");
    const Records log = readLog(logFile());
    const auto subscribe = std::find(log.begin(), log.end(), "Subscribe to Mailbox");
    EXPECT_EQ(*(subscribe + 1), "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: "
                                "hr = 0x80004005(Marshall advise sink)");
    EXPECT_THAT(after(newContact("Mailbox/Contacts")).messages, IsEmpty());
    EXPECT_EQ(after(newContact("Archive/Old")).messages.size(), 1U);
    closeLive();
}

TEST_F(WatchFailureTest, EndsTheWorkerWhenTheWalkFails)
{
    // The snapshots ask for two hierarchy tables each; the fifth one belongs to the subscription.
    const AgentRun run = runUntilWorkerEnds(twoStores(
        "", R"(, "plans": [{"method": "IMAPIContainer::GetHierarchyTable", "call": 5, "result": "0x80070005"}])"));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(
        run.log,
        logOfEndedWorker(
            {storeFound("Mailbox", 1, true), storeFound("Archive", 2), "createSnapshot for \"Mailbox\" started",
             "subfolder found: Contacts", "createSnapshot for \"Mailbox\": 0 contact(s) found",
             "createSnapshot for \"Archive\" started", "subfolder found: Old",
             "createSnapshot for \"Archive\": 0 contact(s) found", "Subscribe to Mailbox", "Unadvise hr = 0",
             reported("AsyncMapiHelper::run", "mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)")}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(WatchFailureTest, OfTheEndIsLogged)
{
    startLive(mailbox());
    ask({{"do", "plan"}, {"method", "IMsgStore::Unadvise"}, {"result", "0x80040115"}});
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(Records(std::find(run.log.begin(), run.log.end(), "WM_CLOSE received"), run.log.end()),
              joined({closeRequest, {"Unadvise hr = 80040115", "MAPI thread finished"}, orderly}));
}
} // namespace
} // namespace endtoend
