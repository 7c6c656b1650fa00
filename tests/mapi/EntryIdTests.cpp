#include "agent/mapi/EntryId.h"

#include <gmock/gmock.h>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

TEST(EntryIdTest, MakeEntryIdCopiesTheBytesVerbatim)
{
    BYTE bytes[] = {0x00, 0x80, 0xFF, 0x00, 0x00};
    const EntryId entryId = mapi::makeEntryId(sizeof bytes, bytes);
    bytes[1] = 0;
    EXPECT_THAT(entryId, ElementsAre(0x00, 0x80, 0xFF, 0x00, 0x00));
    EXPECT_THAT(mapi::makeEntryId(0, bytes), IsEmpty());
    EXPECT_THAT(mapi::makeEntryId(4, nullptr), IsEmpty());
}

TEST(EntryIdTest, PassesToMapiAsItsLengthAndTheAddressOfItsFirstByte)
{
    EntryId entryId = {1, 2, 3};
    EXPECT_EQ(mapi::entryIdSize(entryId), 3u);
    EXPECT_EQ(static_cast<const void*>(mapi::entryIdBytes(entryId)), entryId.data());
    entryId.clear(); // has room, and still no first byte
    EXPECT_EQ(mapi::entryIdSize(entryId), 0u);
    EXPECT_EQ(mapi::entryIdBytes(entryId), nullptr);
}
} // namespace
