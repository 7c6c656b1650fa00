// SandboxMapiTest.h: the MAPI layer as a client of the sandbox, which it finds by its own search.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiSession.h"
#include "tests/support/Failures.h"
#include "tests/support/LogFile.h"
#include "tests/support/mapi/LineNumbers.h"
#include "tests/support/sandbox/RegisteredSandbox.h"

namespace tests
{
/// A test with a session on a mailbox. When it ends the session is closed, and the sandbox must hold nothing but what
/// `m_report` says.
class SandboxMapiTest : public testing::Test
{
protected:
    SandboxMapiTest() = default;
    ~SandboxMapiTest() override;

    /// Logs on to a mailbox of this JSON text.
    void logon(const std::string& mailbox);

    /// The store at this place in the table, opened.
    [[nodiscard]] mapi::MessageStore openStore(std::size_t index = 0) const;
    [[nodiscard]] static std::vector<mapi::MsgStoreInfo> stores();
    /// The folder that these names lead to from the IPM subtree; fails the test and is null when there is none.
    [[nodiscard]] static IMAPIFolderPtr find(const mapi::MessageStore& store, const std::vector<std::wstring>& names);
    /// PR_ENTRYID of each row of the folder's contents table, as the table gives it.
    [[nodiscard]] static std::vector<EntryId> messageIds(const IMAPIFolderPtr& folder);

    /// What has been logged so far, without line numbers.
    [[nodiscard]] std::vector<std::string> log() const { return support::withoutLineNumbers(m_log.lines()); }
    template <class Action>
    [[nodiscard]] static std::wstring thrown(Action action)
    {
        return support::withoutLineNumbers(support::thrownBy(action));
    }

    const sandboxtest::RegisteredSandbox m_sandbox;
    support::ScopedLog m_log;
    std::string m_report = "Nothing is held.\n"; // a regular expression

private:
    std::optional<mapi::Session> m_session{std::in_place}; // MAPI is initialised
};
} // namespace tests
