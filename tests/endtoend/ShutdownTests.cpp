// The end of an agent that is asked to close while its worker has not finished the first snapshot.
#include "tests/endtoend/EndToEndTest.h"
#include "tests/endtoend/FastShutdownRefusals.h"
#include "tests/support/Handle.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
using support::PipeReply;
using testing::ElementsAre;

/// What ends the worker when its MAPI calls meet a session that is over, and when it begins a walk that is not wanted.
const std::string sessionOver = "An exception has been caught in AsyncMapiHelper::run : "
                                "mapi::PropValue::read, line N: hr = 0x80040200(MAPI call failed)";
const std::string walkCancelled = "An exception has been caught in AsyncMapiHelper::run : "
                                  "mapi::traverseFolders: cancelled by request";

class AgentShutdownTest : public EndToEndTest
{
protected:
    /// One store, "Mailbox", with one contact, and more keys of the mailbox.
    static std::string oneStore(const std::string& more = "")
    {
        return std::string("{").append(more).append(more.empty() ? "" : ", ") +
               R"("stores": [{"name": "Mailbox", "default": true, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]}]})";
    }

    /// A second store, "Archive", behind it.
    static std::string twoStores(const std::string& more = "")
    {
        std::string json = oneStore(more);
        json.erase(json.size() - 2);
        return json + R"(, {"name": "Archive", "folders": [
            {"name": "Old", "class": "IPF.Contact", "messages": [{"displayName": "Bea"}]}]}]})";
    }

    /// Starts the agent on this mailbox, with a host that holds its answer to the first message back.
    void startHeld(const std::string& json)
    {
        writeMailbox(json);
        serveHost({PipeReply::heldText("ack", m_release.get())});
        startAgent();
        ASSERT_TRUE(host().waitForRequests(1));
    }

    /// Closes the window, lets the host answer when this record is in the log, and waits for the end.
    AgentRun closeAndReleaseAfter(std::string_view record)
    {
        EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
        EXPECT_TRUE(waitForLog(record));
        EXPECT_TRUE(SetEvent(m_release.get()));
        return finish();
    }

    /// The message of the first of `total` stores.
    static std::string message(unsigned total)
    {
        return lines({"2;snapshot;contact;0;" + std::to_string(total), namedLine("Ada", 1, firstFolder, 1)});
    }

    /// The log from the header to the sending of that message, and these records.
    Records wholeLog(unsigned total, const Records& ending) const
    {
        Records all = {std::string(support::logHeader), startedRecord(), "Start MAPI thread...",
                       storeFound("Mailbox", 1, true)};
        if (total == 2)
            all.push_back(storeFound("Archive", 2));
        all.insert(all.end(),
                   {"createSnapshot for \"Mailbox\" started", "subfolder found: Contacts",
                    "createSnapshot for \"Mailbox\": 1 contact(s) found", "Sending data:\n" + message(total)});
        all.insert(all.end(), ending.begin(), ending.end());
        all.insert(all.end(), {"Done", std::string(support::logFooter)});
        return all;
    }

    /// The fast shutdown's first records, behind a close request to the window.
    static Records fastShutdown(const Records& further)
    {
        Records all = {"WM_CLOSE received", "Shutdown...", "Closing MAPI session...",
                       "Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)"};
        all.insert(all.end(), further.begin(), further.end());
        return all;
    }

    const support::Handle m_release = support::makeEvent();
};

TEST_F(AgentShutdownTest, LogsOffWhenTheWorkerEndsInItsTime)
{
    startHeld(oneStore());
    const AgentRun run = closeAndReleaseAfter("Shutdown...");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message(1)));
    EXPECT_EQ(run.log,
              wholeLog(1, {"WM_CLOSE received", "Shutdown...", "Subscribe to Mailbox", "Unadvise hr = 0", walkCancelled,
                           "MAPI thread finished", "Closing MAPI session...", "Logoff...", "MAPI session closed"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentShutdownTest, IsFastWhenTheWorkerNeedsLonger)
{
    startHeld(oneStore());
    const AgentRun run = closeAndReleaseAfter("MAPI session closed");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message(1)));
    EXPECT_EQ(run.log, wholeLog(1, fastShutdown({"MAPI session closed", "Subscribe to Mailbox", sessionOver,
                                                 "MAPI thread finished"})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentShutdownTest, IsFastAlsoWhenTheThreadIsToldToClose)
{
    startHeld(oneStore());
    ASSERT_TRUE(agent().postToMainThread(WM_CLOSE));
    ASSERT_TRUE(waitForLog("MAPI session closed"));
    ASSERT_TRUE(SetEvent(m_release.get()));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    Records ending = fastShutdown({"MAPI session closed", "Subscribe to Mailbox", sessionOver, "MAPI thread finished"});
    ending.front() = "WM_CLOSE for thread received, will quit";
    EXPECT_EQ(run.log, wholeLog(1, ending));
}

TEST_F(AgentShutdownTest, MakesTheWorkersMapiCallsFailWhenFast)
{
    startHeld(twoStores());
    const AgentRun run = closeAndReleaseAfter("MAPI session closed");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message(2)));
    EXPECT_EQ(run.log, wholeLog(2, fastShutdown({"MAPI session closed", "createSnapshot for \"Archive\" started",
                                                 sessionOver, "MAPI thread finished"})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentShutdownTest, CancelsTheWalkOfTheNextStore)
{
    // Neither way of ending the session has an effect, so it is the stop request that ends the walk.
    startHeld(twoStores(R"("results": {"DoFastShutdown": "0x80040115", "Logoff": "0x80040115"})"));
    const AgentRun run = closeAndReleaseAfter("MAPI session closed");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message(2)));
    EXPECT_EQ(run.log,
              wholeLog(2, fastShutdown({"HRESULT logged: mapi::Session::shutdown, line N: "
                                        "hr = 0x80040115(Fast shutdown failed)",
                                        "Logoff...", "HRESULT logged: mapi::Session::logoff, line N: hr = 0x80040115",
                                        "MAPI session closed", "createSnapshot for \"Archive\" started", walkCancelled,
                                        "MAPI thread finished"})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentShutdownTest, EndsAlsoWhenTheHostGoesWithoutAnAnswer)
{
    startHeld(oneStore());
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    ASSERT_TRUE(waitForLog("MAPI session closed"));
    host().stop();
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog(1, fastShutdown({"MAPI session closed", "NamedPipe::send: ReadFile failed, error=0x6d",
                                                 "An exception has been caught in AsyncMapiHelper::run : "
                                                 "Unable to send data through ipc channel",
                                                 "MAPI thread finished"})));
    EXPECT_EQ(run.report, nothingHeld);
}

class AgentSlowShutdownTest : public AgentShutdownTest, public testing::WithParamInterface<FastShutdownRefusal>
{
};

TEST_P(AgentSlowShutdownTest, LogsOffWhenTheFastShutdownIsRefused)
{
    startHeld(oneStore(GetParam().settings));
    const AgentRun run = closeAndReleaseAfter("MAPI session closed");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message(1)));
    EXPECT_EQ(run.log, wholeLog(1, fastShutdown({"HRESULT logged: mapi::Session::shutdown, line N: hr = 0x" +
                                                     std::string(GetParam().logged),
                                                 "Logoff...", "MAPI session closed", "Subscribe to Mailbox",
                                                 sessionOver, "MAPI thread finished"})));
    EXPECT_EQ(run.report, nothingHeld);
}

INSTANTIATE_TEST_SUITE_P(Steps, AgentSlowShutdownTest, testing::ValuesIn(fastShutdownRefusals));
} // namespace
} // namespace endtoend
