// Choices.h: choices at random that are the same in every run and with every compiler, for one seed.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace endtoend::soak
{
class Choices
{
public:
    explicit Choices(std::uint64_t seed) : m_engine(seed) {}

    /// A number from 0 on that is smaller than `count`, which isn't 0.
    [[nodiscard]] std::size_t below(std::size_t count) { return static_cast<std::size_t>(m_engine() % count); }
    /// A number from `least` to `most`.
    [[nodiscard]] std::size_t between(std::size_t least, std::size_t most) { return least + below(most - least + 1); }
    /// True in so many of a hundred cases.
    [[nodiscard]] bool chance(unsigned percent) { return below(100) < percent; }
    /// One of these; there is at least one.
    template <class Value>
    [[nodiscard]] const Value& oneOf(const std::vector<Value>& values)
    {
        return values[below(values.size())];
    }

private:
    std::mt19937_64 m_engine; // the standard says which numbers it gives; of distributions it doesn't
};
} // namespace endtoend::soak
