// The floor of bench/ does what the agent does: the same MAPI calls, the same message.
#include <string>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"
#include "tests/support/Handle.h"

namespace endtoend
{
namespace
{
/// What a program did for its snapshot, or for changes.
struct Work
{
    std::vector<std::string> calls;
    std::vector<std::string> messages;
};

/// The calls of a journal as texts. Of those that take memory, or ask an object for another interface, only what a contact
/// costs: around it the agent makes its filter and its columns anew, and the floor has them ready.
std::vector<std::string> callsOf(const Json& journal)
{
    std::vector<std::string> calls;
    bool isContact = false;
    for (Json call : journal.at("calls"))
    {
        const std::string name = call.at("call");
        if (name.starts_with("IMAPITable::") || name == "IMAPIContainer::GetHierarchyTable")
            isContact = false;
        if (call.at("arguments").value("lpInterface", "") == "IID_IMAPIProp")
            isContact = true;
        call.erase("thread"); // the agent has two
        if (isContact || (!name.starts_with("MAPIAllocate") && name != "IUnknown::QueryInterface"))
            calls.push_back(call.dump());
    }
    return calls;
}

class FloorTest : public EndToEndTest
{
protected:
    /// Runs a program until its message is at the host, and ends it.
    [[nodiscard]] Work snapshotBy(const std::wstring& program, std::string_view mailbox,
                                  const std::wstring& furtherArguments = {})
    {
        const support::EnvironmentVariable agentProgram(L"LINKWELL_AGENT", (programFolder() / program).wstring());
        const support::Handle answered = support::makeEvent();
        serveHost({support::PipeReply::heldText("ack", answered.get())});
        writeMailbox(mailbox);
        startAgent(L"/log=" + file(L"run.log") + L" /times=" + file(L"times.json") + furtherArguments);
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "start"}});
        ask({{"do", "journal"}, {"action", "start"}});
        ask({{"do", "release"}, {"hold", "start"}});
        EXPECT_TRUE(host().waitForRequests(1));
        Work snapshot{callsOf(ask({{"do", "journal"}, {"action", "read"}})), messages()};
        SetEvent(answered.get());
        (void)agent().postToWindow(WM_CLOSE); // which the floor does not have
        const AgentRun run = finish();
        EXPECT_EQ(run.exitValue, 0U);
        EXPECT_EQ(run.report, nothingHeld);
        EXPECT_EQ(run.standardError, "");
        return snapshot;
    }

    /// What a program that watches this mailbox, of one store, does for each of these requests: its calls, and its messages.
    [[nodiscard]] Work changesBy(const std::wstring& program, std::string_view mailbox,
                                 const std::vector<Json>& requests)
    {
        const support::EnvironmentVariable agentProgram(L"LINKWELL_AGENT", (programFolder() / program).wstring());
        serveHost();
        writeMailbox(mailbox);
        startAgent();
        ask({{"do", "wait"}, {"for", "advised"}, {"count", 1}});
        ask({{"do", "wait"}, {"for", "idle"}});
        (void)takeMessages(); // the agent's snapshot
        ask({{"do", "journal"}, {"action", "start"}});
        for (const Json& request : requests)
        {
            ask(request);
            ask({{"do", "wait"}, {"for", "idle"}}); // what is read of a contact is what it has by then
        }
        Work work{callsOf(ask({{"do", "journal"}, {"action", "read"}})), takeMessages()};
        EXPECT_TRUE(agent().postToWindow(WM_CLOSE) || agent().postToMainThread(WM_QUIT)); // the floor has no window
        const AgentRun run = finish();
        EXPECT_EQ(run.exitValue, 0U);
        EXPECT_EQ(run.report, nothingHeld);
        EXPECT_EQ(run.standardError, "");
        return work;
    }
};

TEST_F(FloorTest, MakesTheCallsOfTheAgentAndSendsItsMessage)
{
    constexpr std::string_view mailbox = R"({"stores": [{"name": "Mailbox", "default": true,
        "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": 50},
             "messages": [{"displayName": "Ada"}, {"givenName": "\uD83D\uDE00", "email": "b@example.com"}],
             "folders": [{"name": "Friends", "class": "IPF.Contact", "generate": {"contacts": 3, "seed": 5}}]},
            {"name": "Mail", "class": "IPF.Note", "messages": [{"displayName": "Cid"}]},
            {"name": "Empty", "class": "IPF.Contact"},
            {"name": "Hidden", "class": "IPF.Contact", "hidden": true, "messages": [{"displayName": "Dan"}]}]}],
        "plans": [{"method": "MAPILogonEx", "hold": "start"}]})";
    const Work ofFloor = snapshotBy(L"linkwell_floor.exe", mailbox);
    const Work ofAgent = snapshotBy(L"LinkwellAgent.exe", mailbox);
    EXPECT_GT(ofFloor.calls.size(), 55U * 5);
    EXPECT_EQ(ofFloor.calls, ofAgent.calls);
    EXPECT_EQ(ofFloor.messages, ofAgent.messages);
    const Work withTexts = snapshotBy(L"linkwell_floor.exe", mailbox, L" /texts");
    EXPECT_EQ(withTexts.calls, ofAgent.calls);
    EXPECT_EQ(withTexts.messages, ofAgent.messages);
}

TEST_F(FloorTest, WatchesByTheCallsOfTheAgentAndSendsItsMessages)
{
    constexpr std::string_view mailbox =
        R"({"stores": [{"name": "Mailbox", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}, {"displayName": "Bea"}]}]}]})";
    const auto renamed = [](const char* name, const char* other) -> Json
    {
        return {{"do", "editContact"},
                {"contact", std::string("Mailbox/Contacts/") + name},
                {"set", {{"displayName", other}, {"email", "a@example.com"}}}};
    };
    const std::vector<Json> requests = {
        renamed("Ada", "Cid"), {{"do", "batch"}, {"requests", {renamed("Cid", "Dan"), renamed("Bea", "Eve")}}}};
    const Work ofFloor = changesBy(L"linkwell_watcher.exe", mailbox, requests);
    const Work ofAgent = changesBy(L"LinkwellAgent.exe", mailbox, requests);
    EXPECT_GT(ofFloor.calls.size(), 3U * 5);
    EXPECT_EQ(ofFloor.calls, ofAgent.calls);
    EXPECT_EQ(ofFloor.messages.size(), 2U);
    EXPECT_EQ(ofFloor.messages, ofAgent.messages);
}
} // namespace
} // namespace endtoend
