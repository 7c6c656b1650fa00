// Text.h: text between its form in files (UTF-8) and its form in the mailbox (UTF-16).
#pragma once

#include <string>
#include <string_view>

namespace sandbox
{
/// What is not well formed becomes U+FFFD, both ways.
[[nodiscard]] std::wstring toWide(std::string_view utf8);
[[nodiscard]] std::string toUtf8(std::wstring_view wide);
} // namespace sandbox
