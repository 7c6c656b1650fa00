// Mutation.h: a text with small faults in it, as fuzzers make them.
#pragma once

#include <string>
#include <vector>

#include "tests/support/fuzz/Choices.h"

namespace support
{
/// Makes up to so many changes: bytes that are others, are gone or are there twice, a piece of the text in another place, the
/// end cut off, or one of these pieces put in.
inline void mutate(Choices& choices, std::string& text, const std::vector<std::string>& pieces, std::size_t most)
{
    for (std::size_t count = choices.between(1, most); count > 0; --count)
    {
        const std::size_t at = choices.below(text.size() + 1);
        const std::size_t length = choices.below(choices.oneOf<std::size_t>({2, 8, 200}));
        switch (choices.below(8))
        {
        case 0:
            if (at < text.size())
                text[at] = static_cast<char>(choices.below(256));
            break;
        case 1:
            text.erase(at, length);
            break;
        case 2:
            text.insert(at, text.substr(at, length));
            break;
        case 3:
            text.insert(choices.below(text.size() + 1), text.substr(at, length));
            break;
        case 4:
            if (choices.chance(10))
                text.resize(at);
            break;
        default:
            text.insert(at, choices.oneOf(pieces));
        }
    }
}
} // namespace support
