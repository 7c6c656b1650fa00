// The ways in which the agent is asked to close.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
constexpr std::string_view emptyStore = R"({"stores": [{"name": "Mailbox", "default": true}])";

class AgentCloseTest : public EndToEndTest
{
protected:
    void startAndWait(const std::string& more = "")
    {
        startAgentOn(std::string(emptyStore) + more + "}");
        ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    }

    /// The whole log, with these records behind the last of the start.
    Records closedLog(const Records& request, const Records& ending = orderlyEnd) const
    {
        return wholeLog(joined({{storeFound("Mailbox", 1, true)},
                                snapshot("Mailbox", "", {}, {}),
                                subscribed("Mailbox"),
                                request,
                                {"Shutdown...", "Unadvise hr = 0", "MAPI thread finished"},
                                ending}));
    }
};

struct CloseRequest
{
    const char* name;
    bool (*post)(const AgentProcess& agent);
    const char* record; // in front of "Shutdown..."; null for none
};

class AgentCloseRequestTest : public AgentCloseTest, public testing::WithParamInterface<CloseRequest>
{
};

TEST_P(AgentCloseRequestTest, EndsInOrder)
{
    startAndWait();
    ASSERT_TRUE(GetParam().post(agent()));
    expectRun(finish(), closedLog(GetParam().record != nullptr ? Records{GetParam().record} : Records()));
}

INSTANTIATE_TEST_SUITE_P(
    Requests, AgentCloseRequestTest,
    testing::Values(
        CloseRequest{"ClosedWindow", [](const AgentProcess& agent) { return agent.postToWindow(WM_CLOSE); },
                     "WM_CLOSE received"},
        CloseRequest{"ClosedThread", [](const AgentProcess& agent) { return agent.postToMainThread(WM_CLOSE); },
                     "WM_CLOSE for thread received, will quit"},
        CloseRequest{"QuitThread", [](const AgentProcess& agent) { return agent.postToMainThread(WM_QUIT); }, nullptr},
        CloseRequest{"AltF4", [](const AgentProcess& agent) { return agent.pressAltF4(); }, nullptr},
        CloseRequest{"Command", [](const AgentProcess& agent)
                     { return agent.postToWindow(WM_COMMAND, MAKEWPARAM(8, 0)); }, nullptr},
        CloseRequest{"AnotherCommandInFront", // in the same queue, and without an effect
                     [](const AgentProcess& agent)
                     { return agent.postToWindow(WM_COMMAND, MAKEWPARAM(9, 1)) && agent.postToWindow(WM_CLOSE); },
                     "WM_CLOSE received"}),
    [](const auto& test) { return test.param.name; });

TEST_F(AgentCloseTest, KeepsItsWindowHiddenAndWithoutAMenu)
{
    startAndWait();
    const HWND window = agent().window();
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(GetMenu(window), nullptr); // the class names one that does not exist
    wchar_t title[32] = {};
    EXPECT_EQ(InternalGetWindowText(window, title, 32), 8);
    EXPECT_STREQ(title, L"Linkwell");
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    EXPECT_EQ(finish().exitValue, 0U);
}

TEST_F(AgentCloseTest, LogsALogoffThatFailsOrWarns)
{
    for (const std::string code : {"80040115", "40380"})
    {
        startAndWait(", " + plansFor({{R"("method": "IMAPISession::Logoff")", "0x" + code}}));
        ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
        Records ending = orderlyEnd;
        ending.insert(ending.begin() + 2, "HRESULT logged: mapi::Session::logoff, line N: hr = 0x" + code);
        expectRun(finish(), closedLog({"WM_CLOSE received"}, ending));
        ASSERT_TRUE(DeleteFileW(logFile().c_str()));
    }
}
} // namespace
} // namespace endtoend
