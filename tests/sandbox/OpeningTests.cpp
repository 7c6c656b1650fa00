// OpenMsgStore, OpenEntry and CompareEntryIDs.
#include "tests/sandbox/SandboxTest.h"

#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/SandboxTags.h"

using namespace sandboxtest;
using sandbox::Bytes;
using testing::HasSubstr;

namespace
{
const char* const openedMailbox = R"({
  "addressBook": {"u": {"entryId": "0000000077", "displayName": "User", "smtpAddress": "u@example.com"},
                  "gone": {"entryId": "0000000078"}},
  "stores": [
    {"name": "One", "folders": [
      {"name": "F", "aliases": ["8000000033"], "shortTermIds": true, "messages": [
        {"entryId": "0000000011", "displayName": "m"},
        {"entryId": "0000000012"},
        {"entryId": "0000000013"}]},
      {"name": "G"}]},
    {"name": "Two"},
    {"name": "Three"}],
  "plans": [
    {"opens": "@gone", "result": "MAPI_E_NOT_FOUND", "times": 0},
    {"opens": "#0000000012", "result": "MAPI_E_NO_ACCESS", "times": 0},
    {"opens": "#0000000013", "result": "0x00040203", "times": 0},
    {"opens": "One/G", "result": "MAPI_E_CORRUPT_DATA", "times": 0},
    {"opens": "Two", "result": "MAPI_E_LOGON_FAILED", "times": 0},
    {"method": "IMAPISession::OpenMsgStore", "opens": "Three", "result": "MAPI_W_ERRORS_RETURNED", "times": 0}]})";

class OpeningTest : public SandboxTest
{
protected:
    OpeningTest() : m_session(logonTo(openedMailbox)), m_store(openStore(m_session)) {}

    struct Opened
    {
        HRESULT result = E_PENDING;
        UnknownPtr object;
        ULONG type = 99;
    };

    template <class Container>
    Opened open(Container* container, const Bytes& id, const IID* iid = nullptr, ULONG flags = 0)
    {
        Opened opened;
        opened.result = container->OpenEntry(static_cast<ULONG>(id.size()), id.empty() ? nullptr : entryId(id), iid,
                                             flags, &opened.type, &opened.object);
        return opened;
    }

    HRESULT openStoreBy(const Bytes& id, IMsgStorePtr& store, ULONG flags = MAPI_BEST_ACCESS | MDB_NO_DIALOG,
                        const IID* iid = &IID_IMsgStore)
    {
        return m_session->OpenMsgStore(0, static_cast<ULONG>(id.size()), id.empty() ? nullptr : entryId(id), iid, flags,
                                       &store);
    }

    /// The answer of CompareEntryIDs, or the failure's result.
    template <class Comparer>
    static ULONG compare(Comparer* comparer, const Bytes& a, const Bytes& b)
    {
        ULONG same = 99;
        const HRESULT result = comparer->CompareEntryIDs(static_cast<ULONG>(a.size()), entryId(a),
                                                         static_cast<ULONG>(b.size()), entryId(b), 0, &same);
        return result == S_OK ? same : static_cast<ULONG>(result);
    }

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
};

const Bytes messageId = {0, 0, 0, 0, 0x11};
const Bytes closedId = {0, 0, 0, 0, 0x12};
const Bytes warningId = {0, 0, 0, 0, 0x13};
const Bytes unknownId = {0, 0, 0, 0, 0x99};
const Bytes aliasId = {0x80, 0, 0, 0, 0x33};
const Bytes userId = {0, 0, 0, 0, 0x77};
} // namespace

TEST_F(OpeningTest, OpensTheRootFolderForNoId)
{
    const Opened root = open(static_cast<IMsgStore*>(m_store), {});
    ASSERT_EQ(root.result, S_OK);
    EXPECT_EQ(root.type, MAPI_FOLDER);
    const IMAPIFolderPtr folder(root.object);
    EXPECT_EQ(binaryOf(folder, PR_PARENT_ENTRYID), binaryOf(folder, PR_ENTRYID));
    EXPECT_EQ(textOf(folder, PR_DISPLAY_NAME_W), L"Root");
}

TEST_F(OpeningTest, OpensOneObjectByAllItsIds)
{
    const Bytes folder = sandbox::folderEntryId(sandbox::storeUid(1), 3);
    for (const Bytes& id : {folder, sandbox::shortTermFolderId(sandbox::storeUid(1), 3), aliasId})
    {
        const Opened opened = open(static_cast<IMsgStore*>(m_store), id);
        ASSERT_EQ(opened.result, S_OK) << sandbox::toHex(id);
        EXPECT_EQ(binaryOf(IMAPIPropPtr(opened.object), PR_ENTRYID), folder);
    }
}

TEST_F(OpeningTest, OpensWhatAContentsTableHas)
{
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(m_store));
    const IMAPITablePtr table = contentsTable(folder);
    const Bytes shortId = bytesOf(queryRows(table, {PR_ENTRYID}).at(0, 0));
    EXPECT_EQ(shortId, sandbox::shortTermMessageId(sandbox::storeUid(1), 1));
    const Opened message = open(static_cast<IMAPIFolder*>(folder), shortId);
    ASSERT_EQ(message.result, S_OK);
    EXPECT_EQ(binaryOf(IMAPIPropPtr(message.object), PR_ENTRYID), messageId);
}

TEST_F(OpeningTest, ChecksTheInterfaceThatIsAskedFor)
{
    IMsgStore* store = m_store;
    EXPECT_EQ(open(store, messageId, &IID_IMessage).result, S_OK);
    EXPECT_EQ(open(store, messageId, &IID_IUnknown).result, S_OK);
    const Opened wrong = open(store, messageId, &IID_IMAPIFolder);
    EXPECT_EQ(wrong.result, MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_EQ(wrong.object, nullptr);
    const Opened folder = open(store, aliasId, &IID_IMAPIContainer);
    EXPECT_EQ(folder.result, S_OK);
    EXPECT_EQ(open(store, aliasId, &IID_IMessage).result, MAPI_E_INTERFACE_NOT_SUPPORTED);
}

TEST_F(OpeningTest, RefusesWhatItDoesNotKnow)
{
    IMsgStore* store = m_store;
    const IMAPIFolderPtr folder = openIpmSubtree(store);
    EXPECT_EQ(open(store, unknownId).result, MAPI_E_NOT_FOUND);
    EXPECT_EQ(open(static_cast<IMAPIFolder*>(folder), unknownId).result, MAPI_E_NOT_FOUND);
    EXPECT_EQ(open(static_cast<IMAPISession*>(m_session), unknownId).result, MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_EQ(open(static_cast<IMAPISession*>(m_session), {}).result, MAPI_E_INVALID_ENTRYID);
    EXPECT_EQ(open(store, {0, 0, 0, 0}).result, MAPI_E_INVALID_ENTRYID);
    EXPECT_EQ(open(store, userId).result, MAPI_E_NOT_FOUND);
    EXPECT_EQ(open(store, sandbox::folderEntryId(sandbox::storeUid(3), 1)).result, MAPI_E_NOT_FOUND);
    EXPECT_EQ(open(store, messageId, nullptr, 0x1000).result, MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(store->OpenEntry(5, entryId(messageId), nullptr, 0, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(OpeningTest, GivesThePlannedFailureOfAnObject)
{
    const Opened closed = open(static_cast<IMsgStore*>(m_store), closedId);
    EXPECT_EQ(closed.result, MAPI_E_NO_ACCESS);
    EXPECT_EQ(closed.object, nullptr);
    const IMAPIFolderPtr top = openIpmSubtree(m_store);
    EXPECT_EQ(open(static_cast<IMAPIFolder*>(top), sandbox::folderEntryId(sandbox::storeUid(1), 4)).result,
              mapiResult(0x8004011B));
}

TEST_F(OpeningTest, GivesThePlannedWarningWithTheObject)
{
    const Opened opened = open(static_cast<IMsgStore*>(m_store), warningId);
    EXPECT_EQ(opened.result, mapiResult(0x00040203));
    EXPECT_NE(opened.object, nullptr);
}

TEST_F(OpeningTest, OpensUsersThroughTheSession)
{
    const Opened user = open(static_cast<IMAPISession*>(m_session), userId, &IID_IMAPIProp, MAPI_BEST_ACCESS);
    ASSERT_EQ(user.result, S_OK);
    EXPECT_EQ(user.type, MAPI_MAILUSER);
    const IMAPIPropPtr object(user.object);
    EXPECT_EQ(textOf(object, PR_SMTP_ADDRESS_W), L"u@example.com");
    EXPECT_EQ(textOf(object, PR_ADDRTYPE_W), L"EX");
    EXPECT_EQ(open(static_cast<IMAPISession*>(m_session), {0, 0, 0, 0, 0x78}).result, MAPI_E_NOT_FOUND);
}

TEST_F(OpeningTest, OpensStores)
{
    IMsgStorePtr store;
    EXPECT_EQ(openStoreBy(sandbox::storeEntryId(sandbox::storeUid(1)), store), S_OK);
    EXPECT_EQ(textOf(store, PR_DISPLAY_NAME_W), L"One");
    EXPECT_EQ(openStoreBy(sandbox::storeEntryId(sandbox::storeUid(2)), store), MAPI_E_LOGON_FAILED);
    EXPECT_EQ(store, nullptr);
    EXPECT_EQ(openStoreBy(sandbox::storeEntryId(sandbox::storeUid(3)), store), MAPI_W_ERRORS_RETURNED);
    EXPECT_NE(store, nullptr);
    EXPECT_EQ(openStoreBy(messageId, store), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_EQ(openStoreBy({}, store), MAPI_E_INVALID_ENTRYID);
    const Bytes one = sandbox::storeEntryId(sandbox::storeUid(1));
    EXPECT_EQ(openStoreBy(one, store, 0x8000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(openStoreBy(one, store, 0, &IID_IMAPIFolder), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_EQ(openStoreBy(one, store, 0, nullptr), S_OK);
    EXPECT_EQ(openStoreBy(one, store, 0, &IID_IMAPIProp), S_OK);
}

TEST_F(OpeningTest, ComparesIds)
{
    const Bytes folder = sandbox::folderEntryId(sandbox::storeUid(1), 3);
    IMAPISession* session = m_session;
    EXPECT_EQ(compare(session, folder, folder), 1u);
    EXPECT_EQ(compare(session, folder, aliasId), 1u);
    EXPECT_EQ(compare(session, aliasId, sandbox::shortTermFolderId(sandbox::storeUid(1), 3)), 1u);
    EXPECT_EQ(compare(session, folder, messageId), 0u);
    EXPECT_EQ(compare(session, unknownId, unknownId), 1u);
    EXPECT_EQ(compare(session, unknownId, messageId), 0u);
    EXPECT_EQ(compare(session, folder, {0, 0}), static_cast<ULONG>(MAPI_E_INVALID_ENTRYID));
    ULONG same = 99;
    EXPECT_EQ(session->CompareEntryIDs(5, entryId(messageId), 5, nullptr, 0, &same), MAPI_E_INVALID_ENTRYID);
    EXPECT_EQ(session->CompareEntryIDs(5, entryId(messageId), 5, entryId(messageId), 1, &same), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(session->CompareEntryIDs(5, entryId(messageId), 5, entryId(messageId), 0, nullptr),
              MAPI_E_INVALID_PARAMETER);
}

TEST_F(OpeningTest, KeepsTheIdentityOfAnObject)
{
    const IMAPIFolderPtr folder = openIpmSubtree(m_store);
    IUnknown* unknown = nullptr;
    IMAPIContainer* container = nullptr;
    IUnknown* again = nullptr;
    ASSERT_EQ(folder->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    ASSERT_EQ(folder->QueryInterface(IID_IMAPIContainer, reinterpret_cast<void**>(&container)), S_OK);
    ASSERT_EQ(container->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&again)), S_OK);
    EXPECT_EQ(unknown, again);
    EXPECT_EQ(folder->QueryInterface(IID_IUnknown, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_THAT(dll.report(), HasSubstr("IMAPIFolder from IMsgStore::OpenEntry: 1 object(s), 4 reference(s)\n"));
    again->Release();
    container->Release();
    EXPECT_EQ(unknown->Release(), 1u);
}
