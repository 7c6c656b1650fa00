// What no host and no log shows of a watcher: its construction, a second subscription, failures on the way to the first,
// and notifications as no edit of a mailbox makes them.
#include "agent/ContactWatcher.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "tests/agent/AgentTest.h"
#include "tests/support/mapi/MapiMocks.h"

namespace
{
using namespace tests;
using testing::_;
using testing::AnyNumber;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/// Contacts and Friends are contact folders that a subscription knows; Secret is one that the walk doesn't see.
constexpr const char* mailbox = R"({"stores": [{"name": "Mailbox", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
    {"name": "Contacts", "class": "IPF.Contact", "entryId": "00000000C1", "messages": [
        {"displayName": "Ada", "entryId": "00000000A1", "aliases": ["00000000A2"]},
        {"displayName": "Bea", "entryId": "00000000B1"}]},
    {"name": "Friends", "class": "IPF.Contact", "aliases": ["000000004D"]},
    {"name": "Mail", "class": "IPF.Note", "entryId": "00000000C3"},
    {"name": "Secret", "class": "IPF.Contact", "hidden": true, "entryId": "00000000C4", "messages": [
        {"displayName": "Cid", "entryId": "00000000D1"}]}]}]})";

constexpr const wchar_t* ada = L"Ada;;;;;;;;;;00000000A1;00000000C1";
constexpr const wchar_t* bea = L"Bea;;;;;;;;;;00000000B1;00000000C1";
constexpr const wchar_t* cid = L"Cid;;;;;;;;;;00000000D1;00000000C4";

class ContactWatcherTest : public AgentTest
{
protected:
    ContactWatcherTest()
    {
        logon(mailbox);
        m_watcher = std::make_unique<ContactWatcher>(openStore(), L"Mailbox");
    }

    void subscribe()
    {
        m_watcher->subscribe([this](const Changes& changes) { m_batches.push_back(changes); });
        (void)newLines();
    }

    [[nodiscard]] std::size_t subscriptions() const
    {
        return sandbox().request({{"do", "subscriptions"}}).at("subscriptions").size();
    }

    /// Handles one raw notification in a batch of its own.
    /// @param identifiers  the keys of the notification that say them.
    void notify(const char* event, const char* objectType, Json identifiers) const
    {
        identifiers["event"] = event;
        identifiers["objectType"] = objectType;
        sandbox().inject("Mailbox", identifiers);
        pump();
    }
    /// A deletion in Contacts of what never was.
    void notifyDeletion(const char* id = "#0000000001") const
    {
        notify("fnevObjectDeleted", "MAPI_MESSAGE", {{"entryId", id}, {"parentId", "Mailbox/Contacts"}});
    }

    /// What the callback got in its only call; fails the test when there was not exactly one.
    [[nodiscard]] Changes onlyBatch()
    {
        EXPECT_THAT(m_batches, SizeIs(1));
        const Changes batch = m_batches.empty() ? Changes() : m_batches.front();
        m_batches.clear();
        return batch;
    }

    std::vector<Changes> m_batches; // what the callback got
    std::unique_ptr<ContactWatcher> m_watcher;
};

// ---- Life ----------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, HoldsItsStoreAndItsName)
{
    const mapi::MessageStore store = openStore();
    const ContactWatcher watcher(store, L"Name");
    EXPECT_EQ(watcher.store().store().GetInterfacePtr(), store.store().GetInterfacePtr());
    EXPECT_EQ(watcher.displayName(), L"Name");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsWithoutAStore)
{
    EXPECT_EQ(thrown([] { const ContactWatcher watcher(mapi::MessageStore(), L"Mailbox"); }),
              L"condition \"m_data->store\" failed (ContactWatcher::ContactWatcher in ContactWatcher.cpp, line N)");
}

TEST_F(ContactWatcherTest, EndsItsSubscriptionBeforeItLetsItsCallbackGo)
{
    std::string lastLine;
    const auto atItsEnd = [&](const int*)
    {
        lastLine = log().back();
    };
    m_watcher->subscribe([noting = std::shared_ptr<int>(nullptr, atItsEnd)](const Changes&) {});
    planResult("IMsgStore::Unadvise", "0x00040380");
    m_watcher.reset();
    EXPECT_EQ(lastLine, "Unadvise hr = 40380");
}

// ---- Collecting ----------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, AppendsContactsToWhatIsThere)
{
    std::vector<SyncItem> items = {SyncItem({0x01}, true)};
    ContactWatcher::collectContacts(find(openStore(), {L"Contacts"}), items);
    EXPECT_THAT(textsOf(items), ElementsAre(L"01", ada, bea));
}

TEST_F(ContactWatcherTest, AppendsNothingWhenAContactCannotBeRead)
{
    std::vector<SyncItem> items;
    const IMAPIFolderPtr folder = find(openStore(), {L"Contacts"});
    sandbox().plan({{"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/Contacts/Bea"}, {"result", "0x80004005"}});
    EXPECT_EQ(thrown([&] { ContactWatcher::collectContacts(folder, items); }),
              L"OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_THAT(items, IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsForANullFolder)
{
    std::vector<SyncItem> items;
    EXPECT_EQ(thrown([&] { ContactWatcher::collectContacts({}, items); }),
              L"condition \"folder\" failed (mapi::maybeContactFolder in MapiUtilities.cpp, line N)");
}

// ---- Subscribing ---------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, KeepsNoCallbackWhenItCannotWatchAndTriesAgain)
{
    const auto counted = std::make_shared<int>();
    planResult("IMsgStore::Advise", "0x80040102");
    m_watcher->subscribe([counted](const Changes&) {});
    EXPECT_EQ(counted.use_count(), 1);
    subscribe();
    notifyDeletion();
    EXPECT_THAT(textsOf(onlyBatch().deleted), SizeIs(1));
}

TEST_F(ContactWatcherTest, StaysSubscribedWhenTheWalkFails)
{
    planResult("IMAPIContainer::GetHierarchyTable", "0x80070005", 2); // that of Contacts, which is registered by then
    EXPECT_EQ(thrown([this] { subscribe(); }), L"mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)");
    EXPECT_EQ(subscriptions(), 1U);
    notifyDeletion();
    EXPECT_THAT(textsOf(onlyBatch().deleted), SizeIs(1));
}

TEST_F(ContactWatcherTest, TakesTheNewCallbackAndWalksAgainWithoutAdvising)
{
    m_watcher->subscribe([](const Changes&) { ADD_FAILURE() << "the former callback was called"; });
    const auto lines = newLines();
    subscribe();
    EXPECT_EQ(log().size(), 2 * lines.size()); // folders are reported again
    EXPECT_EQ(subscriptions(), 1U);
    notifyDeletion();
    EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;0000000001;"));

    after({{"do", "delete"}, {"object", "Mailbox/Friends"}});
    EXPECT_THAT(onlyBatch().deletedFolders, SizeIs(1)); // it was known once
}

TEST_F(ContactWatcherTest, DropsChangesWithoutACallback)
{
    subscribe();
    m_watcher->subscribe(ChangesCallback());
    notifyDeletion();
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_THAT(log().back(), StartsWith("Notification 8"));
}

// ---- Notifications -------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, AddsAContactThatOpensWithAWarning)
{
    subscribe();
    planResult("IMsgStore::OpenEntry", "0x00040380", 2); // behind the one for the log
    notify("fnevObjectCreated", "MAPI_MESSAGE",
           {{"entryId", "Mailbox/Contacts/Ada"}, {"parentId", "Mailbox/Contacts"}});
    EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(ada));
}

TEST_F(ContactWatcherTest, KnowsLongTermIdentifiersByTheirFirstByte)
{
    subscribe();
    for (const char* const shortTerm : {"#0100000000", "#7F00000000", "#FF00000000"})
        notifyDeletion(shortTerm);
    EXPECT_THAT(m_batches, IsEmpty());
    notifyDeletion("#00FF000000");
    EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;00FF000000;"));
}

TEST_F(ContactWatcherTest, TakesAContactForAnotherWhenItsFormerIdentifierHasOtherBytes)
{
    subscribe();
    notify("fnevObjectModified", "MAPI_MESSAGE",
           {{"entryId", "Mailbox/Contacts/Ada"},
            {"parentId", "Mailbox/Contacts"},
            {"oldId", "#00000000A2"}}); // the same contact to MAPI
    const Changes changes = onlyBatch();
    EXPECT_THAT(textsOf(changes.deleted), ElementsAre(L";;;;;;;;;;00000000A2;"));
    EXPECT_THAT(textsOf(changes.added), ElementsAre(ada));
    EXPECT_THAT(changes.changed, IsEmpty());
}

TEST_F(ContactWatcherTest, RegistersANewFolderOnceByItsOwnIdentifier)
{
    subscribe();
    for (unsigned times = 0; times < 2; ++times)
    {
        notify("fnevObjectCreated", "MAPI_FOLDER",
               {{"entryId", "#800000004C696E6B77656C6C53616E64626F78010100000000000006"}, // its short-term one
                {"parentId", "Mailbox/Contacts"}});
        EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(cid));
    }
    notify("fnevObjectDeleted", "MAPI_FOLDER", {{"parentId", "Mailbox/Contacts"}}); // hidden, so not found
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"00000000C4"));
}

TEST_F(ContactWatcherTest, ComparesItsFoldersByMapiWithThoseThatAreThere)
{
    subscribe();
    sandbox().request({{"do", "editFolder"},
                       {"folder", "Mailbox/Friends"},
                       {"set", {{"properties", {{"PR_ENTRYID", "000000004D"}}}, {"class", "IPF.Note"}}}});
    notify("fnevObjectDeleted", "MAPI_FOLDER", {{"parentId", "Mailbox/Contacts"}});
    EXPECT_THAT(m_batches, IsEmpty());
}

// ---- What the sandbox never does -----------------------------------------------------------------------------------

/// A store of the sandbox behind a mock that passes calls on: the sandbox gives no object without a failure, nothing
/// arrives while a subscription ends, and notifications stay as they are until they have been handled.
class StoreInFrontTest : public ContactWatcherTest
{
protected:
    StoreInFrontTest()
    {
        const auto behind = openStore().store();
        EXPECT_CALL(*m_store, GetProps(_, _, _, _))
            .WillRepeatedly([behind](auto... arguments) { return behind->GetProps(arguments...); });
        EXPECT_CALL(*m_store, OpenEntry(_, _, _, _, _, _))
            .Times(AnyNumber())
            .WillRepeatedly(
                [this, behind](ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object)
                {
                    if (m_whenOpening)
                        m_whenOpening();
                    if (mapi::makeEntryId(size, id) == m_opensToNothing)
                        return S_OK;
                    return behind->OpenEntry(size, id, iid, flags, type, object);
                });
        EXPECT_CALL(*m_store, Advise(_, _, _, _, _))
            .WillOnce(
                [this, behind](ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection)
                {
                    m_sink = sink;
                    return behind->Advise(size, id, events, sink, connection);
                });
        EXPECT_CALL(*m_store, Unadvise(_))
            .WillOnce(
                [this, behind](ULONG_PTR connection)
                {
                    if (m_whenUnadvised)
                        m_whenUnadvised();
                    return behind->Unadvise(connection);
                });
        m_watcher = std::make_unique<ContactWatcher>(mapi::MessageStore(m_store.pointer()), L"Mailbox");
        subscribe();
    }
    ~StoreInFrontTest() override
    {
        m_watcher.reset();
        EXPECT_EQ(m_store->references(), 1);
    }

    const tests::Mocked<tests::MockMsgStore> m_store;
    EntryId m_opensToNothing;
    std::function<void()> m_whenOpening;
    std::function<void()> m_whenUnadvised;
    IMAPIAdviseSinkPtr m_sink; // kept, as a runtime may keep it
};

TEST_F(StoreInFrontTest, LogsANewContactThatOpensToNothing)
{
    m_opensToNothing = {0, 0, 0, 0, 0xA1};
    notify("fnevObjectCreated", "MAPI_MESSAGE",
           {{"entryId", "Mailbox/Contacts/Ada"}, {"parentId", "Mailbox/Contacts"}});
    EXPECT_THAT(newLines(), ElementsAre(StartsWith("Notification 4 for (cannot resolve) of type 5"),
                                        "HRESULT logged: ContactWatcher::onNewObject, line N: hr = "
                                        "0x0(Cannot open new or copied object. EntryID = 00000000A1)"));
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(StoreInFrontTest, DeletesAChangedContactThatOpensToNothing)
{
    m_opensToNothing = {0, 0, 0, 0, 0xA1};
    notify("fnevObjectModified", "MAPI_MESSAGE",
           {{"entryId", "Mailbox/Contacts/Ada"}, {"parentId", "Mailbox/Contacts"}});
    EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;00000000A1;"));
}

TEST_F(StoreInFrontTest, HasCopiedABatchBeforeItCallsMapi)
{
    EntryId parent = {0, 0, 0, 0, 0xC1};
    EntryId first = {0, 0, 0, 0, 0x01};
    EntryId second = {0, 0, 0, 0, 0x02};
    NOTIFICATION notifications[2] = {};
    for (EntryId* const id : {&first, &second})
    {
        NOTIFICATION& notification = notifications[id == &second];
        notification.ulEventType = fnevObjectDeleted;
        OBJECT_NOTIFICATION& object = notification.info.obj;
        object.ulObjType = MAPI_MESSAGE;
        object.cbParentID = mapi::entryIdSize(parent);
        object.lpParentID = mapi::entryIdBytes(parent);
        object.cbEntryID = mapi::entryIdSize(*id);
        object.lpEntryID = mapi::entryIdBytes(*id);
    }
    m_whenOpening = [&]
    {
        std::memset(notifications, 0, sizeof(notifications));
        for (EntryId* const id : {&parent, &first, &second})
            std::ranges::fill(*id, BYTE{0xFF});
    };
    m_sink->OnNotify(2, notifications);
    EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;0000000001;", L";;;;;;;;;;0000000002;"));
}

TEST_F(StoreInFrontTest, RefusesABatchThatCountsNotificationsAndHasNone)
{
    m_sink->OnNotify(0, nullptr);
    EXPECT_THAT(newLines(), IsEmpty());
    m_sink->OnNotify(1, nullptr);
    EXPECT_THAT(newLines(), ElementsAre("An exception has been caught in AdviseSinkImpl::OnNotify : "
                                        "ContactWatcher::onNotification, line N: hr = 0x80070057(MAPI call failed)"));
}

TEST_F(StoreInFrontTest, RegistersNoFolderOnceItIsNoLongerAdvised)
{
    m_whenUnadvised = [this]
    {
        notify("fnevObjectCreated", "MAPI_FOLDER", {{"entryId", "#00000000C4"}, {"parentId", "Mailbox/Contacts"}});
    };
    m_watcher.reset();
    EXPECT_THAT(newLines(), ElementsAre(StartsWith("Notification 4 for Secret of type 3"),
                                        "An exception has been caught in AdviseSinkImpl::OnNotify : condition "
                                        "\"m_data->sink.isAdvised()\" failed (ContactWatcher::subscribe in "
                                        "ContactWatcher.cpp, line N)",
                                        "Unadvise hr = 0"));
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(StoreInFrontTest, DropsABatchThatComesAfterItsEnd)
{
    m_watcher.reset();
    (void)newLines();
    EntryId contacts = {0, 0, 0, 0, 0xC1};
    NOTIFICATION late{};
    late.ulEventType = fnevObjectDeleted;
    late.info.obj.ulObjType = MAPI_MESSAGE;
    late.info.obj.cbParentID = mapi::entryIdSize(contacts);
    late.info.obj.lpParentID = mapi::entryIdBytes(contacts);
    sandbox().startJournal();
    EXPECT_EQ(m_sink->OnNotify(1, &late), 0u);
    EXPECT_THAT(sandbox().takeJournal(), IsEmpty());
    EXPECT_THAT(newLines(), IsEmpty());
    EXPECT_THAT(m_batches, IsEmpty());
}
} // namespace
