// HexNumber.h: numbers as answers write them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace sandbox
{
/// "0x" and the digits, without leading zeros.
[[nodiscard]] inline std::string hexNumber(std::uint64_t number)
{
    char text[19];
    std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(number));
    return text;
}
} // namespace sandbox
