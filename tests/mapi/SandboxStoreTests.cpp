// Stores, identifiers and the way up through the folders, on the sandbox.
#include <gmock/gmock.h>

#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/PropReaders.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/sandbox/SandboxMapiTest.h"

namespace
{
using mapi::MessageStore;
using mapi::Session;
using testing::ElementsAre;
using testing::IsEmpty;

class SandboxStoreTest : public tests::SandboxMapiTest
{
};

TEST_F(SandboxStoreTest, ListsTheStoresWithAllTheirValues)
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
    EXPECT_THAT(found[2].entryId, ElementsAre(0, 0, 0, 0, 0xA3));
    EXPECT_EQ(found[2].displayName, L"");
    EXPECT_EQ(found[2].providerName, L"");
    EXPECT_FALSE(found[2].isDefault);
    EXPECT_FALSE(found[2].isPublic);
    EXPECT_THAT(found[3].entryId, IsEmpty());
    EXPECT_EQ(found[3].displayName, L"Odd");
    EXPECT_FALSE(found[3].isPublic);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SandboxStoreTest, ListsNoStoreOfAnEmptyProfile)
{
    logon(R"({})");
    EXPECT_THAT(stores(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SandboxStoreTest, OpensAStoreOrThrowsWhatItAnswers)
{
    logon(R"({"stores": [{"name": "Mailbox"}, {"name": "Shut", "openError": "0x80040111"}]})");
    EXPECT_EQ(mapi::displayName(openStore(0).store()), L"Mailbox");
    EXPECT_EQ(thrown([this] { (void)openStore(1); }),
              L"mapi::Session::openStore, line N: hr = 0x80040111(MAPI call failed)");
}

TEST_F(SandboxStoreTest, OpensAStoreThatWarns)
{
    logon(R"({"stores": [{"name": "Mailbox"}], "results": {"OpenMsgStore": "MAPI_W_ERRORS_RETURNED"}})");
    EXPECT_EQ(mapi::displayName(openStore().store()), L"Mailbox");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SandboxStoreTest, FailsWhenTheStoresTableFails)
{
    logon(R"({"stores": [{"name": "Mailbox"}], "results": {"StoresTable.QueryRows": "0x80004005"}})");
    EXPECT_THAT(stores(), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(SandboxStoreTest, IsPublicByTheOpenedStore)
{
    logon(R"({"stores": [
        {"name": "Public", "public": true, "row": {"PR_MDB_PROVIDER": null}},
        {"name": "Mailbox"},
        {"name": "Long", "properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A00"}},
        {"name": "None", "properties": {"PR_MDB_PROVIDER": null}}]})");
    EXPECT_TRUE(openStore(0).isPublic());
    EXPECT_FALSE(openStore(1).isPublic());
    EXPECT_FALSE(openStore(2).isPublic());
    EXPECT_EQ(thrown([this] { (void)openStore(3).isPublic(); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
}

TEST_F(SandboxStoreTest, OpensTheIpmSubtree)
{
    logon(R"({"stores": [{"name": "Mailbox", "ipmSubtree": {"name": "Top of Mailbox"}},
                         {"name": "None", "properties": {"PR_IPM_SUBTREE_ENTRYID": null}},
                         {"name": "Lost", "properties": {"PR_IPM_SUBTREE_ENTRYID": "00000000FF"}}]})");
    EXPECT_EQ(mapi::displayName(openStore(0).openIpmSubtree()), L"Top of Mailbox");
    EXPECT_EQ(thrown([this] { (void)openStore(1).openIpmSubtree(); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_EQ(thrown([this] { (void)openStore(2).openIpmSubtree(); }),
              L"mapi::openEntry, line N: hr = 0x8004010f(MAPI call failed)");
}

// ---- Identifiers -----------------------------------------------------------------------------------------------------

const std::string twoStores = R"({"stores": [
    {"name": "Mailbox", "aliases": ["80000000A1"], "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "shortTermIds": true, "aliases": ["80000000B1"],
         "messages": [{"displayName": "Ann"}, {"displayName": "Bob"}]}]},
    {"name": "Archive"}]})";

TEST_F(SandboxStoreTest, ShortTermAndLongTermIdentifiersNameOneObject)
{
    logon(twoStores);
    const MessageStore store = openStore();
    const IMAPIFolderPtr contacts = find(store, {L"Contacts"});
    const auto ids = messageIds(contacts);
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(ids[0].size(), 28u);
    EXPECT_EQ(ids[0][0], 0x80); // short-term, as the table gives it

    IMAPIPropPtr message;
    ASSERT_EQ(store.openEntry(ids[0], message), S_OK);
    const EntryId longTerm = mapi::entryId(message);
    EXPECT_EQ(longTerm.size(), 70u);
    EXPECT_NE(longTerm, ids[0]);
    EXPECT_TRUE(Session::isSameObject(longTerm, ids[0]));
    EXPECT_TRUE(Session::isSameObject(ids[0], longTerm));
    EXPECT_TRUE(Session::isSameObject(longTerm, longTerm));
    EXPECT_FALSE(Session::isSameObject(longTerm, ids[1]));
    EXPECT_FALSE(Session::isSameObject(longTerm, mapi::entryId(contacts)));
    EXPECT_TRUE(Session::isSameObject(mapi::entryId(contacts), {0x80, 0, 0, 0, 0xB1}));
    EXPECT_TRUE(Session::isSameObject(mapi::entryId(store.store()), {0x80, 0, 0, 0, 0xA1}));
    EXPECT_FALSE(Session::isSameObject(mapi::entryId(store.store()), mapi::entryId(openStore(1).store())));
}

TEST_F(SandboxStoreTest, IdentifiersThatCannotBeComparedAreDifferent)
{
    logon(R"({"stores": [{"name": "Mailbox"}], "results": {"CompareEntryIDs": "0x80040201"}})");
    const EntryId store = mapi::entryId(openStore().store());
    EXPECT_FALSE(Session::isSameObject(store, store));
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040201"));
}

TEST_F(SandboxStoreTest, OpensObjectsByAnyOfTheirIdentifiers)
{
    logon(twoStores);
    const MessageStore store = openStore();
    EXPECT_EQ(mapi::displayName(store.openFolder({0x80, 0, 0, 0, 0xB1})), L"Contacts");
    const IMAPIFolderPtr contacts = find(store, {L"Contacts"});
    IMAPIPropPtr message;
    EXPECT_EQ(
        mapi::impl::openEntry(contacts, messageIds(contacts).at(1), IID_IMAPIProp, mapi::impl::unknownSlot(message)),
        S_OK);
    EXPECT_EQ(mapi::displayName(message), L"Bob");
    EXPECT_FALSE(mapi::isFolder(message));
    EXPECT_TRUE(mapi::isFolder(contacts));

    // What is of another store, or no folder, is not opened; the pointer is cleared.
    EXPECT_EQ(openStore(1).openEntry(mapi::entryId(contacts), message), MAPI_E_NOT_FOUND);
    EXPECT_EQ(message.GetInterfacePtr(), nullptr);
    EXPECT_EQ(thrown([&] { (void)store.openFolder(messageIds(contacts).at(0)); }),
              L"mapi::openEntry, line N: hr = 0x80004002(MAPI call failed)");
}

// ---- testHierarchy ---------------------------------------------------------------------------------------------------

const std::string nested = R"({"stores": [
    {"name": "Mailbox", "folders": [
        {"name": "A", "folders": [{"name": "B", "folders": [{"name": "C"}]}]},
        {"name": "D"}],
     "rootFolders": [{"name": "Beside"}]},
    {"name": "Archive", "folders": [{"name": "Old"}]}]})";

class SandboxHierarchyTest : public SandboxStoreTest
{
protected:
    SandboxHierarchyTest()
    {
        logon(nested);
        m_store = openStore();
    }

    /// Whether the second folder lies below the first; with the lines that this logs.
    bool test(const IMAPIFolderPtr& root, const IMAPIFolderPtr& object)
    {
        const std::size_t before = log().size();
        const bool below = m_store.testHierarchy(root, object);
        const auto lines = log();
        m_lines.assign(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end());
        return below;
    }
    static std::string line(const std::string& text) { return "mapi::MessageStore::testHierarchy: " + text; }

    MessageStore m_store;
    std::vector<std::string> m_lines;
};

TEST_F(SandboxHierarchyTest, IsTrueForFoldersBelow)
{
    const IMAPIFolderPtr a = find(m_store, {L"A"});
    EXPECT_TRUE(test(a, find(m_store, {L"A", L"B"})));
    EXPECT_THAT(m_lines, ElementsAre(line("Analyze relations of root folder A and  B"),
                                     line("Object B is a successor of specified root A")));
    EXPECT_TRUE(test(a, find(m_store, {L"A", L"B", L"C"})));
    EXPECT_TRUE(test(m_store.openIpmSubtree(), find(m_store, {L"D"})));
}

TEST_F(SandboxHierarchyTest, IsTrueForTwoInstancesOfOneFolder)
{
    EXPECT_TRUE(test(find(m_store, {L"A", L"B"}), find(m_store, {L"A", L"B"})));
    EXPECT_THAT(m_lines, ElementsAre(line("Analyze relations of root folder B and  B"),
                                     line("These are different instances of the same object.")));
}

TEST_F(SandboxHierarchyTest, IsFalseForFoldersElsewhere)
{
    const IMAPIFolderPtr a = find(m_store, {L"A"});
    EXPECT_FALSE(test(a, find(m_store, {L"D"})));
    EXPECT_THAT(m_lines, ElementsAre(line("Analyze relations of root folder A and  D"),
                                     line("Object D is not a successor of specified root A")));
    EXPECT_FALSE(test(find(m_store, {L"A", L"B"}), a));
    EXPECT_FALSE(test(a, m_store.openIpmSubtree()));
}

TEST_F(SandboxHierarchyTest, EndsAtTheRootOfTheStoreWhichIsItsOwnParent)
{
    const IMAPIFolderPtr subtree = m_store.openIpmSubtree();
    const IMAPIFolderPtr top = m_store.openFolder(mapi::parentEntryId(subtree));
    EXPECT_TRUE(Session::isSameObject(mapi::entryId(top), mapi::parentEntryId(top)));
    EXPECT_TRUE(test(top, find(m_store, {L"A", L"B", L"C"})));
    EXPECT_FALSE(test(subtree, top));

    // A folder beside the IPM subtree.
    for (const IMAPIFolderPtr& folder : mapi::getSubfolders(top, nullptr))
    {
        if (mapi::displayName(folder) == L"Beside")
        {
            EXPECT_FALSE(test(subtree, folder));
        }
    }
    EXPECT_EQ(m_lines.back(), line("Object Beside is not a successor of specified root IPM_SUBTREE"));
}

TEST_F(SandboxHierarchyTest, IsFalseForFoldersOfAnotherStore)
{
    const MessageStore archive = openStore(1);
    EXPECT_FALSE(test(m_store.openIpmSubtree(), find(archive, {L"Old"})));
    EXPECT_EQ(m_lines.back(), line("One or both objects are from another store."));
}

TEST_F(SandboxHierarchyTest, IsFalseForNull)
{
    EXPECT_FALSE(test({}, find(m_store, {L"A"})));
    EXPECT_THAT(m_lines, ElementsAre(line("Analyze relations of root folder (cannot resolve) and  A"),
                                     line("One or both objects not specified.")));
}
} // namespace
