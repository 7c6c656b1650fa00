#include "utilities/Utf8Text.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace utilities
{
namespace
{
/// Loops over so many characters, and not over as many as there are, become vector instructions.
constexpr std::size_t stretch = 64;

[[nodiscard]] bool isAscii(std::wstring_view piece)
{
    unsigned short all = 0; // bits
    if (piece.size() == stretch)
    {
        for (std::size_t index = 0; index < stretch; ++index)
            all |= piece[index];
    }
    else
    {
        for (const wchar_t character : piece)
            all |= character;
    }
    return all < 0x80;
}

void narrow(std::wstring_view piece, char* bytes)
{
    if (piece.size() != stretch)
    {
        std::ranges::transform(piece, bytes, [](wchar_t character) { return static_cast<char>(character); });
        return;
    }
    std::array<char, stretch> narrowed; // no part of the text, as `bytes` might be for all that the compiler knows
    for (std::size_t index = 0; index < stretch; ++index)
        narrowed[index] = static_cast<char>(piece[index]);
    std::ranges::copy(narrowed, bytes);
}

/// Bytes written, or needed where there is no room given.
std::size_t convert(std::wstring_view text, void* bytes, std::size_t room)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         static_cast<char*>(bytes), static_cast<int>(room), nullptr, nullptr);
    return static_cast<std::size_t>(size);
}

/// Calls `ascii` for each stretch of ASCII characters and `other` for each piece between those, which so parts no surrogate
/// pair; in order.
template <class Ascii, class Other>
void takeApart(std::wstring_view text, Ascii ascii, Other other)
{
    std::size_t taken = 0;
    for (std::size_t at = 0; at < text.size(); at += stretch)
    {
        const std::wstring_view piece = text.substr(at, stretch);
        if (!isAscii(piece))
            continue;
        if (taken != at)
            other(text.substr(taken, at - taken));
        ascii(piece);
        taken = at + piece.size();
    }
    if (taken != text.size())
        other(text.substr(taken));
}
} // namespace

Utf8Text::Utf8Text(std::wstring_view wideText, LineEnds lineEnds) : wide(wideText), ends(lineEnds)
{
    takeApart(
        wide, [this](std::wstring_view ascii) { utf8Size += ascii.size() + carriageReturns(ascii); },
        [this](std::wstring_view other) { utf8Size += convert(other, nullptr, 0) + carriageReturns(other); });
}

void Utf8Text::copyTo(void* bytes) const
{
    char* to = static_cast<char*>(bytes);
    const char* const end = to + utf8Size;
    const auto goBehind = [this, &to](std::wstring_view piece, std::size_t size)
    {
        char* from = to + size;
        to = from + carriageReturns(piece);
        for (char* place = to; place != from;) // from the back, as far as there is a gap
        {
            *--place = *--from;
            if (*place == '\n')
                *--place = '\r';
        }
    };
    takeApart(
        wide,
        [&](std::wstring_view ascii)
        {
            narrow(ascii, to);
            goBehind(ascii, ascii.size());
        },
        [&](std::wstring_view other) { goBehind(other, convert(other, to, static_cast<std::size_t>(end - to))); });
}

std::size_t Utf8Text::carriageReturns(std::wstring_view piece) const noexcept
{
    if (ends == LineEnds::AsTheyAre)
        return 0;
    if (piece.size() != stretch)
        return static_cast<std::size_t>(std::ranges::count(piece, L'\n'));
    unsigned short count = 0;
    for (std::size_t index = 0; index < stretch; ++index)
        count = static_cast<unsigned short>(count + (piece[index] == L'\n'));
    return count;
}
} // namespace utilities
