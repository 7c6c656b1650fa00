// Opening.h: from an entry identifier to an opened object, as the session, stores and folders all do it.
#pragma once

#include <memory>

#include "sandbox/mailbox/model/Store.h"
#include "sandbox/runtime/objects/SessionState.h"

namespace sandbox
{
// All are called with the mailbox locked, and throw MapiFailure or std::bad_alloc.

/// The bytes of an entry identifier that a client gives; throws MAPI_E_INVALID_ENTRYID for what can't be one.
[[nodiscard]] Bytes entryIdOf(ULONG size, const ENTRYID* entryId);

/// The folder or message of this store that an identifier stands for; throws MAPI_E_NOT_FOUND if there is none.
[[nodiscard]] std::shared_ptr<MailboxObject> objectOfStore(const Mailbox& mailbox, const Store& store,
                                                           const Bytes& entryId);

/// Opens an object of the mailbox.
/// @param iid         null for the object's own interface.
/// @param objectType  receives the object's type; may be null.
void openObject(const std::shared_ptr<SessionState>& session, const std::shared_ptr<MailboxObject>& object,
                const IID* iid, ULONG* objectType, IUnknown** opened);

/// OpenEntry of a store and of its folders. An empty identifier stands for the store's root folder.
[[nodiscard]] HRESULT openEntryOfStore(const std::shared_ptr<SessionState>& session, const Store& store, ULONG size,
                                       const ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                                       IUnknown** opened);

/// Throws MAPI_E_UNKNOWN_FLAGS for flags that no OpenEntry has.
void requireOpenEntryFlags(ULONG flags);

} // namespace sandbox
