#include "utilities/HexString.h"

std::wstring toHexString(std::span<const BYTE> bytes)
{
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring text;
    text.reserve(bytes.size() * 2);
    for (const BYTE value : bytes)
    {
        text += digits[value >> 4];
        text += digits[value & 0xF];
    }
    return text;
}
