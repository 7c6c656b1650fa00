// The report for people, as docs/troubleshooting.md shows it, and the one for programs.
#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"
#include "tools/support/Report.h"

namespace diagnosis
{
namespace
{
const std::string exampleLog =
    logOf({support::logHeader,
           started,
           "Start MAPI thread...",
           storeFound,
           "createSnapshot for \"Mailbox - Anna Berg\" started",
           "createSnapshot for \"Mailbox - Anna Berg\": 2 contact(s) found",
           "Sending data:",
           "| 2;snapshot;contact;0;1",
           "| Mara Lindqvist;;;;;;;;;;00000000A1;00000000B1",
           "Subscribe to Mailbox - Anna Berg",
           "Notification 10 for Mara Lindqvist of type 5, EntryId hash = 7f37237dc92f23b5 (00000000A1)",
           "Sending data:",
           "| 2;change;contact;0;1",
           "| Mara Lindqvist;;;;;;;;;;00000000A1;00000000B1",
           noPipe,
           "An exception has been caught in AdviseSinkImpl::OnNotify : Unable to send data through ipc channel",
           "WM_CLOSE received",
           "Shutdown...",
           "Done",
           support::logFooter}) +
    "\r\n\r\n" + logOf({support::logHeader, started});

class ReportTest : public testing::Test
{
protected:
    std::string report(const std::string& log, bool json = false)
    {
        support::writeBytes(m_folder.file(L"agent.log"), log);
        std::string text;
        m_verdict =
            reportLog(m_folder.file(L"agent.log"), "agent.log", json, [&](const std::string& part) { text += part; });
        return text;
    }

    support::TempFolder m_folder;
    Verdict m_verdict = Verdict::Good;
};

TEST_F(ReportTest, IsWhatThePageShows)
{
    const std::string text = report(exampleLog);
    const std::string page = support::readBytes(LINKWELL_SOURCE_FOLDER "/docs/troubleshooting.md");
    EXPECT_NE(page.find("```text\n" + text + "```\n"), std::string::npos) << "the page should show:\n" << text;
    EXPECT_EQ(m_verdict, Verdict::Bad);
}

TEST_F(ReportTest, IsOneObjectForPrograms)
{
    const auto json = nlohmann::json::parse(report(exampleLog, true));
    ASSERT_EQ(json["runs"].size(), 2U);
    const auto& run = json["runs"][0];
    EXPECT_EQ(run["how"], "asked");
    EXPECT_EQ(run["messages"], 2);
    EXPECT_EQ(run["refused"], 1);
    EXPECT_EQ(run["stores"][0]["name"], "Mailbox - Anna Berg");
    EXPECT_EQ(run["findings"][0]["see"], "docs/troubleshooting.md#the-host");
    EXPECT_EQ(json["strayLines"], 0);
    EXPECT_EQ(nlohmann::json::parse(report("\xFF\xC3", true))["runs"].size(), 0U);
}

TEST_F(ReportTest, FindsNothingInAGoodRun)
{
    report(
        logOf({support::logHeader, started, "Start MAPI thread...", "WM_CLOSE received", "Done", support::logFooter}));
    EXPECT_EQ(m_verdict, Verdict::Good);
}

TEST_F(ReportTest, FindsNothingInARunThatGoesOn)
{
    report(logOf({support::logHeader, started, "Start MAPI thread..."}));
    EXPECT_EQ(m_verdict, Verdict::Good);
}

TEST_F(ReportTest, SaysThatAFileIsNoLog)
{
    EXPECT_EQ(report("something else\n"), "agent.log is no log of the agent: it holds no run.\n");
    EXPECT_EQ(m_verdict, Verdict::Bad);
}
} // namespace
} // namespace diagnosis
