// The operations of the session on stores and identifiers. Its opening and closing are in MapiSessionTests.cpp.
#include <stdexcept>

#include <gmock/gmock.h>

#include "agent/mapi/MapiSession.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using mapi::MsgStoreInfo;
using mapi::Session;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::Return;
using testing::SetArgPointee;

constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;
const std::wstring notActive = L"MAPI session is not active (mapi::Session::";

class SessionStoreTest : public MapiTest
{
protected:
    SessionStoreTest() { Session::s_session = m_session.pointer(); }
    ~SessionStoreTest() override
    {
        Session::s_session = nullptr;
        EXPECT_EQ(m_session->references(), 1);
        EXPECT_EQ(m_table->references(), 1);
        EXPECT_EQ(m_store->references(), 1);
    }

    const Mocked<MockSession> m_session;
    const Mocked<MockMsgStore> m_store;
    const Mocked<MockTable> m_table;
};

// ---- openStore -------------------------------------------------------------------------------------------------------

using OpenStoreTest = SessionStoreTest;

TEST_F(OpenStoreTest, OpensForTheBestAccessAndWithoutDialogs)
{
    EntryId entryId = {1, 2, 3};
    EXPECT_CALL(*m_session, OpenMsgStore(0, 3, mapi::entryIdBytes(entryId), _, 0x11, NotNull()))
        .WillOnce(
            [this](ULONG_PTR, ULONG, ENTRYID*, const IID* iid, ULONG, IMsgStore** store)
            {
                EXPECT_TRUE(IsEqualIID(*iid, IID_IMsgStore));
                EXPECT_EQ(*store, nullptr);
                m_store->AddRef();
                *store = m_store.get();
                return S_OK;
            });
    const IMsgStorePtr store = Session::openStore(mapi::entryIdSize(entryId), mapi::entryIdBytes(entryId));
    EXPECT_EQ(store.GetInterfacePtr(), m_store.get());
    EXPECT_EQ(m_store->references(), 2);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenStoreTest, PassesAnEmptyIdentifierAsNull)
{
    EXPECT_CALL(*m_session, OpenMsgStore(0, 0, nullptr, _, 0x11, _)).WillOnce(givesObject<5>(m_store));
    EXPECT_NE(Session::openStore(0, nullptr).GetInterfacePtr(), nullptr);
}

TEST_F(OpenStoreTest, PassesWarnings)
{
    EXPECT_CALL(*m_session, OpenMsgStore(_, _, _, _, _, _)).WillOnce(givesObject<5>(m_store, warning));
    EXPECT_EQ(Session::openStore(0, nullptr).GetInterfacePtr(), m_store.get());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenStoreTest, ThrowsWhenTheStoreCannotBeOpened)
{
    EXPECT_CALL(*m_session, OpenMsgStore(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(thrown([] { (void)Session::openStore(0, nullptr); }),
              L"mapi::Session::openStore, line N: hr = 0x80040111(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenStoreTest, ReleasesAStoreThatCameWithAFailure)
{
    EXPECT_CALL(*m_session, OpenMsgStore(_, _, _, _, _, _)).WillOnce(givesObject<5>(m_store, MAPI_E_CALL_FAILED));
    EXPECT_EQ(thrown([] { (void)Session::openStore(0, nullptr); }),
              L"mapi::Session::openStore, line N: hr = 0x80004005(MAPI call failed)");
}

TEST_F(OpenStoreTest, ThrowsWithoutASession)
{
    Session::s_session = nullptr;
    EXPECT_EQ(thrown([] { (void)Session::openStore(0, nullptr); }),
              notActive + L"openStore in MapiSession.cpp, line N)");
}

// ---- enumerateStores -------------------------------------------------------------------------------------------------

class EnumerateStoresTest : public SessionStoreTest
{
protected:
    /// Enumerates a table of these rows, which come as they are.
    std::vector<MsgStoreInfo> enumerate(const std::vector<Properties>& rows)
    {
        EXPECT_CALL(*m_session, GetMsgStoresTable(0, NotNull())).WillOnce(givesObject<1>(m_table));
        EXPECT_CALL(*m_table, SetColumns(_, 0))
            .WillOnce(
                [](SPropTagArray* columns, ULONG)
                {
                    EXPECT_THAT(tagsOf(columns),
                                ElementsAre(0x0FFF0102, 0x3001001F, 0x3400000B, 0x34140102, 0x3006001F));
                    return S_OK;
                });
        EXPECT_CALL(*m_table, GetRowCount(0, _))
            .WillOnce(DoAll(SetArgPointee<1>(static_cast<ULONG>(rows.size())), Return(S_OK)));
        if (!rows.empty())
            EXPECT_CALL(*m_table, QueryRows(_, TBL_NOADVANCE, _)).WillOnce(givesRows(rows));
        std::vector<MsgStoreInfo> stores;
        Session::enumerateStores([&stores](const MsgStoreInfo& info) { stores.push_back(info); });
        EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
        return stores;
    }
    static Property provider(std::size_t size)
    {
        EntryId bytes = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD,
                         0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};
        bytes.resize(size);
        return Property::bytes(PR_MDB_PROVIDER, bytes);
    }
    static void doNothing(const MsgStoreInfo&) {}
};

TEST_F(EnumerateStoresTest, GivesTheStoresInTheOrderOfTheTable)
{
    const auto stores = enumerate({
        {Property::bytes(PR_ENTRYID, {2, 0, 2}), Property::text(PR_DISPLAY_NAME_W, L"Mailbox"),
         Property::flag(PR_DEFAULT_STORE, true), Property::bytes(PR_MDB_PROVIDER, EntryId(16, 1)),
         Property::text(PR_PROVIDER_DISPLAY_W, L"Server")},
        {Property::bytes(PR_ENTRYID, {1}), Property::text(PR_DISPLAY_NAME_W, L"Public"),
         Property::flag(PR_DEFAULT_STORE, false), provider(16), Property::text(PR_PROVIDER_DISPLAY_W, L"")},
    });
    ASSERT_EQ(stores.size(), 2u);
    EXPECT_THAT(stores[0].entryId, ElementsAre(2, 0, 2));
    EXPECT_EQ(stores[0].displayName, L"Mailbox");
    EXPECT_EQ(stores[0].providerName, L"Server");
    EXPECT_TRUE(stores[0].isDefault);
    EXPECT_FALSE(stores[0].isPublic);
    EXPECT_THAT(stores[1].entryId, ElementsAre(1));
    EXPECT_EQ(stores[1].displayName, L"Public");
    EXPECT_EQ(stores[1].providerName, L"");
    EXPECT_FALSE(stores[1].isDefault);
    EXPECT_TRUE(stores[1].isPublic);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(EnumerateStoresTest, KeepsTheDefaultsOfWhatARowLacks)
{
    const auto stores = enumerate({
        {Property::error(PR_ENTRYID), Property::error(PR_DISPLAY_NAME_W), Property::error(PR_DEFAULT_STORE),
         Property::error(PR_MDB_PROVIDER), Property::error(PR_PROVIDER_DISPLAY_W)},
        {},
    });
    ASSERT_EQ(stores.size(), 2u);
    for (const MsgStoreInfo& info : stores)
    {
        EXPECT_THAT(info.entryId, IsEmpty());
        EXPECT_EQ(info.displayName, L"");
        EXPECT_EQ(info.providerName, L"");
        EXPECT_FALSE(info.isDefault);
        EXPECT_FALSE(info.isPublic);
    }
}

TEST_F(EnumerateStoresTest, MatchesValuesByTheirFullTagsWhateverTheirPlace)
{
    const auto stores = enumerate({{
        Property::text(PR_PROVIDER_DISPLAY_W, L"Server"),
        Property::number(CHANGE_PROP_TYPE(PR_ENTRYID, PT_LONG), 7),
        Property::text(PR_COMMENT_W, L"not the name"),
        Property::bytes(PR_ENTRYID, {5}),
        Property::number(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8), 0),
        Property::flag(PR_DEFAULT_STORE, true),
    }});
    ASSERT_EQ(stores.size(), 1u);
    EXPECT_THAT(stores[0].entryId, ElementsAre(5));
    EXPECT_EQ(stores[0].displayName, L"");
    EXPECT_EQ(stores[0].providerName, L"Server");
    EXPECT_TRUE(stores[0].isDefault);
}

TEST_F(EnumerateStoresTest, IsPublicForTheWholeProviderOnly)
{
    const auto stores = enumerate({{provider(15)}, {provider(16)}, {provider(17)}, {provider(0)}});
    ASSERT_EQ(stores.size(), 4u);
    EXPECT_FALSE(stores[0].isPublic);
    EXPECT_TRUE(stores[1].isPublic);
    EXPECT_FALSE(stores[2].isPublic);
    EXPECT_FALSE(stores[3].isPublic);
}

TEST_F(EnumerateStoresTest, IsDefaultForAnyBooleanButZero)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(givesObject<1>(m_table));
    giveRows(m_table, {{}});
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [](LONG, ULONG, SRowSet** rows)
            {
                *rows = makeRows({{Property::flag(PR_DEFAULT_STORE, true)}, {Property::flag(PR_DEFAULT_STORE, true)}});
                (*rows)->aRow[0].lpProps->Value.l = 0x0000FF00;
                (*rows)->aRow[1].lpProps->Value.l = 0x00010000; // beyond the 16 bits of a boolean
                return S_OK;
            });
    std::vector<bool> defaults;
    Session::enumerateStores([&](const MsgStoreInfo& info) { defaults.push_back(info.isDefault); });
    EXPECT_THAT(defaults, ElementsAre(true, false));
}

TEST_F(EnumerateStoresTest, GivesNothingForAnEmptyTable)
{
    EXPECT_THAT(enumerate({}), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(EnumerateStoresTest, ThrowsWithoutASession)
{
    Session::s_session = nullptr;
    const std::wstring expected = notActive + L"enumerateStores in MapiSession.cpp, line N)";
    EXPECT_EQ(thrown([] { Session::enumerateStores(doNothing); }), expected);
    EXPECT_EQ(thrown([] { Session::enumerateStores({}); }), expected); // the session is tested first
}

TEST_F(EnumerateStoresTest, ThrowsWithoutAFunction)
{
    EXPECT_EQ(thrown([] { Session::enumerateStores({}); }),
              L"enumerator function is not specified (mapi::Session::enumerateStores in MapiSession.cpp, line N)");
}

TEST_F(EnumerateStoresTest, ThrowsWhenTheTableCannotBeHad)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_EQ(thrown([] { Session::enumerateStores(doNothing); }),
              L"mapi::Session::enumerateStores, line N: hr = 0x80040102(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(m_runtime.calls(), IsEmpty()); // no columns yet
}

TEST_F(EnumerateStoresTest, RaisesAComErrorWhenNoTableComes)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(Return(S_OK));
    EXPECT_THROW(Session::enumerateStores(doNothing), _com_error);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(EnumerateStoresTest, LogsAndGivesNothingWhenTheTableCannotBeRead)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(givesObject<1>(m_table, warning));
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    Session::enumerateStores([](const MsgStoreInfo&) { ADD_FAILURE(); });
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80004005(MAPI call failed)"));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(EnumerateStoresTest, PassesTheFunctionsException)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(givesObject<1>(m_table));
    giveRows(m_table, {{}, {}});
    int calls = 0;
    EXPECT_THROW(Session::enumerateStores(
                     [&calls](const MsgStoreInfo&)
                     {
                         ++calls;
                         throw std::domain_error("store");
                     }),
                 std::domain_error);
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(EnumerateStoresTest, IsCancelledBetweenStores)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(givesObject<1>(m_table));
    giveRows(m_table, {{}, {}});
    int calls = 0;
    EXPECT_EQ(thrown(
                  [&calls]
                  {
                      Session::enumerateStores(
                          [&calls](const MsgStoreInfo&)
                          {
                              ++calls;
                              utilities::requestStop();
                          });
                  }),
              L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

// ---- isSameObject ----------------------------------------------------------------------------------------------------

class IsSameObjectTest : public SessionStoreTest
{
protected:
    const EntryId m_first = {1, 2, 3};
    const EntryId m_second = {4, 5};
};

TEST_F(IsSameObjectTest, AsksMapi)
{
    EXPECT_CALL(*m_session,
                CompareEntryIDs(3, mapi::entryIdBytes(m_first), 2, mapi::entryIdBytes(m_second), 0, NotNull()))
        .WillOnce(DoAll(SetArgPointee<5>(1), Return(S_OK)));
    EXPECT_TRUE(Session::isSameObject(m_first, m_second));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsSameObjectTest, AsksMapiAlsoWhenTheBytesAreEqual)
{
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(DoAll(SetArgPointee<5>(0), Return(S_OK)));
    EXPECT_FALSE(Session::isSameObject(m_first, m_first));
}

TEST_F(IsSameObjectTest, IsTrueForExactlyOne)
{
    for (const ULONG answer : {0u, 2u, 0xFFFFFFFFu, 0x10001u})
    {
        EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _))
            .WillOnce(DoAll(SetArgPointee<5>(answer), Return(S_OK)));
        EXPECT_FALSE(Session::isSameObject(m_first, m_second)) << answer;
    }
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(Return(S_OK)); // and no answer
    EXPECT_FALSE(Session::isSameObject(m_first, m_second));
}

TEST_F(IsSameObjectTest, IsFalseForEmptyIdentifiersWithoutACall)
{
    EXPECT_FALSE(Session::isSameObject({}, m_second));
    EXPECT_FALSE(Session::isSameObject(m_first, {}));
    EXPECT_FALSE(Session::isSameObject({}, {}));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsSameObjectTest, LogsAndIsFalseForAnyResultButZero)
{
    for (const HRESULT result : {MAPI_E_UNKNOWN_ENTRYID, warning})
    {
        EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(DoAll(SetArgPointee<5>(1), Return(result)));
        EXPECT_FALSE(Session::isSameObject(m_first, m_second));
    }
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040201",
                                   "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x40380"));
}

TEST_F(IsSameObjectTest, ThrowsWithoutASession)
{
    Session::s_session = nullptr;
    const std::wstring expected =
        L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)";
    EXPECT_EQ(thrown([this] { (void)Session::isSameObject(m_first, m_second); }), expected);
    EXPECT_EQ(thrown([] { (void)Session::isSameObject({}, {}); }), expected);
}
} // namespace
