// EntryIdHash.h: a short number for an identifier, by which log lines about one object can be matched.
#pragma once

#include <cstdint>
#include <string_view>

/// 64-bit FNV-1a over the UTF-16 little-endian bytes of a text, two for each character. It is stored nowhere.
struct EntryIdHash
{
    /// @param hex  the identifier in its text form; the empty text gives the start value.
    [[nodiscard]] std::uint64_t operator()(std::wstring_view hex) const noexcept;
};
