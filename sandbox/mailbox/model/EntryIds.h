// EntryIds.h: the entry identifiers of objects to which the mailbox file gives none.
//
// They are the same in every run and show what they stand for, so that a test can know them in advance and a person can
// read them in a log. Their lengths are those of common message stores.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
/// A store's unique identifier: "LinkwellSandbox" and the store's number.
using StoreUid = std::array<std::uint8_t, 16>;

/// The most stores of a mailbox, as the number takes one byte.
constexpr unsigned maximumStores = 255;
/// A shorter byte string is no entry identifier: four bytes of flags and something behind them.
constexpr std::size_t minimumEntryIdSize = 5;

[[nodiscard]] StoreUid storeUid(unsigned storeNumber) noexcept;

[[nodiscard]] Bytes storeEntryId(const StoreUid& uid);
[[nodiscard]] Bytes folderEntryId(const StoreUid& uid, std::uint64_t folder);
[[nodiscard]] Bytes messageEntryId(const StoreUid& uid, std::uint64_t folder, std::uint64_t message);
[[nodiscard]] Bytes shortTermFolderId(const StoreUid& uid, std::uint64_t folder);
[[nodiscard]] Bytes shortTermMessageId(const StoreUid& uid, std::uint64_t message);
/// @param address  the user's Exchange address, ASCII.
[[nodiscard]] Bytes addressBookEntryId(std::string_view address);

/// What a message's identifier, long-term or short-term, says about the message.
struct MessageIdParts
{
    unsigned storeNumber = 0;
    std::uint64_t message = 0;
};

/// None if the bytes don't have the form of such an identifier. Whether there is such a message is another question.
[[nodiscard]] std::optional<MessageIdParts> parseMessageId(BytesView bytes) noexcept;
} // namespace sandbox
