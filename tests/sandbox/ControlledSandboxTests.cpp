// The control pipe of the sandbox itself: when it is there, and a program that is edited while it runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/control/ControlClient.h"
#include "sandbox/control/ControlServer.h"
#include "tests/sandbox/RecordingHandler.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/TempFolder.h"
#include "tests/support/sandbox/SandboxDll.h"

using namespace std::chrono_literals;
using nlohmann::json;
using sandbox::ControlClient;
using sandboxtest::besideThisProgram;
using sandboxtest::SandboxDll;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
const char* const mailbox =
    R"({"stores":[{"name":"Mailbox","default":true,"folders":[{"name":"Contacts","class":"IPF.Contact"}]}]})";

/// The environment names a pipe and a mailbox.
class ControlledSandboxTest : public testing::Test
{
protected:
    ControlledSandboxTest() { support::writeBytes(m_folder.path() / L"mailbox.json", mailbox); }

    /// Whether there is such a pipe, free or not.
    [[nodiscard]] bool isPipeThere() const
    {
        return WaitNamedPipeW((L"\\\\.\\pipe\\" + m_name).c_str(), 1) != FALSE || GetLastError() == ERROR_SEM_TIMEOUT;
    }
    json ask(const json& request) const { return ControlClient(m_name, support::deadline).request(request); }

    const std::wstring m_name = support::uniqueName(L"LinkwellControl");
    const support::TempFolder m_folder;
    const support::EnvironmentVariable m_pipe{L"LINKWELL_SANDBOX_CONTROL", m_name};
    const support::EnvironmentVariable m_mailbox{L"LINKWELL_SANDBOX_MAILBOX", m_folder.file(L"mailbox.json")};
};

/// A client in a process of its own, which runs until `end`.
class ControlledProgram
{
public:
    explicit ControlledProgram(const std::wstring& arguments = L"")
    {
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        if (!CreatePipe(&read, &write, nullptr, 0))
            support::throwLastError("CreatePipe");
        const support::Handle input(read);
        m_input.reset(write); // the child must not have it, or its input would never end
        if (!SetHandleInformation(read, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
            support::throwLastError("SetHandleInformation");
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = read;
        const PROCESS_INFORMATION started = support::startChild(
            nullptr, L'"' + besideThisProgram(L"linkwell_sandbox_controlled.exe") + L"\" " + arguments, 0, startup);
        m_process.reset(started.hProcess);
        CloseHandle(started.hThread);
    }
    ControlledProgram(const ControlledProgram&) = delete;
    ControlledProgram& operator=(const ControlledProgram&) = delete;
    ~ControlledProgram() { TerminateProcess(m_process.get(), 1); }

    /// Lets it end; gives its exit status, or STILL_ACTIVE after `support::deadline`.
    [[nodiscard]] DWORD end()
    {
        m_input.reset();
        WaitForSingleObject(m_process.get(), static_cast<DWORD>(std::chrono::milliseconds(support::deadline).count()));
        DWORD status = 0;
        EXPECT_TRUE(GetExitCodeProcess(m_process.get(), &status));
        return status;
    }

private:
    support::Handle m_input;
    support::Handle m_process;
};

[[nodiscard]] support::ProgramRun sandboxctl(const std::wstring& arguments)
{
    return support::runProgram(L'"' + besideThisProgram(L"sandboxctl.exe") + L"\" --connect-timeout 30000 " +
                               arguments);
}
} // namespace

TEST_F(ControlledSandboxTest, HasItsPipeWhileItIsInitialised)
{
    SandboxDll dll;
    EXPECT_FALSE(isPipeThere());
    ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    EXPECT_EQ(ask({{"do", "list"}}).at("items").size(), 1u);
    ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    dll.MAPIUninitialize();
    ask({{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "Mara"}}}});
    EXPECT_EQ(ask({{"do", "list"}}).at("items").size(), 1u);
    dll.MAPIUninitialize();
    EXPECT_FALSE(isPipeThere());
    ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    EXPECT_THAT(ask({{"do", "list"}}).dump(), Not(HasSubstr("Mara"))); // edits end with the runtime
    dll.MAPIUninitialize();
    EXPECT_FALSE(isPipeThere());
    EXPECT_EQ(dll.report(), "Nothing is held.\n");
}

TEST_F(ControlledSandboxTest, EndsInTheMiddleOfARequest)
{
    SandboxDll dll;
    ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    ControlClient client(m_name, support::deadline);
    ASSERT_EQ(client.request({{"do", "list"}}).at("items").size(), 1u);
    auto waiting =
        std::async(std::launch::async,
                   [&]
                   {
                       client.request({{"do", "wait"},
                                       {"for", "advised"},
                                       {"count", 1},
                                       {"timeout", std::chrono::milliseconds(2 * support::deadline).count()}});
                   });
    const auto start = std::chrono::steady_clock::now();
    dll.MAPIUninitialize();
    EXPECT_LT(std::chrono::steady_clock::now() - start, support::deadline);
    EXPECT_THROW(waiting.get(), std::runtime_error); // refused, or not even read any more
}

TEST_F(ControlledSandboxTest, HasItsPipeForEveryThreadThatInitialises)
{
    SandboxDll dll;
    std::atomic<int> missed{0};
    std::vector<std::thread> threads;
    for (int count = 0; count < 4; ++count)
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < 100; ++round)
                {
                    if (FAILED(dll.MAPIInitialize(nullptr)) || !isPipeThere())
                        ++missed;
                    dll.MAPIUninitialize();
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(missed, 0);
    EXPECT_FALSE(isPipeThere());
    EXPECT_EQ(dll.report(), "Nothing is held.\n");
}

TEST_F(ControlledSandboxTest, LeavesNothingBehind)
{
    SandboxDll dll;
    const auto round = [&]
    {
        ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
        ask({{"do", "list"}});
        dll.MAPIUninitialize();
    };
    round();
    const DWORD before = support::handleCount();
    for (int count = 0; count < 50; ++count)
        round();
    EXPECT_LE(support::handleCount(), before);
}

TEST_F(ControlledSandboxTest, GoesOnWithoutItsPipeWhenSomebodyElseServesIt)
{
    sandboxtest::RecordingHandler handler(std::string("somebody else"));
    const sandbox::ControlServer server(m_name, std::ref(handler));
    const support::ProgramRun run =
        support::runProgram(L'"' + besideThisProgram(L"linkwell_sandbox_holder.exe") + L'"');
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.errors, "LinkwellSandbox: no control pipe \\\\.\\pipe\\" + std::string(m_name.begin(), m_name.end()) +
                              ": somebody else serves it\n");
    EXPECT_EQ(ControlClient(m_name, support::deadline).exchange("hello"), "somebody else");
}

TEST_F(ControlledSandboxTest, IsEditedWhileItsProgramRuns)
{
    ControlledProgram program;
    const support::ProgramRun before = sandboxctl(L"list Mailbox/Contacts");
    EXPECT_EQ(before.status, 0u) << before.errors;
    EXPECT_THAT(before.output, MatchesRegex(R"(Contacts  \(folder, IPF.Contact\)  #\w+)"
                                            "\n"));

    const support::ProgramRun added = sandboxctl(L"add contact Mailbox/Contacts --name \"Łukasz 春子\" --mobile 7");
    EXPECT_EQ(added.status, 0u) << added.errors;
    EXPECT_THAT(added.output, MatchesRegex("#\\w+\n"));

    const support::ProgramRun after = sandboxctl(L"list Mailbox/Contacts");
    EXPECT_EQ(after.status, 0u) << after.errors;
    EXPECT_EQ(after.output, before.output + "  Łukasz 春子  (message, IPM.Contact)  " + added.output);

    const support::ProgramRun refused = sandboxctl(L"delete Mailbox/Contacts/Nobody");
    EXPECT_EQ(refused.status, 1u);
    EXPECT_THAT(refused.errors, HasSubstr("Nobody"));
    EXPECT_EQ(program.end(), 0u);
    EXPECT_FALSE(isPipeThere());
}

TEST_F(ControlledSandboxTest, EndsWithItsProcessAlsoWithoutUninitialising)
{
    ControlledProgram program(L"exit");
    EXPECT_EQ(ask({{"do", "list"}}).at("items").size(), 1u);
    EXPECT_EQ(program.end(), 0u);
    EXPECT_FALSE(isPipeThere());
}

TEST_F(ControlledSandboxTest, StaysLoadedWhileItIsInitialised)
{
    ControlledProgram program(L"unload");
    EXPECT_EQ(ask({{"do", "list"}}).at("items").size(), 1u);
    EXPECT_EQ(ask({{"do", "list"}}).at("items").size(), 1u);
    EXPECT_EQ(program.end(), 0u);
}
