// LineNumbers.h: messages name the source line that they come from; tests compare all of a message but that number.
#pragma once

#include <regex>
#include <string>
#include <vector>

namespace support
{
/// The text with each ", line <number>" turned into ", line N".
[[nodiscard]] inline std::wstring withoutLineNumbers(const std::wstring& text)
{
    return std::regex_replace(text, std::wregex(L", line [1-9][0-9]*"), L", line N");
}
[[nodiscard]] inline std::vector<std::string> withoutLineNumbers(std::vector<std::string> lines)
{
    for (std::string& line : lines)
        line = std::regex_replace(line, std::regex(", line [1-9][0-9]*"), ", line N");
    return lines;
}
} // namespace support
