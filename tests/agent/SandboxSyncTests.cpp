// From the profile to the host: the real session, worker and manager on a mailbox of the sandbox, which the agent finds by
// its own search, with the host's pipe.
#include "agent/MapiSide.h"

#include <windows.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/HostPipe.h"
#include "tests/agent/LogWatch.h"
#include "tests/support/sandbox/RegisteredSandbox.h"
#include "tests/support/Handle.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/LogFile.h"
#include "utilities/StopRequested.h"

namespace
{
using namespace support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;
using tests::request;

const std::string nothingHeld = "Nothing is held.\n";

class SandboxSyncTest : public testing::Test
{
protected:
    ~SandboxSyncTest() override
    {
        mapi::Session::s_session = nullptr;
        utilities::stopRequested = false;
    }

    /// The mailbox has these stores.
    void serve(const std::string& stores, const std::string& more = "")
    {
        m_sandbox.serve(R"({"stores": [)" + stores + "]" + more + "}");
    }

    /// A whole run: until this is logged, and then through the shutdown. Every reference must have come back at the end.
    void runUntil(const std::string& record)
    {
        const Handle reached = makeEvent();
        const auto watch = tests::whenLogged(record, [&] { SetEvent(reached.get()); });
        {
            MapiSide side;
            ASSERT_EQ(WaitForSingleObject(reached.get(), INFINITE), WAIT_OBJECT_0);
            side.shutdown();
        }
        EXPECT_THAT(m_sandbox.report(), Not(testing::HasSubstr("object(s)")));
    }
    void runUntilWorkerEnds() { runUntil("MAPI thread finished"); }

    [[nodiscard]] std::vector<std::string> log() const { return withoutLineNumbers(m_log.lines()); }

    const sandboxtest::RegisteredSandbox m_sandbox;
    ScopedLog m_log;
    tests::HostPipe m_host;
};

/// A store with one contact folder. Identifiers are "00000000" and the number, with 0E for the store, 0F for the folder.
/// @param contacts  names; the contact's identifier is its number in its store.
/// @param more  further keys of the store.
std::string store(const std::string& name, const std::string& number, const std::vector<std::string>& contacts,
                  const std::string& more = "")
{
    std::string messages;
    for (std::size_t index = 0; index < contacts.size(); ++index)
        messages += std::string(index == 0 ? "" : ", ") + R"({"entryId": "00000000)" + number + "0" +
                    std::to_string(index + 1) + R"(", "displayName": ")" + contacts[index] + R"("})";
    return R"({"name": ")" + name + R"(", "entryId": "00000000)" + number +
           R"(0E", "folders": [{"name": "Contacts", )" + R"("class": "IPF.Contact", "entryId": "00000000)" + number +
           R"(0F", "messages": [)" + messages + "]}]" + more + "}";
}

const std::string isDefault = R"(, "default": true)";
const std::string isPublic = R"(, "public": true)";

/// The line of the first contact of such a store.
std::string line(const std::string& name, const std::string& number)
{
    return name + ";;;;;;;;;;00000000" + number + "01;00000000" + number + "0F";
}

// ---- Stores --------------------------------------------------------------------------------------------------------

TEST_F(SandboxSyncTest, SendsTheStoresInTheirOrderDefaultFirstAndPublicLast)
{
    serve(store("Public", "A1", {"Ann"}, isPublic) + "," + store("Archive", "A2", {"Bob"}) + "," +
          store("Mailbox", "A3", {"Eve"}, isDefault) + "," + store("Shared", "A4", {"Joe"}));
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Public");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;4\n" + line("Eve", "A3")),
                                             request("2;snapshot;contact;1;4\n" + line("Bob", "A2")),
                                             request("2;snapshot;contact;2;4\n" + line("Joe", "A4")),
                                             request("2;snapshot;contact;3;4\n" + line("Ann", "A1"))));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}

TEST_F(SandboxSyncTest, SendsAPublicDefaultStoreFirstAmongThePublicOnes)
{
    serve(store("Other public", "A1", {"Ann"}, isPublic) + "," + store("Archive", "A2", {"Bob"}) + "," +
          store("Public", "A3", {"Eve"}, isPublic + isDefault));
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Other public");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + line("Bob", "A2")),
                                             request("2;snapshot;contact;1;3\n" + line("Eve", "A3")),
                                             request("2;snapshot;contact;2;3\n" + line("Ann", "A1"))));
}

TEST_F(SandboxSyncTest, SendsTheLaterOfTwoDefaultStoresFirst)
{
    serve(store("One", "A1", {"Ann"}, isDefault) + "," + store("Two", "A2", {"Bob"}) + "," +
          store("Three", "A3", {"Eve"}, isDefault));
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Two");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + line("Eve", "A3")),
                                             request("2;snapshot;contact;1;3\n" + line("Ann", "A1")),
                                             request("2;snapshot;contact;2;3\n" + line("Bob", "A2"))));
}

TEST_F(SandboxSyncTest, LeavesAGapForAnEmptyStore)
{
    serve(store("One", "A1", {"Ann"}) + "," + store("Two", "A2", {}) + "," + store("Three", "A3", {"Eve"}));
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Three");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + line("Ann", "A1")),
                                             request("2;snapshot;contact;2;3\n" + line("Eve", "A3"))));
    EXPECT_THAT(log(), Contains("createSnapshot for \"Two\": 0 contact(s) found"));
}

TEST_F(SandboxSyncTest, SkipsAStoreThatCannotBeOpened)
{
    serve(store("One", "A1", {"Ann"}, R"(, "openError": "MAPI_E_NO_ACCESS")" + isDefault) + "," +
          store("Two", "A2", {"Bob"}));
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Two");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\n" + line("Bob", "A2"))));
    EXPECT_THAT(log(), IsSupersetOf({"Message Store found: One (Sandbox Message Store), Default: true, Public: false, "
                                     "EntryId: 00000000A10E",
                                     "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                     "mapi::Session::openStore, line N: hr = 0x80070005(MAPI call failed)",
                                     "Ignore message store \"One\" - cannot open.",
                                     "Message Store found: Two (Sandbox Message Store), Default: false, Public: false, "
                                     "EntryId: 00000000A20E"}));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}

TEST_F(SandboxSyncTest, EndsWhenThereIsNoStore)
{
    serve("");
    runUntilWorkerEnds();
    EXPECT_THAT(log(), ElementsAre("Start MAPI thread...",
                                   "An exception has been caught in AsyncMapiHelper::run : "
                                   "SyncManager::createWatchers: Cannot find message stores for synchronization",
                                   "MAPI thread finished", "Closing MAPI session...", "Logoff...",
                                   "MAPI session closed", "Done"));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}

TEST_F(SandboxSyncTest, EndsInTheSameWayWhenNoStoreCanBeOpened)
{
    const std::string cannotOpen = R"(, "openError": "MAPI_E_NOT_FOUND")";
    serve(store("One", "A1", {"Ann"}, cannotOpen) + "," + store("Two", "A2", {"Bob"}, cannotOpen));
    runUntilWorkerEnds();
    EXPECT_THAT(log(), IsSupersetOf({"Ignore message store \"One\" - cannot open.",
                                     "Ignore message store \"Two\" - cannot open.",
                                     "An exception has been caught in AsyncMapiHelper::run : "
                                     "SyncManager::createWatchers: Cannot find message stores for synchronization"}));
}

// ---- The host ------------------------------------------------------------------------------------------------------

TEST_F(SandboxSyncTest, EndsWhenTheHostRefusesASnapshot)
{
    serve(store("One", "A1", {"Ann"}) + "," + store("Two", "A2", {"Bob"}) + "," + store("Three", "A3", {"Eve"}));
    const PipeServer& host = m_host.start({PipeReply::text("ack"), PipeReply::text("nak")});
    runUntilWorkerEnds();
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + line("Ann", "A1")),
                                             request("2;snapshot;contact;1;3\n" + line("Bob", "A2"))));
    EXPECT_THAT(log(), Contains("An exception has been caught in AsyncMapiHelper::run : Unable to send data through "
                                "ipc channel"));
    EXPECT_THAT(log(), Not(Contains("createSnapshot for \"Three\" started")));
    EXPECT_THAT(log(), Not(Contains(testing::StartsWith("Subscribe to"))));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}

TEST_F(SandboxSyncTest, EndsWithoutAHostOnlyWhenThereIsSomethingToSend)
{
    serve(store("One", "A1", {}));
    runUntil("Subscribe to One"); // no message, so no host is missed
    utilities::stopRequested = false;
    serve(store("One", "A1", {"Ann"}));
    runUntilWorkerEnds();
    EXPECT_THAT(log(), Contains(tests::noPipe));
}

// ---- Messages ------------------------------------------------------------------------------------------------------

TEST_F(SandboxSyncTest, SendsTheExampleOfTwoStoresByteForByte)
{
    serve(R"({"name": "Mailbox", "default": true, "folders": [{"name": "Contacts", "class": "IPF.Contact",
              "entryId": "00000000E5F60718", "messages": [{"entryId": "00000000A1B2C3D4", "displayName": "Anna Berg",
              "givenName": "Anna", "surname": "Berg", "company": "Nordlicht AG", "businessPhone": "+49 30 1111",
              "mobilePhone": "+49 170 2222"}]}]}, {"name": "Archive"})");
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Archive");
    ASSERT_THAT(host.requests(), testing::SizeIs(1));
    EXPECT_EQ(host.requests().front(),
              tests::bytesOf("00 00 00 76 32 3B 73 6E 61 70 73 68 6F 74 3B 63 6F 6E 74 61 63 74 3B 30 3B 32 0A") +
                  "Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718");
}

TEST_F(SandboxSyncTest, WritesTextsOfAllScriptsAndSortsAsTheyStand)
{
    serve(R"({"name": "Mailbox", "folders": [{"name": "Contacts", "class": "IPF.Contact", "entryId": "000000000F",
              "messages": [{"entryId": "0000000001", "displayName": "\u00d8rsted; Anna", "company": "\u6625\r\n\u5b50",
              "givenName": "\ud83d\ude00", "homePhone": "1", "mobilePhone": "2", "businessPhone": "3",
              "businessFax": "4", "middleName": "", "email": "anna@example.com"}]}]})");
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Mailbox");
    EXPECT_THAT(host.requests(),
                ElementsAre(request("2;snapshot;contact;0;1\n\xC3\x98rsted; Anna;\xF0\x9F\x98\x80;;;"
                                    "\xE6\x98\xA5\r\n\xE5\xAD\x90;anna@example.com;3;1;2;4;0000000001;000000000F")));
}

TEST_F(SandboxSyncTest, ResolvesExchangeAddressesAndLeavesTheirValuesAllocated)
{
    serve(R"({"name": "Mailbox", "folders": [{"name": "Contacts", "class": "IPF.Contact", "entryId": "000000000F",
              "messages": [{"entryId": "0000000001", "displayName": "Ann", "email": {"addressBook": "ann"}},
                           {"entryId": "0000000002", "displayName": "Bob", "email": {"addressBook": "bob"}},
                           {"entryId": "0000000003", "displayName": "Eve", "email": {"type": "EX", "address": "/o=E"}},
                           {"entryId": "0000000004", "displayName": "Joe",
                            "email": {"type": "ex", "address": "/o=Example", "originalEntryId": "0000000001"}}]}]})",
          R"(, "addressBook": {"ann": {"smtpAddress": "ann@example.com"}, "bob": {}})");
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Mailbox");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\n"
                                                     "Ann;;;;;ann@example.com;;;;;0000000001;000000000F\n"
                                                     "Bob;;;;;;;;;;0000000002;000000000F\n"
                                                     "Eve;;;;;;;;;;0000000003;000000000F\n"
                                                     "Joe;;;;;/o=Example;;;;;0000000004;000000000F")));
    EXPECT_THAT(m_sandbox.report(), testing::MatchesRegex("HrGetOneProp: \\d+ block\\(s\\), \\d+ bytes\n"));
}

TEST_F(SandboxSyncTest, WritesLongTermIdentifiersWhenTheTableHasShortOnes)
{
    serve(R"({"name": "Mailbox", "folders": [{"name": "Contacts", "class": "IPF.Contact", "entryId": "000000000F",
              "shortTermIds": true, "messages": [{"entryId": "0000000001", "displayName": "Ann"}]}]})");
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Mailbox");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\nAnn;;;;;;;;;;0000000001;000000000F")));
}

TEST_F(SandboxSyncTest, VisitsEachVisibleFolderBelowTheRootAndNoOther)
{
    serve(R"({"name": "Mailbox", "rootFolders": [{"name": "Beside", "class": "IPF.Contact",
              "messages": [{"displayName": "beside the root of what users see"}]}],
              "folders": [
                {"name": "Hidden", "class": "IPF.Contact", "hidden": true,
                 "messages": [{"displayName": "hidden"}],
                 "folders": [{"name": "Below hidden", "class": "IPF.Contact", "messages": [{"displayName": "below"}]}]},
                {"name": "Notes", "class": "IPF.Note", "messages": [{"displayName": "of another class"}],
                 "folders": [{"name": "Inner", "class": "IPF.Contact", "hidden": false, "entryId": "000000001F",
                              "messages": [{"entryId": "0000000011", "displayName": "Ann"}]}]},
                {"name": "Team", "entryId": "000000002F",
                 "messages": [{"entryId": "0000000021", "displayName": "Bob"},
                              {"entryId": "0000000022", "displayName": "List", "class": "IPM.DistList"}]},
                {"name": "Mail", "messages": [{"displayName": "a letter", "class": "IPM.Note"}]},
                {"name": "Special", "class": "IPF.Contact.Special", "messages": [{"displayName": "special"}]},
                {"name": "Closed", "class": "IPF.Contact", "openError": "MAPI_E_NO_ACCESS",
                 "messages": [{"displayName": "closed"}]},
                {"name": "Contacts", "class": "IPF.Contact", "entryId": "000000003F",
                 "messages": [{"entryId": "0000000031", "displayName": "Eve"},
                              {"displayName": "lost", "openError": "MAPI_E_NOT_FOUND"}]}]})");
    const PipeServer& host = m_host.start();
    runUntil("Subscribe to Mailbox");
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;1\n"
                                                     "Ann;;;;;;;;;;0000000011;000000001F\n"
                                                     "Bob;;;;;;;;;;0000000021;000000002F\n"
                                                     "List;;;;;;;;;;0000000022;000000002F\n"
                                                     "Eve;;;;;;;;;;0000000031;000000003F")));
    EXPECT_THAT(log(), IsSupersetOf({"subfolder found: Notes", "subfolder found: Inner", "subfolder found: Closed",
                                     "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: hr = "
                                     "0x80070005(OpenEntry failed for \"Closed\")",
                                     "Cannot open contact: hr = 8004010f"}));
    EXPECT_THAT(log(), Not(Contains("subfolder found: Hidden")));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}

TEST_F(SandboxSyncTest, ReadsNoLaterStoreWhenAContactCannotBeRead)
{
    serve(store("One", "A1", {"Ann"}) + R"(, {"name": "Two", "folders": [{"name": "Contacts", "class": "IPF.Contact",
              "messages": [{"displayName": "Bob", "results": {"GetProps": "MAPI_E_OBJECT_DELETED"}}]}]}, )" +
          store("Three", "A3", {"Eve"}));
    const PipeServer& host = m_host.start();
    runUntilWorkerEnds();
    EXPECT_THAT(host.requests(), ElementsAre(request("2;snapshot;contact;0;3\n" + line("Ann", "A1"))));
    EXPECT_THAT(log(), Contains("An exception has been caught in AsyncMapiHelper::run : OutlookContact::load, line N: "
                                "hr = 0x8004010a(MAPI call failed)"));
    EXPECT_EQ(m_sandbox.report(), nothingHeld);
}
} // namespace
