#include "agent/KnownFolders.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/MapiMocks.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using testing::_;
using testing::AnyNumber;
using testing::ElementsAre;
using testing::IsEmpty;

using Comparison = std::pair<EntryId, EntryId>; // the arguments of IMAPISession::CompareEntryIDs, in their order

const std::string notCompared = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005";
constexpr const wchar_t* noSession =
    L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)";

/// With a session that notes what it is asked.
class KnownFoldersTest : public MapiTest
{
protected:
    KnownFoldersTest()
    {
        mapi::Session::s_session = m_session.pointer();
        EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, 0, _))
            .Times(AnyNumber())
            .WillRepeatedly(
                [this](ULONG size1, ENTRYID* bytes1, ULONG size2, ENTRYID* bytes2, ULONG, ULONG* result)
                {
                    m_asked.emplace_back(mapi::makeEntryId(size1, bytes1), mapi::makeEntryId(size2, bytes2));
                    *result = isSame(m_asked.back()) ? 1 : 0;
                    return m_fails(m_asked.back()) ? MAPI_E_CALL_FAILED : S_OK;
                });
    }

    [[nodiscard]] KnownFolders madeOf(const std::vector<EntryId>& members)
    {
        KnownFolders folders;
        for (const EntryId& member : members)
            folders.insert(member);
        m_asked.clear();
        return folders;
    }
    [[nodiscard]] static std::vector<EntryId> membersOf(const KnownFolders& folders)
    {
        return {folders.begin(), folders.end()};
    }

    const Mocked<MockSession> m_session;
    std::vector<Comparison> m_asked;
    std::vector<Comparison> m_aliases; // the same to MAPI, when asked in this order
    std::function<bool(const Comparison&)> m_fails = [](const Comparison&)
    {
        return false;
    };

private:
    [[nodiscard]] bool isSame(const Comparison& comparison) const
    {
        return comparison.first == comparison.second || std::ranges::find(m_aliases, comparison) != m_aliases.end();
    }
};

// ---- The order -----------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, OrdersByUnsignedBytes)
{
    const EntryIdLess less;
    EXPECT_TRUE(less({0x01}, {0x02}));
    EXPECT_FALSE(less({0x02}, {0x01}));
    EXPECT_TRUE(less({0x7F}, {0x80}));
    EXPECT_FALSE(less({0xFF}, {0x00}));
    EXPECT_TRUE(less({0x01, 0xFF}, {0x02, 0x00}));
    EXPECT_FALSE(less({0x02, 0x00, 0x00}, {0x01, 0xFF}));
}

TEST_F(KnownFoldersTest, OrdersAPrefixFirst)
{
    const EntryIdLess less;
    EXPECT_TRUE(less({0x01, 0x02}, {0x01, 0x02, 0x00}));
    EXPECT_FALSE(less({0x01, 0x02, 0x00}, {0x01, 0x02}));
    EXPECT_TRUE(less({}, {0x00}));
    EXPECT_FALSE(less({0x00}, {}));
    EXPECT_FALSE(less({}, {}));
}

TEST_F(KnownFoldersTest, AsksMapiOnceWhateverTheBytesSay)
{
    const EntryIdLess less;
    EXPECT_TRUE(less({0x01}, {0x02}));
    EXPECT_FALSE(less({0x02}, {0x01}));
    EXPECT_FALSE(less({0x01}, {0x01}));
    EXPECT_THAT(m_asked,
                ElementsAre(Comparison({0x01}, {0x02}), Comparison({0x02}, {0x01}), Comparison({0x01}, {0x01})));
}

TEST_F(KnownFoldersTest, TakesIdentifiersOfOneObjectForEquivalent)
{
    m_aliases = {{{0x01}, {0x02}}, {{0x02}, {0x01}}};
    EXPECT_FALSE(EntryIdLess()({0x01}, {0x02}));
    EXPECT_FALSE(EntryIdLess()({0x02}, {0x01}));
}

TEST_F(KnownFoldersTest, OrdersByBytesAloneWhenMapiCannotCompare)
{
    m_aliases = {{{0x01}, {0x02}}};
    m_fails = [](const Comparison&)
    {
        return true;
    };
    EXPECT_TRUE(EntryIdLess()({0x01}, {0x02}));
    EXPECT_FALSE(EntryIdLess()({0x02}, {0x01}));
    EXPECT_THAT(log(), ElementsAre(notCompared, notCompared));
}

TEST_F(KnownFoldersTest, CannotOrderWithoutASession)
{
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(thrown([] { (void)EntryIdLess()({0x01}, {0x02}); }), noSession);
    EXPECT_EQ(thrown([] { (void)EntryIdLess()({}, {}); }), noSession);
}

// ---- The search ----------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, IsEmptyAtFirstAndAsksNothingThen)
{
    mapi::Session::s_session = nullptr;
    const KnownFolders folders;
    EXPECT_TRUE(folders.empty());
    EXPECT_FALSE(folders.contains({0x01}));
    EXPECT_FALSE(folders.contains({}));
    EXPECT_EQ(folders.begin(), folders.end());
}

TEST_F(KnownFoldersTest, AsksAtEachMemberThatItVisitsAndOnceMoreTheOtherWayRound)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}, {0x40}, {0x50}, {0x60}, {0x70}});
    const EntryId key = {0x4F};
    m_aliases = {{{0x50}, key}, {key, {0x50}}};
    EXPECT_TRUE(folders.contains(key));
    EXPECT_THAT(m_asked, ElementsAre(Comparison({0x40}, key), Comparison({0x60}, key), Comparison({0x50}, key),
                                     Comparison(key, {0x50})));
}

TEST_F(KnownFoldersTest, AsksAboutTheNextMemberWhenItHasNotFoundTheFolder)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    const EntryId key = {0x15};
    EXPECT_FALSE(folders.contains(key));
    EXPECT_THAT(m_asked, ElementsAre(Comparison({0x20}, key), Comparison({0x10}, key), Comparison(key, {0x20})));
}

TEST_F(KnownFoldersTest, AsksNoMoreBehindTheLastMember)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    const EntryId key = {0x35};
    EXPECT_FALSE(folders.contains(key));
    EXPECT_THAT(m_asked, ElementsAre(Comparison({0x20}, key), Comparison({0x30}, key)));
}

TEST_F(KnownFoldersTest, FindsEachMember)
{
    const std::vector<EntryId> members = {{}, {0x00}, {0x00, 0x00}, {0x01}, {0x7F}, {0x80}, {0x80, 0x01}, {0xFF}};
    const KnownFolders folders = madeOf(members);
    EXPECT_EQ(membersOf(folders), members);
    for (const EntryId& member : members)
        EXPECT_TRUE(folders.contains(member));
    EXPECT_FALSE(folders.contains({0x02}));
}

TEST_F(KnownFoldersTest, FindsAnAliasOnlyWhenTheSearchComesByItsMember)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    for (const EntryId& alias : std::vector<EntryId>{{0x05}, {0x15}, {0x25}, {0x35}})
    {
        m_aliases.emplace_back(EntryId{0x30}, alias);
        m_aliases.emplace_back(alias, EntryId{0x30});
    }
    EXPECT_FALSE(folders.contains({0x05})); // the search goes to the left of 20
    EXPECT_FALSE(folders.contains({0x15}));
    EXPECT_TRUE(folders.contains({0x25}));
    EXPECT_TRUE(folders.contains({0x35}));
}

TEST_F(KnownFoldersTest, LosesAnAliasThatItHasComeByWhenASmallerMemberIsNotSmallerThanIt)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    const EntryId key = {0x05};
    m_aliases = {{{0x20}, key}, {key, {0x20}}};
    EXPECT_FALSE(folders.contains(key)); // the search goes on below 20 and ends at 10
    EXPECT_THAT(m_asked, ElementsAre(Comparison({0x20}, key), Comparison({0x10}, key), Comparison(key, {0x10})));
}

TEST_F(KnownFoldersTest, DecidesByTheLastQuestion)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    m_aliases = {{{0x15}, {0x20}}}; // the same only when asked the other way round
    EXPECT_TRUE(folders.contains({0x15}));
    m_aliases = {{{0x20}, {0x15}}};
    EXPECT_FALSE(folders.contains({0x15}));
}

TEST_F(KnownFoldersTest, GoesByTheBytesAtAMemberThatCannotBeCompared)
{
    const KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    m_aliases = {{{0x20}, {0x35}}, {{0x35}, {0x20}}};
    EXPECT_TRUE(folders.contains({0x35}));
    m_fails = [](const Comparison& comparison)
    {
        return comparison.first == EntryId{0x20};
    };
    EXPECT_FALSE(folders.contains({0x35}));
    EXPECT_TRUE(folders.contains({0x20})); // by its own bytes
    EXPECT_THAT(log(), ElementsAre(notCompared, notCompared, notCompared));
}

TEST_F(KnownFoldersTest, CannotSearchWithoutASession)
{
    KnownFolders folders = madeOf({{0x10}});
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(thrown([&] { (void)folders.contains({0x10}); }), noSession);
    EXPECT_EQ(thrown([&] { folders.insert({0x20}); }), noSession);
    EXPECT_THAT(membersOf(folders), ElementsAre(EntryId{0x10}));
}

// ---- Members -------------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, KeepsItsMembersInTheOrderOfTheirBytes)
{
    const KnownFolders folders = madeOf({{0x20}, {0xFF}, {0x10}, {0x20, 0x00}, {0x00}});
    EXPECT_THAT(membersOf(folders),
                ElementsAre(EntryId{0x00}, EntryId{0x10}, EntryId{0x20}, EntryId({0x20, 0x00}), EntryId{0xFF}));
}

TEST_F(KnownFoldersTest, AddsAFolderOnce)
{
    KnownFolders folders = madeOf({{0x10}, {0x20}});
    folders.insert({0x20});
    EXPECT_THAT(membersOf(folders), ElementsAre(EntryId{0x10}, EntryId{0x20}));
    EXPECT_THAT(m_asked,
                ElementsAre(Comparison({0x20}, {0x20}), Comparison({0x10}, {0x20}), Comparison({0x20}, {0x20})));
}

TEST_F(KnownFoldersTest, KeepsTheIdentifierThatItKnowsOfAFolder)
{
    m_aliases = {{{0x20}, {0x80}}, {{0x80}, {0x20}}};
    KnownFolders folders = madeOf({{0x10}, {0x20}});
    folders.insert({0x80});
    EXPECT_THAT(membersOf(folders), ElementsAre(EntryId{0x10}, EntryId{0x20}));
}

TEST_F(KnownFoldersTest, ErasesWithoutAskingAndGivesTheNextMember)
{
    KnownFolders folders = madeOf({{0x10}, {0x20}, {0x30}});
    auto next = folders.erase(folders.begin() + 1);
    EXPECT_EQ(*next, EntryId{0x30});
    next = folders.erase(next);
    EXPECT_EQ(next, folders.end());
    EXPECT_THAT(membersOf(folders), ElementsAre(EntryId{0x10}));
    EXPECT_THAT(m_asked, IsEmpty());
    EXPECT_FALSE(folders.contains({0x20}));
}

TEST_F(KnownFoldersTest, IsEmptyOnceItIsCleared)
{
    KnownFolders folders = madeOf({{0x10}, {0x20}});
    EXPECT_FALSE(folders.empty());
    folders.clear();
    EXPECT_TRUE(folders.empty());
    EXPECT_FALSE(folders.contains({0x10}));
    EXPECT_THAT(m_asked, IsEmpty());
}
} // namespace
