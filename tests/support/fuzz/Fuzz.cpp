#include "tests/support/fuzz/Fuzz.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <exception>
#include <stdexcept>
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

/// For how long; throws when the environment says no time.
double secondsOf(double otherwise)
{
    const std::wstring text = environmentValue(L"LINKWELL_FUZZ_SECONDS");
    wchar_t* end = nullptr;
    const double seconds = text.empty() ? otherwise : std::wcstod(text.c_str(), &end);
    if (end != nullptr && (*end != L'\0' || !(seconds >= 0)))
        throw std::runtime_error("LINKWELL_FUZZ_SECONDS is a number from 0 on");
    return seconds;
}

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
    const bool isReplay = !environmentValue(L"LINKWELL_SEED").empty();
    const std::uint64_t first = amountOf("LINKWELL_SEED", 1);
    const std::chrono::duration<double> allowed(secondsOf(isReplay ? 0 : usualSeconds));

    const Clock::time_point begin = Clock::now();
    unsigned long long count = 0;
    bool isGood = true;
    do
        isGood = runCase(first + count++, check);
    while (isGood && Clock::now() - begin < allowed);

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
