#include "tests/support/runner/CrashGuard.h"

#include <windows.h>

#include <future>

#include <gtest/gtest.h>

namespace
{
/// An address at which there is never anything, and not 0, which checks of a hardened build find first; volatile, so that no
/// compiler sees that.
int* volatile s_nowhere = reinterpret_cast<int*>(sizeof(int));

TEST(CrashGuardDeathTest, EndsTheProgramWithTheTestsNameWhenItCrashes)
{
    EXPECT_EXIT(*s_nowhere = 1, testing::ExitedWithCode(support::CrashGuard::exitCode),
                "CrashGuardDeathTest.EndsTheProgramWithTheTestsNameWhenItCrashes crashed: exception 0xc0000005 at ");
}

TEST(CrashGuardDeathTest, EndsTheProgramWhenAnotherThreadCrashes)
{
    EXPECT_EXIT(std::async(std::launch::async, [] { *s_nowhere = 1; }).wait(),
                testing::ExitedWithCode(support::CrashGuard::exitCode), "crashed: exception 0xc0000005");
}

TEST(CrashGuardDeathTest, EndsTheProgramWhenItCrashesAfterOtherThreadsHaveRun)
{
    const auto crashLater = []
    {
        std::async(std::launch::async, [] {}).wait();
        *s_nowhere = 1;
    };
    EXPECT_EXIT(crashLater(), testing::ExitedWithCode(support::CrashGuard::exitCode), "crashed");
}

TEST(CrashGuardTest, LeavesExceptionsOfTheLanguageAlone)
{
    EXPECT_THROW(throw 42, int);
}
} // namespace
