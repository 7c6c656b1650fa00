#include "tests/support/fuzz/Fuzz.h"

#include <windows.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/runner/CrashGuard.h"

namespace
{
using support::Choices;
using support::EnvironmentVariable;

using testing::HasSubstr;

/// Each test says seed and time itself, and leaves no rows in the tables of the true targets.
class FuzzTest : public testing::Test
{
protected:
    /// What the cases draw from this seed on; of that seed alone when there is no time.
    static std::vector<std::size_t> drawnFrom(const wchar_t* seed, const wchar_t* seconds)
    {
        const EnvironmentVariable first(L"LINKWELL_SEED", seed);
        const EnvironmentVariable time(L"LINKWELL_FUZZ_SECONDS", seconds);
        std::vector<std::size_t> drawn;
        support::fuzz("numbers", [&drawn](Choices& choices) { drawn.push_back(choices.below(1'000'000)); });
        return drawn;
    }

    const support::TempFolder m_folder;
    const EnvironmentVariable m_figures{L"LINKWELL_FIGURES", m_folder.file(L"figures")};
};

TEST_F(FuzzTest, DrawsTheSameInEachCaseByItsSeedAlone)
{
    const std::vector<std::size_t> drawn = drawnFrom(L"", L"0.05");
    ASSERT_GT(drawn.size(), 2U);
    EXPECT_EQ(drawnFrom(L"1", L""), std::vector(1, drawn[0]));
    EXPECT_EQ(drawnFrom(L"3", L""), std::vector(1, drawn[2]));
    EXPECT_EQ(drawnFrom(L"2", L"0.05").at(1), drawn[2]);
    EXPECT_NE(drawn[0], drawn[1]);
}

TEST_F(FuzzTest, RefusesAnEnvironmentWithoutNumbers)
{
    for (const auto& [seed, seconds] : {std::pair(L"x", L""), {L"-1", L""}, {L"1x", L""}, {L"1", L"x"}, {L"1", L"-1"}})
        EXPECT_THROW((void)drawnFrom(seed, seconds), std::runtime_error);
}

TEST_F(FuzzTest, EndsWithTheFirstCaseThatFailsAndSaysItsSeed)
{
    unsigned cases = 0;
    const auto failInTheThird = [&cases]
    {
        const EnvironmentVariable first(L"LINKWELL_SEED", L"1");
        const EnvironmentVariable time(L"LINKWELL_FUZZ_SECONDS", L"60");
        support::fuzz("failures",
                      [&cases](Choices&)
                      {
                          if (++cases == 3)
                              throw std::runtime_error("the third");
                      });
    };
    testing::TestPartResultArray results;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(&results);
        failInTheThird();
    }
    EXPECT_EQ(cases, 3U);
    ASSERT_EQ(results.size(), 1);
    EXPECT_THAT(results.GetTestPartResult(0).message(), HasSubstr("the third"));
    EXPECT_THAT(results.GetTestPartResult(0).message(), HasSubstr("LINKWELL_SEED=3"));
}

TEST_F(FuzzTest, AddsARowForTheTable)
{
    (void)drawnFrom(L"7", L"");
    (void)drawnFrom(L"8", L"");
    const auto row = [](const std::string& seed)
    {
        return R"({"table":"fuzzing","row":{"Target":"numbers","Cases":1,"Seeds":")" + seed + " to " + seed +
               R"(","Seconds":0,"Findings":0}})" + "\n";
    };
    EXPECT_EQ(support::readBytes(m_folder.file(L"figures")), row("7") + row("8"));
}

using FuzzDeathTest = FuzzTest;

TEST_F(FuzzDeathTest, SaysTheSeedOfACaseThatCrashes)
{
    const EnvironmentVariable first(L"LINKWELL_SEED", L"5");
    EXPECT_EXIT(support::fuzz("crashes", [](Choices&) { RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr); }),
                testing::ExitedWithCode(support::CrashGuard::exitCode), "LINKWELL_SEED=5");
}
} // namespace
