#include "agent/EntryIdHash.h"

#include <gtest/gtest.h>

namespace
{
constexpr std::uint64_t prime = 0x100000001B3;

TEST(EntryIdHashTest, GivesTheKnownValueOfAnIdentifier)
{
    EXPECT_EQ(EntryIdHash()(L"00000000A1B2C3D4"), 0x7f37237dc92f23b5u);
}

TEST(EntryIdHashTest, GivesTheStartValueForNoText)
{
    EXPECT_EQ(EntryIdHash()(L""), 0xCBF29CE484222325u);
}

TEST(EntryIdHashTest, TakesTwoStepsForACharacter)
{
    EXPECT_EQ(EntryIdHash()(L"A"), (0xCBF29CE484222325 ^ 0x41) * prime * prime);
}

TEST(EntryIdHashTest, TakesTheLowByteOfACharacterFirst)
{
    EXPECT_EQ(EntryIdHash()(L"\u1234"), ((0xCBF29CE484222325 ^ 0x34) * prime ^ 0x12) * prime);
    EXPECT_EQ(EntryIdHash()(L"\uFFFE"), ((0xCBF29CE484222325 ^ 0xFE) * prime ^ 0xFF) * prime);
}

TEST(EntryIdHashTest, TellsTextsApartByOrderLengthAndCase)
{
    EXPECT_NE(EntryIdHash()(L"0A"), EntryIdHash()(L"A0"));
    EXPECT_NE(EntryIdHash()(L"0A"), EntryIdHash()(L"0A00"));
    EXPECT_NE(EntryIdHash()(L"0A"), EntryIdHash()(L"0a"));
}

TEST(EntryIdHashTest, GoesOnBehindAZeroCharacter)
{
    EXPECT_NE(EntryIdHash()(std::wstring_view(L"\0A", 2)), EntryIdHash()(std::wstring_view(L"\0", 1)));
}
} // namespace
