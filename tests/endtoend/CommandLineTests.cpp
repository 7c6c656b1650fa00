// The command line and the log file that it names.
#include <filesystem>
#include <set>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
using testing::EndsWith;

constexpr std::string_view oneContact = R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
    {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Anna Berg"}]}]}]})";

class AgentCommandLineTest : public EndToEndTest
{
protected:
    const Records m_read = joined(
        {{storeFound("Mailbox", 1, true)}, snapshot("Mailbox", "0;1", {namedLine("Anna Berg", 1, firstFolder, 1)})});

    /// The log of a run on `oneContact` that ended by the closing of the window.
    Records closedLog() const { return logOfClosedWindow(joined({m_read, subscribed("Mailbox", {"Contacts"})})); }

    /// Runs the agent with these arguments until it has sent its message and written the log file, and closes it.
    AgentRun runWithLog(const std::wstring& arguments, const std::filesystem::path& log)
    {
        writeMailbox(oneContact);
        serveHost();
        startAgent(arguments);
        EXPECT_TRUE(waitForRecord(log, subscribed("Mailbox", {"Contacts"}).back(), agent().process()));
        ask({{"do", "wait"}, {"for", "idle"}}); // until the walk has ended
        EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
        return finish();
    }

    std::set<std::wstring> filesInFolder() const
    {
        std::set<std::wstring> names;
        for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(logFile()).parent_path()))
            names.insert(entry.path().filename().wstring());
        return names;
    }
};

TEST_F(AgentCommandLineTest, LogsToTheGivenFile)
{
    const AgentRun run = runWithLog(L"/log=" + logFile(), logFile());
    expectRun(run, closedLog());
    const std::string bytes = support::readBytes(logFile());
    EXPECT_TRUE(support::hasLogStamp(bytes));                                             // no byte order mark
    EXPECT_THAT(bytes, EndsWith("  Logging finished  --------------------------------")); // no line end
}

TEST_F(AgentCommandLineTest, TakesTheLastLogOptionThatNamesAFileAndIgnoresTheRest)
{
    const std::wstring other = file(L"other.log");
    const AgentRun run = runWithLog(L"-v \"x y\" /log=" + other + L" /log=" + logFile() + L" /quiet /log=", logFile());
    expectRun(run, closedLog());
    EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(AgentCommandLineTest, LogsToAQuotedPathWithBlanksInAnyScript)
{
    const std::wstring path = file(L"журнал 日誌.log");
    const AgentRun run = runWithLog(L"\"/log=" + path + L"\"", path);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(readLog(path), closedLog()); // with the command line as it was given, in UTF-8
}

TEST_F(AgentCommandLineTest, AppendsASecondRunBehindAnEmptyLine)
{
    support::writeBytes(logFile(), ""); // behind nothing there is none
    Records first = runWithLog(L"/log=" + logFile(), logFile()).log;
    EXPECT_EQ(first, closedLog());

    writeMailbox(R"({"stores": []})");
    startAgent();
    const AgentRun second = runUntilWorkerEnds();
    first.back() += '\n'; // an empty line
    const Records added =
        logOfEndedWorker({workerFailed("SyncManager::createWatchers: Cannot find message stores for synchronization")});
    expectRun(second, joined({first, added}));
}

/// Arguments that name no log file; "<file>" stands for a path.
class AgentWithoutLogTest : public AgentCommandLineTest, public testing::WithParamInterface<const wchar_t*>
{
};

TEST_P(AgentWithoutLogTest, RunsAsUsualAndKeepsNoLog)
{
    std::wstring arguments = GetParam();
    if (const auto place = arguments.find(L"<file>"); place != std::wstring::npos)
        arguments.replace(place, 6, logFile());

    writeMailbox(oneContact);
    serveHost();
    startAgent(arguments);
    EXPECT_TRUE(host().waitForRequests(1));
    EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    expectRun(run, {}, sentIn(m_read));
    EXPECT_EQ(filesInFolder(), (std::set<std::wstring>{L"mailbox.json", L"report.txt", L"stderr.txt"}));
}

INSTANTIATE_TEST_SUITE_P(CommandLines, AgentWithoutLogTest,
                         testing::Values(L"", L"/log=", L"/log= /log=", L"/LOG=<file>", L"x/log=<file>", L"/log <file>",
                                         L"/log=<file>\\no-such-folder\\agent.log"));
} // namespace
} // namespace endtoend
