// NotificationSink.h: one registration for the notifications of one message store.
#pragma once

#include <memory>

#include "agent/mapi/AdviseSinkImpl.h"
#include "agent/mapi/MapiPointers.h"
#include "utilities/noncopyable.h"

namespace mapi
{
/// From IMsgStore::Advise to IMsgStore::Unadvise. The handler runs on the thread that called `advise`, while that
/// thread dispatches its window messages, and inside any MAPI call that delivers, Unadvise among them. A batch that
/// comes later, from a runtime that has kept the sink, is dropped without a word: the handler may capture what ends
/// with the registration. Used by that thread alone.
class NotificationSink : private utilities::noncopyable
{
public:
    /// What is asked for: objects that are created, deleted, modified, moved or copied, and searches that end (settled
    /// behaviour 38).
    static constexpr ULONG eventMask = fnevObjectCreated | fnevObjectDeleted | fnevObjectModified | fnevObjectMoved |
                                       fnevObjectCopied | fnevSearchComplete;

    NotificationSink();
    /// Ends the registration, as `unadvise` does.
    virtual ~NotificationSink();

    [[nodiscard]] bool isAdvised() const noexcept;

    /// Registers the handler for everything in the store. False, and nothing is registered, without a store or a
    /// handler, and when MAPI refuses, which is logged. Also false, with a line in the log, when a registration is in
    /// place: that one stays.
    /// @param handler  copied.
    bool advise(IMsgStorePtr store, const NotificationHandler& handler);

    /// Ends the registration, if there is one, and logs what MAPI says to it; the store and the handler are let go
    /// whatever that is.
    void unadvise();

private:
    struct Connection;

    [[nodiscard]] static std::unique_ptr<Connection> adviseInternal(IMsgStorePtr store,
                                                                    const NotificationHandler& handler);

    std::unique_ptr<Connection> m_connection; // null when not advised
};
} // namespace mapi
