#include "agent/EntryIdHash.h"

namespace
{
constexpr std::uint64_t offsetBasis = 0xCBF29CE484222325;
constexpr std::uint64_t prime = 0x100000001B3;
} // namespace

std::uint64_t EntryIdHash::operator()(std::wstring_view hex) const noexcept
{
    std::uint64_t hash = offsetBasis;
    for (const wchar_t unit : hex)
    {
        hash = (hash ^ (unit & 0xFFU)) * prime;
        hash = (hash ^ ((unit >> 8) & 0xFFU)) * prime;
    }
    return hash;
}
