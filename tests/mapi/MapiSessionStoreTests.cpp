// The operations of the session on stores and identifiers. Its opening and closing are in MapiSessionTests.cpp.
#include <stdexcept>

#include "agent/mapi/MapiSession.h"
#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"
#include "utilities/StopRequested.h"

namespace
{
using namespace tests;
using mapi::MsgStoreInfo;
using mapi::Session;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgPointee;

const std::wstring notActive = L"MAPI session is not active (mapi::Session::";

class SessionStoresTest : public MapiTest
{
};

// ---- Stores --------------------------------------------------------------------------------------------------------

TEST_F(SessionStoresTest, ListsTheStoresInTheOrderOfTheTable)
{
    logon(R"({"stores": [
        {"name": "Public Folders", "provider": "Server", "public": true, "entryId": "00000000A1"},
        {"name": "Mailbox", "default": true, "entryId": "00000000A2"},
        {"name": "Bare", "entryId": "00000000A3",
         "row": {"PR_DISPLAY_NAME_W": null, "PR_PROVIDER_DISPLAY_W": null, "PR_DEFAULT_STORE": null,
                 "PR_MDB_PROVIDER": {"error": "0x8007000E"}}},
        {"name": "Odd", "entryId": "00000000A4", "row": {"PR_ENTRYID": null, "PR_MDB_PROVIDER": "78B2FA70"}}]})");
    const auto found = stores();
    ASSERT_EQ(found.size(), 4u);
    EXPECT_THAT(found[0].entryId, ElementsAre(0, 0, 0, 0, 0xA1));
    EXPECT_EQ(found[0].displayName, L"Public Folders");
    EXPECT_EQ(found[0].providerName, L"Server");
    EXPECT_FALSE(found[0].isDefault);
    EXPECT_TRUE(found[0].isPublic);
    EXPECT_EQ(found[1].displayName, L"Mailbox");
    EXPECT_TRUE(found[1].isDefault);
    EXPECT_FALSE(found[1].isPublic);
    EXPECT_EQ(found[2].displayName, L"");
    EXPECT_EQ(found[2].providerName, L"");
    EXPECT_FALSE(found[2].isDefault);
    EXPECT_FALSE(found[2].isPublic);
    EXPECT_THAT(found[3].entryId, IsEmpty());
    EXPECT_EQ(found[3].displayName, L"Odd");
    EXPECT_FALSE(found[3].isPublic);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionStoresTest, LogsAndListsNoStoreWhenTheTableCannotBeRead)
{
    logon(R"({"stores": [{"name": "Mailbox"}]})");
    plan("IMAPITable::QueryRows", MAPI_E_CALL_FAILED);
    EXPECT_THAT(stores(), IsEmpty());
    EXPECT_THAT(log(), ElementsAre(unreadTable("80004005")));
}

TEST_F(SessionStoresTest, PassesWhatEndsTheEnumeration)
{
    logon(R"({"stores": [{"name": "A"}, {"name": "B"}]})");
    int calls = 0;
    const auto throwing = [&calls](const MsgStoreInfo&)
    {
        ++calls;
        throw std::domain_error("store");
    };
    EXPECT_THROW(Session::enumerateStores(throwing), std::domain_error);
    EXPECT_EQ(thrown([] { Session::enumerateStores([](const MsgStoreInfo&) { utilities::requestStop(); }); }),
              L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionStoresTest, EnumerateStoresThrowsWithoutAFunctionASessionOrATable)
{
    const auto enumerate = [](const Session::StoreFunction& function)
    {
        return thrown([&] { Session::enumerateStores(function); });
    };
    const auto nothing = [](const MsgStoreInfo&) {};
    EXPECT_EQ(enumerate({}), notActive + L"enumerateStores in MapiSession.cpp, line N)"); // tested first
    EXPECT_EQ(enumerate(nothing), notActive + L"enumerateStores in MapiSession.cpp, line N)");
    Session::open();
    EXPECT_EQ(enumerate({}),
              L"enumerator function is not specified (mapi::Session::enumerateStores in MapiSession.cpp, line N)");
    plan("IMAPISession::GetMsgStoresTable", MAPI_E_NO_SUPPORT);
    EXPECT_EQ(enumerate(nothing), L"mapi::Session::enumerateStores, line N: hr = 0x80040102(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionStoresTest, OpensAStoreAlsoWithAWarningOrThrowsWhatItAnswers)
{
    logon(R"({"stores": [{"name": "Mailbox"}]})");
    plan("IMAPISession::OpenMsgStore", warning);
    EXPECT_TRUE(openStore());
    plan("IMAPISession::OpenMsgStore", MAPI_E_LOGON_FAILED);
    EXPECT_EQ(thrown([] { std::ignore = openStore(); }),
              L"mapi::Session::openStore, line N: hr = 0x80040111(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
    Session::s_session = nullptr;
    EXPECT_EQ(thrown([] { std::ignore = Session::openStore(0, nullptr); }),
              notActive + L"openStore in MapiSession.cpp, line N)");
}

/// What only a mock does.
class MockedSessionTest : public SessionStoresTest
{
protected:
    MockedSessionTest()
    {
        Session::s_session = m_session.pointer();
        ON_CALL(*m_session, GetMsgStoresTable(_, _)).WillByDefault(givesObject<1>(m_table));
    }
    ~MockedSessionTest() override { Session::s_session = nullptr; }

    const Mocked<MockSession> m_session;
    const Mocked<MockTable> m_table;
    const Mocked<MockMsgStore> m_store;
};

TEST_F(MockedSessionTest, ReleasesAStoreThatCameWithAFailure)
{
    EXPECT_CALL(*m_session, OpenMsgStore(_, _, _, _, _, _)).WillOnce(givesObject<5>(m_store, MAPI_E_CALL_FAILED));
    EXPECT_EQ(thrown([] { std::ignore = Session::openStore(0, nullptr); }),
              L"mapi::Session::openStore, line N: hr = 0x80004005(MAPI call failed)");
}

TEST_F(MockedSessionTest, RaisesAComErrorWhenNoTableComes)
{
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce(Return(S_OK));
    EXPECT_THROW(Session::enumerateStores([](const MsgStoreInfo&) {}), _com_error);
}

// The main thread may release the session while the worker is inside a call on it.
TEST_F(MockedSessionTest, HoldsTheSessionWhileItIsCalled)
{
    const auto releaseSession = [this]
    {
        Session::s_session = nullptr;
        EXPECT_EQ(m_session->references(), 2);
        return MAPI_E_CALL_FAILED;
    };
    const std::function<void()> operations[] = {[] { std::ignore = Session::openStore(0, nullptr); },
                                                [] { Session::enumerateStores([](const MsgStoreInfo&) {}); },
                                                []
                                                {
                                                    std::ignore = Session::isSameObject({1}, {2});
                                                }};
    EXPECT_CALL(*m_session, OpenMsgStore(_, _, _, _, _, _)).WillOnce([&](auto...) { return releaseSession(); });
    EXPECT_CALL(*m_session, GetMsgStoresTable(_, _)).WillOnce([&](auto...) { return releaseSession(); });
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce([&](auto...) { return releaseSession(); });
    for (const auto& operation : operations)
    {
        try
        {
            operation();
        }
        catch (const utilities::exception&)
        {
            // The call has failed.
        }
        Session::s_session = m_session.pointer();
    }
}

TEST_F(MockedSessionTest, MatchesColumnsByTheirFullTagsWhereverTheyStand)
{
    giveRows(m_table, {{
                          Property::text(PR_PROVIDER_DISPLAY_W, L"Server"),
                          Property::number(CHANGE_PROP_TYPE(PR_ENTRYID, PT_LONG), 7),
                          Property::bytes(PR_ENTRYID, {5}),
                          Property::number(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8), 0),
                          Property::flag(PR_DEFAULT_STORE, true),
                      }});
    const auto found = stores();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_THAT(found[0].entryId, ElementsAre(5));
    EXPECT_EQ(found[0].displayName, L"");
    EXPECT_EQ(found[0].providerName, L"Server");
    EXPECT_TRUE(found[0].isDefault);
}

TEST_F(MockedSessionTest, TakesAStoreForTheDefaultByAllBitsOfABooleanAndNoMore)
{
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [](LONG, ULONG, SRowSet** rows)
            {
                *rows = makeRows({{Property::flag(PR_DEFAULT_STORE, true)}, {Property::flag(PR_DEFAULT_STORE, true)}});
                (*rows)->aRow[0].lpProps->Value.l = 0x0000FF00;
                (*rows)->aRow[1].lpProps->Value.l = 0x00010000; // beyond the 16 bits of a boolean
                return S_OK;
            });
    const auto found = stores();
    EXPECT_TRUE(found.at(0).isDefault);
    EXPECT_FALSE(found.at(1).isDefault);
}

// ---- isSameObject --------------------------------------------------------------------------------------------------

TEST_F(MockedSessionTest, ObjectsAreTheSameWhenMapiAnswersExactlyOne)
{
    const EntryId id = {1, 2, 3}; // MAPI is asked also when the bytes are equal
    for (const ULONG answer : {0u, 1u, 2u, 0xFFFFFFFFu, 0x10001u})
    {
        EXPECT_CALL(*m_session, CompareEntryIDs(3, mapi::entryIdBytes(id), 3, mapi::entryIdBytes(id), 0, _))
            .WillOnce(DoAll(SetArgPointee<5>(answer), Return(S_OK)));
        EXPECT_EQ(Session::isSameObject(id, id), answer == 1) << answer;
    }
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(Return(S_OK)); // and no answer
    EXPECT_FALSE(Session::isSameObject(id, id));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MockedSessionTest, ObjectsAreDifferentForAnyResultButZeroWithALine)
{
    for (const HRESULT result : {MAPI_E_UNKNOWN_ENTRYID, warning})
    {
        EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(DoAll(SetArgPointee<5>(1), Return(result)));
        EXPECT_FALSE(Session::isSameObject({1}, {2}));
    }
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040201",
                                   "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x40380"));
}

TEST_F(MockedSessionTest, EmptyIdentifiersNameNoObjectWithoutACall)
{
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).Times(0);
    EXPECT_FALSE(Session::isSameObject({}, {1}));
    EXPECT_FALSE(Session::isSameObject({1}, {}));
    EXPECT_FALSE(Session::isSameObject({}, {}));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionStoresTest, IsSameObjectThrowsWithoutASession)
{
    const std::wstring expected =
        L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)";
    EXPECT_EQ(thrown([] { std::ignore = Session::isSameObject({1}, {2}); }), expected);
    EXPECT_EQ(thrown([] { std::ignore = Session::isSameObject({}, {}); }), expected);
}
} // namespace
