// MapiTest.h: the fixture of tests that use MAPI objects.
#pragma once

#include <gtest/gtest.h>

#include "agent/mapi/MapiSession.h"
#include "tests/support/Failures.h"
#include "tests/support/FakeCom.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestRuntime.h"
#include "utilities/StopRequested.h"

namespace support
{
/// Gives each test a MAPI runtime and a log of its own. When the test ends there is no session, `stopRequested` is
/// false, and every fake and every MAPI block must be gone.
class MapiTest : public testing::Test
{
protected:
    ~MapiTest() override
    {
        mapi::Session::s_session = nullptr;
        utilities::stopRequested = false;
        EXPECT_EQ(s_liveFakes, 0) << "interface references are still held";
    }

    /// What has been logged so far, without line numbers.
    [[nodiscard]] std::vector<std::string> log() const { return withoutLineNumbers(m_log.lines()); }

    /// The message of the exception that `action` must throw, without line numbers.
    template <class Action>
    [[nodiscard]] static std::wstring thrown(Action action)
    {
        return withoutLineNumbers(thrownBy(action));
    }

    TestRuntime m_runtime; // fails the test for blocks that are left
    ScopedLog m_log;
};
} // namespace support
