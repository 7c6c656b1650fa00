// The main function of every test program.
#include <cstdlib>
#include <iostream>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/runner/CrashGuard.h"
#include "tests/support/runner/Watchdog.h"

namespace
{
/// Takes the tests away that cmake's linkwell_leave_out names, whatever the filter chooses.
void leaveOut(const char* tests)
{
    std::string& filter = testing::GTEST_FLAG(filter);
    filter += (filter.find('-') == std::string::npos ? "-" : ":") + std::string(tests);
}
} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (const char* const tests = std::getenv("LINKWELL_LEFT_OUT"))
        leaveOut(tests);
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
