#include "utilities/ScopeGuard.h"

#include <string>

#include <gtest/gtest.h>

namespace
{
using utilities::ScopeGuard;

TEST(ScopeGuardTest, CallsOnceAtTheEndOfTheScope)
{
    int calls = 0;
    {
        const ScopeGuard guard([&] { ++calls; });
        EXPECT_EQ(calls, 0);
    }
    EXPECT_EQ(calls, 1);
}

TEST(ScopeGuardTest, CallsWhenTheScopeIsLeftByAnException)
{
    int calls = 0;
    try
    {
        const ScopeGuard guard([&] { ++calls; });
        throw 1;
    }
    catch (int)
    {
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(calls, 1);
}

TEST(ScopeGuardTest, RunsInReverseOrderOfConstruction)
{
    std::string order;
    {
        const ScopeGuard first([&] { order += "first "; });
        const ScopeGuard second([&] { order += "second "; });
    }
    EXPECT_EQ(order, "second first ");
}

TEST(ScopeGuardTest, DoesNothingWhenItHoldsNothing)
{
    const ScopeGuard guard(nullptr);
}
} // namespace
