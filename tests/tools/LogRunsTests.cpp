// What happened in each run.
#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "tests/tools/Samples.h"

namespace diagnosis
{
namespace
{
using support::logFooter;
using support::logHeader;
using testing::SizeIs;

std::vector<const Finding*> problemsOf(const Run& run)
{
    std::vector<const Finding*> problems;
    for (const Finding& finding : run.findings)
    {
        if (finding.kind == Kind::Problem)
            problems.push_back(&finding);
    }
    return problems;
}

const std::string goodRun = logOf(
    {logHeader,
     started,
     "Start MAPI thread...",
     storeFound,
     "Message Store found: Public (Example), Default: false, Public: true, EntryId: 00",
     "Message Store found: Archive (Example), Default: false, Public: false, EntryId: 01",
     "An exception has been caught in `anonymous-namespace'::tryOpenStore : mapi::Session::openStore, line 7: hr = "
     "0x8004010f(MAPI call failed)",
     "Ignore message store \"Archive\" - cannot open.",
     "createSnapshot for \"Mailbox - Anna Berg\" started",
     "subfolder found: Contacts",
     "createSnapshot for \"Mailbox - Anna Berg\": 2 contact(s) found",
     "Sending data:",
     "| 2;snapshot;contact;0;2",
     "| 05.03.2024;Done;;;;;;;;;00000001;00000002",
     "Subscribe to Mailbox - Anna Berg",
     "Subscribe to Public",
     "Event tracking for public store is not implemented.",
     "Notification 10 for Mara of type 5, EntryId hash = 7f (00000000A1)",
     "Sending data:",
     "| 2;change;contact;0;1",
     "WM_CLOSE received",
     "Shutdown...",
     "Unadvise hr = 0",
     "MAPI thread finished",
     "Closing MAPI session...",
     "Logoff...",
     "MAPI session closed",
     "Done",
     logFooter});

TEST(LogRunsTest, TellARunFromItsStartToItsEnd)
{
    const auto runs = runsOf(goodRun);
    ASSERT_THAT(runs, SizeIs(1));
    const auto& run = runs.front();
    EXPECT_TRUE(run.hasStart);
    EXPECT_TRUE(run.loggedOn);
    EXPECT_EQ(run.begin, "05.03.2024 14:07:00.042");
    EXPECT_EQ(run.commandLine, started.substr(8));
    EXPECT_EQ(run.storeCount, 3U);
    EXPECT_EQ(run.watched, 1U);
    ASSERT_THAT(run.stores, SizeIs(3));
    EXPECT_EQ(run.stores[0].contacts, 2U);
    EXPECT_TRUE(run.stores[0].isDefault);
    EXPECT_TRUE(run.stores[1].isPublic);
    EXPECT_FALSE(run.stores[2].opened);
    EXPECT_EQ(run.contacts, 2U);
    EXPECT_EQ(run.messages, 2U);
    EXPECT_EQ(run.refused, 0U);
    EXPECT_EQ(run.notifications, 1U);
    EXPECT_EQ(run.how, End::Asked);
    EXPECT_THAT(problemsOf(run), SizeIs(2));
}

TEST(LogRunsTest, TellAHostThatIsNotThere)
{
    const auto runs = runsOf(logOf(
        {logHeader, started, "Start MAPI thread...", "Sending data:", "| 2;snapshot;contact;0;1", noPipe, startRefused,
         "WM_CLOSE for thread received, will quit", "Shutdown...", "MAPI thread finished", "Done", logFooter}));
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_EQ(runs[0].refused, 1U);
    EXPECT_EQ(runs[0].how, End::Failed);
    ASSERT_THAT(problemsOf(runs[0]), SizeIs(2));
    EXPECT_EQ(problemsOf(runs[0])[0]->entry->line, noPipe);
}

TEST(LogRunsTest, KnowRecordsThatLostTheirLineBreak)
{
    const std::string next = "05.03.2024 14:07:00.043  ";
    const auto runs =
        runsOf(logOf({logHeader, started, "Start MAPI thread...", "Sending data:", "| 2;snapshot;contact;0;1", noPipe,
                      std::string(startRefused) + next + "WM_CLOSE for thread received, will quit", "Shutdown...",
                      "MAPI thread finished" + next + "Closing MAPI session...", "Done", logFooter}));
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_EQ(runs[0].refused, 1U);
    ASSERT_THAT(problemsOf(runs[0]), SizeIs(2));
    EXPECT_EQ(problemsOf(runs[0])[1]->entry->line, startRefused);
    EXPECT_THAT(runs[0].findings, SizeIs(2)); // nothing is unknown
}

TEST(LogRunsTest, TellAnAgentThatCouldNotLogOn)
{
    const auto runs = runsOf(logOf({logHeader, started,
                                    "An exception has been caught in main : mapi::Session::open, line 85: hr = "
                                    "0x80004005(Logon to MAPI)",
                                    logFooter}));
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_FALSE(runs[0].loggedOn);
    EXPECT_EQ(runs[0].how, End::Failed);
    ASSERT_THAT(problemsOf(runs[0]), SizeIs(1));
    EXPECT_EQ(problemsOf(runs[0])[0]->failure->anchor, "mapi-cant-be-had");
}

TEST(LogRunsTest, TellAStopRequestFromAFailure)
{
    const auto runs = runsOf(
        logOf({logHeader, started, "Start MAPI thread...", "WM_CLOSE received", "Shutdown...",
               "An exception has been caught in AsyncMapiHelper::run : mapi::Rowset::enumerate: cancelled by request",
               "MAPI thread finished", "Done", logFooter}));
    EXPECT_EQ(runs[0].how, End::Asked);
    EXPECT_FALSE(runs[0].hasProblems());
}

TEST(LogRunsTest, TakeWhatFailsInAClosedSessionForItsConsequence)
{
    const auto runs =
        runsOf(logOf({logHeader, started, "Start MAPI thread...", "WM_CLOSE received", "Shutdown...",
                      "Closing MAPI session...", "Cannot open contact: hr = 80004005",
                      "An exception has been caught in AsyncMapiHelper::run : condition \"s_session\" failed "
                      "(mapi::Session::isSameObject in MapiSession.cpp, line 153)",
                      "MAPI thread finished", "Done", logFooter}));
    EXPECT_EQ(runs[0].how, End::Asked);
    EXPECT_FALSE(runs[0].hasProblems());
    EXPECT_THAT(runs[0].findings, SizeIs(2));
}

TEST(LogRunsTest, CountWhatComesAgain)
{
    std::string log = logOf({logHeader, started});
    for (int count = 0; count < 1000; ++count)
        log += "\r\n05.03.2024 14:08:00.000  Cannot open contact: hr = 80004005";
    const auto runs = runsOf(log + "\r\n05.03.2024 14:09:00.000  Cannot open contact: hr = 80004005");
    ASSERT_THAT(runs[0].findings, SizeIs(1));
    EXPECT_EQ(runs[0].findings[0].count, 1001U);
    EXPECT_EQ(runs[0].findings[0].first, "05.03.2024 14:08:00.000");
    EXPECT_EQ(runs[0].findings[0].last, "05.03.2024 14:09:00.000");
}

TEST(LogRunsTest, TellARunWithoutAnEnd)
{
    const std::string killed = logOf({logHeader, started, "Start MAPI thread...", "Subscribe to Mailbox"});
    const auto runs = runsOf(killed + "\r\n\r\n" + killed);
    ASSERT_THAT(runs, SizeIs(2));
    EXPECT_EQ(runs[0].how, End::None);
    EXPECT_TRUE(runs[0].followed);
    EXPECT_EQ(runs[0].lastText, "Subscribe to Mailbox");
    EXPECT_FALSE(runs[1].followed);
}

TEST(LogRunsTest, TellAnEndForWantOfMemory)
{
    const auto runs = runsOf(logOf({logHeader, started, "Start MAPI thread...",
                                    "mapi::allocate, line 39: hr = 0x8007000e(MAPI cannot allocate buffer for cb = "
                                    "1parent = 0000000000000000)"}));
    EXPECT_EQ(runs[0].how, End::OutOfMemory);
    EXPECT_TRUE(runs[0].hasProblems());
}

TEST(LogRunsTest, GoOnWhereLinesAreTornAndBytesAreForeign)
{
    const std::string torn = goodRun.substr(40) + "\r\n\r\n" + goodRun;
    const auto runs = runsOf("stray \xFF line\r\n" + torn.substr(0, torn.size() - 300) + "\r\n05.03.2024 14:0");
    ASSERT_THAT(runs, SizeIs(2));
    EXPECT_FALSE(runs[0].hasStart);
    EXPECT_EQ(runs[0].how, End::Asked);
    EXPECT_TRUE(runs[1].hasStart);
    EXPECT_EQ(runs[1].how, End::None);
}

TEST(LogRunsTest, KeepTwoProcessesInOneFileFromHidingEachOther)
{
    const auto runs =
        runsOf(logOf({logHeader, started, "Start MAPI thread...", logHeader, started, "Start MAPI thread...",
                      "WM_CLOSE received", "Done", logFooter, "WM_CLOSE received", "Done", logFooter}));
    ASSERT_THAT(runs, SizeIs(3));
    EXPECT_EQ(runs[0].how, End::None);
    EXPECT_EQ(runs[1].how, End::Asked);
    EXPECT_FALSE(runs[2].hasStart) << "what the first process wrote behind the end of the second";
    EXPECT_EQ(runs[2].how, End::Asked);
}

TEST(LogRunsTest, FollowARunThroughARotation)
{
    const auto runs =
        runsOf(logOf({logHeader, started, "Start MAPI thread...", "Subscribe to Mailbox(continue to the next log file)",
                      "| (continue logging)", "WM_CLOSE received(continue to the next log file)(continue logging)",
                      "Done", logFooter}));
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_EQ(runs[0].watched, 1U);
    EXPECT_EQ(runs[0].how, End::Asked);
}

TEST(LogRunsTest, KeepNoMoreThanTheirLimits)
{
    std::string log = logOf({logHeader, started});
    for (int number = 0; number < 1000; ++number)
        log += "\r\n05.03.2024 14:08:00.000  Message Store found: " + std::to_string(number) +
               " (x), Default: false, Public: false, EntryId: 00";
    const auto runs = runsOf(log);
    EXPECT_EQ(runs[0].storeCount, 1000U);
    EXPECT_THAT(runs[0].stores, SizeIs(diagnosis::Run::storesKept));
}
} // namespace
} // namespace diagnosis
