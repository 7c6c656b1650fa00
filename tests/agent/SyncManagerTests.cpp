#include "agent/SyncManager.h"

#include <gmock/gmock.h>

#include "tests/agent/HostPipe.h"
#include "tests/support/Failures.h"
#include "tests/support/LogFile.h"

namespace
{
using support::PipeReply;
using support::PipeServer;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tests::bytesOf;
using tests::noPipe;
using tests::refused;
using tests::request;

const EntryId contactId = {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4};
const EntryId folderId = {0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18};

SyncItem contact(const std::wstring& text)
{
    SyncItem made(EntryId{}, false);
    made.text = text;
    return made;
}

/// A manager without watchers, the host's pipe, and the log.
class SyncManagerTest : public testing::Test
{
protected:
    tests::HostPipe m_host;
    const support::ScopedLog m_log;
    SyncManager m_manager;
};

/// Keeps messages in place of sending them.
class RecordingManager : public SyncManager
{
public:
    std::vector<std::wstring> m_messages;

protected:
    void send(const std::wstring& text) override { m_messages.push_back(text); }
};

Changes oneOfEach()
{
    Changes changes;
    changes.added.push_back(contact(L"added"));
    changes.changed.push_back(contact(L"changed"));
    changes.deleted.emplace_back(contactId, false);
    changes.deletedFolders.emplace_back(folderId, true);
    return changes;
}

// ---- The message on the pipe ---------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, SendsADeletedFolderByteForByte)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.deletedFolders.emplace_back(folderId, true);
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(),
                ElementsAre(bytesOf("00 00 00 24 32 3B 64 65 6C 65 74 65 3B 66 6F 6C 64 65 72 3B 30 3B "
                                    "31 0A 30 30 30 30 30 30 30 30 45 35 46 36 30 37 31 38")));
    EXPECT_THAT(host.requests().front(), SizeIs(40));
}

TEST_F(SyncManagerTest, SendsNothingForNoChangesAndDoesNotConnect)
{
    m_manager.sendChanges({}); // without a host a connection would fail
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(SyncManagerTest, SendsDeletionsBeforeAdditionsAndChangesAndFoldersFirst)
{
    const PipeServer& host = m_host.start();
    m_manager.sendChanges(oneOfEach());
    EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;folder;0;1\n00000000E5F60718"),
                                             request("2;delete;contact;0;1\n;;;;;;;;;;00000000A1B2C3D4;"),
                                             request("2;add;contact;0;1\nadded"), //
                                             request("2;change;contact;0;1\nchanged")));
}

TEST_F(SyncManagerTest, SendsOneMessageForEachKindOfChange)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.changed.push_back(contact(L"changed"));
    changes.deletedFolders.emplace_back(folderId, true);
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;folder;0;1\n00000000E5F60718"),
                                             request("2;change;contact;0;1\nchanged")));
}

TEST_F(SyncManagerTest, ConnectsAnewForEachMessage)
{
    PipeServer& host = m_host.start();
    m_manager.sendChanges(oneOfEach());
    EXPECT_TRUE(host.waitForClients(4));
    EXPECT_THAT(host.requests(), SizeIs(4));
}

TEST_F(SyncManagerTest, KeepsTheOrderOfTheItemsAndPutsALineFeedBetweenThem)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.added = {contact(L"c"), contact(L"a"), contact(L""), contact(L"b")};
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(), ElementsAre(request("2;add;contact;0;1\nc\na\n\nb")));
}

TEST_F(SyncManagerTest, SendsTheHeaderAloneWhenItsOneItemIsEmpty)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.deleted.emplace_back(EntryId{}, false);
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;contact;0;1\n")));
}

TEST_F(SyncManagerTest, TakesTheKindFromTheFirstItemAlone)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.deletedFolders = {SyncItem(folderId, true), contact(L"contact")};
    changes.deleted = {contact(L"contact"), SyncItem(folderId, true)};
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;folder;0;1\n00000000E5F60718\ncontact"),
                                             request("2;delete;contact;0;1\ncontact\n00000000E5F60718")));
}

TEST_F(SyncManagerTest, SendsTextsAsTheyStandInUtf8)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.added = {contact(L"\u00d8rsted;a\nb\r\n\u6625\u5b50 \xD83D\xDE00")};
    m_manager.sendChanges(changes);
    const std::string text = "2;add;contact;0;1\n\xC3\x98rsted;a\nb\r\n\xE6\x98\xA5\xE5\xAD\x90 \xF0\x9F\x98\x80";
    EXPECT_THAT(host.requests(), ElementsAre(request(text)));
}

TEST_F(SyncManagerTest, WritesTheLengthMostSignificantByteFirst)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    changes.added = {contact(std::wstring(300 - 18, L'x'))}; // the header line has 18 bytes
    m_manager.sendChanges(changes);
    ASSERT_THAT(host.requests(), SizeIs(1));
    EXPECT_EQ(host.requests().front().substr(0, 4), bytesOf("00 00 01 2C"));
}

TEST_F(SyncManagerTest, SendsALargeMessageWhole)
{
    const PipeServer& host = m_host.start();
    Changes changes;
    std::string text = "2;add;contact;0;1";
    for (unsigned number = 0; number < 20000; ++number)
    {
        changes.added.push_back(contact(L"contact number " + std::to_wstring(number)));
        text += "\ncontact number " + std::to_string(number);
    }
    m_manager.sendChanges(changes);
    ASSERT_THAT(host.requests(), SizeIs(1));
    EXPECT_EQ(host.requests().front(), request(text));
}

// ---- The log -------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, LogsTheWholeTextOfEachMessage)
{
    m_host.start();
    Changes changes;
    changes.deletedFolders.emplace_back(folderId, true);
    changes.changed = {contact(L"one;\u00e9"), contact(L"two")};
    m_manager.sendChanges(changes);
    EXPECT_THAT(m_log.lines(), ElementsAre("Sending data:", "| 2;delete;folder;0;1", "| 00000000E5F60718", //
                                           "Sending data:", "| 2;change;contact;0;1", "| one;\xC3\xA9", "| two"));
}

TEST_F(SyncManagerTest, LogsAMessageBeforeItIsSent)
{
    Changes changes;
    changes.deletedFolders.emplace_back(folderId, true);
    EXPECT_EQ(thrownBy([&] { m_manager.sendChanges(changes); }), refused);
    EXPECT_THAT(m_log.lines(), ElementsAre("Sending data:", "| 2;delete;folder;0;1", "| 00000000E5F60718", noPipe));
}

// ---- Refusal -------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, ThrowsWhenTheHostDoesNotAcknowledge)
{
    for (const char* const answer : {"nak", "ACK", "ack!", "ac", ""})
    {
        SCOPED_TRACE(answer);
        m_host.start({PipeReply::text(answer)});
        EXPECT_EQ(thrownBy([&] { m_manager.sendChanges(oneOfEach()); }), refused);
    }
}

TEST_F(SyncManagerTest, DropsTheRestOfTheChangesWhenTheHostRefusesOne)
{
    PipeServer& host = m_host.start({PipeReply::text("ack"), PipeReply::text("no"), PipeReply::text("ack")});
    EXPECT_EQ(thrownBy([&] { m_manager.sendChanges(oneOfEach()); }), refused);
    EXPECT_TRUE(host.waitForClients(2));
    EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;folder;0;1\n00000000E5F60718"),
                                             request("2;delete;contact;0;1\n;;;;;;;;;;00000000A1B2C3D4;")));
}

TEST_F(SyncManagerTest, TriesThePipeAnewAfterARefusal)
{
    Changes changes;
    changes.added.push_back(contact(L"added"));
    EXPECT_EQ(thrownBy([&] { m_manager.sendChanges(changes); }), refused);
    const PipeServer& host = m_host.start();
    m_manager.sendChanges(changes);
    EXPECT_THAT(host.requests(), ElementsAre(request("2;add;contact;0;1\nadded")));
}

// ---- Composition ---------------------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, SendsThroughItsVirtualOperation)
{
    RecordingManager manager;
    manager.sendChanges(oneOfEach());
    EXPECT_THAT(manager.m_messages, ElementsAre(L"2;delete;folder;0;1\n00000000E5F60718",
                                                L"2;delete;contact;0;1\n;;;;;;;;;;00000000A1B2C3D4;",
                                                L"2;add;contact;0;1\nadded", L"2;change;contact;0;1\nchanged"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}
} // namespace
