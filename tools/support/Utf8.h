// Utf8.h: texts of Windows as the reports have them.
#pragma once

#include <string>
#include <string_view>

#include "utilities/Utf8Text.h"

namespace diagnosis
{
[[nodiscard]] inline std::string utf8(std::wstring_view text)
{
    const utilities::Utf8Text converted(text);
    std::string bytes(converted.size(), '\0');
    converted.copyTo(bytes.data());
    return bytes;
}
} // namespace diagnosis
