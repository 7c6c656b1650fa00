// The start on the main thread: finding the runtime, and the logon.
#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
using testing::StartsWith;

class AgentStartTest : public EndToEndTest
{
protected:
    /// Runs an agent that must end before it has a worker, and asks nothing of a host.
    AgentRun runToFailure(std::string_view mailbox)
    {
        writeMailbox(mailbox);
        serveHost();
        startAgent();
        return finish();
    }

    Records logOfFailure(std::string_view failure) const
    {
        return {std::string(support::logHeader), startedRecord(), std::string(failure),
                std::string(support::logFooter)};
    }

    std::string mailboxPath() const
    {
        const std::wstring path = file(L"mailbox.json");
        return {path.begin(), path.end()}; // plain ASCII
    }
};

TEST_F(AgentStartTest, EndsWhenTheRuntimeCannotBeInitialized)
{
    const AgentRun run = runToFailure(R"({"results": {"MAPIInitialize": "MAPI_E_NOT_ENOUGH_MEMORY"}})");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::Session, line N: hr = 0x8007000e(Initialize MAPI)"));
    EXPECT_EQ(run.messages, std::vector<std::string>{});
}

TEST_F(AgentStartTest, EndsWhenTheLogonFails)
{
    const AgentRun run = runToFailure(R"({"results": {"MAPILogonEx": "0x80040113"}})");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::open, line N: hr = 0x80040113(Logon to MAPI)"));
    EXPECT_EQ(run.messages, std::vector<std::string>{});
    EXPECT_EQ(run.report, nothingHeld); // MAPIUninitialize among them
}

TEST_F(AgentStartTest, GoesOnAfterWarnings)
{
    const AgentRun run = runUntilSubscribed(
        R"({"results": {"MAPIInitialize": "0x00040380", "MAPILogonEx": "0x00040203", "GetMsgStoresTable": "0x00040380",
            "OpenMsgStore": "0x00040380"}, "stores": [{"name": "Mailbox", "default": true}]})",
        "Mailbox");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log,
              logOfClosedWindow({"Message Store found: Mailbox (Sandbox Message Store), Default: true, "
                                 "Public: false, EntryId: " +
                                     storeId(1),
                                 "createSnapshot for \"Mailbox\" started",
                                 "createSnapshot for \"Mailbox\": 0 contact(s) found", "Subscribe to Mailbox"}));
}

TEST_F(AgentStartTest, EndsWhenTheMailboxFileIsNoJson)
{
    const AgentRun run = runToFailure("{\n  \"stores\": ]\n}");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)"));
    EXPECT_THAT(run.standardError, StartsWith("LinkwellSandbox: " + mailboxPath() + ": line 2, column 13: "));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStartTest, EndsWhenTheMailboxFileHasAWrongValue)
{
    const AgentRun run = runToFailure(R"({"stores": [{"name": "Mailbox", "folders": [
        {"name": "One"}, {"name": "Two"}, {"name": "Three", "hidden": "yes"}]}]})");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)"));
    EXPECT_THAT(run.standardError, StartsWith("LinkwellSandbox: " + mailboxPath() +
                                              ": /stores/0/folders/2/hidden: must be true or false"));
}

TEST_F(AgentStartTest, EndsWhenThereIsNoMailboxFile)
{
    setVariable(L"LINKWELL_SANDBOX_MAILBOX", file(L"absent.json"));
    const AgentRun run = runToFailure("{}");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)"));
    EXPECT_THAT(run.standardError, testing::HasSubstr("absent.json"));
}

TEST_F(AgentStartTest, EndsWhenTheClientsModuleIsNoRuntime)
{
    setVariable(L"LINKWELL_SANDBOX_DLL", L"version.dll"); // a module of Windows that has none of the functions
    const AgentRun run = runToFailure("{}");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::Session, line N: hr = 0x80004005(Initialize MAPI)"));
    EXPECT_EQ(run.report, "");
}

TEST_F(AgentStartTest, TakesTheSystemsRuntimeWhenTheClientsModuleCannotBeLoaded)
{
    // Without Outlook the system's runtime can't be initialized, and says so by a code of its own.
    setVariable(L"LINKWELL_SANDBOX_DLL", file(L"absent.dll"));
    const AgentRun run = runToFailure("{}");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfFailure("An exception has been caught in main : "
                                    "mapi::Session::Session, line N: hr = 0x80040605(Initialize MAPI)"));
    EXPECT_EQ(run.report, "");
}
} // namespace
} // namespace endtoend
