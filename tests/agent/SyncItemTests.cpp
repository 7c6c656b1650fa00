#include "agent/SyncItem.h"

#include <vector>

#include <gmock/gmock.h>


namespace
{
const EntryId contactId = {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4};
const EntryId folderId = {0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18};

SyncItem item(const std::wstring& text)
{
    SyncItem made(EntryId{}, false);
    made.text = text;
    return made;
}

std::vector<SyncItem> items(const std::vector<std::wstring>& texts)
{
    std::vector<SyncItem> made;
    for (const std::wstring& text : texts)
        made.push_back(item(text));
    return made;
}

std::wstring join(const std::vector<std::wstring>& texts)
{
    return joinItemTexts(items(texts));
}

TEST(SyncItemTest, HoldsTheIdentifierAloneWhenItIsAFolder)
{
    const SyncItem folder(folderId, true);
    EXPECT_TRUE(folder.isFolder);
    EXPECT_EQ(folder.text, L"00000000E5F60718");
}

TEST(SyncItemTest, FillsTheEleventhFieldAloneWhenAContactIsKnownByItsIdentifier)
{
    const SyncItem contact(contactId, false);
    EXPECT_FALSE(contact.isFolder);
    EXPECT_EQ(contact.text, L";;;;;;;;;;00000000A1B2C3D4;");
}

TEST(SyncItemTest, HasNoTextWhenTheIdentifierIsEmpty)
{
    EXPECT_EQ(SyncItem(EntryId{}, false).text, L"");
    EXPECT_EQ(SyncItem(EntryId{}, true).text, L"");
    EXPECT_FALSE(SyncItem(EntryId{}, false).isFolder);
    EXPECT_TRUE(SyncItem(EntryId{}, true).isFolder);
}

TEST(SyncItemTest, IsAnEmptyContactWhenTheMessageIsNull)
{
    const SyncItem contact{IMAPIPropPtr()};
    EXPECT_FALSE(contact.isFolder);
    EXPECT_EQ(contact.text, L"");
}

TEST(SyncItemTest, CopiesDeeply)
{
    SyncItem original(folderId, true);
    const SyncItem copy = original;
    original.text = L"other";
    EXPECT_TRUE(copy.isFolder);
    EXPECT_EQ(copy.text, L"00000000E5F60718");
}

TEST(JoinItemTextsTest, IsEmptyWithoutItems)
{
    EXPECT_EQ(join({}), L"");
}

TEST(JoinItemTextsTest, GivesTheTextOfASingleItemWithoutALineFeed)
{
    EXPECT_EQ(join({L"one"}), L"one");
    EXPECT_EQ(join({L""}), L"");
}

TEST(JoinItemTextsTest, PutsOneLineFeedBetweenTwoItems)
{
    EXPECT_EQ(join({L"one", L"two", L"three"}), L"one\ntwo\nthree");
}

TEST(JoinItemTextsTest, ShowsAnItemWithoutTextAsAnEmptyLine)
{
    EXPECT_EQ(join({L"one", L"", L"three"}), L"one\n\nthree");
    EXPECT_EQ(join({L"", L"two"}), L"\ntwo");
    EXPECT_EQ(join({L"one", L""}), L"one\n");
    EXPECT_EQ(join({L"", L"", L""}), L"\n\n");
}

TEST(JoinItemTextsTest, CopiesTextsAsTheyStand)
{
    EXPECT_EQ(join({L"a;b\nc", L"\r\n;"}), L"a;b\nc\n\r\n;");
}

TEST(JoinItemTextsTest, DoesNotLookAtTheKindOfTheItems)
{
    EXPECT_EQ(joinItemTexts(std::vector<SyncItem>{SyncItem(folderId, true), SyncItem(contactId, false)}),
              L"00000000E5F60718\n;;;;;;;;;;00000000A1B2C3D4;");
}
} // namespace
