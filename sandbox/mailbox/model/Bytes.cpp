#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
namespace
{
[[nodiscard]] int hexDigit(char digit) noexcept
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}
} // namespace

std::size_t BytesHash::operator()(const Bytes& bytes) const noexcept
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    for (const std::uint8_t octet : bytes)
        hash = (hash ^ octet) * 1099511628211u;
    return static_cast<std::size_t>(hash);
}

std::optional<Bytes> fromHex(std::string_view text)
{
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t at = 0; at < text.size();)
    {
        if (text[at] == ' ')
        {
            ++at;
            continue;
        }
        if (at + 1 == text.size())
            return std::nullopt;
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
        at += 2;
    }
    return bytes;
}

std::string toHex(BytesView bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t octet : bytes)
    {
        text += digits[octet >> 4];
        text += digits[octet & 0x0F];
    }
    return text;
}
} // namespace sandbox
