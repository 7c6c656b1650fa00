// Bytes.h: byte strings, the form of entry identifiers and binary values in the mailbox.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox
{
using Bytes = std::vector<std::uint8_t>;
using BytesView = std::span<const std::uint8_t>;

struct BytesHash
{
    [[nodiscard]] std::size_t operator()(const Bytes& bytes) const noexcept;
};

/// The bytes of a hexadecimal text; blanks between the digit pairs are passed over. None if it is anything else.
[[nodiscard]] std::optional<Bytes> fromHex(std::string_view text);

/// Upper-case hexadecimal without separators.
[[nodiscard]] std::string toHex(BytesView bytes);
} // namespace sandbox
