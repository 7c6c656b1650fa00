// What docs/wire-protocol.md asks of a host, and what becomes of hosts that do otherwise.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/endtoend/AgentLog.h"
#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/Handle.h"
#include "tests/support/pipe/SequenceHost.h"

namespace endtoend
{
namespace
{
using namespace std::chrono_literals;
using support::SequenceHost;
using support::SequenceOptions;
using testing::Contains;

class HostSequenceTest : public EndToEndTest
{
protected:
    const std::string m_refusal = workerFailed("Unable to send data through ipc channel");

    /// So many stores with one contact each: each is a message of the snapshot.
    void startOnStores(std::size_t count, std::size_t nameLength = 3)
    {
        Json stores = Json::array();
        for (std::size_t store = 0; store < count; ++store)
        {
            const Json contact = {{"displayName", std::string(nameLength, 'a')}};
            const Json folder = {{"name", "Contacts"}, {"class", "IPF.Contact"}, {"messages", Json::array({contact})}};
            stores.push_back({{"name", "S" + std::to_string(store)}, {"folders", Json::array({folder})}});
        }
        writeMailbox(Json{{"stores", stores}}.dump());
        startAgent();
    }

    /// All of so many messages must be taken.
    void expectTaken(const SequenceOptions& options, std::size_t messages)
    {
        const SequenceHost host(options);
        startOnStores(messages);
        ASSERT_TRUE(waitUntilSubscribed("S" + std::to_string(messages - 1)));
        EXPECT_EQ(host.answered(), messages);
        ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
        EXPECT_EQ(finish().exitValue, 0U);
    }

    /// The first or a later one of twelve messages must be refused, as its number says.
    void expectRefused(const SequenceOptions& options, std::size_t message)
    {
        const SequenceHost host(options);
        startOnStores(12);
        const AgentRun run = runUntilWorkerEnds();
        const auto isSending = [](const std::string& record)
        {
            return record.starts_with("Sending data:");
        };
        EXPECT_EQ(static_cast<std::size_t>(std::count_if(run.log.begin(), run.log.end(), isSending)), message);
        EXPECT_THAT(run.log, Contains(m_refusal));
    }
};

TEST_F(HostSequenceTest, TakesAHundredMessagesInARow)
{
    expectTaken({}, 100);
}

TEST_F(HostSequenceTest, TakesMessagesInARowAlsoWhenItIsSlowToListenAgain)
{
    expectTaken({.pause = 100ms}, 12);
}

TEST_F(HostSequenceTest, TakesTheMessagesOfASecondAgentToo)
{
    const SequenceHost host({});
    startOnStores(12);
    ASSERT_TRUE(waitUntilSubscribed("S11"));
    const AgentProcess other(L"/log=" + file(L"other.log"), file(L"other-stderr.txt"));
    ASSERT_TRUE(waitForRecord(file(L"other.log"), "Subscribe to S11", other.process(), support::deadline));
    EXPECT_EQ(host.answered(), 24U);
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    EXPECT_EQ(finish().exitValue, 0U);
}

TEST_F(HostSequenceTest, IsRefusedWhenItIsSlowToListenAgainWithTwoInstancesAndAShortTimeout)
{
    expectRefused({.instances = 2, .defaultTimeout = 50, .pause = 1000ms}, 2);
}

TEST_F(HostSequenceTest, IsRefusedWhenItIsSlowToListenAgainWithFourInstancesAndAShortTimeout)
{
    expectRefused({.defaultTimeout = 50, .pause = 5000ms}, 4);
}

TEST_F(HostSequenceTest, IsRefusedWhenItAnswersByTwoWrites)
{
    expectRefused({.parts = {"a", "ck"}, .pause = 500ms}, 1);
}

TEST_F(HostSequenceTest, LosesItsAnswerWhenItDisconnectsAtOnce)
{
    // The agent goes on to its read when an instance is free, and the only one is free when it has been disconnected.
    expectRefused({.instances = 1, .waitsForClient = false}, 1);
}

// ---- The table of what is logged ----------------------------------------------------------------------------------------

/// The rows of the page's table with these words in its head: the first cell, and the text between backticks in the second.
std::map<std::string, std::string> rowsOfPage(std::string_view head)
{
    const std::string page = support::readBytes(LINKWELL_SOURCE_FOLDER "/docs/wire-protocol.md");
    std::map<std::string, std::string> rows;
    const auto start = page.find(head);
    for (auto at = start == std::string::npos ? start : page.find("\n| ", start); at != std::string::npos;)
    {
        const auto end = page.find('\n', ++at);
        const auto middle = page.find(" | ", at);
        const std::string second = page.substr(middle, end - middle);
        const auto open = second.find('`');
        rows[page.substr(at + 2, middle - at - 2)] =
            open == std::string::npos ? "" : second.substr(open + 1, second.rfind('`') - open - 1);
        at = page.compare(end, 3, "\n| ") == 0 ? end : std::string::npos;
    }
    return rows;
}

class LoggedRefusalTest : public HostSequenceTest
{
protected:
    /// The run that has been started must end with a refusal, and with this record in front of it, or with none of the pipe.
    /// The log goes on from run to run.
    void expectRecord(const std::string& situation, const std::string& record)
    {
        SCOPED_TRACE(situation);
        Records log = runUntilWorkerEnds().log;
        log.erase(log.begin(), std::find(log.rbegin(), log.rend(), support::logHeader).base());
        const auto refusal = std::find(log.begin(), log.end(), m_refusal);
        ASSERT_TRUE(refusal != log.end() && refusal != log.begin());
        if (record.empty())
            EXPECT_THAT(*std::prev(refusal), testing::StartsWith("Sending data:"));
        else
            EXPECT_EQ(*std::prev(refusal), record);
    }
};

TEST_F(LoggedRefusalTest, IsAsThePageSays)
{
    const auto withHost = [this](const SequenceOptions& options, std::size_t nameLength = 3)
    {
        return [this, options, nameLength](const std::string& situation, const std::string& record)
        {
            const SequenceHost host(options);
            startOnStores(1, nameLength);
            expectRecord(situation, record);
        };
    };
    std::map<std::string, std::function<void(const std::string&, const std::string&)>> situations;
    situations["There is no pipe of that name"] = [this](const std::string& situation, const std::string& record)
    {
        startOnStores(1);
        expectRecord(situation, record);
    };
    situations["All its instances are busy"] = [this](const std::string& situation, const std::string& record)
    {
        const SequenceHost host({.instances = 1});
        const support::Handle other =
            support::checkedFile(CreateFileW((LR"(\\.\pipe\)" + std::wstring(hostPipeName)).c_str(),
                                             GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                                 "CreateFileW");
        startOnStores(1);
        expectRecord(situation, record);
    };
    situations["The host goes before it has read the whole text"] = withHost({.readsText = false}, 100'000);
    situations["No other instance gets free in time"] = withHost({.instances = 1, .defaultTimeout = 50});
    situations["The host disconnects before its answer is read"] = withHost({.instances = 1, .waitsForClient = false});
    situations["The answer is not `ack`"] = withHost({.parts = {"ACK"}});
    situations["The answer comes as `a` and `ck`"] = withHost({.parts = {"a", "ck"}, .pause = 500ms});

    const auto rows = rowsOfPage("| What happens | What the log says");
    EXPECT_EQ(rows.size(), situations.size());
    for (const auto& [situation, happens] : situations)
    {
        ASSERT_TRUE(rows.contains(situation)) << situation;
        happens(situation, rows.at(situation));
    }
}
} // namespace
} // namespace endtoend
