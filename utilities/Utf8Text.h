// Utf8Text.h: a text on its way out of the agent, to the log file or to the pipe. Text is UTF-16 everywhere else.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace utilities
{
/// Holds a wide text and, from the first `data` on, its UTF-8 form. The conversion rests on WideCharToMultiByte, which
/// replaces what can't be converted.
class Utf8Text
{
public:
    /// Takes the text over.
    explicit Utf8Text(std::wstring text);

    /// The UTF-8 bytes with a terminating zero; never null. Converts on the first call.
    [[nodiscard]] const char* data();

    /// The UTF-8 bytes without the terminating zero; empty for an empty text. Valid for as long as this object.
    [[nodiscard]] std::string_view bytes();

private:
    std::vector<char> utf8; // with its terminating zero; empty until converted, and for an empty text
    std::wstring wide;
};
} // namespace utilities
