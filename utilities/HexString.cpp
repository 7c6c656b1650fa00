#include "utilities/HexString.h"

std::wstring toHexString(std::span<const BYTE> bytes)
{
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring text(bytes.size() * 2, L'\0');
    auto place = text.begin();
    for (const BYTE value : bytes)
    {
        *place++ = digits[value >> 4];
        *place++ = digits[value & 0xF];
    }
    return text;
}
