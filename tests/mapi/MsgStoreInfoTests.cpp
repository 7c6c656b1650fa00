#include "agent/mapi/MsgStoreInfo.h"

#include <gtest/gtest.h>

namespace
{
using mapi::isPublicProvider;

TEST(MsgStoreInfoTest, PublicProviderIsKnownByAllOfItsSixteenBytes)
{
    const EntryId publicProvider = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD,
                                    0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};
    EXPECT_TRUE(isPublicProvider(publicProvider));
    for (std::size_t index = 0; index < publicProvider.size(); ++index)
    {
        EntryId other = publicProvider;
        other[index] ^= 1;
        EXPECT_FALSE(isPublicProvider(other)) << index;
    }
    EntryId longer = publicProvider;
    longer.push_back(0);
    EXPECT_FALSE(isPublicProvider(longer));
    EXPECT_FALSE(isPublicProvider(std::span(publicProvider).first(15)));
    EXPECT_FALSE(isPublicProvider({}));
}
} // namespace
