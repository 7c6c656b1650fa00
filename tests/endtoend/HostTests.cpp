// What the agent and its host say to each other, and how the agent ends when the host does not take a snapshot.
#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/Handle.h"

namespace endtoend
{
namespace
{
using support::PipeReply;
using testing::ElementsAre;

/// Three stores with one contact each.
constexpr std::string_view threeStores = R"({"stores": [
    {"name": "A", "default": true,
     "folders": [{"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]},
    {"name": "B", "folders": [{"name": "People", "class": "IPF.Contact", "messages": [{"displayName": "Bea"}]}]},
    {"name": "C", "folders": [{"name": "Others", "class": "IPF.Contact", "messages": [{"displayName": "Cid"}]}]}]})";

const std::string unableToSend = workerFailed("Unable to send data through ipc channel");

class AgentHostTest : public EndToEndTest
{
protected:
    const Records m_found = {storeFound("A", 1, true), storeFound("B", 2), storeFound("C", 3)};
    const Records m_snapshotA = snapshot("A", "0;3", {namedLine("Ada", 1, firstFolder, 1)});
    const Records m_snapshotB =
        snapshot("B", "1;3", {namedLine("Bea", 2, firstFolder, 1)}, {"subfolder found: People"});
    const Records m_snapshotC =
        snapshot("C", "2;3", {namedLine("Cid", 3, firstFolder, 1)}, {"subfolder found: Others"});

    /// Runs the agent on `threeStores`. It must end with the sending of A's message, which the host gets or not, and these
    /// records.
    void expectEnd(bool isReceived, const Records& ending)
    {
        writeMailbox(threeStores);
        startAgent();
        const AgentRun run = runUntilWorkerEnds();
        expectRun(run, logOfEndedWorker(joined({m_found, m_snapshotA, ending})),
                  isReceived ? sentIn(m_snapshotA) : std::vector<std::string>());
    }
};

TEST_F(AgentHostTest, GetsAMessageForEachStoreInItsWireForm)
{
    const AgentRun run = runUntilSubscribed(R"({"stores": [
        {"name": "Mailbox", "default": true, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "entryId": "00000000E5F60718", "messages": [
                {"displayName": "Anna Berg", "givenName": "Anna", "surname": "Berg", "company": "Nordlicht AG",
                 "businessPhone": "+49 30 1111", "mobilePhone": "+49 170 2222", "entryId": "00000000A1B2C3D4"}]}]},
        {"name": "Archive"}]})",
                                            "Archive");
    const std::string text = "2;snapshot;contact;0;2\nAnna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;"
                             "00000000A1B2C3D4;00000000E5F60718";
    EXPECT_EQ(text.size(), 118U);
    EXPECT_THAT(host().requests(), ElementsAre(std::string("\x00\x00\x00\x76", 4) + text));
    EXPECT_THAT(run.messages, ElementsAre(text));
    EXPECT_EQ(run.exitValue, 0U);
}

TEST_F(AgentHostTest, CountsBytesAndNotCharactersInTheLength)
{
    // 300 bytes of text, of which the name has 6 bytes in 3 characters, one of them of two UTF-16 units.
    const std::string start = "2;snapshot;contact;0;1\nß😀";
    const std::string ids = ";;;;;;;;;;00000000A1B2C3D4;00000000E5F60718";
    const std::string filling(300 - start.size() - ids.size(), 'x');
    const AgentRun run = runUntilSubscribed(R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "entryId": "00000000E5F60718", "messages": [
            {"displayName": "ß😀)" + filling + R"(", "entryId": "00000000A1B2C3D4"}]}]}]})",
                                            "Mailbox");
    EXPECT_THAT(host().requests(), ElementsAre(std::string("\x00\x00\x01\x2C", 4) + start + filling + ids));
    EXPECT_EQ(run.exitValue, 0U);
}

TEST_F(AgentHostTest, GetsEachMessageOnAConnectionOfItsOwn)
{
    expectClosedRun(
        threeStores, "C",
        joined(
            {m_found, m_snapshotA, m_snapshotB, m_snapshotC, {"Subscribe to A", "Subscribe to B", "Subscribe to C"}}));
    EXPECT_TRUE(host().waitForClients(3));
}

TEST_F(AgentHostTest, EndsTheAgentWhenItIsAbsent)
{
    expectEnd(false, {"NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, createNew=0, "
                      "error=0x2",
                      unableToSend});
}

TEST_F(AgentHostTest, EndsTheAgentWhenItIsBusyWithAnother)
{
    // The agent waits for a pipe of the bare name, which is no path of a pipe, so it does not wait at all.
    serveHostWithoutSpareInstance();
    const support::Handle other = support::checkedFile(
        CreateFileW(host().path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
        "CreateFileW");
    expectEnd(false, {"NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, createNew=0, "
                      "error=0x3",
                      unableToSend});
}

TEST_F(AgentHostTest, EndsTheAgentWhenItHasNoSpareInstance)
{
    serveHostWithoutSpareInstance();
    expectEnd(true, {unableToSend}); // written, and its answer not read
}

TEST_F(AgentHostTest, EndsTheAgentWhenItEndsTheConnection)
{
    serveHost({PipeReply::disconnect()});
    expectEnd(true, {"NamedPipe::send: ReadFile failed, error=0xe9", unableToSend});
}

TEST_F(AgentHostTest, EndsTheAgentWhenItRefusesTheSecondOfThreeMessages)
{
    serveHost({PipeReply::text("ack"), PipeReply::text("no"), PipeReply::text("ack")});
    expectEndedWorker(threeStores, joined({m_found, m_snapshotA, m_snapshotB, {unableToSend}}));
}

/// Answers that are not "ack".
class AgentRefusalTest : public AgentHostTest, public testing::WithParamInterface<PipeReply>
{
};

TEST_P(AgentRefusalTest, EndsTheAgent)
{
    serveHost({GetParam()});
    expectEnd(true, {unableToSend});
}

INSTANTIATE_TEST_SUITE_P(Answers, AgentRefusalTest,
                         testing::Values(PipeReply::text("ACK"), PipeReply::text("Ack"), PipeReply::text("ac"),
                                         PipeReply::text(std::string("ack\0", 4)), PipeReply::text("ack\n"),
                                         PipeReply::text(" ack"), PipeReply::text(""),
                                         PipeReply::text("ack" + std::string(100, 'k'))));
} // namespace
} // namespace endtoend
