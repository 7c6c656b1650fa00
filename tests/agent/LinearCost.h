// LinearCost.h: whether work grows in proportion to what it is done on.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

#include <gtest/gtest.h>

namespace tests
{
/// Times the work that `prepare(count)` gives, for `count` things and for 32 times as many, each at its best of a few
/// runs. Fails when the larger work takes more than 16 times its share: work that is done for each thing over all things
/// before it takes 32 times its share and more, while caches and a busy machine cost a few times.
template <class Prepare>
void expectLinearCost(std::size_t count, Prepare prepare)
{
    constexpr unsigned factor = 32;
    constexpr unsigned tolerance = 16;
    constexpr unsigned runs = 3;
    const auto shortest = [](const auto& work)
    {
        auto best = std::chrono::steady_clock::duration::max();
        for (unsigned run = 0; run < runs; ++run)
        {
            const auto start = std::chrono::steady_clock::now();
            work();
            best = std::min(best, std::chrono::steady_clock::now() - start);
        }
        return std::chrono::duration<double, std::micro>(best).count();
    };
    const double few = shortest(prepare(count));
    const double many = shortest(prepare(factor * count));
    EXPECT_LT(many, few * factor * tolerance)
        << count << " things: " << few << " us, " << factor * count << " things: " << many << " us";
}
} // namespace tests
