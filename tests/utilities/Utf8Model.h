// Utf8Model.h: what WideCharToMultiByte is published to make of UTF-16, in words of its own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/fuzz/Choices.h"

namespace tests
{
/// UTF-8, with U+FFFD for each half of a pair that stands alone.
[[nodiscard]] inline std::string modelOfUtf8(std::wstring_view text)
{
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        char32_t point = text[at];
        const bool isPair = point >= 0xD800 && point <= 0xDBFF && at + 1 < text.size() && text[at + 1] >= 0xDC00 &&
                            text[at + 1] <= 0xDFFF;
        if (isPair)
            point = 0x10000 + (point - 0xD800) * 0x400 + (text[++at] - 0xDC00U);
        else if (point >= 0xD800 && point <= 0xDFFF)
            point = 0xFFFD;
        const int following = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        constexpr unsigned char firstBytes[] = {0x00, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(firstBytes[following] | (point >> (6 * following)));
        for (int left = following - 1; left >= 0; --left)
            bytes += static_cast<char>(0x80 | ((point >> (6 * left)) & 0x3F));
    }
    return bytes;
}

/// UTF-16 of every kind, of some so many units: letters of each length, pairs, halves of them, zeros, marks, line ends, and
/// long stretches of ASCII.
[[nodiscard]] inline std::wstring randomUtf16(support::Choices& choices, std::size_t most)
{
    static const std::vector<wchar_t> s_edges = {0,      L'\n',  L'\r',  0x7F,   0x80,   0x7FF,
                                                 0x800,  0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF,
                                                 0xE000, 0xFDD0, 0xFEFF, 0xFFFD, 0xFFFE, 0xFFFF};
    std::wstring text;
    while (most > 0 && text.size() < most && !choices.chance(static_cast<unsigned>(100 / (most + 1))))
    {
        const std::size_t kind = choices.below(8);
        if (kind < 3)
            text += choices.oneOf(s_edges);
        else if (kind < 4)
            text += static_cast<wchar_t>(choices.below(0x10000));
        else if (kind < 5)
            text += static_cast<wchar_t>(choices.between(0xD800, 0xDFFF));
        else if (kind < 6)
            text.append({static_cast<wchar_t>(choices.between(0xD800, 0xDBFF)),
                         static_cast<wchar_t>(choices.between(0xDC00, 0xDFFF))});
        else
        {
            for (std::size_t count = choices.chance(10) ? choices.below(most) : 1; count > 0; --count)
                text += choices.chance(97) ? static_cast<wchar_t>(choices.between(' ', '~')) : L'\n';
        }
    }
    return text;
}
} // namespace tests
