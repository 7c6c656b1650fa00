// The ways in which the agent is asked to close.
#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
constexpr std::string_view emptyMailbox = R"({"stores": [{"name": "Mailbox", "default": true}]})";

class AgentCloseTest : public EndToEndTest
{
protected:
    void startAndWait(std::string_view mailbox = emptyMailbox)
    {
        writeMailbox(mailbox);
        startAgent();
        ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    }

    /// The whole log of a run on a mailbox without contacts, with these records behind the last of the start.
    Records wholeLog(std::initializer_list<std::string_view> ending) const
    {
        Records all = {std::string(support::logHeader),
                       startedRecord(),
                       "Start MAPI thread...",
                       "Message Store found: Mailbox (Sandbox Message Store), Default: true, Public: false, EntryId: " +
                           storeId(1),
                       "createSnapshot for \"Mailbox\" started",
                       "createSnapshot for \"Mailbox\": 0 contact(s) found"};
        return joined({all, subscribed("Mailbox"), Records(ending.begin(), ending.end())});
    }
};

TEST_F(AgentCloseTest, EndsWhenItsWindowIsClosed)
{
    startAndWait();
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished",
                                 "Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                                 "Logging finished  --------------------------------"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentCloseTest, EndsWhenItsMainThreadIsToldToClose)
{
    startAndWait();
    ASSERT_TRUE(agent().postToMainThread(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"WM_CLOSE for thread received, will quit", "Shutdown...", "Unadvise hr = 0",
                                 "MAPI thread finished", "Closing MAPI session...", "Logoff...", "MAPI session closed",
                                 "Done", "Logging finished  --------------------------------"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentCloseTest, EndsByAltF4WithoutACloseRecord)
{
    startAndWait();
    ASSERT_TRUE(agent().pressAltF4());
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"Shutdown...", "Unadvise hr = 0", "MAPI thread finished", "Closing MAPI session...",
                                 "Logoff...", "MAPI session closed", "Done",
                                 "Logging finished  --------------------------------"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentCloseTest, EndsByTheCommandOfTheAccelerator)
{
    startAndWait();
    ASSERT_TRUE(agent().postToWindow(WM_COMMAND, MAKEWPARAM(8, 0)));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"Shutdown...", "Unadvise hr = 0", "MAPI thread finished", "Closing MAPI session...",
                                 "Logoff...", "MAPI session closed", "Done",
                                 "Logging finished  --------------------------------"}));
}

TEST_F(AgentCloseTest, StaysWithAnotherCommandUntilItIsClosed)
{
    startAndWait();
    ASSERT_TRUE(agent().postToWindow(WM_COMMAND, MAKEWPARAM(9, 1)));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE)); // behind it in the same queue
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished",
                                 "Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                                 "Logging finished  --------------------------------"}));
}

TEST_F(AgentCloseTest, LogsOffWhenItsMainThreadIsToldToQuit)
{
    startAndWait();
    ASSERT_TRUE(agent().postToMainThread(WM_QUIT));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"Shutdown...", "Unadvise hr = 0", "MAPI thread finished", "Closing MAPI session...",
                                 "Logoff...", "MAPI session closed", "Done",
                                 "Logging finished  --------------------------------"}));
}

TEST_F(AgentCloseTest, KeepsItsWindowHiddenAndWithoutAMenu)
{
    startAndWait();
    const HWND window = agent().window();
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(GetMenu(window), nullptr); // the class names one that does not exist
    wchar_t title[32] = {};
    EXPECT_EQ(InternalGetWindowText(window, title, 32), 8);
    EXPECT_STREQ(title, L"Linkwell");
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    EXPECT_EQ(finish().exitValue, 0U);
}

TEST_F(AgentCloseTest, LogsALogoffThatFails)
{
    startAndWait(R"({"results": {"Logoff": "0x80040115"}, "stores": [{"name": "Mailbox", "default": true}]})");
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished",
                                 "Closing MAPI session...", "Logoff...",
                                 "HRESULT logged: mapi::Session::logoff, line N: hr = 0x80040115",
                                 "MAPI session closed", "Done", "Logging finished  --------------------------------"}));
}

TEST_F(AgentCloseTest, LogsALogoffThatWarns)
{
    startAndWait(R"({"results": {"Logoff": "0x00040380"}, "stores": [{"name": "Mailbox", "default": true}]})");
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, wholeLog({"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished",
                                 "Closing MAPI session...", "Logoff...",
                                 "HRESULT logged: mapi::Session::logoff, line N: hr = 0x40380", "MAPI session closed",
                                 "Done", "Logging finished  --------------------------------"}));
}
} // namespace
} // namespace endtoend
