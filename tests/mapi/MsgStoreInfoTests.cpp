#include "agent/mapi/MsgStoreInfo.h"

#include <gmock/gmock.h>

namespace
{
using mapi::isPublicProvider;

const EntryId publicProvider = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD,
                                0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};

TEST(MsgStoreInfoTest, HasEmptyFieldsAtFirst)
{
    const mapi::MsgStoreInfo info;
    EXPECT_TRUE(info.entryId.empty());
    EXPECT_EQ(info.displayName, L"");
    EXPECT_EQ(info.providerName, L"");
    EXPECT_FALSE(info.isDefault);
    EXPECT_FALSE(info.isPublic);
}

TEST(MsgStoreInfoTest, PublicProviderIsKnownByAllItsBytes)
{
    EXPECT_TRUE(isPublicProvider(publicProvider));
    for (std::size_t index = 0; index < publicProvider.size(); ++index)
    {
        EntryId other = publicProvider;
        other[index] ^= 1;
        EXPECT_FALSE(isPublicProvider(other)) << index;
    }
}

TEST(MsgStoreInfoTest, PublicProviderHasSixteenBytes)
{
    EntryId longer = publicProvider;
    longer.push_back(0);
    EXPECT_FALSE(isPublicProvider(longer));
    EntryId shorter = publicProvider;
    shorter.pop_back();
    EXPECT_FALSE(isPublicProvider(shorter));
    EXPECT_FALSE(isPublicProvider({}));
}
} // namespace
