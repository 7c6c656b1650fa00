#include "sandbox/mailbox/model/EntryIds.h"

#include <gtest/gtest.h>

using namespace sandbox;

namespace
{
constexpr const char* s_uid7 = "4C696E6B77656C6C53616E64626F7807"; // "LinkwellSandbox" and 7
}

TEST(EntryIdsTest, MakesTheDocumentedStoreId)
{
    EXPECT_EQ(toHex(storeEntryId(storeUid(7))), std::string("00000000") + s_uid7 + "53746F72");
}

TEST(EntryIdsTest, MakesTheDocumentedFolderId)
{
    EXPECT_EQ(toHex(folderEntryId(storeUid(7), 3)),
              std::string("00000000") + s_uid7 + "0100" + s_uid7 + "0000000000030000");
}

TEST(EntryIdsTest, MakesTheDocumentedMessageId)
{
    EXPECT_EQ(toHex(messageEntryId(storeUid(7), 3, 100'000)),
              std::string("00000000") + s_uid7 + "0700" + s_uid7 + "0000000000030000" + s_uid7 + "0000000186A00000");
}

TEST(EntryIdsTest, MakesTheDocumentedShortTermIds)
{
    EXPECT_EQ(toHex(shortTermFolderId(storeUid(7), 3)), std::string("80000000") + s_uid7 + "0100000000000003");
    EXPECT_EQ(toHex(shortTermMessageId(storeUid(7), 0x010203040506)),
              std::string("80000000") + s_uid7 + "0700010203040506");
}

TEST(EntryIdsTest, MakesTheDocumentedAddressBookId)
{
    EXPECT_EQ(toHex(addressBookEntryId("/o=A")), "00000000DCA740C8C042101AB4B908002B2FE18201000000000000002F6F3D4100");
}

TEST(EntryIdsTest, ReadsBothFormsOfAMessageId)
{
    for (const Bytes& id : {messageEntryId(storeUid(7), 3, 42), shortTermMessageId(storeUid(7), 42)})
    {
        const std::optional<MessageIdParts> parts = parseMessageId(id);
        ASSERT_TRUE(parts) << toHex(id);
        EXPECT_EQ(parts->storeNumber, 7u);
        EXPECT_EQ(parts->message, 42u);
    }
}

TEST(EntryIdsTest, ReadsNothingElseAsMessageId)
{
    Bytes foreign = messageEntryId(storeUid(7), 3, 42);
    foreign[4] = 0;
    for (const Bytes& id : {Bytes(), Bytes(70, 0), Bytes(28, 0x80), foreign, folderEntryId(storeUid(7), 3),
                            shortTermFolderId(storeUid(7), 3), storeEntryId(storeUid(7))})
        EXPECT_FALSE(parseMessageId(id)) << toHex(id);
}
