#include "utilities/HexString.h"

#include <vector>

#include <gtest/gtest.h>

namespace
{
std::wstring hex(const std::vector<BYTE>& bytes)
{
    return toHexString(bytes);
}

TEST(HexStringTest, IsEmptyWhenThereAreNoBytes)
{
    EXPECT_EQ(hex({}), L"");
}

TEST(HexStringTest, KeepsTheOrderOfTheBytes)
{
    EXPECT_EQ(hex({0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18}), L"00000000E5F60718");
}

TEST(HexStringTest, WritesEachByteByItsHighAndThenItsLowNibble)
{
    const std::wstring digits = L"0123456789ABCDEF";
    for (unsigned byte = 0; byte <= 0xFF; ++byte)
        EXPECT_EQ(hex({static_cast<BYTE>(byte)}), (std::wstring{digits[byte / 16], digits[byte % 16]})) << byte;
}

} // namespace
