// Utf8Text.h: a text on its way out of the agent, to the log file or to the pipe. Text is UTF-16 everywhere else.
#pragma once

#include <cstddef>
#include <string_view>

namespace utilities
{
/// The UTF-8 form of a text, written to where it is to stand, as the text may be a whole snapshot. Refers to the text, which
/// has to stay for as long as this object. Rests on WideCharToMultiByte, which replaces what can't be converted.
class Utf8Text
{
public:
    explicit Utf8Text(std::wstring_view wideText);

    /// In bytes; there is no terminator.
    [[nodiscard]] std::size_t size() const noexcept { return utf8Size; }

    /// Writes all `size()` bytes.
    void copyTo(void* bytes) const;

private:
    std::wstring_view wide;
    std::size_t utf8Size;
};
} // namespace utilities
