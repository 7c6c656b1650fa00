#include "utilities/StopRequested.h"

#include <gtest/gtest.h>

namespace
{
// Taken before any test runs.
const bool atStart = utilities::stopRequested;

TEST(StopRequestedTest, IsFalseAtStart)
{
    EXPECT_FALSE(atStart);
}

TEST(StopRequestedTest, StaysSetHoweverOftenItIsAskedFor)
{
    utilities::requestStop();
    EXPECT_TRUE(utilities::stopRequested);
    utilities::requestStop();
    EXPECT_TRUE(utilities::stopRequested);
    utilities::stopRequested = false; // for the tests that follow
}
} // namespace
