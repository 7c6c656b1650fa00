// The main function of every test program.
#include <iostream>

#include <gmock/gmock.h>

#include "tests/support/CrashGuard.h"
#include "tests/support/Watchdog.h"

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    support::CrashGuard::install();
    support::Watchdog::install();
    const int status = RUN_ALL_TESTS();
    // GoogleTest itself calls it a success when nothing has run.
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 0 && !testing::GTEST_FLAG(list_tests))
    {
        std::cerr << "error: no test fits the filter \"" << testing::GTEST_FLAG(filter) << "\"\n";
        return 1;
    }
    return status;
}
