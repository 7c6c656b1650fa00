// The opening of a store and its objects. MessageStore::testHierarchy is in MapiMessageStoreHierarchyTests.cpp.
#include "agent/mapi/MapiMessageStore.h"

#include "agent/mapi/MapiUtilities.h"
#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"

namespace
{
using namespace tests;
using mapi::MessageStore;
using mapi::Session;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

const EntryId someId = {1, 2, 3};
const std::string noContainer =
    "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(container is not specified)";
const std::string emptyId = "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)";

class MessageStoreTest : public MapiTest
{
};

// ---- The opening of objects ----------------------------------------------------------------------------------------

TEST_F(MessageStoreTest, OpensAFolderAlsoWithAWarningOrThrowsAndReleasesIt)
{
    const Mocked<MockMsgStore> mock;
    const Mocked<MockFolder> folder;
    EXPECT_CALL(*mock, OpenEntry(3, mapi::entryIdBytes(someId), _, 0, _, _))
        .WillOnce(givesObject<5>(folder))
        .WillOnce(givesObject<5>(folder, MAPI_W_ERRORS_RETURNED))
        .WillOnce(givesObject<5>(folder, MAPI_E_NO_ACCESS));
    const MessageStore store(mock.pointer());
    EXPECT_EQ(store.openFolder(someId).GetInterfacePtr(), folder.get());
    EXPECT_EQ(mapi::openEntry(mock.pointer(), someId).GetInterfacePtr(), folder.get());
    EXPECT_EQ(thrown([&] { std::ignore = store.openFolder(someId); }),
              L"mapi::openEntry, line N: hr = 0x80070005(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MessageStoreTest, LogsAndRefusesAnOpenWithoutAContainerOrAnIdentifier)
{
    const Mocked<MockMsgStore> store;
    const Mocked<MockFolder> folder;
    EXPECT_CALL(*store, OpenEntry(_, _, _, _, _, _)).Times(0);
    EXPECT_CALL(*folder, OpenEntry(_, _, _, _, _, _)).Times(0);
    IMAPIPropPtr object;
    IUnknown** const slot = mapi::unknownSlot(object);
    EXPECT_EQ(mapi::impl::openEntry(IMsgStorePtr(), someId, IID_IMAPIProp, slot), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(mapi::impl::openEntry(IMAPIFolderPtr(), {}, IID_IMAPIProp, slot), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(mapi::impl::openEntry(store.pointer(), {}, IID_IMAPIProp, slot), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(mapi::impl::openEntry(folder.pointer(), {}, IID_IMAPIProp, slot), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(thrown([] { std::ignore = mapi::openEntry({}, someId); }),
              L"mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)");
    EXPECT_THAT(log(),
                ElementsAre(noContainer, noContainer, emptyId, emptyId, noContainer)); // the container goes first
}

TEST_F(MessageStoreTest, OpenEntryGivesTheResultAndClearsThePointerFirst)
{
    const Mocked<MockMsgStore> mock;
    const Mocked<MockProp> former;
    const MessageStore store(mock.pointer());
    for (const HRESULT result : {MAPI_E_NOT_FOUND, MAPI_W_ERRORS_RETURNED})
    {
        IMAPIPropPtr object = former.pointer();
        EXPECT_CALL(*mock, OpenEntry(_, _, _, _, _, _))
            .WillOnce(
                [&](ULONG, ENTRYID*, const IID* iid, ULONG, ULONG*, IUnknown** slot)
                {
                    EXPECT_TRUE(IsEqualIID(*iid, IID_IMAPIProp));
                    EXPECT_EQ(*slot, nullptr);
                    EXPECT_EQ(former->references(), 1);
                    return result;
                });
        EXPECT_EQ(store.openEntry(someId, object), result);
        EXPECT_EQ(object.GetInterfacePtr(), nullptr);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MessageStoreTest, OperationsThrowWithoutAStore)
{
    const auto noStore = [](const std::wstring& function)
    {
        return L"condition \"m_store\" failed (mapi::MessageStore::" + function + L" in MapiMessageStore.cpp, line N)";
    };
    const MessageStore none;
    EXPECT_FALSE(none);
    EXPECT_FALSE(none.store());
    IMAPIPropPtr object;
    EXPECT_EQ(thrown([&] { std::ignore = none.openEntry(someId, object); }), noStore(L"openEntry"));
    EXPECT_EQ(thrown([&] { std::ignore = none.openFolder(someId); }), noStore(L"openFolder"));
    EXPECT_EQ(thrown([&] { std::ignore = none.isPublic(); }), noStore(L"isPublic"));
    EXPECT_EQ(thrown([&] { std::ignore = none.openIpmSubtree(); }), noStore(L"openIpmSubtree"));
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Stores of the sandbox -----------------------------------------------------------------------------------------

TEST_F(MessageStoreTest, IsPublicByTheOpenedStore)
{
    logon(R"({"stores": [
        {"name": "Public", "public": true, "row": {"PR_MDB_PROVIDER": null}},
        {"name": "Mailbox"},
        {"name": "Long", "properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A00"}},
        {"name": "None", "properties": {"PR_MDB_PROVIDER": null}}]})");
    EXPECT_TRUE(openStore(0));
    EXPECT_TRUE(openStore(0).isPublic());
    EXPECT_FALSE(openStore(1).isPublic());
    EXPECT_FALSE(openStore(2).isPublic());
    EXPECT_EQ(thrown([] { std::ignore = openStore(3).isPublic(); }), missing);
}

TEST_F(MessageStoreTest, OpensTheIpmSubtree)
{
    logon(R"({"stores": [{"name": "Mailbox", "ipmSubtree": {"name": "Top of Mailbox"}},
                         {"name": "None", "properties": {"PR_IPM_SUBTREE_ENTRYID": null}},
                         {"name": "Empty", "properties": {"PR_IPM_SUBTREE_ENTRYID": ""}},
                         {"name": "Lost", "properties": {"PR_IPM_SUBTREE_ENTRYID": "00000000FF"}}]})");
    EXPECT_EQ(mapi::displayName(openStore(0).openIpmSubtree()), L"Top of Mailbox");
    EXPECT_EQ(thrown([] { std::ignore = openStore(1).openIpmSubtree(); }), missing);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(thrown([] { std::ignore = openStore(2).openIpmSubtree(); }),
              L"mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre(emptyId));
    EXPECT_EQ(thrown([] { std::ignore = openStore(3).openIpmSubtree(); }),
              L"mapi::openEntry, line N: hr = 0x8004010f(MAPI call failed)");
}

const std::string twoStores = R"({"stores": [
    {"name": "Mailbox", "aliases": ["80000000A1"], "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "shortTermIds": true, "aliases": ["80000000B1"],
         "messages": [{"displayName": "Ann"}, {"displayName": "Bob"}]}]},
    {"name": "Archive"}]})";

TEST_F(MessageStoreTest, ShortTermAndLongTermIdentifiersNameOneObject)
{
    logon(twoStores);
    const MessageStore store = openStore();
    const IMAPIFolderPtr contacts = find(store, {L"Contacts"});
    const auto ids = messageIds(contacts);
    ASSERT_EQ(ids.size(), 2u);

    IMAPIPropPtr message;
    ASSERT_EQ(store.openEntry(ids[0], message), S_OK); // short-term, as the table gives it
    const EntryId longTerm = mapi::entryId(message);
    EXPECT_NE(longTerm, ids[0]);
    EXPECT_TRUE(Session::isSameObject(longTerm, ids[0]));
    EXPECT_TRUE(Session::isSameObject(ids[0], longTerm));
    EXPECT_FALSE(Session::isSameObject(longTerm, ids[1]));
    EXPECT_FALSE(Session::isSameObject(longTerm, mapi::entryId(contacts)));
    EXPECT_TRUE(Session::isSameObject(mapi::entryId(contacts), {0x80, 0, 0, 0, 0xB1}));
    EXPECT_FALSE(Session::isSameObject(mapi::entryId(store.store()), mapi::entryId(openStore(1).store())));
}

TEST_F(MessageStoreTest, OpensObjectsByAnyOfTheirIdentifiers)
{
    logon(twoStores);
    const MessageStore store = openStore();
    EXPECT_EQ(mapi::displayName(store.openFolder({0x80, 0, 0, 0, 0xB1})), L"Contacts");
    const IMAPIFolderPtr contacts = find(store, {L"Contacts"});
    const auto ids = messageIds(contacts);
    IMAPIPropPtr message;
    EXPECT_EQ(mapi::impl::openEntry(contacts, ids.at(1), IID_IMAPIProp, mapi::unknownSlot(message)), S_OK);
    EXPECT_EQ(mapi::displayName(message), L"Bob");

    // What is of another store, or no folder, is not opened.
    EXPECT_EQ(openStore(1).openEntry(mapi::entryId(contacts), message), MAPI_E_NOT_FOUND);
    EXPECT_EQ(thrown([&] { std::ignore = store.openFolder(ids.at(0)); }),
              L"mapi::openEntry, line N: hr = 0x80004002(MAPI call failed)");
}
} // namespace
