// The order of the comparisons is pinned end to end, by the journal of calls.
#include "agent/KnownFolders.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <utility>
#include <vector>

#include "tests/agent/AgentTest.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/mapi/MapiMocks.h"

namespace
{
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string notCompared = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005";
constexpr const wchar_t* noSession =
    L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)";

/// An identifier by its bytes behind the first four; MAPI's shortest has one.
EntryId id(EntryId bytes)
{
    bytes.insert(bytes.begin(), 4, 0x00);
    return bytes;
}

/// In the session that compares, 05, 15, 25, 35 and 45 are further identifiers of the folder 30.
class KnownFoldersTest : public tests::AgentTest
{
protected:
    KnownFoldersTest()
    {
        logon(R"({"stores": [{"name": "Mailbox", "folders": [{"name": "Contacts", "entryId": "0000000030",
            "aliases": ["0000000005", "0000000015", "0000000025", "0000000035", "0000000045"]}]}]})");
    }

    static KnownFolders madeOf(const std::vector<EntryId>& members)
    {
        KnownFolders folders;
        for (const EntryId& member : members)
            folders.insert(member);
        return folders;
    }

    static std::vector<EntryId> membersOf(const KnownFolders& folders)
    {
        std::vector<EntryId> members;
        for (const KnownFolders::Member& member : folders.members())
            members.push_back(*member);
        return members;
    }

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
    EXPECT_THAT(folders.members(), IsEmpty());
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

/// So many identifiers, in no order.
std::vector<EntryId> manyIds(unsigned count)
{
    std::vector<EntryId> ids;
    for (unsigned number = 0; number < count; ++number)
    {
        const unsigned mixed = number * 40503 % 65536; // 40503 is odd, so no number comes twice
        ids.push_back(id({static_cast<BYTE>(mixed >> 8), static_cast<BYTE>(mixed)}));
    }
    return ids;
}

TEST_F(KnownFoldersTest, InsertsAmongManyWithoutMovingAllOfThem)
{
    KnownFolders folders;
    std::ptrdiff_t most = 0;
    for (const EntryId& folder : manyIds(5'000))
    {
        const support::HeapWatch heap;
        folders.insert(folder);
        most = std::max(most, heap.peak());
    }
    EXPECT_LE(most, 60'000); // 5,000 members take 80,000 bytes, and a vector that grows as much again
}

TEST_F(KnownFoldersTest, KeepsManyInOrderWhileSomeComeAgainAndSomeGo)
{
    std::vector<EntryId> ids = manyIds(3'000);
    KnownFolders folders = madeOf(ids);
    std::ranges::sort(ids);
    EXPECT_EQ(membersOf(folders), ids);
    const std::vector<KnownFolders::Member> before = folders.members();
    for (const EntryId& folder : ids)
        folders.insert(folder);
    EXPECT_EQ(membersOf(folders), ids);
    const std::vector<KnownFolders::Member> members = folders.members();
    for (std::size_t index = 0; index < members.size(); ++index)
        EXPECT_NE(members[index], before[index]);
    for (std::size_t index = 1'000; index < members.size(); ++index)
        EXPECT_TRUE(folders.erase(members[index]));
    EXPECT_FALSE(folders.erase(members.back()));
    ids.resize(1'000);
    EXPECT_EQ(membersOf(folders), ids);
    folders.insert(*members.back());
    folders.insert(*members[1'500]);
    EXPECT_EQ(membersOf(folders).at(1'000), *members[1'500]);
    EXPECT_TRUE(folders.contains(*members.back()));
}

TEST_F(KnownFoldersTest, ErasesAMemberOnceAndByItself)
{
    KnownFolders folders = madeOf(m_three);
    const KnownFolders::Member second = folders.members()[1];
    mapi::Session::s_session = nullptr;
    EXPECT_TRUE(folders.erase(second));
    EXPECT_FALSE(folders.erase(second));
    EXPECT_EQ(*second, id({0x20}));
    EXPECT_THAT(membersOf(folders), ElementsAre(id({0x10}), id({0x30})));
    folders.clear();
    EXPECT_TRUE(folders.empty());
}

TEST_F(KnownFoldersTest, TakesAFolderThatIsInsertedAgainForAnotherMember)
{
    KnownFolders folders = madeOf(m_three);
    const std::vector<KnownFolders::Member> before = folders.members();
    folders.insert(id({0x25})); // the folder 30
    EXPECT_FALSE(folders.erase(before[2]));
    EXPECT_EQ(membersOf(folders), m_three);
    EXPECT_TRUE(folders.erase(before[1]));
    folders.insert(id({0x20}));
    EXPECT_FALSE(folders.erase(before[1]));
    EXPECT_EQ(membersOf(folders), m_three);
}

// ---- What is asked of MAPI, and what happens meanwhile ---------------------------------------------------------------

using Comparison = std::pair<EntryId, EntryId>;

/// The sandbox's session, in front of whose comparisons something may be done.
class ComparingTest : public KnownFoldersTest
{
protected:
    ComparingTest()
    {
        const auto behind = mapi::Session::s_session;
        ON_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _))
            .WillByDefault(
                [this, behind](ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG* result)
                {
                    m_comparisons.emplace_back(mapi::makeEntryId(size1, id1), mapi::makeEntryId(size2, id2));
                    if (m_comparisons.size() == m_number)
                        m_meanwhile();
                    return behind->CompareEntryIDs(size1, id1, size2, id2, flags, result);
                });
        mapi::Session::s_session = m_session.pointer();
    }
    ~ComparingTest() override { mapi::Session::s_session = nullptr; }

    /// Does one thing while the other asks MAPI for the `number`th time. False if it doesn't ask that often.
    bool during(std::size_t number, const std::function<void()>& search, std::function<void()> meanwhile)
    {
        m_comparisons.clear();
        m_number = number;
        m_meanwhile = std::move(meanwhile);
        search();
        m_number = 0;
        return m_comparisons.size() >= number;
    }

    /// What a search asks.
    std::vector<Comparison> asked(const std::function<void()>& search)
    {
        during(0, search, {});
        return std::exchange(m_comparisons, {});
    }

    const tests::Mocked<tests::MockSession> m_session;
    std::vector<Comparison> m_comparisons;
    std::size_t m_number = 0;
    std::function<void()> m_meanwhile;
    const std::vector<EntryId> m_five = {id({0x10}), id({0x20}), id({0x30}), id({0x40}), id({0x50})};
};

TEST_F(ComparingTest, VisitsTheMembersThatTheStandardSearchVisitsAndAsksForTheBoundTheOtherWayRound)
{
    // Without aliases the order is a strict one, as that search wants it.
    std::vector<EntryId> members;
    for (BYTE last = 0x51; last < 0x6F; last += 2)
    {
        const KnownFolders folders = madeOf(members);
        for (BYTE sought = 0x50; sought < 0x70; ++sought)
        {
            const EntryId folder = id({sought});
            std::vector<Comparison> expected;
            // This one also where the library checks its callers by comparisons of its own.
            const auto bound = std::ranges::lower_bound(members, folder,
                                                        [&expected](const EntryId& member, const EntryId& other)
                                                        {
                                                            expected.emplace_back(member, other);
                                                            return member < other;
                                                        });
            if (bound != members.end())
                expected.emplace_back(folder, *bound);
            ASSERT_EQ(asked([&] { (void)folders.contains(folder); }), expected);
            KnownFolders copy = folders;
            ASSERT_EQ(asked([&] { copy.insert(folder); }), expected);
        }
        members.push_back(id({last}));
    }
}

TEST_F(ComparingTest, GoesToTheLeftOfAMemberThatMapiCallsTheSameAlsoWhenTheNextOneIsSmaller)
{
    // 45 stands behind 10, 20 and 40, and not behind 30, which it is.
    const KnownFolders folders = madeOf(m_five);
    EXPECT_THAT(asked([&] { EXPECT_TRUE(folders.contains(id({0x45}))); }),
                ElementsAre(Comparison(id({0x30}), id({0x45})), Comparison(id({0x20}), id({0x45})),
                            Comparison(id({0x45}), id({0x30}))));
}

/// What a nested batch may do to the set: the erasure of a member, or the insertion of another folder.
using Change = std::function<void(KnownFolders&)>;

std::vector<Change> changesOf(const std::vector<EntryId>& members)
{
    std::vector<Change> changes;
    for (std::size_t index = 0; index < members.size(); ++index)
        changes.emplace_back([index](KnownFolders& folders) { (void)folders.erase(folders.members()[index]); });
    for (const BYTE last : std::initializer_list<BYTE>{0x01, 0x18, 0x2F, 0x38, 0x48, 0xFF})
        changes.emplace_back([last](KnownFolders& folders) { folders.insert(id({last})); });
    changes.emplace_back([](KnownFolders& folders) { folders.clear(); });
    return changes;
}

TEST_F(ComparingTest, FindsWhatASearchBehindTheChangeFindsWhenTheSetChangesMeanwhile)
{
    for (const Change& change : changesOf(m_five))
    {
        KnownFolders changed = madeOf(m_five);
        change(changed);
        for (BYTE last = 0; last < 0x60; ++last)
        {
            const bool expected = changed.contains(id({last}));
            for (std::size_t number = 1;; ++number)
            {
                KnownFolders folders = madeOf(m_five);
                bool found = false;
                if (!during(number, [&] { found = folders.contains(id({last})); }, [&] { change(folders); }))
                    break;
                ASSERT_EQ(found, expected) << int{last} << ", comparison " << number;
            }
        }
    }
}

TEST_F(ComparingTest, InsertsWhereItStandsBehindTheChangeWhenTheSetChangesMeanwhile)
{
    for (const Change& change : changesOf(m_five))
    {
        for (BYTE last = 0; last < 0x60; ++last)
        {
            KnownFolders changed = madeOf(m_five);
            change(changed);
            changed.insert(id({last}));
            for (std::size_t number = 1;; ++number)
            {
                KnownFolders folders = madeOf(m_five);
                if (!during(number, [&] { folders.insert(id({last})); }, [&] { change(folders); }))
                    break;
                ASSERT_EQ(membersOf(folders), membersOf(changed)) << int{last} << ", comparison " << number;
            }
        }
    }
}
} // namespace
