// The subscription of a watcher: its order, what it registers, its failures and its end.
#include <algorithm>
#include <optional>

#include "tests/agent/ContactWatcherFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::Return;
using testing::SizeIs;
using testing::StartsWith;

class ContactWatcherSubscribeTest : public ContactWatcherFixture
{
protected:
    static inline const ChangesCallback ignore = [](const Changes&) {
    };

    static std::string registered(const std::string& name)
    {
        return "Maybe Contacts folder " + name + " registered as known notification source";
    }
    /// The log of a whole subscription.
    static std::vector<std::string> wholeLog()
    {
        return {"Subscribe to Mailbox",       "subfolder found: subfolder", "subfolder found: subfolder",
                "subfolder found: subfolder", registered("Contacts"),       registered("Team")};
    }
    /// Whether the watcher knows the folder: whether it logs what happens there.
    [[nodiscard]] bool knows(const EntryId& folder)
    {
        const auto before = log().size();
        notify({{.type = fnevObjectModified, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = folder}});
        return log().size() > before;
    }
    /// Whether a walk has begun.
    [[nodiscard]] bool hasWalked() const
    {
        return std::ranges::any_of(m_runtime.calls(),
                                   [](const auto& call) { return call.starts_with("HrGetOneProp 35e00102"); });
    }
};

// ---- The order -----------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherSubscribeTest, LogsAsksAdvisesAndOnlyThenWalks)
{
    m_runtime.whenCalled(TestRuntime::Call::GetOneProp, [this] { EXPECT_THAT(log(), Not(IsEmpty())); });
    m_runtime.whenCalled(TestRuntime::Call::ThisThreadAdviseSink,
                         [this] { EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox")); });
    expectAdvise();
    m_watcher->subscribe(ignore);
    EXPECT_THAT(log(), ElementsAreArray(wholeLog()));

    auto calls = m_runtime.calls();
    std::erase_if(calls, [](const std::string& call)
                  { return !call.starts_with("HrGetOneProp") && !call.ends_with("Sink") && call != "Advise"; });
    ASSERT_THAT(calls, SizeIs(testing::Gt(4u)));
    EXPECT_THAT(calls[0], StartsWith("HrGetOneProp 34140102"));
    EXPECT_EQ(calls[1], "HrThisThreadAdviseSink");
    EXPECT_EQ(calls[2], "Advise");
    EXPECT_THAT(calls[3], StartsWith("HrGetOneProp 35e00102"));
}

TEST_F(ContactWatcherSubscribeTest, HasItsCallbackBeforeItWalks)
{
    // MAPI would deliver this later; at this moment the contacts folder is known and the team folder is not.
    EXPECT_CALL(*m_team.folder, GetPropList(_, _))
        .WillOnce(
            [this](ULONG, SPropTagArray** tags)
            {
                notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x02}}});
                notify({{.type = fnevObjectDeleted, .id = {0x00, 0x02}, .parent = {0x03}}});
                return getPropList(folderProperties(L"Team", {0x01}, contactFolder()), tags);
            })
        .WillRepeatedly([](ULONG, SPropTagArray** tags)
                        { return getPropList(folderProperties(L"Team", {0x01}, contactFolder()), tags); });
    subscribe();
    EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;0001;"));
}

TEST_F(ContactWatcherSubscribeTest, RegistersEachFolderThatMayHoldContacts)
{
    subscribe();
    EXPECT_TRUE(knows({0x02}));
    EXPECT_TRUE(knows({0x03}));
    m_calls.clear();
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x04}}});
    EXPECT_THAT(m_calls, Contains("compare 03 04"));
    EXPECT_THAT(m_calls, Each(StartsWith("compare")));
}

TEST_F(ContactWatcherSubscribeTest, RegistersTheRootLikeAnyOtherFolder)
{
    giveProperties(m_top.folder, {Property::bytes(PR_ENTRYID, m_top.id), Property::text(PR_DISPLAY_NAME_W, L"Top"),
                                  Property::text(PR_CONTAINER_CLASS_W, L"IPF.Contact")});
    expectAdvise();
    m_watcher->subscribe(ignore);
    EXPECT_EQ(log()[1], registered("Top")); // before its subfolders are looked for
    EXPECT_THAT(log(), SizeIs(7));
}

TEST_F(ContactWatcherSubscribeTest, KnowsNoFolderWhenNoneMayHoldContacts)
{
    for (FolderMock* const folder : {&m_contacts, &m_team})
        giveProperties(folder->folder, folderProperties(L"Mail", {0x01}, otherFolder()));
    subscribe();
    EXPECT_THAT(log(), Not(Contains(StartsWith("Maybe"))));
    notify({{.type = fnevObjectCreated, .id = m_anna.id, .parent = {0x02}},
            {.type = fnevObjectMoved, .objectType = MAPI_FOLDER, .id = {0x04}, .parent = {0x01}, .oldParent = {0x01}}});
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(m_calls, IsEmpty()); // not even a comparison
}

// ---- No subscription -----------------------------------------------------------------------------------------------

TEST_F(ContactWatcherSubscribeTest, DoesNotWatchAPublicStore)
{
    giveProperties(m_store.store, {Property::bytes(PR_MDB_PROVIDER, publicProvider),
                                   Property::bytes(PR_IPM_SUBTREE_ENTRYID, m_top.id)});
    const auto counted = std::make_shared<int>();
    m_watcher->subscribe([counted](const Changes&) {}); // any Advise would fail the test
    EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox", "Event tracking for public store is not implemented."));
    EXPECT_THAT(m_runtime.calls(), Not(Contains("HrThisThreadAdviseSink")));
    EXPECT_FALSE(hasWalked());
    EXPECT_EQ(counted.use_count(), 1);
}

TEST_F(ContactWatcherSubscribeTest, ThrowsWhenTheStoreDoesNotTellWhetherItIsPublic)
{
    giveProperties(m_store.store, {Property::bytes(PR_IPM_SUBTREE_ENTRYID, m_top.id)});
    EXPECT_EQ(thrown([this] { m_watcher->subscribe(ignore); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox"));
    EXPECT_THAT(m_runtime.calls(), Not(Contains("HrThisThreadAdviseSink")));
}

TEST_F(ContactWatcherSubscribeTest, StopsWithoutAWordWhenTheStoreRefusesToAdvise)
{
    const auto counted = std::make_shared<int>();
    expectAdvise(7, MAPI_E_NO_SUPPORT);
    m_watcher->subscribe([counted](const Changes&) {});
    EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox",
                                   "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: hr = "
                                   "0x80040102(Advise store notification)"));
    EXPECT_EQ(counted.use_count(), 1); // no callback is kept
    EXPECT_FALSE(hasWalked());
}

TEST_F(ContactWatcherSubscribeTest, StopsWithoutAWordWhenTheSinkCannotBeWrapped)
{
    const auto counted = std::make_shared<int>();
    m_runtime.plan(TestRuntime::Call::ThisThreadAdviseSink, MAPI_E_CALL_FAILED);
    m_watcher->subscribe([counted](const Changes&) {});
    EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox",
                                   "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: hr = "
                                   "0x80004005(Marshall advise sink)"));
    EXPECT_EQ(counted.use_count(), 1);
    EXPECT_FALSE(hasWalked());
}

TEST_F(ContactWatcherSubscribeTest, StopsWithoutAWordWhenTheRegistrationHasNoNumber)
{
    const auto counted = std::make_shared<int>();
    expectAdvise(0);
    m_watcher->subscribe([counted](const Changes&) {});
    EXPECT_THAT(log(), ElementsAre("Subscribe to Mailbox"));
    EXPECT_EQ(counted.use_count(), 1);
    EXPECT_FALSE(hasWalked());
}

TEST_F(ContactWatcherSubscribeTest, CanSubscribeAfterAFailure)
{
    m_runtime.plan(TestRuntime::Call::ThisThreadAdviseSink, MAPI_E_CALL_FAILED);
    m_watcher->subscribe(ignore);
    subscribe();
    EXPECT_TRUE(knows({0x02}));
}

// ---- A second subscription -----------------------------------------------------------------------------------------

TEST_F(ContactWatcherSubscribeTest, TakesTheNewCallbackAndWalksAgainWithoutAdvising)
{
    subscribe();
    std::vector<std::wstring> deleted;
    m_watcher->subscribe([&deleted](const Changes& changes) { deleted = textsOf(changes.deleted); });
    EXPECT_THAT(lines(), ElementsAreArray(wholeLog())); // folders are reported again
    EXPECT_THAT(m_runtime.calls(), Not(Contains("HrThisThreadAdviseSink")));
    EXPECT_TRUE(hasWalked());

    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x03}}});
    EXPECT_THAT(deleted, ElementsAre(L";;;;;;;;;;0001;"));
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(ContactWatcherSubscribeTest, RegistersAFolderOnce)
{
    subscribe();
    m_watcher->subscribe([this](const Changes& changes) { m_batches.push_back(changes); });
    giveRows(m_top.hierarchy, {}); // all folders below the root are gone
    notify({{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x02}, .parent = {0x03}}});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"02", L"03"));
}

TEST_F(ContactWatcherSubscribeTest, RegistersAFolderOnceUnderTwoIdentifiers)
{
    m_aliases = {{{0x02}, {0x03}}};
    subscribe();
    EXPECT_THAT(log(), ElementsAreArray(wholeLog())); // the record comes before the look-up
    EXPECT_THAT(m_calls, IsEmpty());
    giveRows(m_top.hierarchy, {});
    notify({{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x02}, .parent = {0x02}}});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"02"));
}

TEST_F(ContactWatcherSubscribeTest, DropsChangesWithoutACallback)
{
    subscribe();
    m_watcher->subscribe(ChangesCallback());
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x02}}});
    EXPECT_THAT(log().back(), StartsWith("Notification 8"));
    EXPECT_THAT(m_batches, IsEmpty());
}

// ---- Failure during the walk ---------------------------------------------------------------------------------------

TEST_F(ContactWatcherSubscribeTest, KeepsWhatItHasWhenAFolderCannotBeRead)
{
    auto properties = contactFolder(); // no identifier
    properties.push_back(Property::text(PR_DISPLAY_NAME_W, L"Team"));
    giveProperties(m_team.folder, properties);
    expectAdvise();
    const std::string reason = "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_EQ(
        thrown([this] { m_watcher->subscribe([this](const Changes& changes) { m_batches.push_back(changes); }); }),
        std::wstring(reason.begin(), reason.end()));
    EXPECT_EQ(log().back(), "mapi::entryId: Exception has been caught and will be rethrown: " + reason);
    EXPECT_THAT(log(), Not(Contains(registered("Team"))));

    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x02}}});
    EXPECT_THAT(textsOf(onlyBatch().deleted), SizeIs(1));
}

TEST_F(ContactWatcherSubscribeTest, IsCancelledDuringTheWalkAndStaysAdvised)
{
    EXPECT_CALL(*m_contacts.folder, GetHierarchyTable(_, _))
        .WillOnce(
            [this](ULONG, IMAPITable** table)
            {
                utilities::requestStop();
                m_contacts.hierarchy->AddRef();
                *table = m_contacts.hierarchy.get();
                return S_OK;
            });
    expectAdvise();
    EXPECT_EQ(thrown([this] { m_watcher->subscribe(ignore); }), L"mapi::traverseFolders: cancelled by request");
    EXPECT_TRUE(knows({0x02}));
    EXPECT_THAT(log(), Not(Contains(registered("Team"))));
}

TEST_F(ContactWatcherSubscribeTest, ThrowsWhenTheSessionIsGoneDuringALookUp)
{
    expectAdvise();
    EXPECT_CALL(*m_team.folder, GetPropList(_, _))
        .WillRepeatedly(
            [](ULONG, SPropTagArray** tags)
            {
                mapi::Session::s_session = nullptr;
                return getPropList(folderProperties(L"Team", {0x01}, contactFolder()), tags);
            });
    EXPECT_EQ(thrown([this] { m_watcher->subscribe(ignore); }),
              L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)");
    EXPECT_EQ(log().back(), registered("Team")); // logged, but not looked up
}

TEST_F(ContactWatcherSubscribeTest, GoesByTheBytesWhenIdentifiersCannotBeCompared)
{
    m_compareResult = MAPI_E_CALL_FAILED;
    m_aliases = {{{0x02}, {0x03}}};
    subscribe();
    EXPECT_EQ(log().back(), "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005");
    m_compareResult = S_OK;
    m_aliases.clear();
    EXPECT_TRUE(knows({0x02}));
    EXPECT_TRUE(knows({0x03}));
}

// ---- The end -------------------------------------------------------------------------------------------------------

/// Tells by a note when it goes.
struct Noting
{
    explicit Noting(std::string text) : m_text(std::move(text)) {}
    ~Noting() { TestRuntime::current().note(m_text); }
    Noting(const Noting&) = delete;
    Noting& operator=(const Noting&) = delete;
    const std::string m_text;
};

class NotingStore : public MockMsgStore
{
protected:
    ~NotingStore() override { TestRuntime::current().note("store gone"); }
};

TEST_F(ContactWatcherSubscribeTest, UnadvisesThenLetsTheCallbackGoAndTheStoreLast)
{
    std::unique_ptr<ContactWatcher> watcher;
    {
        const Mocked<NotingStore> store;
        giveProperties(store, {Property::bytes(PR_MDB_PROVIDER, EntryId(16, 0x11)),
                               Property::bytes(PR_IPM_SUBTREE_ENTRYID, m_top.id)});
        EXPECT_CALL(*store, OpenEntry(_, _, _, _, _, _)).WillOnce(givesObject<5>(m_top.folder));
        EXPECT_CALL(*store, Advise(_, _, _, _, _))
            .WillOnce(
                [](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR* number)
                {
                    *number = 7;
                    return S_OK;
                });
        EXPECT_CALL(*store, Unadvise(7))
            .WillOnce(
                [](ULONG_PTR)
                {
                    TestRuntime::current().note("Unadvise");
                    return MAPI_E_CALL_FAILED;
                });
        watcher = std::make_unique<ContactWatcher>(mapi::MessageStore(store.pointer()), L"Mailbox");
        watcher->subscribe([noting = std::make_shared<Noting>("callback gone")](const Changes&) {});
    }
    m_runtime.clearCalls();
    watcher.reset();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("Unadvise", "callback gone", "store gone"));
    EXPECT_EQ(log().back(), "Unadvise hr = 80004005");
}

TEST_F(ContactWatcherSubscribeTest, RegistersNoFolderOnceItIsNoLongerAdvised)
{
    FolderMock created({0x06}, folderProperties(L"New", {0x02}, contactFolder()), {&m_anna});
    m_objects[created.id] = created.folder.get();
    subscribe();
    // The store delivers a last batch while the watcher lets go of it.
    m_whenUnadvised = [this]
    {
        notify({{.type = fnevObjectCreated, .objectType = MAPI_FOLDER, .id = {0x06}, .parent = {0x02}}});
    };
    m_watcher.reset();
    EXPECT_THAT(lines(), ElementsAre(logged(fnevObjectCreated, "New", MAPI_FOLDER, {0x06}),
                                     "An exception has been caught in AdviseSinkImpl::OnNotify : condition "
                                     "\"m_data->sink.isAdvised()\" failed (ContactWatcher::subscribe in "
                                     "ContactWatcher.cpp, line N)",
                                     "Unadvise hr = 0"));
    EXPECT_THAT(m_batches, IsEmpty());
}
} // namespace
