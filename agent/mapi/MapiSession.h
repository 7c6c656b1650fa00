// MapiSession.h: the gate to MAPI.
#pragma once

#include <functional>

#include "agent/mapi/MapiPointers.h"
#include "agent/mapi/MsgStoreInfo.h"

namespace mapi
{
/// An instance initialises MAPI for the thread that holds it on its stack. The session itself is one for the process:
/// opened and closed by the main thread, used by the worker without a lock. It is open before the worker starts, and is
/// closed only after the worker was asked to stop and has had its grace period; MAPI calls of a worker that needs
/// longer are expected to fail. Each operation holds a reference of its own on the session that it finds, so that it
/// does not lose it meanwhile; settled behaviour 72 says what that leaves open.
class Session
{
public:
    using StoreFunction = std::function<void(const MsgStoreInfo&)>;

    /// MAPIInitialize for this thread. Throws when it fails.
    Session();
    /// MAPIUninitialize for this thread; nothing when it can't be had.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Logs on with the user's default profile (MAPILogonEx), showing MAPI's own dialogs where it must, and sets
    /// `s_session`. Throws when that fails, and when a session is open.
    static void open();

    /// Ends the session by IMAPISession::Logoff. A failure is logged. `s_session` stays as it is; nothing without it.
    static void logoff();

    /// Tries the fast shutdown (IMAPIClientShutdown), after which no MAPI call should follow; what does, see settled
    /// behaviour 56. 0 when it went through, or when there is no session; otherwise the result of the step that failed,
    /// which is logged. `s_session` stays.
    static HRESULT shutdown();

    /// Opens a store for the best access to be had and without dialogs (IMAPISession::OpenMsgStore). Throws when that
    /// fails, and without a session.
    /// @param bytes  the identifier; null for a size of 0.
    [[nodiscard]] static IMsgStorePtr openStore(ULONG size, ENTRYID* bytes);

    /// Calls the function for each message store of the profile, in the order of the table. What the function throws
    /// passes. A table that can't be read is logged and has no rows; throws when it can't be had, without a session,
    /// and for an empty function.
    static void enumerateStores(const StoreFunction& storeFunction);

    /// Whether both name one object, as IMAPISession::CompareEntryIDs says. False when one of them is empty, and, with
    /// a line in the log, when the call fails. Throws without a session.
    [[nodiscard]] static bool isSameObject(const EntryId& first, const EntryId& second);

    /// The session; null when there is none. Written by the main thread only; whoever calls it takes a copy first.
    static IMAPISessionPtr s_session;
};
} // namespace mapi
