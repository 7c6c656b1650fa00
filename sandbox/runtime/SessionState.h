// SessionState.h: what all objects of one session share.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "sandbox/mailbox/Mailbox.h"
#include "sandbox/runtime/Call.h"

namespace sandbox
{
/// A session's mailbox, and whether the session is over. Objects that are still held then answer
/// MAPI_E_END_OF_SESSION.
class SessionState
{
public:
    explicit SessionState(std::shared_ptr<Mailbox> mailbox) noexcept : m_mailbox(std::move(mailbox)) {}

    [[nodiscard]] Mailbox& mailbox() const noexcept { return *m_mailbox; }
    void end() noexcept { m_ended = true; }
    [[nodiscard]] bool hasEnded() const noexcept { return m_ended; }

    /// Runs the body of a method, as `serve` does, of a session that is not over.
    template <class Work>
    [[nodiscard]] HRESULT serveUnlocked(const char* name, const Results* results, std::string_view table,
                                        Work&& work) noexcept
    {
        return serve(name, results, table,
                     [&]
                     {
                         require(!m_ended, MAPI_E_END_OF_SESSION);
                         return work();
                     });
    }

    /// The same with the mailbox locked.
    template <class Work>
    [[nodiscard]] HRESULT serveLocked(const char* name, const Results* results, std::string_view table,
                                      Work&& work) noexcept
    {
        return serveUnlocked(name, results, table,
                             [&]
                             {
                                 const std::lock_guard lock(m_mailbox->mutex());
                                 return work();
                             });
    }

private:
    const std::shared_ptr<Mailbox> m_mailbox;
    std::atomic<bool> m_ended{false};
};
} // namespace sandbox
