// PropServing.h: the methods of IMAPIProp that the runtime serves, for whatever object of the mailbox.
#pragma once

#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/mailbox/model/NameMapping.h"

namespace sandbox
{
// All are called with the mailbox locked, and throw MapiFailure or std::bad_alloc.

[[nodiscard]] HRESULT getProps(const MailboxObject& object, const SPropTagArray* tags, ULONG flags, ULONG* count,
                               SPropValue** values);

[[nodiscard]] HRESULT getPropList(const MailboxObject& object, ULONG flags, SPropTagArray** tags);

[[nodiscard]] HRESULT getIDsFromNames(NameMapping& mapping, ULONG count, MAPINAMEID** names, ULONG flags,
                                      SPropTagArray** tags);

/// A tag array in MAPI memory that the client frees.
[[nodiscard]] SPropTagArray* toTagArray(const std::vector<ULONG>& tags);
} // namespace sandbox
