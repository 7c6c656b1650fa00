// The order of the comparisons is pinned end to end, by the journal of calls.
#include "agent/KnownFolders.h"

#include <vector>

#include "tests/agent/AgentTest.h"

namespace
{
using testing::ElementsAre;

const std::string notCompared = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005";
constexpr const wchar_t* noSession =
    L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)";

/// An identifier by its bytes behind the first four; MAPI's shortest has one.
EntryId id(EntryId bytes)
{
    bytes.insert(bytes.begin(), 4, 0x00);
    return bytes;
}

/// In the session that compares, 05, 15, 25 and 35 are further identifiers of the folder 30.
class KnownFoldersTest : public tests::AgentTest
{
protected:
    KnownFoldersTest()
    {
        logon(R"({"stores": [{"name": "Mailbox", "folders": [{"name": "Contacts", "entryId": "0000000030",
            "aliases": ["0000000005", "0000000015", "0000000025", "0000000035"]}]}]})");
    }

    static KnownFolders madeOf(const std::vector<EntryId>& members)
    {
        KnownFolders folders;
        for (const EntryId& member : members)
            folders.insert(member);
        return folders;
    }

    static std::vector<EntryId> membersOf(const KnownFolders& folders) { return {folders.begin(), folders.end()}; }

    /// No two identifiers can be compared from now on.
    void failToCompare() const
    {
        sandbox().plan({{"method", "IMAPISession::CompareEntryIDs"}, {"times", 0}, {"result", "0x80004005"}});
    }

    const std::vector<EntryId> m_three = {id({0x10}), id({0x20}), id({0x30})};
};

// ---- The order -----------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, OrdersByUnsignedBytesAndAPrefixFirst)
{
    const EntryIdLess less;
    EXPECT_TRUE(less(id({0x7F}), id({0x80})));
    EXPECT_FALSE(less(id({0x80}), id({0x7F})));
    EXPECT_TRUE(less(id({0x01, 0xFF}), id({0x02, 0x00})));
    EXPECT_TRUE(less(id({0x01, 0x02}), id({0x01, 0x02, 0x00})));
    EXPECT_FALSE(less(id({0x01, 0x02, 0x00}), id({0x01, 0x02})));
    EXPECT_FALSE(less(id({0x01}), id({0x01})));
}

TEST_F(KnownFoldersTest, TakesIdentifiersOfOneObjectForEquivalent)
{
    EXPECT_FALSE(EntryIdLess()(id({0x05}), id({0x30})));
    EXPECT_FALSE(EntryIdLess()(id({0x30}), id({0x05})));
}

TEST_F(KnownFoldersTest, OrdersByBytesAloneWhenMapiCannotCompare)
{
    failToCompare();
    EXPECT_TRUE(EntryIdLess()(id({0x05}), id({0x30})));
    EXPECT_FALSE(EntryIdLess()(id({0x30}), id({0x05})));
    EXPECT_THAT(log(), ElementsAre(notCompared, notCompared));
}

// ---- The search ----------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, IsEmptyAtFirstAndAsksNothingThen)
{
    mapi::Session::s_session = nullptr;
    const KnownFolders folders;
    EXPECT_TRUE(folders.empty());
    EXPECT_FALSE(folders.contains(id({0x01})));
    EXPECT_EQ(folders.begin(), folders.end());
}

TEST_F(KnownFoldersTest, FindsEachMemberAndNoOther)
{
    const std::vector<EntryId> members = {id({0x00}), id({0x00, 0x00}), id({0x01}), id({0x7F}),
                                          id({0x80}), id({0x80, 0x01}), id({0xFF})};
    const KnownFolders folders = madeOf(members);
    EXPECT_EQ(membersOf(folders), members);
    for (const EntryId& member : members)
        EXPECT_TRUE(folders.contains(member));
    for (const EntryId& other : {id({0x02}), id({0xFF, 0x00})})
        EXPECT_FALSE(folders.contains(other));
}

TEST_F(KnownFoldersTest, FindsAnAliasOnlyWhenTheSearchComesByItsMember)
{
    const KnownFolders folders = madeOf(m_three);
    EXPECT_FALSE(folders.contains(id({0x05}))); // the search goes to the left of 20
    EXPECT_FALSE(folders.contains(id({0x15})));
    EXPECT_TRUE(folders.contains(id({0x25})));
    EXPECT_TRUE(folders.contains(id({0x35})));
}

TEST_F(KnownFoldersTest, LosesAnAliasThatItHasComeByWhenASmallerMemberIsNotSmallerThanIt)
{
    EXPECT_FALSE(madeOf({id({0x10}), id({0x30}), id({0x40})}).contains(id({0x05}))); // goes on below 30, ends at 10
}

TEST_F(KnownFoldersTest, GoesByTheBytesAtAMemberThatCannotBeCompared)
{
    const KnownFolders folders = madeOf({id({0x10}), id({0x30}), id({0x40})});
    EXPECT_TRUE(folders.contains(id({0x35})));
    planResult("IMAPISession::CompareEntryIDs", "0x80004005"); // at 30, so the search goes on behind it
    EXPECT_FALSE(folders.contains(id({0x35})));
    failToCompare();
    EXPECT_TRUE(folders.contains(id({0x30})));
}

TEST_F(KnownFoldersTest, CannotSearchWithoutASession)
{
    KnownFolders folders = madeOf({id({0x10})});
    const auto session = mapi::Session::s_session;
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(thrown([&] { (void)folders.contains(id({0x10})); }), noSession);
    EXPECT_EQ(thrown([&] { folders.insert(id({0x20})); }), noSession);
    EXPECT_THAT(membersOf(folders), ElementsAre(id({0x10})));
    mapi::Session::s_session = session;
}

// ---- Members -------------------------------------------------------------------------------------------------------

TEST_F(KnownFoldersTest, KeepsEachFolderOnceInTheOrderOfTheirBytes)
{
    KnownFolders folders =
        madeOf({id({0x20}), id({0xFF}), id({0x30}), id({0x20, 0x00}), id({0x20}), id({0x25}), id({0xFF})});
    EXPECT_THAT(membersOf(folders), ElementsAre(id({0x20}), id({0x20, 0x00}), id({0x30}), id({0xFF})));
}

TEST_F(KnownFoldersTest, GivesTheNextMemberWhenItErasesOne)
{
    KnownFolders folders = madeOf(m_three);
    auto next = folders.erase(folders.begin() + 1);
    EXPECT_EQ(*next, id({0x30}));
    next = folders.erase(next);
    EXPECT_EQ(next, folders.end());
    EXPECT_THAT(membersOf(folders), ElementsAre(id({0x10})));
    folders.clear();
    EXPECT_TRUE(folders.empty());
}
} // namespace
