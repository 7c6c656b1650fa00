#include "agent/EntryIdHash.h"

#include <gtest/gtest.h>

namespace
{
TEST(EntryIdHashTest, GivesKnownValues)
{
    EXPECT_EQ(EntryIdHash()(L"00000000A1B2C3D4"), 0x7f37237dc92f23b5U);
    EXPECT_EQ(EntryIdHash()(L""), 0xCBF29CE484222325U);
}

TEST(EntryIdHashTest, TakesTwoStepsForACharacterTheLowByteFirst)
{
    constexpr std::uint64_t prime = 0x100000001B3;
    EXPECT_EQ(EntryIdHash()(L"\u1234"), ((0xCBF29CE484222325U ^ 0x34) * prime ^ 0x12) * prime);
    EXPECT_EQ(EntryIdHash()(L"\uFFFE"), ((0xCBF29CE484222325U ^ 0xFE) * prime ^ 0xFF) * prime);
}
} // namespace
