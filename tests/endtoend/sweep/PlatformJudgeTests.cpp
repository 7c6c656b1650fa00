// The judge of the sweep over calls to Windows: it complains of each thing that it is there for, and of nothing else.
#include <string_view>

#include "tests/endtoend/sweep/PlatformJudge.h"
#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string addsAnn = "2;snapshot;contact;0;1\nAnn;;;;;;;;;;00A1;00C1";
const std::string addsKim = "2;add;contact;0;1\nKim;;;;;;;;;;00A3;00C1";
const std::string refused = "Unable to send data through ipc channel";
const Records beginning = {std::string(support::logHeader), "Started agent", "Start MAPI thread..."};

FaultPoint failing(std::string_view name)
{
    FaultPoint point{0, 0, 1};
    while (platformfaults::functions.at(point.function).name != name)
        ++point.function;
    return point;
}

/// What is left of a run with these records behind those of the start, and with the messages that they say are sent.
PlatformRun leftOf(const Records& records,
                   const Records& end = joined({{"Shutdown...", "MAPI thread finished"}, orderlyEnd}))
{
    PlatformRun run;
    run.left.exitValue = 0;
    run.left.log = joined({beginning, records, end});
    run.left.messages = sentIn(run.left.log);
    run.left.report = nothingHeld;
    run.isMet = true;
    run.isOnWorker = true;
    return run;
}

class PlatformJudgeTest : public testing::Test
{
protected:
    [[nodiscard]] Verdict of(std::string_view function, const PlatformRun& run) const
    {
        return m_judge.verdict(failing(function), run);
    }
    void expectComplaint(std::string_view function, const PlatformRun& run, const std::string& complaint) const
    {
        EXPECT_THAT(of(function, run).complaints, ElementsAre(StartsWith(complaint)));
    }

    const Records m_all = {sending(addsAnn), "Notification 4", sending(addsKim), "WM_CLOSE received"};
    const PlatformRun m_whole = leftOf(m_all);
    const PlatformJudge m_judge{m_whole.left};
};

TEST_F(PlatformJudgeTest, HasNothingAgainstWhatIsAllowed)
{
    EXPECT_THAT(of("CloseHandle", m_whole).complaints, IsEmpty());
    EXPECT_EQ(of("CloseHandle", m_whole).outcome, "all said");

    PlatformRun less = leftOf({sending(addsAnn), "Notification 4", sending(addsKim),
                               caught("AdviseSinkImpl::OnNotify", refused), "WM_CLOSE received"});
    less.left.messages.pop_back();
    EXPECT_THAT(of("WaitNamedPipeW", less).complaints, IsEmpty());
    EXPECT_EQ(of("WaitNamedPipeW", less).outcome, "less said");

    const PlatformRun log = leftOf({sending(addsAnn), sending(addsKim), "WM_CLOSE received"});
    EXPECT_THAT(of("WriteFile", log).complaints, IsEmpty());
    EXPECT_EQ(of("WriteFile", log).outcome, "log lost");
}

TEST_F(PlatformJudgeTest, MindsWhatTheFunctionMustNotComeTo)
{
    expectComplaint("CloseHandle", leftOf({sending(addsAnn), sending(addsKim), "WM_CLOSE received"}),
                    "it came to: log lost");
}

TEST_F(PlatformJudgeTest, MindsAMessageOfNoOtherRun)
{
    PlatformRun run = m_whole;
    run.left.messages.front() += '!';
    expectComplaint("WaitNamedPipeW", run, "a message that is none of the whole");
}

TEST_F(PlatformJudgeTest, MindsARecordTooMany)
{
    expectComplaint("WaitNamedPipeW",
                    leftOf({sending(addsAnn), "Notification 4", "Cuckoo", sending(addsKim),
                            caught("AdviseSinkImpl::OnNotify", refused), "WM_CLOSE received"}),
                    "a record of another run: Cuckoo");
}

TEST_F(PlatformJudgeTest, MindsALossThatNoRecordTells)
{
    PlatformRun run = m_whole;
    run.left.messages.pop_back();
    expectComplaint("WriteFile", run, "what is lost does not stand in the log");
}

TEST_F(PlatformJudgeTest, MindsMoreThanOneLostRecord)
{
    PlatformRun run = leftOf({"WM_CLOSE received"});
    run.left.messages = m_whole.left.messages;
    expectComplaint("WriteFile", run, "more than one record is lost");
}

TEST_F(PlatformJudgeTest, MindsWhatIsHeldAndWhatStandardErrorHas)
{
    PlatformRun run = m_whole;
    run.left.report = "IMsgStore from IMAPISession::OpenMsgStore: 1 object(s), 1 reference(s)\n";
    expectComplaint("CloseHandle", run, "held at the end: IMsgStore");
    run = m_whole;
    run.left.standardError = "oh";
    expectComplaint("CloseHandle", run, "standard error: oh");
}

TEST_F(PlatformJudgeTest, MindsACallThatHasNotComeUnlessItsNumberIsAMatterOfTime)
{
    PlatformRun run = m_whole;
    run.isMet = false;
    expectComplaint("WriteFile", run, "the call has not come");
    EXPECT_THAT(of("CloseHandle", run).complaints, IsEmpty());
}

TEST_F(PlatformJudgeTest, MindsAnAbortWhereTheWorkerCatches)
{
    PlatformRun run = leftOf({}, {});
    run.left.exitValue = 3;
    expectComplaint("malloc", run, "the process need not have been aborted");
    run.isOnWorker = false;
    EXPECT_THAT(of("malloc", run).complaints, IsEmpty());
}

TEST_F(PlatformJudgeTest, MindsACrashAndAnEndOutOfOrder)
{
    PlatformRun run = leftOf({sending(addsAnn), "Notification 4"}, {});
    run.left.exitValue = run.exception = EXCEPTION_ACCESS_VIOLATION;
    expectComplaint("malloc", run, "a crash");
    const Records end = joined({{"Shutdown..."}, orderlyEnd, {"MAPI thread finished"}});
    expectComplaint("CloseHandle", leftOf(m_all, end), "it came to: log lost");
}
} // namespace
} // namespace endtoend::sweep
