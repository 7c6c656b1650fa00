// Choices.h: what a test draws at random: the same in every run and with every compiler, for one seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace support
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
    /// Up to so many of these pieces, one behind the other, any of them as often as it is drawn.
    template <class Character>
    [[nodiscard]] std::basic_string<Character> textOf(const std::vector<std::basic_string<Character>>& pieces,
                                                      std::size_t most)
    {
        std::basic_string<Character> text;
        for (std::size_t count = below(most + 1); count > 0; --count)
            text += oneOf(pieces);
        return text;
    }

private:
    std::mt19937_64 m_engine; // the standard says which numbers it gives; of distributions it doesn't
};
} // namespace support
