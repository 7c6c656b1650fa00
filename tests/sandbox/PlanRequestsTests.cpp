#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/mailbox/model/EntryIds.h"
#include "tests/sandbox/NotifyTest.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"

using namespace sandbox;
using namespace sandboxtest;

namespace
{
const char* const plannedMailbox = R"({"stores":[{"name":"Mailbox","entryId":"0000000001","folders":[
    {"name":"A","messages":[{"displayName":"a"}]},{"name":"B","messages":[{"displayName":"b"}]}]}]})";

class PlanRequestsTest : public NotifyTest
{
protected:
    PlanRequestsTest() { openOn(plannedMailbox); }
    ~PlanRequestsTest() override { dll.clearPlans(); }

    [[nodiscard]] HRESULT resultOfGetProps(IMAPIProp* object)
    {
        ULONG count = 0;
        SPropValue* values = nullptr;
        const HRESULT result = object->GetProps(nullptr, 0, &count, &values);
        dll.MAPIFreeBuffer(values);
        return result;
    }
};
} // namespace

TEST_F(PlanRequestsTest, APlanIsAboutOpeningOneObjectByWhateverCall)
{
    const IMAPIFolderPtr ipm = openIpmSubtree(m_store);
    const Bytes a = idOf("Mailbox/A");
    const auto open = [](auto& by, const Bytes& id)
    {
        UnknownPtr opened;
        ULONG type = 0;
        return by->OpenEntry(static_cast<ULONG>(id.size()), entryId(id), nullptr, 0, &type, &opened);
    };
    dll.request({{"do", "plan"}, {"opens", "Mailbox/A"}, {"times", 4}, {"result", "MAPI_E_NO_ACCESS"}});
    EXPECT_EQ(open(m_store, idOf("Mailbox/B")), S_OK);
    EXPECT_EQ(open(m_store, a), MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(ipm, a), MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(m_session, a), MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(m_store, shortTermFolderId(storeUid(1), 3)), MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(m_store, a), S_OK);
    dll.request({{"do", "plan"}, {"method", "IMAPISession::OpenEntry"}, {"opens", "Mailbox/A"}, {"result", "E_FAIL"}});
    EXPECT_EQ(open(m_store, a), S_OK);
    EXPECT_EQ(open(m_session, a), E_FAIL);
}

TEST_F(PlanRequestsTest, APlanIsAboutOneKindOfTable)
{
    const IMAPIFolderPtr ipm = openIpmSubtree(m_store);
    const IMAPITablePtr contents = contentsTable(ipm);
    const IMAPITablePtr hierarchy = hierarchyTable(ipm);
    const IMAPITablePtr stores = storesTable(m_session);
    ULONG count = 0;
    const auto plan = [&](const char* table)
    {
        dll.request(
            {{"do", "plan"}, {"method", "IMAPITable::GetRowCount"}, {"table", table}, {"result", "MAPI_E_NO_ACCESS"}});
        return std::vector<HRESULT>{contents->GetRowCount(0, &count), hierarchy->GetRowCount(0, &count),
                                    stores->GetRowCount(0, &count)};
    };
    EXPECT_THAT(plan("contents"), testing::ElementsAre(MAPI_E_NO_ACCESS, S_OK, S_OK));
    EXPECT_THAT(plan("hierarchy"), testing::ElementsAre(S_OK, MAPI_E_NO_ACCESS, S_OK));
    EXPECT_THAT(plan("stores"), testing::ElementsAre(S_OK, S_OK, MAPI_E_NO_ACCESS));
    dll.request({{"do", "plan"}, {"method", "IMAPITable::GetRowCount"}, {"on", "Mailbox"}, {"result", "E_FAIL"}});
    EXPECT_EQ(stores->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(contents->GetRowCount(0, &count), E_FAIL) << "the IPM subtree's";
}

TEST_F(PlanRequestsTest, RefusesPlansThatCanNotBeMeant)
{
    const auto plan = [&](Json keys)
    {
        keys["do"] = "plan";
        return refused(keys);
    };
    EXPECT_EQ(plan({{"method", "GetProps"}, {"result", "MAPI_E_NO_ACCESS"}}),
              "/method: there is no call 'GetProps'; there is IMAPIProp::GetProps");
    EXPECT_EQ(plan({{"method", "IMAPIFolder::OpenEntry"}, {"result", "MAPI_E_NO_ACCESS"}}),
              "/method: there is no call 'IMAPIFolder::OpenEntry'; there is IMAPIContainer::OpenEntry, "
              "IMAPISession::OpenEntry, IMsgStore::OpenEntry");
    EXPECT_EQ(plan({{"method", "Dance"}, {"result", "MAPI_E_NO_ACCESS"}}),
              "/method: there is no call 'Dance'; calls are like MAPIAllocateBuffer and IMAPIProp::GetProps");
    EXPECT_EQ(plan({{"method", "MAPILogonEx"}, {"result", "MAPI_E_NONE"}}),
              "/result: no result has this name; others can be written as 0x and up to eight digits");
    EXPECT_EQ(plan({{"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/C"}, {"delay", 1}}),
              "/on: there is no 'C' where 'Mailbox/C' has it");
    EXPECT_EQ(plan({{"method", "IMsgStore::Advise"}, {"on", "Mailbox/A"}, {"delay", 1}}),
              "/on: 'Mailbox/A' is a folder, and not a store");
    EXPECT_EQ(plan({{"method", "IMAPITable::FindRow"}, {"on", "Mailbox/A/a"}, {"delay", 1}}),
              "/on: 'Mailbox/A/a' is a message, and not a folder");
    EXPECT_EQ(plan({{"method", "MAPILogonEx"}, {"on", "Mailbox"}, {"delay", 1}}),
              "/on: MAPILogonEx is called on no object of the mailbox");
    EXPECT_EQ(plan({{"method", "IMAPIProp::GetProps"}, {"opens", "Mailbox/A"}, {"delay", 1}}),
              "/opens: IMAPIProp::GetProps opens no object of the mailbox");
    EXPECT_EQ(plan({{"opens", "@nobody"}, {"delay", 1}}), "/opens: the address book has no 'nobody'");
    EXPECT_EQ(plan({{"method", "IMAPIContainer::OpenEntry"}, {"table", "contents"}, {"delay", 1}}),
              "/table: is for methods of IMAPITable");
    EXPECT_EQ(refused({{"do", "release"}, {"hold", "gate"}}), "/hold: no plan has the hold 'gate'");
}

TEST_F(PlanRequestsTest, TheMailboxHasPlansFromTheStart)
{
    close();
    openOn(R"({"stores":[{"name":"Mailbox","folders":[{"name":"A"},{"name":"B"}]}],
               "plans":[{"method":"IMAPIContainer::GetContentsTable","on":"Mailbox/B","result":"MAPI_E_NO_ACCESS"},
                        {"method":"IMAPIContainer::GetContentsTable","on":"Mailbox/A","call":2,"result":"MAPI_E_NO_ACCESS"}]})");
    const IMAPIFolderPtr a = openSubfolder(openIpmSubtree(m_store), 0);
    const IMAPIFolderPtr b = openSubfolder(openIpmSubtree(m_store), 1);
    IMAPITablePtr table;
    EXPECT_EQ(a->GetContentsTable(0, &table), S_OK);
    table = nullptr;
    EXPECT_EQ(a->GetContentsTable(0, &table), MAPI_E_NO_ACCESS);
    EXPECT_EQ(b->GetContentsTable(0, &table), MAPI_E_NO_ACCESS);
    EXPECT_EQ(b->GetContentsTable(0, &table), S_OK);
}

TEST_F(PlanRequestsTest, RefusesAMailboxWithAPlanThatCanNotBeMeant)
{
    const auto complaint = [&](const char* json) -> std::string
    {
        try
        {
            serve(json);
            return "(none)";
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    };
    EXPECT_EQ(complaint(R"({"plans":[{"method":"MAPILogonEx","delay":1},{"method":"LogonEx","delay":1}]})"),
              "line 1, column 47: /plans/1/method: there is no call 'LogonEx'; calls are like MAPIAllocateBuffer and "
              "IMAPIProp::GetProps");
    EXPECT_EQ(complaint(R"({"plans":[{"method":"IMsgStore::OpenEntry","on":"Mailbox","delay":1}]})"),
              "line 1, column 44: /plans/0/on: there is no store 'Mailbox'");
}

TEST(PlansOfAFileTest, AreInForceBeforeTheFirstCallAndComeAnewWithTheFile)
{
    const support::TempFolder folder;
    const support::EnvironmentVariable variable(L"LINKWELL_SANDBOX_MAILBOX", folder.file(L"mailbox.json"));
    support::writeBytes(folder.path() / L"mailbox.json",
                        R"({"plans":[{"method":"MAPIInitialize","result":"MAPI_E_CALL_FAILED"}]})");
    SandboxDll dll;
    EXPECT_EQ(dll.MAPIInitialize(nullptr), MAPI_E_CALL_FAILED);
    EXPECT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    EXPECT_EQ(
        Json::parse(dll.answer(R"({"do":"plan","method":"MAPIAllocateBuffer","result":"MAPI_E_NOT_ENOUGH_MEMORY"})")),
        (Json{{"ok", true}}));
    dll.MAPIUninitialize();
    EXPECT_EQ(dll.MAPIInitialize(nullptr), MAPI_E_CALL_FAILED);
    EXPECT_EQ(dll.MAPIInitialize(nullptr), S_OK);
    void* block = nullptr;
    EXPECT_EQ(dll.MAPIAllocateBuffer(8, &block), S_OK) << "that plan ended";
    dll.MAPIFreeBuffer(block);
    dll.MAPIUninitialize();
}
