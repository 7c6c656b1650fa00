// Reading.h: the contacts of a mailbox of one store, by the MAPI calls that the agent makes for its snapshot.
#pragma once

#include <chrono>
#include <string>

#include "bench/floor/Runtime.h"

namespace bench
{
/// A whole message as it goes over the pipe: the length in four bytes, which is filled in at the end, and the text in UTF-8.
struct Message
{
    std::string bytes;
    std::chrono::nanoseconds composing{0}; // of what it took to make it
};

/// A session on the mailbox, as the agent's two threads have it together.
class Reader
{
public:
    /// Logs on. Throws, as all here, std::runtime_error for what fails.
    explicit Reader(const Runtime& runtime);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// The message of the first store's snapshot, with the time that was not spent in MAPI calls.
    [[nodiscard]] Message snapshot();

private:
    void openFirstStore();
    [[nodiscard]] bool isContactFolder(IMAPIFolder& folder);
    void readFolder(IMAPIFolder& folder, Message& message);
    void readContacts(IMAPIFolder& folder, Message& message);
    void readContact(IMAPIFolder& folder, const SBinary& id, Message& message);

    const Runtime& m_runtime;
    IMAPISession* m_session = nullptr;
    IMsgStore* m_store = nullptr;
};
} // namespace bench
