// Each MAPI call of a worker's life fails, by itself and from then on: nothing may be held, nothing may be sent that isn't
// so, and what is lost must stand in the log.
#include "agent/SyncManager.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "tests/agent/AgentTest.h"
#include "tests/agent/RecordingManager.h"

namespace
{
using namespace tests;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr const char* faultedMailbox = R"({"stores": [
    {"name": "Shared", "public": true, "folders": [{"name": "Team", "entryId": "00000000C1", "messages": [
        {"displayName": "Eve", "entryId": "00000000A1", "email": "eve@example.com"}]}]},
    {"name": "Own", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "entryId": "00000000C2", "messages": [
            {"displayName": "Ann", "entryId": "00000000A2", "email": "ann@example.com"},
            {"displayName": "Bob", "entryId": "00000000A3"}]},
        {"name": "Old", "class": "IPF.Contact", "entryId": "00000000C3"}]}]})";

/// One batch of all kinds of changes, and another one.
const Json edits = {{"do", "batch"},
                    {"requests",
                     {{{"do", "editContact"}, {"contact", "Own/Contacts/Ann"}, {"set", {{"company", "Example"}}}},
                      {{"do", "addFolder"},
                       {"parent", "Own"},
                       {"folder",
                        {{"name", "New"},
                         {"class", "IPF.Contact"},
                         {"entryId", "00000000C4"},
                         {"messages", {{{"displayName", "Joe"}, {"entryId", "00000000A4"}}}}}}},
                      {{"do", "delete"}, {"object", "Own/Old"}}}}};
const Json lastEdit = {{"do", "delete"}, {"object", "Own/Contacts/Bob"}};

/// All that the host gets when nothing fails, message by message.
const std::vector<std::wstring> allMessages = {
    L"2;snapshot;contact;0;2\nAnn;;;;;ann@example.com;;;;;00000000A2;00000000C2\nBob;;;;;;;;;;00000000A3;00000000C2",
    L"2;snapshot;contact;1;2\nEve;;;;;eve@example.com;;;;;00000000A1;00000000C1",
    L"2;delete;folder;0;1\n00000000C3",
    L"2;add;contact;0;1\nJoe;;;;;;;;;;00000000A4;00000000C4",
    L"2;change;contact;0;1\nAnn;;;;Example;ann@example.com;;;;;00000000A2;00000000C2",
    L"2;delete;contact;0;1\n;;;;;;;;;;00000000A3;"};

/// A call of the fault-free run: the `number`th to this method.
struct Call
{
    std::string method;
    unsigned number;
};

/// What a message says of each contact or folder, such as "2;add;contact Joe;;;...": without counts, and without the
/// e-mail address.
std::vector<std::wstring> statements(const std::vector<std::wstring>& messages)
{
    std::vector<std::wstring> all;
    for (const std::wstring& message : messages)
    {
        std::wistringstream lines(message);
        std::wstring header;
        std::getline(lines, header);
        header.resize(header.size() - 4);
        for (std::wstring line; std::getline(lines, line);)
        {
            if (const auto at = line.find(L'@'); at != std::wstring::npos)
            {
                const auto first = line.rfind(L';', at) + 1;
                line.erase(first, line.find(L';', at) - first);
            }
            all.push_back(header + L' ' + line);
        }
    }
    return all;
}

class SyncFaultTest : public AgentTest
{
protected:
    /// The worker's life on the mailbox, with this failure if any. Gives the messages.
    std::vector<std::wstring> run(const std::optional<Json>& failure = {})
    {
        m_isReported = false;
        m_sandbox.serve(faultedMailbox);
        if (failure)
            sandbox().plan(*failure);
        std::vector<std::wstring> messages;
        {
            RecordingManager manager;
            try
            {
                mapi::Session::open();
                manager.createWatchers();
                manager.createSnapshot();
                for (const auto& watcher : manager.watchers())
                    watcher->subscribe([&manager](const Changes& changes) { manager.sendChanges(changes); });
                after(edits);
                after(lastEdit);
            }
            catch (const utilities::exception&)
            {
                m_isReported = true; // the worker would end with this record
            }
            messages = manager.m_messages;
            sandbox().clearPlans();
        }
        mapi::Session::logoff();
        mapi::Session::s_session = nullptr;
        EXPECT_EQ(m_sandbox.report(), "MAPIInitialize: 1 call(s) without MAPIUninitialize\n"); // this fixture's own
        return messages;
    }

    /// The calls of a run without a failure.
    [[nodiscard]] std::vector<Call> failingCalls()
    {
        sandbox().startJournal();
        EXPECT_EQ(run(), allMessages);
        std::vector<Call> all;
        std::map<std::string, unsigned> numbers;
        for (const Json& call : sandbox().takeJournal())
        {
            const std::string method = call.at("call");
            all.push_back({method, ++numbers[method]});
        }
        // Without memory the process ends, and a pointer takes no other failure than an interface that isn't there. A sink
        // is left behind when the end of its subscription fails, and a session when its end does.
        std::erase_if(all,
                      [](const Call& call)
                      {
                          return call.method.starts_with("MAPIAllocate") || call.method.starts_with("IUnknown") ||
                                 call.method == "IMsgStore::Unadvise" || call.method == "IMAPISession::Logoff";
                      });
        sandbox().request({{"do", "journal"}, {"action", "stop"}});
        return all;
    }

    static Json failureOf(const Call& call, unsigned times)
    {
        return {{"method", call.method}, {"call", call.number}, {"times", times}, {"result", "0x80004005"}};
    }

    bool m_isReported = false; // a record of the log has said that something failed

private:
    decltype(support::hookImport<"WriteFile">(WriteFile, nullptr)) m_watch = support::hookImport<"WriteFile">(
        WriteFile,
        [this](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            const std::string_view record(static_cast<const char*>(data), size);
            m_isReported = m_isReported || record.find("80004005") != std::string_view::npos ||
                           record.find("An exception has been caught") != std::string_view::npos;
            return original(file, data, size, written, overlapped);
        });
};

TEST_F(SyncFaultTest, ReportsEachLossWhicheverCallFails)
{
    const std::vector<std::wstring> all = statements(allMessages);
    std::set<std::string> lostSilently;
    std::set<std::wstring> untrue;
    const std::vector<Call> calls = failingCalls();
    EXPECT_GT(calls.size(), 200U);
    for (const Call& call : calls)
    {
        SCOPED_TRACE(call.method + " " + std::to_string(call.number));
        const std::vector<std::wstring> made = statements(run(failureOf(call, 1)));
        std::ranges::copy_if(made, std::inserter(untrue, untrue.end()),
                             [&all](const std::wstring& statement) { return std::ranges::count(all, statement) == 0; });
        if (made != all && !m_isReported)
            lostSilently.insert(call.method);
        if (HasFailure())
            break;
    }
    // A changed contact that can't be opened counts as deleted, and a folder whose parent can't be opened as none of ours.
    EXPECT_THAT(lostSilently, ElementsAre("IMsgStore::OpenEntry"));
    // And so does a folder that the walk after a deletion can't open.
    EXPECT_THAT(untrue, UnorderedElementsAre(L"2;delete;contact ;;;;;;;;;;00000000A2;", L"2;delete;folder 00000000C2",
                                             L"2;delete;folder 00000000C4"));
}

TEST_F(SyncFaultTest, HoldsNothingWhicheverCallsFailFromOneOn)
{
    for (const Call& call : failingCalls())
    {
        SCOPED_TRACE(call.method + " " + std::to_string(call.number));
        // Where no two identifiers can be compared, the climb to the top of a store does not end.
        if (call.method != "IMAPISession::CompareEntryIDs")
            (void)run(failureOf(call, 0));
        if (HasFailure())
            break;
    }
}
} // namespace
