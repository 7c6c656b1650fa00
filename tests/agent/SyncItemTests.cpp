#include "agent/SyncItem.h"

#include <vector>

#include <gmock/gmock.h>

#include "tests/support/HeapWatch.h"

namespace
{
const EntryId itemId = {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4};
const EntryId folderId = {0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18};

std::wstring join(const std::vector<std::wstring>& texts)
{
    std::vector<SyncItem> items;
    for (const std::wstring& text : texts)
        items.emplace_back(EntryId(), false).text = text;
    return joinItemTexts(L"head\n", items);
}

TEST(SyncItemTest, HoldsTheIdentifierOfAFolderAndOfAContact)
{
    const SyncItem folder(folderId, true);
    EXPECT_TRUE(folder.isFolder);
    EXPECT_EQ(folder.text, L"00000000E5F60718");
    const SyncItem contact(itemId, false);
    EXPECT_FALSE(contact.isFolder);
    EXPECT_EQ(contact.text, L";;;;;;;;;;00000000A1B2C3D4;");
}

TEST(SyncItemTest, HasNoTextWithoutAnIdentifierOrAMessage)
{
    EXPECT_EQ(SyncItem(EntryId(), false).text, L"");
    EXPECT_EQ(SyncItem(EntryId(), true).text, L"");
    const SyncItem contact{IMAPIPropPtr()};
    EXPECT_FALSE(contact.isFolder);
    EXPECT_EQ(contact.text, L"");
}

TEST(SyncItemTest, AreJoinedWithALineFeedBetweenTwoOfThem)
{
    EXPECT_EQ(join({}), L"head\n");
    EXPECT_EQ(join({L"one"}), L"head\none");
    EXPECT_EQ(join({L"a;b\nc", L"two", L"\r\n"}), L"head\na;b\nc\ntwo\n\r\n");
    EXPECT_EQ(join({L"", L"", L""}), L"head\n\n\n");
}

TEST(SyncItemTest, AreJoinedInOnePieceOfMemory)
{
    std::vector<SyncItem> items(1'000, SyncItem(itemId, false));
    const support::HeapWatch heap;
    const std::wstring text = joinItemTexts(L"head, which takes memory of its own\n", items);
    const auto size = static_cast<std::ptrdiff_t>(text.size() * sizeof(wchar_t));
    EXPECT_THAT(heap.peak(), testing::AllOf(testing::Ge(size), testing::Le(size + 500)));
}
} // namespace
