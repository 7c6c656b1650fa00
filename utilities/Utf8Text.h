// Utf8Text.h: a text on its way out of the agent, to the log file or to the pipe. Text is UTF-16 everywhere else.
#pragma once

#include <cstddef>
#include <string_view>

namespace utilities
{
/// What becomes of a line feed.
enum class LineEnds
{
    AsTheyAre,
    OfFiles, // carriage return and line feed
};

/// The UTF-8 form of a text, written to where it is to stand, as the text may be a whole snapshot. Refers to the text, which
/// has to stay for as long as this object. Rests on WideCharToMultiByte, which replaces what can't be converted; stretches
/// of ASCII, of which most of a snapshot consists, are taken as they are.
class Utf8Text
{
public:
    explicit Utf8Text(std::wstring_view wideText, LineEnds lineEnds = LineEnds::AsTheyAre);

    /// In bytes; there is no terminator.
    [[nodiscard]] std::size_t size() const noexcept { return utf8Size; }

    /// Writes all `size()` bytes.
    void copyTo(void* bytes) const;

private:
    [[nodiscard]] std::size_t carriageReturns(std::wstring_view piece) const noexcept;

    std::wstring_view wide;
    LineEnds ends;
    std::size_t utf8Size = 0;
};
} // namespace utilities
