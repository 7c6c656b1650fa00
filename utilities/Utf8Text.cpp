#include "utilities/Utf8Text.h"

#include <windows.h>

namespace utilities
{
namespace
{
/// Bytes written, or needed where there is no room given.
std::size_t convert(std::wstring_view text, void* bytes, std::size_t room)
{
    if (text.empty())
        return 0;
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         static_cast<char*>(bytes), static_cast<int>(room), nullptr, nullptr);
    return static_cast<std::size_t>(size);
}
} // namespace

Utf8Text::Utf8Text(std::wstring_view wideText) : wide(wideText), utf8Size(convert(wideText, nullptr, 0)) {}

void Utf8Text::copyTo(void* bytes) const
{
    convert(wide, bytes, utf8Size);
}
} // namespace utilities
