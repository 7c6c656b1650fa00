// The judge of the sweeps: it complains of each thing that it is there for, and of nothing else.
#include <functional>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string snapshotOfA = "2;snapshot;contact;0;2\nAnn;;;;;ann@x;;;;;00A1;00C1";
const std::string snapshotOfB = "2;snapshot;contact;1;2\nBob;;;;;;;;;;00A2;00C2";
const std::string addition = "2;add;contact;0;1\nKim;;;;;;;;;;00A3;00C1";

AgentRun runWith(const Records& records)
{
    AgentRun run;
    run.exitValue = 0;
    run.log = joined({{std::string(support::logHeader), "Message Store found: A", "Message Store found: B"},
                      records,
                      {std::string(support::logFooter)}});
    run.messages = sentIn(run.log);
    run.report = nothingHeld;
    return run;
}

class JudgeTest : public testing::Test
{
protected:
    [[nodiscard]] std::vector<std::string> complaintsOf(const AgentRun& run, const Allowance& allowance = {}) const
    {
        return m_judge.complaints(run, allowance);
    }

    const Judge m_judge{runWith({sending(snapshotOfA), sending(snapshotOfB), sending(addition)})};
    const std::string m_failure = workerFailed("a failure");
};

TEST_F(JudgeTest, HasNothingAgainstTheReferenceRun)
{
    EXPECT_THAT(complaintsOf(m_judge.reference()), IsEmpty());
    EXPECT_EQ(m_judge.outcome(m_judge.reference()), "all said");
}

TEST_F(JudgeTest, HasNothingAgainstALineFeedAtTheEndWhichTheLogDoesNotHave)
{
    AgentRun run = m_judge.reference();
    run.messages.back() += '\n';
    EXPECT_THAT(complaintsOf(run), Not(Contains("the host has not what the log says was sent")));
}

TEST_F(JudgeTest, HasNothingAgainstALossThatStandsInTheLog)
{
    const AgentRun run = runWith({sending("2;snapshot;contact;0;2\nAnn;;;;;;;;;;00A1;00C1"), m_failure});
    EXPECT_THAT(complaintsOf(run), IsEmpty());
    EXPECT_EQ(m_judge.outcome(run), "worker ended");
}

TEST_F(JudgeTest, MindsALossThatDoesNot)
{
    const AgentRun run = runWith({sending(snapshotOfA), sending(snapshotOfB)});
    EXPECT_THAT(complaintsOf(run), ElementsAre("what is lost does not stand in the log"));
    EXPECT_THAT(complaintsOf(run, {.losesSilently = true}), IsEmpty());
    EXPECT_EQ(m_judge.outcome(run), "less said");
}

TEST_F(JudgeTest, HasNothingAgainstAnAddressThatIsLostWithoutAWord)
{
    const std::string withoutAddress = "2;snapshot;contact;0;2\nAnn;;;;;;;;;;00A1;00C1";
    EXPECT_THAT(complaintsOf(runWith({sending(withoutAddress), sending(snapshotOfB), sending(addition)})), IsEmpty());
}

TEST_F(JudgeTest, MindsAnExchangeAddress)
{
    const AgentRun run = runWith({sending("2;snapshot;contact;0;2\nAnn;;;;;/o=X/cn=Ann;;;;;00A1;00C1"), m_failure});
    EXPECT_THAT(complaintsOf(run), ElementsAre(StartsWith("untrue: ")));
    EXPECT_THAT(complaintsOf(run, {.misreads = true}), IsEmpty());
}

TEST_F(JudgeTest, MindsAStatementThatIsNotTrue)
{
    const std::string other = "2;add;contact;0;1\nTom;;;;;;;;;;00A3;00C1";
    EXPECT_THAT(complaintsOf(runWith({sending(other), m_failure})),
                ElementsAre("untrue: 2;add;contact Tom;;;;;;;;;;00A3;00C1"));
    for (const char* const deletion : {"2;delete;contact;0;1\n;;;;;;;;;;00A3;", "2;delete;folder;0;1\n00C1"})
    {
        EXPECT_THAT(complaintsOf(runWith({sending(deletion), m_failure})), ElementsAre(StartsWith("untrue: ")));
        EXPECT_THAT(complaintsOf(runWith({sending(deletion), m_failure}), {.misplaces = true}), IsEmpty());
    }
    EXPECT_THAT(
        complaintsOf(runWith({sending("2;delete;contact;0;1\n;;;;;;;;;;00A9;"), m_failure}), {.misplaces = true}),
        ElementsAre(StartsWith("untrue: ")));
}

TEST_F(JudgeTest, MindsAnAdditionInPlaceOfAChange)
{
    const Judge judge(runWith({sending("2;change;contact;0;1\nKim;;;;;;;;;;00A3;00C1")}));
    const AgentRun run = runWith({sending(addition), m_failure});
    EXPECT_THAT(judge.complaints(run, {}), ElementsAre(StartsWith("untrue: ")));
    EXPECT_THAT(judge.complaints(run, {.misplaces = true}), IsEmpty());
}

TEST_F(JudgeTest, MindsHeadersThatDoNotCount)
{
    for (const std::string header :
         {"2;snapshot;contact;1;1", "2;snapshot;contact;2;2", "2;snapshot;contact;0;3", "2;add;contact;1;2",
          "2;add;folder;0;1", "3;add;contact;0;1", "2;lose;contact;0;1"})
        EXPECT_THAT(complaintsOf(runWith({sending(header + "\nx"), m_failure})),
                    Contains(AllOf(testing::Not(StartsWith("untrue: ")), HasSubstr(header))));
    for (const char* const message : {"", "2;add;contact;0;1"})
        EXPECT_THAT(complaintsOf(runWith({sending(message), m_failure})),
                    ElementsAre(StartsWith("a message that is none")));
    EXPECT_THAT(complaintsOf(runWith({sending(snapshotOfB), sending(snapshotOfA), m_failure})),
                ElementsAre("a snapshot out of turn: 2;snapshot;contact;0;2"));
    EXPECT_THAT(complaintsOf(runWith({sending(addition), sending(snapshotOfA), m_failure})),
                ElementsAre("a snapshot out of turn: 2;snapshot;contact;0;2"));
}

TEST_F(JudgeTest, MindsAHostThatHasNotWhatWasSentUnlessItHasRefused)
{
    AgentRun run = runWith({sending(snapshotOfA), m_failure});
    run.messages.clear();
    EXPECT_THAT(complaintsOf(run), ElementsAre("the host has not what the log says was sent"));
    run.log.insert(std::prev(run.log.end()), workerFailed("Unable to send data through ipc channel"));
    EXPECT_THAT(complaintsOf(run), IsEmpty());
}

TEST_F(JudgeTest, MindsABadEnd)
{
    AgentRun run = m_judge.reference();
    run.report = "MAPIAllocateBuffer: 1 block(s), 8 bytes\n";
    EXPECT_THAT(complaintsOf(run), ElementsAre(StartsWith("held at the end: ")));
    EXPECT_THAT(complaintsOf(run, {.holds = true}), IsEmpty());
    run.report = "HrGetOneProp: 1 block(s), 56 bytes\n"; // settled behaviour 15
    EXPECT_THAT(complaintsOf(run), IsEmpty());
    run.report += "Misuse: a block was freed twice\n";
    EXPECT_THAT(complaintsOf(run), ElementsAre(StartsWith("held at the end: ")));

    run = m_judge.reference();
    run.standardError = "oh";
    EXPECT_THAT(complaintsOf(run), ElementsAre("standard error: oh"));

    run = m_judge.reference();
    run.log.pop_back();
    EXPECT_THAT(complaintsOf(run), ElementsAre("the log has no footer"));
    run.log.erase(run.log.begin());
    EXPECT_THAT(complaintsOf(run), Contains("the log has no header"));

    run.exitValue = 3;
    run.report.clear();
    EXPECT_THAT(complaintsOf(run), Contains("the exit value is 3"));
    EXPECT_EQ(m_judge.outcome(run), "aborted");
    run.exitValue = std::nullopt;
    EXPECT_THAT(complaintsOf(run), ElementsAre("the process has not ended"));
    EXPECT_EQ(m_judge.outcome(run), "hangs");
}

TEST_F(JudgeTest, LetsAProcessAbortWhereItMay)
{
    AgentRun run = runWith({sending(snapshotOfA), "mapi::allocate, line N: hr = 0x80004005(MAPI cannot allocate buffer "
                                                  "for cb = 1parent = 0000000000000000)"});
    run.log.pop_back();
    run.exitValue = 3;
    run.report.clear();
    run.standardError = "terminate called";
    EXPECT_THAT(complaintsOf(run), ElementsAre("the exit value is 3"));
    EXPECT_THAT(complaintsOf(run, {.aborts = true}), IsEmpty());
    run.exitValue = 0xC0000005;
    EXPECT_THAT(complaintsOf(run, {.aborts = true}), ElementsAre("the exit value is 3221225477"));
    EXPECT_EQ(m_judge.outcome(run), "crashed");
}
} // namespace
} // namespace endtoend::sweep
