#include "sandbox/mailbox/model/EntryIds.h"

#include <algorithm>
#include <iterator>

namespace sandbox
{
namespace
{
using Kind = std::array<std::uint8_t, 2>;

constexpr std::array<std::uint8_t, 4> longTermFlags = {0x00, 0x00, 0x00, 0x00};
constexpr std::array<std::uint8_t, 4> shortTermFlags = {0x80, 0x00, 0x00, 0x00}; // MAPI_SHORTTERM
constexpr std::array<std::uint8_t, 4> storeMark = {'S', 't', 'o', 'r'};
constexpr Kind folderKind = {0x01, 0x00};
constexpr Kind messageKind = {0x07, 0x00};
constexpr Kind padding = {0x00, 0x00};
constexpr std::string_view uidText = "LinkwellSandbox";

// The published provider identifier of Exchange address book entries, and their version and type.
constexpr std::array<std::uint8_t, 16> addressBookProvider = {0xDC, 0xA7, 0x40, 0xC8, 0xC0, 0x42, 0x10, 0x1A,
                                                              0xB4, 0xB9, 0x08, 0x00, 0x2B, 0x2F, 0xE1, 0x82};
constexpr std::array<std::uint8_t, 8> addressBookUserType = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

constexpr std::size_t numberSize = 6;
constexpr std::size_t uidPlace = 4;
constexpr std::size_t kindPlace = uidPlace + std::tuple_size_v<StoreUid>;
constexpr std::size_t shortTermSize = kindPlace + 2 + numberSize;
constexpr std::size_t longTermMessageSize = 70;

template <class Range>
void append(Bytes& bytes, const Range& range)
{
    for (const auto octet : range)
        bytes.push_back(static_cast<std::uint8_t>(octet));
}

void appendNumber(Bytes& bytes, std::uint64_t number)
{
    for (std::size_t left = numberSize; left-- > 0;)
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * left)));
}

[[nodiscard]] std::uint64_t numberAt(BytesView bytes, std::size_t place) noexcept
{
    std::uint64_t number = 0;
    for (const std::uint8_t octet : bytes.subspan(place, numberSize))
        number = (number << 8) | octet;
    return number;
}

template <class Range>
[[nodiscard]] bool holdsAt(BytesView bytes, std::size_t place, const Range& expected) noexcept
{
    return std::equal(std::begin(expected), std::end(expected),
                      bytes.begin() + static_cast<std::ptrdiff_t>(place)); // the caller knows that the size suffices
}

[[nodiscard]] Bytes shortTermId(const StoreUid& uid, const Kind& kind, std::uint64_t number)
{
    Bytes bytes;
    append(bytes, shortTermFlags);
    append(bytes, uid);
    append(bytes, kind);
    appendNumber(bytes, number);
    return bytes;
}
} // namespace

StoreUid storeUid(unsigned storeNumber) noexcept
{
    StoreUid uid{};
    std::ranges::copy(uidText, uid.begin());
    uid.back() = static_cast<std::uint8_t>(storeNumber);
    return uid;
}

Bytes storeEntryId(const StoreUid& uid)
{
    Bytes bytes;
    append(bytes, longTermFlags);
    append(bytes, uid);
    append(bytes, storeMark);
    return bytes;
}

Bytes folderEntryId(const StoreUid& uid, std::uint64_t folder)
{
    Bytes bytes;
    append(bytes, longTermFlags);
    append(bytes, uid);
    append(bytes, folderKind);
    append(bytes, uid);
    appendNumber(bytes, folder);
    append(bytes, padding);
    return bytes;
}

Bytes messageEntryId(const StoreUid& uid, std::uint64_t folder, std::uint64_t message)
{
    Bytes bytes;
    bytes.reserve(longTermMessageSize);
    append(bytes, longTermFlags);
    append(bytes, uid);
    append(bytes, messageKind);
    append(bytes, uid);
    appendNumber(bytes, folder);
    append(bytes, padding);
    append(bytes, uid);
    appendNumber(bytes, message);
    append(bytes, padding);
    return bytes;
}

Bytes shortTermFolderId(const StoreUid& uid, std::uint64_t folder)
{
    return shortTermId(uid, folderKind, folder);
}

Bytes shortTermMessageId(const StoreUid& uid, std::uint64_t message)
{
    return shortTermId(uid, messageKind, message);
}

Bytes addressBookEntryId(std::string_view address)
{
    Bytes bytes;
    append(bytes, longTermFlags);
    append(bytes, addressBookProvider);
    append(bytes, addressBookUserType);
    append(bytes, address);
    bytes.push_back(0);
    return bytes;
}

std::optional<MessageIdParts> parseMessageId(BytesView bytes) noexcept
{
    const bool longTerm = bytes.size() == longTermMessageSize;
    if (!longTerm && bytes.size() != shortTermSize)
        return std::nullopt;
    if (!holdsAt(bytes, uidPlace, uidText) || !holdsAt(bytes, kindPlace, messageKind))
        return std::nullopt;
    MessageIdParts parts;
    parts.storeNumber = bytes[kindPlace - 1];
    parts.message = numberAt(bytes, bytes.size() - numberSize - (longTerm ? padding.size() : 0));
    return parts;
}
} // namespace sandbox
