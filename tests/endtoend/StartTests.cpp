// The start on the main thread: finding the runtime, and the logon.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
class AgentStartTest : public EndToEndTest
{
protected:
    /// An agent that ends before it has a worker must leave this failure, this report, and standard error that begins so.
    void expectFailure(std::string_view mailbox, std::string_view failure, std::string_view report = nothingHeld,
                       const std::string& standardError = "")
    {
        startAgentOn(mailbox);
        AgentRun run = finish();
        if (!standardError.empty())
        {
            EXPECT_THAT(std::exchange(run.standardError, ""), testing::StartsWith(standardError));
        }
        expectRun(run,
                  {std::string(support::logHeader), startedRecord(), caught("main", failure),
                   std::string(support::logFooter)},
                  {}, report);
    }

    std::string mailboxPath() const
    {
        const std::wstring path = file(L"mailbox.json");
        return {path.begin(), path.end()}; // plain ASCII
    }
};

const std::string logonFailed = "mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)";

TEST_F(AgentStartTest, EndsWhenTheRuntimeCannotBeInitialized)
{
    expectFailure("{" + plansFor({{R"("method": "MAPIInitialize")", "MAPI_E_NOT_ENOUGH_MEMORY"}}) + "}",
                  "mapi::Session::Session, line N: hr = 0x8007000e(Initialize MAPI)");
}

TEST_F(AgentStartTest, EndsWhenTheLogonFails)
{
    expectFailure("{" + plansFor({{R"("method": "MAPILogonEx")", "0x80040113"}}) + "}",
                  "mapi::Session::open, line N: hr = 0x80040113(Logon to MAPI)");
}

TEST_F(AgentStartTest, GoesOnAfterWarnings)
{
    expectClosedRun(
        R"({"stores": [{"name": "Mailbox", "default": true}], )" +
            plansFor({{R"("method": "MAPIInitialize")", "0x00040380"},
                      {R"("method": "MAPILogonEx")", "0x00040203"},
                      {R"("method": "IMAPISession::GetMsgStoresTable")", "0x00040380"},
                      {R"("method": "IMAPISession::OpenMsgStore")", "0x00040380"}}) +
            "}",
        "Mailbox",
        joined({{storeFound("Mailbox", 1, true)}, snapshot("Mailbox", "", {}, {}), {"Subscribe to Mailbox"}}));
}

TEST_F(AgentStartTest, EndsWhenTheMailboxFileIsWrong)
{
    expectFailure("{\n  \"stores\": ]\n}", logonFailed, nothingHeld,
                  "LinkwellSandbox: " + mailboxPath() + ": line 2, column 13: ");
}

TEST_F(AgentStartTest, EndsWhenThereIsNoMailboxFile)
{
    setVariable(L"LINKWELL_SANDBOX_MAILBOX", file(L"absent.json"));
    expectFailure("{}", logonFailed, nothingHeld, "LinkwellSandbox: ");
}

TEST_F(AgentStartTest, EndsWhenTheClientsModuleIsNoRuntime)
{
    setVariable(L"LINKWELL_SANDBOX_DLL", L"version.dll"); // a module of Windows that has none of the functions
    expectFailure("{}", "mapi::Session::Session, line N: hr = 0x80004005(Initialize MAPI)", "");
}

TEST_F(AgentStartTest, TakesTheSystemsRuntimeWhenTheClientsModuleCannotBeLoaded)
{
    // Without Outlook the system's runtime can't be initialized, and says so by a code of its own.
    setVariable(L"LINKWELL_SANDBOX_DLL", file(L"absent.dll"));
    expectFailure("{}", "mapi::Session::Session, line N: hr = 0x80040605(Initialize MAPI)", "");
}
} // namespace
} // namespace endtoend
