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

const std::string unableToSend =
    "An exception has been caught in AsyncMapiHelper::run : Unable to send data through ipc channel";

class AgentHostTest : public EndToEndTest
{
protected:
    const std::string m_messageA = lines({"2;snapshot;contact;0;3", namedLine("Ada", 1, firstFolder, 1)});
    const std::string m_messageB = lines({"2;snapshot;contact;1;3", namedLine("Bea", 2, firstFolder, 1)});
    const std::string m_messageC = lines({"2;snapshot;contact;2;3", namedLine("Cid", 3, firstFolder, 1)});

    /// The log of a run on `threeStores` that ended with the sending of A's message, and these records.
    Records logUntilFirstMessage(std::string_view first, std::string_view second = {}) const
    {
        Records all = logOfEndedWorker({storeFound("A", 1, true), storeFound("B", 2), storeFound("C", 3),
                                        "createSnapshot for \"A\" started", "subfolder found: Contacts",
                                        "createSnapshot for \"A\": 1 contact(s) found", "Sending data:\n" + m_messageA,
                                        std::string(first), std::string(second)});
        std::erase(all, "");
        return all;
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
    const AgentRun run = runUntilSubscribed(threeStores, "C");
    EXPECT_TRUE(host().waitForClients(3));
    EXPECT_THAT(run.messages, ElementsAre(m_messageA, m_messageB, m_messageC));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentHostTest, EndsTheAgentWhenItIsAbsent)
{
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logUntilFirstMessage("NamedPipe::NamedPipe: cannot create or open pipe: "
                                            "pipeName=CorvenaLinkwell, createNew=0, error=0x2",
                                            unableToSend));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentHostTest, EndsTheAgentWhenItIsBusyWithAnother)
{
    // The agent waits for a pipe of the bare name, which is no path of a pipe, so it does not wait at all.
    serveHostWithoutSpareInstance();
    const support::Handle other = support::checkedFile(
        CreateFileW(host().path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
        "CreateFileW");
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre());
    EXPECT_EQ(run.log, logUntilFirstMessage("NamedPipe::NamedPipe: cannot create or open pipe: "
                                            "pipeName=CorvenaLinkwell, createNew=0, error=0x3",
                                            unableToSend));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentHostTest, EndsTheAgentWhenItHasNoSpareInstance)
{
    serveHostWithoutSpareInstance();
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(m_messageA)); // written, and its answer not read
    EXPECT_EQ(run.log, logUntilFirstMessage(unableToSend));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentHostTest, EndsTheAgentWhenItEndsTheConnection)
{
    serveHost({PipeReply::disconnect()});
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(m_messageA));
    EXPECT_EQ(run.log, logUntilFirstMessage("NamedPipe::send: ReadFile failed, error=0xe9", unableToSend));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentHostTest, EndsTheAgentWhenItRefusesTheSecondOfThreeMessages)
{
    serveHost({PipeReply::text("ack"), PipeReply::text("no"), PipeReply::text("ack")});
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(m_messageA, m_messageB));
    EXPECT_EQ(run.log,
              logOfEndedWorker(
                  {storeFound("A", 1, true), storeFound("B", 2), storeFound("C", 3), "createSnapshot for \"A\" started",
                   "subfolder found: Contacts", "createSnapshot for \"A\": 1 contact(s) found",
                   "Sending data:\n" + m_messageA, "createSnapshot for \"B\" started", "subfolder found: People",
                   "createSnapshot for \"B\": 1 contact(s) found", "Sending data:\n" + m_messageB, unableToSend}));
    EXPECT_EQ(run.report, nothingHeld);
}

/// Answers that are not "ack".
class AgentRefusalTest : public AgentHostTest, public testing::WithParamInterface<PipeReply>
{
};

TEST_P(AgentRefusalTest, EndsTheAgent)
{
    serveHost({GetParam()});
    const AgentRun run = runUntilWorkerEnds(threeStores);
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(m_messageA));
    EXPECT_EQ(run.log, logUntilFirstMessage(unableToSend));
    EXPECT_EQ(run.report, nothingHeld);
}

INSTANTIATE_TEST_SUITE_P(Answers, AgentRefusalTest,
                         testing::Values(PipeReply::text("ACK"), PipeReply::text("Ack"), PipeReply::text("ac"),
                                         PipeReply::text(std::string("ack\0", 4)), PipeReply::text("ack\n"),
                                         PipeReply::text(" ack"), PipeReply::text(""),
                                         PipeReply::text("ack" + std::string(100, 'k'))));
} // namespace
} // namespace endtoend
