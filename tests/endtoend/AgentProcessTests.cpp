// The agent as a process of a test: that it can't be left behind.
#include <gtest/gtest.h>

#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/Platform.h"

namespace endtoend
{
namespace
{
using AgentProcessTest = EndToEndTest;

TEST_F(AgentProcessTest, EndsWithAnErrorWhenItsMainThreadHasEndedWithoutIt)
{
    startAgentOn(R"({"stores": [{"name": "Mailbox", "default": true}]})");
    ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    const DWORD mainThread = GetWindowThreadProcessId(agent().window(), nullptr);
    const support::Handle thread(OpenThread(THREAD_TERMINATE, FALSE, mainThread));
    ASSERT_TRUE(thread);
    ASSERT_TRUE(TerminateThread(thread.get(), 0));
    EXPECT_EQ(agent().waitForExit(), 3U);
}
} // namespace
} // namespace endtoend
