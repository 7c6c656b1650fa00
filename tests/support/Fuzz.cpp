#include "tests/support/Fuzz.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/Figures.h"
#include "tests/support/Platform.h"

namespace support
{
namespace
{
constexpr double usualSeconds = 0.5;

std::atomic<std::uint64_t> s_seed{0};

/// False when the case fails.
bool runCase(std::uint64_t seed, const std::function<void(Choices&)>& check)
{
    SCOPED_TRACE("To do this again: LINKWELL_SEED=" + std::to_string(seed));
    s_seed = seed;
    bool isGood = true;
    try
    {
        Choices choices(seed);
        check(choices);
    }
    catch (const std::exception& thrown)
    {
        ADD_FAILURE() << thrown.what();
        isGood = false;
    }
    s_seed = 0;
    return isGood && !testing::Test::HasFailure();
}
} // namespace

void fuzz(const char* target, const std::function<void(Choices&)>& check)
{
    using Clock = std::chrono::steady_clock;
    const std::wstring firstSeed = environmentValue(L"LINKWELL_SEED");
    const std::wstring seconds = environmentValue(L"LINKWELL_FUZZ_SECONDS");
    const std::uint64_t first = firstSeed.empty() ? 1 : std::stoull(firstSeed);
    const bool isReplay = !firstSeed.empty() && seconds.empty();
    const std::chrono::duration<double> allowed(seconds.empty() ? usualSeconds : std::stod(seconds));

    const Clock::time_point begin = Clock::now();
    unsigned long long count = 0;
    bool isGood = true;
    do
        isGood = runCase(first + count++, check);
    while (isGood && !isReplay && Clock::now() - begin < allowed);

    const std::chrono::duration<double> taken = Clock::now() - begin;
    const std::string seeds = std::to_string(first) + " to " + std::to_string(first + count - 1);
    std::printf("%s: %llu cases, seeds %s, %.1f s\n", target, count, seeds.c_str(), taken.count());
    addFigures("fuzzing", {{"Target", target},
                           {"Cases", count},
                           {"Seeds", seeds},
                           {"Seconds", static_cast<unsigned long long>(std::llround(taken.count()))},
                           {"Findings", isGood ? 0ULL : 1ULL}});
}

void printFuzzedSeed() noexcept
{
    if (const std::uint64_t seed = s_seed)
        std::fprintf(stderr, "To do this again: LINKWELL_SEED=%llu\n", static_cast<unsigned long long>(seed));
}
} // namespace support
