// linkwell-closeagent: what it closes, what it says, and its exit value.
#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/ProgramRun.h"

namespace endtoend
{
namespace
{
constexpr std::string_view oneEmptyStore = R"({"stores": [{"name": "Mailbox", "default": true}]})";

support::ProgramRun runTool(const std::wstring& arguments = {})
{
    return support::runProgram(L'"' + (programFolder() / L"linkwell-closeagent.exe").wstring() + L"\" " + arguments);
}

/// A window that is found as an agent's, in this process, which does not end for it.
class StubbornWindow
{
public:
    StubbornWindow()
    {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = DefWindowProcW;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = className;
        RegisterClassW(&windowClass);
        m_window = CreateWindowExW(0, className, L"", 0, 0, 0, 0, 0, nullptr, nullptr, windowClass.hInstance, nullptr);
        if (m_window == nullptr)
            support::throwLastError("CreateWindowExW");
    }
    ~StubbornWindow()
    {
        DestroyWindow(m_window);
        UnregisterClassW(className, GetModuleHandleW(nullptr));
    }
    StubbornWindow(const StubbornWindow&) = delete;
    StubbornWindow& operator=(const StubbornWindow&) = delete;

private:
    static constexpr const wchar_t* className = L"CorvenaLinkwellWindow";
    HWND m_window;
};

using CloseAgentTest = EndToEndTest;

TEST_F(CloseAgentTest, ClosesAllAgentsOfTheSession)
{
    startAgentOn(oneEmptyStore);
    ASSERT_TRUE(waitForLog("Subscribe to Mailbox"));
    const AgentProcess second(L"/log=" + file(L"second.log"), file(L"second.txt"));
    ASSERT_TRUE(waitForRecord(file(L"second.log"), "Subscribe to Mailbox", second.process(), support::deadline));

    const support::ProgramRun tool = runTool();
    EXPECT_EQ(tool.status, 0U);
    EXPECT_EQ(tool.errors, "");
    EXPECT_EQ(agent().waitForExit(), 0U);
    EXPECT_EQ(second.waitForExit(), 0U);
}

TEST_F(CloseAgentTest, SaysHowManyItHasLeft)
{
    startAgentOn(oneEmptyStore);
    ASSERT_TRUE(waitForLog("Subscribe to Mailbox"));
    const StubbornWindow other;

    const support::ProgramRun tool = runTool(L"--timeout 5");
    EXPECT_EQ(tool.status, 3U);
    EXPECT_EQ(tool.errors, "linkwell-closeagent: left 1 of 2 agents running\r\n");
    EXPECT_EQ(agent().waitForExit(), 0U);
}

TEST_F(CloseAgentTest, SaysThatNoneRuns)
{
    const support::ProgramRun tool = runTool();
    EXPECT_EQ(tool.status, 1U);
    EXPECT_EQ(tool.errors, "linkwell-closeagent: no agent runs\r\n");
}

TEST(CloseAgentToolTest, TellsItsVersion)
{
    const support::ProgramRun tool = runTool(L"--version");
    EXPECT_EQ(tool.status, 0U);
    EXPECT_EQ(tool.output, "linkwell-closeagent " LINKWELL_VERSION "\r\n");
}

TEST(CloseAgentToolTest, ClosesNothingForArgumentsThatItDoesNotKnow)
{
    const StubbornWindow other;
    for (const wchar_t* arguments : {L"--help", L"--timeout", L"--timeout 5s", L"--timeout -1", L"--version 1"})
    {
        const support::ProgramRun tool = runTool(arguments);
        EXPECT_EQ(tool.status, 2U);
        EXPECT_EQ(tool.errors, "linkwell-closeagent: usage: linkwell-closeagent [--timeout SECONDS | --version]\r\n");
        MSG message;
        EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_CLOSE, WM_CLOSE, PM_REMOVE));
    }
}
} // namespace
} // namespace endtoend
