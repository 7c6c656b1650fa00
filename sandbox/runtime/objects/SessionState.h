// SessionState.h: what all objects of one session share.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/runtime/record/Call.h"

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

    /// Does the work of a method of a session that is not over, with the mailbox locked.
    template <class Work>
    [[nodiscard]] HRESULT locked(Work&& work)
    {
        const std::lock_guard lock(m_mailbox->mutex());
        return unlocked(work);
    }

    /// The same without the lock.
    template <class Work>
    [[nodiscard]] HRESULT unlocked(Work&& work) const
    {
        require(!m_ended, MAPI_E_END_OF_SESSION);
        return work();
    }

    /// The long-term identifier of what a client's identifier opens, empty if that is nothing. Locks the mailbox.
    /// @param store  whose root folder the empty identifier stands for; may be null.
    [[nodiscard]] Bytes openedId(const Store* store, ULONG size, const ENTRYID* entryId) const
    {
        const std::lock_guard lock(m_mailbox->mutex());
        if (store != nullptr && size == 0 && entryId == nullptr)
            return store->root()->entryId();
        if (entryId == nullptr)
            return {};
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(entryId);
        const std::shared_ptr<MailboxObject> object = m_mailbox->find(Bytes(bytes, bytes + size));
        return object ? object->entryId() : Bytes();
    }

private:
    const std::shared_ptr<Mailbox> m_mailbox;
    std::atomic<bool> m_ended{false};
};
} // namespace sandbox
