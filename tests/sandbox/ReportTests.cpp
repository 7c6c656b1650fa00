// What the sandbox says on standard error and in its end report, by a client in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/TempFolder.h"
#include "tests/support/sandbox/SandboxDll.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
class ReportTest : public testing::Test
{
protected:
    /// Runs the client with this mailbox file and gives its exit status.
    DWORD run(const std::wstring& arguments = L"")
    {
        m_run = support::runProgram(L"\"" + sandboxtest::besideThisProgram(L"linkwell_sandbox_holder.exe") + L"\" " +
                                    arguments);
        return m_run.status;
    }

    void writeMailbox(const std::string& json) { support::writeBytes(m_folder.path() / L"mailbox.json", json); }
    std::string report() const { return support::readBytes(m_folder.path() / L"report.txt"); }
    const std::string& errors() const { return m_run.errors; }

    support::TempFolder m_folder;
    support::ProgramRun m_run;
    support::EnvironmentVariable m_mailbox{L"LINKWELL_SANDBOX_MAILBOX", m_folder.file(L"mailbox.json")};
    support::EnvironmentVariable m_report{L"LINKWELL_SANDBOX_REPORT", m_folder.file(L"report.txt")};
};

const char* const oneStore = R"({"stores":[{"name":"Four"}]})";
} // namespace

TEST_F(ReportTest, SaysThatNothingIsHeld)
{
    writeMailbox(oneStore);
    EXPECT_EQ(run(L"nothing"), 0u);
    EXPECT_EQ(report(), "Nothing is held.\n");
    EXPECT_EQ(errors(), "");
}

TEST_F(ReportTest, NamesWhatIsHeldByCall)
{
    writeMailbox(oneStore);
    EXPECT_EQ(run(L"property table property session"), 0u);
    EXPECT_EQ(report(), "HrGetOneProp: 2 block(s), 68 bytes\n"
                        "IMAPISession from MAPILogonEx: 1 object(s), 1 reference(s)\n"
                        "IMAPITable from IMAPISession::GetMsgStoresTable: 1 object(s), 1 reference(s)\n");
}

TEST_F(ReportTest, NamesMisuseThatOnlyTheEndShows)
{
    writeMailbox(oneStore);
    EXPECT_EQ(run(L"scribble"), 0u);
    EXPECT_EQ(report(), "Nothing is held.\n"
                        "Misuse: a block was written to after it had been freed, HrGetOneProp: 1 time(s)\n");
}

TEST_F(ReportTest, WritesNoReportUnasked)
{
    writeMailbox(oneStore);
    ASSERT_TRUE(SetEnvironmentVariableW(L"LINKWELL_SANDBOX_REPORT", nullptr));
    EXPECT_EQ(run(), 0u);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path() / L"report.txt"));
}

TEST_F(ReportTest, ComplainsAboutABadMailboxWithItsPlace)
{
    writeMailbox("{\n  \"stores\": [ { \"default\": true } ]\n}\n");
    EXPECT_EQ(run(), 1u);
    EXPECT_THAT(errors(),
                MatchesRegex("LinkwellSandbox: .*mailbox.json: line 2, column 15: /stores/0: 'name' is missing\n"));
    writeMailbox("{\n  \"stores\": [\n}\n");
    EXPECT_EQ(run(), 1u);
    EXPECT_THAT(errors(), HasSubstr("mailbox.json: line 3, column 1: unexpected '}'"));
}

TEST_F(ReportTest, ComplainsAboutAMissingMailbox)
{
    EXPECT_EQ(run(), 1u);
    EXPECT_THAT(errors(), MatchesRegex("LinkwellSandbox: .*mailbox.json: the file can't be opened\n"));
    ASSERT_TRUE(SetEnvironmentVariableW(L"LINKWELL_SANDBOX_MAILBOX", nullptr));
    EXPECT_EQ(run(), 1u);
    EXPECT_EQ(errors(), "LinkwellSandbox: no mailbox: LINKWELL_SANDBOX_MAILBOX names no file\n");
}
