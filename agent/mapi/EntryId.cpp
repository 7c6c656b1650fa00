#include "agent/mapi/EntryId.h"

#include "utilities/Failure.h"

namespace mapi
{
EntryId makeEntryId(ULONG size, const void* bytes)
{
    if (size == 0 || bytes == nullptr)
        return {};
    const auto first = static_cast<const BYTE*>(bytes);
    return {first, first + size};
}

ULONG entryIdSize(const EntryId& entryId)
{
    return utilities::narrow_cast<ULONG>(entryId.size());
}

ENTRYID* entryIdBytes(const EntryId& entryId) noexcept
{
    return entryId.empty() ? nullptr : reinterpret_cast<ENTRYID*>(const_cast<BYTE*>(entryId.data()));
}
} // namespace mapi
