// The session: its stores table, its end, and its fast shutdown.
#include "tests/sandbox/SandboxTest.h"

#include <atomic>
#include <thread>

using namespace sandboxtest;
using sandbox::Bytes;
using testing::ElementsAre;

namespace
{
class SessionObjectTest : public SandboxTest
{
protected:
    IMAPIClientShutdownPtr shutdownOf(IMAPISession* session)
    {
        IMAPIClientShutdownPtr shutdown;
        checkOk(session->QueryInterface(IID_IMAPIClientShutdown, reinterpret_cast<void**>(&shutdown)));
        return shutdown;
    }
};
} // namespace

TEST_F(SessionObjectTest, ListsTheStores)
{
    const IMAPISessionPtr session =
        logonTo(R"({"stores":[{"name":"A"},{"name":"B","provider":"P","default":true},{"name":"C","public":true}]})");
    const IMAPITablePtr table = storesTable(session, 0);
    const Rows rows =
        queryRows(table, {PR_ENTRYID, PR_DISPLAY_NAME_W, PR_DEFAULT_STORE, PR_MDB_PROVIDER, PR_PROVIDER_DISPLAY_W});
    EXPECT_THAT(rows.texts(1), ElementsAre(L"A", L"B", L"C"));
    EXPECT_THAT(rows.texts(4), ElementsAre(L"Sandbox Message Store", L"P", L"Sandbox Message Store"));
    EXPECT_EQ(rows.at(0, 2).Value.b, 0);
    EXPECT_EQ(rows.at(1, 2).Value.b, 1);
    EXPECT_EQ(bytesOf(rows.at(2, 3)), Bytes(pbExchangeProviderPublicGuid.begin(), pbExchangeProviderPublicGuid.end()));
}

TEST_F(SessionObjectTest, ListsAStoreAsItsRowSays)
{
    const IMAPISessionPtr session = logonTo(
        R"({"stores":[{"name":"A","row":{"PR_DEFAULT_STORE":null,"PR_DISPLAY_NAME":"Row",
            "PR_MDB_PROVIDER":"78B2FA70AFF711CD9BC800AA002FC4"}}]})");
    const IMAPITablePtr table = storesTable(session);
    const Rows rows = queryRows(table, {PR_DEFAULT_STORE, PR_DISPLAY_NAME_W, PR_MDB_PROVIDER});
    EXPECT_EQ(rows.at(0, 0).ulPropTag, CHANGE_PROP_TYPE(PR_DEFAULT_STORE, PT_ERROR));
    EXPECT_EQ(rows.at(0, 0).Value.err, MAPI_E_NOT_FOUND);
    EXPECT_STREQ(rows.at(0, 1).Value.lpszW, L"Row");
    EXPECT_EQ(rows.at(0, 2).Value.bin.cb, 15u);
    const IMsgStorePtr store = openStore(session);
    EXPECT_EQ(textOf(store, PR_DISPLAY_NAME_W), L"A");
    EXPECT_EQ(binaryOf(store, PR_MDB_PROVIDER).size(), 16u);
}

TEST_F(SessionObjectTest, EndsWithLogoff)
{
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"A"}]})");
    const IMsgStorePtr store = openStore(session);
    const IMAPIFolderPtr folder = openIpmSubtree(store);
    const IMAPITablePtr contents = contentsTable(folder);
    EXPECT_EQ(session->Logoff(0, 4, 0), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(session->Logoff(0, 0, 1), MAPI_E_INVALID_PARAMETER);
    ASSERT_EQ(session->Logoff(0, 0, 0), S_OK);
    IMAPITablePtr table;
    SPropTagArray* tags = nullptr;
    ULONG count = 0;
    EXPECT_EQ(session->GetMsgStoresTable(0, &table), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(session->Logoff(0, 0, 0), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(store->GetPropList(0, &tags), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(folder->GetContentsTable(0, &table), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(contents->GetRowCount(0, &count), MAPI_E_END_OF_SESSION);
}

TEST_F(SessionObjectTest, ShutsDownFast)
{
    const IMAPISessionPtr session = logonTo("{}");
    const IMAPIClientShutdownPtr shutdown = shutdownOf(session);
    EXPECT_EQ(shutdown->QueryFastShutdown(), S_OK);
    EXPECT_EQ(shutdown->NotifyProcessShutdown(), S_OK);
    EXPECT_EQ(shutdown->DoFastShutdown(), S_OK);
    IMAPITablePtr table;
    EXPECT_EQ(session->GetMsgStoresTable(0, &table), MAPI_E_END_OF_SESSION);
}

TEST_F(SessionObjectTest, SharesItsIdentityWithItsFastShutdown)
{
    const IMAPISessionPtr session = logonTo("{}");
    const IMAPIClientShutdownPtr shutdown = shutdownOf(session);
    UnknownPtr ofSession;
    UnknownPtr ofShutdown;
    IMAPISessionPtr back;
    ASSERT_EQ(session->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ofSession)), S_OK);
    ASSERT_EQ(shutdown->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ofShutdown)), S_OK);
    ASSERT_EQ(shutdown->QueryInterface(IID_IMAPISession, reinterpret_cast<void**>(&back)), S_OK);
    EXPECT_EQ(ofSession.GetInterfacePtr(), ofShutdown.GetInterfacePtr());
    EXPECT_EQ(back.GetInterfacePtr(), session.GetInterfacePtr());
    EXPECT_EQ(dll.sandboxLiveObjects(), 1);
    EXPECT_EQ(dll.sandboxLiveReferences(), 5);
}

TEST_F(SessionObjectTest, HasNoFastShutdownWhenTheMailboxSaysSo)
{
    const IMAPISessionPtr session = logonTo(R"({"fastShutdown":"unsupported"})");
    void* shutdown = nullptr;
    EXPECT_EQ(session->QueryInterface(IID_IMAPIClientShutdown, &shutdown), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_EQ(shutdown, nullptr);
}

TEST_F(SessionObjectTest, ServesSeveralThreadsAtOnce)
{
    const IMAPISessionPtr session =
        logonTo(R"({"stores":[{"name":"S","folders":[{"name":"F","generate":{"contacts":50}}]}]})");
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(openStore(session)));
    std::atomic<int> read = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                const IMAPITablePtr table = contentsTable(folder);
                const Rows rows = queryRows(table, {PR_ENTRYID});
                for (ULONG row = 0; row < rows.count(); ++row)
                {
                    const IMAPIPropPtr contact(openEntry(static_cast<IMAPIFolder*>(folder), bytesOf(rows.at(row, 0))));
                    read += textOf(contact, PR_DISPLAY_NAME_W).empty() ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(read, 4 * 50);
}

TEST_F(SessionObjectTest, RefusesTheRest)
{
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"A"}]})");
    EXPECT_EQ(session->GetLastError(S_OK, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->OpenAddressBook(0, nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->GetStatusTable(0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->Advise(0, nullptr, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->QueryIdentity(nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->PrepareForm(nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    const IMsgStorePtr store = openStore(session);
    EXPECT_EQ(store->GetReceiveFolderTable(0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(store->NotifyNewMail(nullptr), MAPI_E_NO_SUPPORT);
    const IMAPIFolderPtr folder = openIpmSubtree(store);
    EXPECT_EQ(folder->CreateMessage(nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(folder->EmptyFolder(0, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(folder->GetSearchCriteria(0, nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
}
