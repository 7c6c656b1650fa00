#include "agent/SyncManager.h"

#include "mapiabi/MapiTags.h"

#include <optional>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/MailboxMocks.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointee;
using testing::Return;

constexpr const wchar_t* noStores = L"SyncManager::createWatchers: Cannot find message stores for synchronization";

/// SyncManager::createWatchers, over a profile of up to five stores.
class SyncManagerStoresTest : public MapiTest
{
protected:
    /// Logs on to a profile with these stores.
    SessionMock& logOn(const std::vector<StoreRow>& rows)
    {
        m_session.emplace(rows);
        mapi::Session::s_session = m_session->session.pointer();
        return *m_session;
    }

    /// The names of the watchers that a profile with these stores gives, in order.
    [[nodiscard]] std::vector<std::wstring> watched(const std::vector<StoreRow>& rows)
    {
        logOn(rows);
        SyncManager manager;
        manager.createWatchers();
        return namesOf(manager);
    }

    [[nodiscard]] static std::vector<std::wstring> namesOf(const SyncManager& manager)
    {
        std::vector<std::wstring> names;
        for (const auto& watcher : manager.watchers())
            names.push_back(watcher->displayName());
        return names;
    }

    FolderMock m_root{{0x01}, otherFolder()};
    StoreMock m_a{{0xA0}, m_root};
    StoreMock m_b{{0xB0}, m_root};
    StoreMock m_c{{0xC0}, m_root};
    StoreMock m_public{{0xD0}, m_root, true};
    StoreMock m_otherPublic{{0xE0}, m_root, true};
    std::optional<SessionMock> m_session;
};

// ---- Order ---------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerStoresTest, KeepsTheOrderOfTheTable)
{
    EXPECT_THAT(watched({storeRow(m_b, L"b"), storeRow(m_a, L"a"), storeRow(m_c, L"c")}),
                ElementsAre(L"b", L"a", L"c"));
}

TEST_F(SyncManagerStoresTest, PutsTheDefaultStoreFirst)
{
    EXPECT_THAT(watched({storeRow(m_a, L"a"), storeRow(m_b, L"b"), storeRow(m_c, L"c", true)}),
                ElementsAre(L"c", L"a", L"b"));
}

TEST_F(SyncManagerStoresTest, PutsTheLaterOfTwoDefaultStoresFirst)
{
    EXPECT_THAT(watched({storeRow(m_a, L"a", true), storeRow(m_b, L"b"), storeRow(m_c, L"c", true)}),
                ElementsAre(L"c", L"a", L"b"));
}

TEST_F(SyncManagerStoresTest, PutsPublicStoresLastInTheirOrder)
{
    EXPECT_THAT(watched({storeRow(m_public, L"public"), storeRow(m_a, L"a"), storeRow(m_otherPublic, L"other public"),
                         storeRow(m_b, L"b", true)}),
                ElementsAre(L"b", L"a", L"public", L"other public"));
}

TEST_F(SyncManagerStoresTest, PutsAPublicDefaultStoreBehindAllThatAreNotPublic)
{
    EXPECT_THAT(watched({storeRow(m_a, L"a"), storeRow(m_otherPublic, L"other public"),
                         storeRow(m_public, L"default public", true), storeRow(m_b, L"b")}),
                ElementsAre(L"a", L"b", L"default public", L"other public"));
}

TEST_F(SyncManagerStoresTest, GoesByTheOpenedStoreAndNotByTheRow)
{
    StoreRow saysPublic = storeRow(m_a, L"not public");
    saysPublic.values[3] = Property::bytes(PR_MDB_PROVIDER, publicProvider);
    EXPECT_THAT(watched({storeRow(m_public, L"public"), saysPublic, storeRow(m_b, L"b")}),
                ElementsAre(L"not public", L"b", L"public"));
}

// ---- Opening and logging -------------------------------------------------------------------------------------------

TEST_F(SyncManagerStoresTest, LogsEachStoreThatItFinds)
{
    EXPECT_THAT(watched({storeRow(m_a, L"Anna's mailbox", true), storeRow(m_public, L"All")}), testing::SizeIs(2));
    EXPECT_THAT(log(),
                ElementsAre("Message Store found: Anna's mailbox (Provider), Default: true, Public: false, EntryId: A0",
                            "Message Store found: All (Provider), Default: false, Public: false, EntryId: D0"));
}

TEST_F(SyncManagerStoresTest, LogsWhetherTheRowIsPublic)
{
    StoreRow row = storeRow(m_a, L"a");
    row.values[3] = Property::bytes(PR_MDB_PROVIDER, publicProvider);
    EXPECT_THAT(watched({row}), ElementsAre(L"a"));
    EXPECT_THAT(log(), ElementsAre("Message Store found: a (Provider), Default: false, Public: true, EntryId: "
                                   "A0"));
}

TEST_F(SyncManagerStoresTest, LogsWhatARowTellsNothingOf)
{
    SessionMock& session = logOn({{nullptr, {}}});
    EXPECT_CALL(*session.session, OpenMsgStore(0, 0, nullptr, _, _, _)).WillOnce(givesObject<5>(m_a.store));
    SyncManager manager;
    manager.createWatchers();
    EXPECT_THAT(namesOf(manager), ElementsAre(L""));
    EXPECT_THAT(log(), ElementsAre("Message Store found:  (), Default: false, Public: false, EntryId: "));
}

TEST_F(SyncManagerStoresTest, OpensAStoreForTheBestAccessWithoutDialogs)
{
    SessionMock& session = logOn({storeRow(m_a, L"a")});
    EXPECT_CALL(*session.session, OpenMsgStore(0, 1, _, Pointee(IID_IMsgStore), MAPI_BEST_ACCESS | MDB_NO_DIALOG, _))
        .WillOnce(
            [this](ULONG_PTR, ULONG size, ENTRYID* bytes, const IID*, ULONG, IMsgStore** store)
            {
                EXPECT_EQ(mapi::makeEntryId(size, bytes), m_a.id);
                m_a.store->AddRef();
                *store = m_a.store.get();
                return S_OK;
            });
    SyncManager manager;
    manager.createWatchers();
    ASSERT_THAT(manager.watchers(), testing::SizeIs(1));
    EXPECT_EQ(manager.watchers().front()->store().store().GetInterfacePtr(), m_a.store.get());
}

TEST_F(SyncManagerStoresTest, LogsAndOpensOneStoreAfterTheOther)
{
    EXPECT_THAT(watched({{nullptr, storeRow(m_a, L"a").values}, storeRow(m_b, L"b")}), ElementsAre(L"b"));
    EXPECT_THAT(log(), ElementsAre("Message Store found: a (Provider), Default: false, Public: false, EntryId: A0",
                                   "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                   "mapi::Session::openStore, line N: hr = 0x8004010f(MAPI call failed)",
                                   "Ignore message store \"a\" - cannot open.",
                                   "Message Store found: b (Provider), Default: false, Public: false, EntryId: B0"));
}

TEST_F(SyncManagerStoresTest, SkipsAStoreThatOpensToNothing)
{
    SessionMock& session = logOn({storeRow(m_a, L"a"), storeRow(m_b, L"b")});
    EXPECT_CALL(*session.session, OpenMsgStore(_, _, _, _, _, _))
        .WillOnce(Return(S_OK))
        .WillOnce(givesObject<5>(m_b.store));
    SyncManager manager;
    manager.createWatchers();
    EXPECT_THAT(namesOf(manager), ElementsAre(L"b"));
    EXPECT_EQ(log()[1], "Ignore message store \"a\" - cannot open.");
}

TEST_F(SyncManagerStoresTest, TakesAStoreThatOpensWithAWarning)
{
    SessionMock& session = logOn({storeRow(m_a, L"a")});
    EXPECT_CALL(*session.session, OpenMsgStore(_, _, _, _, _, _))
        .WillOnce(givesObject<5>(m_a.store, MAPI_W_ERRORS_RETURNED));
    SyncManager manager;
    manager.createWatchers();
    EXPECT_THAT(namesOf(manager), ElementsAre(L"a"));
}

TEST_F(SyncManagerStoresTest, SubscribesNothingYet)
{
    // The mocks of the stores would fail the test for any Advise.
    EXPECT_THAT(watched({storeRow(m_a, L"a", true)}), testing::SizeIs(1));
    EXPECT_THAT(log(), testing::Not(testing::Contains(testing::StartsWith("Subscribe to"))));
}

// ---- Failure -------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerStoresTest, ThrowsWhenThereIsNoStore)
{
    logOn({});
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }), noStores);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SyncManagerStoresTest, ThrowsWhenNoStoreCanBeOpened)
{
    logOn({{nullptr, storeRow(m_a, L"a").values}, {nullptr, storeRow(m_b, L"b").values}});
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }), noStores);
    EXPECT_THAT(log(), testing::SizeIs(6));
}

TEST_F(SyncManagerStoresTest, ThrowsWhenTheTableCannotBeHad)
{
    SessionMock& session = logOn({storeRow(m_a, L"a")});
    EXPECT_CALL(*session.session, GetMsgStoresTable(0, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }),
              L"mapi::Session::enumerateStores, line N: hr = 0x80004005(MAPI call failed)");
}

TEST_F(SyncManagerStoresTest, FindsNoStoreWhenTheTableCannotBeRead)
{
    SessionMock& session = logOn({storeRow(m_a, L"a")});
    EXPECT_CALL(*session.stores, QueryRows(_, _, _)).WillOnce(Return(MAPI_E_NOT_ENOUGH_MEMORY));
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }), noStores);
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x8007000e(MAPI call failed)"));
}

TEST_F(SyncManagerStoresTest, ThrowsWithoutASession)
{
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }),
              L"MAPI session is not active (mapi::Session::enumerateStores in MapiSession.cpp, line N)");
}

TEST_F(SyncManagerStoresTest, ThrowsWhenAnOpenedStoreDoesNotTellWhetherItIsPublic)
{
    giveProperties(m_b.store, {});
    logOn({storeRow(m_a, L"a"), storeRow(m_b, L"b")});
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(manager.watchers(), IsEmpty());
    EXPECT_EQ(m_a.store->references(), 1); // the watchers made so far are released
    EXPECT_EQ(m_b.store->references(), 1);
}

TEST_F(SyncManagerStoresTest, IsCancelledBetweenTwoStores)
{
    SessionMock& session = logOn({storeRow(m_a, L"a"), storeRow(m_b, L"b")});
    EXPECT_CALL(*session.session, OpenMsgStore(_, _, _, _, _, _))
        .WillOnce(
            [this](ULONG_PTR, ULONG, ENTRYID*, const IID*, ULONG, IMsgStore** store)
            {
                utilities::requestStop();
                m_a.store->AddRef();
                *store = m_a.store.get();
                return S_OK;
            });
    SyncManager manager;
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_EQ(m_a.store->references(), 1);
}

// ---- Replacing and releasing ---------------------------------------------------------------------------------------

TEST_F(SyncManagerStoresTest, HasNoWatchersAtFirst)
{
    EXPECT_THAT(SyncManager().watchers(), IsEmpty());
}

TEST_F(SyncManagerStoresTest, ReplacesItsWatchers)
{
    logOn({storeRow(m_a, L"a")});
    SyncManager manager;
    manager.createWatchers();
    logOn({storeRow(m_b, L"b")});
    manager.createWatchers();
    EXPECT_THAT(namesOf(manager), ElementsAre(L"b"));
    EXPECT_EQ(m_a.store->references(), 1);
}

TEST_F(SyncManagerStoresTest, KeepsItsWatchersWhenNewOnesCannotBeMade)
{
    logOn({storeRow(m_a, L"a")});
    SyncManager manager;
    manager.createWatchers();
    logOn({});
    EXPECT_EQ(thrown([&] { manager.createWatchers(); }), noStores);
    EXPECT_THAT(namesOf(manager), ElementsAre(L"a"));
}

/// Tells by a note in the runtime's journal when it goes.
class NotingStore : public MockMsgStore
{
public:
    ~NotingStore() override { TestRuntime::current().note(m_note); }
    std::string m_note;
};

TEST_F(SyncManagerStoresTest, ReleasesItsWatchersFirstToLast)
{
    std::optional<SyncManager> manager(std::in_place);
    {
        const Mocked<NotingStore> stores[3];
        const char* const notes[3] = {"first", "second", "third"};
        SessionMock& session = logOn({storeRow(m_a, L"1"), storeRow(m_b, L"2"), storeRow(m_c, L"3")});
        auto& opening = EXPECT_CALL(*session.session, OpenMsgStore(_, _, _, _, _, _));
        for (std::size_t index = 0; index < 3; ++index)
        {
            stores[index]->m_note = notes[index];
            giveProperties(stores[index], {Property::bytes(PR_MDB_PROVIDER, EntryId(16, 0))});
            opening.WillOnce(givesObject<5>(stores[index]));
        }
        manager->createWatchers();
    }
    m_runtime.clearCalls();
    manager.reset();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("first", "second", "third"));
}

TEST_F(SyncManagerStoresTest, LeavesNothingAllocatedAndNoReference)
{
    EXPECT_THAT(watched({storeRow(m_a, L"a"), storeRow(m_public, L"b", true)}), testing::SizeIs(2));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_EQ(m_a.store->references(), 1);
    EXPECT_EQ(m_session->stores->references(), 1);
}
} // namespace
