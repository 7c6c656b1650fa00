#include "tests/endtoend/EntryIds.h"

#include <cstdint>
#include <string_view>

namespace endtoend
{
namespace
{
std::string hexadecimal(std::uint64_t number, int bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (int shift = bytes * 8 - 4; shift >= 0; shift -= 4)
        text += digits[number >> shift & 0xF];
    return text;
}

/// The 15 letters "LinkwellSandbox" and the number of the store.
std::string uid(unsigned store)
{
    return "4C696E6B77656C6C53616E64626F78" + hexadecimal(store, 1);
}
} // namespace

std::string storeId(unsigned store)
{
    return "00000000" + uid(store) + "53746F72";
}

std::string folderId(unsigned store, unsigned folder)
{
    return "00000000" + uid(store) + "0100" + uid(store) + hexadecimal(folder, 6) + "0000";
}

std::string messageId(unsigned store, unsigned folder, unsigned message)
{
    return "00000000" + uid(store) + "0700" + uid(store) + hexadecimal(folder, 6) + "0000" + uid(store) +
           hexadecimal(message, 6) + "0000";
}
} // namespace endtoend
