// The process entry where no log and no exit value show it.
#include <windows.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "utilities/ScopeGuard.h"

namespace
{
using support::hookImport;

TEST(MainTest, ForbidsMessageBoxesBeforeAnyOtherWork)
{
    const int runtimeMode = _set_error_mode(_OUT_TO_MSGBOX);
    const UINT systemMode = SetErrorMode(SEM_NOOPENFILEERRORBOX);
    const utilities::ScopeGuard restore(
        [&]
        {
            _set_error_mode(runtimeMode);
            SetErrorMode(systemMode);
        });
    int runtimeModeThen = 0;
    UINT systemModeThen = 0;
    const auto line = hookImport<"GetCommandLineW">(GetCommandLineW, // the first thing that the agent asks for
                                                    [&](auto original)
                                                    {
                                                        runtimeModeThen = _set_error_mode(_REPORT_ERRMODE);
                                                        systemModeThen = GetErrorMode();
                                                        return original();
                                                    });
    const auto noClass = hookImport<"RegisterClassExW">(RegisterClassExW, [](auto, auto) { return ATOM{0}; });
    EXPECT_EQ(WinMain(GetModuleHandleW(nullptr), nullptr, nullptr, 0), 0);
    EXPECT_EQ(line.count(), 2U);
    EXPECT_EQ(runtimeModeThen, _OUT_TO_STDERR);
    EXPECT_EQ(systemModeThen, UINT{SEM_FAILCRITICALERRORS}); // and reports of crashes as the system has them
}
} // namespace
