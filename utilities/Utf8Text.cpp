#include "utilities/Utf8Text.h"

#include <windows.h>

#include <utility>

namespace utilities
{
Utf8Text::Utf8Text(std::wstring text) : wide(std::move(text)) {}

const char* Utf8Text::data()
{
    if (utf8.empty() && !wide.empty())
    {
        const int wideSize = static_cast<int>(wide.size());
        const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideSize, nullptr, 0, nullptr, nullptr);
        utf8.resize(static_cast<std::size_t>(size) + 1);
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideSize, utf8.data(), size, nullptr, nullptr);
        utf8.back() = '\0';
    }
    return utf8.empty() ? "" : utf8.data();
}

std::string_view Utf8Text::bytes()
{
    const char* const first = data();
    return {first, utf8.empty() ? 0 : utf8.size() - 1};
}
} // namespace utilities
