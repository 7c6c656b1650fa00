// EntryId.h: the byte string that names a MAPI object.
#pragma once

#include "mapiabi/MapiTypes.h"

#include <vector>

/// A MAPI entry identifier, verbatim and opaque; empty means that there is none. Never compared by its bytes for
/// identity, since two byte strings may name one object: that is mapi::Session::isSameObject.
using EntryId = std::vector<BYTE>;

namespace mapi
{
/// A copy of the bytes; empty for a null address or a size of 0.
[[nodiscard]] EntryId makeEntryId(ULONG size, const void* bytes);

/// The size as MAPI takes it. Throws when it does not fit in 32 bits.
[[nodiscard]] ULONG entryIdSize(const EntryId& entryId);

/// The bytes as MAPI takes them, which promises not to change them; null for an empty identifier. Borrowed.
[[nodiscard]] ENTRYID* entryIdBytes(const EntryId& entryId) noexcept;
} // namespace mapi
