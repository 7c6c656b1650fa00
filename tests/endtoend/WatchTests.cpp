// The start of the watch: the calls of a whole run, and stores that are not watched or can't be.
#include <algorithm>

#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
class WatchTest : public LiveTest
{
protected:
    /// Two stores with a contact folder each, and more keys of the mailbox.
    static std::string twoStores(const std::string& more)
    {
        return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"},
               "folders": [{"name": "Contacts", "class": "IPF.Contact"}]}, {"name": "Archive",
               "ipmSubtree": {"class": "IPF.Note"}, "folders": [{"name": "Old", "class": "IPF.Contact"}]}])" +
               more + "}";
    }

    static Json newContact(const std::string& folder)
    {
        return {{"do", "addContact"}, {"folder", folder}, {"contact", {{"displayName", "Ada"}}}};
    }

    /// What is logged from the first subscription on.
    [[nodiscard]] Records subscribing() const
    {
        const Records log = readLog(logFile());
        return {std::find(log.begin(), log.end(), "Subscribe to Mailbox"), log.end()};
    }
};

TEST_F(WatchTest, FollowsTheStartAndTheSnapshotsInThisOrderOfCalls)
{
    // The journal can be asked for as soon as MAPI has been initialised by the main thread, and until it isn't any more.
    startAgentOn(R"({"plans": [{"method": "MAPILogonEx", "hold": "start"},
                               {"method": "MAPIUninitialize", "call": 2, "hold": "end"}],
        "stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}, {"displayName": "Bea"}],
             "folders": [{"name": "Mail", "class": "IPF.Note"}]},
            {"name": "Friends", "class": "IPF.Contact"},
            {"name": "Hidden", "class": "IPF.Contact", "hidden": true}]},
        {"name": "Public", "public": true, "ipmSubtree": {"class": "IPF.Note"}}]})");
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
    ask({{"do", "journal"}, {"action", "start"}});
    ask({{"do", "release"}, {"hold", "start"}});
    ASSERT_TRUE(waitUntilSubscribed("Public"));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "end"}});
    const Calls calls = takeCalls(2); // the session is the main thread's
    ask({{"do", "release"}, {"hold", "end"}});

    CallModel mailbox;
    mailbox.putContacts(folderId(1, 3), folderId(1, ipmSubtree), {messageId(1, 3, 1), messageId(1, 3, 2)});
    mailbox.put(folderId(1, 4), folderId(1, 3));
    mailbox.putContacts(folderId(1, 5), folderId(1, ipmSubtree));
    mailbox.putContacts(folderId(1, 6), folderId(1, ipmSubtree));
    mailbox.hide(folderId(1, 6));
    EXPECT_EQ(calls, joined({started(2), mailbox.snapshot(), CallModel(2).snapshot(), askedForPublic(),
                             mailbox.watched(), askedForPublic(), ended(1)}));
    EXPECT_EQ(finish().exitValue, 0U);
}

TEST_F(WatchTest, LeavesAPublicStoreAlone)
{
    startLive(R"({"stores": [{"name": "Public", "default": true, "public": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact"}]}, {"name": "Mailbox", "folders": [
        {"name": "Contacts", "class": "IPF.Contact"}]}]})",
              "Public");
    expectNothing(newContact("Public/Contacts"));
    EXPECT_EQ(after(newContact("Mailbox/Contacts")).messages.size(), 1U);
    closeLive();
}

TEST_F(WatchTest, DropsAllOfAStoreWithoutContactFolders)
{
    startLive(R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"},
        "folders": [{"name": "Mail", "class": "IPF.Note"}]}]})");
    expectNothing(newContact("Mailbox/Mail"));
    expectNothing(
        {{"do", "addFolder"}, {"parent", "Mailbox"}, {"folder", {{"name", "Contacts"}, {"class", "IPF.Contact"}}}});
    closeLive();
}

TEST_F(WatchTest, PassesOverAStoreThatRefusesIt)
{
    startLive(twoStores(R"(, "plans": [{"method": "IMsgStore::Advise", "result": "MAPI_E_NO_SUPPORT"}])"), "Archive");
    EXPECT_EQ(subscribing(), (Records{"Subscribe to Mailbox",
                                      "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: "
                                      "hr = 0x80040102(Advise store notification)",
                                      "Subscribe to Archive", "subfolder found: Old", registered("Old")}));
    EXPECT_EQ(after(newContact("Mailbox/Contacts")).messages, std::vector<std::string>());
    EXPECT_EQ(after(newContact("Archive/Old")).messages.size(), 1U);
    closeLive();
}

TEST_F(WatchTest, PassesOverAStoreWhoseSinkCannotBeWrapped)
{
    startLive(twoStores(R"(, "plans": [{"method": "HrThisThreadAdviseSink", "result": "0x80004005"}])"), "Archive");
    EXPECT_EQ(subscribing()[1], "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: "
                                "hr = 0x80004005(Marshall advise sink)");
    EXPECT_EQ(after(newContact("Mailbox/Contacts")).messages, std::vector<std::string>());
    EXPECT_EQ(after(newContact("Archive/Old")).messages.size(), 1U);
    closeLive();
}

TEST_F(WatchTest, EndsTheWorkerWhenTheWalkFails)
{
    // The snapshots ask for two hierarchy tables each; the fifth one belongs to the subscription.
    expectEndedWorker(
        twoStores(R"(, "plans": [{"method": "IMAPIContainer::GetHierarchyTable", "call": 5, "result": "0x80070005"}])"),
        joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                snapshot("Mailbox", "0;2", {}),
                snapshot("Archive", "1;2", {}, {"subfolder found: Old"}),
                {"Subscribe to Mailbox", "Unadvise hr = 0",
                 workerFailed("mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)")}}));
}
} // namespace
} // namespace endtoend
