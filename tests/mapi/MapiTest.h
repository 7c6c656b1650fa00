// MapiTest.h: the MAPI layer as a client of the sandbox, which also serves the memory of the mocks in MapiMocks.h.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiRuntime.h"
#include "agent/mapi/MapiSession.h"
#include "tests/support/Failures.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/mapi/LineNumbers.h"
#include "tests/support/sandbox/SandboxDll.h"

namespace tests
{
/// A success with something to say.
constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;
/// The failure of reading a property that the object does not have.
inline const std::wstring missing = L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";

/// A test on a sandbox with an empty mailbox, and with MAPI initialised. When it ends there is no session, `stopRequested` is
/// false, and the sandbox and the fakes must be held by nobody.
class MapiTest : public testing::Test
{
protected:
    MapiTest();
    ~MapiTest() override;

    /// The one sandbox of this program. Loaded by the first test, since that takes longer than most tests do.
    [[nodiscard]] static sandboxtest::SandboxDll& sandbox();

    // ---- A mailbox

    /// Logs on to a mailbox of this JSON text.
    static void logon(const std::string& mailbox);
    /// The store at this position of the table, opened.
    [[nodiscard]] static mapi::MessageStore openStore(std::size_t index = 0);
    [[nodiscard]] static std::vector<mapi::MsgStoreInfo> stores();
    /// The folder that these names lead to from the IPM subtree; fails the test and is null when there is none.
    [[nodiscard]] static IMAPIFolderPtr find(const mapi::MessageStore& store, const std::vector<std::wstring>& names);
    /// PR_ENTRYID of each row of the folder's contents table, as the table gives it.
    [[nodiscard]] static std::vector<EntryId> messageIds(const IMAPIFolderPtr& folder);

    // ---- The runtime

    /// Plans this answer for a call to come: "MAPIAllocateBuffer", "IMAPITable::QueryRows".
    /// @param times  for so many calls; 0 for all that follow.
    /// @param call  the first of them, counted from now.
    static void plan(const std::string& method, HRESULT result, unsigned times = 1, unsigned call = 1);
    static void clearPlans();

    /// From now on the runtime has none of the nine names; and has them again.
    static void hideRuntime();
    static void showRuntime();

    /// Begins a journal; gives the calls since then, or since the last time, such as "MAPIAllocateBuffer 0x18": with their
    /// arguments in the order of their names.
    static void startJournal();
    [[nodiscard]] static std::vector<std::string> takeCalls();

    [[nodiscard]] static std::int64_t liveBlocks();
    /// Loads the sandbox anew where a test has found that blocks are left on purpose; gives their number.
    std::int64_t dropLeftBlocks();

    // ---- The log

    /// What has been logged so far, without line numbers.
    [[nodiscard]] std::vector<std::string> log() const { return support::withoutLineNumbers(m_log.lines()); }
    /// The message of the exception that `action` must throw, without line numbers.
    template <class Action>
    [[nodiscard]] static std::wstring thrown(Action action)
    {
        return support::withoutLineNumbers(support::thrownBy(action));
    }

    support::ScopedLog m_log;

private:
    void startRuntime();

    std::optional<mapi::Session> m_session; // MAPI is initialised
};

/// For the life of this object the runtime has this function under this name: for answers that the sandbox never gives.
class RuntimeFunction
{
public:
    template <class Function>
    RuntimeFunction(std::string name, Function* function)
        : m_hook([known = std::move(name), found = reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function))](
                     auto original, HMODULE module, LPCSTR wanted)
                 { return known == wanted ? found : original(module, wanted); })
    {
        ++mapi::mapiGeneration;
    }
    ~RuntimeFunction() { ++mapi::mapiGeneration; }
    RuntimeFunction(const RuntimeFunction&) = delete;
    RuntimeFunction& operator=(const RuntimeFunction&) = delete;

private:
    support::ImportHook<"GetProcAddress", FARPROC, HMODULE, LPCSTR> m_hook;
};

/// What a log line says of a table that can't be read.
[[nodiscard]] inline std::string unreadTable(const std::string& result,
                                             const std::string& function = "mapi::Rowset::enumerate")
{
    return "An exception has been caught in mapi::Rowset::enumerate : " + function + ", line N: hr = 0x" + result +
           "(MAPI call failed)";
}
} // namespace tests
