#include "tests/endtoend/AgentLog.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace endtoend
{
namespace
{
using testing::ElementsAre;

const std::string stamp = "05.03.2024 14:07:09.042  ";
const std::string threadClose = "WM_CLOSE for thread received, will quit";
const std::string workerEnd = "MAPI thread finished";

TEST(AgentLogTest, GivesTheTextsAsTheAgentHadThem)
{
    EXPECT_THAT(logRecords(stamp + "a\r\nb\r\r\nc\rd\r\n\r\n" + stamp + "e"), ElementsAre("a\nb\r\nc\rd\n", "e"));
}

TEST(AgentLogTest, RefusesWhatNoLogHas)
{
    EXPECT_THROW((void)logRecords("one\r\n" + stamp + "two"), std::runtime_error);
    EXPECT_THROW((void)logRecords("\xEF\xBB\xBF" + stamp + "one"), std::runtime_error);
    EXPECT_THROW((void)logRecords(stamp + "one\ntwo"), std::runtime_error);
}

TEST(AgentLogTest, LeavesSourceLinesOutOfFailuresAndOfNothingElse)
{
    EXPECT_THAT(logRecords(stamp + "f, line 94: hr = 0x1\r\n" + stamp + "Sending data:\r\nBaker, line 94"),
                ElementsAre("f, line N: hr = 0x1", "Sending data:\nBaker, line 94"));
}

TEST(AgentLogTest, FindsTheRecordsOfTwoThreadsThatLostTheirLineBreak)
{
    const Records both = {workerEnd, threadClose, "Shutdown..."};
    EXPECT_EQ(logRecords(stamp + workerEnd + stamp + threadClose + "\r\n" + stamp + "Shutdown..."), both);
    EXPECT_THAT(logRecords(stamp + threadClose + stamp + workerEnd), ElementsAre(threadClose, workerEnd));
    // Written while the worker was about to write its end.
    EXPECT_THAT(logRecords(stamp + "report" + stamp + threadClose + "\r\n" + stamp + workerEnd),
                ElementsAre("report", threadClose, workerEnd));
    EXPECT_THAT(logRecords(stamp + threadClose + stamp + "Shutdown..."), ElementsAre(threadClose, "Shutdown..."));
    EXPECT_THAT(logRecords(stamp + "one" + stamp + "two"), ElementsAre("one" + stamp + "two")); // no one else may
}

TEST(AgentLogTest, PutsTheEndOfTheWorkerInFrontOfWhatComesAtTheSameTime)
{
    const Records expected = {"report", workerEnd, threadClose, "Shutdown...", "Done"};
    for (const Records& seen : {Records{"report", workerEnd, threadClose, "Shutdown...", "Done"},
                                Records{"report", threadClose, workerEnd, "Shutdown...", "Done"},
                                Records{"report", threadClose, "Shutdown...", workerEnd, "Done"}})
    {
        Records records = seen;
        orderEndOfWorker(records);
        EXPECT_EQ(records, expected);
    }
    Records late = {"report", threadClose, "Shutdown...", "Done", workerEnd};
    const Records unchanged = late;
    orderEndOfWorker(late);
    EXPECT_EQ(late, unchanged);
}
} // namespace
} // namespace endtoend
