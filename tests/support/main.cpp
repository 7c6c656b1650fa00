// The main function of every test program.
#include <gmock/gmock.h>

#include "tests/support/CrashGuard.h"
#include "tests/support/Watchdog.h"

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    support::CrashGuard::install();
    support::Watchdog::install();
    return RUN_ALL_TESTS();
}
