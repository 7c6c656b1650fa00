// Reading.h: the contacts of a mailbox of one store, by the MAPI calls that the agent makes for its snapshot.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "bench/floor/Runtime.h"

namespace bench
{
/// A whole message as it goes over the pipe: the length in four bytes, which is filled in at the end, and the text in UTF-8.
struct Message
{
    std::string bytes;
    std::chrono::nanoseconds composing{0}; // of what it took to make it
    std::vector<std::wstring> texts;       // of a reader that keeps them; `bytes` has only the first line then
};

/// A session on the mailbox, as the agent's two threads have it together.
class Reader
{
public:
    /// Logs on. Throws, as all here, std::runtime_error for what fails.
    /// @param keepsTexts  each contact's line is kept as a text of its own, in UTF-16.
    explicit Reader(const Runtime& runtime, bool keepsTexts = false);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// The message of the first store's snapshot, with the time that was not spent in MAPI calls.
    [[nodiscard]] Message snapshot();

    /// Visits the visible folders of the first store from the root of what users see, depth first.
    void visitFolders(const std::function<void(IMAPIFolder&)>& visitor);
    /// By its class; throws for a folder without one.
    [[nodiscard]] bool isContactFolder(IMAPIFolder& folder);
    /// Appends a line for each contact of the folder, or for one that is open.
    void readContacts(IMAPIFolder& folder, Message& message);
    void readContact(IMAPIProp& contact, Message& message);

    /// Borrowed.
    [[nodiscard]] IMAPISession& session() const noexcept { return *m_session; }
    [[nodiscard]] IMsgStore& store() const noexcept { return *m_store; }

private:
    void openFirstStore();
    void visitFolder(IMAPIFolder& folder, const std::function<void(IMAPIFolder&)>& visitor);

    const Runtime& m_runtime;
    const bool m_keepsTexts;
    IMAPISession* m_session = nullptr;
    IMsgStore* m_store = nullptr;
};
} // namespace bench
