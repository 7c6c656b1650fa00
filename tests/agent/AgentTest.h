// AgentTest.h: the agent's classes on a mailbox of the sandbox, which requests edit while it is served.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/SyncItem.h"
#include "tests/support/ImportHook.h"
#include "tests/support/sandbox/SandboxDll.h"
#include "tests/support/sandbox/SandboxMapiTest.h"

namespace tests
{
using Json = nlohmann::json;

/// The test's thread is the main thread and the worker: notifications reach its sinks while it runs `after` or `pump`.
class AgentTest : public SandboxMapiTest
{
protected:
    ~AgentTest() override;

    /// To plan, to edit, to read the journal.
    [[nodiscard]] const sandboxtest::SandboxDll& sandbox() const { return m_sandbox.dll(); }

    /// Does what a request of docs/sandbox-control.md says, and has the notifications handled that come of it. Throws when
    /// the sandbox refuses it.
    void after(const Json& request) const;
    /// Handles all messages in this thread's queue.
    static void pump();

    /// Has a call to come give this result: the next one to this method, or a later one of them.
    void planResult(std::string_view method, std::string_view result, unsigned call = 1) const;

    /// What has been logged since this was last called.
    [[nodiscard]] std::vector<std::string> newLines();

private:
    std::size_t m_linesSeen = 0;
};

/// The texts of items.
[[nodiscard]] std::vector<std::wstring> textsOf(const std::vector<SyncItem>& items);

/// Calls `action` as soon as a record that ends in `text` has been written to the log, on the thread that wrote it, for
/// the life of the result.
[[nodiscard]] inline auto whenLogged(std::string_view text, std::function<void()> action)
{
    return support::hookImport<"WriteFile">(
        WriteFile,
        [text, act = std::move(action)](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                                        LPOVERLAPPED overlapped)
        {
            const BOOL result = original(file, data, size, written, overlapped);
            if (std::string_view(static_cast<const char*>(data), size).ends_with(text))
                act();
            return result;
        });
}
} // namespace tests
