// What the sandbox tells on standard error and in its end report, by a client in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/sandbox/SandboxDll.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
/// Sets a variable of this process, which its children inherit, for the life of this object.
class Variable
{
public:
    Variable(const wchar_t* name, const std::wstring& value) : m_name(name)
    {
        if (SetEnvironmentVariableW(name, value.c_str()) == FALSE)
            support::throwLastError("SetEnvironmentVariableW");
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { SetEnvironmentVariableW(m_name, nullptr); }

private:
    const wchar_t* m_name;
};

class ReportTest : public testing::Test
{
protected:
    /// Runs the client with this mailbox file and gives its exit status.
    DWORD run(const std::wstring& arguments = L"")
    {
        SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        // A file of its own for each run: the one before may still be open for a moment after its process has ended.
        ++m_runs;
        const support::Handle errors =
            support::checkedFile(CreateFileW(errorsFile().c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                                             CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr),
                                 "CreateFileW");
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdError = errors.get();
        const std::wstring commandLine =
            L"\"" + sandboxtest::besideThisProgram(L"linkwell_sandbox_holder.exe") + L"\" " + arguments;
        const PROCESS_INFORMATION process = support::startChild(nullptr, commandLine, 0, nullptr, startup);
        const support::Handle processHandle(process.hProcess);
        const support::Handle threadHandle(process.hThread);
        const auto deadline = std::chrono::milliseconds(support::deadline);
        EXPECT_EQ(WaitForSingleObject(process.hProcess, static_cast<DWORD>(deadline.count())), WAIT_OBJECT_0);
        DWORD status = 0;
        EXPECT_TRUE(GetExitCodeProcess(process.hProcess, &status));
        return status;
    }

    void writeMailbox(const std::string& json) { support::writeBytes(m_folder.path() / L"mailbox.json", json); }
    std::string report() const { return support::readBytes(m_folder.path() / L"report.txt"); }
    std::string errors() const { return support::readBytes(errorsFile()); }

    std::wstring errorsFile() const { return m_folder.file(L"errors" + std::to_wstring(m_runs)); }

    support::TempFolder m_folder;
    int m_runs = 0;
    Variable m_mailbox{L"LINKWELL_SANDBOX_MAILBOX", m_folder.file(L"mailbox.json")};
    Variable m_report{L"LINKWELL_SANDBOX_REPORT", m_folder.file(L"report.txt")};
};

const char* const s_oneStore = R"({"stores":[{"name":"Four"}]})";
} // namespace

TEST_F(ReportTest, SaysThatNothingIsHeld)
{
    writeMailbox(s_oneStore);
    EXPECT_EQ(run(L"nothing"), 0u);
    EXPECT_EQ(report(), "Nothing is held.\n");
    EXPECT_EQ(errors(), "");
}

TEST_F(ReportTest, NamesWhatIsHeldByCall)
{
    writeMailbox(s_oneStore);
    EXPECT_EQ(run(L"property table property session"), 0u);
    EXPECT_EQ(report(), "HrGetOneProp: 2 block(s), 68 bytes\n"
                        "IMAPISession from MAPILogonEx: 1 object(s), 1 reference(s)\n"
                        "IMAPITable from IMAPISession::GetMsgStoresTable: 1 object(s), 1 reference(s)\n");
}

TEST_F(ReportTest, NamesMisuseThatOnlyTheEndShows)
{
    writeMailbox(s_oneStore);
    EXPECT_EQ(run(L"scribble"), 0u);
    EXPECT_EQ(report(), "Nothing is held.\n"
                        "Misuse: a block was written to after it had been freed, HrGetOneProp: 1 time(s)\n");
}

TEST_F(ReportTest, WritesNoReportUnasked)
{
    writeMailbox(s_oneStore);
    ASSERT_TRUE(SetEnvironmentVariableW(L"LINKWELL_SANDBOX_REPORT", nullptr));
    EXPECT_EQ(run(), 0u);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path() / L"report.txt"));
}

TEST_F(ReportTest, ComplainsAboutABadMailboxWithItsPlace)
{
    writeMailbox("{\n  \"stores\": [ { \"nam\": \"S\" } ]\n}\n");
    EXPECT_EQ(run(), 1u);
    EXPECT_THAT(errors(), MatchesRegex("LinkwellSandbox: .*mailbox.json: /stores/0: 'name' is missing\n"));
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
