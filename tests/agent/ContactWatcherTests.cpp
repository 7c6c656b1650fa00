#include "agent/ContactWatcher.h"

#include "mapiabi/MapiTags.h"

#include <memory>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/MailboxMocks.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointee;
using testing::Return;

class ContactWatcherTest : public MapiTest
{
protected:
    [[nodiscard]] ContactWatcher watcher() const
    {
        return ContactWatcher(mapi::MessageStore(m_store.store.pointer()), L"Mailbox");
    }

    /// The names of the folders that a walk visits, in order.
    [[nodiscard]] std::vector<std::string> visited() const
    {
        std::vector<std::string> names;
        watcher().processWatchedFolders([&](IMAPIFolderPtr folder) { names.push_back(nameOf(folder)); });
        return names;
    }

    [[nodiscard]] std::string nameOf(const IMAPIFolderPtr& folder) const
    {
        const std::pair<const FolderMock*, const char*> folders[] = {
            {&m_root, "root"}, {&m_first, "first"}, {&m_below, "below"}, {&m_second, "second"}};
        for (const auto& [known, name] : folders)
        {
            if (known->folder.get() == folder.GetInterfacePtr())
                return name;
        }
        return "unknown";
    }

    FolderMock m_below{{0x04}, otherFolder()};
    FolderMock m_first{{0x02}, contactFolder(), {}, {&m_below}};
    FolderMock m_second{{0x03}, otherFolder()};
    FolderMock m_root{{0x01}, otherFolder(), {}, {&m_first, &m_second}};
    StoreMock m_store{{0x05}, m_root};
};

// ---- Life ----------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, HoldsItsStoreAndItsNameAndAsksNothing)
{
    {
        const ContactWatcher made = watcher();
        EXPECT_EQ(made.store().store().GetInterfacePtr(), m_store.store.get());
        EXPECT_EQ(made.displayName(), L"Mailbox");
        EXPECT_EQ(m_store.store->references(), 2);
    }
    EXPECT_EQ(m_store.store->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsWithoutAStore)
{
    EXPECT_EQ(thrown([] { const ContactWatcher made(mapi::MessageStore(), L"Mailbox"); }),
              L"condition \"m_data->store\" failed (ContactWatcher::ContactWatcher in ContactWatcher.cpp, line N)");
    EXPECT_THAT(log(), IsEmpty());
}

// ---- The walk ------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, VisitsTheRootFirstAndThenDepthFirst)
{
    EXPECT_THAT(visited(), ElementsAre("root", "first", "below", "second"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: subfolder", "subfolder found: subfolder", //
                                   "subfolder found: subfolder"));
}

TEST_F(ContactWatcherTest, OpensTheRootOfWhatUsersSeeWithDefaultAccess)
{
    EXPECT_CALL(*m_store.store, OpenEntry(1, _, Pointee(IID_IMAPIFolder), 0, _, _))
        .WillOnce(
            [this](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object)
            {
                EXPECT_EQ(mapi::makeEntryId(size, bytes), m_root.id);
                m_root.folder->AddRef();
                *object = m_root.folder.get();
                return S_OK;
            });
    EXPECT_THAT(visited(), testing::SizeIs(4));
    EXPECT_THAT(m_runtime.calls().front(), testing::StartsWith("HrGetOneProp 35e00102 -> #"));
}

TEST_F(ContactWatcherTest, OpensSubfoldersForTheBestAccess)
{
    EXPECT_CALL(*m_root.folder, OpenEntry(1, _, Pointee(IID_IMAPIFolder), MAPI_BEST_ACCESS, _, _))
        .WillOnce(givesObject<5>(m_first.folder))
        .WillOnce(givesObject<5>(m_second.folder));
    EXPECT_THAT(visited(), testing::SizeIs(4));
}

TEST_F(ContactWatcherTest, LetsVisibleFoldersThroughAtEachLevel)
{
    const auto isVisibleFilter = [](SRestriction* filter, ULONG)
    {
        EXPECT_EQ(filter->rt, RES_OR);
        EXPECT_EQ(filter->res.resOr.cRes, 2u);
        const SRestriction* const parts = filter->res.resOr.lpRes;
        EXPECT_EQ(parts[0].rt, RES_NOT);
        EXPECT_EQ(parts[0].res.resNot.lpRes->rt, RES_EXIST);
        EXPECT_EQ(parts[0].res.resNot.lpRes->res.resExist.ulPropTag, 0x10F4000Bu);
        EXPECT_EQ(parts[1].rt, RES_PROPERTY);
        EXPECT_EQ(parts[1].res.resProperty.relop, RELOP_EQ);
        EXPECT_EQ(parts[1].res.resProperty.ulPropTag, 0x10F4000Bu);
        EXPECT_EQ(parts[1].res.resProperty.lpProp->ulPropTag, 0x10F4000Bu);
        EXPECT_EQ(parts[1].res.resProperty.lpProp->Value.b, 0);
        return S_OK;
    };
    for (const FolderMock* const folder : {&m_root, &m_first, &m_below, &m_second})
        EXPECT_CALL(*folder->hierarchy, Restrict(_, TBL_BATCH)).WillOnce(isVisibleFilter);
    EXPECT_THAT(visited(), testing::SizeIs(4));
}

TEST_F(ContactWatcherTest, FiltersATableBeforeItIsRead)
{
    const testing::InSequence inSequence;
    EXPECT_CALL(*m_root.folder, GetHierarchyTable(MAPI_UNICODE, _)).WillOnce(givesObject<1>(m_root.hierarchy));
    EXPECT_CALL(*m_root.hierarchy, Restrict(testing::NotNull(), TBL_BATCH)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_root.hierarchy, SetColumns(_, 0))
        .WillOnce(
            [](SPropTagArray* tags, ULONG)
            {
                EXPECT_THAT(tagsOf(tags), ElementsAre(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE));
                return MAPI_E_CALL_FAILED;
            });
    EXPECT_THAT(visited(), ElementsAre("root")); // a table that can't be read has no rows
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(ContactWatcherTest, LeavesNothingAllocatedAndNoReferenceAfterAWalk)
{
    EXPECT_THAT(visited(), testing::SizeIs(4));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_EQ(m_store.store->references(), 1);
    for (const FolderMock* const folder : {&m_root, &m_first, &m_below, &m_second})
    {
        EXPECT_EQ(folder->folder->references(), 1);
        EXPECT_EQ(folder->hierarchy->references(), 1);
    }
}

TEST_F(ContactWatcherTest, ThrowsWhenTheStoreDoesNotTellItsRoot)
{
    giveProperties(m_store.store, {});
    EXPECT_EQ(thrown([&] { static_cast<void>(visited()); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsWhenTheRootCannotBeOpened)
{
    EXPECT_CALL(*m_store.store, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_INVALID_ENTRYID));
    EXPECT_EQ(thrown([&] { static_cast<void>(visited()); }),
              L"mapi::openEntry, line N: hr = 0x80040107(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsWhenTheRootsIdentifierIsEmpty)
{
    giveProperties(m_store.store, {Property::bytes(PR_IPM_SUBTREE_ENTRYID, {})});
    EXPECT_EQ(thrown([&] { static_cast<void>(visited()); }),
              L"mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057"
                                   "(an empty entryId passed)"));
}

TEST_F(ContactWatcherTest, ThrowsWhenASubfolderTableCannotBeHad)
{
    EXPECT_CALL(*m_first.folder, GetHierarchyTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    std::vector<std::string> names;
    EXPECT_EQ(
        thrown([&]
               { watcher().processWatchedFolders([&](IMAPIFolderPtr folder) { names.push_back(nameOf(folder)); }); }),
        L"mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)");
    EXPECT_THAT(names, ElementsAre("root", "first"));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsWhenTheFilterIsRefused)
{
    EXPECT_CALL(*m_root.hierarchy, Restrict(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX));
    EXPECT_EQ(thrown([&] { static_cast<void>(visited()); }),
              L"mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)");
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ContactWatcherTest, LetsWhatTheVisitorThrowsEndTheWalk)
{
    unsigned visits = 0;
    EXPECT_EQ(thrown(
                  [&]
                  {
                      watcher().processWatchedFolders(
                          [&](IMAPIFolderPtr)
                          {
                              if (++visits == 3)
                                  throw utilities::exception(L"visitor");
                          });
                  }),
              L"visitor");
    EXPECT_EQ(visits, 3u);
    EXPECT_EQ(m_below.folder->references(), 1);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ContactWatcherTest, IsCancelledBeforeTheFirstFolder)
{
    utilities::requestStop();
    unsigned visits = 0;
    EXPECT_EQ(thrown([&] { watcher().processWatchedFolders([&](IMAPIFolderPtr) { ++visits; }); }),
              L"mapi::traverseFolders: cancelled by request");
    EXPECT_EQ(visits, 0u);
}

TEST_F(ContactWatcherTest, IsCancelledDuringTheWalk)
{
    const auto stopAt = [this](const std::string& name)
    {
        utilities::stopRequested = false;
        return thrown(
            [&]
            {
                watcher().processWatchedFolders(
                    [&](IMAPIFolderPtr folder)
                    {
                        if (nameOf(folder) == name)
                            utilities::requestStop();
                    });
            });
    };
    EXPECT_EQ(stopAt("root"), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_EQ(stopAt("below"),
              L"mapi::traverseFolders: cancelled by request"); // it has no subfolders; "second" is next
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ContactWatcherTest, EndsTheWalkWhenTheStopComesAtTheLastFolder)
{
    std::vector<std::string> names;
    watcher().processWatchedFolders(
        [&](IMAPIFolderPtr folder)
        {
            names.push_back(nameOf(folder));
            if (names.back() == "second")
                utilities::requestStop();
        });
    EXPECT_THAT(names, ElementsAre("root", "first", "below", "second"));
}

// ---- Collecting ----------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherTest, AppendsTheContactsOfAContactFolderInTheirOrder)
{
    ContactMock anna{{0x0A}, L"Anna"};
    ContactMock ola{{0x0B}, L"Ola"};
    const FolderMock folder({0x06}, contactFolder(), {&ola, &anna});
    std::vector<SyncItem> items = {SyncItem({0x01}, true)};
    ContactWatcher::collectContacts(folder.folder.pointer(), items);
    ASSERT_THAT(items, testing::SizeIs(3));
    EXPECT_EQ(items[0].text, L"01");
    EXPECT_TRUE(items[0].isFolder);
    EXPECT_EQ(items[1].text, L"Ola;;;;;;;;;;0B;");
    EXPECT_FALSE(items[1].isFolder);
    EXPECT_EQ(items[2].text, L"Anna;;;;;;;;;;0A;");
}

TEST_F(ContactWatcherTest, AppendsNothingForAnotherFolder)
{
    ContactMock anna{{0x0A}, L"Anna"};
    const FolderMock folder({0x06}, otherFolder(), {&anna});
    std::vector<SyncItem> items;
    ContactWatcher::collectContacts(folder.folder.pointer(), items);
    EXPECT_THAT(items, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactWatcherTest, AsksTwiceWhetherAFolderMayHoldContacts)
{
    const FolderMock folder({0x06}, contactFolder());
    m_runtime.clearCalls();
    std::vector<SyncItem> items;
    ContactWatcher::collectContacts(folder.folder.pointer(), items);
    const auto isClassRead = [](const std::string& call)
    {
        return call.starts_with("HrGetOneProp 3613001f");
    };
    EXPECT_EQ(std::ranges::count_if(m_runtime.calls(), isClassRead), 2);
}

TEST_F(ContactWatcherTest, AppendsNothingWhenTheContactsCannotBeRead)
{
    ContactMock anna{{0x0A}, L"Anna"};
    ContactMock ola{{0x0B}, L"Ola"};
    const FolderMock folder({0x06}, contactFolder(), {&anna, &ola});
    EXPECT_CALL(*ola.message, GetProps(_, _, _, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    std::vector<SyncItem> items;
    EXPECT_EQ(thrown([&] { ContactWatcher::collectContacts(folder.folder.pointer(), items); }),
              L"OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_THAT(items, IsEmpty());
}

TEST_F(ContactWatcherTest, ThrowsForANullFolder)
{
    std::vector<SyncItem> items;
    EXPECT_EQ(thrown([&] { ContactWatcher::collectContacts(nullptr, items); }),
              L"condition \"folder\" failed (mapi::maybeContactFolder in MapiUtilities.cpp, line N)");
}

TEST_F(ContactWatcherTest, ServesASnapshotWithoutASubscription)
{
    ContactMock anna{{0x0A}, L"Anna"};
    ContactMock ola{{0x0B}, L"Ola"};
    FolderMock inner({0x07}, contactFolder(), {&ola});
    FolderMock root({0x06}, contactFolder(), {&anna}, {&inner}); // the root itself may hold contacts
    const StoreMock store({0x08}, root);
    const ContactWatcher made(mapi::MessageStore(store.store.pointer()), L"Mailbox");
    std::vector<SyncItem> items;
    made.processWatchedFolders([&](IMAPIFolderPtr folder) { ContactWatcher::collectContacts(folder, items); });
    ASSERT_THAT(items, testing::SizeIs(2));
    EXPECT_EQ(joinItemTexts(items), L"Anna;;;;;;;;;;0A;\nOla;;;;;;;;;;0B;");
}
} // namespace
