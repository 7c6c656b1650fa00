// Each MAPI call of a snapshot fails once, and from then on: nothing may be held, and nothing may be told that isn't so.
#include "agent/SyncManager.h"

#include "mapiabi/MapiTags.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/HostPipe.h"
#include "tests/agent/MailboxMocks.h"
#include "tests/support/ImportHook.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using namespace tests;
using testing::ElementsAre;

Properties contactProperties(const std::wstring& name, const EntryId& id)
{
    return {Property::text(PR_DISPLAY_NAME_W, name), Property::bytes(PR_ENTRYID, id),
            Property::text(0x8101001F, L"SMTP"), Property::text(0x8102001F, name + L"@example.com")};
}

/// Two stores: one with a contact folder, one with a folder without a class.
struct TwoStores
{
    ContactMock ann{{0x0A}, contactProperties(L"ann", {0x0A})};
    ContactMock bob{{0x0B}, contactProperties(L"bob", {0x0B})};
    ContactMock eve{{0x0C}, contactProperties(L"eve", {0x0C})};
    FolderMock contacts{{0x01}, contactFolder(), {&ann, &bob}};
    FolderMock ownRoot{{0x02}, otherFolder(), {}, {&contacts}};
    FolderMock team{{0x03}, {}, {&eve}};
    FolderMock sharedRoot{{0x04}, otherFolder(), {}, {&team}};
    StoreMock own{{0x05}, ownRoot};
    StoreMock shared{{0x06}, sharedRoot, true};
    SessionMock session{{storeRow(shared, L"shared"), storeRow(own, L"own", true)}};
};

const std::string ann = "ann;;;;;ann@example.com;;;;;0A;";
const std::string bob = "bob;;;;;bob@example.com;;;;;0B;";
const std::string eve = "eve;;;;;eve@example.com;;;;;0C;";

const std::vector<std::string> complete = {ann, bob, eve};

/// What a run has left: how it ended, and what the host has got.
struct Outcome
{
    bool threw;
    std::vector<std::string> messages;
};

/// The lines of contacts in the messages, in order.
std::vector<std::string> linesOf(const std::vector<std::string>& messages)
{
    std::vector<std::string> lines;
    for (const std::string& message : messages)
    {
        for (std::size_t at = message.find('\n'); at != std::string::npos;)
        {
            const std::size_t end = message.find('\n', at + 1);
            lines.push_back(message.substr(at + 1, end == std::string::npos ? end : end - at - 1));
            at = end;
        }
    }
    return lines;
}

class SyncFaultTest : public MapiTest, public testing::WithParamInterface<bool>
{
protected:
    [[nodiscard]] Outcome run(TwoStores& mailbox)
    {
        PipeServer& host = m_host.start();
        mapi::Session::s_session = mailbox.session.session.pointer();
        bool threw = false;
        {
            SyncManager manager;
            try
            {
                manager.createWatchers();
                manager.createSnapshot();
            }
            catch (const utilities::exception&)
            {
                threw = true;
            }
        }
        mapi::Session::s_session = nullptr;
        return {threw, host.requests()};
    }

    /// The host gets contacts of the mailbox in their order; some may be missing, and of some the e-mail address.
    static void expectContactsInOrder(const std::vector<std::string>& lines)
    {
        auto next = complete.begin();
        for (const std::string& line : lines)
        {
            const auto isOfThisContact = [&line](const std::string& whole)
            {
                return whole == line || line == whole.substr(0, 3) + ";;;;;;;;;;" + whole.substr(whole.size() - 3);
            };
            next = std::find_if(next, complete.end(), isOfThisContact);
            ASSERT_NE(next, complete.end()) << line;
            ++next;
        }
    }

    HostPipe m_host;
    std::atomic<bool> m_reported{false}; // a record of the log has told of the fault

private:
    decltype(hookImport<"WriteFile">(WriteFile, nullptr)) m_watch = hookImport<"WriteFile">(
        WriteFile,
        [this](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            if (std::string_view(static_cast<const char*>(data), size).find("80004005") != std::string_view::npos)
                m_reported = true;
            return original(file, data, size, written, overlapped);
        });
};

TEST_P(SyncFaultTest, HoldsNothingAndTellsOfEachLossWhicheverCallFails)
{
    for (unsigned calls = 0;; ++calls)
    {
        SCOPED_TRACE("after " + std::to_string(calls) + " calls");
        m_reported = false;
        Outcome outcome{};
        {
            TwoStores mailbox;
            m_runtime.plan(TestRuntime::Call::Interface, MAPI_E_CALL_FAILED, calls, GetParam());
            outcome = run(mailbox);
        }
        EXPECT_EQ(s_liveFakes, 0);
        ASSERT_THAT(m_runtime.liveBlocks(), testing::IsEmpty());
        const bool met = m_runtime.plansMet() != 0;
        m_runtime.clearPlans();
        const auto lines = linesOf(outcome.messages);
        if (!met)
        {
            EXPECT_FALSE(outcome.threw);
            EXPECT_THAT(outcome.messages, ElementsAre(request("2;snapshot;contact;0;2\n" + ann + "\n" + bob),
                                                      request("2;snapshot;contact;1;2\n" + eve)));
            EXPECT_GT(calls, 60u); // so many were made to fail
            break;
        }

        expectContactsInOrder(lines);
        // A fault may cost an e-mail address without a word, and a search that fails counts as one that has found.
        if (lines.size() < complete.size())
        {
            EXPECT_TRUE(outcome.threw || m_reported);
        }
        if (HasFailure())
            break;
    }
}

INSTANTIATE_TEST_SUITE_P(OnceOrFromThenOn, SyncFaultTest, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "FromThenOn" : "Once"; });
} // namespace
