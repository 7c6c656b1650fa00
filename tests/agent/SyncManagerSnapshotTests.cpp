#include "agent/SyncManager.h"

#include "mapiabi/MapiTags.h"

#include <optional>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/HostPipe.h"
#include "tests/agent/MailboxMocks.h"
#include "tests/support/Failures.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

/// A store with one contact folder below its root.
struct Mailbox
{
    explicit Mailbox(BYTE number, const std::vector<ContactMock*>& messages, bool isPublic = false)
        : contacts({number, 0x02}, contactFolder(), messages),
          root({number, 0x01}, otherFolder(), {}, {&contacts}),
          store({number, 0x03}, root, isPublic)
    {
    }

    FolderMock contacts;
    FolderMock root;
    StoreMock store;
};

/// SyncManager::createSnapshot, over the host's pipe.
class SyncManagerSnapshotTest : public MapiTest
{
protected:
    /// Logs on to a profile of these stores and makes their watchers. The log of that is dropped.
    void openStores(const std::vector<StoreRow>& rows)
    {
        m_session.emplace(rows);
        mapi::Session::s_session = m_session->session.pointer();
        m_manager.createWatchers();
        m_dropped = m_log.lines().size();
    }

    /// What the snapshot has logged.
    [[nodiscard]] std::vector<std::string> logged() const
    {
        auto lines = withoutLineNumbers(m_log.lines());
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(m_dropped));
        return lines;
    }

    [[nodiscard]] std::wstring snapshotFailure()
    {
        return thrown([this] { m_manager.createSnapshot(); });
    }

    ContactMock m_anna{{0x0A}, L"Anna"};
    ContactMock m_ola{{0x0B}, L"Ola"};
    ContactMock m_eva{{0x0C}, L"Eva"};
    std::optional<SessionMock> m_session;
    HostPipe m_host;
    SyncManager m_manager;

private:
    std::size_t m_dropped = 0;
};

const std::string anna = "Anna;;;;;;;;;;0A;";
const std::string ola = "Ola;;;;;;;;;;0B;";
const std::string eva = "Eva;;;;;;;;;;0C;";

// ---- Messages ------------------------------------------------------------------------------------------------------

/// The contacts of the wire protocol's example, in the first of two stores.
class SnapshotExampleTest : public SyncManagerSnapshotTest
{
protected:
    static inline const EntryId folderId = {0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18};

    ContactMock m_berg{{0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4},
                       {Property::text(PR_DISPLAY_NAME_W, L"Anna Berg"), Property::text(PR_GIVEN_NAME_W, L"Anna"),
                        Property::text(PR_SURNAME_W, L"Berg"), Property::text(PR_COMPANY_NAME_W, L"Nordlicht AG"),
                        Property::text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"+49 30 1111"),
                        Property::text(PR_MOBILE_TELEPHONE_NUMBER_W, L"+49 170 2222"),
                        Property::bytes(PR_ENTRYID, {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4}),
                        Property::bytes(PR_PARENT_ENTRYID, folderId)}};
    ContactMock m_lind{{0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD5},
                       {Property::text(PR_DISPLAY_NAME_W, L"Ola Lind"), Property::text(PR_GIVEN_NAME_W, L"Ola"),
                        Property::text(PR_SURNAME_W, L"Lind"),
                        Property::bytes(PR_ENTRYID, {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD5}),
                        Property::bytes(PR_PARENT_ENTRYID, folderId)}};
    const std::string m_header = "2;snapshot;contact;0;2\n";
    const std::string m_bergLine = "Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;"
                                   "00000000A1B2C3D4;00000000E5F60718";
    const std::string m_lindLine = "Ola Lind;Ola;;Lind;;;;;;;00000000A1B2C3D5;00000000E5F60718";
};

TEST_F(SnapshotExampleTest, SendsOneContactOfTheFirstOfTwoStoresByteForByte)
{
    Mailbox first(1, {&m_berg});
    Mailbox second(2, {});
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    const PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    ASSERT_THAT(host.requests(), testing::SizeIs(1));
    const std::string sent = host.requests().front();
    EXPECT_EQ(sent.substr(0, 31), bytesOf("00 00 00 76 32 3B 73 6E 61 70 73 68 6F 74 3B 63 6F 6E 74 61 63 74 3B 30 3B "
                                          "32 0A 41 6E 6E 61"));
    EXPECT_EQ(sent.substr(4), m_header + m_bergLine);
    EXPECT_EQ(sent.size(), 4u + 118u);
}

TEST_F(SnapshotExampleTest, SendsTwoContactsWithALineFeedBetweenThem)
{
    Mailbox first(1, {&m_berg, &m_lind});
    Mailbox second(2, {});
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    const PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(), ElementsAre(request(m_header + m_bergLine + "\n" + m_lindLine)));
}

TEST_F(SyncManagerSnapshotTest, SendsOneMessageForEachStoreInTheOrderOfTheWatchers)
{
    Mailbox shared(1, {&m_ola}, true);
    Mailbox other(2, {&m_eva});
    Mailbox own(3, {&m_anna});
    openStores({storeRow(shared.store, L"shared"), storeRow(other.store, L"other"), storeRow(own.store, L"own", true)});
    PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(),
                ElementsAre(request("2;snapshot;contact;0;3\n" + anna), request("2;snapshot;contact;1;3\n" + eva),
                            request("2;snapshot;contact;2;3\n" + ola)));
    EXPECT_TRUE(host.waitForClients(3));
}

TEST_F(SyncManagerSnapshotTest, LeavesAGapInTheIndexesForAStoreWithoutContacts)
{
    Mailbox first(1, {&m_anna});
    Mailbox empty(2, {});
    Mailbox third(3, {&m_ola});
    openStores({storeRow(first.store, L"first"), storeRow(empty.store, L"empty"), storeRow(third.store, L"third")});
    PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(),
                ElementsAre(request("2;snapshot;contact;0;3\n" + anna), request("2;snapshot;contact;2;3\n" + ola)));
    EXPECT_TRUE(host.waitForClients(2));
    EXPECT_THAT(logged(), ElementsAre("createSnapshot for \"first\" started", "subfolder found: subfolder",
                                      "createSnapshot for \"first\": 1 contact(s) found", //
                                      "Sending data:", "| 2;snapshot;contact;0;3", "| " + anna,
                                      "createSnapshot for \"empty\" started", "subfolder found: subfolder",
                                      "createSnapshot for \"empty\": 0 contact(s) found", //
                                      "createSnapshot for \"third\" started", "subfolder found: subfolder",
                                      "createSnapshot for \"third\": 1 contact(s) found", //
                                      "Sending data:", "| 2;snapshot;contact;2;3", "| " + ola));
}

TEST_F(SyncManagerSnapshotTest, SendsNoMessageAtAllWhenNoStoreHoldsAContact)
{
    Mailbox first(1, {});
    Mailbox second(2, {}, true);
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    m_manager.createSnapshot(); // without a host a connection would fail
    EXPECT_THAT(logged(), testing::Not(testing::Contains("Sending data:")));
}

TEST_F(SyncManagerSnapshotTest, DoesNothingWithoutWatchers)
{
    m_manager.createSnapshot();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(SyncManagerSnapshotTest, PutsTheContactsOfAllFoldersOfAStoreIntoOneMessage)
{
    FolderMock inner({0x21}, contactFolder(), {&m_ola});
    FolderMock notes({0x22}, otherFolder(), {&m_anna}, {&inner});
    FolderMock root({0x23}, contactFolder(), {&m_eva}, {&notes}); // contacts in the root itself come first
    StoreMock store({0x24}, root);
    openStores({storeRow(store, L"store")});
    const PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\n" + eva + "\n" + ola)));
    EXPECT_THAT(logged(), testing::Contains("createSnapshot for \"store\": 2 contact(s) found"));
}

TEST_F(SyncManagerSnapshotTest, CountsTheItemsAndNotTheRowsOfTheTable)
{
    Mailbox mailbox(1, {&m_anna, &m_ola, &m_eva});
    EXPECT_CALL(*mailbox.contacts.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(givesObject<5>(m_anna.message))
        .WillOnce(Return(MAPI_E_NO_ACCESS))
        .WillOnce(givesObject<5>(m_eva.message));
    openStores({storeRow(mailbox.store, L"store")});
    const PipeServer& host = m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\n" + anna + "\n" + eva)));
    EXPECT_THAT(logged(), testing::IsSupersetOf({"Cannot open contact: hr = 80070005",
                                                 "createSnapshot for \"store\": 2 contact(s) found"}));
}

TEST_F(SyncManagerSnapshotTest, ReadsAndSendsOneStoreBeforeItReadsTheNext)
{
    Mailbox first(1, {&m_anna});
    Mailbox second(2, {&m_ola});
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    const PipeServer& host = m_host.start();
    EXPECT_CALL(*second.store.store, OpenEntry(_, _, _, _, _, _))
        .WillOnce(
            [&](ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown** object)
            {
                EXPECT_THAT(host.requests(), testing::SizeIs(1));
                second.root.folder->AddRef();
                *object = second.root.folder.get();
                return S_OK;
            });
    m_manager.createSnapshot();
    EXPECT_THAT(host.requests(), testing::SizeIs(2));
}

TEST_F(SyncManagerSnapshotTest, LeavesNothingAllocatedAndNoReference)
{
    Mailbox mailbox(1, {&m_anna});
    openStores({storeRow(mailbox.store, L"store")});
    m_host.start();
    m_manager.createSnapshot();
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_EQ(m_anna.message->references(), 1);
    EXPECT_EQ(mailbox.contacts.folder->references(), 1);
    EXPECT_EQ(mailbox.root.folder->references(), 1);
    EXPECT_EQ(mailbox.store.store->references(), 2); // its watcher's
}

// ---- Failure -------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerSnapshotTest, EndsWhenThereIsNoHost)
{
    Mailbox first(1, {&m_anna});
    Mailbox second(2, {&m_ola});
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    EXPECT_EQ(snapshotFailure(), refused);
    EXPECT_THAT(logged(), ElementsAre("createSnapshot for \"first\" started", "subfolder found: subfolder",
                                      "createSnapshot for \"first\": 1 contact(s) found", //
                                      "Sending data:", "| 2;snapshot;contact;0;2", "| " + anna, noPipe));
}

TEST_F(SyncManagerSnapshotTest, ReadsAndSendsNoLaterStoreWhenTheHostRefuses)
{
    Mailbox first(1, {&m_anna});
    Mailbox second(2, {&m_ola});
    Mailbox third(3, {&m_eva});
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second"), storeRow(third.store, L"third")});
    PipeServer& host = m_host.start({PipeReply::text("ack"), PipeReply::text("nak"), PipeReply::text("ack")});
    EXPECT_EQ(snapshotFailure(), refused);
    EXPECT_TRUE(host.waitForClients(2));
    EXPECT_THAT(host.requests(),
                ElementsAre(request("2;snapshot;contact;0;3\n" + anna), request("2;snapshot;contact;1;3\n" + ola)));
    EXPECT_THAT(logged(), testing::Not(testing::Contains("createSnapshot for \"third\" started")));
}

TEST_F(SyncManagerSnapshotTest, SendsNeitherTheStoreThatCannotBeReadNorALaterOne)
{
    Mailbox first(1, {&m_anna});
    Mailbox second(2, {&m_ola});
    Mailbox third(3, {&m_eva});
    EXPECT_CALL(*second.root.folder, GetHierarchyTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second"), storeRow(third.store, L"third")});
    const PipeServer& host = m_host.start();
    EXPECT_EQ(snapshotFailure(), L"mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + anna)));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(SyncManagerSnapshotTest, SendsNothingOfAStoreWithAContactThatCannotBeRead)
{
    Mailbox mailbox(1, {&m_anna, &m_ola});
    EXPECT_CALL(*m_ola.message, GetProps(_, _, _, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    openStores({storeRow(mailbox.store, L"store")});
    EXPECT_EQ(snapshotFailure(), L"OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_THAT(logged(), ElementsAre("createSnapshot for \"store\" started", "subfolder found: subfolder"));
}

TEST_F(SyncManagerSnapshotTest, SendsNothingOfAStoreThatIsCancelled)
{
    Mailbox first(1, {&m_anna});
    Mailbox second(2, {&m_ola, &m_eva});
    EXPECT_CALL(*m_ola.message, GetIDsFromNames(_, _, _, _))
        .WillOnce(
            [](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
            {
                utilities::requestStop();
                *tags = makeTags({0x81010000, 0x81020000, 0x81030000});
                return S_OK;
            });
    openStores({storeRow(first.store, L"first"), storeRow(second.store, L"second")});
    const PipeServer& host = m_host.start();
    EXPECT_EQ(snapshotFailure(), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;2\n" + anna)));
}
} // namespace
