#include "tests/support/runner/Watchdog.h"

#include <windows.h>

#include <gmock/gmock.h>

namespace
{
const testing::TestInfo& runningTest()
{
    return *testing::UnitTest::GetInstance()->current_test_info();
}

TEST(WatchdogDeathTest, EndsTheProgramWithTheNameWhenATestHangs)
{
    const auto hang = []
    {
        support::Watchdog watchdog(std::chrono::seconds(1));
        watchdog.OnTestStart(runningTest());
        Sleep(INFINITE);
    };
    EXPECT_EXIT(hang(), testing::ExitedWithCode(support::Watchdog::exitCode),
                "WatchdogDeathTest.EndsTheProgramWithTheNameWhenATestHangs still runs after 1 s");
}

TEST(WatchdogTest, EndsWithoutAWaitWhenNoTestRuns)
{
    support::Watchdog watchdog(std::chrono::hours(1));
    watchdog.OnTestStart(runningTest());
    watchdog.OnTestEnd(runningTest());
}
} // namespace
